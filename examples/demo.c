/*
 * demo: drives one arm through a short program and shows its live state.
 *
 *   demo                    starts the simulator ky-sim (next to this program's build
 *                           directory) on a free port and drives it
 *   demo --sim PATH         the same with the simulator at PATH
 *   demo --ip A --port P    drives the controller at A:P (a real arm: keep clear of it)
 *
 * The program: connect in mode 2, print the arm's identity and limits, register the
 * realtime-state and event callbacks, move with blocking joint moves, trace a square with
 * blocking straight-line moves, finish a non-blocking move through the event callback,
 * pause and continue a move, and shut down. Every call prints its result next to a compact
 * live view (joint angles and tool pose) taken from the UDP pushes.
 */
#define _GNU_SOURCE
#include <arpa/inet.h>
#include <errno.h>
#include <libgen.h>
#include <limits.h>
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

/* Starts ky-sim on a free TCP port pushing to `push_port`; returns its pid and port. */
static pid_t start_simulator(const char *path, int push_port, int *tcp_port) {
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
        execl(path, "ky-sim", "--port", "0", "--bind", "127.0.0.1", "--push-port", port_text, "--push-cycle", "20",
              "--speed-scale", "3", (char *)NULL);
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

static void print_identity(ky_robot_handle *robot) {
    ky_arm_software_info info;
    memset(&info, 0, sizeof info);
    int r = ky_get_arm_software_info(robot, &info);
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

static int run_program(ky_robot_handle *robot) {
    int failures = 0;
    char call[96];
    pthread_t viewer;

    /* Blocking joint moves. */
    const float targets[3][7] = {{0, 0, 90, 0, 90, 0, 0}, {30, -20, 70, 10, 60, 45, 0}, {-25, 15, 100, -10, 80, -30, 0}};
    for (int i = 0; i < 3; ++i) {
        g_live_view = 1;
        pthread_create(&viewer, NULL, live_view_thread, NULL);
        int r = ky_movej_block(robot, targets[i], 60, 0, 0, 1);
        g_live_view = 0;
        pthread_join(viewer, NULL);
        snprintf(call, sizeof call, "ky_movej_block(target %d)", i + 1);
        report(call, r);
        failures += r != 0;
    }

    /* A 6 cm square in the work frame's XY plane, with blocking straight-line moves. */
    ky_current_arm_state now;
    memset(&now, 0, sizeof now);
    int r = ky_get_current_arm_state(robot, &now);
    report("ky_get_current_arm_state", r);
    failures += r != 0;
    const float dx[4] = {0.06f, 0.06f, 0.0f, 0.0f};
    const float dy[4] = {0.0f, 0.06f, 0.06f, 0.0f};
    for (int i = 0; i < 4; ++i) {
        ky_pose corner = now.pose;
        corner.position.x += dx[i];
        corner.position.y += dy[i];
        r = ky_movel_block(robot, corner, 40, 0, 0, 1);
        snprintf(call, sizeof call, "ky_movel_block(corner %d: %+.0f, %+.0f mm)", i + 1, dx[i] * 1000.0f,
                 dy[i] * 1000.0f);
        report(call, r);
        failures += r != 0;
    }

    /* A non-blocking move, finished through the event callback. */
    int seen = events_so_far();
    const float away[7] = {45, 10, 60, 0, 70, 90, 0};
    r = ky_movej_nblock(robot, away, 50, 0, 0);
    report("ky_movej_nblock", r);
    failures += r != 0;
    int got = wait_event(seen, 10000);
    pthread_mutex_lock(&g_lock);
    ky_event_data ev = g_last_event;
    pthread_mutex_unlock(&g_lock);
    printf("event callback: %s (robot %d, type %d, state %s, device %d)\n", got ? "trajectory finished" : "TIMED OUT",
           ev.handle_id, ev.event_type, ev.trajectory_state ? "true" : "false", ev.device);
    failures += !got;

    /* Pause a move half-way, hold, continue, and let the event callback report the end. */
    seen = events_so_far();
    const float back[7] = {-45, -10, 110, 0, 60, -90, 0};
    r = ky_movej_nblock(robot, back, 20, 0, 0);
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

int main(int argc, char **argv) {
    const char *ip = "127.0.0.1";
    int port = 0;
    char sim_path[PATH_MAX + 16];
    default_sim_path(sim_path, sizeof sim_path);
    int use_sim = 1;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--sim") == 0 && i + 1 < argc) {
            snprintf(sim_path, sizeof sim_path, "%s", argv[++i]);
        } else if (strcmp(argv[i], "--ip") == 0 && i + 1 < argc) {
            ip = argv[++i];
            use_sim = 0;
        } else if (strcmp(argv[i], "--port") == 0 && i + 1 < argc) {
            port = atoi(argv[++i]);
            use_sim = 0;
        } else {
            fprintf(stderr, "usage: %s [--sim PATH] | [--ip ADDRESS --port PORT]\n", argv[0]);
            return 2;
        }
    }

    pid_t sim = -1;
    if (use_sim) {
        sim = start_simulator(sim_path, free_udp_port(), &port);
        if (sim < 0) {
            fprintf(stderr, "demo: the simulator %s did not start\n", sim_path);
            return 1;
        }
    }

    printf("kyarm %s, algorithms %s\n", ky_api_version(), ky_algo_version());
    int status = 1;
    if (ky_init(2) == 0) {
        ky_robot_handle *robot = ky_create_robot_arm(ip, port);
        if (robot == NULL || robot->id < 1) {
            fprintf(stderr, "demo: could not connect to %s:%d\n", ip, port);
        } else {
            g_dof = robot->dof;
            print_identity(robot);
            ky_realtime_arm_state_call_back(on_state);
            ky_get_arm_event_call_back(on_event);
            int failures = run_program(robot);
            printf("program finished: %d failed call(s)\n", failures);
            status = failures == 0 ? 0 : 1;
        }
        if (robot) ky_delete_robot_arm(robot);
        ky_destory();
    }
    if (sim > 0) {
        kill(sim, SIGTERM);
        waitpid(sim, NULL, 0);
    }
    return status;
}
