// Library lifecycle and the registry of connected robots.
#include "core/registry.h"

#include <pthread.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "core/fifo.h"
#include "core/receiver.h"

ky_handle *gHandleList[KY_MAX_ROBOTS] = {};
std::atomic<int> g_mode{2};
std::atomic<bool> should_exit{false};

extern "C" {
KY_API int m_nOutTime = 500;
KY_API int m_nOutTime_max = 1000;
}

namespace {

// The registry lock lets writers in: a waiting create, delete or destroy goes before readers
// that arrive after it, so command traffic on other threads never starves it. A thread that
// already holds the read lock takes it again without touching the lock (a command inside a
// command), which a writer-preferring lock would otherwise deadlock on.
pthread_rwlock_t g_rwlock = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
thread_local int t_read_depth = 0;
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
std::thread g_receive_thread;
std::mutex g_registry_mutex;
ky::RealtimeLayer g_realtime{};
// Records of deleted robots: kept readable (id 0) until ky_destory frees them.
std::vector<ky_handle *> g_retired;

void free_record(ky_handle *h) {
    if (h == nullptr) return;
    ky_socket_handle_destroy(h->socket);
    delete h->fifo;
    delete h;
}

// Frees a record nobody uses any more; one still in use (a creation synchronising without
// the registry lock) is freed by its last user. Caller holds the write lock.
void release_record(ky_handle *h) {
    if (h->users.load() > 0) {
        h->orphaned = true;
        return;
    }
    free_record(h);
}

void set_slot(int i, ky_handle *h) {
    std::lock_guard<std::mutex> lock(ky::registry_mutex());
    gHandleList[i] = h;
}

// Ends the library's threads when the host program exits without ky_destory (or through
// exit() anywhere): a running std::thread must not be destroyed joinable.
void stop_threads_at_exit() {
    should_exit = true;
    ky::wake_receiver();
    if (g_receive_thread.joinable()) {
        if (g_receive_thread.get_id() == std::this_thread::get_id()) {
            g_receive_thread.detach();  // exit() called from a callback on the receive thread
        } else {
            g_receive_thread.join();
        }
    }
    if (g_realtime.stop) g_realtime.stop();
}

}  // namespace

std::mutex &ky::registry_mutex() { return g_registry_mutex; }

bool ky::register_realtime_layer(const RealtimeLayer &layer) {
    g_realtime = layer;
    return true;
}
const ky::RealtimeLayer &ky::realtime_layer() { return g_realtime; }

void ky_rwlock_init() {
    // The lock is statically initialised; re-initialising a lock that other threads may
    // hold would be undefined, so this only documents the step of ky_init.
}
void ky_rdlock_lock() {
    if (t_read_depth++ == 0) pthread_rwlock_rdlock(&g_rwlock);
}
void ky_rdlock_unlock() {
    if (t_read_depth > 0 && --t_read_depth == 0) pthread_rwlock_unlock(&g_rwlock);
}
void ky_wrlock_lock() { pthread_rwlock_wrlock(&g_rwlock); }
void ky_wrlock_unlock() { pthread_rwlock_unlock(&g_rwlock); }
void ky_mutex_lock() { pthread_mutex_lock(&g_mutex); }
void ky_mutex_unlock() { pthread_mutex_unlock(&g_mutex); }

