// The modules of the codec: descriptors, registry, statuses, run loop, source, level shifter.
#include "core/image.h"
#include "wavelet/codec/image_adapters.h"
#include "wavelet/stages/entropy_packet.h"
#include "wavelet/stages/subbands.h"

#include "tests/wavelet_support.h"

namespace viq {

namespace {

struct collected {
    struct block {
        u32 x, y, width, height;
        bool operator==(const block &) const = default;
    };
    std::vector<block> blocks;
    bytes content;
    u32 answer = success;

    static u32 take(void *context, u32 x, u32 y, const region &delivered) {
        auto &all = *static_cast<collected *>(context);
        all.blocks.push_back({x, y, delivered.width, delivered.height});
        all.content.insert(all.content.end(), delivered.data, delivered.data + delivered.width);
        return all.answer;
    }
};

} // namespace

TEST(WaveletModule, RegistryFindsModulesByIdAndName) {
    const std::pair<u32, const char *> known[] = {{2, "DWT codec"},
                                                  {3, "Level shifter"},
                                                  {4, "Discrete Wavelet Transform"},
                                                  {5, "DWT Quantiser"},
                                                  {6, "DWT serialiser"},
                                                  {7, "Huffman codec"},
                                                  {8, "Frame streaming"},
                                                  {0, "Null"}};
    for (const auto &[id, name] : known) {
        const scoped_module module(id);
        ASSERT_EQ(module.status, success) << name;
        u8 identity[36] = {};
        u32 size = 35;
        EXPECT_EQ(query_module(module.handle, 0, &size, identity), 0x40010701u);
        size = 40;
        EXPECT_EQ(query_module(module.handle, 0, &size, identity), success);
        EXPECT_EQ(size, 36u);
        EXPECT_EQ(load<u32>(identity, endian::little), 0x01000000u);
        EXPECT_STREQ(reinterpret_cast<const char *>(identity + 4), name);
    }
    for (const u32 id : {1u, 9u, 1000u})
        EXPECT_EQ(scoped_module(id).status, 0x4000A501u);
}

TEST(WaveletModule, RejectsInvalidCallsWithTheirStatuses) {
    const scoped_module null(null_id);
    const auto *no_module = reinterpret_cast<module_handle>(&reported);
    auto *invalid = const_cast<module_handle>(no_module);
    u32 size = 4;
    u32 value = 0;
    module_handle handle = nullptr;
    region requested = {};
    output_description output = {};
    run_request request = {0, 0, nullptr, nullptr};
    EXPECT_EQ(create_module(nullptr, 0, 0, nullptr, nullptr), 0x40009201u);
    EXPECT_EQ(create_module(&handle, 0, 0, nullptr, invalid), 0x40009701u);
    EXPECT_EQ(destroy_module(invalid), 0x4000DF01u);
    EXPECT_EQ(query_module(invalid, 2, &size, &value), 0x4000FB01u);
    EXPECT_EQ(query_module(null.handle, 2, nullptr, &value), 0x4000FE01u);
    EXPECT_EQ(query_module(null.handle, 2, &size, nullptr), 0x40010101u);
    EXPECT_EQ(set_module(invalid, 1, 0, nullptr), 0x40012601u);
    EXPECT_EQ(set_module(null.handle, 1, 4, nullptr), 0x40012901u);
    EXPECT_EQ(set_module(null.handle, 0, 4, &value), 0x40012E01u);
    EXPECT_EQ(run_module(invalid, &request, nullptr), 0x40018C01u);
    EXPECT_EQ(run_module(null.handle, nullptr, nullptr), 0x40018F01u);
    EXPECT_EQ(run_module(null.handle, &request, nullptr), 0x40019201u);
    EXPECT_EQ(describe_output(invalid, output), 0x40021801u);
    EXPECT_TRUE(failed(get_region(invalid, 0, 0, 0, &requested)));
    EXPECT_TRUE(failed(get_region(null.handle, 0, 0, 0, nullptr)));
    EXPECT_TRUE(failed(release_region(nullptr, nullptr)));

    ASSERT_EQ(create_module(&handle, null_id, 0, nullptr, nullptr), success);
    EXPECT_EQ(destroy_module(handle), success);
    EXPECT_EQ(destroy_module(handle), 0x4000DF01u) << "released handles are recognised";
}

// The tests below use the names of these documented numbers.
static_assert(type_signed_8 == 0 && type_bytes == 1 && type_signed_16 == 2 &&
              type_unsigned_16 == 3 && type_yuv422 == 20 && type_unspecified == 22 &&
              type_wavelet == 23 && id_settings == 4 && id_component == 355);

TEST(WaveletModule, NullModuleDescribesItsSource) {
    const scoped_module null(null_id);
    u32 value = 0;
    u32 size = 3;
    output_description output = {};
    region requested = {};
    EXPECT_EQ(query_module(null.handle, id_subbands, &size, &value), 0x40028201u);
    size = 4;
    EXPECT_EQ(query_module(null.handle, id_subbands, &size, &value), success);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(query_module(null.handle, id_output, &size, &value), 0x40027801u);
    EXPECT_EQ(query_module(null.handle, id_settings, &size, nullptr), success);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(query_module(null.handle, 99, &size, &value), 0x40028D01u);
    EXPECT_EQ(describe_output(null.handle, output), success);
    EXPECT_EQ(output.type, u32{type_unspecified});
    EXPECT_EQ(get_region(null.handle, 0, 0, 0, &requested), 0x4002E201u);
    EXPECT_EQ(set_value(null.handle, id_component, u32{0}), 0x4002A501u);
    EXPECT_EQ(set_value(null.handle, id_source, u32{0}), 0x4002AB01u);
    EXPECT_EQ(set_source(null.handle, {1, 2, 3, nullptr, nullptr}), 0x4002AE01u);
    EXPECT_EQ(set_value(null.handle, id_next_component, u32{1}), success);

    byte_source source = {{1, 2, 3, 4, 5, 6}, type_bytes, 3, 2};
    ASSERT_EQ(set_source(null.handle, source.description()), success);
    requested = {1, 1, nullptr, 0};
    ASSERT_EQ(get_region(null.handle, 0, 1, 1, &requested), success);
    EXPECT_EQ(*requested.data, 5);
    const scoped_module pass_through(null_id, null.handle);
    ASSERT_EQ(describe_output(pass_through.handle, output), success);
    EXPECT_EQ(output.width, 3u);
}

TEST(WaveletModule, RunLoopRequestsBlocksRowByRow) {
    byte_source source = {bytes(1000 * 40), type_bytes, 1000, 40};
    std::generate(source.content.begin(), source.content.end(), noise);
    const scoped_module null(null_id);
    ASSERT_EQ(set_source(null.handle, source.description()), success);
    collected all;
    run_request request = {0, 0, collected::take, &all};
    output_description info = {};
    ASSERT_EQ(run_module(null.handle, &request, &info), success);
    EXPECT_EQ(info.width, 1000u);
    EXPECT_EQ(all.blocks, (std::vector<collected::block>{{0, 0, 384, 32},
                                                         {384, 0, 384, 32},
                                                         {768, 0, 232, 32},
                                                         {0, 32, 384, 8},
                                                         {384, 32, 384, 8},
                                                         {768, 32, 232, 8}}));
    all = {{}, {}, 0x40777701};
    EXPECT_EQ(run_module(null.handle, &request, nullptr), 0x40777701u);
    EXPECT_EQ(all.blocks.size(), 1u) << "a failing sink ends the run";
}

TEST(WaveletModule, CodecMapsQualityAndRejectsInvalidModes) {
    for (const u32 mode : {4u, 1000u})
        EXPECT_EQ(scoped_module(codec_id, mode).status, 0x4000B001u);
    module_handle handle = nullptr;
    const u16 half = 0;
    EXPECT_EQ(create_module(&handle, codec_id, 2, &half, nullptr), 0x4000A401u);
    EXPECT_EQ(create_module(&handle, codec_id, 4, nullptr, nullptr), 0x40009E01u);
    u32 quality = 0;
    u32 size = 4;
    const scoped_module compressor(codec_id, 1u);
    const scoped_module decompressor(codec_id, 3u);
    EXPECT_EQ(query_module(compressor.handle, id_quality, &size, &quality), success);
    EXPECT_EQ(quality, 50u);
    EXPECT_EQ(set_value(compressor.handle, id_quality, u32{401}), 0x4002D601u);
    EXPECT_EQ(set_value(compressor.handle, id_quality, u16{4}), 0x40020901u);
    EXPECT_EQ(set_value(decompressor.handle, id_quality, u32{4}), 0x40021700u);
    EXPECT_EQ(query_module(decompressor.handle, id_quality, &size, &quality), 0x4001B700u);
    size = 3;
    EXPECT_EQ(query_module(compressor.handle, id_quality, &size, &quality), 0x4001B101u);

    // The control appears in the steps of the settings block.
    byte_source source = {bytes(64 * 64), type_bytes, 64, 64};
    ASSERT_EQ(set_source(compressor.handle, source.description()), success);
    const std::pair<u32, i16> controls[] = {{0, -384}, {1, -380}, {50, -192}, {100, 0},
                                            {101, 1},  {250, 96}, {400, 192}};
    for (const auto &[q, control] : controls) {
        ASSERT_EQ(set_value(compressor.handle, id_quality, q), success);
        bytes settings(1000);
        size = 1000;
        ASSERT_EQ(query_module(compressor.handle, id_settings, &size, settings.data()), success);
        const u32 subbands = load<u16>(&settings[6], endian::little);
        EXPECT_EQ(load<u32>(&settings[0], endian::little), 5u);
        EXPECT_EQ(load<u16>(&settings[4], endian::little), 1u);
        ASSERT_EQ(subbands, count_subbands(64, 64, 6));
        for (u32 band = 0; band < subbands; ++band)
            EXPECT_EQ(load<u16>(&settings[8 + 2 * band], endian::little),
                      quantiser_step(control, 0, band, subbands))
                << q << ' ' << band;
        EXPECT_EQ(load<u16>(&settings[8 + 2 * subbands], endian::little), 0u);
    }
}

TEST(WaveletModule, LevelShifterConvertsSampleTypes) {
    const std::vector<i32> signed_8 = {-128, -1, 0, 1, 127};
    const std::vector<i32> unsigned_8 = {0, 127, 128, 129, 255};
    const std::vector<i32> signed_16 = {-32768, -129, -1, 0, 127, 255, 256, 32767};
    struct pair {
        u32 from, to;
        std::vector<i32> in, out;
    };
    const pair pairs[] = {
        {type_signed_8, type_bytes, signed_8, {0, 127, 128, 129, 255}},
        {type_bytes, type_signed_8, unsigned_8, {-128, -1, 0, 1, 127}},
        {type_signed_8, type_signed_16, signed_8, signed_8},
        {type_signed_8, type_unsigned_16, signed_8, {32640, 32767, 32768, 32769, 32895}},
        {type_signed_8, type_wavelet, signed_8, {-8192, -64, 0, 64, 8128}},
        {type_bytes, type_signed_16, unsigned_8, {-128, -1, 0, 1, 127}},
        {type_bytes, type_unsigned_16, unsigned_8, unsigned_8},
        {type_bytes, type_wavelet, unsigned_8, {-8192, -64, 0, 64, 8128}},
        {type_signed_16, type_signed_8, signed_16, {-128, -128, -1, 0, 127, 127, 127, 127}},
        {type_signed_16, type_bytes, signed_16, {0, 0, 127, 128, 255, 255, 255, 255}},
        {type_signed_16,
         type_unsigned_16,
         signed_16,
         {0, 32639, 32767, 32768, 32895, 33023, 33024, 65535}},
        {type_unsigned_16, type_signed_16, {0, 32767, 32768, 65535}, {-32768, -1, 0, 32767}},
        {type_unsigned_16, type_signed_8, {0, 32767, 32768, 65535}, {-128, -1, 0, 127}},
        {type_unsigned_16, type_bytes, {0, 254, 255, 256, 65535}, {0, 254, 255, 255, 255}},
        {type_wavelet,
         type_bytes,
         {-32768, -33, -32, 0, 31, 32, 8128},
         {0, 127, 128, 128, 128, 129, 255}},
        {type_wavelet, type_signed_8, {-32768, -8192, 0, 8128}, {-128, 0, 127, 127}},
        {type_bytes, type_bytes, unsigned_8, unsigned_8},
        {type_unspecified, type_bytes, unsigned_8, unsigned_8},
        {type_bytes, type_unspecified, unsigned_8, unsigned_8},
    };
    const auto wide = [](u32 type) {
        return type == type_signed_16 || type == type_unsigned_16 || type == type_wavelet;
    };
    for (const pair &row : pairs) {
        SCOPED_TRACE(text_of(row.from, row.to));
        byte_source source = {{}, row.from, static_cast<u32>(row.in.size()), 1};
        for (const i32 v : row.in) {
            source.content.push_back(static_cast<u8>(v));
            if (wide(row.from))
                source.content.push_back(static_cast<u8>(v >> 8));
        }
        const scoped_module shifter(level_shifter_id, row.to);
        ASSERT_EQ(set_source(shifter.handle, source.description()), success);
        region requested = {source.width, 1, nullptr, 0};
        ASSERT_EQ(get_region(shifter.handle, 0, 0, 0, &requested), success);
        for (std::size_t i = 0; i < row.out.size(); ++i) {
            const u32 target = row.to == type_unspecified ? row.from : row.to;
            const u16 sample = wide(target) ? load<u16>(requested.data + 2 * i, endian::little)
                                            : requested.data[i];
            EXPECT_EQ(sample, static_cast<u16>(wide(target) ? row.out[i] : row.out[i] & 0xFF)) << i;
        }
        release_region(shifter.handle, requested.data);
    }
    for (const auto &[from, to] : {std::pair<u32, u32>{type_signed_16, type_wavelet},
                                   {type_unsigned_16, type_wavelet},
                                   {type_wavelet, type_signed_16},
                                   {type_yuv422, type_bytes}}) {
        byte_source source = {bytes(16), from, 4, 1};
        const scoped_module shifter(level_shifter_id, to);
        ASSERT_EQ(set_source(shifter.handle, source.description()), success);
        region requested = {4, 1, nullptr, 0};
        const u32 status = get_region(shifter.handle, 0, 0, 0, &requested);
        EXPECT_EQ(status & 0x400000FFu, 0x40000002u);
    }
    EXPECT_TRUE(failed(scoped_module(level_shifter_id, 4u).status));
}

TEST(WaveletModule, LevelShifterExtractsYuvComponents) {
    byte_source source = {{10, 20, 30, 40, 11, 21, 31, 41}, type_yuv422, 4, 1};
    const scoped_module shifter(level_shifter_id, u32{type_wavelet});
    ASSERT_EQ(set_source(shifter.handle, source.description()), success);
    const std::vector<i32> samples[] = {{10, 30, 11, 31}, {20, 21}, {40, 41}};
    for (u32 component = 0; component < 3; ++component) {
        ASSERT_EQ(set_value(shifter.handle, id_component, component), success);
        output_description output = {};
        ASSERT_EQ(describe_output(shifter.handle, output), success);
        EXPECT_EQ(output.type, u32{type_wavelet});
        ASSERT_EQ(output.width, samples[component].size());
        region requested = {output.width, 1, nullptr, 0};
        ASSERT_EQ(get_region(shifter.handle, 0, 0, 0, &requested), success);
        for (std::size_t i = 0; i < output.width; ++i)
            EXPECT_EQ(static_cast<i16>(load<u16>(requested.data + 2 * i, endian::little)),
                      (samples[component][i] - 128) * 64);
    }
    EXPECT_TRUE(failed(set_value(shifter.handle, id_component, u32{3})));
}

TEST(WaveletModule, MapsOutputTypesToPixelFormats) {
    const u16 rows[][3] = {
        {1, VIQ_Y8, 8},       {2, VIQ_WORK103, 16}, {3, VIQ_Y16, 16},    {4, VIQ_JPEG_WORK100, 32},
        {10, VIQ_RGB15, 16},  {11, VIQ_RGB16, 16},  {12, VIQ_RGB24, 24}, {13, VIQ_RGB8, 8},
        {14, VIQ_RGBX32, 32}, {20, VIQ_YUV422, 16}};
    const picture target;
    for (const auto &[type, format, bits] : rows) {
        EXPECT_OK(describe_image(*target.operator->(), {type, 5, 3}));
        EXPECT_EQ(target->pixel_format, format);
        EXPECT_EQ(target->bits_per_pixel, bits);
        EXPECT_EQ(target->bytes_per_line, (bits / 8u * 5 + 1) / 2 * 2);
        EXPECT_EQ(target->lines_per_strip, 3u);
    }
    EXPECT_REPORT(describe_image(*target.operator->(), {5, 5, 3}), "InfoToImage", 0x10070005,
                  "Unsupported compressor output type");
    EXPECT_OK(describe_image(*target.operator->(), {5, 0, 0}));
    EXPECT_EQ(target->pixel_format, 0);
    EXPECT_EQ(target->lines_per_strip, 1u);
}

TEST(WaveletModule, QuantiserRejectsInvalidSettings) {
    const auto set = [](bytes settings) {
        const scoped_module quantiser(quantiser_id, 1u);
        return set_module(quantiser.handle, id_settings, static_cast<u32>(settings.size()),
                          settings.data());
    };
    const bytes valid = {5, 0, 0, 0, 1, 0, 1, 0, 64, 0, 0, 0};
    const auto changed = [&](std::size_t at, u8 value) {
        bytes result = valid;
        result[at] = value;
        return result;
    };
    EXPECT_EQ(set(valid), success);
    EXPECT_TRUE(failed(set(bytes(valid.begin(), valid.end() - 1))));
    EXPECT_TRUE(failed(set(changed(0, 6))));
    EXPECT_EQ(set(changed(4, 2)), 0x40039F01u);
    EXPECT_TRUE(failed(set(changed(6, 2)))) << "more subbands than the block holds";
}

TEST(WaveletModule, VarintsRoundTrip) {
    for (const u32 value : {0u, 1u, 127u, 128u, 16383u, 16384u, 1u << 28, 0xFFFFFFFFu}) {
        u8 stored[8];
        const u8 *end = store_varint(stored, value);
        EXPECT_EQ(static_cast<u32>(end - stored), varint_size(value));
        stream_source stream = {stored, varint_size(value), 0};
        u32 found = 0;
        EXPECT_TRUE(read_varint(stream, found));
        EXPECT_EQ(found, value);
        EXPECT_TRUE(stream.at_end());
        stream = {stored, varint_size(value) - 1, 0};
        EXPECT_FALSE(read_varint(stream, found)) << "truncated";
    }
}

} // namespace viq
