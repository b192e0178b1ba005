// Demosaicing: line by line over a window of five lines with mirrored borders.
#include <algorithm>
#include <cstring>

#include "camera/rows.h"
#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

struct decoding {
    u16 scheme, pixel_colour;
};

verdict refuse_decoding(const strip_call &call, const decoding &wanted);
void take_whole_picture(const strip_call &call);
u32 demosaic(const strip_call &call, const decoding &wanted);

strip_sequence sequences[2];

constexpr strip_operation<decoding> bgrx32_operation = {.name = "VIQ_BAY_RGGB32_to_BGRX32",
                                                        .sequence = &sequences[0],
                                                        .check_before_header = refuse_decoding,
                                                        .prepare_input = take_whole_picture,
                                                        .shape = in_format<VIQ_BGRX32>,
                                                        .process = demosaic,
                                                        .whole_picture = true};
constexpr strip_operation<decoding> rgb16_operation = {.name = "VIQ_BAY_RGGB32_to_RGB16",
                                                       .sequence = &sequences[1],
                                                       .check_before_header = refuse_decoding,
                                                       .prepare_input = take_whole_picture,
                                                       .shape = in_format<VIQ_RGB16>,
                                                       .process = demosaic,
                                                       .whole_picture = true};

} // namespace

u32 VIQ_BAY_RGGB32_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wPixelColour,
                             u16 wStripCommand) {
    const decoding wanted = {wScheme, wPixelColour};
    return run_conversion(bgrx32_operation, hInImage, hOutImage, wStripCommand, wanted);
}

u32 VIQ_BAY_RGGB32_to_RGB16(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wPixelColour,
                            u16 wStripCommand) {
    const decoding wanted = {wScheme, wPixelColour};
    return run_conversion(rgb16_operation, hInImage, hOutImage, wStripCommand, wanted);
}

namespace {

verdict refuse_decoding(const strip_call &call, const decoding &wanted) {
    const char *name = call.name;
    const verdict decision =
        accept_formats(call, formats(VIQ_RGGB32), {.message = "Input must be VIQ_RGGB32 only"});
    if (!decision.go_on)
        return decision;
    if (wanted.scheme < 1 || wanted.scheme > 3)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Invalid Bayer Decoding Scheme"));
    if (wanted.pixel_colour < 1 || wanted.pixel_colour > 4)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Invalid Bayer Pixel Colour"));
    return proceed;
}

// A strip of 0 lines stands for the whole picture here.
void take_whole_picture(const strip_call &call) {
    call.in->lines_per_strip = call.in->height;
}

// Mirrored about the first and the last one; the only one of its kind stands for all.
i64 mirrored(i64 n, i64 count) {
    if (n < 0)
        n = -n;
    if (n >= count)
        n = 2 * (count - 1) - n;
    return std::clamp(n, i64{0}, count - 1);
}

// Five lines with margins, reused in turn.
struct line_window {
    std::vector<u8> bytes;
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

// Line `number` may lie outside the picture by two lines.
void fill_line(line_window &window, const line_view &in, i64 number) {
    const i64 width = in.width;
    const u8 *from = in.line(static_cast<u64>(mirrored(number, in.lines)));
    u8 *to = window_line(window, number);
    std::memcpy(to, from, in.width);
    for (i64 aside = 1; aside <= mosaic_margin; ++aside) {
        to[-aside] = from[mirrored(-aside, width)];
        to[width - 1 + aside] = from[mirrored(width - 1 + aside, width)];
    }
}

demosaic_scheme kernel_scheme(u16 scheme) {
    return scheme == 1   ? demosaic_scheme::replicate
           : scheme == 2 ? demosaic_scheme::bilinear
                         : demosaic_scheme::adaptive;
}

// Two corners keep the mirrored mean of their four neighbours.
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

u32 demosaic(const strip_call &call, const decoding &wanted) {
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
        const mosaic_line kind = line_of_mosaic(wanted.pixel_colour, static_cast<u64>(n));
        u8 *target = out.line(static_cast<u64>(n));
        if (n == 0 && wanted.scheme == 2)
            demosaic_top(rows, lines, target, in.width, bytes_per_pixel(*call.out), kind);
        else
            rows[static_cast<u32>(kernel_scheme(wanted.scheme))](lines, target, in.width, kind);
    }
    return success;
}

} // namespace
