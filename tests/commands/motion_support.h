// Helpers of the motion, jogging and joint-configuration suites: scripted trajectory
// queries and completion lines, and blocking calls run on a second thread.
#pragma once
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/fifo.h"
#include "core/registry.h"
#include "support/test_util.h"

namespace kymotion {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

inline std::string trajectory(const std::string &type, const std::string &data = "[0,0,0,0,0,0]") {
    return R"({"command":"arm_current_trajectory","type":")" + type + R"(","data":)" + data + "}";
}

inline std::string completion(bool state = true, int device = 0, int connect = 0) {
    return std::string(R"({"command":"current_trajectory_state","trajectory_state":)") + (state ? "true" : "false") +
           R"(,"device":)" + std::to_string(device) + R"(,"trajectory_connect":)" + std::to_string(connect) + "}";
}

inline std::string accepted(const std::string &command, bool ok = true) {
    return R"({"command":")" + command + R"(","receive_state":)" + (ok ? "true" : "false") + "}";
}

// Answers the trajectory query with `script(n)` for the n-th query (counting from 1); the
// returned lines are sent in one write, so a completion line can follow the query's reply.
class QueryScript {
public:
    using Script = std::function<std::vector<std::string>(int n)>;
    QueryScript(kytest::FakeController &fake, Script script) : count_(std::make_shared<std::atomic<int>>(0)) {
        auto count = count_;
        fake.on("get_arm_current_trajectory", [count, script](const std::string &) { return script(++*count); });
    }
    int count() const { return count_->load(); }

private:
    std::shared_ptr<std::atomic<int>> count_;
};

// Runs `call` on its own thread.
template <class F>
std::future<int> start(F call) {
    return std::async(std::launch::async, call);
}

// Waits until the fake received a request named `command`, then lets `after` pass.
inline bool seen(kytest::FakeController &fake, const std::string &command,
                 std::chrono::milliseconds after = 20ms) {
    for (int i = 0; i < 400; ++i) {
        if (!fake.requests_for(command).empty()) {
            std::this_thread::sleep_for(after);
            return true;
        }
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

inline ky_pose pose(float x, float y, float z, float rx, float ry, float rz) {
    ky_pose p{};
    p.position = {x, y, z};
    p.quaternion = {1, 0, 0, 0};
    p.euler = {rx, ry, rz};
    return p;
}

// A library in `mode` with a robot connected to a fake controller of `product`.
struct Arm {
    kytest::Library lib;
    kytest::FakeController fake;
    ky_robot_handle *robot = nullptr;
    explicit Arm(int mode = 1, const std::string &product = "KY6A-B", int out_time = 100)
        : lib(mode, out_time, 300) {
        robot = kytest::connect(fake, product);
        fake.clear_received();
    }
};

}  // namespace kymotion
