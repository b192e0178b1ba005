// AVX2 row kernels: 32 pixels of a mosaic, or 8 pairs of YUV 4:2:2 at a time. The loops process
// what remains after the last whole block.
#include "camera/camera_row_loops.h"
#include "convert/planes_avx2.h"
#include "core/simd.h"

namespace viq {

namespace {

// 0xFF at the columns of green samples.
VIQ_FORMULA bytes32 green_columns(mosaic_line line) {
    return line.green_first ? splat16(0x00FF) : splat16(static_cast<i32>(0xFF00));
}

void mosaic_blocks(const u8 *rgb24, u8 *target, u32 pixels, mosaic_line line) {
    const bytes32 green = green_columns(line);
    u32 x = 0;
    for (; x + block <= pixels; x += block) {
        const planes p = load_three<VIQ_RGB24>(rgb24 + std::size_t{3} * x);
        store_256(target + x, _mm256_blendv_epi8(line.red ? p.red : p.blue, p.green, green));
    }
    // The loop continues at an even column.
    mosaic_loop(rgb24 + std::size_t{3} * x, target + x, pixels - x, line);
}

void show_blocks(const u8 *samples, u8 *rgb24, u32 pixels, mosaic_line line) {
    const bytes32 green = green_columns(line);
    const bytes32 zero = _mm256_setzero_si256();
    u32 x = 0;
    for (; x + block <= pixels; x += block) {
        const bytes32 v = load_256(samples + x);
        const bytes32 own = _mm256_andnot_si256(green, v);
        store_three<VIQ_RGB24>(
            rgb24 + std::size_t{3} * x,
            {line.red ? own : zero, _mm256_and_si256(green, v), line.red ? zero : own});
    }
    show_loop(samples + x, rgb24 + std::size_t{3} * x, pixels - x, line);
}

// ---- Demosaicing

// _mm256_avg_epu8 rounds up: it exceeds the truncated mean by the lowest bit of the sum.

VIQ_FORMULA bytes32 odd_sum(bytes32 a, bytes32 b) {
    return _mm256_and_si256(_mm256_xor_si256(a, b), splat8(1));
}

VIQ_FORMULA bytes32 mean2(bytes32 a, bytes32 b) {
    return _mm256_sub_epi8(_mm256_avg_epu8(a, b), odd_sum(a, b));
}

// If both means truncated a half, together they lost 1 of the sum of four.
VIQ_FORMULA bytes32 mean4(bytes32 a, bytes32 b, bytes32 c, bytes32 d) {
    const bytes32 first = mean2(a, b);
    const bytes32 second = mean2(c, d);
    const bytes32 dropped = _mm256_and_si256(odd_sum(a, b), odd_sum(c, d));
    return _mm256_sub_epi8(_mm256_avg_epu8(first, second),
                           _mm256_andnot_si256(dropped, odd_sum(first, second)));
}

VIQ_FORMULA bytes32 absolute_difference(bytes32 a, bytes32 b) {
    return _mm256_or_si256(_mm256_subs_epu8(a, b), _mm256_subs_epu8(b, a));
}

VIQ_FORMULA bytes32 gradient(bytes32 a, bytes32 b, bytes32 centre, bytes32 beyond_a,
                             bytes32 beyond_b) {
    const bytes32 deviation = absolute_difference(centre, _mm256_avg_epu8(beyond_a, beyond_b));
    return _mm256_adds_epu8(absolute_difference(a, b), _mm256_adds_epu8(deviation, deviation));
}

// 0xFF where a < b.
VIQ_FORMULA bytes32 less(bytes32 a, bytes32 b) {
    return _mm256_xor_si256(_mm256_cmpeq_epi8(_mm256_min_epu8(a, b), b), splat8(0xFF));
}

// The colours of 32 pixels, as in `site` (camera_row_loops.h): `own` is red or blue, whichever the
// line contains, also at the green pixels.
struct sites {
    bytes32 own, green, other;
};

template <demosaic_scheme scheme>
VIQ_FORMULA sites demosaic_sites(const mosaic_lines &lines, u32 x, bytes32 green) {
    const u8 *above = lines.at[1] + x;
    const u8 *here = lines.at[2] + x;
    const u8 *below = lines.at[3] + x;
    const bytes32 centre = load_256(here);
    const bytes32 right = load_256(here + 1);
    const bytes32 south = load_256(below);
    const bytes32 south_east = load_256(below + 1);
    if constexpr (scheme == demosaic_scheme::replicate) {
        return {_mm256_blendv_epi8(centre, right, green), _mm256_blendv_epi8(right, centre, green),
                _mm256_blendv_epi8(south_east, south, green)};
    }
    const bytes32 left = load_256(here - 1);
    const bytes32 north = load_256(above);
    const bytes32 north_west = load_256(above - 1);
    const bytes32 north_east = load_256(above + 1);
    const bytes32 south_west = load_256(below - 1);
    const bytes32 across = mean2(left, right);
    const bytes32 down = mean2(north, south);
    bytes32 cross = across;
    bytes32 corners;
    if constexpr (scheme == demosaic_scheme::adaptive) {
        const bytes32 vertical = less(
            gradient(north, south, centre, load_256(lines.at[0] + x), load_256(lines.at[4] + x)),
            gradient(left, right, centre, load_256(here - 2), load_256(here + 2)));
        const u8 *two_above = lines.at[0] + x;
        const u8 *two_below = lines.at[4] + x;
        const bytes32 rising = less(gradient(north_east, south_west, centre,
                                             load_256(two_above + 2), load_256(two_below - 2)),
                                    gradient(north_west, south_east, centre,
                                             load_256(two_above - 2), load_256(two_below + 2)));
        cross = _mm256_blendv_epi8(across, down, vertical);
        corners = mean2(_mm256_blendv_epi8(north_west, north_east, rising),
                        _mm256_blendv_epi8(south_east, south_west, rising));
    } else {
        if constexpr (scheme == demosaic_scheme::bilinear)
            cross = mean4(left, right, north, south);
        corners = mean4(north_west, north_east, south_west, south_east);
    }
    return {_mm256_blendv_epi8(centre, across, green), _mm256_blendv_epi8(cross, centre, green),
            _mm256_blendv_epi8(corners, down, green)};
}

template <u16 format> VIQ_FORMULA void store_pixels(u8 *target, const planes &p) {
    if constexpr (format == VIQ_BGRX32)
        store_four<VIQ_BGRX32>(target, p, false);
    else
        store_fields<format>(target, p);
}

template <demosaic_scheme scheme, u16 format>
void demosaic_blocks(const mosaic_lines &lines, u8 *target, u32 pixels, mosaic_line line) {
    const bytes32 green = green_columns(line);
    u32 x = 0;
    for (; x + block <= pixels; x += block) {
        const sites s = demosaic_sites<scheme>(lines, x, green);
        const planes p =
            line.red ? planes{s.own, s.green, s.other} : planes{s.other, s.green, s.own};
        store_pixels<format>(target + std::size_t{x} * pixel_bytes(format), p);
    }
    demosaic_from<scheme, format>(lines, target, pixels, line, x);
}

template <demosaic_scheme scheme, u16 format> struct avx2_demosaic {
    static constexpr demosaic_row row = demosaic_blocks<scheme, format>;
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
        const bytes32 means = mean2(load_256(source), load_pairs(replacement, step));
        store_256(target, _mm256_blendv_epi8(load_256(target), means, mask));
    }
    soften_from(source, replacement, step, target, keyed + n, pairs - n);
}

constexpr camera_kernels make_kernels() {
    camera_kernels kernels = {mosaic_blocks, show_blocks, {}, {}, key_blocks, soften_blocks};
    fill_schemes<VIQ_BGRX32, avx2_demosaic>(kernels.to_bgrx32);
    fill_schemes<VIQ_RGB16, avx2_demosaic>(kernels.to_rgb16);
    return kernels;
}

} // namespace

constexpr camera_kernels avx2_camera = make_kernels();

} // namespace viq
