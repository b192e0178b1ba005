#include "tools/progress_bar.h"

#include <cstdio>
#include <string>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tool {

namespace {

constexpr auto first_delay = std::chrono::milliseconds(700);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr unsigned cells = 40;
constexpr unsigned text_width = cells + 9; // brackets, blank and percentage

bool error_stream_is_terminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

} // namespace

progress_bar::progress_bar(uint32_t lines)
    : total(lines), is_terminal(error_stream_is_terminal()),
      next_update(std::chrono::steady_clock::now() + first_delay) {}

progress_bar::~progress_bar() {
    if (is_shown)
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(text_width), "");
}

void progress_bar::show(uint32_t lines_done) {
    const auto now = std::chrono::steady_clock::now();
    if (!is_terminal || total == 0 || now < next_update)
        return;
    next_update = now + interval;
    is_shown = true;
    const double fraction = static_cast<double>(lines_done) / total;
    const auto filled = static_cast<unsigned>(fraction * cells);
    const std::string bar = std::string(filled, '#') + std::string(cells - filled, '.');
    std::fprintf(stderr, "\r[%s] %3.0f %%", bar.c_str(), fraction * 100);
    std::fflush(stderr);
}

} // namespace tool
