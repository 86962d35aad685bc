// The kyarm extension module (kyarm._kyarm): the library's lifetime, the Robot class and
// the error translation; each family's members come from its bind_<family>().
#include "bind.hpp"

#include <cstring>

namespace kypy {

namespace {

// ky::Error -> the kyarm.errors class of its family-independent condition (refused, failed,
// timeout, parse, family-specific), carrying code, function and family.
void translate(std::exception_ptr p) {
    try {
        if (p) std::rethrow_exception(p);
    } catch (const ky::Error &e) {
        const char *cat = e.code().category().name();
        const char *family = std::strncmp(cat, "kyarm.", 6) == 0 ? cat + 6 : cat;
        const std::error_condition cond = e.code().default_error_condition();
        const int condition = cond.category() == ky::errc_category() ? cond.value() : e.result();
        py::object make = py::module_::import("kyarm.errors").attr("_make");
        py::object exc = make(e.result(), e.function(), family, e.code().message(), condition);
        PyErr_SetObject(reinterpret_cast<PyObject *>(Py_TYPE(exc.ptr())), exc.ptr());
    }
}

}  // namespace

void bind_bench(py::module_ &m);  // bench.cpp: the kyarm._bench timing loops

}  // namespace kypy

PYBIND11_MODULE(_kyarm, m) {
    using namespace kypy;
    m.doc() = "kyarm: networked robot-arm controllers (the compiled part; import kyarm).";
    py::register_exception_translator(&translate);

    m.def("init", [](int mode) { return ky_init(mode); }, "mode"_a = 2,
          "Starts the library (ky_init): 0 no thread, 1 receive thread, 2 also the UDP realtime thread. "
          "Returns the C result (0, or -1 when a thread cannot start).");
    m.def("destroy",
          [] {
              // Robot objects left over become inert (their records are freed by ky_destory).
              ky::detail::library_generation().fetch_add(1);
              return ky_destory();
          },
          nogil(), "Stops the library and closes every robot (ky_destory).");
    m.def("api_version", &ky_api_version, "The library version (ky_api_version).");
    m.def("set_timeout", [](int ms) { m_nOutTime = ms; }, "ms"_a, "Default reply wait in ms (m_nOutTime).");
    m.def("get_timeout", [] { return m_nOutTime; });
    m.def("set_long_timeout", [](int ms) { m_nOutTime_max = ms; }, "ms"_a, "Longer reply wait in ms (m_nOutTime_max).");
    m.def("get_long_timeout", [] { return m_nOutTime_max; });

    bind_records(m);

    Robot robot(m, "Robot",
                "One connected robot (ky_create_robot_arm / ky_delete_robot_arm). Use as a context manager "
                "or call close(). Every command is a method named after its C function without 'ky_', in "
                "the C units; a non-zero result raises a kyarm.Error subclass.");
    robot.def(py::init<std::string_view, int>(), "ip"_a, "port"_a = 8080, nogil(),
              "Connects and synchronises (blocks up to about 3 s). Raises HandleError (-1: no free slot, "
              "bad address), TimeoutError (-2: unreachable) or ParseError (-3: synchronisation failed).")
        .def("close", &ky::Robot::close, nogil(), "Deletes the robot (ky_delete_robot_arm).")
        .def("__enter__", [](ky::Robot &r) -> ky::Robot & { return r; }, py::return_value_policy::reference)
        .def("__exit__", [](ky::Robot &r, py::args) {
            py::gil_scoped_release nogil;
            r.close();
        })
        .def_property_readonly("connected", [](const ky::Robot &r) { return static_cast<bool>(r); })
        .def_property_readonly("id", &ky::Robot::id)
        .def_property_readonly("dof", &ky::Robot::dof)
        .def_property_readonly("model", &ky::Robot::model)
        .def_property_readonly("force_type", &ky::Robot::force_type)
        .def_property_readonly("tool_frame", [](const ky::Robot &r) { return r.record().tool_frame; })
        .def_property_readonly("work_frame", [](const ky::Robot &r) { return r.record().work_frame; })
        .def_property_readonly("install_pose", [](const ky::Robot &r) {
            const ky_robot_handle &h = r.record();
            return py::make_tuple(h.install_x, h.install_y, h.install_z);
        })
        .def_property_readonly("joint_max_pos", [](const ky::Robot &r) { return array_of(r.record().joint_max_pos, r.dof()); })
        .def_property_readonly("joint_min_pos", [](const ky::Robot &r) { return array_of(r.record().joint_min_pos, r.dof()); })
        .def_property_readonly("joint_max_speed", [](const ky::Robot &r) { return array_of(r.record().joint_max_speed, r.dof()); })
        .def_property_readonly("joint_max_acc", [](const ky::Robot &r) { return array_of(r.record().joint_max_acc, r.dof()); })
        .def_property_readonly("push_port", [](const ky::Robot &r) { return r.record().push_port; })
        .def("__repr__", [](const ky::Robot &r) {
            std::string s = "<kyarm.Robot id=";
            s += std::to_string(r.id());
            s += " dof=";
            s += std::to_string(r.dof());
            s += ">";
            return s;
        });

    bind_identity(m, robot);
    bind_realtime(m, robot);
    bind_motion(m, robot);
    bind_joint_config(m, robot);
    bind_arm_limits(m, robot);
    bind_frames(m, robot);
    bind_passthrough(m, robot);
    bind_force_position(m, robot);
    bind_jogging(m, robot);
    bind_drag(m, robot);
    bind_controller(m, robot);
    bind_io(m, robot);
    bind_tool(m, robot);
    bind_axes(m, robot);
    bind_network(m, robot);
    bind_force_sensor(m, robot);
    bind_modbus(m, robot);
    bind_project(m, robot);
    bind_program_store(m, robot);
    bind_waypoints(m, robot);
    bind_fence(m, robot);
    bind_exchange(m, robot);
    bind_callbacks(m);
    py::module_ algo = m.def_submodule("algo", "Kinematics: forward and inverse kinematics, conversions, frames.");
    bind_algo(algo);
    py::module_ sim = m.def_submodule("sim", "The controller simulator, in-process.");
    bind_sim(sim);
    py::module_ bench = m.def_submodule("_bench", "Timing loops of C calls, the baseline of bench/bench_python.py.");
    bind_bench(bench);
}
