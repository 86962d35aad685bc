// Realtime, event and log callbacks delivered to Python callables.
//
// The library calls its callbacks on its own threads (UDP thread, receive thread, whatever
// thread logs). Realtime and event calls take the GIL on that thread; log lines are queued and
// handed over by a delivery thread of this module, because the library logs from any thread,
// sometimes with its own locks held, and waiting there for the GIL could deadlock against a
// Python thread that holds the GIL and waits for one of those locks. Each call calls the user's callable and then every "tap" (the
// queues of kyarm.realtime()/kyarm.events()), and reports an exception raised by one of them
// through sys.unraisablehook, so that a faulty callable neither kills the library's thread nor
// stops later calls. The Python objects live in one heap record only touched with the GIL
// held; at interpreter exit (atexit) the callbacks are cleared and the library is stopped
// before finalisation, so no library thread ever calls into a dead interpreter.
#include "bind.hpp"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string_view>
#include <thread>

namespace kypy {

namespace {

enum kind : int { realtime_kind = 0, event_kind = 1, log_kind = 2, kind_count = 3 };

struct listeners {
    py::object callable;           // the user's callback, or None
    std::vector<py::object> taps;  // internal listeners (the pulling queues)
    bool empty() const { return callable.is_none() && taps.empty(); }
};

// Never freed: static destruction would drop Python references after finalisation.
listeners *registry() {
    static listeners *l = [] {
        auto *a = new listeners[kind_count];
        for (int i = 0; i < kind_count; ++i) a[i].callable = py::none();
        return a;
    }();
    return l;
}

// Set at exit: library threads that reach a callback from then on return at once.
std::atomic<bool> closing{false};

const char *context_of(int k) {
    static const char *names[] = {"kyarm realtime callback", "kyarm event callback", "kyarm log callback"};
    return names[k];
}

// Calls every listener of `k` with `arg` (a Python object built from the C record).
template <class Make>
void dispatch(int k, Make make_arg) {
    if (closing.load(std::memory_order_acquire) || !Py_IsInitialized()) return;
    py::gil_scoped_acquire gil;
    if (closing.load(std::memory_order_acquire)) return;
    listeners &l = registry()[k];
    if (l.empty()) return;
    // Copies: a callable may replace the callbacks while it runs.
    py::object callable = l.callable;
    std::vector<py::object> taps = l.taps;
    py::object arg;
    try {
        arg = make_arg();
    } catch (py::error_already_set &e) {
        e.discard_as_unraisable(context_of(k));
        return;
    }
    auto call = [&](const py::object &f) {
        try {
            f(arg);
        } catch (py::error_already_set &e) {
            e.discard_as_unraisable(f);
        } catch (const std::exception &e) {
            PyErr_SetString(PyExc_RuntimeError, e.what());
            py::error_already_set err;
            err.discard_as_unraisable(f);
        }
    };
    if (!callable.is_none()) call(callable);
    for (const py::object &t : taps) call(t);
}

void on_realtime(const ky_realtime_arm_joint_state &s) {
    dispatch(realtime_kind, [&] { return py::cast(s); });
}
void on_event(const ky_event_data &e) {
    dispatch(event_kind, [&] { return py::cast(e); });
}
// Log lines wait here for the delivery thread; a burst beyond the cap drops the oldest.
class log_pump {
public:
    void push(std::string_view line) {
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
        std::lock_guard<std::mutex> lock(mutex_);
        if (stop_) return;
        if (lines_.size() >= kMaxQueued) lines_.pop_front();
        lines_.emplace_back(line);
        ready_.notify_one();
    }
    // Starts the delivery thread if it is not running (GIL held).
    void start() {
        std::lock_guard<std::mutex> lock(mutex_);
        if (worker_.joinable() || stop_) return;
        worker_ = std::thread([this] { run(); });
    }
    // Ends and joins the delivery thread; the caller must not hold the GIL.
    void stop() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stop_ = true;
            lines_.clear();
            ready_.notify_one();
        }
        if (worker_.joinable()) worker_.join();
    }

private:
    static constexpr std::size_t kMaxQueued = 10000;
    void run();
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::string> lines_;
    std::thread worker_;
    bool stop_ = false;
};

log_pump &pump() {
    static log_pump *p = new log_pump;  // never destroyed: its thread is joined at exit
    return *p;
}

void log_pump::run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        ready_.wait(lock, [this] { return stop_ || !lines_.empty(); });
        if (stop_) return;
        std::deque<std::string> batch;
        batch.swap(lines_);
        lock.unlock();
        for (const std::string &line : batch) {
            dispatch(log_kind, [&] {
                return py::reinterpret_steal<py::object>(
                    PyUnicode_DecodeUTF8(line.data(), static_cast<Py_ssize_t>(line.size()), "replace"));
            });
        }
        lock.lock();
    }
}

void on_log(std::string_view line) { pump().push(line); }

uint32_t g_log_level = 0;

