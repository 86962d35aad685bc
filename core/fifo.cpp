// Per-robot reply FIFO and the event hand-off of pushed completion lines.
//
// Every filed line carries its arrival order (one counter for all robots). A reply wait
// takes only lines filed after the exported call that waits began, so a late reply to a
// call that timed out, or the completion of an earlier move, is never handed to a later
// call. A full FIFO evicts its oldest untaken line that no wait in progress wants, so a
// burst of pushes nobody waits for never costs later replies.
#include "core/fifo.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <thread>

#include "core/drag_state.h"
#include "core/json.h"
#include "core/registry.h"

namespace {

std::atomic<uint64_t> g_arrival{0};
thread_local int t_scope_depth = 0;
thread_local uint64_t t_scope_start = 0;
thread_local uint64_t t_last_taken = 0;

std::atomic<ky_event_callback> g_event_callback{nullptr};

const char *completion_key(int kind) {
    switch (kind) {
    case KY_PENDING_TRAJECTORY: return "current_trajectory_state";
    case KY_PENDING_PROGRAM: return "program_run_finish";
    default: return nullptr;
    }
}

void clear_slot(ky_fifo *fifo, int i) {
    std::memset(&fifo->slots[i], 0, sizeof fifo->slots[i]);
    fifo->order[i] = 0;
}

// True when a wait in progress would take the line in slot `i`.
bool wanted(const ky_fifo *fifo, int i) {
    const ky_fifo_slot &slot = fifo->slots[i];
    return std::any_of(fifo->waiters.begin(), fifo->waiters.end(), [&](const ky::FifoWaiter *w) {
        return fifo->order[i] > w->after && std::strcmp(slot.key, w->key) == 0;
    });
}

// Takes the oldest line under `key` filed after `after`; the caller holds fifo->mutex.
// Oldest first, not first in slot order: with several threads waiting for the same reply
// name on one robot, a call that began earlier must never take a newer line and leave an
// older one that only it could take (the later call could not, and would time out).
int take_locked(ky_fifo *fifo, const char *key, uint64_t after, char *out, int out_len) {
    int found = -1;
    for (int i = 0; i < ky::kFifoSlots; ++i) {
        const ky_fifo_slot &slot = fifo->slots[i];
        if (!slot.used) continue;
        if (fifo->order[i] > after && std::strcmp(slot.key, key) == 0) {
            if (found < 0 || fifo->order[i] < fifo->order[found]) found = i;
        } else {
            ky_log_debug("i is %d command is %s\n", i, slot.key);
        }
    }
    if (found < 0) return -1;
    const ky_fifo_slot &slot = fifo->slots[found];
    // The copy is bounded by the caller's buffer; the stored length is returned.
    const int length = static_cast<int>(slot.length);
    if (out != nullptr && out_len > 0) {
        size_t n = strnlen(slot.text, sizeof slot.text);
        if (n > static_cast<size_t>(out_len - 1)) n = static_cast<size_t>(out_len - 1);
        std::memcpy(out, slot.text, n);
        out[n] = '\0';
    }
    t_last_taken = fifo->order[found];
    clear_slot(fifo, found);
    return length;
}

// The slot a new line goes to: the first free one; when all are taken, the oldest line no
// wait wants, and only when every line is wanted, the oldest of all. A line is never
// overwritten while a slot is free: its call may not have begun to wait yet (a thread
// preempted between its send and its wait), so age alone never makes a line expendable.
int choose_slot(ky_fifo *fifo) {
    for (int i = 0; i < ky::kFifoSlots; ++i) {
        if (!fifo->slots[i].used) return i;
    }
    int oldest = -1, oldest_unwanted = -1;
    for (int i = 0; i < ky::kFifoSlots; ++i) {
        if (oldest < 0 || fifo->order[i] < fifo->order[oldest]) oldest = i;
        if (!wanted(fifo, i) && (oldest_unwanted < 0 || fifo->order[i] < fifo->order[oldest_unwanted])) {
            oldest_unwanted = i;
        }
    }
    return oldest_unwanted >= 0 ? oldest_unwanted : oldest;
}

// True (and the announcement consumed) when the line under `key` with arrival order
// `order` is a completion line that an accepted non-blocking command announced.
bool consume_announced(ky_fifo *fifo, const char *key, uint64_t order) {
    for (auto it = fifo->pending.begin(); it != fifo->pending.end(); ++it) {
        if (order > it->after && std::strcmp(it->key, key) == 0) {
            fifo->pending.erase(it);
            return true;
        }
    }
    return false;
}

void raise_event(const ky_event_data &data) {
    ky_event_callback cb = g_event_callback.load();
    if (cb != nullptr) cb(data);
}

}  // namespace

