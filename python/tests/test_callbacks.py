"""Callbacks and streams against the in-process simulator: values, faulty callables, GIL."""

import subprocess
import sys
import threading
import time

import numpy as np
import pytest

import kyarm

JOINTS = [12.5, -30.0, 45.0, 5.0, 60.0, -90.0]


@pytest.fixture
def sim():
    s = kyarm.sim.Simulator(speed_scale=4.0, initial_joints=JOINTS, push_cycle_ms=5)
    yield s
    s.stop()


@pytest.fixture
def robot(sim):
    with kyarm.Library(2), kyarm.Robot("127.0.0.1", sim.port) as r:
        yield r
    for set_callback in (kyarm.set_realtime_callback, kyarm.set_event_callback, kyarm.set_log_callback):
        set_callback(None)


def wait_until(predicate, seconds=3.0):
    deadline = time.monotonic() + seconds
    while not predicate() and time.monotonic() < deadline:
        time.sleep(0.01)
    return predicate()


def test_realtime_callback_gets_the_simulators_joints(sim, robot):
    got = []
    kyarm.set_realtime_callback(got.append)
    assert wait_until(lambda: len(got) >= 5)
    state = got[-1]
    assert isinstance(state, kyarm.RealtimeState) and state.err_code == 0
    np.testing.assert_allclose(state.joint_position[:sim.dof], sim.joints, atol=1e-3)
    assert state.sender_ip == "127.0.0.1"


@pytest.mark.parametrize("exc", [ValueError("boom"), KeyboardInterrupt(), SystemExit(3)])
def test_a_raising_callback_is_reported_and_later_pushes_still_arrive(robot, monkeypatch, exc):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", lambda u: reported.append(u.exc_value))
    calls = []

    def faulty(state):
        calls.append(state)
        raise exc

    kyarm.set_realtime_callback(faulty)
    assert wait_until(lambda: len(calls) >= 10)
    assert reported and reported[0] is exc
    # The library's UDP thread is still alive and delivering.
    good = []
    kyarm.set_realtime_callback(good.append)
    assert wait_until(lambda: len(good) >= 3)


def test_callable_is_checked_and_none_clears(robot):
    with pytest.raises(TypeError):
        kyarm.set_realtime_callback(42)
    got = []
    kyarm.set_realtime_callback(got.append)
    assert wait_until(lambda: got)
    kyarm.set_realtime_callback(None)
    time.sleep(0.05)  # a push already dispatched may still land
    n = len(got)
    time.sleep(0.1)
    assert len(got) == n


def test_event_callback_on_a_non_blocking_move(sim, robot):
    events = []
    kyarm.set_event_callback(events.append)
    target = [20, -10, 30, 0, 40, -80]
    robot.movej_nblock(target, 50)
    assert wait_until(lambda: events)
    e = events[0]
    assert (e.handle_id, e.event_type, e.device, e.trajectory_state) == (robot.id, 1, 0, True)
    np.testing.assert_allclose(sim.joints, target, atol=0.01)


def test_log_callback_gets_text_lines_at_the_level(robot):
    lines = []
    kyarm.set_log_callback(lines.append, level=0)
    robot.get_joint_degree()
    assert wait_until(lambda: any("get_joint_degree" in line for line in lines))
    assert all(isinstance(line, str) and not line.endswith("\n") for line in lines)


@pytest.mark.parametrize("maxsize,wait,expect_drops", [(1000, 0.0, False), (3, 0.2, True)])
def test_stream_yields_states_and_drops_the_oldest_when_full(sim, robot, maxsize, wait, expect_drops):
    with robot.realtime(maxsize=maxsize, timeout=2.0, count=5) as stream:
        time.sleep(wait)  # a consumer that falls behind
        states = list(stream)
    assert len(states) == 5
    np.testing.assert_allclose(states[-1].joint_position[:6], JOINTS, atol=1e-3)
    assert (stream.dropped > 0) == expect_drops
    assert stream.closed


def test_stream_works_beside_a_user_callback(robot):
    got = []
    kyarm.set_realtime_callback(got.append)
    with kyarm.realtime(timeout=2.0, count=3) as stream:
        assert len(list(stream)) == 3
    assert got


def test_stream_times_out_without_pushes():
    # No library and no robot: nothing is pushed.
    with kyarm.realtime(timeout=0.1) as stream, pytest.raises(TimeoutError):
        next(stream)


def test_stream_close_from_another_thread_ends_the_loop(robot):
    stream = kyarm.events(timeout=None)  # nothing moves: it would wait forever
    threading.Timer(0.1, stream.close).start()
    assert list(stream) == []


def test_event_stream_of_a_robot(robot):
    with robot.events(timeout=3.0) as events:
        robot.movej_nblock([1, 2, 3, 4, 5, 6], 50)
        e = events.get()
    assert (e.handle_id, e.event_type) == (robot.id, 1)


EXIT_SCRIPT = """
import time, kyarm
sim = kyarm.sim.Simulator(speed_scale=4.0, push_cycle_ms=1)
kyarm.init(2)
robot = kyarm.Robot("127.0.0.1", sim.port)
seen = []
kyarm.set_realtime_callback(lambda s: (seen.append(s), time.sleep(0.002)))
kyarm.set_event_callback(print)
kyarm.set_log_callback(lambda line: None, level=0)
stream = robot.realtime()
while len(seen) < 20:
    time.sleep(0.01)
print("exiting", flush=True)
"""


def test_exit_with_callbacks_and_a_running_library_is_clean():
    # Leaves the library running, callbacks set and the robot open: the exit hook must clear
    # the callbacks and stop the library threads before the interpreter goes away.
    for _ in range(3):
        run = subprocess.run([sys.executable, "-c", EXIT_SCRIPT], capture_output=True, text=True, timeout=60)
        assert run.returncode == 0, run.stderr
        assert run.stdout.strip() == "exiting" and "Error" not in run.stderr
