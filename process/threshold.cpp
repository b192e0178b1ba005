// Thresholding of grey images.
#include "core/format_checks.h"
#include "core/lines.h"
#include "process/rows.h"

using namespace viq;

namespace {

struct limits {
    u32 upper, lower;
};

verdict accept_grey(const strip_call &call);
u32 threshold_lines(const strip_call &call, const limits &given);

strip_sequence sequence;

constexpr strip_operation<limits> threshold_operation = {.name = "VIQ_IP_threshold_grayscale",
                                                         .worker_name =
                                                             "VIQ_IP_threshold_grayscale_1_strip",
                                                         .sequence = &sequence,
                                                         .check_pixels = accept_grey,
                                                         .shape = in_format<VIQ_Y8>,
                                                         .process = threshold_lines};

} // namespace

u32 VIQ_IP_threshold_grayscale(u32 hInImage, u32 hOutImage, u16 wUpper, u16 wLower, u16 wMode) {
    const limits given = {wUpper, wLower};
    return run_conversion(threshold_operation, hInImage, hOutImage, wMode, given);
}

namespace {

verdict accept_grey(const strip_call &call) {
    return accept_formats(call, formats(VIQ_Y8));
}

u32 threshold_lines(const strip_call &call, const limits &given) {
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    for (u64 n = 0; n < in.lines; ++n)
        process_rows().threshold(in.line(n), out.line(n), in.width, given.upper, given.lower);
    return success;
}

} // namespace
