// Develops frames of a camera: from the samples of the sensor to a picture that can be shown.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/frame_file.h"
#include "tools/image_handle.h"

namespace tool {

// The references of the shading correction.
struct shading {
    image offset, gain;
    uint32_t width, height; // of the frames
};

using colour_gains = std::array<uint16_t, 3>; // red, green, blue; 4.12 fixed point

constexpr colour_gains no_gains = {4096, 4096, 4096};

struct development {
    uint16_t phase = 0;       // of the mosaic; 0: grey
    uint16_t black_level = 0; // sample of no light
    const shading *references = nullptr;
    uint16_t scheme = 3;  // of demosaicing
    uint16_t gamma = 220; // in hundredths
};

// The names of the files of the references; empty: none.
struct reference_files {
    std::string dark, flat;
};

// Reads the references; frames in files of `format` are averaged. At least one of the files must be
// named. Without a dark frame, `black_level` takes its place.
shading make_shading(const reference_files &files, const std::optional<frame_format> &format,
                     uint16_t black_level);

// Subtracts the dark frame and divides by the flat field. The result has 16 bits and black level 0.
// Other frames are returned as they are. `name` is for error messages.
image correct_shading(image frame, const development &how, const std::string &name);

// The gains that make the mean of a corrected frame grey.
colour_gains measure_gains(const image &corrected, const development &how, const std::string &name);

// From a corrected frame to a picture.
image develop(image corrected, const development &how, const colour_gains &gains,
              const std::string &name);

} // namespace tool
