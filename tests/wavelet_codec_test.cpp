// Wavelet images as a user meets them: round trips, streams, errors, damage.
#include <cmath>
#include <filesystem>

#include "tests/support.h"

namespace viq {

namespace {

constexpr u32 stream_header_size = 28;

struct wavelet_image {
    u32 handle;

    explicit wavelet_image(u16 type) : handle(VIQ_WVLT_image_create(type)) {}
    wavelet_image(const wavelet_image &) = delete;
    wavelet_image &operator=(const wavelet_image &) = delete;
    ~wavelet_image() { VIQ_image_destroy(handle); }
    operator u32() const { return handle; }
};

// Smooth shapes, an edge and some noise.
void paint(const picture &p) {
    ASSERT_EQ(VIQ_image_malloc_a_strip(p), 0u);
    const u32 line = p->bytes_per_line;
    for (u32 y = 0; y < p->height; ++y)
        for (u32 x = 0; x < line; ++x) {
            const double wave = 90 + 60 * std::sin(x * 0.05) * std::cos(y * 0.08);
            p->data[std::size_t{y} * line + x] =
                static_cast<u8>(wave + (x > y ? 50 : 0) + noise() % 8);
        }
}

bytes stream_of(u32 wavelet) {
    bytes result(VIQ_image_get_parameter(wavelet, VIQ_PARAM_16) + 2000);
    u32 count = 0;
    EXPECT_EQ(VIQ_WVLT_buffer_write(wavelet, result.data(), &count, 3), 0u);
    result.resize(count);
    return result;
}

bytes compress(const picture &source, u16 type, u16 quality, u16 subbands = 6) {
    const wavelet_image wavelet(type);
    EXPECT_OK(VIQ_WVLT_set_Quality_factor(wavelet, quality));
    EXPECT_OK(VIQ_WVLT_set_subbands(wavelet, subbands));
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
    return stream_of(wavelet);
}

u32 decompress(const bytes &stream, u16 type, u32 out) {
    const wavelet_image wavelet(type);
    const u32 code = VIQ_WVLT_buffer_read(wavelet, stream.data(), static_cast<u32>(stream.size()));
    return code != 0 ? code : VIQ_WVLT_decompress(wavelet, out, 3);
}

} // namespace

TEST(wavelet_codec, pictures_of_any_size_come_back) {
    for (const u16 type : {u16{0}, u16{1}})
        for (const u16 format : {VIQ_Y8, VIQ_YUV422})
            for (const auto &[width, height] : {std::pair<u32, u32>{1, 1},
                                                {2, 300},
                                                {301, 4},
                                                {5, 5},
                                                {33, 47},
                                                {200, 130},
                                                {70000, 6}}) {
                const u32 even = format == VIQ_YUV422 ? (width + 1) / 2 * 2 : width;
                SCOPED_TRACE(text_of(type, format, even, height));
                const picture source(format, even, height);
                paint(source);
                const picture out;
                const bytes best = compress(source, type, 400, 32);
                ASSERT_EQ(decompress(best, type, out), 0u);
                EXPECT_EQ(out->pixel_format, format);
                EXPECT_GT(psnr(source, out), 48);
                const bytes usual = compress(source, type, 100);
                ASSERT_EQ(decompress(usual, type, out), 0u);
                EXPECT_GT(psnr(source, out), 35);
                EXPECT_LE(usual.size(), best.size());
            }
}

TEST(wavelet_codec, both_types_hold_the_same_picture_and_the_small_one_is_smaller) {
    const picture source(VIQ_Y8, 300, 200);
    paint(source);
    std::size_t last = 0;
    for (const u16 quality : std::vector<u16>{0, 30, 50, 70, 90, 130, 250}) {
        const bytes fast = compress(source, 0, quality);
        const bytes small = compress(source, 1, quality);
        const picture from_fast, from_small;
        ASSERT_EQ(decompress(fast, 0, from_fast), 0u);
        ASSERT_EQ(decompress(small, 1, from_small), 0u);
        EXPECT_EQ(pixels_of(from_fast), pixels_of(from_small)) << quality;
        EXPECT_LT(small.size(), fast.size()) << quality;
        EXPECT_GE(small.size(), last) << quality;
        last = small.size();
    }
}

TEST(wavelet_codec, hardest_contrasts_survive) {
    const picture source(VIQ_Y8, 64, 64);
    ASSERT_EQ(VIQ_image_malloc_a_strip(source), 0u);
    for (const u32 kind : {0u, 1u, 2u, 3u}) {
        for (u32 i = 0; i < 64 * 64; ++i) {
            const u32 place = kind == 0 ? i : kind == 1 ? i / 64 : kind == 2 ? i + i / 64 : noise();
            source->data[i] = place % 2 != 0 ? 255 : 0;
        }
        const picture out;
        ASSERT_EQ(decompress(compress(source, 1, 400), 1, out), 0u);
        EXPECT_GT(psnr(source, out), kind == 3 ? 30 : 45) << kind;
    }
}

TEST(wavelet_codec, stream_has_the_documented_layout) {
    const picture source(VIQ_Y8, 100, 80);
    paint(source);
    const wavelet_image wavelet(1);
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
    const u32 length = VIQ_image_get_parameter(wavelet, VIQ_PARAM_16);
    EXPECT_EQ(VIQ_get_height(wavelet), 0u);
    EXPECT_EQ(VIQ_get_lines_this_strip(wavelet), 1u);
    const bytes stream = stream_of(wavelet);
    EXPECT_EQ(bytes(stream.begin(), stream.begin() + 6), (bytes{'D', 'W', 'T', 0, 1, 0}));
    EXPECT_EQ(VIQ_mget_ui16i(&stream[6]), VIQ_Y8);
    EXPECT_EQ(VIQ_mget_ui16i(&stream[8]), 1);
    EXPECT_EQ(VIQ_mget_ui32i(&stream[10]), length);
    EXPECT_EQ(stream.size(), stream_header_size + VIQ_mget_ui16i(&stream[26]) + length);

    // In two steps: header and settings, then the data behind them.
    bytes parts(stream.size());
    u32 count = 0;
    EXPECT_OK(VIQ_WVLT_buffer_write(wavelet, parts.data(), &count, 1));
    EXPECT_EQ(count, stream.size() - length);
    EXPECT_OK(VIQ_WVLT_buffer_write(wavelet, parts.data() + count, &count, 3));
    EXPECT_EQ(count, stream.size());
    EXPECT_EQ(parts, stream);

    // And as a file, by its own functions and the generic ones.
    name_files(wavelet, scratch_file("wavelet.dwt"));
    EXPECT_OK(VIQ_image_write(wavelet, 0, VIQ_FILE_WAVELET, 3));
    EXPECT_EQ(read_file(scratch_file("wavelet.dwt")), stream);
    EXPECT_EQ(VIQ_image_find_file_format(scratch_file("wavelet.dwt").c_str()), 12u);
    for (const bool generic : {false, true}) {
        const wavelet_image again(1);
        name_files(again, scratch_file("wavelet.dwt"));
        if (generic)
            EXPECT_OK(VIQ_image_read(again, 0, 3));
        else
            EXPECT_OK(VIQ_WVLT_file_read(again));
        EXPECT_EQ(stream_of(again), stream);
        const picture out;
        EXPECT_OK(VIQ_WVLT_decompress(again, out, 3));
        EXPECT_GT(psnr(source, out), 20);
        EXPECT_ERROR(VIQ_image_read(again, 0, 4), 0x10070000,
                     "Unsupported/unrecognized image format");
    }
}

TEST(wavelet_codec, parameters_take_effect_on_the_next_compression) {
    const picture source(VIQ_YUV422, 120, 90);
    const picture other(VIQ_Y8, 64, 64);
    paint(source);
    paint(other);
    const wavelet_image wavelet(0);
    const picture out;
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 1));
    for (const u16 quality : std::vector<u16>{20, 200, 50}) {
        EXPECT_OK(VIQ_WVLT_set_Quality_factor(wavelet, quality));
        for (const picture *one : {&source, &other, &source}) {
            EXPECT_OK(VIQ_WVLT_compress(*one, wavelet, 3));
            EXPECT_EQ(stream_of(wavelet)[26], compress(*one, 0, quality)[26]);
            EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 3));
            const picture fresh;
            EXPECT_EQ(decompress(compress(*one, 0, quality), 0, fresh), 0u);
            EXPECT_EQ(pixels_of(out), pixels_of(fresh)) << quality;
        }
    }
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 4));
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
}

