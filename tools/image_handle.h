// Owners of library handles, library errors as exceptions, and access to the pixels of an image.
#pragma once

#include <cstdint>
#include <string>

#include "viq.h"

namespace tool {

// Thrown to end a command. The text is one line that names the file and the reason.
struct failure {
    std::string text;
};

// Owns one image handle.
struct image {
    uint32_t handle = 0;

    image();
    explicit image(uint32_t created); // takes ownership of the result of a VIQ_..._create function
    ~image();
    image(image &&other) noexcept;
    image &operator=(image &&other) noexcept;
};

// Owns the handle of a library object that is not an image.
struct library_object {
    uint32_t handle;
    uint32_t (*destroy)(uint32_t handle);

    library_object(uint32_t created, uint32_t (*destroy_function)(uint32_t));
    ~library_object();
    library_object(const library_object &) = delete;
    library_object &operator=(const library_object &) = delete;
};

// Selects how the library reads files in the calling thread's context.
void prepare_library();

// Initialises the library and installs an error handler that stores messages instead of printing.
void start_library();

// Throws a failure that names the file if the code is an error code of the library.
void check(uint32_t code, const std::string &file);

// Whether the code reports that memory could not be allocated.
bool is_memory_error(uint32_t code);

// Whether the code reports that a file could not be opened, written or closed.
bool is_file_error(uint32_t code);

// Discards the stored message of a call whose failure is expected.
void discard_error_message();

// The current strip of an image.
struct pixels {
    uint8_t *data;
    uint32_t width;
    uint32_t lines;
    uint32_t bytes_per_line;

    uint8_t *line(uint32_t number) const;
};

pixels pixels_of(uint32_t handle);

uint16_t format_of(uint32_t handle);

// Sets the format and size of an image and allocates a strip buffer for `lines` lines. Returns the
// library's code.
uint32_t set_shape(uint32_t handle, uint16_t format, uint32_t width, uint32_t height,
                   uint32_t lines);

} // namespace tool
