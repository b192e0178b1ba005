// Converters to and from paletted images.
#include "convert/closest_colour.h"
#include "convert/cmap_bins.h"
#include "convert/conversion_rows.h"
#include "convert/converter.h"
#include "core/cmap_record.h"
#include "core/image.h"
#include "core/report.h"
#include "core/scratch.h"

using namespace viq;

namespace {

verdict check_cmap_generated(const strip_call &call, const converter &which);
u32 map_by_bins(const strip_call &call);
u32 dither_strip(const strip_call &call);
u32 set_colour_cube(const strip_call &call);
verdict check_paletted(const strip_call &call, const converter &which);
output_shape colour_or_grey(const strip_call &call, const converter &which);

VIQ_PER_CONTEXT(strip_sequences<3>, sequences);

constexpr converter make_to_paletted() {
    converter made = make_converter("VIQ_convert_to_paletted", "VIQ_convert_to_paletted_1_strip",
                                    {sequences, 0}, VIQ_PALETTED, formats(VIQ_RGB24, VIQ_Y8));
    made.operation.check_pixels = check_cmap_generated;
    made.operation.process = map_by_bins;
    return made;
}

constexpr converter make_dither() {
    converter made =
        make_converter("VIQ_convert_to_RGB8_dither", "VIQ_convert_to_RGB8_dither_1_strip",
                       {sequences, 1}, VIQ_PALETTED, formats(VIQ_RGB24));
    made.operation.check_pixels = check_listed_format;
    made.operation.complete_output = set_colour_cube;
    made.operation.process = dither_strip;
    return made;
}

constexpr converter make_from_paletted() {
    converter made =
        make_converter("VIQ_convert_to_RGB24_or_Y8", "VIQ_convert_to_RGB24_or_Y8_1_strip",
                       {sequences, 2}, VIQ_RGB24, formats(VIQ_PALETTED));
    made.refusal = "Input image should be paletted";
    made.operation.check_pixels = check_paletted;
    made.operation.shape = colour_or_grey;
    return made;
}

} // namespace

namespace viq {

constexpr converter to_paletted_converter = make_to_paletted();
constexpr converter dither_converter = make_dither();
constexpr converter paletted_converter = make_from_paletted();

} // namespace viq

u32 VIQ_convert_to_paletted(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(to_paletted_converter, hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_RGB8_dither(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(dither_converter, hInImage, hOutImage, wStripCommand);
}

u32 VIQ_paletted_to_RGB24_or_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(paletted_converter, hInImage, hOutImage, wStripCommand);
}

namespace {

constexpr u16 no_index = 0xFFFF;

void fill_index_of_bin(const tVIQ_Image &in, u16 (&index_of_bin)[most_bins]);

verdict check_cmap_generated(const strip_call &call, const converter &which) {
    const verdict decision = copy_or_check_format(call, which);
    if (decision.go_on && call.in->cmap_info == nullptr)
        return stop_with(
            report(call.name, VIQ_ERR_PARAMETER, "VIQ_cmap_generate must be called first"));
    return decision;
}

// A pixel becomes the index of its bin, or the nearest colour of the colourmap if the bin has none.
u32 map_by_bins(const strip_call &call) {
    const tVIQ_Image &in = *call.in;
    const tVIQ_Image &out = *call.out;
    const char *worker = call.worker_name;
    if (!bits_fit(*in.cmap_info))
        return report(worker, VIQ_ERR_INTERNAL, "More than 8 bits in one colour");
    if (bins_in_use(in) == 0)
        return report(worker, VIQ_ERR_INTERNAL, "Array size overflow");
    if (out.colourmap == nullptr)
        return report_no_colourmap(worker);
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;

    u16 index_of_bin[most_bins];
    fill_index_of_bin(in, index_of_bin);
    closest_cells nearest;
    const u64 size = u64{in.width} * sizeof(u16);
    auto *bins = reinterpret_cast<u16 *>(scratch_bytes(scratch::palette_bins, size));
    if ((bins == nullptr && size != 0) || !prepare(nearest, out.colourmap, colour_count(out)))
        return report_no_memory(worker, size);

    const bin_kernel bins_of = find_bins(in.pixel_format);
    const bin_rule rule = bin_rule_of(in);
    // The first, middle and last byte of a pixel are red, green and blue in RGB24, and the grey of
    // Y8.
    const std::size_t bytes = pixel_bytes(in.pixel_format);
    for (std::size_t n = 0; n < lines_with_pixels(in); ++n) {
        const u8 *source = in.data + n * in.bytes_per_line;
        u8 *target = out.data + n * out.bytes_per_line;
        bins_of(source, bins, in.width, rule);
        for (u32 x = 0; x < in.width; ++x, source += bytes) {
            const u16 index = index_of_bin[bins[x]];
            target[x] = index != no_index ? static_cast<u8>(index)
                                          : closest_colour(nearest, source[0], source[bytes / 2],
                                                           source[bytes - 1]);
        }
    }
    return success;
}

void fill_index_of_bin(const tVIQ_Image &in, u16 (&index_of_bin)[most_bins]) {
    const tVIQ_CmapInfo &info = *in.cmap_info;
    for (u32 i = 0; i < most_bins; ++i) {
        const bool assigned = i < info.bin_count && info.bins[i].index != no_colour_of_bin;
        index_of_bin[i] = assigned ? static_cast<u16>(info.bins[i].index & 0xFF) : no_index;
    }
}

u32 set_colour_cube(const strip_call &call) {
    return VIQ_cmap_set_type(call.out_handle, VIQ_CMAP_CUBE);
}

u32 dither_strip(const strip_call &call) {
    const tVIQ_Image &in = *call.in;
    const tVIQ_Image &out = *call.out;
    const u32 code = begin_strip(call);
    if (is_error(code))
        return code;
    for (std::size_t n = 0; n < lines_with_pixels(in); ++n)
        dither_row(in.data + n * in.bytes_per_line, out.data + n * out.bytes_per_line, in.width);
    return success;
}

verdict check_paletted(const strip_call &call, const converter &which) {
    const u16 format = call.in->pixel_format;
    if (format == VIQ_RGB24 || format == VIQ_Y8)
        return stop_with(VIQ_image_copy(call.in_handle, call.out_handle));
    const verdict decision = check_listed_format(call, which);
    if (!decision.go_on || call.in->colourmap != nullptr)
        return decision;
    return stop_with(VIQ_cmap_is_grayscale(call.in_handle));
}

output_shape colour_or_grey(const strip_call &call, const converter &which) {
    output_shape shape = same_size(call, which);
    if (call.in->pixel_format != VIQ_PALETTED)
        shape.format = call.in->pixel_format;
    else if (VIQ_cmap_is_grayscale(call.in_handle) == 1)
        shape.format = VIQ_Y8;
    return shape;
}

} // namespace
