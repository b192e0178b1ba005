// Strip buffers, copying of parameters and data, moving of buffers.
#include "core/image_data.h"

#include <cstring>

#include "core/aligned_memory.h"
#include "core/cmap_record.h"
#include "core/geometry.h"
#include "core/image.h"
#include "core/limits.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "core/subsystem_hooks.h"

using namespace viq;

namespace {

constexpr const char *allocating = "VIQ_image_malloc_a_strip";

template <class Check>
u32 renew(u32 handle, tVIQ_Image &image, image_companion &own, u32 line, Check check);
u32 allocate_strip(tVIQ_Image &image, image_companion &own);
u32 free_jpeg_data(u32 handle, const tVIQ_Image &image);
bool fits(const image_companion &own, u64 size);
u32 copy_strip(const tVIQ_Image &in, u32 hOutImage);
u32 demand_pair(const char *function, const tVIQ_Image *in, const tVIQ_Image *out);
u32 copy_raw_parameters(const char *function, const tVIQ_Image *in, tVIQ_Image *out);
bool moves_jpeg(const tVIQ_Image &in, const tVIQ_Image &out);

} // namespace

u32 VIQ_image_malloc_a_strip(u32 hImage) {
    tVIQ_Image *image = find_image(hImage);
    if (image != nullptr && !is_frozen(*image) && holds_locked_buffer(*image))
        return success;
    const u32 code = check_image(allocating, hImage);
    return is_error(code) ? code : allocate_strip(*image, companion(*image));
}

void *VIQ_malloc_N_lines(u32 hImage, u32 dwLines) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return nullptr;
    const u64 size = strip_size(*image, dwLines);
    return size <= SIZE_MAX ? allocate_zeros_for_caller(static_cast<std::size_t>(size)) : nullptr;
}

u32 VIQ_image_free_data(u32 hImage) {
    tVIQ_Image *image = find_image_to_change(hImage);
    if (image == nullptr)
        return report_unchangeable("VIQ_image_free_data", hImage);
    if ((image->flags & VIQ_FLAG_LOCKED) == 0)
        free_strip(*image);
    return free_jpeg_data(hImage, *image);
}

u32 VIQ_image_copy_parameters(u32 hInImage, u32 hOutImage) {
    return copy_parameters(hInImage, hOutImage);
}

u32 VIQ_image_copy_parameters_raw(u32 hInImage, u32 hOutImage) {
    return copy_raw_parameters("VIQ_image_copy_parameters_raw", find_image(hInImage),
                               find_image(hOutImage));
}

u32 VIQ_image_copy(u32 hInImage, u32 hOutImage) {
    constexpr const char *name = "VIQ_image_copy";
    const tVIQ_Image *in = find_image(hInImage);
    if (in != nullptr && in == find_image(hOutImage))
        return success;
    u32 code = check_image_with_lines(name, hInImage);
    if (is_error(code))
        return code;
    code = copy_parameters(hInImage, hOutImage);
    if (is_error(code) || in->lines_per_strip == 0)
        return code;
    code = check_image(name, hOutImage);
    if (is_error(code))
        return code;
    if (moves_jpeg(*in, *find_image(hOutImage)))
        return hooks.jpeg_build_image(hInImage, hOutImage, VIQ_STRIP_NEXT);
    return copy_strip(*in, hOutImage);
}

u32 VIQ_image_move(u32 hInImage, u32 hOutImage) {
    constexpr const char *name = "VIQ_image_move";
    tVIQ_Image *in = find_image(hInImage);
    tVIQ_Image *out = find_image(hOutImage);
    u32 code = demand_pair(name, in, out);
    if (is_error(code) || in == out)
        return code;
    if (is_frozen(*in))
        return report_unchangeable(name, hInImage);
    if ((in->flags & VIQ_FLAG_LOCKED) != 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "locked memory can't be moved (in source image)");
    if ((out->flags & VIQ_FLAG_LOCKED) != 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "Can't free locked memory (in destination image)");
    code = VIQ_image_free_data(hOutImage);
    if (!is_error(code))
        code = VIQ_image_copy_parameters(hInImage, hOutImage);
    if (is_error(code))
        return code;
    if (moves_jpeg(*in, *out))
        hooks.jpeg_move_data(*in, *out);
    else
        hand_over_data(*in, *out);
    return success;
}

