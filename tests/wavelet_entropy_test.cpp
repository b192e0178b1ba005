// The entropy stages on values of many kinds: both coders, all kernel sets, corrupt streams.
#include "wavelet/stages/entropy_packet.h"
#include "wavelet/stages/rans_coder.h"
#include "wavelet/stages/run_value_coder.h"

#include "tests/wavelet_support.h"

namespace viq {

namespace {

struct value_block {
    u32 width, height;
    bytes content; // 16-bit values

    value_block(u32 w, u32 h) : width(w), height(h), content(std::size_t{w} * h * 2) {}
    void set(std::size_t index, i32 value) {
        const auto narrow = static_cast<i16>(value);
        std::memcpy(&content[2 * index], &narrow, sizeof narrow);
    }
    std::size_t count() const { return content.size() / 2; }
};

// Statistics of values that exercise different parts of the coders.
struct value_kind {
    const char *name;
    i32 (*value)(std::size_t index, const value_block &block);
};

i32 sign() {
    return noise() % 2 != 0 ? 1 : -1;
}

const value_kind kinds[] = {
    {"nothing", [](std::size_t, const value_block &) { return 0; }},
    {"one", [](std::size_t i, const value_block &) { return i == 0 ? -300 : 0; }},
    {"sparse", [](std::size_t, const value_block &) { return noise() % 61 == 0 ? sign() : 0; }},
    {"no -1", [](std::size_t, const value_block &) { return noise() % 4 == 0 ? 2 * sign() : 0; }},
    {"shapes",
     [](std::size_t i, const value_block &block) {
         const auto x = static_cast<i32>(i % block.width / 9);
         return x % 5 == 0 ? static_cast<i32>(noise() % 40) * sign() : static_cast<i32>(x % 2);
     }},
    {"large", [](std::size_t, const value_block &) { return static_cast<i32>(noise() % 3000); }},
    {"any",
     [](std::size_t i, const value_block &) {
         constexpr i32 ends[] = {-32768, 32767, -32767, -1, 0, 1, 16384, -16385};
         return i % 3 == 0 ? ends[noise() % 8] : static_cast<i16>(noise() << 8 ^ noise());
     }},
};

value_block block_of(const value_kind &kind, u32 width, u32 height) {
    value_block block(width, height);
    for (std::size_t i = 0; i < block.count(); ++i)
        block.set(i, kind.value(i, block));
    return block;
}

struct coded {
    bytes settings, stream;
    bool operator==(const coded &) const = default;
};

coded encode(const value_block &block, entropy_coder coder) {
    byte_source source = {block.content, type_signed_16, block.width, block.height};
    const scoped_module null(null_id);
    EXPECT_EQ(set_source(null.handle, source.description()), success);
    const scoped_module serialiser(serialiser_id, 0u, null.handle);
    const scoped_module streaming(streaming_id, 0u, serialiser.handle);
    const scoped_module huffman(coder == coder_huffman ? huffman_id : null_id, 0u,
                                streaming.handle);
    coded result = {bytes(100), {}};
    auto size = static_cast<u32>(result.settings.size());
    EXPECT_EQ(query_module(huffman.handle, id_settings, &size, result.settings.data()), success);
    result.settings.resize(size);
    region part = {};
    do {
        part = {};
        EXPECT_EQ(get_region(huffman.handle, 0, 0, 0, &part), success);
        result.stream.insert(result.stream.end(), part.data, part.data + part.stride);
        release_region(huffman.handle, part.data);
    } while (part.stride != 0);
    return result;
}

// Returns the status and the values that were decoded before a failure.
u32 decode(const coded &from, entropy_coder coder, value_block &block) {
    byte_source source = {from.stream, type_bytes, static_cast<u32>(from.stream.size()), 1};
    const scoped_module null(null_id);
    EXPECT_EQ(set_source(null.handle, source.description()), success);
    const scoped_module huffman(coder == coder_huffman ? huffman_id : null_id, 1u, null.handle);
    const scoped_module streaming(streaming_id, 1u, huffman.handle);
    const scoped_module serialiser(serialiser_id, 1u, streaming.handle);
    u32 status = set_module(serialiser.handle, id_settings, static_cast<u32>(from.settings.size()),
                            from.settings.data());
    for (u32 y = 0; y < block.height && !failed(status);) {
        region lines = {block.width, block.height - y, nullptr, 0};
        status = get_region(serialiser.handle, 0, 0, y, &lines);
        if (failed(status))
            break;
        for (u32 i = 0; i < lines.height; ++i, ++y)
            std::memcpy(&block.content[std::size_t{y} * block.width * 2],
                        lines.data + std::size_t{i} * lines.stride, std::size_t{block.width} * 2);
        release_region(serialiser.handle, lines.data);
    }
    return status;
}

} // namespace

class WaveletEntropyKernels : public every_set {};

TEST_P(WaveletEntropyKernels, RoundTripValues) {
    constexpr std::pair<u32, u32> sizes[] = {{1, 1},  {1, 70},   {70, 1},    {2, 3},
                                             {33, 7}, {64, 129}, {351, 400}, {70001, 3}};
    for (const auto &[width, height] : sizes)
        for (const value_kind &kind : kinds)
            for (const entropy_coder coder : {coder_rans, coder_huffman}) {
                SCOPED_TRACE(text_of(width, height, kind.name, coder));
                const value_block block = block_of(kind, width, height);
                force_set(instruction_set::plain);
                const coded plain = encode(block, coder);
                force_set(GetParam());
                ASSERT_EQ(encode(block, coder), plain);
                value_block back(width, height);
                ASSERT_EQ(decode(plain, coder, back), success);
                ASSERT_EQ(back.content, block.content);
            }
}

// Corrupt streams that are decoded to an end give the same values with every set.
TEST_P(WaveletEntropyKernels, DecodeCorruptStreamsToEqualValues) {
    constexpr u32 width = 67, height = 21;
    constexpr u8 masks[] = {0x01, 0x80, 0xFF};
    if (GetParam() == instruction_set::plain)
        return; // what the others are compared with
    for (const entropy_coder coder : {coder_rans, coder_huffman})
        for (const value_kind &kind : kinds) {
            const coded valid = encode(block_of(kind, width, height), coder);
            for (std::size_t at = 0; at < valid.stream.size(); ++at) {
                coded corrupt = valid;
                corrupt.stream[at] ^= masks[at % std::size(masks)];
                value_block plain(width, height), back(width, height);
                force_set(instruction_set::plain);
                const u32 status = decode(corrupt, coder, plain);
                force_set(GetParam());
                ASSERT_EQ(decode(corrupt, coder, back), status) << kind.name << ' ' << at;
                if (!failed(status)) {
                    ASSERT_EQ(back.content, plain.content) << kind.name << ' ' << at;
                }
            }
        }
}

WITH_EVERY_SET(WaveletEntropyKernels);

template <class Encoder> bool packs_after_failed_allocation() {
    const auto encoder = std::make_unique<Encoder>();
    encoder->out_of_memory = true;
    encoder->begin();
    vector<u8> packet;
    return encoder->finish(1, packet);
}

TEST(WaveletEntropyCoder, RecoversFromFailedAllocations) {
    EXPECT_TRUE(packs_after_failed_allocation<run_value_encoder>());
    EXPECT_TRUE(packs_after_failed_allocation<rans_encoder>());
}

TEST(WaveletEntropyCoder, RejectsTruncatedStreams) {
    for (const entropy_coder coder : {coder_rans, coder_huffman})
        for (const value_kind &kind : kinds) {
            const coded valid = encode(block_of(kind, 37, 21), coder);
            value_block back(37, 21);
            for (std::size_t size = 0; size < valid.stream.size(); ++size) {
                coded truncated = valid;
                truncated.stream.resize(size);
                EXPECT_TRUE(failed(decode(truncated, coder, back))) << kind.name << ' ' << size;
            }
        }
}

} // namespace viq
