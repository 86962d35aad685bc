/* A host program built against an installed kyarm: it calls into the library's lifecycle,
 * its JSON parsing and its kinematics (so that a static link needs every dependency the
 * package declares) and prints the library version. Offline: nothing is connected. */
#include <stdio.h>
#include <string.h>

#include <ky_api.h>
#include <kyarm/algo.h> /* a part included again after the umbrella: guarded */

int main(void) {
    ky_realtime_arm_joint_state state;
    const char *datagram =
        "{\"waypoint\":{\"quat\":[1000000,0,0,0],\"euler\":[0,0,0],\"position\":[0,0,0]},\"arm_err\":7,\"sys_err\":0}";
    if (parse_ky_realtime_arm_joint_state(datagram, &state) != 0 || state.arm_err != 7) {
        fprintf(stderr, "use_kyarm: the realtime parser failed\n");
        return 1;
    }
    if (ky_algo_init_sys_data(0, 0) != 0) {
        fprintf(stderr, "use_kyarm: no kinematics for model 0\n");
        return 1;
    }
    float q[7] = {0, 0, 90, 0, 90, 0, 0};
    ky_pose p = ky_algo_forward_kinematics(NULL, q);
    if (p.position.x == 0.0f && p.position.y == 0.0f && p.position.z == 0.0f) {
        fprintf(stderr, "use_kyarm: forward kinematics gave the origin\n");
        return 1;
    }
    if (ky_init(1) != 0 || ky_destory() != 0) {
        fprintf(stderr, "use_kyarm: the library did not start and stop\n");
        return 1;
    }
    printf("kyarm %s\n", ky_api_version());
    return 0;
}
