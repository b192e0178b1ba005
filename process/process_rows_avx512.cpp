// The AVX-512 row kernels of the image processing: those of AVX2, and wider ones where they gain.
#include "process/process_blocks_avx2.h"

namespace viq {

namespace {

using bytes64 = __m512i;

struct lanes_512 {
    using bytes = bytes64;
    static constexpr u32 size = 64;

    VIQ_FORMULA bytes load(const void *from) { return _mm512_loadu_si512(from); }
    VIQ_FORMULA void store(void *to, bytes value) { _mm512_storeu_si512(to, value); }
    VIQ_FORMULA bytes load_as_words(const u8 *from) { return _mm512_cvtepu8_epi16(load_256(from)); }
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
    VIQ_FORMULA bytes in_order(bytes packed) {
        return _mm512_permutexvar_epi64(_mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0), packed);
    }
};

// Lines that are shorter than a block are filtered with AVX2.
void filter_wide_blocks(filter_lines lines, u8 *target, u32 bytes, u32 pixel_stride,
                        const small_kernel &kernel) {
    if (bytes < lanes_512::size + 2 * pixel_stride)
        filter_blocks<lanes_256>(lines, target, bytes, pixel_stride, kernel);
    else
        filter_blocks<lanes_512>(lines, target, bytes, pixel_stride, kernel);
}

constexpr process_kernels wide_kernels() {
    process_kernels kernels = block_kernels();
    kernels.filter_small = filter_wide_blocks;
    return kernels;
}

} // namespace

constexpr process_kernels avx512_process = wide_kernels();

} // namespace viq
