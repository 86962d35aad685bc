// Command exchange: packing requests, waiting for replies, parsing them.
#include "core/exchange.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/drag_state.h"
#include "core/json.h"
#include "core/registry.h"

using Clock = std::chrono::steady_clock;

namespace {

// Type-4 items belong to the call: those not attached to a command object are freed.
void release_json_items(json_pack_item *items, int count) {
    if (items == nullptr) return;
    for (int i = 0; i < count; ++i) {
        if (items[i].type == 4 && items[i].value.item != nullptr) {
            cJSON_Delete(static_cast<cJSON *>(items[i].value.item));
            items[i].value.item = nullptr;
        }
    }
}

const char *command_name(const json_pack_item *items, int count) {
    if (items == nullptr || count < 1 || items[0].type != 0 || items[0].value.str == nullptr) return "";
    return items[0].value.str;
}

cJSON *number_array(const int32_t *values, int count) {
    cJSON *array = MIO_JSON_CreateArray();
    for (int i = 0; values != nullptr && i < count; ++i) {
        MIO_JSON_AddItemToArray(array, MIO_JSON_CreateNumber(static_cast<double>(values[i])));
    }
    return array;
}

// Mode 0: the calling thread reads its own socket until the line under `reply_key` comes.
int receive_sync(const char *tag, ky_handle *handle, const char *reply_key, char *reply_buf,
                 int reply_len, int tries) {
    (void)tag;
    std::string recv_data;  // the line being assembled
    recv_data.reserve(256);
    std::vector<char> chunk(static_cast<size_t>(std::max(reply_len, 1)));
    const auto deadline = Clock::now() + std::chrono::milliseconds(2 * tries);
    // The wait lasts its full length however many unrelated lines arrive meanwhile.
    while (Clock::now() < deadline) {
        // One try: wait up to 2 ms for bytes (returns at once when some are there).
        int fd = handle->socket->fd.load();
        pollfd p{fd, POLLIN, 0};
        // Rounded up: a try near the deadline still waits instead of spinning, so an empty try
        // (which a drag-teach save counts as silence) always lasts a millisecond or more.
        auto left_us = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
        int wait_ms = static_cast<int>(std::clamp<long long>((left_us + 999) / 1000, 0, 2));
        if (::poll(&p, 1, wait_ms) <= 0) {
            if (drag_teach_save_start.load() && ++drag_teach_count == 1001) drag_teach_save_complete = 1;
            continue;
        }
        int n = handle->socket->blocking_receive(handle->socket, chunk.data(), reply_len);
        if (n <= 0) {
            if (drag_teach_save_start.load() && ++drag_teach_count == 1001) drag_teach_save_complete = 1;
            if (n == -1) {
                handle->connection = KY_CONNECTION_CLOSED;
                sleep_cp(2);  // the peer closed: nothing more will come
            }
            continue;
        }
        for (int i = 0; i < n; ++i) {
            if (recv_data.size() + 1 >= 20480) recv_data.clear();
            recv_data.push_back(chunk[static_cast<size_t>(i)]);
            const size_t len = recv_data.size();
            if (!(chunk[static_cast<size_t>(i)] == '\n' && len >= 6 && recv_data[len - 2] == '\r')) continue;

            ky::JsonDoc doc(recv_data.c_str());
            const char *cmd = MIO_JSON_GetObjectItemString(doc.root, "command");
            const char *state = MIO_JSON_GetObjectItemString(doc.root, "state");
            if ((cmd && std::strcmp(cmd, reply_key) == 0) || (state && std::strcmp(state, reply_key) == 0)) {
                std::memset(reply_buf, 0, static_cast<size_t>(reply_len));
                size_t copy = std::min(len, static_cast<size_t>(reply_len - 1));
                std::memcpy(reply_buf, recv_data.data(), copy);
                ky_log_debug("thread_socket_receive len %d robot_handle: %d message:%s\n", static_cast<int>(len),
                             ky::load_field(handle->robot.id), reply_buf);
                return static_cast<int>(len);  // the rest of this read is dropped
            }
            if (doc && !cmd && !state && MIO_JSON_GetObjectItem(doc.root, "point") != nullptr) {
                drag_teach_save_start = 1;
                char sample[2048] = {};
                std::strncpy(sample, recv_data.c_str(), sizeof sample - 1);
                recv_data.clear();
                if (ky::drag_write_sample_rewind(sample)) {
                    drag_teach_save_state = 0;
                    ky_log_debug("drag_save len %d robot_handle: %d drag_save:%s\n", static_cast<int>(strlen(sample)),
                                 ky::load_field(handle->robot.id), sample);
                } else {
                    drag_teach_save_state = 1;
                }
                continue;
            }
            recv_data.clear();
        }
    }
    return -1;
}

}  // namespace