TEST(wavelet_codec, released_decompressor_fails_cleanly) {
    const picture source(VIQ_Y8, 32, 32);
    paint(source);
    const wavelet_image wavelet(0);
    const picture out;
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
    EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 3));
    EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 4));
    EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 4));
    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10070000, "Unsupported source image type");
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
}

TEST(wavelet_codec, streams_that_lack_something_are_reported) {
    const picture source(VIQ_Y8, 64, 64);
    paint(source);
    const wavelet_image wavelet(1);
    const picture out;
    bytes stream = compress(source, 1, 300);
    stream.resize(stream.size() - 40);
    EXPECT_OK(VIQ_WVLT_buffer_read(wavelet, stream.data(), static_cast<u32>(stream.size())));
    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10025201, "Wavelet decompressor failed");
    EXPECT_EQ(out->height, 0u);
    EXPECT_EQ(out->data, nullptr);

    // Without settings there is nothing to decompress by, and no compressor to ask for them.
    stream[26] = stream[27] = 0;
    EXPECT_OK(VIQ_WVLT_buffer_read(wavelet, stream.data(), static_cast<u32>(stream.size())));
    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x100b0000,
                 "Decompressor settings not loaded");
    u32 count = 0;
    EXPECT_REPORT(VIQ_WVLT_buffer_write(wavelet, stream.data(), &count, 3), "GetSettings",
                  0x1002fb01, "Can't get settings size");

    if (!std::filesystem::exists("/dev/full"))
        return;
    const wavelet_image full(0);
    EXPECT_OK(VIQ_WVLT_set_Quality_factor(full, 400));
    const picture large(VIQ_Y8, 256, 256);
    paint(large);
    EXPECT_OK(VIQ_WVLT_compress(large, full, 3));
    EXPECT_OK(VIQ_image_set_outfilename(full, "/dev/full"));
    EXPECT_ERROR(VIQ_WVLT_file_write(full, 3), 0x100d0000, "Disk full");
}

