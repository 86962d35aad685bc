/*
 * kyarm/exchange.h: building blocks of every command exchange and the reply waits.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_EXCHANGE_H
#define KYARM_EXCHANGE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ======================================================= Command exchange
 *
 * The building blocks of every command, exported for hosts that speak commands the library
 * has no function for. Each command on the wire is one JSON object, "\r\n" and one NUL.
 */

/** Default reply wait of most commands, in milliseconds (initially 500). A wait of T ms
 *  ends after T ms (T below 2 returns at once). Writable; read at the start of each wait. */
KY_API extern int m_nOutTime;
/** Longer reply wait used by set commands through ky_set_data_common() and by slower
 *  families, in milliseconds (initially 1000). */
KY_API extern int m_nOutTime_max;

/** Request item: one JSON member to send. */
typedef struct {
    uint32_t type;    /**< 0 string, 1 integer, 2 integer array, 3 boolean, 4 JSON item */
    const char *key;  /**< member name (not copied) */
    int32_t count;    /**< element count for type 2, else 0 */
    union {
        const char *str;        /**< type 0 */
        int32_t num;            /**< type 1 and 3 (3: non-zero is true) */
        const int32_t *array;   /**< type 2 */
        void *item;             /**< type 4: a cJSON item; ownership passes to the call */
        intptr_t word;
    } value;
} json_pack_item;

/** Reply item: one JSON member to extract. */
typedef struct {
    uint32_t type;    /**< 0 string, 1 integer, 2 integer array, 3 boolean, 4 JSON item */
    const char *key;
    int32_t count;    /**< type 2: the exact element count the reply must carry (at most 24) */
    union {
        char str[96];       /**< type 0: bytes copied without terminator, at most 95 */
        int32_t num;        /**< type 1 */
        int32_t array[24];  /**< type 2 */
        uint8_t flag;       /**< type 3: 1 true, 0 false; left as it was for a non-boolean */
        void *item;         /**< type 4: deep copy of the member (a cJSON item) to delete */
    } value;
} json_parse_item;

/** Sends the request `items` (when not null) and waits up to timeout_ms for the line whose
 *  "command" (or "state") value is reply_key, copying it into reply_buf (at most
 *  reply_len - 1 bytes, NUL-terminated). With a null reply_key, sends, sleeps timeout_ms and
 *  returns 0. Returns the reply length (> 0), -1 unknown handle or send failure, -2 no reply.
 *  Holds the registry's read lock for the whole call. Type-4 items are consumed.
 *  Modes 1 and 2: only lines filed after the call began count (a reply that came after an
 *  earlier call timed out is never taken); of those, the oldest under reply_key is taken. */
KY_API int ky_pack_lock_set(const char *tag, ky_robot_handle *robot_handle, json_pack_item *items,
                            int count, const char *reply_key, char *reply_buf, int reply_len,
                            int timeout_ms);
/** Internal per-robot record behind a robot handle (opaque). */
typedef struct ky_handle ky_handle;
/** Packs `items` into one JSON object and sends it with "\r\n" and a NUL: 0 sent, -1 no
 *  items or packing failed, -2 send failure. Type-4 items are consumed. */
KY_API int common_json_pack_set(const char *tag, ky_handle *handle, json_pack_item *items, int count);
/** Sends {"command": command} followed by the two bytes after its printed text (its NUL and
 *  one more) instead of "\r\n"; writes the first 8 bytes and CR LF into `dst`. Unused by
 *  the library's own commands. 0, -1 (text does not fit dst_len - 2), -2. */
KY_API int common_json_pack_get(const char *tag, ky_handle *handle, const char *command, char *dst,
                                int dst_len);
/** Waits up to timeout_ms for the line under `reply_key` (mode 0: reads the socket on the
 *  calling thread). Its length, or -1. */
KY_API int handle_revice_data(const char *tag, ky_handle *handle, const char *reply_key, char *reply_buf,
                              int reply_len, int timeout_ms);
/** Parses `text` and extracts `items` (looking inside an "arm_state" or "all_state" object
 *  when the reply has one). 0 or -3. */
KY_API int common_json_parse(const char *tag, const char *text, json_parse_item *items, int count);
/** Reads the boolean `state_key` of a reply: 0 true, 1 false, -3 unparsable or missing. */
KY_API int parse_ky_set_command(const char *tag, const char *text, const char *state_key);
/** Sends {"command": command}, waits m_nOutTime for the reply named `command` and reads
 *  the integer `reply_key` into *out_value. 0; -1, -2 exchange; -3 parse. */
KY_API int ky_get_data_common(ky_robot_handle *robot_handle, int *out_value, const char *command,
                              const char *reply_key);
/** Sends {"command": command, key: value}, waits m_nOutTime_max for the reply named
 *  `command` and reads its "set_state". 0, 1, -1, -2, -3. */
KY_API int ky_set_data_common(ky_robot_handle *robot_handle, int value, const char *command,
                              const char *key);

/** One exchange of any command, for hosts and tools: sends the JSON object `json_object`
 *  (its members in order, printed compactly, followed by "\r\n" and a NUL) and waits up to
 *  timeout_ms for the reply line whose "command" (or "state") value is `reply_key`; with a
 *  null or empty reply_key, the object's own "command" member is the key (most commands are
 *  answered under their own name). The line is copied into `reply` (at most reply_len - 1
 *  bytes, NUL-terminated). Built on ky_pack_lock_set, with its rules for which lines count.
 *  Returns the reply line's whole length (> 0; reply_len or more means the copy was cut,
 *  as with snprintf); -1 unknown handle, send failure, `json_object` not a JSON
 *  object with members, no reply key, or reply_len below 2 (nothing sent in those cases);
 *  -2 no reply in time. */
KY_API int ky_exchange_raw(ky_robot_handle *robot_handle, const char *json_object, const char *reply_key,
                           char *reply, int reply_len, int timeout_ms);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_EXCHANGE_H */
