// The conforming reading mode: variants of each format, refusals, damaged files.
#include <functional>
#include <map>

#include "core/byte_order.h"
#include "tests/file_support.h"
#include "tests/jpeg_support.h"

namespace viq {
namespace {

class ConformingFiles : public testing::Test {
protected:
    void SetUp() override { EXPECT_OK(VIQ_set_file_reading(VIQ_READING_CONFORMING)); }
    void TearDown() override { EXPECT_OK(VIQ_set_file_reading(VIQ_READING_ORIGINAL)); }
};

void append(bytes &to, const bytes &more) {
    to.insert(to.end(), more.begin(), more.end());
}

void append(bytes &to, u32 value, unsigned size, endian order) {
    for (unsigned i = 0; i < size; ++i)
        to.push_back(static_cast<u8>(value >> byte_shift(order, size, i)));
}

// ---- BMP

struct bmp_parts {
    int width = 0, height = 0;
    u16 bits = 0;
    u32 compression = 0;
    bytes palette = {}; // and masks
    bytes pixels = {};
    u32 header = 40;
    u32 colours = 0;
    u32 gap = 0; // bytes before the pixels
};

bytes bmp(const bmp_parts &parts) {
    constexpr endian order = endian::little;
    bytes file = {'B', 'M'};
    const auto offset = static_cast<u32>(14 + parts.header + parts.palette.size() + parts.gap);
    append(file, static_cast<u32>(offset + parts.pixels.size()), 4, order);
    append(file, 0x00010002, 4, order); // the reserved words are not 0
    append(file, offset, 4, order);
    append(file, parts.header, 4, order);
    const unsigned side = parts.header == 12 ? 2 : 4;
    append(file, static_cast<u32>(parts.width), side, order);
    append(file, static_cast<u32>(parts.height), side, order);
    append(file, 1, 2, order);
    append(file, parts.bits, 2, order);
    if (parts.header > 12) {
        append(file, parts.compression, 4, order);
        file.resize(46);
        append(file, parts.colours, 4, order);
    }
    bytes rest = parts.palette;
    if (parts.header > 40 && parts.compression == 3) { // the masks are part of the header
        append(file, 0, 4, order);
        append(file, parts.palette);
        rest.clear();
        file[10] = static_cast<u8>(14 + parts.header + parts.gap);
    }
    file.resize(14 + parts.header);
    append(file, rest);
    file.resize(file.size() + parts.gap);
    append(file, parts.pixels);
    return file;
}

bytes masks(std::initializer_list<u32> values) {
    bytes result;
    for (const u32 value : values)
        append(result, value, 4, endian::little);
    return result;
}

// ---- TIFF

struct tiff_parts {
    endian order = endian::little;
    bytes data = {}; // begins at offset 8
    std::map<u16, numbers> fields = {};
};

unsigned type_of(u16 tag) {
    return tag == 254 || tag == 273 || tag == 279 ? 4 : 3;
}

// Width, height, depth, photometric interpretation, samples; one TIFF strip.
std::map<u16, numbers> tiff_fields(u32 width, u32 height, u32 bits, u32 photometric,
                                   u32 samples = 1) {
    return {{256, {width}},   {257, {height}},      {258, numbers(samples, bits)},
            {259, {1}},       {262, {photometric}}, {273, {8}},
            {277, {samples}}, {278, {height}}};
}

std::map<u16, numbers> with(std::map<u16, numbers> fields, std::map<u16, numbers> changes) {
    for (auto &[tag, values] : changes)
        fields[tag] = values;
    return fields;
}

bytes tiff(const tiff_parts &parts) {
    const endian order = parts.order;
    bytes file(2, order == endian::big ? 'M' : 'I');
    append(file, 42, 2, order);
    append(file, 0, 4, order);
    append(file, parts.data);
    bytes directory;
    append(directory, static_cast<u32>(parts.fields.size()), 2, order);
    for (const auto &[tag, values] : parts.fields) {
        const unsigned type = type_of(tag), size = type == 3 ? 2 : 4;
        append(directory, tag, 2, order);
        append(directory, type, 2, order);
        append(directory, static_cast<u32>(values.size()), 4, order);
        bytes list;
        for (const u32 value : values)
            append(list, value, size, order);
        if (list.size() <= 4) {
            list.resize(4);
            append(directory, list);
        } else {
            append(directory, static_cast<u32>(file.size()), 4, order);
            append(file, list);
        }
    }
    for (unsigned i = 0; i < 4; ++i)
        file[4 + i] = byte_of(static_cast<u32>(file.size()), order, i);
    append(file, directory);
    append(file, 0, 4, order);
    return file;
}

// ---- TGA

bytes tga(u8 type, u16 width, u16 height, u8 bits, u8 descriptor, const bytes &rest,
          const bytes &map_header = {0, 0, 0, 0, 0, 0}, u8 identification = 0) {
    bytes file = {identification, map_header[0], type};
    file.insert(file.end(), map_header.begin() + 1, map_header.end());
    file.resize(12);
    append(file, width, 2, endian::little);
    append(file, height, 2, endian::little);
    append(file, bytes{bits, descriptor});
    append(file, rest);
    return file;
}

// ---- Variants

struct variant {
    const char *name;
    file_function read;
    bytes file;
    u16 format;
    bytes pixels;              // of VIQ_PALETTED: indices
    numbers facts = {1, 8, 0}; // orientation, bits of a sample, dropped samples
    bytes colours = {};        // the first ones of the palette, as RGB
};

const bytes two_colours = {1, 2, 3, 0, 4, 5, 6, 0};

std::vector<variant> variants() {
    const auto read_bmp = VIQ_read_BMP_file;
    const auto read_tiff = VIQ_read_TIFF_file;
    const auto read_tga = VIQ_read_TGA_file;
    const bytes bmp24 = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
    const bytes lower_first = {9, 8, 7, 12, 11, 10, 3, 2, 1, 6, 5, 4};
    const bytes upper_first = {3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10};
    const numbers map_of_4 = {0x1234, 0xFF00, 0,      0x8000, 0x5678, 0,
                              0x4000, 0xFFFF, 0x9ABC, 1,      2,      0xC0FF};
    const bytes colours_of_4 = {0x12, 0x56, 0x9A, 0xFF, 0, 0, 0, 0x40, 0, 0x80, 0xFF, 0xC0};
    return {
        // BMP: header sizes, line order, gaps
        {"bmp 12", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 12}), VIQ_RGB24, lower_first},
        {"bmp 52", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 52}), VIQ_RGB24, lower_first},
        {"bmp 64", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 64}), VIQ_RGB24, lower_first},
        {"bmp 124", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 124}), VIQ_RGB24, lower_first},
        {"bmp gap", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 40, 0, 7}), VIQ_RGB24, lower_first},
        {"bmp top first", read_bmp, bmp({2, -2, 24, 0, {}, bmp24}), VIQ_RGB24, upper_first},
        // BMP: palettes
        {"bmp 1",
         read_bmp,
         bmp({3, 2, 1, 0, two_colours, {0xA0, 0, 0, 0, 0x40, 0, 0, 0}}),
         VIQ_PALETTED,
         {0, 1, 0, 1, 0, 1},
         {1, 1, 0},
         {3, 2, 1, 6, 5, 4, 0, 0, 0}},
        {"bmp 2",
         read_bmp,
         bmp({3, 1, 2, 0, masks({1, 2, 3, 4}), {0x6C, 0, 0, 0}}),
         VIQ_PALETTED,
         {1, 2, 3},
         {1, 2, 0},
         {0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0, 4}},
        {"bmp 4",
         read_bmp,
         bmp({3, 1, 4, 0, two_colours, {0x10, 0x50, 0, 0}, 40, 2}),
         VIQ_PALETTED,
         {1, 0, 5},
         {1, 4, 0},
         {3, 2, 1, 6, 5, 4, 0, 0, 0}},
        {"bmp 8 of 2",
         read_bmp,
         bmp({3, 1, 8, 0, two_colours, {1, 0, 2, 0}, 40, 2}),
         VIQ_PALETTED,
         {1, 0, 2},
         {1, 8, 0},
         {3, 2, 1, 6, 5, 4, 0, 0, 0}},
        {"bmp 12, 1",
         read_bmp,
         bmp({2, 1, 1, 0, {1, 2, 3, 4, 5, 6}, {0x40, 0, 0, 0}, 12}),
         VIQ_PALETTED,
         {0, 1},
         {1, 1, 0},
         {3, 2, 1, 6, 5, 4, 0}},
        // BMP: words
        {"bmp 16",
         read_bmp,
         bmp({2, 1, 16, 0, {}, {0xE0, 0x7F, 0x1F, 0x80}}),
         VIQ_RGB24,
         {255, 255, 0, 0, 0, 255},
         {1, 5, 0}},
        {"bmp 565",
         read_bmp,
         bmp({2, 1, 16, 3, masks({0xF800, 0x07E0, 0x001F}), {0xE0, 0x07, 0x00, 0x18}}),
         VIQ_RGB24,
         {0, 255, 0, 25, 0, 0},
         {1, 6, 0}},
        {"bmp 32", read_bmp, bmp({1, 1, 32, 0, {}, {1, 2, 3, 99}}), VIQ_RGB24, {3, 2, 1}},
        {"bmp 32 masks",
         read_bmp,
         bmp({1, 1, 32, 3, masks({0xFF, 0xFF00, 0xFF0000}), {1, 2, 3, 4}}),
         VIQ_RGB24,
         {1, 2, 3}},
        {"bmp 10 bits",
         read_bmp,
         bmp({1, 1, 32, 3, masks({0x3FF00000, 0xFFC00, 0x3FF}), {0xFF, 0x03, 0x08, 0x20}}),
         VIQ_RGB24,
         {128, 128, 255},
         {1, 10, 0}},
        {"bmp alpha masks",
         read_bmp,
         bmp({1, 1, 32, 6, masks({0xFF, 0xFF00, 0xFF0000, 0xFF000000}), {1, 2, 3, 4}}),
         VIQ_RGB24,
         {1, 2, 3},
         {1, 8, 1}},
        {"bmp 56 alpha",
         read_bmp,
         bmp({1, 1, 32, 3, masks({0xFF00, 0xFF0000, 0xFF, 0xFF000000}), {1, 2, 3, 4}, 56}),
         VIQ_RGB24,
         {2, 3, 1},
         {1, 8, 1}},
        // BMP: runs; skipped pixels have index 0
        {"bmp rle8",
         read_bmp,
         bmp({5,
              3,
              8,
              1,
              two_colours,
              {3, 1, 0, 0, 0, 3, 7, 8, 9, 0, 2, 6, 0, 0, 0, 2, 1, 0, 4, 5, 0, 1},
              40,
              2}),
         VIQ_PALETTED,
         {0, 5, 5, 5, 5, 7, 8, 9, 6, 6, 1, 1, 1, 0, 0}},
        {"bmp rle8 down",
         read_bmp,
         bmp({4, 4, 8, 1, two_colours, {1, 3, 0, 2, 1, 2, 2, 4, 0, 1}, 40, 2}),
         VIQ_PALETTED,
         {0, 0, 0, 0, 0, 0, 4, 4, 0, 0, 0, 0, 3, 0, 0, 0}},
        {"bmp rle4",
         read_bmp,
         bmp({6,
              2,
              4,
              2,
              two_colours,
              {4, 0x12, 2, 0x30, 0, 0, 0, 3, 0x45, 0x60, 3, 0x78, 0, 1},
              40,
              2}),
         VIQ_PALETTED,
         {4, 5, 6, 7, 8, 7, 1, 2, 1, 2, 3, 0},
         {1, 4, 0}},
        // TIFF: both orders, depths, planes, extra samples
        {"tiff rgb16 II",
         read_tiff,
         tiff({endian::little, {0xFF, 0xFF, 0x80, 0x80, 0x00, 0x01}, tiff_fields(1, 1, 16, 2, 3)}),
         VIQ_RGB24,
         {255, 128, 1},
         {1, 16, 0}},
        {"tiff y16 II",
         read_tiff,
         tiff({endian::little, {0x34, 0x12}, tiff_fields(1, 1, 16, 1)}),
         VIQ_Y16,
         {0x34, 0x12},
         {1, 16, 0}},
        {"tiff y16 MM white",
         read_tiff,
         tiff({endian::big, {0x12, 0x34}, tiff_fields(1, 1, 16, 0)}),
         VIQ_Y16,
         {0xCB, 0xED},
         {1, 16, 0}},
        {"tiff white",
         read_tiff,
         tiff({endian::big, {0, 1, 255}, tiff_fields(3, 1, 8, 0)}),
         VIQ_Y8,
         {255, 254, 0}},
        {"tiff grey 4",
         read_tiff,
         tiff({endian::big, {0x0F, 0x80}, tiff_fields(3, 1, 4, 1)}),
         VIQ_Y8,
         {0, 255, 136},
         {1, 4, 0}},
        {"tiff 12 packed",
         read_tiff,
         tiff({endian::big, {0x12, 0x34, 0x56}, with(tiff_fields(2, 1, 12, 1), {{279, {3}}})}),
         VIQ_Y16,
         {0x23, 0x01, 0x56, 0x04},
         {1, 12, 0}},
        {"tiff 12 in words",
         read_tiff,
         tiff(
             {endian::big, {0x01, 0x23, 0x04, 0x56}, with(tiff_fields(2, 1, 12, 1), {{279, {4}}})}),
         VIQ_Y16,
         {0x23, 0x01, 0x56, 0x04},
         {1, 12, 0}},
        {"tiff planes",
         read_tiff,
         tiff({endian::big,
               {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12},
               with(tiff_fields(2, 2, 8, 2, 3),
                    {{273, {10, 8, 14, 12, 18, 16}}, {278, {1}}, {284, {2}}})}),
         VIQ_RGB24,
         {3, 7, 11, 4, 8, 12, 1, 5, 9, 2, 6, 10}},
        {"tiff alpha",
         read_tiff,
         tiff({endian::big,
               {1, 2, 3, 99, 4, 5, 6, 99},
               with(tiff_fields(2, 1, 8, 2, 4), {{338, {2}}, {274, {6}}})}),
         VIQ_RGB24,
         {1, 2, 3, 4, 5, 6},
         {6, 8, 1}},
        {"tiff cmyk",
         read_tiff,
         tiff({endian::big, {1, 2, 3, 4}, tiff_fields(1, 1, 8, 5, 4)}),
         VIQ_CMYK32,
         {1, 2, 3, 4}},
        {"tiff strips",
         read_tiff,
         tiff({endian::little,
               {1, 2, 3, 4, 5},
               with(tiff_fields(1, 5, 8, 1), {{273, {11, 9, 8}}, {278, {2}}})}),
         VIQ_Y8,
         {4, 5, 2, 3, 1}},
        {"tiff bits",
         read_tiff,
         tiff({endian::little, {0xA0, 0x01}, with(tiff_fields(9, 1, 1, 0), {{266, {2}}})}),
         VIQ_Y1,
         {0xFA, 0x00},
         {1, 1, 0}},
        {"tiff map",
         read_tiff,
         tiff({endian::little, {0x1B}, with(tiff_fields(4, 1, 2, 3), {{320, map_of_4}})}),
         VIQ_PALETTED,
         {0, 1, 2, 3},
         {1, 2, 0},
         colours_of_4},
        {"tiff map of bytes",
         read_tiff,
         tiff({endian::big, {0x40}, with(tiff_fields(2, 1, 1, 3), {{320, {1, 2, 3, 4, 5, 255}}})}),
         VIQ_PALETTED,
         {0, 1},
         {1, 1, 0},
         {1, 3, 5, 2, 4, 255}},
        // TGA: types, origins, identification, palettes
        {"tga bottom", read_tga, tga(3, 2, 2, 8, 0, {1, 2, 3, 4}), VIQ_Y8, {3, 4, 1, 2}},
        {"tga right", read_tga, tga(3, 2, 2, 8, 0x30, {1, 2, 3, 4}), VIQ_Y8, {2, 1, 4, 3}},
        {"tga name",
         read_tga,
         tga(3, 1, 1, 8, 0x20, {9, 9, 5}, {0, 0, 0, 0, 0, 0}, 2),
         VIQ_Y8,
         {5}},
        {"tga 15",
         read_tga,
         tga(2, 2, 1, 15, 0x20, {0xFF, 0x7F, 0x40, 0x00}),
         VIQ_RGB24,
         {255, 255, 255, 0, 16, 0},
         {1, 5, 0}},
        {"tga 32", read_tga, tga(2, 1, 1, 32, 0x28, {1, 2, 3, 4}), VIQ_RGB24, {3, 2, 1}, {1, 8, 1}},
        {"tga grey alpha",
         read_tga,
         tga(3, 2, 1, 16, 0x28, {1, 99, 2, 99}),
         VIQ_Y8,
         {1, 2},
         {1, 8, 1}},
        {"tga map",
         read_tga,
         tga(1, 2, 1, 8, 0x20, {1, 2, 3, 4, 5, 6, 2, 3}, {1, 2, 0, 2, 0, 24}),
         VIQ_PALETTED,
         {2, 3},
         {1, 8, 0},
         {0, 0, 0, 0, 0, 0, 3, 2, 1, 6, 5, 4, 0, 0, 0}},
        {"tga runs",
         read_tga,
         tga(11, 3, 3, 8, 0, {0x83, 7, 2, 1, 2, 3, 0x81, 9}),
         VIQ_Y8,
         {3, 9, 9, 7, 1, 2, 7, 7, 7}},
        {"tga colour runs",
         read_tga,
         tga(10, 2, 2, 24, 0x30, {0x82, 1, 2, 3, 0, 4, 5, 6}),
         VIQ_RGB24,
         {3, 2, 1, 3, 2, 1, 6, 5, 4, 3, 2, 1}},
        {"tga map runs",
         read_tga,
         tga(9, 2, 1, 8, 0x20, {0xFF, 0x7F, 0x81, 0}, {1, 0, 0, 1, 0, 16}),
         VIQ_PALETTED,
         {0, 0},
         {1, 8, 0},
         {255, 255, 255, 0}},
    };
}

