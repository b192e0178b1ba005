// Compression and decompression of pictures.
#include "jpeg_support.h"

namespace viq {
namespace {

class JpegCodec : public every_set {};
WITH_EVERY_SET(JpegCodec);

TEST_P(JpegCodec, RoundTripKeepsPictures) {
    const std::pair<u32, u32> sizes[] = {{1, 1}, {7, 7}, {8, 8}, {17, 9}, {24, 16}, {97, 50}};
    for (const u16 format : words{VIQ_Y8, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32})
        for (const auto &[width, height] : sizes)
            for (const u16 quality : words{16, 64, 400}) {
                SCOPED_TRACE(text_of(format, width, height, quality));
                const picture scene(format, width, height, 4);
                draw_scene(scene, 0);
                const jpeg_picture jpeg;
                EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, quality));
                EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
                EXPECT_EQ(jpeg->width, width);
                EXPECT_EQ(jpeg->height, height);
                EXPECT_EQ(jpeg->flags & VIQ_FLAG_2, VIQ_FLAG_2);
                const u8 *end = jpeg.record().data + jpeg.record().data_length;
                EXPECT_EQ(end[0] * 256 + end[1], 0xFFD9);

                const picture out;
                EXPECT_OK(VIQ_image_set_parameter(out, VIQ_IMAGE_TYPE, VIQ_RGB24));
                EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT));
                const u32 unit = format == VIQ_Y8 ? 8 : 16;
                EXPECT_EQ(out->width, (width + unit - 1) / unit * unit);
                EXPECT_EQ(out->height, (height + 7) / 8 * 8);
                EXPECT_EQ(out->flags & VIQ_FLAG_2, 0u);
                EXPECT_EQ(jpeg->height, height);
                if (format == VIQ_Y8 || format == VIQ_RGB24) {
                    const picture cropped;
                    EXPECT_OK(VIQ_IP_crop(out, cropped, 0, 0, static_cast<i16>(width),
                                          static_cast<i16>(height), VIQ_STRIP_NEXT));
                    EXPECT_GT(psnr(scene, cropped), format == VIQ_Y8 ? 29 : 17);
                }
            }
}

TEST_P(JpegCodec, EqualColoursInAnyFormatGiveEqualData) {
    const picture rgb(VIQ_RGB24, 37, 21);
    draw_scene(rgb);
    const jpeg_picture wanted;
    EXPECT_OK(VIQ_JPEG_compress(rgb, wanted));
    for (const u16 format : words{VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32}) {
        const picture other;
        EXPECT_OK(VIQ_image_convert(rgb, other, format, 0, VIQ_STRIP_NEXT));
        const jpeg_picture jpeg;
        EXPECT_OK(VIQ_JPEG_compress(other, jpeg));
        EXPECT_EQ(jpeg.data(), wanted.data()) << format;
    }
    // Padding the picture before compression gives the same data.
    const picture padded, yuv;
    EXPECT_OK(VIQ_pad_to_MCU_1_strip(rgb, padded));
    EXPECT_EQ(padded->width * 1000 + padded->height, 48024u);
    EXPECT_EQ(padded->data[23 * padded->bytes_per_line + 47 * 3 + 1],
              rgb->data[20 * rgb->bytes_per_line + 36 * 3 + 1]);
    EXPECT_OK(VIQ_convert_to_YUV422(padded, yuv, VIQ_STRIP_NEXT));
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_compress(yuv, jpeg));
    EXPECT_EQ(jpeg.data(), wanted.data());
    // A buffer of the caller that holds a strip is not read as a picture.
    bytes strip(rgb->bytes_per_line * 2);
    const picture borrowed(VIQ_RGB24, 37, 21);
    VIQ_image_set_ptr(borrowed, VIQ_PTR_DATA, strip.data());
    VIQ_image_set_flags(borrowed, VIQ_FLAG_LOCKED, 1);
    VIQ_image_set_parameter(borrowed, VIQ_LINES_PER_STRIP, 2);
    EXPECT_ERROR(VIQ_pad_to_MCU_1_strip(borrowed, padded), VIQ_ERR_UNSUPPORTED | 2,
                 "This function only supports a complete image");
    VIQ_image_set_ptr(borrowed, VIQ_PTR_DATA, nullptr);
    VIQ_image_set_flags(borrowed, VIQ_FLAG_LOCKED, 0);
}

