// Strip geometry, the image check, copying, memory images, test pattern and small utilities.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "core/byte_order.h"
#include "tests/support.h"

namespace viq {
namespace {

TEST(ImageCheck, DerivesLineSizesAndRejectsWrongDepths) {
    for (const known_format &row : known_formats) {
        SCOPED_TRACE(row.code);
        const picture p(row.code, 10, 4, 4);
        EXPECT_OK(VIQ_image_check(p));
        EXPECT_EQ(p->bytes_per_line, row.line);
        EXPECT_EQ(p->param_18, 1u);
        for (const u16 wrong : words{7, 9, 14, 17, 23, 31, 48, 65}) {
            p->bits_per_pixel = wrong;
            EXPECT_ERROR(VIQ_image_check(p), 0x10050000 | row.depth_code,
                         "Depth not " + std::to_string(row.depth));
        }
    }
}

TEST(ImageCheck, RejectsInvalidParameters) {
    const u16 none = 0;
    const struct {
        u16 format;
        std::function<void(tVIQ_Image &)> spoil;
        u32 detail;
        const char *message;
    } cases[] = {
        {none, [](tVIQ_Image &) {}, 0x10, "Unrecognised image"},
        {VIQ_Y8, [](tVIQ_Image &i) { i.line_alignment = 0; }, 0x11, "Line alignment is 0"},
        {VIQ_RGB24, [](tVIQ_Image &i) { i.width = 0x55555556; }, 0x12, "Line too long"},
        {VIQ_Y8, [](tVIQ_Image &i) { i.width = 0xFFFFFFFF; }, 0x12, "Line too long"},
        {VIQ_JPEG_WORK101, [](tVIQ_Image &i) { i.width = 1u << 29; }, 0x12, "Line too long"},
        {VIQ_WORK104, [](tVIQ_Image &i) { i.width = 1u << 30; }, 0x12, "Line too long"},
        // The number of colours is checked before the depth.
        {VIQ_PALETTED, [](tVIQ_Image &i) { i.num_colours = i.bits_per_pixel = 0; }, 0x07,
         "Colourmap should not be 0 size"},
        {VIQ_Y16, [](tVIQ_Image &i) { i.data_width = i.bits_per_pixel = 0; }, 0x0a,
         "Data width not between 1 and 16"},
        {VIQ_Y16, [](tVIQ_Image &i) { i.data_width = 17; }, 0x0a,
         "Data width not between 1 and 16"}};
    for (const auto &c : cases) {
        const picture p(c.format, 10, 4, 4);
        c.spoil(*p.operator->());
        const u32 code = 0x10050000 | c.detail;
        EXPECT_REPORTS(VIQ_image_malloc_a_strip(p),
                       {{"VIQ_image_check", code, c.message},
                        {"VIQ_image_malloc_a_strip", code, "Corrupt image"}});
    }
    const picture p(VIQ_Y8, 10, 4);
    for (p->pixel_format = 0; p->pixel_format < 300; ++p->pixel_format)
        if (find_known(p->pixel_format) == nullptr)
            EXPECT_ERROR(VIQ_image_check(p), 0x10050010, "Unrecognised image");
    const picture grey(VIQ_Y8, 10, 4);
    grey->data_width = 3;
    EXPECT_OK(VIQ_image_check(grey));
    EXPECT_EQ(grey->data_width, 8);
}

TEST(Strips, PaddingAlignsTheLines) {
    for (u32 width = 0; width < 20; ++width)
        for (const u16 bits : words{1, 8, 15, 16, 24, 32, 64})
            for (u32 alignment = 1; alignment < 20; ++alignment) {
                const u32 line = (bits + 1u) / 8 * width;
                const u32 skip = VIQ_image_calc_skip_bytes(width, bits, alignment);
                EXPECT_EQ((line + skip) % alignment, 0u);
                EXPECT_LT(skip, alignment);
            }
    EXPECT_EQ(VIQ_image_calc_skip_bytes(10, 24, 0), 0u);
    EXPECT_EQ(VIQ_image_calc_skip_bytes(0xFFFFFFFF, 64, 0xFFFFFFFE), 0xFFFFFFF6u);
}

TEST(Strips, TotalCoversTheHeight) {
    const u32 cases[][3] = {{20, 8, 3}, {24, 8, 3}, {25, 8, 4},    {0, 8, 0},
                            {20, 0, 0}, {1, 99, 1}, {65537, 1, 1}, {0xFFFFFFFF, 0xFFFFFFFF, 1}};
    for (const auto &[height, lines, strips] : cases) {
        const picture p(VIQ_Y8, 1, height);
        set_lines(p, lines);
        EXPECT_EQ(VIQ_image_calc_total_strips(p), strips) << height << " by " << lines;
    }
}

TEST(Strips, BuffersThatAreTooLargeAreReported) {
    const picture p(VIQ_Y8, 0x80000004, 0x80000001, 1);
    set_lines(p, 0xFFFFFFFF);
    EXPECT_ERROR(VIQ_image_malloc_a_strip(p), 0x1006FFFC, "");
    EXPECT_EQ(p->data, nullptr);
    EXPECT_EQ(VIQ_malloc_N_lines(p, 0xFFFFFFFF), nullptr);
    reported.clear();
    EXPECT_ERROR(VIQ_image_malloc_a_strip(missing), 0x10050000, "Corrupt image");
}

TEST(Strips, BuffersThatFitAreReused) {
    const picture p(VIQ_RGB24, 11, 9);
    fill_with_noise(p);
    const u8 *data = p->data;
    const bytes before = pixels_of(p);
    EXPECT_OK(VIQ_image_malloc_a_strip(p));
    EXPECT_EQ(p->data, data);
    EXPECT_EQ(pixels_of(p), before);
    EXPECT_OK(VIQ_image_free_data(p));
    EXPECT_EQ(p->data, nullptr);
    EXPECT_OK(VIQ_image_malloc_a_strip(p));
    EXPECT_EQ(std::count(p->data, p->data + 34 * 9, 0), 34 * 9);
}

// All but the data, parameter 16 and the JPEG record.
TEST(Copies, IncludeTheParameters) {
    const picture in(VIQ_PALETTED, 33, 20, 4), out;
    for (u16 id = VIQ_PARAM_16; id <= VIQ_PARAM_25; ++id)
        VIQ_image_set_parameter(in, id, id);
    in->flags = VIQ_FLAG_100 | VIQ_FLAG_20;
    std::strcpy(in->spare_text, "creator");
    VIQ_image_set_infilename(in, "in name");
    VIQ_image_set_outfilename(in, "out name");
    VIQ_cmap_set_type(in, 3);
    in->cmap_info = VIQ_cmap_create_info();
    in->cmap_info->bins[4095].occurrences = 9;
    reported.clear();
    EXPECT_OK(VIQ_image_check(in));
    EXPECT_OK(VIQ_image_copy_parameters(in, out));
    for (u16 id = VIQ_IMAGE_TYPE; id <= VIQ_COMPONENTS; ++id)
        if (id != VIQ_JPEG_PARAM) {
            EXPECT_EQ(VIQ_image_get_parameter(out, id),
                      id == VIQ_PARAM_16 ? 0 : VIQ_image_get_parameter(in, id))
                << id;
        }
    EXPECT_EQ(out->flags, in->flags);
    EXPECT_EQ(out->skip_bytes, in->skip_bytes);
    EXPECT_STREQ(out->spare_text, "creator");
    EXPECT_STREQ(out->infilename, "in name");
    EXPECT_STREQ(out->outfilename, "out name");
    EXPECT_EQ(out->cmap_info->bins[4095].occurrences, 9u);
    for (u16 i = 0; i < 20; ++i)
        EXPECT_EQ(VIQ_cmap_get_RGB_colour(out, i), VIQ_cmap_get_RGB_colour(in, i));
    EXPECT_EQ(out->data, nullptr);

    for (auto copy : {VIQ_image_copy_parameters, VIQ_image_copy_parameters_raw}) {
        const char *function = copy == VIQ_image_copy_parameters ? "VIQ_image_copy_parameters"
                                                                 : "VIQ_image_copy_parameters_raw";
        EXPECT_OK(copy(in, in));
        EXPECT_REPORT(copy(missing, out), function, 0x10040000, "Input image does not exist");
        EXPECT_REPORT(copy(in, missing), function, 0x10040000, "Output image does not exist");
    }
}

TEST(Copies, IncludeTheStrip) {
    for (const known_format &row : known_formats)
        for (const u32 alignment : numbers{1, 2, 3, 4, 8}) {
            const picture in(row.code, 11, 5, alignment), out;
            fill_with_noise(in);
            EXPECT_OK(VIQ_image_copy(in, out));
            EXPECT_EQ(std::memcmp(out->data, in->data, std::size_t{in->bytes_per_line} * 5), 0);
        }
    const picture in(VIQ_RGB24, 11, 5), out;
    EXPECT_REPORT(VIQ_image_copy(in, out), "VIQ_image_copy_1_strip", 0x10050000, "No image data");
    EXPECT_OK(VIQ_image_copy(in, in));
    set_lines(in, 0);
    EXPECT_OK(VIQ_image_copy(in, out));
    EXPECT_ERROR(VIQ_image_copy(missing, out), 0x10050000, "Corrupt image");
    EXPECT_REPORT(VIQ_image_copy(in, missing), "VIQ_image_copy_parameters", 0x10040000,
                  "Output image does not exist");
    EXPECT_ERROR(VIQ_image_move(in, missing), 0x10040000, "Output image does not exist");
    EXPECT_ERROR(VIQ_image_move(missing, in), 0x10040000, "Input image does not exist");
}

// ---- Memory images

TEST(MemoryImages, RoundTripByStripsOfAnyHeight) {
    for (const u32 height : numbers{1, 2, 7, 20})
        for (const u32 lines : numbers{1, 2, 3, 8, 19, 20, 30}) {
            SCOPED_TRACE(text_of(height, "by", lines));
            const picture whole(VIQ_RGB24, 13, height, 4), gathered;
            fill_with_noise(whole);
            by_strips(whole, lines, [&](const picture &strip) {
                EXPECT_OK(VIQ_write_to_memory(strip, gathered, 3));
                set_lines(strip, lines); // too many for the last strip, which is clipped
            });
            EXPECT_EQ(pixels_of(gathered), pixels_of(whole));
            EXPECT_EQ(gathered->lines_per_strip, height);
        }
}

TEST(MemoryImages, EndAfterTheLastLineOrWithCommandFour) {
    const picture strip(VIQ_Y8, 4, 5), memory, out;
    set_lines(strip, 2);
    fill_with_noise(strip);
    for (u16 mode = 0; mode < 3; ++mode) { // other commands have no effect
        EXPECT_OK(VIQ_write_to_memory(strip, memory, mode));
        EXPECT_OK(VIQ_read_from_memory(strip, out, mode));
    }
    EXPECT_EQ(memory->pixel_format + out->pixel_format, 0);
    EXPECT_OK(VIQ_write_to_memory(strip, memory, 3));
    EXPECT_OK(VIQ_write_to_memory(strip, memory, 4));
    for (const u32 lines : numbers{2, 2, 1}) { // the last strip is clipped
        EXPECT_OK(VIQ_write_to_memory(strip, memory, 3));
        EXPECT_EQ(strip->lines_per_strip, lines);
    }
    set_lines(memory, 2);
    EXPECT_OK(VIQ_read_from_memory(memory, out, 3));
    EXPECT_OK(VIQ_read_from_memory(memory, out, 4));
    EXPECT_OK(VIQ_read_from_memory(memory, out, 3));
    EXPECT_TRUE(std::equal(out->data, out->data + 8, memory->data));
    EXPECT_OK(VIQ_read_from_memory(memory, out, 4));
}

TEST(MemoryImages, RejectAnImageThatChangesBetweenStrips) {
    const std::pair<u16, u32> changes[] = {
        {VIQ_WIDTH, 5}, {VIQ_HEIGHT, 60}, {VIQ_IMAGE_TYPE, VIQ_RGB8}, {VIQ_LINE_ALIGNMENT, 8}};
    for (const auto &[id, value] : changes)
        for (const bool other_side : {false, true})
            for (auto transfer : {VIQ_write_to_memory, VIQ_read_from_memory}) {
                const bool writing = transfer == VIQ_write_to_memory;
                SCOPED_TRACE(text_of(id, writing ? "written" : "read", other_side));
                const picture in(VIQ_Y8, 4, 6), out;
                fill_with_noise(in);
                set_lines(in, 2);
                EXPECT_OK(transfer(in, out, 3));
                const picture &changed = other_side ? out : in;
                EXPECT_OK(VIQ_image_set_parameter(changed, id, value));
                EXPECT_OK(VIQ_image_check(changed));
                EXPECT_REPORT(transfer(in, out, 3),
                              writing ? "VIQ_write_to_memory" : "VIQ_read_from_memory", 0x10050000,
                              "Image changed during transfer");
            }
}

TEST(MemoryImages, ReportMissingImagesAndData) {
    const picture strip(VIQ_Y8, 4, 6), memory(VIQ_Y8, 4, 6), bad;
    for (auto transfer : {VIQ_write_to_memory, VIQ_read_from_memory}) {
        const char *name =
            transfer == VIQ_write_to_memory ? "VIQ_write_to_memory" : "VIQ_read_from_memory";
        EXPECT_REPORT(transfer(strip, strip, 3), name, 0x10030000,
                      "Input and output image are the same");
        EXPECT_NO_FORMAT(transfer(bad, memory, 3), name, "Corrupt input image");
        EXPECT_REPORT(transfer(missing, memory, 3), name, 0x10050000, "Corrupt input image");
        EXPECT_REPORT(transfer(strip, missing, 3), "VIQ_image_copy_parameters", 0x10040000,
                      "Output image does not exist");
        EXPECT_REPORT(transfer(strip, memory, 3), name, 0x10050000, "No image data");
        EXPECT_OK(transfer(strip, strip, 4));
        set_lines(strip, 0);
        EXPECT_OK(transfer(strip, memory, 3));
        set_lines(strip, 6);
    }
}

// ---- Test pattern

TEST(TestPattern, FillsLinesWithoutPadding) {
    for (const known_format &row : known_formats) {
        SCOPED_TRACE(row.code);
        const picture p(row.code, 301, 5, 8);
        fill_with_noise(p);
        const u32 pixel = (row.depth + 1u) / 8;
        set_lines(p, 2);
        if (pixel == 0 || pixel > 4 || row.code == VIQ_RGGB32) {
            EXPECT_ERROR(VIQ_test_pattern_1_strip(p), 0x10070000, "Unsupported image format");
            continue;
        }
        bytes expected(p->data, p->data + 5 * p->bytes_per_line);
        for (u32 n = 0; n < 2 * 301 * pixel; ++n)
            expected[n] = static_cast<u8>(pixel != 4 ? n / pixel % 301 : n % 2 == 0 ? 0xAA : 0x55);
        EXPECT_OK(VIQ_test_pattern(p, 3));
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), p->data));
        EXPECT_OK(VIQ_test_pattern(p, 3));
        EXPECT_OK(VIQ_test_pattern(p, 3));
        EXPECT_EQ(p->lines_per_strip, 1u);
        EXPECT_OK(VIQ_test_pattern(p, 3)); // starts the next picture
        EXPECT_OK(VIQ_test_pattern(p, 4));
    }
    const picture wide(VIQ_Y8, 70001, 1), none(VIQ_Y8, 1, 1), bad;
    fill_with_noise(wide);
    EXPECT_OK(VIQ_test_pattern(wide, 3));
    EXPECT_EQ(wide->data[70000], 70000 % 256);
    EXPECT_ERROR(VIQ_test_pattern_1_strip(none), 0x10050000, "No image data");
    EXPECT_NO_FORMAT(VIQ_test_pattern(bad, 3), "VIQ_test_pattern", "Corrupt image");
    set_lines(none, 0);
    EXPECT_OK(VIQ_test_pattern(none, 3));
}

