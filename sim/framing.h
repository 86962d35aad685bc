// Splits one client's TCP byte stream into command texts, looking at each byte once.
//
// A command ends at CR LF (single-line and formatted multi-line requests alike). A bare LF also
// ends one when the text before it is one complete JSON object ("{...}" and nothing but blanks
// after it); a bare LF after text that cannot open a command (not "{") drops that text. Blanks
// (NUL, space, tab, CR, LF) around a command are trimmed, and a text of blanks only is skipped.
//
// The scan state (first byte of the text, nesting depth, inside a string or not, where the
// opening object closed) is kept between reads, so a command that arrives in many pieces costs
// no more than one that arrives at once; a complete object is probed with the JSON parser at
// most once.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ky::sim {

class Framer {
public:
    explicit Framer(size_t max_pending = 1 << 20) : max_pending_(max_pending) {}

    // Appends `bytes` and adds every command completed by them to `commands`, in order. Text
    // pending without an end beyond the bound is discarded; returns how many bytes were.
    size_t feed(std::string_view bytes, std::vector<std::string> &commands);
    // As above, but stops right after the first command for which `stop` is true: `used` tells
    // how many of `bytes` were taken (the rest is not framed, e.g. raw bytes that follow it).
    using StopFn = std::function<bool(const std::string &)>;
    size_t feed(std::string_view bytes, std::vector<std::string> &commands, const StopFn &stop, size_t &used);
    void clear();
    size_t pending() const { return in_.size(); }
    // Bytes looked at so far: each fed byte once, plus each complete object probed.
    uint64_t examined() const { return examined_; }

private:
    void reset(size_t start);
    bool bare_lf_ends_object();

    static constexpr size_t npos = std::string::npos;
    size_t max_pending_;
    std::string in_;         // text of the command being received (from its start)
    size_t start_ = 0;       // start of the pending command in in_ during a feed
    size_t first_ = npos;    // its first non-blank byte
    size_t closed_ = npos;   // just past the "}" that closed the object opened at first_
    size_t depth_ = 0;       // nesting of the object opened at first_
    bool in_string_ = false, escaped_ = false;
    bool tail_ = false;      // non-blank text after the object: not one complete object
    bool probed_ = false, probe_ok_ = false;
    uint64_t examined_ = 0;
};

}  // namespace ky::sim
