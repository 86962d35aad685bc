"""Controller, IO, tool, axes, network and force-sensor methods against the simulator."""

import numpy as np
import pytest

import kyarm


def _io_channel(r):
    r.set_DO_state(io_num=4, state=1)
    s = r.get_IO_state(io_num=4)
    return s.mode, s.state, r.get_IO_output()


# (setter, keyword arguments, read back, expected value)
ROUND_TRIPS = [
    ("set_voltage", {"voltage_type": 2}, lambda r: r.get_voltage(), 2),
    ("set_tool_voltage", {"voltage_type": 3}, lambda r: r.get_tool_voltage(), 3),
    ("set_IO_mode", {"io_num": 4, "io_mode": 1}, _io_channel, (1, 1, [0, 0, 0, 1])),
    ("set_tool_IO_mode", {"io_num": 1, "io_mode": 1}, lambda r: r.get_tool_IO_state().mode, [1, 0]),
    ("set_NetIP", {"ip": "10.20.30.40"}, lambda r: r.get_wired_net().ip, "10.20.30.40"),
    ("set_wifi_ap", {"wifi_name": "arm-ap", "password": "12345678"},
     lambda r: (lambda w: (w.mode, w.ssid, w.password))(r.get_wifi_net()), ("ap", "arm-ap", "12345678")),
    ("set_RS485", {"baudrate": 19200}, lambda r: r.get_controller_RS485_mode().baudrate, 19200),
    ("set_arm_power", {"arm_power": 0}, lambda r: r.get_arm_power_state(), 0),
]


@pytest.mark.parametrize("setter,kwargs,read,expected", ROUND_TRIPS, ids=[r[0] for r in ROUND_TRIPS])
def test_set_then_get_by_keyword(robot, setter, kwargs, read, expected):
    assert getattr(robot, setter)(**kwargs) is None
    assert read(robot) == expected


def test_values_and_records(robot):
    robot.movej([0, 15, 0, 0, 0, -5], v=80)
    odom = robot.get_joint_odom()
    assert isinstance(odom, np.ndarray) and odom.dtype == np.float32 and odom.shape == (6,)
    np.testing.assert_allclose(odom, [0, 15, 0, 0, 0, 5], atol=0.05)
    assert robot.get_IO_input() == [0, 0, 0, 0]
    state = robot.get_controller_state()
    assert 37.5 < state.temperature < 38.5 and state.err_flag == 0
    assert robot.get_system_runtime().total_seconds >= 0
    lift = robot.get_lift_state()
    assert len(lift) == 4 and lift[kyarm.LIFT_MODE] == 0
    robot.set_gripper_position(position=400, block=True, timeout=5)  # timeout in whole seconds
    g = robot.get_gripper_state()
    assert g.enable == 1 and g.actpos == 400
    robot.set_hand_angle(np.arange(10, 70, 10))
    robot.set_hand_follow_angle(angle=(1, 2, 3, 4, 5, 6))


def test_short_and_long_inputs_are_refused_before_sending(robot):
    with pytest.raises(kyarm.HandleError) as e:
        robot.manual_set_force(type=1, joint=[1, 2, 3], block=False)
    assert e.value.family == "wrapper"
    with pytest.raises(kyarm.HandleError):
        robot.manual_set_Fz([0] * 6, [1, 2], block=False)
    with pytest.raises(kyarm.HandleError):
        robot.set_NetIP("192.168.100.200:8080")
    with pytest.raises(TypeError):
        robot.set_hand_angle([1, 2, 3])


def test_refusal_carries_the_family(sim, robot):
    sim.set_faults(refuse_all=True)
    with pytest.raises(kyarm.RefusedError) as e:
        robot.set_DO_state(1, 1)
    assert e.value.code == 1 and e.value.function == "ky_set_DO_state" and e.value.family == "io"
    assert "channel it lacks" in str(e.value)


def test_force_queries_depend_on_the_sensor_type(robot):
    with pytest.raises(kyarm.TimeoutError) as e:  # no six-axis sensor: refused before sending
        robot.get_Fz()
    assert e.value.code == -2 and e.value.family == "force_sensor" and "type is not 2" in str(e.value)
    with kyarm.sim.Simulator(model="KY6A-6F", speed_scale=4.0) as s, kyarm.Robot("127.0.0.1", s.port) as r:
        assert r.force_type == 2
        data = r.get_force_data()
        assert data.force_data.dtype == np.float32 and data.force_data.shape == (6,)
        fz = r.get_Fz()
        assert abs(fz.Fz - data.force_data[2]) < 0.2


def test_blocking_lift_move_releases_the_gil(robot, ticks_during):
    moved = ticks_during(lambda: robot.set_lift_height(speed=50, height=200, block=1))  # about 1 s in the simulator
    assert robot.get_lift_state()[kyarm.LIFT_HEIGHT] == 200
    assert moved >= 20
