// Process-wide logger: one callback and one level threshold.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>

#include "ky_api.h"

namespace {

void default_log(const char *format, va_list args) { std::vfprintf(stderr, format, args); }

struct Logger {
    // Both fields are read by every logging thread and written by the setters; atomics
    // keep a concurrent change of callback or level well defined.
    std::atomic<ky_log_callback> callback{&default_log};
    std::atomic<uint32_t> level{KY_LOG_ERROR};
};
Logger gLogger;

std::mutex g_log_file_mutex;
FILE *g_log_file = nullptr;

void custom_api_log(const char *format, va_list args) {
    if (format == nullptr) {
        std::fputs("Error: message is a null pointer\n", stderr);
        return;
    }
    char message[1024];
    std::vsnprintf(message, sizeof message, format, args);
    std::lock_guard<std::mutex> lock(g_log_file_mutex);
    if (g_log_file != nullptr) {
        std::fprintf(g_log_file, "[%s]: %s\n", ky_get_cur_time(), message);
        std::fflush(g_log_file);
    }
}

void log_at(uint32_t level, const char *format, va_list args) {
    if (gLogger.level.load(std::memory_order_relaxed) > level) return;
    gLogger.callback.load(std::memory_order_acquire)(format, args);
}

}  // namespace

extern "C" {

KY_API ky_log_callback ky_set_log_callback(ky_log_callback callback, uint32_t level) {
    ky_log_callback now = callback ? callback : &default_log;
    gLogger.callback.store(now, std::memory_order_release);
    gLogger.level.store(level, std::memory_order_relaxed);
    return now;
}

KY_API ky_log_callback ky_set_log_call_back(ky_log_callback callback, uint32_t level) {
    return ky_set_log_callback(callback, level);
}

KY_API void ky_set_log_save(const char *path) {
    FILE *file = path ? std::fopen(path, "a") : nullptr;
    if (file == nullptr) {
        if (path == nullptr) errno = EINVAL;
        std::perror("Failed to open log file");
        std::exit(1);
    }
    {
        std::lock_guard<std::mutex> lock(g_log_file_mutex);
        if (g_log_file != nullptr) std::fclose(g_log_file);
        g_log_file = file;
        std::fprintf(g_log_file, "[%s] Begin API Testing.\n", ky_get_cur_time());
        std::fflush(g_log_file);
    }
    ky_set_log_callback(&custom_api_log, KY_LOG_DEBUG);
}

#define KY_LOG_AT(lvl)                \
    va_list args;                     \
    va_start(args, format);           \
    log_at(lvl, format, args);        \
    va_end(args)

KY_API void ky_log_debug(const char *format, ...) { KY_LOG_AT(KY_LOG_DEBUG); }
KY_API void ky_log_info(const char *format, ...) { KY_LOG_AT(KY_LOG_INFO); }
KY_API void ky_log_warn(const char *format, ...) { KY_LOG_AT(KY_LOG_WARN); }
KY_API void ky_log_error(const char *format, ...) { KY_LOG_AT(KY_LOG_ERROR); }

KY_API void ky_log(uint32_t level, const char *format, ...) {
    if (level >= gLogger.level.load(std::memory_order_relaxed)) return;
    va_list args;
    va_start(args, format);
    gLogger.callback.load(std::memory_order_acquire)(format, args);
    va_end(args);
}

KY_API const char *ky_get_cur_time(void) {
    // One buffer per thread: the text stays valid on the calling thread until its next call.
    thread_local char text[64];
    std::time_t now = std::time(nullptr);
    std::tm tm{};
    localtime_r(&now, &tm);
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d_%02d_%02d", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    return text;
}

}  // extern "C"
