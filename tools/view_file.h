// What viq view shows of a file: a picture, the pages of a TIFF file, or the frames of a film.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/image_handle.h"

namespace tool {

struct viewing_options {
    std::string type;   // of the files, as an extension; empty: by content
    std::string raw;    // the description of camera frames; empty: picture files
    std::string frames; // of a file of camera frames; empty: all
};

struct view_file {
    std::string name; // for titles and messages
    uint64_t frames = 1;
    bool is_film = false;      // the frames are played; otherwise they are pages
    uint16_t mosaic_phase = 0; // of camera frames, as the library counts pixel colours
    std::function<image(uint64_t frame)> read = {}; // counted from 1
};

// Pictures are turned upright as their files say. Samples of camera frames keep their values.
view_file open_to_view(const std::string &file, const viewing_options &options);

} // namespace tool
