#include "tools/progress_bar.h"

#include <cstdio>
#include <string>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "tools/workers.h"

namespace tool {

namespace {

constexpr auto first_delay = std::chrono::milliseconds(700);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr unsigned cells = 30;
constexpr unsigned text_width = 79;

bool error_stream_is_terminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

} // namespace

progress_bar::progress_bar(uint32_t lines, uint32_t width)
    : total(lines), line_width(width), is_terminal(error_stream_is_terminal() && !is_worker()),
      start(std::chrono::steady_clock::now()), next_update(start + first_delay) {}

progress_bar::~progress_bar() {
    if (is_shown)
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(text_width), "");
}

void progress_bar::show(uint32_t lines_done) {
    const auto now = std::chrono::steady_clock::now();
    if (!is_terminal || total == 0 || lines_done == 0 || now < next_update)
        return;
    next_update = now + interval;
    is_shown = true;
    const double fraction = static_cast<double>(lines_done) / total;
    const auto filled = static_cast<unsigned>(fraction * cells);
    const std::string bar = std::string(filled, '#') + std::string(cells - filled, '.');
    const double seconds = std::chrono::duration<double>(now - start).count();
    const double rate = static_cast<double>(lines_done) * line_width / seconds / 1e6;
    const auto left = static_cast<unsigned>(seconds * (1 - fraction) / fraction + 0.5);
    char text[text_width + 1];
    std::snprintf(text, sizeof text, "[%s] %3.0f %%  %.1f Mpixel/s  %u:%02u left", bar.c_str(),
                  fraction * 100, rate, left / 60, left % 60);
    std::fprintf(stderr, "\r%-*s", static_cast<int>(text_width), text);
    std::fflush(stderr);
}

} // namespace tool
