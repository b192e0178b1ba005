// The records that callers and other programs see have a fixed layout: fields in the documented
// order with the documented widths, at their natural alignment. The offsets are those of 64-bit and
// of 32-bit systems, which differ by the size of a pointer.
#include <cstddef>
#include <type_traits>

#include "support.h"
#include "wavelet/codec/wavelet_record.h"

namespace viq {

namespace {

// The offset on the system that the tests are built for.
constexpr std::size_t by_pointer(std::size_t with_8_bytes, std::size_t with_4_bytes) {
    return sizeof(void *) == 8 ? with_8_bytes : with_4_bytes;
}

// One line a field: its offsets and its type.
#define FIELD(record, field, type, at_64, at_32)                                                   \
    static_assert(offsetof(record, field) == by_pointer(at_64, at_32));                            \
    static_assert(std::is_same_v<decltype(record::field), type>)
#define SIZE(record, size_64, size_32) static_assert(sizeof(record) == by_pointer(size_64, size_32))

using text = char[128];

FIELD(tVIQ_ErrRecord, version, u32, 0, 0);
FIELD(tVIQ_ErrRecord, last_code, u32, 4, 4);
FIELD(tVIQ_ErrRecord, other_code, u32, 8, 8);
FIELD(tVIQ_ErrRecord, handler, VIQ_ErrHandler, 16, 12);
SIZE(tVIQ_ErrRecord, 24, 16);

FIELD(tVIQ_Image, pixel_format, u16, 0, 0);
FIELD(tVIQ_Image, data_width, u16, 2, 2);
FIELD(tVIQ_Image, spare_text, text, 4, 4);
FIELD(tVIQ_Image, infilename, text, 132, 132);
FIELD(tVIQ_Image, outfilename, text, 260, 260);
FIELD(tVIQ_Image, width, u32, 388, 388);
FIELD(tVIQ_Image, height, u32, 392, 392);
FIELD(tVIQ_Image, bits_per_pixel, u16, 396, 396);
FIELD(tVIQ_Image, line_alignment, u32, 400, 400);
FIELD(tVIQ_Image, param_25, u32, 404, 404);
FIELD(tVIQ_Image, skip_bytes, u32, 408, 408);
FIELD(tVIQ_Image, param_18, u32, 412, 412);
FIELD(tVIQ_Image, param_19, u32, 416, 416);
FIELD(tVIQ_Image, data, u8 *, 424, 420);
FIELD(tVIQ_Image, data_companion, u32, 432, 424);
FIELD(tVIQ_Image, param_16, u32, 436, 428);
FIELD(tVIQ_Image, flags, u32, 440, 432);
FIELD(tVIQ_Image, num_colours, u16, 444, 436);
FIELD(tVIQ_Image, colourmap, tVIQ_Colour *, 448, 440);
FIELD(tVIQ_Image, cmap_info, tVIQ_CmapInfo *, 456, 444);
FIELD(tVIQ_Image, lines_per_strip, u32, 464, 448);
FIELD(tVIQ_Image, bytes_per_line, u32, 468, 452);
FIELD(tVIQ_Image, param_23, u16, 472, 456);
FIELD(tVIQ_Image, jpeg, Tjpeg *, 480, 460);
SIZE(tVIQ_Image, 488, 464);

using three_words = u16[3];

FIELD(Tjpeg, file, FILE *, 0, 0);
FIELD(Tjpeg, data_start, u32, 8, 4);
FIELD(Tjpeg, data, u8 *, 16, 8);
FIELD(Tjpeg, data_ptr, u8 *, 24, 12);
FIELD(Tjpeg, data_length, u32, 32, 16);
FIELD(Tjpeg, quality_factor, u16, 36, 20);
FIELD(Tjpeg, reserved_1, u8[6], 38, 22);
FIELD(Tjpeg, comment, char[32], 44, 28);
FIELD(Tjpeg, reserved_2, u8[16], 76, 60);
FIELD(Tjpeg, sof_length, u16, 92, 76);
FIELD(Tjpeg, precision, u16, 94, 78);
FIELD(Tjpeg, h_factor, three_words, 96, 80);
FIELD(Tjpeg, reserved_3, u16, 102, 86);
FIELD(Tjpeg, v_factor, three_words, 104, 88);
FIELD(Tjpeg, reserved_4, u16, 110, 94);
FIELD(Tjpeg, dqt_length, u16, 112, 96);
FIELD(Tjpeg, q_table_id, three_words, 114, 98);
FIELD(Tjpeg, reserved_5, u16, 120, 104);
FIELD(Tjpeg, q_table_count, u16, 122, 106);
FIELD(Tjpeg, q_tables, u8[4][64], 124, 108);
FIELD(Tjpeg, q_recip, u32[2][64], 380, 364);
FIELD(Tjpeg, dht_length, u16, 892, 876);
FIELD(Tjpeg, h_table_ids, u16[5], 894, 878);
FIELD(Tjpeg, h_bits, u8[4][16], 904, 888);
FIELD(Tjpeg, h_vals, u8[4][256], 968, 952);
FIELD(Tjpeg, sos_length, u16, 1992, 1976);
FIELD(Tjpeg, components, u16, 1994, 1978);
FIELD(Tjpeg, scan_ss, u8, 1996, 1980);
FIELD(Tjpeg, scan_se, u8, 1997, 1981);
FIELD(Tjpeg, scan_ahal, u8, 1998, 1982);
SIZE(Tjpeg, 2000, 1984);

FIELD(tVIQ_Colour, red, u8, 0, 0);
FIELD(tVIQ_Colour, green, u8, 1, 1);
FIELD(tVIQ_Colour, blue, u8, 2, 2);
FIELD(tVIQ_Colour, spare, u8, 3, 3);
SIZE(tVIQ_Colour, 4, 4);

FIELD(tVIQ_CmapBin, value, u32, 0, 0);
FIELD(tVIQ_CmapBin, occurrences, u32, 4, 4);
FIELD(tVIQ_CmapBin, index, u32, 8, 8);
SIZE(tVIQ_CmapBin, 12, 12);

FIELD(tVIQ_CmapInfo, bins, tVIQ_CmapBin[4096], 0, 0);
FIELD(tVIQ_CmapInfo, bin_count, u32, 49152, 49152);
FIELD(tVIQ_CmapInfo, red_bits, u8, 49156, 49156);
FIELD(tVIQ_CmapInfo, green_bits, u8, 49157, 49157);
FIELD(tVIQ_CmapInfo, blue_bits, u8, 49158, 49158);
FIELD(tVIQ_CmapInfo, grey_bits, u8, 49159, 49159);
FIELD(tVIQ_CmapInfo, colours_to_generate, u16, 49160, 49160);
FIELD(tVIQ_CmapInfo, distinct_colours, u32, 49164, 49164);
FIELD(tVIQ_CmapInfo, coverage, u16, 49168, 49168);
FIELD(tVIQ_CmapInfo, spare, u16[2], 49170, 49170);
SIZE(tVIQ_CmapInfo, 49176, 49176);

FIELD(tVIQ_Histogram, hue, u32[360], 0, 0);
FIELD(tVIQ_Histogram, saturation, u32[256], 1440, 1440);
FIELD(tVIQ_Histogram, intensity, u32[256], 2464, 2464);
FIELD(tVIQ_Histogram, totals, u32[3], 3488, 3488);
SIZE(tVIQ_Histogram, 3500, 3500);

FIELD(tVIQ_Average, average, u32[3], 0, 0);
SIZE(tVIQ_Average, 12, 12);

FIELD(tVIQ_Font, height, u32, 0, 0);
FIELD(tVIQ_Font, width, u32, 4, 4);
FIELD(tVIQ_Font, bytes_per_glyph, u32, 8, 8);
FIELD(tVIQ_Font, glyphs, const u8 *, 16, 12);
SIZE(tVIQ_Font, 24, 16);

FIELD(tVIQ_Command, argc, u32, 0, 0);
FIELD(tVIQ_Command, options, u32, 4, 4);
FIELD(tVIQ_Command, plains, u32, 8, 8);
FIELD(tVIQ_Command, program, text, 12, 12);
FIELD(tVIQ_Command, option, char[3][128], 140, 140);
FIELD(tVIQ_Command, plain, char[16][128], 524, 524);
SIZE(tVIQ_Command, 2572, 2572);

// The wavelet record, reached through VIQ_PTR_DATA. Private state follows these fields.
FIELD(wavelet_record, magic, u32, 0, 0);
FIELD(wavelet_record, settings_changed, u32, 4, 4);
FIELD(wavelet_record, quality, u32, 8, 8);
FIELD(wavelet_record, coding_type, u32, 12, 12);
FIELD(wavelet_record, subbands, u32, 16, 16);
FIELD(wavelet_record, compressor_chain, module_handle, 24, 20);
FIELD(wavelet_record, compressor_codec, module_handle, 32, 24);
FIELD(wavelet_record, stream_buffer, const u8 *, 40, 28);
FIELD(wavelet_record, stream_capacity, u32, 48, 32);
FIELD(wavelet_record, stream_length, u32, 52, 36);
FIELD(wavelet_record, source_format, u16, 56, 40);
FIELD(wavelet_record, components, u16, 58, 42);
FIELD(wavelet_record, component_bytes, u32[3], 60, 44);
FIELD(wavelet_record, settings_lengths, u16[2], 72, 56);
FIELD(wavelet_record, decompressor_chain, module_handle, 80, 60);
FIELD(wavelet_record, read_position, u32, 88, 64);
FIELD(wavelet_record, settings_loaded, u32, 92, 68);
FIELD(wavelet_record, settings_length, u32, 96, 72);
FIELD(wavelet_record, settings_buffer, const u8 *, 104, 76);

#undef FIELD
#undef SIZE

} // namespace

// What a program reads that knows only the offsets.
TEST(RecordLayout, WaveletRecordIsReadThroughTheDataPointer) {
    const u32 handle = VIQ_WVLT_image_create(1);
    EXPECT_OK(VIQ_WVLT_set_Quality_factor(handle, 77));
    EXPECT_OK(VIQ_WVLT_set_subbands(handle, 3));
    const auto *record = static_cast<const u8 *>(VIQ_image_get_ptr(handle, VIQ_PTR_DATA));
    const auto word_at = [record](std::size_t offset) {
        u32 value = 0;
        std::memcpy(&value, record + offset, sizeof value);
        return value;
    };
    EXPECT_EQ(word_at(0), 0xC0DE1234u);
    EXPECT_EQ(word_at(4), 1u); // settings changed
    EXPECT_EQ(word_at(8), 77u);
    EXPECT_EQ(word_at(12), 1u);
    EXPECT_EQ(word_at(16), 3u);
    for (std::size_t i = 20; i < by_pointer(112, 80); i += 4)
        EXPECT_EQ(word_at(i), 0u) << i; // the padding too

    // The buffers are those of the stream that is written.
    const picture source(VIQ_Y8, 20, 20), out;
    fill_with_noise(source);
    EXPECT_OK(VIQ_WVLT_compress(source, handle, VIQ_STRIP_NEXT));
    EXPECT_EQ(word_at(4), 0u);
    bytes stream(2000);
    u32 count = 0;
    EXPECT_OK(VIQ_WVLT_buffer_write(handle, stream.data(), &count, VIQ_STRIP_NEXT));
    const auto buffer_at = [record](std::size_t offset) {
        const u8 *buffer = nullptr;
        std::memcpy(&buffer, record + offset, sizeof buffer);
        return buffer;
    };
    const auto expect_buffers = [&] {
        const u32 length = word_at(by_pointer(52, 36));
        const u32 settings = word_at(by_pointer(96, 72));
        EXPECT_EQ(word_at(by_pointer(48, 32)), length);
        ASSERT_EQ(count, 28 + settings + length);
        EXPECT_EQ(std::memcmp(buffer_at(by_pointer(104, 76)), &stream[28], settings), 0);
        EXPECT_EQ(std::memcmp(buffer_at(by_pointer(40, 28)), &stream[28 + settings], length), 0);
        EXPECT_EQ(std::memcmp(record + by_pointer(56, 40), &stream[6], 20), 0);
    };
    expect_buffers();
    EXPECT_OK(VIQ_WVLT_buffer_read(handle, stream.data(), count));
    expect_buffers();
    EXPECT_EQ(word_at(by_pointer(92, 68)), 0u); // settings loaded
    EXPECT_OK(VIQ_WVLT_decompress(handle, out, VIQ_STRIP_NEXT));
    EXPECT_EQ(word_at(by_pointer(92, 68)), 1u);
    EXPECT_OK(VIQ_WVLT_image_destroy(handle));
}

} // namespace viq
