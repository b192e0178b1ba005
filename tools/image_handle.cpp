#include "tools/image_handle.h"

#include <cstdio>
#include <utility>

namespace tool {

namespace {

// The upper half of an error code is its class, the lower half a detail.
constexpr uint32_t error_class_mask = 0xFFFF0000;

// The first message since the last discard. Later messages of the same failure come from the
// callers of the function that failed and are less specific.
thread_local std::string first_message;

uint32_t VIQ_CALL store_message(uint32_t module, const char *function, uint32_t code,
                                const char *message);
std::string reason(uint32_t code);

} // namespace

image::image() : handle(VIQ_image_create()) {
    check(handle, "image");
}

image::image(uint32_t created) : handle(VIQ_IS_ERROR(created) ? 0 : created) {
    check(created, "image");
}

image::~image() {
    if (handle != 0)
        VIQ_image_destroy(handle);
}

image::image(image &&other) noexcept : handle(std::exchange(other.handle, 0)) {}

image &image::operator=(image &&other) noexcept {
    std::swap(handle, other.handle);
    return *this;
}

library_object::library_object(uint32_t created, uint32_t (*destroy_function)(uint32_t))
    : handle(created), destroy(destroy_function) {
    check(created, "viq");
}

library_object::~library_object() {
    destroy(handle);
}

void prepare_library() {
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
}

void start_library() {
    VIQ_Init();
    prepare_library();
    VIQ_ErrHandlerInstall(store_message);
}

void check(uint32_t code, const std::string &file) {
    if (!VIQ_IS_ERROR(code))
        return;
    failure stop{file + ": " + reason(code)};
    discard_error_message();
    throw stop;
}

bool is_memory_error(uint32_t code) {
    return VIQ_IS_ERROR(code) && (code & error_class_mask) == VIQ_ERR_MEMORY;
}

bool is_file_error(uint32_t code) {
    const uint32_t kind = code & error_class_mask;
    return kind == VIQ_ERR_OPEN || kind == VIQ_ERR_CLOSE || kind == VIQ_ERR_SYSTEM;
}

void discard_error_message() {
    first_message.clear();
}

uint8_t *pixels::line(uint32_t number) const {
    return data + static_cast<std::size_t>(number) * bytes_per_line;
}

pixels pixels_of(uint32_t handle) {
    return {static_cast<uint8_t *>(VIQ_image_get_ptr(handle, VIQ_PTR_DATA)), VIQ_get_width(handle),
            VIQ_get_lines_this_strip(handle), VIQ_get_bytes_per_line(handle)};
}

uint16_t format_of(uint32_t handle) {
    return static_cast<uint16_t>(VIQ_image_get_parameter(handle, VIQ_IMAGE_TYPE));
}

// The library computes sizes of lines for whole bytes a pixel only; lines of bits are allocated as
// lines of bytes.
uint32_t set_shape(uint32_t handle, uint16_t format, uint32_t width, uint32_t height,
                   uint32_t lines) {
    if (format == VIQ_Y1) {
        const uint32_t code = set_shape(handle, VIQ_Y8, (width + 7) / 8, height, lines);
        VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
        VIQ_image_set_parameter(handle, VIQ_WIDTH, width);
        return code;
    }
    VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(handle, VIQ_WIDTH, width);
    VIQ_image_set_parameter(handle, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, lines);
    return VIQ_image_malloc_a_strip(handle);
}

namespace {

uint32_t VIQ_CALL store_message(uint32_t, const char *, uint32_t, const char *message) {
    if (first_message.empty())
        first_message = message;
    return 0;
}

std::string reason(uint32_t code) {
    if (!first_message.empty())
        return first_message;
    if (is_memory_error(code))
        return "Memory allocation failed";
    char text[32];
    std::snprintf(text, sizeof text, "error 0x%08x", static_cast<unsigned>(code));
    return text;
}

} // namespace

} // namespace tool
