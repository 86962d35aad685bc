/*
 * demo: drives arms through a short program and shows their live state.
 *
 *   demo                    runs the program on every arm model the simulator knows, each
 *                           in a simulator ky-sim of its own (found next to this program's
 *                           build directory), one after the other
 *   demo --product NAME     the same for one model only, e.g. KY7A-B or NOV7B-B
 *   demo --sim PATH         the simulator at PATH
 *   demo --ip A --port P    drives the controller at A:P (a real arm: keep clear of it)
 *
 * The program, for each arm: connect in mode 2, print the arm's identity and limits,
 * register the realtime-state and event callbacks, then
 *   1. blocking joint moves to three joint targets chosen for the arm's joint count;
 *   2. a square traced with blocking straight-line moves, its corners offset from the pose
 *      the arm stands in, its size checked beforehand with the library's own inverse
 *      kinematics along every edge (the square shrinks until every point is reachable);
 *   3. a non-blocking move whose end arrives through the event callback;
 *   4. a slow move paused half-way, held, continued and finished through the event callback.
 * Every call prints its result next to a compact live view (joint angles and tool pose)
 * taken from the UDP pushes; the demo exits with 0 when every call succeeded on every arm.
 */
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <libgen.h>
#include <limits.h>
#include <math.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "ky_api.h"

/* ------------------------------------------------------------------ live state */

static pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t g_event_cond = PTHREAD_COND_INITIALIZER;
static ky_realtime_arm_joint_state g_state;
static long g_pushes;
static int g_events;
static ky_event_data g_last_event;
static int g_dof = 6;
static volatile int g_live_view;

static void on_state(ky_realtime_arm_joint_state state) {
    pthread_mutex_lock(&g_lock);
    g_state = state;
    ++g_pushes;
    pthread_mutex_unlock(&g_lock);
}

static void on_event(ky_event_data event) {
    pthread_mutex_lock(&g_lock);
    g_last_event = event;
    ++g_events;
    pthread_cond_broadcast(&g_event_cond);
    pthread_mutex_unlock(&g_lock);
}

/* One line: joint angles (degrees) and tool pose (mm, degrees) of the latest push. */
static void live_line(char *out, size_t size) {
    ky_realtime_arm_joint_state s;
    long pushes;
    pthread_mutex_lock(&g_lock);
    s = g_state;
    pushes = g_pushes;
    pthread_mutex_unlock(&g_lock);
    int n = snprintf(out, size, "q=[");
    for (int i = 0; i < g_dof && n > 0 && (size_t)n < size; ++i) {
        n += snprintf(out + n, size - (size_t)n, "%s%7.2f", i ? " " : "", s.joint_position[i]);
    }
    if (n > 0 && (size_t)n < size) {
        snprintf(out + n, size - (size_t)n, "] tcp=(%6.1f %6.1f %6.1f) mm rpy=(%6.1f %6.1f %6.1f) deg  #%ld",
                 s.position[0] * 1000.0, s.position[1] * 1000.0, s.position[2] * 1000.0, s.euler[0] * 57.29578,
                 s.euler[1] * 57.29578, s.euler[2] * 57.29578, pushes);
    }
}

static void *live_view_thread(void *arg) {
    (void)arg;
    while (g_live_view) {
        char line[256];
        live_line(line, sizeof line);
        printf("      %s\n", line);
        fflush(stdout);
        struct timespec ts = {0, 250 * 1000 * 1000};
        nanosleep(&ts, NULL);
    }
    return NULL;
}

static void report(const char *call, int result) {
    char line[256];
    live_line(line, sizeof line);
    printf("%-44s -> %2d | %s\n", call, result, line);
    fflush(stdout);
}

