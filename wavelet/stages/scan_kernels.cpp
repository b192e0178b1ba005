#include "wavelet/stages/scan_kernels.h"

#include <algorithm>
#include <bit>

#include "core/cpu.h"

namespace viq {

namespace {

u8 capped(u32 sum) {
    return static_cast<u8>(std::min(sum, 255u));
}

void weigh_parent(const u8 *above, const u8 *here, const u8 *below, u8 *weights, u32 count) {
    const u8 *left = here - 1;
    for (u32 i = 0; i < count; ++i)
        weights[i] =
            static_cast<u8>((4u * here[i] + left[i] + here[i + 1] + above[i] + below[i]) >> 2);
}

void measure_even(const scan_surroundings &around, u8 *measures, u32 count) {
    const u8 *above = around.even_above;
    const u8 *left = above - 1;
    const u8 *between = around.odd_above;
    const u8 *left_between = between - 1;
    const u8 *parent = around.parent;
    for (u32 i = 0; i < count; ++i)
        measures[i] = capped(8u * above[i] + 4u * (left_between[i] + between[i]) +
                             3u * (left[i] + above[i + 1]) + parent[i]);
}

void measure_odd(const scan_surroundings &around, u8 *measures, u32 count) {
    const u8 *above = around.odd_above;
    const u8 *left = above - 1;
    const u8 *between = around.even_above;
    const u8 *here = around.even_here;
    const u8 *parent = around.parent;
    for (u32 i = 0; i < count; ++i)
        measures[i] =
            capped(8u * (here[i] + here[i + 1] + above[i]) + 2u * (between[i] + between[i + 1]) +
                   left[i] + above[i + 1] + parent[i]);
}

void classify(const u8 *measures, const u8 *floors, u32 count_of_floors, u8 *classes, u32 count) {
    for (u32 i = 0; i < count; ++i) {
        u32 reached = 0;
        for (u32 k = 0; k < count_of_floors; ++k)
            reached += measures[i] >= floors[k] ? 1 : 0;
        classes[i] = static_cast<u8>(reached);
    }
}

void part(const u8 *measures, const u8 *floors, u32 *masks, u32 *places_of_class, u32 count) {
    const u32 words = whole_blocks(count) / scan_block;
    std::fill_n(masks, std::size_t{words} * (part_floors + 1), 0u);
    std::fill_n(places_of_class, part_floors + 1, 0u);
    for (u32 i = 0; i < count; ++i) {
        u32 reached = 0;
        while (reached < part_floors && measures[i] >= floors[reached])
            ++reached;
        masks[std::size_t{reached} * words + i / scan_block] |= 1u << (i % scan_block);
        ++places_of_class[reached];
    }
}

u32 list_places(const u32 *mask, u32 words, u16 *places) {
    u16 *end = places;
    for (u32 i = 0; i < words; ++i)
        for (u32 left = mask[i]; left != 0; left &= left - 1)
            *end++ = static_cast<u16>(i * scan_block + static_cast<u32>(std::countr_zero(left)));
    return static_cast<u32>(end - places);
}

void find_values(const i16 *values, u32 *mask, u32 count) {
    for (u32 i = 0; i < whole_blocks(count); i += scan_block) {
        u32 found = 0;
        for (u32 k = 0; k < scan_block; ++k)
            found |= (values[i + k] != 0 ? 1u : 0u) << k;
        *mask++ = found;
    }
}

void cap(const i16 *values, u8 *magnitudes, u32 count) {
    for (u32 i = 0; i < whole_blocks(count); ++i) {
        const i32 value = values[i];
        const i32 magnitude = value < 0 ? -value : value;
        magnitudes[i] = static_cast<u8>(std::min(magnitude, static_cast<i32>(magnitude_cap)));
    }
}

void join_magnitudes(const u8 *even, const u8 *odd, u8 *line, u32 width) {
    for (u32 i = 0; i < (width + 1) / 2; ++i) {
        line[2 * i] = even[i];
        line[2 * i + 1] = odd[i];
    }
}

void split(const i16 *line, i16 *even, i16 *odd, u32 width, bool gap) {
    const auto compact = [gap](i16 value) {
        return static_cast<i16>(gap && value < 0 ? value + 1 : value);
    };
    for (u32 i = 0; i < width / 2; ++i) {
        even[i] = compact(line[2 * i]);
        odd[i] = compact(line[2 * i + 1]);
    }
    if (width % 2 != 0)
        even[width / 2] = compact(line[width - 1]);
}

void join(const i16 *even, const i16 *odd, i16 *line, u32 width, bool gap) {
    const auto expand = [gap](i16 value) {
        return static_cast<i16>(gap && value < 0 ? std::max(value - 1, -32768) : value);
    };
    for (u32 i = 0; i < (width + 1) / 2; ++i) {
        line[2 * i] = expand(even[i]);
        line[2 * i + 1] = expand(odd[i]);
    }
}

} // namespace

const scan_kernels plain_scan_kernels = {
    weigh_parent, measure_even, measure_odd,     classify, part, list_places,
    find_values,  cap,          join_magnitudes, split,    join};

const scan_kernels &current_scan_kernels() {
    constexpr kernel_sets<scan_kernels> sets = {&plain_scan_kernels,
                                                VIQ_AVX2_TABLE(avx2_scan_kernels)};
    return current_kernels(sets);
}

} // namespace viq
