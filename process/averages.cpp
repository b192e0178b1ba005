// Averages of HSI and grey images.
#include <algorithm>

#include "core/lines.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

struct averages_result {
    tVIQ_Average *average;
    bool operator==(const averages_result &) const = default;
};

verdict check_averages_arguments(const strip_call &call, const averages_result &result);
u32 clear_result(const strip_call &call, const averages_result &result);
u32 average_strip(const strip_call &call, const averages_result &result);

VIQ_PER_CONTEXT(strip_sequence, sequence);
VIQ_PER_CONTEXT(byte_range, grey_range); // of the sequence's strips
VIQ_PER_CONTEXT(averages_result, first_result);

constexpr strip_transfer<averages_result> averages_transfer = {
    .name = "VIQ_IP_generate_averages",
    .sequence = sequence,
    .check_image = check_averages_arguments,
    .begin = clear_result,
    .process = average_strip,
    .first_arguments = &first_result,
};

} // namespace

u32 VIQ_IP_generate_averages(u32 hInImage, tVIQ_Average *pAverage, u16 wMode) {
    return run_transfer(averages_transfer, hInImage, wMode, {pAverage});
}

namespace {

void average_hsi(const line_view &in, u32 (&averages)[3]);
void average_grey(const line_view &in, u32 (&averages)[3]);

verdict check_averages_arguments(const strip_call &call, const averages_result &result) {
    constexpr const char *name = averages_transfer.name;
    if (result.average == nullptr)
        return stop_with(report(name, VIQ_ERR_PARAMETER, "tVIQ_Average structure pointer is NULL"));
    if (call.in->pixel_format != VIQ_HSI && call.in->pixel_format != VIQ_Y8)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image format"));
    return proceed;
}

u32 clear_result(const strip_call &, const averages_result &result) {
    *result.average = {};
    *grey_range = {0, 255, 0};
    return success;
}

u32 average_strip(const strip_call &call, const averages_result &result) {
    const tVIQ_Image &in = *call.in;
    if (!has_lines(in, in.lines_per_strip))
        return report_no_data("VIQ_IP_generate_averages_1_strip");
    if (in.width == 0 || in.lines_per_strip == 0)
        return success;
    if (in.pixel_format == VIQ_HSI)
        average_hsi(lines_of(in), result.average->average);
    else
        average_grey(lines_of(in), result.average->average);
    return success;
}

// Each strip adds to the averages of the previous strips and divides again.
void average_hsi(const line_view &in, u32 (&averages)[3]) {
    u64 sums[3] = {averages[0], averages[1], averages[2]};
    for (u64 n = 0; n < in.lines; ++n)
        process_rows().sum_hsi(in.line(n), in.width, sums);
    for (u32 plane = 0; plane < 3; ++plane)
        averages[plane] = static_cast<u32>(sums[plane] / (u64{in.width} * in.lines));
}

void average_grey(const line_view &in, u32 (&averages)[3]) {
    byte_range &all = *grey_range;
    for (u64 n = 0; n < in.lines; ++n) {
        const byte_range range = process_rows().range_of(in.line(n), in.width);
        all = {all.sum + range.sum, std::min(all.minimum, range.minimum),
               std::max(all.maximum, range.maximum)};
    }
    averages[0] =
        static_cast<u32>(all.sum / (u64{in.width} * (sequence->lines_done + u64{in.lines})));
    averages[1] = all.minimum;
    averages[2] = all.maximum;
}

} // namespace
