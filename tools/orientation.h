// How a picture is to be turned before it is shown, as its file says: by the field Orientation of
// TIFF, which EXIF data in other files contains as well.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/processing_steps.h"

namespace tool {

constexpr uint16_t upright = 1; // the orientation of a picture that is shown as it is stored

// The orientation in EXIF data, which starts with the mark of the byte order; upright if there is
// none.
uint16_t exif_orientation(const uint8_t *exif, std::size_t size);

// The orientation in the EXIF data of a JPEG file.
uint16_t jpeg_orientation(const std::string &path);

// Such as "rotated by 90 degrees": what showing the picture takes.
std::string orientation_text(uint16_t orientation);

// The steps that turn the picture upright.
std::vector<requested_step> steps_to_upright(uint16_t orientation);

} // namespace tool
