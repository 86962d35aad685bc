// Server side of the simulator: the TCP listener and its clients (one I/O thread with poll()),
// the motion thread that advances the arm every tick, and the UDP realtime push thread.
// One mutex guards the arm and the client table; socket reads and writes are non-blocking.
#include "sim/simulator.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cjson/cJSON.h>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <list>
#include <mutex>
#include <thread>

#include "sim/arm.h"
#include "sim/commands.h"
#include "sim/framing.h"

namespace ky::sim {

namespace {
using Clock = std::chrono::steady_clock;
constexpr size_t kMaxPending = 1 << 20;  // input held without a line end before it is dropped
constexpr int kReadsPerRound = 16;       // reads of one client before the others get their turn
// An upload whose announced bytes stop arriving for this long is answered false.
constexpr auto kUploadIdle = std::chrono::milliseconds(1000);

struct Outgoing {
    Clock::time_point due;
    std::string bytes;
};

struct Client {
    int fd = -1;
    std::string peer;
    Framer framer{kMaxPending};
    std::deque<Outgoing> out;  // lines not due yet (reply latency)
    std::string wbuf;          // due bytes; wbuf[0, woff) is sent
    size_t woff = 0;
    size_t queued = 0;         // bytes in out and wbuf not sent yet
    uint64_t commands = 0;
    bool close_when_flushed = false;
    bool dead = false;
    // Project upload under way: the announced bytes are raw text, not commands.
    bool raw = false;
    bool raw_skip_nul = false;  // the NUL that ends the announcing command is not project text
    UploadAnnouncement upload;
    std::string raw_text;
    Clock::time_point raw_last;
};

// The command that announces a project upload: the bytes after it are project text.
bool announces_upload(const std::string &command) {
    if (command.find("run_project") == std::string::npos) return false;
    cJSON *o = cJSON_Parse(command.c_str());
    const cJSON *name = o ? cJSON_GetObjectItemCaseSensitive(o, "command") : nullptr;
    const bool yes = cJSON_IsString(name) && std::strcmp(name->valuestring, "run_project") == 0;
    cJSON_Delete(o);
    return yes;
}

void set_nonblocking(int fd) { fcntl(fd, F_SETFL, fcntl(fd, F_GETFL, 0) | O_NONBLOCK); }

// Every member except "command" becomes the string "?".
std::string mangle(const std::string &line) {
    cJSON *o = cJSON_Parse(line.c_str());
    if (o == nullptr) return line.substr(0, line.size() / 2);
    cJSON *m = cJSON_CreateObject();
    for (const cJSON *i = o->child; i != nullptr; i = i->next) {
        if (i->string == nullptr) continue;
        if (std::strcmp(i->string, "command") == 0) cJSON_AddItemToObject(m, "command", cJSON_Duplicate(i, 1));
        else cJSON_AddStringToObject(m, i->string, "?");
    }
    char *t = cJSON_PrintUnformatted(m);
    std::string s = t ? t : "";
    cJSON_free(t);
    cJSON_Delete(m);
    cJSON_Delete(o);
    return s;
}
}  // namespace

struct Simulator::Impl {
    Options opts;
    mutable std::mutex m;
    mutable std::condition_variable idle_cv;
    std::condition_variable tick_cv, push_cv;
    Arm arm;
    Faults faults;
    std::mt19937_64 fault_rng;
    std::list<Client> clients;
    Client *point_client = nullptr;  // receives the point lines of the save under way
    uint64_t commands = 0;
    uint64_t examined = 0;
    uint64_t push_version = 0;
    std::atomic<uint64_t> datagrams{0};
    std::atomic<bool> stopping{false};
    std::atomic<bool> started{false};
    std::atomic<int> bound_port{0};
    int listen_fd = -1, wake_fd = -1, udp_fd = -1;
    std::string error;
    std::thread io, motion, pusher;

