// kyarm/cpp/core.hpp: the C++ interface's building blocks: error codes and categories, the
// result type, the two calling conventions (throwing and non-throwing), joint vectors and
// poses. Include <kyarm.hpp> rather than this file.
#pragma once

#include <ky_api.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>

namespace ky {

// ------------------------------------------------------------------ error codes
//
// Every C function returns 0 on success and a code otherwise. The codes 1, -1, -2 and -3
// mean the same everywhere (refused, unknown handle or send failure, no reply, unreadable
// reply); -4, -5, -6 and a few positive codes mean different things in different command
// families. So each family has its own std::error_category, whose message() names the code's
// meaning in that family, and every category maps its codes onto the family-independent
// conditions of ky::errc, so that `ec == ky::errc::timeout` holds whichever call failed.

/** Command families with their own meaning of some result codes. */
enum class family : int {
    // One per C header (include/kyarm/<name>.h); `wrapper` is this C++ layer's own refusal.
    lifecycle,
    identity,
    realtime,
    joint_config,
    arm_limits,
    frames,
    motion,
    passthrough,
    force_position,
    jogging,
    drag,
    controller,
    io,
    tool,
    axes,
    network,
    force_sensor,
    modbus,
    project,
    program_store,
    waypoints,
    fence,
    exchange,
    algo,
    wrapper,
};

/** Family-independent conditions; compare an std::error_code from any family with them. */
enum class errc : int {
    refused = 1,               // the controller answered but refused (state false)
    failed = -1,               // unknown handle, send failure, refused argument, dof not 6 or 7
    timeout = -2,              // no reply within the time-out
    parse = -3,                // the reply could not be read (also the queries that return the
                               // reply's length, a code above 1, when a member is missing)
    family_specific = -100,    // -4, -5, -6 and the like: see the family's message
};

/** One code's meaning in one family. `condition` overrides the family-independent condition
 *  the code maps to (by default 1, -1, -2, -3 map to refused, failed, timeout, parse and every
 *  other code to family_specific), for families that use a shared code differently. */
struct code_text {
    int code;
    const char *text;
    int condition = 0;  // 0: the default mapping; else a ky::errc value
};

/** Each family header specialises this with its own codes (-4, -5, -6, positive codes). */
template <family F>
struct family_codes {
    static constexpr std::span<const code_text> rows() { return {}; }
};

namespace detail {

inline const char *common_code_text(int code) {
    switch (code) {
    case 0: return "success";
    case 1: return "refused by the controller";
    case -1: return "unknown robot handle, send failure or refused argument";
    case -2: return "no reply within the time-out";
    case -3: return "unreadable reply";
    default: return code > 1 ? "unreadable reply (the code is the reply's length)" : nullptr;
    }
}

inline constexpr const char *family_names[] = {
    "kyarm.lifecycle", "kyarm.identity", "kyarm.realtime", "kyarm.joint_config", "kyarm.arm_limits", "kyarm.frames", "kyarm.motion", "kyarm.passthrough", "kyarm.force_position", "kyarm.jogging", "kyarm.drag", "kyarm.controller", "kyarm.io", "kyarm.tool", "kyarm.axes", "kyarm.network", "kyarm.force_sensor", "kyarm.modbus", "kyarm.project", "kyarm.program_store", "kyarm.waypoints", "kyarm.fence", "kyarm.exchange", "kyarm.algo", "kyarm.wrapper",
};

class errc_category_impl final : public std::error_category {
public:
    const char *name() const noexcept override { return "kyarm.errc"; }
    std::string message(int c) const override {
        if (c == static_cast<int>(errc::family_specific)) return "family-specific result code";
        const char *t = common_code_text(c);
        return t ? t : "unknown result code";
    }
};

template <family F>
class family_category_impl final : public std::error_category {
public:
    const char *name() const noexcept override { return family_names[static_cast<int>(F)]; }
    std::string message(int c) const override {
        for (const code_text &row : family_codes<F>::rows())
            if (row.code == c) return row.text;
        if (const char *t = common_code_text(c)) return t;
        std::string s = "result code ";
        s += std::to_string(c);
        return s;
    }
    std::error_condition default_error_condition(int c) const noexcept override;
};

}  // namespace detail

inline const std::error_category &errc_category() noexcept {
    static const detail::errc_category_impl instance;
    return instance;
}

inline std::error_condition make_error_condition(errc e) noexcept {
    return {static_cast<int>(e), errc_category()};
}

/** The category of one family's result codes. */
template <family F>
inline const std::error_category &category() noexcept {
    static const detail::family_category_impl<F> instance;
    return instance;
}

template <family F>
std::error_condition detail::family_category_impl<F>::default_error_condition(int c) const noexcept {
    for (const code_text &row : family_codes<F>::rows())
        if (row.code == c && row.condition != 0) return make_error_condition(static_cast<errc>(row.condition));
    if (c >= -3 && c <= 1 && c != 0) return make_error_condition(static_cast<errc>(c));
    if (c > 1) return make_error_condition(errc::parse);  // queries that return the reply's length
    return make_error_condition(errc::family_specific);
}

/** The error code of C result `code` in family F (a default-constructed code for 0). */
template <family F>
inline std::error_code make_error_code(int code) noexcept {
    return code == 0 ? std::error_code() : std::error_code(code, category<F>());
}

/** Thrown by the throwing form of every call: the C result code (code().value()), its
 *  family (code().category()) and the C function that returned it. what() reads
 *  "<function>: <meaning>". */
class Error : public std::system_error {
public:
    Error(std::error_code ec, const char *function) : std::system_error(ec, function), function_(function) {}
    /** The C function that failed, e.g. "ky_movej". */
    const char *function() const noexcept { return function_; }
    /** The C result code. */
    int result() const noexcept { return code().value(); }

private:
    const char *function_;
};

// ------------------------------------------------------------------ result type

/** Value or error code, returned by the non-throwing form of every call. value() throws
 *  ky::Error when the call failed; code() is the C result code (0 on success). */
template <class T>
class [[nodiscard]] result {
public:
    result(T value, const char *function) : value_(std::move(value)), function_(function) {}
    // On failure no value is held: *result and -> must not be used then.
    result(std::error_code ec, const char *function) : ec_(ec), function_(function) {}

