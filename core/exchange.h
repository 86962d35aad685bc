// Helpers that every command function is built from: a request builder and the recurring
// exchange shapes (set with state key, get of N integers, get of a dof array,
// fire-and-forget, waiting for a pushed line).
#pragma once
#include <cjson/cJSON.h>

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ky_api.h"

namespace ky {

// Current values of the two global time-outs.
int out_time();      // m_nOutTime
int out_time_max();  // m_nOutTime_max

// Builds the request items of one command, in member order, owning every value.
class Req {
public:
    explicit Req(const char *command);
    Req(Req &&) noexcept;
    Req &operator=(Req &&) = delete;
    Req(const Req &) = delete;
    ~Req();

    Req &str(const char *key, std::string_view value);
    Req &num(const char *key, int32_t value);
    Req &ints(const char *key, std::span<const int32_t> values);
    Req &ints(const char *key, std::initializer_list<int32_t> values);
    Req &flag(const char *key, bool value);
    Req &json(const char *key, cJSON *item);  // takes ownership

    json_pack_item *items() { return items_.data(); }
    int count() const { return static_cast<int>(items_.size()); }
    const char *command() const { return strings_.front().c_str(); }
    // Called when the items were handed to the packer (which owns type-4 items from then on).
    void handed_over() { handed_ = true; }

private:
    std::vector<json_pack_item> items_;
    std::deque<std::string> strings_;
    std::deque<std::vector<int32_t>> arrays_;
    bool handed_ = false;
};

// A zero-filled reply buffer of the size the command uses.
class Reply {
public:
    explicit Reply(int size = 1024) : buf_(static_cast<size_t>(size), '\0') {}
    char *data() { return buf_.data(); }
    int size() const { return static_cast<int>(buf_.size()); }
    const char *text() const { return buf_.data(); }
    void clear() { std::fill(buf_.begin(), buf_.end(), '\0'); }

private:
    std::vector<char> buf_;
};

// Sends `req` (null: nothing) and waits for `reply_key` (null: sleep timeout_ms, return 0).
// Result as ky_pack_lock_set: reply length > 0, or -1 / -2.
int exchange(ky_robot_handle *robot, const char *tag, Req *req, const char *reply_key,
             Reply &reply, int timeout_ms);
inline int exchange(ky_robot_handle *robot, const char *tag, Req &req, const char *reply_key,
                    Reply &reply, int timeout_ms) {
    return exchange(robot, tag, &req, reply_key, reply, timeout_ms);
}
// Waits for a pushed line without sending anything.
inline int wait_line(ky_robot_handle *robot, const char *tag, const char *reply_key, Reply &reply,
                     int timeout_ms) {
    return exchange(robot, tag, nullptr, reply_key, reply, timeout_ms);
}

// Set command: exchange (reply key defaults to the command name, time-out to m_nOutTime),
// a result below 1 is returned as it is, then the boolean `state_key`: 0, 1 or -3.
int set_command(ky_robot_handle *robot, const char *tag, Req req, const char *state_key,
                const char *reply_key = nullptr, int timeout_ms = -1, int reply_size = 1024);

// Sends and sleeps `sleep_ms` without reading any reply: 0, or -1 (unknown handle, send error).
int send_only(ky_robot_handle *robot, const char *tag, Req req, int sleep_ms);

// Reads the robot's dof; when it is not 6 or 7 logs
// "[tag] The robotic arm has been disconnected" and returns -1.
int require_dof(ky_robot_handle *robot, const char *tag, int *dof);

// Query {"command":command} -> reply_key, then `member` as `count` integers into `out`.
// Exchange code (-1/-2) or parse code (0/-3).
int get_ints(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
             const char *member, int count, int32_t *out, int timeout_ms = -1);
// Query whose `member` is an array of dof integers: exchange, then the dof check
// (disconnected: -1), then the parse. *dof receives the arm's joint count.
int get_dof_ints(ky_robot_handle *robot, const char *tag, const char *command,
                 const char *reply_key, const char *member, int32_t out[7], int *dof,
                 int timeout_ms = -1);

// Reply items for common_json_parse.
json_parse_item parse_int(const char *key);
json_parse_item parse_ints(const char *key, int count);
json_parse_item parse_str(const char *key);
json_parse_item parse_flag(const char *key);
json_parse_item parse_json(const char *key);

// Copies at most `max_chars` characters of `src` into `dst` (room `dst_size`), NUL-terminating
// only when there is room left, as the fixed-size name fields of the records do.
void copy_chars(char *dst, size_t dst_size, const char *src, size_t max_chars);

}  // namespace ky
