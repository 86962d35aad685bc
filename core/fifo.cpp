// Per-robot reply FIFO and the event hand-off of pushed completion lines.
#include "core/fifo.h"

#include <cstring>

#include "core/drag_state.h"
#include "core/json.h"
#include "core/registry.h"

namespace {

struct EventListener {
    std::atomic<ky_event_callback> callback{nullptr};
    // Which pushed completion line the next reply wait discards (KY_PENDING_*).
    std::atomic<int> pending{KY_PENDING_NONE};
};
EventListener event_listener;

void clear_slot(ky_fifo_slot &slot) { std::memset(&slot, 0, sizeof slot); }

// Scans the slots in index order; the caller holds fifo->mutex.
int take_locked(ky_fifo *fifo, const char *key, char *out, int out_len) {
    const int pending = event_listener.pending.load();
    for (int i = 0; i < ky::kFifoSlots; ++i) {
        ky_fifo_slot &slot = fifo->slots[i];
        if (!slot.used) continue;
        // A completion line that a non-blocking command announced belongs to the event
        // callback, which already had it: drop it once, and this look finds nothing.
        if ((pending == KY_PENDING_TRAJECTORY && std::strcmp(slot.key, "current_trajectory_state") == 0) ||
            (pending == KY_PENDING_PROGRAM && std::strcmp(slot.key, "program_run_finish") == 0)) {
            clear_slot(slot);
            event_listener.pending.store(KY_PENDING_NONE);
            return -1;
        }
        if (std::strcmp(slot.key, key) == 0) {
            // The copy is bounded by the caller's buffer; the stored length is returned.
            int length = static_cast<int>(slot.length);
            if (out != nullptr && out_len > 0) {
                size_t n = strnlen(slot.text, sizeof slot.text);
                if (n > static_cast<size_t>(out_len - 1)) n = static_cast<size_t>(out_len - 1);
                std::memcpy(out, slot.text, n);
                out[n] = '\0';
            }
            clear_slot(slot);
            return length;
        }
        ky_log_debug("i is %d command is %s\n", i, slot.key);
    }
    return -1;
}

void raise_event(const ky_event_data &data) {
    ky_event_callback cb = event_listener.callback.load();
    if (cb != nullptr) cb(data);
}

}  // namespace

extern "C" KY_API void ky_get_arm_event_call_back(ky_event_callback callback) {
    if (callback != nullptr) event_listener.callback.store(callback);
}

void ky::set_pending_event(int kind) { event_listener.pending.store(kind); }
int ky::pending_event() { return event_listener.pending.load(); }

int get_str_from_fifo(ky_fifo *fifo, const char *key, char *out, int out_len) {
    if (fifo == nullptr || key == nullptr) return -1;
    std::lock_guard<std::mutex> lock(fifo->mutex);
    return take_locked(fifo, key, out, out_len);
}

int ky::fifo_wait(ky_fifo *fifo, const char *key, char *out, int out_len,
                  std::chrono::steady_clock::time_point deadline) {
    if (fifo == nullptr || key == nullptr) return -1;
    std::unique_lock<std::mutex> lock(fifo->mutex);
    for (;;) {
        int r = take_locked(fifo, key, out, out_len);
        if (r >= 0) return r;
        if (fifo->filed.wait_until(lock, deadline) == std::cv_status::timeout) {
            return take_locked(fifo, key, out, out_len);
        }
    }
}

void add_str_to_fifo(ky_handle *handle, const char *line, int length) {
    if (handle == nullptr || handle->fifo == nullptr) return;
    ky_fifo *fifo = handle->fifo;
    if (length < 0) length = 0;

    std::unique_lock<std::mutex> lock(fifo->mutex);
    const uint64_t now = ++fifo->counter;
    int chosen = -1;
    for (int i = 0; i < ky::kFifoSlots; ++i) {
        const ky_fifo_slot &slot = fifo->slots[i];
        if (!slot.used || now - slot.stamp > ky::kFifoStaleAge) {
            chosen = i;
            break;
        }
    }
    // Every slot holds a line younger than 50 lines: this one is dropped.
    if (chosen < 0) return;
    lock.unlock();

    ky::JsonDoc doc(line);
    if (!doc) return;
    const char *key = MIO_JSON_GetObjectItemString(doc.root, "command");
    if (key == nullptr) key = MIO_JSON_GetObjectItemString(doc.root, "state");

    bool have_event = false;
    ky_event_data event{};
    int store_at = chosen;
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
        ky::drag_write_sample(line);
        int count = ++drag_teach_count;
        int total = drag_teach_total_num.load();
        ky_log_debug("drag_teach_count:  %d  drag_teach_total_num: %d\n", count, total);
        if (count != 0 && count == total) drag_teach_save_complete = 1;
        int dof = ky::load_field(handle->robot.dof);
        if (dof > 0 && dof < ky::kFifoSlots) store_at = dof;
    }

    if (have_event) raise_event(event);

    lock.lock();
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
    lock.unlock();
    fifo->filed.notify_all();
}
