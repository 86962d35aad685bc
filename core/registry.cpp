// Library lifecycle and the registry of connected robots.
#include "core/registry.h"

#include <pthread.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "core/receiver.h"
#include "realtime/udp.h"

ky_handle *gHandleList[KY_MAX_ROBOTS] = {};
std::atomic<int> g_mode{2};
std::atomic<bool> should_exit{false};

extern "C" {
KY_API int m_nOutTime = 500;
KY_API int m_nOutTime_max = 1000;
}

namespace {

pthread_rwlock_t g_rwlock = PTHREAD_RWLOCK_INITIALIZER;
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
std::thread g_receive_thread;
// Records of deleted robots: kept readable (id 0) until ky_destory frees them.
std::vector<ky_handle *> g_retired;

void free_record(ky_handle *h) {
    if (h == nullptr) return;
    ky_socket_handle_destroy(h->socket);
    delete h->fifo;
    delete h;
}

void set_slot(int i, ky_handle *h) {
    std::lock_guard<std::mutex> lock(ky::registry_mutex());
    gHandleList[i] = h;
}

}  // namespace

std::mutex &ky::registry_mutex() {
    static std::mutex m;
    return m;
}

void ky_rwlock_init() {
    // The lock is statically initialised; re-initialising a lock that other threads may
    // hold would be undefined, so this only documents the step of ky_init.
}
void ky_rdlock_lock() { pthread_rwlock_rdlock(&g_rwlock); }
void ky_rdlock_unlock() { pthread_rwlock_unlock(&g_rwlock); }
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
    ky::set_pending_event(KY_PENDING_NONE);  // a new run expects no completion line
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
    if (mode == 2 && !ky::udp_start()) return -1;
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
    }
    set_slot(slot, h);
    if (connected) {
        std::memset(h->socket->ip, 0, sizeof h->socket->ip);
        std::strncpy(h->socket->ip, ip, 16);
        ky_wrlock_unlock();
        ky::wake_receiver();
        int r = ky_sync_robot_info(&h->robot);
        ky_algo_arm_state_set(&h->robot);
        ky_wrlock_lock();
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
    ky::udp_stop();
    ky::receiver_close_wake();
    ky_wrlock_lock();
    for (int i = 0; i < KY_MAX_ROBOTS; ++i) {
        if (ky_handle *h = gHandleList[i]) {
            set_slot(i, nullptr);
            free_record(h);
        }
    }
    for (ky_handle *h : g_retired) free_record(h);
    g_retired.clear();
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
