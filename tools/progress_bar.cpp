#include "tools/progress_bar.h"

#include <cstdio>
#include <mutex>
#include <string>

#include "tools/terminal_size.h"
#include "tools/workers.h"

namespace tool {

namespace {

constexpr auto first_delay = std::chrono::milliseconds(700);
constexpr auto interval = std::chrono::milliseconds(100);
constexpr unsigned cells = 30;
constexpr unsigned text_width = 79;

// What the terminal shows, for all threads.
struct terminal_state {
    std::mutex lock;
    const progress_bar *owner = nullptr; // the bar that can be shown
    bool is_shown = false;
};

terminal_state terminal;

void clear_bar() {
    if (terminal.is_shown)
        std::fprintf(stderr, "\r%*s\r", static_cast<int>(text_width), "");
    terminal.is_shown = false;
}

std::string amounts(const progress_bar &bar, uint64_t done, double seconds) {
    char text[text_width];
    const double rate = static_cast<double>(done) / seconds;
    if (bar.line_width != 0)
        std::snprintf(text, sizeof text, "%3.0f %%  %.1f Mpixel/s",
                      100.0 * static_cast<double>(done) / static_cast<double>(bar.total),
                      rate * bar.line_width / 1e6);
    else
        std::snprintf(text, sizeof text, "%llu of %llu  %.1f pictures/s",
                      static_cast<unsigned long long>(done),
                      static_cast<unsigned long long>(bar.total), rate);
    return text;
}

} // namespace

progress_bar::progress_bar(uint64_t total_lines, uint32_t width)
    : total(total_lines), line_width(width), is_enabled(is_terminal(stderr) && !is_worker()),
      start(std::chrono::steady_clock::now()), next_update(start + first_delay) {
    const std::lock_guard guard(terminal.lock);
    is_enabled = is_enabled && total != 0 && terminal.owner == nullptr;
    if (is_enabled)
        terminal.owner = this;
}

progress_bar::~progress_bar() {
    if (!is_enabled)
        return;
    const std::lock_guard guard(terminal.lock);
    clear_bar();
    terminal.owner = nullptr;
}

void progress_bar::show(uint64_t done) {
    if (!is_enabled)
        return;
    const std::lock_guard guard(terminal.lock);
    const auto now = std::chrono::steady_clock::now();
    if (done == 0 || now < next_update)
        return;
    next_update = now + interval;
    terminal.is_shown = true;
    const double fraction = static_cast<double>(done) / static_cast<double>(total);
    const auto filled = static_cast<unsigned>(fraction * cells);
    const std::string bar = std::string(filled, '#') + std::string(cells - filled, '.');
    const double seconds = std::chrono::duration<double>(now - start).count();
    const auto left = static_cast<unsigned>(seconds * (1 - fraction) / fraction + 0.5);
    char text[text_width + 1];
    std::snprintf(text, sizeof text, "[%s] %s  %u:%02u left", bar.c_str(),
                  amounts(*this, done, seconds).c_str(), left / 60, left % 60);
    std::fprintf(stderr, "\r%-*s", static_cast<int>(text_width), text);
    std::fflush(stderr);
}

void print_message(const std::string &text) {
    const std::lock_guard guard(terminal.lock);
    clear_bar();
    std::fprintf(stderr, "%s\n", text.c_str());
}

} // namespace tool