    void log(const std::string &s) {
        if (opts.log) opts.log(s);
    }
    void wake() {
        const uint64_t one = 1;
        if (wake_fd >= 0) (void)!write(wake_fd, &one, sizeof one);
    }
    // A client that does not read is disconnected once its unsent output passes the bound: it
    // costs the others neither memory nor time, and it never misses a line silently.
    void enqueue(Client &c, std::string line, Clock::time_point due) {
        if (c.dead) return;
        line += "\r\n";
        c.queued += line.size();
        c.out.push_back({due, std::move(line)});
        if (c.queued > opts.max_output_bytes) {
            log("dropping " + c.peer + ": " + std::to_string(c.queued) + " bytes of output unread");
            c.dead = true;
            wake();
        }
    }
    void broadcast_locked(const std::vector<std::string> &lines) {
        if (lines.empty()) return;
        for (auto &c : clients)
            for (const auto &l : lines) enqueue(c, l, Clock::now());
        wake();
    }

    bool start();
    void io_loop();
    void read_client(Client &c);
    void handle_line(Client &c, const std::string &line);
    void take_raw(Client &c, std::string_view &bytes);
    void end_upload(Client &c, bool timed_out);
    void motion_loop();
    void push_loop();
    std::string datagram();
};

// ------------------------------------------------------------------ start and stop

bool Simulator::Impl::start() {
    if (!arm.init(opts, error)) return false;
    arm.devices.init(opts);
    arm.modbus.configure(opts.modbus);
    arm.force.type = arm.sensor;
    arm.force.noise = opts.force_noise;
    arm.force.speed_scale = opts.speed_scale;
    if (opts.push_cycle_ms < 1 || opts.push_cycle_ms > 1000) {
        error = "push cycle must be 1..1000 ms";
        return false;
    }
    faults = opts.faults;
    fault_rng.seed((opts.seed ? opts.seed : 0x5eedULL) + 1);
    listen_fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int one = 1;
    setsockopt(listen_fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(opts.port));
    if (inet_pton(AF_INET, opts.bind_address.c_str(), &a.sin_addr) != 1) {
        error = "bad bind address " + opts.bind_address;
        return false;
    }
    if (listen_fd < 0 || opts.port < 0 || opts.port > 65535 || bind(listen_fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0 ||
        listen(listen_fd, 16) != 0) {
        error = "cannot listen on " + opts.bind_address + ":" + std::to_string(opts.port) + ": " + std::strerror(errno);
        return false;
    }
    socklen_t len = sizeof a;
    getsockname(listen_fd, reinterpret_cast<sockaddr *>(&a), &len);
    bound_port = ntohs(a.sin_port);
    set_nonblocking(listen_fd);
    wake_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    udp_fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (wake_fd < 0 || udp_fd < 0) {
        error = std::string("cannot create sockets: ") + std::strerror(errno);
        return false;
    }
    io = std::thread([this] { io_loop(); });
    motion = std::thread([this] { motion_loop(); });
    pusher = std::thread([this] { push_loop(); });
    return true;
}

Simulator::Simulator(Options options) : impl_(std::make_unique<Impl>()) { impl_->opts = std::move(options); }

Simulator::~Simulator() { stop(); }

bool Simulator::start() {
    if (impl_->started) return true;
    if (!impl_->start()) {
        for (int *fd : {&impl_->listen_fd, &impl_->wake_fd, &impl_->udp_fd}) {
            if (*fd >= 0) close(*fd);
            *fd = -1;
        }
        return false;
    }
    impl_->started = true;
    impl_->log("listening on " + impl_->opts.bind_address + ":" + std::to_string(impl_->bound_port));
    return true;
}

void Simulator::stop() {
    if (!impl_->started) return;
    {
        std::lock_guard<std::mutex> lk(impl_->m);
        impl_->stopping = true;
    }
    impl_->tick_cv.notify_all();
    impl_->push_cv.notify_all();
    impl_->wake();
    impl_->io.join();
    impl_->motion.join();
    impl_->pusher.join();
    for (auto &c : impl_->clients) close(c.fd);
    impl_->clients.clear();
    impl_->point_client = nullptr;
    for (int *fd : {&impl_->listen_fd, &impl_->wake_fd, &impl_->udp_fd}) {
        close(*fd);
        *fd = -1;
    }
    impl_->started = false;
    impl_->stopping = false;
}

bool Simulator::running() const { return impl_->started; }
int Simulator::port() const { return impl_->bound_port; }
std::string Simulator::error() const { return impl_->error; }

// ------------------------------------------------------------------ TCP clients

void Simulator::Impl::io_loop() {
    std::vector<pollfd> fds;
    std::vector<Client *> polled;
    while (!stopping) {
        int timeout = 100;
        fds.clear();
        polled.clear();
        fds.push_back({wake_fd, POLLIN, 0});
        fds.push_back({listen_fd, POLLIN, 0});
        {
            std::lock_guard<std::mutex> lk(m);
            const auto now = Clock::now();
            for (auto &c : clients) {
                short ev = POLLIN;
                if (c.wbuf.size() > c.woff) ev |= POLLOUT;
                if (!c.out.empty()) {
                    const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(c.out.front().due - now);
                    timeout = std::clamp(static_cast<int>(wait.count()) + 1, 0, timeout);
                }
                if (c.raw) {
                    const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(c.raw_last + kUploadIdle - now);
                    timeout = std::clamp(static_cast<int>(wait.count()) + 1, 0, timeout);
                }
                fds.push_back({c.fd, ev, 0});
                polled.push_back(&c);
            }
        }
        poll(fds.data(), fds.size(), timeout);
        if (fds[0].revents & POLLIN) {
            uint64_t v;
            (void)!read(wake_fd, &v, sizeof v);
        }
        std::lock_guard<std::mutex> lk(m);
        if (stopping) break;
        if (fds[1].revents & POLLIN) {
            for (;;) {
                sockaddr_in peer{};
                socklen_t len = sizeof peer;
                const int fd = accept4(listen_fd, reinterpret_cast<sockaddr *>(&peer), &len, SOCK_NONBLOCK | SOCK_CLOEXEC);
                if (fd < 0) break;
                int one = 1;
                setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                Client c;
                c.fd = fd;
                char ip[INET_ADDRSTRLEN] = "";
                inet_ntop(AF_INET, &peer.sin_addr, ip, sizeof ip);
                c.peer = std::string(ip) + ":" + std::to_string(ntohs(peer.sin_port));
                log("client connected: " + c.peer);
                clients.push_back(std::move(c));
            }
        }
        for (size_t i = 0; i < polled.size(); ++i) {
            if (!polled[i]->dead && (fds[i + 2].revents & (POLLIN | POLLHUP | POLLERR))) read_client(*polled[i]);
        }
        const auto now = Clock::now();
        for (auto &c : clients) {
            if (c.dead) continue;
            if (c.raw && now - c.raw_last >= kUploadIdle) end_upload(c, true);
            if (c.woff > 0 && c.woff >= c.wbuf.size() / 2) {  // sent bytes go before the buffer grows
                c.wbuf.erase(0, c.woff);
                c.woff = 0;
            }
            while (!c.out.empty() && c.out.front().due <= now) {
                c.wbuf += c.out.front().bytes;
                c.out.pop_front();
            }
            while (c.wbuf.size() > c.woff) {
                const ssize_t n = send(c.fd, c.wbuf.data() + c.woff, c.wbuf.size() - c.woff, MSG_NOSIGNAL);
                if (n > 0) {
                    c.woff += static_cast<size_t>(n);
                    c.queued -= static_cast<size_t>(n);
                } else {
                    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) c.dead = true;
                    break;
                }
            }
            if (c.woff == c.wbuf.size()) {
                c.wbuf.clear();
                c.woff = 0;
            }
            if (c.close_when_flushed && c.wbuf.empty() && c.out.empty()) c.dead = true;
        }
        for (auto it = clients.begin(); it != clients.end();) {
            if (it->dead) {
                if (point_client == &*it) point_client = nullptr;
                log("client closed: " + it->peer);
                close(it->fd);
                it = clients.erase(it);
            } else {
                ++it;
            }
        }
    }
}

// Reads what the client sent (a bounded number of reads, then the other clients get their turn;
// poll reports the rest) and serves every command completed by it.
void Simulator::Impl::read_client(Client &c) {
    char buf[8192];
    std::vector<std::string> lines;
    for (int reads = 0; reads < kReadsPerRound && !c.dead; ++reads) {
        const ssize_t n = recv(c.fd, buf, sizeof buf, 0);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
            c.dead = true;
            return;
        }
        if (n < 0) break;
        if (c.close_when_flushed) continue;  // closing: further commands are not served
        std::string_view rest(buf, static_cast<size_t>(n));
        while (!rest.empty() && !c.close_when_flushed && !c.dead) {
            if (c.raw) {
                take_raw(c, rest);
                continue;
            }
            const uint64_t before = c.framer.examined();
            lines.clear();
            size_t used = 0;
            const size_t dropped = c.framer.feed(rest, lines, announces_upload, used);
            rest.remove_prefix(used);
            examined += c.framer.examined() - before;
            if (dropped > 0) log("dropping " + std::to_string(dropped) + " bytes without a line end from " + c.peer);
            for (const auto &line : lines) {
                handle_line(c, line);
                if (c.close_when_flushed) {
                    c.framer.clear();
                    break;
                }
            }
        }
    }
}