TEST(wavelet_codec, bad_calls_are_refused) {
    const picture plain(VIQ_Y8, 8, 8);
    paint(plain);
    const wavelet_image wavelet(0);
    const picture out;
    u8 buffer[64] = {};
    u32 count = 0;
    EXPECT_ERROR(VIQ_WVLT_image_create(2), 0x10030000, "Invalid compression type");
    EXPECT_OK(VIQ_WVLT_set_Quality_factor(wavelet, 400));
    EXPECT_ERROR(VIQ_WVLT_set_Quality_factor(wavelet, 401), 0x10030191, "Q factor out of range");
    EXPECT_OK(VIQ_WVLT_set_subbands(wavelet, 32));
    EXPECT_ERROR(VIQ_WVLT_set_subbands(wavelet, 0), 0x10030000, "Subbands out of range");
    EXPECT_ERROR(VIQ_WVLT_set_subbands(wavelet, 33), 0x10030021, "Subbands out of range");

    const char *stranger = "Not a WVLT image";
    VIQ_image_set_flags(plain, VIQ_FLAG_100, 1); // the flag alone makes no wavelet image
    for (const u32 handle : {plain.handle, missing}) {
        EXPECT_ERROR(VIQ_WVLT_image_destroy(handle), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_set_Quality_factor(handle, 1), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_set_subbands(handle, 1), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_compress(plain, handle, 3), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_decompress(handle, out, 3), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_file_write(handle, 3), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_file_read(handle), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_buffer_write(handle, buffer, &count, 3), 0x10040000, stranger);
        EXPECT_ERROR(VIQ_WVLT_buffer_read(handle, buffer, 64), 0x10040000, stranger);
    }
    VIQ_image_set_flags(plain, VIQ_FLAG_100, 0);

    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10040000, stranger); // a new height
    EXPECT_ERROR(VIQ_WVLT_file_write(wavelet, 3), 0x10050000, "No image data");
    EXPECT_ERROR(VIQ_WVLT_buffer_write(wavelet, buffer, &count, 3), 0x10050000, "No image data");
    EXPECT_ERROR(VIQ_WVLT_buffer_write(wavelet, nullptr, &count, 3), 0x10030000, "Null buffer ptr");
    EXPECT_ERROR(VIQ_WVLT_buffer_write(wavelet, buffer, nullptr, 3), 0x10030000, "Null count ptr");
    EXPECT_ERROR(VIQ_WVLT_buffer_read(wavelet, nullptr, 64), 0x10030000, "Null buffer ptr");
    name_files(wavelet, scratch_file("no such folder/x.dwt"));
    EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x10090002, "Failed to open file");
}