extern "C" KY_API void ky_get_arm_event_call_back(ky_event_callback callback) {
    if (callback != nullptr) g_event_callback.store(callback);
}

uint64_t ky::arrival_now() { return g_arrival.load(); }

ky::CallScope::CallScope() {
    if (t_scope_depth++ == 0) t_scope_start = g_arrival.load();
}
ky::CallScope::~CallScope() { --t_scope_depth; }

uint64_t ky::call_start() { return t_scope_depth > 0 ? t_scope_start : 0; }
uint64_t ky::last_taken_order() { return t_last_taken; }

int get_str_from_fifo(ky_fifo *fifo, const char *key, char *out, int out_len) {
    if (fifo == nullptr || key == nullptr) return -1;
    std::lock_guard<std::mutex> lock(fifo->mutex);
    return take_locked(fifo, key, ky::call_start(), out, out_len);
}

int ky::fifo_wait(ky_fifo *fifo, const char *key, char *out, int out_len, uint64_t after,
                  std::chrono::steady_clock::time_point deadline) {
    if (fifo == nullptr || key == nullptr) return -1;
    std::unique_lock<std::mutex> lock(fifo->mutex);
    std::condition_variable wake;
    FifoWaiter self{key, after, &wake};
    fifo->waiters.push_back(&self);
    int r = take_locked(fifo, key, after, out, out_len);
    while (r < 0) {
        if (wake.wait_until(lock, deadline) == std::cv_status::timeout) {
            r = take_locked(fifo, key, after, out, out_len);
            break;
        }
        r = take_locked(fifo, key, after, out, out_len);
    }
    fifo->waiters.erase(std::find(fifo->waiters.begin(), fifo->waiters.end(), &self));
    lock.unlock();
    // The filing thread may still be signalling us after it let go of the lock.
    while (self.waking.load(std::memory_order_acquire) > 0) std::this_thread::yield();
    return r;
}

void ky::announce_completion(ky_fifo *fifo, int kind, uint64_t after) {
    const char *key = completion_key(kind);
    if (fifo == nullptr || key == nullptr) return;
    std::lock_guard<std::mutex> lock(fifo->mutex);
    // The completion may already be filed (a short motion): the earliest one after the
    // acceptance is the announced line.
    int found = -1;
    for (int i = 0; i < kFifoSlots; ++i) {
        if (fifo->slots[i].used && fifo->order[i] > after && std::strcmp(fifo->slots[i].key, key) == 0 &&
            (found < 0 || fifo->order[i] < fifo->order[found])) {
            found = i;
        }
    }
    if (found >= 0) {
        clear_slot(fifo, found);
    } else {
        // A controller that never reports must not make the list grow without bound.
        if (fifo->pending.size() >= static_cast<size_t>(kFifoSlots)) fifo->pending.pop_front();
        fifo->pending.push_back({key, after});
    }
}

int ky::pending_completions(ky_fifo *fifo) {
    if (fifo == nullptr) return 0;
    std::lock_guard<std::mutex> lock(fifo->mutex);
    return static_cast<int>(fifo->pending.size());
}

void ky::fifo_reset(ky_fifo *fifo) {
    if (fifo == nullptr) return;
    std::lock_guard<std::mutex> lock(fifo->mutex);
    for (int i = 0; i < kFifoSlots; ++i) clear_slot(fifo, i);
    fifo->pending.clear();
}

