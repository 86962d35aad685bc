// Python bindings of the kinematics (kyarm.algo): one function per C function, named after
// it without its prefix, numpy float32 arrays in and out, kyarm.Pose for poses, matrices as
// (rows, cols) arrays, Euler angles and quaternions as tuples.
#include "bind.hpp"

namespace kypy {

namespace {

namespace alg = ky::algo;
using farray = py::array_t<float, py::array::c_style | py::array::forcecast>;

[[noreturn]] void refuse(const char *fn) { throw ky::Error(ky::make_error_code<ky::family::wrapper>(-1), fn); }

/** A 1-D array of between `min` and N values, zero-padded to N; refused (code -1 in the
 *  wrapper family, as the robot's methods do) otherwise, since the C call reads `min`. */
template <std::size_t N>
std::array<float, N> in(const farray &a, const char *fn, std::size_t min = N) {
    if (a.ndim() != 1 || static_cast<std::size_t>(a.size()) < min || static_cast<std::size_t>(a.size()) > N) refuse(fn);
    std::array<float, N> v{};
    std::copy_n(a.data(), a.size(), v.begin());
    return v;
}

template <std::size_t N>
py::array_t<float> out(const std::array<float, N> &v, std::size_t n = N) {
    return py::array_t<float>(static_cast<py::ssize_t>(std::min(n, N)), v.data());
}

/** Joint count the C calls read: the robot's, or the offline model's (7 before a selection). */
std::size_t dof_of(const ky::Robot *robot) {
    int n = robot ? robot->dof() : alg::get_rbt_dof();
    return n >= 1 && n <= 7 ? static_cast<std::size_t>(n) : 7;
}

py::array_t<float> matrix_out(const ky_matrix &m) {
    const py::ssize_t rows = std::min<int>(m.rows, 4), cols = std::min<int>(m.cols, 4);
    py::array_t<float> a({rows, cols});
    auto w = a.mutable_unchecked<2>();
    for (py::ssize_t r = 0; r < rows; ++r)
        for (py::ssize_t c = 0; c < cols; ++c) w(r, c) = m.data[r][c];
    return a;
}

ky_matrix matrix_in(const farray &a) {
    if (a.ndim() != 2 || a.shape(0) < 1 || a.shape(0) > 4 || a.shape(1) < 1 || a.shape(1) > 4)
        throw py::value_error("matrix: a 2-D array of at most 4 x 4 (3 x 3 rotation or 4 x 4 transform)");
    ky_matrix m{};
    m.rows = static_cast<uint16_t>(a.shape(0));
    m.cols = static_cast<uint16_t>(a.shape(1));
    auto r = a.unchecked<2>();
    for (py::ssize_t i = 0; i < a.shape(0); ++i)
        for (py::ssize_t j = 0; j < a.shape(1); ++j) m.data[i][j] = r(i, j);
    return m;
}

py::tuple euler_out(const ky_euler &e) { return py::make_tuple(e.rx, e.ry, e.rz); }
py::tuple quaternion_out(const ky_quaternion &q) { return py::make_tuple(q.w, q.x, q.y, q.z); }

/** Copies up to N values into a fixed float array field, zero-padding the rest. */
template <std::size_t N>
void fill(float (&dst)[N], const farray &a, const char *name) {
    if (a.ndim() != 1 || static_cast<std::size_t>(a.size()) > N) {
        std::string msg = name;
        msg += ": at most ";
        msg += std::to_string(N);
        msg += " values";
        throw py::value_error(msg);
    }
    std::fill(std::begin(dst), std::end(dst), 0.f);
    std::copy_n(a.data(), a.size(), dst);
}

/** Read-write numpy property of a fixed float array field. */
template <class C, std::size_t N>
void float_array_property(py::class_<C> &cls, const char *name, float (C::*member)[N], const char *doc) {
    cls.def_property(
        name, [member](const C &c) { return array_of(c.*member); },
        [member, name](C &c, const farray &a) { fill(c.*member, a, name); }, doc);
}

/** A failed call raises through the module's translation of ky::Error, which maps the
 *  kinematics' -2 (a refused quaternion) to kyarm.FamilyError by its condition. */
[[noreturn]] void raise_error(const std::error_code &ec, const char *fn) { throw ky::Error(ec, fn); }

void check(const ky::result<void> &r) {
    if (!r) raise_error(r.error(), r.function());
}

void bind_algo_records(py::module_ &m) {
    py::class_<ky_dh_table> dh(m, "DhTable", "DH table, 8 entries per field (entries past the joint count zero).");
    dh.def(py::init([](const farray &d, const farray &a, const farray &alpha, const farray &offset) {
               ky_dh_table t{};
               fill(t.d, d, "d");
               fill(t.a, a, "a");
               fill(t.alpha, alpha, "alpha");
               fill(t.offset, offset, "offset");
               return t;
           }),
           "d"_a = farray(0), "a"_a = farray(0), "alpha"_a = farray(0), "offset"_a = farray(0));
    float_array_property(dh, "d", &ky_dh_table::d, "link offsets along the previous z axis, metres");
    float_array_property(dh, "a", &ky_dh_table::a, "link lengths, metres");
    float_array_property(dh, "alpha", &ky_dh_table::alpha, "link twists, radians");
    float_array_property(dh, "offset", &ky_dh_table::offset, "theta offsets added to the joint angles, radians");

    using P = ky_inverse_kinematics_params;
    py::class_<P> ik(m, "InverseKinematicsParams",
                     "Inverse kinematics request: current joints (degrees), target tool pose in the base "
                     "(world) frame, flag (0: orientation from the quaternion, otherwise the Euler angles).");
    ik.def(py::init([](const farray &current_joints, const ky_pose &target_pose, uint8_t flag) {
               P p{};
               fill(p.current_joints, current_joints, "current_joints");
               p.target_pose = target_pose;
               p.flag = flag;
               return p;
           }),
           "current_joints"_a, "target_pose"_a, "flag"_a = 1)
        .def_readwrite("target_pose", &P::target_pose)
        .def_readwrite("flag", &P::flag);
    float_array_property(ik, "current_joints", &P::current_joints, "degrees; the solution nearest to them is chosen");
}

void bind_host(py::module_ &m) {
    m.def("version", &alg::version, "Algorithm version (ky_algo_version).");
    m.def("init_sys_data", [](uint32_t robot_type, uint32_t sensor_type) {
        check(alg::try_init_sys_data(robot_type, sensor_type));
    }, "robot_type"_a, "sensor_type"_a = 0,
          "Selects the arm model for offline use (0 KY6A, 1 KY7A, 3/4 KYL6C rev. 2/3, 5 LUX6A, 6 LUX6B, 7 NOV7B, "
          "8 LUX6C); discards frames, limits and installation angles.");
    m.def("set_angle", &alg::set_angle, "x"_a, "y"_a, "z"_a, "Installation angles, degrees.");
    m.def("get_angle", [] {
        auto v = alg::get_angle();
        return py::make_tuple(v[0], v[1], v[2]);
    }, "Installation angles (x, y, z), degrees.");
    m.def("set_redundant_parameter_traversal_mode", &alg::set_redundant_parameter_traversal_mode, "traverse"_a,
          "7-joint solver: True searches the whole joint space, False stays near the current joints.");
    m.def("set_workframe", &alg::set_workframe, "frame"_a, "Work frame pose in the base (m, rad).");
    m.def("get_curr_workframe", &alg::get_curr_workframe);
    m.def("set_toolframe", &alg::set_toolframe, "frame"_a, "Tool frame on the flange (m, rad), payload (kg), centre of mass (m).");
    m.def("get_curr_toolframe", &alg::get_curr_toolframe);

    using set7 = void (*)(const alg::joint7 &) noexcept;
    using get7 = alg::joint7 (*)() noexcept;
    struct limit {
        const char *set_name, *get_name, *c_set, *doc;
        set7 set;
        get7 get;
    };
    const limit limits[] = {
        {"set_joint_max_limit", "get_joint_max_limit", "ky_algo_set_joint_max_limit", "Maximum joint positions, degrees.",
         &alg::set_joint_max_limit, &alg::get_joint_max_limit},
        {"set_joint_min_limit", "get_joint_min_limit", "ky_algo_set_joint_min_limit", "Minimum joint positions, degrees.",
         &alg::set_joint_min_limit, &alg::get_joint_min_limit},
        {"set_joint_max_speed", "get_joint_max_speed", "ky_algo_set_joint_max_speed", "Maximum joint speeds, degrees/s.",
         &alg::set_joint_max_speed, &alg::get_joint_max_speed},
        {"set_joint_max_acc", "get_joint_max_acc", "ky_algo_set_joint_max_acc", "Maximum joint accelerations, degrees/s^2.",
         &alg::set_joint_max_acc, &alg::get_joint_max_acc},
    };
    for (const limit &l : limits) {
        m.def(l.set_name, [l](const farray &joint) { l.set(in<7>(joint, l.c_set, dof_of(nullptr))); }, "joint"_a, l.doc);
        m.def(l.get_name, [l] { return out(l.get(), dof_of(nullptr)); }, l.doc);
    }

    m.def("arm_state_set", [](const ky::Robot *robot_handle) {
        if (robot_handle) alg::arm_state_set(*robot_handle);
    }, "robot_handle"_a, nogil(), "Loads the robot's model, frames, installation and limits into the state (None: nothing).");
    m.def("judgment_overpos", [](const farray &joint) {
        return alg::judgment_overpos(in<7>(joint, "ky_algo_judgment_overpos", dof_of(nullptr)));
    }, "joint"_a, "True when a joint (degrees) lies outside its limits.");
    m.def("forward_kinematics", [](const ky::Robot *robot_handle, const farray &joint) {
        const alg::joint7 q = in<7>(joint, "ky_algo_forward_kinematics", dof_of(robot_handle));
        py::gil_scoped_release nogil;
        return robot_handle ? alg::forward_kinematics(*robot_handle, q) : alg::forward_kinematics(q);
    }, "robot_handle"_a, "joint"_a,
          "Tool pose in the work frame for `joint` (degrees), with the robot's settings (None: the offline state).");
    m.def("inverse_kinematics", [](const ky::Robot *robot_handle, const ky_inverse_kinematics_params &params) {
        auto r = [&] {
            py::gil_scoped_release nogil;
            return robot_handle ? alg::try_inverse_kinematics(*robot_handle, params) : alg::try_inverse_kinematics(params);
        }();
        if (!r) raise_error(r.error(), r.function());
        return out(*r, dof_of(robot_handle));
    }, "robot_handle"_a, "params"_a,
          "Joints (degrees) putting the tool at params.target_pose (base frame), nearest to params.current_joints. "
          "Raises RefusedError (1: no acceptable solution), HandleError (-1: current joints outside the limits) "
          "or FamilyError (-2: flag 0 and a non-unit quaternion).");

    m.def("euler2quaternion", [](std::array<float, 3> euler) {
        return quaternion_out(alg::euler2quaternion({euler[0], euler[1], euler[2]}));
    }, "euler"_a, "(rx, ry, rz) radians -> (w, x, y, z).");
    m.def("quaternion2euler", [](std::array<float, 4> quaternion) {
        return euler_out(alg::quaternion2euler({quaternion[0], quaternion[1], quaternion[2], quaternion[3]}));
    }, "quaternion"_a, "(w, x, y, z) -> (rx, ry, rz) radians.");
    m.def("euler2matrix", [](std::array<float, 3> euler) {
        return matrix_out(alg::euler2matrix({euler[0], euler[1], euler[2]}));
    }, "euler"_a, "(rx, ry, rz) radians -> 3 x 3 rotation matrix.");
    m.def("pos2matrix", [](const ky_pose &pose) { return matrix_out(alg::pos2matrix(pose)); }, "pose"_a,
          "Pose -> 4 x 4 homogeneous transform (translation in metres).");
    m.def("matrix2pos", [](const farray &matrix) { return alg::matrix2pos(matrix_in(matrix)); }, "matrix"_a,
          "Homogeneous transform -> Pose (both orientation forms filled).");

    // Frame changes: None is the identity frame.
    using frame_fn = ky_pose (*)(const ky_frame &, ky_pose) noexcept;
    struct change {
        const char *name, *frame_arg, *pose_arg, *doc;
        frame_fn f;
    };
    const change changes[] = {
        {"base2workframe", "work_frame", "pose", "A pose in the base frame expressed in `work_frame` (W^-1 * P).",
         &alg::base2workframe},
        {"workframe2base", "work_frame", "pose", "A pose in `work_frame` expressed in the base frame (W * P).",
         &alg::workframe2base},
        {"end2tool", "tool_frame", "flange_pose", "Flange pose -> pose of the tool point of `tool_frame` (F * T).",
         &alg::end2tool},
        {"tool2end", "tool_frame", "tool_pose", "Tool point pose -> flange pose (P * T^-1).", &alg::tool2end},
    };
    for (const change &c : changes)
        m.def(c.name, [f = c.f](const ky_frame *frame, const ky_pose &pose) { return f(frame ? *frame : ky_frame{}, pose); },
              py::arg(c.frame_arg), py::arg(c.pose_arg), c.doc);

    m.def("cartesian_tool", [](const ky::Robot *robot_handle, const farray &joint, float dx, float dy, float dz) {
        const alg::joint7 q = in<7>(joint, "ky_algo_cartesian_tool", dof_of(robot_handle));
        py::gil_scoped_release nogil;
        return robot_handle ? alg::cartesian_tool(*robot_handle, q, dx, dy, dz) : alg::cartesian_tool(q, dx, dy, dz);
    }, "robot_handle"_a, "joint"_a, "dx"_a, "dy"_a, "dz"_a,
          "Tool pose for `joint` (degrees) moved by dx, dy, dz metres along the tool's own axes.");
    m.def("rotate_move", &alg::rotate_move, "pose"_a, "axis"_a, "angle"_a, "reference"_a,
          "`pose` turned by `angle` rad about axis `axis` (0 x, 1 y, 2 z) of the frame `reference`.");
    m.def("pose_move", [](const ky_pose &pose, const farray &offset, int frame) {
        return alg::pose_move(pose, in<6>(offset, "ky_algo_pose_move"), frame);
    }, "pose"_a, "offset"_a, "frame"_a,
          "`pose` offset by (dx, dy, dz m, rx, ry, rz rad): frame 0 in its reference frame, 1 in the tool frame.");
}

/** A setter and getter pair of a fixed float array of the state. */
template <std::size_t N>
void def_pair(py::module_ &m, const char *set_name, void (*set)(const std::array<float, N> &) noexcept,
              const char *get_name, std::array<float, N> (*get)() noexcept, const char *arg, const char *c_set,
              const char *doc) {
    m.def(set_name, [set, c_set](const farray &a) { set(in<N>(a, c_set)); }, py::arg(arg), doc);
    m.def(get_name, [get] { return out(get()); }, doc);
}

void bind_state(py::module_ &m) {
    m.def("init", [] { check(alg::try_init()); }, "Selects KY6A without a sensor (libalgo_init).");
    m.def("set_robot_and_sensor_type", [](uint32_t robot_type, uint32_t sensor_type) {
        check(alg::try_set_robot_and_sensor_type(robot_type, sensor_type));
    }, "robot_type"_a, "sensor_type"_a, "Clears the state and loads the model's defaults.");
    m.def("get_robot_type", &alg::get_robot_type);
    m.def("get_sensor_type", &alg::get_sensor_type);
    m.def("set_robot_install_angle", &alg::set_robot_install_angle, "a"_a, "b"_a, "c"_a,
          "Installation angles, radians: base rotated by Rz(c) * Ry(b) * Rx(a).");
    m.def("get_robot_install_angle", [] { return out(alg::get_robot_install_angle()); }, "Radians.");
    m.def("get_robot_install_angle_matrix", [] { return matrix_out(alg::get_robot_install_angle_matrix()); });
    m.def("get_robot_gravity_acc", [] { return out(alg::get_robot_gravity_acc()); }, "Gravity in the base frame, m/s^2.");
    def_pair<6>(m, "set_tool_cs_params", &alg::set_tool_cs_params, "get_tool_cs_params", &alg::get_tool_cs_params,
                "params", "libalgo_set_tool_cs_params", "Tool frame on the flange: x, y, z (m), rx, ry, rz (rad).");
    m.def("get_tool_cs_matrix", [] { return matrix_out(alg::get_tool_cs_matrix()); }, "Tool-to-flange transform.");
    def_pair<6>(m, "set_work_cs_params", &alg::set_work_cs_params, "get_work_cs_params", &alg::get_work_cs_params,
                "params", "libalgo_set_work_cs_params", "Work frame in the base: x, y, z (m), rx, ry, rz (rad).");
    m.def("get_work_cs_to_base_matrix", [] { return matrix_out(alg::get_work_cs_to_base_matrix()); },
          "Maps base coordinates into the work frame.");
    def_pair<11>(m, "set_payload_params", &alg::set_payload_params, "get_payload_params", &alg::get_payload_params,
                 "payload", "libalgo_set_payload_params", "Mass (kg), centre of mass x, y, z (m), 7 further values.");

    m.def("set_dh_params", &alg::set_dh_params, "dh"_a, "Copies the first 7 entries of each field.");
    m.def("get_dh_value", &alg::get_dh_value);
    m.def("set_dh_params_default", &alg::set_dh_params_default, "Restores the model's DH table.");
    m.def("get_dh_params_default", &alg::get_dh_params_default);
    m.def("check_dh_params_is_default", &alg::check_dh_params_is_default);
    m.def("set_dh_compensation_value", &alg::set_dh_compensation_value, "dh"_a);
    m.def("get_dh_compensation_value", &alg::get_dh_compensation_value);

    def_pair<8>(m, "set_jointlim_max", &alg::set_jointlim_max, "get_jointlim_max", &alg::get_jointlim_max, "values",
                "libalgo_set_jointlim_max", "Maximum positions of the 8 joint records, rad.");
    def_pair<8>(m, "set_jointlim_min", &alg::set_jointlim_min, "get_jointlim_min", &alg::get_jointlim_min, "values",
                "libalgo_set_jointlim_min", "Minimum positions of the 8 joint records, rad.");
    def_pair<8>(m, "set_joint_vel_maxlim", &alg::set_joint_vel_maxlim, "get_joint_vel_maxlim", &alg::get_joint_vel_maxlim,
                "values", "libalgo_set_joint_vel_maxlim", "Maximum velocities, rad/s.");
    def_pair<8>(m, "set_joint_acc_maxlim", &alg::set_joint_acc_maxlim, "get_joint_acc_maxlim", &alg::get_joint_acc_maxlim,
                "values", "libalgo_set_joint_acc_maxlim", "Maximum accelerations, rad/s^2.");
    m.def("get_modeling_jointlim_max", [] { return out(alg::get_modeling_jointlim_max()); }, "Limits plus theta offsets, rad.");
    m.def("get_modeling_jointlim_min", [] { return out(alg::get_modeling_jointlim_min()); }, "Limits plus theta offsets, rad.");

    m.def("set_joint_config", [](int joint, const farray &record) {
        alg::set_joint_config(joint, in<17>(record, "libalgo_set_joint_config"));
    }, "joint"_a, "record"_a, "One joint's 17-float record (joint 0..7; floats 11-14: max, min position rad, max velocity, acceleration).");
    m.def("get_joint_config", [](int joint) { return out(alg::get_joint_config(joint)); }, "joint"_a);
    def_pair<71>(m, "update_feedback_data", &alg::update_feedback_data, "get_robot_feedback_data",
                 &alg::get_robot_feedback_data, "data", "libalgo_update_feedback_data",
                 "Feedback record, 71 floats (0-7 and 8-15: joint angles, rad, stored with the theta offsets).");
    def_pair<8>(m, "set_joint_direction", &alg::set_joint_direction, "get_joint_direction", &alg::get_joint_direction,
                "directions", "libalgo_set_joint_direction", "Joint directions: > 0 +1, < 0 -1, 0 keeps the stored one.");

    const auto dyn_count = [] { return static_cast<std::size_t>(std::max<int>(alg::get_rbt_dof(), 0)) * 10; };
    m.def("set_link_dynamics_params", [dyn_count](const farray &params) {
        alg::set_link_dynamics_params(in<80>(params, "libalgo_set_link_dynamics_params", dyn_count()));
    }, "params"_a, "Link dynamics, 10 values per joint (dof x 10).");
    m.def("get_link_dynamics_params", [dyn_count] { return out(alg::get_link_dynamics_params(), dyn_count()); });
    m.def("set_link_dynamics_params_default", &alg::set_link_dynamics_params_default);
    m.def("get_link_dynamics_params_default", [dyn_count] { return out(alg::get_link_dynamics_params_default(), dyn_count()); });
    m.def("get_dynamics_params", [] { return out(alg::get_dynamics_params()); },
          "152 floats: drag factors (8), second drag group (8), identification (56), link dynamics (80).");
    m.def("set_dynamics_identification_params", [](const farray &params) {
        alg::set_dynamics_identification_params(in<56>(params, "libalgo_set_dynamics_identification_params"));
    }, "params"_a);
    m.def("set_drag_regulation_factor", [](const farray &factors) {
        alg::set_drag_regulation_factor(in<16>(factors, "libalgo_set_drag_regulation_factor"));
    }, "factors"_a, "8 drag factors then 8 second-group values.");

    m.def("set_safety_level", [](uint16_t level) { check(alg::try_set_safety_level(level)); }, "level"_a, "0..8.");
    m.def("get_safety_level", &alg::get_safety_level);
    m.def("set_system_all_dof", [](int32_t count) { check(alg::try_set_system_all_dof(count)); }, "count"_a,
          "Joint count of arm plus external axes (not below the arm's).");
    m.def("get_system_all_dof", &alg::get_system_all_dof);
    m.def("set_is_avoid_Singularity", &alg::set_is_avoid_Singularity, "on"_a, "Wrist-singularity avoidance: 1 on.");
    m.def("get_is_avoid_Singularity", &alg::get_is_avoid_Singularity);
    m.def("set_dynamics_model_type", &alg::set_dynamics_model_type, "type"_a, "Returns the stored type (2, else 1).");
    m.def("get_dynamics_model_type", &alg::get_dynamics_model_type);
    m.def("set_control_loop_period", &alg::set_control_loop_period, "seconds"_a);
    m.def("get_control_loop_period", &alg::get_control_loop_period, "Seconds.");
    def_pair<4>(m, "set_tcp_config", &alg::set_tcp_config, "get_tcp_config", &alg::get_tcp_config, "config",
                "libalgo_set_tcp_config", "TCP configuration, 4 values.");
    def_pair<21>(m, "set_user_collision_threshold", &alg::set_user_collision_threshold, "get_user_collision_threshold",
                 &alg::get_user_collision_threshold, "thresholds", "libalgo_set_user_collision_threshold",
                 "Collision thresholds, 21 values.");
    def_pair<8>(m, "set_trajectory_planning_joint_cmd", &alg::set_trajectory_planning_joint_cmd,
                "get_trajectory_planning_joint_cmd", &alg::get_trajectory_planning_joint_cmd, "joints",
                "libalgo_set_trajectory_planning_joint_cmd", "Trajectory planner's joint command, rad.");
    m.def("get_trajectory_planning_joint_cur", [] { return out(alg::get_trajectory_planning_joint_cur()); },
          "Current joints of the trajectory planner, rad.");
    m.def("get_rbt_dof", &alg::get_rbt_dof, "Joint count of the selected model (0 before a selection).");
    m.def("clear", &alg::clear, "Clears the state and leaves no model loaded.");
}

}  // namespace

void bind_algo(py::module_ &m) {
    bind_algo_records(m);
    bind_host(m);
    bind_state(m);
}

}  // namespace kypy