TEST(wavelet_codec, unsuitable_sources_are_refused) {
    const wavelet_image wavelet(1), fresh(1);
    const picture empty(VIQ_Y8, 8, 8), colour(VIQ_RGB24, 8, 8), odd(VIQ_YUV422, 7, 8),
        strip(VIQ_Y8, 8, 8);
    EXPECT_ERROR(VIQ_WVLT_compress(empty, wavelet, 3), 0x10050000, "No source data");
    EXPECT_NO_FORMAT(VIQ_WVLT_compress(fresh, wavelet, 3), "VIQ_WVLT_compress", "Corrupt image");
    paint(colour);
    paint(odd);
    EXPECT_ERROR(VIQ_WVLT_compress(colour, wavelet, 3), 0x10070000,
                 "Unsupported source image type");
    EXPECT_ERROR(VIQ_WVLT_compress(odd, wavelet, 3), 0x10070000,
                 "YUV422 image must be an even width");
    set_lines(strip, 4);
    paint(empty);
    ASSERT_EQ(VIQ_image_malloc_a_strip(strip), 0u);
    EXPECT_ERROR(VIQ_WVLT_compress(strip, wavelet, 3), 0x10050000, "Corrupt image");
    VIQ_image_set_parameter(empty, VIQ_HEIGHT, 0);
    EXPECT_ERROR(VIQ_WVLT_compress(empty, wavelet, 3), 0x10050000, "Corrupt image");
}

TEST(wavelet_codec, damaged_streams_are_refused_or_decoded) {
    const picture source(VIQ_YUV422, 40, 33);
    paint(source);
    const picture out;
    for (const u16 type : {u16{0}, u16{1}}) {
        const bytes sound = compress(source, type, 120);
        const u32 settings = VIQ_mget_ui16i(&sound[26]);
        reported.clear();
        for (std::size_t size = 0; size < sound.size(); ++size) {
            const bytes cut(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size));
            const u32 code = decompress(cut, type, out);
            EXPECT_TRUE(VIQ_IS_ERROR(code)) << type << ' ' << size;
            EXPECT_FALSE(reported.empty());
            reported.clear();
        }
        for (std::size_t at = 0; at < sound.size(); ++at)
            for (const u8 mask : bytes{0x01, 0x80, 0xFF}) {
                bytes damaged = sound;
                damaged[at] ^= mask;
                decompress(damaged, type, out);
            }
        // The other coding is told by the settings.
        reported.clear();
        EXPECT_EQ(decompress(sound, static_cast<u16>(1 - type), out), 0x10020000u);
        EXPECT_EQ(reported.at(0).message, "Can't write decompressor settings");
        reported.clear();

        const auto refuse = [&](std::size_t at, u8 value, u32 code, const char *message) {
            bytes other = sound;
            other[at] = value;
            const wavelet_image wavelet(type);
            EXPECT_ERROR(
                VIQ_WVLT_buffer_read(wavelet, other.data(), static_cast<u32>(other.size())), code,
                message);
        };
        refuse(0, 'X', 0x10040000, "Not a WVLT image");
        refuse(4, 2, 0x10070000, "File version mismatch");
        refuse(8, 2, 0x10050000, "Corrupt WVLT stream");
        refuse(23, 0xFF, 0x10050000, "Corrupt WVLT stream");
        const wavelet_image wavelet(type);
        EXPECT_ERROR(VIQ_WVLT_buffer_read(wavelet, sound.data(), 27), 0x10030000,
                     "Buffer too small");
        EXPECT_ERROR(VIQ_WVLT_buffer_read(wavelet, sound.data(), 27 + settings), 0x10030000,
                     "Buffer too small");
        EXPECT_OK(VIQ_WVLT_buffer_read(wavelet, sound.data(), 28 + settings));
        EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x100C0000, "No image to decompress");

        write_file(scratch_file("bad.dwt"), "DWX" + std::string(40, '\0'));
        name_files(wavelet, scratch_file("bad.dwt"));
        EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x10070000, "Not a WVLT file");
        write_file(scratch_file("bad.dwt"), bytes(sound.begin(), sound.begin() + 28 + settings));
        EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x100D0000, "Unexpected end of file");
        write_file(scratch_file("bad.dwt"), bytes(20));
        EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x100D0000, "Unexpected end of file");
    }
}

