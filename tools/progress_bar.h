// A progress bar with the rate and the time left on standard error, for commands that take longer
// than a moment on a terminal. Only the first bar of the process is shown: that of a batch hides
// those of its pictures.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tool {

struct progress_bar {
    uint64_t total;      // lines of a picture, or pictures
    uint32_t line_width; // 0: pictures are counted
    bool is_enabled;
    std::chrono::steady_clock::time_point start, next_update;

    progress_bar(uint64_t total_lines, uint32_t width);
    ~progress_bar(); // clears the bar
    progress_bar(const progress_bar &) = delete;
    progress_bar &operator=(const progress_bar &) = delete;

    // May be called by several threads.
    void show(uint64_t done);
};

// Prints a line on standard error. A bar is cleared first and appears again below the line.
void print_message(const std::string &text);

} // namespace tool