TEST_P(JpegCodec, DecompressionByStripsMatchesTheWholePicture) {
    for (const u16 format : words{VIQ_Y8, VIQ_YUV422, VIQ_RGB24}) {
        const picture scene(format == VIQ_Y8 ? VIQ_Y8 : VIQ_RGB24, 83, 61);
        draw_scene(scene);
        const jpeg_picture jpeg;
        EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
        const picture whole;
        EXPECT_OK(VIQ_image_set_parameter(whole, VIQ_IMAGE_TYPE, format));
        EXPECT_OK(VIQ_JPEG_decompress(jpeg, whole, VIQ_STRIP_NEXT));
        EXPECT_EQ(whole->pixel_format, format);
        for (const u32 lines : {8u, 13u, 16u, 56u, 100u}) {
            set_lines(jpeg, lines);
            const picture strip, gathered;
            EXPECT_OK(VIQ_image_set_parameter(strip, VIQ_IMAGE_TYPE, format));
            u32 done = 0;
            while (done < 64) {
                EXPECT_OK(VIQ_JPEG_decompress(jpeg, strip, VIQ_STRIP_NEXT));
                EXPECT_OK(VIQ_write_to_memory(strip, gathered, VIQ_STRIP_NEXT));
                ASSERT_GT(strip->lines_per_strip, 0u);
                done += strip->lines_per_strip;
            }
            EXPECT_EQ(pixels_of(gathered), pixels_of(whole)) << lines;
            EXPECT_EQ(jpeg->height, 61u);
            EXPECT_EQ(jpeg->lines_per_strip, lines);
        }
    }
}

TEST_P(JpegCodec, CompressionByStripsMatchesTheWholePicture) {
    for (const u16 format : words{VIQ_Y8, VIQ_YUV422, VIQ_RGB24, VIQ_XBGR32})
        for (const u32 lines : {8u, 16u, 40u, 100u}) {
            SCOPED_TRACE(text_of(format, lines));
            const picture scene(format, format == VIQ_YUV422 ? 80 : 83,
                                format == VIQ_YUV422 ? 64 : 61);
            draw_scene(scene);
            const jpeg_picture whole, parts;
            EXPECT_OK(VIQ_JPEG_compress(scene, whole));
            const std::string names[] = {scratch_file("whole.jpg"), scratch_file("parts.jpg")};
            EXPECT_OK(VIQ_image_set_outfilename(whole, names[0].c_str()));
            EXPECT_OK(VIQ_JPEG_file_write(whole, VIQ_STRIP_NEXT));
            const picture strip;
            bytes data;
            for (u32 done = 0; done < scene->height; done += strip->lines_per_strip) {
                set_lines(scene, lines);
                EXPECT_OK(VIQ_read_from_memory(scene, strip, VIQ_STRIP_NEXT));
                EXPECT_OK(VIQ_image_set_outfilename(strip, names[1].c_str()));
                EXPECT_OK(VIQ_JPEG_compress_strip(strip, parts, VIQ_STRIP_NEXT));
                EXPECT_EQ(parts->lines_per_strip, strip->lines_per_strip);
                EXPECT_OK(VIQ_JPEG_file_write(parts, VIQ_STRIP_NEXT));
                const bytes part = parts.data();
                data.insert(data.end(), part.begin(), part.end());
                ASSERT_GT(strip->lines_per_strip, 0u);
            }
            EXPECT_EQ(data, whole.data());
            EXPECT_EQ(parts->width, scene->width);
            EXPECT_EQ(parts->height, scene->height);
            EXPECT_EQ(read_file(names[0]), read_file(names[1]));
        }
}

