// Image processing for viq convert: steps on the whole picture, in a fixed order.
#pragma once

#include <string>

#include "tools/image_handle.h"

namespace CLI {
class App;
}

namespace tool {

// The arguments of the command line as they are; empty or false: the step is not requested.
struct processing_options {
    std::string crop = {}, scale = {}, subsample = {}, replicate = {}, rotate = {};
    bool mirror = false;
    std::string filter = {}, lut = {}, threshold = {};
    bool mosaic = false;
    std::string demosaic = {}, field_to_frame = {};
    bool pseudo = false;
    std::string key = {}, screen = {};
    bool calibrate = false;
    std::string text = {};
    bool timestamp = false;
};

inline bool calibrates(const processing_options &options) {
    return options.calibrate || !options.screen.empty();
}

// Declares the arguments of the command line.
void declare_processing(CLI::App &app, processing_options &options);

// Throws a failure if an option is given without the one that it belongs to.
bool requires_processing(const processing_options &options);

// `name` is that of the file, for error messages.
image process(image picture, const processing_options &options, const std::string &name);

} // namespace tool
