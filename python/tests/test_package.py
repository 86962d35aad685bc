"""The package around the module: the committed type stub is current, the examples run."""

import os
import pathlib
import subprocess
import sys

import numpy as np
import pytest

import kyarm

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILT = pathlib.Path(kyarm.__file__).resolve().parents[1]  # <build>/python


def test_committed_stub_matches_the_built_module(tmp_path):
    fresh = subprocess.run([sys.executable, str(ROOT / "scripts" / "gen-pyi.py"), str(BUILT)],
                           capture_output=True, text=True, check=True, timeout=120).stdout
    committed = (ROOT / "python" / "kyarm" / "_kyarm.pyi").read_text()
    assert fresh == committed, ("python/kyarm/_kyarm.pyi is stale: run "
                                "python3 scripts/gen-pyi.py <build>/python > python/kyarm/_kyarm.pyi")
    compile(fresh, "_kyarm.pyi", "exec")


@pytest.mark.parametrize("example,extra,output", [
    ("state.py", [], None),
    ("moves.py", [], None),
    ("realtime_plot.py", ["-o", "joints.png"], "joints.png"),
])
def test_example_runs_against_the_simulator(tmp_path, example, extra, output):
    env = dict(os.environ, PYTHONPATH=str(BUILT), MPLBACKEND="Agg")
    run = subprocess.run([sys.executable, str(ROOT / "examples" / "python" / example), "--sim", *extra],
                         cwd=tmp_path, env=env, capture_output=True, text=True, timeout=120)
    assert run.returncode == 0, run.stdout + run.stderr
    if output:
        png = tmp_path / output
        assert png.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"


def load_generator():
    import importlib.util
    found = importlib.util.spec_from_file_location("gen_pyi", ROOT / "scripts" / "gen-pyi.py")
    module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module


@pytest.mark.parametrize("pybind_args,stub_args", [
    # own classes lose the module prefix, numpy arrays become NDArray, defaults become "..."
    ("self: kyarm._kyarm.Robot, pose: kyarm._kyarm.Pose, v: int = 20", "self, pose: Pose, v: int = ..."),
    ("self: kyarm._kyarm.Robot, x: numpy.ndarray[numpy.float32]", "self, x: numpy.typing.NDArray[numpy.float32]"),
    # a fixed-size list, a C++ type pybind11 could not name, commas and brackets inside a default
    ("self: kyarm._kyarm.Robot, q: List[float[4]], h: ky_secret_t, s: str = 'a, (b]'",
     "self, q: List[float], h: Any, s: str = ..."),
    # a required argument after a defaulted one still gives a valid stub
    ("self: kyarm._kyarm.Robot, a: int = 1, b: int", "self, a: int = ..., b: int = ..."),
    ("self: kyarm._kyarm.sim.Simulator, *args", "self, *args"),
])
def test_stub_generator_renders_signatures(pybind_args, stub_args):
    gen = load_generator()
    namer = gen.Namer(kyarm._kyarm)
    assert gen.render_args(pybind_args, namer, method=True) == stub_args


def test_simulator_state_agrees_with_the_robot():
    with kyarm.sim.Simulator(speed_scale=4.0, initial_joints=[10, 20, 30, 40, 50, 60]) as sim, \
            kyarm.Library(1), kyarm.Robot("127.0.0.1", sim.port) as robot:
        rows = [
            # (what the simulator says, what the robot reads back)
            (sim.joints, robot.get_joint_degree()),
            (sim.tool_pose.to_array(), robot.get_current_arm_state().pose.to_array()),
        ]
        for simulated, read in rows:
            np.testing.assert_allclose(read, simulated, atol=1e-3)
        assert sim.set_joints([0, -10, 20, 0, 30, 0])
        np.testing.assert_allclose(robot.get_joint_degree(), [0, -10, 20, 0, 30, 0], atol=1e-3)
        assert not sim.set_joints([999, 0, 0, 0, 0, 0])  # outside the joint limits
        assert (sim.dof, sim.model, sim.client_count, sim.trajectory_type, sim.paused) == (6, "KY6A-B", 1, 0, False)
        robot.movej_nblock([5, 5, 5, 5, 5, 5], 10)
        assert sim.moving and sim.trajectory_type == 1
        assert sim.wait_idle(10000) and sim.trajectory_type == 0


def test_simulators_side_by_side_push_to_their_own_ports():
    with kyarm.sim.Simulator() as a, kyarm.sim.Simulator() as b, kyarm.sim.Simulator(push_port=a.push_port) as c:
        assert a.push_port != b.push_port and c.push_port == a.push_port
        assert a.port != b.port
