// A progress bar on standard error, for jobs that take long enough to be watched on a terminal.
#pragma once

#include <chrono>

#include "viq.h"

namespace tool {

struct progress {
    u32 total;
    bool shown = false;
    bool terminal;
    std::chrono::steady_clock::time_point next; // when the bar may be drawn again

    explicit progress(u32 lines);
    ~progress();
    progress(const progress &) = delete;
    progress &operator=(const progress &) = delete;

    void show(u32 done);
};

} // namespace tool
