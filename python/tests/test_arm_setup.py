"""Joint configuration, Cartesian limits, jogging, frames, pass-through and force-position
methods against the in-process simulator: units and slots of values set and read back, the
records' conversions, refusals before sending, family errors and the GIL."""

import time

import numpy as np
import pytest

import kyarm


def arm_reaches(sim, target):
    for _ in range(200):
        if np.allclose(sim.joints, target, atol=0.01):
            return True
        time.sleep(0.01)
    return False


# setter, its keyword arguments, getter, slot of the getter's array (None: a scalar), expected
ROUND_TRIPS = [
    ("set_joint_max_speed", dict(joint=2, speed=90), "get_joint_max_speed", 1, 90),
    ("set_joint_max_acc", dict(joint=4, acc=240), "get_joint_max_acc", 3, 240),
    ("set_joint_min_pos", dict(joint=3, pos=-100), "get_joint_min_pos", 2, -100),
    ("set_joint_max_pos", dict(joint=1, pos=150), "get_joint_max_pos", 0, 150),
    ("set_joint_drive_max_speed", dict(joint=5, speed=150), "get_joint_drive_max_speed", 4, 150),
    ("set_joint_drive_max_acc", dict(joint=2, acc=50), "get_joint_drive_max_acc", 1, 300),  # read back x 6
    ("set_joint_drive_min_pos", dict(joint=6, pos=-170), "get_joint_drive_min_pos", 5, -170),
    ("set_arm_max_line_speed", dict(speed=0.25), "get_arm_max_line_speed", None, 0.25),
    ("set_arm_max_line_acc", dict(acc=1.5), "get_arm_max_line_acc", None, 1.5),
    ("set_arm_max_angular_speed", dict(speed=0.75), "get_arm_max_angular_speed", None, 0.75),
    ("set_arm_max_angular_acc", dict(acc=2.5), "get_arm_max_angular_acc", None, 2.5),
    ("set_collision_state", dict(stage=4), "get_collision_stage", None, 4),
    ("set_teach_frame", dict(frame_type=1), "get_teach_frame", None, 1),
]


@pytest.mark.parametrize("setter,kwargs,getter,slot,expected", ROUND_TRIPS, ids=[r[0] for r in ROUND_TRIPS])
def test_set_then_get_keeps_units_and_slots(robot, setter, kwargs, getter, slot, expected):
    getattr(robot, setter)(**kwargs)
    value = getattr(robot, getter)()
    if slot is not None:
        assert isinstance(value, np.ndarray) and value.dtype == np.float32 and value.shape == (6,)
        value = value[slot]
    assert value == pytest.approx(expected, abs=1e-3)


def test_integer_joint_arrays_are_dof_long(robot):
    robot.set_joint_en_state(joint=3, state=0)
    en = robot.get_joint_en_state()
    assert en.dtype == np.uint8 and list(en) == [1, 1, 0, 1, 1, 1]
    err, brake = robot.get_joint_err_flag()
    assert err.dtype == np.uint16 and err.shape == (6,) and brake.shape == (6,)


