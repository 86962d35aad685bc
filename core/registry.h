// Registry of connected robots, library lifecycle globals and the locks around them.
#pragma once
#include <atomic>
#include <cstdint>
#include <mutex>

#include "core/fifo.h"
#include "core/socket.h"
#include "ky_api.h"

// Internal per-robot record; the host's ky_robot_handle pointer points at `robot`.
struct ky_handle {
    uint32_t id;
    ky_socket_handle *socket;
    ky_fifo *fifo;
    ky_robot_handle robot;
    // Beyond the record's documented fields: the connection state the receive thread
    // keeps (KY_CONNECTION_*), calls that use the record without the registry lock (a
    // creation while it synchronises), and the reconnect bookkeeping.
    std::atomic<int> connection{KY_CONNECTION_NEVER};
    std::atomic<int> users{0};
    bool orphaned = false;         // freed by the last user: the library ended under it
    std::mutex reconnect_mutex;    // one reconnect at a time per robot
    std::atomic<unsigned> generation{0};  // connections made so far
    int push_port_added = 0;       // push port handed to the UDP receiver (0: none)
};

constexpr int KY_MAX_ROBOTS = 5;
extern ky_handle *gHandleList[KY_MAX_ROBOTS];
extern std::atomic<int> g_mode;
extern std::atomic<bool> should_exit;

// Registry read-write lock: commands hold the read lock for their whole exchange;
// create, delete and destroy take the write lock.
void ky_rwlock_init();
void ky_rdlock_lock();
void ky_rdlock_unlock();
void ky_wrlock_lock();
void ky_wrlock_unlock();
void ky_mutex_lock();
void ky_mutex_unlock();

// Lookups; the caller holds the registry lock.
ky_handle *ky_get_ky_handle_by_robot_handle(const ky_robot_handle *robot_handle);
ky_handle *ky_get_ky_handle_by_fifo_handle(const ky_fifo *fifo);
ky_handle *ky_handle_init(const char *ip, int port);
int ky_sync_robot_info(ky_robot_handle *robot_handle);

// Sleeps `ms` milliseconds.
void sleep_cp(int ms);

namespace ky {
struct ReadLock {
    ReadLock() { ky_rdlock_lock(); }
    ~ReadLock() { ky_rdlock_unlock(); }
    ReadLock(const ReadLock &) = delete;
    ReadLock &operator=(const ReadLock &) = delete;
};

// Read lock plus the record mutex (ky_mutex_lock): held while a command reads or writes
// the cached fields of a robot record, so concurrent commands never race on them.
struct RecordLock {
    RecordLock() {
        ky_rdlock_lock();
        ky_mutex_lock();
    }
    ~RecordLock() {
        ky_mutex_unlock();
        ky_rdlock_unlock();
    }
    RecordLock(const RecordLock &) = delete;
    RecordLock &operator=(const RecordLock &) = delete;
};

// Runs `fn(ky_handle&)` under RecordLock when the robot is registered; -1 otherwise
// (logging "[tag] handle is NULL!" when a tag is given).
template <class Fn>
int with_robot(ky_robot_handle *robot, const char *tag, Fn &&fn);

// Fields that the receive thread reads while command threads may write them (id, dof).
inline int32_t load_field(const int32_t &f) { return __atomic_load_n(&f, __ATOMIC_RELAXED); }
inline void store_field(int32_t &f, int32_t v) { __atomic_store_n(&f, v, __ATOMIC_RELAXED); }

// Wakes the receive thread so it polls the registry's current sockets.
void wake_receiver();

// What the core needs from the realtime layer, registered by that layer: starting and
// stopping the UDP thread and handing it a robot's push port. Unset entries do nothing.
struct RealtimeLayer {
    bool (*start)();
    void (*stop)();
    int (*add_port)(int port);
};
bool register_realtime_layer(const RealtimeLayer &layer);
const RealtimeLayer &realtime_layer();

// Connection-time synchronisation of `h`'s robot record; on a reconnect the push port is
// handed to the UDP receiver only when it changed.
int sync_robot(ky_handle *h);
}  // namespace ky

template <class Fn>
int ky::with_robot(ky_robot_handle *robot, const char *tag, Fn &&fn) {
    RecordLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    if (!h) {
        if (tag) ky_log_error("[%s] handle is NULL!\n", tag);
        return -1;
    }
    fn(*h);
    return 0;
}
