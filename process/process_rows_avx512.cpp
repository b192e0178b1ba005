// The AVX-512 row kernels of the image processing: those of AVX2, and wider ones where they gain.
#include "core/simd512.h"
#include "process/process_blocks_avx2.h"

namespace viq {

namespace {

struct lanes_512 {
    using bytes = bytes64;
    static constexpr u32 size = 64;

    VIQ_FORMULA bytes load(const void *from) { return _mm512_loadu_si512(from); }
    VIQ_FORMULA void store(void *to, bytes value) { _mm512_storeu_si512(to, value); }
    VIQ_FORMULA bytes splat_words(i32 value) { return _mm512_set1_epi16(static_cast<i16>(value)); }
    VIQ_FORMULA bytes low_of(bytes a, bytes b) { return _mm512_unpacklo_epi8(a, b); }
    VIQ_FORMULA bytes high_of(bytes a, bytes b) { return _mm512_unpackhi_epi8(a, b); }
    VIQ_FORMULA bytes weigh_pairs(bytes a, bytes b) { return _mm512_maddubs_epi16(a, b); }
    VIQ_FORMULA bytes add(bytes a, bytes b) { return _mm512_add_epi16(a, b); }
    VIQ_FORMULA bytes times(bytes a, bytes b) { return _mm512_mullo_epi16(a, b); }
    VIQ_FORMULA bytes times_high(bytes a, bytes b) { return _mm512_mulhi_epu16(a, b); }
    VIQ_FORMULA bytes shift_right(bytes a, __m128i bits) { return _mm512_srl_epi16(a, bits); }
    VIQ_FORMULA bytes clamp_words(bytes a, bytes least, bytes most) {
        return _mm512_min_epi16(_mm512_max_epi16(a, least), most);
    }
    VIQ_FORMULA bytes pack(bytes a, bytes b) { return _mm512_packus_epi16(a, b); }
    VIQ_FORMULA bytes alternate(bytes even, bytes odd) {
        return _mm512_or_si512(even, _mm512_slli_epi16(odd, 8));
    }
    VIQ_FORMULA bytes to_unpack_order(bytes block) { return in_unpack_order(block); }
    VIQ_FORMULA bytes both(bytes a, bytes b) { return _mm512_and_si512(a, b); }
    VIQ_FORMULA bytes mean(bytes a, bytes b) { return _mm512_avg_epu8(a, b); }
    VIQ_FORMULA bytes splat_bytes(u32 value) { return _mm512_set1_epi8(static_cast<char>(value)); }
    VIQ_FORMULA bytes threshold(bytes v, bytes black_below, bytes white_from) {
        const bytes dark = _mm512_maskz_mov_epi8(_mm512_cmpge_epu8_mask(v, black_below), v);
        return _mm512_mask_mov_epi8(dark, _mm512_cmpge_epu8_mask(v, white_from),
                                    _mm512_set1_epi8(-1));
    }
    // The lane after each one.
    VIQ_FORMULA bytes next_lanes(bytes block, bytes next) {
        return _mm512_alignr_epi64(next, block, 2);
    }
    template <u32 words> VIQ_FORMULA bytes shifted(bytes lanes, bytes next) {
        return _mm512_alignr_epi8(next, lanes, 2 * words);
    }
    VIQ_FORMULA bytes in_order(bytes packed) { return in_pack_order(packed); }
};

// ---- Reversing

// As many pixels as a register holds. Where they do not fill it, the store also writes the byte
// before them, which the next store or the kernel of the rest overwrites; the condition leaves a
// pixel over so that this byte exists and the load stays within the source.
template <u32 size, auto reverse_rest>
void reverse_wide_blocks(const u8 *source, u8 *target, u32 pixels) {
    constexpr u32 at_once = lanes_512::size / size;
    constexpr u32 block = at_once * size;
    constexpr u32 before = lanes_512::size - block;
    static constexpr order64 order = order_of([](u32 byte) {
        return byte < before
                   ? 0
                   : block - size - (byte - before) / size * size + (byte - before) % size;
    });
    const bytes64 reversed = load_order(order);
    u8 *to = target + std::size_t{pixels} * size;
    for (; pixels >= at_once + (before != 0); pixels -= at_once, source += block) {
        to -= block;
        lanes_512::store(to - before, _mm512_permutexvar_epi8(reversed, lanes_512::load(source)));
    }
    reverse_rest(source, target, pixels);
}

// ---- Scaling

constexpr __mmask64 upper_bytes = 0xAAAAAAAAAAAAAAAAu;

// Samples in the upper bytes of 16-bit units, so that the upper half of a product with a fraction
// is the sample times the fraction >> 8.
VIQ_FORMULA bytes64 samples_at(bytes64 source, bytes64 shuffle) {
    return _mm512_maskz_permutexvar_epi8(upper_bytes, shuffle, source);
}

template <bool blended>
VIQ_FORMULA bytes64 resample_group_words(const u8 *source, const wide_resample_group &group,
                                         bytes64 pixel_stride) {
    const bytes64 shuffle = _mm512_load_si512(group.shuffle);
    const bytes64 block = lanes_512::load(source + group.source_base);
    const bytes64 samples = samples_at(block, shuffle);
    if constexpr (!blended)
        return _mm512_srli_epi16(samples, 8);
    const bytes64 next = samples_at(block, _mm512_add_epi8(shuffle, pixel_stride));
    const bytes64 of_next = _mm512_load_si512(group.fraction);
    const bytes64 of_this = _mm512_sub_epi16(_mm512_set1_epi16(256), of_next);
    return _mm512_add_epi16(_mm512_mulhi_epu16(samples, of_this),
                            _mm512_mulhi_epu16(next, of_next));
}

// Lines of less than 64 bytes have narrow groups.
template <bool blended>
void resample_wide_pairs(const u8 *source, u8 *target, const resample_plan &plan,
                         const u8 *next_source) {
    if (plan.wide_groups.empty())
        return resample_pairs<blended>(source, target, plan, next_source);
    const wide_resample_group *group = plan.wide_groups.data();
    const bytes64 pixel_stride = lanes_512::splat_bytes(plan.pixel_stride);
    for (std::size_t pairs = plan.wide_groups.size() / 2; pairs != 0; --pairs, group += 2) {
        __builtin_prefetch(next_source + group[0].source_base);
        __builtin_prefetch(next_source + group[1].source_base);
        const bytes64 packed = lanes_512::in_order(
            _mm512_packus_epi16(resample_group_words<blended>(source, group[0], pixel_stride),
                                resample_group_words<blended>(source, group[1], pixel_stride)));
        store_256(target + group[0].first, _mm512_castsi512_si256(packed));
        store_256(target + group[1].first, _mm512_extracti64x4_epi64(packed, 1));
    }
}

// Lines that are shorter than a block are processed with AVX2.
u32 halve_wide_blocks(const u8 *source, u8 *target, const resample_plan &plan,
                      const u8 *next_source) {
    return plan.samples < lanes_512::size
               ? halve_bytes<lanes_256>(source, target, plan, next_source)
               : halve_bytes<lanes_512>(source, target, plan, next_source);
}

void blend_wide_blocks(const u8 *a, const u8 *b, u8 *target, u32 bytes, u32 fraction,
                       const u8 *next_target) {
    if (bytes < lanes_512::size)
        blend_blocks<lanes_256>(a, b, target, bytes, fraction, next_target);
    else
        blend_blocks<lanes_512>(a, b, target, bytes, fraction, next_target);
}

// ---- Thresholds

void threshold_wide_blocks(const u8 *source, u8 *target, u32 bytes, u32 upper, u32 lower) {
    if (bytes < lanes_512::size)
        threshold_blocks<lanes_256>(source, target, bytes, upper, lower);
    else
        threshold_blocks<lanes_512>(source, target, bytes, upper, lower);
}

// ---- Filters

void filter_wide_blocks(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                        const small_kernel &kernel) {
    if (bytes < lanes_512::size + 2 * pixel_stride)
        filter_blocks<lanes_256>(lines, target, bytes, pixel_stride, kernel);
    else
        filter_blocks<lanes_512>(lines, target, bytes, pixel_stride, kernel);
}

constexpr process_kernels wide_kernels() {
    process_kernels kernels = block_kernels();
    kernels.reverse[1] = reverse_wide_blocks<1, reverse_blocks<1>>;
    kernels.reverse[2] = reverse_wide_blocks<2, reverse_blocks<2>>;
    kernels.reverse[3] = reverse_wide_blocks<3, reverse_24_bit>;
    kernels.reverse[4] = reverse_wide_blocks<4, reverse_blocks<4>>;
    kernels.resample = resample_with<halve_wide_blocks, halve_24_bit, double_bytes<lanes_512>,
                                     resample_wide_pairs<false>, resample_wide_pairs<true>>;
    kernels.has_wide_groups = true;
    kernels.blend = blend_wide_blocks;
    kernels.threshold = threshold_wide_blocks;
    kernels.filter_small = filter_wide_blocks;
    return kernels;
}

} // namespace

constexpr process_kernels avx512_process = wide_kernels();

} // namespace viq