// ---- Byte order, numbers, command lines

TEST(ByteOrder, FilesAndMemoryHoldTheSameBytes) {
    const std::string name = scratch_file("values");
    std::FILE *f = std::fopen(name.c_str(), "wb");
    EXPECT_EQ(VIQ_fput_ui8(f, 0x81), 0x81);
    EXPECT_EQ(VIQ_fput_ui16i(f, 0xA1B2), 0xA1);
    EXPECT_EQ(VIQ_fput_ui16m(f, 0xA1B2), 0xB2);
    EXPECT_EQ(VIQ_fput_ui32i(f, 0xA1B2C3D4), 0xA1);
    EXPECT_EQ(VIQ_fput_ui32m(f, 0xA1B2C3D4), 0xD4);
    std::fclose(f);
    bytes memory(13);
    EXPECT_EQ(VIQ_mput_ui8(&memory[0], 0x81), 0x81);
    VIQ_mput_ui16i(&memory[1], 0xA1B2);
    EXPECT_EQ(VIQ_mput_ui16m(&memory[3], 0xA1B2), 0xA1B2);
    VIQ_mput_ui32i(&memory[5], 0xA1B2C3D4);
    EXPECT_EQ(VIQ_mput_ui32m(&memory[9], 0xA1B2C3D4), &memory[11]);
    const bytes expected = {0x81, 0xB2, 0xA1, 0xA1, 0xB2, 0xD4, 0xC3,
                            0xB2, 0xA1, 0xA1, 0xB2, 0xC3, 0xD4};
    EXPECT_EQ(memory, expected);
    EXPECT_EQ(read_file(name), expected);

    f = std::fopen(name.c_str(), "rb");
    std::fgetc(f);
    EXPECT_EQ(VIQ_fget_ui16i(f), VIQ_mget_ui16i(&expected[1]));
    EXPECT_EQ(VIQ_fget_ui16m(f), VIQ_mget_ui16m(&expected[3]));
    EXPECT_EQ(VIQ_fget_ui32i(f), VIQ_mget_ui32i(&expected[5]));
    EXPECT_EQ(VIQ_fget_ui32m(f), VIQ_mget_ui32m(&expected[9]));
    EXPECT_EQ(VIQ_mget_ui32m(&expected[9]), 0xA1B2C3D4u);
    EXPECT_EQ(VIQ_fget_ui32m(f), 0xFFFFFFFFu); // end of the file
    std::fseek(f, -1, SEEK_END);
    EXPECT_EQ(VIQ_fget_ui16i(f), 0xFFD4);
    std::fclose(f);
}