TEST(JpegCodec, RejectsStripsOfAnotherPicture) {
    constexpr const char *name = "VIQ_JPEG_compress_strip";
    constexpr const char *other = "Sequence under way with another image";
    const picture scene(VIQ_RGB24, 32, 32);
    draw_scene(scene);
    set_lines(scene, 12);
    const jpeg_picture jpeg, second;
    const auto compress = [&](const picture &strip, u32 to) {
        return VIQ_JPEG_compress_strip(strip, to, VIQ_STRIP_NEXT);
    };
    EXPECT_REPORT(compress(scene, jpeg), name, VIQ_ERR_UNSUPPORTED | 12,
                  "Strips must have a multiple of 8 lines");
    set_lines(scene, 8);
    EXPECT_OK(compress(scene, jpeg));
    EXPECT_REPORT(compress(scene, second), name, VIQ_ERR_STATE, other);
    EXPECT_OK(compress(scene, jpeg));
    const picture wider(VIQ_RGB24, 33, 32);
    draw_scene(wider);
    EXPECT_REPORT(compress(wider, jpeg), name, VIQ_ERR_STATE, other);
    EXPECT_OK(compress(scene, jpeg));
    EXPECT_OK(VIQ_JPEG_compress_strip(scene, jpeg, VIQ_STRIP_FINISH));
    EXPECT_OK(compress(wider, second));
    EXPECT_EQ(VIQ_get_lines_this_strip(second), 32u);
}

TEST(JpegCodec, UsesTheStandardHuffmanTables) {
    const picture flat(VIQ_Y8, 8, 8);
    EXPECT_OK(VIQ_image_malloc_a_strip(flat));
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, 16));
    // DC is (level - 128) * 8 / 16: its code, its bits, EOB 1010, padding with 0 bits.
    const std::pair<u8, bytes> levels[] = {{128, {0b00101000}},
                                           {138, {0b10010110, 0b10000000}},
                                           {118, {0b10001010, 0b10000000}},
                                           {255, {0b11101111, 0b11101000}},
                                           {0, {0b11110011, 0b11111010}}};
    for (const auto &[level, data] : levels) {
        std::fill_n(flat->data, 64, level);
        EXPECT_OK(VIQ_JPEG_compress(flat, jpeg));
        EXPECT_EQ(jpeg.data(), data) << int(level);
        const picture out;
        EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT));
        EXPECT_NEAR(out->data[63], level, 8);
    }
}

TEST(JpegCodec, GrowsTheBufferAndStuffsMarkersForNoise) {
    const picture noisy(VIQ_YUV422, 400, 304);
    fill_with_noise(noisy);
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, 400));
    EXPECT_OK(VIQ_JPEG_compress(noisy, jpeg));
    const bytes data = jpeg.data();
    EXPECT_GT(data.size(), 400u * 304 * 2 + 10000) << "more than the buffer has at first";
    for (std::size_t i = 0; i < data.size(); ++i)
        if (data[i] == 0xFF) {
            ASSERT_EQ(data.at(++i), 0);
        }
    const picture out;
    EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT));
}

