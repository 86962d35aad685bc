// UDP realtime-state receiver of mode 2: the port table, the thread that serves it and
// the datagram parser.
//
// The thread blocks in poll() on every bound port plus a wake-up descriptor (an eventfd
// signalled when a port is added or removed and at shutdown), and reads every pending
// datagram of a ready port before polling again, so a push is handed to the callback as
// soon as it arrives and none is skipped whatever the push cycle.
#include "realtime/udp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "core/exchange.h"
#include "core/json.h"
#include "core/registry.h"
#include "core/units.h"

extern "C" {
KY_API ky_udp_handle *gUdpHandle = nullptr;
KY_API uint16_t udp_arm_err = 0;
KY_API uint16_t udp_sys_err = 0;
}

namespace {

// Guards the port tables of every receiver and the list of retired sockets: command
// threads change the tables while the UDP thread reads them.
std::mutex g_table_mutex;

// Sockets of freed entries. They stay open (the port stays reserved for this process)
// and are reused when their port is registered again, so an old socket never competes
// with a new one for the same port's datagrams; released with their receiver.
struct RetiredSocket {
    ky_udp_handle *owner;
    int port;
    int fd;
};
std::vector<RetiredSocket> g_retired;

std::atomic<ky_realtime_arm_state_callback> g_state_callback{nullptr};

std::thread g_udp_thread;
std::atomic<bool> g_udp_stop{false};
std::atomic<int> g_udp_wake{-1};

// Largest datagram UDP can carry; a push is never cut short.
constexpr size_t kDatagramMax = 65536;
// Datagrams read from one port in a row before the others get their turn (poll returns
// at once for a port that still has some).
constexpr int kDrainBatch = 256;

void wake_udp_thread() {
    const int fd = g_udp_wake.load();
    if (fd >= 0) {
        uint64_t one = 1;
        ssize_t r = ::write(fd, &one, sizeof one);
        (void)r;
    }
}

// With g_table_mutex held.
void retire_locked(ky_udp_handle *owner, int port, int fd) {
    if (fd > 0) g_retired.push_back({owner, port, fd});
}

int take_retired_locked(ky_udp_handle *owner, int port) {
    auto it = std::find_if(g_retired.begin(), g_retired.end(),
                           [&](const RetiredSocket &s) { return s.owner == owner && s.port == port; });
    if (it == g_retired.end()) return -1;
    const int fd = it->fd;
    g_retired.erase(it);
    return fd;
}

// ------------------------------------------------------------------ datagram parser

const char *const kStatusNames[] = {
    "idle",         "move_L",  "move_J",         "move_C",           "move_S",
    "move_through_joint", "move_through_pose", "move_through_force_pose", "move_through_current",
    "stop",         "slow_stop", "pause",        "current_drag",     "sensor_drag",
    "tech_demonstration",
};

int32_t status_code(const char *name) {
    for (size_t i = 0; i < std::size(kStatusNames); ++i) {
        if (std::strcmp(name, kStatusNames[i]) == 0) return static_cast<int32_t>(i);
    }
    return 0;  // unknown text reads as idle
}

// One numeric member of a block and where it goes.
struct NumField {
    enum Kind { Int, Milli, Plain } kind;
    const char *key;
    void *dst;
};

// Reads every field in order; false at the first one missing or not a number (the fields
// before it keep their values).
bool read_fields(const cJSON *block, std::initializer_list<NumField> fields) {
    for (const NumField &f : fields) {
        const cJSON *v = MIO_JSON_GetObjectItem(block, f.key);
        if (!cJSON_IsNumber(v)) return false;
        switch (f.kind) {
        case NumField::Int: *static_cast<int32_t *>(f.dst) = v->valueint; break;
        case NumField::Milli: *static_cast<float *>(f.dst) = ky::milli_from_wire(v->valueint); break;
        case NumField::Plain: *static_cast<float *>(f.dst) = static_cast<float>(v->valueint); break;
        }
    }
    return true;
}

// Member `key` of `obj`, when it is an array, element by element into `dst`; anything else
// is skipped. Longer arrays are cut at the record's size (7 joints, 6 force values).
template <class T, size_t N, class Conv>
void read_array(const cJSON *obj, const char *key, T (&dst)[N], Conv conv) {
    const cJSON *a = MIO_JSON_GetObjectItem(obj, key);
    if (!cJSON_IsArray(a)) return;
    const size_t n = std::min(static_cast<size_t>(cJSON_GetArraySize(a)), N);
    for (size_t i = 0; i < n; ++i) dst[i] = conv(cJSON_GetArrayItem(a, static_cast<int>(i))->valueint);
}

// Member `key` of `obj`, which must be an array of exactly N elements.
template <size_t N, class Conv>
bool read_exact(const cJSON *obj, const char *key, float (&dst)[N], Conv conv) {
    const cJSON *a = MIO_JSON_GetObjectItem(obj, key);
    if (!cJSON_IsArray(a) || cJSON_GetArraySize(a) != static_cast<int>(N)) return false;
    for (size_t i = 0; i < N; ++i) dst[i] = conv(cJSON_GetArrayItem(a, static_cast<int>(i))->valueint);
    return true;
}

auto u16 = [](int32_t v) { return static_cast<uint16_t>(v); };
auto nonzero = [](int32_t v) { return v != 0; };

void read_joint_status(const cJSON *js, ky_realtime_arm_joint_state &s) {
    read_array(js, "joint_position", s.joint_position, ky::milli_from_wire);
    read_array(js, "joint_current", s.joint_current, ky::milli_from_wire);
    read_array(js, "joint_en_flag", s.joint_en_flag, nonzero);
    read_array(js, "joint_err_code", s.joint_err_code, u16);
    read_array(js, "joint_temperature", s.joint_temperature, ky::milli_from_wire);
    read_array(js, "joint_voltage", s.joint_voltage, ky::milli_from_wire);
    read_array(js, "joint_speed", s.joint_speed, ky::speed_from_wire);
}

void read_force_sensor(const cJSON *fs, ky_realtime_arm_joint_state &s) {
    read_array(fs, "force", s.force, ky::milli_from_wire);
    read_array(fs, "zero_force", s.zero_force, ky::milli_from_wire);
    if (const cJSON *c = MIO_JSON_GetObjectItem(fs, "coordinate"); cJSON_IsNumber(c)) s.coordinate = c->valueint;
}

// The optional blocks checked before the required ones; false on a malformed block.
bool read_optional_blocks(const cJSON *root, ky_realtime_arm_joint_state &s) {
    if (const cJSON *st = MIO_JSON_GetObjectItem(root, "arm_current_status")) {
        if (!cJSON_IsString(st)) return false;
        s.arm_current_status = status_code(st->valuestring);
    }
    ky_hand_state &h = s.hand_state;
    if (const cJSON *b = MIO_JSON_GetObjectItem(root, "hand");
        b && !read_fields(b, {{NumField::Int, "hand_pos", &h.hand_pos}, {NumField::Plain, "hand_force", &h.hand_force},
                              {NumField::Int, "hand_state", &h.hand_state}, {NumField::Int, "hand_err", &h.hand_err}})) {
        return false;
    }
    ky_lift_state &l = s.lift_state;
    if (const cJSON *b = MIO_JSON_GetObjectItem(root, "lift_state");
        b && !read_fields(b, {{NumField::Milli, "pos", &l.pos}, {NumField::Int, "height", &l.height},
                              {NumField::Int, "current", &l.current}, {NumField::Int, "err_flag", &l.err_flag},
                              {NumField::Int, "en_flag", &l.en_flag}})) {
        return false;
    }
    ky_expand_state &e = s.expand_state;
    if (const cJSON *b = MIO_JSON_GetObjectItem(root, "expand_state");
        b && !read_fields(b, {{NumField::Int, "joint_id", &e.joint_id}, {NumField::Int, "mode", &e.mode},
                              {NumField::Milli, "pos", &e.pos}, {NumField::Int, "current", &e.current},
                              {NumField::Int, "err_flag", &e.err_flag}, {NumField::Int, "en_flag", &e.en_flag}})) {
        return false;
    }
    if (const cJSON *js = MIO_JSON_GetObjectItem(root, "joint_status")) read_joint_status(js, s);
    // A one-axis sensor's block overwrites a six-axis one's.
    if (const cJSON *fs = MIO_JSON_GetObjectItem(root, "six_force_sensor")) read_force_sensor(fs, s);
    if (const cJSON *fs = MIO_JSON_GetObjectItem(root, "one_force_sensor")) read_force_sensor(fs, s);
    return true;
}

bool read_required(const cJSON *root, ky_realtime_arm_joint_state &s) {
    const cJSON *wp = MIO_JSON_GetObjectItem(root, "waypoint");
    if (!read_exact(wp, "quat", s.quaternion, ky::micro_from_wire) ||
        !read_exact(wp, "euler", s.euler, ky::milli_from_wire) ||
        !read_exact(wp, "position", s.position, ky::micro_from_wire)) {
        return false;
    }
    const cJSON *arm_err = MIO_JSON_GetObjectItem(root, "arm_err");
    if (!cJSON_IsNumber(arm_err)) return false;
    s.arm_err = static_cast<uint16_t>(arm_err->valueint);
    const cJSON *sys_err = MIO_JSON_GetObjectItem(root, "sys_err");
    if (!cJSON_IsNumber(sys_err)) return false;
    s.sys_err = static_cast<uint16_t>(sys_err->valueint);
    return true;
}

// ------------------------------------------------------------------ the UDP thread

void deliver(const char *text, const sockaddr_in &from) {
    ky_realtime_arm_joint_state state;
    state.errCode = parse_ky_realtime_arm_joint_state(text, &state);
    char ip[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &from.sin_addr, ip, sizeof ip);
    ky::copy_chars(state.sender_ip, sizeof state.sender_ip, ip, sizeof state.sender_ip);
    __atomic_store_n(&udp_arm_err, state.arm_err, __ATOMIC_RELAXED);
    __atomic_store_n(&udp_sys_err, state.sys_err, __ATOMIC_RELAXED);
    if (ky_realtime_arm_state_callback cb = g_state_callback.load()) cb(state);
}

// Reads the datagrams pending on `fd` (up to a batch) and hands each on.
void drain_port(int fd, std::vector<char> &buf) {
    for (int k = 0; k < kDrainBatch; ++k) {
        sockaddr_in from{};
        socklen_t len = sizeof from;
        const ssize_t n = ::recvfrom(fd, buf.data(), buf.size() - 1, MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr *>(&from), &len);
        if (n < 0) return;  // drained (or the socket failed: poll tells again)
        if (n == 0) continue;
        buf[static_cast<size_t>(n)] = '\0';
        deliver(buf.data(), from);
    }
}

// The wake-up descriptor first, then every bound port of the receiver.
size_t poll_set(pollfd (&fds)[1 + KY_UDP_MAX_PORTS]) {
    size_t n = 0;
    fds[n++] = {g_udp_wake.load(), POLLIN, 0};
    std::lock_guard<std::mutex> lock(g_table_mutex);
    if (gUdpHandle == nullptr) return n;
    for (const ky_udp_port_entry &e : gUdpHandle->ports) {
        if (e.refs > 0 && e.fd > 0) fds[n++] = {e.fd, POLLIN, 0};
    }
    return n;
}

void thread_udp_receive() {
    std::vector<char> buf(kDatagramMax + 1);
    while (!g_udp_stop.load() && !should_exit.load()) {
        pollfd fds[1 + KY_UDP_MAX_PORTS];
        const size_t n = poll_set(fds);
        if (::poll(fds, n, -1) < 0) {
            if (errno != EINTR) sleep_cp(1);
            continue;
        }
        if (fds[0].revents != 0) {
            uint64_t v;
            while (::read(fds[0].fd, &v, sizeof v) > 0) {
            }
        }
        for (size_t i = 1; i < n; ++i) {
            if (fds[i].revents != 0) drain_port(fds[i].fd, buf);
        }
    }
}

}  // namespace

