// The JPEG record: its fields, tables and buffer.
#include "jpeg_support.h"

namespace viq {
namespace {

TEST(JpegRecord, HasDefaultsAndReturnsItsParameters) {
    const jpeg_picture jpeg;
    const Tjpeg &record = jpeg.record();
    EXPECT_EQ(record.quality_factor, 32);
    EXPECT_EQ(std::string(record.comment, 32), std::string(32, ' '));
    EXPECT_EQ(record.h_table_ids[0], 255);
    EXPECT_EQ(VIQ_image_get_parameter(jpeg, VIQ_JPEG_PARAM), 0u);
    EXPECT_EQ(VIQ_JPEG_get_parameter(jpeg, 600), 0u);
    EXPECT_ERROR(VIQ_JPEG_get_parameter(jpeg, 603), VIQ_ERR_PARAMETER, "Unknown parameter");
    const picture plain;
    EXPECT_ERROR(VIQ_JPEG_get_parameter(plain, 600), VIQ_ERR_HANDLE, "Not a JPEG image");
    EXPECT_ERROR(VIQ_JPEG_get_parameter(missing, 600), VIQ_ERR_HANDLE, "");
    EXPECT_ERROR(VIQ_JPEG_copy_parameters(jpeg, plain), VIQ_ERR_HANDLE, "");
    const std::string id(32, 'x');
    EXPECT_OK(VIQ_image_set_ptr(jpeg, VIQ_PTR_JPEG_ID, const_cast<char *>(id.data())));
    EXPECT_EQ(std::string(record.comment, 32), id);
}

TEST(JpegRecord, RejectsFactorsOutOfRange) {
    const jpeg_picture jpeg;
    for (const u16 factor : words{1, 400})
        EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, factor));
    for (const u16 factor : words{0, 401})
        EXPECT_ERROR(VIQ_JPEG_set_Quality_factor(jpeg, factor), VIQ_ERR_PARAMETER,
                     "Q factor of range");
    for (const u16 factor : words{1, 801})
        EXPECT_ERROR(VIQ_JPEG_set_Quantization_factor(jpeg, factor), VIQ_ERR_PARAMETER,
                     "Q factor of range");
    const std::pair<u16, u16> pairs[] = {{2, 400}, {3, 266}, {50, 16}, {800, 1}};
    for (const auto &[factor, quality] : pairs) {
        EXPECT_OK(VIQ_JPEG_set_Quantization_factor(jpeg, factor));
        EXPECT_EQ(jpeg.record().quality_factor, quality);
    }
}

TEST(JpegRecord, ScalesQuantisationTablesByQuality) {
    const jpeg_picture jpeg;
    const Tjpeg &record = jpeg.record();
    const u8 luminance[] = {16, 11, 12, 14, 12, 10, 16, 14};
    const u8 chrominance[] = {17, 18, 18, 24, 21, 24, 47, 26};
    for (u16 quality = 1; quality <= 400; ++quality) {
        EXPECT_OK(VIQ_JPEG_set_Quality_factor(jpeg, quality));
        EXPECT_OK(VIQ_JPEG_make_Q_tables(jpeg));
        for (u32 k = 0; k < 8; ++k) {
            const auto scaled = [&](u8 step) {
                return std::clamp(static_cast<int>(step * (16.0 / quality) + 0.5), 1, 255);
            };
            ASSERT_EQ(record.q_tables[0][k], scaled(luminance[k])) << quality;
            ASSERT_EQ(record.q_tables[1][k], scaled(chrominance[k])) << quality;
        }
        for (u32 k = 0; k < 64; ++k) {
            const u32 q = record.q_tables[1][k];
            ASSERT_EQ(record.q_recip[1][k], (q / 2 + 65536) / q);
        }
    }
    EXPECT_EQ(record.q_table_count, 2);
    EXPECT_EQ(record.dqt_length, 132);
    EXPECT_EQ(record.q_table_id[0] * 100 + record.q_table_id[1] * 10 + record.q_table_id[2], 11);
}

