// The command line of the verbs that convert pictures: many files, or frames of a camera, each of
// which is converted by `convert`.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "tools/batch.h"
#include "tools/frame_file.h"
#include "tools/verb_convert.h"

namespace CLI {
class App;
}

namespace tool {

// The arguments of the command line: options for every picture, and files.
struct convert_arguments {
    convert_options each;
    std::vector<std::string> files;
    std::string output; // a file, folder or pattern; empty: the last of the files
    std::string raw;    // the description of camera frames; empty: picture files
    std::string frames; // empty: the first one
    unsigned jobs = 0;  // 0: one for each processor
};

// Declares the arguments of the command line, without the image processing options in `except`. The
// result is called after they have been parsed.
std::function<void()> declare_conversion(CLI::App &app, convert_arguments &arguments,
                                         std::initializer_list<const char *> except = {});

// Reads the picture of a job. `frames` is its file of camera frames, or null for a picture file.
using picture_reader =
    std::function<picture_source(const conversion_job &job, const frame_file *frames)>;

// Converts all pictures of the arguments and returns the exit status. Without a reader, picture
// files are opened by `convert`. Several frames are written to one JPEG file as a sequence.
int convert_all(const convert_arguments &arguments, const picture_reader &read_frames,
                const picture_reader &read_files = {});

} // namespace tool
