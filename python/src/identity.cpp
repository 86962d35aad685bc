// Python bindings of the identity, connection and firmware calls.
#include "bind.hpp"

namespace kypy {

void bind_identity(py::module_ &m, Robot &robot) {
    py::class_<ky_arm_software_info> info(m, "ArmSoftwareInfo", "Controller software information.");
    text_property(info, "product_version", &ky_arm_software_info::product_version);
    text_property(info, "algorithm_info", &ky_arm_software_info::algorithm_info);
    text_property(info, "ctrl_build_time", &ky_arm_software_info::ctrl_build_time);
    text_property(info, "ctrl_version", &ky_arm_software_info::ctrl_version);
    text_property(info, "dynamic_info", &ky_arm_software_info::dynamic_info);
    text_property(info, "plan_build_time", &ky_arm_software_info::plan_build_time);
    text_property(info, "plan_version", &ky_arm_software_info::plan_version);

    using R = ky::Robot;
    robot.def("get_arm_dof", &R::get_arm_dof)
        .def("get_robot_info", &R::get_robot_info)
        .def("get_connection_state", &R::get_connection_state,
             "0 never connected, 1 connected, 2 closed by the controller, -1 unknown handle.")
        .def("reconnect_robot_arm", &R::reconnect, nogil(), "Reconnects and synchronises again.")
        .def("get_arm_software_info", &R::get_arm_software_info, nogil())
        .def("set_init_pose", &R::set_init_pose, "joint"_a, nogil())
        .def("get_init_pose", &R::get_init_pose, nogil())
        .def("set_install_pose", &R::set_install_pose, "x"_a, "y"_a, "z"_a, nogil())
        .def("get_install_pose", &R::get_install_pose, nogil())
        .def("get_joint_software_version", [](const R &r) {
            auto v = [&] { py::gil_scoped_release g; return r.get_joint_software_version(); }();
            return py::array_t<int>(r.dof(), v.data());
        })
        .def("get_tool_software_version", &R::get_tool_software_version, nogil());
}

}  // namespace kypy
