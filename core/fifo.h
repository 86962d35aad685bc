// Per-robot reply FIFO: 20 slots filled by the receive thread, read by waiting commands.
#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "ky_api.h"

struct ky_handle;

namespace ky {
constexpr int kFifoSlots = 20;
constexpr int kFifoKeyLen = 54;     // NUL-terminated key, at most 53 characters
constexpr int kFifoTextLen = 10240; // stored line, longer lines are cut
constexpr uint64_t kFifoStaleAge = 50;
}  // namespace ky

#pragma pack(push, 1)
struct ky_fifo_slot {
    uint8_t used;
    uint32_t length;
    char key[ky::kFifoKeyLen];
    char text[ky::kFifoTextLen];
    uint64_t stamp;
};
#pragma pack(pop)
static_assert(sizeof(ky_fifo_slot) == 10307, "slot layout");

// Slots and line counter, guarded by `mutex`; `filed` is signalled for every stored line.
struct ky_fifo {
    ky_fifo_slot slots[ky::kFifoSlots] = {};
    uint64_t counter = 0;
    std::mutex mutex;
    std::condition_variable filed;
};

// Pending-event kinds: which pushed completion line the next reply wait discards.
enum : int { KY_PENDING_NONE = 0, KY_PENDING_TRAJECTORY = 1, KY_PENDING_PROGRAM = 2 };

// Stores one line (receive thread only). Raises the event callback for completion lines.
void add_str_to_fifo(ky_handle *handle, const char *line, int length);
// Takes the first line filed under `key`; its stored length, or -1 when none is there.
int get_str_from_fifo(ky_fifo *fifo, const char *key, char *out, int out_len);

namespace ky {
// Waits until a line under `key` can be taken or `deadline` passes; the length or -1.
int fifo_wait(ky_fifo *fifo, const char *key, char *out, int out_len,
              std::chrono::steady_clock::time_point deadline);
// Pending-event kind shared by all robots (set by non-blocking motion commands).
void set_pending_event(int kind);
int pending_event();
}  // namespace ky