// Bytes to compare of each line; 0: all pixels.
std::size_t bit_bytes(const variant &v) {
    return v.format == VIQ_Y1 ? 2 : 0;
}

TEST_F(ConformingFiles, ReadsVariantsByStripsOfAnyHeight) {
    for (const variant &v : variants())
        for (const u32 lines : {1u, 2u, 7u}) {
            SCOPED_TRACE(text_of(v.name, lines));
            const picture p;
            EXPECT_EQ(pixels_read(p, v.file, v.read, lines, bit_bytes(v)), v.pixels);
            EXPECT_EQ(p->pixel_format, v.format);
            for (u16 id = 1; id <= 3; ++id)
                EXPECT_EQ(VIQ_image_get_file_info(p, id), v.facts[id - 1u]) << id;
            for (std::size_t i = 0; i < v.colours.size(); ++i)
                EXPECT_EQ((&p->colourmap[i / 3].red)[i % 3], v.colours[i]) << i;
            EXPECT_NE(VIQ_image_find_file_format(p->infilename), 0u);
        }
}

// ---- Refusals

struct refusal {
    const char *name;
    file_function read;
    bytes file;
    u32 code;
    const char *message;
};

std::vector<refusal> refusals() {
    constexpr u32 unsupported = VIQ_ERR_UNSUPPORTED, corrupt = VIQ_ERR_CORRUPT;
    const auto read_bmp = VIQ_read_BMP_file;
    const auto read_tiff = VIQ_read_TIFF_file;
    const auto read_tga = VIQ_read_TGA_file;
    const auto rgb = [](std::map<u16, numbers> changes) {
        return tiff({endian::big, bytes(12), with(tiff_fields(2, 2, 8, 2, 3), changes)});
    };
    const bytes four(4);
    return {
        {"header", read_bmp, bmp({1, 1, 24, 0, {}, four, 44}), unsupported,
         "BMP header size is not supported"},
        {"depth", read_bmp, bmp({1, 1, 3, 0, {}, four}), unsupported, "Unsupported image depth"},
        {"jpeg", read_bmp, bmp({1, 1, 24, 4, {}, four}), unsupported,
         "BMP compression JPEG is not supported"},
        {"png", read_bmp, bmp({1, 1, 24, 5, {}, four}), unsupported,
         "BMP compression PNG is not supported"},
        {"unknown", read_bmp, bmp({1, 1, 24, 77, {}, four}), unsupported,
         "Unrecognized compression type"},
        {"os2", read_bmp, bmp({1, 1, 1, 3, {}, four, 64}), unsupported,
         "BMP compression of OS/2 is not supported"},
        {"runs from the top", read_bmp, bmp({1, -1, 8, 1, two_colours, {0, 1}, 40, 2}), unsupported,
         "BMP run-length data from the top is not supported"},
        {"overlap of masks", read_bmp, bmp({1, 1, 32, 3, masks({1, 3, 4}), four}), unsupported,
         "BMP colour masks are not supported"},
        {"gaps in a mask", read_bmp, bmp({1, 1, 32, 3, masks({5, 16, 32}), four}), unsupported,
         "BMP colour masks are not supported"},
        {"run beyond the line", read_bmp, bmp({4, 1, 8, 1, two_colours, {5, 0, 0, 1}, 40, 2}),
         corrupt, "Corrupt run-length data"},
        {"huge runs", read_bmp, bmp({60000, 60000, 8, 1, two_colours, {0, 1}, 40, 2}), corrupt,
         "Corrupt image"},
        {"huge", read_bmp, bmp({60000, 60000, 24, 0, {}, four}), corrupt, "Corrupt image"},
        {"lzw", read_tiff, rgb({{259, {5}}}), unsupported, "TIFF compression LZW is not supported"},
        {"unknown", read_tiff, rgb({{259, {99}}}), unsupported,
         "TIFF compression is not supported"},
        {"tiles", read_tiff, rgb({{322, {16}}}), unsupported,
         "Tiled TIFF images are not supported"},
        {"thumbnail", read_tiff, rgb({{254, {1}}}), unsupported,
         "TIFF files that begin with a reduced image are not supported"},
        {"ycbcr", read_tiff, rgb({{262, {6}}}), unsupported, "TIFF YCbCr images are not supported"},
        {"float", read_tiff, rgb({{339, {3, 3, 3}}}), unsupported,
         "TIFF samples other than unsigned integers are not supported"},
        {"depths", read_tiff, rgb({{258, {5, 6, 5}}}), unsupported,
         "TIFF samples of different depths are not supported"},
        {"deep", read_tiff, rgb({{258, {32, 32, 32}}}), unsupported,
         "TIFF samples of more than 16 bits are not supported"},
        {"few samples", read_tiff, rgb({{277, {2}}}), unsupported, "unsupported TIFF format"},
        {"planar", read_tiff, rgb({{284, {3}}}), corrupt, "Corrupt image"},
        {"no map", read_tiff, tiff({endian::big, four, tiff_fields(2, 2, 8, 3)}), corrupt,
         "TIFF colour map is missing or damaged"},
        {"words or packed", read_tiff,
         tiff({endian::big, four, with(tiff_fields(1, 1, 12, 1), {{279, {2}}})}), unsupported,
         "TIFF samples of 9 to 15 bits in lines so short are ambiguous"},
        {"overlap", read_tiff,
         tiff({endian::big, bytes(200),
               with(tiff_fields(100, 9, 8, 1), {{273, numbers(9, 8)}, {278, {1}}})}),
         corrupt, "Corrupt image"},
        {"type", read_tga, tga(32, 1, 1, 8, 0, four), unsupported, "unsupported image type"},
        {"depth", read_tga, tga(2, 1, 1, 8, 0, four), unsupported,
         "TGA pixel depth is not supported"},
        {"interleaved", read_tga, tga(3, 1, 1, 8, 0x40, four), unsupported,
         "TGA interleaved lines are not supported"},
        {"no map", read_tga, tga(1, 1, 1, 8, 0, four), corrupt, "TGA colourmap is missing"},
        {"map depth", read_tga, tga(1, 1, 1, 8, 0, four, {1, 0, 0, 1, 0, 8}), unsupported,
         "TGA colourmap depth is not supported"},
        {"large map", read_tga, tga(1, 1, 1, 8, 0, four, {1, 0, 0, 1, 1, 24}), unsupported,
         "TGA colourmap of more than 256 colours is not supported"},
        {"short runs", read_tga, tga(11, 9, 9, 8, 0, {0x87, 1}), corrupt,
         "Corrupt run-length data"},
    };
}

