// kyarm/cpp/exchange.hpp: the C++ members of the exchange family (include/kyarm/exchange.h):
// the generic integer get and set commands, and a raw exchange of any JSON command.
// Include <kyarm.hpp> rather than this file.
//
// Not wrapped: common_json_pack_set, common_json_pack_get and handle_revice_data take the
// library's internal ky_handle (no robot handle), and common_json_parse and
// parse_ky_set_command are reply parsers for C hosts; raw() returns the reply line itself.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <algorithm>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::exchange> {
    static constexpr code_text table[] = {
        {1, "refused by the controller (\"set_state\" false)"},
        {-1, "unknown robot handle, send failure, or a raw request that is not a JSON object with a reply key"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

template <class Self, class Policy>
class exchange_ops : public ops_base<Self, Policy, family::exchange, exchange_ops<Self, Policy>> {
    KY_OPS_BASE(exchange_ops, family::exchange);

public:
    /** Sends {"command": command}, waits the default reply time (m_nOutTime) for the reply
     *  named `command` and returns its integer member `reply_key` (ky_get_data_common). */
    auto get_data_common(std::string_view command, std::string_view reply_key) const {
        const std::string c(command), k(reply_key);
        int value = 0;
        int rc = ky_get_data_common(h(), &value, c.c_str(), k.c_str());
        return done("ky_get_data_common", rc, value);
    }
    /** Sends {"command": command, key: value} and waits the long reply time (m_nOutTime_max)
     *  for its "set_state" (ky_set_data_common). */
    auto set_data_common(int value, std::string_view command, std::string_view key) const {
        const std::string c(command), k(key);
        return done("ky_set_data_common", ky_set_data_common(h(), value, c.c_str(), k.c_str()));
    }

    /** One exchange of any command: sends the JSON object `json_object` (each member as it is
     *  written, nested objects and arrays included; the wire form is compact, member order
     *  kept) and returns the reply line. The reply is the first line filed after the send
     *  whose "command" (or "state") value is the reply key: `reply_key` when it is not empty,
     *  else the text of the object's own "command" member (most commands are answered under
     *  their own name; set commands that answer under another name need `reply_key`).
     *  Waits up to `timeout` (default: the library's m_nOutTime). ky_exchange_raw: -2 no
     *  reply in time; -1 unknown handle, send failure, or refused before sending (text that
     *  is not a JSON object, an empty object, or no reply key: no `reply_key` and no string
     *  "command" member). Replies longer than 256 KiB are cut. */
    auto raw(std::string_view json_object, std::string_view reply_key = {},
             std::optional<std::chrono::milliseconds> timeout = std::nullopt) const {
        constexpr const char *fn = "ky_exchange_raw";
        const std::string json(json_object), key(reply_key);
        const int wait = static_cast<int>(timeout ? timeout->count() : m_nOutTime);
        std::string reply(reply_capacity, '\0');
        int r = ky_exchange_raw(h(), json.c_str(), key.c_str(), reply.data(), static_cast<int>(reply.size()), wait);
        if (r > 0) {
            reply.resize(std::min(static_cast<std::size_t>(r), reply.size() - 1));
            return done(fn, 0, std::move(reply));
        }
        return done(fn, r, std::string());
    }

private:
    /** Room for the longest reply line raw() returns (longer ones are cut). */
    static constexpr std::size_t reply_capacity = 256 * 1024;
};

}  // namespace ky
