#include "tools/image.h"

#include <cstdio>
#include <utility>

namespace tool {

namespace {

// The first text since it was last dropped: callers repeat an error in more general words.
std::string first_report;

u32 keep_report(u32 module, const char *function, u32 code, const char *message);
std::string reason(u32 code);

} // namespace

image::image() : handle(VIQ_image_create()) {
    check(handle, "image");
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

void start_library() {
    VIQ_Init();
    VIQ_ErrHandlerInstall(keep_report);
}

void check(u32 code, const std::string &file) {
    if (!VIQ_IS_ERROR(code))
        return;
    failure stop{file + ": " + reason(code)};
    forget_report();
    throw stop;
}

void forget_report() {
    first_report.clear();
}

u8 *pixels::line(u32 number) const {
    return data + static_cast<std::size_t>(number) * bytes_per_line;
}

pixels pixels_of(u32 handle) {
    return {static_cast<u8 *>(VIQ_image_get_ptr(handle, VIQ_PTR_DATA)), VIQ_get_width(handle),
            VIQ_get_lines_this_strip(handle), VIQ_get_bytes_per_line(handle)};
}

u16 format_of(u32 handle) {
    return static_cast<u16>(VIQ_image_get_parameter(handle, VIQ_IMAGE_TYPE));
}

u32 shape(u32 handle, u16 format, u32 width, u32 height, u32 lines) {
    VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(handle, VIQ_WIDTH, width);
    VIQ_image_set_parameter(handle, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, lines);
    return VIQ_image_malloc_a_strip(handle);
}

namespace {

u32 keep_report(u32, const char *, u32, const char *message) {
    if (first_report.empty())
        first_report = message;
    return 0;
}

std::string reason(u32 code) {
    if (!first_report.empty())
        return first_report;
    if ((code & 0xFFFF0000) == VIQ_ERR_MEMORY)
        return "Memory allocation failed";
    char text[32];
    std::snprintf(text, sizeof text, "error 0x%08x", static_cast<unsigned>(code));
    return text;
}

} // namespace

} // namespace tool