/* Waits up to `ms` for the event count to pass `seen`. */
static int wait_event(int seen, int ms) {
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += (long)(ms % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    int got = 0;
    pthread_mutex_lock(&g_lock);
    while (g_events <= seen) {
        if (pthread_cond_timedwait(&g_event_cond, &g_lock, &deadline) == ETIMEDOUT) break;
    }
    got = g_events > seen;
    pthread_mutex_unlock(&g_lock);
    return got;
}

static int events_so_far(void) {
    pthread_mutex_lock(&g_lock);
    int n = g_events;
    pthread_mutex_unlock(&g_lock);
    return n;
}

static void sleep_ms(int ms) {
    struct timespec ts = {ms / 1000, (long)(ms % 1000) * 1000000L};
    nanosleep(&ts, NULL);
}

/* ------------------------------------------------------------------ simulator */

static int free_udp_port(void) {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    struct sockaddr_in a;
    memset(&a, 0, sizeof a);
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (fd < 0 || bind(fd, (struct sockaddr *)&a, sizeof a) != 0 || getsockname(fd, (struct sockaddr *)&a, &len) != 0) {
        if (fd >= 0) close(fd);
        return 8089;
    }
    close(fd);
    return ntohs(a.sin_port);
}

/* Starts ky-sim simulating `product` on a free TCP port, pushing to `push_port`; returns its
 * pid and port. */
static pid_t start_simulator(const char *path, const char *product, int push_port, int *tcp_port) {
    int fds[2];
    if (pipe(fds) != 0) return -1;
    pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        char port_text[16];
        snprintf(port_text, sizeof port_text, "%d", push_port);
        prctl(PR_SET_PDEATHSIG, SIGTERM);  /* the simulator ends with the demo, whatever happens */
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        execl(path, "ky-sim", "--port", "0", "--bind", "127.0.0.1", "--product", product, "--push-port", port_text,
              "--push-cycle", "20", "--speed-scale", "3", (char *)NULL);
        fprintf(stderr, "demo: cannot run %s: %s\n", path, strerror(errno));
        _exit(127);
    }
    close(fds[1]);
    FILE *out = fdopen(fds[0], "r");
    char line[512];
    *tcp_port = 0;
    while (out && fgets(line, sizeof line, out)) {
        char *on = strstr(line, "ky-sim ready:");
        if (on == NULL) continue;
        /* "ky-sim ready: <product> on <address>:<port>, ..." */
        char *colon = strchr(strstr(on, " on ") ? strstr(on, " on ") : on, ':');
        if (colon) *tcp_port = atoi(colon + 1);
        printf("simulator: %s", line);
        break;
    }
    if (out) fclose(out);
    if (*tcp_port <= 0) {
        kill(pid, SIGTERM);
        waitpid(pid, NULL, 0);
        return -1;
    }
    return pid;
}

static void default_sim_path(char *out, size_t size) {
    char self[PATH_MAX] = {0};
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) {
        snprintf(out, size, "ky-sim");
        return;
    }
    snprintf(out, size, "%s/../ky-sim", dirname(self));
}

/* ------------------------------------------------------------------ the program */

static const char *model_name(int model) {
    switch (model) {
    case 0: return "KY6A";
    case 1: return "KY7A";
    case 3: return "KYL6C";
    case 5: return "LUX6A";
    case 6: return "LUX6B";
    case 7: return "NOV7B";
    case 8: return "LUX6C";
    default: return "?";
    }
}

/* Prints what the library knows of the arm; copies its product version to `product`. */
static void print_identity(ky_robot_handle *robot, char *product, size_t size) {
    ky_arm_software_info info;
    memset(&info, 0, sizeof info);
    int r = ky_get_arm_software_info(robot, &info);
    snprintf(product, size, "%.10s", info.product_version);
    printf("identity: product %.10s, controller %.10s, algorithm %.20s (result %d)\n", info.product_version,
           info.ctrl_version, info.algorithm_info, r);
    printf("          model %s (%d), %d joints, force sensor type %d, installation (%.1f, %.1f, %.1f)\n",
           model_name(robot->model), robot->model, robot->dof, robot->force_type, robot->install_x, robot->install_y,
           robot->install_z);
    printf("          tool frame \"%.12s\", work frame \"%.12s\", realtime push port %d\n", robot->tool_frame.frame_name,
           robot->work_frame.frame_name, robot->push_port);
    printf("limits:   joint   min(deg)   max(deg)  speed(deg/s)  acc(deg/s^2)\n");
    for (int i = 0; i < robot->dof; ++i) {
        printf("          %5d %10.1f %10.1f %13.1f %13.1f\n", i + 1, robot->joint_min_pos[i], robot->joint_max_pos[i],
               robot->joint_max_speed[i], robot->joint_max_acc[i]);
    }
}

static void section(const char *text) {
    printf("-- %s\n", text);
    fflush(stdout);
}

