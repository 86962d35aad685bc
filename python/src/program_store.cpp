// Python bindings of the controller's program store. Running a program by id blocks until it
// finishes and releases the GIL meanwhile.
#include "bind.hpp"

#include <algorithm>

namespace kypy {

namespace {

// Entries a page holds: pages count from 1, the last one is partly filled.
int page_entries(const ky_program_list &l) {
    if (l.page_num < 1 || l.page_size < 1) return 0;
    const long long before = static_cast<long long>(l.page_num - 1) * l.page_size;
    const long long left = static_cast<long long>(l.total_size) - before;
    return static_cast<int>(std::clamp<long long>(std::min<long long>(left, l.page_size), 0, KY_PROGRAM_LIST_MAX));
}

}  // namespace

void bind_program_store(py::module_ &m, Robot &robot) {
    py::class_<ky_program_info> info(m, "ProgramInfo", "One stored program.");
    info.def_readonly("id", &ky_program_info::id)
        .def_readonly("size", &ky_program_info::size)
        .def_readonly("speed", &ky_program_info::speed);
    text_property(info, "trajectory_name", &ky_program_info::trajectory_name);

    py::class_<ky_program_list> list(m, "ProgramList", "One page of the stored programs.");
    list.def_readonly("page_num", &ky_program_list::page_num)
        .def_readonly("page_size", &ky_program_list::page_size)
        .def_readonly("total_size", &ky_program_list::total_size, "stored programs that match the filter")
        .def_property_readonly(
            "list",
            [](const ky_program_list &l) {
                return std::vector<ky_program_info>(l.list, l.list + page_entries(l));
            },
            "the page's programs (list of ProgramInfo)");
    text_property(list, "vague_search", &ky_program_list::vague_search);

    py::class_<ky_program_run_state>(m, "ProgramRunState", "Run state of the program being executed.")
        .def_readonly("run_state", &ky_program_run_state::run_state, "0 idle, 1 running, other values further states")
        .def_readonly("id", &ky_program_run_state::id)
        .def_readonly("edit_id", &ky_program_run_state::edit_id)
        .def_readonly("plan_num", &ky_program_run_state::plan_num)
        .def_readonly("total_loop", &ky_program_run_state::total_loop)
        .def_readonly("step_mode", &ky_program_run_state::step_mode)
        .def_readonly("plan_speed", &ky_program_run_state::plan_speed)
        .def_property_readonly("loop_num", [](const ky_program_run_state &s) {
            return array_of(s.loop_num, static_cast<std::size_t>(std::max(s.total_loop, 0)));
        })
        .def_property_readonly("loop_cont", [](const ky_program_run_state &s) {
            return array_of(s.loop_cont, static_cast<std::size_t>(std::max(s.total_loop, 0)));
        });

    using R = ky::Robot;
    robot.def("get_program_trajectory_list", &R::get_program_trajectory_list, "page_num"_a, "page_size"_a,
              "vague_search"_a = py::none(), nogil(),
              "One page (counting from 1) of the stored programs whose name contains vague_search (None: all).")
        .def("get_program_run_state", &R::get_program_run_state, nogil())
        .def("delete_program_trajectory", &R::delete_program_trajectory, "id"_a, nogil())
        .def("update_program_trajectory", &R::update_program_trajectory, "id"_a, "plan_speed"_a, "project_name"_a,
             nogil())
        .def("set_default_run_program", &R::set_default_run_program, "id"_a, nogil())
        .def("get_default_run_program", &R::get_default_run_program, nogil())
        .def("set_program_id_run", &R::set_program_id_run, "id"_a, "speed"_a = 0, "block"_a = 1, nogil(),
             "Starts program `id` (speed 0: its own); block=1 waits until it has finished, however long it runs "
             "(releases the GIL).");
}

}  // namespace kypy