    bool has_value() const noexcept { return !ec_; }
    explicit operator bool() const noexcept { return !ec_; }
    const std::error_code &error() const noexcept { return ec_; }
    int code() const noexcept { return ec_.value(); }
    const char *function() const noexcept { return function_; }

    const T &value() const & { check(); return *value_; }
    T &value() & { check(); return *value_; }
    T &&value() && { check(); return std::move(*value_); }
    T value_or(T fallback) const { return ec_ ? fallback : *value_; }
    const T &operator*() const & noexcept { return *value_; }
    T &operator*() & noexcept { return *value_; }
    const T *operator->() const noexcept { return &*value_; }
    T *operator->() noexcept { return &*value_; }

private:
    void check() const { if (ec_) throw Error(ec_, function_); }
    std::optional<T> value_;
    std::error_code ec_;
    const char *function_ = "";
};

template <>
class [[nodiscard]] result<void> {
public:
    result(std::error_code ec, const char *function) : ec_(ec), function_(function) {}
    bool has_value() const noexcept { return !ec_; }
    explicit operator bool() const noexcept { return !ec_; }
    const std::error_code &error() const noexcept { return ec_; }
    int code() const noexcept { return ec_.value(); }
    const char *function() const noexcept { return function_; }
    void value() const { if (ec_) throw Error(ec_, function_); }

private:
    std::error_code ec_;
    const char *function_ = "";
};

// ------------------------------------------------------------ calling conventions
//
// Every command is written once, in a family mixin parameterised by a policy:
// `throwing` returns the value and throws ky::Error on a non-zero code; `nothrow` returns
// ky::result<T>. ky::Robot uses `throwing`; robot.nothrow() gives the same members with
// `nothrow`.

struct throwing {
    template <family F>
    static void finish(const char *fn, int code) {
        if (code != 0) throw Error(make_error_code<F>(code), fn);
    }
    template <family F, class T>
    static std::decay_t<T> finish(const char *fn, int code, T &&value) {
        if (code != 0) throw Error(make_error_code<F>(code), fn);
        return std::forward<T>(value);
    }
};

struct nothrow {
    template <family F>
    static result<void> finish(const char *fn, int code) {
        return {make_error_code<F>(code), fn};
    }
    template <family F, class T>
    static result<std::decay_t<T>> finish(const char *fn, int code, T &&value) {
        if (code != 0) return {make_error_code<F>(code), fn};
        return {std::forward<T>(value), fn};
    }
};

// ---------------------------------------------------------------- value types

/** Joint values of one arm (degrees unless a call says otherwise): up to 7, no allocation. */
class Joints {
public:
    static constexpr std::size_t capacity = 7;
    Joints() = default;
    explicit Joints(std::size_t n) : n_(std::min(n, capacity)) {}
    Joints(std::initializer_list<float> v) : Joints(std::span<const float>(v.begin(), v.size())) {}
    Joints(std::span<const float> v) : n_(std::min(v.size(), capacity)) { std::copy_n(v.begin(), n_, v_.begin()); }

