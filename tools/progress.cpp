#include "tools/progress.h"

#include <cstdio>
#include <string>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tool {

namespace {

constexpr auto patience = std::chrono::milliseconds(700);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr unsigned cells = 40;

bool error_stream_is_terminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

} // namespace

progress::progress(u32 lines)
    : total(lines), terminal(error_stream_is_terminal()),
      next(std::chrono::steady_clock::now() + patience) {}

progress::~progress() {
    if (shown)
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(cells + 9), "");
}

void progress::show(u32 done) {
    const auto now = std::chrono::steady_clock::now();
    if (!terminal || total == 0 || now < next)
        return;
    next = now + interval;
    shown = true;
    const double share = static_cast<double>(done) / total;
    const auto filled = static_cast<unsigned>(share * cells);
    const std::string bar = std::string(filled, '#') + std::string(cells - filled, '.');
    std::fprintf(stderr, "\r[%s] %3.0f %%", bar.c_str(), share * 100);
    std::fflush(stderr);
}

} // namespace tool
