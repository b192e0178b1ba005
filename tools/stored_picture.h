// A picture in a temporary file, from which its lines can be read in both directions.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/image_handle.h"
#include "tools/strip_sink.h"
#include "tools/temporary_folder.h"

namespace tool {

struct stored_picture {
    temporary_folder folder;
    file_ptr file;
    image first_strip = image(0); // for the parameters and the palette
    uint32_t line_bytes = 0;
    uint32_t height = 0;
    bool from_last_line = false; // the order in which the lines are read
};

// The sink writes a picture to the file. `name` is for error messages.
strip_sink store_strips(const std::shared_ptr<stored_picture> &picture, const std::string &name);

// Reads `count` lines from line `first` on, in the order of reading, into the strip of an image.
void read_stored(const stored_picture &picture, uint32_t first, uint32_t count, uint32_t handle,
                 const std::string &name);

} // namespace tool