    float *data() noexcept { return v_.data(); }
    const float *data() const noexcept { return v_.data(); }
    std::size_t size() const noexcept { return n_; }
    void resize(std::size_t n) noexcept { n_ = std::min(n, capacity); }
    float &operator[](std::size_t i) noexcept { return v_[i]; }
    float operator[](std::size_t i) const noexcept { return v_[i]; }
    float *begin() noexcept { return v_.data(); }
    float *end() noexcept { return v_.data() + n_; }
    const float *begin() const noexcept { return v_.data(); }
    const float *end() const noexcept { return v_.data() + n_; }
    operator std::span<const float>() const noexcept { return {v_.data(), n_}; }
    bool operator==(const Joints &o) const noexcept { return std::equal(begin(), end(), o.begin(), o.end()); }

private:
    std::array<float, capacity> v_{};
    std::size_t n_ = 0;
};

/** Pose from position (metres) and Euler angles (radians); the quaternion is left zero,
 *  which every command that sends a pose ignores (see ky_pose). */
inline ky_pose make_pose(float x, float y, float z, float rx, float ry, float rz) noexcept {
    ky_pose p{};
    p.position = {x, y, z};
    p.euler = {rx, ry, rz};
    return p;
}

/** Text of a fixed-size character field of a C record, which carries no terminating NUL when
 *  the text fills it. */
template <std::size_t N>
inline std::string text(const char (&field)[N]) {
    return std::string(field, std::find(field, field + N, '\0'));
}

/** Copies `s` into a fixed-size field, NUL-terminated; false (field untouched) when it does not fit. */
template <std::size_t N>
inline bool copy_text(char (&field)[N], std::string_view s) noexcept {
    if (s.size() >= N) return false;
    std::copy(s.begin(), s.end(), field);
    field[s.size()] = '\0';
    return true;
}

// ---------------------------------------------------------------- family mixins

/** Base of every family mixin. A mixin is written as
 *
 *      template <class Self, class Policy>
 *      class motion_ops : public ops_base<Self, Policy, family::motion, motion_ops<Self, Policy>> {
 *          KY_OPS_BASE(motion_ops, family::motion);
 *      public:
 *          auto movej(std::span<const float> joint, int v, ...) const {
 *              if (!covers_dof(joint)) return refuse("ky_movej");
 *              return done("ky_movej", ky_movej(h(), joint.data(), v, ...));
 *          }
 *      };
 *
 *  `Self` (ky::Robot or a robot reference) provides handle(), the C record. done() turns a C
 *  result into the policy's return (value or ky::result), in the mixin's family. */
template <class Self, class Policy, family F, class Mixin>
class ops_base {
protected:
    static constexpr family family_v = F;
    ky_robot_handle *h() const noexcept {
        return static_cast<const Self *>(static_cast<const Mixin *>(this))->handle();
    }
    /** The arm's degree of freedom from the robot record (0 when there is no record). */
    std::size_t arm_dof() const noexcept {
        ky_robot_handle *r = h();
        return r ? static_cast<std::size_t>(std::max<int32_t>(r->dof, 0)) : 0;
    }
    /** A zeroed joint vector of this arm's dof (7 when the dof is unknown). */
    Joints joints() const noexcept { return Joints(arm_dof() ? arm_dof() : Joints::capacity); }
    /** True when `v` holds at least the arm's dof values, which is what the C call reads. */
    bool covers_dof(std::span<const float> v) const noexcept { return !v.empty() && v.size() >= arm_dof(); }

    static auto done(const char *fn, int code) { return Policy::template finish<F>(fn, code); }
    template <class T>
    static auto done(const char *fn, int code, T &&value) {
        return Policy::template finish<F>(fn, code, std::forward<T>(value));
    }
    /** A call refused here, before the C function ran: code -1 in the wrapper family. */
    static auto refuse(const char *fn) { return Policy::template finish<family::wrapper>(fn, -1); }
    template <class T>
    static auto refuse(const char *fn, T &&value) {
        return Policy::template finish<family::wrapper>(fn, -1, std::forward<T>(value));
    }
};

/** The using-declarations every mixin starts with. */
#define KY_OPS_BASE(mixin, F)                                                   \
    using ops_base_type = ::ky::ops_base<Self, Policy, F, mixin>;             \
    using ops_base_type::h;                                                     \
    using ops_base_type::arm_dof;                                               \
    using ops_base_type::joints;                                                \
    using ops_base_type::covers_dof;                                            \
    using ops_base_type::done;                                                  \
    using ops_base_type::refuse

template <>
struct family_codes<family::wrapper> {
    static constexpr code_text table[] = {
        {-1, "argument refused before sending: a vector shorter than the call needs, a text too long for its field, or an unreadable file"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

}  // namespace ky

template <>
struct std::is_error_condition_enum<ky::errc> : std::true_type {};
