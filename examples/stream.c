/*
 * stream: teleoperation-style streaming of joint set-points at 500 Hz.
 *
 *   stream                      streams to the simulator ky-sim at 127.0.0.1:8080
 *   stream --ip A --port P      streams to the controller at A:P (a real arm moves: keep clear)
 *   stream --seconds S          length of the stream, rounded up to whole swings of 4 s (default 8)
 *   stream --amplitude DEG      largest excursion of a joint (default 10 degrees)
 *   stream --follow             sends the set-points with "follow" true
 *
 * Connects in mode 2, reads the arm's current joint angles, then sends one ky_movej_canfd
 * set-point every 2 ms (absolute deadlines, so the rate does not drift). Each joint swings
 * away from where the arm stood and back in T = 4 s, along A * sin^2(pi t / T) (alternate
 * joints in opposite directions, each a little less than the one before): the stream starts
 * and ends at rest in the pose the arm stood in, with no jump in position or speed. Twice a second it prints the latest
 * set-point beside what the realtime pushes report (received on the library's UDP thread
 * through the state callback), and at the end the number of calls, failures and pushes.
 * ky_movej_canfd never waits for the controller, so the loop's timing is the host's alone.
 */
#define _GNU_SOURCE
#include <math.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "ky_api.h"

#define PERIOD_NS 2000000L /* 500 Hz */

static pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;
static ky_realtime_arm_joint_state g_state;
static long g_pushes;
static volatile sig_atomic_t g_stop;

static void on_state(ky_realtime_arm_joint_state state) {
    pthread_mutex_lock(&g_lock);
    g_state = state;
    ++g_pushes;
    pthread_mutex_unlock(&g_lock);
}

static void on_signal(int sig) {
    (void)sig;
    g_stop = 1;
}

static void add_ns(struct timespec *t, long ns) {
    t->tv_nsec += ns;
    while (t->tv_nsec >= 1000000000L) {
        t->tv_nsec -= 1000000000L;
        ++t->tv_sec;
    }
}

static void print_joints(const char *label, const float *q, int dof) {
    printf("%s [", label);
    for (int i = 0; i < dof; ++i) printf("%s%8.3f", i ? " " : "", q[i]);
    printf("]");
}

int main(int argc, char **argv) {
    const char *ip = "127.0.0.1";
    int port = 8080;
    double seconds = 8.0, amplitude = 10.0;
    bool follow = false;
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--ip") == 0 && i + 1 < argc) {
            ip = argv[++i];
        } else if (strcmp(argv[i], "--port") == 0 && i + 1 < argc) {
            port = atoi(argv[++i]);
        } else if (strcmp(argv[i], "--seconds") == 0 && i + 1 < argc) {
            seconds = atof(argv[++i]);
        } else if (strcmp(argv[i], "--amplitude") == 0 && i + 1 < argc) {
            amplitude = atof(argv[++i]);
        } else if (strcmp(argv[i], "--follow") == 0) {
            follow = true;
        } else {
            fprintf(stderr, "usage: %s [--ip A] [--port P] [--seconds S] [--amplitude DEG] [--follow]\n", argv[0]);
            return 2;
        }
    }
    signal(SIGINT, on_signal);
    signal(SIGTERM, on_signal);

    if (ky_init(2) != 0) {
        fprintf(stderr, "ky_init failed\n");
        return 1;
    }
    ky_realtime_arm_state_call_back(on_state);
    ky_robot_handle *robot = ky_create_robot_arm(ip, port);
    if (robot == NULL || robot->id < 1) {
        fprintf(stderr, "no controller at %s:%d\n", ip, port);
        ky_destory();
        return 1;
    }
    const int dof = robot->dof;
    ky_current_arm_state now;
    memset(&now, 0, sizeof now);
    int r = ky_get_current_arm_state(robot, &now);
    if (r != 0) {
        fprintf(stderr, "ky_get_current_arm_state -> %d\n", r);
        ky_delete_robot_arm(robot);
        ky_destory();
        return 1;
    }
    printf("arm %d at %s:%d, %d joints, push port %d\n", robot->id, ip, port, dof, robot->push_port);
    print_joints("start   ", now.joint, dof);
    printf("\nstreaming ky_movej_canfd at 500 Hz for %.0f s, amplitude %.1f deg, follow %s\n",
           ceil(seconds / 4.0) * 4.0, amplitude, follow ? "true" : "false");

    const double swing = 4.0; /* seconds per excursion and back */
    const double swings = ceil(seconds / swing);
    const long calls = (long)(swings * swing * 1e9 / (double)PERIOD_NS) + 1;
    long sent = 0, failed = 0;
    float q[7] = {0};
    struct timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (long k = 0; k < calls && !g_stop; ++k) {
        add_ns(&next, PERIOD_NS);
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, NULL);
        const double t = (double)k * (double)PERIOD_NS * 1e-9;
        for (int j = 0; j < dof; ++j) {
            const double s = sin(M_PI * t / swing);
            const double a = ((j % 2) ? -1.0 : 1.0) * amplitude * (1.0 - 0.1 * j);
            q[j] = now.joint[j] + (float)(a * s * s);
        }
        if (ky_movej_canfd(robot, q, follow, 0.0f) == 0) {
            ++sent;
        } else {
            ++failed;
        }
        if (k % 250 == 0) { /* twice a second */
            ky_realtime_arm_joint_state s;
            long pushes;
            pthread_mutex_lock(&g_lock);
            s = g_state;
            pushes = g_pushes;
            pthread_mutex_unlock(&g_lock);
            printf("t=%5.2f s ", t);
            print_joints("set", q, dof);
            print_joints("  pushed", s.joint_position, dof);
            printf("  pushes %ld\n", pushes);
            fflush(stdout);
        }
    }

    struct timespec settle = {0, 200 * 1000 * 1000};
    nanosleep(&settle, NULL);
    pthread_mutex_lock(&g_lock);
    const long pushes = g_pushes;
    float last[7];
    memcpy(last, g_state.joint_position, sizeof last);
    pthread_mutex_unlock(&g_lock);
    print_joints("last set", q, dof);
    printf("\n");
    print_joints("pushed  ", last, dof);
    printf("\n%ld set-points sent, %ld failed, %ld realtime pushes received\n", sent, failed, pushes);
    ky_delete_robot_arm(robot);
    ky_destory();
    return failed == 0 ? 0 : 1;
}
