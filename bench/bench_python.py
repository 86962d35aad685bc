#!/usr/bin/env python3
"""What the Python binding adds to a call: the same C call timed in a C++ loop
(kyarm._bench) and through the Python method, in alternating rounds of the same run,
against the in-process simulator.

    python3 bench/bench_python.py [<build>/python] [--calls N] [--rounds R]

Two calls: get_joint_degree (a query that waits for the controller's reply) and
movej_canfd (the streaming call, which sends and never waits). Prints the median per-call
time of each side and the median difference of paired rounds: the time the binding adds
per call.
"""

import argparse
import os
import statistics
import sys
import time

GOAL_US = 3.0  # what the binding may add to a call


def rounds(c_loop, py_loop, calls, count):
    """Seconds per call of each side (medians over `count` alternating rounds) and the
    median of the per-round differences: pairing each Python round with a C++ round next to
    it cancels most of the drift of a shared, loaded machine."""
    c_times, py_times = [], []
    c_loop(calls)  # warm-up: connection, caches, allocator
    py_loop(calls)
    for i in range(count):
        # Each side goes first in every other round, so neither inherits the other's wake-ups.
        if i % 2:
            py_times.append(py_loop(calls) / calls)
            c_times.append(c_loop(calls) / calls)
        else:
            c_times.append(c_loop(calls) / calls)
            py_times.append(py_loop(calls) / calls)
    diffs = [p - c for c, p in zip(c_times, py_times)]
    return statistics.median(c_times), statistics.median(py_times), statistics.median(diffs)


def report(name, c, py, diff):
    added = diff * 1e6
    verdict = "within" if added <= GOAL_US else "over"
    print(f"{name:<18} C++ loop {c * 1e6:8.2f} us/call   Python {py * 1e6:8.2f} us/call   "
          f"added {added:+6.2f} us/call ({py / c:.3f}x; {verdict} the {GOAL_US:g} us goal)")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    default_dir = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "build-bench", "python")
    parser.add_argument("python_dir", nargs="?", default=default_dir, help="<build>/python holding kyarm")
    parser.add_argument("--calls", type=int, default=300, help="calls per round")
    parser.add_argument("--rounds", type=int, default=61, help="rounds per side")
    args = parser.parse_args()
    sys.path.insert(0, os.path.abspath(args.python_dir))
    import numpy as np
    import kyarm
    from kyarm._kyarm import _bench

    print("=== bench_python.py: per-call cost of the Python binding (median of "
          f"{args.rounds} rounds of {args.calls} calls)")
    with kyarm.sim.Simulator(push_enable=False) as sim, kyarm.Library(1), \
            kyarm.Robot("127.0.0.1", sim.port) as robot:
        perf = time.perf_counter

        def py_get(n):
            call = robot.get_joint_degree
            t0 = perf()
            for _ in range(n):
                call()
            return perf() - t0

        report("get_joint_degree", *rounds(lambda n: _bench.c_loop_get_joint_degree(robot, n), py_get,
                                           args.calls, args.rounds))

        joint = np.zeros(robot.dof, dtype=np.float32)
        if hasattr(robot, "movej_canfd"):
            name, stream = "movej_canfd", robot.movej_canfd
        else:  # a build without the passthrough family: the same call bound the same way
            name, stream = "movej_canfd*", lambda j, follow: _bench.movej_canfd(robot, j, follow)

        def py_canfd(n):
            t0 = perf()
            for _ in range(n):
                stream(joint, False)
            return perf() - t0

        report(name, *rounds(lambda n: _bench.c_loop_movej_canfd(robot, joint, False, 0.0, n), py_canfd,
                             args.calls, args.rounds))
        if name.endswith("*"):
            print("  * Robot.movej_canfd is not in this build: timed through kyarm._bench.movej_canfd, "
                  "bound like a family member")


if __name__ == "__main__":
    main()
