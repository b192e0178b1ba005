// BMP files, raw data, format detection, generic reading and writing, and invalid files.
#include <functional>

#include "tests/built_files.h"

namespace viq {
namespace {

// The BMP file of a picture that is held in one strip.
bytes bitmap_of(const picture &p) {
    const u32 pixel = p->pixel_format == VIQ_RGB24 ? 3 : 1;
    const u32 offset = pixel == 1 ? 1078 : 54;
    const u32 line = (p->width * pixel + 3) / 4 * 4;
    bytes file = {'B', 'M'};
    for (const u32 value : numbers{p->height * line + offset, 0u, offset, 40u, p->width, p->height})
        append(file, value, 4);
    append(file, 1, 2);
    append(file, pixel * 8, 2);
    for (const u32 value : {0u, p->height * line, 0u, 0u, 0u, 0u})
        append(file, value, 4);
    for (u32 i = 0; pixel == 1 && i < 256; ++i) {
        const tVIQ_Colour &c = p->colourmap[i];
        if (p->pixel_format == VIQ_Y8)
            file.insert(file.end(), 3, static_cast<u8>(i));
        else
            file.insert(file.end(), {c.blue, c.green, c.red});
        file.push_back(0);
    }
    for (u32 y = p->height; y-- > 0; file.resize(offset + (p->height - y) * line)) {
        const u8 *row = p->data + y * std::size_t{p->bytes_per_line};
        for (u32 x = 0; x < p->width; ++x)
            for (u32 n = 0; n < pixel; ++n)
                file.push_back(row[x * pixel + (pixel == 3 ? 2 - n : 0)]);
    }
    return file;
}

void paint(const picture &p) {
    viq::paint(p, 0);
}

void write_by_strips(const picture &whole, u32 lines, file_function write) {
    by_strips(whole, lines, [&](const picture &strip) {
        const bytes before = pixels_of(strip);
        EXPECT_OK(write(strip, 3));
        EXPECT_EQ(pixels_of(strip), before);
    });
}

TEST(BmpFiles, RoundTripByStripsOfAnyHeight) {
    const std::string name = scratch_file("round.bmp");
    for (const u16 format : words{VIQ_RGB24, VIQ_Y8, VIQ_PALETTED})
        for (u32 width = 1; width <= 9; ++width)
            for (u32 height = 1; height <= 9; height += 2)
                for (const u32 lines : numbers{1, 2, 3, 9, 12}) {
                    SCOPED_TRACE(text_of(format, width, "x", height, "by", lines));
                    const picture whole(format, width, height, 1 + lines % 4), strip, gathered;
                    paint(whole);
                    name_files(whole, name);
                    const bytes expected = bitmap_of(whole);
                    write_by_strips(whole, lines, VIQ_write_BMP_file);
                    ASSERT_EQ(read_file(name), expected);
                    bytes buffer(expected.size());
                    u32 size = 0;
                    EXPECT_OK(VIQ_image_write_BMP_buffer(whole, buffer.data(), &size, 3));
                    ASSERT_EQ(buffer, expected);
                    EXPECT_EQ(size, expected.size());

                    name_files(strip, name);
                    for (u32 done = 0; done < height; done += lines) {
                        set_lines(strip, lines);
                        EXPECT_OK(VIQ_read_BMP_file(strip, 3));
                        EXPECT_EQ(strip->lines_per_strip, std::min(lines, height - done));
                        EXPECT_OK(VIQ_write_to_memory(strip, gathered, 3));
                    }
                    if (format == VIQ_Y8)
                        gathered->pixel_format = VIQ_Y8; // read as paletted, with a grey ramp
                    ASSERT_EQ(bitmap_of(gathered), expected);
                }
}

TEST(BmpFiles, CommandFourWritesTheStripAndClosesTheFile) {
    const picture p(VIQ_Y8, 10, 3);
    name_files(p, scratch_file("partial.bmp"));
    paint(p);
    std::fill_n(p->data + 20, 10, u8{0}); // the line that is never written
    const bytes expected = bitmap_of(p);
    set_lines(p, 2);
    EXPECT_OK(VIQ_write_BMP_file(p, 4));
    EXPECT_EQ(read_file(p->outfilename), expected);
    bytes buffer(expected.size(), 0x77);
    u32 size = 0;
    EXPECT_OK(VIQ_image_write_BMP_buffer(p, buffer.data(), &size, 3));
    EXPECT_EQ(buffer, expected);
    EXPECT_ERROR(VIQ_image_write_BMP_buffer(p, buffer.data(), &size, 3), 0x100b0000,
                 "Only a complete image can be written");
    EXPECT_OK(VIQ_image_write_BMP_buffer(p, buffer.data(), &size, 4)); // starts again
    EXPECT_EQ(buffer, expected);
    EXPECT_ERROR(VIQ_image_write_BMP_buffer(p, nullptr, &size, 3), 0x10030000, "Null pointer");
}

// ---- Invalid files

bytes small_bitmap(u16 format) {
    const picture p(format, 3, 2);
    paint(p);
    return bitmap_of(p);
}

// A failed read has no effect on the next one, which starts with the header.
void expect_next_read_works() {
    static const bytes good = small_bitmap(VIQ_PALETTED);
    const picture p;
    name_files(p, scratch_file("next.bmp"));
    write_file(p->infilename, good);
    EXPECT_OK(VIQ_image_read(p, 0, 3));
    EXPECT_EQ(bitmap_of(p), good);
}

TEST(InvalidBmpFiles, EveryTruncationIsAnError) {
    for (const u16 format : words{VIQ_RGB24, VIQ_PALETTED}) {
        const bytes good = small_bitmap(format);
        for (std::size_t size = 0; size < good.size(); size += format == VIQ_RGB24 ? 1 : 7) {
            const picture whole, by_lines;
            for (const picture *p : {&whole, &by_lines})
                name_files(*p, scratch_file("cut.bmp"));
            write_file(whole->infilename, bytes(good.begin(), good.end() - 1 - long(size)));
            EXPECT_NE(VIQ_image_read(whole, 0, 3), 0u) << size;
            set_lines(by_lines, 1);
            EXPECT_NE(VIQ_read_BMP_file(by_lines, 3), 0u) << size;
            expect_next_read_works();
        }
    }
}

TEST(InvalidBmpFiles, HeadersAreRejectedWithTheirReason) {
    const struct {
        std::size_t at;
        bytes value;
        u32 code;
        const char *message;
    } cases[] = {{28, {4, 0}, 0x10070000, "Unsupported image depth"},
                 {28, {32, 0}, 0x10070000, "Unsupported image depth"},
                 {30, {1, 0}, 0x10070000, "Compressed images not supported"},
                 {30, {2, 0}, 0x10070000, "Compressed images not supported"},
                 {30, {3, 0}, 0x10070000, "Unrecognized compression type"},
                 {30, {0, 1}, 0x10070000, "Unrecognized compression type"},
                 {18, bytes(4, 0), 0x10050000, "Corrupt image"},
                 {22, bytes(4, 0), 0x10050000, "Corrupt image"},
                 {18, bytes(8, 0xFF), 0x10050000, "Corrupt image"},
                 {22, {0xFE, 0xFF, 0xFF, 0xFF}, 0x10050000, "Corrupt image"},
                 {18, {0x56, 0x55, 0x55, 0x55}, 0x10050000, "Corrupt image"}};
    for (const auto &c : cases) {
        const picture p;
        name_files(p, scratch_file("header.bmp"));
        bytes file = small_bitmap(VIQ_RGB24);
        std::copy(c.value.begin(), c.value.end(), &file[c.at]);
        write_file(p->infilename, file);
        EXPECT_ERROR(VIQ_read_BMP_file(p, 3), c.code, c.message);
        expect_next_read_works();
    }
    const picture p; // a compressed file that ends within its 256 palette entries
    name_files(p, scratch_file("short.bmp"));
    bytes file = small_bitmap(VIQ_PALETTED);
    file[30] = 1;
    file.resize(200);
    write_file(p->infilename, file);
    EXPECT_ERROR(VIQ_read_BMP_file(p, 3), 0x10070000, "Compressed images not supported");
}

TEST(FileTransfers, EndIfTheImageChangesBetweenStrips) {
    const std::pair<const char *, file_function> functions[] = {
        {"VIQ_write_BMP_file", VIQ_write_BMP_file},
        {"VIQ_write_raw_data", VIQ_write_raw_data_file},
        {"VIQ_read_BMP_file", VIQ_read_BMP_file}};
    for (const auto &[function, call] : functions) {
        const picture p(VIQ_PALETTED, 3, 2);
        name_files(p, scratch_file("way.bmp"));
        paint(p);
        write_file(p->infilename, bitmap_of(p));
        set_lines(p, 1);
        EXPECT_OK(call(p, 3));
        p->width = 2;
        EXPECT_REPORT(call(p, 3), function, 0x10050000, "Image changed during transfer");
        p->width = 3;
        if (call != VIQ_read_BMP_file) // begins a new file
            EXPECT_OK(call(p, 3));
        EXPECT_OK(call(p, 4));
        expect_next_read_works();
        if (call == VIQ_read_BMP_file) {
            EXPECT_OK(call(p, 3));
            EXPECT_REPORT(call(missing, 3), function, 0x10040000, "");
            expect_next_read_works();
            EXPECT_OK(VIQ_image_read(p, 0, 3));
            EXPECT_ERROR(VIQ_image_read(missing, 0, 3), 0x10040000, "");
            expect_next_read_works();
        }
    }
}

// ---- Failed writes

constexpr struct {
    const char *name, *worker;
    file_function write;
} writers[] = {{"VIQ_write_BMP_file", "VIQ_write_BMP_file_1_strip", VIQ_write_BMP_file},
               {"VIQ_write_TIFF_file", "VIQ_write_TIFF_file_1_strip", VIQ_write_TIFF_file},
               {"VIQ_write_TGA_file", "VIQ_write_TGA_file_1_strip", VIQ_write_TGA_file},
               {"VIQ_write_EPS_file", "VIQ_write_EPS_file_1_strip", VIQ_write_EPS_file},
               {"VIQ_write_raw_data", "VIQ_write_raw_data_1_strip", VIQ_write_raw_data_file}};

TEST(FileWriters, RejectUnsupportedImages) {
    for (const auto &[name, worker, write] : writers) {
        const picture p(VIQ_RGB24, 3, 2), bad;
        name_files(p, scratch_file("no/such/folder"));
        EXPECT_NO_FORMAT(write(bad, 3), name, "Corrupt image");
        EXPECT_REPORT(write(p, 3), name, 0x10090000, "Failed to create file");
        name_files(p, scratch_file("written"));
        EXPECT_REPORT(write(p, 3), worker, 0x10050000, "No image data");
        if (write == VIQ_write_BMP_file)
            write(p, 4); // fails for the same reason, but closes the file
        paint(p);
        name_files(p, scratch_file("other"));
        EXPECT_OK(write(p, 3));
        EXPECT_FALSE(read_file(p->outfilename).empty());
    }
    const picture big(VIQ_Y8, 65536, 65536);
    EXPECT_ERROR(VIQ_write_BMP_file(big, 3), 0x10070000, "Image too large for a BMP file");
    for (const known_format &row : known_formats) {
        if (has({VIQ_Y8, VIQ_PALETTED, VIQ_RGB24}, row.code))
            continue;
        const picture p(row.code, 3, 2);
        u8 buffer = 0;
        u32 size = 0;
        const u32 code = 0x10070000u | row.code;
        EXPECT_ERROR(VIQ_write_BMP_file(p, 3), code, "Unsupported image format");
        EXPECT_ERROR(VIQ_image_write_BMP_buffer(p, &buffer, &size, 3), code,
                     "Unsupported image format");
    }
}

TEST(FileWriters, ReportAFullDisk) {
    if (!std::filesystem::exists("/dev/full"))
        GTEST_SKIP();
    for (const auto &[name, worker, write] : writers)
        for (const u32 height : numbers{2, 2000}) { // smaller and larger than the stream's buffer
            const picture p(VIQ_RGB24, 300, height);
            paint(p);
            set_lines(p, height / 2);
            name_files(p, "/dev/full");
            reported.clear();
            EXPECT_TRUE(is_error(write(p, 3)) || is_error(write(p, 3)));
            EXPECT_EQ(reported.size(), 1u);
            set_lines(p, height);
            name_files(p, scratch_file("roomy"));
            EXPECT_OK(write(p, 3));
            EXPECT_GE(read_file(p->outfilename).size(), 900 * height);
        }
}

TEST(RawDataWriter, WritesTheBytesOfTheLines) {
    for (const known_format &row : known_formats) {
        SCOPED_TRACE(row.code);
        const picture p(row.code, 3, 5, 4);
        name_files(p, scratch_file("raw"));
        const bool working = row.code > 15 && row.code != VIQ_HSI && row.code != VIQ_JPEG_WORK100;
        if (working || has({VIQ_Y1, VIQ_CMYK32}, row.code)) {
            EXPECT_REPORT(VIQ_write_raw_data_file(p, 3), "VIQ_write_raw_data", 0x10070000,
                          "Unsupported image format");
            continue;
        }
        fill_with_noise(p);
        bytes expected;
        for (u32 first = 0; first < 5; first += 2) {
            const u32 lines = std::min(2u, 5 - first);
            const u8 *strip = p->data + first * p->bytes_per_line;
            if (has({VIQ_Y16, VIQ_RGB15, VIQ_RGB16}, row.code)) // consecutive in each strip
                for (u32 n = 0; n < 3 * lines; ++n) {
                    u16 value = 0;
                    std::memcpy(&value, strip + 2 * n, 2);
                    append(expected, value, 2);
                }
            else
                expected.insert(expected.end(), strip, strip + lines * p->bytes_per_line);
        }
        write_by_strips(p, 2, VIQ_write_raw_data_file);
        EXPECT_EQ(read_file(p->outfilename), expected);
        EXPECT_OK(VIQ_write_raw_data_file(p, 0)); // creates the file only
        EXPECT_OK(VIQ_write_raw_data_file(p, 4));
        EXPECT_TRUE(read_file(p->outfilename).empty());
    }
}

// ---- Generic reading and writing

TEST(FormatDetection, RecognisesFilesByContent) {
    using namespace std::string_literals;
    const std::pair<std::string, u32> cases[] = {
        {""s, 0},
        {"M"s, 0},
        {"BM"s, 0},
        {"BMsize\0\0\0\0"s, 10},
        {"BMsize\0\0\0"s, 0},
        {"BMsize\0\0\0\1"s, 0},
        {"\xFF\xD8"s, 8},
        {"DWT"s, 12},
        {"%!PS"s, 9},
        {"%!P."s, 0},
        // Byte order, 42, offset of the directory; in it: count, tag, type.
        {"II*\0\b\0\0\0cctt\1\0"s, 3},
        {"MM\0*\0\0\0\bcctt\0\13"s, 3},
        {"I.*\0\b\0\0\0cctt\5\0"s, 3},
        {"II*\0\b\0\0\0cctt\0\0"s, 0},
        {"II*\0\b\0\0\0cctt\14\0"s, 0},
        {"MM*\0\0\0\0\bcctt\0\1"s, 0},
        {"JJ*\0\b\0\0\0cctt\1\0"s, 0},
        {"II*\0\b\0\0\xFF"s + "cctt\1\0"s, 0},
        // Colour map type, image type; depth at 16. The first byte may be another format's.
        {".\0\2.............\30"s, 5},
        {"M\1\13.............\1"s, 5},
        {".\2\2.............\30"s, 0},
        {".\0\4.............\30"s, 0},
        {".\0\2.............\17"s, 0}};
    const std::string name = scratch_file("unknown");
    for (const auto &[content, format] : cases) {
        write_file(name, content);
        EXPECT_EQ(VIQ_image_find_file_format(name.c_str()), format)
            << testing::PrintToString(content);
        EXPECT_TRUE(reported.empty());
    }
    for (const std::string &none : {scratch_file("none"), std::string(), scratch_folder.string()})
        EXPECT_ERROR(VIQ_image_find_file_format(none.c_str()), 0x10090000, "Failed to open file");
    EXPECT_ERROR(VIQ_image_find_file_format(nullptr), 0x10030000, "Null pointer");
}

TEST(GenericReader, ReadsInOneStripOrInSeveral) {
    const picture whole(VIQ_RGB24, 5, 7);
    name_files(whole, scratch_file("generic.bmp"));
    paint(whole);
    EXPECT_OK(VIQ_image_write(whole, 0, VIQ_FILE_BMP, 3));
    for (const u32 memory : {0u, whole.handle}) {
        const picture fresh, strip;
        name_files(fresh, whole->infilename);
        name_files(strip, whole->infilename);
        set_lines(whole, 7);
        EXPECT_OK(VIQ_image_read(fresh, memory, 3));
        EXPECT_EQ(fresh->lines_per_strip, 7u);
        EXPECT_EQ(pixels_of(fresh), pixels_of(whole));

        VIQ_image_set_parameter(strip, VIQ_HEIGHT, 0);
        if (memory == 0) { // the header only
            set_lines(strip, 0);
            EXPECT_OK(VIQ_image_read(strip, memory, 3));
            EXPECT_EQ(strip->height, 7u);
            EXPECT_EQ(strip->data, nullptr);
        }
        set_lines(whole, 3);
        bytes gathered;
        for (const u32 lines : numbers{3, 3, 1}) {
            set_lines(strip, 3);
            EXPECT_OK(VIQ_image_read(strip, memory, 3));
            EXPECT_EQ(strip->lines_per_strip, lines);
            const bytes part = pixels_of(strip);
            gathered.insert(gathered.end(), part.begin(), part.end());
        }
        EXPECT_EQ(gathered, pixels_of(fresh));

        // After command 4 or an unknown command, the next read starts with the first line.
        for (const u16 end : words{4, 5, 0}) {
            set_lines(strip, 3);
            EXPECT_OK(VIQ_image_read(strip, memory, 3));
            EXPECT_EQ(VIQ_image_read(strip, memory, end), end == 4 ? 0 : 0x100b0000);
            EXPECT_TRUE(reported.empty());
            EXPECT_TRUE(std::equal(strip->data, strip->data + 15, fresh->data));
        }
    }
}

TEST(GenericReader, FailuresEndTheSequence) {
    const bytes good = small_bitmap(VIQ_RGB24);
    const picture p, empty;
    name_files(p, scratch_file("none"));
    EXPECT_REPORTS(VIQ_image_read(p, 0, 3),
                   {{"VIQ_image_find_file_format", 0x10090000, "Failed to open file"},
                    {"VIQ_image_read", 0x10090000, "Failed to recognise file format"}});
    EXPECT_NO_FORMAT(VIQ_image_read(p, empty, 3), "VIQ_read_from_memory", "Corrupt input image");
    EXPECT_REPORT(VIQ_image_read(p, p, 3), "VIQ_read_from_memory", 0x10030000,
                  "Input and output image are the same");
    EXPECT_EQ(p->height, 32767u); // the default
    name_files(p, scratch_file("bad"));
    const failure unknown = {"VIQ_image_read", 0x10070000, "Unsupported/unrecognized image format"};
    const std::pair<bytes, failure> cases[] = {
        {{1, 2, 3}, unknown},
        {{'D', 'W', 'T'}, {"VIQ_WVLT_file_read", 0x10040000, "Not a WVLT image"}},
        {bytes(good.begin(), good.end() - 1), {"VIQ_read_BMP_file", 0x10050000, "Corrupt image"}}};
    for (const auto &[content, expected] : cases) {
        write_file(p->infilename, content);
        for (int n = 0; n < 2; ++n)
            EXPECT_REPORTS(VIQ_image_read(p, 0, 3), {expected});
        EXPECT_EQ(p->height, 32767u);
        expect_next_read_works();
    }
    write_file(p->infilename, good);
    EXPECT_OK(VIQ_image_read(p, 0, 3));
    set_lines(p, 1);
    EXPECT_OK(VIQ_image_read(p, 0, 3));
    EXPECT_OK(VIQ_image_read(missing, 0, 4)); // the image may already be destroyed
    expect_next_read_works();
}

TEST(GenericReader, ReadsPicturesOfTheDefaultHeight) {
    const picture tall(VIQ_Y8, 1, 32767), strip;
    for (const picture *p : {&tall, &strip})
        name_files(*p, scratch_file("tall.bmp"));
    paint(tall);
    EXPECT_OK(VIQ_write_BMP_file(tall, 3));
    VIQ_image_set_parameter(strip, VIQ_HEIGHT, 0);
    set_lines(strip, 16384);
    EXPECT_OK(VIQ_image_read(strip, 0, 3));
    EXPECT_OK(VIQ_image_read(strip, 0, 3));
    EXPECT_EQ(strip->lines_per_strip, 16383u);
    EXPECT_EQ(strip->data[16382 * strip->bytes_per_line], tall->data[32766 * tall->bytes_per_line]);
}

TEST(GenericWriter, SelectsTheWriterByFormatCode) {
    const picture p(VIQ_RGB24, 3, 2), memory;
    name_files(p, scratch_file("coded"));
    paint(p);
    EXPECT_OK(VIQ_image_write(p, 0, VIQ_FILE_RAW, 3));
    EXPECT_EQ(read_file(p->outfilename).size(), 2u * p->bytes_per_line);
    EXPECT_OK(VIQ_image_write(p, 0, VIQ_FILE_BMP, 3));
    EXPECT_EQ(read_file(p->outfilename), bitmap_of(p));
    EXPECT_OK(VIQ_image_write(p, memory, VIQ_FILE_MEMORY, 3));
    EXPECT_EQ(pixels_of(memory), pixels_of(p));
    for (const u16 code : words{0, 2, 4, 13, 0xFFFF})
        EXPECT_ERROR(VIQ_image_write(p, 0, code, 3), 0x10070000,
                     "Unsupported/unrecognized image format");
}

} // namespace
} // namespace viq
