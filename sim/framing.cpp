#include "sim/framing.h"

#include <cjson/cJSON.h>

namespace ky::sim {

namespace {
bool blank(char ch) { return ch == '\0' || ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n'; }
}  // namespace

void Framer::reset(size_t start) {
    start_ = start;
    first_ = closed_ = npos;
    depth_ = 0;
    in_string_ = escaped_ = tail_ = probed_ = probe_ok_ = false;
}

void Framer::clear() {
    in_.clear();
    reset(0);
}

// The text is one object followed by blanks only: parse it, once, to tell a command from a
// balanced but broken text (which then waits for its CR LF like any other).
bool Framer::bare_lf_ends_object() {
    if (closed_ == npos || tail_) return false;
    if (!probed_) {
        probed_ = true;
        examined_ += closed_ - first_;
        cJSON *probe = cJSON_ParseWithLength(in_.data() + first_, closed_ - first_);
        probe_ok_ = probe != nullptr;
        cJSON_Delete(probe);
    }
    return probe_ok_;
}

size_t Framer::feed(std::string_view bytes, std::vector<std::string> &commands) {
    size_t used = 0;
    return feed(bytes, commands, nullptr, used);
}

size_t Framer::feed(std::string_view bytes, std::vector<std::string> &commands, const StopFn &stop, size_t &used) {
    const size_t from = in_.size();
    in_.append(bytes);
    examined_ += bytes.size();
    used = bytes.size();
    for (size_t i = from; i < in_.size(); ++i) {
        const char ch = in_[i];
        if (ch == '\n') {
            const size_t emitted = commands.size();
            if (first_ == npos) {  // nothing but blanks so far
                reset(i + 1);
            } else if (i > start_ && in_[i - 1] == '\r') {
                size_t end = i;
                while (end > first_ && blank(in_[end - 1])) --end;
                commands.emplace_back(in_, first_, end - first_);
                reset(i + 1);
            } else if (in_[first_] != '{') {  // a stray line that cannot open a command
                reset(i + 1);
            } else if (bare_lf_ends_object()) {
                commands.emplace_back(in_, first_, closed_ - first_);
                reset(i + 1);
            }
            if (stop && commands.size() > emitted && stop(commands.back())) {
                // The bytes after this command are not ours: hand them back unframed.
                used = i + 1 - from;
                examined_ -= in_.size() - (i + 1);
                in_.resize(i + 1);
                break;
            }
            continue;
        }
        if (first_ == npos) {
            if (blank(ch)) continue;
            first_ = i;
            if (ch == '{') depth_ = 1;
            continue;
        }
        if (depth_ == 0) {  // not an object, or the object has closed
            if (closed_ != npos && !blank(ch)) tail_ = true;
            continue;
        }
        if (in_string_) {
            if (escaped_) escaped_ = false;
            else if (ch == '\\') escaped_ = true;
            else if (ch == '"') in_string_ = false;
        } else if (ch == '"') {
            in_string_ = true;
        } else if (ch == '{' || ch == '[') {
            ++depth_;
        } else if (ch == '}' || ch == ']') {
            if (--depth_ == 0) {
                closed_ = i + 1;
                tail_ = ch != '}';
            }
        }
    }
    in_.erase(0, start_);
    for (size_t *p : {&first_, &closed_}) {
        if (*p != npos) *p -= start_;
    }
    start_ = 0;
    if (in_.size() <= max_pending_) return 0;
    const size_t dropped = in_.size();
    clear();
    return dropped;
}

}  // namespace ky::sim
