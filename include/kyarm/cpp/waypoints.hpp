// kyarm/cpp/waypoints.hpp: the controller's named global waypoints. Include <kyarm.hpp>
// rather than this file.
#pragma once

#include <string>
#include <string_view>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::waypoints> {
    static constexpr code_text table[] = {
        {1, "refused by the controller, or no such waypoint"},
        {-1, "unknown robot handle, send failure, a missing argument, or the arm's dof not 6 or 7"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Global waypoints: joints in degrees, poses in metres and radians (they travel as integer
 *  thousandths of a degree, millionths of a metre and thousandths of a radian). */
template <class Self, class Policy>
class waypoints_ops : public ops_base<Self, Policy, family::waypoints, waypoints_ops<Self, Policy>> {
    KY_OPS_BASE(waypoints_ops, family::waypoints);

public:
    /** Adds a copy of `point` stamped with the current local time; returns that copy (the
     *  waypoint as sent, its `time` filled). */
    auto add_global_waypoint(const ky_waypoint &point) const {
        ky_waypoint sent = point;
        int rc = ky_add_global_waypoint(h(), &sent);
        return done("ky_add_global_waypoint", rc, sent);
    }
    /** Updates the waypoint named point.point_name, as adding; returns the stamped copy. */
    auto update_global_waypoint(const ky_waypoint &point) const {
        ky_waypoint sent = point;
        int rc = ky_update_global_waypoint(h(), &sent);
        return done("ky_update_global_waypoint", rc, sent);
    }
    auto delete_global_waypoint(std::string_view name) const {
        const std::string n(name);
        return done("ky_delete_global_waypoint", ky_delete_global_waypoint(h(), n.c_str()));
    }
    /** The named waypoint; fails with 1 when there is none. */
    auto get_given_global_waypoint(std::string_view name) const {
        const std::string n(name);
        ky_waypoint point{};
        int rc = ky_get_given_global_waypoint(h(), n.c_str(), &point);
        return done("ky_get_given_global_waypoint", rc, point);
    }
    /** One page (pages count from 1) of the waypoints whose name contains `vague_search`
     *  (null: every waypoint); `list_len` entries of `points` are filled. */
    auto get_global_waypoints_list(int page_num, int page_size, const char *vague_search = nullptr) const {
        ky_waypoint_list list{};
        int rc = ky_get_global_waypoints_list(h(), page_num, page_size, vague_search, &list);
        return done("ky_get_global_waypoints_list", rc, list);
    }
};

}  // namespace ky
