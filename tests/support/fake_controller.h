// Scripted TCP peer standing in for an arm controller in the wire tests.
//
// Listens on an ephemeral loopback port and accepts one client at a time (the library's
// robot connection). Every byte received is recorded; each request line ("\r\n"-terminated,
// the NUL that follows it skipped) is answered by the script registered for its "command"
// value. Lines can also be pushed at any moment, raw bytes sent, writes split, replies
// delayed, answering stopped and the connection closed.
#pragma once
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kytest {

class FakeController {
public:
    // Produces the reply lines (without "\r\n") for one request line.
    using Responder = std::function<std::vector<std::string>(const std::string &request)>;

    FakeController();
    ~FakeController();
    FakeController(const FakeController &) = delete;
    FakeController &operator=(const FakeController &) = delete;

    int port() const;

    // Answers every request whose "command" is `command` with `line` (CR LF appended).
    void on(const std::string &command, const std::string &line);
    void on(const std::string &command, Responder responder);
    // Removes the script of `command` (its requests then go unanswered).
    void off(const std::string &command);
    // Scripts the queries ky_create_robot_arm runs, for an arm whose product version is
    // `product` (for example "KY6A-B", "KY7A-6F"), so creation succeeds.
    void answer_identity(const std::string &product = "KY6A-B");

    // Sends `line` + "\r\n" to the connected client (waits up to 2 s for a client).
    void push(const std::string &line);
    // Sends bytes exactly as given.
    void push_raw(const std::string &bytes);

    // Replies (and pushes) are written in pieces of `chunk` bytes with `gap` between them.
    void set_split(size_t chunk, std::chrono::milliseconds gap);
    // Every reply is sent `delay` after its request arrived.
    void set_delay(std::chrono::milliseconds delay);
    // While silent, requests are recorded but not answered.
    void set_silent(bool silent);
    // Closes the client connection (the listener stays open for a new connection).
    void close_client();

    bool wait_for_client(std::chrono::milliseconds timeout);
    // Waits until at least `n` request lines have arrived in total.
    bool wait_for_requests(size_t n, std::chrono::milliseconds timeout);
    // Requests answered by a script so far (each reply fully written).
    size_t answers() const;
    // Waits until the scripts have answered at least `n` requests in total (each reply fully
    // written, however long its script took).
    bool wait_for_answers(size_t n, std::chrono::milliseconds timeout);
    // Every byte received so far, exactly as it came.
    std::string received() const;
    // The request lines received so far, without CR LF and without the trailing NUL.
    std::vector<std::string> requests() const;
    // Request lines whose "command" is `command`.
    std::vector<std::string> requests_for(const std::string &command) const;
    void clear_received();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace kytest
