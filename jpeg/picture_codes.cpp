// The package-merge algorithm: code lengths of minimal total length under a limit.
//
// Each symbol offers one coin for every code length above the shortest; a coin of a longer length
// is worth half as much. A list contains the coins of one length and packages of two items of the
// list of the next longer one, in ascending order of their weights. The cheapest items of the last
// list that add up to the required worth are bought. As the coins in every list are in the order of
// the symbols, the coins that are bought of it are those of its first symbols.
#include "jpeg/picture_codes.h"

#include <algorithm>

namespace viq {

namespace {

constexpr u32 shortest = 2; // bits
constexpr u32 most_symbols = 257;

struct weighed_symbol {
    u64 weight;
    u32 symbol;
};

constexpr u32 reserved_symbol = 256; // takes the code of 1 bits

struct item_list {
    std::array<u64, 2 * most_symbols> weights;
    std::array<u16, 2 * most_symbols + 1> coins; // among the first items
    u32 count;
};

item_list merge(const weighed_symbol *symbols, u32 count, const item_list *longer) {
    item_list merged;
    merged.count = 0;
    merged.coins[0] = 0;
    const u32 packages = longer != nullptr ? longer->count / 2 : 0;
    u32 coin = 0;
    for (u32 package = 0; coin < count || package < packages;) {
        const u64 pair = package < packages ? longer->weights[2 * package] +
                                                  longer->weights[std::size_t{2} * package + 1]
                                            : UINT64_MAX;
        const bool takes_coin = coin < count && symbols[coin].weight <= pair;
        merged.weights[merged.count] = takes_coin ? symbols[coin].weight : pair;
        coin += takes_coin;
        package += !takes_coin;
        merged.coins[++merged.count] = static_cast<u16>(coin);
    }
    return merged;
}

// Adds the number of coins of each symbol to its length; symbols are in ascending order of weight.
void set_lengths(const weighed_symbol *symbols, u32 count, u32 longest, u8 *lengths) {
    std::fill_n(lengths, count, static_cast<u8>(shortest));
    if (count <= 1u << shortest)
        return;
    item_list lists[16];
    for (u32 i = 0; i < longest - shortest; ++i)
        lists[i] = merge(symbols, count, i != 0 ? &lists[i - 1] : nullptr);
    u32 bought = 2 * (count - (1u << shortest));
    for (u32 i = longest - shortest; i-- > 0;) {
        const u32 coins = lists[i].coins[bought];
        for (u32 s = 0; s < coins; ++s)
            ++lengths[s];
        bought = 2 * (bought - coins);
    }
}

} // namespace

huffman_lists make_codes(const symbol_counts &counts, u32 longest) {
    std::array<weighed_symbol, most_symbols> symbols;
    u32 count = 0;
    symbols[count++] = {0, reserved_symbol};
    for (u32 symbol = 0; symbol < counts.size(); ++symbol)
        if (counts[symbol] != 0)
            symbols[count++] = {counts[symbol], symbol};
    std::sort(symbols.begin(), symbols.begin() + count, [](const auto &a, const auto &b) {
        return a.weight != b.weight ? a.weight < b.weight : a.symbol > b.symbol;
    });
    std::array<u8, most_symbols> lengths;
    set_lengths(symbols.data(), count, longest, lengths.data());

    // The lengths descend, so that the codes are numbered from the end. The first symbol, which has
    // the last code, is the reserved one.
    huffman_lists table = {};
    table.present = true;
    u32 listed = 0;
    for (u32 s = count; s-- > 1;) {
        ++table.bits[lengths[s] - 1];
        table.vals[listed++] = static_cast<u8>(symbols[s].symbol);
    }
    return table;
}

} // namespace viq
