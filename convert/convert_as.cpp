// VIQ_convert_as: the way from one pixel format to another by way of RGB24 and Y8.
#include "convert/convert_as.h"

#include <algorithm>
#include <cstring>

#include "convert/converter.h"
#include "core/geometry.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_convert_as";

// Formats between which pictures are converted; from Y1 and to HSI there is only one direction.
constexpr format_set both_ways = grey_formats | rgb_32_formats |
                                 formats(VIQ_PALETTED, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24,
                                         VIQ_BGR24, VIQ_XRGB32, VIQ_YUV422, VIQ_CMYK32);

constexpr u32 palette_size = 256;

bool has_source_lines(const tVIQ_Image &in);
u16 next_format(const tVIQ_Image &in, u16 goal);
owned_image step_to(const char *function, u32 in, u16 format);

} // namespace

u32 VIQ_convert_as(u32 hImage, u16 wFormat) {
    const inner_context inner;
    u32 code = inner.status;
    if (!is_error(code))
        code = check_whole_picture(name, hImage);
    return is_error(code) ? code : convert_whole(name, hImage, wFormat).release();
}

namespace viq {

u32 check_whole_picture(const char *function, u32 hImage) {
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(function);
    // The check clears the stride of 1-bit lines, which their reader has set.
    if (image->pixel_format != VIQ_Y1)
        if (const u32 code = check_image(function, hImage); is_error(code))
            return code;
    if (image->lines_per_strip != image->height)
        return report_incomplete(function, image->lines_per_strip);
    return has_source_lines(*image) ? success : report_no_data(function);
}

owned_image convert_whole(const char *function, u32 in, u16 format) {
    const tVIQ_Image &image = *find_image(in);
    const u16 start = image.pixel_format;
    const auto refuse = [function](u16 refused) {
        return owned_image(
            report(function, VIQ_ERR_UNSUPPORTED | refused, "Unsupported image format"));
    };
    if (start == format) {
        owned_image copy;
        const u32 code = is_error(copy) ? copy.handle : VIQ_image_copy(in, copy);
        VIQ_image_set_flags(copy, VIQ_FLAG_LOCKED, 0);
        return is_error(code) ? owned_image(code) : std::move(copy);
    }
    if (!contains(both_ways | formats(VIQ_Y1), start))
        return refuse(start);
    if (!contains(both_ways | formats(VIQ_HSI), format))
        return refuse(format);
    owned_image result = step_to(function, in, next_format(image, format));
    while (!is_error(result) && find_image(result)->pixel_format != format)
        result = step_to(function, result, next_format(*find_image(result), format));
    if (!is_error(result)) {
        VIQ_image_set_flags(result, VIQ_FLAG_LOCKED, 0); // copied from the input
        companion(*find_image(result)).facts = companion(image).facts;
    }
    return result;
}

} // namespace viq

namespace {

void bits_to_grey(const u8 *from, u8 *to, u32 width, const row_options &);
void cmyk_to_rgb(const u8 *from, u8 *to, u32 width, const row_options &);
void rgb_to_cmyk(const u8 *from, u8 *to, u32 width, const row_options &);
void xrgb_to_rgb(const u8 *from, u8 *to, u32 width, const row_options &);

// Conversions that no converter makes.
struct own_conversion {
    u16 from, to;
    row_kernel convert;
};
constexpr own_conversion own_conversions[] = {
    {VIQ_Y1, VIQ_Y8, bits_to_grey},
    {VIQ_CMYK32, VIQ_RGB24, cmyk_to_rgb},
    {VIQ_RGB24, VIQ_CMYK32, rgb_to_cmyk},
    {VIQ_XRGB32, VIQ_RGB24, xrgb_to_rgb},
};

const own_conversion *find_own(u16 from, u16 to) {
    const auto *row = std::find_if(
        std::begin(own_conversions), std::end(own_conversions),
        [from, to](const own_conversion &own) { return own.from == from && own.to == to; });
    return row != std::end(own_conversions) ? row : nullptr;
}

// One step gives the format. VIQ_convert_to_Y8 skews odd lines of pixels of several bytes whose
// chroma or spare byte it skips.
bool is_one_step(const tVIQ_Image &in, u16 to) {
    const u16 from = in.pixel_format;
    if (find_own(from, to) != nullptr || (from == VIQ_YUV422 && to == VIQ_HSI))
        return true;
    if (to == VIQ_CMYK32 || to == VIQ_HSI)
        return false;
    if (to == VIQ_PALETTED)
        return from == VIQ_RGB24 || from == VIQ_Y8;
    const bool skews =
        to == VIQ_Y8 && in.width % 2 != 0 && contains(rgb_32_formats | formats(VIQ_YUV422), from);
    const converter *found =
        from == VIQ_YUV422 || to == VIQ_YUV422 ? yuv422_converter(to) : nullptr;
    if (found == nullptr)
        found = packed_converter(to);
    return !skews && found != nullptr && contains(found->accepted, from);
}

// The format of the next step towards the goal.
u16 next_format(const tVIQ_Image &in, u16 goal) {
    const u16 from = in.pixel_format;
    if (is_one_step(in, goal))
        return goal;
    if (from == VIQ_PALETTED)
        return VIQ_RGB24_OR_Y8;
    if (from == VIQ_Y1 || (goal == VIQ_Y16 && is_one_step(in, VIQ_Y8)))
        return VIQ_Y8;
    if (from == VIQ_RGB8)
        return VIQ_RGB16;
    if (goal == VIQ_HSI && is_one_step(in, VIQ_YUV422))
        return VIQ_YUV422;
    return from == VIQ_RGB24 ? VIQ_Y8 : VIQ_RGB24;
}

u32 give_shape(u32 handle, u16 format, const tVIQ_Image &like, u32 width) {
    VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(handle, VIQ_WIDTH, width);
    VIQ_image_set_parameter(handle, VIQ_HEIGHT, like.height);
    VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, like.height);
    return VIQ_image_malloc_a_strip(handle);
}

