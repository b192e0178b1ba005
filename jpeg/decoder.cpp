// JPEG decoder, strip by strip.
#include "jpeg/decoder.h"

#include <algorithm>
#include <cstring>

#include "convert/conversion_rows.h"
#include "core/geometry.h"
#include "core/limits.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "jpeg/component_decoder.h"
#include "jpeg/jpeg_record.h"
#include "jpeg/pair_store.h"
#include "jpeg/picture_size.h"
#include "jpeg/scan_reader.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_JPEG_decompress";
// Data that is too short for its picture is rejected before memory is allocated.
constexpr u32 most_blocks_per_byte = 32;
constexpr u32 data_allowance = 64; // bytes that the data of a small picture may lack
constexpr u32 block_width = pair_width / 2;
constexpr u32 largest_mcu_height = 16;
constexpr u32 mcus_at_once = 16; // all stages of so many MCUs fit the first-level cache

struct original_size {
    u32 width, height, lines_per_strip;
};

struct decode_state {
    bool under_way = false;
    u32 handle = 0;
    const tVIQ_Image *image = nullptr;
    const tVIQ_Image *out = nullptr; // of the last call
    strip_geometry geometry = {};    // of the JPEG image during the decode
    original_size original = {};
    u32 lines_done = 0;
    scan_layout layout = {};
    quantiser tables[2] = {};
    scan_reader reader = {};
    vector<decoded_pair> pairs; // of `mcus_at_once`
    pair_store store;           // all others, unless the picture is one strip
    // Pictures that were read in the conforming mode are decoded line by line instead.
    bool has_form = false;
    component_decoder by_lines;
};

void end_sequences(decode_state &state, const tVIQ_Image *image);

VIQ_PER_CONTEXT(decode_state, decode);

u32 start(u32 hJpegImage);
u32 decode_strip(u32 hJpegImage, u32 hOutImage);
u32 start_by_lines(u32 hJpegImage);
u32 decode_strip_by_lines(u32 hJpegImage, u32 hOutImage);
void finish();
bool is_this_decode(const tVIQ_Image &image);

} // namespace

