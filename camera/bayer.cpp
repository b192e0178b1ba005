// Colour-filter mosaics: making them, showing them as they are.
#include <algorithm>

#include "camera/rows.h"
#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

verdict refuse_mosaic_source(const strip_call &call);
verdict refuse_map_source(const strip_call &call);
void take_whole_picture(const strip_call &call);
u32 make_mosaic(const strip_call &call);
u32 show_colours(const strip_call &call);
u32 show_grey(const strip_call &call);

strip_sequence sequences[3];

constexpr strip_operation<> mosaic_operation = {.name = "VIQ_BAY_RGB24_to_RGGB32",
                                                .sequence = &sequences[0],
                                                .check_before_header = refuse_mosaic_source,
                                                .shape = in_format<VIQ_RGGB32>,
                                                .process = make_mosaic,
                                                .whole_picture = true};
constexpr strip_operation<> colour_operation = {.name = "VIQ_BAY_RGGB32_map_to_RGB24",
                                                .sequence = &sequences[1],
                                                .check_before_header = refuse_map_source,
                                                .shape = in_format<VIQ_RGB24>,
                                                .process = show_colours,
                                                .whole_picture = true};
constexpr strip_operation<> grey_operation = {.name = "VIQ_BAY_RGGB32_map_to_Y8",
                                              .sequence = &sequences[2],
                                              .check_before_header = refuse_map_source,
                                              .prepare_input = take_whole_picture,
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

verdict refuse_mosaic_source(const strip_call &call) {
    return accept_formats(call, formats(VIQ_RGB24), {.message = "Input must be VIQ_RGB24 only"});
}

verdict refuse_map_source(const strip_call &call) {
    return accept_formats(call, formats(VIQ_RGGB32));
}

// A strip of 0 lines stands for the whole picture here.
void take_whole_picture(const strip_call &call) {
    call.in->lines_per_strip = call.in->height;
}

constexpr u16 made_colour = 1; // the phase of mosaics made and shown

u32 for_lines(const strip_call &call, void (*row)(const u8 *, u8 *, u32, mosaic_line)) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    for (u64 n = 0; n < in.lines; ++n)
        row(in.line(n), out.line(n), in.width, line_of_mosaic(made_colour, n));
    return success;
}

u32 make_mosaic(const strip_call &call) {
    return for_lines(call, camera_rows().mosaic);
}

u32 show_colours(const strip_call &call) {
    return for_lines(call, camera_rows().show);
}

// No padding is skipped on either side.
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
