// The terminal that standard output is written to.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tool {

bool is_terminal(std::FILE *stream);

struct terminal_size {
    uint32_t columns;
    uint32_t lines; // 0: not limited, because standard output is not a terminal
};

// The size of the terminal without its last line, which the cursor needs. Without a terminal the
// environment variable COLUMNS gives the width, otherwise it is 80.
terminal_size standard_output_size();

// While it exists, the console of Windows interprets escape sequences and UTF-8; other terminals do
// so anyway.
struct terminal_colours {
    unsigned long output_mode = 0;
    unsigned code_page = 0; // 0: standard output is no console

    terminal_colours();
    ~terminal_colours();
    terminal_colours(const terminal_colours &) = delete;
    terminal_colours &operator=(const terminal_colours &) = delete;
};

} // namespace tool