void add_str_to_fifo(ky_handle *handle, const char *line, int length) {
    if (handle == nullptr || handle->fifo == nullptr || line == nullptr) return;
    ky_fifo *fifo = handle->fifo;
    if (length < 0) length = 0;

    ky::JsonDoc doc(line);
    std::unique_lock<std::mutex> lock(fifo->mutex);
    const uint64_t now = ++fifo->counter;
    const uint64_t order = ++g_arrival;
    lock.unlock();
    if (!doc) return;  // not JSON: counted, never stored

    const char *key = MIO_JSON_GetObjectItemString(doc.root, "command");
    if (key == nullptr) key = MIO_JSON_GetObjectItemString(doc.root, "state");

    bool have_event = false;
    ky_event_data event{};
    bool sample = false;
    if (key != nullptr) {
        if (std::strcmp(key, "current_trajectory_state") == 0) {
            event.handle_id = ky::load_field(handle->robot.id);
            event.event_type = 1;
            event.device = MIO_JSON_GetObjectItemInt(doc.root, "device");
            event.trajectory_state = MIO_JSON_GetObjectItemBool(doc.root, "trajectory_state") != 0;
            event.trajectory_connect = MIO_JSON_GetObjectItemInt(doc.root, "trajectory_connect");
            event.program_id = 0;
            have_event = true;
        } else if (std::strcmp(key, "program_run_finish") == 0) {
            event.handle_id = ky::load_field(handle->robot.id);
            event.event_type = 2;
            event.trajectory_state = false;
            event.device = 0;
            event.trajectory_connect = 0;
            event.program_id = MIO_JSON_GetObjectItemInt(doc.root, "finish_id");
            have_event = true;
        }
    } else {
        const cJSON *point = MIO_JSON_GetObjectItem(doc.root, "point");
        if (!cJSON_IsArray(point)) {
            drag_teach_save_state = 1;
            ky_log_error("Error: 'point' is not an array. %s\n", line);
            return;
        }
        // A recorded drag-teach sample: written to the open trajectory file, and filed in
        // the slot whose index is the arm's joint count, under that slot's existing key.
        drag_teach_save_start = 1;
        if (!ky::drag_write_sample(line)) drag_teach_save_state = 1;  // no save file open
        int count = ++drag_teach_count;
        int total = drag_teach_total_num.load();
        ky_log_debug("drag_teach_count:  %d  drag_teach_total_num: %d\n", count, total);
        if (count != 0 && count == total) drag_teach_save_complete = 1;
        sample = true;
    }

    if (have_event) raise_event(event);

    lock.lock();
    if (have_event && consume_announced(fifo, key, order)) return;  // the event callback had it
    int store_at = choose_slot(fifo);
    if (sample) {
        const int dof = ky::load_field(handle->robot.dof);
        if (dof > 0 && dof < ky::kFifoSlots) store_at = dof;
    }
    ky_fifo_slot &slot = fifo->slots[store_at];
    // Key and text are cut to their fields (53 and 10239 characters) and always terminated,
    // so an over-long line or key never overflows a slot; a cut line fails to parse later.
    if (key != nullptr) {
        std::memset(slot.key, 0, sizeof slot.key);
        std::strncpy(slot.key, key, sizeof slot.key - 1);
    }
    size_t n = static_cast<size_t>(length);
    if (n > sizeof slot.text - 1) n = sizeof slot.text - 1;
    std::memcpy(slot.text, line, n);
    slot.text[n] = '\0';
    slot.stamp = now;
    slot.length = static_cast<uint32_t>(length);
    slot.used = 1;
    fifo->order[store_at] = order;
    // The waits that take this line are woken after the lock is released, so that they do
    // not wake only to block on it; each stays until its wake-up has been delivered.
    ky::FifoWaiter *woken[8];
    size_t count = 0;
    for (ky::FifoWaiter *w : fifo->waiters) {
        if (w->wake == nullptr || order <= w->after || std::strcmp(slot.key, w->key) != 0) continue;
        if (count == std::size(woken)) {
            w->wake->notify_one();  // more waits than we keep aside: woken under the lock
            continue;
        }
        w->waking.fetch_add(1, std::memory_order_relaxed);
        woken[count++] = w;
    }
    lock.unlock();
    for (size_t i = 0; i < count; ++i) {
        woken[i]->wake->notify_one();
        woken[i]->waking.fetch_sub(1, std::memory_order_release);
    }
}
