// AVX2 row kernels of camera frames: 16 samples of more than 8 bits at a time. The other packings
// use the loops, which the compiler vectorises.
//
// A lane holds 8 samples, which occupy as many bytes in the frame as a sample has bits. The lower
// lane is loaded from the start of the 16 samples, the upper one so that it ends with the last
// sample; its first 16 - bits bytes belong to the lower lane.
#include "camera/frame_row_loops.h"
#include "core/simd.h"

namespace viq {

namespace {

constexpr u32 block_samples = 16;

struct register_bytes {
    alignas(32) u8 at[32];
};

// A rule computes the byte at each position of both lanes.
template <class Rule> constexpr register_bytes bytes_of(Rule rule) {
    register_bytes bytes = {};
    for (u32 n = 0; n < 32; ++n)
        bytes.at[n] = static_cast<u8>(rule(n / 16, n % 16));
    return bytes;
}

VIQ_FORMULA bytes32 constant(const register_bytes &bytes) {
    return _mm256_load_si256(reinterpret_cast<const __m256i *>(bytes.at));
}

// The multipliers of the samples of both lanes.
template <class Rule> constexpr register_bytes words_of(Rule rule) {
    return bytes_of([rule](u32, u32 position) { return rule(position / 2) >> 8 * (position % 2); });
}

// ---- Loading

// The byte of a lane's register at which sample n starts.
template <u32 bits> constexpr u32 first_byte(u32 lane, u32 n) {
    return (lane == 0 ? 0 : 16 - bits) + n * bits / 8;
}

// Two bytes hold each sample. The multiplication moves it to the upper end of a word.
template <u32 bits> VIQ_FORMULA bytes32 load_lsb_in_words(const u8 *frame) {
    static constexpr register_bytes order = bytes_of(
        [](u32 lane, u32 position) { return first_byte<bits>(lane, position / 2) + position % 2; });
    static constexpr register_bytes scale =
        words_of([](u32 n) { return 1u << (16 - bits - n * bits % 8); });
    const bytes32 words =
        _mm256_shuffle_epi8(load_halves(frame, frame + 2 * bits - 16), constant(order));
    return _mm256_srli_epi16(_mm256_mullo_epi16(words, constant(scale)), 16 - bits);
}

// Samples 4 L to 4 L + 3 of a frame lane go to lane L, one in each double word.
template <u32 bits, u32 frame_lane> VIQ_FORMULA bytes32 load_lsb_in_double_words(const u8 *frame) {
    static constexpr register_bytes order = bytes_of([](u32 lane, u32 position) {
        const u32 n = 4 * lane + position / 4;
        const u32 byte = position % 4;
        return byte * 8 < n * bits % 8 + bits ? first_byte<bits>(frame_lane, n) + byte : no_byte;
    });
    static constexpr register_bytes shifts = bytes_of([](u32 lane, u32 position) {
        return position % 4 == 0 ? (4 * lane + position / 4) * bits % 8 : 0;
    });
    const bytes32 both = _mm256_broadcastsi128_si256(load_128(frame));
    const bytes32 samples =
        _mm256_srlv_epi32(_mm256_shuffle_epi8(both, constant(order)), constant(shifts));
    return _mm256_and_si256(samples, _mm256_set1_epi32(low_mask(bits)));
}

// The word of each sample has the byte that two samples share below the other byte.
template <u32 bits> VIQ_FORMULA bytes32 load_gige(const u8 *frame) {
    static constexpr register_bytes order = bytes_of([](u32 lane, u32 position) {
        const u32 n = position / 2;
        const u32 unit = (lane == 0 ? 0 : 4) + n / 2 * 3;
        return unit + (position % 2 == 0 ? 1 : n % 2 * 2);
    });
    constexpr i32 low = low_mask(bits - 8);
    constexpr i32 high = low_mask(bits) - low_mask(bits - 8);
    const bytes32 words = _mm256_shuffle_epi8(load_halves(frame, frame + 8), constant(order));
    const bytes32 low_bits = _mm256_blend_epi16(words, _mm256_srli_epi16(words, 4), 0xAA);
    return _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(words, 16 - bits), splat16(high)),
                           _mm256_and_si256(low_bits, splat16(low)));
}

template <sample_order order, u32 bits> VIQ_FORMULA bytes32 load_samples(const u8 *frame) {
    if constexpr (order == sample_order::words)
        return _mm256_and_si256(load_256(frame), splat16(low_mask(bits)));
    else if constexpr (order == sample_order::gige)
        return load_gige<bits>(frame);
    else if constexpr (bits <= 12)
        return load_lsb_in_words<bits>(frame);
    else
        return in_pack_order(
            _mm256_packus_epi32(load_lsb_in_double_words<bits, 0>(frame),
                                load_lsb_in_double_words<bits, 1>(frame + 2 * bits - 16)));
}

// ---- Storing

// The lower lane starts with its `bytes` bytes, the upper one ends with them.
template <u32 bytes> VIQ_FORMULA void store_lanes_joined(u8 *frame, bytes32 v) {
    const __m128i low = _mm256_castsi256_si128(v);
    store_128(frame + 2 * bytes - 16, _mm256_extracti128_si256(v, 1));
    store_64(frame, low);
    store_64(frame + bytes - 8, _mm_srli_si128(low, bytes - 8));
}

// Each unit of `unit` bytes is at the start of `step` bytes of the register; moves them together.
template <u32 unit, u32 step> VIQ_FORMULA bytes32 join_units(bytes32 v) {
    constexpr u32 bytes = 16 / step * unit;
    static constexpr register_bytes order = bytes_of([](u32 lane, u32 position) {
        const u32 first = lane == 0 ? 0 : 16 - bytes;
        const u32 n = position - first;
        return position >= first && n < bytes ? n / unit * step + n % unit : no_byte;
    });
    return _mm256_shuffle_epi8(v, constant(order));
}

