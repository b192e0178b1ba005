// The public functions of wavelet images: round trips, streams, errors, corrupt streams.
#include <cmath>
#include <filesystem>
#if defined(__unix__)
#include <sys/resource.h>
#endif

#include "tests/support.h"

namespace viq {

namespace {

constexpr u16 type_huffman = 0;
constexpr u16 type_rans = 1;

constexpr u32 stream_header_size = 28;

struct wavelet_image {
    u32 handle;

    explicit wavelet_image(u16 type) : handle(VIQ_WVLT_image_create(type)) {}
    wavelet_image(const wavelet_image &) = delete;
    wavelet_image &operator=(const wavelet_image &) = delete;
    ~wavelet_image() { VIQ_image_destroy(handle); }
    operator u32() const { return handle; }
};

// Fills an image with smooth shapes, an edge and some noise.
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

bytes compress(const picture &source, u16 type, u16 quality, u16 subbands = 6, u16 level = 0) {
    const wavelet_image wavelet(type);
    EXPECT_OK(VIQ_WVLT_set_optimisation(wavelet, level));
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

TEST(WaveletCodec, RoundTripsImagesOfAnySize) {
    for (const u16 type : {type_huffman, type_rans})
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

TEST(WaveletCodec, BothCodersDecodeTheSamePixelsAndRansIsSmaller) {
    const picture source(VIQ_Y8, 300, 200);
    paint(source);
    std::size_t last = 0;
    for (const u16 quality : std::vector<u16>{0, 30, 50, 70, 90, 130, 250}) {
        const bytes huffman = compress(source, type_huffman, quality);
        const bytes rans = compress(source, type_rans, quality);
        const picture from_huffman, from_rans;
        ASSERT_EQ(decompress(huffman, type_huffman, from_huffman), 0u);
        ASSERT_EQ(decompress(rans, type_rans, from_rans), 0u);
        EXPECT_EQ(pixels_of(from_huffman), pixels_of(from_rans)) << quality;
        EXPECT_LT(rans.size(), huffman.size()) << quality;
        EXPECT_GE(rans.size(), last) << quality;
        last = rans.size();
    }
}

class OptimisedWavelets : public every_set {};

TEST_P(OptimisedWavelets, HaveAHigherPsnrAtNoMoreBytesAndEqualStreamsWithEverySet) {
    for (const u16 type : {type_huffman, type_rans})
        for (const u16 format : {VIQ_Y8, VIQ_YUV422}) {
            SCOPED_TRACE(text_of(type, format));
            const picture source(format, 214, 131);
            paint(source);
            const bytes usual = compress(source, type, 130);
            bytes optimised;
            u16 quality = 60;
            const auto next = [&] { return compress(source, type, quality, 6, 1); };
            for (bytes found = next(); found.size() <= usual.size(); found = next()) {
                optimised = found;
                quality = static_cast<u16>(quality + 2);
            }
            const picture from_usual, from_optimised;
            ASSERT_EQ(decompress(usual, type, from_usual), 0u);
            ASSERT_EQ(decompress(optimised, type, from_optimised), 0u);
            EXPECT_GT(psnr(source, from_optimised), psnr(source, from_usual) + 1);
            for (const u16 extreme : {u16{0}, u16{400}}) {
                const bytes stream = compress(source, type, extreme, 32, 1);
                force_set(instruction_set::plain);
                EXPECT_EQ(compress(source, type, extreme, 32, 1), stream);
                force_set(GetParam());
                const picture out;
                ASSERT_EQ(decompress(stream, type, out), 0u);
                EXPECT_GT(psnr(source, out), extreme == 0 ? 15 : 50);
            }
            force_set(instruction_set::plain);
            EXPECT_EQ(compress(source, type, static_cast<u16>(quality - 2), 6, 1), optimised);
            force_set(GetParam());
        }
}

WITH_EVERY_SET(OptimisedWavelets);

TEST(WaveletCodec, PreservesFullContrastPatterns) {
    const picture source(VIQ_Y8, 64, 64);
    ASSERT_EQ(VIQ_image_malloc_a_strip(source), 0u);
    // Columns, lines, a checkerboard, noise, and the pattern with the largest diagonal
    // coefficients.
    constexpr u32 signs[8] = {0, 1, 1, 0, 1, 1, 0, 0}; // of the high-pass filter around sample 3
    const instruction_set best = current_set();
    for (const u16 type : {type_huffman, type_rans})
        for (const u32 kind : {0u, 1u, 2u, 3u, 4u}) {
            for (u32 i = 0; i < 64 * 64; ++i) {
                const u32 phase = kind == 0   ? i
                                  : kind == 1 ? i / 64
                                  : kind == 2 ? i + i / 64
                                  : kind == 3 ? noise()
                                              : signs[i % 8] + signs[i / 64 % 8];
                source->data[i] = phase % 2 != 0 ? 255 : 0;
            }
            const bytes stream = compress(source, type, 400);
            for (const instruction_set set : {instruction_set::plain, best}) {
                force_set(set);
                EXPECT_EQ(compress(source, type, 400), stream);
                const picture out;
                ASSERT_EQ(decompress(stream, type, out), 0u);
                const bytes wanted = pixels_of(source), found = pixels_of(out);
                for (std::size_t i = 0; i < wanted.size(); ++i)
                    ASSERT_NEAR(found[i], wanted[i], 2) << type << ' ' << kind << ' ' << i;
            }
        }
}

TEST(WaveletCodec, WritesTheDocumentedStreamLayout) {
    const picture source(VIQ_Y8, 100, 80);
    paint(source);
    const wavelet_image wavelet(type_rans);
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

    // In two calls: header and settings, then the compressed data.
    bytes parts(stream.size());
    u32 count = 0;
    EXPECT_OK(VIQ_WVLT_buffer_write(wavelet, parts.data(), &count, 1));
    EXPECT_EQ(count, stream.size() - length);
    EXPECT_OK(VIQ_WVLT_buffer_write(wavelet, parts.data() + count, &count, 3));
    EXPECT_EQ(count, stream.size());
    EXPECT_EQ(parts, stream);

    // As a file, with the wavelet functions and the generic ones.
    name_files(wavelet, scratch_file("wavelet.dwt"));
    EXPECT_OK(VIQ_image_write(wavelet, 0, VIQ_FILE_WAVELET, 3));
    EXPECT_EQ(read_file(scratch_file("wavelet.dwt")), stream);
    EXPECT_EQ(VIQ_image_find_file_format(scratch_file("wavelet.dwt").c_str()), 12u);
    for (const bool generic : {false, true}) {
        const wavelet_image again(type_rans);
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

TEST(WaveletCodec, AppliesParametersToTheNextCompression) {
    const picture source(VIQ_YUV422, 120, 90);
    const picture other(VIQ_Y8, 64, 64);
    paint(source);
    paint(other);
    const wavelet_image wavelet(type_huffman);
    const picture out;
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 1));
    for (const u16 quality : std::vector<u16>{20, 200, 50}) {
        EXPECT_OK(VIQ_WVLT_set_Quality_factor(wavelet, quality));
        for (const picture *one : {&source, &other, &source}) {
            EXPECT_OK(VIQ_WVLT_compress(*one, wavelet, 3));
            EXPECT_EQ(stream_of(wavelet)[26], compress(*one, type_huffman, quality)[26]);
            EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 3));
            const picture fresh;
            EXPECT_EQ(decompress(compress(*one, type_huffman, quality), type_huffman, fresh), 0u);
            EXPECT_EQ(pixels_of(out), pixels_of(fresh)) << quality;
        }
    }
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 4));
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
}

