// What viq convert does to a picture between its file and the file it writes: image processing on
// the whole picture, one operation after another in a fixed order.
#pragma once

#include <string>

#include "tools/image.h"

namespace tool {

// The arguments as they are given; an empty text or false stands for an operation left out.
struct process_options {
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

// Throws a failure when an option lacks the one that it belongs to.
bool wants_processing(const process_options &options);

// The file's name stands in error texts.
image process(image picture, const process_options &options, const std::string &file);

// A chroma-key object that cleans up after itself.
struct scoped_key {
    u32 handle = VIQ_CK_create();
    scoped_key() = default;
    scoped_key(const scoped_key &) = delete;
    scoped_key &operator=(const scoped_key &) = delete;
    ~scoped_key() { VIQ_CK_destroy(handle); }
};

// The picture in one of the formats, the first if it has to change.
image brought_to(image picture, std::initializer_list<u16> formats, const std::string &file);

} // namespace tool
