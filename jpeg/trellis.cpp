#include "jpeg/trellis.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace viq {

namespace {

// Distortions are squares of half units of the coefficients, times 1 << distortion_bits.
constexpr u32 distortion_bits = 8;

constexpr u32 rate_bits = 4; // fraction bits of a rate

u32 size_of(i32 value) {
    return static_cast<u32>(std::bit_width(static_cast<u32>(std::abs(value))));
}

i64 squared(i32 error) {
    return i64{error} * error << distortion_bits;
}

// The binary logarithm of a positive number with rate_bits fraction bits.
u32 logarithm(u64 value) {
    u32 result = static_cast<u32>(std::bit_width(value)) - 1;
    // The mantissa, from 1 to 2, with 31 fraction bits.
    u64 mantissa = result <= 31 ? value << (31 - result) : value >> (result - 31);
    for (u32 i = 0; i < rate_bits; ++i) {
        mantissa = mantissa * mantissa >> 31;
        const bool doubled = mantissa >> 32 != 0;
        mantissa >>= doubled;
        result = result << 1 | doubled;
    }
    return result;
}

// The best way to code the block up to a coefficient that is not 0.
struct node {
    u32 k;
    i32 value;
    u32 before; // index of the node before
    i64 cost;   // minus that of coding zeros only
};

struct trellis {
    std::array<node, block_size> nodes;
    u32 count;
    std::array<u32, block_size> open; // nodes after which the block may continue, the best one last
    u32 opened;
};

} // namespace

trellis_tables make_trellis(const u8 (&steps)[block_size]) {
    // A bit is worth a quarter of the mean square of the steps of low frequencies: at the same
    // quality factor, files are about as large as without optimisation.
    constexpr u32 low_frequencies = 10;
    constexpr u32 units = 4u << distortion_bits; // squares of half units
    constexpr u32 price_divisor = (4u << rate_bits) * low_frequencies;
    trellis_tables tables;
    u32 sum = 0;
    for (u32 k = 0; k < block_size; ++k) {
        tables.steps[k] = steps[k];
        if (k >= 1 && k <= low_frequencies)
            sum += u32{steps[k]} * steps[k];
    }
    tables.bit_price = (i64{sum} * units + price_divisor / 2) / price_divisor;
    return tables;
}

quantiser unit_quantiser() {
    u8 steps[block_size];
    u32 reciprocals[block_size];
    std::fill(std::begin(steps), std::end(steps), u8{1});
    std::fill(std::begin(reciprocals), std::end(reciprocals), 65536u);
    return make_quantiser(steps, reciprocals);
}

symbol_rates estimate_rates(const symbol_counts &counts, const code_table &standard) {
    constexpr u32 count_weight = 64; // the standard codes weigh as much as 1024 symbols
    std::array<u64, 256> weights;
    u64 total = 0;
    for (u32 symbol = 0; symbol < weights.size(); ++symbol) {
        const u32 length = standard.length[symbol] != 0 ? standard.length[symbol] : 16;
        weights[symbol] = u64{counts[symbol]} * count_weight + (1u << (16 - length));
        total += weights[symbol];
    }
    symbol_rates rates;
    for (u32 symbol = 0; symbol < weights.size(); ++symbol)
        rates[symbol] =
            logarithm(total) - logarithm(weights[symbol]) + ((symbol & 15) << rate_bits);
    return rates;
}

