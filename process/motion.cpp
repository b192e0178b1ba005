// Motion detection: the change of the correlation of two frames since the last detected motion, in
// percent.
#include <algorithm>
#include <cstdlib>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"
#include "process/process_rows.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_IP_motion_detect";

VIQ_PER_CONTEXT(i64, last_correlation); // of the frame with the last detected motion; 0: none yet

u32 check_frames(const tVIQ_Image &image, const tVIQ_Image &reference, u32 step, u32 &result);
i64 correlation_of(const tVIQ_Image &image, const tVIQ_Image &reference, u32 step);
u32 change_in_percent(i64 correlation, u32 threshold);

} // namespace

u32 VIQ_IP_motion_detect(u32 hImage, u32 hRefImage, u32 dwThreshold, u32 dwStep, u32 *pdwResult) {
    u32 code = check_image(name, hImage);
    if (!is_error(code))
        code = check_image(name, hRefImage);
    if (is_error(code))
        return code;
    const tVIQ_Image &image = *find_image(hImage);
    const tVIQ_Image &reference = *find_image(hRefImage);
    if (image.lines_per_strip == 0 || reference.lines_per_strip == 0)
        return success;
    if (pdwResult == nullptr)
        return report_null(name);
    code = check_frames(image, reference, dwStep, *pdwResult);
    if (!is_error(code))
        *pdwResult = change_in_percent(correlation_of(image, reference, dwStep), dwThreshold);
    return code;
}

namespace {

u32 check_frames(const tVIQ_Image &image, const tVIQ_Image &reference, u32 step, u32 &result) {
    if (image.pixel_format != reference.pixel_format) {
        result = 0;
        return report(name, VIQ_ERR_UNSUPPORTED | 1, "Both images must be the same");
    }
    if (!contains(formats(VIQ_Y8, VIQ_YUV422), image.pixel_format))
        return report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image format");
    if (!same_lines(image, reference))
        return report(name, VIQ_ERR_UNSUPPORTED, "Images do not match");
    if (step == 0)
        return report(name, VIQ_ERR_PARAMETER, "Step is 0");
    if (!has_lines(image, image.lines_per_strip) || !has_lines(reference, image.lines_per_strip))
        return report_no_data(name);
    return success;
}

i64 correlation_of(const tVIQ_Image &image, const tVIQ_Image &reference, u32 step) {
    constexpr i64 large = 16777217;
    const line_view a = lines_of(image);
    const line_view b = lines_of(reference);
    const u64 bytes = u64{step} * bytes_per_pixel(image);
    const u64 samples = (u64{a.width} + step - 1) / step;
    const bool single = bytes > UINT32_MAX; // only the first column is sampled
    i64 sum = 0;
    for (u64 y = 0; y < a.lines; y += step)
        sum += process_rows().correlate(a.line(y), b.line(y),
                                        single ? std::min(a.width, 1u) : static_cast<u32>(samples),
                                        single ? 1 : static_cast<u32>(bytes));
    if (sum == 0)
        return 1;
    return sum >= large ? sum >> 7 : sum;
}

u32 change_in_percent(i64 correlation, u32 threshold) {
    i64 &last = *last_correlation;
    const i64 change = std::abs(100 - last * 100 / correlation);
    const u32 result = static_cast<u32>(std::min(change, i64{UINT32_MAX}));
    const bool first = last == 0;
    if (first || result > threshold)
        last = correlation;
    return first ? 0 : result;
}

} // namespace
