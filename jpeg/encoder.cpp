// JPEG encoder: padding, conversion to YUV 4:2:2, transform and coding of a picture in bands of 8
// lines. With Huffman tables made for the picture, the symbols are held until its end.

#include <algorithm>
#include <cstring>

#include "convert/conversion_rows.h"
#include "core/format_checks.h"
#include "core/geometry.h"
#include "core/pixel_formats.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "jpeg/encoder.h"
#include "jpeg/picture_size.h"
#include "jpeg/scan_tokens.h"
#include "jpeg/trellis.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_JPEG_compress";
constexpr const char *worker_name = "VIQ_JPEG_compress_1_strip";
constexpr const char *strip_name = "VIQ_JPEG_compress_strip";
constexpr const char *pad_name = "VIQ_pad_to_MCU_1_strip";

bool accepts(u16 format);
u32 check_input(const char *function, const tVIQ_Image &in, u32 lines);
void pad_line(u8 *line, u32 width, u32 padded, u32 size);
u32 check_images(const char *function, u32 hInImage, u32 hJpegImage);
u32 set_up_jpeg(u32 hInImage, u32 hJpegImage);
u32 code_picture(const tVIQ_Image &in, u32 hJpegImage);
u32 code_next_strip(u32 hInImage, u32 hJpegImage);

struct picture_size {
    u32 width, height;
};

// Quantisation tables of a picture, or for trellis quantisation those of the transform.
struct quantisers {
    quantiser luminance, chrominance;
};

// Symbols that are held until the end of the picture.
struct held_picture {
    scan_tokens tokens;
    bool has_trellis;
    trellis_tables trellis[2]; // luminance, chrominance
    symbol_rates rates[huffman_slots];
};

// A picture while it is coded.
struct picture_coding {
    quantisers tables;
    scan_writer writer;
    owned<held_picture> held; // null if the symbols are written as they are found
};

// A picture that is coded strip by strip.
struct coding_in_strips {
    strip_sequence sequence; // first, see sequence_place
    picture_coding coding;
};

void end_sequences(coding_in_strips &state, const tVIQ_Image *image) {
    end_sequences(state.sequence, image);
    if (!state.sequence.under_way)
        state.coding.held.reset();
}

VIQ_PER_CONTEXT(coding_in_strips, strip_coding);

void end_strips();

picture_size padded_size(const tVIQ_Image &in);
bool needs_padding(const tVIQ_Image &in);

} // namespace

u32 VIQ_JPEG_compress(u32 hInImage, u32 hJpegImage) {
    u32 code = check_image(name, hInImage);
    if (is_error(code))
        return code;
    const tVIQ_Image &in = *find_image(hInImage);
    if (in.lines_per_strip != in.height)
        return report_incomplete(name, in.lines_per_strip);
    code = check_images(name, hInImage, hJpegImage);
    if (is_error(code))
        return code;

    code = set_up_jpeg(hInImage, hJpegImage);
    if (is_error(code))
        return code;
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    code = code_picture(in, hJpegImage);
    jpeg.width = in.width;
    jpeg.height = in.height;
    jpeg.flags |= VIQ_FLAG_2;
    return code;
}

u32 VIQ_JPEG_compress_strip(u32 hInImage, u32 hJpegImage, u16 wMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    if (wMode == VIQ_STRIP_FINISH)
        end_strips();
    if (wMode != VIQ_STRIP_NEXT)
        return success;
    u32 code = check_image(strip_name, hInImage);
    if (!is_error(code) && find_image(hInImage)->lines_per_strip == 0)
        return success;
    if (!is_error(code))
        code = check_images(strip_name, hInImage, hJpegImage);
    if (!is_error(code))
        code = code_next_strip(hInImage, hJpegImage);
    if (is_error(code))
        end_strips();
    return code;
}