TEST(ByteOrder, SixtyFourBitValuesAreStoredInFull) {
    const u64 value = 0x8192A3B4C5D6E7F8;
    const bytes ascending = {0xF8, 0xE7, 0xD6, 0xC5, 0xB4, 0xA3, 0x92, 0x81};
    for (const endian order : {endian::little, endian::big}) {
        bytes expected = ascending;
        if (order == endian::big)
            std::reverse(expected.begin(), expected.end());
        bytes memory(sizeof value);
        store<u64>(memory.data(), value, order);
        EXPECT_EQ(memory, expected);
        EXPECT_EQ(load<u64>(memory.data(), order), value);

        const std::string name = scratch_file("wide_value");
        std::FILE *f = std::fopen(name.c_str(), "wb");
        write<u64>(f, value, order);
        std::fclose(f);
        EXPECT_EQ(read_file(name), expected);
    }
}

TEST(NumberParser, StepsThroughALineOfText) {
    const char *text = "  640 480\t-1 70000x 5000000000abc";
    const u16 expected[] = {640, 480, 0xFFFF, 70000 - 65536, 0xF200, 0};
    const char *rest[] = {" 480", "\t-1", " 70000x", " 5000000000abc", "", ""};
    for (int n = 0; n < 6; ++n) {
        u16 value = 9;
        text = VIQ_sscanf(text, &value);
        EXPECT_EQ(value, expected[n]);
        EXPECT_EQ(std::string(text).rfind(rest[n], 0), 0u) << text;
    }
    EXPECT_EQ(*text, '\0');
}

