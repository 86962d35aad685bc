#!/usr/bin/env python3
"""Connects to a controller and prints its identity and the arm's state.

    python3 examples/python/state.py            # ky-sim on 127.0.0.1:8080
    python3 examples/python/state.py --sim      # an in-process simulator
"""

import numpy as np

import _connect


def main() -> None:
    args = _connect.arguments(__doc__.splitlines()[0]).parse_args()
    with _connect.controller(args, mode=1) as robot:
        info = robot.get_arm_software_info()
        print(f"robot {robot.id}: {info.product_version}, {robot.dof} joints, "
              f"controller {info.ctrl_version}, planner {info.plan_version}")
        print(f"joint limits (deg): min {np.round(robot.joint_min_pos, 1)}")
        print(f"                    max {np.round(robot.joint_max_pos, 1)}")
        state = robot.get_current_arm_state()
        print(f"joints (deg): {np.round(state.joint[:robot.dof], 3)}")
        p = state.pose
        print(f"tool pose: x={p.x:.4f} y={p.y:.4f} z={p.z:.4f} m, "
              f"rx={p.rx:.4f} ry={p.ry:.4f} rz={p.rz:.4f} rad")
        print(f"errors: arm {state.arm_err}, system {state.sys_err}")
        print(f"tool frame: {robot.tool_frame.name!r}, work frame: {robot.work_frame.name!r}")


if __name__ == "__main__":
    main()
