"""kyarm.algo against the C kinematics: the same bits out of the binding as out of the C
functions, called directly through ctypes on a second copy of the C library (its own
algorithm state, configured identically), so that rounding, argument order and output sizes
of the numpy layer are all checked."""

import ctypes
import os
from pathlib import Path

import numpy as np
import pytest

import kyarm

alg = kyarm.algo

MODELS = [0, 1, 3, 4, 5, 6, 7, 8]
# Not representable in float32: the binding must round them as a C float parameter does.
JOINTS = [np.zeros(7), np.array([10.1, -20.2, 30.3, -40.4, 50.5, -60.6, 15.15]),
          np.array([-35.3, 40.7, 60.1, 25.9, -70.3, 110.2, -30.6])]


class Position(ctypes.Structure):
    _fields_ = [("x", ctypes.c_float), ("y", ctypes.c_float), ("z", ctypes.c_float)]


class Quaternion(ctypes.Structure):
    _fields_ = [(n, ctypes.c_float) for n in "wxyz"]


class Euler(ctypes.Structure):
    _fields_ = [(n, ctypes.c_float) for n in ("rx", "ry", "rz")]


class Pose(ctypes.Structure):
    _fields_ = [("position", Position), ("quaternion", Quaternion), ("euler", Euler)]


class Matrix(ctypes.Structure):
    _fields_ = [("rows", ctypes.c_uint16), ("cols", ctypes.c_uint16), ("data", (ctypes.c_float * 4) * 4)]


class Frame(ctypes.Structure):
    _fields_ = [("frame_name", ctypes.c_char * 12), ("pose", Pose), ("payload", ctypes.c_float),
                ("x", ctypes.c_float), ("y", ctypes.c_float), ("z", ctypes.c_float)]


class IkParams(ctypes.Structure):
    _fields_ = [("current_joints", ctypes.c_float * 7), ("target_pose", Pose), ("flag", ctypes.c_uint8)]


def c_library_path():
    explicit = os.environ.get("KYARM_C_LIBRARY")
    if explicit:
        return Path(explicit)
    # The build tree: <build>/python/kyarm/__init__.py beside <build>/libkyarm.so.
    return Path(kyarm.__file__).resolve().parents[2] / "libkyarm.so"


@pytest.fixture(scope="module")
def c():
    path = c_library_path()
    if not path.exists():
        pytest.skip(f"no C library at {path} (set KYARM_C_LIBRARY)")
    lib = ctypes.CDLL(str(path))
    floats = ctypes.POINTER(ctypes.c_float)
    sig = {
        "ky_algo_init_sys_data": (ctypes.c_int, [ctypes.c_uint32, ctypes.c_uint32]),
        "ky_algo_set_toolframe": (None, [ctypes.POINTER(Frame)]),
        "ky_algo_forward_kinematics": (Pose, [ctypes.c_void_p, floats]),
        "ky_algo_inverse_kinematics": (ctypes.c_int, [ctypes.c_void_p, ctypes.POINTER(IkParams), floats]),
        "ky_algo_cartesian_tool": (Pose, [ctypes.c_void_p, floats] + [ctypes.c_float] * 3),
        "ky_algo_euler2quaternion": (Quaternion, [Euler]),
        "ky_algo_quaternion2euler": (Euler, [Quaternion]),
        "ky_algo_euler2matrix": (Matrix, [Euler]),
        "ky_algo_pos2matrix": (Matrix, [Pose]),
        "ky_algo_matrix2pos": (Pose, [Matrix]),
        "ky_algo_workframe2base": (Pose, [ctypes.POINTER(Frame), Pose]),
        "ky_algo_tool2end": (Pose, [ctypes.POINTER(Frame), Pose]),
        "ky_algo_rotate_move": (Pose, [Pose, ctypes.c_int, ctypes.c_float, Pose]),
        "ky_algo_pose_move": (Pose, [Pose, floats, ctypes.c_int]),
    }
    for name, (res, args) in sig.items():
        getattr(lib, name).restype = res
        getattr(lib, name).argtypes = args
    return lib


def floats(values, n):
    return (ctypes.c_float * n)(*values)


def bits(*values):
    return np.asarray(values, dtype=np.float32).tobytes()


def pose_bits(p):
    if isinstance(p, Pose):
        return bits(p.position.x, p.position.y, p.position.z, p.quaternion.w, p.quaternion.x, p.quaternion.y,
                    p.quaternion.z, p.euler.rx, p.euler.ry, p.euler.rz)
    return bits(p.x, p.y, p.z, *p.quaternion, p.rx, p.ry, p.rz)


