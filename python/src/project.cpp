// Python bindings of the project upload. A rejected project raises RefusedError carrying the
// controller's error line as `err_line`. The uploads release the GIL while they stream and wait.
#include "bind.hpp"

#include <cstring>

namespace kypy {

namespace {

// Raises the kyarm.errors exception of `e`, as the module's translator does, with the
// controller's error line attached.
[[noreturn]] void raise_with_err_line(const ky::Error &e, int err_line) {
    const char *cat = e.code().category().name();
    const char *family = std::strncmp(cat, "kyarm.", 6) == 0 ? cat + 6 : cat;
    py::object exc = py::module_::import("kyarm.errors").attr("_make")(e.result(), e.function(), family, e.code().message());
    exc.attr("err_line") = err_line;
    PyErr_SetObject(reinterpret_cast<PyObject *>(Py_TYPE(exc.ptr())), exc.ptr());
    throw py::error_already_set();
}

}  // namespace

void bind_project(py::module_ &m, Robot &robot) {
    py::class_<ky_project_upload> up(m, "ProjectUpload",
                                     "Project upload record: the host file, planning speed, store or run, slot, step "
                                     "mode, and add_header for a plain list of lines.");
    up.def(py::init([](const std::string &project_path, int32_t plan_speed, int32_t only_save, int32_t save_id,
                       int32_t step_flag, int32_t add_header) {
               ky_project_upload p{};
               if (!ky::copy_text(p.project_path, project_path)) throw py::value_error("project_path: text too long");
               p.project_path_len = static_cast<int32_t>(project_path.size());
               p.plan_speed = plan_speed;
               p.only_save = only_save;
               p.save_id = save_id;
               p.step_flag = step_flag;
               p.add_header = add_header;
               return p;
           }),
           "project_path"_a = "", "plan_speed"_a = 0, "only_save"_a = 0, "save_id"_a = 0, "step_flag"_a = 0,
           "add_header"_a = 0)
        .def_property(
            "project_path", [](const ky_project_upload &p) { return ky::text(p.project_path); },
            [](ky_project_upload &p, const std::string &s) {
                if (!ky::copy_text(p.project_path, s)) throw py::value_error("project_path: text too long");
                p.project_path_len = static_cast<int32_t>(s.size());
            },
            "host path of the project file (setting it also sets project_path_len)")
        .def_readwrite("project_path_len", &ky_project_upload::project_path_len)
        .def_readwrite("plan_speed", &ky_project_upload::plan_speed)
        .def_readwrite("only_save", &ky_project_upload::only_save)
        .def_readwrite("save_id", &ky_project_upload::save_id)
        .def_readwrite("step_flag", &ky_project_upload::step_flag)
        .def_readwrite("reserved", &ky_project_upload::reserved)
        .def_readwrite("add_header", &ky_project_upload::add_header);

    using R = ky::Robot;
    robot
        .def(
            "send_project",
            [](const R &r, const ky_project_upload &project) {
                int err_line = -1;
                try {
                    py::gil_scoped_release release;
                    return r.send_project(project, &err_line);
                } catch (const ky::Error &e) {
                    raise_with_err_line(e, err_line);
                }
            },
            "project"_a,
            "Uploads the project file and waits for the verdict (releases the GIL); returns the announced project "
            "name. The record is left as it was. A rejection raises RefusedError with .err_line.")
        .def(
            "send_project_lock",
            [](const R &r, std::string_view text) {
                int err_line = -1;
                try {
                    py::gil_scoped_release release;
                    r.send_project_lock(text, &err_line);
                } catch (const ky::Error &e) {
                    raise_with_err_line(e, err_line);
                }
            },
            "text"_a,
            "Uploads project text (str or bytes, with its header lines) announced by run_project; waits up to 10 s "
            "for the verdict (releases the GIL). A rejection raises RefusedError with .err_line.")
        .def("run_project", &R::run_project, "project"_a, "file_size"_a, nogil(),
             "Announces a project of file_size bytes named project.project_path.")
        .def("set_plan_speed", &R::set_plan_speed, "speed"_a, nogil())
        .def_static("countLinesInFile", &R::countLinesInFile, "path"_a,
                    "Lines of a text file; HandleError when it cannot be read.")
        .def("add_lines_to_file", &R::add_lines_to_file, "source"_a, "target"_a, nogil(),
             "Writes to `target` the project header lines for this robot and the lines of `source`.");
}

}  // namespace kypy