// Installs the library callback of `k` while it has listeners and removes it otherwise (the
// library then skips the GIL round trip entirely). Called with the GIL held.
void refresh(int k) {
    bool on = !registry()[k].empty() && !closing.load();
    switch (k) {
    case realtime_kind:
        ky::Library::on_realtime(on ? std::function<void(const ky_realtime_arm_joint_state &)>(&on_realtime) : nullptr);
        break;
    case event_kind:
        ky::Library::on_event(on ? std::function<void(const ky_event_data &)>(&on_event) : nullptr);
        break;
    default:
        if (on) pump().start();
        ky::Library::on_log(on ? std::function<void(std::string_view)>(&on_log) : nullptr, g_log_level);
        break;
    }
}

void set_callable(int k, py::object fn) {
    if (!fn.is_none() && !PyCallable_Check(fn.ptr())) throw py::type_error("the callback must be callable or None");
    registry()[k].callable = std::move(fn);
    refresh(k);
}

void add_tap(int k, py::object fn) {
    if (!PyCallable_Check(fn.ptr())) throw py::type_error("the tap must be callable");
    registry()[k].taps.push_back(std::move(fn));
    refresh(k);
}

void remove_tap(int k, const py::object &fn) {
    auto &taps = registry()[k].taps;
    for (auto it = taps.begin(); it != taps.end(); ++it) {
        if (it->is(fn)) {
            taps.erase(it);
            break;
        }
    }
    refresh(k);
}

// atexit: no callback from here on, then the library's threads are stopped (without the GIL,
// so that a thread waiting for it to deliver a last call can finish and be joined).
void shutdown() {
    closing.store(true, std::memory_order_release);
    for (int k = 0; k < kind_count; ++k) {
        registry()[k].callable = py::none();
        registry()[k].taps.clear();
        refresh(k);
    }
    ky::detail::library_generation().fetch_add(1);  // leftover Robot objects become inert
    py::gil_scoped_release nogil;
    pump().stop();
    ky_destory();
}

}  // namespace

void bind_callbacks(py::module_ &m) {
    using E = ky_event_data;
    py::class_<E>(m, "Event", "A line the controller pushed on its own, as the event callback receives it.")
        .def(py::init([](int handle_id, int event_type, bool trajectory_state, int device, int trajectory_connect,
                         int program_id) { return E{handle_id, event_type, trajectory_state, device, trajectory_connect, program_id}; }),
             "handle_id"_a = 0, "event_type"_a = 0, "trajectory_state"_a = true, "device"_a = 0,
             "trajectory_connect"_a = 0, "program_id"_a = 0)
        .def_readonly("handle_id", &E::handle_id, "robot id (1..5) of the controller that pushed it")
        .def_readonly("event_type", &E::event_type, "1 trajectory state, 2 program finished")
        .def_readonly("trajectory_state", &E::trajectory_state, "the trajectory finished successfully")
        .def_readonly("device", &E::device, "0 arm, 1 gripper, 2 dexterous hand, 3 lift, 4 expansion axis")
        .def_readonly("trajectory_connect", &E::trajectory_connect, "1 when joined to the next trajectory")
        .def_readonly("program_id", &E::program_id, "finished program's id (event type 2)")
        .def("__repr__", [](const E &e) {
            std::string s = "Event(handle_id=";
            s += std::to_string(e.handle_id);
            s += ", event_type=";
            s += std::to_string(e.event_type);
            s += ", trajectory_state=";
            s += e.trajectory_state ? "True" : "False";
            s += ", device=";
            s += std::to_string(e.device);
            s += ", trajectory_connect=";
            s += std::to_string(e.trajectory_connect);
            s += ", program_id=";
            s += std::to_string(e.program_id);
            s += ")";
            return s;
        });

    m.def("set_realtime_callback", [](py::object fn) { set_callable(realtime_kind, std::move(fn)); }, "fn"_a,
          "Calls fn(kyarm.RealtimeState) for every realtime push (library mode 2), on the library's UDP "
          "thread with the GIL held: keep it short. None clears it. An exception it raises goes to "
          "sys.unraisablehook; later pushes still arrive.");
    m.def("set_event_callback", [](py::object fn) { set_callable(event_kind, std::move(fn)); }, "fn"_a,
          "Calls fn(kyarm.Event) for every trajectory or program end the controller pushes (modes 1 and 2), on "
          "the receive thread: it must not wait for controller replies itself. None clears it.");
    m.def("set_log_callback",
          [](py::object fn, uint32_t level) {
              g_log_level = level;
              set_callable(log_kind, std::move(fn));
          },
          "fn"_a, "level"_a = 1,
          "Calls fn(line: str) for every library log line at `level` and above (0 debug, 1 info, 2 warn, "
          "3 error), in order, on a delivery thread of the module (so a line may arrive shortly after the call "
          "that logged it; at most 10000 lines wait, the oldest dropped beyond). None clears it.");
    m.def("_add_tap", &add_tap, "kind"_a, "fn"_a, "Adds an internal listener (0 realtime, 1 event, 2 log).");
    m.def("_remove_tap", &remove_tap, "kind"_a, "fn"_a, "Removes an internal listener added by _add_tap.");
    m.def("_shutdown", &shutdown, "Clears every callback and stops the library (run at interpreter exit).");
    py::module_::import("atexit").attr("register")(m.attr("_shutdown"));
}

}  // namespace kypy
