// kyarm/cpp/program_store.hpp: the controller's stored programs: listing, run state, update,
// deletion, the default program and running a program by id. Include <kyarm.hpp> rather
// than this file.
#pragma once

#include <string>
#include <string_view>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::program_store> {
    static constexpr code_text table[] = {
        {1, "refused by the controller (no such program, or the program could not start)"},
        {-1, "unknown robot handle, send failure, or a missing record or name"},
        {-4, "no program_run_finish report for this program in time, or an unreadable finish_id"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

template <class Self, class Policy>
class program_store_ops : public ops_base<Self, Policy, family::program_store, program_store_ops<Self, Policy>> {
    KY_OPS_BASE(program_store_ops, family::program_store);

public:
    /** One page (pages count from 1) of the stored programs whose name contains
     *  `vague_search` (null: every program). Entries the page does not fill stay zero. */
    auto get_program_trajectory_list(int page_num, int page_size, const char *vague_search = nullptr) const {
        ky_program_list list{};
        int rc = ky_get_program_trajectory_list(h(), page_num, page_size, vague_search, &list);
        return done("ky_get_program_trajectory_list", rc, list);
    }
    auto get_program_run_state() const {
        ky_program_run_state state{};
        int rc = ky_get_program_run_state(h(), &state);
        return done("ky_get_program_run_state", rc, state);
    }
    auto delete_program_trajectory(int id) const {
        return done("ky_delete_program_trajectory", ky_delete_program_trajectory(h(), id));
    }
    auto update_program_trajectory(int id, int plan_speed, std::string_view project_name) const {
        const std::string name(project_name);
        return done("ky_update_program_trajectory", ky_update_program_trajectory(h(), id, plan_speed, name.c_str()));
    }
    auto set_default_run_program(int id) const {
        return done("ky_set_default_run_program", ky_set_default_run_program(h(), id));
    }
    auto get_default_run_program() const {
        int id = 0;
        int rc = ky_get_default_run_program(h(), &id);
        return done("ky_get_default_run_program", rc, id);
    }
    /** Starts program `id` (`speed` 0: its stored speed). `block` non-zero waits until the
     *  controller reports this program finished, however long it runs (mode 0: `block` is the
     *  wait in seconds); 0 returns once started. */
    auto set_program_id_run(int id, int speed = 0, int block = 1) const {
        return done("ky_set_program_id_run", ky_set_program_id_run(h(), id, speed, block));
    }
};

}  // namespace ky
