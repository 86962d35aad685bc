// Records shared by several families: Pose, Frame, RobotInfo.
#include "bind.hpp"

#include <sstream>

namespace kypy {

namespace {

ky_pose pose_from(const std::vector<float> &v) {
    if (v.size() != 6) throw py::value_error("a pose needs 6 values: x, y, z (m), rx, ry, rz (rad)");
    return ky::make_pose(v[0], v[1], v[2], v[3], v[4], v[5]);
}

}  // namespace

void bind_records(py::module_ &m) {
    py::class_<ky_pose> pose(m, "Pose", "Position (metres) and orientation: Euler angles (radians) and quaternion.");
    pose.def(py::init([](float x, float y, float z, float rx, float ry, float rz) {
                 return ky::make_pose(x, y, z, rx, ry, rz);
             }),
             "x"_a = 0.f, "y"_a = 0.f, "z"_a = 0.f, "rx"_a = 0.f, "ry"_a = 0.f, "rz"_a = 0.f)
        .def(py::init(&pose_from), "values"_a, "From [x, y, z, rx, ry, rz].")
        .def_property("x", [](const ky_pose &p) { return p.position.x; }, [](ky_pose &p, float v) { p.position.x = v; })
        .def_property("y", [](const ky_pose &p) { return p.position.y; }, [](ky_pose &p, float v) { p.position.y = v; })
        .def_property("z", [](const ky_pose &p) { return p.position.z; }, [](ky_pose &p, float v) { p.position.z = v; })
        .def_property("rx", [](const ky_pose &p) { return p.euler.rx; }, [](ky_pose &p, float v) { p.euler.rx = v; })
        .def_property("ry", [](const ky_pose &p) { return p.euler.ry; }, [](ky_pose &p, float v) { p.euler.ry = v; })
        .def_property("rz", [](const ky_pose &p) { return p.euler.rz; }, [](ky_pose &p, float v) { p.euler.rz = v; })
        .def_property(
            "quaternion",
            [](const ky_pose &p) { return py::make_tuple(p.quaternion.w, p.quaternion.x, p.quaternion.y, p.quaternion.z); },
            [](ky_pose &p, std::array<float, 4> q) { p.quaternion = {q[0], q[1], q[2], q[3]}; },
            "(w, x, y, z); ignored by the commands unless they say otherwise")
        .def("to_array",
             [](const ky_pose &p) {
                 const float v[6] = {p.position.x, p.position.y, p.position.z, p.euler.rx, p.euler.ry, p.euler.rz};
                 return py::array_t<float>(6, v);
             },
             "[x, y, z, rx, ry, rz] as float32")
        .def("__repr__", [](const ky_pose &p) {
            std::ostringstream s;
            s << "Pose(x=" << p.position.x << ", y=" << p.position.y << ", z=" << p.position.z << ", rx=" << p.euler.rx
              << ", ry=" << p.euler.ry << ", rz=" << p.euler.rz << ")";
            return s.str();
        });
    py::implicitly_convertible<py::list, ky_pose>();
    py::implicitly_convertible<py::tuple, ky_pose>();
    py::implicitly_convertible<py::array, ky_pose>();

    py::class_<ky_frame> frame(m, "Frame", "Tool or work frame: name, pose, payload (kg), centre of mass (m).");
    frame.def(py::init([](const std::string &name, const ky_pose &pose, float payload, float x, float y, float z) {
                  ky_frame f{};
                  if (!ky::copy_text(f.frame_name, name)) throw py::value_error("name: at most 11 characters");
                  f.pose = pose;
                  f.payload = payload;
                  f.x = x;
                  f.y = y;
                  f.z = z;
                  return f;
              }),
              "name"_a = "", "pose"_a = ky_pose{}, "payload"_a = 0.f, "x"_a = 0.f, "y"_a = 0.f, "z"_a = 0.f)
        .def_readwrite("pose", &ky_frame::pose).def_readwrite("payload", &ky_frame::payload)
        .def_readwrite("x", &ky_frame::x).def_readwrite("y", &ky_frame::y).def_readwrite("z", &ky_frame::z);
    text_property(frame, "name", &ky_frame::frame_name);

    py::class_<ky_robot_info>(m, "RobotInfo", "dof, model and force type of a robot.")
        .def_readonly("dof", &ky_robot_info::dof)
        .def_readonly("model", &ky_robot_info::model)
        .def_readonly("force_type", &ky_robot_info::force_type);
}

}  // namespace kypy