TEST(JpegCodec, RejectsUnsupportedInput) {
    const jpeg_picture jpeg;
    const picture strip(VIQ_Y8, 16, 16);
    set_lines(strip, 8);
    fill_with_noise(strip);
    EXPECT_ERROR(VIQ_JPEG_compress(strip, jpeg), VIQ_ERR_UNSUPPORTED | 8,
                 "This function only supports a complete image");
    for (const u16 format : words{VIQ_Y16, VIQ_RGB16, VIQ_XRGB32, VIQ_HSI, VIQ_YUV411}) {
        const picture other(format, 16, 16);
        fill_with_noise(other);
        EXPECT_ERROR(VIQ_JPEG_compress(other, jpeg), VIQ_ERR_UNSUPPORTED | format,
                     "Unsupported image format");
    }
    for (const auto &[width, height] : {std::pair(24u, 8u), {16u, 9u}}) {
        const picture yuv(VIQ_YUV422, width, height);
        fill_with_noise(yuv);
        EXPECT_REPORT(VIQ_JPEG_compress(yuv, jpeg), "VIQ_pad_to_MCU_1_strip", VIQ_ERR_UNSUPPORTED,
                      "Unsupported image type");
    }
    const picture empty(VIQ_Y8, 16, 16);
    EXPECT_ERROR(VIQ_JPEG_compress(empty, jpeg), VIQ_ERR_CORRUPT, "No image data");
    const picture wide(VIQ_Y8, 70000, 1);
    fill_with_noise(wide);
    EXPECT_ERROR(VIQ_JPEG_compress(wide, jpeg), VIQ_ERR_UNSUPPORTED, "Image too large for JPEG");
    fill_with_noise(empty);
    EXPECT_ERROR(VIQ_JPEG_compress(empty, strip), VIQ_ERR_HANDLE, "Not a JPEG image");
}

// The code tables are process-wide.
TEST(JpegCodec, KeepsDecodedCodesUntilTheyAreRebuilt) {
    const picture out, scene(VIQ_RGB24, 40, 40);
    draw_scene(scene, 0);
    const jpeg_picture foreign, standard, coded;
    EXPECT_OK(VIQ_JPEG_compress(scene, standard));
    ASSERT_EQ(read_stream(foreign, stream_of(standard)), 0u);
    std::swap(foreign.record().h_vals[2][0], foreign.record().h_vals[2][1]);
    VIQ_JPEG_decompress(foreign, out, VIQ_STRIP_NEXT);
    reported.clear();
    EXPECT_OK(VIQ_JPEG_compress(scene, coded));
    EXPECT_NE(coded.data(), standard.data());
    EXPECT_EQ(coded.record().h_vals[2][0], 1) << "the header names the standard tables";

    foreign.record().h_bits[2][15] = 0;
    VIQ_JPEG_decompress(foreign, out, VIQ_STRIP_NEXT);
    reported.clear();
    EXPECT_REPORT(VIQ_JPEG_compress(scene, coded), "VIQ_JPEG_compress_1_strip", state_error,
                  "Huffman codes lack symbols");
    restore_codes(coded);
    EXPECT_OK(VIQ_JPEG_compress(scene, coded));
    EXPECT_EQ(coded.data(), standard.data());
}

// ---- Corrupt data

// One code of each length given, in ascending order.
void set_codes(Tjpeg &record, u32 slot, const std::vector<std::pair<u32, u8>> &codes) {
    std::fill_n(record.h_bits[slot], 16, u8{0});
    for (std::size_t i = 0; i < codes.size(); ++i) {
        record.h_bits[slot][codes[i].first - 1] = 1;
        record.h_vals[slot][i] = codes[i].second;
    }
}

struct bad_data {
    bytes data;
    failures reports;
};

void expect_from_data(u16 format, u32 width, u32 height, const bad_data &row) {
    const picture scene(format, width, height);
    draw_scene(scene);
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    std::copy(row.data.begin(), row.data.end(), jpeg.record().data);
    jpeg.record().data_length = static_cast<u32>(row.data.size());
    const picture out;
    expect_reports([&] { return VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT); }, row.reports);
}

