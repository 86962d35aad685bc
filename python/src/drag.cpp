// Python bindings of drag teaching: start and stop, sensitivity, return to the start of the
// recorded path, replay and saving the path to a file. The waits release the GIL.
#include "bind.hpp"

#include <chrono>

namespace kypy {

void bind_drag(py::module_ &m, Robot &robot) {
    py::class_<ky_multi_drag_teach_param> param(m, "MultiDragTeachParam",
                                                "Parameters of start_multi_drag_teach_new (controller numbering).");
    param.def(py::init([](std::array<int32_t, 6> free_axes, int32_t frame, int32_t singular_wall) {
                  ky_multi_drag_teach_param p{};
                  std::copy(free_axes.begin(), free_axes.end(), p.free_axes);
                  p.frame = frame;
                  p.singular_wall = singular_wall;
                  return p;
              }),
              "free_axes"_a = std::array<int32_t, 6>{}, "frame"_a = 0, "singular_wall"_a = 0)
        .def_property(
            "free_axes", array_property(&ky_multi_drag_teach_param::free_axes),
            [](ky_multi_drag_teach_param &p, std::array<int32_t, 6> v) { std::copy(v.begin(), v.end(), p.free_axes); },
            "x, y, z, rx, ry, rz: 1 free, 0 held")
        .def_readwrite("frame", &ky_multi_drag_teach_param::frame)
        .def_readwrite("singular_wall", &ky_multi_drag_teach_param::singular_wall);

    using R = ky::Robot;
    robot.def("start_drag_teach", &R::start_drag_teach, "trajectory_record"_a, nogil())
        .def("stop_drag_teach", &R::stop_drag_teach, nogil())
        .def("start_multi_drag_teach", &R::start_multi_drag_teach, "mode"_a, "singular_wall"_a, nogil())
        .def("start_multi_drag_teach_new", &R::start_multi_drag_teach_new, "param"_a, nogil(),
             "Multi-mode drag teaching from a MultiDragTeachParam (free_axes only with a six-axis force sensor).")
        .def("set_drag_teach_sensitivity", &R::set_drag_teach_sensitivity, "grade"_a, nogil())
        .def("get_drag_teach_sensitivity", &R::get_drag_teach_sensitivity, nogil())
        .def("drag_trajectory_origin", &R::drag_trajectory_origin, "block"_a = 1, nogil(),
             "Moves back to the start of the recorded path; block=1 waits for the end (releases the GIL).")
        .def(
            "run_drag_trajectory",
            [](const R &r, int timeout_s) { r.run_drag_trajectory(std::chrono::seconds(timeout_s)); },
            "timeout_s"_a, nogil(),
            "Replays the recorded path; timeout_s > 0 blocks at least that many seconds and while the replay "
            "runs (releases the GIL), 0 returns once sent.")
        .def("pause_drag_trajectory", &R::pause_drag_trajectory, nogil())
        .def("continue_drag_trajectory", &R::continue_drag_trajectory, nogil())
        .def("stop_drag_trajectory", &R::stop_drag_trajectory, nogil())
        .def("save_trajectory", &R::save_trajectory, "path"_a, nogil(),
             "Saves the recorded path into the local file `path`; returns the point count. Blocks at least 2 s "
             "(releases the GIL).")
        .def_static("parse_save_trajectory", &R::parse_save_trajectory, "tag"_a, "text"_a,
                    "Reads a save_trajectory reply line; returns its point count.");
}

}  // namespace kypy
