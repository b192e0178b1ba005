// Subsampling and pixel replication by whole factors.
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

verdict accept_subsample(const strip_call &call, const u32 &factor);
verdict accept_replicate(const strip_call &call, const u32 &factor);
output_shape smaller(const strip_call &call, const u32 &factor);
output_shape larger(const strip_call &call, const u32 &factor);
u32 subsample_lines(const strip_call &call, const u32 &factor);
u32 replicate_lines(const strip_call &call, const u32 &factor);

strip_sequence subsample_sequence;
strip_sequence replicate_sequence;

constexpr strip_operation<u32> subsample_operation = {.name = "VIQ_IP_subsample",
                                                      .worker_name = "VIQ_IP_subsample_1_strip",
                                                      .sequence = &subsample_sequence,
                                                      .check_pixels = accept_subsample,
                                                      .shape = smaller,
                                                      .process = subsample_lines,
                                                      .bare_parameters = true};

constexpr strip_operation<u32> replicate_operation = {.name = "VIQ_IP_pixel_rep",
                                                      .worker_name = "VIQ_IP_pixel_rep_1_strip",
                                                      .sequence = &replicate_sequence,
                                                      .check_pixels = accept_replicate,
                                                      .shape = larger,
                                                      .process = replicate_lines,
                                                      .bare_parameters = true};

} // namespace

u32 VIQ_IP_subsample(u32 hInImage, u32 hOutImage, u16 wFactor, u16 wMode) {
    return run_conversion(subsample_operation, hInImage, hOutImage, wMode, wFactor);
}

u32 VIQ_IP_pixel_rep(u32 hInImage, u32 hOutImage, u16 wFactor, u16 wMode) {
    return run_conversion(replicate_operation, hInImage, hOutImage, wMode, wFactor);
}

namespace {

verdict accept_factor(const strip_call &call, u32 factor, const char *no_factor) {
    const verdict decision = accept_formats(
        call, formats(VIQ_Y8, VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_YUV422),
        {.or_format = true});
    if (!decision.go_on || factor != 0)
        return decision;
    return stop_with(report(call.name, VIQ_ERR_UNSUPPORTED, no_factor));
}

verdict accept_subsample(const strip_call &call, const u32 &factor) {
    const verdict decision = accept_factor(call, factor, "Unsupported sub-sampling factor");
    return decision.go_on ? accept_even(call, smaller(call, factor).width) : decision;
}

verdict accept_replicate(const strip_call &call, const u32 &factor) {
    verdict decision = accept_factor(call, factor, "Unsupported replication factor");
    if (decision.go_on)
        decision = accept_even(call, call.in->width);
    if (!decision.go_on)
        return decision;
    for (const u64 side : {call.in->width, call.in->height, call.in->lines_per_strip})
        if (side * u64{factor} > UINT32_MAX)
            return stop_with(report(call.name, VIQ_ERR_PARAMETER, "Output image too large"));
    return proceed;
}

output_shape smaller(const strip_call &call, const u32 &factor) {
    output_shape shape = same_shape(call);
    shape.width /= factor;
    shape.height /= factor;
    return shape;
}

output_shape larger(const strip_call &call, const u32 &factor) {
    output_shape shape = same_shape(call);
    shape.width *= factor;
    shape.height *= factor;
    return shape;
}

// One line with target pixel x taken from source pixel source_of(x). Pairs of YUV 4:2:2 take the
// chroma of their first pixel.
template <u32 size, class Source>
void pick_pixels(const u8 *from, u8 *to, u32 pixels, Source source_of) {
    for (u32 x = 0; x < pixels; ++x, to += size)
        std::memcpy(to, from + std::size_t{source_of(x)} * size, size);
}

template <class Source> void pick_pairs(const u8 *from, u8 *to, u32 pixels, Source source_of) {
    for (u32 x = 0; x + 1 < pixels; x += 2, to += 4) {
        const std::size_t first = source_of(x);
        const u8 *pair = from + first / 2 * 4;
        to[0] = from[2 * first];
        to[1] = pair[1];
        to[2] = from[std::size_t{2} * source_of(x + 1)];
        to[3] = pair[3];
    }
}

template <class Source>
void pick(const tVIQ_Image &image, const u8 *from, u8 *to, u32 pixels, Source source_of) {
    if (image.pixel_format == VIQ_YUV422)
        return pick_pairs(from, to, pixels, source_of);
    switch (bytes_per_pixel(image)) {
    case 1:
        return pick_pixels<1>(from, to, pixels, source_of);
    case 2:
        return pick_pixels<2>(from, to, pixels, source_of);
    default:
        return pick_pixels<3>(from, to, pixels, source_of);
    }
}

u32 subsample_lines(const strip_call &call, const u32 &factor) {
    call.out->lines_per_strip = call.in->lines_per_strip / factor;
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    for (u64 n = 0; n < out.lines; ++n)
        pick(*call.in, in.line(n * factor), out.line(n), out.width,
             [factor](u32 x) { return x * factor; });
    return success;
}

u32 replicate_lines(const strip_call &call, const u32 &factor) {
    call.out->lines_per_strip = call.in->lines_per_strip * factor;
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    const line_view in = lines_of(*call.in);
    const line_view out = lines_of(*call.out);
    for (u64 n = 0; n < in.lines; ++n) {
        const u8 *first = out.line(n * factor);
        pick(*call.in, in.line(n), out.line(n * factor), out.width,
             [factor](u32 x) { return x / factor; });
        for (u64 again = 1; again < factor; ++again)
            std::memcpy(out.line(n * factor + again), first,
                        std::size_t{out.width} * bytes_per_pixel(*call.out));
    }
    return success;
}

} // namespace
