// Conversions between the API's floats and the controller's wire integers. Every
// conversion to the wire truncates toward zero; values beyond the 32-bit range saturate
// instead of overflowing. Conversions from the wire divide in single precision.
#pragma once
#include <cstdint>

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

inline float milli_from_wire(int32_t v) { return static_cast<float>(v) / 1000.0f; }
inline float micro_from_wire(int32_t v) { return static_cast<float>(v) / 1000000.0f; }
inline float speed_from_wire(int32_t v) { return static_cast<float>(v) * 6.0f / 1000.0f; }

}  // namespace ky
