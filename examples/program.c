/*
 * program: uploads a small project of joint moves to the controller, runs it and waits
 * for the controller's "program finished" event.
 *
 *   program [--ip A] [--port P] [--dir D] [--wait S]
 *
 *   --ip, --port   the controller (127.0.0.1:8080, the simulator's default)
 *   --dir          where the project file and its headed copy are written (/tmp)
 *   --wait         seconds to wait for the program to finish (60)
 *
 * The program connects in mode 1, registers an event callback, writes a plain project
 * file of three movej commands (the controller's own JSON lines, one a line), uploads it
 * with add_header set (the library writes a headed copy next to it and uploads that),
 * which also starts it, and then waits until the event callback reports a finished
 * program. Exits with 0 when the upload was accepted and the program finished in time.
 */
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "ky_api.h"

/* Set by the event callback (receive thread), read by main: a finished program's id + 1. */
static atomic_int g_finished;

static void on_event(ky_event_data data) {
    if (data.event_type == 2) atomic_store(&g_finished, data.program_id + 1);
}

static int write_project(const char *path) {
    static const char *moves[] = {
        "{\"command\":\"movej\",\"joint\":[10000,-20000,-50000,0,-30000,0],\"v\":20,\"r\":0,\"trajectory_connect\":0}",
        "{\"command\":\"movej\",\"joint\":[-10000,-25000,-60000,5000,-40000,10000],\"v\":20,\"r\":0,\"trajectory_connect\":0}",
        "{\"command\":\"movej\",\"joint\":[0,-30000,-60000,0,-30000,0],\"v\":20,\"r\":0,\"trajectory_connect\":0}",
    };
    FILE *f = fopen(path, "w");
    if (f == NULL) return -1;
    for (size_t i = 0; i < sizeof moves / sizeof moves[0]; ++i) fprintf(f, "%s\r\n", moves[i]);
    return fclose(f);
}

static void sleep_ms(long ms) {
    struct timespec ts = {ms / 1000, (ms % 1000) * 1000000L};
    nanosleep(&ts, NULL);
}

static int usage(const char *self) {
    fprintf(stderr, "usage: %s [--ip ADDRESS] [--port PORT] [--dir DIRECTORY] [--wait SECONDS]\n", self);
    return 2;
}

int main(int argc, char **argv) {
    const char *ip = "127.0.0.1", *dir = "/tmp";
    int port = 8080, wait_s = 60;
    for (int i = 1; i < argc; ++i) {
        const char *opt = argv[i];
        if (i + 1 >= argc) return usage(argv[0]);
        const char *val = argv[++i];
        if (strcmp(opt, "--ip") == 0) {
            ip = val;
        } else if (strcmp(opt, "--port") == 0) {
            port = atoi(val);
        } else if (strcmp(opt, "--dir") == 0) {
            dir = val;
        } else if (strcmp(opt, "--wait") == 0) {
            wait_s = atoi(val);
        } else {
            return usage(argv[0]);
        }
    }

    ky_project_upload project;
    memset(&project, 0, sizeof project);
    int n = snprintf(project.project_path, sizeof project.project_path, "%s/moves.txt", dir);
    if (n < 0 || (size_t)n >= sizeof project.project_path) {
        fprintf(stderr, "program: directory name too long\n");
        return 2;
    }
    project.project_path_len = n;
    project.plan_speed = 50; /* planning speed, passed to the controller as it is */
    project.only_save = 0;   /* store and run */
    project.save_id = 1;
    project.add_header = 1;
    if (write_project(project.project_path) != 0) {
        perror("program: cannot write the project file");
        return 1;
    }

    if (ky_init(1) != 0) {
        fprintf(stderr, "program: the library did not start\n");
        return 1;
    }
    ky_get_arm_event_call_back(on_event);
    ky_robot_handle *robot = ky_create_robot_arm(ip, port);
    if (robot == NULL || robot->id < 1) {
        fprintf(stderr, "program: could not connect to the controller at %s:%d\n", ip, port);
        if (robot) ky_delete_robot_arm(robot);
        ky_destory();
        return 1;
    }

    printf("uploading %s to %s:%d\n", project.project_path, ip, port);
    int err_line = 0;
    int r = ky_send_project(robot, &project, &err_line);
    printf("  ky_send_project -> %d (project \"%s\", error line %d)\n", r, project.project_path, err_line);
    int ok = r == 0;
    if (ok) {
        printf("waiting up to %d s for the program to finish\n", wait_s);
        for (long waited = 0; !atomic_load(&g_finished) && waited < wait_s * 1000L; waited += 50) sleep_ms(50);
        if (atomic_load(&g_finished)) {
            printf("  program %d finished\n", atomic_load(&g_finished) - 1);
        } else {
            printf("  no \"program finished\" event within %d s\n", wait_s);
            ok = 0;
        }
    }
    if (ok) {
        /* The controller keeps the uploaded program: list the first page of its store. */
        static ky_program_list list;
        memset(&list, 0, sizeof list);
        r = ky_get_program_trajectory_list(robot, 1, 10, NULL, &list);
        printf("  ky_get_program_trajectory_list -> %d (%d stored)\n", r, list.total_size);
        for (int i = 0; r == 0 && i < list.total_size && i < 10 && i < KY_PROGRAM_LIST_MAX; ++i) {
            printf("    id %d  %d bytes  speed %d  %.32s\n", list.list[i].id, list.list[i].size, list.list[i].speed,
                   list.list[i].trajectory_name);
        }
        ok = r == 0;
    }
    ky_delete_robot_arm(robot);
    ky_destory();
    printf("%s\n", ok ? "done" : "FAILED");
    return ok ? 0 : 1;
}
