// Whole pictures in one call: reading, converting, saving, encoding; the caller's context.
#include "tests/file_support.h"

using namespace viq;

namespace {

// A handle that a one-call function has returned.
struct opened : picture {
    explicit opened(u32 made) {
        VIQ_image_destroy(handle);
        handle = made;
        EXPECT_FALSE(is_error(made));
    }
};

struct encoded {
    u8 *data = nullptr;
    u64 size = 0;
    encoded(u32 image, u16 file_format, u16 quality = 0) {
        EXPECT_OK(VIQ_encode(image, file_format, quality, &data, &size));
    }
    encoded(const encoded &) = delete;
    encoded &operator=(const encoded &) = delete;
    ~encoded() { VIQ_DebugFree(data); }
    bytes content() const { return {data, data + size}; }
};

// A picture without hard edges, so that lossy coders keep it.
void paint_ramps(const picture &p) {
    fill_with_noise(p);
    const std::size_t pixel = (p->bits_per_pixel + 7u) / 8;
    for (std::size_t y = 0; y < p->height; ++y)
        for (std::size_t x = 0; x < p->width * pixel; ++x)
            p->data[y * p->bytes_per_line + x] = static_cast<u8>(x + 2 * y + 40 * (x % pixel));
    VIQ_cmap_set_type(p, VIQ_CMAP_CUBE);
}

struct file_case {
    const char *extension;
    u16 file_format, format, read_as;
    double least_psnr; // infinite: the same pixels
};
constexpr double exact = HUGE_VAL;
constexpr file_case file_cases[] = {
    {"bmp", VIQ_FILE_BMP, VIQ_RGB24, VIQ_RGB24, exact},
    {"BMP", VIQ_FILE_BMP, VIQ_PALETTED, VIQ_PALETTED, exact},
    {"tif", VIQ_FILE_TIFF, VIQ_Y8, VIQ_Y8, exact},
    {"tiff", VIQ_FILE_TIFF, VIQ_Y16, VIQ_Y16, exact},
    {"tif", VIQ_FILE_TIFF, VIQ_CMYK32, VIQ_CMYK32, exact},
    {"tga", VIQ_FILE_TGA, VIQ_Y8, VIQ_Y8, exact},
    {"tga", VIQ_FILE_TGA, VIQ_RGB24, VIQ_RGB24, exact},
    {"eps", VIQ_FILE_EPS, VIQ_RGB24, VIQ_RGB24, exact},
    {"jpg", VIQ_FILE_JPEG, VIQ_RGB24, VIQ_RGB24, 30},
    {"JPeG", VIQ_FILE_JPEG, VIQ_Y8, VIQ_Y8, 35},
    {"dwt", VIQ_FILE_WAVELET, VIQ_Y8, VIQ_Y8, 35},
    {"wvlt", VIQ_FILE_WAVELET, VIQ_Y8, VIQ_Y8, 35},
};

void expect_like(const picture &out, const picture &in, double least_psnr) {
    EXPECT_EQ(out->pixel_format, in->pixel_format);
    ASSERT_EQ(out->width, in->width);
    ASSERT_EQ(out->height, in->height);
    if (least_psnr == exact)
        EXPECT_EQ(pixels_of(out), pixels_of(in));
    else
        EXPECT_GT(psnr(out, in), least_psnr);
}

} // namespace

TEST(OneCall, SavesAndOpensEveryFileFormat) {
    for (const file_case &row : file_cases)
        for (const u32 width : {48u, 31u}) {
            SCOPED_TRACE(text_of(row.extension, row.format, width));
            const picture in(row.format, width, 20);
            paint_ramps(in);
            const std::string name = scratch_file("one_call.") + row.extension;
            EXPECT_OK(VIQ_save(in, name.c_str(), 0));
            expect_like(opened(VIQ_open_as(name.c_str(), 0)), in, row.least_psnr);
            const encoded memory(in, row.file_format);
            expect_like(opened(VIQ_decode_as(memory.data, memory.size, 0)), in, row.least_psnr);
            for (const u16 format : {VIQ_RGB24, VIQ_Y8}) {
                const opened direct(VIQ_open_as(name.c_str(), format));
                const opened by_way(VIQ_open_as(name.c_str(), 0));
                expect_like(direct, opened(VIQ_convert_as(by_way, format)), exact);
            }
        }
}

TEST(OneCall, WaveletFilesKeepOddWidths) {
    const picture in(VIQ_RGB24, 31, 20);
    paint_ramps(in);
    for (const u16 file_format : {u16{VIQ_FILE_WAVELET}, u16{VIQ_FILE_WAVELET_SMALL}}) {
        const encoded memory(in, file_format, 200);
        expect_like(opened(VIQ_decode_as(memory.data, memory.size, VIQ_RGB24)), in, 20);
        EXPECT_EQ(opened(VIQ_decode_as(memory.data, memory.size, VIQ_Y8))->width, 31u);
        EXPECT_EQ(opened(VIQ_decode_as(memory.data, memory.size, VIQ_YUV422))->width, 32u);
    }
}

