// Cropping to a rectangle.
#include "process/crop.h"

#include <algorithm>
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

verdict check_crop_arguments(const strip_call &call, const rectangle &area);
output_shape crop_shape(const strip_call &call, const rectangle &area);
u32 crop_lines(const strip_call &call, const rectangle &area);

constexpr strip_operation<rectangle> make_crop(sequence_place sequence) {
    return {.name = "VIQ_IP_crop",
            .worker_name = "VIQ_IP_crop_1_strip",
            .sequence = sequence,
            .check_pixels = check_crop_arguments,
            .shape = crop_shape,
            .process = crop_lines,
            .bare_parameters = true};
}

VIQ_PER_CONTEXT(strip_sequence, public_sequence);

} // namespace

u32 VIQ_IP_crop(u32 hInImage, u32 hOutImage, i16 x, i16 y, i16 width, i16 height, u16 wMode) {
    return crop(public_sequence, hInImage, hOutImage, {x, y, width, height}, wMode);
}

namespace viq {

u32 crop(sequence_place sequence, u32 hInImage, u32 hOutImage, const rectangle &area, u16 command) {
    return run_conversion(make_crop(sequence), hInImage, hOutImage, command, area);
}

line_span lines_within(line_span strip, i64 first, i64 count) {
    const i64 start = static_cast<i64>(strip.first);
    const i64 from = std::max(start, first);
    const i64 to = std::min(start + static_cast<i64>(strip.count), first + std::max(count, i64{0}));
    return to > from ? line_span{static_cast<u64>(from - start), static_cast<u64>(to - from)}
                     : line_span{0, 0};
}

} // namespace viq

namespace {

verdict check_crop_arguments(const strip_call &call, const rectangle &area) {
    const verdict decision =
        accept_formats(call,
                       formats(VIQ_Y8, VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGR24,
                               VIQ_YUV422, VIQ_CMYK32, VIQ_Y16) |
                           rgb_32_formats,
                       {.or_format = true});
    if (!decision.go_on)
        return decision;
    const bool inside = area.x >= 0 && area.y >= 0 && area.width > 0 && area.height > 0 &&
                        area.x < call.in->width && area.y < call.in->height;
    return inside ? proceed
                  : stop_with(report(call.name, VIQ_ERR_PARAMETER, "Rectangle outside the image"));
}

output_shape crop_shape(const strip_call &call, const rectangle &area) {
    output_shape shape = same_shape(call);
    shape.width = static_cast<u32>(std::min(area.width, call.in->width - area.x));
    shape.height = static_cast<u32>(std::min(area.height, call.in->height - area.y));
    return shape;
}

u32 crop_lines(const strip_call &call, const rectangle &area) {
    const line_span span = lines_within({call.sequence->lines_done, call.in->lines_per_strip},
                                        area.y, call.out->height);
    call.out->lines_per_strip = static_cast<u32>(span.count);
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    const std::size_t pixel = bytes_per_pixel(*call.in);
    for (u64 n = 0; n < span.count; ++n)
        std::memcpy(out.line(n), in.line(span.first + n) + static_cast<std::size_t>(area.x) * pixel,
                    out.width * pixel);
    return success;
}

} // namespace
