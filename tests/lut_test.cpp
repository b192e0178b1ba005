// Conversion lookup tables: their contents, conversion with them, their files.
#include <functional>
#include <map>

#include "tests/support.h"

namespace viq {
namespace {

constexpr u16 first_type = 200;
constexpr u16 last_type = 205;

struct Lut : testing::Test {
    picture image;
    const std::string file = scratch_file("lut");

    Lut() {
        VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, VIQ_Y16);
        image->data_width = 12;
        image->num_colours = 100;
        for (std::size_t i = 0; i < 256; ++i)
            image->colourmap[i] = {noise(), noise(), noise(), 0};
    }
    ~Lut() override {
        for (u16 type = first_type; type <= last_type; ++type)
            VIQ_image_conv_LUT_destroy(type);
    }
    bytes saved(u16 type) {
        EXPECT_OK(VIQ_image_conv_LUT_save(image, type, file.c_str()));
        return read_file(file);
    }
    bytes generated(u16 type) {
        EXPECT_OK(VIQ_image_conv_LUT_generate(image, type));
        return saved(type);
    }
    u8 nearest(int red, int green, int blue) {
        const auto byte = [](int value) { return static_cast<u8>(value); };
        return VIQ_cmap_find_closest_colour(image, byte(red), byte(green), byte(blue));
    }
};

struct colour {
    int red, green, blue;
};

colour from_yuv(int y, int u, int v) {
    const auto clamp = [](int value) { return std::clamp(value >> 10, 0, 255); };
    u -= 128;
    v -= 128;
    return {clamp(1024 * y + 1436 * v), clamp(1024 * y - 731 * v - 352 * u),
            clamp(1024 * y + 1815 * u)};
}

int word_at(const bytes &table, std::size_t index) {
    u16 word = 0;
    std::memcpy(&word, &table[2 * index], 2);
    return word;
}

TEST_F(Lut, GeneratedTablesMatchDirectConversion) {
    const bytes by_rgb16 = generated(200);
    ASSERT_EQ(by_rgb16.size(), 65536u);
    for (int w = 0; w < 65536; w += 7)
        ASSERT_EQ(by_rgb16[static_cast<u32>(w)], nearest(w >> 8, w >> 3, w << 3)) << w;
    const bytes by_y8 = generated(201);
    const bytes by_y16 = generated(202);
    ASSERT_EQ(by_y8.size(), 256u);
    ASSERT_EQ(by_y16.size(), 4096u);
    for (int y = 0; y < 4096; ++y) {
        ASSERT_EQ(by_y16[static_cast<u32>(y)], nearest(y >> 4, y >> 4, y >> 4)) << y;
        ASSERT_EQ(by_y8[static_cast<u32>(y >> 4)], by_y16[static_cast<u32>(y)]);
    }
    const bytes rgb16 = generated(203);
    const bytes rgb15 = generated(204);
    const bytes coarse = generated(205);
    ASSERT_EQ(rgb16.size(), 1048576u);
    ASSERT_EQ(rgb15.size(), 1048576u);
    ASSERT_EQ(coarse.size(), 32768u);
    for (int y = 0; y < 256; y += 6) // colours inside the buckets of their indices
        for (int u = 3; u < 256; u += 4)
            for (int v = 3; v < 256; v += 4) {
                const colour c = from_yuv(y, u & ~3, v & ~3);
                const auto i = static_cast<u32>(y >> 1 << 12 | u >> 2 << 6 | v >> 2);
                ASSERT_EQ(word_at(rgb16, i), c.red >> 3 << 11 | c.green >> 2 << 5 | c.blue >> 3);
                ASSERT_EQ(word_at(rgb15, i), c.red >> 3 << 10 | c.green >> 3 << 5 | c.blue >> 3);
                const colour d = from_yuv(y & ~7, u & ~7, v & ~7);
                const auto j = static_cast<u32>(y >> 3 << 10 | u >> 3 << 5 | v >> 3);
                ASSERT_EQ(coarse[j], nearest(d.red, d.green, d.blue)) << y << " " << u << " " << v;
            }
    EXPECT_EQ(word_at(rgb16, 127 << 12 | 32 << 6 | 32), 0xFFFF);
    image->num_colours = 16;
    const bytes few = generated(205);
    EXPECT_LT(*std::max_element(few.begin(), few.end()), 16);
}

TEST_F(Lut, ConvertersReturnTableEntries) {
    bytes rgb16 = generated(203);
    bytes rgb15 = generated(204);
    const bytes coarse = generated(205);
    const picture in(VIQ_YUV422, 1030, 3, 4);
    VIQ_cmap_copy(image, in);
    fill_with_noise(in);
    const bytes pixels = pixels_of(in);
    const std::pair<u16, std::string> outputs[] = {
        {VIQ_PALETTED, "i"},  {VIQ_RGB15, "lh"},    {VIQ_RGB16, "lh"},
        {VIQ_RGB24, "RGB"},   {VIQ_BGR24, "BGR"},   {VIQ_RGBX32, "RGBX"},
        {VIQ_BGRX32, "BGRX"}, {VIQ_XBGR32, "XBGR"}, {VIQ_XRGB32, "XRGB"}};
    for (const bool from_file : {false, true}) {
        for (const u16 type : {u16{203}, u16{204}})
            if (from_file) {
                bytes &table = type == 203 ? rgb16 : rgb15;
                std::generate(table.begin(), table.end(), noise);
                write_file(file, table);
                EXPECT_OK(VIQ_image_conv_LUT_load(image, type, file.c_str()));
            }
        for (const auto &[format, order] : outputs) {
            bytes expected;
            for (std::size_t i = 0; i < pixels.size() / 2; ++i) {
                const u32 y = pixels[2 * i];
                const u32 u = pixels[i / 2 * 4 + 1];
                const u32 v = pixels[i / 2 * 4 + 3];
                const u32 index = y >> 1 << 12 | u >> 2 << 6 | v >> 2;
                const int word = word_at(format == VIQ_RGB15 ? rgb15 : rgb16, index);
                const std::map<char, int> parts = {
                    {'i', coarse[y >> 3 << 10 | u >> 3 << 5 | v >> 3]},
                    {'l', word},
                    {'h', word >> 8}, // the high byte
                    {'R', word >> 8},
                    {'G', word >> 3},
                    {'B', word << 3},
                    {'X', 0}};
                for (const char part : order)
                    expected.push_back(static_cast<u8>(parts.at(part)));
            }
            const picture out, gathered;
            const auto convert = [format = format](u32 from, u32 to, u16 command) {
                VIQ_image_set_flags(to, VIQ_FLAG_USE_LUT, 1);
                return VIQ_image_convert(from, to, format, 0, command);
            };
            convert_by_strips(in, 2, convert, out, gathered);
            EXPECT_EQ(pixels_of(gathered), expected) << format << from_file;
        }
    }
    in->width = 5;
    EXPECT_ERROR(VIQ_YUV422_to_RGB24_LUT(in, image, 3), 0x10070000,
                 "YUV422 image must be an even width");
    EXPECT_ERROR(VIQ_YUV422_to_paletted_LUT(image, in, 3), 0x10070000, "Not 16 bit YUV 4:2:2");
}

TEST_F(Lut, FirstStripGeneratesMissingTables) {
    for (const u16 format : {VIQ_RGB16, VIQ_Y8, VIQ_Y16}) {
        const picture in(format, 5, 3);
        VIQ_cmap_copy(image, in);
        fill_with_noise(in);
        in->data_width = format == VIQ_Y16 ? u16{12} : in->data_width;
        const picture out;
        VIQ_image_set_flags(out, VIQ_FLAG_USE_LUT, 1);
        EXPECT_OK(VIQ_image_convert(in, out, VIQ_PALETTED, 0, VIQ_STRIP_NEXT));
        const bytes source = pixels_of(in);
        const bytes got = pixels_of(out);
        for (std::size_t i = 0; i < got.size(); ++i) {
            int red = source[i];
            int green = red;
            int blue = red;
            if (format != VIQ_Y8) {
                const int word = word_at(source, i);
                red = format == VIQ_RGB16 ? word >> 8 : std::min(word, 4095) >> 4; // clamped
                green = format == VIQ_RGB16 ? word >> 3 : red;
                blue = format == VIQ_RGB16 ? word << 3 : red;
            }
            EXPECT_EQ(got[i], nearest(red, green, blue)) << format;
        }
        EXPECT_EQ(saved(format == VIQ_RGB16 ? 200 : format == VIQ_Y8 ? 201 : 202).empty(), false);
    }
    const picture colour(VIQ_RGB24, 5, 3);
    EXPECT_ERROR(VIQ_convert_to_paletted_LUT(colour, image, 3), 0x10070000,
                 "Unsupported image format");
}

TEST_F(Lut, TablesRoundTripThroughFiles) {
    for (u16 type = first_type; type <= last_type; ++type) {
        bytes table = generated(type);
        VIQ_image_conv_LUT_destroy(type);
        std::generate(table.begin(), table.end(), noise);
        write_file(file, table);
        EXPECT_OK(VIQ_image_conv_LUT_load(image, type, file.c_str()));
        EXPECT_EQ(saved(type), table);
        // A failed load does not change the table.
        for (const std::ptrdiff_t change : {-1, 1}) {
            bytes wrong = table;
            wrong[0] ^= 1;
            wrong.resize(static_cast<std::size_t>(std::ptrdiff_t(table.size()) + change));
            write_file(file, wrong);
            EXPECT_ERROR(VIQ_image_conv_LUT_load(image, type, file.c_str()), 0x100b0000,
                         "Incorrect number of bytes read - correct LUT selected?");
            EXPECT_EQ(saved(type), table);
        }
        EXPECT_ERROR(VIQ_image_conv_LUT_load(image, type, "nowhere/lut"), 0x10090000,
                     "Failed to create file");
        EXPECT_ERROR(VIQ_image_conv_LUT_save(image, type, "nowhere/lut"), 0x10090000,
                     "Failed to create file");
        if (std::filesystem::exists("/dev/full"))
            EXPECT_ERROR(VIQ_image_conv_LUT_save(image, type, "/dev/full"), 0x100a0000,
                         "Failed to close file");
        EXPECT_OK(VIQ_image_conv_LUT_destroy(type));
        EXPECT_OK(VIQ_image_conv_LUT_destroy(type));
        // If no table exists, a failed load creates none, and no file is saved.
        write_file(file, bytes(3));
        EXPECT_ERROR(VIQ_image_conv_LUT_load(image, type, file.c_str()), 0x100b0000,
                     "Incorrect number of bytes read - correct LUT selected?");
        std::filesystem::remove(file);
        EXPECT_ERROR(VIQ_image_conv_LUT_save(image, type, file.c_str()), 0x100b0000,
                     "LUT not generated");
        EXPECT_FALSE(std::filesystem::exists(file));
    }
}

TEST_F(Lut, RejectsTablesOfAnotherDataWidth) {
    generated(202);
    const picture out;
    const picture other(VIQ_Y16, 2, 1);
    fill_with_noise(other);
    other->data_width = 10;
    constexpr const char *misfit = "LUT does not fit the data width";
    EXPECT_ERROR(VIQ_image_conv_LUT_save(other, 202, file.c_str()), 0x10050000, misfit);
    EXPECT_ERROR(VIQ_image_conv_LUT_load(other, 202, file.c_str()), 0x10050000, misfit);
    EXPECT_ERROR(VIQ_convert_to_paletted_LUT(other, out, VIQ_STRIP_NEXT), 0x10050000, misfit);
    EXPECT_OK(VIQ_generate_Y16_to_paletted_LUT(other));
    EXPECT_OK(VIQ_image_conv_LUT_save(other, 202, file.c_str()));
    EXPECT_EQ(read_file(file).size(), 1024u);
    constexpr const char *generator = "VIQ_generate_Y16_to_paletted_LUT";
    other->data_width = 8;
    EXPECT_ERROR(VIQ_generate_Y16_to_paletted_LUT(other), 0x10050000,
                 "data width should > 8 (and <= 16)");
    other->data_width = 17;
    EXPECT_REPORT(VIQ_image_conv_LUT_generate(other, 202), generator, 0x10050000,
                  "data width should <= 16 (and > 8)");
}

TEST_F(Lut, RejectsUnknownTypesAndHandles) {
    constexpr const char *unavailable = "LUT function not available for this image pixel format";
    for (const u16 type : {u16{199}, u16{206}}) {
        EXPECT_ERROR(VIQ_image_conv_LUT_generate(image, type), 0x10070000, unavailable);
        EXPECT_ERROR(VIQ_image_conv_LUT_destroy(type), 0x10070000, unavailable);
        EXPECT_ERROR(VIQ_image_conv_LUT_save(image, type, "x"), 0x10070000,
                     "Unrecognized LUT type");
        EXPECT_ERROR(VIQ_image_conv_LUT_load(image, type, "x"), 0x10070000,
                     "Unrecognized LUT type");
    }
    EXPECT_ERROR(VIQ_image_conv_LUT_generate(0, 203), 0x10040000, "");
    EXPECT_ERROR(VIQ_image_conv_LUT_save(60000, 203, "x"), 0x10040000, "");
    EXPECT_ERROR(VIQ_image_conv_LUT_load(0, 203, "x"), 0x10040000, "");
    const std::pair<const char *, std::function<u32(u32)>> generators[] = {
        {"VIQ_generate_RGB16_to_paletted_LUT", VIQ_generate_RGB16_to_paletted_LUT},
        {"VIQ_generate_Y8_to_paletted_LUT", VIQ_generate_Y8_to_paletted_LUT},
        {"VIQ_generate_Y16_to_paletted_LUT", VIQ_generate_Y16_to_paletted_LUT},
        {"VIQ_generate_YUV422_to_paletted_LUT", VIQ_generate_YUV422_to_paletted_LUT}};
    for (const auto &[name, generate] : generators)
        EXPECT_REPORT(generate(0), name, 0x10040000, "");
    EXPECT_OK(VIQ_generate_YUV422_to_RGB16_LUT());
    EXPECT_OK(VIQ_generate_YUV422_to_RGB15_LUT());
}

} // namespace
} // namespace viq