TEST_F(ConformingFiles, NamesTheFeatureThatIsNotSupported) {
    for (const refusal &r : refusals()) {
        SCOPED_TRACE(text_of(r.name, r.message));
        const char *function = r.read == VIQ_read_BMP_file    ? "VIQ_read_BMP_file"
                               : r.read == VIQ_read_TIFF_file ? "VIQ_read_TIFF_file"
                                                              : "VIQ_read_TGA_file";
        const picture p;
        EXPECT_REPORT(read_header(p, r.file, r.read), function, r.code, r.message);
    }
}

TEST_F(ConformingFiles, RefusesBigTiff) {
    const picture p;
    EXPECT_REPORT(read_header(p, {'I', 'I', 43, 0, 8, 0, 0, 0}, VIQ_read_TIFF_file),
                  "VIQ_read_TIFF_file", 0x10070000, "BigTIFF files are not supported");
    EXPECT_EQ(VIQ_image_find_file_format(p->infilename), u32{VIQ_FILE_TIFF});
}

// ---- Damaged files

// Reads as far as possible, by strips of two lines.
bool can_be_read(const std::string &name, file_function read) {
    const picture p;
    name_files(p, name);
    set_lines(p, 0);
    u32 code = read(p, VIQ_STRIP_NEXT);
    for (u32 done = 0; !is_error(code) && done < p->height && done < 100;
         done += p->lines_per_strip) {
        set_lines(p, 2);
        code = read(p, VIQ_STRIP_NEXT);
    }
    read(p, VIQ_STRIP_FINISH);
    reported.clear();
    return !is_error(code);
}

