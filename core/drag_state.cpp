#include "core/drag_state.h"

std::mutex drag_file_mutex;
FILE *F_SaveDragTeach = nullptr;
std::atomic<int> drag_teach_save_start{0};
std::atomic<int> drag_teach_save_state{0};
std::atomic<int> drag_teach_save_complete{0};
std::atomic<int> drag_teach_count{0};
std::atomic<int> drag_teach_total_num{0};

bool ky::drag_write_sample(const char *line) {
    std::lock_guard<std::mutex> lock(drag_file_mutex);
    if (F_SaveDragTeach == nullptr) return false;
    std::fprintf(F_SaveDragTeach, "%s\r\n", line);
    std::fflush(F_SaveDragTeach);
    return true;
}

bool ky::drag_write_sample_rewind(const char *line) {
    std::lock_guard<std::mutex> lock(drag_file_mutex);
    if (F_SaveDragTeach == nullptr) return false;
    std::fprintf(F_SaveDragTeach, "%s\r\n", line);
    std::fflush(F_SaveDragTeach);
    std::fseek(F_SaveDragTeach, -1, SEEK_END);
    return true;
}

bool ky::drag_open_file(const char *path) {
    std::lock_guard<std::mutex> lock(drag_file_mutex);
    if (F_SaveDragTeach != nullptr) {
        std::fclose(F_SaveDragTeach);
        F_SaveDragTeach = nullptr;
    }
    if (path == nullptr) return false;
    F_SaveDragTeach = std::fopen(path, "w+");
    return F_SaveDragTeach != nullptr;
}

void ky::drag_close_file() {
    std::lock_guard<std::mutex> lock(drag_file_mutex);
    if (F_SaveDragTeach != nullptr) std::fclose(F_SaveDragTeach);
    F_SaveDragTeach = nullptr;
}

bool ky::drag_file_is_open() {
    std::lock_guard<std::mutex> lock(drag_file_mutex);
    return F_SaveDragTeach != nullptr;
}