// The check clears the stride of 1-bit lines; any other stride is that of the caller.
line_view source_lines(const tVIQ_Image &in) {
    line_view lines = lines_of(in);
    if (lines.stride == 0)
        lines.stride = present_bit_line(in, 0);
    return lines;
}

// The buffer of the library may have been allocated for other lines than those of the parameters.
bool has_source_lines(const tVIQ_Image &in) {
    return has_pixels(in, in.height) &&
           (!owns_data(in) ||
            u64{in.height} * source_lines(in).stride <= companion(in).buffer_size);
}

u32 convert_by_own(const own_conversion &own, u32 in, u32 out) {
    const tVIQ_Image &from = *find_image(in);
    VIQ_image_set_infilename(out, from.infilename);
    VIQ_image_set_outfilename(out, from.outfilename);
    VIQ_image_set_parameter(out, VIQ_LINE_ALIGNMENT, from.line_alignment);
    const line_view source = source_lines(from);
    if (const u32 code = give_shape(out, own.to, from, from.width); is_error(code))
        return code;
    const line_view target = lines_of(*find_image(out));
    for (u32 y = 0; y < source.lines; ++y)
        own.convert(source.line(y), target.line(y), source.width, {});
    return success;
}

// The palette is generated in a copy of the parameters, because the input must not change.
u32 convert_to_palette(u32 in, u32 out) {
    const owned_image counted;
    if (is_error(counted))
        return counted;
    u32 code = VIQ_image_copy(in, counted);
    VIQ_image_set_parameter(counted, VIQ_NUM_COLOURS, 0);
    if (!is_error(code))
        code = VIQ_cmap_generate(counted, palette_size, VIQ_STRIP_NEXT);
    return is_error(code) ? code : VIQ_convert_to_paletted(counted, out, VIQ_STRIP_NEXT);
}

owned_image step_to(const char *function, u32 in, u16 format) {
    owned_image out;
    if (is_error(out))
        return out;
    const u16 from = find_image(in)->pixel_format;
    u32 code = success;
    if (const own_conversion *own = find_own(from, format); own != nullptr)
        code = convert_by_own(*own, in, out);
    else if (format == VIQ_PALETTED)
        code = convert_to_palette(in, out);
    else {
        if (format == VIQ_Y16)
            VIQ_image_set_parameter(out, VIQ_DATA_WIDTH, 16);
        code = VIQ_image_convert(in, out, format, 0, VIQ_STRIP_NEXT);
    }
    if (!is_error(code) && find_image(out)->pixel_format == from) // no way leads to the goal
        code = report(function, VIQ_ERR_UNSUPPORTED | from, "Unsupported image format");
    return is_error(code) ? owned_image(code) : std::move(out);
}

void bits_to_grey(const u8 *from, u8 *to, u32 width, const row_options &) {
    for (u32 x = 0; x < width; ++x)
        to[x] = (from[x / 8] << x % 8 & 0x80) != 0 ? 255 : 0;
}

void cmyk_to_rgb(const u8 *from, u8 *to, u32 width, const row_options &) {
    for (u32 x = 0; x < width; ++x, from += 4)
        for (u32 n = 0; n < 3; ++n)
            *to++ = static_cast<u8>(255 - std::min(255, from[n] + from[3]));
}

void rgb_to_cmyk(const u8 *from, u8 *to, u32 width, const row_options &) {
    for (u32 x = 0; x < width; ++x) {
        for (u32 n = 0; n < 3; ++n)
            *to++ = static_cast<u8>(255 - *from++);
        *to++ = 0;
    }
}

void xrgb_to_rgb(const u8 *from, u8 *to, u32 width, const row_options &) {
    for (u32 x = 0; x < width; ++x, from += 4, to += 3)
        std::memcpy(to, from + 1, 3);
}

} // namespace

viq::row_kernel viq::find_other_row(u16 from, u16 to) {
    const own_conversion *own = find_own(from, to);
    return own != nullptr ? own->convert : nullptr;
}

viq::owned_image viq::copy_columns(u32 in, u32 width, u32 alignment) {
    const tVIQ_Image &from = *find_image(in);
    owned_image out;
    u32 code = is_error(out) ? out.handle : VIQ_image_copy_parameters_raw(in, out);
    if (is_error(code))
        return owned_image(code);
    VIQ_image_set_flags(out, VIQ_FLAG_LOCKED, 0);
    VIQ_image_set_parameter(out, VIQ_LINE_ALIGNMENT, alignment);
    const u16 data_width = from.data_width;
    code = give_shape(out, from.pixel_format, from, width);
    if (is_error(code))
        return owned_image(code);
    VIQ_image_set_parameter(out, VIQ_DATA_WIDTH, data_width);
    const line_view source = lines_of(from);
    const line_view target = lines_of(*find_image(out));
    const std::size_t bytes = std::size_t{width} * bytes_per_pixel(from);
    for (u32 y = 0; y < source.lines; ++y)
        std::memcpy(target.line(y), source.line(y), bytes);
    return out;
}
