// Per-robot reply FIFO: 20 slots filled by the receive thread, read by waiting commands.
#pragma once
#include <chrono>
#include <condition_variable>
#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>

#include "ky_api.h"

struct ky_handle;

namespace ky {
constexpr int kFifoSlots = 20;
constexpr int kFifoKeyLen = 54;     // NUL-terminated key, at most 53 characters
constexpr int kFifoTextLen = 10240; // stored line, longer lines are cut
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

namespace ky {
// A reply wait in progress: the key it takes and the arrival order its call began at.
struct FifoWaiter {
    const char *key;
    uint64_t after;
    std::condition_variable *wake = nullptr;  // signalled when a line it takes is filed
    // Wake-ups handed out under the FIFO's lock and not yet delivered: the wait stays (and
    // keeps its condition variable alive) until they are.
    std::atomic<int> waking{0};
};
// A completion line announced by an accepted non-blocking command: the first line under
// `key` filed after arrival order `after` belongs to the event callback, not to a waiter.
struct PendingCompletion {
    const char *key;
    uint64_t after;
};
}  // namespace ky

// Slots and line counter, guarded by `mutex`; a stored line wakes only the waits that take
// it (one robot may have many threads waiting for different replies). `order` holds each slot's arrival order (process-wide, across robots): a wait takes only
// lines filed after the exported call that waits began.
struct ky_fifo {
    ky_fifo_slot slots[ky::kFifoSlots] = {};
    uint64_t counter = 0;
    uint64_t order[ky::kFifoSlots] = {};
    std::deque<ky::FifoWaiter *> waiters;
    std::deque<ky::PendingCompletion> pending;  // this robot's announced completion lines
    std::mutex mutex;
};

// Pending-event kinds: which pushed completion line an accepted non-blocking command hands
// to the event callback instead of to a waiter.
enum : int { KY_PENDING_NONE = 0, KY_PENDING_TRAJECTORY = 1, KY_PENDING_PROGRAM = 2 };

// Stores one line (receive thread only). Raises the event callback for completion lines.
void add_str_to_fifo(ky_handle *handle, const char *line, int length);
// Takes the first line filed under `key` since the calling thread's call began; its stored
// length, or -1 when none is there.
int get_str_from_fifo(ky_fifo *fifo, const char *key, char *out, int out_len);

namespace ky {
// Arrival order of the newest line filed by any robot (0 before the first).
uint64_t arrival_now();

// Marks the start of one exported call on this thread: every reply wait inside it takes only
// lines filed after this point. Nested scopes share the outermost start, so a command and
// its read-back (or a move and its completion) meet replies that came in one read.
class CallScope {
public:
    CallScope();
    ~CallScope();
    CallScope(const CallScope &) = delete;
    CallScope &operator=(const CallScope &) = delete;
};
// The arrival order at the start of the calling thread's current call (or now, outside one).
uint64_t call_start();

// Waits until a line under `key` filed after `after` can be taken or `deadline` passes; the
// length or -1. The wait registers itself, so a full FIFO never evicts what it waits for.
int fifo_wait(ky_fifo *fifo, const char *key, char *out, int out_len, uint64_t after,
              std::chrono::steady_clock::time_point deadline);
// Arrival order of the line the calling thread took last.
uint64_t last_taken_order();

// Announces that the first line under the completion key of `kind` filed after `after` on
// this robot goes to the event callback only. A line already filed is discarded at once.
void announce_completion(ky_fifo *fifo, int kind, uint64_t after);
// Completion lines announced on this robot and not seen yet (for tests and diagnostics).
int pending_completions(ky_fifo *fifo);
// Forgets every stored line and announcement (a new connection starts clean).
void fifo_reset(ky_fifo *fifo);
}  // namespace ky
