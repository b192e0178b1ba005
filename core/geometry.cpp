// Line padding, strip counts and the image check that every operation runs first.
#include "core/geometry.h"

#include "core/image.h"
#include "core/limits.h"
#include "core/pixel_formats.h"
#include "core/report.h"

using namespace viq;

namespace {

// Details of the error code; those of a wrong depth are in the table of pixel formats.
constexpr u32 no_colours = 0x07;
constexpr u32 wrong_data_width = 0x0a;
constexpr u32 unrecognised = 0x10;
constexpr u32 no_alignment = 0x11;
constexpr u32 line_too_long = 0x12;

u32 report_corrupt(u32 detail, const char *message) {
    return report("VIQ_image_check", VIQ_ERR_CORRUPT | detail, message);
}

u32 padding(u32 width, u32 bits_per_pixel, u32 alignment);
u32 check_present(u32 handle);
u32 derive_line(tVIQ_Image &image);
u32 check_format(tVIQ_Image &image);
u32 check_content(const tVIQ_Image &image, const pixel_format &format);
u32 set_unpadded_line(tVIQ_Image &image, const pixel_format &format);

} // namespace

u32 VIQ_image_calc_skip_bytes(u32 dwWidth, u16 wBitsPerPixel, u32 dwAlignment) {
    return dwAlignment != 0 ? padding(dwWidth, wBitsPerPixel, dwAlignment) : 0;
}

u32 VIQ_image_calc_total_strips(u32 hImage) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle("VIQ_image_calc_total_strips");
    if (image->lines_per_strip == 0)
        return 0;
    const u64 strips = (u64{image->height} + image->lines_per_strip - 1) / image->lines_per_strip;
    return low_word(strips);
}

u32 VIQ_image_check(u32 hImage) {
    return check_present(hImage);
}

namespace viq {

u32 check_image(const char *function, u32 handle, const char *message) {
    const u32 code = check_present(handle);
    return is_error(code) && code != too_many_pixels ? report(function, code, message) : code;
}

// ---- Lines of 1-bit images

namespace {

u64 padded_bits(const tVIQ_Image &image) {
    const u64 alignment = image.line_alignment;
    return (bit_line_bytes(image.width) + alignment - 1) / alignment * alignment;
}

bool is_bit_line(const tVIQ_Image &image, u32 line) {
    return line == bit_line_bytes(image.width) || line == padded_bits(image);
}

u32 bit_line(const tVIQ_Image &image, u32 previous, u64 otherwise) {
    if (image.pixel_format != VIQ_Y1)
        return image.bytes_per_line;
    return is_bit_line(image, previous) ? previous : static_cast<u32>(otherwise);
}

} // namespace

u32 packed_bit_line(const tVIQ_Image &image, u32 previous) {
    return bit_line(image, previous, bit_line_bytes(image.width));
}

u32 padded_bit_line(const tVIQ_Image &image, u32 previous) {
    return bit_line(image, previous, padded_bits(image));
}

u32 present_bit_line(const tVIQ_Image &image, u32 previous) {
    const u64 unknown = owns_data(image)        ? companion(image).buffer_line
                        : image.data != nullptr ? bit_line_bytes(image.width)
                                                : 0;
    return bit_line(image, previous, unknown);
}

u32 check_image_with_lines(const char *function, u32 handle, const char *message) {
    tVIQ_Image *image = find_image(handle);
    const u32 previous = image != nullptr ? image->bytes_per_line : 0;
    const u32 code = check_image(function, handle, message);
    if (!is_error(code))
        image->bytes_per_line = present_bit_line(*image, previous);
    return code;
}

} // namespace viq

namespace {

u32 check_present(u32 handle) {
    tVIQ_Image *image = find_image(handle);
    if (image == nullptr)
        return VIQ_ERR_CORRUPT;
    if (is_frozen(*image))
        return VIQ_ERR_STATE;
    if (image->param_18 < 2)
        image->param_18 = 1;
    u32 code = derive_line(*image);
    if (!is_error(code))
        code = check_format(*image);
    return is_error(code) ? code : check_pixel_limit(*image);
}

// Alignments are nearly always powers of 2, which need no division.
u32 padding(u32 width, u32 bits_per_pixel, u32 alignment) {
    const u64 bytes = line_pixel_bytes(bits_per_pixel) * width;
    const bool is_power = (alignment & (alignment - 1)) == 0;
    const u64 rest = is_power ? bytes & (alignment - 1) : bytes % alignment;
    return rest != 0 ? static_cast<u32>(alignment - rest) : 0;
}

u32 derive_line(tVIQ_Image &image) {
    if (image.line_alignment == 0)
        return report_corrupt(no_alignment, "Line alignment is 0");
    const u32 skip = padding(image.width, image.bits_per_pixel, image.line_alignment);
    const u64 line = skip + line_pixel_bytes(image.bits_per_pixel) * image.width;
    if (line > UINT32_MAX)
        return report_corrupt(line_too_long, "Line too long");
    image.skip_bytes = skip;
    image.bytes_per_line = static_cast<u32>(line);
    return success;
}

u32 check_format(tVIQ_Image &image) {
    const pixel_format *format = find_format(image.pixel_format);
    if (format == nullptr)
        return report_corrupt(unrecognised, "Unrecognised image");
    if (format->line == line_shape::quarter)
        image.bytes_per_line /= 4;
    const u32 code = check_content(image, *format);
    if (is_error(code))
        return code;
    if (image.bits_per_pixel != format->bits_per_pixel)
        return report_corrupt(format->wrong_depth.detail, format->wrong_depth.message);
    if (format->content == content_rule::data_width_becomes_8)
        image.data_width = 8;
    return format->line == line_shape::unpadded ? set_unpadded_line(image, *format) : success;
}

u32 check_content(const tVIQ_Image &image, const pixel_format &format) {
    if (format.content == content_rule::needs_colourmap && image.num_colours == 0)
        return report_corrupt(no_colours, "Colourmap should not be 0 size");
    if (format.content == content_rule::data_width_1_to_16 &&
        (image.data_width < 1 || image.data_width > 16))
        return report_corrupt(wrong_data_width, "Data width not between 1 and 16");
    return success;
}

u32 set_unpadded_line(tVIQ_Image &image, const pixel_format &format) {
    const u64 line = u64{format.bytes_per_pixel} * image.width;
    if (line > UINT32_MAX)
        return report_corrupt(line_too_long, "Line too long");
    image.bytes_per_line = static_cast<u32>(line);
    return success;
}

} // namespace
