// The conforming reading mode: variants of each format, refusals, damaged files.
#include <functional>

#include "tests/built_files.h"
#include "tests/jpeg_support.h"

namespace viq {
namespace {

class ConformingFiles : public testing::Test {
protected:
    void SetUp() override { EXPECT_OK(VIQ_set_file_reading(VIQ_READING_CONFORMING)); }
    void TearDown() override { EXPECT_OK(VIQ_set_file_reading(VIQ_READING_ORIGINAL)); }
};

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

// ---- Variants

struct variant {
    const char *name;
    file_function read;
    bytes file;
    u16 format;
    bytes pixels; // of VIQ_PALETTED: indices
    numbers facts = {1, 8, 0};
    bytes colours = {}; // the first ones of the palette, as RGB
};

numbers facts(u32 orientation, u32 bits_of_a_sample, u32 dropped_samples) {
    return {orientation, bits_of_a_sample, dropped_samples};
}

const bytes two_colours = {1, 2, 3, 0, 4, 5, 6, 0};

std::vector<variant> variants() {
    const auto read_bmp = VIQ_read_BMP_file;
    const auto read_tiff = VIQ_read_TIFF_file;
    const auto read_tga = VIQ_read_TGA_file;
    const bytes bmp24 = hex("01020304050600000708090A0B0C0000");
    const bytes lower_first = hex("0908070C0B0A030201060504");
    const bytes upper_first = hex("0302010605040908070C0B0A");
    const numbers map_of_4 = {0x1234, 0xFF00, 0,      0x8000, 0x5678, 0,
                              0x4000, 0xFFFF, 0x9ABC, 1,      2,      0xC0FF};
    const bytes colours_of_4 = hex("12569AFF000000400080FFC0");
    return {
        // BMP: header sizes, line order, gaps
        {"bmp 12", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 12}), VIQ_RGB24, lower_first},
        {"bmp 52", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 52}), VIQ_RGB24, lower_first},
        {"bmp 64", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 64}), VIQ_RGB24, lower_first},
        {"bmp 124", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 124}), VIQ_RGB24, lower_first},
        {"bmp gap", read_bmp, bmp({2, 2, 24, 0, {}, bmp24, 40, 0, 7}), VIQ_RGB24, lower_first},
        {"bmp top first", read_bmp, bmp({2, -2, 24, 0, {}, bmp24}), VIQ_RGB24, upper_first},
        // BMP: palettes
        {"bmp 1", read_bmp, bmp({3, 2, 1, 0, two_colours, hex("A000000040000000")}), VIQ_PALETTED,
         hex("000100010001"), facts(1, 1, 0), hex("030201060504000000")},
        {"bmp 2", read_bmp, bmp({3, 1, 2, 0, masks({1, 2, 3, 4}), hex("6C000000")}), VIQ_PALETTED,
         hex("010203"), facts(1, 2, 0), hex("000001000002000003000004")},
        {"bmp 4", read_bmp, bmp({3, 1, 4, 0, two_colours, hex("10500000"), 40, 2}), VIQ_PALETTED,
         hex("010005"), facts(1, 4, 0), hex("030201060504000000")},
        {"bmp 8 of 2", read_bmp, bmp({3, 1, 8, 0, two_colours, hex("01000200"), 40, 2}),
         VIQ_PALETTED, hex("010002"), facts(1, 8, 0), hex("030201060504000000")},
        {"bmp 12, 1", read_bmp, bmp({2, 1, 1, 0, hex("010203040506"), hex("40000000"), 12}),
         VIQ_PALETTED, hex("0001"), facts(1, 1, 0), hex("03020106050400")},
        // BMP: words
        {"bmp 16", read_bmp, bmp({2, 1, 16, 0, {}, hex("E07F1F80")}), VIQ_RGB24,
         hex("FFFF000000FF"), facts(1, 5, 0)},
        {"bmp 565", read_bmp, bmp({2, 1, 16, 3, masks({0xF800, 0x07E0, 0x001F}), hex("E0070018")}),
         VIQ_RGB24, hex("00FF00190000"), facts(1, 6, 0)},
        {"bmp 32", read_bmp, bmp({1, 1, 32, 0, {}, hex("01020363")}), VIQ_RGB24, hex("030201")},
        {"bmp 32 masks", read_bmp,
         bmp({1, 1, 32, 3, masks({0xFF, 0xFF00, 0xFF0000}), hex("01020304")}), VIQ_RGB24,
         hex("010203")},
        {"bmp 10 bits", read_bmp,
         bmp({1, 1, 32, 3, masks({0x3FF00000, 0xFFC00, 0x3FF}), hex("FF030820")}), VIQ_RGB24,
         hex("8080FF"), facts(1, 10, 0)},
        {"bmp alpha masks", read_bmp,
         bmp({1, 1, 32, 6, masks({0xFF, 0xFF00, 0xFF0000, 0xFF000000}), hex("01020304")}),
         VIQ_RGB24, hex("010203"), facts(1, 8, 1)},
        {"bmp 56 alpha", read_bmp,
         bmp({1, 1, 32, 3, masks({0xFF00, 0xFF0000, 0xFF, 0xFF000000}), hex("01020304"), 56}),
         VIQ_RGB24, hex("020301"), facts(1, 8, 1)},
        // BMP: runs; skipped pixels have index 0
        {"bmp rle8", read_bmp,
         bmp({5, 3, 8, 1, two_colours, hex("03010000000307080900020600000002010004050001"), 40, 2}),
         VIQ_PALETTED, hex("000505050507080906060101010000")},
        {"bmp rle8 down", read_bmp,
         bmp({4, 4, 8, 1, two_colours, hex("01030002010202040001"), 40, 2}), VIQ_PALETTED,
         hex("00000000000004040000000003000000")},
        {"bmp rle4", read_bmp,
         bmp({6, 2, 4, 2, two_colours, hex("0412023000000003456003780001"), 40, 2}), VIQ_PALETTED,
         hex("040506070807010201020300"), facts(1, 4, 0)},
        // TIFF: both orders, depths, planes, extra samples
        {"tiff rgb16 II", read_tiff,
         tiff(endian::little, hex("FFFF80800001"), usual_fields(1, 1, 16, 2, 3)), VIQ_RGB24,
         hex("FF8001"), facts(1, 16, 0)},
        {"tiff y16 II", read_tiff, tiff(endian::little, hex("3412"), usual_fields(1, 1, 16, 1)),
         VIQ_Y16, hex("3412"), facts(1, 16, 0)},
        {"tiff y16 MM white", read_tiff, tiff(endian::big, hex("1234"), usual_fields(1, 1, 16, 0)),
         VIQ_Y16, hex("CBED"), facts(1, 16, 0)},
        {"tiff white", read_tiff, tiff(endian::big, hex("0001FF"), usual_fields(3, 1, 8, 0)),
         VIQ_Y8, hex("FFFE00")},
        {"tiff grey 4", read_tiff, tiff(endian::big, hex("0F80"), usual_fields(3, 1, 4, 1)), VIQ_Y8,
         hex("00FF88"), facts(1, 4, 0)},
        {"tiff 12 packed", read_tiff,
         tiff(endian::big, hex("123456"), with(usual_fields(2, 1, 12, 1), {{279, {3}}})), VIQ_Y16,
         hex("23015604"), facts(1, 12, 0)},
        {"tiff 12 in words", read_tiff,
         tiff(endian::big, hex("01230456"), with(usual_fields(2, 1, 12, 1), {{279, {4}}})), VIQ_Y16,
         hex("23015604"), facts(1, 12, 0)},
        {"tiff planes", read_tiff,
         tiff(endian::big, hex("0102030405060708090A0B0C"),
              with(usual_fields(2, 2, 8, 2, 3),
                   {{273, {10, 8, 14, 12, 18, 16}}, {278, {1}}, {284, {2}}})),
         VIQ_RGB24, hex("03070B04080C01050902060A")},
        {"tiff alpha", read_tiff,
         tiff(endian::big, hex("0102036304050663"),
              with(usual_fields(2, 1, 8, 2, 4), {{338, {2}}, {274, {6}}})),
         VIQ_RGB24, hex("010203040506"), facts(6, 8, 1)},
        {"tiff cmyk", read_tiff, tiff(endian::big, hex("01020304"), usual_fields(1, 1, 8, 5, 4)),
         VIQ_CMYK32, hex("01020304")},
        {"tiff strips", read_tiff,
         tiff(endian::little, hex("0102030405"),
              with(usual_fields(1, 5, 8, 1), {{273, {11, 9, 8}}, {278, {2}}})),
         VIQ_Y8, hex("0405020301")},
        {"tiff bits", read_tiff,
         tiff(endian::little, hex("A001"), with(usual_fields(9, 1, 1, 0), {{266, {2}}})), VIQ_Y1,
         hex("FA00"), facts(1, 1, 0)},
        {"tiff map", read_tiff,
         tiff(endian::little, hex("1B"), with(usual_fields(4, 1, 2, 3), {{320, map_of_4}})),
         VIQ_PALETTED, hex("00010203"), facts(1, 2, 0), colours_of_4},
        {"tiff map of bytes", read_tiff,
         tiff(endian::big, hex("40"),
              with(usual_fields(2, 1, 1, 3), {{320, {1, 2, 3, 4, 5, 255}}})),
         VIQ_PALETTED, hex("0001"), facts(1, 1, 0), hex("0103050204FF")},
        // TGA: types, origins, identification, palettes
        {"tga bottom", read_tga, tga(3, 2, 2, 8, 0, hex("01020304")), VIQ_Y8, hex("03040102")},
        {"tga right", read_tga, tga(3, 2, 2, 8, 0x30, hex("01020304")), VIQ_Y8, hex("02010403")},
        {"tga name", read_tga, tga(3, 1, 1, 8, 0x20, hex("090905"), hex("000000000000"), 2), VIQ_Y8,
         hex("05")},
        {"tga 15", read_tga, tga(2, 2, 1, 15, 0x20, hex("FF7F4000")), VIQ_RGB24,
         hex("FFFFFF001000"), facts(1, 5, 0)},
        {"tga 32", read_tga, tga(2, 1, 1, 32, 0x28, hex("01020304")), VIQ_RGB24, hex("030201"),
         facts(1, 8, 1)},
        {"tga grey alpha", read_tga, tga(3, 2, 1, 16, 0x28, hex("01630263")), VIQ_Y8, hex("0102"),
         facts(1, 8, 1)},
        {"tga map", read_tga, tga(1, 2, 1, 8, 0x20, hex("0102030405060203"), hex("010200020018")),
         VIQ_PALETTED, hex("0203"), facts(1, 8, 0), hex("000000000000030201060504000000")},
        {"tga map 15", read_tga, tga(1, 2, 1, 8, 0x20, hex("FF7F40000001"), hex("01000002000F")),
         VIQ_PALETTED, hex("0001"), facts(1, 8, 0), hex("FFFFFF001000")},
        {"tga map 32", read_tga, tga(1, 1, 1, 8, 0x20, hex("0102036300"), hex("010000010020")),
         VIQ_PALETTED, hex("00"), facts(1, 8, 0), hex("030201")},
        {"tga runs", read_tga, tga(11, 3, 3, 8, 0, hex("8307020102038109")), VIQ_Y8,
         hex("030909070102070707")},
        {"tga colour runs", read_tga, tga(10, 2, 2, 24, 0x30, hex("8201020300040506")), VIQ_RGB24,
         hex("030201030201060504030201")},
        {"tga map runs", read_tga, tga(9, 2, 1, 8, 0x20, hex("FF7F8100"), hex("010000010010")),
         VIQ_PALETTED, hex("0000"), facts(1, 8, 0), hex("FFFFFF00")},
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
    const auto rgb = [](tiff_fields changes) {
        return tiff(endian::big, bytes(12), with(usual_fields(2, 2, 8, 2, 3), changes));
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
        {"no columns", read_bmp, bmp({0, 1, 24, 0, {}, four}), corrupt, "Corrupt image"},
        {"no lines", read_bmp, bmp({1, 0, 24, 0, {}, four}), corrupt, "Corrupt image"},
        {"runs of 4 bits", read_bmp, bmp({1, 1, 4, 1, two_colours, {0, 1}, 40, 2}), corrupt,
         "Corrupt image"},
        {"masks of 24 bits", read_bmp, bmp({1, 1, 24, 3, masks({1, 2, 4}), four}), corrupt,
         "Corrupt image"},
        {"masks: red and green overlap", read_bmp, bmp({1, 1, 32, 3, masks({1, 3, 4}), four}),
         unsupported, "BMP colour masks are not supported"},
        {"masks: green and blue overlap", read_bmp, bmp({1, 1, 32, 3, masks({1, 2, 6}), four}),
         unsupported, "BMP colour masks are not supported"},
        {"masks: blue and alpha overlap", read_bmp, bmp({1, 1, 32, 6, masks({1, 2, 4, 4}), four}),
         unsupported, "BMP colour masks are not supported"},
        {"masks: gap in red", read_bmp, bmp({1, 1, 32, 3, masks({5, 16, 32}), four}), unsupported,
         "BMP colour masks are not supported"},
        {"masks: gap in green", read_bmp, bmp({1, 1, 32, 3, masks({1, 10, 32}), four}), unsupported,
         "BMP colour masks are not supported"},
        {"masks: gap in blue", read_bmp, bmp({1, 1, 32, 3, masks({1, 2, 20}), four}), unsupported,
         "BMP colour masks are not supported"},
        {"masks: no bits", read_bmp, bmp({1, 1, 32, 3, masks({0, 0, 0}), four}), unsupported,
         "BMP colour masks are not supported"},
        {"masks: beyond the pixel", read_bmp, bmp({1, 1, 16, 3, masks({0x10000, 2, 4}), four}),
         unsupported, "BMP colour masks are not supported"},
        {"run beyond the line", read_bmp, bmp({4, 1, 8, 1, two_colours, {5, 0, 0, 1}, 40, 2}),
         corrupt, "Corrupt run-length data"},
        {"indices beyond the line", read_bmp,
         bmp({4, 1, 8, 1, two_colours, {0, 5, 1, 1, 1, 1, 1, 0, 0, 1}, 40, 2}), corrupt,
         "Corrupt run-length data"},
        {"move beyond the line", read_bmp,
         bmp({4, 1, 8, 1, two_colours, {0, 2, 5, 0, 0, 1}, 40, 2}), corrupt,
         "Corrupt run-length data"},
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
        {"no map", read_tiff, tiff(endian::big, four, usual_fields(2, 2, 8, 3)), corrupt,
         "TIFF colour map is missing or damaged"},
        {"words or packed", read_tiff,
         tiff(endian::big, four, with(usual_fields(1, 1, 12, 1), {{279, {2}}})), unsupported,
         "TIFF samples of 9 to 15 bits in lines so short are ambiguous"},
        {"overlap", read_tiff,
         tiff(endian::big, bytes(200),
              with(usual_fields(100, 9, 8, 1), {{273, numbers(9, 8)}, {278, {1}}})),
         corrupt, "Corrupt image"},
        {"type", read_tga, tga(32, 1, 1, 8, 0, four), unsupported, "unsupported image type"},
        {"no type", read_tga, tga(0, 1, 1, 8, 0, four), unsupported, "unsupported image type"},
        {"grey of 24 bits", read_tga, tga(3, 1, 1, 24, 0, four), unsupported,
         "TGA pixel depth is not supported"},
        {"no lines of runs", read_tga, tga(11, 1, 0, 8, 0, four), corrupt, "Corrupt image"},
        {"map type", read_tga, tga(3, 1, 1, 8, 0, four, {2, 0, 0, 0, 0, 0}), unsupported,
         "TGA colourmap type is not supported"},
        {"grey of 16 bits without alpha", read_tga, tga(3, 1, 1, 16, 0, four), unsupported,
         "TGA pixel depth is not supported"},
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

// More lines than the index has entries.
TEST_F(ConformingFiles, ReadsStripsOfTallRunLengthFiles) {
    constexpr u32 height = 5000;
    bytes runs, pixels;
    for (u32 y = 0; y < height; ++y) {
        append(runs, bytes{0x81, static_cast<u8>(y % 251)});
        append(pixels, bytes(2, static_cast<u8>(y % 251)));
    }
    for (const u32 lines : {7u, 2500u}) {
        const picture p;
        EXPECT_TRUE(pixels_read(p, tga(11, 2, height, 8, 0x20, runs), VIQ_read_TGA_file, lines,
                                0) == pixels);
        const picture upwards;
        std::reverse(pixels.begin(), pixels.end());
        EXPECT_TRUE(pixels_read(upwards, tga(11, 2, height, 8, 0, runs), VIQ_read_TGA_file, lines,
                                0) == pixels);
        std::reverse(pixels.begin(), pixels.end());
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
    EXPECT_ERROR(VIQ_JPEG_decompress(cut, out, VIQ_STRIP_NEXT), VIQ_ERR_STATE,
                 "JPEG data changed during the decode");
}

TEST_F(ConformingFiles, NamesWhatIsWrongWithAJpegHeader) {
    const bytes stream = scene_stream(VIQ_RGB24, 16, 8);
    const std::size_t frame = find_marker(stream, 0xC0), codes = find_marker(stream, 0xC4),
                      scan = find_marker(stream, 0xDA);
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
        {frame + 12, 4, 0x10050000, "JPEG table is missing"},
        {frame + 3, 1, 0x10050000, "Corrupt segment"},
        {frame + 3, 16, 0x10050000, "Corrupt segment"},
        {frame + 11, 0x01, 0x10070000, "JPEG sampling factors are not supported"},
        {frame + 11, 0x10, 0x10070000, "JPEG sampling factors are not supported"},
        {frame + 11, 0x51, 0x10070000, "JPEG sampling factors are not supported"},
        {frame + 11, 0x15, 0x10070000, "JPEG sampling factors are not supported"},
        {codes + 4, 0x25, 0x10050000, "Corrupt Huffman table"},
        {scan + 3, 5, 0x10050000, "Corrupt segment"},
        {scan + 3, 13, 0x10050000, "Corrupt segment"},
        {scan + 4, 1, 0x10070000, "JPEG of several scans is not supported"},
        {scan + 5, 99, 0x10050000, "Scan of unknown components"},
        {scan + 6, 0x40, 0x10050000, "JPEG table is missing"},
        {scan + 6, 0x04, 0x10050000, "JPEG table is missing"},
        {scan + 6, 0x20, 0x10050000, "JPEG table is missing"},
        {scan + 6, 0x02, 0x10050000, "JPEG table is missing"},
        {scan + 11, 1, 0x10050000, "Corrupt segment"},
        {scan + 12, 62, 0x10050000, "Corrupt segment"},
        {scan + 13, 1, 0x10050000, "Corrupt segment"},
    };
    for (const auto &[at, value, code, message] : cases) {
        SCOPED_TRACE(text_of(at, u32{value}));
        bytes changed = stream;
        changed[at] = value;
        const jpeg_picture jpeg;
        EXPECT_REPORT(read_stream(jpeg, changed), "VIQ_JPEG_buffer_read", code, message);
    }
}

// Without a header that names the colour transform, all three names decide.
TEST_F(ConformingFiles, JpegComponentsNamedRgbAreNotConverted) {
    bytes stream = scene_stream(VIQ_RGB24, 16, 8);
    stream[find_marker(stream, 0xE0) + 1] = 0xE1;
    const std::size_t frame = find_marker(stream, 0xC0), scan = find_marker(stream, 0xDA);
    const bytes converted = decoded(stream, VIQ_RGB24, 8, 16, 8);
    for (const char *names : {"RGB", "RGx", "RxB", "xGB"}) {
        for (std::size_t i = 0; i < 3; ++i)
            stream[frame + 10 + 3 * i] = stream[scan + 5 + 2 * i] = static_cast<u8>(names[i]);
        EXPECT_EQ(decoded(stream, VIQ_RGB24, 8, 16, 8) != converted, names == std::string("RGB"))
            << names;
    }
}

TEST_F(ConformingFiles, ReportsJpegRestartMarkersOutOfOrder) {
    bytes stream = corpus_file("restarts_444.jpg");
    const u8 first[] = {0xFF, 0xD0};
    const auto at = std::search(stream.begin(), stream.end(), first, first + 2);
    ASSERT_NE(at, stream.end());
    at[1] = 0xD3;
    const jpeg_picture jpeg;
    const picture out;
    EXPECT_OK(read_stream(jpeg, stream));
    EXPECT_ERROR(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT), VIQ_ERR_CORRUPT,
                 "JPEG restart marker out of order");
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
    const bytes file = tiff(endian::big, bytes(200),
                            with(usual_fields(100, 9, 8, 1), {{273, numbers(9, 8)}, {278, {1}}}));
    EXPECT_REPORT(read_header(p, file, VIQ_read_TIFF_file), "VIQ_read_TIFF_file", 0x10050000,
                  "Corrupt image");
}

} // namespace
} // namespace viq
