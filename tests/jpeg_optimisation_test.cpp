// Huffman tables made for a picture, and trellis quantisation.
#include "jpeg/picture_codes.h"
#include "jpeg_support.h"

namespace viq {
namespace {

// The stream of a picture; strips of `lines` lines, 0: in one call.
bytes coded(const picture &scene, u16 level, u32 lines = 0) {
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, 40));
    EXPECT_OK(VIQ_JPEG_set_optimisation(jpeg, level));
    EXPECT_EQ(VIQ_JPEG_get_optimisation(jpeg), level);
    bytes stream(scene->height * scene->bytes_per_line + 8000);
    u32 length = 0;
    if (lines == 0) {
        EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
        EXPECT_OK(VIQ_JPEG_buffer_write(jpeg, stream.data(), &length, VIQ_STRIP_NEXT));
    }
    u8 *const pixels = scene->data;
    const u32 height = scene->height;
    for (u32 y = 0; lines != 0 && y < height; y += lines) {
        scene->data = pixels + std::size_t{y} * scene->bytes_per_line;
        scene->lines_per_strip = std::min(lines, height - y);
        EXPECT_OK(VIQ_JPEG_compress_strip(scene, jpeg, VIQ_STRIP_NEXT));
        EXPECT_OK(VIQ_JPEG_buffer_write(jpeg, stream.data(), &length, VIQ_STRIP_NEXT));
    }
    scene->data = pixels;
    scene->lines_per_strip = height;
    stream.resize(length);
    return stream;
}

void decode(const bytes &stream, u16 mode, const picture &out, u16 format) {
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_set_file_reading(mode));
    EXPECT_OK(read_stream(jpeg, stream));
    EXPECT_OK(VIQ_image_set_parameter(jpeg, VIQ_LINES_PER_STRIP, VIQ_get_height(jpeg)));
    EXPECT_OK(VIQ_image_set_parameter(out, VIQ_IMAGE_TYPE, format));
    EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT));
    EXPECT_OK(VIQ_set_file_reading(VIQ_READING_ORIGINAL));
    restore_codes(jpeg);
}

TEST(JpegOptimisation, GivesSmallerOrBetterPicturesForBothReadingModes) {
    for (const u16 format : words{VIQ_Y8, VIQ_YUV422})
        for (const u16 mode : words{VIQ_READING_ORIGINAL, VIQ_READING_CONFORMING}) {
            const picture scene(format, 160, 96);
            draw_scene(scene);
            const picture plain, recoded, chosen;
            const bytes streams[] = {coded(scene, 0), coded(scene, 1), coded(scene, 2)};
            decode(streams[0], mode, plain, format);
            decode(streams[1], mode, recoded, format);
            decode(streams[2], mode, chosen, format);
            EXPECT_LT(streams[1].size(), streams[0].size());
            EXPECT_EQ(pixels_of(recoded), pixels_of(plain));
            EXPECT_LT(streams[2].size(), streams[0].size() * 11 / 10);
            EXPECT_GT(psnr(scene, chosen), psnr(scene, plain) + 1);
        }
}

TEST(JpegOptimisation, StripsGiveTheStreamOfTheWholePicture) {
    for (const auto &[format, width, height] :
         {std::tuple<u16, u32, u32>{VIQ_Y8, 41, 50}, {VIQ_RGB24, 37, 29}, {VIQ_RGB24, 1, 1}})
        for (const u16 level : words{1, 2}) {
            const picture scene(format, width, height);
            draw_scene(scene);
            const bytes whole = coded(scene, level);
            for (const u32 lines : {8u, 24u, 64u})
                EXPECT_EQ(coded(scene, level, lines), whole) << text_of(format, lines, level);
        }
}

TEST(JpegOptimisation, FramesAreRecodedWithTheTablesOfTheirSequence) {
    const jpeg_picture frame, sequence, extracted;
    const picture scenes[] = {{VIQ_YUV422, 48, 32}, {VIQ_YUV422, 48, 32}};
    EXPECT_OK(VIQ_JPEG_set_optimisation(frame, VIQ_JPEG_OPTIMISE_VALUES));
    for (const picture &scene : scenes) {
        draw_scene(scene, &scene == scenes ? 0 : 60);
        EXPECT_OK(VIQ_JPEG_compress(scene, frame));
        if (&scene == scenes) {
            EXPECT_OK(VIQ_image_copy_parameters(frame, sequence));
            EXPECT_OK(VIQ_JPEG_sequence_build(frame, sequence));
            continue;
        }
        EXPECT_REPORT(VIQ_JPEG_sequence_build(frame, sequence), "VIQ_JPEG_sequence_build",
                      VIQ_ERR_STATE, "Huffman codes lack symbols");
    }
    sequence.record().data_length = 0;
    EXPECT_OK(VIQ_JPEG_set_default_H_tables(sequence));
    for (const picture &scene : scenes) {
        EXPECT_OK(VIQ_JPEG_compress(scene, frame));
        EXPECT_OK(VIQ_JPEG_sequence_build(frame, sequence));
        const picture direct, from_sequence;
        decode(stream_of(frame), VIQ_READING_ORIGINAL, direct, VIQ_YUV422);
        EXPECT_OK(VIQ_image_set_parameter(sequence, VIQ_PARAM_18, &scene == scenes ? 1 : 2));
        EXPECT_OK(VIQ_JPEG_sequence_extract_frame(sequence, extracted, &scene == scenes ? 1 : 2));
        decode(stream_of(extracted), VIQ_READING_ORIGINAL, from_sequence, VIQ_YUV422);
        EXPECT_EQ(pixels_of(from_sequence), pixels_of(direct));
    }
    EXPECT_REPORT(VIQ_JPEG_set_optimisation(frame, 3), "VIQ_JPEG_set_optimisation",
                  VIQ_ERR_PARAMETER, "Optimisation level out of range");
}

TEST(JpegOptimisation, CodesAreOptimalWithinTheirLimits) {
    // Powers of two take codes of all lengths; Fibonacci numbers make the longest codes.
    for (const u32 longest : {9u, 16u})
        for (const u32 symbols : {1u, 3u, 4u, 12u, 100u, 200u}) {
            symbol_counts counts = {};
            for (u32 i = 0; i < symbols; ++i)
                counts[i] = i < 2 ? 1 : std::min(counts[i - 1] + counts[i - 2], 1u << 24);
            const huffman_lists table = make_codes(counts, longest);
            EXPECT_EQ(table.bits[0], 0);
            EXPECT_EQ(symbol_count(table.bits), symbols);
            u32 used = 0; // of the code space, in codes of 16 bits
            u32 last = 0; // length of the longest code
            for (u32 length = 1; length <= 16; ++length) {
                used += u32{table.bits[length - 1]} << (16 - length);
                last = table.bits[length - 1] != 0 ? length : last;
            }
            EXPECT_LE(last, longest);
            // The code of 1 bits alone is free, with fewer than 4 symbols also others.
            EXPECT_LE(used, 65536 - (1u << (16 - last)));
            EXPECT_TRUE(symbols < 4 || used == 65536 - (1u << (16 - last)));
            for (u32 i = 1; i < symbols; ++i)
                EXPECT_GE(counts[table.vals[i - 1]], counts[table.vals[i]]);
        }
    const huffman_lists four = make_codes({8, 4, 2, 1}, 16);
    EXPECT_EQ(bytes(four.bits, four.bits + 5), (bytes{0, 3, 1, 0, 0}));
}

} // namespace
} // namespace viq