// Takes project text of the upload under way from `bytes`, up to the announced size.
void Simulator::Impl::take_raw(Client &c, std::string_view &bytes) {
    if (c.raw_skip_nul && !bytes.empty()) {
        c.raw_skip_nul = false;
        if (bytes.front() == '\0') bytes.remove_prefix(1);
    }
    const size_t take = std::min(bytes.size(), c.upload.size - c.raw_text.size());
    c.raw_text.append(bytes.substr(0, take));
    bytes.remove_prefix(take);
    examined += take;
    c.raw_last = Clock::now();
    if (c.raw_text.size() == c.upload.size) end_upload(c, false);
}

// Answers the upload ("download_project") and returns the connection to commands.
void Simulator::Impl::end_upload(Client &c, bool timed_out) {
    if (timed_out) log("upload from " + c.peer + " timed out");
    const std::string verdict = finish_upload(arm, c.upload, c.raw_text, timed_out);
    c.raw = false;
    std::string().swap(c.raw_text);
    enqueue(c, verdict, Clock::now());
    wake();
}

void Simulator::Impl::handle_line(Client &c, const std::string &line) {
    cJSON *req = cJSON_Parse(line.c_str());
    const cJSON *name = req ? cJSON_GetObjectItemCaseSensitive(req, "command") : nullptr;
    if (!cJSON_IsString(name) || name->valuestring == nullptr) {
        log("ignored input from " + c.peer + ": " + line.substr(0, 200));
        cJSON_Delete(req);
        return;
    }
    ++commands;
    ++c.commands;
    DispatchResult r;
    dispatch(arm, req, name->valuestring, faults.refuse_all, r);
    if (!r.known) log(std::string("refused unknown command \"") + name->valuestring + "\"");
    cJSON_Delete(req);
    const auto due = Clock::now() + std::chrono::milliseconds(std::max(0, faults.reply_latency_ms));
    std::uniform_real_distribution<double> share(0.0, 1.0);
    for (auto &reply : r.replies) {
        if (faults.drop_share > 0 && share(fault_rng) < faults.drop_share) continue;
        if (faults.malformed_share > 0 && share(fault_rng) < faults.malformed_share) reply = mangle(reply);
        enqueue(c, reply, due);
    }
    broadcast_locked(r.broadcast);
    // A saved recording streams its point lines to the client that asked, behind the reply.
    if (arm.programs.announced) {
        // "run_project" was accepted: exactly the announced number of bytes follow.
        arm.programs.announced = false;
        c.raw = true;
        c.raw_skip_nul = true;
        c.upload = arm.programs.upload;
        c.raw_text.clear();
        c.raw_last = Clock::now();
        if (c.upload.size == 0) end_upload(c, false);
    }
    if (arm.drag.save_requested) {
        arm.drag.save_requested = false;
        point_client = &c;
    }
    if (faults.close_after > 0 && c.commands >= static_cast<uint64_t>(faults.close_after)) c.close_when_flushed = true;
    ++push_version;
    push_cv.notify_all();
}