TEST(WaveletCodec, FailsAfterTheDecompressorIsReleased) {
    const picture source(VIQ_Y8, 32, 32);
    paint(source);
    const wavelet_image wavelet(type_huffman);
    const picture out;
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
    EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 3));
    EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 4));
    EXPECT_OK(VIQ_WVLT_decompress(wavelet, out, 4));
    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10070000, "Unsupported source image type");
    EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
}

TEST(WaveletCodec, ReportsMissingDataAndFullDisks) {
    const picture source(VIQ_Y8, 64, 64);
    paint(source);
    const wavelet_image wavelet(type_rans);
    const picture out;
    bytes stream = compress(source, type_rans, 300);
    stream.resize(stream.size() - 40);
    EXPECT_OK(VIQ_WVLT_buffer_read(wavelet, stream.data(), static_cast<u32>(stream.size())));
    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10025201, "Wavelet decompressor failed");
    EXPECT_EQ(out->height, 0u);
    EXPECT_EQ(out->data, nullptr);

    // Without settings, and without a compressor chain that could provide them.
    stream[26] = stream[27] = 0;
    EXPECT_OK(VIQ_WVLT_buffer_read(wavelet, stream.data(), static_cast<u32>(stream.size())));
    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x100b0000,
                 "Decompressor settings not loaded");
    u32 count = 0;
    EXPECT_REPORT(VIQ_WVLT_buffer_write(wavelet, stream.data(), &count, 3), "GetSettings",
                  0x1002fb01, "Can't get settings size");

    if (!std::filesystem::exists("/dev/full"))
        return;
    const wavelet_image full(type_huffman);
    EXPECT_OK(VIQ_WVLT_set_Quality_factor(full, 400));
    const picture large(VIQ_Y8, 256, 256);
    paint(large);
    EXPECT_OK(VIQ_WVLT_compress(large, full, 3));
    EXPECT_OK(VIQ_image_set_outfilename(full, "/dev/full"));
    EXPECT_ERROR(VIQ_WVLT_file_write(full, 3), 0x100d0000, "Disk full");
}

