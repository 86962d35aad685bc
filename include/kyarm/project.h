/*
 * kyarm/project.h: online programming. Uploading a project (a text file of controller
 * commands, one JSON object a line) to the controller, which stores it, runs it or both.
 * Part of the kyarm C interface; <ky_api.h> includes every part.
 */
#ifndef KYARM_PROJECT_H
#define KYARM_PROJECT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ================================================= Project upload and run */
/*
 * A project file is text: two header lines, each a JSON object ended by "\r\n", then the
 * program's lines as they stand:
 *
 *     {"file":6}                                              (the arm's dof, 6 or 7)
 *     {"name":"Folder","num":1,"type":N,"enabled":true,"parent_number":0}
 *     ... the program's lines ...
 *
 * where N is the number of lines of the program (countLinesInFile); the controller expects
 * the count under "type". add_lines_to_file() writes such a headed copy of a plain file.
 *
 * An upload on the wire:
 *   1. {"command":"run_project","project_name":s,"file_size":n,"plan_speed":i,
 *      "step_flag":i,"only_save":i,"save_id":i} + "\r\n", answered "run_project" with the
 *      boolean "project_state";
 *   2. the n bytes of the file, raw, in chunks (100 bytes with 2 ms between chunks from a
 *      file, 10 bytes back to back from memory); a chunk ends early at a NUL byte;
 *   3. the controller's verdict "download_project": boolean "project_state" and, when it is
 *      false, "err_line", the line at which the controller found the error.
 * A file upload takes about 2 ms per 100 bytes (100 kB: about 2 s) plus the replies, and
 * holds the whole file in memory once. While the chunks stream the registry's read lock is
 * held, so ky_delete_robot_arm() waits for the upload; do not issue other commands on the
 * same robot meanwhile (their bytes would land in the middle of the file text).
 *
 * Results: 0 accepted (*err_line = -1); 1 "run_project" answered false or the project
 * rejected (*err_line = the controller's "err_line" when the verdict carries it);
 * -1 unknown handle or send failure; -2 no reply to "run_project" within m_nOutTime, or
 * no verdict within 2000 ms (10000 ms for ky_send_project_lock); -3 unreadable reply or
 * "project_state" missing; -4 add_header set but project_path holds no '/' (logged
 * "File name check error!"); -5 the project file could not be opened, sized, buffered or
 * read (logged "File open failed", "Failed to get file size", "Memory allocation failed",
 * "Failed to read entire file").
 */

/** Project upload record, filled by the caller for each upload. */
typedef struct {
    /** Path of the project file on the host. After the file was read successfully the
     *  library OVERWRITES it with the project name it announced (see ky_send_project), so
     *  refill the record before the next upload. */
    char project_path[300];
    int32_t project_path_len; /**< bytes of project_path to use (its strlen); at most 299 are */
    int32_t plan_speed;       /**< "plan_speed": planning speed, passed through unchanged */
    int32_t only_save;        /**< "only_save": non-zero stores the project without running it */
    int32_t save_id;          /**< "save_id": slot under which the controller stores it */
    int32_t step_flag;        /**< "step_flag": step mode flag, passed through */
    int32_t reserved;         /**< carried along, read by nothing */
    /** Non-zero: project_path is a plain list of lines without the header. The library
     *  writes a headed copy next to it, at "<dir>//<name><date> <time>.txt" (the doubled
     *  slash and the local time as "YYYY-MM-DD HH_MM_SS"), keeps that file on disk, and
     *  uploads it under the name "<name><date> <time>.txt". */
    int32_t add_header;
} ky_project_upload;

/**
 * Uploads the project file named by `project` and waits for the controller's verdict.
 * The announced "project_name" is the file's base name without its last extension
 * ("dir/a.b.txt" -> "a.b", "p\\job.txt" -> "job", "job" -> "job"), or, with add_header,
 * the headed copy's name described at the record. On success (and on every result once
 * the file was read) project->project_path holds that name and project_path_len its length.
 * *err_line (may be null) gets -1 on 0 and the controller's "err_line" on a rejection.
 * Blocks for the announcement (up to m_nOutTime), the streaming (2 ms per 100 bytes) and
 * the verdict (up to 2000 ms). Results: see above (0, 1, -1, -2, -3, -4, -5).
 * WARNING: with add_header set and a project_path that names no readable file, the
 * header writer's countLinesInFile() ENDS THE PROCESS (exit status 1); see there.
 */
KY_API int ky_send_project(ky_robot_handle *robot_handle, ky_project_upload *project, int *err_line);

/**
 * Uploads `length` bytes of project text held in memory; the text must already carry the
 * two header lines. Announce it first with ky_run_project(..., length): this function
 * sends no "run_project" itself. The text goes out in 10-byte chunks back to back, each
 * taken from `text` itself, so the last chunk may carry up to 9 bytes beyond `length` (up
 * to the text's NUL): `text` must be NUL-terminated or readable up to the next multiple of
 * 10 bytes. Waits up to 10000 ms for the verdict. Logs under the tag "ky_send_project".
 * Results and *err_line as ky_send_project (never -4 or -5).
 */
KY_API int ky_send_project_lock(ky_robot_handle *robot_handle, const char *text, int length, int *err_line);

/**
 * Announces a project of `file_size` bytes: {"command":"run_project","project_name":
 * project->project_path,"file_size":n,"plan_speed","step_flag","only_save","save_id"}, and
 * waits up to m_nOutTime for "run_project". 0 when "project_state" is true, 1 false,
 * -1 / -2 exchange failure, -3 unreadable. The file bytes must follow (ky_send_project_lock).
 */
KY_API int ky_run_project(ky_robot_handle *robot_handle, ky_project_upload project, int file_size);

/** Changes the planning speed of the running project: {"command":"plan_speed","speed":s},
 *  answered "plan_speed" with the boolean "plan_state" (0 true, 1 false, -3 unreadable;
 *  -1 / -2 exchange failure). Waits up to m_nOutTime. */
KY_API int ky_set_plan_speed(ky_robot_handle *robot_handle, int speed);

/**
 * Number of lines of the text file at `path`, counted as reads of a 1024-byte line buffer:
 * a line longer than 1023 bytes counts more than once, a last line without a line end once.
 * !!! WARNING: when the file cannot be opened this function prints the system error     !!!
 * !!! ("打开文件失败: ...", "failed to open file") and ENDS THE WHOLE PROCESS with exit(1). !!!
 * !!! Check that the file exists and is readable before calling it.                      !!!
 */
KY_API int countLinesInFile(const char *path);

/**
 * Writes to `target` (truncating) the two project header lines for this robot followed by
 * the lines of `source` (copied line by line; a line is cut at a NUL byte). Reports
 * nothing to the caller; failures print to the standard streams: "Failed to get robot info",
 * "Invalid degree of freedom, must be 6 or 7", "Failed to open file: <source>", or the
 * system error after "Error opening file", and no file is written.
 * !!! WARNING: a `source` that cannot be opened ENDS THE PROCESS (exit status 1) through  !!!
 * !!! countLinesInFile(), once the robot's dof checked out as 6 or 7.                     !!!
 */
KY_API void add_lines_to_file(ky_robot_handle *robot_handle, const char *source, const char *target);

#ifdef __cplusplus
}
#endif

#endif /* KYARM_PROJECT_H */
