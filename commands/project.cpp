// Online programming: uploading a project file (or project text held in memory) to the
// controller, the announcement that precedes the upload, the planning speed of the running
// project, and the helpers that write a project file's two header lines.
//
// An upload is not one request line: after "run_project" the raw file text follows on the
// same connection in small paced chunks, then the controller sends its verdict
// "download_project".
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/exchange.h"
#include "core/fifo.h"
#include "core/registry.h"

using ky::Req;

namespace {

constexpr const char *kUploadTag = "ky_send_project";
constexpr int kNameSize = 300;
constexpr int kFileChunk = 100;   // bytes per chunk from a file
constexpr int kFilePauseMs = 2;   // pause after each file chunk
constexpr int kMemoryChunk = 10;  // bytes per chunk from memory, no pause
constexpr int kFileVerdictMs = 2000;
constexpr int kMemoryVerdictMs = 10000;

// Streams `size` bytes of `data` in chunks of `chunk` bytes, pausing `pause_ms` after each.
// Each chunk is copied into a zeroed buffer of chunk + 1 bytes and stops at a NUL byte, so
// only its string length goes out. The send results are not examined: the verdict tells.
// The registry's read lock is held throughout, so the robot cannot be deleted meanwhile.
int stream_chunks(ky_robot_handle *robot, const char *data, int size, int chunk, int pause_ms) {
    ky::ReadLock lock;
    ky_handle *h = ky_get_ky_handle_by_robot_handle(robot);
    if (h == nullptr) return -1;
    std::vector<char> buf(static_cast<size_t>(chunk) + 1);
    for (int offset = 0; offset < size; offset += chunk) {
        std::fill(buf.begin(), buf.end(), '\0');
        std::strncpy(buf.data(), data + offset, static_cast<size_t>(chunk));
        h->socket->send(h->socket, buf.data(), static_cast<int>(std::strlen(buf.data())));
        if (pause_ms > 0) sleep_cp(pause_ms);
    }
    return 0;
}

// Waits for "download_project" (nothing is sent) and judges it: 0 accepted (*err_line -1),
// otherwise the "project_state" result, with "err_line" stored when the reply carries it.
int await_verdict(ky_robot_handle *robot, int timeout_ms, int *err_line) {
    ky::Reply reply(1024);
    const int got = ky::wait_line(robot, kUploadTag, "download_project", reply, timeout_ms);
    if (got < 1) return got;
    const int r = parse_ky_set_command(kUploadTag, reply.text(), "project_state");
    if (r == 0) {
        if (err_line != nullptr) *err_line = -1;
        return 0;
    }
    json_parse_item line = ky::parse_int("err_line");
    if (common_json_parse(kUploadTag, reply.text(), &line, 1) == 0 && err_line != nullptr) *err_line = line.value.num;
    return r;
}

// The project name of a path: its base (after the last '/', else the last backslash)
// without the last extension.
std::string project_name(const char *path) {
    const char *sep = std::strrchr(path, '/');
    if (sep == nullptr) sep = std::strrchr(path, '\\');
    std::string base = sep != nullptr ? sep + 1 : path;
    const size_t dot = base.rfind('.');
    if (dot != std::string::npos) base.resize(dot);
    return base;
}

// Reads the whole file; -5 with the failing step's message.
int read_file(const char *path, std::vector<char> &data) {
    FILE *f = std::fopen(path, "rb");
    if (f == nullptr) {
        ky_log_error("File open failed\n");
        return -5;
    }
    std::fseek(f, 0, SEEK_END);
    const long size = std::ftell(f);
    if (size == -1) {
        ky_log_error("Failed to get file size\n");
        std::fclose(f);
        return -5;
    }
    // The buffer is NUL-terminated at the file size, so the last chunk ends with the file.
    try {
        data.assign(static_cast<size_t>(size) + 1, '\0');
    } catch (...) {
        ky_log_error("Memory allocation failed\n");
        std::fclose(f);
        return -5;
    }
    std::fseek(f, 0, SEEK_SET);
    if (std::fread(data.data(), 1, static_cast<size_t>(size), f) < static_cast<size_t>(size)) {
        ky_log_error("Failed to read entire file\n");
        std::fclose(f);
        return -5;
    }
    std::fclose(f);
    data.resize(static_cast<size_t>(size) + 1);
    return 0;
}

}  // namespace

