// kyarm/cpp/fence.hpp: electronic fences, the virtual wall, self-collision checking and the
// run mode. Include <kyarm.hpp> rather than this file.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::fence> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or no such fence"},
        {-1, "unknown robot handle, send failure, or a fence form this call cannot send"},
        {-4, "unknown fence form (nothing sent)"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Fences and the virtual wall: coordinates and radii in metres (they travel as integer
 *  thousandths, so values finer than 1 mm are cut). Fence names are at most 12 bytes. */
template <class Self, class Policy>
class fence_ops : public ops_base<Self, Policy, family::fence, fence_ops<Self, Policy>> {
    KY_OPS_BASE(fence_ops, family::fence);

public:
    auto add_electronic_fence_config(const ky_fence_config &config) const {
        return done("ky_add_electronic_fence_config", ky_add_electronic_fence_config(h(), &config));
    }
    auto update_electronic_fence_config(const ky_fence_config &config) const {
        return done("ky_update_electronic_fence_config", ky_update_electronic_fence_config(h(), &config));
    }
    auto delete_electronic_fence_config(std::string_view name) const {
        const std::string n(name);
        return done("ky_delete_electronic_fence_config", ky_delete_electronic_fence_config(h(), n.c_str()));
    }
    /** The names of every stored fence (at most KY_FENCE_LIST_MAX). */
    auto get_electronic_fence_list_names() const {
        std::array<ky_fence_name, KY_FENCE_LIST_MAX> names{};
        int count = 0;
        int rc = ky_get_electronic_fence_list_names(h(), names.data(), &count);
        std::vector<std::string> out;
        for (int i = 0; rc == 0 && i < std::min(count, KY_FENCE_LIST_MAX); ++i) out.push_back(text(names[i].name));
        return done("ky_get_electronic_fence_list_names", rc, std::move(out));
    }
    /** The named fence; fails with 1 when there is none. */
    auto get_given_electronic_fence_config(std::string_view name) const {
        const std::string n(name);
        ky_fence_config c{};
        int rc = ky_get_given_electronic_fence_config(h(), n.c_str(), &c);
        return done("ky_get_given_electronic_fence_config", rc, c);
    }
    /** Every stored fence (at most KY_FENCE_LIST_MAX). */
    auto get_electronic_fence_list_infos() const {
        std::vector<ky_fence_config> configs(KY_FENCE_LIST_MAX);
        int count = 0;
        int rc = ky_get_electronic_fence_list_infos(h(), configs.data(), &count);
        configs.resize(rc == 0 ? static_cast<std::size_t>(std::clamp(count, 0, KY_FENCE_LIST_MAX)) : 0);
        return done("ky_get_electronic_fence_list_infos", rc, std::move(configs));
    }
    auto set_electronic_fence_enable(const ky_fence_enable &enable) const {
        return done("ky_set_electronic_fence_enable", ky_set_electronic_fence_enable(h(), enable));
    }
    auto get_electronic_fence_enable() const {
        ky_fence_enable e{};
        int rc = ky_get_electronic_fence_enable(h(), &e);
        return done("ky_get_electronic_fence_enable", rc, e);
    }
    /** The fence in force: a cube or a plane (its name is not sent). */
    auto set_electronic_fence_config(const ky_fence_config &config) const {
        return done("ky_set_electronic_fence_config", ky_set_electronic_fence_config(h(), &config));
    }
    auto get_electronic_fence_config() const {
        ky_fence_config c{};
        int rc = ky_get_electronic_fence_config(h(), &c);
        return done("ky_get_electronic_fence_config", rc, c);
    }
    auto set_virtual_wall_enable(const ky_fence_enable &enable) const {
        return done("ky_set_virtual_wall_enable", ky_set_virtual_wall_enable(h(), enable));
    }
    auto get_virtual_wall_enable() const {
        ky_fence_enable e{};
        int rc = ky_get_virtual_wall_enable(h(), &e);
        return done("ky_get_virtual_wall_enable", rc, e);
    }
    /** The virtual wall: a cube or a sphere. */
    auto set_virtual_wall_config(const ky_fence_config &config) const {
        return done("ky_set_virtual_wall_config", ky_set_virtual_wall_config(h(), &config));
    }
    auto get_virtual_wall_config() const {
        ky_fence_config c{};
        int rc = ky_get_virtual_wall_config(h(), &c);
        return done("ky_get_virtual_wall_config", rc, c);
    }
    auto set_self_collision_enable(bool enable) const {
        return done("ky_set_self_collision_enable", ky_set_self_collision_enable(h(), enable));
    }
    auto get_self_collision_enable() const {
        bool enable = false;
        int rc = ky_get_self_collision_enable(h(), &enable);
        return done("ky_get_self_collision_enable", rc, enable);
    }
    /** Any non-zero mode is sent as 1. */
    auto set_arm_run_mode(int mode) const { return done("ky_set_arm_run_mode", ky_set_arm_run_mode(h(), mode)); }
    auto get_arm_run_mode() const {
        int mode = 0;
        int rc = ky_get_arm_run_mode(h(), &mode);
        return done("ky_get_arm_run_mode", rc, mode);
    }
};

}  // namespace ky