extern "C" {

KY_API void ky_realtime_arm_state_call_back(ky_realtime_arm_state_callback callback) {
    if (callback != nullptr) g_state_callback.store(callback);
}

KY_API int parse_ky_realtime_arm_joint_state(const char *text, ky_realtime_arm_joint_state *state) {
    if (state == nullptr) return -3;
    std::memset(state, 0, sizeof *state);
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("[ky_realtime_arm_joint_state] parse err\n");
        return -3;
    }
    if (!read_optional_blocks(doc.root, *state) || !read_required(doc.root, *state)) return -3;
    return 0;
}

KY_API ky_udp_handle *ky_udp_init(void) {
    auto *r = new (std::nothrow) ky_udp_handle{};
    if (r == nullptr) return nullptr;
    r->add_port = ky_udp_add_port;
    r->delete_port = ky_udp_delete_port;
    return r;
}

KY_API void ky_udp_release(ky_udp_handle *receiver) {
    if (receiver == nullptr) return;
    {
        std::lock_guard<std::mutex> lock(g_table_mutex);
        for (ky_udp_port_entry &e : receiver->ports) {
            if (e.fd > 0) ::close(e.fd);
            e = {};
        }
        std::erase_if(g_retired, [&](const RetiredSocket &s) {
            if (s.owner != receiver) return false;
            ::close(s.fd);
            return true;
        });
    }
    delete receiver;
}

