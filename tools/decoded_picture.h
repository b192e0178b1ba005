// The result of a reader that decodes whole pictures.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

struct decoded_picture {
    image picture;
    std::string reader;                  // such as "libpng 1.6.39"
    std::vector<std::string> notes = {}; // what of the file the picture does not contain
    uint32_t pages = 1;                  // of the file
    uint16_t orientation = 1;            // as the TIFF field Orientation
};

// An image without padding requirements of the caller, for a whole picture. The failure names the
// file.
inline image whole_picture(uint16_t format, uint32_t width, uint32_t height,
                           const std::string &name) {
    image picture;
    check(set_shape(picture.handle, format, width, height, height), name);
    return picture;
}

constexpr const char *alpha_dropped = "the alpha channel is dropped";
constexpr const char *depth_reduced = "16 bits a colour sample are reduced to 8";

// 16 bits to 8, rounded.
constexpr uint8_t upper_byte(uint32_t value) {
    return static_cast<uint8_t>((value * 255 + 32895) >> 16);
}

} // namespace tool
