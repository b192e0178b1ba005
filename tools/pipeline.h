// A picture on its way: from a file or an image, strip by strip through steps, into a sink.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/formats.h"
#include "tools/image.h"
#include "tools/routes.h"
#include "tools/wavelet.h"

namespace tool {

// What a file's header says.
struct picture {
    u32 width, height;
    u16 format;
    u16 bits;
    u16 colours; // of the colourmap, 0 without one
    bool colour;
    u32 bytes_per_line;
};

picture picture_of(u32 handle);

// Reads no more than the header.
picture read_header(const std::string &file);

struct pipeline {
    std::string file; // also the name in error texts
    u32 held = 0;     // an image with the whole picture, read instead of the file
    std::vector<step> steps;
    u32 lines = 64;      // of a strip
    bool packed = false; // lines without padding
};

struct strip_sink {
    std::function<void(u32 strip, bool last)> take;
    std::function<void(u32 strip)> abandon; // after a failure anywhere; may be empty
};

// Runs the whole picture through; palettes of the steps are built in passes of their own first.
void run(const pipeline &line, const strip_sink &sink);

constexpr u16 usual_quality = 32;

// How the kinds of file that lose something are written.
struct coding_options {
    u16 quality = usual_quality; // factor of JPEG files
    wavelet_options wavelet = {};
};

// Ends with a file; nothing is left under its name, or changed, when anything fails.
void run_to_file(const pipeline &line, const file_kind &kind, const std::string &path,
                 const coding_options &how = {});

// Lets a file be written under another name and then put in its place; nothing is left of it when
// anything fails.
void put_in_place(const std::string &path,
                  const std::function<void(const std::string &draft)> &write);

// Ends with the whole picture in an image.
image run_to_memory(const pipeline &line);
image as_rgb24(const std::string &file);

// A route that starts where the picture is.
route route_from(const picture &start);

} // namespace tool
