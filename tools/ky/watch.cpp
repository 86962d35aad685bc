// ky watch: a full-screen view of the realtime pushes, redrawn in place on the alternate
// screen; the keyboard is read in raw mode, and q or Ctrl-C ends it with the terminal restored.
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>

#include "tools/ky/ky.h"

namespace kycli {

namespace {

volatile std::sig_atomic_t stop_requested = 0;
void on_stop(int) { stop_requested = 1; }

/** Raw keyboard and the alternate screen for the lifetime of the object. */
class Screen {
public:
    explicit Screen(bool tty) : tty_(tty) {
        if (!tty_) return;
        if (tcgetattr(STDIN_FILENO, &saved_) == 0) {
            termios raw = saved_;
            // No line editing, no echo, Ctrl-C arrives as a byte; output processing stays on.
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG | IEXTEN);
            raw.c_iflag &= ~static_cast<tcflag_t>(IXON | ICRNL);
            raw.c_cc[VMIN] = 0;
            raw.c_cc[VTIME] = 0;
            restore_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &raw) == 0;
        }
        std::fputs("\x1b[?1049h\x1b[?25l\x1b[H\x1b[2J", stdout);
        std::fflush(stdout);
    }
    ~Screen() {
        if (!tty_) return;
        std::fputs("\x1b[?25h\x1b[?1049l", stdout);
        std::fflush(stdout);
        if (restore_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
    }
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    /** Waits up to `ms` for a key; true when it asks to quit (q, Q, Ctrl-C, Esc). */
    bool quit_key(int ms) const {
        pollfd p{STDIN_FILENO, POLLIN, 0};
        if (!tty_ || poll(&p, 1, ms) <= 0) {
            if (!tty_) ::poll(nullptr, 0, ms);
            return false;
        }
        char keys[32];
        const ssize_t n = read(STDIN_FILENO, keys, sizeof keys);
        for (ssize_t i = 0; i < n; ++i)
            if (keys[i] == 'q' || keys[i] == 'Q' || keys[i] == 3 || keys[i] == 27) return true;
        return false;
    }

private:
    bool tty_;
    bool restore_ = false;
    termios saved_{};
};

const char *status_name(int s) {
    static const char *const names[] = {"idle", "movel", "movej", "movec", "moves", "through joint", "through pose",
                                        "through force pose", "through current", "stop", "slow stop", "pause",
                                        "current drag", "sensor drag", "teaching"};
    return s >= 0 && s < 15 ? names[s] : "?";
}

void line(std::string &out, const char *text) {
    out += text;
    out += "\x1b[K\r\n";
}

std::string screen_text(const Target &t, int dof, const ky_realtime_arm_joint_state *s, double rate, uint64_t pushes) {
    std::string out = "\x1b[H";
    char buf[256];
    std::snprintf(buf, sizeof buf, "ky watch  %s:%d   pushes %llu   rate %.0f Hz", t.ip.c_str(), t.port,
                  static_cast<unsigned long long>(pushes), rate);
    line(out, buf);
    line(out, "");
    if (s == nullptr) {
        line(out, "waiting for realtime pushes...");
    } else {
        std::snprintf(buf, sizeof buf, "status %-18s arm_err %u   sys_err %u", status_name(s->arm_current_status),
                      unsigned(s->arm_err), unsigned(s->sys_err));
        line(out, buf);
        line(out, "");
        std::snprintf(buf, sizeof buf, "%-6s %10s %10s %9s %8s %8s %4s %6s", "joint", "deg", "deg/s", "current", "temp",
                      "voltage", "en", "error");
        line(out, buf);
        for (int i = 0; i < dof && i < 7; ++i) {
            std::snprintf(buf, sizeof buf, "J%-5d %10.3f %10.3f %9.3f %8.2f %8.2f %4s %6u", i + 1,
                          double(s->joint_position[i]), double(s->joint_speed[i]), double(s->joint_current[i]),
                          double(s->joint_temperature[i]), double(s->joint_voltage[i]), s->joint_en_flag[i] ? "on" : "off",
                          unsigned(s->joint_err_code[i]));
            line(out, buf);
        }
        line(out, "");
        std::snprintf(buf, sizeof buf, "pose   x %.4f  y %.4f  z %.4f m   rx %.4f  ry %.4f  rz %.4f rad",
                      double(s->position[0]), double(s->position[1]), double(s->position[2]), double(s->euler[0]),
                      double(s->euler[1]), double(s->euler[2]));
        line(out, buf);
    }
    line(out, "");
    line(out, "q quits");
    out += "\x1b[J";
    return out;
}

}  // namespace

int run_watch(const Target &t, int refresh_ms) {
    std::mutex m;
    ky_realtime_arm_joint_state last{};
    bool have = false;
    uint64_t count = 0;
    std::deque<std::chrono::steady_clock::time_point> recent;  // arrivals of the last second
    ky::Library::on_realtime([&](const ky_realtime_arm_joint_state &s) {
        const auto now = std::chrono::steady_clock::now();
        std::lock_guard<std::mutex> lock(m);
        if (s.errCode == 0) {
            last = s;
            have = true;
        }
        ++count;
        recent.push_back(now);
        while (!recent.empty() && now - recent.front() > std::chrono::seconds(1)) recent.pop_front();
    });
    Session session(t, 2);
    const int dof = session.robot.dof();

    stop_requested = 0;
    struct sigaction sa {};
    sa.sa_handler = on_stop;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGHUP, &sa, nullptr);

    // Output that is not a terminal gets one JSON line per refresh instead of the screen.
    const bool json = t.json || !isatty(STDOUT_FILENO);
    const bool tty = isatty(STDIN_FILENO) && !json;
    {
        Screen screen(tty);
        while (!stop_requested) {
            std::string text;
            {
                std::lock_guard<std::mutex> lock(m);
                const auto now = std::chrono::steady_clock::now();
                while (!recent.empty() && now - recent.front() > std::chrono::seconds(1)) recent.pop_front();
                const double rate = static_cast<double>(recent.size());
                if (json) {
                    if (have) {
                        Json j = object();
                        cJSON_AddNumberToObject(j.get(), "rate", rate);
                        cJSON_AddItemToObject(j.get(), "joint", numbers(last.joint_position, std::size_t(dof)));
                        const ky_pose p = ky::make_pose(last.position[0], last.position[1], last.position[2],
                                                        last.euler[0], last.euler[1], last.euler[2]);
                        cJSON_AddItemToObject(j.get(), "pose", pose_json(p));
                        cJSON_AddNumberToObject(j.get(), "arm_err", last.arm_err);
                        cJSON_AddNumberToObject(j.get(), "sys_err", last.sys_err);
                        cJSON_AddStringToObject(j.get(), "status", status_name(last.arm_current_status));
                        char *s = cJSON_PrintUnformatted(j.get());
                        text = s ? s : "";
                        text += '\n';
                        cJSON_free(s);
                    }
                } else {
                    text = screen_text(t, dof, have ? &last : nullptr, rate, count);
                }
            }
            std::fputs(text.c_str(), stdout);
            std::fflush(stdout);
            if (screen.quit_key(refresh_ms)) break;
        }
    }
    ky::Library::on_realtime(nullptr);
    return ok;
}

}  // namespace kycli
