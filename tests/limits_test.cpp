// Limits that a caller sets, and memory and time in proportion to what an image holds.
#include <fstream>
#include <functional>

#include "core/allocation.h"
#include "tests/file_support.h"

namespace viq {
namespace {

struct limit_scope {
    u32 number;
    limit_scope(u32 limit, u64 value) : number(limit) { EXPECT_OK(VIQ_set_limit(limit, value)); }
    limit_scope(const limit_scope &) = delete;
    limit_scope &operator=(const limit_scope &) = delete;
    ~limit_scope() { VIQ_set_limit(number, 0); }
};

u64 limit(u32 number) {
    u64 value = 1;
    EXPECT_OK(VIQ_get_limit(number, &value));
    return value;
}

TEST(Limits, AreZeroAtFirstAndKept) {
    for (u32 number = VIQ_LIMIT_PIXELS; number <= VIQ_LIMIT_RATIO; ++number) {
        EXPECT_EQ(limit(number), 0u);
        const limit_scope set(number, u64{1} << 40);
        EXPECT_EQ(limit(number), u64{1} << 40);
    }
    u64 value = 0;
    for (const u32 number : {u32{0}, u32{VIQ_LIMIT_RATIO + 1}}) {
        EXPECT_ERROR(VIQ_set_limit(number, 1), VIQ_ERR_PARAMETER, "Unknown limit");
        EXPECT_ERROR(VIQ_get_limit(number, &value), VIQ_ERR_PARAMETER, "Unknown limit");
    }
    EXPECT_ERROR(VIQ_get_limit(1, nullptr), VIQ_ERR_PARAMETER, "Null pointer");
}

TEST(Limits, PassToNewContexts) {
    const limit_scope set(VIQ_LIMIT_PIXELS, 100);
    const u32 made = VIQ_context_create();
    EXPECT_OK(VIQ_context_use(made));
    EXPECT_EQ(limit(VIQ_LIMIT_PIXELS), 100u);
    EXPECT_OK(VIQ_set_limit(VIQ_LIMIT_PIXELS, 7));
    EXPECT_OK(VIQ_context_destroy(made));
    EXPECT_EQ(limit(VIQ_LIMIT_PIXELS), 100u);
}

TEST(Limits, OfPixelsAreReportedOnce) {
    const picture in(VIQ_Y8, 10, 10), out;
    fill_with_noise(in);
    const failures too_many = {{"VIQ_image_check", 0x10050013, "Image exceeds VIQ_LIMIT_PIXELS"}};
    const limit_scope set(VIQ_LIMIT_PIXELS, 100);
    EXPECT_OK(VIQ_convert_to_RGB24(in, out, 3));
    EXPECT_OK(VIQ_image_destroy(VIQ_convert_as(in, VIQ_RGB24))); // its context exists from now on
    EXPECT_REPORTS(VIQ_IP_pixel_rep(in, out, 2, 3), too_many);
    EXPECT_OK(VIQ_set_limit(VIQ_LIMIT_PIXELS, 99));
    EXPECT_REPORTS(VIQ_convert_to_RGB24(in, out, 3), too_many);
    EXPECT_REPORTS(VIQ_image_copy(in, out), too_many);
    EXPECT_REPORTS(VIQ_convert_as(in, VIQ_RGB24), too_many);
    in->height = VIQ_HEIGHT_UNKNOWN; // counts as the lines of the strip
    in->lines_per_strip = 9;
    EXPECT_OK(VIQ_image_check(in));
}

TEST(Limits, OfMemoryNameTheLimit) {
    const picture p(VIQ_Y8, 100, 100);
    {
        const limit_scope set(VIQ_LIMIT_ALLOCATION, 10000);
        EXPECT_ERROR(VIQ_image_malloc_a_strip(p), 0x10062710,
                     "Allocation exceeds VIQ_LIMIT_ALLOCATION");
        set_lines(p, 50);
        EXPECT_OK(VIQ_image_malloc_a_strip(p));
        EXPECT_EQ(VIQ_malloc_N_lines(p, 101), nullptr);
    }
    const limit_scope set(VIQ_LIMIT_MEMORY, current_memory().bytes + 4000);
    set_lines(p, 100);
    EXPECT_ERROR(VIQ_image_malloc_a_strip(p), 0x10062710,
                 "Memory in use would exceed VIQ_LIMIT_MEMORY");
    set_lines(p, 1);
    EXPECT_OK(VIQ_image_malloc_a_strip(p));
}

TEST(Limits, OfFilesApplyToEveryReader) {
    const std::string name = scratch_file("limited");
    const picture grey(VIQ_Y8, 40, 40), bits(VIQ_Y1, 40, 40), out;
    set_strip(grey, bytes(1600)); // black: few bytes for many pixels
    bytes lines(200);
    VIQ_image_set_ptr(bits, VIQ_PTR_DATA, lines.data());
    VIQ_image_set_flags(bits, VIQ_FLAG_LOCKED, 1);
    const u32 jpeg = VIQ_JPEG_image_create(), wavelet = VIQ_WVLT_image_create(1);
    for (const u32 image : {u32{grey}, u32{bits}, u32{out}, jpeg, wavelet})
        name_files(image, name);
    EXPECT_OK(VIQ_JPEG_compress(grey, jpeg));
    EXPECT_OK(VIQ_WVLT_compress(grey, wavelet, 3));
    const auto whole = [&](file_function read) { return set_lines(out, 40) + read(out, 3); };
    const auto decoded = [&](u32 code, u32 coded, auto decompress) {
        return is_error(code) ? code : decompress(coded, out, VIQ_STRIP_NEXT);
    };
    const struct {
        const char *reader;
        std::function<u32()> write, read;
        const char *decoder; // reports the ratio; null: the file has a byte for each pixel
    } formats[] = {
        {"VIQ_read_BMP_file", [&] { return VIQ_write_BMP_file(grey, 3); },
         [&] { return whole(VIQ_read_BMP_file); }, nullptr},
        {"VIQ_read_TGA_file", [&] { return VIQ_write_TGA_file(grey, 3); },
         [&] { return whole(VIQ_read_TGA_file); }, nullptr},
        {"VIQ_read_EPS_file", [&] { return VIQ_write_EPS_file(grey, 3); },
         [&] { return whole(VIQ_read_EPS_file); }, nullptr},
        {"VIQ_read_TIFF_file", [&] { return VIQ_write_TIFF_file(bits, 3); },
         [&] { return whole(VIQ_read_TIFF_file); }, "VIQ_read_TIFF_file"},
        {"VIQ_JPEG_file_read", [&] { return VIQ_JPEG_file_write(jpeg, 3); },
         [&] { return decoded(VIQ_JPEG_file_read(jpeg), jpeg, VIQ_JPEG_decompress); },
         "VIQ_JPEG_decompress"},
        {"VIQ_WVLT_file_read", [&] { return VIQ_WVLT_file_write(wavelet, 3); },
         [&] { return decoded(VIQ_WVLT_file_read(wavelet), wavelet, VIQ_WVLT_decompress); },
         "VIQ_WVLT_decompress"},
        {"VIQ_image_conv_LUT_load",
         [&] {
             VIQ_image_conv_LUT_generate(grey, VIQ_CONV_LUT_Y8_TO_PALETTED);
             return VIQ_image_conv_LUT_save(grey, VIQ_CONV_LUT_Y8_TO_PALETTED, name.c_str());
         },
         [&] { return VIQ_image_conv_LUT_load(grey, VIQ_CONV_LUT_Y8_TO_PALETTED, name.c_str()); },
         nullptr}};
    for (const auto &each : formats) {
        SCOPED_TRACE(each.reader);
        EXPECT_OK(each.write());
        const u64 size = std::filesystem::file_size(name);
        for (const u64 most : {size - 1, size}) {
            const limit_scope set(VIQ_LIMIT_FILE, most);
            if (most < size)
                EXPECT_REPORT(each.read(), each.reader, VIQ_ERR_CORRUPT,
                              "File exceeds VIQ_LIMIT_FILE");
            else
                EXPECT_OK(each.read());
        }
        const limit_scope set(VIQ_LIMIT_RATIO, 1);
        if (each.decoder != nullptr)
            EXPECT_REPORT(each.read(), each.decoder, VIQ_ERR_CORRUPT,
                          "Pixels per byte of coded data exceed VIQ_LIMIT_RATIO");
        else
            EXPECT_OK(each.read());
    }
    VIQ_image_set_ptr(bits, VIQ_PTR_DATA, nullptr);
    VIQ_image_conv_LUT_destroy(VIQ_CONV_LUT_Y8_TO_PALETTED);
    VIQ_image_destroy(jpeg);
    VIQ_image_destroy(wavelet);
}

// ---- Without limits

TEST(BitLines, AreCopied) {
    for (const u32 stride : {u32{2}, u32{4}}) { // without padding, and padded to the alignment
        const picture in(VIQ_Y1, 13, 5, 4), out, memory, strip;
        bytes lines(std::size_t{5} * stride);
        std::generate(lines.begin(), lines.end(), noise);
        VIQ_image_set_ptr(in, VIQ_PTR_DATA, lines.data());
        VIQ_image_set_flags(in, VIQ_FLAG_LOCKED, 1);
        VIQ_image_set_parameter(in, VIQ_BYTES_PER_LINE, stride);
        const auto content = [&](const picture &p) {
            return bytes(p->data, p->data + std::size_t{p->lines_per_strip} * p->bytes_per_line);
        };
        EXPECT_OK(VIQ_image_copy(in, out));
        EXPECT_EQ(content(out), lines);
        EXPECT_OK(VIQ_image_check(out)); // sets the stride to 0; the copy knows better
        EXPECT_OK(VIQ_image_copy(out, memory));
        EXPECT_EQ(content(memory), lines);
        bytes gathered;
        set_lines(memory, 2);
        for (u32 n = 0; n < 3; ++n) {
            EXPECT_OK(VIQ_read_from_memory(memory, strip, 3));
            const bytes part = content(strip);
            gathered.insert(gathered.end(), part.begin(), part.end());
            EXPECT_OK(VIQ_write_to_memory(strip, out, 3));
        }
        EXPECT_EQ(gathered, lines);
        EXPECT_EQ(content(out), lines);
        VIQ_image_set_ptr(in, VIQ_PTR_DATA, nullptr);
    }
}

TEST(EmptyLines, TakeNoTime) {
    const picture in(VIQ_Y8, 0, 0xFFFFFFFF), small(VIQ_Y8, 8, 2), out;
    EXPECT_OK(VIQ_image_malloc_a_strip(in));
    EXPECT_OK(VIQ_convert_to_RGB16(in, out, 3));
    EXPECT_OK(VIQ_IP_mirror_image(in, out, 3));
    EXPECT_OK(VIQ_IP_rotate_image(in, out, 180));
    EXPECT_OK(VIQ_IP_threshold_grayscale(in, out, 1, 1, 3));
    fill_with_noise(small);
    // All lines of the target follow from the two of the source, but no memory holds them.
    VIQ_set_limit(VIQ_LIMIT_ALLOCATION, 1 << 20);
    EXPECT_TRUE(VIQ_IS_ERROR(VIQ_IP_scale(small, out, 1000, 0xFFFFFFFF, 3)));
    VIQ_set_limit(VIQ_LIMIT_ALLOCATION, 0);
    VIQ_IP_scale(small, out, 1000, 0xFFFFFFFF, 4);
    reported.clear();
}

TEST(ReplacedRecords, AreFreedWithAllImages) {
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    memory_in_use before = {};
    for (int n = 0; n < 3; ++n) {
        const u32 image = VIQ_image_create(), jpeg = VIQ_JPEG_image_create();
        for (int map = 0; map < 300; ++map)
            EXPECT_OK(VIQ_image_set_ptr(image, VIQ_PTR_CMAP, VIQ_image_create_cmap()));
        EXPECT_OK(VIQ_JPEG_malloc_N_bytes_data(jpeg, 5000));
        EXPECT_OK(VIQ_image_set_ptr(jpeg, VIQ_PTR_JPEG, nullptr));
        EXPECT_OK(VIQ_image_destroy(VIQ_ALL_IMAGES));
        if (n == 1)
            before = current_memory();
    }
    EXPECT_EQ(current_memory().allocations, before.allocations);
    EXPECT_EQ(current_memory().bytes, before.bytes);
}

// The file cannot be recorded as the library's own, and is closed.
TEST(FailedAllocations, LeaveNoFileOpenInARecordOfTheCaller) {
    const std::string file = scratch_file("any.jpg");
    std::ofstream(file) << "content";
    const u32 image = VIQ_image_create();
    Tjpeg own = {};
    EXPECT_OK(VIQ_image_set_ptr(image, VIQ_PTR_JPEG, &own));
    EXPECT_OK(VIQ_image_set_infilename(image, file.c_str()));
    set_allocation_fault([] { return true; });
    EXPECT_ERROR(VIQ_JPEG_file_read(image), VIQ_ERR_MEMORY, "");
    set_allocation_fault(nullptr);
    EXPECT_EQ(own.file, nullptr);
    EXPECT_OK(VIQ_image_destroy(image));
}

// Pixels that have the format of the bitmap need no image in between.
TEST(DibConversion, CreatesOnlyTheImagesThatItNeeds) {
    const picture in(VIQ_BGR24, 6, 4), out;
    fill_with_noise(in);
    VIQ_image_set_flags(out, VIQ_FLAG_DIB, 1);
    static u32 allocations;
    allocations = 0;
    set_allocation_fault([] { return ++allocations > 1; }); // the buffer of the output
    EXPECT_OK(VIQ_image_convert(in, out, VIQ_BGR24, 24, 3));
    set_allocation_fault(nullptr);
}

} // namespace
} // namespace viq
