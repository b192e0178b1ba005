// Colour-filter mosaics: creation from RGB24, and conversion to images that show the samples
// without interpolation.
#include <algorithm>

#include "camera/camera_rows.h"
#include "core/format_checks.h"
#include "core/process_lines.h"
#include "core/report.h"

using namespace viq;

namespace {

verdict check_rgb24(const strip_call &call);
verdict check_mosaic(const strip_call &call);
u32 make_mosaic(const strip_call &call);
u32 show_colours(const strip_call &call);
u32 show_grey(const strip_call &call);

VIQ_PER_CONTEXT(strip_sequences<3>, sequences);

constexpr strip_operation<> mosaic_operation = {.name = "VIQ_BAY_RGB24_to_RGGB32",
                                                .sequence = {sequences, 0},
                                                .check_before_header = check_rgb24,
                                                .shape = in_format<VIQ_RGGB32>,
                                                .process = make_mosaic,
                                                .whole_picture = true};
constexpr strip_operation<> colour_operation = {.name = "VIQ_BAY_RGGB32_map_to_RGB24",
                                                .sequence = {sequences, 1},
                                                .check_before_header = check_mosaic,
                                                .shape = in_format<VIQ_RGB24>,
                                                .process = show_colours,
                                                .whole_picture = true};
constexpr strip_operation<> grey_operation = {.name = "VIQ_BAY_RGGB32_map_to_Y8",
                                              .sequence = {sequences, 2},
                                              .check_before_header = check_mosaic,
                                              .prepare_input = use_whole_picture,
                                              .shape = in_format<VIQ_Y8>,
                                              .process = show_grey,
                                              .whole_picture = true};

} // namespace

u32 VIQ_BAY_RGB24_to_RGGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run_conversion(mosaic_operation, hInImage, hOutImage, wStripCommand);
}

u32 VIQ_BAY_RGGB32_map_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run_conversion(colour_operation, hInImage, hOutImage, wStripCommand);
}

u32 VIQ_BAY_RGGB32_map_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run_conversion(grey_operation, hInImage, hOutImage, wStripCommand);
}

namespace {

verdict check_rgb24(const strip_call &call) {
    return accept_formats(call, formats(VIQ_RGB24), {.message = "Input must be VIQ_RGB24 only"});
}

verdict check_mosaic(const strip_call &call) {
    return accept_formats(call, formats(VIQ_RGGB32));
}

constexpr u16 first_pixel_red = 1; // pixel colour of the mosaics that are created and shown

using mosaic_row = void (*)(const u8 *, u8 *, u32, mosaic_line);

u32 process_mosaic_lines(const strip_call &call, mosaic_row row) {
    return process_lines(call, [&](const u8 *from, u8 *to, u64 n) {
        row(from, to, call.in->width, line_of_mosaic(first_pixel_red, n));
    });
}

u32 make_mosaic(const strip_call &call) {
    return process_mosaic_lines(call, camera_rows().mosaic);
}

u32 show_colours(const strip_call &call) {
    return process_mosaic_lines(call, camera_rows().show);
}

// Samples are copied consecutively, ignoring line padding on both sides; the rest of the output
// strip is set to 0.
u32 show_grey(const strip_call &call) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const std::size_t samples = std::size_t{call.in->width} * call.in->lines_per_strip;
    const u64 strip = strip_size(*call.out, call.out->lines_per_strip);
    u8 *rest = std::copy_n(call.in->data, samples, call.out->data);
    std::fill(rest, call.out->data + static_cast<std::size_t>(strip), u8{0});
    return success;
}

} // namespace
