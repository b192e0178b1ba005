// viq view: pictures and films in a window or in the terminal.
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/frame_file.h"
#include "tools/number_arguments.h"
#include "tools/progress_bar.h"
#include "tools/verbs.h"
#include "tools/view_terminal.h"
#include "tools/viewer.h"

namespace tool {

namespace {

struct view_options {
    std::vector<std::string> files;
    viewing_options how;
    std::string size; // of the window; empty: chosen by the first picture
    bool in_terminal = false;
    terminal_options terminal;
};

int view(const view_options &options);
int view_in_terminal(const view_options &options);
view_size parse_window_size(const std::string &argument);

} // namespace

action declare_view(CLI::App &app) {
    const auto options = std::make_shared<view_options>();
    options->terminal.rate = 25;
    app.add_option("--size", options->size,
                   "Size of the window (default: that of the first picture, within limits)")
        ->type_name("WxH");
    app.add_flag("--terminal", options->in_terminal,
                 "Draw in the terminal, two pixels in each character, in 24-bit colours");
    app.add_option("--columns", options->terminal.columns,
                   "With --terminal: the largest width (default: that of the terminal)")
        ->type_name("N")
        ->check(CLI::Range(1, 10000));
    app.add_option("--fps", options->terminal.rate, "Frames of a film that are shown in a second")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0.01, 1000.0));
    app.add_option("--from", options->how.type, "Type of the files, such as tga")
        ->type_name("TYPE");
    declare_frames(
        app, options->how.raw, options->how.frames,
        "With --raw: the frames that are shown: N, A..B, A.., ..B or all (default: all)");
    app.add_option("FILE", options->files, picture_help)->required();
    std::string controls = "Keys and mouse:";
    for (const std::string &line : control_lines())
        controls += "\n" + line;
    app.footer(
        "Films are JPEG sequences and, with --raw, files of several camera frames. Frames that "
        "are late are left out. A window repeats a film; the terminal plays it once, and "
        "Ctrl-C ends it. If standard output is not a terminal, one frame is drawn.\n"
        "The title of the window names the file, its size, the zoom, and the pixel under the "
        "pointer with its samples. A file that cannot be read is skipped and named in the "
        "title and on standard error; the exit status is then 2.\n"
        "The statistics of a selected region are also printed to standard output.\n" +
        controls);
    return [options] { return view(*options); };
}

namespace {

int view(const view_options &options) {
    if (options.how.raw.empty() && !options.how.frames.empty())
        throw failure{"--frames needs --raw"};
    if (options.in_terminal)
        return view_in_terminal(options);
    viewer_options viewer = {options.files, options.how, options.terminal.rate, {}};
    if (!options.size.empty())
        viewer.size = parse_window_size(options.size);
    return run_viewer(viewer);
}

// A file that cannot be read does not stop the others.
int view_in_terminal(const view_options &options) {
    int status = exit_done;
    for (const std::string &file : options.files) {
        try {
            show_in_terminal(open_to_view(file, options.how), options.terminal);
        } catch (const failure &stop) {
            print_message("viq: " + stop.text);
            status = exit_error;
        }
    }
    return status;
}

view_size parse_window_size(const std::string &argument) {
    constexpr int longest_side = 32767;
    const numbers sides = read_numbers(argument, 2, 2, "WxH", 'x');
    for (const int side : sides)
        if (side < 1 || side > longest_side)
            reject_argument(argument, "WxH with sides from 1 to 32767");
    return {static_cast<uint32_t>(sides[0]), static_cast<uint32_t>(sides[1])};
}

} // namespace

} // namespace tool