TEST(wavelet_codec, sizes_beyond_the_stream_are_refused_before_allocation) {
    const picture source(VIQ_Y8, 3, 3);
    paint(source);
    bytes stream = compress(source, 1, 50);
    // The shape stands behind the quantiser's block of one step and the serialiser's head.
    const std::size_t shape = stream_header_size + 12 + 8;
    ASSERT_EQ(VIQ_mget_ui32i(&stream[shape]), 3u);
    VIQ_mput_ui32i(&stream[shape], 60000);
    VIQ_mput_ui32i(&stream[shape + 4], 60000);
    const picture out;
    reported.clear();
    // One subband is too few for sides of this length, or the claim is.
    EXPECT_TRUE(VIQ_IS_ERROR(decompress(stream, 1, out)));
    VIQ_mput_ui32i(&stream[shape], 4);
    VIQ_mput_ui32i(&stream[shape + 4], 0x7FFFFFFF);
    reported.clear();
    EXPECT_EQ(decompress(stream, 1, out), 0x10050000u);
    EXPECT_EQ(reported.back().message, "Corrupt WVLT stream");
    reported.clear();
}

TEST(wavelet_codec, records_survive_what_is_done_to_their_images) {
    const picture source(VIQ_Y8, 40, 40);
    paint(source);
    // moved to another image
    {
        const wavelet_image wavelet(0);
        const picture other, out;
        EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
        const bytes stream = stream_of(wavelet);
        EXPECT_OK(VIQ_image_move(wavelet, other));
        EXPECT_EQ(stream_of(other), stream);
        EXPECT_OK(VIQ_WVLT_decompress(other, out, 3));
        EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10040000, "Not a WVLT image");
    }
    // freed, overwritten, copied as pixels
    {
        const wavelet_image wavelet(0), second(1);
        const picture copy;
        EXPECT_OK(VIQ_image_free_data(wavelet));
        EXPECT_ERROR(VIQ_WVLT_set_subbands(wavelet, 3), 0x10040000, "Not a WVLT image");
        EXPECT_OK(VIQ_image_copy(source, wavelet));
        EXPECT_EQ(VIQ_image_set_parameter(second, VIQ_IMAGE_TYPE, VIQ_Y8), 0u);
        EXPECT_REPORT(VIQ_image_copy(second, copy), "VIQ_image_copy_1_strip", 0x10050000,
                      "No image data");
    }
    const u32 handle = VIQ_WVLT_image_create(1);
    EXPECT_OK(VIQ_WVLT_compress(source, handle, 3));
    EXPECT_OK(VIQ_WVLT_image_destroy(handle));
    EXPECT_ERROR(VIQ_WVLT_image_destroy(handle), 0x10040000, "Not a WVLT image");
}

} // namespace viq