def c_pose(values):
    p = Pose()
    p.position.x, p.position.y, p.position.z, p.euler.rx, p.euler.ry, p.euler.rz = values
    return p


def frame_pair(values):
    f = kyarm.Frame()
    f.pose = kyarm.Pose(values)
    cf = Frame()
    cf.pose = c_pose(values)
    return f, cf


@pytest.mark.parametrize("model", MODELS)
def test_kinematics_and_conversions_equal_the_c_calls(c, model):
    alg.init_sys_data(model)
    assert c.ky_algo_init_sys_data(model, 0) == 0
    tool, c_tool = frame_pair([0.01, -0.02, 0.1, 0.1, -0.2, 0.3])
    alg.set_toolframe(tool)
    c.ky_algo_set_toolframe(ctypes.byref(c_tool))
    dof = alg.get_rbt_dof()
    assert dof in (6, 7)
    solved = 0
    for q in JOINTS:
        cq = floats(q[:dof], 7)
        p = alg.forward_kinematics(None, q[:dof])
        cp = c.ky_algo_forward_kinematics(None, cq)
        assert pose_bits(p) == pose_bits(cp)
        assert pose_bits(alg.cartesian_tool(None, q[:dof], 0.011, -0.02, 0.03)) == \
            pose_bits(c.ky_algo_cartesian_tool(None, cq, 0.011, -0.02, 0.03))

        start = q[:dof] + 1.1
        params = alg.InverseKinematicsParams(current_joints=start, target_pose=p, flag=1)
        c_params = IkParams(floats(start, 7), cp, 1)
        c_sol = floats([], 7)
        rc = c.ky_algo_inverse_kinematics(None, ctypes.byref(c_params), c_sol)
        if rc == 0:
            sol = alg.inverse_kinematics(None, params)
            assert sol.dtype == np.float32 and sol.shape == (dof,)
            assert sol.tobytes() == bits(*c_sol[:dof])
            solved += 1
        else:
            with pytest.raises(kyarm.Error) as e:
                alg.inverse_kinematics(None, params)
            assert e.value.code == rc

        euler = (p.rx, p.ry, p.rz)
        cq4 = c.ky_algo_euler2quaternion(cp.euler)
        assert bits(*alg.euler2quaternion(euler)) == bits(*[getattr(cq4, n) for n in "wxyz"])
        ce = c.ky_algo_quaternion2euler(cp.quaternion)
        assert bits(*alg.quaternion2euler(p.quaternion)) == bits(ce.rx, ce.ry, ce.rz)
        m3 = c.ky_algo_euler2matrix(cp.euler)
        assert alg.euler2matrix(euler).tobytes() == bits(*[m3.data[r][k] for r in range(3) for k in range(3)])
        m4 = alg.pos2matrix(p)
        cm4 = c.ky_algo_pos2matrix(cp)
        assert m4.shape == (4, 4) and m4.tobytes() == bits(*[cm4.data[r][k] for r in range(4) for k in range(4)])
        assert pose_bits(alg.matrix2pos(m4)) == pose_bits(c.ky_algo_matrix2pos(cm4))
        work, c_work = frame_pair([0.2, 0.1, -0.05, 0.3, 0.0, -1.2])
        assert pose_bits(alg.workframe2base(work, p)) == pose_bits(c.ky_algo_workframe2base(ctypes.byref(c_work), cp))
        assert pose_bits(alg.tool2end(None, p)) == pose_bits(c.ky_algo_tool2end(None, cp))
        assert pose_bits(alg.rotate_move(p, 1, 0.3, p)) == pose_bits(c.ky_algo_rotate_move(cp, 1, 0.3, cp))
        offset = [0.01, 0.02, -0.03, 0.1, 0.2, -0.3]
        for frame in (0, 1):
            assert pose_bits(alg.pose_move(p, offset, frame)) == \
                pose_bits(c.ky_algo_pose_move(cp, floats(offset, 6), frame))
    assert solved >= 1
    alg.init_sys_data(0)


# Setter/getter pairs of the state: distinct float64 values per slot, read back as the
# float32 the C field holds; a pair bound to the wrong C function or size shows here.
STATE = [("set_tool_cs_params", "get_tool_cs_params", 6), ("set_work_cs_params", "get_work_cs_params", 6),
         ("set_payload_params", "get_payload_params", 11), ("set_jointlim_max", "get_jointlim_max", 8),
         ("set_jointlim_min", "get_jointlim_min", 8), ("set_joint_vel_maxlim", "get_joint_vel_maxlim", 8),
         ("set_joint_acc_maxlim", "get_joint_acc_maxlim", 8), ("set_tcp_config", "get_tcp_config", 4),
         ("set_user_collision_threshold", "get_user_collision_threshold", 21),
         ("set_trajectory_planning_joint_cmd", "get_trajectory_planning_joint_cmd", 8),
         ("update_feedback_data", "get_robot_feedback_data", 71)]