u32 VIQ_pad_to_MCU_1_strip(u32 hInImage, u32 hPaddedImage) {
    u32 code = check_image(pad_name, hInImage);
    if (is_error(code))
        return code;
    const tVIQ_Image &in = *find_image(hInImage);
    if (!accepts(in.pixel_format) || in.pixel_format == VIQ_YUV422)
        return report(pad_name, VIQ_ERR_UNSUPPORTED, "Unsupported image type");
    const tVIQ_Image *out = find_image(hPaddedImage);
    if (out != nullptr && (out == &in || uses_buffer_of(in, *out)))
        return report_same_image(pad_name);
    if (in.lines_per_strip < in.height) // a caller's buffer may end with the strip
        return report_incomplete(pad_name, in.lines_per_strip);
    code = check_input(pad_name, in, in.height);
    if (!is_error(code))
        code = VIQ_image_copy_parameters_raw(hInImage, hPaddedImage);
    if (is_error(code))
        return code;
    tVIQ_Image &padded = *find_image(hPaddedImage);
    const picture_size size = padded_size(in);
    padded.width = size.width;
    padded.height = size.height;
    padded.lines_per_strip = size.height;
    code = check_image(pad_name, hPaddedImage, "hPaddedImage is corrupt");
    if (!is_error(code))
        code = renew_strip(hPaddedImage);
    if (is_error(code))
        return code;
    const auto pixel = static_cast<u32>(pixel_bytes(in.pixel_format));
    for (u32 y = 0; y < size.height; ++y) {
        u8 *line = padded.data + strip_size(padded, y);
        if (y < in.height) {
            std::memcpy(line, in.data + strip_size(in, y), std::size_t{in.width} * pixel);
            pad_line(line, in.width, size.width, pixel);
        } else {
            std::memcpy(line, line - padded.bytes_per_line, std::size_t{size.width} * pixel);
        }
    }
    return success;
}

