// The bodies of the fuzz targets, shared by the libFuzzer executables (tests/fuzz/fuzz_*.cpp)
// and by the regression test of the ordinary build, which replays the saved inputs through
// exactly the same code.
//
// Each entry takes one input and returns null when every check held, or a short text naming
// the broken property. Memory errors are left to the sanitizers.
#pragma once
#include <cjson/cJSON.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "commands/motion.h"
#include "core/fifo.h"
#include "core/receiver.h"
#include "core/registry.h"
#include "ky_api.h"
#include "sim/arm.h"
#include "sim/commands.h"

namespace kyfuzz {

// Reads the input front to back; past its end every read yields zero.
class Bytes {
public:
    Bytes(const uint8_t *data, size_t size) : p_(data), end_(data + size) {}
    uint8_t byte() { return p_ < end_ ? *p_++ : 0; }
    size_t left() const { return static_cast<size_t>(end_ - p_); }
    std::string rest() {
        std::string s(reinterpret_cast<const char *>(p_), left());
        p_ = end_;
        return s;
    }

private:
    const uint8_t *p_;
    const uint8_t *end_;
};

// Keys the reply waits of the library use, plus the empty key and an unknown one.
inline const char *const kFifoKeys[] = {
    "current_trajectory_state", "program_run_finish", "joint_max_speed", "movej",
    "arm_current_trajectory",   "set_state",          "x",               "",
};

inline bool json_string_member(const cJSON *root, const char *key, std::string &out) {
    const cJSON *m = cJSON_GetObjectItemCaseSensitive(root, key);
    if (!cJSON_IsString(m) || m->valuestring == nullptr) return false;
    out = m->valuestring;
    return true;
}

// ------------------------------------------------------------ receive splitter + FIFO
//
// Input: byte 0 picks the read sizes and the pending-event kind, byte 1 the size of the
// buffer lines are taken into; the rest is the byte stream of the robot's connection. It is
// cut into reads as the receive thread sees them: bytes gather until a read ends in LF, then
// the gathered text is split and filed; what is left at the end is filed as at a close.
// Afterwards every key is looked up until nothing more is filed under it.
inline const char *receive(const uint8_t *data, size_t size) {
    Bytes in(data, size);
    const uint8_t shape = in.byte();
    const uint8_t room = in.byte();
    const std::string stream = in.rest();

    auto fifo = std::make_unique<ky_fifo>();
    ky_handle handle{};
    handle.id = 1;
    handle.fifo = fifo.get();
    handle.robot.id = 1;
    handle.robot.dof = (shape & 0x40) ? 7 : 6;

    const int pending = shape >> 7 ? ((shape & 0x20) ? KY_PENDING_PROGRAM : KY_PENDING_TRAJECTORY)
                                   : KY_PENDING_NONE;
    if (pending != KY_PENDING_NONE) ky::announce_completion(fifo.get(), pending, 0);

    // Read sizes 1, 2, 3, 7, 64, 1460, 20480 bytes, as a stream socket may deliver them.
    static const size_t kReads[] = {1, 2, 3, 7, 64, 1460, 20480, 20480};
    const size_t read_size = kReads[shape & 7];
    ky::ReadAssembler reads;
    for (size_t off = 0; off < stream.size(); off += read_size) {
        reads.feed(&handle, stream.data() + off, std::min(read_size, stream.size() - off));
    }
    reads.flush(&handle);  // what is left at the end counts as at a close

    // Take everything back, with a buffer of 1..256 bytes or a full line's room.
    const int out_len = (room & 0x80) ? ky::kFifoTextLen + 16 : (room & 0x7f) * 2 + 1;
    std::vector<char> out(static_cast<size_t>(out_len) + 1, '\x7f');
    const char *problem = nullptr;
    for (const char *key : kFifoKeys) {
        for (int guard = 0; guard <= 2 * ky::kFifoSlots + 2; ++guard) {
            out[static_cast<size_t>(out_len)] = '\x7f';  // one byte past the buffer: never written
            const int r = get_str_from_fifo(fifo.get(), key, out.data(), out_len);
            if (out[static_cast<size_t>(out_len)] != '\x7f') problem = "line copied past the caller's buffer";
            if (r < 0) break;
            const size_t copied = strnlen(out.data(), static_cast<size_t>(out_len));
            if (copied == static_cast<size_t>(out_len)) {
                problem = "taken line not terminated inside the buffer";
                break;
            }
            if (copied > static_cast<size_t>(r)) problem = "taken line longer than its stored length";
            // A line that reads as JSON carries the key it was taken under.
            if (cJSON *root = cJSON_Parse(out.data())) {
                std::string name;
                if (json_string_member(root, "command", name) || json_string_member(root, "state", name)) {
                    if (name != key) problem = "line taken under a key it does not carry";
                }
                cJSON_Delete(root);
            }
            if (guard == 2 * ky::kFifoSlots + 2) problem = "a key keeps yielding lines";
        }
    }
    return problem;
}

// ------------------------------------------------------------------ reply parsers
//
// Input: byte 0 picks the parser (and for the generic parser the item count), the next
// bytes the items' types, keys and counts; the rest is the reply text.
inline const char *const kReplyKeys[] = {
    "command", "joint_speed", "set_state", "receive_state", "state",       "pose",
    "data",    "arm_err",     "joint",     "frame_name",    "given_state", "trajectory_state",
    "device",  "arm_state",   "all_state", "",
};

inline const char *replies(const uint8_t *data, size_t size) {
    Bytes in(data, size);
    const uint8_t which = in.byte();
    uint8_t shape[12];
    for (uint8_t &b : shape) b = in.byte();
    const std::string text = in.rest();  // NUL-terminated by std::string
    constexpr size_t kKeys = sizeof kReplyKeys / sizeof kReplyKeys[0];

    switch (which % 3) {
    case 0: {
        const int count = 1 + (which >> 2) % 4;
        json_parse_item items[4];
        std::memset(items, 0, sizeof items);
        for (int i = 0; i < count; ++i) {
            items[i].type = shape[3 * i] % 6;  // 5: a type the parser does not know
            items[i].key = kReplyKeys[shape[3 * i + 1] % kKeys];
            items[i].count = shape[3 * i + 2] % 32;
        }
        const int r = common_json_parse("fuzz", text.c_str(), items, count);
        const char *problem = nullptr;
        if (r != 0 && r != -3) problem = "generic parse: result neither 0 nor -3";
        for (int i = 0; i < count; ++i) {
            if (items[i].type == 0 && items[i].value.str[sizeof items[i].value.str - 1] != '\0') {
                problem = "generic parse: string value fills its whole area";
            }
            if (items[i].type == 4 && items[i].value.item != nullptr) cJSON_Delete(static_cast<cJSON *>(items[i].value.item));
        }
        return problem;
    }
    case 1: {
        const char *key = kReplyKeys[shape[0] % kKeys];
        const int r = parse_ky_set_command("fuzz", text.c_str(), key);
        return (r == 0 || r == 1 || r == -3) ? nullptr : "set reply: result not 0, 1 or -3";
    }
    default: {
        int device = -7, connect = -7;
        const int r = parse_ky_move_command(text.c_str(), &device, &connect);
        if (r != -3 && r != -1 && r != 0 && r != 1) return "completion line: unexpected result";
        if (r != -3 && (device < 0 || connect < 0)) return "completion line: negative device or connect accepted";
        return nullptr;
    }
    }
}

// ------------------------------------------------------------------ UDP state
inline const char *udp_state(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    ky_realtime_arm_joint_state state;
    const int r = parse_ky_realtime_arm_joint_state(text.c_str(), &state);
    return (r == 0 || r == -3) ? nullptr : "UDP state: result neither 0 nor -3";
}

// ------------------------------------------------------------- simulator requests
//
// Input: one request as JSON. The blanks in front of it choose the arm: none a six-joint
// arm, one a seven-joint arm with a six-axis sensor, two or more the six-joint arm refusing
// every command. A fresh arm answers the command the request names, then runs for a
// simulated second so an accepted move is planned, started and finished.
inline const char *sim_request(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    size_t blanks = 0;
    while (blanks < text.size() && text[blanks] == ' ') ++blanks;
    cJSON *req = cJSON_ParseWithLength(text.data(), text.size());
    if (req == nullptr) return nullptr;
    const cJSON *name = cJSON_GetObjectItemCaseSensitive(req, "command");
    if (!cJSON_IsString(name) || name->valuestring == nullptr) {
        cJSON_Delete(req);
        return nullptr;
    }
    ky::sim::Options options;
    if (blanks == 1) options.product_version = "KY7A-6F";
    ky::sim::Arm arm;
    std::string error;
    if (!arm.init(options, error)) {
        cJSON_Delete(req);
        return "simulated arm failed to start";
    }
    ky::sim::DispatchResult result;
    ky::sim::dispatch(arm, req, name->valuestring, blanks >= 2, result);
    cJSON_Delete(req);

    std::vector<std::string> lines = result.broadcast;
    for (int i = 0; i < 50; ++i) arm.tick(0.02, lines);
    if (result.replies.size() != 1) return "simulator: not exactly one reply";
    lines.push_back(result.replies.front());
    for (const std::string &line : lines) {
        cJSON *root = cJSON_Parse(line.c_str());
        std::string command;
        const bool named = root != nullptr && json_string_member(root, "command", command);
        cJSON_Delete(root);
        if (!named) return "simulator: line without a command name";
    }
    for (int j = 0; j < arm.dof; ++j) {
        if (!std::isfinite(arm.q_[static_cast<size_t>(j)])) return "simulator: joint angle not finite";
    }
    return nullptr;
}

}  // namespace kyfuzz
