#include "wavelet/stages/fast_book.h"

#include <array>

namespace viq {

namespace {

// Classes differ in how often a place has a value: seldom, every other place, nearly always. The
// fewer the zeros, the more of the short symbols tell magnitudes.
enum book_kind : u32 { seldom, often, mostly, book_kinds };

struct short_symbol {
    u8 run_part, parts_bits; // which part of the longest run
    u8 level, level_bits;    // magnitudes less 1, before they are made coarser
};

struct book_plan {
    short_symbol near[near_symbols];
    u8 next_level, next_bits; // of the symbol after them; each further one has a bit more
    u8 coarse_from;           // halves of a mean magnitude less 1 that make it coarser
};

constexpr book_plan plans[book_kinds] = {
    {{{0, 2, 0, 0}, {1, 2, 0, 0}, {2, 2, 0, 0}, {3, 2, 0, 0}, {0, 0, 1, 0}}, 2, 1, 3},
    {{{0, 1, 0, 0}, {1, 1, 0, 0}, {0, 1, 1, 0}, {1, 1, 1, 0}, {0, 0, 2, 1}}, 4, 2, 5},
    {{{0, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 2, 0}, {0, 0, 3, 1}, {0, 0, 5, 2}}, 9, 3, 10},
};

constexpr u32 longest_run_bits = 12;
constexpr u32 shortest_seldom_bits = 2;
constexpr u32 most_coarse = 12;
constexpr u32 most_above_bits = 15;
constexpr u32 spans = longest_run_bits + 1;

constexpr u16 mask_of(u32 bits) {
    return static_cast<u16>((1u << bits) - 1);
}

constexpr phrase phrase_of(u32 run_bits, u32 run, u32 more_bits, u32 above) {
    const u32 typical = above + ((1u << more_bits) - 1) / 2;
    const auto outcome = static_cast<u32>(outcome_of(1, std::min(typical, 0x7FFFu)));
    return {static_cast<u16>(run),
            mask_of(run_bits),
            static_cast<u16>(above + 1),
            mask_of(more_bits),
            outcome,
            static_cast<u8>(run_bits),
            static_cast<u8>(more_bits),
            static_cast<u8>(run_bits + more_bits + 1),
            1};
}

constexpr phrase phrase_without_end(u32 run) {
    return {static_cast<u16>(run), 0, 0, 0, 0, 0, 0, 0, 0};
}

constexpr phrase_book make_book(u32 kind, u32 span_bits, u32 coarse) {
    phrase_book book = {};
    for (phrase &item : book.of)
        item = phrase_without_end(0xFFFF);
    book.of[symbol_run] = phrase_without_end(1u << span_bits);
    const book_plan &plan = plans[kind];
    for (u32 i = 0; i < near_symbols; ++i) {
        const short_symbol &near = plan.near[i];
        const u32 run_bits = span_bits - near.parts_bits;
        book.of[symbol_near + i] = phrase_of(run_bits, u32{near.run_part} << run_bits,
                                             near.level_bits + coarse, u32{near.level} << coarse);
    }
    u32 above = u32{plan.next_level} << coarse;
    u32 bits = plan.next_bits + coarse;
    for (u32 symbol = symbol_large; symbol < fast_symbols && above < 0x8000;
         symbol = std::max<u32>(symbol + 1, symbol_far)) {
        bits = std::min(bits, most_above_bits);
        book.of[symbol] = phrase_of(span_bits, 0, bits, above);
        above += 1u << bits++;
    }
    return book;
}

using book_shelf = std::array<std::array<phrase_book, most_coarse + 1>, spans>;

constexpr book_kind kind_of(u32 span_bits) {
    return span_bits == 0 ? mostly : span_bits == 1 ? often : seldom;
}

constexpr book_shelf make_shelf() {
    book_shelf shelf = {};
    for (u32 span_bits = 0; span_bits < spans; ++span_bits)
        for (u32 coarse = 0; coarse <= most_coarse; ++coarse)
            shelf[span_bits][coarse] = make_book(kind_of(span_bits), span_bits, coarse);
    return shelf;
}

constexpr book_shelf shelf = make_shelf();

} // namespace

const phrase_book &choose_book(u32 places, u64 outcome) {
    const u64 values = values_of(outcome);
    u32 span_bits = 0;
    if (values * 3 < u64{places} * 2) {
        span_bits = 1;
        if (values * 2 < places)
            for (span_bits = shortest_seldom_bits;
                 span_bits < longest_run_bits && values * 10 << span_bits < u64{places} * 11;)
                ++span_bits;
    }
    const u64 coarse_from = values * plans[kind_of(span_bits)].coarse_from;
    u32 coarse = 0;
    while (coarse < most_coarse && above_of(outcome) * 2 > coarse_from << coarse)
        ++coarse;
    return shelf[span_bits][coarse];
}

} // namespace viq