TEST(JpegCorruptData, IsReportedWithItsBlock) {
    constexpr const char *name = "VIQ_Huffman_decode_1_strip";
    const auto huffman = [](const char *message) { return failures{{name, state_error, message}}; };
    // Grey: DC 0 is 00, AC EOB 1010, ZRL 11111111001, (15, 1) 1111111111110101.
    expect_from_data(VIQ_Y8, 8, 8, {{0xFF, 0x00}, huffman("Y1: corrupt DC Huffman sequence")});
    expect_from_data(VIQ_Y8, 8, 8,
                     {{0x3F, 0xFF, 0x00}, huffman("Y1: corrupt AC Huffman sequence")});
    expect_from_data(
        VIQ_Y8, 8, 8,
        {{0b00111111, 0b11001111, 0b11111001, 0b11111111, 0, 0b00111111, 0b11100100, 0},
         huffman("Y1: corrupt AC Huffman sequence (> 63 coeffs read)")});
    // Colour: Y blocks of 00 1010; U: DC 0 is 00, EOB 00.
    expect_from_data(VIQ_RGB24, 16, 8,
                     {{0b00101011, 0xFF, 0}, huffman("Y2: corrupt DC Huffman sequence")});
    expect_from_data(
        VIQ_RGB24, 16, 8,
        {{0b00101000, 0b10101111, 0xFF, 0, 0xFF, 0}, huffman("U: corrupt DC Huffman sequence")});
    expect_from_data(VIQ_RGB24, 16, 8,
                     {{0b00101000, 0b10100000, 0b00111111, 0xFF, 0, 0xFF, 0},
                      huffman("V: corrupt AC Huffman sequence")});
    // The first of several parts of a row.
    expect_from_data(VIQ_Y8, 512, 8, {{0xFF, 0x00}, huffman("Y1: corrupt DC Huffman sequence")});
}

// Data that contains an end marker is read byte by byte.
TEST(JpegCorruptData, DataBeforeAnEndMarkerIsDecodedAsWithoutIt) {
    for (const u16 format : {VIQ_Y8, VIQ_RGB24}) {
        const picture scene(format, 64, 32), expected, out;
        fill_with_noise(scene);
        const jpeg_picture jpeg;
        EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, 400));
        EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
        EXPECT_OK(VIQ_JPEG_decompress(jpeg, expected, VIQ_STRIP_NEXT));
        jpeg.record().data_length += 2; // the end marker follows the data
        VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT);
        for (const failure &report : std::exchange(reported, {}))
            EXPECT_EQ(report.function, "refill_buffer");
        EXPECT_EQ(pixels_of(out), pixels_of(expected));
    }
}

TEST(JpegCorruptData, RejectsDcCategoriesAbove11) {
    const picture scene(VIQ_Y8, 8, 8), out;
    draw_scene(scene);
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    set_codes(jpeg.record(), 0, {{1, 11}, {2, 12}});
    jpeg.record().data[0] = 0b10000000;
    EXPECT_REPORT(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT), "read_dc_value", state_error,
                  "invalid DC category");
    restore_codes(jpeg);
}

TEST(JpegCorruptData, MarkersAreReportedAndReadAsData) {
    constexpr const char *name = "refill_buffer";
    const failure first = {name, state_error, "Unexpected EOI - processing byte 1"};
    const failure second = {name, state_error | 1, "Unexpected EOI - processing byte 2"};
    const failure start = {"VIQ_Huffman_decode_1_strip", state_error,
                           "Buffer failed to fill at start"};
    const picture scene(VIQ_Y8, 8, 8);
    draw_scene(scene);
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    const auto decode = [&](const bytes &data) {
        std::copy(data.begin(), data.end(), jpeg.record().data);
        jpeg.record().data_length = static_cast<u32>(data.size());
        const picture out;
        reported.clear();
        VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT);
        return std::exchange(reported, {});
    };
    EXPECT_EQ(decode({0xFF, 0xD9, 0, 0}), (failures{first, start}));
    EXPECT_EQ(decode({0b00101000, 0xFF, 0xD9, 0}), failures{second});
    EXPECT_EQ(decode({0b00101000, 0x00, 0xFF, 0xD9}), failures{first});
    EXPECT_EQ(decode({0b00101000}), failures{}) << "ones follow the data";

    // A value of 11 bits of which 2 exist, after codes of 2, 12 and 8 bits.
    const picture tall(VIQ_Y8, 8, 16);
    draw_scene(tall);
    EXPECT_OK(VIQ_JPEG_compress(tall, jpeg));
    set_codes(jpeg.record(), 0, {{2, 0}, {8, 11}});
    set_codes(jpeg.record(), 2, {{12, 0}});
    EXPECT_EQ(decode({0, 1, 3, 0xFF, 0, 0x80, 0, 0, 0xFF, 0xD9}), failures{first});
    restore_codes(jpeg);
}