void sleep_cp(int ms) {
    if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

ky_handle *ky_get_ky_handle_by_robot_handle(const ky_robot_handle *robot_handle) {
    if (robot_handle == nullptr) return nullptr;
    for (ky_handle *h : gHandleList) {
        if (h != nullptr && &h->robot == robot_handle) return h;
    }
    return nullptr;
}

ky_handle *ky_get_ky_handle_by_fifo_handle(const ky_fifo *fifo) {
    if (fifo == nullptr) return nullptr;
    for (ky_handle *h : gHandleList) {
        if (h != nullptr && h->fifo == fifo) return h;
    }
    return nullptr;
}

ky_handle *ky_handle_init(const char *ip, int port) {
    auto *h = new (std::nothrow) ky_handle{};
    if (h == nullptr) return nullptr;
    h->fifo = new (std::nothrow) ky_fifo;
    h->socket = ky_socket_handle_init(ip, port);
    if (h->fifo == nullptr || h->socket == nullptr) {
        free_record(h);
        return nullptr;
    }
    h->socket->connect(h->socket);
    return h;
}

extern "C" {

KY_API const char *ky_api_version(void) { return "1.0.3.t5"; }

KY_API int ky_init(int mode) {
    static const bool exit_hook = std::atexit(stop_threads_at_exit) == 0;
    (void)exit_hook;
    ky_rwlock_init();
    g_mode = mode;
    {
        // Robots still registered from an earlier run are closed and retired, not lost.
        ky_wrlock_lock();
        for (int i = 0; i < KY_MAX_ROBOTS; ++i) {
            if (ky_handle *h = gHandleList[i]) {
                h->socket->close(h->socket);
                g_retired.push_back(h);
                set_slot(i, nullptr);
            }
        }
        ky_wrlock_unlock();
    }
    should_exit = false;
    if (mode != 1 && mode != 2) return 0;
    if (g_receive_thread.joinable()) return 0;  // already running
    if (!ky::receiver_open_wake()) {
        ky_log_error("Error creating thread thread_id: %d\n", errno);
        return -1;
    }
    try {
        g_receive_thread = std::thread(thread_socket_receive);
    } catch (const std::system_error &e) {
        ky_log_error("Error creating thread thread_id: %d\n", e.code().value());
        return -1;
    }
    // The UDP thread logs its own failure; the receive thread is left running then.
    if (mode == 2 && g_realtime.start && !g_realtime.start()) return -1;
    return 0;
}

KY_API ky_robot_handle *ky_create_robot_arm(const char *ip, int port) {
    ky_wrlock_lock();
    int slot = -1;
    for (int i = 0; i < KY_MAX_ROBOTS; ++i) {
        if (gHandleList[i] == nullptr) {
            slot = i;
            break;
        }
    }
    if (slot < 0) {
        ky_wrlock_unlock();
        ky_log_error("[ky_create_robot_arm] robot num is max");
        return nullptr;
    }
    ky_handle *h = ky_handle_init(ip, port);
    if (h == nullptr) {
        // Refused address or port, or no memory: nothing to register.
        ky_wrlock_unlock();
        ky_log_error("[ky_create_robot_arm] socket connect err!\n");
        return nullptr;
    }
    const bool connected = h->socket->fd.load() >= 1;
    if (connected) {
        h->id = static_cast<uint32_t>(slot + 1);
        h->robot.id = slot + 1;
        h->connection = KY_CONNECTION_CONNECTED;
        h->generation = 1;
    }
    set_slot(slot, h);
    if (connected) {
        std::memset(h->socket->ip, 0, sizeof h->socket->ip);
        std::strncpy(h->socket->ip, ip, 16);
        // The record must outlive the synchronisation, which runs without the write lock
        // while other threads may delete the robot or end the library.
        ++h->users;
        ky_wrlock_unlock();
        ky::wake_receiver();
        int r = ky::sync_robot(h);
        ky_algo_arm_state_set(&h->robot);
        ky_wrlock_lock();
        --h->users;
        if (h->orphaned) {
            // ky_destory ran meanwhile: nothing of this robot is left to hand out.
            if (h->users.load() == 0) {
                std::erase(g_retired, h);
                free_record(h);
            }
            ky_wrlock_unlock();
            ky_log_error("[ky_create_robot_arm] get robot info err!\n");
            return nullptr;
        }
        if (r == 0) {
            ky_wrlock_unlock();
            return &h->robot;
        }
        ky_log_error("[ky_create_robot_arm] get robot info err!\n");
    } else {
        ky_log_error("[ky_create_robot_arm] socket connect err!\n");
    }
    ky::store_field(h->robot.id, -1);
    ky_wrlock_unlock();
    return &h->robot;
}

KY_API int ky_delete_robot_arm(ky_robot_handle *robot_handle) {
    ky_wrlock_lock();
    for (int i = 0; i < KY_MAX_ROBOTS; ++i) {
        ky_handle *h = gHandleList[i];
        if (h == nullptr || &h->robot != robot_handle) continue;
        {
            std::lock_guard<std::mutex> lock(ky::registry_mutex());
            h->socket->close(h->socket);
            gHandleList[i] = nullptr;
        }
        ky::store_field(h->robot.id, 0);
        g_retired.push_back(h);
        ky_wrlock_unlock();
        ky::wake_receiver();
        return 0;
    }
    ky_wrlock_unlock();
    ky_log_error("not find handle\n");
    return -1;
}

KY_API int ky_destory(void) {
    should_exit = true;
    ky::wake_receiver();
    if (g_receive_thread.joinable()) g_receive_thread.join();
    if (g_realtime.stop) g_realtime.stop();
    ky::receiver_close_wake();
    ky_wrlock_lock();
    for (int i = 0; i < KY_MAX_ROBOTS; ++i) {
        if (ky_handle *h = gHandleList[i]) {
            set_slot(i, nullptr);
            h->socket->close(h->socket);
            g_retired.push_back(h);
        }
    }
    // Records still used by a creation in progress stay until that creation lets go.
    std::vector<ky_handle *> in_use;
    for (ky_handle *h : g_retired) {
        if (h->users.load() > 0) in_use.push_back(h);
        release_record(h);
    }
    g_retired = std::move(in_use);
    ky_wrlock_unlock();
    return 0;
}

KY_API int ky_get_arm_dof(ky_robot_handle *robot_handle, int *dof) {
    // Returns with the registry lock released on every path.
    ky::RecordLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot_handle);
    if (h == nullptr) return -1;
    if (h->robot.dof != 6 && h->robot.dof != 7) return -1;
    if (dof != nullptr) *dof = h->robot.dof;
    return 0;
}

KY_API int ky_get_robot_info(ky_robot_handle *robot_handle, ky_robot_info *info) {
    // Returns with the registry lock released on every path.
    ky::RecordLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot_handle);
    if (h == nullptr) {
        ky_log_error("[%s] handle is NULL!\n", "ky_get_robot_info");
        return -1;
    }
    if (info != nullptr) {
        info->dof = h->robot.dof;
        info->model = h->robot.model;
        info->force_type = h->robot.force_type;
    }
    return h->robot.dof == 0 ? -2 : 0;
}

}  // extern "C"