// ------------------------------------------------------------------ motion

void Simulator::Impl::motion_loop() {
    auto last = Clock::now();
    const auto period = std::chrono::milliseconds(std::max(1, opts.tick_ms));
    std::unique_lock<std::mutex> lk(m);
    while (!stopping) {
        tick_cv.wait_for(lk, period, [this] { return stopping.load(); });
        if (stopping) break;
        const auto now = Clock::now();
        const double dt = std::min(0.25, std::chrono::duration<double>(now - last).count());
        last = now;
        std::vector<std::string> lines;
        arm.tick(dt, lines);
        arm.devices.tick(dt, arm.power, lines);
        arm.force.tick(dt, lines);
        program_tick(arm, lines);
        broadcast_locked(lines);
        lines.clear();
        drag_emit(arm.drag, dt, lines);
        if (point_client != nullptr && !lines.empty()) {
            for (auto &l : lines) enqueue(*point_client, std::move(l), now);
            wake();
        }
        if (!arm.busy()) idle_cv.notify_all();
    }
}

// ------------------------------------------------------------------ UDP realtime push

std::string Simulator::Impl::datagram() {
    const int n = arm.dof;
    int pos[kMaxDof], cur[kMaxDof], temp[kMaxDof], volt[kMaxDof], speed[kMaxDof];
    for (int i = 0; i < n; ++i) {
        pos[i] = static_cast<int>(std::lround(arm.q_[i] * 1000.0));
        cur[i] = arm.current(i);
        temp[i] = arm.temperature(i);
        volt[i] = arm.voltage(i);
        speed[i] = static_cast<int>(std::lround(arm.qd_[i] / 6.0 * 1000.0));
    }
    cJSON *o = cJSON_CreateObject();
    cJSON *js = cJSON_AddObjectToObject(o, "joint_status");
    cJSON_AddItemToObject(js, "joint_current", cJSON_CreateIntArray(cur, n));
    cJSON_AddItemToObject(js, "joint_en_flag", cJSON_CreateIntArray(arm.en_state, n));
    cJSON_AddItemToObject(js, "joint_err_code", cJSON_CreateIntArray(arm.err_flag, n));
    cJSON_AddItemToObject(js, "joint_position", cJSON_CreateIntArray(pos, n));
    cJSON_AddItemToObject(js, "joint_temperature", cJSON_CreateIntArray(temp, n));
    cJSON_AddItemToObject(js, "joint_voltage", cJSON_CreateIntArray(volt, n));
    if (arm.push.joint_speed) cJSON_AddItemToObject(js, "joint_speed", cJSON_CreateIntArray(speed, n));
    double p[6];
    arm.tool_pose(p);
    const Eigen::Quaterniond q(pose_to_transform(p).linear());
    const int position[3] = {static_cast<int>(std::lround(p[0] * 1e6)), static_cast<int>(std::lround(p[1] * 1e6)),
                             static_cast<int>(std::lround(p[2] * 1e6))};
    const int euler[3] = {static_cast<int>(std::lround(p[3] * 1e3)), static_cast<int>(std::lround(p[4] * 1e3)),
                          static_cast<int>(std::lround(p[5] * 1e3))};
    const int quat[4] = {static_cast<int>(std::lround(q.w() * 1e6)), static_cast<int>(std::lround(q.x() * 1e6)),
                         static_cast<int>(std::lround(q.y() * 1e6)), static_cast<int>(std::lround(q.z() * 1e6))};
    cJSON *wp = cJSON_AddObjectToObject(o, "waypoint");
    cJSON_AddItemToObject(wp, "euler", cJSON_CreateIntArray(euler, 3));
    cJSON_AddItemToObject(wp, "position", cJSON_CreateIntArray(position, 3));
    cJSON_AddItemToObject(wp, "quat", cJSON_CreateIntArray(quat, 4));
    cJSON_AddNumberToObject(o, "arm_err", 0);
    cJSON_AddNumberToObject(o, "sys_err", 0);
    if (arm.push.arm_current_status) cJSON_AddStringToObject(o, "arm_current_status", arm.status_name());
    if (arm.push.lift_state) {
        cJSON *l = cJSON_AddObjectToObject(o, "lift_state");
        const LinearAxis &lift = arm.devices.lift;
        cJSON_AddNumberToObject(l, "pos", std::lround(lift.travel.pos * 1000.0));
        cJSON_AddNumberToObject(l, "height", std::lround(lift.travel.pos));
        cJSON_AddNumberToObject(l, "current", lift.current());
        cJSON_AddNumberToObject(l, "err_flag", 0);
        cJSON_AddNumberToObject(l, "en_flag", 1);
    }
    if (arm.push.expand_state) {
        cJSON *e = cJSON_AddObjectToObject(o, "expand_state");
        cJSON_AddNumberToObject(e, "joint_id", 1);
        const LinearAxis &axis = arm.devices.expand;
        cJSON_AddNumberToObject(e, "mode", axis.moving() ? 1 : 0);
        cJSON_AddNumberToObject(e, "pos", std::lround(axis.travel.pos));
        cJSON_AddNumberToObject(e, "current", axis.current());
        cJSON_AddNumberToObject(e, "err_flag", 0);
        cJSON_AddNumberToObject(e, "en_flag", 1);
    }
    if (arm.force.type != 0) {
        int force[6], zero[6];
        const Wrench f = force_reading(arm);
        for (int i = 0; i < 6; ++i) {
            force[i] = static_cast<int>(std::lround(f[i] * 1000.0));
            zero[i] = static_cast<int>(std::lround(arm.force.zero[i] * 1000.0));
        }
        cJSON *b = cJSON_AddObjectToObject(o, arm.force.six_axis() ? "six_force_sensor" : "one_force_sensor");
        cJSON_AddItemToObject(b, "force", cJSON_CreateIntArray(force, 6));
        cJSON_AddItemToObject(b, "zero_force", cJSON_CreateIntArray(zero, 6));
        cJSON_AddNumberToObject(b, "coordinate", arm.push.force_coordinate);
    }
    char *t = cJSON_PrintUnformatted(o);
    std::string s = t ? t : "";
    cJSON_free(t);
    cJSON_Delete(o);
    return s;
}

