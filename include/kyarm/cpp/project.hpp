// kyarm/cpp/project.hpp: uploading a project (a file of controller commands) to the
// controller, which stores it, runs it or both. Include <kyarm.hpp> rather than this file.
#pragma once

#include <climits>
#include <cstdio>
#include <string>
#include <string_view>

#include "core.hpp"

namespace ky {

template <>
struct family_codes<family::project> {
    static constexpr code_text table[] = {
        {1, "the controller refused the upload or rejected the project (see its err_line)"},
        {-2, "no reply to run_project, or no verdict on the project in time"},
        {-3, "unreadable reply, or project_state missing"},
        {-4, "add_header set but the project path holds no '/'"},
        {-5, "the project file could not be opened, sized, buffered or read"},
    };
    static constexpr std::span<const code_text> rows() { return table; }
};

/** Project upload. The calls that would end the process on an unreadable file in the C
 *  library (countLinesInFile, add_lines_to_file, a send with add_header) check the file
 *  first here and fail with -1 (wrapper family) instead. */
template <class Self, class Policy>
class project_ops : public ops_base<Self, Policy, family::project, project_ops<Self, Policy>> {
    KY_OPS_BASE(project_ops, family::project);

public:
    /** Uploads the project file named by `project` and waits for the controller's verdict
     *  (about 2 ms per 100 bytes plus up to 2 s). Works on a copy, so `project` keeps its
     *  path; returns the project name announced to the controller. `err_line`, when given,
     *  receives -1 on success and the controller's error line on a rejection (result 1). */
    auto send_project(const ky_project_upload &project, int *err_line = nullptr) const {
        ky_project_upload sent = project;
        if (sent.add_header != 0 && !readable(text(sent.project_path))) return refuse("ky_send_project", std::string());
        int rc = ky_send_project(h(), &sent, err_line);
        return done("ky_send_project", rc, text(sent.project_path));
    }
    /** Uploads project text held in memory (with its two header lines), announced before with
     *  run_project(); waits up to 10 s for the verdict. `err_line` as for send_project. */
    auto send_project_lock(std::string_view text, int *err_line = nullptr) const {
        if (text.size() > static_cast<std::size_t>(INT_MAX)) return refuse("ky_send_project_lock");
        // A NUL-terminated copy: the C call reads its last chunk up to the next NUL.
        const std::string copy(text);
        int rc = ky_send_project_lock(h(), copy.c_str(), static_cast<int>(copy.size()), err_line);
        return done("ky_send_project_lock", rc);
    }
    /** Announces a project of `file_size` bytes under the name in project.project_path. */
    auto run_project(const ky_project_upload &project, int file_size) const {
        return done("ky_run_project", ky_run_project(h(), project, file_size));
    }
    /** Planning speed of the running project. */
    auto set_plan_speed(int speed) const { return done("ky_set_plan_speed", ky_set_plan_speed(h(), speed)); }
    /** Lines of the text file at `path` (a line over 1023 bytes counts more than once). */
    static auto countLinesInFile(std::string_view path) {
        const std::string p(path);
        if (!readable(p)) return refuse("countLinesInFile", 0);
        return done("countLinesInFile", 0, ::countLinesInFile(p.c_str()));
    }
    /** Writes to `target` the project header lines for this robot followed by the lines of
     *  `source`. The C call reports nothing: a failure after the check of `source` (no robot
     *  info, dof not 6 or 7, `target` not writable) only prints and leaves no file. */
    auto add_lines_to_file(std::string_view source, std::string_view target) const {
        const std::string s(source), t(target);
        if (!readable(s)) return refuse("add_lines_to_file");
        ::add_lines_to_file(h(), s.c_str(), t.c_str());
        return done("add_lines_to_file", 0);
    }

private:
    static bool readable(const std::string &path) noexcept {
        std::FILE *f = std::fopen(path.c_str(), "r");
        if (!f) return false;
        std::fclose(f);
        return true;
    }
};

}  // namespace ky
