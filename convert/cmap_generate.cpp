// The histogram in the bins of a colourmap record, and the adaptive colourmap generated from it.
#include <algorithm>
#include <numeric>

#include "convert/cmap_bins.h"
#include "core/cmap_record.h"
#include "core/format_checks.h"
#include "core/image.h"
#include "core/report.h"
#include "core/scratch.h"
#include "core/strip_driver.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_cmap_generate";
constexpr const char *strip_name = "VIQ_cmap_generate_1_strip";

VIQ_PER_CONTEXT(strip_sequence, sequence);

verdict check_source(const strip_call &call, const u16 &wanted_colours);
u32 begin(const strip_call &call, const u16 &wanted_colours);
u32 count_strip(const strip_call &call);
u32 histogram_to_cmap(const strip_call &call);

constexpr strip_transfer<u16> generation = {
    .name = name,
    .sequence = sequence,
    .check_image = check_source,
    .begin = begin,
    .process = count_strip,
    .finish = histogram_to_cmap,
};

} // namespace

u32 VIQ_cmap_generate(u32 hImage, u16 wNumColours, u16 wStripCommand) {
    return run_transfer(generation, hImage, wStripCommand, wNumColours);
}

u32 VIQ_cmap_get_occurrences(u32 hImage, u16 wBin) {
    constexpr const char *function = "VIQ_cmap_get_occurrences";
    const tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(function);
    if (image->cmap_info == nullptr)
        return report(function, VIQ_ERR_HANDLE, "No cmap info structure");
    if (wBin >= most_bins)
        return report(function, VIQ_ERR_PARAMETER, "Bin out of range");
    return image->cmap_info->bins[wBin].occurrences;
}

u32 VIQ_cmap_set_bits(u32 hImage, u8 bRed, u8 bGreen, u8 bBlue, u8 bGrey) {
    constexpr const char *function = "VIQ_cmap_set_bits";
    tVIQ_Image *image = find_image_to_change(hImage);
    if (image == nullptr)
        return report_unchangeable(function, hImage);
    for (const u8 bits : {bRed, bGreen, bBlue, bGrey})
        if (bits < 1 || bits > 8)
            return report(function, VIQ_ERR_PARAMETER, "Bits of a colour must be 1 to 8");
    if (u32{bRed} + bGreen + bBlue > most_bin_bits)
        return report(function, VIQ_ERR_PARAMETER, "Too many bits for the colour bins");
    if (!need_cmap_info(*image))
        return report(function, VIQ_ERR_MEMORY, "Cannot create cmap info structure");
    tVIQ_CmapInfo &info = *image->cmap_info;
    info.red_bits = bRed;
    info.green_bits = bGreen;
    info.blue_bits = bBlue;
    info.grey_bits = bGrey;
    return success;
}

namespace viq {

bin_rule bin_rule_of(const tVIQ_Image &image) {
    const tVIQ_CmapInfo &info = *image.cmap_info;
    const u32 shift = image.pixel_format == VIQ_Y16 ? image.data_width - 8u : 0;
    return {info.red_bits, info.green_bits, info.blue_bits, info.grey_bits, shift};
}

u32 bins_in_use(const tVIQ_Image &image) {
    const tVIQ_CmapInfo &info = *image.cmap_info;
    const u32 bits = image.pixel_format == VIQ_RGB24
                         ? u32{info.red_bits} + info.green_bits + info.blue_bits
                         : info.grey_bits;
    return bits <= most_bin_bits ? 1u << bits : 0;
}

bool bits_fit(const tVIQ_CmapInfo &info) {
    return std::max({info.red_bits, info.green_bits, info.blue_bits, info.grey_bits}) <= 8;
}

} // namespace viq

