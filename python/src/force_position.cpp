// Python bindings of force-position control: the mode commands and the streamed set-points.
#include "bind.hpp"

namespace kypy {

namespace {

/** Read-write numpy property of a fixed array field; `exact` asks for all N values, else
 *  up to N (the rest zero). */
template <class C, class T, std::size_t N>
void array_field(py::class_<C> &cls, const char *name, T (C::*member)[N], bool exact, const char *doc) {
    cls.def_property(
        name, array_property(member),
        [member, name, exact](C &c, const std::vector<T> &v) {
            if (v.size() > N || (exact && v.size() != N)) {
                std::string msg = name;
                msg += exact ? ": needs exactly " : ": at most ";
                msg += std::to_string(N);
                msg += " values";
                throw py::value_error(msg);
            }
            std::fill(std::begin(c.*member), std::end(c.*member), T{});
            std::copy(v.begin(), v.end(), c.*member);
        },
        doc);
}

}  // namespace

void bind_force_position(py::module_ &m, Robot &robot) {
    m.attr("FORCE_TARGET_JOINT") = static_cast<int>(KY_FORCE_TARGET_JOINT);
    m.attr("FORCE_TARGET_POSE") = static_cast<int>(KY_FORCE_TARGET_POSE);

    using P = ky_force_position_params;
    py::class_<P> params(m, "ForcePositionParams", "Per-axis force-position settings (set_force_position_new).");
    params.def(py::init<>())
        .def_readwrite("sensor", &P::sensor)
        .def_readwrite("mode", &P::mode);
    array_field(params, "control_mode", &P::control_mode, true, "one per axis x, y, z, rx, ry, rz");
    array_field(params, "desired_force", &P::desired_force, true, "newtons, one per axis");
    array_field(params, "limit_vel", &P::limit_vel, true, "velocity limits, one per axis");
    params.def(py::init([](int sensor, int mode, py::object control_mode, py::object desired_force,
                           py::object limit_vel) {
                   P p{};
                   p.sensor = sensor;
                   p.mode = mode;
                   py::object self = py::cast(p);
                   if (!control_mode.is_none()) self.attr("control_mode") = control_mode;
                   if (!desired_force.is_none()) self.attr("desired_force") = desired_force;
                   if (!limit_vel.is_none()) self.attr("limit_vel") = limit_vel;
                   return self.cast<P>();
               }),
               "sensor"_a, "mode"_a, "control_mode"_a = py::none(), "desired_force"_a = py::none(),
               "limit_vel"_a = py::none());

    using M = ky_force_position_move_params;
    py::class_<M> move(m, "ForcePositionMoveParams",
                       "One set-point of force_position_move: a joint or a pose target and per-axis force settings.");
    move.def(py::init<>())
        .def_readwrite("target_type", &M::target_type, "FORCE_TARGET_JOINT (0) or FORCE_TARGET_POSE (1)")
        .def_readwrite("pose", &M::pose)
        .def_readwrite("sensor", &M::sensor)
        .def_readwrite("mode", &M::mode)
        .def_readwrite("follow", &M::follow);
    array_field(move, "joint", &M::joint, false, "degrees; the first dof are sent");
    array_field(move, "control_mode", &M::control_mode, true, "one per axis x, y, z, rx, ry, rz");
    array_field(move, "desired_force", &M::desired_force, true, "newtons, one per axis");
    array_field(move, "limit_vel", &M::limit_vel, true, "velocity limits, one per axis");
    move.def(py::init([](py::object joint, py::object pose, int sensor, int mode, py::object control_mode,
                         py::object desired_force, py::object limit_vel, bool follow) {
                 if (joint.is_none() == pose.is_none())
                     throw py::value_error("give exactly one target: joint or pose");
                 M p{};
                 p.target_type = joint.is_none() ? KY_FORCE_TARGET_POSE : KY_FORCE_TARGET_JOINT;
                 p.sensor = sensor;
                 p.mode = mode;
                 p.follow = follow;
                 py::object self = py::cast(p);
                 const std::pair<const char *, py::object *> fields[] = {{"joint", &joint},
                                                                         {"pose", &pose},
                                                                         {"control_mode", &control_mode},
                                                                         {"desired_force", &desired_force},
                                                                         {"limit_vel", &limit_vel}};
                 for (const auto &[name, value] : fields)
                     if (!value->is_none()) self.attr(name) = *value;
                 return self.cast<M>();
             }),
             py::kw_only(), "joint"_a = py::none(), "pose"_a = py::none(), "sensor"_a = 0, "mode"_a = 0,
             "control_mode"_a = py::none(), "desired_force"_a = py::none(), "limit_vel"_a = py::none(),
             "follow"_a = false, "Give `joint` (degrees) or `pose`; target_type follows.");

    using R = ky::Robot;
    robot.def("set_force_position", &R::set_force_position, "sensor"_a, "mode"_a, "direction"_a, "force"_a, nogil(),
              "Switches force-position control on; `force` in newtons (sent in whole newtons).")
        .def("set_force_position_new", &R::set_force_position_new, "params"_a, nogil(),
             "Switches force-position control on with per-axis settings (ForcePositionParams).")
        .def("stop_force_position", &R::stop_force_position, nogil(), "Switches force-position control off.")
        .def("start_force_position_move", &R::start_force_position_move, nogil(),
             "Enters the streamed force-position mode.")
        .def("stop_force_position_move", &R::stop_force_position_move, nogil(), "Leaves the streamed force-position mode.")
        .def("force_position_move_joint", &R::force_position_move_joint, "joint"_a, "sensor"_a, "mode"_a, "direction"_a,
             "follow"_a, "force"_a, nogil(),
             "Streams a joint set-point (degrees), force in newtons (sent in whole newtons). Never waits.")
        .def("force_position_move_pose", &R::force_position_move_pose, "pose"_a, "sensor"_a, "mode"_a, "direction"_a,
             "follow"_a, "force"_a, nogil(), "Streams a Cartesian set-point. Never waits.")
        .def("force_position_move", &R::force_position_move, "params"_a, nogil(),
             "Streams a ForcePositionMoveParams set-point. Never waits.");
}

}  // namespace kypy