TEST_F(ConformingFiles, RejectsTruncatedFiles) {
    const std::string name = scratch_file("truncated");
    for (const variant &v : variants()) {
        write_file(name, v.file);
        for (std::size_t size = v.file.size(); size-- > 0;) {
            std::filesystem::resize_file(name, size);
            // The TIFF directory ends with the offset of the next one, which is not read.
            const bool unused = v.read == VIQ_read_TIFF_file && size + 4 >= v.file.size();
            EXPECT_EQ(can_be_read(name, v.read), unused) << v.name << ' ' << size;
        }
    }
}

TEST_F(ConformingFiles, SurvivesChangedBytes) {
    const std::string name = scratch_file("changed");
    for (const variant &v : variants()) {
        write_file(name, v.file);
        std::fstream file(name, std::ios::in | std::ios::out | std::ios::binary);
        const auto set_byte = [&file](std::size_t at, u8 value) {
            file.seekp(static_cast<std::streamoff>(at));
            file.put(static_cast<char>(value)).flush();
        };
        for (std::size_t at = 0; at < v.file.size(); ++at) {
            for (const u8 value : bytes{0, 1, 0x80, 0xFF}) {
                set_byte(at, value);
                can_be_read(name, v.read);
            }
            set_byte(at, v.file[at]);
        }
        EXPECT_TRUE(can_be_read(name, v.read)) << v.name;
    }
}

