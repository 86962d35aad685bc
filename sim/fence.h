// Safety volumes of the simulated controller: the named electronic fences, the fence in force,
// the virtual wall, their enable settings, self-collision checking and the run mode.
//
// Shapes are kept exactly as received (integers in thousandths of a metre, by wire key) so
// they read back byte for byte. When the fence or the wall is enabled, a tool position must
// lie on its allowed side: "in_out_side" 0 keeps the tool inside the volume (for a plane: on
// the side its normal (p2 - p1) x (p3 - p1) points to, the plane itself included), any other
// value keeps it outside. "effective_region" is kept and not interpreted.
#pragma once
#include <Eigen/Geometry>
#include <map>
#include <string>
#include <vector>

namespace ky::sim {

struct FenceShape {
    int form = 0;                    // 1 cube, 2 plane, 3 sphere; 0 none
    std::string name;
    std::map<std::string, int> keys; // shape keys in thousandths of a metre, as received
    // Whether `p` (metres, base frame) lies in the volume (cube, sphere) or on the positive
    // side (plane). A shape of no known form contains nothing.
    bool contains(const Eigen::Vector3d &p) const;
};

struct FenceEnable {
    bool enable = false;
    int in_out_side = 0;
    int effective_region = 0;
};

// The wire keys of a form, in reply order; empty for an unknown form.
const std::vector<const char *> &fence_keys(int form);

struct FenceState {
    std::map<std::string, FenceShape> named;  // by name
    std::vector<std::string> order;           // creation order, for the listings
    FenceShape in_force;                      // the electronic fence (cube or plane)
    FenceEnable fence_enable;
    FenceShape wall;                          // the virtual wall (cube or sphere)
    FenceEnable wall_enable;
    bool self_collision = false;
    int run_mode = 0;

    // Whether anything restricts the tool position at all.
    bool active() const { return (fence_enable.enable && in_force.form != 0) || (wall_enable.enable && wall.form != 0); }
    // Whether the tool may be at `p` (metres, base frame).
    bool allows(const Eigen::Vector3d &p) const;
};

}  // namespace ky::sim
