/*
 * kyarm/log.h: logging.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_LOG_H
#define KYARM_LOG_H

#include <stdarg.h>
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================================== Logging
 *
 * One process-wide logger: a callback and a level threshold. Levels: 0 debug, 1 info,
 * 2 warn, 3 error; 4 or more silences everything. The default callback writes the message
 * to standard error as it is; the default threshold is 3 (errors only).
 */
#define KY_LOG_DEBUG 0
#define KY_LOG_INFO 1
#define KY_LOG_WARN 2
#define KY_LOG_ERROR 3

/** Log callback: a printf-style format and its argument list. May be called from any
 *  library thread (command threads, the receive thread, the UDP thread). */
typedef void (*ky_log_callback)(const char *format, va_list args);

/** Installs `callback` (the default stderr writer when null) with threshold `level`;
 *  returns the callback now in force. */
KY_API ky_log_callback ky_set_log_callback(ky_log_callback callback, uint32_t level);
/** Same as ky_set_log_callback(). */
KY_API ky_log_callback ky_set_log_call_back(ky_log_callback callback, uint32_t level);
/** Appends every message of every level to the file `path`, each line prefixed with
 *  "[YYYY-MM-DD HH_MM_SS]: ". If the file cannot be opened the process exits with status 1. */
KY_API void ky_set_log_save(const char *path);
/** Log at a fixed level through the installed callback (when the threshold allows it). */
KY_API void ky_log_debug(const char *format, ...);
KY_API void ky_log_info(const char *format, ...);
KY_API void ky_log_warn(const char *format, ...);
KY_API void ky_log_error(const char *format, ...);
/** Passes the message on when `level` is below the threshold (the reverse sense of the
 *  four functions above; unused by the library itself). */
KY_API void ky_log(uint32_t level, const char *format, ...);
/** Current local time as "YYYY-MM-DD HH_MM_SS". The text lives in a per-thread buffer
 *  that the next call on the same thread overwrites. */
KY_API const char *ky_get_cur_time(void);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_LOG_H */
