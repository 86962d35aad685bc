// Drag-teach recording state shared by the receive paths and the drag-teach commands.
// The counters are atomics and the output file is opened, written and closed under
// `drag_file_mutex`, so the receive thread and command threads can use them at once.
#pragma once
#include <atomic>
#include <cstdio>
#include <mutex>

extern std::mutex drag_file_mutex;
extern FILE *F_SaveDragTeach;  // guarded by drag_file_mutex
extern std::atomic<int> drag_teach_save_start;
extern std::atomic<int> drag_teach_save_state;
extern std::atomic<int> drag_teach_save_complete;
extern std::atomic<int> drag_teach_count;
extern std::atomic<int> drag_teach_total_num;

namespace ky {
// Appends one recorded sample line ("%s\r\n") to the open drag-teach file and flushes it.
// Returns false when no file is open.
bool drag_write_sample(const char *line);

// Mode-0 form: writes "%s\r\n", flushes, and moves the file position one byte back from the
// end, so the next sample overwrites the final LF.
bool drag_write_sample_rewind(const char *line);

// Closes any open drag-teach file, then opens `path` for writing with truncation ("w+").
// False when it cannot be opened (no file is open then).
bool drag_open_file(const char *path);
// Closes the drag-teach file if one is open.
void drag_close_file();
bool drag_file_is_open();
}  // namespace ky