// ---- JPEG

bytes corpus_file(const std::string &name) {
    return read_file(VIQ_SOURCE_DIR "/fuzz/corpus/jpeg_buffer/" + name);
}

// Pixels of the picture in its own size. The decoder takes the data from memory or from an open
// file.
bytes decoded(const bytes &stream, u16 format, u32 lines, u32 width, u32 height,
              bool from_file = false) {
    const jpeg_picture jpeg;
    if (from_file) {
        const std::string name = scratch_file("stream.jpg");
        write_file(name, stream);
        EXPECT_OK(VIQ_image_set_infilename(jpeg, name.c_str()));
        EXPECT_OK(VIQ_JPEG_file_open(jpeg));
    } else {
        EXPECT_OK(read_stream(jpeg, stream));
    }
    const picture out;
    VIQ_image_set_parameter(out, VIQ_IMAGE_TYPE, format);
    bytes pixels;
    for (u32 done = 0; done < height && !testing::Test::HasFailure();
         done += out->lines_per_strip) {
        set_lines(jpeg, lines);
        EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT));
        const std::size_t line = std::size_t{width} * out->bits_per_pixel / 8;
        for (u32 y = 0; y < out->lines_per_strip && done + y < height; ++y) {
            const u8 *start = out->data + std::size_t{y} * out->bytes_per_line;
            pixels.insert(pixels.end(), start, start + line);
        }
    }
    VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_FINISH);
    return pixels;
}

