// Extraction of a disc: its pixels one after another, without gaps for those left out.
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

verdict accept_region(const strip_call &call, const disc &d);
output_shape square(const strip_call &call, const disc &d);
u32 extract_lines(const strip_call &call, const disc &d);

strip_sequence sequence;

constexpr strip_operation<disc> region_operation = {.name = "VIQ_IP_extract_region",
                                                    .worker_name = "VIQ_IP_extract_region_1_strip",
                                                    .sequence = &sequence,
                                                    .check_pixels = accept_region,
                                                    .shape = square,
                                                    .process = extract_lines,
                                                    .bare_parameters = true};

} // namespace

// The shape is passed on without a use: every region is a disc.
u32 VIQ_IP_extract_region(u32 hInImage, u32 hOutImage, u16, i16 cx, i16 cy, u16 wRadius,
                          u16 wMode) {
    const disc wanted = {cx, cy, wRadius};
    return run_conversion(region_operation, hInImage, hOutImage, wMode, wanted);
}

namespace {

verdict accept_region(const strip_call &call, const disc &d) {
    const verdict decision = accept_formats(call, formats(VIQ_YUV422));
    if (!decision.go_on || d.radius != 0)
        return decision;
    return stop_with(report(call.name, VIQ_ERR_PARAMETER, "Radius is 0"));
}

output_shape square(const strip_call &call, const disc &d) {
    output_shape shape = same_shape(call);
    shape.width = shape.height = static_cast<u32>(2 * d.radius);
    return shape;
}

bool holds(const disc &d, i64 x, i64 y) {
    const double dx = static_cast<double>(x - d.x) / static_cast<double>(d.radius);
    const double dy = static_cast<double>(y - d.y) / static_cast<double>(d.radius);
    return dx * dx + dy * dy < 1.0;
}

// Each strip gives as many lines as it has within the square; the last one adds those that the
// picture's edges cut off, so that all strips together are the whole square.
u32 extract_lines(const strip_call &call, const disc &d) {
    const u64 done = call.sequence->lines_done;
    const u64 lines = call.in->lines_per_strip;
    const line_span span = lines_within({done, lines}, d.y - d.radius, 2 * d.radius);
    u64 given = span.count;
    if (done + lines >= call.in->height)
        given = call.out->height - lines_within({0, done}, d.y - d.radius, 2 * d.radius).count;
    call.out->lines_per_strip = static_cast<u32>(given);
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    u8 *to = call.out->data;
    const i64 left = std::max(d.x - d.radius, i64{0});
    const i64 right = std::min(d.x + d.radius, i64{in.width} - 1); // a pair is two pixels
    for (u64 n = span.first; n < span.first + span.count; ++n) {
        const u8 *line = in.line(n);
        for (i64 x = left + left % 2; x < right; x += 2)
            if (holds(d, x, static_cast<i64>(done + n))) {
                std::memcpy(to, line + 2 * x, 4);
                to += 4;
            }
    }
    std::fill(to, call.out->data + static_cast<std::size_t>(strip_size(*call.out, given)), u8{0});
    return success;
}

} // namespace
