// JPEG encoder: padding, conversion to YUV 4:2:2, transform and coding of a picture in bands of 8
// lines.
#include "jpeg/picture_size.h"

#include <algorithm>
#include <cstring>

#include "convert/conversion_rows.h"
#include "core/format_checks.h"
#include "core/geometry.h"
#include "core/pixel_formats.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "jpeg/scan_writer.h"

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

// Quantisation tables of a picture.
struct quantisers {
    quantiser luminance, chrominance;
};

// A picture that is coded strip by strip.
struct coding_in_strips {
    strip_sequence sequence; // first, see sequence_place
    quantisers tables;
    scan_writer writer;
};

void end_sequences(coding_in_strips &state, const tVIQ_Image *image) {
    end_sequences(state.sequence, image);
}

VIQ_PER_CONTEXT(coding_in_strips, strip_coding);

picture_size padded_size(const tVIQ_Image &in);
bool needs_padding(const tVIQ_Image &in);

} // namespace

u32 VIQ_JPEG_compress(u32 hInImage, u32 hJpegImage) {
    u32 code = check_image(name, hInImage);
    if (is_error(code))
        return code;
    const tVIQ_Image &in = *find_image(hInImage);
    if (in.lines_per_strip != in.height)
        return report(name, VIQ_ERR_UNSUPPORTED | low_word(in.lines_per_strip),
                      "This function only supports a complete image");
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
    strip_sequence &sequence = strip_coding->sequence;
    if (wMode == VIQ_STRIP_FINISH)
        sequence = {};
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
        sequence = {};
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
    row_options options;
    vector<u8> lines;
    vector<u8> padded_line;
};

struct band {
    const u8 *pixels;
    std::size_t line;
};

// False if memory runs out.
bool prepare(band_source &source, const tVIQ_Image &in) {
    source.in = &in;
    source.size = padded_size(in);
    source.convert = nullptr;
    const auto pixel = static_cast<u32>(pixel_bytes(in.pixel_format));
    if (in.pixel_format != VIQ_Y8 && in.pixel_format != VIQ_YUV422)
        source.convert = find_row(in.pixel_format, VIQ_YUV422);
    if (source.convert == nullptr && !needs_padding(in))
        return true;
    const u32 coded_pixel = source.convert != nullptr ? 2 : pixel;
    return try_resize(source.lines, u64{block_lines} * source.size.width * coded_pixel) &&
           try_resize(source.padded_line, u64{source.size.width} * pixel);
}

band lines_of(band_source &source, u32 first) {
    const tVIQ_Image &in = *source.in;
    if (source.lines.empty())
        return {in.data + strip_size(in, first), in.bytes_per_line};
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
    return {source.lines.data(), line};
}

// Codes a band of a colour picture; false if memory runs out.
bool code_colour_band(scan_writer &writer, const quantisers &tables, const band &lines, u32 width) {
    const block_kernels &kernels = current_blocks();
    block_pair y;
    block_pair uv;
    for (u32 x = 0; x < width; x += 16) {
        kernels.forward_colour(lines.pixels + std::size_t{x} * 2, lines.line, tables.luminance,
                               tables.chrominance, y, uv);
        if (!write_colour_blocks(writer, y, uv))
            return false;
    }
    return true;
}

// Codes a band of a grey picture; false if memory runs out. If the number of blocks is odd, the
// last one is transformed together with a block that is not written.
bool code_grey_band(scan_writer &writer, const quantisers &tables, const band &lines, u32 width) {
    const block_kernels &kernels = current_blocks();
    block_pair pair;
    u32 x = 0;
    for (; x + pair_width <= width; x += pair_width) {
        kernels.forward_grey(lines.pixels + x, lines.line, tables.luminance, pair);
        if (!write_grey_blocks(writer, pair, 2))
            return false;
    }
    if (x == width)
        return true;
    u8 last[block_lines][pair_width] = {};
    for (u32 y = 0; y < block_lines; ++y)
        std::memcpy(last[y], lines.pixels + y * lines.line + x, 8);
    kernels.forward_grey(last[0], pair_width, tables.luminance, pair);
    return write_grey_blocks(writer, pair, 1);
}

// Codes the strip of the input into a new data buffer. The whole picture is a strip, too.
u32 code_strip(const tVIQ_Image &in, u32 hJpegImage, const quantisers &tables, scan_writer &writer,
               bool is_last) {
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    if (jpeg.pixel_format != VIQ_Y8 && jpeg.pixel_format != VIQ_YUV422)
        return report(worker_name, VIQ_ERR_UNSUPPORTED, "Unsupported image type/pixel format");
    // The codes may be those of the last decoded stream, which need not contain every symbol.
    if (!codes_are_complete(jpeg.pixel_format != VIQ_Y8))
        return report(worker_name, VIQ_ERR_STATE, "Huffman codes lack symbols");
    const u32 code = VIQ_JPEG_malloc_data(hJpegImage);
    if (is_error(code))
        return code;
    band_source source;
    bool has_memory = prepare(source, in);
    continue_scan(writer, jpeg);
    const auto code_band = jpeg.pixel_format == VIQ_Y8 ? code_grey_band : code_colour_band;
    for (u32 y = 0; has_memory && y < in.lines_per_strip; y += block_lines)
        has_memory = code_band(writer, tables, lines_of(source, y), source.size.width);
    if (has_memory && is_last)
        has_memory = end_scan(writer);
    else if (has_memory)
        pause_scan(writer);
    return has_memory ? success : report_no_memory(worker_name, data_room(jpeg));
}

quantisers quantisers_of(const Tjpeg &record) {
    return {make_quantiser(record.q_tables[0], record.q_recip[0]),
            make_quantiser(record.q_tables[1], record.q_recip[1])};
}

u32 code_picture(const tVIQ_Image &in, u32 hJpegImage) {
    scan_writer writer;
    begin_scan(writer);
    return code_strip(in, hJpegImage, quantisers_of(*find_image(hJpegImage)->jpeg), writer, true);
}

// The JPEG image has the padded size while a strip is coded.
u32 code_next_strip(u32 hInImage, u32 hJpegImage) {
    tVIQ_Image &in = *find_image(hInImage);
    tVIQ_Image &jpeg = *find_image(hJpegImage);
    auto &[sequence, tables, writer] = *strip_coding;
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
        sequence = {true, 0, geometry_of(in)};
        tables = quantisers_of(*jpeg.jpeg);
        begin_scan(writer);
    }
    join_sequence(sequence, &in, &jpeg);
    const picture_size size = padded_size(in);
    jpeg.width = size.width;
    jpeg.height = size.height;
    jpeg.lines_per_strip = static_cast<u32>(rounded_up(in.lines_per_strip, block_lines));
    code = code_strip(in, hJpegImage, tables, writer, is_last);
    jpeg.width = in.width;
    jpeg.height = in.height;
    jpeg.lines_per_strip = in.lines_per_strip;
    jpeg.flags |= VIQ_FLAG_2;
    sequence.lines_done += in.lines_per_strip;
    if (is_last)
        sequence = {};
    return code;
}

} // namespace
