#include "tools/terminal_size.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <io.h>
#include <windows.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace tool {

namespace {

// The size of the terminal; 0 columns if standard output is not a terminal.
terminal_size size_of_terminal() {
#ifdef _WIN32
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return {0, 0};
    const SMALL_RECT &window = info.srWindow;
    return {static_cast<uint32_t>(window.Right - window.Left + 1),
            static_cast<uint32_t>(window.Bottom - window.Top + 1)};
#else
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0)
        return {0, 0};
    return {size.ws_col, size.ws_row};
#endif
}

uint32_t columns_of_environment() {
    constexpr uint32_t usual = 80;
    const char *text = std::getenv("COLUMNS");
    uint32_t columns = 0;
    if (text != nullptr)
        std::from_chars(text, text + std::strlen(text), columns);
    return columns != 0 ? columns : usual;
}

} // namespace

bool is_terminal(std::FILE *stream) {
#ifdef _WIN32
    return _isatty(_fileno(stream)) != 0;
#else
    return isatty(fileno(stream)) != 0;
#endif
}

terminal_size standard_output_size() {
    terminal_size size = size_of_terminal();
    if (size.columns == 0)
        size.columns = columns_of_environment();
    if (size.lines > 1)
        --size.lines;
    return size;
}

#ifdef _WIN32

terminal_colours::terminal_colours() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    if (!GetConsoleMode(output, &output_mode))
        return;
    code_page = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
    SetConsoleMode(output, output_mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

terminal_colours::~terminal_colours() {
    if (code_page == 0)
        return;
    SetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), output_mode);
    SetConsoleOutputCP(code_page);
}

#else

terminal_colours::terminal_colours() = default;
terminal_colours::~terminal_colours() = default;

#endif

} // namespace tool
