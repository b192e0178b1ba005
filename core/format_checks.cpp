#include "core/format_checks.h"

#include "core/report.h"

namespace viq {

verdict accept_formats(const strip_call &call, format_set accepted, const format_refusal &refusal) {
    const u16 format = call.in->pixel_format;
    if (contains(accepted, format))
        return proceed;
    return stop_with(report(call.name, refusal.or_format ? refusal.code | format : refusal.code,
                            refusal.message));
}

verdict accept_even(const strip_call &call, u64 width) {
    if (call.in->pixel_format != VIQ_YUV422 || width % 2 == 0)
        return proceed;
    return stop_with(report(call.name, VIQ_ERR_UNSUPPORTED, "YUV422 image must be an even width"));
}

u32 check_grey_width(const char *function, const tVIQ_Image &image) {
    if (image.pixel_format == VIQ_Y16 && image.data_width < 8)
        return report(function, VIQ_ERR_CORRUPT, "Data width must be > 7 for Y16");
    return success;
}

} // namespace viq