u32 VIQ_JPEG_decompress(u32 hJpegImage, u32 hOutImage, u16 wMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    if (wMode == VIQ_STRIP_FINISH && decode->under_way) {
        finish();
        return success;
    }
    u32 code = check_image(name, hJpegImage);
    if (is_error(code))
        return code;
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    if (jpeg.lines_per_strip == 0)
        return success;
    const bool has_form = jpeg.jpeg != nullptr && form_of(*jpeg.jpeg) != nullptr;
    if (!has_form && jpeg.pixel_format != VIQ_Y8 && jpeg.pixel_format != VIQ_YUV422 &&
        jpeg.pixel_format != VIQ_YUV411)
        return report(name, VIQ_ERR_UNSUPPORTED | jpeg.pixel_format, "Unsupported image format");
    if (wMode != VIQ_STRIP_NEXT)
        return success;
    if (find_image(hOutImage) == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Output image does not exist");
    if (find_image(hOutImage) == &jpeg)
        return report_same_image(name);
    if (decode->under_way && !is_this_decode(jpeg))
        return report(name, VIQ_ERR_STATE, "Sequence under way with another image");
    decode->out = find_image(hOutImage);
    companion(jpeg).in_sequence = companion(*decode->out).in_sequence = true;
    if (!decode->under_way)
        code = has_form ? start_by_lines(hJpegImage) : start(hJpegImage);
    if (!is_error(code))
        code = decode->has_form ? decode_strip_by_lines(hJpegImage, hOutImage)
                                : decode_strip(hJpegImage, hOutImage);
    if (is_error(code) && (decode->lines_done == 0 || decode->has_form))
        finish();
    return code;
}

namespace viq {

bool decode_under_way() {
    return decode->under_way;
}

void transform_pair(const decoded_pair &pair, const quantiser &steps, u8 *samples,
                    std::size_t line) {
    const bool flat = (pair.blocks.masks[0] | pair.blocks.masks[1]) == 0;
    const bool small =
        pair.dc[0] == static_cast<i16>(pair.dc[0]) && pair.dc[1] == static_cast<i16>(pair.dc[1]);
    if (flat) {
        const u8 levels[2] = {flat_sample(pair.dc[0], steps), flat_sample(pair.dc[1], steps)};
        for (std::size_t y = 0; y < block_lines; ++y)
            for (std::size_t i = 0; i < 2; ++i)
                std::memset(samples + y * line + block_width * i, levels[i], block_width);
        return;
    }
    if (small && current_blocks().inverse(pair.blocks, steps, samples, line))
        return;
    for (std::size_t i = 0; i < 2; ++i)
        inverse_block(pair.blocks.coefficients[i], pair.dc[i], steps, samples + block_width * i,
                      line);
}

} // namespace viq

namespace {

void end_sequences(decode_state &state, const tVIQ_Image *image) {
    if (state.under_way && (image == nullptr || image == state.image || image == state.out))
        finish();
}

bool is_this_decode(const tVIQ_Image &image) {
    return &image == decode->image && geometry_of(image) == decode->geometry;
}

scan_layout layout_of(const tVIQ_Image &jpeg) {
    scan_layout layout = {};
    layout.colour = jpeg.pixel_format != VIQ_Y8;
    layout.mcu_width = pair_width;
    layout.mcu_height = jpeg.pixel_format == VIQ_YUV411 ? 16 : 8;
    layout.mcus = static_cast<u32>(rounded_up(jpeg.width, layout.mcu_width) / layout.mcu_width);
    layout.mcu_rows =
        static_cast<u32>(rounded_up(jpeg.height, layout.mcu_height) / layout.mcu_height);
    layout.pairs = layout.colour ? layout.mcu_height / block_lines + 1 : 1;
    const u32 blocks = static_cast<u32>(rounded_up(jpeg.width, block_width) / block_width);
    layout.blocks_in_last = layout.colour || blocks % 2 == 0 ? 2 : 1;
    return layout;
}

u32 check_content(const tVIQ_Image &jpeg) {
    if (jpeg.jpeg == nullptr)
        return report(name, VIQ_ERR_HANDLE, "Not a JPEG image");
    if (jpeg.width == 0 || jpeg.height == 0)
        return report(name, VIQ_ERR_CORRUPT, "Image has no size");
    if (jpeg.width > largest_side || jpeg.height > largest_side)
        return report_too_large(name);
    return has_coded_input(jpeg) ? check_ratio_limit(name, jpeg, coded_input_of(*jpeg.jpeg).length)
                                 : report_no_data(name);
}

u32 check_data(const tVIQ_Image &jpeg, const scan_layout &layout) {
    const u32 code = check_content(jpeg);
    if (is_error(code))
        return code;
    const u64 blocks = u64{layout.mcus} * layout.mcu_rows * layout.pairs * 2;
    const u64 possible = (u64{jpeg.jpeg->data_length} + data_allowance) * most_blocks_per_byte;
    if (blocks > possible)
        return report(name, VIQ_ERR_CORRUPT, "Image too large for its data");
    return success;
}

void enter(u32 hJpegImage, const tVIQ_Image &jpeg) {
    decode->under_way = true;
    decode->handle = hJpegImage;
    decode->image = &jpeg;
    decode->geometry = geometry_of(jpeg);
    decode->original = {jpeg.width, jpeg.height, jpeg.lines_per_strip};
    decode->lines_done = 0;
}

// During the decode, the size of the JPEG image is rounded up to whole blocks.
u32 start(u32 hJpegImage) {
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    const scan_layout layout = layout_of(jpeg);
    u32 code = check_data(jpeg, layout);
    if (!is_error(code))
        code = VIQ_JPEG_generate_H_codetable_LUTs(hJpegImage);
    if (!is_error(code))
        code = VIQ_JPEG_generate_Huffman_decode_tables(hJpegImage);
    if (is_error(code))
        return code;
    enter(hJpegImage, jpeg);
    decode->has_form = false;
    decode->layout = layout;
    for (u32 i = 0; i < 2; ++i)
        decode->tables[i] = make_quantiser(jpeg.jpeg->q_tables[i], nullptr);
    jpeg.width = static_cast<u32>(rounded_up(jpeg.width, mcu_width(jpeg.pixel_format)));
    jpeg.height = static_cast<u32>(rounded_up(jpeg.height, block_lines));
    jpeg.lines_per_strip =
        static_cast<u32>(std::min<u64>(rounded_up(jpeg.lines_per_strip, block_lines), jpeg.height));
    code = check_image(name, hJpegImage);
    decode->geometry = geometry_of(jpeg);
    return code;
}

void finish() {
    tVIQ_Image *jpeg = find_image(decode->handle);
    if (jpeg != nullptr && is_this_decode(*jpeg)) {
        jpeg->width = decode->original.width;
        jpeg->height = decode->original.height;
        jpeg->lines_per_strip = decode->original.lines_per_strip;
    }
    decode->under_way = false;
    decode->image = nullptr;
    decode->pairs = {};
    decode->store = {};
    decode->reader = {};
    decode->has_form = false;
    decode->by_lines = {};
}

// ---- Blocks to pixels

void transform(const decoded_pair &pair, u32 table, u8 *samples, std::size_t line) {
    transform_pair(pair, decode->tables[table], samples, line);
}

// Transforms adjacent MCUs to YUV 4:2:2; `lines` is the number of their lines in the output.
void place_yuv(const decoded_pair *pairs, u32 count, u8 *pixels, std::size_t line, u32 lines) {
    const scan_layout &layout = decode->layout;
    const u32 y_pairs = layout.pairs - 1;
    const u32 repeat = y_pairs - 1;
    const block_kernels &kernels = current_blocks();
    constexpr std::size_t mcu_bytes = std::size_t{2} * pair_width;
    for (u32 x = 0; x < count; ++x, pairs += layout.pairs, pixels += mcu_bytes) {
        sample_pair chroma;
        transform(pairs[y_pairs], 1, chroma.rows[0], pair_width);
        for (std::size_t n = 0; n < y_pairs && 8 * n < lines; ++n) {
            sample_pair y;
            transform(pairs[n], 0, y.rows[0], pair_width);
            kernels.interleave(y, chroma.rows[4 * n], repeat, pixels + 8 * n * line, line);
        }
    }
}

constexpr std::size_t part_pixels = std::size_t{mcus_at_once} * pair_width;

void place_rgb(const decoded_pair *pairs, u32 count, u8 *pixels, std::size_t line, u32 lines) {
    const scan_layout &layout = decode->layout;
    const block_kernels &kernels = current_blocks();
    if (kernels.to_rgb == nullptr) {
        alignas(32) u8 band[largest_mcu_height][2 * part_pixels];
        place_yuv(pairs, count, band[0], sizeof band[0], lines);
        const row_kernel convert = find_row(VIQ_YUV422, VIQ_RGB24);
        for (u32 y = 0; y < lines; ++y, pixels += line)
            convert(band[y], pixels, count * pair_width, {});
        return;
    }
    alignas(64) u8 luma[largest_mcu_height][part_pixels];
    alignas(64) u8 chroma[block_lines][part_pixels];
    const u32 y_pairs = layout.pairs - 1;
    for (u32 x = 0; x < count; ++x, pairs += layout.pairs) {
        transform(pairs[y_pairs], 1, chroma[0] + std::size_t{x} * pair_width, part_pixels);
        for (std::size_t n = 0; n < y_pairs && 8 * n < lines; ++n)
            transform(pairs[n], 0, luma[8 * n] + std::size_t{x} * pair_width, part_pixels);
    }
    for (u32 y = 0; y < lines; y += y_pairs, pixels += y_pairs * line)
        kernels.to_rgb({luma[y], part_pixels, chroma[y / y_pairs], y_pairs, count * pair_width},
                       pixels, line);
}

void place_grey(const decoded_pair *pairs, u32 first, u32 count, u8 *pixels, std::size_t line) {
    const scan_layout &layout = decode->layout;
    for (u32 x = first; x < first + count; ++x, ++pairs, pixels += pair_width) {
        if (x + 1 != layout.mcus || layout.blocks_in_last == 2) {
            transform(*pairs, 0, pixels, line);
            continue;
        }
        sample_pair samples;
        transform(*pairs, 0, samples.rows[0], pair_width);
        for (u32 y = 0; y < block_lines; ++y)
            std::memcpy(pixels + y * line, samples.rows[y], block_width);
    }
}

// Output lines of a row of MCUs.
struct target_lines {
    u32 first, count;
};

void place_mcus(const decoded_pair *pairs, u32 first, u32 count, tVIQ_Image &out,
                const target_lines &lines) {
    u8 *target = out.data + strip_size(out, lines.first);
    const std::size_t x = std::size_t{first} * pair_width;
    if (!decode->layout.colour) {
        place_grey(pairs, first, count, target + x, out.bytes_per_line);
    } else if (out.pixel_format == VIQ_YUV422) {
        place_yuv(pairs, count, target + 2 * x, out.bytes_per_line, lines.count);
    } else {
        place_rgb(pairs, count, target + 3 * x, out.bytes_per_line, lines.count);
    }
}

template <class Visit> u32 for_parts_of_row(Visit visit) {
    u32 code = success;
    for (u32 x = 0; x < decode->layout.mcus && !is_error(code); x += mcus_at_once)
        code = visit(x, std::min(mcus_at_once, decode->layout.mcus - x));
    return code;
}

// ---- Strips

u32 set_up_output(const tVIQ_Image &jpeg, u32 hJpegImage, u32 hOutImage, bool colour) {
    tVIQ_Image &out = *find_image(hOutImage);
    const bool keep_yuv = colour && out.pixel_format == VIQ_YUV422;
    u32 code = success;
    if (decode->lines_done == 0)
        code = VIQ_image_copy_parameters_raw(hJpegImage, hOutImage);
    if (is_error(code))
        return code;
    out.width = keep_yuv ? static_cast<u32>(rounded_up(jpeg.width, 2)) : jpeg.width;
    out.height = jpeg.height;
    out.lines_per_strip = jpeg.lines_per_strip;
    out.flags &= ~VIQ_FLAG_2;
    VIQ_image_set_parameter(hOutImage, VIQ_IMAGE_TYPE,
                            !colour    ? VIQ_Y8
                            : keep_yuv ? VIQ_YUV422
                                       : VIQ_RGB24);
    code = check_image(name, hOutImage);
    return is_error(code) ? code : renew_strip(hOutImage);
}

u32 begin_data(const tVIQ_Image &jpeg) {
    const u64 count = u64{mcus_at_once} * decode->layout.pairs;
    if (!try_resize(decode->pairs, count))
        return report_no_memory(name, count * sizeof(decoded_pair));
    return begin_reading(decode->reader, jpeg.jpeg->data, jpeg.jpeg->data_length);
}

// Decodes all data part by part; `visit` gets each part in decode->pairs.
template <class Visit> u32 decode_parts(const tVIQ_Image &jpeg, Visit visit) {
    const scan_layout &layout = decode->layout;
    u32 code = begin_data(jpeg);
    for (u32 row = 0; row < layout.mcu_rows && !is_error(code); ++row)
        code = for_parts_of_row([&](u32 first, u32 count) {
            const u32 result =
                read_mcus(decode->reader, layout, first, count, decode->pairs.data());
            return is_error(result) ? result : visit(row, first, count);
        });
    return code;
}

// Decodes a picture that is one strip; MCUs are transformed directly after decoding.
u32 decode_whole(const tVIQ_Image &jpeg, u32 hOutImage) {
    const u32 height = decode->layout.mcu_height;
    tVIQ_Image &out = *find_image(hOutImage);
    return decode_parts(jpeg, [&](u32 row, u32 first, u32 count) {
        const u32 line = row * height;
        place_mcus(decode->pairs.data(), first, count, out,
                   {line, std::min(height, jpeg.height - line)});
        return success;
    });
}

u32 decode_all_data(const tVIQ_Image &jpeg) {
    return decode_parts(jpeg, [&](u32, u32, u32 count) {
        const std::size_t pairs = std::size_t{count} * decode->layout.pairs;
        return add_pairs(decode->store, decode->pairs.data(), pairs)
                   ? success
                   : report_no_memory(name, pairs * sizeof(decoded_pair));
    });
}

void place_strip(const tVIQ_Image &jpeg, tVIQ_Image &out) {
    const u32 height = decode->layout.mcu_height;
    for (u32 y = 0; y < jpeg.lines_per_strip; y += height) {
        const target_lines lines = {y, std::min(height, jpeg.lines_per_strip - y)};
        for_parts_of_row([&](u32 first, u32 count) {
            take_pairs(decode->store, decode->pairs.data(),
                       std::size_t{count} * decode->layout.pairs);
            place_mcus(decode->pairs.data(), first, count, out, lines);
            return success;
        });
    }
}

u32 decode_strip(u32 hJpegImage, u32 hOutImage) {
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    const scan_layout &layout = decode->layout;
    const u32 remaining = jpeg.height - decode->lines_done;
    const bool last = rounded_up(jpeg.lines_per_strip, block_lines) >= remaining;
    jpeg.lines_per_strip =
        last ? remaining : static_cast<u32>(rounded_up(jpeg.lines_per_strip, block_lines));
    const bool whole = last && decode->lines_done == 0;

    u32 code = success;
    if (decode->lines_done == 0 && !whole)
        code = decode_all_data(jpeg);
    if (!is_error(code) && !last && jpeg.lines_per_strip % layout.mcu_height != 0)
        code = report("VIQ_JPEG_izz_1_strip", VIQ_ERR_UNSUPPORTED,
                      "For YUV 4:1:1 JPEG decoding, strip must be multiple of 16 lines");
    if (!is_error(code))
        code = set_up_output(jpeg, hJpegImage, hOutImage, layout.colour);
    if (!is_error(code) && whole)
        code = decode_whole(jpeg, hOutImage);
    if (is_error(code))
        return code;
    if (!whole)
        place_strip(jpeg, *find_image(hOutImage));
    decode->lines_done += jpeg.lines_per_strip;
    if (last)
        finish();
    return success;
}

// ---- Line by line

u32 start_by_lines(u32 hJpegImage) {
    const tVIQ_Image &jpeg = *find_image(hJpegImage);
    const u32 code = check_content(jpeg);
    if (is_error(code))
        return code;
    enter(hJpegImage, jpeg);
    decode->has_form = true;
    return begin_components(decode->by_lines, jpeg);
}

// The output has the size of the picture. Lines of VIQ_YUV422 have a whole number of pairs.
u32 decode_strip_by_lines(u32 hJpegImage, u32 hOutImage) {
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    component_decoder &decoder = decode->by_lines;
    // The data is read from the record as it is needed.
    if (!has_coded_input(jpeg) || !is_input_of(decoder.input, *jpeg.jpeg))
        return report(name, VIQ_ERR_STATE, "JPEG data changed during the decode");
    const bool last = clip_last_strip(jpeg, decode->lines_done);
    u32 code = set_up_output(jpeg, hJpegImage, hOutImage, decoder.components == 3);
    if (is_error(code))
        return code;
    const tVIQ_Image &out = *find_image(hOutImage);
    u8 *line = out.data;
    for (u32 n = 0; n < out.lines_per_strip && !is_error(code); ++n, line += out.bytes_per_line)
        code = decode_line(decoder, decode->lines_done + n, out, line);
    if (is_error(code))
        return code;
    decode->lines_done += out.lines_per_strip;
    if (last)
        finish();
    return success;
}

} // namespace