/* Joint targets (degrees) in the middle of the workspace, with the elbow bent, so that the
 * square of step 2 has room around the last one. A 6-joint arm bends its elbow at joint 3,
 * a 7-joint arm at joint 4. Rows: three blocking targets, the non-blocking target, the
 * target of the paused move. */
static const float k_targets6[5][7] = {{0, 0, 90, 0, 90, 0, 0},
                                       {30, -20, 70, 10, 60, 45, 0},
                                       {-25, 15, 100, -10, 80, -30, 0},
                                       {45, 10, 60, 0, 70, 90, 0},
                                       {-45, -10, 110, 0, 60, -90, 0}};
static const float k_targets7[5][7] = {{0, 20, 0, -70, 0, -50, 0},
                                       {30, 10, 20, -60, 10, -40, 20},
                                       {-25, 30, -10, -90, -10, -45, -30},
                                       {45, 15, 30, -50, 0, -40, 60},
                                       {-45, 30, -20, -100, 0, -60, -60}};

/* Row `row` of the targets for the arm's joint count, each joint kept 5 degrees inside the
 * limits the controller reported (an arm with narrower limits still gets reachable targets). */
static void joint_target(const ky_robot_handle *robot, int row, float out[7]) {
    const float(*table)[7] = robot->dof == 7 ? k_targets7 : k_targets6;
    for (int i = 0; i < 7; ++i) {
        float q = table[row][i];
        if (i < robot->dof && robot->joint_max_pos[i] - robot->joint_min_pos[i] > 10.0f) {
            if (q > robot->joint_max_pos[i] - 5.0f) q = robot->joint_max_pos[i] - 5.0f;
            if (q < robot->joint_min_pos[i] + 5.0f) q = robot->joint_min_pos[i] + 5.0f;
        }
        out[i] = q;
    }
}

/* Loads the arm's kinematics into the library's algorithm state for offline use: its model,
 * sensor, installation angles, frames and joint limits, as ky_algo_arm_state_set() would,
 * except that the model comes from the full product name: the library caches every arm
 * whose product names "6C" as model 3 (KYL6C), while a LUX6C arm has kinematics of its own. */
static void load_kinematics(const ky_robot_handle *robot, const char *product) {
    const uint32_t model = strstr(product, "LUX6C") != NULL ? 8u : (uint32_t)robot->model;
    if (ky_algo_init_sys_data(model, (uint32_t)robot->force_type) != 0) ky_algo_init_sys_data(model, 0);
    ky_algo_set_angle(robot->install_x, robot->install_y, robot->install_z);
    ky_algo_set_toolframe(&robot->tool_frame);
    ky_algo_set_workframe(&robot->work_frame);
    ky_algo_set_joint_max_limit(robot->joint_max_pos);
    ky_algo_set_joint_min_limit(robot->joint_min_pos);
}

/* Whether the tool can follow the straight line from `from` to `to` (work-frame poses, same
 * orientation) starting at joints `q`: the library's inverse kinematics must solve every
 * 2 mm step near the previous one. On success `q` holds the joints at `to`. */
static int line_reachable(const ky_robot_handle *robot, ky_pose from, ky_pose to, float q[7]) {
    const float dx = to.position.x - from.position.x, dy = to.position.y - from.position.y,
                dz = to.position.z - from.position.z;
    const float length = sqrtf(dx * dx + dy * dy + dz * dz);
    const int steps = length > 0.02f ? (int)ceilf(length / 0.002f) : 10;
    for (int k = 1; k <= steps; ++k) {
        ky_pose p = from;
        p.position.x += dx * (float)k / (float)steps;
        p.position.y += dy * (float)k / (float)steps;
        p.position.z += dz * (float)k / (float)steps;
        ky_inverse_kinematics_params ik;
        memset(&ik, 0, sizeof ik);
        memcpy(ik.current_joints, q, sizeof ik.current_joints);
        ik.target_pose = ky_algo_workframe2base(&robot->work_frame, p); /* the solver wants the base frame */
        ik.flag = 1;                                                    /* orientation from the Euler angles */
        float next[7] = {0};
        if (ky_algo_inverse_kinematics(NULL, &ik, next) != 0) return 0;
        for (int i = 0; i < robot->dof; ++i) {
            if (fabsf(next[i] - q[i]) > 15.0f) return 0; /* a jump to another configuration */
        }
        memcpy(q, next, sizeof next);
    }
    return 1;
}