extern "C" {

KY_API int common_json_pack_set(const char *tag, ky_handle *handle, json_pack_item *items, int count) {
    (void)tag;
    if (items == nullptr || count <= 0 || handle == nullptr) {
        release_json_items(items, count);
        return -1;
    }
    cJSON *root = MIO_JSON_CreateObject();
    for (int i = 0; i < count; ++i) {
        const json_pack_item &it = items[i];
        switch (it.type) {
        case 0: MIO_JSON_AddItemToObject(root, it.key, MIO_JSON_CreateString(it.value.str)); break;
        case 1: MIO_JSON_AddItemToObject(root, it.key, MIO_JSON_CreateNumber(static_cast<double>(it.value.num))); break;
        case 2: MIO_JSON_AddItemToObject(root, it.key, number_array(it.value.array, it.count)); break;
        case 3: MIO_JSON_AddItemToObject(root, it.key, cJSON_CreateBool(it.value.num != 0)); break;
        case 4:
            if (MIO_JSON_AddItemToObject(root, it.key, static_cast<cJSON *>(it.value.item)) != 0) {
                MIO_JSON_Delete(static_cast<cJSON *>(it.value.item));
            }
            items[i].value.item = nullptr;
            break;
        default: break;  // unknown types are skipped
        }
    }
    char *printed = MIO_JSON_PrintUnformatted(root);
    MIO_JSON_Delete(root);
    if (printed == nullptr) return -1;
    const size_t len = std::strlen(printed);
    char *buf = static_cast<char *>(std::calloc(len + 3, 1));
    if (buf == nullptr) {
        cJSON_free(printed);
        return -1;
    }
    std::memcpy(buf, printed, len);
    cJSON_free(printed);
    buf[len] = '\r';
    buf[len + 1] = '\n';
    buf[len + 2] = '\0';  // every command ends in CR LF and one NUL byte
    ky_log_debug("send is: %s\n", buf);
    int r = handle->socket->block_send(handle->socket, buf, static_cast<int>(len + 3));
    std::free(buf);
    return r;
}

KY_API int common_json_pack_get(const char *tag, ky_handle *handle, const char *command, char *dst, int dst_len) {
    (void)tag;
    if (handle == nullptr || command == nullptr || dst == nullptr) return -1;
    cJSON *root = MIO_JSON_CreateObject();
    MIO_JSON_AddItemToObject(root, "command", MIO_JSON_CreateString(command));
    char *printed = MIO_JSON_PrintUnformatted(root);
    MIO_JSON_Delete(root);
    if (printed == nullptr) return -1;
    const int len = static_cast<int>(std::strlen(printed));
    if (len >= dst_len - 2) {
        cJSON_free(printed);
        return -1;
    }
    std::strncpy(dst, printed, static_cast<size_t>(std::min(8, dst_len)));
    dst[len] = '\r';
    dst[len + 1] = '\n';
    // The printed text itself goes out with two bytes more: its NUL and the byte after it.
    std::vector<char> wire(static_cast<size_t>(len) + 2, '\0');
    std::memcpy(wire.data(), printed, static_cast<size_t>(len));
    cJSON_free(printed);
    return handle->socket->send(handle->socket, wire.data(), len + 2);
}

KY_API int handle_revice_data(const char *tag, ky_handle *handle, const char *reply_key, char *reply_buf,
                              int reply_len, int timeout_ms) {
    const int tries = timeout_ms / 2;
    if (tries < 1 || handle == nullptr || reply_key == nullptr || reply_buf == nullptr || reply_len < 1) return -1;
    const int mode = g_mode.load();
    if (mode == 1 || mode == 2) {
        // Event-driven: the receive thread signals the FIFO for every line it files.
        // Only lines filed after the calling exported function began count as its reply.
        int r = ky::fifo_wait(handle->fifo, reply_key, reply_buf, reply_len, ky::call_start(),
                              Clock::now() + std::chrono::milliseconds(2 * tries));
        return r >= 0 ? r : -1;
    }
    if (mode == 0) return receive_sync(tag, handle, reply_key, reply_buf, reply_len, tries);
    sleep_cp(2 * tries);  // no reader in this mode: nothing can arrive
    return -1;
}

KY_API int ky_pack_lock_set(const char *tag, ky_robot_handle *robot_handle, json_pack_item *items, int count,
                            const char *reply_key, char *reply_buf, int reply_len, int timeout_ms) {
    // The exchange's waits take only lines filed from here on (or from the start of the
    // exported call this exchange belongs to).
    ky::CallScope scope;
    ky_rdlock_lock();
    ky_handle *handle = ky_get_ky_handle_by_robot_handle(robot_handle);
    if (handle == nullptr) {
        ky_rdlock_unlock();
        release_json_items(items, count);
        return -1;
    }
    const char *name = command_name(items, count);
    std::string name_copy = name;  // for the log lines after packing
    if (items != nullptr && common_json_pack_set(tag, handle, items, count) != 0) {
        ky_rdlock_unlock();
        ky_log_error("[%s] %s send error\n", tag, name_copy.c_str());
        return -1;
    }
    if (reply_key == nullptr) {
        sleep_cp(timeout_ms);
        ky_rdlock_unlock();
        return 0;
    }
    int r = handle_revice_data(tag, handle, reply_key, reply_buf, reply_len, timeout_ms);
    ky_rdlock_unlock();
    if (r < 1) {
        r = -2;
        if (items != nullptr) {
            ky_log_error("[%s] %s revice error\n", tag, name_copy.c_str());
        } else if (std::strcmp(reply_key, "point") == 0) {
            ky_log_info("[%s] %s save_trajectory complete\n", tag, reply_key);
        }
    }
    return r;
}

KY_API int parse_ky_set_command(const char *tag, const char *text, const char *state_key) {
    ky::JsonDoc doc(text);
    if (!doc) {
        if (text == nullptr || std::strcmp(text, "given_state") != 0) {
            ky_log_error("[%s] %s parse err\n", tag, text ? text : "");
        }
        return -3;
    }
    switch (MIO_JSON_GetObjectItemBool(doc.root, state_key)) {
    case 0: ky_log_error("[%s] %s: false\n", tag, state_key); return 1;
    case 1: ky_log_debug("[%s] %s: true\n", tag, state_key); return 0;
    default:
        if (state_key == nullptr || std::strcmp(state_key, "given_state") != 0) {
            ky_log_error("[%s] %s command parse err\n", tag, state_key ? state_key : "");
        }
        return -3;
    }
}

KY_API int common_json_parse(const char *tag, const char *text, json_parse_item *items, int count) {
    ky::JsonDoc doc(text);
    if (!doc) {
        ky_log_error("Error parsing JSON\n");
        return -3;
    }
    const cJSON *scope = doc.root;
    bool nested = false;
    if (const cJSON *s = MIO_JSON_GetObjectItem(doc.root, "arm_state"); cJSON_IsObject(s)) {
        scope = s;
        nested = true;
    } else if (const cJSON *s2 = MIO_JSON_GetObjectItem(doc.root, "all_state"); cJSON_IsObject(s2)) {
        scope = s2;
        nested = true;
    }
    if (count < 1 || items == nullptr) return 0;
    for (int i = 0; i < count; ++i) {
        json_parse_item &it = items[i];
        const cJSON *member = MIO_JSON_GetObjectItem(scope, it.key);
        if (member == nullptr) {
            ky_log_error("[%s] %s parsing error\n", tag, it.key);
            return -3;
        }
        switch (it.type) {
        case 0: {
            if (!cJSON_IsString(member)) {
                ky_log_error("[%s] %s is not a string\n", tag, it.key);
                return -3;
            }
            // Bounded by the value area, leaving room for the caller's terminator.
            size_t n = std::min(std::strlen(member->valuestring), sizeof it.value.str - 1);
            std::memcpy(it.value.str, member->valuestring, n);
            ky_log_info("[%s] %s parse result: %s\n", tag, it.key, member->valuestring);
            break;
        }
        case 1:
            it.value.num = member->valueint;
            ky_log_info("[%s] %s parse result: %d\n", tag, it.key, it.value.num);
            break;
        case 2: {
            if (!cJSON_IsArray(member)) {
                ky_log_error("[%s] %s is not an array\n", tag, it.key);
                return -3;
            }
            const int size = cJSON_GetArraySize(member);
            const int room = static_cast<int>(sizeof it.value.array / sizeof it.value.array[0]);
            if (size != it.count || it.count > room) {
                ky_log_error("[%s] Array size mismatch for key %s\n", tag, it.key);
                return -3;
            }
            ky_log_info("[%s] %s parse result:\n", tag, it.key);
            for (int k = 0; k < size; ++k) {
                it.value.array[k] = MIO_JSON_GetArrayItemInt(member, k);
                ky_log_info(" %d\n", it.value.array[k]);
            }
            break;
        }
        case 3:
            if (cJSON_IsBool(member)) it.value.flag = cJSON_IsTrue(member) ? 1 : 0;
            ky_log_info("[%s] %s parse result: %d\n", tag, it.key, static_cast<int>(it.value.flag));
            break;
        case 4:
            if (!nested) {
                it.value.item = cJSON_Duplicate(member, 1);
                break;
            }
            [[fallthrough]];
        default:
            ky_log_error("[%s] Unsupported JSON value type for key %s\n", tag, it.key);
            return -3;
        }
    }
    return 0;
}

KY_API int ky_get_data_common(ky_robot_handle *robot_handle, int *out_value, const char *command,
                              const char *reply_key) {
    static const char *tag = "ky_get_data_common";
    ky::Req req(command);
    ky::Reply reply(1024);
    int r = ky::exchange(robot_handle, tag, req, command, reply, ky::out_time());
    if (r < 1) return r;
    json_parse_item item = ky::parse_int(reply_key);
    r = common_json_parse(tag, reply.text(), &item, 1);
    if (r == 0 && out_value != nullptr) *out_value = item.value.num;
    return r;
}

KY_API int ky_set_data_common(ky_robot_handle *robot_handle, int value, const char *command, const char *key) {
    static const char *tag = "ky_set_data_common";
    ky::Req req(command);
    req.num(key, value);
    return ky::set_command(robot_handle, tag, std::move(req), "set_state", command, ky::out_time_max());
}

}  // extern "C"