void Simulator::Impl::push_loop() {
    std::unique_lock<std::mutex> lk(m);
    auto next = Clock::now();
    while (!stopping) {
        const PushConfig cfg = arm.push;
        const uint64_t version = push_version;
        if (cfg.enable) {
            const std::string text = datagram();
            sockaddr_in to{};
            to.sin_family = AF_INET;
            to.sin_port = htons(static_cast<uint16_t>(cfg.port));
            if (inet_pton(AF_INET, cfg.ip.c_str(), &to.sin_addr) == 1) {
                lk.unlock();
                if (sendto(udp_fd, text.data(), text.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&to),
                           sizeof to) >= 0)
                    ++datagrams;
                lk.lock();
            }
        }
        next += std::chrono::milliseconds(cfg.cycle_ms);
        const auto now = Clock::now();
        if (next < now) next = now;  // fell behind: keep the cycle, do not burst
        push_cv.wait_until(lk, next, [&] {
            return stopping.load() || (push_version != version && !(arm.push.enable == cfg.enable &&
                                                                  arm.push.cycle_ms == cfg.cycle_ms));
        });
        if (arm.push.cycle_ms != cfg.cycle_ms || arm.push.enable != cfg.enable) next = Clock::now();
    }
}

// ------------------------------------------------------------------ accessors

