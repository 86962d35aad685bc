// ky: command-line tool over the kyarm library: identity, state, moves, a live view of the
// realtime pushes, offline kinematics, raw command exchanges and the simulator.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "sim/run.h"
#include "tools/ky/ky.h"

namespace {

const char *const epilog = R"(Every controller subcommand takes --ip (default 127.0.0.1), --port (default 8080, the
simulator's), --json (machine-readable output on stdout, one line) and --verbose (library
log lines on stderr). Units are the library's: joints in degrees, positions in metres,
Euler angles in radians (rotations about the fixed X, then Y, then Z axes).

Exit status:
    0    success
    1    other failure (the simulator could not start)
    2    usage error
    3    the controller could not be connected
    4    the controller refused the command (result 1)
    5    unknown handle, send failure or argument refused (result -1)
    6    no reply within the time-out (result -2)
    7    unreadable reply (result -3)
    8    a family-specific result (-4, -5, -6 or another code; see the message)
    9    ky ik: no joint solution
    130  ky move interrupted by Ctrl-C (the arm was stopped with ky_set_arm_stop)
A failure prints one line on stderr: "ky: <C function>: <meaning of its result>".)";

void add_target(CLI::App *sub, kycli::Target &t) {
    sub->add_option("--ip", t.ip, "controller address")->capture_default_str();
    sub->add_option("--port", t.port, "controller TCP port")->capture_default_str();
    sub->add_flag("--json", t.json, "machine-readable output (one JSON line on stdout)");
    sub->add_flag("--verbose", t.verbose, "show the library's log lines on stderr");
}

}  // namespace

int main(int argc, char **argv) {
    // `ky sim ...` passes everything after "sim" to the simulator's own option parser.
    if (argc >= 2 && std::string(argv[1]) == "sim") {
        std::string name = "ky sim";
        std::vector<char *> args{name.data()};
        for (int i = 2; i < argc; ++i) args.push_back(argv[i]);
        return ky::sim::run(static_cast<int>(args.size()), args.data());
    }

    CLI::App app{"ky: command-line tool for kyarm robot-arm controllers"};
    app.footer(epilog);
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("ky ") + ky::Library::version());

    kycli::Target target;

    auto *info = app.add_subcommand("info", "identity, joint limits, current tool and work frames, push configuration");
    add_target(info, target);

    auto *state = app.add_subcommand("state", "joint angles, pose, error codes, temperatures, currents, voltages");
    add_target(state, target);

    auto *move = app.add_subcommand("move", "blocking move with progress on stderr; Ctrl-C stops the arm (status 130)");
    move->require_subcommand(1);
    int speed = 20;
    std::vector<float> move_joints, move_pose;
    auto *move_joint = move->add_subcommand("joint", "joint move to J1 .. Jn (degrees, n = the arm's dof)");
    move_joint->add_option("joints", move_joints, "target joint angles, degrees")->required()->allow_extra_args();
    move_joint->add_option("-v,--speed", speed, "speed, percent")->check(CLI::Range(1, 100))->capture_default_str();
    add_target(move_joint, target);
    auto *move_pose_cmd = move->add_subcommand("pose", "linear move of the tool to x y z (m) rx ry rz (rad)");
    move_pose_cmd->add_option("pose", move_pose, "x y z rx ry rz")->required()->expected(6);
    move_pose_cmd->add_option("-v,--speed", speed, "speed, percent")->check(CLI::Range(1, 100))->capture_default_str();
    add_target(move_pose_cmd, target);

    auto *watch = app.add_subcommand("watch", "live full-screen view of the realtime pushes; q or Ctrl-C ends it (not on a terminal, or with --json: one JSON line per refresh)");
    int refresh_ms = 100;
    watch->add_option("--refresh", refresh_ms, "refresh period, ms")->check(CLI::Range(20, 5000))->capture_default_str();
    add_target(watch, target);

    std::string model = "KY6A";
    int sensor = 0;
    bool kin_json = false;
    auto add_model = [&](CLI::App *sub) {
        sub->add_option("--model", model, "arm model: KY6A, KY7A, KYL6C (rev. 2), KYL6C3 (rev. 3), LUX6A, LUX6B, NOV7B, LUX6C")
            ->capture_default_str();
        sub->add_option("--sensor", sensor, "force sensor: 0 none, 1 one-axis, 2 six-axis")
            ->check(CLI::Range(0, 2))
            ->capture_default_str();
        sub->add_flag("--json", kin_json, "machine-readable output");
    };
    std::vector<float> fk_joints, ik_pose, ik_near;
    auto *fk = app.add_subcommand("fk", "offline forward kinematics: tool pose (m, rad) of J1 .. Jn (degrees)");
    fk->add_option("joints", fk_joints, "joint angles, degrees")->required();
    add_model(fk);
    auto *ik = app.add_subcommand("ik", "offline inverse kinematics: joints (degrees) for x y z (m) rx ry rz (rad)");
    ik->add_option("pose", ik_pose, "x y z rx ry rz")->required()->expected(6);
    ik->add_option("--near", ik_near, "joints (degrees) the solution is chosen nearest to (default all 0)")
        ->delimiter(',');
    add_model(ik);

    app.add_subcommand("sim", "runs the simulator; options as ky-sim (see ky sim --help)");

    auto *raw = app.add_subcommand("raw", "sends one JSON command object and prints the reply line");
    std::string raw_json, raw_reply;
    int raw_timeout = 500;
    raw->add_option("json", raw_json, "the command, e.g. '{\"command\":\"get_joint_degree\"}'")->required();
    raw->add_option("--reply", raw_reply,
                    "reply name to wait for (default: the command's name; for a get_ query whose reply does "
                    "not come under it, the query is sent once more, waiting for its name without get_)");
    raw->add_option("--timeout", raw_timeout, "reply wait, ms")->check(CLI::Range(2, 600000))->capture_default_str();
    add_target(raw, target);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        int rc = app.exit(e);
        return rc == 0 ? kycli::ok : kycli::usage;
    }

    try {
        if (*info) return kycli::run_info(target);
        if (*state) return kycli::run_state(target);
        if (*move_joint) return kycli::run_move_joint(target, move_joints, speed);
        if (*move_pose_cmd) return kycli::run_move_pose(target, move_pose, speed);
        if (*watch) return kycli::run_watch(target, refresh_ms);
        if (*fk) return kycli::run_fk(model, sensor, fk_joints, kin_json);
        if (*ik) return kycli::run_ik(model, sensor, ik_pose, ik_near, kin_json);
        if (*raw) return kycli::run_raw(target, raw_json, raw_reply, raw_timeout);
    } catch (const ky::Error &e) {
        std::fprintf(stderr, "ky: %s\n", e.what());
        return kycli::status_of(e);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "ky: %s\n", e.what());
        return kycli::failure;
    }
    return kycli::usage;
}
