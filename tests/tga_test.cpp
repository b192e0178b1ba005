// TGA files: the bytes that are written, round trips, and what is rejected.
#include "tests/built_files.h"

namespace viq {
namespace {

constexpr const char *reader = "VIQ_read_TGA_file";

// From the top, without a colourmap.
bytes file_of(u8 type, u32 width, u32 height, u8 bits, const bytes &pixels) {
    return tga(type, width, height, bits, 0x20, pixels);
}

TEST(TgaWriter, WritesLinesFromTheTop) {
    const picture grey(VIQ_Y8, 3, 2); // written with line padding
    set_strip(grey, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(written(grey, VIQ_write_TGA_file, 1), file_of(3, 3, 2, 8, {1, 2, 3, 0, 4, 5, 6, 0}));
    const picture packed(VIQ_Y8, 3, 2, 1);
    set_strip(packed, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(written(packed, VIQ_write_TGA_file, 2), file_of(3, 3, 2, 8, {1, 2, 3, 4, 5, 6}));
    const picture colour(VIQ_RGB24, 1, 2); // written as BGR, without padding
    set_strip(colour, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(written(colour, VIQ_write_TGA_file, 1), file_of(2, 1, 2, 24, {3, 2, 1, 6, 5, 4}));
    const picture words(VIQ_RGB15, 1, 2);
    set_strip(words, {1, 2, 3, 4});
    EXPECT_EQ(written(words, VIQ_write_TGA_file, 1), file_of(2, 1, 2, 16, {1, 2, 3, 4}));
}

TEST(TgaReader, RestoresPicturesByStripsOfAnyHeight) {
    for (const u16 format : {VIQ_Y8, VIQ_RGB24})
        for (const u32 width : {1u, 2u, 5u, 256u, 301u})
            for (const u32 alignment : {1u, 2u, 4u}) {
                SCOPED_TRACE(text_of(format, width, alignment));
                const picture p(format, width, 5, alignment);
                paint(p, 0);
                const bytes file = written(p, VIQ_write_TGA_file, 2);
                for (const u32 lines : {1u, 3u, 5u}) {
                    const picture back(0, 0, 0, alignment);
                    EXPECT_EQ(pixels_read(back, file, VIQ_read_TGA_file, lines), pixels_of(p));
                    EXPECT_EQ(back->pixel_format, format);
                }
                if (alignment == 1 && width == 2)
                    expect_every_cut_refused(file, VIQ_read_TGA_file, file.size());
            }
}

TEST(TgaReader, Converts16BitPixelsToRgb24) {
    const bytes words = {0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x80, 0xFF, 0xFF, 0, 0};
    const bytes colours = {0xF8, 0, 0, 7, 0xF8, 0, 0, 7, 0xF8, 0xFF, 0xFF, 0xF8, 0, 0, 0};
    for (const u8 bits : {u8{15}, u8{16}}) {
        const bytes file = file_of(2, 5, 1, bits, words);
        const picture p;
        EXPECT_EQ(pixels_read(p, file, VIQ_read_TGA_file, 1), colours);
        EXPECT_EQ(p->pixel_format, VIQ_RGB24);
        EXPECT_EQ(p->bytes_per_line, 16u);

        const picture locked; // a caller's buffer receives the pixels
        bytes buffer(16, 0xEE);
        VIQ_image_set_ptr(locked, VIQ_PTR_DATA, buffer.data());
        VIQ_image_set_flags(locked, VIQ_FLAG_LOCKED, 1);
        pixels_read(locked, file, VIQ_read_TGA_file, 1);
        EXPECT_EQ(locked->data, buffer.data());
        EXPECT_EQ(bytes(buffer.begin(), buffer.end() - 1), colours);
    }
}

TEST(TgaReader, ReadsTheIdentificationAsPixels) {
    bytes file = file_of(3, 2, 1, 8, {7, 8, 9, 10});
    file[0] = 2;
    const picture p;
    EXPECT_EQ(pixels_read(p, file, VIQ_read_TGA_file, 1), (bytes{7, 8}));
}

TEST(TgaReader, RejectsUnsupportedHeaders) {
    const picture p;
    const auto refusal = [&](u8 map_type, u8 type, u16 width, u8 bits, u32 code,
                             const char *message) {
        EXPECT_REPORT(read_header(p, tga(type, width, 1, bits, 0x20, {}, {map_type, 0, 0, 0, 0, 0}),
                                  VIQ_read_TGA_file),
                      reader, code, message);
    };
    refusal(1, 1, 1, 8, 0x10070000, "unsupported image");
    for (const u8 type : {u8{1}, u8{9}, u8{10}, u8{11}})
        refusal(0, type, 1, 8, 0x10070000, "unsupported image type");
    refusal(0, 3, 0, 8, 0x10050000, "Corrupt image");
    refusal(0, 2, 65535, 24, 0x10050000, "Corrupt image");
    const bytes deep = file_of(2, 1, 1, 32, {1, 2, 3, 4});
    EXPECT_CHECKED(read_header(p, deep, VIQ_read_TGA_file), reader, 0x10050003, "Depth not 24");
}

TEST(TgaWriter, RejectsUnsupportedImages) {
    const picture other(VIQ_Y16, 1, 1);
    EXPECT_ERROR(VIQ_write_TGA_file(other, 3), 0x1007000e, "Unsupported image format");
    const picture wide(VIQ_Y8, 65536, 1);
    EXPECT_ERROR(VIQ_write_TGA_file(wide, 3), 0x10070000, "Image too large for a TGA file");
}

} // namespace
} // namespace viq
