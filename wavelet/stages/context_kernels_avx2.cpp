#include <algorithm>
#include <bit>
#include <immintrin.h>

#include "wavelet/stages/scan_kernels.h"

namespace viq {

namespace {

using lanes = __m256i;

inline lanes load(const void *from) {
    return _mm256_loadu_si256(static_cast<const lanes *>(from));
}

inline void store(void *to, lanes value) {
    _mm256_storeu_si256(static_cast<lanes *>(to), value);
}

inline lanes sum(lanes a, lanes b) {
    return _mm256_add_epi8(a, b);
}

inline lanes capped_sum(lanes a, lanes b) {
    return _mm256_adds_epu8(a, b);
}

// Of bytes so small that nothing crosses into the next.
template <int bits> inline lanes times_power(lanes a) {
    return _mm256_slli_epi16(a, bits);
}

void weigh_parent(const u8 *above, const u8 *here, const u8 *below, u8 *weights, u32 count) {
    const lanes low_bits = _mm256_set1_epi8(0x3F);
    for (u32 i = 0; i < count; i += scan_block) {
        const lanes sides = sum(load(here + i - 1), load(here + i + 1));
        const lanes others = sum(sides, sum(load(above + i), load(below + i)));
        const lanes all = sum(times_power<2>(load(here + i)), others);
        store(weights + i, _mm256_and_si256(_mm256_srli_epi16(all, 2), low_bits));
    }
}

void measure_even(const scan_surroundings &around, u8 *measures, u32 count) {
    for (u32 i = 0; i < count; i += scan_block) {
        const u8 *above = around.even_above + i;
        const u8 *between = around.odd_above + i;
        const lanes near =
            sum(times_power<3>(load(above)), times_power<2>(sum(load(between - 1), load(between))));
        const lanes far = sum(load(above - 1), load(above + 1));
        const lanes rest = sum(sum(far, times_power<1>(far)), load(around.parent + i));
        store(measures + i, capped_sum(near, rest));
    }
}

void measure_odd(const scan_surroundings &around, u8 *measures, u32 count) {
    for (u32 i = 0; i < count; i += scan_block) {
        const u8 *above = around.odd_above + i;
        const u8 *between = around.even_above + i;
        const u8 *here = around.even_here + i;
        const lanes sides = times_power<3>(sum(load(here), load(here + 1)));
        const lanes diagonals = times_power<1>(sum(load(between), load(between + 1)));
        const lanes far = sum(sum(load(above - 1), load(above + 1)), load(around.parent + i));
        const lanes over = sum(times_power<3>(load(above)), diagonals);
        store(measures + i, capped_sum(sides, capped_sum(over, far)));
    }
}

inline lanes reaches(lanes measures, u8 floor) {
    const lanes floors = _mm256_set1_epi8(static_cast<char>(floor));
    return _mm256_cmpeq_epi8(_mm256_max_epu8(measures, floors), measures);
}

void classify(const u8 *measures, const u8 *floors, u32 count_of_floors, u8 *classes, u32 count) {
    for (u32 i = 0; i < count; i += scan_block) {
        const lanes block = load(measures + i);
        lanes reached = _mm256_setzero_si256();
        for (u32 k = 0; k < count_of_floors; ++k)
            reached = _mm256_sub_epi8(reached, reaches(block, floors[k]));
        store(classes + i, reached);
    }
}

void part(const u8 *measures, const u8 *floors, u32 *masks, u32 *places_of_class, u32 count) {
    const u32 words = whole_blocks(count) / scan_block;
    u32 places[part_floors + 1] = {};
    for (u32 i = 0; i < words; ++i) {
        const lanes block = load(measures + std::size_t{i} * scan_block);
        const u32 inside = count - i * scan_block;
        u32 left = inside < scan_block ? (1u << inside) - 1 : ~0u;
        u32 *mask = masks + i;
        for (u32 k = 0; k < part_floors; ++k, mask += words) {
            const u32 more =
                left & static_cast<u32>(_mm256_movemask_epi8(reaches(block, floors[k])));
            *mask = left & ~more;
            places[k] += static_cast<u32>(std::popcount(*mask));
            left = more;
        }
        *mask = left;
        places[part_floors] += static_cast<u32>(std::popcount(left));
    }
    std::copy_n(places, part_floors + 1, places_of_class);
}

// For each byte of a mask the places of its bits, the first in the lowest byte.
struct place_table {
    u64 of[256];
};

constexpr place_table make_places() {
    place_table table = {};
    for (u32 mask = 0; mask < 256; ++mask)
        for (u32 bit = 0, count = 0; bit < 8; ++bit)
            if ((mask >> bit & 1) != 0)
                table.of[mask] |= u64{bit} << (8 * count++);
    return table;
}

constexpr place_table places_of_byte = make_places();

// Eight places are written for each byte of the mask, however many it has: no branch depends on
// the mask.
u32 list_places(const u32 *mask, u32 words, u16 *places) {
    u16 *end = places;
    const __m128i eight = _mm_set1_epi16(8);
    __m128i base = _mm_setzero_si128();
    for (u32 i = 0; i < words; ++i) {
        u32 left = mask[i];
        for (u32 k = 0; k < 4; ++k, left >>= 8) {
            const __m128i packed = _mm_loadl_epi64(
                reinterpret_cast<const __m128i *>(places_of_byte.of + (left & 0xFF)));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(end),
                             _mm_add_epi16(_mm_cvtepu8_epi16(packed), base));
            end += std::popcount(left & 0xFF);
            base = _mm_add_epi16(base, eight);
        }
    }
    return static_cast<u32>(end - places);
}

inline lanes in_order(lanes packed) {
    return _mm256_permute4x64_epi64(packed, 0xD8);
}

void find_values(const i16 *values, u32 *mask, u32 count) {
    const lanes zero = _mm256_setzero_si256();
    for (u32 i = 0; i < count; i += scan_block) {
        const lanes first = _mm256_cmpeq_epi16(load(values + i), zero);
        const lanes second = _mm256_cmpeq_epi16(load(values + i + 16), zero);
        const lanes both = in_order(_mm256_packs_epi16(first, second));
        *mask++ = ~static_cast<u32>(_mm256_movemask_epi8(both));
    }
}

void cap(const i16 *values, u8 *magnitudes, u32 count) {
    const lanes most = _mm256_set1_epi16(magnitude_cap);
    for (u32 i = 0; i < count; i += scan_block) {
        const lanes first = _mm256_min_epu16(_mm256_abs_epi16(load(values + i)), most);
        const lanes second = _mm256_min_epu16(_mm256_abs_epi16(load(values + i + 16)), most);
        store(magnitudes + i, in_order(_mm256_packus_epi16(first, second)));
    }
}

void join_magnitudes(const u8 *even, const u8 *odd, u8 *line, u32 width) {
    for (u32 i = 0; 2 * i < width; i += scan_block) {
        const lanes a = load(even + i);
        const lanes b = load(odd + i);
        const lanes low = _mm256_unpacklo_epi8(a, b);
        const lanes high = _mm256_unpackhi_epi8(a, b);
        store(line + 2 * std::size_t{i}, _mm256_permute2x128_si256(low, high, 0x20));
        store(line + 2 * std::size_t{i} + 32, _mm256_permute2x128_si256(low, high, 0x31));
    }
}

inline lanes compact(lanes values, lanes gap) {
    return _mm256_sub_epi16(values, _mm256_and_si256(_mm256_srai_epi16(values, 15), gap));
}

inline lanes expand(lanes values, lanes gap) {
    return _mm256_adds_epi16(values, _mm256_and_si256(_mm256_srai_epi16(values, 15), gap));
}

void split(const i16 *line, i16 *even, i16 *odd, u32 width, bool gap) {
    const lanes gaps = _mm256_set1_epi16(gap ? -1 : 0);
    u32 i = 0;
    for (; 2 * (i + 16) <= width; i += 16) {
        const lanes a = compact(load(line + 2 * std::size_t{i}), gaps);
        const lanes b = compact(load(line + 2 * std::size_t{i} + 16), gaps);
        const auto low = [](lanes pair) {
            return _mm256_srai_epi32(_mm256_slli_epi32(pair, 16), 16);
        };
        store(even + i, in_order(_mm256_packs_epi32(low(a), low(b))));
        store(odd + i,
              in_order(_mm256_packs_epi32(_mm256_srai_epi32(a, 16), _mm256_srai_epi32(b, 16))));
    }
    plain_scan_kernels.split(line + 2 * std::size_t{i}, even + i, odd + i, width - 2 * i, gap);
}

void join(const i16 *even, const i16 *odd, i16 *line, u32 width, bool gap) {
    const lanes gaps = _mm256_set1_epi16(gap ? -1 : 0);
    for (u32 i = 0; 2 * i < width; i += 16) {
        const lanes a = expand(load(even + i), gaps);
        const lanes b = expand(load(odd + i), gaps);
        const lanes low = _mm256_unpacklo_epi16(a, b);
        const lanes high = _mm256_unpackhi_epi16(a, b);
        store(line + 2 * std::size_t{i}, _mm256_permute2x128_si256(low, high, 0x20));
        store(line + 2 * std::size_t{i} + 16, _mm256_permute2x128_si256(low, high, 0x31));
    }
}

} // namespace

const scan_kernels avx2_scan_kernels = {
    weigh_parent, measure_even, measure_odd,     classify, part, list_places,
    find_values,  cap,          join_magnitudes, split,    join};

} // namespace viq