TEST(JpegDecode, AcceptsCodesOfOneBit) {
    const picture scene(VIQ_Y8, 8, 8), out;
    draw_scene(scene);
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    set_codes(jpeg.record(), 0, {{1, 3}, {2, 0}});
    set_codes(jpeg.record(), 2, {{1, 0}});
    jpeg.record().data[0] = 0b01110111; // DC +7, a difference of 7 levels
    jpeg.record().data_length = 1;
    EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT));
    EXPECT_EQ(out->data[63], 135);
    restore_codes(jpeg);
}

TEST(JpegDecode, RejectsUnsupportedInput) {
    const jpeg_picture jpeg;
    const picture out;
    EXPECT_OK(VIQ_image_set_parameter(jpeg, VIQ_IMAGE_TYPE, VIQ_RGB24));
    EXPECT_ERROR(VIQ_JPEG_decompress(jpeg, out, 3), VIQ_ERR_UNSUPPORTED | VIQ_RGB24,
                 "Unsupported image format");
    bytes stream = scene_stream(VIQ_Y8, 16, 16);
    ASSERT_EQ(read_stream(jpeg, stream), 0u);
    EXPECT_ERROR(VIQ_JPEG_decompress(jpeg, missing, 3), VIQ_ERR_HANDLE,
                 "Output image does not exist");
    EXPECT_ERROR(VIQ_JPEG_decompress(jpeg, jpeg, 3), VIQ_ERR_PARAMETER,
                 "Input and output image are the same");
    const picture grey(VIQ_Y8, 16, 16);
    EXPECT_ERROR(VIQ_JPEG_decompress(grey, out, 3), VIQ_ERR_HANDLE, "Not a JPEG image");
    set_lines(jpeg, 8);
    EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, 3));
    EXPECT_ERROR(VIQ_JPEG_decompress(grey, out, 3), VIQ_ERR_STATE,
                 "Sequence under way with another image");
    EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, 4));
    jpeg->width = 0;
    EXPECT_ERROR(VIQ_JPEG_decompress(jpeg, out, 3), VIQ_ERR_CORRUPT, "Image has no size");
    jpeg->width = 70000;
    EXPECT_TRUE(is_error(VIQ_JPEG_decompress(jpeg, out, 3)));
    reported.clear();
    jpeg->height = jpeg->lines_per_strip = 60000;
    jpeg->width = 60000;
    EXPECT_ERROR(VIQ_JPEG_decompress(jpeg, out, 3), VIQ_ERR_CORRUPT,
                 "Image too large for its data");
    EXPECT_OK(VIQ_JPEG_free_data(jpeg));
    EXPECT_ERROR(VIQ_JPEG_decompress(jpeg, out, 3), VIQ_ERR_CORRUPT, "No image data");
    set_lines(jpeg, 0);
    EXPECT_OK(VIQ_JPEG_decompress(jpeg, out, 3));
}

