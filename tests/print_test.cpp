// Printing: conversion of lines, options, and documents of several pages. The scripts print_test.sh
// and printers_test.sh compare what is printed.
#include <filesystem>
#include <fstream>

#include "display/print_lines.h"
#include "tests/support.h"

namespace viq {
namespace {

std::string contents(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

u32 make_page(u16 format, u32 width, u32 height) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(image, VIQ_WIDTH, width);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, height);
    VIQ_cmap_set_type(image, VIQ_CMAP_CUBE);
    VIQ_image_set_parameter(image, VIQ_NUM_COLOURS, format == VIQ_PALETTED ? 256 : 0);
    VIQ_image_malloc_a_strip(image);
    tVIQ_Image &made = *find_image(image);
    if (format == VIQ_Y1) { // the image check does not set the stride
        made.bytes_per_line = (width + 7) / 8;
        VIQ_image_set_ptr(image, VIQ_PTR_DATA, VIQ_malloc_N_lines(image, height));
    }
    for (std::size_t n = 0; n < std::size_t{made.bytes_per_line} * height; ++n)
        made.data[n] = static_cast<u8>(n * 37 + n / 11);
    return image;
}

// The lines that are printed are those of VIQ_convert_as.
TEST(Print, ConvertsLinesAsWholePictures) {
    for (const u16 format :
         {VIQ_Y1, VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24,
          VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32, VIQ_YUV422, VIQ_CMYK32})
        for (const u16 colour : {VIQ_RGB24, VIQ_BGR24, VIQ_Y8}) {
            SCOPED_TRACE(text_of("format", format, "to", colour));
            const u32 in = make_page(format, 22, 1);
            print_lines lines;
            ASSERT_TRUE(find_print_lines(*find_image(in), 0, colour, lines));
            const u32 whole = VIQ_convert_as(in, lines.format);
            const auto line_bytes = static_cast<std::size_t>(printed_line_bytes(lines.format, 22));
            std::vector<u8> line(line_bytes), scratch(3 * 22);
            const u8 *printed = lines.converts ? line.data() : find_image(in)->data;
            if (lines.converts)
                convert_print_line(lines, find_image(in)->data, line.data(), scratch.data(), 22);
            EXPECT_EQ(std::memcmp(printed, find_image(whole)->data, line.size()), 0);
        }
    VIQ_image_destroy(VIQ_ALL_IMAGES);
}

TEST(Print, ScalesNarrowSamplesAndRejectsWorkingFormats) {
    const u32 in = make_page(VIQ_Y16, 2, 1);
    VIQ_image_set_parameter(in, VIQ_DATA_WIDTH, 4);
    const u16 samples[] = {15, 3};
    std::memcpy(find_image(in)->data, samples, sizeof samples);
    print_lines lines;
    u8 line[2], scratch[6];
    ASSERT_TRUE(find_print_lines(*find_image(in), 0, VIQ_RGB24, lines));
    convert_print_line(lines, find_image(in)->data, line, scratch, 2);
    EXPECT_EQ(line[0], 255);
    EXPECT_EQ(line[1], 51);
    tVIQ_PrintOptions options;
    VIQ_display_print_defaults(&options);
    options.file_name = "never.pdf";
    EXPECT_ERROR(VIQ_display_print(make_page(VIQ_YUV411, 8, 8), "", "", &options, VIQ_STRIP_NEXT),
                 VIQ_ERR_UNSUPPORTED | VIQ_YUV411, "Unsupported image format");
    VIQ_image_destroy(VIQ_ALL_IMAGES);
}

TEST(Print, ChecksOptions) {
    struct row {
        const char *text;
        void (*change)(tVIQ_PrintOptions &options);
    };
    const u32 image = make_page(VIQ_Y8, 8, 8);
    const row rows[] = {
        {"Print options out of range", [](tVIQ_PrintOptions &o) { o.copies = 0; }},
        {"Print options out of range", [](tVIQ_PrintOptions &o) { o.orientation = 3; }},
        {"Print options out of range", [](tVIQ_PrintOptions &o) { o.position = 2; }},
        {"Print options out of range", [](tVIQ_PrintOptions &o) { o.more_pages = 2; }},
        {"Print options out of range", [](tVIQ_PrintOptions &o) { o.margin_top = 1000001; }},
        {"Unknown paper", [](tVIQ_PrintOptions &o) { o.paper = "A44"; }},
        {"Unknown paper", [](tVIQ_PrintOptions &o) { o.paper = "10x"; }},
        {"Unknown paper", [](tVIQ_PrintOptions &o) { o.paper = "10xinf"; }},
        {"Margins larger than the paper", [](tVIQ_PrintOptions &o) { o.margin_left = 30000; }},
        {"Picture does not fit on the paper", [](tVIQ_PrintOptions &o) { o.height = 30000; }},
    };
    for (const row &tested : rows) {
        tVIQ_PrintOptions options;
        VIQ_display_print_defaults(&options);
        const std::string name = scratch_file("options.pdf");
        options.file_name = name.c_str();
        tested.change(options);
        EXPECT_ERROR(VIQ_display_print(image, "", "", &options, VIQ_STRIP_NEXT), VIQ_ERR_PARAMETER,
                     tested.text);
        EXPECT_FALSE(std::filesystem::exists(name));
    }
    EXPECT_ERROR(VIQ_display_print_defaults(nullptr), VIQ_ERR_PARAMETER, "Null pointer");
    EXPECT_ERROR(VIQ_display_list_printers(nullptr, 1), VIQ_ERR_PARAMETER, "Null pointer");
    VIQ_image_destroy(VIQ_ALL_IMAGES);
}

// Strips and whole pictures give the same document; between two pages it can be abandoned.
TEST(Print, WritesPagesAndAbandonsThem) {
    const u32 image = make_page(VIQ_RGB24, 16, 30);
    const std::string names[] = {scratch_file("a.pdf"), scratch_file("b.pdf")};
    tVIQ_PrintOptions options;
    VIQ_display_print_defaults(&options);
    for (const u32 strip : {30u, 7u}) {
        const std::string &name = names[strip == 7];
        options.file_name = name.c_str();
        for (const u16 more : {u16{1}, u16{0}}) {
            options.more_pages = more;
            const u32 part = VIQ_image_create();
            for (u32 done = 0; done < 30; done += find_image(part)->lines_per_strip) {
                set_lines(image, 30);
                set_lines(part, strip);
                EXPECT_OK(VIQ_read_from_memory(image, part, VIQ_STRIP_NEXT));
                EXPECT_OK(VIQ_display_print(part, "", "pages", &options, VIQ_STRIP_NEXT));
            }
            EXPECT_EQ(std::filesystem::exists(name), more == 0);
            VIQ_read_from_memory(image, part, VIQ_STRIP_FINISH);
        }
    }
    EXPECT_EQ(contents(names[0]), contents(names[1]));
    EXPECT_NE(contents(names[0]).find("/Count 2 "), std::string::npos);

    const std::string last = scratch_file("last.pdf");
    options.file_name = last.c_str();
    options.more_pages = 1;
    EXPECT_OK(VIQ_display_print(image, "", "", &options, VIQ_STRIP_NEXT));
    EXPECT_OK(VIQ_display_print(image, "", "", &options, VIQ_STRIP_FINISH));
    options.more_pages = 0;
    EXPECT_OK(VIQ_display_print(image, "", "", &options, VIQ_STRIP_NEXT));
    EXPECT_NE(contents(last).find("/Count 1 "), std::string::npos);
    VIQ_image_destroy(VIQ_ALL_IMAGES);
}

} // namespace
} // namespace viq
