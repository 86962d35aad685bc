"""Drag, fence, Modbus, program store, project and waypoint methods against the simulator:
records in and out, family errors, refusals before sending, the GIL during a program run."""

import numpy as np
import pytest

import kyarm


@pytest.fixture
def sim():
    s = kyarm.sim.Simulator(model="KY6A-B", speed_scale=4.0, push_enable=False)
    yield s
    s.stop()


def project_file(path, joints, extra=None):
    """A headed project of one joint move (degrees), plus an optional raw line."""
    move = '{"command":"movej","joint":[%s],"v":50,"r":0,"trajectory_connect":0}' % ",".join(
        str(int(j * 1000)) for j in joints)
    body = [move] + ([extra] if extra else [])
    head = ['{"file":6}', '{"name":"Folder","num":1,"type":%d,"enabled":true,"parent_number":0}' % len(body)]
    path.write_bytes("".join(line + "\r\n" for line in head + body).encode())
    return str(path)


def check_fence_enable(r):
    r.set_electronic_fence_enable(kyarm.FenceEnable(enable_state=True, in_out_side=1, effective_region=2))
    e = r.get_electronic_fence_enable()
    assert (e.enable_state, e.in_out_side, e.effective_region) == (True, 1, 2)


def check_wall(r):
    r.set_virtual_wall_config(kyarm.FenceConfig(form=kyarm.FENCE_SPHERE, x=0.25, y=-0.5, z=0.75, radius=0.125))
    c = r.get_virtual_wall_config()
    assert c.form == kyarm.FENCE_SPHERE
    np.testing.assert_allclose([c.x, c.y, c.z, c.radius], [0.25, -0.5, 0.75, 0.125], atol=1e-3)


def check_named_fence(r):
    r.add_electronic_fence_config(kyarm.FenceConfig(form=kyarm.FENCE_CUBE, form_name="cage", x_min_limit=-0.5,
                                                    x_max_limit=0.5, y_min_limit=-0.25, y_max_limit=0.75,
                                                    z_min_limit=-0.5, z_max_limit=1.0))
    assert r.get_electronic_fence_list_names() == ["cage"]
    [c] = r.get_electronic_fence_list_infos()
    assert c.form_name == "cage" and abs(c.y_max_limit - 0.75) < 1e-3


def check_waypoint(r):
    p = kyarm.Waypoint(point_name="wc_pick", joint=[10.5, -20.25, 30, 0, 45.125, -90],
                       pose=[0.25, -0.125, 0.5, 3.1416, 0, -1.5], work_frame="World", tool_frame="Arm_Tip")
    sent = r.add_global_waypoint(p)
    assert len(sent.time) == 19 and p.time == ""
    got = r.get_given_global_waypoint("wc_pick")
    np.testing.assert_allclose(got.joint[:6], [10.5, -20.25, 30, 0, 45.125, -90], atol=1e-3)
    np.testing.assert_allclose(got.pose.to_array(), [0.25, -0.125, 0.5, 3.1416, 0, -1.5], atol=1e-3)
    page = r.get_global_waypoints_list(1, 10, "wc_")
    assert page.total_size == 1 and [w.point_name for w in page.points] == ["wc_pick"]
    assert r.get_global_waypoints_list(2, 10).points == []


@pytest.mark.parametrize("check", [
    lambda r: (r.set_drag_teach_sensitivity(grade=4), r.get_drag_teach_sensitivity() == 4)[1],
    lambda r: (r.set_self_collision_enable(True), r.get_self_collision_enable() is True)[1],
    lambda r: (r.set_arm_run_mode(5), r.get_arm_run_mode() == 1)[1],
    check_fence_enable, check_wall, check_named_fence, check_waypoint,
], ids=["sensitivity", "self_collision", "run_mode", "fence_enable", "wall", "named_fence", "waypoint"])
def test_set_then_get(robot, check):
    assert check(robot) in (True, None)


@pytest.mark.parametrize("call,cls,code,family", [
    (lambda r: r.add_electronic_fence_config(kyarm.FenceConfig(form=9)), kyarm.FamilyError, -4, "fence"),
    (lambda r: r.get_given_global_waypoint("nowhere"), kyarm.RefusedError, 1, "waypoints"),
    (lambda r: r.set_program_id_run(99), kyarm.RefusedError, 1, "program_store"),
    (lambda r: r.read_coils(kyarm.ModbusRwParams(port=0, address=0, device=1, num=8)), kyarm.RefusedError, 1, "modbus"),
    (lambda r: r.save_trajectory("/nonexistent-dir/x.txt"), kyarm.FamilyError, -4, "drag"),
])
def test_family_errors(robot, call, cls, code, family):
    with pytest.raises(cls) as e:
        call(robot)
    assert e.value.code == code and e.value.family == family


@pytest.mark.parametrize("call", [
    lambda r: r.write_registers(kyarm.ModbusRwParams(port=3, num=3), [1, 2, 3, 4, 5]),
    lambda r: r.write_coils(kyarm.ModbusRwParams(port=3, num=16), [0xFF]),
    lambda r: kyarm.Robot.countLinesInFile("/nonexistent/x"),
    lambda r: r.add_lines_to_file("/nonexistent/x", "/tmp/never-written"),
], ids=["registers", "coils", "count_lines", "add_lines"])
def test_short_or_unreadable_inputs_refused_before_sending(robot, call):
    with pytest.raises(kyarm.HandleError) as e:
        call(robot)
    assert e.value.family == "wrapper"


def test_records_reject_unknown_or_too_long_fields():
    with pytest.raises(AttributeError):
        kyarm.FenceConfig(no_such_field=1)
    with pytest.raises(ValueError):
        kyarm.FenceConfig(form_name="thirteen-byte")
    with pytest.raises(ValueError):
        kyarm.Waypoint(joint=[0] * 8)


def test_project_rejection_carries_its_line(robot, tmp_path):
    path = project_file(tmp_path / "wc_bad.txt", [0] * 6, extra='{"command":"no_such_command"}')
    up = kyarm.ProjectUpload(project_path=path, plan_speed=100, only_save=1, save_id=5)
    with pytest.raises(kyarm.RefusedError) as e:
        robot.send_project(up)
    assert e.value.family == "project" and e.value.err_line == 4
    assert up.project_path == path and up.project_path_len == len(path)


def test_stored_program_run_releases_the_gil(robot, tmp_path, ticks_during):
    up = kyarm.ProjectUpload(project_path=project_file(tmp_path / "wc_job.txt", [30] * 6), plan_speed=100,
                             only_save=1, save_id=6)
    assert robot.send_project(up) == "wc_job"
    [info] = robot.get_program_trajectory_list(1, 10, vague_search="wc_").list
    assert (info.id, info.trajectory_name) == (6, "wc_job")

    moved = ticks_during(lambda: robot.set_program_id_run(6))  # blocks until the program has finished: a few hundred ms
    assert moved >= 5
    np.testing.assert_allclose(robot.get_joint_degree(), [30] * 6, atol=0.01)
