// Thresholding of grey images.
#include "core/format_checks.h"
#include "core/process_lines.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

struct limits {
    u32 upper, lower;
};

verdict check_format(const strip_call &call);
u32 threshold_lines(const strip_call &call, const limits &limit);

VIQ_PER_CONTEXT(strip_sequence, sequence);

constexpr strip_operation<limits> threshold_operation = {.name = "VIQ_IP_threshold_grayscale",
                                                         .worker_name =
                                                             "VIQ_IP_threshold_grayscale_1_strip",
                                                         .sequence = sequence,
                                                         .check_pixels = check_format,
                                                         .shape = in_format<VIQ_Y8>,
                                                         .process = threshold_lines};

} // namespace

u32 VIQ_IP_threshold_grayscale(u32 hInImage, u32 hOutImage, u16 wUpper, u16 wLower, u16 wMode) {
    const limits limit = {wUpper, wLower};
    return run_conversion(threshold_operation, hInImage, hOutImage, wMode, limit);
}

namespace {

verdict check_format(const strip_call &call) {
    return accept_formats(call, formats(VIQ_Y8));
}

u32 threshold_lines(const strip_call &call, const limits &limit) {
    return process_lines(call, [&](const u8 *from, u8 *to, u64) {
        process_rows().threshold(from, to, call.in->width, limit.upper, limit.lower);
    });
}

} // namespace