TEST(WaveletCodec, RejectsInvalidArguments) {
    const picture plain(VIQ_Y8, 8, 8);
    paint(plain);
    const wavelet_image wavelet(type_huffman);
    const picture out;
    u8 buffer[64] = {};
    u32 count = 0;
    EXPECT_ERROR(VIQ_WVLT_image_create(2), 0x10030000, "Invalid compression type");
    EXPECT_OK(VIQ_WVLT_set_Quality_factor(wavelet, 400));
    EXPECT_ERROR(VIQ_WVLT_set_Quality_factor(wavelet, 401), 0x10030191, "Q factor out of range");
    EXPECT_OK(VIQ_WVLT_set_subbands(wavelet, 32));
    EXPECT_ERROR(VIQ_WVLT_set_subbands(wavelet, 0), 0x10030000, "Subbands out of range");
    EXPECT_ERROR(VIQ_WVLT_set_subbands(wavelet, 33), 0x10030021, "Subbands out of range");

    EXPECT_ERROR(VIQ_WVLT_set_optimisation(wavelet, 2), 0x10030000,
                 "Optimisation level out of range");

    const char *not_wavelet = "Not a WVLT image";
    VIQ_image_set_flags(plain, VIQ_FLAG_100, 1); // the flag is not sufficient
    for (const u32 handle : {plain.handle, missing}) {
        EXPECT_ERROR(VIQ_WVLT_image_destroy(handle), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_set_Quality_factor(handle, 1), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_set_subbands(handle, 1), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_set_optimisation(handle, 1), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_compress(plain, handle, 3), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_decompress(handle, out, 3), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_file_write(handle, 3), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_file_read(handle), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_buffer_write(handle, buffer, &count, 3), 0x10040000, not_wavelet);
        EXPECT_ERROR(VIQ_WVLT_buffer_read(handle, buffer, 64), 0x10040000, not_wavelet);
    }
    VIQ_image_set_flags(plain, VIQ_FLAG_100, 0);

    EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10040000, not_wavelet); // of a new image
    EXPECT_ERROR(VIQ_WVLT_file_write(wavelet, 3), 0x10050000, "No image data");
    EXPECT_ERROR(VIQ_WVLT_buffer_write(wavelet, buffer, &count, 3), 0x10050000, "No image data");
    EXPECT_ERROR(VIQ_WVLT_buffer_write(wavelet, nullptr, &count, 3), 0x10030000, "Null buffer ptr");
    EXPECT_ERROR(VIQ_WVLT_buffer_write(wavelet, buffer, nullptr, 3), 0x10030000, "Null count ptr");
    EXPECT_ERROR(VIQ_WVLT_buffer_read(wavelet, nullptr, 64), 0x10030000, "Null buffer ptr");
    name_files(wavelet, scratch_file("no such folder/x.dwt"));
    EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x10090002, "Failed to open file");
}

