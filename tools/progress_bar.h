// A progress bar with the rate and the time left on standard error, for commands that take longer
// than a moment on a terminal.
#pragma once

#include <chrono>
#include <cstdint>

namespace tool {

struct progress_bar {
    uint32_t total; // lines
    uint32_t line_width;
    bool is_terminal;
    bool is_shown = false;
    std::chrono::steady_clock::time_point start, next_update;

    progress_bar(uint32_t lines, uint32_t width);
    ~progress_bar(); // clears the bar
    progress_bar(const progress_bar &) = delete;
    progress_bar &operator=(const progress_bar &) = delete;

    void show(uint32_t lines_done);
};

} // namespace tool
