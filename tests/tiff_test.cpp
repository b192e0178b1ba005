// TIFF files: the bytes that are written, reading in both byte orders, and what is rejected.
#include <cstdio>

#include "tests/file_support.h"

namespace viq {
namespace {

constexpr const char *reader = "VIQ_read_TIFF_file";

std::size_t line_of(u16 format, u32 width) {
    constexpr std::size_t bits[] = {0, 1, 8, 8, 0, 0, 0, 24, 0, 0, 0, 0, 0, 32, 16};
    return (width * bits[format] + 7) / 8;
}

// ---- TIFF files built for a test

struct field {
    u16 tag, type;
    u32 count;
    words values; // stored after the directory if too large for the entry
};

struct tiff_builder {
    u8 order = 'M';
    std::vector<field> fields;
    bytes pixels; // after the directory and the values
    bytes file;

    void put(u32 value, int size) {
        for (int i = 0; i < size; ++i)
            file.push_back(static_cast<u8>(value >> 8 * (order == 'M' ? size - 1 - i : i)));
    }
    void put_values(const field &f) {
        for (const u16 value : f.values)
            put(value, f.type == 3 ? 2 : 4);
    }
    u32 size_of(const field &f) const {
        return static_cast<u32>(f.values.size()) * (f.type == 3 ? 2 : 4);
    }
    // Strip offsets are relative to the first pixel.
    bytes build() {
        u32 extra = static_cast<u32>(14 + 12 * fields.size());
        u32 start = extra;
        for (const field &f : fields)
            start += size_of(f) > 4 ? size_of(f) : 0;
        file = {order, order};
        put(42, 2);
        put(8, 4);
        put(static_cast<u32>(fields.size()), 2);
        for (field &f : fields) {
            if (f.tag == 273)
                for (u16 &value : f.values)
                    value = static_cast<u16>(value + start);
            put(f.tag, 2);
            put(f.type, 2);
            put(f.count, 4);
            if (size_of(f) > 4) {
                put(extra, 4);
                extra += size_of(f);
                continue;
            }
            put_values(f);
            file.resize((file.size() + 1) / 4 * 4 + 2);
        }
        put(0, 4);
        for (const field &f : fields)
            if (size_of(f) > 4)
                put_values(f);
        file.insert(file.end(), pixels.begin(), pixels.end());
        return file;
    }
    field &operator[](u16 tag) {
        return *std::find_if(fields.begin(), fields.end(),
                             [tag](const field &f) { return f.tag == tag; });
    }
};

// 3 x 3, in TIFF strips of two lines; a line has `line` bytes.
tiff_builder small_picture(u8 order, u16 bits, u16 photometric, u16 line) {
    tiff_builder made;
    made.order = order;
    made.fields = {{254, 4, 1, {0}},
                   {256, 3, 1, {3}},
                   {257, 3, 1, {3}},
                   {258, 3, 1, {bits}},
                   {259, 3, 1, {1}},
                   {262, 3, 1, {photometric}},
                   {273, 4, 2, {static_cast<u16>(line + 1), 0}}, // the second strip is stored first
                   {277, 3, 1, {1}},
                   {278, 4, 1, {2}}};
    made.pixels.resize(line * 3u + 1);
    std::generate(made.pixels.begin(), made.pixels.end(), noise);
    return made;
}

// The lines from the top.
bytes lines_of(const tiff_builder &made, u16 line) {
    bytes lines(made.pixels.begin() + line + 1, made.pixels.end());
    lines.insert(lines.end(), made.pixels.begin(), made.pixels.begin() + line);
    return lines;
}

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
    for (const u8 order : {u8{'M'}, u8{'I'}}) {
        const auto read = [](tiff_builder made, u16 format, u32 lines) {
            const picture p;
            const bytes pixels =
                pixels_read(p, made.build(), VIQ_read_TIFF_file, lines, line_of(format, 3));
            EXPECT_EQ(p->pixel_format, format);
            return pixels;
        };
        for (const u32 lines : {1u, 2u, 3u}) {
            const tiff_builder grey = small_picture(order, 8, 0, 3); // white is 0: not inverted
            EXPECT_EQ(read(grey, VIQ_Y8, lines), lines_of(grey, 3));

            tiff_builder black_and_white = small_picture(order, 1, 1, 1);
            black_and_white[273].type = 3; // two short offsets fit into the entry
            EXPECT_EQ(read(black_and_white, VIQ_Y1, lines), lines_of(black_and_white, 1));

            tiff_builder colour = small_picture(order, 8, 2, 9);
            colour[258] = {258, 3, 3, {8, 8, 8}};
            colour[277].values = {3};
            EXPECT_EQ(read(colour, VIQ_RGB24, lines), lines_of(colour, 9));

            const tiff_builder deep = small_picture(order, 16, 1, 6);
            bytes samples = lines_of(deep, 6);
            swap_words(samples); // big-endian in files of both orders
            EXPECT_EQ(read(deep, VIQ_Y16, lines), samples);
        }
    }
}

TEST(TiffReader, UnpacksIndicesOfFourBits) {
    tiff_builder made = small_picture('M', 4, 3, 2);
    field map = {320, 3, 48, {}};
    for (u16 i = 0; i < 48; ++i)
        map.values.push_back(static_cast<u16>(i * 257));
    made.fields.push_back(map);
    const picture p;
    const bytes pixels = pixels_read(p, made.build(), VIQ_read_TIFF_file, 3);
    const bytes packed = lines_of(made, 2);
    for (std::size_t i = 0; i < 9; ++i) {
        const u8 pair = packed[i / 3 * 2 + i % 3 / 2];
        EXPECT_EQ(pixels[i], i % 3 == 1 ? pair & 15 : pair >> 4);
    }
    EXPECT_EQ(p->num_colours, 256);
    EXPECT_EQ(VIQ_cmap_get_RGB_colour(p, 5), 0x051525u);
}

TEST(TiffReader, RejectsUnsupportedAndCorruptFiles) {
    struct refusal {
        field changed; // replaces the field of its tag
        u32 code;
        const char *message;
    };
    constexpr u32 many = 0xFFFFFFFF;
    const refusal refusals[] = {
        {{254, 4, 2, {0}}, 0x100c0000, "expecting 1 entry in NewSubFileType"},
        {{254, 4, 1, {1}}, 0x100c0000, "expecting single full resolution image"},
        {{256, 3, many, {3}}, 0x100c0000, "expecting 1 entry in ImageWidth"},
        {{257, 3, 0, {3}}, 0x100c0000, "expecting 1 entry in ImageLength"},
        {{258, 3, many, {8}}, 0x10070000, "unsupported image"},
        {{258, 3, 3, {8, 8, 9}}, 0x10070000, "unsupported image"},
        {{258, 3, 1, {2}}, 0x10070000, "unsupported TIFF format"},
        {{258, 3, 1, {17}}, 0x10070000, "unsupported TIFF format"},
        {{259, 3, 2, {1}}, 0x100c0000, "expecting 1 entry in Compression"},
        {{259, 3, 1, {5}}, 0x10070000, "compressed TIFF images not supported"},
        {{262, 3, 3, {1}}, 0x10070000, "expecting 1 entry in PhotometricInterp"},
        {{262, 3, 1, {4}}, 0x10070000, "unsupported image type"},
        {{262, 3, 1, {2}}, 0x10070000, "unsupported TIFF format"},
        {{262, 3, 1, {3}}, 0x10070000, "unsupported TIFF format"}, // without a colour map
        {{277, 3, 2, {1}}, 0x10070000, "expecting 1 entry in SamplesPerPixeltr"},
        {{277, 3, 1, {2}}, 0x10070000, "unsupported TIFF format"},
        {{278, 4, 2, {2}}, 0x10070000, "expecting 1 entry in RowsPerStrip"},
        {{278, 4, 1, {0}}, 0x10050000, "0 rows per strip"},
        {{278, 4, 1, {1}}, 0x10050000, "Corrupt image"}, // needs three offsets
        {{273, 4, many, {0}}, 0x10050000, "Corrupt image"},
        {{273, 4, 2, {0, 60000}}, 0x10050000, "Corrupt image"},
        {{273, 4, 0, {0}}, 0x10050000, "Corrupt image"},
        {{256, 3, 1, {0}}, 0x10050000, "Corrupt image"},
        {{257, 3, 1, {0}}, 0x10050000, "Corrupt image"},
        {{256, 4, 1, {65535}}, 0x10050000, "Corrupt image"},
    };
    const picture p;
    for (const refusal &r : refusals) {
        SCOPED_TRACE(text_of(r.changed.tag, r.message));
        tiff_builder made = small_picture('I', 8, 1, 3);
        made[r.changed.tag] = r.changed;
        EXPECT_REPORT(read_header(p, made.build(), VIQ_read_TIFF_file), reader, r.code, r.message);
    }
    for (const u32 count : {many, 771u, 768u}) { // longer than the file, too long, truncated
        tiff_builder made = small_picture('I', 8, 3, 3);
        made.fields.push_back({320, 3, count, words(8)});
        const bool too_many = count > 768;
        EXPECT_REPORT(read_header(p, made.build(), VIQ_read_TIFF_file), reader,
                      too_many ? 0x10070000u : 0x10050000u,
                      too_many ? "unsupported TIFF format" : "Corrupt image");
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
