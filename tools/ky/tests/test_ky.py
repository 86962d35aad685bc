"""The ky tool driven as a user would, against a simulator it starts itself (ky sim --port 0).

KY_TOOL names the executable (set by ctest); without it the build tree's tools/ky is tried.
"""

import json
import os
import pty
import re
import select
import signal
import socket
import subprocess
import time

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
KY = os.environ.get("KY_TOOL") or os.path.join(HERE, "..", "..", "..", "build-h", "tools", "ky")


def free_udp_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def start_sim(*extra):
    p = subprocess.Popen([KY, "sim", "--port", "0", "--bind", "127.0.0.1", "--push-port", str(free_udp_port()),
                          "--speed-scale", "4", *extra], stdout=subprocess.PIPE, text=True)
    line = p.stdout.readline()
    m = re.search(r"ky-sim ready: .* on 127\.0\.0\.1:(\d+),", line)
    assert m, line
    return p, int(m.group(1))


@pytest.fixture
def sim():
    p, port = start_sim()
    yield port
    p.send_signal(signal.SIGTERM)
    assert p.wait(timeout=10) == 0


def ky(*args, timeout=60):
    return subprocess.run([KY, *map(str, args)], capture_output=True, text=True, timeout=timeout)


def state(port):
    r = ky("state", "--port", port, "--json")
    assert r.returncode == 0, r.stderr
    return json.loads(r.stdout)


@pytest.mark.parametrize("product,model,dof", [("KY6A-B", "KY6A", 6), ("KY7A-6F", "KY7A", 7)])
def test_info_json_names_the_model(product, model, dof):
    p, port = start_sim("--product", product)
    try:
        r = ky("info", "--port", port, "--json")
        assert r.returncode == 0 and r.stderr == "", r.stderr
        info = json.loads(r.stdout)
        assert (info["model"], info["dof"], info["product_version"]) == (model, dof, product)
        assert len(info["joint_limits"]["max_position"]) == dof
        assert info["realtime_push"]["enable"] is True and info["tool_frame"]["name"]
    finally:
        p.send_signal(signal.SIGTERM)
        p.wait(timeout=10)


def test_move_joint_then_state_and_raw(sim):
    target = [10, -20, 30, 5, 15, -5]
    r = ky("move", "joint", *target, "-v", 50, "--port", sim)
    assert r.returncode == 0 and r.stderr == "", r.stderr
    assert state(sim)["joint"] == pytest.approx(target, abs=0.01)

    # The reply line as the controller sent it (thousandths of a degree), found under the
    # query's name without get_ when no --reply is given.
    for extra in ([], ["--reply", "joint_degree"]):
        r = ky("raw", '{"command":"get_joint_degree"}', "--port", sim, *extra)
        assert r.returncode == 0, r.stderr
        reply = json.loads(r.stdout)
        assert reply["command"] == "joint_degree" and reply["joint"] == pytest.approx([t * 1000 for t in target], abs=2)

    pose = state(sim)["pose"]
    goal = [pose["position"][0] + 0.03, pose["position"][1] - 0.02, pose["position"][2] - 0.05]
    r = ky("move", "pose", *goal, *pose["euler"], "--port", sim, "--json")
    assert r.returncode == 0, r.stderr
    assert json.loads(r.stdout)["pose"]["position"] == pytest.approx(goal, abs=1e-5)
    assert state(sim)["pose"]["position"] == pytest.approx(goal, abs=1e-4)


@pytest.mark.parametrize("args,status,text", [
    (["info", "--port", "{closed}"], 3, "ky_create_robot_arm"),
    (["move", "joint", 1, 2, 3, "--port", "{sim}"], 2, "6 joints"),
    (["raw", "[1,2]", "--port", "{sim}"], 5, "ky_exchange_raw"),
    (["raw", '{"command":"get_joint_degree"}', "--reply", "nothing", "--timeout", 100, "--port", "{sim}"], 6,
     "no reply"),
    (["ik", 5, 5, 5, 0, 0, 0], 9, "no acceptable solution"),
    (["fk", "--model", "KY9", 0, 0, 0, 0, 0, 0], 2, "unknown model"),
])
def test_failures_give_their_status_and_one_stderr_line(sim, args, status, text):
    with socket.socket() as s:  # a port nothing listens on
        s.bind(("127.0.0.1", 0))
        closed = s.getsockname()[1]
    r = ky(*[str(a).replace("{sim}", str(sim)).replace("{closed}", str(closed)) for a in args])
    assert r.returncode == status, (r.stdout, r.stderr)
    lines = r.stderr.splitlines()
    assert len(lines) == 1 and lines[0].startswith("ky: ") and text in lines[0], r.stderr
    assert r.stdout == ""


def test_ctrl_c_stops_the_arm(sim):
    p = subprocess.Popen([KY, "move", "joint", *map(str, [170, -100, 100, 100, 100, 300, "-v", 5, "--port", sim])],
                         stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    time.sleep(1.0)
    p.send_signal(signal.SIGINT)
    out, err = p.communicate(timeout=10)
    assert p.returncode == 130 and "ky_set_arm_stop" in err
    a = state(sim)["joint"]
    time.sleep(0.3)
    b = state(sim)["joint"]
    assert a == b and a[0] < 100  # stopped on the way, not moving any more


@pytest.mark.parametrize("model,joints", [
    ("KY6A", [10, -20, 30, 5, 15, -5]),
    ("LUX6A", [-30, 10, 40, 0, 20, 10]),
])
def test_ik_inverts_fk(model, joints):
    r = ky("fk", "--model", model, "--json", *joints)
    assert r.returncode == 0, r.stderr
    pose = json.loads(r.stdout)["pose"]
    near = ",".join(str(j + 2) for j in joints)
    r = ky("ik", "--model", model, "--json", "--near", near, *pose["position"], *pose["euler"])
    assert r.returncode == 0, r.stderr
    assert json.loads(r.stdout)["joint"] == pytest.approx(joints, abs=0.01)


def test_watch_under_a_terminal_shows_the_joints_and_quits_on_q(sim):
    pid, fd = pty.fork()
    if pid == 0:
        os.execv(KY, [KY, "watch", "--port", str(sim), "--refresh", "50"])
    screen = b""
    deadline = time.monotonic() + 15
    while b"J6" not in screen and time.monotonic() < deadline:
        if select.select([fd], [], [], 0.5)[0]:
            screen += os.read(fd, 65536)
    assert b"\x1b[?1049h" in screen and b"J6" in screen and b"rate" in screen, screen[-500:]
    os.write(fd, b"q")
    deadline = time.monotonic() + 10
    status = None
    while status is None and time.monotonic() < deadline:
        try:
            if select.select([fd], [], [], 0.2)[0]:
                screen += os.read(fd, 65536)
        except OSError:
            pass
        done, st = os.waitpid(pid, os.WNOHANG)
        if done:
            status = st
    os.close(fd)
    assert status is not None and os.waitstatus_to_exitcode(status) == 0
    assert screen.rstrip().endswith(b"\x1b[?1049l") or b"\x1b[?1049l" in screen[-64:]