TEST(CommandLineParser, SplitsOrRejectsTheWholeLine) {
    tVIQ_Command command = {};
    const auto parse = [&](std::vector<std::string> arguments) {
        std::vector<char *> argv;
        for (std::string &argument : arguments)
            argv.push_back(argument.data());
        return VIQ_Util_ParseCommand(&command, static_cast<int>(argv.size()), argv.data());
    };
    const std::string longest(127, 'a');
    EXPECT_OK(parse(std::vector<std::string>(17, "p")));
    EXPECT_OK(parse({"program", "-x", "plain", "", "-", longest}));
    const tVIQ_Command before = command;
    const std::string parts =
        text_of(before.argc, before.options, before.plains, before.program, before.option[0],
                before.option[1], before.plain[0], before.plain[1], before.plain[2]);
    EXPECT_EQ(parts, "6 2 3 program -x - plain  " + longest + " ");
    const std::pair<std::vector<std::string>, const char *> refused[] = {
        {{"p", "-1", "-2", "-3", "-4"}, "Too many arguments"},
        {std::vector<std::string>(18, "p"), "Too many arguments"},
        {{longest + "a"}, "Argument too long"},
        {{"q", "-" + longest}, "Argument too long"}};
    for (const auto &[arguments, message] : refused) {
        EXPECT_REPORT(parse(arguments), "VIQ_Util_ParseCommand", 0x10030000, message);
        EXPECT_EQ(std::memcmp(&command, &before, sizeof command), 0);
    }
}

TEST(Utilities, CountAllocationsAndPrintNothing) {
    const u32 before = VIQ_DebugMallocPrint();
    void *first = VIQ_DebugMalloc(100), *second = VIQ_DebugMalloc(23);
    EXPECT_EQ(VIQ_DebugMallocPrint(), before + 123);
    const u32 frees = VIQ_DebugFree(first);
    EXPECT_EQ(VIQ_DebugFree(second), frees + 1);
    const picture p;
    EXPECT_OK(VIQ_print_image(p) | VIQ_print_cmap(p) | VIQ_print_jpeg_image());
    EXPECT_ERROR(VIQ_print_Huffman_tables(p), 0x10040001, "Not a JPEG type image");
}

} // namespace
} // namespace viq
