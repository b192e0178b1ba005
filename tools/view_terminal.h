// Pictures in a terminal: each character is the upper half block in two 24-bit colours.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/view_file.h"

namespace tool {

struct terminal_options {
    uint32_t columns = 0; // the largest width; 0: that of the terminal
    double rate = 0;      // frames of a film a second
};

// Writes a picture to standard output; a film is played in place. If standard output is not a
// terminal, one frame is written.
void show_in_terminal(const view_file &file, const terminal_options &options);

} // namespace tool
