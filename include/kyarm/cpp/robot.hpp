// kyarm/cpp/robot.hpp: the library's lifetime, the callbacks, and the robot objects.
// Include <kyarm.hpp> rather than this file.
#pragma once

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "arm_limits.hpp"
#include "axes.hpp"
#include "controller.hpp"
#include "core.hpp"
#include "drag.hpp"
#include "exchange.hpp"
#include "fence.hpp"
#include "force_position.hpp"
#include "force_sensor.hpp"
#include "frames.hpp"
#include "identity.hpp"
#include "io.hpp"
#include "jogging.hpp"
#include "joint_config.hpp"
#include "modbus.hpp"
#include "motion.hpp"
#include "network.hpp"
#include "passthrough.hpp"
#include "program_store.hpp"
#include "project.hpp"
#include "realtime.hpp"
#include "tool.hpp"
#include "waypoints.hpp"

namespace ky {

template <>
struct family_codes<family::lifecycle> {
    static constexpr code_text table[] = {
        {-1, "no free robot slot, the address or port was refused, or the library could not start"},
        {-2, "the controller could not be reached"},
        {-3, "connected, but the synchronisation queries failed"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Every command member, in one class per family; Self provides handle(). */
template <class Self, class Policy>
class robot_ops : public identity_ops<Self, Policy>,
                  public realtime_ops<Self, Policy>,
                  public joint_config_ops<Self, Policy>,
                  public arm_limits_ops<Self, Policy>,
                  public frames_ops<Self, Policy>,
                  public motion_ops<Self, Policy>,
                  public passthrough_ops<Self, Policy>,
                  public force_position_ops<Self, Policy>,
                  public jogging_ops<Self, Policy>,
                  public drag_ops<Self, Policy>,
                  public controller_ops<Self, Policy>,
                  public io_ops<Self, Policy>,
                  public tool_ops<Self, Policy>,
                  public axes_ops<Self, Policy>,
                  public network_ops<Self, Policy>,
                  public force_sensor_ops<Self, Policy>,
                  public modbus_ops<Self, Policy>,
                  public project_ops<Self, Policy>,
                  public program_store_ops<Self, Policy>,
                  public waypoints_ops<Self, Policy>,
                  public fence_ops<Self, Policy>,
                  public exchange_ops<Self, Policy> {};

namespace detail {

/** Library generation: advanced by every ky::Library destruction (ky_destory frees every
 *  robot record), so that a ky::Robot outliving its library neither touches nor deletes a
 *  freed record. */
inline std::atomic<uint64_t> &library_generation() {
    static std::atomic<uint64_t> generation{1};
    return generation;
}

/** A replaceable callback, called from a library thread. */
template <class... Args>
class callback_slot {
public:
    using function = std::function<void(Args...)>;
    void set(function f) {
        auto p = f ? std::make_shared<const function>(std::move(f)) : nullptr;
        std::lock_guard<std::mutex> lock(mutex_);
        current_.swap(p);
    }
    void call(Args... args) const {
        std::shared_ptr<const function> f;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            f = current_;
        }
        if (f) (*f)(args...);
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const function> current_;
};

inline callback_slot<const ky_realtime_arm_joint_state &> &realtime_slot() {
    static callback_slot<const ky_realtime_arm_joint_state &> slot;
    return slot;
}
inline callback_slot<const ky_event_data &> &event_slot() {
    static callback_slot<const ky_event_data &> slot;
    return slot;
}
inline callback_slot<std::string_view> &log_slot() {
    static callback_slot<std::string_view> slot;
    return slot;
}
inline void realtime_trampoline(ky_realtime_arm_joint_state state) { realtime_slot().call(state); }
inline void event_trampoline(ky_event_data data) { event_slot().call(data); }
inline void log_trampoline(const char *format, va_list args) {
    char line[1024];
    int n = std::vsnprintf(line, sizeof line, format, args);
    if (n < 0) return;
    log_slot().call(std::string_view(line, std::min<std::size_t>(static_cast<std::size_t>(n), sizeof line - 1)));
}

}  // namespace detail

/** The library's lifetime: ky_init(mode) on construction, ky_destory() on destruction (which
 *  closes every robot; ky::Robot objects left over become inert). One at a time per process.
 *  Mode 0 no thread, 1 receive thread, 2 receive thread and UDP realtime thread. */
class Library {
public:
    /** Starts the library; throws ky::Error (ky_init, code -1) when a thread cannot start. */
    explicit Library(int mode = 2) {
        int rc = ky_init(mode);
        if (rc != 0) throw Error(make_error_code<family::lifecycle>(rc), "ky_init");
        active_ = true;
    }
    /** Non-throwing form. */
    static result<Library> open(int mode = 2) noexcept {
        Library lib{nullptr};
        int rc = ky_init(mode);
        if (rc != 0) return {make_error_code<family::lifecycle>(rc), "ky_init"};
        lib.active_ = true;
        return {std::move(lib), "ky_init"};
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
    Library(Library &&o) noexcept : active_(std::exchange(o.active_, false)) {}
    Library &operator=(Library &&o) noexcept {
        if (this != &o) {
            close();
            active_ = std::exchange(o.active_, false);
        }
        return *this;
    }
    ~Library() { close(); }

    /** Stops the library now (ky_destory); the destructor then does nothing. */
    void close() noexcept {
        if (!active_) return;
        active_ = false;
        detail::library_generation().fetch_add(1);
        ky_destory();
    }
    bool active() const noexcept { return active_; }

    /** "1.0.3.t5" (ky_api_version). */
    static const char *version() noexcept { return ky_api_version(); }

    /** Realtime state callback: runs on the library's UDP thread (mode 2), once per datagram;
     *  keep it short. An empty function stops the calls. Replaceable at any time. */
    static void on_realtime(std::function<void(const ky_realtime_arm_joint_state &)> f) {
        detail::realtime_slot().set(std::move(f));
        ky_realtime_arm_state_call_back(&detail::realtime_trampoline);
    }
    /** Event callback (trajectory finished, program finished): runs on the receive thread
     *  (modes 1 and 2); it must not wait for controller replies itself. */
    static void on_event(std::function<void(const ky_event_data &)> f) {
        detail::event_slot().set(std::move(f));
        ky_get_arm_event_call_back(&detail::event_trampoline);
    }
    /** Log callback at `level` and above (0 debug, 1 info, 2 warn, 3 error): runs on the
     *  thread that logs, with the formatted line (cut at 1023 bytes). */
    static void on_log(std::function<void(std::string_view)> f, uint32_t level = 0) {
        detail::log_slot().set(std::move(f));
        ky_set_log_callback(&detail::log_trampoline, level);
    }

    /** Appends every log line of every level to the file `path` (ky_set_log_save). The file
     *  is opened here first, since the C call ends the process when it cannot open it: false
     *  (nothing changed) when it cannot be opened for appending. */
    static bool set_log_save(const std::string &path) {
        if (std::FILE *f = std::fopen(path.c_str(), "a")) {
            std::fclose(f);
            ky_set_log_save(path.c_str());
            return true;
        }
        return false;
    }
    /** Registers another UDP port with the realtime receiver of mode 2, for pushes moved there
     *  with set_realtime_push (ky_udp_add_port(gUdpHandle, port)): 0 a new port is served,
     *  1 it was already registered, -1 the socket could not be made or no receiver (not mode
     *  2), -2 all five ports are in use. */
    static int add_push_port(int port) noexcept { return ky_udp_add_port(gUdpHandle, port); }
    /** One user of `port` fewer (ky_udp_delete_port); 0, or -1 without a receiver. */
    static int delete_push_port(int port) noexcept {
        return gUdpHandle ? ky_udp_delete_port(gUdpHandle, port) : -1;
    }

    /** The default reply wait (m_nOutTime) and the longer one (m_nOutTime_max). */
    static void set_timeout(std::chrono::milliseconds t) noexcept { m_nOutTime = static_cast<int>(t.count()); }
    static void set_long_timeout(std::chrono::milliseconds t) noexcept { m_nOutTime_max = static_cast<int>(t.count()); }
    static std::chrono::milliseconds timeout() noexcept { return std::chrono::milliseconds(m_nOutTime); }
    static std::chrono::milliseconds long_timeout() noexcept { return std::chrono::milliseconds(m_nOutTime_max); }

private:
    explicit Library(std::nullptr_t) noexcept {}
    bool active_ = false;
};

/** Parses one realtime datagram's text (parse_ky_realtime_arm_joint_state): the state, or
 *  -3 in the realtime family (the fields parsed before the fault are lost here).
 *  try_parse_realtime_state returns ky::result; parse_realtime_state throws ky::Error. */
inline result<ky_realtime_arm_joint_state> try_parse_realtime_state(const std::string &text) {
    ky_realtime_arm_joint_state s{};
    const int rc = parse_ky_realtime_arm_joint_state(text.c_str(), &s);
    return nothrow::finish<family::realtime>("parse_ky_realtime_arm_joint_state", rc, s);
}
inline ky_realtime_arm_joint_state parse_realtime_state(const std::string &text) {
    return try_parse_realtime_state(text).value();
}

/** A non-owning view of a robot, with the members of policy P (ky::throwing or ky::nothrow).
 *  Valid while the robot it was taken from is. */
template <class P>
class basic_robot_ref : public robot_ops<basic_robot_ref<P>, P> {
public:
    explicit basic_robot_ref(ky_robot_handle *handle) noexcept : handle_(handle) {}
    ky_robot_handle *handle() const noexcept { return handle_; }

private:
    ky_robot_handle *handle_;
};
/** Members throw ky::Error. */
using RobotRef = basic_robot_ref<throwing>;
/** Members return ky::result<T>. */
using NothrowRef = basic_robot_ref<nothrow>;

/** One connected robot: ky_create_robot_arm on construction, ky_delete_robot_arm on
 *  destruction. Movable, not copyable. Its members throw ky::Error; robot.nothrow() gives the
 *  same members returning ky::result<T>. Destroy robots before their ky::Library (a robot
 *  outliving it becomes inert: its calls fail with -1 and its destructor does nothing). */
class Robot : public robot_ops<Robot, throwing> {
public:
    Robot() noexcept = default;
    /** Connects and synchronises (blocks up to about 3 s plus the queries). Throws ky::Error
     *  from "ky_create_robot_arm": -1 no free slot or a refused address, -2 the controller
     *  could not be reached, -3 connected but the synchronisation failed. */
    Robot(std::string_view ip, int port) {
        int rc = open(ip, port);
        if (rc != 0) throw Error(make_error_code<family::lifecycle>(rc), "ky_create_robot_arm");
    }
    /** Non-throwing form of the constructor. */
    static result<Robot> connect(std::string_view ip, int port) {
        Robot r;
        int rc = r.open(ip, port);
        if (rc != 0) return {make_error_code<family::lifecycle>(rc), "ky_create_robot_arm"};
        return {std::move(r), "ky_create_robot_arm"};
    }
    Robot(const Robot &) = delete;
    Robot &operator=(const Robot &) = delete;
    Robot(Robot &&o) noexcept : handle_(std::exchange(o.handle_, nullptr)), generation_(o.generation_) {}
    Robot &operator=(Robot &&o) noexcept {
        if (this != &o) {
            close();
            handle_ = std::exchange(o.handle_, nullptr);
            generation_ = o.generation_;
        }
        return *this;
    }
    ~Robot() { close(); }

    /** Deletes the robot now (ky_delete_robot_arm); later calls fail with -1. */
    void close() noexcept {
        ky_robot_handle *h = handle();
        handle_ = nullptr;
        if (h) ky_delete_robot_arm(h);
    }

    /** The C record; null once closed or once its library was destroyed. */
    ky_robot_handle *handle() const noexcept {
        return handle_ && generation_ == detail::library_generation().load() ? handle_ : nullptr;
    }
    explicit operator bool() const noexcept { return handle() != nullptr; }
    /** Identity from the record: slot id (1..5), dof, model, force type; 0 when closed. */
    int id() const noexcept { return field(&ky_robot_handle::id); }
    int dof() const noexcept { return field(&ky_robot_handle::dof); }
    int model() const noexcept { return field(&ky_robot_handle::model); }
    int force_type() const noexcept { return field(&ky_robot_handle::force_type); }
    /** The whole record (limits, frames, push port); throws when closed. */
    const ky_robot_handle &record() const {
        if (!handle()) throw Error(make_error_code<family::wrapper>(-1), "ky::Robot::record");
        return *handle();
    }

    NothrowRef nothrow() const noexcept { return NothrowRef(handle()); }
    RobotRef ref() const noexcept { return RobotRef(handle()); }

private:
    int open(std::string_view ip, int port) {
        char address[64];
        if (!copy_text(address, ip)) return -1;
        generation_ = detail::library_generation().load();
        ky_robot_handle *h = ky_create_robot_arm(address, port);
        if (!h) return -1;
        if (h->id < 1) {
            int rc = ky_get_connection_state(h) == KY_CONNECTION_CONNECTED ? -3 : -2;
            ky_delete_robot_arm(h);
            return rc;
        }
        handle_ = h;
        return 0;
    }
    int field(int32_t ky_robot_handle::*m) const noexcept {
        ky_robot_handle *h = handle();
        return h ? h->*m : 0;
    }
    ky_robot_handle *handle_ = nullptr;
    uint64_t generation_ = 0;
};

}  // namespace ky
