/*
 * modbus: writes and reads back a few registers and coils of a Modbus TCP slave, through
 * the controller's Modbus TCP master.
 *
 *   modbus --slave-ip A [--slave-port P] [--ip A] [--port P]
 *          [--access-port N] [--device ID] [--address N] [--timeout T]
 *
 *   --slave-ip, --slave-port   the Modbus TCP slave, as the controller reaches it (port 502)
 *   --ip, --port               the controller (127.0.0.1:8080, the simulator's default)
 *   --access-port              the controller's port number of its Modbus TCP connection,
 *                              named in every read and write (3)
 *   --device, --address        the slave (unit) id (1) and the first address used (0)
 *   --timeout                  the Modbus time-out handed to the controller, in its units (5)
 *
 * The program connects in mode 1, opens the Modbus TCP connection, then
 *   1. writes three holding registers at once and reads them back, then one more singly;
 *   2. writes sixteen coils at once and reads them back, then sets one more singly;
 * prints every value, closes the connection and exits with 0 when every call succeeded and
 * every value read back is the one written.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ky_api.h"

static int g_failures;

static void report(const char *call, int result) {
    printf("  %-40s -> %d%s\n", call, result, result == 0 ? "" : "   FAILED");
    if (result != 0) ++g_failures;
}

static void check(const char *what, const int *got, const int *want, int count) {
    int same = memcmp(got, want, (size_t)count * sizeof *got) == 0;
    printf("  %-40s    %s\n", what, same ? "read back as written" : "DIFFERS from what was written");
    if (!same) ++g_failures;
}

/* Registers travel as two ints each, one per byte (high byte first). */
static void print_registers(const char *label, const int *bytes, int registers) {
    printf("  %s:", label);
    for (int i = 0; i < registers; ++i) {
        printf(" [%d %d]=%d", bytes[2 * i], bytes[2 * i + 1], bytes[2 * i] * 256 + bytes[2 * i + 1]);
    }
    printf("\n");
}

/* Coils travel eight to an int, the first coil in bit 0. */
static void print_coils(const char *label, const int *groups, int count) {
    printf("  %s:", label);
    for (int g = 0; g < count; ++g) {
        printf(" ");
        for (int bit = 0; bit < 8; ++bit) printf("%d", (groups[g] >> bit) & 1);
    }
    printf("\n");
}

static void run(ky_robot_handle *robot, int access_port, int device, int address) {
    ky_modbus_rw_params p = {access_port, address, device, 3};

    printf("1. Holding registers %d..%d\n", address, address + 3);
    const int regs[6] = {0x12, 0x34, 0x00, 0x2a, 0x03, 0xe8}; /* 0x1234, 42, 1000 */
    print_registers("writing", regs, 3);
    report("ky_write_registers(3)", ky_write_registers(robot, p, regs));
    int regs_back[6] = {0};
    int r = ky_read_multiple_holding_registers(robot, p, regs_back);
    report("ky_read_multiple_holding_registers(3)", r);
    if (r == 0) {
        print_registers("read", regs_back, 3);
        check("registers", regs_back, regs, 6);
    }
    ky_modbus_rw_params one = {access_port, address + 3, device, 1};
    report("ky_write_single_register(777)", ky_write_single_register(robot, one, 777));
    int single = -1;
    r = ky_read_holding_registers(robot, one, &single);
    report("ky_read_holding_registers", r);
    if (r == 0) {
        printf("  read: %d\n", single);
        const int want = 777;
        check("single register", &single, &want, 1);
    }

    printf("2. Coils %d..%d\n", address, address + 16);
    ky_modbus_rw_params coils = {access_port, address, device, 16};
    const int groups[2] = {0xa5, 0x3c};
    print_coils("writing", groups, 2);
    report("ky_write_coils(16)", ky_write_coils(robot, coils, groups));
    int groups_back[2] = {0};
    r = ky_read_multiple_coils(robot, coils, groups_back);
    report("ky_read_multiple_coils(16)", r);
    if (r == 0) {
        print_coils("read", groups_back, 2);
        check("coils", groups_back, groups, 2);
    }
    ky_modbus_rw_params next = {access_port, address + 16, device, 1};
    report("ky_write_single_coil(on)", ky_write_single_coil(robot, next, 1));
    int bits = -1;
    r = ky_read_coils(robot, next, &bits);
    report("ky_read_coils(1)", r);
    if (r == 0) {
        printf("  read: coil %d is %s\n", address + 16, (bits & 1) ? "on" : "off");
        const int got = bits & 1, want = 1;
        check("single coil", &got, &want, 1);
    }
}

static int usage(const char *self) {
    fprintf(stderr,
            "usage: %s --slave-ip ADDRESS [--slave-port PORT] [--ip ADDRESS] [--port PORT]\n"
            "       [--access-port N] [--device ID] [--address N] [--timeout T]\n",
            self);
    return 2;
}

int main(int argc, char **argv) {
    const char *ip = "127.0.0.1", *slave_ip = NULL;
    int port = 8080, slave_port = 502, access_port = 3, device = 1, address = 0, timeout = 5;
    for (int i = 1; i < argc; ++i) {
        const char *opt = argv[i];
        if (i + 1 >= argc) return usage(argv[0]);
        const char *val = argv[++i];
        if (strcmp(opt, "--ip") == 0) {
            ip = val;
        } else if (strcmp(opt, "--port") == 0) {
            port = atoi(val);
        } else if (strcmp(opt, "--slave-ip") == 0) {
            slave_ip = val;
        } else if (strcmp(opt, "--slave-port") == 0) {
            slave_port = atoi(val);
        } else if (strcmp(opt, "--access-port") == 0) {
            access_port = atoi(val);
        } else if (strcmp(opt, "--device") == 0) {
            device = atoi(val);
        } else if (strcmp(opt, "--address") == 0) {
            address = atoi(val);
        } else if (strcmp(opt, "--timeout") == 0) {
            timeout = atoi(val);
        } else {
            return usage(argv[0]);
        }
    }
    if (slave_ip == NULL) return usage(argv[0]);

    if (ky_init(1) != 0) {
        fprintf(stderr, "modbus: the library did not start\n");
        return 1;
    }
    ky_robot_handle *robot = ky_create_robot_arm(ip, port);
    if (robot == NULL || robot->id < 1) {
        fprintf(stderr, "modbus: could not connect to the controller at %s:%d\n", ip, port);
        if (robot) ky_delete_robot_arm(robot);
        ky_destory();
        return 1;
    }
    printf("controller %s:%d, Modbus TCP slave %s:%d (unit %d)\n", ip, port, slave_ip, slave_port, device);
    int r = ky_set_modbustcp_mode(robot, slave_ip, slave_port, timeout);
    report("ky_set_modbustcp_mode", r);
    if (r == 0) {
        run(robot, access_port, device, address);
        report("ky_close_modbustcp_mode", ky_close_modbustcp_mode(robot));
    }
    printf("%s: %d failure(s)\n", g_failures ? "FAILED" : "done", g_failures);
    ky_delete_robot_arm(robot);
    ky_destory();
    return g_failures == 0 ? 0 : 1;
}
