// The steps that converters share.
#include "convert/converter.h"

#include <algorithm>

#include "convert/conversion_rows.h"
#include "convert/hue_table.h"
#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"

namespace viq {

namespace {

u32 options_for(const strip_call &call, row_options &options);
u32 extra_skip(const tVIQ_Image &in, const tVIQ_Image &out);
u32 convert_skewed_lines(const strip_call &call, row_kernel row, const row_options &options,
                         u32 skew);
bool lines_join(const tVIQ_Image &in, const tVIQ_Image &out);

} // namespace

verdict check_listed_format(const strip_call &call, const converter &which) {
    const char *name = which.operation.name;
    if (!contains(which.accepted, call.in->pixel_format))
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, which.refusal));
    const u32 code = check_grey_width(name, *call.in);
    return is_error(code) ? stop_with(code) : proceed;
}

verdict copy_or_check_format(const strip_call &call, const converter &which) {
    if (call.in->pixel_format == which.target)
        return stop_with(VIQ_image_copy(call.in_handle, call.out_handle));
    return check_listed_format(call, which);
}

output_shape same_size(const strip_call &call, const converter &which) {
    return {which.target, call.in->width, call.in->height};
}

u32 convert_lines(const strip_call &call) {
    const tVIQ_Image &in = *call.in;
    const tVIQ_Image &out = *call.out;
    const char *worker = call.worker_name;
    const row_kernel row = find_row(in.pixel_format, out.pixel_format);
    if (row == nullptr)
        return report(worker, VIQ_ERR_UNSUPPORTED, "Unsupported image format");
    u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    row_options options;
    code = options_for(call, options);
    if (is_error(code))
        return code;

    if (const u32 skew = extra_skip(in, out))
        return convert_skewed_lines(call, row, options, skew);
    if (lines_join(in, out))
        row(in.data, out.data, in.width * in.lines_per_strip, options);
    else
        for (std::size_t n = 0; n < lines_with_pixels(in); ++n)
            row(in.data + n * in.bytes_per_line, out.data + n * out.bytes_per_line, in.width,
                options);
    return success;
}

namespace {

u32 options_for(const strip_call &call, row_options &options) {
    const tVIQ_Image &in = *call.in;
    if (in.pixel_format == VIQ_Y16)
        options.shift = in.data_width - 8u;
    else if (call.out->pixel_format == VIQ_Y16)
        options.shift = call.out->data_width - 8u;
    options.keep_spare = pixel_bytes(call.out->pixel_format) == 4 && !owns_data(*call.out);
    options.map = in.colourmap;
    if (in.pixel_format == VIQ_PALETTED && options.map == nullptr)
        return report_no_colourmap(call.worker_name);
    if (call.out->pixel_format != VIQ_HSI)
        return success;
    return need_hue_table(options.hue);
}

// Conversions to Y8 skip these source bytes after each line of odd width, although 32-bit and
// YUV 4:2:2 lines have no such padding at the default alignment. The skew accumulates from line to
// line. Callers depend on the result, so it is kept.
u32 extra_skip(const tVIQ_Image &in, const tVIQ_Image &out) {
    if (out.pixel_format != VIQ_Y8 || in.width % 2 == 0)
        return 0;
    if (contains(rgb_32_formats, in.pixel_format))
        return 1;
    return in.pixel_format == VIQ_YUV422 ? 2 : 0;
}

// Source bytes after the end of the strip read as 0.
u32 convert_skewed_lines(const strip_call &call, row_kernel row, const row_options &options,
                         u32 skew) {
    const tVIQ_Image &in = *call.in;
    const tVIQ_Image &out = *call.out;
    const u64 strip = strip_size(in, in.lines_per_strip);
    const u64 line = line_pixel_bytes(in.bits_per_pixel) * in.width;
    vector<u8> cut;
    if (!try_resize(cut, line))
        return report_no_memory(call.worker_name, line);
    for (u64 n = 0; n < lines_with_pixels(in); ++n) {
        const u64 start = std::min(n * (u64{in.bytes_per_line} + skew), strip);
        const u8 *source = in.data + static_cast<std::size_t>(start);
        if (strip - start < line) {
            std::fill(cut.begin(), cut.end(), u8{0});
            std::copy_n(source, static_cast<std::size_t>(strip - start), cut.begin());
            source = cut.data();
        }
        row(source, out.data + static_cast<std::size_t>(n * out.bytes_per_line), in.width, options);
    }
    return success;
}

// If neither side has padding, the strip is converted as one long line. Odd widths are excluded
// because of pixel pairs.
bool lines_join(const tVIQ_Image &in, const tVIQ_Image &out) {
    return in.skip_bytes == 0 && out.skip_bytes == 0 && in.width == out.width &&
           in.width % 2 == 0 && u64{in.width} * in.lines_per_strip <= UINT32_MAX;
}

} // namespace

} // namespace viq