TEST(OneCall, ConvertsBetweenAllFormats) {
    const words formats = {VIQ_Y8,     VIQ_PALETTED, VIQ_RGB8,   VIQ_RGB15,  VIQ_RGB16,
                           VIQ_RGB24,  VIQ_BGR24,    VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32,
                           VIQ_YUV422, VIQ_CMYK32,   VIQ_Y16,    VIQ_XRGB32};
    const picture grey(VIQ_Y8, 7, 3);
    fill_with_noise(grey);
    for (std::size_t n = 0; n < grey->width * grey->height;
         ++n) // values that 5 bits hold, 33 apart
        grey->data[n / 7 * grey->bytes_per_line + n % 7] = static_cast<u8>(n % 8 * 33);
    for (const u16 from : formats)
        for (const u16 to : formats) {
            SCOPED_TRACE(text_of(from, to));
            const opened in(VIQ_convert_as(grey, from));
            const bytes before = pixels_of(in);
            const opened out(VIQ_convert_as(in, to));
            EXPECT_EQ(out->pixel_format, to);
            EXPECT_EQ(pixels_of(in), before);
            const opened back(VIQ_convert_as(out, VIQ_Y8));
            ASSERT_EQ(back->height, 3u);
            for (u32 y = 0; y < 3; ++y)
                for (u32 x = 0; x < 7; ++x) {
                    const bool coarse = from == VIQ_RGB8 || to == VIQ_RGB8;
                    const bool fields = from == VIQ_RGB15 || to == VIQ_RGB15 || from == VIQ_RGB16 ||
                                        to == VIQ_RGB16;
                    const bool chroma = from == VIQ_YUV422 || to == VIQ_YUV422;
                    const bool bins = from == VIQ_PALETTED || to == VIQ_PALETTED;
                    EXPECT_NEAR(back->data[y * back->bytes_per_line + x],
                                grey->data[y * grey->bytes_per_line + x],
                                coarse           ? 64
                                : fields || bins ? 17
                                : chroma         ? 3
                                                 : 1);
                }
        }
}

