#!/usr/bin/env python3
"""Blocking and non-blocking moves, with the event callback reporting each trajectory's end.

    python3 examples/python/moves.py            # ky-sim on 127.0.0.1:8080
    python3 examples/python/moves.py --sim      # an in-process simulator
"""

import threading

import numpy as np

import kyarm
import _connect


def main() -> None:
    args = _connect.arguments(__doc__.splitlines()[0]).parse_args()
    finished = threading.Event()

    def on_event(event: kyarm.Event) -> None:
        # Runs on the library's receive thread: record and return, never call the robot here.
        if event.event_type == 1 and event.device == 0:
            print(f"  event: trajectory {'done' if event.trajectory_state else 'FAILED'}")
            finished.set()

    kyarm.set_event_callback(on_event)
    try:
        with _connect.controller(args, mode=1) as robot:
            home = np.zeros(robot.dof, dtype=np.float32)
            ready = np.array([0, -20, 60, 0, 50, 0, 0][:robot.dof], dtype=np.float32)

            print("blocking movej to the ready position (returns at the end)")
            robot.movej(ready, v=40)
            print(f"  joints now {np.round(robot.get_joint_degree(), 2)}")

            print("blocking movel 5 cm down")
            pose = robot.get_current_arm_state().pose
            pose.z -= 0.05
            robot.movel(pose, v=30)

            print("non-blocking movej home (returns at once, the event tells the end)")
            finished.clear()
            robot.movej_nblock(home, v=40)
            while not finished.wait(0.1):
                print(f"  moving... joints {np.round(robot.get_joint_degree(), 1)}")
            print(f"  joints now {np.round(robot.get_joint_degree(), 2)}")
    except kyarm.Error as e:
        print(f"failed: {e} (code {e.code}, family {e.family})")
        raise SystemExit(1)
    finally:
        kyarm.set_event_callback(None)


if __name__ == "__main__":
    main()