extern "C" {

KY_API int ky_send_project(ky_robot_handle *robot_handle, ky_project_upload *project, int *err_line) {
    ky::CallScope scope;
    if (project == nullptr) return -1;

    // The working path: project_path_len bytes of the caller's path, bounded by the field.
    char working[kNameSize] = {};
    const int path_len = project->project_path_len;
    if (path_len > 0) std::memcpy(working, project->project_path, std::min(path_len, kNameSize - 1));
    // The caller's path as a string, bounded by its field even without a terminator.
    const std::string caller_path(project->project_path, strnlen(project->project_path, kNameSize));

    std::string name = project_name(working);
    std::string path = working;
    if (project->add_header != 0) {
        name.append(ky_get_cur_time()).append(".txt");
        if (name.size() > static_cast<size_t>(kNameSize - 1)) name.resize(kNameSize - 1);
        ky_log_debug("Save As: [%s]\n", name.c_str());
        // Only '/' counts here: the copy goes into the source's directory.
        const size_t slash = caller_path.rfind('/');
        if (slash == std::string::npos) {
            ky_log_error("File name check error!\n");
            return -4;
        }
        // The doubled slash names the same directory; it is the form this library writes.
        path = caller_path.substr(0, slash + 1);
        path.append("/").append(name);
        add_lines_to_file(robot_handle, caller_path.c_str(), path.c_str());
    }

    std::vector<char> data;
    if (const int r = read_file(path.c_str(), data); r != 0) return r;
    const int size = static_cast<int>(data.size() - 1);

    // The caller's record now carries the announced name (bounded by the field).
    ky::copy_chars(project->project_path, sizeof project->project_path, name.c_str(), kNameSize - 1);
    project->project_path_len = static_cast<int32_t>(strnlen(project->project_path, kNameSize));

    if (const int r = ky_run_project(robot_handle, *project, size); r != 0) {
        ky_log_error("[ky_run_project] failed\n");
        return r;
    }
    if (stream_chunks(robot_handle, data.data(), size, kFileChunk, kFilePauseMs) != 0) return -1;
    data.clear();
    data.shrink_to_fit();
    return await_verdict(robot_handle, kFileVerdictMs, err_line);
}

KY_API int ky_send_project_lock(ky_robot_handle *robot_handle, const char *text, int length, int *err_line) {
    ky::CallScope scope;
    if (text == nullptr) return -1;
    if (stream_chunks(robot_handle, text, length, kMemoryChunk, 0) != 0) return -1;
    return await_verdict(robot_handle, kMemoryVerdictMs, err_line);
}

KY_API int ky_run_project(ky_robot_handle *robot_handle, ky_project_upload project, int file_size) {
    ky::CallScope scope;
    const std::string name(project.project_path, strnlen(project.project_path, kNameSize));
    Req req("run_project");
    req.str("project_name", name)
        .num("file_size", file_size)
        .num("plan_speed", project.plan_speed)
        .num("step_flag", project.step_flag)
        .num("only_save", project.only_save)
        .num("save_id", project.save_id);
    return ky::set_command(robot_handle, "ky_run_project", std::move(req), "project_state");
}

KY_API int ky_set_plan_speed(ky_robot_handle *robot_handle, int speed) {
    ky::CallScope scope;
    return ky::set_command(robot_handle, "ky_set_plan_speed", std::move(Req("plan_speed").num("speed", speed)),
                           "plan_state");
}

KY_API int countLinesInFile(const char *path) {
    ky::CallScope scope;
    FILE *f = std::fopen(path, "r");
    if (f == nullptr) {
        // A missing file ends the process: callers check the file first.
        std::perror("打开文件失败");
        std::exit(1);
    }
    char line[1024];
    int count = 0;
    while (std::fgets(line, sizeof line, f) != nullptr) ++count;
    std::fclose(f);
    return count;
}

KY_API void add_lines_to_file(ky_robot_handle *robot_handle, const char *source, const char *target) {
    ky::CallScope scope;
    ky_robot_info info{};
    if (ky_get_robot_info(robot_handle, &info) != 0) {
        std::printf("Failed to get robot info");
        std::fflush(stdout);
        return;
    }
    if (info.dof != 6 && info.dof != 7) {
        std::printf("Invalid degree of freedom, must be 6 or 7");
        std::fflush(stdout);
        return;
    }
    char first[50];
    char second[100];
    std::snprintf(first, sizeof first, "{\"file\":%d}\r\n", info.dof);
    std::snprintf(second, sizeof second,
                  "{\"name\":\"Folder\",\"num\":1,\"type\":%d,\"enabled\":true,\"parent_number\":0}\r\n",
                  countLinesInFile(source));
    FILE *in = std::fopen(source, "r");
    if (in == nullptr) {
        std::printf("Failed to open file: %s\n", source);
        std::fflush(stdout);
        return;
    }
    FILE *out = std::fopen(target, "w");
    if (out == nullptr) {
        std::fclose(in);
        std::perror("Error opening file");
        return;
    }
    std::fputs(first, out);
    std::fputs(second, out);
    char line[1024];
    while (std::fgets(line, sizeof line, in) != nullptr) std::fputs(line, out);
    std::fclose(in);
    std::fclose(out);
}

}  // extern "C"