TEST(OneCall, ConvertsInkAndBits) {
    const picture ink(VIQ_CMYK32, 1, 2, 1);
    set_strip(ink, {10, 20, 30, 40, 200, 0, 255, 100});
    EXPECT_EQ(pixels_of(opened(VIQ_convert_as(ink, VIQ_RGB24))), (bytes{205, 195, 185, 0, 155, 0}));
    const picture spare_first(VIQ_XRGB32, 1, 1, 1);
    set_strip(spare_first, {9, 1, 2, 3});
    EXPECT_EQ(pixels_of(opened(VIQ_convert_as(spare_first, VIQ_RGB24))), (bytes{1, 2, 3}));

    const picture bits(VIQ_Y1, 9, 2, 1);
    paint(bits, 2);
    std::copy_n(bytes{0b10100000, 0x80, 0, 0}.data(), 4, bits->data);
    const bytes grey = {255, 0, 255, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(pixels_of(opened(VIQ_convert_as(bits, VIQ_Y8))), grey);
    const std::string name = scratch_file("bits.tif");
    EXPECT_OK(VIQ_save(bits, name.c_str(), 0));
    const opened read(VIQ_open_as(name.c_str(), VIQ_Y8));
    EXPECT_EQ(lines_of(read, 9), grey);
    const picture wide(VIQ_Y1, 9, 2, 1); // with the stride of the caller
    paint(wide, 5);
    std::copy_n(bytes{0b10100000, 0x80, 9, 9, 9, 0, 0, 9, 9, 9}.data(), 10, wide->data);
    EXPECT_EQ(pixels_of(opened(VIQ_convert_as(wide, VIQ_Y8))), grey);
    const picture without_lines(VIQ_Y1, 22, 1); // the buffer has been allocated without a stride
    EXPECT_ERROR(VIQ_convert_as(without_lines, VIQ_Y8), VIQ_ERR_CORRUPT, "No image data");
    const picture more_bits(VIQ_Y1, 59, 39, 1), longer(VIQ_Y8, 44, 31); // fewer lines than the bits
    EXPECT_OK(VIQ_image_copy_parameters_raw(more_bits, longer));
    EXPECT_ERROR(VIQ_convert_as(longer, VIQ_Y8), VIQ_ERR_CORRUPT, "No image data");
}

TEST(OneCall, WritesPixelsWithoutPaddingAndShortPalettes) {
    const picture odd(VIQ_Y8, 3, 2, 8);
    set_strip(odd, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(encoded(odd, VIQ_FILE_RAW).content(), (bytes{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(encoded(odd, VIQ_FILE_TGA).size, 18u + 6u);
    const picture named(VIQ_PALETTED, 2, 1);
    set_strip(named, {1, 15});
    VIQ_cmap_set_type(named, VIQ_CMAP_NAMED);
    const encoded tiff(named, VIQ_FILE_TIFF);
    EXPECT_EQ(pixels_of(opened(VIQ_decode_as(tiff.data, tiff.size, 0))), (bytes{1, 15}));
    EXPECT_EQ(named->num_colours, 16u);
}

TEST(OneCall, LeavesTheCallersContextAsItIs) {
    const picture whole(VIQ_RGB24, 16, 12);
    paint_ramps(whole);
    const std::string name = scratch_file("context.bmp");
    EXPECT_OK(VIQ_save(whole, name.c_str(), 0));

    // A file that is being read and a conversion, in the middle of their strips.
    const picture strip(0, 0, 0);
    const picture grey;
    name_files(strip, name);
    set_lines(strip, 0);
    EXPECT_OK(VIQ_read_BMP_file(strip, VIQ_STRIP_NEXT));
    for (u32 done = 0; done < 12; done += 4) {
        set_lines(strip, 4);
        EXPECT_OK(VIQ_read_BMP_file(strip, VIQ_STRIP_NEXT));
        EXPECT_OK(VIQ_convert_to_Y8(strip, grey, VIQ_STRIP_NEXT));
        const opened other(VIQ_open_as(name.c_str(), VIQ_Y8));
        const bytes all = pixels_of(other);
        EXPECT_EQ(pixels_of(grey), bytes(all.begin() + done * 16, all.begin() + (done + 4) * 16));
    }
    EXPECT_EQ(VIQ_get_file_reading(), u32{VIQ_READING_ORIGINAL});
    EXPECT_EQ(VIQ_context_current(), 0u);
}

TEST(OneCall, LongNamesAndReplacedFiles) {
    const picture in(VIQ_Y8, 4, 4);
    paint_ramps(in);
    const std::string name = scratch_file(std::string(200, 'n').append(".tif").c_str());
    EXPECT_OK(VIQ_save(in, name.c_str(), 0));
    expect_like(opened(VIQ_open_as(name.c_str(), 0)), in, exact);

    const bytes before = read_file(name);
    const picture mosaic(VIQ_RGGB32, 4, 4);
    fill_with_noise(mosaic);
    EXPECT_ERROR(VIQ_save(mosaic, name.c_str(), 0), VIQ_ERR_UNSUPPORTED | VIQ_RGGB32,
                 "Unsupported image format");
    EXPECT_EQ(read_file(name), before);
    for (const auto &entry : std::filesystem::directory_iterator(scratch_folder))
        EXPECT_EQ(entry.path().string().find(".part"), std::string::npos);
}

TEST(OneCall, ReportsFailuresOnce) {
    const picture in(VIQ_RGB24, 4, 4);
    paint_ramps(in);
    u8 *data = nullptr;
    u64 size = 0;
    const std::string name = scratch_file("failure.jpg");
    EXPECT_ERROR(VIQ_open_as(nullptr, 0), VIQ_ERR_PARAMETER, "Null pointer");
    EXPECT_REPORT(VIQ_open_as("missing", 0), "VIQ_image_find_file_format", VIQ_ERR_OPEN,
                  "Failed to open file");
    const u8 unknown[] = {1, 2, 3};
    EXPECT_REPORT(VIQ_decode_as(unknown, sizeof unknown, 0), "VIQ_image_read", VIQ_ERR_UNSUPPORTED,
                  "Unsupported/unrecognized image format");
    EXPECT_ERROR(VIQ_convert_as(missing, VIQ_Y8), VIQ_ERR_HANDLE, "");
    EXPECT_ERROR(VIQ_convert_as(in, VIQ_Y1), VIQ_ERR_UNSUPPORTED | VIQ_Y1,
                 "Unsupported image format");
    EXPECT_ERROR(VIQ_save(in, "picture.doc", 0), VIQ_ERR_UNSUPPORTED,
                 "File name has no known extension");
    EXPECT_ERROR(VIQ_save(in, (scratch_file("none") + "/a.bmp").c_str(), 0), VIQ_ERR_OPEN,
                 "Failed to create file");
    EXPECT_REPORT(VIQ_save(in, name.c_str(), 401), "VIQ_JPEG_set_Quality_factor", VIQ_ERR_PARAMETER,
                  "Q factor of range");
    EXPECT_ERROR(VIQ_encode(in, 99, 0, &data, &size), VIQ_ERR_UNSUPPORTED,
                 "Unsupported/unrecognized image format");
    EXPECT_ERROR(VIQ_encode(in, VIQ_FILE_BMP, 0, nullptr, &size), VIQ_ERR_PARAMETER,
                 "Null pointer");
    set_lines(in, 2);
    EXPECT_ERROR(VIQ_encode(in, VIQ_FILE_BMP, 0, &data, &size), VIQ_ERR_UNSUPPORTED | 2,
                 "This function only supports a complete image");
    EXPECT_EQ(data, nullptr);
    EXPECT_FALSE(std::filesystem::exists(name));
    set_lines(in, 4);
    for (const u64 cut : {1u, 20u, 60u}) {
        const encoded whole(in, VIQ_FILE_BMP);
        EXPECT_TRUE(is_error(VIQ_decode_as(whole.data, cut, 0)));
        EXPECT_EQ(reported.size(), 1u) << cut;
        reported.clear();
    }
}
