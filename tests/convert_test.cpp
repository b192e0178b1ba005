// The converters with every instruction set: accepted formats, strips, sequences, and the selection
// by the dispatcher. The plain row kernels, which have their own tests, are the reference.
#include "convert/conversion_rows.h"
#include "convert/hue_table.h"
#include "tests/support.h"

namespace viq {
namespace {

struct tested_converter {
    const char *name;
    u32 (*convert)(u32, u32, u16);
    u16 target;
    words accepted; // in addition to the target
    bool from_yuv422 = false;
};

#define TO(format, ...)                                                                            \
    { "VIQ_convert_to_" #format, VIQ_convert_to_##format, VIQ_##format, __VA_ARGS__ }
#define FROM_YUV422(format)                                                                        \
    { "VIQ_YUV422_to_" #format, VIQ_YUV422_to_##format, VIQ_##format, {VIQ_YUV422}, true }

const words packed_24 = {VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32};
const words to_24 = {VIQ_Y8,     VIQ_RGB15,  VIQ_RGB16,  VIQ_RGB24, VIQ_BGR24,
                     VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_Y16};

words with(words formats, const words &more) {
    formats.insert(formats.end(), more.begin(), more.end());
    return formats;
}

words to_32(u16 first, u16 second) {
    return {VIQ_Y8, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_Y16, first, second};
}

const tested_converter converters[] = {
    TO(RGBX32, to_32(VIQ_BGRX32, VIQ_XBGR32)),
    TO(BGRX32, to_32(VIQ_RGBX32, VIQ_XBGR32)),
    TO(XBGR32, to_32(VIQ_RGBX32, VIQ_BGRX32)),
    TO(XRGB32, to_32(VIQ_RGBX32, VIQ_BGRX32)),
    TO(RGB24, to_24),
    TO(BGR24, to_24),
    TO(RGB16, with(to_24, {VIQ_RGB8})),
    TO(RGB15, with(packed_24, {VIQ_Y8, VIQ_Y16})),
    TO(RGB8, {VIQ_Y8, VIQ_RGB24}),
    TO(Y8, with(to_24, {VIQ_YUV422})),
    TO(Y16, {VIQ_Y8}),
    TO(CMYK32, {VIQ_PALETTED}),
    TO(YUV422, with(packed_24, {VIQ_Y8, VIQ_PALETTED})),
    FROM_YUV422(RGB24),
    FROM_YUV422(BGR24),
    FROM_YUV422(RGBX32),
    FROM_YUV422(BGRX32),
    FROM_YUV422(XBGR32),
    FROM_YUV422(XRGB32),
    FROM_YUV422(RGB16),
    FROM_YUV422(RGB15),
    FROM_YUV422(Y8),
    FROM_YUV422(HSI),
};

template <class Visit> void for_every_pair(Visit visit) {
    for (const tested_converter &c : converters)
        for (const u16 format : c.accepted)
            if (format != c.target) {
                SCOPED_TRACE(text_of(c.name, "from", format));
                visit(c, format);
            }
}

class Convert : public every_set {};
WITH_EVERY_SET(Convert);

TEST_P(Convert, AcceptsListedFormatsAndRejectsOthers) {
    for (const tested_converter &c : converters)
        for (const known_format &row : known_formats) {
            SCOPED_TRACE(text_of(c.name, "from", row.code));
            const picture in(row.code, 6, 2), out;
            fill_with_noise(in);
            if (!c.from_yuv422 && row.code == c.target) {
                EXPECT_OK(c.convert(in, out, 3));
                ASSERT_NE(out->data, nullptr);
                EXPECT_EQ(pixels_of(out), pixels_of(in));
            } else if (has(c.accepted, row.code)) {
                EXPECT_OK(c.convert(in, out, 3));
                EXPECT_EQ(out->pixel_format, c.target);
            } else {
                EXPECT_REPORT(c.convert(in, out, 3), c.name, 0x10070000,
                              c.from_yuv422 ? "Not 16 bit YUV 4:2:2"
                              : c.target == VIQ_CMYK32
                                  ? "Only paletted input images currently supported"
                                  : "Unsupported image format");
            }
        }
}

// ---- Lines and strips

// The expected lines. For grey output, a source line of odd width takes more than its stride, so
// that the skew accumulates from line to line; bytes after the strip are read as 0.
bytes lines_by_kernel(const picture &in, const picture &out, u32 lines) {
    row_options options;
    options.map = in->colourmap;
    options.shift = (in->pixel_format == VIQ_Y16 ? in : out)->data_width - 8u;
    EXPECT_EQ(need_hue_table(options.hue), 0u);
    u32 step = in->bytes_per_line;
    if (out->pixel_format == VIQ_Y8 && in->width % 2 == 1)
        step += in->bits_per_pixel == 32 ? 1 : in->pixel_format == VIQ_YUV422 ? 2 : 0;

    const instruction_set set = current_set();
    force_set(instruction_set::plain);
    const row_kernel row = find_row(in->pixel_format, out->pixel_format);
    force_set(set);
    const std::size_t out_line = out->bytes_per_line - out->skip_bytes;
    bytes result(out_line * in->height);
    for (u32 y = 0; y < in->height; ++y) {
        const u32 first = y / lines * lines, count = std::min(lines, in->height - first);
        const u8 *data = in->data + first * in->bytes_per_line;
        bytes strip(data, data + count * in->bytes_per_line);
        strip.resize(count * step);
        row(&strip[(y - first) * step], &result[y * out_line], in->width, options);
    }
    return result;
}

TEST_P(Convert, StripsOfAnyHeightMatchTheRowKernel) {
    for_every_pair([](const tested_converter &c, u16 format) {
        for (const u32 width : numbers{1, 2, 3, 7, 12, 33})
            for (const u32 lines : numbers{1, 2, 5, 9})
                for (const u32 alignment : numbers{1, 2, 4, 8}) {
                    if (c.from_yuv422 && width % 2 == 1)
                        continue;
                    SCOPED_TRACE(text_of("width", width, "by", lines, "alignment", alignment));
                    const picture whole(format, width, 5, alignment), out, gathered;
                    if (format == VIQ_Y16)
                        whole->data_width = static_cast<u16>(8 + width % 9);
                    out->data_width = 12; // used only by Y16
                    fill_with_noise(whole);
                    convert_by_strips(whole, lines, c.convert, out, gathered);
                    ASSERT_NE(gathered->data, nullptr);
                    const u32 whole_pairs = c.target == VIQ_YUV422 ? width % 2 : 0;
                    EXPECT_EQ(gathered->width, width + whole_pairs);
                    ASSERT_EQ(pixels_of(gathered), lines_by_kernel(whole, gathered, lines));
                }
    });
}

// The X byte and line padding are not written in a caller's buffer; in a buffer of the library
// they are 0.
TEST_P(Convert, LeavesUnusedBytesOfCallersBufferUnchanged) {
    for_every_pair([](const tested_converter &c, u16 format) {
        constexpr u8 untouched = 0x5A;
        const picture in(format, 6, 3, 8), plain(VIQ_Y8, 30, 4), locked;
        fill_with_noise(in);
        fill_with_noise(plain); // its buffer is reused
        bytes buffer(1000, untouched);
        VIQ_image_set_flags(locked, VIQ_FLAG_LOCKED, 1);
        VIQ_image_set_ptr(locked, VIQ_PTR_DATA, buffer.data());
        ASSERT_EQ(c.convert(in, plain, 3), 0u);
        std::fill_n(plain->data, plain->bytes_per_line - plain->skip_bytes, untouched);
        ASSERT_EQ(c.convert(in, plain, 3), 0u);
        EXPECT_OK(c.convert(in, locked, 3));
        const bool spare = has({VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32}, c.target);
        const u32 spare_at = has({VIQ_XBGR32, VIQ_XRGB32}, c.target) ? 0 : 3;
        const u32 line = plain->bytes_per_line;
        for (u32 n = 0; n < buffer.size(); ++n) {
            const bool pixel = n % line < line - plain->skip_bytes;
            if (n < 3 * line && pixel && !(spare && n % line % 4 == spare_at)) {
                ASSERT_EQ(buffer[n], plain->data[n]) << n;
            } else {
                ASSERT_EQ(buffer[n], untouched) << n;
                ASSERT_EQ(n < 3 * line ? plain->data[n] : 0, 0) << n;
            }
        }
    });
}

TEST_P(Convert, Y16OutputKeepsItsDataWidth) {
    for (u16 data_width = 0; data_width <= 16; ++data_width) {
        const picture in(VIQ_Y8, 3, 1), out;
        fill_with_noise(in);
        out->data_width = data_width;
        if (data_width == 0 || data_width >= 8) {
            EXPECT_OK(VIQ_convert_to_Y16(in, out, 3));
            ASSERT_NE(out->data, nullptr);
            EXPECT_EQ(out->data_width, data_width == 0 ? 8 : data_width);
            EXPECT_EQ(pixels_of(out), lines_by_kernel(in, out, 1));
        } else {
            EXPECT_REPORT(VIQ_convert_to_Y16(in, out, 3), "VIQ_convert_to_Y16_1_strip", 0x10030000,
                          "Grayscale data width must be 8 or more");
            EXPECT_OK(VIQ_convert_to_Y16(in, out, 4));
        }
    }
}

TEST_P(Convert, ReportsInputThatCannotBeConverted) {
    for (const tested_converter &c : converters) {
        SCOPED_TRACE(c.name);
        const char *corrupt = c.convert == VIQ_convert_to_Y8 ? "Corrupt images" : "Corrupt image";
        const picture in(c.accepted.back(), 2, 2), out, bad;
        EXPECT_REPORT(c.convert(missing, out, 3), c.name, 0x10050000, corrupt);
        EXPECT_NO_FORMAT(c.convert(bad, out, 3), c.name, corrupt);
        EXPECT_REPORT(c.convert(in, missing, 3), "VIQ_image_copy_parameters", 0x10040000,
                      "Output image does not exist");
        EXPECT_REPORT(c.convert(in, in, 3), c.name, 0x10030000,
                      "Input and output image are the same");
        EXPECT_REPORT(c.convert(in, out, 3), std::string(c.name) + "_1_strip", 0x10050000,
                      "No image data");
        EXPECT_OK(c.convert(in, out, 4));
        const picture narrow(VIQ_Y16, 2, 2);
        narrow->data_width = 7;
        if (has(c.accepted, VIQ_Y16))
            EXPECT_REPORT(c.convert(narrow, out, 3), c.name, 0x10050000,
                          "Data width must be > 7 for Y16");
        // If lines per strip is 0, only the metadata is copied, for any format; but the converters
        // from YUV 4:2:2 check the format first.
        const picture hsi(VIQ_HSI, 6, 9), odd(VIQ_YUV422, 3, 9), copy;
        set_lines(hsi, 0);
        if (c.from_yuv422) {
            EXPECT_REPORT(c.convert(hsi, copy, 3), c.name, 0x10070000, "Not 16 bit YUV 4:2:2");
            EXPECT_REPORT(c.convert(odd, out, 3), c.name, 0x10070000,
                          "YUV422 image must be an even width");
        } else {
            EXPECT_OK(c.convert(hsi, copy, 3));
            EXPECT_EQ(copy->pixel_format, c.target);
            EXPECT_EQ(copy->height, 9u);
            EXPECT_EQ(copy->data, nullptr);
        }
    }
    const picture odd(VIQ_YUV422, 3, 1), wide(VIQ_Y8, 0x55555556, 1), out;
    EXPECT_ERROR(VIQ_convert_to_YUV422(odd, out, 3), 0x10070000,
                 "Only even width YUV422 images are supported");
    EXPECT_REPORTS(VIQ_convert_to_RGB24(wide, out, 3),
                   {{"VIQ_image_check", 0x10050012, "Line too long"},
                    {"VIQ_convert_to_RGB24", 0x10050012, "Corrupt image"}});
    const picture mapless(VIQ_PALETTED, 3, 1);
    fill_with_noise(mapless);
    VIQ_image_set_ptr(mapless, VIQ_PTR_CMAP, nullptr);
    EXPECT_REPORT(VIQ_convert_to_CMYK32(mapless, out, 3), "VIQ_convert_to_CMYK32_1_strip",
                  0x100b0000, "Colourmap is NULL");
    EXPECT_OK(VIQ_convert_to_CMYK32(mapless, out, 4));
}

// ---- Sequences

TEST_P(Convert, SequenceEndsAtTheHeightOrWithCommandFour) {
    const picture in(VIQ_RGB24, 4, 5), out, other, third, same(VIQ_BGR24, 4, 5);
    fill_with_noise(in);
    fill_with_noise(same);
    set_lines(in, 2);
    constexpr const char *name = "VIQ_convert_to_BGR24";
    constexpr const char *refusal = "Sequence under way with another image";
    const auto convert = [&](u32 to, u16 command) { return VIQ_convert_to_BGR24(in, to, command); };
    EXPECT_OK(convert(out, 3));
    // Later strips do not set the output up: one that does not fit is rejected, unchanged.
    EXPECT_REPORT(convert(other, 3), name, 0x100b0000, refusal);
    EXPECT_EQ(other->pixel_format, 0);
    for (u32 tVIQ_Image::*field : {&tVIQ_Image::width, &tVIQ_Image::height}) {
        ++(in.operator->()->*field);
        EXPECT_REPORT(convert(out, 3), name, 0x100b0000, refusal);
        --(in.operator->()->*field);
    }
    // Copies and other converters do not affect the sequence.
    EXPECT_OK(VIQ_convert_to_BGR24(same, third, 3));
    EXPECT_OK(VIQ_convert_to_RGBX32(in, third, 3));
    EXPECT_OK(VIQ_convert_to_RGBX32(in, third, 4));

    VIQ_image_set_infilename(in, "not copied");
    EXPECT_OK(convert(out, 3));
    EXPECT_STREQ(out->infilename, "");
    EXPECT_OK(convert(out, 3));
    EXPECT_EQ(in->lines_per_strip, 1u); // clipped to the remaining line
    EXPECT_EQ(out->lines_per_strip, 1u);

    set_lines(in, 2);
    EXPECT_OK(convert(other, 3)); // a new sequence
    EXPECT_STREQ(other->infilename, "not copied");
    EXPECT_OK(convert(missing, 4)); // ends the sequence for any images
    EXPECT_OK(convert(third, 0));   // other commands only set the output up
    EXPECT_EQ(third->pixel_format, VIQ_BGR24);
    for (const u32 lines : numbers{2, 2, 1}) {
        EXPECT_OK(convert(third, 3));
        EXPECT_EQ(third->lines_per_strip, lines);
    }
}

// ---- The dispatcher

// The selected worker: it reports under its own name that the picture has no data.
std::string worker_of(u16 in_format, u16 out_format, u32 flags) {
    const picture in(in_format, 2, 1), out;
    out->flags = flags | VIQ_FLAG_2;
    reported.clear();
    EXPECT_NE(VIQ_image_convert(in, out, out_format, 0, 3), 0u);
    const std::string result = reported.empty() ? "" : reported.front().function;
    // All flags but VIQ_FLAG_2 are kept; for an unknown format that one as well.
    EXPECT_EQ(out->flags, result == "VIQ_image_convert" ? flags | VIQ_FLAG_2 : flags);
    VIQ_image_convert(in, out, out_format, 0, 4);
    return result;
}

TEST_P(Convert, DispatcherSelectsTheConverterByFormats) {
    const std::string none = "VIQ_image_convert", copy = "VIQ_image_copy_1_strip";
    for (u16 target = 0; target < 120; ++target) {
        SCOPED_TRACE(target);
        std::string general = none, yuv = none;
        for (const tested_converter &c : converters)
            if (c.target == target && target != VIQ_CMYK32)
                (c.from_yuv422 ? yuv : general) = std::string(c.name) + "_1_strip";
        const bool has_table = yuv != none && !has({VIQ_Y8, VIQ_HSI}, target);
        std::string general_table = general, yuv_table = yuv;
        if (has_table)
            yuv_table.insert(yuv.size() - std::strlen("_1_strip"), "_LUT");
        if (target == VIQ_YUV422)
            yuv = yuv_table = copy;
        if (target == VIQ_PALETTED) {
            general = "VIQ_convert_to_paletted";
            general_table = "VIQ_convert_to_paletted_LUT_1_strip";
            yuv = yuv_table = "VIQ_YUV422_to_paletted_LUT_1_strip";
        }
        if (target == VIQ_RGB24_OR_Y8) {
            general = general_table = copy;
            yuv = yuv_table = "VIQ_convert_to_RGB24_or_Y8";
        }
        const u16 source = target == VIQ_Y8 ? VIQ_RGB24 : VIQ_Y8;
        EXPECT_EQ(worker_of(source, target, 0), general);
        EXPECT_EQ(worker_of(source, target, VIQ_FLAG_USE_LUT), general_table);
        EXPECT_EQ(worker_of(VIQ_YUV422, target, 0), yuv);
        EXPECT_EQ(worker_of(VIQ_YUV422, target, VIQ_FLAG_USE_LUT), yuv_table);
    }
    const picture in(VIQ_RGB24, 2, 1), out;
    EXPECT_ERROR(VIQ_image_convert(in, out, 1, 0, 3), 0x10070000,
                 "Unsupported or unrecognized output image format");
    EXPECT_ERROR(VIQ_image_convert(in, missing, 2, 0, 3), 0x10040000,
                 "Output image does not exist");
    out->flags = VIQ_FLAG_DITHER | VIQ_FLAG_DIB;
    EXPECT_ERROR(VIQ_image_convert(in, out, 2, 0, 3), 0x10070000, "Dithering is not yet supported");
    out->flags = VIQ_FLAG_DIB;
    EXPECT_ERROR(VIQ_image_convert(in, out, 2, 4, 3), 0x10070000, "Unsupported DIB option");
    for (const u16 format : words{VIQ_Y1, VIQ_RGB8, VIQ_XRGB32, VIQ_CMYK32, VIQ_RGGB32, VIQ_HSI}) {
        const picture unfit(format, 2, 1);
        fill_with_noise(unfit);
        EXPECT_ERROR(VIQ_image_convert(unfit, out, 2, 0, 3), 0x10070000,
                     "Unsupported image format");
    }
}

TEST_P(Convert, DispatcherKeepsTheLutFlagThroughAPicture) {
    const picture in(VIQ_YUV422, 4, 4), out;
    fill_with_noise(in);
    set_lines(in, 2);
    in->flags = VIQ_FLAG_2 | VIQ_FLAG_20;
    out->flags = VIQ_FLAG_USE_LUT | VIQ_FLAG_2;
    for (int n = 0; n < 2; ++n) {
        EXPECT_OK(VIQ_image_convert(in, out, VIQ_Y8, 0, 3));
        EXPECT_EQ(out->flags, VIQ_FLAG_USE_LUT | VIQ_FLAG_20);
    }
}

// ---- Device-independent bitmaps

constexpr bool is_mapped(u16 format) {
    return format == VIQ_Y8 || format == VIQ_Y16 || format == VIQ_PALETTED;
}

// Converts to the format of the bitmap, top line first; through RGB24 if nothing converts directly.
void convert_for_bitmap(u32 in, u32 out, u16 from, u16 target) {
    if (target == VIQ_PALETTED && from == VIQ_RGB24) {
        EXPECT_OK(VIQ_convert_to_RGB8_dither(in, out, 3));
    } else if ((target == VIQ_PALETTED) != is_mapped(from) || from == VIQ_RGB16 ||
               (from == VIQ_BGR24 && target == VIQ_BGRX32)) {
        const picture step;
        const u16 colour = from == VIQ_PALETTED ? u16{VIQ_RGB24_OR_Y8} : u16{VIQ_RGB24};
        EXPECT_OK(VIQ_image_convert(in, step, colour, 0, 3));
        if (target == VIQ_PALETTED)
            EXPECT_OK(VIQ_convert_to_RGB8_dither(step, out, 3));
        else
            EXPECT_OK(VIQ_image_convert(step, out, target, 0, 3));
    } else {
        const bool grey = target == VIQ_PALETTED && from != VIQ_PALETTED;
        EXPECT_OK(VIQ_image_convert(in, out, grey ? u16{VIQ_Y8} : target, 0, 3));
    }
}

TEST_P(Convert, DibOutputIsBottomUp) {
    for (const u16 format : with(to_24, {VIQ_PALETTED, VIQ_YUV422}))
        for (const u32 option : numbers{0, 8, 16, 24, 32}) {
            SCOPED_TRACE(text_of(format, "option", option));
            const u16 targets[] = {is_mapped(format) ? u16{VIQ_PALETTED} : u16{VIQ_BGR24},
                                   VIQ_PALETTED, VIQ_RGB15, VIQ_BGR24, VIQ_BGRX32};
            const u16 target = targets[option / 8];
            const picture in(format, 6, 5), expected, out;
            fill_with_noise(in);
            std::generate_n(&in->colourmap[0].red, 1024, noise);
            convert_for_bitmap(in, expected, format, target);
            ASSERT_NE(expected->data, nullptr);
            const bytes upright = pixels_of(expected);
            const std::size_t line = upright.size() / 5;
            for (const u32 lines : numbers{5, 2}) {
                VIQ_image_set_flags(out, VIQ_FLAG_DIB, 1);
                bytes bitmap;
                by_strips(in, lines, [&](const picture &strip) {
                    ASSERT_EQ(VIQ_image_convert(strip, out, 0, option, 3), 0u);
                    const bytes part = pixels_of(out);
                    bitmap.insert(bitmap.begin(), part.begin(), part.end());
                });
                ASSERT_EQ(bitmap.size(), upright.size());
                EXPECT_EQ(out->pixel_format, target);
                EXPECT_EQ(out->bytes_per_line % 4, 0u);
                EXPECT_EQ(VIQ_image_get_flags(out, VIQ_FLAG_DIB), 1u);
                for (std::size_t n = 0; n < 5; ++n)
                    ASSERT_TRUE(std::equal(&upright[n * line], &upright[n * line] + line,
                                           &bitmap[(4 - n) * line]));
            }
            const picture map;
            if (format == VIQ_PALETTED)
                EXPECT_OK(VIQ_cmap_copy(in, map));
            else
                EXPECT_OK(VIQ_cmap_set_type(map, is_mapped(format) ? 2 : 3));
            for (u16 i = 0; target == VIQ_PALETTED && i < 256; ++i)
                EXPECT_EQ(VIQ_cmap_get_RGB_colour(out, i), VIQ_cmap_get_RGB_colour(map, i));
        }
}

} // namespace
} // namespace viq
