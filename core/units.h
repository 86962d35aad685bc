// Conversions between the API's floats and the controller's wire integers. Every
// conversion to the wire truncates toward zero; values beyond the 32-bit range saturate
// instead of overflowing. Conversions from the wire divide in single precision.
#pragma once
#include <array>
#include <cstdint>

#include "ky_api.h"

namespace ky {

// Truncates toward zero into int32, saturating at the range ends (NaN gives 0).
int32_t trunc_i32(double v);

// Joint angles: degrees widened to double, x 1000.
inline int32_t deg_to_wire(float deg) { return trunc_i32(static_cast<double>(deg) * 1000.0); }
// Single-precision x 1000 (Euler angles, payloads, steps, limits).
inline int32_t milli_to_wire(float v) { return trunc_i32(static_cast<float>(v * 1000.0f)); }
// Single-precision x 1,000,000 (Cartesian positions in metres).
inline int32_t micro_to_wire(float v) { return trunc_i32(static_cast<float>(v * 1000000.0f)); }
// Joint speeds and accelerations: (v / 6) x 1000, in revolutions per minute x 1000.
inline int32_t speed_to_wire(float v) { return trunc_i32(static_cast<float>(v / 6.0f * 1000.0f)); }

// Forces in tenths of a newton, single-precision product truncated (2.7 -> 27).
inline int32_t deci_to_wire(float v) { return trunc_i32(static_cast<float>(v * 10.0f)); }
// Forces the mode command and the force-position set-points send: first cut to whole
// newtons, then x 10, so the value is always a multiple of 10 (2.7 -> 20).
inline int32_t whole_deci_to_wire(float v) { return trunc_i32(static_cast<double>(trunc_i32(v)) * 10.0); }

inline float milli_from_wire(int32_t v) { return static_cast<float>(v) / 1000.0f; }
inline float micro_from_wire(int32_t v) { return static_cast<float>(v) / 1000000.0f; }
inline float speed_from_wire(int32_t v) { return static_cast<float>(v) * 6.0f / 1000.0f; }

// A pose on the wire: [x, y, z, rx, ry, rz], positions in micrometres (x 1,000,000) and
// Euler angles in milliradians (x 1000), both single-precision products truncated.
inline std::array<int32_t, 6> pose_to_wire(const ky_pose &p) {
    return {micro_to_wire(p.position.x), micro_to_wire(p.position.y), micro_to_wire(p.position.z),
            milli_to_wire(p.euler.rx), milli_to_wire(p.euler.ry), milli_to_wire(p.euler.rz)};
}
// The reverse, with the quaternion computed from the Euler angles.
inline ky_pose pose_from_wire(const int32_t w[6]) {
    ky_pose p{};
    p.position = {micro_from_wire(w[0]), micro_from_wire(w[1]), micro_from_wire(w[2])};
    p.euler = {milli_from_wire(w[3]), milli_from_wire(w[4]), milli_from_wire(w[5])};
    p.quaternion = ky_algo_euler2quaternion(p.euler);
    return p;
}

}  // namespace ky