namespace {

bool accepts(u16 format) {
    return contains(rgb_32_formats | formats(VIQ_Y8, VIQ_YUV422, VIQ_RGB24, VIQ_BGR24), format);
}

u32 check_input(const char *function, const tVIQ_Image &in, u32 lines) {
    if (in.width == 0 || in.height == 0)
        return report(function, VIQ_ERR_CORRUPT, "Image has no size");
    return has_lines(in, lines) ? success : report_no_data(function);
}

u32 check_images(const char *function, u32 hInImage, u32 hJpegImage) {
    const tVIQ_Image &in = *find_image(hInImage);
    if (!accepts(in.pixel_format))
        return report(function, VIQ_ERR_UNSUPPORTED | in.pixel_format, "Unsupported image format");
    u32 code = check_input(function, in, in.lines_per_strip);
    if (!is_error(code))
        code = check_record(function, hJpegImage);
    if (is_error(code))
        return code;
    if (find_image(hJpegImage) == &in)
        return report_same_image(function);
    return in.width > largest_side || in.height > largest_side ? report_too_large(function)
                                                               : success;
}

picture_size padded_size(const tVIQ_Image &in) {
    return {static_cast<u32>(rounded_up(in.width, mcu_width(in.pixel_format))),
            static_cast<u32>(rounded_up(in.height, block_lines))};
}

bool needs_padding(const tVIQ_Image &in) {
    const picture_size size = padded_size(in);
    return size.width != in.width || size.height != in.height;
}

void pad_line(u8 *line, u32 width, u32 padded, u32 size) {
    const u8 *last = line + std::size_t{width - 1} * size;
    for (u32 x = width; x < padded; ++x)
        std::memcpy(line + std::size_t{x} * size, last, size);
}

// Sets up the JPEG image for coding, with the padded size.
u32 set_up_jpeg(u32 hInImage, u32 hJpegImage) {
    const tVIQ_Image &in = *find_image(hInImage);
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    u32 code = VIQ_copy_outfilename(hJpegImage, hInImage);
    if (!is_error(code))
        code = VIQ_JPEG_set_image(hInImage, hJpegImage);
    if (!is_error(code))
        code = VIQ_JPEG_make_Q_tables(hJpegImage);
    if (!is_error(code))
        code = VIQ_JPEG_set_default_H_tables(hJpegImage);
    // Two pixels of YUV 4:2:2 share U and V, so that the last pixel alone cannot be repeated.
    if (!is_error(code) && in.pixel_format == VIQ_YUV422 && needs_padding(in))
        code = report(pad_name, VIQ_ERR_UNSUPPORTED, "Unsupported image type");
    if (!is_error(code))
        code = VIQ_image_copy_parameters_raw(hInImage, hJpegImage);
    if (is_error(code))
        return code;
    const picture_size size = padded_size(in);
    jpeg.width = size.width;
    jpeg.height = size.height;
    jpeg.lines_per_strip = size.height;
    jpeg.param_18 = 1;
    VIQ_image_set_parameter(hJpegImage, VIQ_IMAGE_TYPE,
                            in.pixel_format == VIQ_Y8 ? VIQ_Y8 : VIQ_YUV422);
    return check_image(name, hJpegImage);
}

// The source of the lines of a band: the strip itself, or a buffer of lines that are padded or
// converted.
struct band_source {
    const tVIQ_Image *in;
    picture_size size;
    row_kernel convert; // null: the lines are not converted
    u32 pixel;          // bytes of a pixel of the band
    row_options options;
    vector<u8> lines;
    vector<u8> padded_line;
};

struct band {
    const u8 *pixels;
    std::size_t line;
    u32 pixel; // bytes
};

// The forward transform reads the pixels themselves.
bool is_coded_as_rgb(const tVIQ_Image &in) {
    return in.pixel_format == VIQ_RGB24 && current_blocks().forward_rgb != nullptr;
}

// False if memory runs out.
bool prepare(band_source &source, const tVIQ_Image &in) {
    source.in = &in;
    source.size = padded_size(in);
    source.convert = nullptr;
    const auto pixel = static_cast<u32>(pixel_bytes(in.pixel_format));
    if (in.pixel_format != VIQ_Y8 && in.pixel_format != VIQ_YUV422 && !is_coded_as_rgb(in))
        source.convert = find_row(in.pixel_format, VIQ_YUV422);
    source.pixel = source.convert != nullptr ? 2 : pixel;
    if (source.convert == nullptr && !needs_padding(in))
        return true;
    return try_resize(source.lines, u64{block_lines} * source.size.width * source.pixel) &&
           try_resize(source.padded_line, u64{source.size.width} * pixel);
}

band lines_of(band_source &source, u32 first) {
    const tVIQ_Image &in = *source.in;
    if (source.lines.empty())
        return {in.data + strip_size(in, first), in.bytes_per_line, source.pixel};
    const auto pixel = static_cast<u32>(pixel_bytes(in.pixel_format));
    const std::size_t line = source.lines.size() / block_lines;
    u8 *to = source.lines.data();
    for (u32 y = 0; y < block_lines; ++y, to += line) {
        if (first + y >= in.lines_per_strip) {
            std::memcpy(to, to - line, line);
            continue;
        }
        const u8 *from = in.data + strip_size(in, first + y);
        if (source.size.width != in.width || source.convert == nullptr) {
            u8 *copy = source.padded_line.data();
            std::memcpy(copy, from, std::size_t{in.width} * pixel);
            pad_line(copy, in.width, source.size.width, pixel);
            from = copy;
        }
        if (source.convert != nullptr)
            source.convert(from, to, source.size.width, source.options);
        else
            std::memcpy(to, from, line);
    }
    return {source.lines.data(), line, source.pixel};
}

// Trellis quantisation of two blocks whose coefficients are rounded down. Both blocks of luminance
// have one predictor, U and V have one each.
void choose_pair(const held_picture &held, u32 component, block_pair &pair, u32 count) {
    const i32 *predictors = held.tokens.predictors + component;
    for (u32 i = 0; i < count; ++i) {
        const bool follows = component == 0 && i != 0;
        const i32 predictor = follows ? pair.coefficients[0][0] : predictors[i];
        choose_values(held.trellis[component], held.rates[dc_luminance + component],
                      held.rates[ac_luminance + component], predictor, pair.coefficients[i],
                      pair.masks[i]);
    }
}

// Codes the blocks of one MCU; false if memory runs out.
bool code_colour_blocks(picture_coding &coding, block_pair &y, block_pair &uv) {
    if (coding.held == nullptr)
        return current_writers().write_colour(coding.writer, y, uv);
    if (coding.held->has_trellis) {
        choose_pair(*coding.held, 0, y, 2);
        choose_pair(*coding.held, 1, uv, 2);
    }
    return hold_colour_blocks(coding.held->tokens, y, uv);
}

bool code_grey_blocks(picture_coding &coding, block_pair &pair, u32 count) {
    if (coding.held == nullptr)
        return current_writers().write_grey(coding.writer, pair, count);
    if (coding.held->has_trellis)
        choose_pair(*coding.held, 0, pair, count);
    return hold_grey_blocks(coding.held->tokens, pair, count);
}

// Codes a band of a colour picture; false if memory runs out.
bool code_colour_band(picture_coding &coding, const band &lines, u32 width) {
    const block_kernels &kernels = current_blocks();
    alignas(64) block_pair y;
    alignas(64) block_pair uv;
    const auto forward = lines.pixel == 3 ? kernels.forward_rgb : kernels.forward_colour;
    for (u32 x = 0; x < width; x += 16) {
        forward(lines.pixels + std::size_t{x} * lines.pixel, lines.line, coding.tables.luminance,
                coding.tables.chrominance, y, uv);
        if (!code_colour_blocks(coding, y, uv))
            return false;
    }
    return true;
}

// Codes a band of a grey picture; false if memory runs out. If the number of blocks is odd, the
// last one is transformed together with a block that is not written.
bool code_grey_band(picture_coding &coding, const band &lines, u32 width) {
    const block_kernels &kernels = current_blocks();
    const quantiser &table = coding.tables.luminance;
    block_pair pair;
    u32 x = 0;
    for (; x + pair_width <= width; x += pair_width) {
        kernels.forward_grey(lines.pixels + x, lines.line, table, pair);
        if (!code_grey_blocks(coding, pair, 2))
            return false;
    }
    if (x == width)
        return true;
    u8 last[block_lines][pair_width] = {};
    for (u32 y = 0; y < block_lines; ++y)
        std::memcpy(last[y], lines.pixels + y * lines.line + x, 8);
    kernels.forward_grey(last[0], pair_width, table, pair);
    return code_grey_blocks(coding, pair, 1);
}

void update_rates(held_picture &held, const Tjpeg &record) {
    const u32 step = record.components == 1 ? 2 : 1;
    for (u32 slot = 0; slot < huffman_slots; slot += step)
        held.rates[slot] = estimate_rates(
            held.tokens.counts[slot], make_code_table(record.h_bits[slot], record.h_vals[slot]));
}

// Writes or holds the scan as far as the strip goes.
bool end_strip(picture_coding &coding, tVIQ_Image &jpeg, bool is_last) {
    if (coding.held != nullptr)
        return !is_last || write_tokens(coding.held->tokens, jpeg);
    if (is_last)
        return end_scan(coding.writer);
    pause_scan(coding.writer);
    return true;
}

// Codes the strip of the input into a new data buffer. The whole picture is a strip, too.
u32 code_strip(const tVIQ_Image &in, u32 hJpegImage, picture_coding &coding, bool is_last) {
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    if (jpeg.pixel_format != VIQ_Y8 && jpeg.pixel_format != VIQ_YUV422)
        return report(worker_name, VIQ_ERR_UNSUPPORTED, "Unsupported image type/pixel format");
    // The codes may be those of the last decoded stream, which need not contain every symbol.
    if (coding.held == nullptr && !codes_are_complete(jpeg.pixel_format != VIQ_Y8))
        return report(worker_name, VIQ_ERR_STATE, "Huffman codes lack symbols");
    const u32 code = VIQ_JPEG_malloc_data(hJpegImage);
    if (is_error(code))
        return code;
    band_source source;
    bool has_memory = prepare(source, in);
    continue_scan(coding.writer, jpeg);
    const auto code_band = jpeg.pixel_format == VIQ_Y8 ? code_grey_band : code_colour_band;
    for (u32 y = 0; has_memory && y < in.lines_per_strip; y += block_lines) {
        if (coding.held != nullptr && coding.held->has_trellis)
            update_rates(*coding.held, *jpeg.jpeg);
        has_memory = code_band(coding, lines_of(source, y), source.size.width);
    }
    has_memory = has_memory && end_strip(coding, jpeg, is_last);
    return has_memory ? success : report_no_memory(worker_name, data_room(jpeg));
}

quantisers quantisers_of(const Tjpeg &record) {
    return {make_quantiser(record.q_tables[0], record.q_recip[0]),
            make_quantiser(record.q_tables[1], record.q_recip[1])};
}

// False if memory runs out.
bool begin_coding(picture_coding &coding, const Tjpeg &record) {
    begin_scan(coding.writer);
    coding.tables = quantisers_of(record);
    coding.held.reset();
    const u16 optimisation = optimisation_of(record);
    if (optimisation == VIQ_JPEG_OPTIMISE_NONE)
        return true;
    coding.held = make_owned<held_picture>();
    if (coding.held == nullptr)
        return false;
    coding.held->has_trellis = optimisation == VIQ_JPEG_OPTIMISE_VALUES;
    if (coding.held->has_trellis) {
        coding.tables = {unit_quantiser(), unit_quantiser()};
        for (u32 i = 0; i < 2; ++i)
            coding.held->trellis[i] = make_trellis(record.q_tables[i]);
    }
    return true;
}

u32 code_picture(const tVIQ_Image &in, u32 hJpegImage) {
    picture_coding coding;
    if (!begin_coding(coding, *find_image(hJpegImage)->jpeg))
        return report_no_memory(worker_name, sizeof *coding.held);
    return code_strip(in, hJpegImage, coding, true);
}

void end_strips() {
    strip_coding->sequence = {};
    strip_coding->coding.held.reset();
}

// The JPEG image has the padded size while a strip is coded.
u32 code_next_strip(u32 hInImage, u32 hJpegImage) {
    tVIQ_Image &in = *find_image(hInImage);
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    auto &[sequence, coding] = *strip_coding;
    if (sequence.under_way && (sequence.out != &jpeg || !(sequence.geometry == geometry_of(in))))
        return report(strip_name, VIQ_ERR_STATE, "Sequence under way with another image");
    const bool is_last = clip_last_strip(in, sequence.lines_done);
    if (!is_last && in.lines_per_strip % block_lines != 0)
        return report(strip_name, VIQ_ERR_UNSUPPORTED | low_word(in.lines_per_strip),
                      "Strips must have a multiple of 8 lines");
    u32 code = success;
    if (!sequence.under_way) {
        code = set_up_jpeg(hInImage, hJpegImage);
        if (is_error(code))
            return code;
        if (!begin_coding(coding, *jpeg.jpeg))
            return report_no_memory(worker_name, sizeof *coding.held);
        sequence = {true, 0, geometry_of(in)};
    }
    join_sequence(sequence, &in, &jpeg);
    const picture_size size = padded_size(in);
    jpeg.width = size.width;
    jpeg.height = size.height;
    jpeg.lines_per_strip = static_cast<u32>(rounded_up(in.lines_per_strip, block_lines));
    code = code_strip(in, hJpegImage, coding, is_last);
    sequence.lines_done += in.lines_per_strip;
    jpeg.width = in.width;
    jpeg.height = in.height;
    jpeg.lines_per_strip = in.lines_per_strip;
    if (coding.held != nullptr)
        jpeg.lines_per_strip = is_last ? sequence.lines_done : 0;
    jpeg.flags |= VIQ_FLAG_2;
    if (is_last)
        end_strips();
    return code;
}

} // namespace

namespace viq {

bool holds_strips(const tVIQ_Image &jpeg) {
    const auto &[sequence, coding] = *strip_coding;
    return sequence.under_way && sequence.out == &jpeg && coding.held != nullptr;
}

} // namespace viq
