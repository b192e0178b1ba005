// Strip buffers, copying of parameters and data, moving of buffers.
#include "core/strips.h"

#include <cstdlib>
#include <cstring>

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"
#include "core/seams.h"

using namespace viq;

namespace {

u32 allocate(tVIQ_Image &image);
bool fits(const image_companion &own, u64 size);
u32 copy_strip(const tVIQ_Image &in, u32 hOutImage);
u32 copy_parameters(const char *function, u32 hInImage, u32 hOutImage);
bool moves_jpeg(const tVIQ_Image &in, const tVIQ_Image &out);

} // namespace

u32 VIQ_image_malloc_a_strip(u32 hImage) {
    constexpr const char *name = "VIQ_image_malloc_a_strip";
    tVIQ_Image *image = find_image(hImage);
    // A library buffer under an inherited lock is still sized below.
    if (image != nullptr && (image->flags & VIQ_FLAG_LOCKED) != 0 && image->data != nullptr &&
        !owns_data(*image))
        return success;
    const u32 code = check_image(name, hImage);
    return is_error(code) ? code : allocate(*image);
}

void *VIQ_malloc_N_lines(u32 hImage, u32 dwLines) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return nullptr;
    const u64 size = strip_size(*image, dwLines);
    return size <= SIZE_MAX ? std::malloc(static_cast<std::size_t>(size)) : nullptr;
}

u32 VIQ_image_free_data(u32 hImage) {
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle("VIQ_image_free_data");
    if ((image->flags & VIQ_FLAG_LOCKED) == 0)
        free_strip(*image);
    if (image->jpeg != nullptr && upper.jpeg_free_data != nullptr)
        return upper.jpeg_free_data(hImage);
    return success;
}

u32 VIQ_image_copy_parameters(u32 hInImage, u32 hOutImage) {
    const u32 code = copy_parameters("VIQ_image_copy_parameters", hInImage, hOutImage);
    if (is_error(code) || hInImage == hOutImage)
        return code;
    if (find_image(hInImage)->jpeg != nullptr && find_image(hOutImage)->jpeg != nullptr &&
        upper.jpeg_copy_parameters != nullptr)
        return upper.jpeg_copy_parameters(hInImage, hOutImage);
    return success;
}

u32 VIQ_image_copy_parameters_raw(u32 hInImage, u32 hOutImage) {
    return copy_parameters("VIQ_image_copy_parameters_raw", hInImage, hOutImage);
}

u32 VIQ_image_copy(u32 hInImage, u32 hOutImage) {
    constexpr const char *name = "VIQ_image_copy";
    const tVIQ_Image *in = find_image(hInImage);
    if (in != nullptr && in == find_image(hOutImage))
        return success;
    u32 code = check_image(name, hInImage);
    if (is_error(code))
        return code;
    code = VIQ_image_copy_parameters(hInImage, hOutImage);
    if (is_error(code) || in->lines_per_strip == 0)
        return code;
    code = check_image(name, hOutImage);
    if (is_error(code))
        return code;
    if (moves_jpeg(*in, *find_image(hOutImage)) && upper.jpeg_build_image != nullptr)
        return upper.jpeg_build_image(hInImage, hOutImage, VIQ_STRIP_NEXT);
    return copy_strip(*in, hOutImage);
}