int Simulator::dof() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->arm.dof;
}

std::vector<double> Simulator::joints() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return {impl_->arm.q_.begin(), impl_->arm.q_.begin() + impl_->arm.dof};
}

Pose Simulator::tool_pose() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    double p[6];
    impl_->arm.tool_pose(p);
    return {p[0], p[1], p[2], p[3], p[4], p[5]};
}

int Simulator::trajectory_type() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->arm.trajectory_type();
}

bool Simulator::moving() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->arm.moving();
}

bool Simulator::paused() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->arm.paused();
}

std::string Simulator::tool_frame_name() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->arm.tool_name;
}

std::string Simulator::work_frame_name() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->arm.work_name;
}

bool Simulator::wait_idle(int timeout_ms) const {
    std::unique_lock<std::mutex> lk(impl_->m);
    return impl_->idle_cv.wait_for(lk, std::chrono::milliseconds(timeout_ms), [this] { return !impl_->arm.busy(); });
}

bool Simulator::set_joints(const std::vector<double> &q) {
    std::lock_guard<std::mutex> lk(impl_->m);
    Arm &a = impl_->arm;
    if (a.busy() || q.size() != static_cast<size_t>(a.dof)) return false;
    Joints j = a.q_;
    for (int i = 0; i < a.dof; ++i) j[i] = q[i];
    if (!a.within_limits(j)) return false;
    a.q_ = j;
    return true;
}

