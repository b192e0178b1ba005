// Image handles that clean up after themselves, and the library's failures as one line of text.
#pragma once

#include <string>

#include "viq.h"

namespace tool {

// What stops a command: one line that names the file and the reason.
struct failure {
    std::string text;
};

// Owns one image handle.
struct image {
    u32 handle = 0;

    image();
    ~image();
    image(image &&other) noexcept;
    image &operator=(image &&other) noexcept;
};

// Starts the library and keeps its reports instead of showing them.
void start_library();

// Throws a failure that names the file when the code is an error of the library.
void check(u32 code, const std::string &file);

// Drops what was reported, after a call whose failure does not matter.
void forget_report();

// The current strip as lines of pixels.
struct pixels {
    u8 *data;
    u32 width;
    u32 lines;
    u32 bytes_per_line;

    u8 *line(u32 number) const;
};

pixels pixels_of(u32 handle);

u16 format_of(u32 handle);

// Gives the image its format and size and a strip buffer of that many lines.
u32 shape(u32 handle, u16 format, u32 width, u32 height, u32 lines);

} // namespace tool
