// Conversion to a DIB: every strip passes through one or two converters to the bitmap's depth, and
// its lines are then stored bottom-up, padded to 4 bytes. If the picture is one strip, the result
// is the whole DIB. Smaller strips are bottom-up each; the caller places them from the end of the
// bitmap backwards.
#include "convert/dib.h"

#include <cstring>
#include <optional>

#include "convert/converter.h"
#include "core/image.h"
#include "core/report.h"

namespace viq {

namespace {

constexpr const char *name = "VIQ_image_convert";
constexpr u32 dib_alignment = 4;

VIQ_PER_CONTEXT(strip_sequence, sequence);

verdict check_dib_option(const strip_call &call, const u32 &option);
verdict check_dib_source(const strip_call &call);
output_shape dib_shape(const strip_call &call, const u32 &option);
u32 complete_dib(const strip_call &call);
u32 store_bottom_up(const strip_call &call);

constexpr strip_operation<u32> operation = {
    .name = name,
    .worker_name = "VIQ_image_convert_1_strip",
    .sequence = sequence,
    .check_before_header = check_dib_option,
    .check_pixels = check_dib_source,
    .shape = dib_shape,
    .complete_output = complete_dib,
    .process = store_bottom_up,
};

u16 dib_format(const tVIQ_Image &in, u32 option);
u32 convert_step(u32 hIn, u32 hOut, u16 target);
u16 next_format(const tVIQ_Image &in, u16 target);
void copy_upside_down(const tVIQ_Image &from, tVIQ_Image &to);

} // namespace

u32 convert_to_dib(u32 hInImage, u32 hOutImage, u32 option, u16 command) {
    return run_conversion(operation, hInImage, hOutImage, command, option);
}

namespace {

verdict check_dib_option(const strip_call &, const u32 &option) {
    switch (option) {
    case 0:
    case 8:
    case 16:
    case 24:
    case 32:
        return proceed;
    default:
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Unsupported DIB option"));
    }
}

// Reports inputs that a later converter would refuse before the output is set up.
verdict check_dib_source(const strip_call &call) {
    constexpr format_set sources =
        grey_formats | rgb_32_formats |
        formats(VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGR24, VIQ_YUV422);
    const tVIQ_Image &in = *call.in;
    if (!contains(sources, in.pixel_format))
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image format"));
    if (in.pixel_format == VIQ_YUV422 && in.width % 2 != 0)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "YUV422 image must be an even width"));
    if (in.pixel_format == VIQ_PALETTED && in.colourmap == nullptr)
        return stop_with(report_no_colourmap(name));
    const u32 code = check_grey_width(name, in);
    return is_error(code) ? stop_with(code) : proceed;
}

output_shape dib_shape(const strip_call &call, const u32 &option) {
    return {dib_format(*call.in, option), call.in->width, call.in->height};
}

u16 dib_format(const tVIQ_Image &in, u32 option) {
    switch (option) {
    case 8:
        return VIQ_PALETTED;
    case 16:
        return VIQ_RGB15;
    case 24:
        return VIQ_BGR24;
    case 32:
        return VIQ_BGRX32;
    default:
        break;
    }
    const bool by_colourmap = contains(grey_formats | formats(VIQ_PALETTED), in.pixel_format);
    return by_colourmap ? u16{VIQ_PALETTED} : u16{VIQ_BGR24};
}

// The colourmap of an 8-bit bitmap: the grey ramp for grey inputs, the 3-3-2 colour cube for colour
// inputs, the colourmap of a paletted input.
u32 complete_dib(const strip_call &call) {
    call.out->line_alignment = dib_alignment;
    if (call.out->pixel_format != VIQ_PALETTED || call.in->pixel_format == VIQ_PALETTED)
        return success;
    return VIQ_cmap_set_type(call.out_handle, contains(grey_formats, call.in->pixel_format)
                                                  ? VIQ_CMAP_GREY
                                                  : VIQ_CMAP_CUBE);
}

u32 store_bottom_up(const strip_call &call) {
    std::optional<scoped_image> steps[2];
    u32 current = call.in_handle;
    for (unsigned n = 0; find_image(current)->pixel_format != call.out->pixel_format; ++n) {
        std::optional<scoped_image> &step = steps[n % 2];
        const u32 next = step ? step->handle : step.emplace().handle;
        if (is_error(next))
            return next;
        const u32 code = convert_step(current, next, call.out->pixel_format);
        if (is_error(code))
            return code;
        current = next;
    }
    const tVIQ_Image &top_down = *find_image(current);
    if (!has_lines(top_down, top_down.lines_per_strip))
        return report_no_data(call.worker_name);
    const u32 code = renew_strip(call.out_handle);
    if (is_error(code))
        return code;
    copy_upside_down(top_down, *call.out);
    return success;
}

// Runs one converter towards the target. Y8 pixels are indices into the grey ramp already.
u32 convert_step(u32 hIn, u32 hOut, u16 target) {
    const tVIQ_Image &in = *find_image(hIn);
    if (target == VIQ_PALETTED && in.pixel_format == VIQ_Y8) {
        const u32 code = VIQ_image_copy(hIn, hOut);
        return is_error(code) ? code : VIQ_image_set_parameter(hOut, VIQ_IMAGE_TYPE, VIQ_PALETTED);
    }
    if (in.pixel_format == VIQ_PALETTED)
        return convert_one_strip(paletted_converter, hIn, hOut);
    const u16 next = next_format(in, target);
    if (next == VIQ_PALETTED)
        return convert_one_strip(dither_converter, hIn, hOut);
    const converter *which =
        in.pixel_format == VIQ_YUV422 ? yuv422_converter(next) : packed_converter(next);
    return convert_one_strip(*which, hIn, hOut);
}

// The target if one converter reaches it, otherwise RGB24 as the intermediate format.
u16 next_format(const tVIQ_Image &in, u16 target) {
    if (target == VIQ_PALETTED) {
        if (contains(grey_formats, in.pixel_format))
            return VIQ_Y8;
        return in.pixel_format == VIQ_RGB24 ? u16{VIQ_PALETTED} : u16{VIQ_RGB24};
    }
    if (in.pixel_format == VIQ_YUV422)
        return target;
    const bool direct = contains(packed_converter(target)->accepted, in.pixel_format);
    return direct || in.pixel_format == VIQ_RGB24 ? target : u16{VIQ_RGB24};
}

void copy_upside_down(const tVIQ_Image &from, tVIQ_Image &to) {
    const std::size_t line = from.bytes_per_line - from.skip_bytes;
    for (std::size_t n = 0; n < lines_with_pixels(to); ++n)
        std::memcpy(to.data + (to.lines_per_strip - 1 - n) * to.bytes_per_line,
                    from.data + n * from.bytes_per_line, line);
}

} // namespace

} // namespace viq