TEST(JpegRecord, RejectsCorruptHuffmanTables) {
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_image_set_parameter(jpeg, VIQ_IMAGE_TYPE, VIQ_YUV422));
    EXPECT_OK(VIQ_JPEG_set_default_H_tables(jpeg));
    EXPECT_EQ(jpeg.record().dht_length, 416);
    EXPECT_OK(VIQ_JPEG_generate_H_codetable_LUTs(jpeg));
    EXPECT_OK(VIQ_JPEG_generate_Huffman_decode_tables(jpeg));
    jpeg.record().h_bits[1][3] = 200;
    EXPECT_ERROR(VIQ_JPEG_generate_H_codetable_LUTs(jpeg), VIQ_ERR_CORRUPT,
                 "Corrupt Huffman table");
}

TEST(JpegRecord, AllocatesDataUnlessItIsTheCallers) {
    const jpeg_picture jpeg;
    EXPECT_OK(VIQ_image_set_parameter(jpeg, VIQ_IMAGE_TYPE, VIQ_Y8));
    VIQ_image_set_parameter(jpeg, VIQ_WIDTH, 100);
    EXPECT_OK(VIQ_JPEG_malloc_data(jpeg));
    std::fill_n(jpeg.record().data, 100 * 8 + 10000, u8{1}); // sanitizers detect a smaller buffer
    jpeg.record().data_length = 7;
    // A lock flag that is set afterwards does not keep the library's buffer from growing.
    EXPECT_OK(VIQ_image_set_flags(jpeg, VIQ_FLAG_LOCKED, 1));
    EXPECT_OK(VIQ_JPEG_malloc_N_bytes_data(jpeg, 100000));
    std::fill_n(jpeg.record().data, 100000, u8{2});
    EXPECT_OK(VIQ_JPEG_free_data(jpeg));
    EXPECT_NE(jpeg.record().data, nullptr);
    EXPECT_OK(VIQ_image_set_flags(jpeg, VIQ_FLAG_LOCKED, 0));
    EXPECT_OK(VIQ_JPEG_free_data(jpeg));
    EXPECT_EQ(jpeg.record().data, nullptr);
    EXPECT_EQ(jpeg.record().data_length, 0u);

    bytes callers(60000);
    EXPECT_OK(VIQ_image_set_ptr(jpeg, VIQ_PTR_JPEG_DATA, callers.data()));
    EXPECT_OK(VIQ_image_set_flags(jpeg, VIQ_FLAG_LOCKED, 1));
    EXPECT_OK(VIQ_JPEG_malloc_data(jpeg));
    const picture scene(VIQ_RGB24, 80, 40);
    draw_scene(scene);
    EXPECT_OK(VIQ_JPEG_compress(scene, jpeg));
    EXPECT_EQ(VIQ_image_get_ptr(jpeg, VIQ_PTR_JPEG_DATA), callers.data());
    EXPECT_GT(VIQ_image_get_parameter(jpeg, VIQ_JPEG_PARAM), 100u);
}

TEST(JpegRecord, CopyAndMoveTransferTheData) {
    const picture scene(VIQ_Y8, 40, 30);
    draw_scene(scene);
    const jpeg_picture from, to, moved;
    EXPECT_OK(VIQ_JPEG_compress(scene, from));
    const bytes data = from.data();
    EXPECT_OK(VIQ_image_copy(from, to));
    EXPECT_EQ(to.data(), data);
    EXPECT_EQ(to->height, 30u);
    EXPECT_OK(VIQ_image_move(from, moved));
    EXPECT_EQ(moved.data(), data);
    EXPECT_EQ(from.record().data, nullptr);
    EXPECT_EQ(stream_of(moved), stream_of(to));
}

} // namespace
} // namespace viq
