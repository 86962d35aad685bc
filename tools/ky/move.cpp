// ky move: a blocking move with its progress, from the realtime pushes, on stderr, and a
// Ctrl-C that stops the arm before the tool exits.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <thread>

#include "tools/ky/ky.h"

namespace kycli {

namespace {

/** The signals the watcher thread takes over: stop requests and its own wake-up. */
sigset_t watched_signals() {
    sigset_t s;
    sigemptyset(&s);
    sigaddset(&s, SIGINT);
    sigaddset(&s, SIGTERM);
    sigaddset(&s, SIGUSR1);
    return s;
}

/** Runs `move` with a watcher thread that prints the distance remaining every 100 ms (when
 *  stderr is a terminal) and, on SIGINT or SIGTERM, stops the arm. */
int guarded_move(const Target &t, const std::function<float(const ky_realtime_arm_joint_state &)> &remaining,
                 const char *unit, const std::function<void(const ky::Robot &)> &check,
                 const std::function<void(const ky::Robot &)> &move) {
    // Block the signals before the library starts its threads, so that only the watcher
    // receives them.
    const sigset_t signals = watched_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    std::atomic<float> left{NAN};
    ky::Library::on_realtime([&](const ky_realtime_arm_joint_state &s) {
        if (s.errCode == 0) left.store(remaining(s));
    });
    Session session(t, 2);
    const ky::Robot &robot = session.robot;
    check(robot);

    const bool progress = isatty(STDERR_FILENO) && !t.json;
    std::atomic<bool> interrupted{false}, finished{false};
    std::thread watcher([&] {
        const timespec tick{0, 100 * 1000 * 1000};
        for (;;) {
            const int sig = sigtimedwait(&signals, nullptr, &tick);
            if (sig == SIGUSR1 || finished.load()) return;
            if (sig == SIGINT || sig == SIGTERM) {
                interrupted.store(true);
                const int rc = ky_set_arm_stop(robot.handle());
                if (progress) std::fputs("\r\x1b[K", stderr);
                if (rc == 0)
                    std::fputs("ky: interrupted: the arm was stopped (ky_set_arm_stop)\n", stderr);
                else
                    std::fprintf(stderr, "ky: interrupted: ky_set_arm_stop: %s\n",
                                 ky::make_error_code<ky::family::jogging>(rc).message().c_str());
                // The move's wait ends with the stop's completion; if it does not come soon,
                // leave anyway.
                for (int i = 0; i < 20 && !finished.load(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
                if (!finished.load()) std::_Exit(kycli::interrupted);
                return;
            }
            const float v = left.load();
            if (progress && !std::isnan(v)) std::fprintf(stderr, "\r\x1b[Kmoving: %.1f %s to go", static_cast<double>(v), unit);
        }
    });
    int status = ok;
    try {
        move(robot);
    } catch (const ky::Error &e) {
        if (!interrupted.load()) {
            if (progress) std::fputs("\r\x1b[K", stderr);
            std::fprintf(stderr, "ky: %s\n", e.what());
            status = status_of(e);
        }
    }
    finished.store(true);
    pthread_kill(watcher.native_handle(), SIGUSR1);
    watcher.join();
    ky::Library::on_realtime(nullptr);
    if (interrupted.load()) return kycli::interrupted;
    if (progress) std::fputs("\r\x1b[K", stderr);
    return status;
}

}  // namespace

int run_move_joint(const Target &t, const std::vector<float> &joints, int v) {
    const ky::Joints target(joints);
    auto remaining = [target](const ky_realtime_arm_joint_state &s) {
        float m = 0;
        for (std::size_t i = 0; i < target.size(); ++i) m = std::max(m, std::fabs(target[i] - s.joint_position[i]));
        return m;
    };
    bool bad_count = false;
    auto check = [&](const ky::Robot &r) {
        if (joints.size() != static_cast<std::size_t>(r.dof())) {
            std::fprintf(stderr, "ky: move joint: the arm has %d joints, %zu angles were given\n", r.dof(), joints.size());
            bad_count = true;
            throw ky::Error(ky::make_error_code<ky::family::wrapper>(-1), "ky_movej");
        }
    };
    try {
        const int rc = guarded_move(t, remaining, "deg", check, [&](const ky::Robot &r) { r.movej(target, v, 0, 0, 1); });
        if (rc == ok && t.json) {
            Json j = object();
            cJSON_AddItemToObject(j.get(), "joint", numbers(target.data(), target.size()));
            print(j);
        }
        return rc;
    } catch (const ky::Error &) {
        if (bad_count) return usage;
        throw;
    }
}

int run_move_pose(const Target &t, const std::vector<float> &pose, int v) {
    const ky_pose target = ky::make_pose(pose[0], pose[1], pose[2], pose[3], pose[4], pose[5]);
    auto remaining = [target](const ky_realtime_arm_joint_state &s) {
        const float dx = target.position.x - s.position[0], dy = target.position.y - s.position[1],
                    dz = target.position.z - s.position[2];
        return 1000.0f * std::sqrt(dx * dx + dy * dy + dz * dz);
    };
    const int rc = guarded_move(t, remaining, "mm", [](const ky::Robot &) {},
                                [&](const ky::Robot &r) { r.movel(target, v, 0, 0, 1); });
    if (rc == ok && t.json) {
        Json j = object();
        cJSON_AddItemToObject(j.get(), "pose", pose_json(target));
        print(j);
    }
    return rc;
}

}  // namespace kycli