KY_API int ky_udp_create_connect(int port) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        std::perror("socket creation failed");
        return -2;
    }
    // Every failure closes the new socket: a port that could not be bound holds nothing.
    auto fail = [fd](const char *what) {
        std::perror(what);
        ::close(fd);
        return -2;
    };
    timeval timeout{3, 0};
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) < 0) return fail("setsockopt error");
    const int one = 1;
    if (::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) < 0) return fail("setsockopt fail");
    // Room for bursts of pushes while the callback runs (capped by the system's maximum).
    const int rcvbuf = 1 << 20;
    (void)::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &rcvbuf, sizeof rcvbuf);
    if (port < 1 || port > 65535) {
        errno = EINVAL;
        return fail("bind failed");
    }
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_ANY);
    if (::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) < 0) return fail("bind failed");
    return fd;
}

KY_API int ky_udp_add_port(ky_udp_handle *receiver, int port) {
    if (receiver == nullptr) return -1;
    {
        std::lock_guard<std::mutex> lock(g_table_mutex);
        for (ky_udp_port_entry &e : receiver->ports) {
            if (e.refs > 0 && e.port == port) {
                ++e.refs;
                return 1;
            }
        }
        auto free_entry = std::find_if(std::begin(receiver->ports), std::end(receiver->ports),
                                       [](const ky_udp_port_entry &e) { return e.refs < 1; });
        if (free_entry == std::end(receiver->ports)) return -2;
        int fd = take_retired_locked(receiver, port);
        if (fd < 0) fd = ky_udp_create_connect(port);
        if (fd < 0) return -1;
        *free_entry = {fd, port, 1};
    }
    wake_udp_thread();
    return 0;
}