@pytest.mark.parametrize("setter,getter,n", STATE)
def test_state_arrays_round_trip(setter, getter, n):
    alg.init_sys_data(0)
    values = 0.1 * np.arange(1, n + 1) + n
    getattr(alg, setter)(values)
    got = getattr(alg, getter)()
    if setter == "update_feedback_data":  # joint vectors are stored with the theta offsets
        got[:16] -= np.tile(alg.get_dh_value().offset, 2)
        np.testing.assert_allclose(got, values.astype(np.float32), rtol=1e-6)
    else:
        assert got.dtype == np.float32 and got.tobytes() == values.astype(np.float32).tobytes()
    with pytest.raises(kyarm.HandleError) as e:  # one value short: refused before the C call
        getattr(alg, setter)(values[:-1])
    assert e.value.family == "wrapper"
    alg.init_sys_data(0)


def test_records_and_limits_in_degrees():
    alg.init_sys_data(1)
    dh = alg.get_dh_value()
    assert dh.d.shape == (8,) and dh.d[7] == 0
    dh.a = dh.a + np.float32(0.001)
    alg.set_dh_params(dh)
    assert not alg.check_dh_params_is_default()
    assert alg.get_dh_value().a[:7].tobytes() == dh.a[:7].tobytes()
    alg.set_dh_params_default()
    assert alg.check_dh_params_is_default()
    limits = alg.get_joint_max_limit()
    assert limits.shape == (7,)
    alg.set_joint_max_limit(limits - 1.5)
    # Kept in radians: the degrees come back within float32 rounding of the conversion.
    np.testing.assert_allclose(alg.get_joint_max_limit(), limits - 1.5, atol=1e-4)
    assert alg.judgment_overpos(limits - 1.0) and not alg.judgment_overpos(np.zeros(7))
    alg.init_sys_data(0)


@pytest.mark.parametrize("params,cls,code,family", [
    (alg.InverseKinematicsParams([0] * 6, kyarm.Pose(5.0, 0, 0.3, 3.14, 0, 0), 1), kyarm.RefusedError, 1, "algo"),
    (alg.InverseKinematicsParams([1000, 0, 0, 0, 0, 0], kyarm.Pose(0.3, 0, 0.3), 1), kyarm.HandleError, -1, "algo"),
    (alg.InverseKinematicsParams([0] * 6, kyarm.Pose(0.3, 0, 0.3), 0), kyarm.FamilyError, -2, "algo"),
])
def test_failed_solves_raise_with_the_kinematics_meaning(params, cls, code, family):
    alg.init_sys_data(0)
    with pytest.raises(cls) as e:
        alg.inverse_kinematics(None, params)
    assert (e.value.code, e.value.function, e.value.family) == (code, "ky_algo_inverse_kinematics", family)
    assert not isinstance(e.value, TimeoutError)  # -2 is a refused quaternion here
    with pytest.raises(kyarm.HandleError) as e:
        alg.forward_kinematics(None, [1, 2, 3])
    assert e.value.family == "wrapper"
    with pytest.raises(kyarm.HandleError):
        alg.init_sys_data(2)
    alg.init_sys_data(0)


@pytest.mark.parametrize("model,robot_type", [("KY6A-B", 0), ("KY7A-B", 1)])
def test_robot_forms_load_the_arm(model, robot_type):
    with kyarm.sim.Simulator(model=model, speed_scale=4.0) as sim, kyarm.Library(1), \
            kyarm.Robot("127.0.0.1", sim.port) as robot:
        q = JOINTS[1][:robot.dof]
        alg.init_sys_data(5)  # another model offline: the robot form must load the arm's
        p = alg.forward_kinematics(robot, q)
        assert alg.get_rbt_dof() == robot.dof
        sol = alg.inverse_kinematics(robot, alg.InverseKinematicsParams(q + 0.5, p))
        assert sol.shape == (robot.dof,)
        # The same arm selected offline (the simulator's frames are the identity) gives the same bits.
        alg.init_sys_data(robot_type)
        assert pose_bits(alg.forward_kinematics(None, q)) == pose_bits(p)
        assert alg.inverse_kinematics(None, alg.InverseKinematicsParams(q + 0.5, p)).tobytes() == sol.tobytes()
        alg.arm_state_set(None)  # no robot: the state stays as it is
        assert alg.get_rbt_dof() == robot.dof
    alg.init_sys_data(0)