u32 VIQ_image_move(u32 hInImage, u32 hOutImage) {
    constexpr const char *name = "VIQ_image_move";
    tVIQ_Image *in = find_image(hInImage);
    tVIQ_Image *out = find_image(hOutImage);
    if (in == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Input image does not exist");
    if (out == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Output image does not exist");
    if (in == out)
        return success;
    if ((in->flags & VIQ_FLAG_LOCKED) != 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "locked memory can't be moved (in source image)");
    if ((out->flags & VIQ_FLAG_LOCKED) != 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "Can't free locked memory (in destination image)");
    u32 code = VIQ_image_free_data(hOutImage);
    if (!is_error(code))
        code = VIQ_image_copy_parameters(hInImage, hOutImage);
    if (is_error(code))
        return code;
    if (moves_jpeg(*in, *out) && upper.jpeg_move_data != nullptr)
        upper.jpeg_move_data(*in, *out);
    else
        hand_over_data(*in, *out);
    return success;
}

namespace viq {

void copy_fields(const tVIQ_Image &in, tVIQ_Image &out) {
    const bool stays_locked = companion(out).callers_locked_data;
    out.pixel_format = in.pixel_format;
    out.data_width = in.data_width;
    std::memcpy(out.spare_text, in.spare_text, sizeof out.spare_text);
    std::memcpy(out.infilename, in.infilename, sizeof out.infilename);
    std::memcpy(out.outfilename, in.outfilename, sizeof out.outfilename);
    out.width = in.width;
    out.height = in.height;
    out.bits_per_pixel = in.bits_per_pixel;
    out.line_alignment = in.line_alignment;
    out.param_25 = in.param_25;
    out.skip_bytes = in.skip_bytes;
    out.param_18 = in.param_18;
    out.param_19 = in.param_19;
    out.flags = in.flags | (stays_locked ? VIQ_FLAG_LOCKED : 0u);
    out.param_23 = in.param_23;
    out.lines_per_strip = in.lines_per_strip;
    out.bytes_per_line = in.bytes_per_line;
    note_lock(out);
}

u32 renew_strip(u32 handle) {
    tVIQ_Image *image = find_image(handle);
    if (image != nullptr && !owns_data(*image)) {
        const u32 code = VIQ_image_free_data(handle);
        if (is_error(code))
            return code;
    }
    return VIQ_image_malloc_a_strip(handle);
}

} // namespace viq

namespace {

// Strips are zero-filled when they are allocated, and again when a buffer that fits is laid out for
// other lines, so that padding never shows what another picture left.
u32 allocate(tVIQ_Image &image) {
    image_companion &own = companion(image);
    const u64 size = strip_size(image, image.lines_per_strip);
    const bool same_lines =
        own.buffer_format == image.pixel_format && own.buffer_line == image.bytes_per_line;
    if (owns_data(image) && fits(own, size)) {
        if (!same_lines)
            std::memset(own.buffer, 0, static_cast<std::size_t>(size));
    } else {
        if (owns_data(image))
            image.data = nullptr;
        std::free(own.buffer);
        own.buffer = nullptr;
        own.buffer_size = 0;
        const bool possible = size < SIZE_MAX / 2;
        own.buffer =
            possible
                ? static_cast<u8 *>(std::calloc(1, static_cast<std::size_t>(size + (size == 0))))
                : nullptr;
        if (own.buffer == nullptr)
            return report_no_memory("VIQ_image_malloc_a_strip", size);
        own.buffer_size = size;
        own.callers_locked_data = false;
        image.data = own.buffer;
    }
    own.buffer_format = image.pixel_format;
    own.buffer_line = image.bytes_per_line;
    return success;
}

// A buffer up to twice as large as wanted is kept: the shorter last strip of a picture does not
// cost an allocation, and a small strip does not hold a whole picture's memory.
bool fits(const image_companion &own, u64 size) {
    return size <= own.buffer_size && own.buffer_size / 2 <= size;
}

u32 copy_parameters(const char *function, u32 hInImage, u32 hOutImage) {
    const tVIQ_Image *in = find_image(hInImage);
    tVIQ_Image *out = find_image(hOutImage);
    if (in == nullptr)
        return report(function, VIQ_ERR_HANDLE, "Input image does not exist");
    if (out == nullptr)
        return report(function, VIQ_ERR_HANDLE, "Output image does not exist");
    if (in == out)
        return success;
    copy_fields(*in, *out);
    return VIQ_cmap_copy(hInImage, hOutImage);
}

bool moves_jpeg(const tVIQ_Image &in, const tVIQ_Image &out) {
    return (in.flags & VIQ_FLAG_2) != 0 && out.jpeg != nullptr;
}

u32 copy_strip(const tVIQ_Image &in, u32 hOutImage) {
    if (!has_lines(in, in.lines_per_strip))
        return report_no_data("VIQ_image_copy_1_strip");
    const u32 code = renew_strip(hOutImage);
    if (is_error(code))
        return code;
    std::memcpy(find_image(hOutImage)->data, in.data,
                static_cast<std::size_t>(strip_size(in, in.lines_per_strip)));
    return success;
}

} // namespace
