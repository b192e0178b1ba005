// TIFF files: the bytes that are written, reading in both byte orders, and what is rejected.
#include <cstdio>

#include "tests/built_files.h"

namespace viq {
namespace {

constexpr const char *reader = "VIQ_read_TIFF_file";

std::size_t line_of(u16 format, u32 width) {
    constexpr std::size_t bits[] = {0, 1, 8, 8, 0, 0, 0, 24, 0, 0, 0, 0, 0, 32, 16};
    return (width * bits[format] + 7) / 8;
}

// 3 x 3, in TIFF strips of two lines, of which the second is stored first; a line has `line` bytes.
struct small_file {
    endian order;
    u32 line;
    tiff_fields fields;
    bytes pixels;

    small_file(endian byte_order, u32 bits, u32 photometric, u32 line_bytes)
        : order(byte_order), line(line_bytes),
          fields(with(usual_fields(3, 3, bits, photometric),
                      {{254, {0}}, {273, {8 + line + 1, 8}}, {278, {2}}})),
          pixels(line * 3 + 1) {
        std::generate(pixels.begin(), pixels.end(), noise);
    }
    bytes build(unsigned offset_type = 4, const std::map<u16, u32> &counts = {}) const {
        return tiff(order, pixels, fields, offset_type, counts);
    }
    bytes lines_from_the_top() const {
        bytes lines(pixels.begin() + line + 1, pixels.end());
        lines.insert(lines.end(), pixels.begin(), pixels.begin() + line);
        return lines;
    }
};

void swap_words(bytes &pixels) {
    for (std::size_t i = 0; i + 1 < pixels.size(); i += 2)
        std::swap(pixels[i], pixels[i + 1]);
}

// ---- Writing

TEST(TiffWriter, WritesTheBytesOfASmallGreyPicture) {
    const picture p(VIQ_Y8, 2, 2);
    set_strip(p, {1, 2, 3, 4});
    const words directory = {
        0x4D4D, 42,  0,   8,   13,  254, 4, 0, 1,   0,   0,   256, 3, 0,   1,   2,   0,   257, 3,
        0,      1,   2,   0,   258, 3,   0, 1, 8,   0,   259, 3,   0, 1,   1,   0,   262, 3,   0,
        1,      1,   0,   273, 4,   0,   1, 0, 186, 277, 3,   0,   1, 1,   0,   278, 4,   0,   1,
        0,      2,   279, 4,   0,   1,   0, 4, 282, 5,   0,   1,   0, 170, 283, 5,   0,   1,   0,
        178,    296, 3,   0,   1,   1,   0, 0, 0,   0,   300, 0,   1, 0,   300, 0,   1};
    bytes expected;
    for (const u16 word : directory) {
        expected.push_back(static_cast<u8>(word >> 8));
        expected.push_back(static_cast<u8>(word));
    }
    expected.insert(expected.end(), {1, 2, 3, 4});
    EXPECT_EQ(written(p, VIQ_write_TIFF_file, 1), expected);
}

TEST(TiffReader, RestoresEveryFormatByStripsOfAnyHeight) {
    for (const u16 format : {VIQ_Y1, VIQ_Y8, VIQ_Y16, VIQ_RGB24, VIQ_PALETTED})
        for (const u32 width : {1u, 2u, 7u, 8u, 9u, 33u})
            for (const u32 alignment : {1u, 2u, 4u}) {
                SCOPED_TRACE(text_of(format, width, alignment));
                const picture p(format, width, 5, alignment);
                const std::size_t line = line_of(format, width);
                p->data_width = format == VIQ_Y16 ? u16{12} : p->data_width;
                paint(p, line);
                const bytes expected = lines_of(p, line);
                const bytes file = written(p, VIQ_write_TIFF_file, 2);
                EXPECT_EQ(written(p, VIQ_write_TIFF_file, 100), file);
                for (const u32 lines : {1u, 3u, 5u}) {
                    const picture back;
                    EXPECT_EQ(pixels_read(back, file, VIQ_read_TIFF_file, lines, line), expected);
                    EXPECT_EQ(back->pixel_format, format);
                    EXPECT_EQ(back->data_width, p->data_width);
                    for (u16 i = 0; format == VIQ_PALETTED && i < 256; ++i)
                        EXPECT_EQ(VIQ_cmap_get_RGB_colour(back, i), VIQ_cmap_get_RGB_colour(p, i));
                }
                if (format == VIQ_RGB24 && width == 2)
                    expect_every_cut_refused(file, VIQ_read_TIFF_file, file.size());
            }
}

TEST(TiffWriter, WritesFourComponents) {
    const picture p(VIQ_CMYK32, 3, 2);
    fill_with_noise(p);
    const bytes file = written(p, VIQ_write_TIFF_file, 1);
    ASSERT_EQ(file.size(), 206u + 24);
    EXPECT_EQ(bytes(file.end() - 24, file.end()), pixels_of(p));
    EXPECT_EQ(file[9], 14);
    const picture back;
    EXPECT_REPORT(read_header(back, file, VIQ_read_TIFF_file), reader, 0x10070000,
                  "unsupported image");
}

TEST(TiffWriter, RejectsUnsupportedImages) {
    const auto refusal = [&](u16 format, u32 width, u16 colours, u32 code, const char *message) {
        const picture p(format, width, 1);
        p->num_colours = colours;
        EXPECT_ERROR(VIQ_write_TIFF_file(p, 3), code, message);
    };
    refusal(VIQ_BGR24, 2, 0, 0x10070008, "Unsupported image format");
    refusal(VIQ_PALETTED, 2, 255, 0x100700ff, "Unsupported palette/colourmap size");
    refusal(VIQ_Y8, 65536, 0, 0x10070000, "Image too large for a TIFF file");
    refusal(VIQ_Y8, 0, 0, 0x10050000, "Corrupt image");
    refusal(VIQ_Y8, 2, 0, 0x10090000, "Failed to create file");
}

// ---- Reading

TEST(TiffReader, ReadsBothByteOrdersAndSeveralStrips) {
    for (const endian order : {endian::big, endian::little})
        for (const u32 lines : {1u, 2u, 3u}) {
            const auto read = [lines](const bytes &file, u16 format) {
                const picture p;
                const bytes pixels =
                    pixels_read(p, file, VIQ_read_TIFF_file, lines, line_of(format, 3));
                EXPECT_EQ(p->pixel_format, format);
                return pixels;
            };
            const small_file grey(order, 8, 0, 3); // white is 0: not inverted
            EXPECT_EQ(read(grey.build(), VIQ_Y8), grey.lines_from_the_top());

            const small_file black_and_white(order, 1, 1,
                                             1); // two short offsets fit into the entry
            EXPECT_EQ(read(black_and_white.build(3), VIQ_Y1), black_and_white.lines_from_the_top());

            small_file colour(order, 8, 2, 9);
            colour.fields = with(colour.fields, {{258, {8, 8, 8}}, {277, {3}}});
            EXPECT_EQ(read(colour.build(), VIQ_RGB24), colour.lines_from_the_top());

            const small_file deep(order, 16, 1, 6);
            bytes samples = deep.lines_from_the_top();
            swap_words(samples); // big-endian in files of both orders
            EXPECT_EQ(read(deep.build(), VIQ_Y16), samples);
        }
}

TEST(TiffReader, UnpacksIndicesOfFourBits) {
    small_file made(endian::big, 4, 3, 2);
    for (u32 i = 0; i < 48; ++i)
        made.fields[320].push_back(i * 257);
    const picture p;
    const bytes pixels = pixels_read(p, made.build(), VIQ_read_TIFF_file, 3);
    const bytes packed = made.lines_from_the_top();
    for (std::size_t i = 0; i < 9; ++i) {
        const u8 pair = packed[i / 3 * 2 + i % 3 / 2];
        EXPECT_EQ(pixels[i], i % 3 == 1 ? pair & 15 : pair >> 4);
    }
    EXPECT_EQ(p->num_colours, 256);
    EXPECT_EQ(VIQ_cmap_get_RGB_colour(p, 5), 0x051525u);
}

TEST(TiffReader, RejectsUnsupportedAndCorruptFiles) {
    constexpr u32 many = 0xFFFFFFFF, unexpected = 0x100c0000, unsupported = 0x10070000,
                  corrupt = 0x10050000;
    const struct {
        u16 tag; // of the field that is replaced
        u32 count;
        numbers values;
        u32 code;
        const char *message;
    } refusals[] = {
        {254, 2, {0}, unexpected, "expecting 1 entry in NewSubFileType"},
        {254, 1, {1}, unexpected, "expecting single full resolution image"},
        {256, many, {3}, unexpected, "expecting 1 entry in ImageWidth"},
        {257, 0, {3}, unexpected, "expecting 1 entry in ImageLength"},
        {258, many, {8}, unsupported, "unsupported image"},
        {258, 3, {8, 8, 9}, unsupported, "unsupported image"},
        {258, 1, {2}, unsupported, "unsupported TIFF format"},
        {258, 1, {17}, unsupported, "unsupported TIFF format"},
        {259, 2, {1}, unexpected, "expecting 1 entry in Compression"},
        {259, 1, {5}, unsupported, "compressed TIFF images not supported"},
        {262, 3, {1}, unsupported, "expecting 1 entry in PhotometricInterp"},
        {262, 1, {4}, unsupported, "unsupported image type"},
        {262, 1, {2}, unsupported, "unsupported TIFF format"},
        {262, 1, {3}, unsupported, "unsupported TIFF format"}, // without a colour map
        {277, 2, {1}, unsupported, "expecting 1 entry in SamplesPerPixeltr"},
        {277, 1, {2}, unsupported, "unsupported TIFF format"},
        {278, 2, {2}, unsupported, "expecting 1 entry in RowsPerStrip"},
        {278, 1, {0}, corrupt, "0 rows per strip"},
        {278, 1, {1}, corrupt, "Corrupt image"}, // needs three offsets
        {273, many, {0}, corrupt, "Corrupt image"},
        {273, 2, {8, 60000}, corrupt, "Corrupt image"},
        {273, 0, {8}, corrupt, "Corrupt image"},
        {256, 1, {0}, corrupt, "Corrupt image"},
        {257, 1, {0}, corrupt, "Corrupt image"},
        {256, 1, {65535}, corrupt, "Corrupt image"},
        {320, many, numbers(8), unsupported, "unsupported TIFF format"},
        {320, 771, numbers(8), unsupported, "unsupported TIFF format"},
        {320, 768, numbers(8), corrupt, "Corrupt image"}, // truncated
    };
    const picture p;
    for (const auto &r : refusals) {
        SCOPED_TRACE(text_of(r.tag, r.message));
        small_file made(endian::little, 8, r.tag == 320 ? 3 : 1, 3);
        made.fields[r.tag] = r.values;
        EXPECT_REPORT(read_header(p, made.build(4, {{r.tag, r.count}}), VIQ_read_TIFF_file), reader,
                      r.code, r.message);
    }
    EXPECT_REPORT(read_header(p, {'X', 'M', 0, 42}, VIQ_read_TIFF_file), reader, 0x100c0000,
                  "Expecting 'MM' or 'II'");
    EXPECT_REPORT(read_header(p, {'M', 'M', 42, 0}, VIQ_read_TIFF_file), reader, 0x100c0000,
                  "Expecting 42");
    EXPECT_REPORT(read_header(p, {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0}, VIQ_read_TIFF_file), reader,
                  0x10070000, "unsupported TIFF format");
    VIQ_image_set_infilename(p, "nowhere/x.tif");
    EXPECT_ERROR(VIQ_read_TIFF_file(p, 3), 0x10090000, "Failed to open file");
}

TEST(TiffHelpers, ReadInTheGivenByteOrder) {
    write_file(scratch_file("input"), bytes{1, 2, 3, 4});
    std::FILE *file = std::fopen(scratch_file("input").c_str(), "rb");
    const auto at_start = [file](auto read) {
        std::rewind(file);
        return read();
    };
    EXPECT_EQ(at_start([&] { return TIFF_read_ui16(file, 77); }), 0x0102);
    EXPECT_EQ(at_start([&] { return TIFF_read_ui16(file, 73); }), 0x0201);
    EXPECT_EQ(at_start([&] { return TIFF_read_ui32(file, 77); }), 0x01020304u);
    EXPECT_EQ(at_start([&] { return TIFF_read_ui32(file, 0); }), 0x04030201u);
    EXPECT_EQ(at_start([&] { return TIFF_read_data(file, 77, 3); }), 0x0102u);
    EXPECT_EQ(at_start([&] { return TIFF_read_data(file, 73, 4); }), 0x04030201u);
    std::fclose(file);
}

// The file that is opened to detect its format is passed to the reader, or closed.
TEST(Tiff, IsClosedAfterEveryKindOfGenericRead) {
    const std::filesystem::path open_files = "/proc/self/fd";
    constexpr bool is_windows = std::filesystem::path::preferred_separator == '\\';
    if (is_windows || !std::filesystem::exists(open_files)) // wine opens files of its own
        GTEST_SKIP() << "no list of open files";
    const auto count = [&] {
        const std::filesystem::directory_iterator files(open_files);
        return std::distance(begin(files), end(files));
    };
    const picture scene(VIQ_Y8, 8, 8), strip;
    fill_with_noise(scene);
    name_files(scene, scratch_file("open.tif"));
    name_files(strip, scratch_file("open.tif"));
    EXPECT_OK(VIQ_write_TIFF_file(scene, VIQ_STRIP_NEXT));
    const auto before = count();
    EXPECT_OK(VIQ_image_read(strip, 0, VIQ_STRIP_NEXT));
    EXPECT_EQ(count(), before);
    EXPECT_OK(VIQ_image_read(strip, 0, VIQ_STRIP_FINISH));
    EXPECT_EQ(VIQ_image_read(strip, 0, 0), u32{VIQ_ERR_STATE});
    EXPECT_EQ(count(), before);

    set_lines(strip, 2);
    EXPECT_OK(VIQ_read_TIFF_file(strip, VIQ_STRIP_NEXT));
    EXPECT_OK(VIQ_image_read(strip, 0, VIQ_STRIP_NEXT)); // continues the sequence of the reader
    EXPECT_EQ(strip->data[0], scene->data[2 * scene->bytes_per_line]);
    EXPECT_EQ(count(), before + 1);
    EXPECT_OK(VIQ_image_read(strip, 0, VIQ_STRIP_FINISH));
    EXPECT_EQ(count(), before);
}

} // namespace
} // namespace viq
