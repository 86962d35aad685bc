"""The Python surface against the in-process simulator: error codes, values, the GIL."""

import numpy as np
import pytest

import kyarm


def test_values_come_back_as_numpy_in_c_units(robot):
    robot.movej([10, -20, 30, 0, 15, 5], v=50)
    j = robot.get_joint_degree()
    assert isinstance(j, np.ndarray) and j.dtype == np.float32 and j.shape == (6,)
    np.testing.assert_allclose(j, [10, -20, 30, 0, 15, 5], atol=0.01)
    assert robot.dof == 6 and robot.get_arm_dof() == 6


@pytest.mark.parametrize("fault,cls,code", [
    ("refuse_all", kyarm.RefusedError, 1),
])
def test_refused_move_raises_with_code_and_function(sim, robot, fault, cls, code):
    sim.set_faults(**{fault: True})
    with pytest.raises(cls) as e:
        robot.movej([1, 2, 3, 4, 5, 6], v=20)
    assert e.value.code == code and e.value.function == "ky_movej" and e.value.family == "motion"


def test_silent_peer_times_out(sim, robot):
    kyarm.set_timeout(200)
    try:
        sim.set_faults(drop_share=1.0)
        with pytest.raises(kyarm.TimeoutError) as e:
            robot.get_joint_degree()
        assert e.value.code == -2 and isinstance(e.value, TimeoutError)
    finally:
        kyarm.set_timeout(500)


def test_unknown_handle_after_close(robot):
    robot.close()
    with pytest.raises(kyarm.HandleError) as e:
        robot.get_joint_degree()
    assert e.value.code == -1


def test_short_joint_vector_is_refused_before_sending(robot):
    with pytest.raises(kyarm.HandleError) as e:
        robot.movej([1, 2, 3], v=20)
    assert e.value.family == "wrapper"


def test_blocking_move_releases_the_gil(robot, ticks_during):
    moved = ticks_during(lambda: robot.movej([30, 30, 30, 30, 30, 30], v=30))  # takes a few hundred ms in the simulator
    assert moved >= 5


@pytest.mark.parametrize("text,arm_err", [
    ('{"waypoint":{"quat":[1000000,0,0,0],"euler":[0,0,0],"position":[0,0,0]},"arm_err":7,"sys_err":0}', 7),
    ('{"arm_err":7}', None),
])
def test_parse_realtime_text(text, arm_err):
    if arm_err is None:
        with pytest.raises(kyarm.ParseError):
            kyarm.parse_realtime_arm_joint_state(text)
    else:
        assert kyarm.parse_realtime_arm_joint_state(text).arm_err == arm_err
