// What a pipeline reads: a picture file, strip by strip, an image that holds a whole picture, or a
// picture in a temporary file.
#pragma once

#include <cstdint>
#include <string>

#include "tools/file_kinds.h"
#include "tools/image_handle.h"
#include "tools/input_file.h"
#include "tools/stored_picture.h"

namespace tool {

struct picture_header {
    uint32_t width, height;
    uint16_t format;
    uint16_t bits_per_pixel;
    uint16_t palette_colours; // 0 if the format is not paletted
    bool colour;
    uint32_t bytes_per_line; // of the image in memory
};

picture_header header_of(uint32_t handle);

// Reading a file opens it once to detect its kind and once for the header and the strips. A second
// pass over the strips opens it again. The library reads one file of each kind at a time: a source
// must be read to its end, closed or destroyed before another one is opened.
struct picture_source {
    std::string name;                // of the file, for error messages
    input_file input = {};           // what the library opens
    const file_kind *kind = nullptr; // null: an image in memory
    picture_header header = {};
    uint32_t handle = 0;                 // of the current strip, or of the whole picture
    bool is_whole = false;               // `handle` holds the whole picture
    std::string reader = "viq";          // the library that reads the file
    std::vector<std::string> notes = {}; // what of the file the picture does not contain
    uint32_t pages = 1;                  // of the file
    uint16_t stored_format = 0;          // in the file
    uint16_t grey_bits = 16;             // of Y16 samples in the file
    uint16_t orientation = 1;            // as the TIFF field Orientation; it is not applied

    // Used by the functions below.
    image owned = image(0);                      // the image of `handle`, if the source is a file
    image coded = image(0);                      // a JPEG file, from which strips are decoded
    std::shared_ptr<stored_picture> stored = {}; // a temporary file
    bool small_wavelet = false;                  // entropy coder of a wavelet file
    bool unpadded = false;                       // the image has no bytes between lines
    bool is_open = false;                        // the library has the file open
    uint32_t lines_read = 0;

    picture_source() = default;
    ~picture_source();
    picture_source(picture_source &&) = default;
    picture_source &operator=(picture_source &&) = delete;
};

struct reading_options {
    std::string type = {}; // of the file, as an extension; empty: detected by its content
    uint32_t page = 1;     // of a TIFF file
    bool unpadded = false; // strips have no padding between the lines
};

// Reads the header of a file; "-" is standard input. Wavelet files and those of the other libraries
// are decoded as a whole. What the library rejects is passed to the
// fallback reader of the kind.
picture_source open_picture(const std::string &file, const reading_options &how = {});

// The image must outlive the source. `name` is for error messages.
picture_source picture_in_memory(uint32_t handle, const std::string &name);

// The picture that a pipeline has stored.
picture_source stored_source(const std::shared_ptr<stored_picture> &stored,
                             const picture_header &header, const std::string &name);

// Starts a pass over the picture, at its first line. The first pass prints the notes.
void start_reading(picture_source &source, uint32_t lines_per_strip);

// Reads the next strip; a whole picture is one strip.
void read_strip(picture_source &source);

// The next pass opens the file again.
void close_picture(picture_source &source);

picture_header read_header(const std::string &file);

} // namespace tool
