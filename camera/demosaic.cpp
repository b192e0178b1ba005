// Demosaicing, line by line on a window of five lines with mirrored borders.
#include <algorithm>
#include <cstring>

#include "camera/camera_rows.h"
#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

struct demosaic_arguments {
    u16 scheme, pixel_colour;
};

verdict check_demosaic_arguments(const strip_call &call, const demosaic_arguments &arguments);
u32 demosaic(const strip_call &call, const demosaic_arguments &arguments);

VIQ_PER_CONTEXT(strip_sequences<2>, sequences);

constexpr strip_operation<demosaic_arguments>
make_operation(const char *name, sequence_place sequence,
               strip_step<output_shape, demosaic_arguments> shape) {
    return {.name = name,
            .sequence = sequence,
            .check_before_header = check_demosaic_arguments,
            .prepare_input = use_whole_picture,
            .shape = shape,
            .process = demosaic,
            .whole_picture = true};
}

constexpr strip_operation<demosaic_arguments> bgrx32_operation =
    make_operation("VIQ_BAY_RGGB32_to_BGRX32", {sequences, 0}, in_format<VIQ_BGRX32>);
constexpr strip_operation<demosaic_arguments> rgb16_operation =
    make_operation("VIQ_BAY_RGGB32_to_RGB16", {sequences, 1}, in_format<VIQ_RGB16>);

} // namespace

u32 VIQ_BAY_RGGB32_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wPixelColour,
                             u16 wStripCommand) {
    const demosaic_arguments arguments = {wScheme, wPixelColour};
    return run_conversion(bgrx32_operation, hInImage, hOutImage, wStripCommand, arguments);
}

u32 VIQ_BAY_RGGB32_to_RGB16(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wPixelColour,
                            u16 wStripCommand) {
    const demosaic_arguments arguments = {wScheme, wPixelColour};
    return run_conversion(rgb16_operation, hInImage, hOutImage, wStripCommand, arguments);
}

namespace {

verdict check_demosaic_arguments(const strip_call &call, const demosaic_arguments &arguments) {
    const char *name = call.name;
    const verdict decision =
        accept_formats(call, formats(VIQ_RGGB32), {.message = "Input must be VIQ_RGGB32 only"});
    if (!decision.go_on)
        return decision;
    if (arguments.scheme < 1 || arguments.scheme > 3)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Invalid Bayer Decoding Scheme"));
    if (arguments.pixel_colour < 1 || arguments.pixel_colour > 4)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Invalid Bayer Pixel Colour"));
    return proceed;
}

// The index n, mirrored about the first and the last of `count` elements.
i64 mirrored(i64 n, i64 count) {
    if (n < 0)
        n = -n;
    if (n >= count)
        n = 2 * (count - 1) - n;
    return std::clamp(n, i64{0}, count - 1);
}

// Five lines with margins; a new line replaces the oldest one.
struct line_window {
    vector<u8> bytes;
    std::size_t stride;
};

bool make_window(line_window &window, u32 width) {
    window.stride = std::size_t{width} + 2 * mosaic_margin;
    return try_resize(window.bytes, u64{5} * window.stride);
}

u8 *window_line(line_window &window, i64 number) {
    const std::size_t slot = static_cast<std::size_t>((number + 5) % 5);
    return window.bytes.data() + slot * window.stride + mosaic_margin;
}

// Copies line `number`, which may be up to two lines outside the picture, with mirrored margins.
void fill_line(line_window &window, const line_view &in, i64 number) {
    const i64 width = in.width;
    const u8 *from = in.line(static_cast<u64>(mirrored(number, in.lines)));
    u8 *to = window_line(window, number);
    std::memcpy(to, from, in.width);
    for (i64 n = 1; n <= mosaic_margin; ++n) {
        to[-n] = from[mirrored(-n, width)];
        to[width - 1 + n] = from[mirrored(width - 1 + n, width)];
    }
}

demosaic_scheme kernel_scheme(u16 scheme) {
    return scheme == 1   ? demosaic_scheme::replicate
           : scheme == 2 ? demosaic_scheme::bilinear
                         : demosaic_scheme::adaptive;
}

// The first line of the bilinear scheme: its first and last pixel use the mean of four mirrored
// neighbours, as on all other lines.
void demosaic_top(const demosaic_row *rows, const mosaic_lines &lines, u8 *target, u32 width,
                  u32 pixel, mosaic_line kind) {
    const demosaic_row plain = rows[static_cast<u32>(demosaic_scheme::bilinear)];
    rows[static_cast<u32>(demosaic_scheme::bilinear_top)](lines, target, width, kind);
    plain(lines, target, 1, kind);
    const u32 last = width - 1;
    mosaic_lines at_last = lines;
    for (const u8 *&line : at_last.at)
        line += last;
    const mosaic_line from_last = {kind.red, kind.green_first == (last % 2 == 0)};
    plain(at_last, target + std::size_t{last} * pixel, 1, from_last);
}

u32 demosaic(const strip_call &call, const demosaic_arguments &arguments) {
    const u32 code = begin_strip(call);
    if (is_error(code) || call.in->width == 0 || call.in->height == 0)
        return code;
    line_window window;
    if (!make_window(window, call.in->width))
        return report_no_memory(call.worker_name, u64{5} * window.stride);
    const demosaic_row *rows =
        call.out->pixel_format == VIQ_BGRX32 ? camera_rows().to_bgrx32 : camera_rows().to_rgb16;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    for (i64 n = -2; n < 2; ++n)
        fill_line(window, in, n);
    for (i64 n = 0; n < i64{in.lines}; ++n) {
        fill_line(window, in, n + 2);
        mosaic_lines lines;
        for (i64 k = 0; k < 5; ++k)
            lines.at[k] = window_line(window, n + k - 2);
        const mosaic_line kind = line_of_mosaic(arguments.pixel_colour, static_cast<u64>(n));
        u8 *target = out.line(static_cast<u64>(n));
        if (n == 0 && arguments.scheme == 2)
            demosaic_top(rows, lines, target, in.width, bytes_per_pixel(*call.out), kind);
        else
            rows[static_cast<u32>(kernel_scheme(arguments.scheme))](lines, target, in.width, kind);
    }
    return success;
}

} // namespace