// Pairs of samples are joined in double words, then pairs of these in quad words.
template <u32 bits> VIQ_FORMULA void store_lsb(u8 *frame, bytes32 samples) {
    constexpr i64 pair = (i64{1} << 2 * bits) - 1;
    const bytes32 pairs = _mm256_madd_epi16(samples, splat_word_pair(1, 1 << bits));
    const bytes32 units = _mm256_or_si256(_mm256_and_si256(pairs, _mm256_set1_epi64x(pair)),
                                          _mm256_and_si256(_mm256_srli_epi64(pairs, 32 - 2 * bits),
                                                           _mm256_set1_epi64x(pair << 2 * bits)));
    store_lanes_joined<bits>(frame, join_units<bits / 2, 8>(units));
}

template <u32 bits> VIQ_FORMULA void store_gige(u8 *frame, bytes32 samples) {
    const bytes32 low_bits = _mm256_and_si256(samples, splat16(low_mask(bits - 8)));
    const bytes32 middle =
        _mm256_slli_epi32(_mm256_madd_epi16(low_bits, splat_word_pair(1, 16)), 8);
    const bytes32 units = _mm256_or_si256(_mm256_srli_epi16(samples, bits - 8), middle);
    store_lanes_joined<12>(frame, join_units<3, 4>(units));
}

template <sample_order order, u32 bits> VIQ_FORMULA void store_samples(u8 *frame, bytes32 words) {
    const bytes32 samples = _mm256_and_si256(words, splat16(low_mask(bits)));
    if constexpr (order == sample_order::words)
        store_256(frame, samples);
    else if constexpr (order == sample_order::gige)
        store_gige<bits>(frame, samples);
    else
        store_lsb<bits>(frame, samples);
}

// ---- Rows

// Frames exceed the caches: without prefetching, the loop waits for the lines that it writes.
VIQ_FORMULA void prefetch_ahead(const u8 *read, const u8 *written) {
    constexpr std::size_t distance = 1024;
    _mm_prefetch(reinterpret_cast<const char *>(read) + distance, _MM_HINT_T0);
    _mm_prefetch(reinterpret_cast<const char *>(written) + distance, _MM_HINT_T0);
}

// Visits the pixels of a line: block(offset, x) for 16 pixels from pixel x on, which start at the
// unit at this offset, and others(offset, n, x, count) for the rest, which starts at sample n.
template <sample_order order, u32 bits, class Block, class Others>
VIQ_FORMULA void walk_blocks(u32 first, u32 pixels, Block block, Others others) {
    constexpr packing_shape shape = shape_of_samples<order, bits>();
    constexpr u32 block_bytes = block_samples / shape.unit_pixels * shape.unit_bytes;
    u32 x = pixels_before_unit(shape, first, pixels);
    std::size_t offset = 0;
    if (first != 0) {
        others(offset, first, 0, x);
        offset = shape.unit_bytes;
    }
    for (; pixels - x >= block_samples; x += block_samples, offset += block_bytes)
        block(offset, x);
    others(offset, 0, x, pixels - x);
}

template <sample_order order, u32 bits>
void unpack_blocks(const u8 *frame, u32 first, u8 *line, u32 pixels) {
    const auto block = [=](std::size_t offset, std::size_t x) {
        prefetch_ahead(frame + offset, line + 2 * x);
        store_256(line + 2 * x, load_samples<order, bits>(frame + offset));
    };
    const auto others = [=](std::size_t offset, u32 n, std::size_t x, u32 count) {
        unpack_from<order, bits>(frame + offset, n, line + 2 * x, count);
    };
    walk_blocks<order, bits>(first, pixels, block, others);
}

template <sample_order order, u32 bits>
void pack_blocks(const u8 *line, u8 *frame, u32 first, u32 pixels) {
    const auto block = [=](std::size_t offset, std::size_t x) {
        prefetch_ahead(line + 2 * x, frame + offset);
        store_samples<order, bits>(frame + offset, load_256(line + 2 * x));
    };
    const auto others = [=](std::size_t offset, u32 n, std::size_t x, u32 count) {
        pack_from<order, bits>(line + 2 * x, frame + offset, n, count);
    };
    walk_blocks<order, bits>(first, pixels, block, others);
}

template <sample_order order, u32 bits>
constexpr void use_blocks(frame_kernels &kernels, frame_packing packing) {
    kernels.rows[static_cast<u32>(packing)] = {unpack_blocks<order, bits>,
                                               pack_blocks<order, bits>};
}

constexpr frame_kernels make_kernels() {
    frame_kernels kernels = frame_loops;
    use_blocks<sample_order::words, 10>(kernels, frame_packing::words_10);
    use_blocks<sample_order::words, 12>(kernels, frame_packing::words_12);
    use_blocks<sample_order::words, 14>(kernels, frame_packing::words_14);
    use_blocks<sample_order::words, 16>(kernels, frame_packing::words_16);
    use_blocks<sample_order::lsb, 10>(kernels, frame_packing::lsb_10);
    use_blocks<sample_order::lsb, 12>(kernels, frame_packing::lsb_12);
    use_blocks<sample_order::lsb, 14>(kernels, frame_packing::lsb_14);
    use_blocks<sample_order::gige, 10>(kernels, frame_packing::gige_10);
    use_blocks<sample_order::gige, 12>(kernels, frame_packing::gige_12);
    return kernels;
}

} // namespace

constexpr frame_kernels avx2_frames = make_kernels();

} // namespace viq
