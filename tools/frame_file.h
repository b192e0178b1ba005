// Files of camera frames: frames of one size that follow each other, without a header. What a
// header would contain is described on the command line.
#pragma once

#include <cstdint>
#include <string>

#include "tools/image_handle.h"
#include "tools/input_file.h"
#include "tools/picture_source.h"

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tool {

struct frame_format {
    tVIQ_FrameLayout layout = {};
    uint32_t width = 0, height = 0;
    uint32_t stride = 0;       // bytes from line to line; 0: no padding
    uint64_t offset = 0;       // bytes before the first frame
    uint64_t gap = 0;          // bytes after each frame
    uint16_t phase = 0;        // of the mosaic, as the library counts pixel colours; 0: no mosaic
    bool keeps_values = false; // files contain the samples of the sensor, not scaled to 16 bits
    uint64_t bytes = 0;        // of a frame
};

// Declares --raw and --frames, and returns the former. `frames_purpose` is the help text of the
// latter.
CLI::Option *declare_frames(CLI::App &app, std::string &description, std::string &frames,
                            const char *frames_purpose);

// The description WxH,LAYOUT[,bayer=..][,stride=N][,offset=N][,gap=N][,values].
frame_format parse_frame_format(const std::string &description);

// The phase of a mosaic with a name such as rggb.
uint16_t parse_phase(const std::string &name);
std::string phase_name(uint16_t phase);

// Frames are counted from 1.
struct frame_range {
    uint64_t first, last;
};

struct frame_file {
    std::string name; // for messages
    input_file input;
    frame_format format;
    uint64_t frames;     // whole ones
    uint64_t rest_bytes; // after the last whole frame
    frame_range selected = {1, 1};
};

// Throws a failure if the file contains no frame.
frame_file open_frames(const std::string &file, const frame_format &format);

// The range N, A..B, A.., ..B or all. Throws a failure if the file does not have these frames.
frame_range parse_frames(const std::string &range, const frame_file &file);

// A frame with the samples of the sensor, in the image format of its layout. Only this frame is
// read from the file.
image read_frame(const frame_file &file, uint64_t number);

// The frame as files contain it: 16-bit grey uses all 16 bits, and a mosaic of 8 bits is grey.
image picture_of_frame(image frame, const frame_file &file);

// The source of a picture that has been made in memory.
picture_source source_of_image(image picture, const std::string &name);

} // namespace tool