// ------------------------------------------------------------------ C++ helpers
namespace ky {

int out_time() { return __atomic_load_n(&m_nOutTime, __ATOMIC_RELAXED); }
int out_time_max() { return __atomic_load_n(&m_nOutTime_max, __ATOMIC_RELAXED); }

Req::Req(const char *command) {
    strings_.emplace_back(command ? command : "");
    json_pack_item it{};
    it.type = 0;
    it.key = "command";
    it.value.str = strings_.back().c_str();
    items_.push_back(it);
}

Req::Req(Req &&other) noexcept
    : items_(std::move(other.items_)), strings_(std::move(other.strings_)),
      arrays_(std::move(other.arrays_)), handed_(other.handed_) {
    other.handed_ = true;
}

Req::~Req() {
    if (!handed_) release_json_items(items_.data(), count());
}

Req &Req::str(const char *key, std::string_view value) {
    strings_.emplace_back(value);
    json_pack_item it{};
    it.type = 0;
    it.key = key;
    it.value.str = strings_.back().c_str();
    items_.push_back(it);
    return *this;
}

Req &Req::num(const char *key, int32_t value) {
    json_pack_item it{};
    it.type = 1;
    it.key = key;
    it.value.num = value;
    items_.push_back(it);
    return *this;
}

Req &Req::ints(const char *key, std::span<const int32_t> values) {
    arrays_.emplace_back(values.begin(), values.end());
    json_pack_item it{};
    it.type = 2;
    it.key = key;
    it.count = static_cast<int32_t>(values.size());
    it.value.array = arrays_.back().data();
    items_.push_back(it);
    return *this;
}

Req &Req::ints(const char *key, std::initializer_list<int32_t> values) {
    return ints(key, std::span<const int32_t>(values.begin(), values.size()));
}

Req &Req::flag(const char *key, bool value) {
    json_pack_item it{};
    it.type = 3;
    it.key = key;
    it.value.num = value ? 1 : 0;
    items_.push_back(it);
    return *this;
}

Req &Req::json(const char *key, cJSON *item) {
    json_pack_item it{};
    it.type = 4;
    it.key = key;
    it.value.item = item;
    items_.push_back(it);
    return *this;
}

int exchange(ky_robot_handle *robot, const char *tag, Req *req, const char *reply_key, Reply &reply,
             int timeout_ms) {
    reply.clear();
    if (req == nullptr) {
        return ky_pack_lock_set(tag, robot, nullptr, 0, reply_key, reply.data(), reply.size(), timeout_ms);
    }
    req->handed_over();
    return ky_pack_lock_set(tag, robot, req->items(), req->count(), reply_key, reply.data(), reply.size(),
                            timeout_ms);
}

int set_command(ky_robot_handle *robot, const char *tag, Req req, const char *state_key, const char *reply_key,
                int timeout_ms, int reply_size) {
    Reply reply(reply_size);
    std::string key = reply_key ? reply_key : req.command();
    int r = exchange(robot, tag, req, key.c_str(), reply, timeout_ms < 0 ? out_time() : timeout_ms);
    if (r < 1) return r;
    return parse_ky_set_command(tag, reply.text(), state_key);
}

int send_only(ky_robot_handle *robot, const char *tag, Req req, int sleep_ms) {
    Reply reply(1);
    return exchange(robot, tag, req, nullptr, reply, sleep_ms);
}

int require_dof(ky_robot_handle *robot, const char *tag, int *dof) {
    int d = 0;
    if (ky_get_arm_dof(robot, &d) != 0 || (d != 6 && d != 7)) {
        ky_log_error("[%s] The robotic arm has been disconnected\n", tag);
        return -1;
    }
    if (dof) *dof = d;
    return 0;
}

int get_ints(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
             const char *member, int count, int32_t *out, int timeout_ms) {
    Req req(command);
    Reply reply(1024);
    int r = exchange(robot, tag, req, reply_key, reply, timeout_ms < 0 ? out_time() : timeout_ms);
    if (r < 1) return r;
    json_parse_item item = count == 1 ? parse_int(member) : parse_ints(member, count);
    r = common_json_parse(tag, reply.text(), &item, 1);
    if (r != 0) return r;
    if (count == 1) {
        out[0] = item.value.num;
    } else {
        std::copy_n(item.value.array, count, out);
    }
    return 0;
}

int get_dof_ints(ky_robot_handle *robot, const char *tag, const char *command, const char *reply_key,
                 const char *member, int32_t out[7], int *dof, int timeout_ms) {
    Req req(command);
    Reply reply(1024);
    int r = exchange(robot, tag, req, reply_key, reply, timeout_ms < 0 ? out_time() : timeout_ms);
    if (r < 1) return r;
    int d = 0;
    if (require_dof(robot, tag, &d) != 0) return -1;
    json_parse_item item = parse_ints(member, d);
    r = common_json_parse(tag, reply.text(), &item, 1);
    if (r != 0) return r;
    std::copy_n(item.value.array, d, out);
    if (dof) *dof = d;
    return 0;
}

static json_parse_item make_item(uint32_t type, const char *key, int count) {
    json_parse_item it;
    std::memset(&it, 0, sizeof it);
    it.type = type;
    it.key = key;
    it.count = count;
    return it;
}

json_parse_item parse_int(const char *key) { return make_item(1, key, 0); }
json_parse_item parse_ints(const char *key, int count) { return make_item(2, key, count); }
json_parse_item parse_str(const char *key) { return make_item(0, key, 0); }
json_parse_item parse_flag(const char *key) { return make_item(3, key, 0); }
json_parse_item parse_json(const char *key) { return make_item(4, key, 0); }

void copy_chars(char *dst, size_t dst_size, const char *src, size_t max_chars) {
    if (dst == nullptr || dst_size == 0) return;
    std::memset(dst, 0, dst_size);
    if (src == nullptr) return;
    size_t n = std::min(strnlen(src, max_chars), dst_size);
    std::memcpy(dst, src, n);
}

}  // namespace ky