KY_API int ky_udp_delete_port(ky_udp_handle *receiver, int port) {
    if (receiver == nullptr) return 0;
    {
        std::lock_guard<std::mutex> lock(g_table_mutex);
        for (ky_udp_port_entry &e : receiver->ports) {
            if (e.port != port) continue;
            if (--e.refs < 1) {
                ky_udp_close(receiver, e.fd);
                retire_locked(receiver, e.port, e.fd);
                e = {};
            }
        }
    }
    wake_udp_thread();
    return 0;
}

KY_API int ky_udp_close(ky_udp_handle *receiver, int fd) {
    // A freed entry's socket stays open until its receiver is released (ky_udp_delete_port
    // keeps it aside for that); nothing to do here.
    (void)receiver;
    (void)fd;
    return 0;
}

}  // extern "C"

// ------------------------------------------------------------------ lifecycle

bool ky::udp_start() {
    if (g_udp_thread.joinable()) return true;
    gUdpHandle = ky_udp_init();
    g_udp_wake = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    int err = errno;
    if (gUdpHandle != nullptr && g_udp_wake.load() >= 0) {
        g_udp_stop = false;
        try {
            g_udp_thread = std::thread(thread_udp_receive);
            return true;
        } catch (const std::system_error &e) {
            err = e.code().value();
        }
    }
    ky_log_error("Error creating thread thread_udp_id: %d\n", err);
    udp_stop();
    return false;
}

void ky::udp_stop() {
    g_udp_stop = true;
    wake_udp_thread();
    if (g_udp_thread.joinable()) g_udp_thread.join();
    ky_udp_release(gUdpHandle);
    gUdpHandle = nullptr;
    if (const int fd = g_udp_wake.exchange(-1); fd >= 0) ::close(fd);
}

int ky::udp_add_port(int port) { return gUdpHandle ? ky_udp_add_port(gUdpHandle, port) : -1; }

ky_udp_port_entry ky::udp_entry(ky_udp_handle *receiver, int index) {
    std::lock_guard<std::mutex> lock(g_table_mutex);
    if (receiver == nullptr || index < 0 || index >= KY_UDP_MAX_PORTS) return {};
    return receiver->ports[index];
}