namespace {

verdict check_source(const strip_call &call, const u16 &wanted_colours) {
    const u16 format = call.in->pixel_format;
    if (format != VIQ_RGB24 && format != VIQ_Y8 && format != VIQ_Y16)
        return stop_with(report(name, VIQ_ERR_UNSUPPORTED, "Unsupported image format"));
    const u32 code = check_grey_width(name, *call.in);
    if (is_error(code))
        return stop_with(code);
    if (wanted_colours > colourmap_size)
        return stop_with(report(name, VIQ_ERR_PARAMETER, "Too many colours"));
    return proceed;
}

// The new colours are appended to those that the colourmap already has.
u32 begin(const strip_call &call, const u16 &wanted_colours) {
    tVIQ_Image &image = *call.in;
    if (!need_cmap_info(image))
        return report(name, VIQ_ERR_MEMORY, "Cannot create cmap info structure");
    tVIQ_CmapInfo &info = *image.cmap_info;
    const u32 present = colour_count(image);
    const u32 wanted = wanted_colours;
    info.colours_to_generate = static_cast<u16>(wanted > present ? wanted - present : 0);
    image.num_colours = static_cast<u16>(wanted);
    info.bin_count = bins_in_use(image);
    if (info.bin_count == 0)
        return report(name, VIQ_ERR_INTERNAL, "Array size overflow");
    for (u32 i = 0; i < info.bin_count; ++i)
        info.bins[i] = {i, 0, no_colour_of_bin};
    return success;
}

u32 count_strip(const strip_call &call) {
    const tVIQ_Image &image = *call.in;
    if (image.cmap_info == nullptr)
        return report(strip_name, VIQ_ERR_HANDLE, "No cmap info structure");
    tVIQ_CmapInfo &info = *image.cmap_info;
    if (!bits_fit(info))
        return report(strip_name, VIQ_ERR_INTERNAL, "More than 8 bits in one colour");
    if (bins_in_use(image) != info.bin_count)
        return report(strip_name, VIQ_ERR_INTERNAL, "Array size overflow");
    if (!has_lines(image, image.lines_per_strip))
        return report_no_data(strip_name);
    const u64 size = u64{image.width} * sizeof(u16);
    auto *bins = reinterpret_cast<u16 *>(scratch_bytes(scratch::palette_bins, size));
    if (bins == nullptr && size != 0)
        return report_no_memory(strip_name, size);
    const bin_kernel bins_of = find_bins(image.pixel_format);
    const bin_rule rule = bin_rule_of(image);
    for (std::size_t n = 0; n < lines_with_pixels(image); ++n) {
        bins_of(image.data + n * image.bytes_per_line, bins, image.width, rule);
        for (u32 x = 0; x < image.width; ++x)
            ++info.bins[bins[x]].occurrences;
    }
    return success;
}

tVIQ_Colour centre_of_bin(const tVIQ_Image &image, u32 value);

// The new colours are the centres of the most frequent bins.
u32 histogram_to_cmap(const strip_call &call) {
    constexpr const char *function = "histogram_to_cmap";
    tVIQ_Image &image = *call.in;
    tVIQ_CmapInfo &info = *image.cmap_info;
    if (!bits_fit(info))
        return report(function, VIQ_ERR_INTERNAL | 1, "more than 8 bits in one colour");
    if (image.colourmap == nullptr)
        return report_no_colourmap(function);
    vector<u16> order;
    if (!try_resize(order, info.bin_count))
        return report_no_memory(function, info.bin_count * sizeof(u16));
    std::iota(order.begin(), order.end(), u16{0});
    std::stable_sort(order.begin(), order.end(), [&info](u16 a, u16 b) {
        return info.bins[a].occurrences > info.bins[b].occurrences;
    });
    const auto empty = std::find_if(order.begin(), order.end(),
                                    [&info](u16 bin) { return info.bins[bin].occurrences == 0; });
    info.distinct_colours = static_cast<u32>(empty - order.begin());

    const u32 first = image.num_colours - u32{info.colours_to_generate};
    u64 covered = 0;
    for (u32 k = first; k < colour_count(image); ++k) {
        const u32 rank = k - first;
        tVIQ_Colour &entry = image.colourmap[k];
        tVIQ_Colour colour = {};
        if (rank < info.bin_count) {
            tVIQ_CmapBin &bin = info.bins[order[rank]];
            bin.index = k;
            covered += bin.occurrences;
            if (rank < info.distinct_colours)
                colour = centre_of_bin(image, bin.value);
        }
        entry.red = colour.red;
        entry.green = colour.green;
        entry.blue = colour.blue;
    }
    const u64 pixels = u64{image.width} * image.height;
    info.coverage = static_cast<u16>(pixels != 0 ? covered * 100 / pixels : 0);
    return success;
}

u8 centre_of_range(u32 field, u32 bits) {
    return static_cast<u8>(((field & ((1u << bits) - 1)) << (8 - bits)) + (128u >> bits));
}

tVIQ_Colour centre_of_bin(const tVIQ_Image &image, u32 value) {
    const tVIQ_CmapInfo &info = *image.cmap_info;
    if (image.pixel_format != VIQ_RGB24) {
        const u8 grey = centre_of_range(value, info.grey_bits);
        return {grey, grey, grey, 0};
    }
    return {centre_of_range(value >> (info.green_bits + info.blue_bits), info.red_bits),
            centre_of_range(value >> info.blue_bits, info.green_bits),
            centre_of_range(value, info.blue_bits), 0};
}

} // namespace