namespace {
bool drive_input(int *levels, int channels, int channel, int level) {
    if (channel < 1 || channel > channels || (level != 0 && level != 1)) return false;
    levels[channel - 1] = level;
    return true;
}
}  // namespace

bool Simulator::set_digital_input(int channel, int level) {
    std::lock_guard<std::mutex> lk(impl_->m);
    return drive_input(impl_->arm.io.di, IoState::kChannels, channel, level);
}

bool Simulator::set_tool_digital_input(int channel, int level) {
    std::lock_guard<std::mutex> lk(impl_->m);
    return drive_input(impl_->arm.io.tool_di, IoState::kToolChannels, channel, level);
}

void Simulator::set_gripper_object(int width) {
    std::lock_guard<std::mutex> lk(impl_->m);
    impl_->arm.devices.gripper.object = width < 0 ? -1 : std::min(width, Gripper::kStroke);
}

bool Simulator::set_device_report(int device, const DeviceReport &report) {
    if (device < kGripperDevice || device > kExpandDevice) return false;
    std::lock_guard<std::mutex> lk(impl_->m);
    impl_->arm.devices.reports[static_cast<size_t>(device)] = report;
    return true;
}

bool Simulator::drag_along(const std::vector<std::vector<double>> &path, int step_ms) {
    std::lock_guard<std::mutex> lk(impl_->m);
    Arm &a = impl_->arm;
    std::vector<DragState::Sample> points;
    for (const auto &p : path) {
        if (p.size() != static_cast<size_t>(a.dof)) return false;
        DragState::Sample q = a.q_;
        for (int i = 0; i < a.dof; ++i) q[i] = p[i];
        points.push_back(q);
    }
    return drag_hand(a, points, step_ms / 1000.0);
}

bool Simulator::hand_moving() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return !impl_->arm.drag.hand.empty();
}

std::vector<std::vector<double>> Simulator::drag_recording() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    const Arm &a = impl_->arm;
    std::vector<std::vector<double>> r;
    for (const auto &s : a.drag.recorded) r.emplace_back(s.begin(), s.begin() + a.dof);
    return r;
}

int Simulator::client_count() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return static_cast<int>(impl_->clients.size());
}

uint64_t Simulator::commands_received() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->commands;
}

uint64_t Simulator::input_bytes_examined() const {
    std::lock_guard<std::mutex> lk(impl_->m);
    return impl_->examined;
}

void Simulator::broadcast(const std::string &line) {
    std::lock_guard<std::mutex> lk(impl_->m);
    impl_->broadcast_locked({line});
}

void Simulator::disconnect_clients() {
    std::lock_guard<std::mutex> lk(impl_->m);
    for (auto &c : impl_->clients) c.dead = true;
    impl_->wake();
}

void Simulator::set_faults(const Faults &faults) {
    std::lock_guard<std::mutex> lk(impl_->m);
    impl_->faults = faults;
}

uint64_t Simulator::datagrams_sent() const { return impl_->datagrams.load(); }

}  // namespace ky::sim