def test_frames_and_envelopes_round_trip(robot):
    robot.set_manual_work_frame("wa_w", [0.1, -0.2, 0.05, 0, 0, 0.5])
    assert "wa_w" in robot.get_total_work_frame()
    p = robot.get_given_work_frame("wa_w")
    assert (p.x, p.y, p.rz) == pytest.approx((0.1, -0.2, 0.5), abs=1e-4)
    robot.change_work_frame(name="wa_w")
    assert robot.get_current_work_frame().name == "wa_w"
    assert kyarm.Robot.frame_matrix()[0, 3] == pytest.approx(0.1)

    tool = kyarm.Frame()
    tool.name, tool.pose, tool.payload, tool.z = "wa_t", kyarm.Pose(z=0.12), 1.5, 0.03
    robot.set_manual_tool_frame(tool)
    t = robot.get_given_tool_frame("wa_t")
    assert (t.name, t.pose.z, t.payload, t.z) == ("wa_t", pytest.approx(0.12), pytest.approx(1.5), pytest.approx(0.03))

    env = kyarm.ToolEnvelope(tool_name="wa_t", balls=[kyarm.EnvelopeBall("b0", radius=0.05),
                                                       kyarm.EnvelopeBall("b1", radius=0.02, z=0.1)])
    robot.set_tool_envelope(env)
    back = robot.get_tool_envelope("wa_t")
    assert back.count == 2 and [b.name for b in back.balls] == ["b0", "b1"]
    assert back.balls[1].z == pytest.approx(0.1)
    with pytest.raises(ValueError):
        kyarm.ToolEnvelope(balls=[kyarm.EnvelopeBall()] * 6)

    robot.delete_tool_frame("wa_t")
    with pytest.raises(kyarm.RefusedError) as e:
        robot.get_given_tool_frame("wa_t")
    assert e.value.family == "frames" and e.value.function == "ky_get_given_tool_frame"
    assert "no frame or tool of that name" in str(e.value)


@pytest.mark.parametrize("call", [
    lambda r: r.movej_canfd([1, 2, 3], follow=False),
    lambda r: r.movej_follow(np.zeros(3, dtype=np.float32)),
    lambda r: r.force_position_move_joint([1, 2, 3], sensor=0, mode=0, direction=2, follow=False, force=5),
    lambda r: r.change_tool_frame("n" * 13),
    lambda r: r.get_given_work_frame("n" * 13),
], ids=["movej_canfd", "movej_follow", "force_position_move_joint", "change_tool_frame", "get_given_work_frame"])
def test_short_vectors_and_long_names_are_refused_before_sending(robot, call):
    with pytest.raises(kyarm.HandleError) as e:
        call(robot)
    assert e.value.family == "wrapper"


def test_streamed_set_points_move_the_arm(sim, robot):
    robot.movej_canfd(np.array([1, 2, 3, 4, 5, 6], dtype=np.float64), follow=False)
    assert arm_reaches(sim, [1, 2, 3, 4, 5, 6])
    robot.start_force_position_move()
    params = kyarm.ForcePositionMoveParams(joint=[3, 4, 5, 6, 7, 8], desired_force=[0, 0, 5, 0, 0, 0])
    assert params.target_type == kyarm.FORCE_TARGET_JOINT and params.joint.shape == (7,)
    robot.force_position_move(params)
    assert arm_reaches(sim, [3, 4, 5, 6, 7, 8])
    robot.stop_force_position_move()
    params.target_type = 7
    with pytest.raises(kyarm.HandleError) as e:
        robot.force_position_move(params)
    assert e.value.family == "force_position"


@pytest.mark.parametrize("kwargs", [dict(sensor=1), dict(joint=[0] * 6, pose=[0] * 6), dict(joint=[0] * 8),
                                    dict(joint=[0] * 6, control_mode=[1, 2])])
def test_force_move_params_reject_ambiguous_or_oversized_input(kwargs):
    with pytest.raises(ValueError):
        kyarm.ForcePositionMoveParams(**kwargs)


def test_blocking_step_releases_the_gil_and_the_query_reports_the_shape(sim, robot, ticks_during):
    moved = ticks_during(lambda: robot.set_joint_step_block(joint=1, step=60.0, v=20))  # a few hundred ms in the simulator
    assert sim.joints[0] == pytest.approx(60.0, abs=0.01)
    assert moved >= 5

    idle = robot.get_arm_current_trajectory()
    assert idle.type == 0 and idle.data.shape == (6,)
    pose = robot.get_current_arm_state().pose
    pose.z -= 0.05
    robot.movel(pose, v=5, block=0)
    line = robot.get_arm_current_trajectory()
    assert line.type == 2 and line.data.shape == (6,)
    robot.set_arm_stop()