namespace viq {

u32 copy_parameters(u32 hInImage, u32 hOutImage) {
    const tVIQ_Image *in = find_image(hInImage);
    tVIQ_Image *out = find_image(hOutImage);
    const u32 code = copy_raw_parameters("VIQ_image_copy_parameters", in, out);
    if (is_error(code) || hInImage == hOutImage)
        return code;
    if (in->jpeg != nullptr && out->jpeg != nullptr)
        return hooks.jpeg_copy_parameters(hInImage, hOutImage);
    return success;
}

void copy_fields(const tVIQ_Image &in, tVIQ_Image &out) {
    image_companion &own = companion(out);
    note_lock(out, own);
    const bool stays_locked = (out.data != nullptr && out.data == own.lock.locked) ||
                              (out.jpeg != nullptr && hooks.jpeg_holds_locked_data(out));
    if ((in.flags & VIQ_FLAG_LOCKED) != 0)
        exempt_from_lock(out);
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
}

u32 renew_strip(u32 handle, u32 line) {
    tVIQ_Image *image = find_image_to_change(handle);
    if (image == nullptr)
        return VIQ_image_malloc_a_strip(handle);
    return renew(handle, *image, companion(*image), line,
                 [=] { return line == 0 ? check_image(allocating, handle) : success; });
}

u32 renew_checked_strip(u32 handle, tVIQ_Image &image, image_companion &own) {
    if (is_frozen(image))
        return VIQ_image_malloc_a_strip(handle);
    return renew(handle, image, own, 0, [&] { return check_pixel_limit(image); });
}

} // namespace viq

namespace {

// `check` runs before memory is allocated.
template <class Check>
u32 renew(u32 handle, tVIQ_Image &image, image_companion &own, u32 line, Check check) {
    const bool keeps_buffer = holds_locked_buffer(image, own);
    if (!keeps_buffer && !owns_data(image, own)) {
        free_strip(image);
        const u32 code = free_jpeg_data(handle, image);
        if (is_error(code))
            return code;
    }
    if (line != 0)
        image.bytes_per_line = line;
    if (keeps_buffer)
        return success;
    const u32 code = check();
    return is_error(code) ? code : allocate_strip(image, own);
}

// Buffers are filled with zeros when they are allocated, and again when they are reused with
// another format or stride, so that the padding never contains bytes of another picture.
u32 allocate_strip(tVIQ_Image &image, image_companion &own) {
    const u64 size = strip_size(image, image.lines_per_strip);
    const bool same_lines =
        own.buffer_format == image.pixel_format && own.buffer_line == image.bytes_per_line;
    const bool owned = owns_data(image, own);
    if (owned && fits(own, size)) {
        if (!same_lines)
            std::memset(own.buffer, 0, static_cast<std::size_t>(size));
    } else {
        if (owned)
            image.data = nullptr;
        free_buffer(own);
        aligned_memory memory = {};
        if (size < SIZE_MAX / 2)
            memory = allocate_aligned(static_cast<std::size_t>(size));
        if (memory.allocation == nullptr)
            return report_no_memory(allocating, size);
        if (!hold_memory(memory.start)) {
            release_aligned(memory.allocation, static_cast<std::size_t>(size));
            return report_no_memory(allocating, size);
        }
        own.buffer_allocation = memory.allocation;
        own.buffer = static_cast<u8 *>(memory.start);
        own.buffer_size = size;
        own.lock = {};
        image.data = own.buffer;
        update_seen(image);
    }
    own.buffer_format = image.pixel_format;
    own.buffer_line = image.bytes_per_line;
    return success;
}

u32 free_jpeg_data(u32 handle, const tVIQ_Image &image) {
    return image.jpeg != nullptr ? hooks.jpeg_free_data(handle) : success;
}

// A buffer is reused if it has at most twice the required size. A last strip of at least half the
// lines thus needs no allocation, and a small strip does not keep the memory of a whole picture.
bool fits(const image_companion &own, u64 size) {
    return size <= own.buffer_size && own.buffer_size / 2 <= size;
}

u32 demand_pair(const char *function, const tVIQ_Image *in, const tVIQ_Image *out) {
    if (in == nullptr)
        return report(function, VIQ_ERR_HANDLE, "Input image does not exist");
    if (out == nullptr)
        return report(function, VIQ_ERR_HANDLE, "Output image does not exist");
    if (is_frozen(*out))
        return report(function, VIQ_ERR_STATE, "Output image in use by the call that reports");
    return success;
}

u32 copy_raw_parameters(const char *function, const tVIQ_Image *in, tVIQ_Image *out) {
    const u32 code = demand_pair(function, in, out);
    if (is_error(code) || in == out)
        return code;
    copy_fields(*in, *out);
    return copy_colourmap(*in, *out);
}

bool moves_jpeg(const tVIQ_Image &in, const tVIQ_Image &out) {
    return (in.flags & VIQ_FLAG_2) != 0 && out.jpeg != nullptr;
}

u32 copy_strip(const tVIQ_Image &in, u32 hOutImage) {
    if (!has_lines(in, in.lines_per_strip))
        return report_no_data("VIQ_image_copy_1_strip");
    if (uses_buffer_of(in, *find_image(hOutImage)))
        return report_same_image("VIQ_image_copy_1_strip");
    const u32 code = renew_strip(hOutImage, in.bytes_per_line);
    if (is_error(code))
        return code;
    std::memmove(find_image(hOutImage)->data, in.data,
                 static_cast<std::size_t>(strip_size(in, in.lines_per_strip)));
    return success;
}

} // namespace