TEST(WaveletCodec, RejectsUnsupportedSources) {
    const wavelet_image wavelet(type_rans), fresh(type_rans);
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

TEST(WaveletCodec, RejectsTruncatedStreamsAndSurvivesCorruptOnes) {
    const picture source(VIQ_YUV422, 40, 33);
    paint(source);
    const picture out;
    for (const u16 type : {type_huffman, type_rans}) {
        const bytes valid = compress(source, type, 120);
        const u32 settings = VIQ_mget_ui16i(&valid[26]);
        reported.clear();
        for (std::size_t size = 0; size < valid.size(); ++size) {
            const bytes truncated(valid.begin(), valid.begin() + static_cast<std::ptrdiff_t>(size));
            const u32 code = decompress(truncated, type, out);
            EXPECT_TRUE(VIQ_IS_ERROR(code)) << type << ' ' << size;
            EXPECT_FALSE(reported.empty());
            reported.clear();
        }
        for (std::size_t at = 0; at < valid.size(); ++at)
            for (const u8 mask : bytes{0x01, 0x80, 0xFF}) {
                bytes corrupt = valid;
                corrupt[at] ^= mask;
                decompress(corrupt, type, out);
            }
        // The settings identify the other coding type.
        reported.clear();
        EXPECT_EQ(decompress(valid, static_cast<u16>(1 - type), out), 0x10020000u);
        EXPECT_EQ(reported.at(0).message, "Can't write decompressor settings");
        reported.clear();

        const auto expect_rejected = [&](std::size_t at, u8 value, u32 code, const char *message) {
            bytes other = valid;
            other[at] = value;
            const wavelet_image wavelet(type);
            EXPECT_ERROR(
                VIQ_WVLT_buffer_read(wavelet, other.data(), static_cast<u32>(other.size())), code,
                message);
        };
        expect_rejected(0, 'X', 0x10040000, "Not a WVLT image");
        expect_rejected(4, 2, 0x10070000, "File version mismatch");
        expect_rejected(8, 2, 0x10050000, "Corrupt WVLT stream");
        expect_rejected(23, 0xFF, 0x10050000, "Corrupt WVLT stream");
        const wavelet_image wavelet(type);
        EXPECT_ERROR(VIQ_WVLT_buffer_read(wavelet, valid.data(), 27), 0x10030000,
                     "Buffer too small");
        EXPECT_ERROR(VIQ_WVLT_buffer_read(wavelet, valid.data(), 27 + settings), 0x10030000,
                     "Buffer too small");
        EXPECT_OK(VIQ_WVLT_buffer_read(wavelet, valid.data(), 28 + settings));
        EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x100C0000, "No image to decompress");

        write_file(scratch_file("bad.dwt"), "DWX" + std::string(40, '\0'));
        name_files(wavelet, scratch_file("bad.dwt"));
        EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x10070000, "Not a WVLT file");
        write_file(scratch_file("bad.dwt"), bytes(valid.begin(), valid.begin() + 28 + settings));
        EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x100D0000, "Unexpected end of file");
        write_file(scratch_file("bad.dwt"), bytes(20));
        EXPECT_ERROR(VIQ_WVLT_file_read(wavelet), 0x100D0000, "Unexpected end of file");
    }
}