// The original mode rounds samples down. In RGB, the difference of three samples counts.
void expect_rounded_up(const bytes &rounded, const bytes &original) {
    ASSERT_EQ(rounded.size(), original.size());
    i64 sum = 0;
    for (std::size_t n = 0; n < rounded.size(); ++n) {
        EXPECT_LE(std::abs(rounded[n] - original[n]), 4) << n;
        sum += rounded[n] - original[n];
    }
    EXPECT_GT(sum, static_cast<i64>(rounded.size() / 4));
}

TEST_F(ConformingFiles, DecodesJpegInTheSizeOfThePictureWithRounding) {
    struct {
        bytes stream;
        u32 width, height;
    } const pictures[] = {{scene_stream(VIQ_RGB24, 37, 21), 37, 21},
                          {scene_stream(VIQ_Y8, 37, 21), 37, 21},
                          {corpus_file("c420.jpg"), 0, 0}};
    for (const auto &[stream, w, h] : pictures)
        for (const u16 format : {VIQ_RGB24, VIQ_YUV422}) {
            u32 width = w, height = h;
            if (w == 0) {
                const jpeg_picture jpeg;
                EXPECT_OK(read_stream(jpeg, stream));
                width = jpeg->width;
                height = jpeg->height;
            }
            EXPECT_OK(VIQ_set_file_reading(VIQ_READING_ORIGINAL));
            const bytes expected = decoded(stream, format, height, width, height);
            EXPECT_OK(VIQ_set_file_reading(VIQ_READING_CONFORMING));
            const bytes whole = decoded(stream, format, height, width, height);
            expect_rounded_up(whole, expected);
            for (const u32 lines : {1u, 7u, 16u})
                EXPECT_EQ(decoded(stream, format, lines, width, height), whole)
                    << width << ' ' << format << ' ' << lines;
        }
}

