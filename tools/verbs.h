// The verbs of the command line. Each is defined in verb_NAME.cpp.
#pragma once

#include <functional>
#include <string>

#include "tools/file_kinds.h"

namespace CLI {
class App;
}

namespace tool {

// Runs a verb with the parsed arguments and returns the exit status.
using action = std::function<int()>;

// Each declares the arguments of a verb; the action owns the variables that they are parsed into.
action declare_info(CLI::App &app);
action declare_convert(CLI::App &app);
action declare_develop(CLI::App &app);
action declare_compare(CLI::App &app);
action declare_lut(CLI::App &app);
action declare_histogram(CLI::App &app);
action declare_motion(CLI::App &app);
action declare_demo(CLI::App &app);
action declare_sequence(CLI::App &app);
action declare_view(CLI::App &app);
action declare_print(CLI::App &app);

constexpr int exit_done = 0;
constexpr int exit_different = 1; // viq compare: the pictures differ
constexpr int exit_error = 2;

// Help texts of arguments that name a picture file to read and to write.
constexpr const char *picture_help =
    "picture file to read, detected by its content; - is standard input";

inline std::string output_help() {
    return "picture file to write; the extension selects its type: " + writable_extensions();
}

} // namespace tool
