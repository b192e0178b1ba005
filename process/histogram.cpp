// Histograms of HSI images: histogram_result, smoothing, matching.
#include <cstdlib>

#include "core/byte_order.h"
#include "core/lines.h"
#include "core/report.h"
#include "core/strip_driver.h"

using namespace viq;

namespace {

constexpr u32 hues = 360;

VIQ_PER_CONTEXT(strip_sequence, sequence);

// The argument of VIQ_IP_histogram_generate.
struct histogram_result {
    tVIQ_Histogram *histogram;
};

verdict check_generate_arguments(const strip_call &call, const histogram_result &result);
u32 clear_result(const strip_call &call, const histogram_result &result);
u32 count_strip(const strip_call &call, const histogram_result &result);

constexpr strip_transfer<histogram_result> generate_transfer = {
    .name = "VIQ_IP_histogram_generate",
    .sequence = sequence,
    .check_image = check_generate_arguments,
    .begin = clear_result,
    .process = count_strip,
};

u32 report_null_histogram(const char *function,
                          const char *message = "Histogram structure is NULL") {
    return report(function, VIQ_ERR_PARAMETER, message);
}

template <u32 bins> void smooth(u32 (&plane)[bins]);
u32 match_plane(const u32 *a, const u32 *b, u32 bins, i64 level, u32 &result);

} // namespace

u32 VIQ_IP_histogram_clear(tVIQ_Histogram *pHistogram) {
    if (pHistogram == nullptr)
        return report_null_histogram("VIQ_IP_histogram_clear");
    *pHistogram = {};
    return success;
}

u32 VIQ_IP_histogram_copy(const tVIQ_Histogram *pFrom, tVIQ_Histogram *pTo) {
    if (pFrom == nullptr || pTo == nullptr)
        return report_null_histogram("VIQ_IP_histogram_copy");
    *pTo = *pFrom;
    return success;
}

u32 VIQ_IP_histogram_generate(u32 hInImage, tVIQ_Histogram *pHistogram, u16 wMode) {
    return run_transfer(generate_transfer, hInImage, wMode, {pHistogram});
}

u32 VIQ_IP_histogram_filter(tVIQ_Histogram *pHistogram, u16 wOrder) {
    constexpr const char *name = "VIQ_IP_histogram_filter";
    constexpr u16 lowest_order = 900;
    if (pHistogram == nullptr)
        return report_null_histogram(name, "Histogram structure(s) is NULL");
    if (wOrder != lowest_order)
        return report(name, VIQ_ERR_UNSUPPORTED, "Only 0th order currently supported");
    smooth(pHistogram->hue);
    smooth(pHistogram->saturation);
    smooth(pHistogram->intensity);
    return success;
}

u32 VIQ_IP_histogram_match(const tVIQ_Histogram *pA, const tVIQ_Histogram *pB, u16 wPlane,
                           u32 *pdwResult) {
    constexpr const char *name = "VIQ_IP_histogram_match";
    if (pA == nullptr || pB == nullptr)
        return report_null_histogram(name);
    if (pdwResult == nullptr)
        return report_null(name);
    switch (wPlane) {
    case 1:
        return match_plane(pA->hue, pB->hue, hues, pA->totals[0] / hues, *pdwResult);
    case 2:
        return match_plane(pA->saturation, pB->saturation, 256, pA->totals[1] >> 8, *pdwResult);
    case 3:
        return match_plane(pA->intensity, pB->intensity, 256, pA->totals[2] >> 8, *pdwResult);
    default:
        return report(name, VIQ_ERR_PARAMETER | 1, "Only planes 1,2 and 3 are acceptable");
    }
}

namespace {

verdict check_generate_arguments(const strip_call &call, const histogram_result &result) {
    constexpr const char *name = generate_transfer.name;
    if (result.histogram == nullptr)
        return stop_with(report_null_histogram(name));
    if (call.in->pixel_format != VIQ_HSI)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image format"));
    return proceed;
}

u32 clear_result(const strip_call &, const histogram_result &result) {
    return VIQ_IP_histogram_clear(result.histogram);
}

// Two counters per bin, so that consecutive equal pixels do not depend on each other. Pixels with a
// hue above 359 are counted in the extra last bins, which are not added to the histogram.
struct counters {
    u32 hue[2][hues + 1];
    u32 saturation[2][256 + 1], intensity[2][256 + 1];
};

void count_pixel(counters &counts, u32 which, const u8 *pixel) {
    const u32 hue = load_word(pixel);
    const bool counted = hue < hues;
    ++counts.hue[which][counted ? hue : hues];
    ++counts.saturation[which][counted ? pixel[2] : 256u];
    ++counts.intensity[which][counted ? pixel[3] : 256u];
}

template <u32 bins> u32 add_counts(u32 (&plane)[bins], const u32 *first, const u32 *second) {
    u32 total = 0;
    for (u32 n = 0; n < bins; ++n) {
        plane[n] += first[n] + second[n];
        total += plane[n];
    }
    return total;
}

u32 count_strip(const strip_call &call, const histogram_result &result) {
    if (!has_lines(*call.in, call.in->lines_per_strip))
        return report_no_data("VIQ_IP_histogram_generate_1_strip");
    counters counts = {};
    const line_view in = lines_of(*call.in);
    for (u64 n = 0; n < in.lines; ++n) {
        const u8 *line = in.line(n);
        u32 x = 0;
        for (; x + 1 < in.width; x += 2, line += 8) {
            count_pixel(counts, 0, line);
            count_pixel(counts, 1, line + 4);
        }
        if (x < in.width)
            count_pixel(counts, 0, line);
    }
    tVIQ_Histogram &h = *result.histogram;
    h.totals[0] = add_counts(h.hue, counts.hue[0], counts.hue[1]);
    h.totals[1] = add_counts(h.saturation, counts.saturation[0], counts.saturation[1]);
    h.totals[2] = add_counts(h.intensity, counts.intensity[0], counts.intensity[1]);
    return success;
}

// Weights 1/4, 1/2, 1/4; the first and the last bin are unchanged.
template <u32 bins> void smooth(u32 (&plane)[bins]) {
    u64 previous = plane[0];
    for (u32 n = 1; n + 1 < bins; ++n) {
        const u64 current = plane[n];
        plane[n] = static_cast<u32>((previous + 2 * current + plane[n + 1]) >> 2);
        previous = current;
    }
}

u32 match_plane(const u32 *a, const u32 *b, u32 bins, i64 level, u32 &result) {
    i64 spread = 0;
    i64 difference = 0;
    for (u32 n = 0; n < bins; ++n) {
        spread += std::abs(a[n] - level);
        difference += std::abs(i64{a[n]} - b[n]);
    }
    result = 0;
    if (spread == 0 || difference >= spread)
        return success;
    const i64 percent = 100 - difference * 100 / spread;
    if (percent < 0 || percent > 100)
        return report("VIQ_IP_histogram_match", VIQ_ERR_INTERNAL | 3,
                      "Result not within 0 to 100 limits");
    result = static_cast<u32>(percent);
    return success;
}

} // namespace
