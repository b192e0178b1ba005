// EPS files: the text that is written, round trips, and what the reader rejects.
#include "tests/file_support.h"

namespace viq {
namespace {

constexpr const char *reader = "VIQ_read_EPS_file";

bytes text(const std::string &characters) {
    return bytes(characters.begin(), characters.end());
}

// A text file, whose lines end as the platform's do.
std::string text_in(const std::string &name) {
    std::ifstream file(name);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string file_of(const picture &p, u32 lines = 100) {
    written(p, VIQ_write_EPS_file, lines);
    return text_in(p->outfilename);
}

// Sets each byte of the pixels to 0x80 + its index.
void number_pixels(const picture &p) {
    ASSERT_EQ(VIQ_image_malloc_a_strip(p), 0u);
    const std::size_t line = p->bytes_per_line - p->skip_bytes;
    bytes pixels(line * p->height);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<u8>(0x80 + i);
    set_strip(p, pixels);
}

TEST(EpsWriter, WritesTheTextOfEachFormat) {
    const picture grey(VIQ_Y8, 2, 3);
    number_pixels(grey);
    std::strcpy(grey->spare_text, "a camera\nshowpage");
    EXPECT_EQ(file_of(grey, 1), "%!PS-Adobe-3.0 EPSF-3.0\n"
                                "%%BoundingBox: 39 10 519 730\n"
                                "%%Creator: a camera\n"
                                "%%EndComments\n%%EndProlog\n"
                                "39 10 translate\n0 rotate\n"
                                "/picstr 2 string def\n480 720 scale\n2 3 8\n"
                                "[2 0 0 -3 0 3]\t% Portrait Orientation\n"
                                "{currentfile\n picstr readhexstring pop}\nimage\n"
                                "8081\n8283\n8485\nshowpage\n%%EOF\n");
    const picture colour(VIQ_RGB24, 2, 1);
    number_pixels(colour);
    EXPECT_EQ(file_of(colour), "%!PS-Adobe-3.0 EPSF-3.0\n"
                               "%%BoundingBox: 99 10 459 730\n"
                               "%%Creator: \n%%Extensions: CMYK\n"
                               "%%EndComments\n%%EndProlog\n"
                               "99 10 translate\n0 rotate\n"
                               "/picstr 2 string def\n720 360 scale\n2 1 8\n"
                               "[0 2 1 0 0 0]\t% Landscape Orientation\n"
                               "{currentfile\n picstr readhexstring pop}\nfalse 3\ncolorimage\n"
                               "808182838485\nshowpage\n%%EOF\n");
    const picture indices(VIQ_PALETTED, 1, 1);
    number_pixels(indices);
    indices->num_colours = 12;
    for (u8 i = 0; i < 12; ++i)
        indices->colourmap[i] = {i, 0xAB, 0, 0};
    EXPECT_EQ(file_of(indices),
              "%!PS-Adobe-3.0 EPSF-3.0\n"
              "%%BoundingBox: 18 109 540 631\n"
              "%%Creator: \n%%LanguageLevel: 2\n"
              "%%EndComments\n%%EndProlog\n"
              "18 109 translate\n0 rotate\n"
              "522 522 scale\n[/Indexed /DeviceRGB 11\n <00ab00 01ab00 02ab00 03ab00 04ab00 "
              "05ab00 06ab00 07ab00 08ab00 09ab00 0aab00\n  0bab00>\n] setcolorspace\n"
              "<<\n  /ImageType 1\n  /Width 1\n  /Height 1\n  /BitsPerComponent 8\n"
              "  /Decode [0 1 0 1 0 1]\n  /ImageMatrix[1 0 0 -1 0 1]\t% Portrait Orientation\n"
              "  /DataSource currentfile\n  /ASCIIHexDecode filter\n>>\nimage\n"
              "80\nshowpage\n%%EOF\n");
    indices->num_colours = 300; // more than the 256 that exist
    EXPECT_NE(file_of(indices).find("/DeviceRGB 255\n"), std::string::npos);
}

TEST(EpsWriter, ScalesAndCentresThePicture) {
    struct place {
        u32 width, height;
        const char *box, *scale;
    };
    for (const place &c :
         {place{640, 480, "18 22 540 718", "696 522"}, place{100, 200, "99 10 459 730", "360 720"},
          place{720, 522, "18 10 540 730", "720 522"}, place{1, 65535, "279 10 279 730", "0 720"},
          place{99990, 72632, "17 10 540 730", "720 523"}}) {
        const picture p(VIQ_Y8, c.width, c.height);
        set_lines(p, 1);
        fill_with_noise(p);
        VIQ_image_set_outfilename(p, scratch_file("written").c_str());
        EXPECT_OK(VIQ_write_EPS_file(p, VIQ_STRIP_NEXT));
        EXPECT_OK(VIQ_write_EPS_file(p, VIQ_STRIP_FINISH));
        const std::string file = text_in(p->outfilename);
        EXPECT_NE(file.find(std::string("BoundingBox: ") + c.box + "\n"), file.npos) << c.box;
        EXPECT_NE(file.find(std::string("\n") + c.scale + " scale\n"), file.npos) << c.scale;
    }
}

TEST(EpsWriter, BreaksLinesAfter39Bytes) {
    for (const u32 width : {38u, 39u, 40u, 78u}) {
        const picture p(VIQ_Y8, width, 1);
        fill_with_noise(p);
        const std::string file = file_of(p);
        const std::size_t start = file.find("image\n") + 6;
        const std::string hex = file.substr(start, file.find("showpage") - start);
        EXPECT_EQ(hex.size(), 2 * width + width / 39 + 1);
        for (std::size_t i = 0; i < hex.size(); ++i)
            EXPECT_EQ(hex[i] == '\n', i % 79 == 78 || i + 1 == hex.size()) << width << " " << i;
    }
}

TEST(EpsReader, RestoresPicturesByStripsOfAnyHeight) {
    for (const u16 format : {VIQ_Y1, VIQ_Y8, VIQ_PALETTED, VIQ_RGB24})
        for (const u32 width : {1u, 9u, 39u, 40u, 79u})
            for (const u32 alignment : {1u, 2u, 4u}) {
                SCOPED_TRACE(text_of(format, width, alignment));
                const picture p(format, width, 5, alignment);
                std::size_t line = format == VIQ_Y1 ? (width + 7) / 8 : width;
                line *= format == VIQ_RGB24 ? 3 : 1;
                // 1-bit lines are padded, or packed as the TIFF reader stores them.
                paint(p, width == 79 ? line : (line + alignment - 1) / alignment * alignment);
                const bytes expected = lines_of(p, line);
                const std::string file = file_of(p, 2);
                for (const u32 lines : {1u, 3u, 5u}) {
                    const picture back(0, 0, 0, alignment);
                    EXPECT_EQ(pixels_read(back, text(file), VIQ_read_EPS_file, lines, line),
                              expected);
                    EXPECT_EQ(back->pixel_format, format);
                    EXPECT_EQ(back->bytes_per_line % alignment, 0u);
                    if (format != VIQ_PALETTED)
                        continue;
                    EXPECT_EQ(back->num_colours, 255); // the last index, as written
                    EXPECT_EQ(back->colourmap[255].red, p->colourmap[255].red);
                    EXPECT_EQ(back->colourmap[9].blue, p->colourmap[9].blue);
                }
                if (width == 9 && alignment == 1)
                    expect_every_cut_refused(text(file), VIQ_read_EPS_file,
                                             file.find("showpage") - 1);
            }
    const picture wide(VIQ_Y8, 65541, 1), back;
    fill_with_noise(wide);
    EXPECT_EQ(pixels_read(back, text(file_of(wide)), VIQ_read_EPS_file, 1), pixels_of(wide));
}

TEST(EpsReader, SkipsWhiteSpaceBetweenDigits) {
    const picture p(VIQ_Y8, 3, 1);
    number_pixels(p);
    std::string file = file_of(p);
    file.replace(file.find("808182"), 6, " 8\r\n0 81\t\n8\f2");
    const picture back;
    EXPECT_EQ(pixels_read(back, text(file), VIQ_read_EPS_file, 1), (bytes{0x80, 0x81, 0x82}));
    EXPECT_EQ(back->data[3], 0); // padding
    file.replace(file.find("81"), 2, "8G");
    write_file(back->infilename, file);
    EXPECT_REPORT(VIQ_read_EPS_file(back, VIQ_STRIP_NEXT), "VIQ_read_EPS_file_1_strip", 0x100c0000,
                  "Expecting hexadecimal digits");
}

TEST(EpsReader, RejectsInvalidFiles) {
    const picture p;
    const auto refusal = [&p](const std::string &file, const char *function, u32 code,
                              const char *message) {
        SCOPED_TRACE(file);
        EXPECT_REPORT(read_header(p, text(file), VIQ_read_EPS_file), function, code, message);
    };
    const std::string level_2 = "%!PS\n%%LanguageLevel: 2\n";
    const std::string size = "/Width 1 /Height 1 /BitsPerComponent 8 image\n";
    refusal(level_2 + std::string(100000, 'x'), "fread_word_ascii", 0x10020000,
            "Unexpected EOF read");
    refusal(level_2 + "/Width 12", "fread_word_ascii", 0x10020000, "Unexpected EOF read");
    refusal(level_2 + "/DeviceRGB 1 00", reader, 0x100c0000, "Expecting hexadecimal digits");
    refusal(level_2 + "/DeviceRGB 1 <00ff00>" + size, reader, 0x100c0000,
            "Expecting hexadecimal digits");
    refusal(level_2 + "/DeviceRGB 256 <00ff00>" + size, reader, 0x10050000, "Corrupt image");
    refusal(level_2 + "/Width 60000 /Height 60000 image\n00", reader, 0x10050000, "Corrupt image");
    refusal(level_2 + "/ImageType 1\n", reader, 0x10050000, "Corrupt image");
    refusal("%!PS\n" + std::string(70000, '\n'), reader, 0x10050000, "Corrupt image");
    EXPECT_CHECKED(
        read_header(p, text(level_2 + "/DeviceRGB 0 <00ff00>" + size + "00"), VIQ_read_EPS_file),
        reader, 0x10050007, "Colourmap should not be 0 size");
}

TEST(EpsWriter, RejectsUnsupportedImages) {
    const picture words(VIQ_Y16, 900, 30);
    EXPECT_ERROR(VIQ_write_EPS_file(words, 3), 0x1007000e, "Unsupported image format");
    const picture nothing(VIQ_Y8, 0, 1);
    EXPECT_ERROR(VIQ_write_EPS_file(nothing, 3), 0x10050000, "Corrupt image");
}

TEST(EpsWriter, CommandFourOmitsTheTrailer) {
    const picture p(VIQ_Y8, 2, 3);
    number_pixels(p);
    VIQ_image_set_outfilename(p, scratch_file("written").c_str());
    set_lines(p, 1);
    EXPECT_OK(VIQ_write_EPS_file(p, VIQ_STRIP_NEXT));
    EXPECT_OK(VIQ_write_EPS_file(p, VIQ_STRIP_FINISH));
    const std::string file = text_in(scratch_file("written"));
    EXPECT_EQ(file.substr(file.size() - 5), "8081\n");
}

} // namespace
} // namespace viq
