// kyarm._bench: timing loops that run C calls in C++, the baseline against which
// bench/bench_python.py measures what the Python binding adds to each call.
#include "bind.hpp"

#include <chrono>

namespace kypy {

namespace {

ky_robot_handle *handle_of(const ky::Robot &robot) {
    ky_robot_handle *h = robot.handle();
    if (!h) throw py::value_error("the robot is closed");
    return h;
}

// Seconds taken by n calls of `call`, the GIL released; a failing call stops the loop.
template <class Call>
double timed(const char *name, int n, Call call) {
    py::gil_scoped_release nogil;
    auto t0 = std::chrono::steady_clock::now();
    for (int i = 0; i < n; ++i) {
        int rc = call();
        if (rc != 0) {
            py::gil_scoped_acquire gil;
            std::string what = name;
            what += " failed with ";
            what += std::to_string(rc);
            throw std::runtime_error(what);
        }
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

}  // namespace

void bind_bench(py::module_ &m) {
    m.def(
        "c_loop_get_joint_degree",
        [](const ky::Robot &robot, int n) {
            ky_robot_handle *h = handle_of(robot);
            float joints[7];
            return timed("ky_get_joint_degree", n, [&] { return ky_get_joint_degree(h, joints); });
        },
        "robot"_a, "n"_a, "Seconds taken by n ky_get_joint_degree calls made in C++.");
    m.def(
        "c_loop_movej_canfd",
        [](const ky::Robot &robot, std::span<const float> joint, bool follow, float expand, int n) {
            ky_robot_handle *h = handle_of(robot);
            if (joint.size() < static_cast<std::size_t>(robot.dof())) throw py::value_error("joint: fewer values than the arm's dof");
            return timed("ky_movej_canfd", n, [&] { return ky_movej_canfd(h, joint.data(), follow, expand); });
        },
        "robot"_a, "joint"_a, "follow"_a, "expand"_a, "n"_a, "Seconds taken by n ky_movej_canfd calls made in C++.");
    // The same binding shape as a family member (joint vector through the numpy caster, GIL
    // released), for builds whose Robot does not have movej_canfd yet.
    m.def(
        "movej_canfd",
        [](const ky::Robot &robot, std::span<const float> joint, bool follow, float expand) {
            ky_robot_handle *h = robot.handle();
            if (joint.size() < static_cast<std::size_t>(robot.dof())) return -1;
            return ky_movej_canfd(h, joint.data(), follow, expand);
        },
        "robot"_a, "joint"_a, "follow"_a = false, "expand"_a = 0.f, nogil(),
        "ky_movej_canfd bound directly; returns the C result.");
}

}  // namespace kypy
