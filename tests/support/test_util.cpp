#include "support/test_util.h"

#include <algorithm>

#include "core/fifo.h"
#include "core/registry.h"

#include <cjson/cJSON.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace kytest {
namespace {
std::mutex g_log_mutex;
std::vector<std::string> g_log_lines;

void capture(const char *format, va_list args) {
    char buf[4096];
    std::vsnprintf(buf, sizeof buf, format, args);
    std::lock_guard<std::mutex> lock(g_log_mutex);
    g_log_lines.emplace_back(buf);
}
}  // namespace

LogCapture::LogCapture(uint32_t level) {
    clear();
    ky_set_log_callback(&capture, level);
}

LogCapture::~LogCapture() { ky_set_log_callback(nullptr, KY_LOG_ERROR); }

std::vector<std::string> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    return g_log_lines;
}

bool LogCapture::contains(std::string_view text) const {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    for (const auto &l : g_log_lines) {
        if (l.find(text) != std::string::npos) return true;
    }
    return false;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    g_log_lines.clear();
}

Library::Library(int mode, int out_time, int out_time_max) {
    m_nOutTime = out_time;
    m_nOutTime_max = out_time_max;
    ky_init(mode);
}

Library::~Library() {
    ky_destory();
    m_nOutTime = 500;
    m_nOutTime_max = 1000;
}

// The connection-time queries get at least a second each, whatever short time-out the test
// runs with: on a loaded machine a late identity reply would otherwise fail the set-up, not
// the behaviour under test.
ky_robot_handle *connect(FakeController &fake, const std::string &product) {
    fake.answer_identity(product);
    const int out_time = __atomic_load_n(&m_nOutTime, __ATOMIC_RELAXED);
    __atomic_store_n(&m_nOutTime, std::max(out_time, 1000), __ATOMIC_RELAXED);
    ky_robot_handle *robot = ky_create_robot_arm("127.0.0.1", fake.port());
    __atomic_store_n(&m_nOutTime, out_time, __ATOMIC_RELAXED);
    return robot;
}

std::string member_of(const std::string &request, const std::string &key) {
    std::string out;
    if (cJSON *root = cJSON_Parse(request.c_str())) {
        if (const cJSON *m = cJSON_GetObjectItemCaseSensitive(root, key.c_str())) {
            char *p = cJSON_PrintUnformatted(m);
            out = p;
            cJSON_free(p);
        }
        cJSON_Delete(root);
    }
    return out;
}

int pending_completions(ky_robot_handle *robot) {
    ky::ReadLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    return h == nullptr ? -1 : ky::pending_completions(h->fifo);
}

}  // namespace kytest
