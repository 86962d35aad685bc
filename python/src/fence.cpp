// Python bindings of the electronic fences, the virtual wall, self-collision checking and the
// run mode.
#include "bind.hpp"

namespace kypy {

namespace {

// A constructor taking the record's fields as keyword arguments; the others stay zero.
template <class T>
void keyword_init(py::class_<T> &cls) {
    cls.def(py::init([](const py::kwargs &fields) {
                py::object o = py::cast(T{});
                for (auto item : fields) py::setattr(o, item.first, item.second);
                return o.cast<T>();
            }),
            "Fields as keyword arguments; those not given are zero.");
}

}  // namespace

void bind_fence(py::module_ &m, Robot &robot) {
    m.attr("FENCE_CUBE") = KY_FENCE_CUBE;
    m.attr("FENCE_PLANE") = KY_FENCE_PLANE;
    m.attr("FENCE_SPHERE") = KY_FENCE_SPHERE;

    py::class_<ky_fence_config> config(m, "FenceConfig",
                                       "A fence or wall shape (metres): form 1 cube (x/y/z min and max limits), 2 plane "
                                       "(points x1..z3), 3 sphere (x, y, z, radius); form_name at most 12 bytes.");
    keyword_init(config);
    config.def_readwrite("form", &ky_fence_config::form);
    text_property(config, "form_name", &ky_fence_config::form_name);
#define KY_FENCE_FIELD(f) config.def_readwrite(#f, &ky_fence_config::f)
    KY_FENCE_FIELD(x_min_limit); KY_FENCE_FIELD(x_max_limit); KY_FENCE_FIELD(y_min_limit);
    KY_FENCE_FIELD(y_max_limit); KY_FENCE_FIELD(z_min_limit); KY_FENCE_FIELD(z_max_limit);
    KY_FENCE_FIELD(x1); KY_FENCE_FIELD(y1); KY_FENCE_FIELD(z1); KY_FENCE_FIELD(x2); KY_FENCE_FIELD(y2);
    KY_FENCE_FIELD(z2); KY_FENCE_FIELD(x3); KY_FENCE_FIELD(y3); KY_FENCE_FIELD(z3);
    KY_FENCE_FIELD(x); KY_FENCE_FIELD(y); KY_FENCE_FIELD(z); KY_FENCE_FIELD(radius);
#undef KY_FENCE_FIELD

    py::class_<ky_fence_enable> enable(m, "FenceEnable",
                                       "Enable settings of the fences or the wall (in_out_side and effective_region "
                                       "in the controller's numbering).");
    enable.def(py::init([](bool enable_state, int in_out_side, int effective_region) {
                   return ky_fence_enable{enable_state, in_out_side, effective_region};
               }),
               "enable_state"_a = false, "in_out_side"_a = 0, "effective_region"_a = 0)
        .def_readwrite("enable_state", &ky_fence_enable::enable_state)
        .def_readwrite("in_out_side", &ky_fence_enable::in_out_side)
        .def_readwrite("effective_region", &ky_fence_enable::effective_region);

    using R = ky::Robot;
    robot.def("add_electronic_fence_config", &R::add_electronic_fence_config, "config"_a, nogil())
        .def("update_electronic_fence_config", &R::update_electronic_fence_config, "config"_a, nogil())
        .def("delete_electronic_fence_config", &R::delete_electronic_fence_config, "name"_a, nogil())
        .def("get_electronic_fence_list_names", &R::get_electronic_fence_list_names, nogil(),
             "Names of the stored fences (list of str).")
        .def("get_given_electronic_fence_config", &R::get_given_electronic_fence_config, "name"_a, nogil())
        .def("get_electronic_fence_list_infos", &R::get_electronic_fence_list_infos, nogil(),
             "Every stored fence (list of FenceConfig).")
        .def("set_electronic_fence_enable", &R::set_electronic_fence_enable, "enable"_a, nogil())
        .def("get_electronic_fence_enable", &R::get_electronic_fence_enable, nogil())
        .def("set_electronic_fence_config", &R::set_electronic_fence_config, "config"_a, nogil(),
             "Sets the fence in force: a cube or a plane.")
        .def("get_electronic_fence_config", &R::get_electronic_fence_config, nogil())
        .def("set_virtual_wall_enable", &R::set_virtual_wall_enable, "enable"_a, nogil())
        .def("get_virtual_wall_enable", &R::get_virtual_wall_enable, nogil())
        .def("set_virtual_wall_config", &R::set_virtual_wall_config, "config"_a, nogil(),
             "Sets the virtual wall: a cube or a sphere.")
        .def("get_virtual_wall_config", &R::get_virtual_wall_config, nogil())
        .def("set_self_collision_enable", &R::set_self_collision_enable, "enable"_a, nogil())
        .def("get_self_collision_enable", &R::get_self_collision_enable, nogil())
        .def("set_arm_run_mode", &R::set_arm_run_mode, "mode"_a, nogil())
        .def("get_arm_run_mode", &R::get_arm_run_mode, nogil());
}

}  // namespace kypy