namespace {

i32 nearest_value(i32 twice, i32 step) {
    return (twice + step) / (2 * step);
}

// The nearest value, or the one beside it that makes the difference smaller.
i32 choose_dc(const trellis_tables &tables, const symbol_rates &rates, i32 predictor, i32 twice) {
    const i32 step = tables.steps[0];
    const i32 size = nearest_value(std::abs(twice), step);
    const i32 nearest = twice < 0 ? -size : size;
    const i32 smaller = nearest + (predictor > nearest) - (predictor < nearest);
    const auto cost = [&](i32 value) {
        return squared(twice - 2 * step * value) +
               tables.bit_price * rates[size_of(value - predictor)];
    };
    return cost(smaller) < cost(nearest) ? smaller : nearest;
}

// Finds the best way to code the value at k, whose nearest value is not 0: by that or by the
// largest value with one bit less, after any open node.
node best_node(const trellis_tables &tables, const symbol_rates &rates, const trellis &way, u32 k,
               i32 twice, i32 nearest) {
    const i32 step = tables.steps[k];
    const u32 size = size_of(nearest);
    const i32 smaller = (1 << (size - 1)) - 1;
    const i64 error = squared(twice - 2 * step * nearest);
    const i64 larger_error = squared(twice - 2 * step * smaller);
    node best = {k, 0, 0, INT64_MAX};
    const auto consider = [&](u32 before, i64 cost, i32 value) {
        if (cost < best.cost)
            best = {k, value, before, cost};
    };
    for (u32 i = 0; i < way.opened; ++i) {
        const u32 before = way.open[i];
        const node &from = way.nodes[before];
        const u32 run = k - from.k - 1;
        const u32 *of_run = &rates[std::size_t{run & 15} << 4];
        const u32 of_zeros = (run >> 4) * rates[zero_run];
        consider(before, from.cost + error + tables.bit_price * (of_zeros + of_run[size]), nearest);
        if (smaller != 0)
            consider(before,
                     from.cost + larger_error + tables.bit_price * (of_zeros + of_run[size - 1]),
                     smaller);
    }
    return best;
}

// The node after which the block ends.
u32 last_node(const trellis_tables &tables, const symbol_rates &rates, const trellis &way) {
    u32 last = 0;
    i64 least = INT64_MAX;
    for (u32 i = 0; i < way.opened; ++i) {
        const node &from = way.nodes[way.open[i]];
        const bool is_full = from.k == block_size - 1;
        const i64 cost = from.cost + (is_full ? 0 : tables.bit_price * rates[end_of_block]);
        if (cost < least) {
            least = cost;
            last = way.open[i];
        }
    }
    return last;
}

} // namespace

void choose_values(const trellis_tables &tables, const symbol_rates &dc_rates,
                   const symbol_rates &ac_rates, i32 predictor, i16 *coefficients, u64 &mask) {
    // A coefficient that is rounded down represents the middle of its interval.
    std::array<i32, block_size> twice;
    for (u32 k = 0; k < block_size; ++k)
        twice[k] = 2 * coefficients[natural_of[k]] + 1;
    trellis way;
    way.nodes[0] = {0, 0, 0, 0};
    way.open[0] = 0;
    way.count = way.opened = 1;
    for (u32 k = 1; k < block_size; ++k) {
        const i32 size = std::abs(twice[k]);
        const i32 nearest = nearest_value(size, tables.steps[k]);
        if (nearest == 0)
            continue;
        node best = best_node(tables, ac_rates, way, k, size, nearest);
        best.cost -= squared(size);
        // A node that costs more than a later one is hardly ever the better start: its runs are
        // longer.
        while (way.opened > 0 && way.nodes[way.open[way.opened - 1]].cost >= best.cost)
            --way.opened;
        way.nodes[way.count] = best;
        way.open[way.opened++] = way.count++;
    }

    std::fill_n(coefficients, block_size, i16{0});
    coefficients[0] = static_cast<i16>(choose_dc(tables, dc_rates, predictor, twice[0]));
    mask = 0;
    for (u32 at = last_node(tables, ac_rates, way); at != 0; at = way.nodes[at].before) {
        const node &chosen = way.nodes[at];
        const u32 natural = natural_of[chosen.k];
        coefficients[natural] =
            static_cast<i16>(twice[chosen.k] < 0 ? -chosen.value : chosen.value);
        mask |= u64{1} << natural;
    }
}

} // namespace viq