TEST_F(ConformingFiles, DecodesJpegVariantsByStripsOfAnyHeight) {
    for (const char *name : {"restarts_444.jpg", "extended_411.jpg", "rgb.jpg", "c440.jpg"})
        for (const u16 format : {VIQ_RGB24, VIQ_YUV422}) {
            const bytes stream = corpus_file(name);
            const bytes whole = decoded(stream, format, 18, 20, 18);
            EXPECT_FALSE(whole.empty());
            for (const u32 lines : {1u, 7u, 8u})
                for (const bool from_file : {false, true})
                    EXPECT_EQ(decoded(stream, format, lines, 20, 18, from_file), whole)
                        << name << ' ' << lines;
        }
}

// The data is longer than the window of it that the decoder holds.
TEST_F(ConformingFiles, DecodesLongJpegDataFromMemoryAndFiles) {
    constexpr u32 width = 331, height = 203;
    const picture noise(VIQ_RGB24, width, height);
    fill_with_noise(noise);
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, 400));
    EXPECT_OK(VIQ_JPEG_compress(noise, jpeg));
    const bytes stream = stream_of(jpeg);
    EXPECT_GT(stream.size(), 2 * 65536u);
    const bytes expected = decoded(stream, VIQ_RGB24, height, width, height);
    for (const u32 lines : {5u, 16u, height})
        for (const bool from_file : {false, true})
            EXPECT_EQ(decoded(stream, VIQ_RGB24, lines, width, height, from_file), expected);

    // A file that ends early is an error, and so is one that is closed during the decode.
    const std::string name = scratch_file("stream.jpg");
    write_file(name, bytes(stream.begin(), stream.begin() + 90000));
    const jpeg_picture cut;
    const picture out;
    EXPECT_OK(VIQ_image_set_infilename(cut, name.c_str()));
    EXPECT_OK(VIQ_JPEG_file_open(cut));
    EXPECT_REPORT(VIQ_JPEG_decompress(cut, out, VIQ_STRIP_NEXT), "VIQ_Huffman_decode_1_strip",
                  VIQ_ERR_CORRUPT, "JPEG data ends early");
    set_lines(cut, 16);
    EXPECT_OK(VIQ_JPEG_decompress(cut, out, VIQ_STRIP_NEXT));
    EXPECT_OK(VIQ_JPEG_file_close(cut));
    EXPECT_REPORT(VIQ_JPEG_decompress(cut, out, VIQ_STRIP_NEXT), "VIQ_JPEG_decompress",
                  VIQ_ERR_STATE, "JPEG data changed during the decode");
}

std::size_t find_marker(const bytes &stream, u8 code) {
    for (std::size_t at = 0; at + 1 < stream.size(); ++at)
        if (stream[at] == 0xFF && stream[at + 1] == code)
            return at;
    return stream.size();
}