// ------------------------------------------------------------ connection state, reconnect
extern "C" {

KY_API int ky_get_connection_state(ky_robot_handle *robot_handle) {
    ky::ReadLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot_handle);
    return h == nullptr ? -1 : h->connection.load();
}

}  // extern "C"

namespace {

// Connects `robot_handle` again and synchronises it; the algorithm state is left to the
// caller. The read lock keeps the record registered for the whole reconnect (a delete waits).
int reconnect_registered(ky_robot_handle *robot_handle) {
    static const char *tag = "ky_reconnect_robot_arm";
    ky::ReadLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot_handle);
    if (h == nullptr) return -1;
    const unsigned seen = h->generation.load();
    std::lock_guard<std::mutex> one_at_a_time(h->reconnect_mutex);
    if (h->generation.load() != seen && h->connection.load() == KY_CONNECTION_CONNECTED &&
        ky::load_field(h->robot.id) > 0) {
        return 0;  // another thread reconnected this robot while we waited
    }

    ky_socket_handle *fresh = ky_socket_handle_init(h->socket->ip, h->socket->port);
    if (fresh == nullptr || fresh->connect(fresh) < 1) {
        ky_socket_handle_destroy(fresh);
        ky_log_error("[%s] socket connect err!\n", tag);
        return -2;
    }
    int old = -1;
    {
        // The receive thread reads a robot's descriptor under this mutex only.
        std::lock_guard<std::mutex> slots(ky::registry_mutex());
        old = h->socket->os_fd.exchange(fresh->os_fd.exchange(-1));
        h->socket->fd = fresh->fd.load();
    }
    ky_socket_handle_destroy(fresh);
    if (old >= 0) ::close(old);
    ky::fifo_reset(h->fifo);  // what the old connection left is no reply to anything now
    h->connection = KY_CONNECTION_CONNECTED;
    ++h->generation;
    ky::wake_receiver();
    ky_log_info("[%s] robot %d reconnected to %s:%d\n", tag, ky::load_field(h->robot.id), h->socket->ip,
                h->socket->port);

    const int slot = static_cast<int>(std::find(std::begin(gHandleList), std::end(gHandleList), h) -
                                      std::begin(gHandleList));
    if (ky::sync_robot(h) != 0) {
        ky_log_error("[%s] get robot info err!\n", tag);
        ky::store_field(h->robot.id, -1);
        return -3;
    }
    h->id = static_cast<uint32_t>(slot + 1);
    ky::store_field(h->robot.id, slot + 1);
    return 0;
}

}  // namespace

extern "C" {

KY_API int ky_reconnect_robot_arm(ky_robot_handle *robot_handle) {
    ky::CallScope scope;
    const int r = reconnect_registered(robot_handle);
    // Loaded without the registry lock held: the algorithm state takes its own mutex first
    // and the registry lock inside it, so holding the registry lock here could deadlock
    // against a creation once a writer waits between the two.
    if (r == 0) ky_algo_arm_state_set(robot_handle);
    return r;
}

}  // extern "C"
