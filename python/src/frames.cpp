// Python bindings of the tool and work frames and the tool collision envelopes.
#include "bind.hpp"

namespace kypy {

namespace {

py::array_t<float> matrix_array(const ky_matrix &mx) {
    const py::ssize_t rows = std::min<py::ssize_t>(mx.rows, 4), cols = std::min<py::ssize_t>(mx.cols, 4);
    py::array_t<float> a({rows, cols});
    auto w = a.mutable_unchecked<2>();
    for (py::ssize_t r = 0; r < rows; ++r)
        for (py::ssize_t c = 0; c < cols; ++c) w(r, c) = mx.data[r][c];
    return a;
}

}  // namespace

void bind_frames(py::module_ &m, Robot &robot) {
    using B = ky_envelope_ball;
    py::class_<B> ball(m, "EnvelopeBall", "One ball of a tool's collision envelope: radius and centre in metres.");
    ball.def(py::init([](const std::string &name, float radius, float x, float y, float z) {
                 B b{};
                 if (!ky::copy_text(b.name, name)) throw py::value_error("name: text too long");
                 b.radius = radius;
                 b.x = x;
                 b.y = y;
                 b.z = z;
                 return b;
             }),
             "name"_a = "", "radius"_a = 0.f, "x"_a = 0.f, "y"_a = 0.f, "z"_a = 0.f)
        .def_readwrite("radius", &B::radius)
        .def_readwrite("x", &B::x)
        .def_readwrite("y", &B::y)
        .def_readwrite("z", &B::z);
    text_property(ball, "name", &B::name);

    using E = ky_tool_envelope;
    auto set_balls = [](E &e, const std::vector<B> &balls) {
        if (balls.size() > KY_ENVELOPE_MAX_BALLS) throw py::value_error("an envelope holds at most 5 balls");
        std::copy(balls.begin(), balls.end(), e.balls);
        e.count = static_cast<int32_t>(balls.size());
    };
    py::class_<E> env(m, "ToolEnvelope", "A tool's collision envelope: up to 5 balls.");
    env.def(py::init([set_balls](const std::string &tool_name, const std::vector<B> &balls) {
                E e{};
                if (!ky::copy_text(e.tool_name, tool_name)) throw py::value_error("tool_name: text too long");
                set_balls(e, balls);
                return e;
            }),
            "tool_name"_a = "", "balls"_a = std::vector<B>{})
        .def_property(
            "balls",
            [](const E &e) {
                return std::vector<B>(e.balls, e.balls + std::clamp(e.count, 0, KY_ENVELOPE_MAX_BALLS));
            },
            set_balls, "the balls in use (a list of copies; assign a list to change them)")
        .def_readonly("count", &E::count);
    text_property(env, "tool_name", &E::tool_name);

    using R = ky::Robot;
    robot.def("set_auto_tool_frame", &R::set_auto_tool_frame, "point_num"_a, nogil(),
              "Records teaching point `point_num` of a taught tool frame.")
        .def("generate_auto_tool_frame", &R::generate_auto_tool_frame, "name"_a, "payload"_a, "x"_a, "y"_a, "z"_a,
             nogil(), "Creates the taught tool frame `name`: payload (kg), centre of mass (m).")
        .def("set_manual_tool_frame", &R::set_manual_tool_frame, "frame"_a, nogil(),
             "Creates a tool frame from a Frame (name, pose, payload, centre of mass).")
        .def("update_tool_frame", &R::update_tool_frame, "frame"_a, nogil(), "Updates the tool frame named in `frame`.")
        .def("set_tool_envelope", &R::set_tool_envelope, "envelope"_a, nogil(), "Sets a tool's collision envelope.")
        .def("get_tool_envelope", &R::get_tool_envelope, "tool_name"_a, nogil(), "Collision envelope of a tool.")
        .def("set_auto_work_frame", &R::set_auto_work_frame, "name"_a, "point_num"_a, nogil(),
             "Records teaching point `point_num` of the taught work frame `name`.")
        .def("set_manual_work_frame", &R::set_manual_work_frame, "name"_a, "pose"_a, nogil(),
             "Creates work frame `name` at `pose` (metres, radians).")
        .def("update_work_frame", &R::update_work_frame, "name"_a, "pose"_a, nogil(), "Moves work frame `name` to `pose`.")
        .def("get_total_tool_frame", &R::get_total_tool_frame, nogil(), "Names of the tool frames (list of str).")
        .def("get_total_work_frame", &R::get_total_work_frame, nogil(), "Names of the work frames (list of str).")
        .def("get_given_tool_frame", &R::get_given_tool_frame, "name"_a, nogil(), "Tool frame `name` as a Frame.")
        .def("get_given_work_frame", &R::get_given_work_frame, "name"_a, nogil(), "Pose of work frame `name`.")
        .def("get_current_tool_frame", &R::get_current_tool_frame, nogil(), "The current tool frame.")
        .def("get_current_work_frame", &R::get_current_work_frame, nogil(), "The current work frame.")
        .def("change_tool_frame", &R::change_tool_frame, "name"_a, nogil(),
             "Switches to tool frame `name` and reads it back.")
        .def("delete_tool_frame", &R::delete_tool_frame, "name"_a, nogil())
        .def("change_work_frame", &R::change_work_frame, "name"_a, nogil(),
             "Switches to work frame `name` and reads it back.")
        .def("delete_work_frame", &R::delete_work_frame, "name"_a, nogil())
        .def_static("tool_matrix", [] { return matrix_array(R::tool_matrix()); },
                    "Transform of the current tool frame on the flange (Tool_Matrix), as refreshed by the last "
                    "tool-frame query of any robot.")
        .def_static("frame_matrix", [] { return matrix_array(R::frame_matrix()); },
                    "Transform of the current work frame in the base (Frame_Matrix).");
}

}  // namespace kypy
