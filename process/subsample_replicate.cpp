// Subsampling and pixel replication by integer factors.
#include <cstring>

#include "core/format_checks.h"
#include "core/lines.h"
#include "core/report.h"

using namespace viq;

namespace {

verdict check_subsample_arguments(const strip_call &call, const u32 &factor);
verdict check_replicate_arguments(const strip_call &call, const u32 &factor);
output_shape smaller(const strip_call &call, const u32 &factor);
output_shape larger(const strip_call &call, const u32 &factor);
u32 subsample_lines(const strip_call &call, const u32 &factor);
u32 replicate_lines(const strip_call &call, const u32 &factor);

VIQ_PER_CONTEXT(strip_sequence, subsample_sequence);
VIQ_PER_CONTEXT(strip_sequence, replicate_sequence);

constexpr strip_operation<u32> make_operation(const char *name, const char *worker_name,
                                              sequence_place sequence,
                                              strip_step<verdict, u32> check_pixels,
                                              strip_step<output_shape, u32> shape,
                                              strip_step<u32, u32> process) {
    return {.name = name,
            .worker_name = worker_name,
            .sequence = sequence,
            .check_pixels = check_pixels,
            .shape = shape,
            .process = process,
            .bare_parameters = true};
}

constexpr strip_operation<u32> subsample_operation =
    make_operation("VIQ_IP_subsample", "VIQ_IP_subsample_1_strip", subsample_sequence,
                   check_subsample_arguments, smaller, subsample_lines);

constexpr strip_operation<u32> replicate_operation =
    make_operation("VIQ_IP_pixel_rep", "VIQ_IP_pixel_rep_1_strip", replicate_sequence,
                   check_replicate_arguments, larger, replicate_lines);

} // namespace

u32 VIQ_IP_subsample(u32 hInImage, u32 hOutImage, u16 wFactor, u16 wMode) {
    return run_conversion(subsample_operation, hInImage, hOutImage, wMode, wFactor);
}

u32 VIQ_IP_pixel_rep(u32 hInImage, u32 hOutImage, u16 wFactor, u16 wMode) {
    return run_conversion(replicate_operation, hInImage, hOutImage, wMode, wFactor);
}

namespace {

verdict check_format_and_factor(const strip_call &call, u32 factor,
                                const char *zero_factor_message) {
    const verdict decision = accept_formats(
        call, formats(VIQ_Y8, VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_YUV422),
        {.or_format = true});
    if (!decision.go_on || factor != 0)
        return decision;
    return stop_with(report(call.name, VIQ_ERR_UNSUPPORTED, zero_factor_message));
}

verdict check_subsample_arguments(const strip_call &call, const u32 &factor) {
    const verdict decision =
        check_format_and_factor(call, factor, "Unsupported sub-sampling factor");
    return decision.go_on ? accept_even(call, smaller(call, factor).width) : decision;
}

verdict check_replicate_arguments(const strip_call &call, const u32 &factor) {
    verdict decision = check_format_and_factor(call, factor, "Unsupported replication factor");
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

// Copies source pixel source_of(x) to target pixel x for a whole line. In YUV 4:2:2 a pair gets the
// chroma of its first pixel.
template <u32 size, class Source>
void copy_pixels(const u8 *from, u8 *to, u32 pixels, Source source_of) {
    for (u32 x = 0; x < pixels; ++x, to += size)
        std::memcpy(to, from + std::size_t{source_of(x)} * size, size);
}

template <class Source> void copy_pairs(const u8 *from, u8 *to, u32 pixels, Source source_of) {
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
void copy_line(const tVIQ_Image &image, const u8 *from, u8 *to, u32 pixels, Source source_of) {
    if (image.pixel_format == VIQ_YUV422)
        return copy_pairs(from, to, pixels, source_of);
    switch (bytes_per_pixel(image)) {
    case 1:
        return copy_pixels<1>(from, to, pixels, source_of);
    case 2:
        return copy_pixels<2>(from, to, pixels, source_of);
    default:
        return copy_pixels<3>(from, to, pixels, source_of);
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
        copy_line(*call.in, in.line(n * factor), out.line(n), out.width,
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
        copy_line(*call.in, in.line(n), out.line(n * factor), out.width,
                  [factor](u32 x) { return x / factor; });
        for (u64 copy = 1; copy < factor; ++copy)
            std::memcpy(out.line(n * factor + copy), first,
                        std::size_t{out.width} * bytes_per_pixel(*call.out));
    }
    return success;
}

} // namespace