TEST(WaveletCodec, RejectsImplausibleSizesBeforeAllocation) {
    const picture source(VIQ_Y8, 3, 3);
    paint(source);
    bytes stream = compress(source, type_rans, 50);
    // The size is stored after the quantiser's block of one step and the header of the serialiser's
    // block.
    const std::size_t size_offset = stream_header_size + 12 + 8;
    ASSERT_EQ(VIQ_mget_ui32i(&stream[size_offset]), 3u);
    VIQ_mput_ui32i(&stream[size_offset], 60000);
    VIQ_mput_ui32i(&stream[size_offset + 4], 60000);
    const picture out;
    reported.clear();
    // One subband is not valid for sides of this length.
    EXPECT_TRUE(VIQ_IS_ERROR(decompress(stream, type_rans, out)));
    VIQ_mput_ui32i(&stream[size_offset], 4);
    VIQ_mput_ui32i(&stream[size_offset + 4], 0x7FFFFFFF);
    reported.clear();
    EXPECT_EQ(decompress(stream, type_rans, out), 0x10050000u);
    EXPECT_EQ(reported.back().message, "Corrupt WVLT stream");
    reported.clear();
}

#if defined(__unix__)
TEST(WaveletCodec, MemoryFollowsTheStreamAndNotTheClaimedSize) {
    const auto peak = [] {
        rusage usage = {};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss / 1024; // in MiB
    };
    const picture source(VIQ_Y8, 64, 64);
    paint(source);
    for (const u16 type : {type_huffman, type_rans}) {
        bytes stream = compress(source, type, 50);
        const std::size_t size_offset = stream_header_size + 36 + 8;
        ASSERT_EQ(VIQ_mget_ui32i(&stream[size_offset]), 64u);
        stream.resize(stream.size() + 10000);
        VIQ_mput_ui32i(&stream[10], 10000);
        VIQ_mput_ui32i(&stream[size_offset], 16384); // 768 MiB of samples and coefficients
        VIQ_mput_ui32i(&stream[size_offset + 4], 16384);
        const picture out;
        const auto before = peak();
        EXPECT_TRUE(VIQ_IS_ERROR(decompress(stream, type, out)));
        EXPECT_EQ(reported.back().message, "Wavelet decompressor failed");
        EXPECT_LT(peak() - before, 256);
        reported.clear();
    }
}
#endif

TEST(WaveletCodec, RecordsFollowTheirImages) {
    const picture source(VIQ_Y8, 40, 40);
    paint(source);
    // Moved to another image.
    {
        const wavelet_image wavelet(type_huffman);
        const picture other, out;
        EXPECT_OK(VIQ_WVLT_compress(source, wavelet, 3));
        const bytes stream = stream_of(wavelet);
        EXPECT_OK(VIQ_image_move(wavelet, other));
        EXPECT_EQ(stream_of(other), stream);
        EXPECT_OK(VIQ_WVLT_decompress(other, out, 3));
        EXPECT_ERROR(VIQ_WVLT_decompress(wavelet, out, 3), 0x10040000, "Not a WVLT image");
    }
    // Moved to an object of the caller, which another object replaces.
    {
        const u32 other = VIQ_image_create();
        void *const replaced = VIQ_image_get_ptr(other, VIQ_PTR_IMAGE);
        const memory_in_use before = current_memory();
        tVIQ_Image own = {};
        EXPECT_OK(VIQ_image_set_ptr(other, VIQ_PTR_IMAGE, &own));
        const u32 wavelet = VIQ_WVLT_image_create(1);
        EXPECT_OK(VIQ_image_move(wavelet, other));
        EXPECT_OK(VIQ_image_destroy(wavelet));
        EXPECT_OK(VIQ_cmap_set_bits(other, 3, 3, 2, 8));
        EXPECT_OK(VIQ_image_set_ptr(other, VIQ_PTR_IMAGE, replaced));
        EXPECT_EQ(current_memory(), before);
        EXPECT_OK(VIQ_image_destroy(other));
    }
    // Freed, overwritten, copied as pixels.
    {
        const wavelet_image wavelet(type_huffman), second(type_rans);
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
