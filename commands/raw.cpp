// ky_exchange_raw: one exchange of any JSON command, for hosts and tools (the `ky raw`
// command, the C++ and Python raw() members) that speak commands the library has no
// function for.
#include <cjson/cJSON.h>

#include <string>
#include <vector>

#include "ky_api.h"

KY_API int ky_exchange_raw(ky_robot_handle *robot_handle, const char *json_object, const char *reply_key,
                           char *reply, int reply_len, int timeout_ms) {
    if (json_object == nullptr || reply == nullptr || reply_len < 2) return -1;
    cJSON *root = cJSON_Parse(json_object);
    if (root == nullptr || !cJSON_IsObject(root) || root->child == nullptr) {
        cJSON_Delete(root);
        ky_log_error("[ky_exchange_raw] not a JSON object with members\n");
        return -1;
    }
    std::string key = reply_key ? reply_key : "";
    if (key.empty()) {
        const cJSON *command = cJSON_GetObjectItemCaseSensitive(root, "command");
        if (cJSON_IsString(command)) key = command->valuestring;
    }
    if (key.empty()) {
        cJSON_Delete(root);
        ky_log_error("[ky_exchange_raw] no reply key and no \"command\" member\n");
        return -1;
    }
    // One type-4 item per member, in order: the exchange takes each detached member over.
    // Member names are copied first, since the exchange frees the members with their names.
    std::vector<std::string> names;
    std::vector<json_pack_item> items;
    while (cJSON *member = root->child) {
        cJSON_DetachItemViaPointer(root, member);
        names.emplace_back(member->string ? member->string : "");
        json_pack_item item{};
        item.type = 4;
        item.value.item = member;
        items.push_back(item);
    }
    cJSON_Delete(root);
    for (size_t i = 0; i < items.size(); ++i) items[i].key = names[i].c_str();
    return ky_pack_lock_set("ky_exchange_raw", robot_handle, items.data(), static_cast<int>(items.size()),
                            key.c_str(), reply, reply_len, timeout_ms);
}