/* The largest of 60, 40 and 20 mm for which the square's four edges are reachable from the
 * arm's current state; 0 when none is. */
static float square_side(const ky_robot_handle *robot, const char *product, const ky_current_arm_state *now) {
    load_kinematics(robot, product);
    static const float sides[3] = {0.06f, 0.04f, 0.02f};
    static const float ux[5] = {0, 1, 1, 0, 0}, uy[5] = {0, 0, 1, 1, 0};
    for (int s = 0; s < 3; ++s) {
        float q[7];
        memcpy(q, now->joint, sizeof q);
        int ok = 1;
        for (int i = 0; i < 4 && ok; ++i) {
            ky_pose from = now->pose, to = now->pose;
            from.position.x += ux[i] * sides[s];
            from.position.y += uy[i] * sides[s];
            to.position.x += ux[i + 1] * sides[s];
            to.position.y += uy[i + 1] * sides[s];
            ok = line_reachable(robot, from, to, q);
        }
        if (ok) return sides[s];
    }
    return 0.0f;
}

static int run_program(ky_robot_handle *robot, const char *product) {
    int failures = 0;
    char call[96];
    char text[160];
    pthread_t viewer;
    float target[7];

    section("1. Blocking joint moves: ky_movej_block returns once the arm has reached each target");
    for (int i = 0; i < 3; ++i) {
        joint_target(robot, i, target);
        g_live_view = 1;
        pthread_create(&viewer, NULL, live_view_thread, NULL);
        int r = ky_movej_block(robot, target, 60, 0, 0, 1);
        g_live_view = 0;
        pthread_join(viewer, NULL);
        snprintf(call, sizeof call, "ky_movej_block(target %d)", i + 1);
        report(call, r);
        failures += r != 0;
    }

    ky_current_arm_state now;
    memset(&now, 0, sizeof now);
    int r = ky_get_current_arm_state(robot, &now);
    report("ky_get_current_arm_state", r);
    failures += r != 0;
    const float side = r == 0 ? square_side(robot, product, &now) : 0.0f;
    snprintf(text, sizeof text,
             "2. A %.0f mm square in the work frame's XY plane from the current pose, with blocking straight-line "
             "moves (ky_movel_block)",
             side * 1000.0f);
    section(text);
    if (side == 0.0f) {
        report("no square fits here (ky_algo_inverse_kinematics)", -1);
        ++failures;
    } else {
        printf("   every edge checked first with the library's own inverse kinematics "
               "(ky_algo_inverse_kinematics, 2 mm steps)\n");
        const float dx[4] = {1, 1, 0, 0};
        const float dy[4] = {0, 1, 1, 0};
        for (int i = 0; i < 4; ++i) {
            ky_pose corner = now.pose;
            corner.position.x += dx[i] * side;
            corner.position.y += dy[i] * side;
            r = ky_movel_block(robot, corner, 40, 0, 0, 1);
            snprintf(call, sizeof call, "ky_movel_block(corner %d: %+.0f, %+.0f mm)", i + 1, dx[i] * side * 1000.0f,
                     dy[i] * side * 1000.0f);
            report(call, r);
            failures += r != 0;
        }
    }

    section("3. A non-blocking move: ky_movej_nblock returns at once, the event callback reports the end");
    int seen = events_so_far();
    joint_target(robot, 3, target);
    r = ky_movej_nblock(robot, target, 50, 0, 0);
    report("ky_movej_nblock", r);
    failures += r != 0;
    int got = wait_event(seen, 10000);
    pthread_mutex_lock(&g_lock);
    ky_event_data ev = g_last_event;
    pthread_mutex_unlock(&g_lock);
    printf("event callback: %s (robot %d, type %d, state %s, device %d)\n", got ? "trajectory finished" : "TIMED OUT",
           ev.handle_id, ev.event_type, ev.trajectory_state ? "true" : "false", ev.device);
    failures += !got;

    section("4. Pause and continue: a slow move is paused half-way, holds still, continues and ends");
    seen = events_so_far();
    joint_target(robot, 4, target);
    r = ky_movej_nblock(robot, target, 20, 0, 0);
    report("ky_movej_nblock(slow)", r);
    failures += r != 0;
    sleep_ms(400);
    r = ky_set_arm_pause(robot);
    report("ky_set_arm_pause", r);
    failures += r != 0;
    sleep_ms(600);
    report("  (paused: the arm holds still)", 0);
    r = ky_set_arm_continue(robot);
    report("ky_set_arm_continue", r);
    failures += r != 0;
    got = wait_event(seen, 10000);
    report(got ? "event callback: trajectory finished" : "event callback: TIMED OUT", got ? 0 : -2);
    failures += !got;
    return failures;
}

