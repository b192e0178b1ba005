// Extraction of a disc. The output stores the pixels of the disc consecutively, without space for
// those outside of it.
#include <algorithm>
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/crop.h"

using namespace viq;

namespace {

struct disc {
    i64 x, y, radius;
};

verdict check_region_arguments(const strip_call &call, const disc &region);
output_shape bounding_square(const strip_call &call, const disc &region);
u32 extract_lines(const strip_call &call, const disc &region);

VIQ_PER_CONTEXT(strip_sequence, sequence);

constexpr strip_operation<disc> region_operation = {.name = "VIQ_IP_extract_region",
                                                    .worker_name = "VIQ_IP_extract_region_1_strip",
                                                    .sequence = sequence,
                                                    .check_pixels = check_region_arguments,
                                                    .shape = bounding_square,
                                                    .process = extract_lines,
                                                    .bare_parameters = true};

} // namespace

// The shape argument is not used: every region is a disc.
u32 VIQ_IP_extract_region(u32 hInImage, u32 hOutImage, u16, i16 cx, i16 cy, u16 wRadius,
                          u16 wMode) {
    const disc region = {cx, cy, wRadius};
    return run_conversion(region_operation, hInImage, hOutImage, wMode, region);
}

namespace {

verdict check_region_arguments(const strip_call &call, const disc &region) {
    const verdict decision = accept_formats(call, formats(VIQ_YUV422));
    if (!decision.go_on || region.radius != 0)
        return decision;
    return stop_with(report(call.name, VIQ_ERR_PARAMETER, "Radius is 0"));
}

output_shape bounding_square(const strip_call &call, const disc &region) {
    output_shape shape = same_shape(call);
    shape.width = shape.height = static_cast<u32>(2 * region.radius);
    return shape;
}

bool contains_pixel(const disc &region, i64 x, i64 y) {
    const double dx = static_cast<double>(x - region.x) / static_cast<double>(region.radius);
    const double dy = static_cast<double>(y - region.y) / static_cast<double>(region.radius);
    return dx * dx + dy * dy < 1.0;
}

// An output strip has as many lines as the input strip has within the bounding square. The last one
// also has the lines that are outside the picture, so that all strips together are the whole
// square.
u32 extract_lines(const strip_call &call, const disc &region) {
    const u64 done = call.sequence->lines_done;
    const u64 lines = call.in->lines_per_strip;
    const line_span span = lines_within({done, lines}, region.y - region.radius, 2 * region.radius);
    u64 out_lines = span.count;
    if (done + lines >= call.in->height)
        out_lines = call.out->height -
                    lines_within({0, done}, region.y - region.radius, 2 * region.radius).count;
    call.out->lines_per_strip = static_cast<u32>(out_lines);
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    u8 *to = call.out->data;
    const i64 left = std::max(region.x - region.radius, i64{0});
    const i64 right = std::min(region.x + region.radius, i64{in.width} - 1); // x + 1 must exist
    for (u64 n = span.first; n < span.first + span.count; ++n) {
        const u8 *line = in.line(n);
        for (i64 x = left + left % 2; x < right; x += 2)
            if (contains_pixel(region, x, static_cast<i64>(done + n))) {
                std::memcpy(to, line + 2 * x, 4);
                to += 4;
            }
    }
    std::fill(to, call.out->data + static_cast<std::size_t>(strip_size(*call.out, out_lines)),
              u8{0});
    return success;
}

} // namespace
