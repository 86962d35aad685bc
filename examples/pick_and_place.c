/*
 * pick_and_place: moves a part with the arm and its gripper.
 *
 *   pick_and_place                   the controller (or simulator ky-sim) at 127.0.0.1:8080
 *   pick_and_place --ip A --port P   the controller at A:P (a real arm: keep clear of it)
 *
 * The arm first goes to a ready posture (joint move); the part is taken 5 cm in front of the
 * pose it then stands in and put down 5 cm to the side of it, both 5 cm below that height:
 *   approach above the part, open the gripper, go down, pick (blocking until the gripper
 *   reports that it holds), lift, move above the place, go down, release (blocking), retreat.
 * Every call prints its result, and after each gripper action the gripper state is printed.
 * Exit status 0 when every call succeeded.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ky_api.h"

#define GRIPPER_SPEED 500  /* controller's units */
#define GRIPPER_FORCE 200  /* controller's units */
#define GRIPPER_WAIT_S 10  /* seconds a blocking gripper action may take */
#define MOVE_SPEED 30      /* percent */

static int g_failures;

static int report(const char *call, int result) {
    printf("%-44s -> %d%s\n", call, result, result == 0 ? "" : "  (failed)");
    if (result != 0) ++g_failures;
    return result;
}

static void print_gripper(ky_robot_handle *robot) {
    ky_gripper_state s;
    memset(&s, 0, sizeof s);
    if (report("ky_get_gripper_state", ky_get_gripper_state(robot, &s)) == 0) {
        printf("    gripper: enable %d, status %d, error %d, mode %d, force %d, temperature %d, position %d\n",
               s.enable, s.status, s.error, s.mode, s.current_force, s.temperature, s.actpos);
    }
}

/* `base` moved by (dx, dy, dz) metres, orientation kept. */
static ky_pose offset(ky_pose base, float dx, float dy, float dz) {
    base.position.x += dx;
    base.position.y += dy;
    base.position.z += dz;
    return base;
}

/* Blocking straight-line move; the label names the target. */
static int move_to(ky_robot_handle *robot, const char *label, ky_pose target) {
    char call[96];
    snprintf(call, sizeof call, "ky_movel_block(%s)", label);
    return report(call, ky_movel_block(robot, target, MOVE_SPEED, 0, 0, 1));
}

/* A working posture with the tool pointing down, clear of the arm's singular stretched
 * pose, kept inside the joint limits the controller reported (degrees). */
static void ready_posture(const ky_robot_handle *robot, float out[7]) {
    static const float six[7] = {0, 0, 90, 0, 90, 0, 0};
    static const float seven[7] = {0, 20, 0, -70, 0, -50, 0};
    const float *q = robot->dof == 7 ? seven : six;
    for (int i = 0; i < 7; ++i) {
        out[i] = q[i];
        if (i < robot->dof && robot->joint_max_pos[i] - robot->joint_min_pos[i] > 10.0f) {
            if (out[i] > robot->joint_max_pos[i] - 5.0f) out[i] = robot->joint_max_pos[i] - 5.0f;
            if (out[i] < robot->joint_min_pos[i] + 5.0f) out[i] = robot->joint_min_pos[i] + 5.0f;
        }
    }
}

static void run(ky_robot_handle *robot) {
    float ready[7];
    ready_posture(robot, ready);
    if (report("ky_movej_block(ready posture)", ky_movej_block(robot, ready, MOVE_SPEED, 0, 0, 1)) != 0) return;

    ky_current_arm_state now;
    memset(&now, 0, sizeof now);
    if (report("ky_get_current_arm_state", ky_get_current_arm_state(robot, &now)) != 0) return;
    printf("    start pose: x %.3f y %.3f z %.3f m\n", now.pose.position.x, now.pose.position.y,
           now.pose.position.z);

    const ky_pose above_part = offset(now.pose, 0.05f, 0.0f, 0.0f);
    const ky_pose at_part = offset(above_part, 0.0f, 0.0f, -0.05f);
    const ky_pose above_place = offset(now.pose, 0.0f, 0.05f, 0.0f);
    const ky_pose at_place = offset(above_place, 0.0f, 0.0f, -0.05f);

    if (move_to(robot, "above the part", above_part) != 0) return;
    report("ky_set_gripper_release(open, blocking)",
           ky_set_gripper_release(robot, GRIPPER_SPEED, true, GRIPPER_WAIT_S));
    print_gripper(robot);
    if (move_to(robot, "down to the part", at_part) != 0) return;
    report("ky_set_gripper_pick(blocking)", ky_set_gripper_pick(robot, GRIPPER_SPEED, GRIPPER_FORCE, true, GRIPPER_WAIT_S));
    print_gripper(robot);
    if (move_to(robot, "lift the part", above_part) != 0) return;
    if (move_to(robot, "above the place", above_place) != 0) return;
    if (move_to(robot, "down to the place", at_place) != 0) return;
    report("ky_set_gripper_release(blocking)", ky_set_gripper_release(robot, GRIPPER_SPEED, true, GRIPPER_WAIT_S));
    print_gripper(robot);
    move_to(robot, "retreat", above_place);
}

int main(int argc, char **argv) {
    const char *ip = "127.0.0.1";
    int port = 8080;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--ip") == 0 && i + 1 < argc) {
            ip = argv[++i];
        } else if (strcmp(argv[i], "--port") == 0 && i + 1 < argc) {
            port = atoi(argv[++i]);
        } else {
            fprintf(stderr, "usage: %s [--ip ADDRESS] [--port PORT]\n", argv[0]);
            return 2;
        }
    }
    /* Mode 1: a receive thread files the replies; the blocking calls wake on their report. */
    if (ky_init(1) != 0) {
        fprintf(stderr, "pick_and_place: the library did not start\n");
        return 1;
    }
    ky_robot_handle *robot = ky_create_robot_arm(ip, port);
    if (robot == NULL || robot->id < 1) {
        fprintf(stderr, "pick_and_place: could not connect to %s:%d\n", ip, port);
        if (robot) ky_delete_robot_arm(robot);
        ky_destory();
        return 1;
    }
    printf("connected to %s:%d (robot %d, %d joints)\n", ip, port, robot->id, robot->dof);
    run(robot);
    printf("%s: %d failed call(s)\n", g_failures == 0 ? "done" : "finished with errors", g_failures);
    ky_delete_robot_arm(robot);
    ky_destory();
    return g_failures == 0 ? 0 : 1;
}