/* Connects to the controller at ip:port, runs the program and disconnects. The number of
 * failed calls, or -1 when no connection was made. */
static int drive_arm(const char *ip, int port) {
    pthread_mutex_lock(&g_lock);
    memset(&g_state, 0, sizeof g_state);
    g_pushes = 0;
    pthread_mutex_unlock(&g_lock);
    ky_robot_handle *robot = ky_create_robot_arm(ip, port);
    int failures = -1;
    if (robot == NULL || robot->id < 1) {
        fprintf(stderr, "demo: could not connect to %s:%d\n", ip, port);
    } else {
        g_dof = robot->dof;
        char product[16];
        print_identity(robot, product, sizeof product);
        failures = run_program(robot, product);
        printf("program finished: %d failed call(s)\n", failures);
    }
    if (robot) ky_delete_robot_arm(robot);
    return failures;
}

/* The arm models of the simulator, as product versions. */
static const char *const k_products[] = {"KY6A-B", "KY7A-B", "KYL6C-B", "LUX6A-B", "LUX6B-B", "NOV7B-B", "LUX6C-B"};
#define PRODUCT_COUNT (int)(sizeof k_products / sizeof k_products[0])

int main(int argc, char **argv) {
    const char *ip = "127.0.0.1";
    int port = 0;
    const char *product = NULL;
    char sim_path[PATH_MAX + 16];
    default_sim_path(sim_path, sizeof sim_path);
    int use_sim = 1;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--sim") == 0 && i + 1 < argc) {
            snprintf(sim_path, sizeof sim_path, "%s", argv[++i]);
        } else if (strcmp(argv[i], "--product") == 0 && i + 1 < argc) {
            product = argv[++i];
        } else if (strcmp(argv[i], "--ip") == 0 && i + 1 < argc) {
            ip = argv[++i];
            use_sim = 0;
        } else if (strcmp(argv[i], "--port") == 0 && i + 1 < argc) {
            port = atoi(argv[++i]);
            use_sim = 0;
        } else {
            fprintf(stderr, "usage: %s [--sim PATH] [--product NAME] | [--ip ADDRESS --port PORT]\n", argv[0]);
            return 2;
        }
    }

    printf("kyarm %s, algorithms %s\n", ky_api_version(), ky_algo_version());
    /* One library run for every arm: the simulated arms are connected one after another. */
    if (ky_init(2) != 0) {
        fprintf(stderr, "demo: the library did not start\n");
        return 1;
    }
    ky_realtime_arm_state_call_back(on_state);
    ky_get_arm_event_call_back(on_event);
    int failed_arms = 0;
    if (!use_sim) {
        failed_arms += drive_arm(ip, port) != 0;
    } else {
        const char *const *products = product ? &product : k_products;
        const int count = product ? 1 : PRODUCT_COUNT;
        /* Every simulated arm pushes to the same port: the library's receiver keeps the ports
         * it was given for its whole run, and has room for five. */
        const int push_port = free_udp_port();
        for (int m = 0; m < count; ++m) {
            printf("\n==== %s (simulated) ====\n", products[m]);
            pid_t sim = start_simulator(sim_path, products[m], push_port, &port);
            if (sim < 0) {
                fprintf(stderr, "demo: the simulator %s did not start for %s\n", sim_path, products[m]);
                ++failed_arms;
                continue;
            }
            failed_arms += drive_arm(ip, port) != 0;
            kill(sim, SIGTERM);
            waitpid(sim, NULL, 0);
        }
        if (count > 1) {
            printf("\n%d of %d arm models ran the whole program without a failed call\n", count - failed_arms, count);
        }
    }
    ky_destory();
    return failed_arms == 0 ? 0 : 1;
}
