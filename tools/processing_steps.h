// Image processing for viq convert: steps in the order of the command line.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "tools/picture_flow.h"

namespace CLI {
class App;
}

namespace tool {

// An option of the command line and its argument; flags have none.
struct requested_step {
    std::string option, argument = {};
};

struct processing_options {
    std::vector<requested_step> steps = {}; // in the order in which they are applied
    std::string screen = {};                // for the chroma key: a picture of the empty key screen
    uint16_t phase = 1;                     // of mosaics, unless --demosaic names it
    bool calibrate = false;                 // measures the key screen in the picture itself
};

inline bool calibrates(const processing_options &options) {
    return options.calibrate || !options.screen.empty();
}

// Declares the arguments of the command line, without the steps in `except`. The result is called
// after they have been parsed, and sets the steps.
std::function<void()> declare_processing(CLI::App &app, processing_options &options,
                                         std::initializer_list<const char *> except = {});

// Throws a failure if an option is given without the one that it belongs to.
bool requires_processing(const processing_options &options);

// Operations that are applied to strips wait until the flow is run.
void process(picture_flow &flow, const processing_options &options);

} // namespace tool