// 4:2:0 data set in a compressed 4:2:2 picture: six blocks per MCU, four of them luma.
TEST(JpegDecode, RequiresStripsOf16LinesForYuv411) {
    const jpeg_picture jpeg;
    const picture scene(VIQ_RGB24, 32, 24);
    EXPECT_OK(VIQ_image_malloc_a_strip(scene));
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    // Y blocks with only DC +1: 010 1 1010; empty U and V blocks: 00 00.
    const bytes mcu = {0b01011010, 0b01011010, 0b01011010, 0b01011010, 0};
    jpeg->pixel_format = VIQ_YUV411;
    jpeg.record().data_length = 0;
    for (u32 i = 0; i < 4; ++i) {
        std::copy(mcu.begin(), mcu.end(), jpeg.record().data + jpeg.record().data_length);
        jpeg.record().data_length += static_cast<u32>(mcu.size());
    }
    const picture whole, strip, gathered;
    EXPECT_OK(VIQ_image_set_parameter(whole, VIQ_IMAGE_TYPE, VIQ_YUV422));
    EXPECT_OK(VIQ_image_set_parameter(strip, VIQ_IMAGE_TYPE, VIQ_YUV422));
    EXPECT_OK(VIQ_JPEG_decompress(jpeg, whole, 3));
    EXPECT_EQ(whole->height * 1000 + whole->width, 24032u);
    EXPECT_LT(whole->data[0], whole->data[16]);
    EXPECT_LT(whole->data[16], whole->data[8 * 64]) << "the third block lies below the first";
    EXPECT_EQ(whole->data[1], 128);
    set_lines(jpeg, 16);
    for (const u32 lines : {16u, 8u}) {
        EXPECT_OK(VIQ_JPEG_decompress(jpeg, strip, 3));
        EXPECT_EQ(strip->lines_per_strip, lines);
        EXPECT_OK(VIQ_write_to_memory(strip, gathered, 3));
    }
    EXPECT_EQ(pixels_of(gathered), pixels_of(whole));
    set_lines(jpeg, 8);
    EXPECT_REPORT(VIQ_JPEG_decompress(jpeg, strip, 3), "VIQ_JPEG_izz_1_strip", VIQ_ERR_UNSUPPORTED,
                  "For YUV 4:1:1 JPEG decoding, strip must be multiple of 16 lines");
}

TEST(JpegImageToImage, CompressesAndDecompressesFilesAndImages) {
    const std::string bmp = scratch_file("scene.bmp");
    const std::string jpg = scratch_file("scene.jpg");
    const picture scene(VIQ_RGB24, 64, 40);
    draw_scene(scene, 0);
    name_files(scene, bmp);
    EXPECT_OK(VIQ_image_write(scene, 0, VIQ_FILE_BMP, 3));

    const jpeg_picture in_memory, in_file;
    EXPECT_OK(VIQ_JPEG_compress_image_to_image(scene, in_memory, 1, 1));
    const picture from_file;
    EXPECT_OK(VIQ_image_set_infilename(from_file, bmp.c_str()));
    EXPECT_OK(VIQ_image_set_outfilename(from_file, jpg.c_str()));
    EXPECT_OK(VIQ_JPEG_compress_image_to_image(from_file, in_file, 2, 2));
    EXPECT_EQ(in_memory.data(), in_file.data());

    const jpeg_picture read;
    name_files(read, jpg);
    const picture gathered, direct;
    EXPECT_OK(VIQ_JPEG_decompress_image_to_image(read, gathered, 2, 1));
    EXPECT_EQ(gathered->pixel_format, VIQ_RGB24);
    EXPECT_OK(VIQ_JPEG_decompress(in_memory, direct, 3));
    EXPECT_EQ(pixels_of(gathered), pixels_of(direct));
    name_files(read, jpg);
    EXPECT_OK(VIQ_image_set_outfilename(read, bmp.c_str()));
    EXPECT_OK(VIQ_JPEG_decompress_image_to_image(read, gathered, 1, VIQ_FILE_BMP));
    const picture again;
    name_files(again, bmp);
    EXPECT_OK(VIQ_image_read(again, 0, 3));
    EXPECT_EQ(pixels_of(again), pixels_of(direct));

    EXPECT_OK(VIQ_image_set_outfilename(read, scratch_file("no/folder.bmp").c_str()));
    EXPECT_REPORT(VIQ_JPEG_decompress_image_to_image(read, gathered, 2, VIQ_FILE_BMP),
                  "VIQ_write_BMP_file", VIQ_ERR_OPEN, "Failed to create file");
}

} // namespace
} // namespace viq