TEST_F(ConformingFiles, NamesTheJpegProcessThatIsNotSupported) {
    const bytes stream = scene_stream(VIQ_RGB24, 16, 8);
    const std::size_t frame = find_marker(stream, 0xC0);
    struct {
        std::size_t at;
        u8 value;
        u32 code;
        const char *message;
    } const cases[] = {
        {frame + 1, 0xC2, 0x10070000, "Progressive JPEG is not supported"},
        {frame + 1, 0xC3, 0x10070000, "Lossless JPEG is not supported"},
        {frame + 1, 0xC5, 0x10070000, "Hierarchical JPEG is not supported"},
        {frame + 1, 0xC9, 0x10070000, "Arithmetic-coded JPEG is not supported"},
        {frame + 1, 0xDC, 0x10070000,
         "JPEG with the number of lines after the scan is not supported"},
        {frame + 4, 12, 0x10070000, "Only 8 bit samples are supported"},
        {frame + 9, 4, 0x10070000, "JPEG of four components (CMYK) is not supported"},
        {frame + 14, 0x32, 0x10070000, "JPEG sampling factors are not supported"},
        {frame + 12, 3, 0x10050000, "JPEG table is missing"},
    };
    for (const auto &[at, value, code, message] : cases) {
        bytes changed = stream;
        changed[at] = value;
        const jpeg_picture jpeg;
        EXPECT_REPORT(read_stream(jpeg, changed), "VIQ_JPEG_buffer_read", code, message);
    }
}

TEST_F(ConformingFiles, RejectsJpegDataThatEndsEarly) {
    for (const char *name : {"restarts_444.jpg", "c440.jpg"}) {
        const bytes stream = corpus_file(name);
        const picture out;
        for (std::size_t size = 1; size < stream.size() - 3; ++size) {
            const jpeg_picture jpeg;
            u32 code = read_stream(jpeg, bytes(stream.begin(), stream.begin() + long(size)));
            if (!is_error(code))
                code = VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT);
            // A stream without a frame has no lines to decode.
            EXPECT_TRUE(is_error(code) || VIQ_get_lines_this_strip(out) == 0)
                << name << ' ' << size;
            VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_FINISH);
        }
        reported.clear();
    }
}

TEST_F(ConformingFiles, RefusesToWriteJpegDataThatNeedsAnotherHeader) {
    const jpeg_picture jpeg;
    EXPECT_OK(read_stream(jpeg, corpus_file("restarts_444.jpg")));
    bytes buffer(10000);
    u32 length = 0;
    EXPECT_ERROR(VIQ_JPEG_buffer_write(jpeg, buffer.data(), &length, VIQ_STRIP_NEXT), 0x10070000,
                 "JPEG data with restart intervals or unusual tables cannot be written");
    // Compressing a picture replaces the data and its tables.
    const picture scene(VIQ_RGB24, 16, 8);
    draw_scene(scene);
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    EXPECT_OK(VIQ_JPEG_buffer_write(jpeg, buffer.data(), &length, VIQ_STRIP_NEXT));
}

// ---- The mode

TEST(FileReading, HasTwoModes) {
    EXPECT_EQ(VIQ_get_file_reading(), u32{VIQ_READING_ORIGINAL});
    EXPECT_ERROR(VIQ_set_file_reading(2), 0x10030000, "Unknown reading mode");
    EXPECT_OK(VIQ_set_file_reading(VIQ_READING_CONFORMING));
    EXPECT_EQ(VIQ_get_file_reading(), u32{VIQ_READING_CONFORMING});
    EXPECT_OK(VIQ_set_file_reading(VIQ_READING_ORIGINAL));
}

TEST(FileReading, ModeOfTheHeaderAppliesToTheWholeFile) {
    const picture p;
    EXPECT_OK(read_header(p, tga(3, 2, 2, 8, 0, {1, 2, 3, 4}), VIQ_read_TGA_file));
    EXPECT_OK(VIQ_set_file_reading(VIQ_READING_CONFORMING));
    set_lines(p, 2);
    EXPECT_OK(VIQ_read_TGA_file(p, VIQ_STRIP_NEXT));
    EXPECT_EQ(pixels_of(p), (bytes{1, 2, 3, 4}));
    EXPECT_OK(VIQ_set_file_reading(VIQ_READING_ORIGINAL));
}

TEST(FileReading, ReportsNoFactsInTheOriginalMode) {
    const picture p;
    EXPECT_OK(read_header(p, tga(3, 2, 2, 8, 0, {1, 2, 3, 4}), VIQ_read_TGA_file));
    EXPECT_EQ(VIQ_image_get_file_info(p, VIQ_FILE_INFO_SAMPLE_BITS), 0u);
    EXPECT_ERROR(VIQ_image_get_file_info(p, 4), 0x10030000, "Unknown parameter");
    EXPECT_ERROR(VIQ_image_get_file_info(missing, 1), 0x10040000, "");
    EXPECT_OK(VIQ_read_TGA_file(p, VIQ_STRIP_FINISH));
}

// Strips that share their bytes claim more pixels than the file has.
TEST(FileReading, RejectsOverlappingTiffStrips) {
    const picture p;
    const bytes file = tiff({endian::big, bytes(200),
                             with(tiff_fields(100, 9, 8, 1), {{273, numbers(9, 8)}, {278, {1}}})});
    EXPECT_REPORT(read_header(p, file, VIQ_read_TIFF_file), "VIQ_read_TIFF_file", 0x10050000,
                  "Corrupt image");
}

} // namespace
} // namespace viq
