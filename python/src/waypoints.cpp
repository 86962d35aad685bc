// Python bindings of the controller's global waypoints.
#include "bind.hpp"

#include <algorithm>

namespace kypy {

namespace {

void set_joint(ky_waypoint &w, std::span<const float> joint) {
    if (joint.size() > 7) throw py::value_error("joint: at most 7 values");
    std::fill(std::begin(w.joint), std::end(w.joint), 0.f);
    std::copy(joint.begin(), joint.end(), w.joint);
}

template <std::size_t N>
void set_text(char (&field)[N], const char *name, const std::string &s) {
    if (!ky::copy_text(field, s)) throw py::value_error(std::string(name) + ": text too long");
}

}  // namespace

void bind_waypoints(py::module_ &m, Robot &robot) {
    py::class_<ky_waypoint> point(m, "Waypoint",
                                  "A named global waypoint: joints (degrees, 7 slots, the seventh for 7-axis arms), "
                                  "pose (metres, radians), work and tool frame names, time stamp.");
    point
        .def(py::init([](const std::string &point_name, std::span<const float> joint, const ky_pose &pose,
                         const std::string &work_frame, const std::string &tool_frame) {
                 ky_waypoint w{};
                 set_text(w.point_name, "point_name", point_name);
                 set_joint(w, joint);
                 w.pose = pose;
                 set_text(w.work_frame, "work_frame", work_frame);
                 set_text(w.tool_frame, "tool_frame", tool_frame);
                 return w;
             }),
             "point_name"_a = "", "joint"_a = std::vector<float>{}, "pose"_a = ky_pose{}, "work_frame"_a = "",
             "tool_frame"_a = "")
        .def_property("joint", array_property(&ky_waypoint::joint), &set_joint, "7 joint angles, degrees")
        .def_readwrite("pose", &ky_waypoint::pose);
    text_property(point, "point_name", &ky_waypoint::point_name);
    text_property(point, "work_frame", &ky_waypoint::work_frame);
    text_property(point, "tool_frame", &ky_waypoint::tool_frame);
    text_property(point, "time", &ky_waypoint::time);

    py::class_<ky_waypoint_list> list(m, "WaypointList", "One page of global waypoints.");
    list.def_readonly("page_num", &ky_waypoint_list::page_num)
        .def_readonly("page_size", &ky_waypoint_list::page_size)
        .def_readonly("total_size", &ky_waypoint_list::total_size, "waypoints that match the filter")
        .def_readonly("list_len", &ky_waypoint_list::list_len)
        .def_property_readonly(
            "points",
            [](const ky_waypoint_list &l) {
                return std::vector<ky_waypoint>(l.points, l.points + std::clamp(l.list_len, 0, KY_WAYPOINT_LIST_MAX));
            },
            "the page's waypoints (list of Waypoint)");
    text_property(list, "vague_search", &ky_waypoint_list::vague_search);

    using R = ky::Robot;
    robot.def("add_global_waypoint", &R::add_global_waypoint, "point"_a, nogil(),
              "Adds the waypoint stamped with the local time; returns the stamped copy.")
        .def("update_global_waypoint", &R::update_global_waypoint, "point"_a, nogil(),
             "Updates the waypoint named point.point_name; returns the stamped copy.")
        .def("delete_global_waypoint", &R::delete_global_waypoint, "name"_a, nogil())
        .def("get_given_global_waypoint", &R::get_given_global_waypoint, "name"_a, nogil())
        .def("get_global_waypoints_list", &R::get_global_waypoints_list, "page_num"_a, "page_size"_a,
             "vague_search"_a = py::none(), nogil(),
             "One page (counting from 1) of the waypoints whose name contains vague_search (None: all).");
}

}  // namespace kypy
