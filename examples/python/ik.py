#!/usr/bin/env python3
"""Inverse kinematics for a Cartesian target, offline or against a controller.

Offline (no controller): selects the arm model by its type, computes the tool pose of the
given joints, offsets it by a few centimetres and solves for the joints that reach it.

    python3 ik.py --model KY6A --joints 0 -20 90 0 70 0 --offset 0 0 0.03

With --port (a controller or `ky-sim`): the same from the arm's current joints, with the
arm's own model, frames and limits, then a joint move to the solution.

    python3 ik.py --ip 127.0.0.1 --port 8080 --offset 0.02 0 -0.02 --speed 20
"""

import argparse
import sys

import numpy as np

import kyarm

alg = kyarm.algo

# Robot types of the kinematics (kyarm.algo.init_sys_data).
MODELS = {"KY6A": 0, "KY7A": 1, "KYL6C": 3, "KYL6C-R3": 4, "LUX6A": 5, "LUX6B": 6, "NOV7B": 7, "LUX6C": 8}


def solve(robot, joints, offset):
    """FK of `joints`, the target `offset` metres away in the base frame, IK from `joints`."""
    pose = alg.forward_kinematics(robot, joints)  # tool pose in the work frame
    # The solver's target is in the base frame: take the pose out of the work frame first.
    work = robot.work_frame if robot is not None else alg.get_curr_workframe()
    base_pose = alg.workframe2base(work, pose)
    target = alg.pose_move(base_pose, [*offset, 0.0, 0.0, 0.0], 0)
    print(f"joints   {np.array2string(np.asarray(joints, dtype=np.float32), precision=3)} deg")
    print(f"pose     {base_pose}")
    print(f"target   {target}")
    params = alg.InverseKinematicsParams(current_joints=joints, target_pose=target, flag=1)
    try:
        solution = alg.inverse_kinematics(robot, params)
    except kyarm.Error as e:
        print(f"no solution: {e}", file=sys.stderr)
        return None
    print(f"solution {np.array2string(solution, precision=3)} deg")
    check = alg.workframe2base(work, alg.forward_kinematics(robot, solution))
    error = np.linalg.norm([check.x - target.x, check.y - target.y, check.z - target.z])
    print(f"FK of the solution is {error * 1000:.4f} mm from the target")
    return solution


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--model", choices=sorted(MODELS), default="KY6A", help="arm model for offline use")
    ap.add_argument("--joints", type=float, nargs="+", default=[0, -20, 90, 0, 70, 0],
                    help="offline: starting joints, degrees")
    ap.add_argument("--offset", type=float, nargs=3, default=[0.0, 0.0, 0.03], metavar=("DX", "DY", "DZ"),
                    help="target offset in the base frame, metres")
    ap.add_argument("--ip", default="127.0.0.1")
    ap.add_argument("--port", type=int, help="connect to a controller and move there")
    ap.add_argument("--speed", type=int, default=20, help="movej speed, percent")
    args = ap.parse_args()

    if args.port is None:
        alg.init_sys_data(MODELS[args.model])
        dof = alg.get_rbt_dof()
        if len(args.joints) != dof:
            ap.error(f"{args.model} has {dof} joints")
        return 0 if solve(None, np.array(args.joints), args.offset) is not None else 1

    with kyarm.Library(1), kyarm.Robot(args.ip, args.port) as robot:
        solution = solve(robot, robot.get_joint_degree(), args.offset)
        if solution is None:
            return 1
        robot.movej(solution, v=args.speed)  # blocks until the arm is there
        print(f"arm at   {np.array2string(robot.get_joint_degree(), precision=3)} deg")
    return 0


if __name__ == "__main__":
    sys.exit(main())
