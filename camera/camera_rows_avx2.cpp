// AVX2 row kernels: 32 pixels of a mosaic, or 8 pairs of YUV 4:2:2 at a time. The loops process
// what remains after the last whole block.
#include "camera/mosaic_blocks.h"
#include "convert/planes_avx2.h"
#include "core/simd.h"

namespace viq {

namespace {

// _mm256_avg_epu8 rounds up: it exceeds the truncated mean by the lowest bit of the sum.

VIQ_FORMULA bytes32 odd_sum(bytes32 a, bytes32 b) {
    return _mm256_and_si256(_mm256_xor_si256(a, b), splat8(1));
}

struct avx2_vectors {
    using bytes = bytes32;
    using planes = viq::planes;
    static constexpr u32 block = viq::block;

    VIQ_FORMULA bytes load(const u8 *from) { return load_256(from); }
    VIQ_FORMULA void store(u8 *to, bytes v) { store_256(to, v); }
    VIQ_FORMULA planes load_rgb24(const u8 *from) { return load_three<VIQ_RGB24>(from); }
    VIQ_FORMULA void store_rgb24(u8 *to, const planes &p) { store_three<VIQ_RGB24>(to, p); }
    template <u16 format> VIQ_FORMULA void store_pixels(u8 *to, const planes &p) {
        if constexpr (format == VIQ_BGRX32)
            store_four<VIQ_BGRX32>(to, p, false);
        else
            store_fields<format>(to, p);
    }
    VIQ_FORMULA bytes words(i32 value) { return splat16(value); }
    VIQ_FORMULA bytes both(bytes a, bytes b) { return _mm256_and_si256(a, b); }
    VIQ_FORMULA bytes without(bytes v, bytes mask) { return _mm256_andnot_si256(mask, v); }
    VIQ_FORMULA bytes select(bytes mask, bytes yes, bytes no) {
        return _mm256_blendv_epi8(no, yes, mask);
    }
    VIQ_FORMULA bytes less(bytes a, bytes b) {
        return _mm256_xor_si256(_mm256_cmpeq_epi8(_mm256_min_epu8(a, b), b), splat8(0xFF));
    }
    VIQ_FORMULA bytes mean2(bytes a, bytes b) {
        return _mm256_sub_epi8(_mm256_avg_epu8(a, b), odd_sum(a, b));
    }
    // If both means truncated a half, together they lost 1 of the sum of four.
    VIQ_FORMULA bytes mean4(bytes a, bytes b, bytes c, bytes d) {
        const bytes first = mean2(a, b);
        const bytes second = mean2(c, d);
        const bytes dropped = _mm256_and_si256(odd_sum(a, b), odd_sum(c, d));
        return _mm256_sub_epi8(_mm256_avg_epu8(first, second),
                               _mm256_andnot_si256(dropped, odd_sum(first, second)));
    }
    VIQ_FORMULA bytes mean_up(bytes a, bytes b) { return _mm256_avg_epu8(a, b); }
    VIQ_FORMULA bytes difference(bytes a, bytes b) {
        return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
    }
    VIQ_FORMULA bytes add(bytes a, bytes b) { return _mm256_adds_epu8(a, b); }
};

// ---- Chroma keying

VIQ_FORMULA bytes32 within(bytes32 v, i32 low, i32 high) {
    return _mm256_and_si256(_mm256_cmpgt_epi32(v, _mm256_set1_epi32(low)),
                            _mm256_cmpgt_epi32(_mm256_set1_epi32(high), v));
}

// Each gather reads two hues, starting at an even index, so that it does not read beyond the table.
VIQ_FORMULA bytes32 hues_of(bytes32 pairs, const u16 *table) {
    const bytes32 u = _mm256_and_si256(pairs, _mm256_set1_epi32(0xFF00));
    const bytes32 v = _mm256_srli_epi32(pairs, 24);
    const bytes32 two = _mm256_i32gather_epi32(reinterpret_cast<const int *>(table),
                                               _mm256_srli_epi32(_mm256_or_si256(u, v), 1), 4);
    const bytes32 odd = _mm256_slli_epi32(_mm256_and_si256(v, _mm256_set1_epi32(1)), 4);
    return _mm256_and_si256(_mm256_srlv_epi32(two, odd), _mm256_set1_epi32(0xFFFF));
}

// Eight pairs, or one pair repeated eight times.
VIQ_FORMULA bytes32 load_pairs(const u8 *pairs, u32 step) {
    i32 first = 0;
    std::memcpy(&first, pairs, 4);
    return step == 4 ? load_256(pairs) : _mm256_set1_epi32(first);
}

void key_blocks(const u8 *source, const u8 *replacement, u32 step, u8 *target, u8 *keyed, u32 pairs,
                const key_window &window) {
    u32 n = 0;
    for (; n + 8 <= pairs; n += 8, source += 32, replacement += 8 * step, target += 32) {
        const bytes32 kept = load_256(source);
        const bytes32 new_pairs = load_pairs(replacement, step);
        const bytes32 luma = _mm256_and_si256(kept, _mm256_set1_epi32(0xFF));
        const bytes32 inside =
            _mm256_and_si256(within(luma, window.low_luma, window.high_luma),
                             within(hues_of(kept, window.hues), window.low_hue, window.high_hue));
        store_256(target, _mm256_blendv_epi8(kept, new_pairs, inside));
        const __m128i words =
            _mm_packs_epi32(_mm256_castsi256_si128(inside), _mm256_extracti128_si256(inside, 1));
        const __m128i flags = _mm_and_si128(_mm_packs_epi16(words, words), _mm_set1_epi8(1));
        store_64(keyed + n, flags);
    }
    key_from(source, replacement, step, target, keyed + n, pairs - n, window);
}

void soften_blocks(const u8 *source, const u8 *replacement, u32 step, u8 *target, const u8 *keyed,
                   u32 pairs) {
    u32 n = 0;
    for (; n + 8 <= pairs; n += 8, source += 32, replacement += 8 * step, target += 32) {
        const __m128i beside = _mm_or_si128(load_64(keyed + n - 1), load_64(keyed + n + 1));
        const __m128i softened = _mm_andnot_si128(load_64(keyed + n), beside);
        if (_mm_testz_si128(softened, softened) != 0)
            continue;
        const bytes32 mask =
            _mm256_sub_epi32(_mm256_setzero_si256(), _mm256_cvtepu8_epi32(softened));
        const bytes32 means = avx2_vectors::mean2(load_256(source), load_pairs(replacement, step));
        store_256(target, _mm256_blendv_epi8(load_256(target), means, mask));
    }
    soften_from(source, replacement, step, target, keyed + n, pairs - n);
}

} // namespace

constexpr camera_kernels avx2_camera = with_demosaic<demosaic_blocks<avx2_vectors>>(
    {mosaic_blocks<avx2_vectors>, show_blocks<avx2_vectors>, {}, {}, key_blocks, soften_blocks});

} // namespace viq
