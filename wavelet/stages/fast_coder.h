// The fast packing: symbols of the fixed Huffman code, and plain bits beside them.
//
// All places of one kind of band with one level of neighbourhood form a class, and each class codes
// its own sequence of values: a phrase is a run of zeros with the value that ends it, or a run
// without an end. Phrases of all classes stand in the order in which a reader comes to need them.
#pragma once

#include <bit>
#include <utility>

#include "wavelet/stages/band_scan.h"

namespace viq {

// Symbols are places of the fixed code; six of them take 3 bits, one takes 5, all others take 9.
enum fast_symbol : u8 {
    symbol_empty = 0, // lines without any value (zero tree)
    symbol_gap = 1,   // lines of values, none of them -1
    symbol_full = 2,  // lines of all values
    symbol_large = 4, // a run, then a value of any size
    symbol_run = 5,   // a run without an end
    symbol_near = 6,  // and the three after it: a run, then a value close to 0
    symbol_far = 10,  // a run, then a value farther from 0
};
constexpr u32 fast_symbols = 32;
constexpr u32 near_symbols = 4;
constexpr u32 most_far_steps = 8;

// Phrases of groups end with a place instead of a value: which fifth of the longest run it lies in.
constexpr u32 group_fifths = 5;

// The longest runs are chosen such that about a quarter of the phrases of values, and a sixth of
// those of groups, are runs without an end.
constexpr u32 value_scale = 10;
constexpr u32 group_scale = 40;

// How a class has come out so far, and its open phrase.
struct run_class {
    u32 zeros, others, sum; // places without and with a value; magnitudes above 1
    u32 run = 0;            // zeros still to come, or seen so far by the writer
    i32 ending = 0;         // the value behind them; 0: the run has no end
    u32 slot = 0;           // of the writer's open phrase
    u8 shift = 0;           // the longest run of a phrase, as a power of two
    u8 coarse = 0;          // bits of a magnitude that stand beside its symbol
    bool open = false;

    // In quiet classes nearly all values are 1 and -1: the symbols near 0 tell the half of the
    // run instead of the magnitude.
    bool tells_half() const { return coarse == 0 && shift >= 2; }

    void learn(u32 scale, u32 more_zeros, u32 more_others, u32 magnitude) {
        zeros += more_zeros;
        others += more_others;
        sum += magnitude;
        if (others > 36 || zeros > 1u << 14) {
            zeros = (zeros + 1) / 2;
            others = (others + 1) / 2;
            sum /= 2;
        }
        adapt(scale);
    }

    void adapt(u32 scale) {
        const u64 places = u64{zeros + others} * 16;
        const u64 wanted = u64{others} * scale;
        if (shift < 12 && wanted << (shift + 1) <= places)
            ++shift;
        else if (shift > 0 && wanted << shift > places)
            --shift;
        const u64 several = u64{others} * 7;
        if (coarse < 12 && several << coarse < u64{sum} * 4)
            ++coarse;
        else if (coarse > 0 && several << (coarse - 1) >= u64{sum} * 4)
            --coarse;
    }
};

struct fast_models {
    run_class group;
    run_class levels[scan_levels];
    fast_models();
};

struct fast_slot {
    u32 bits;
    u8 count;
    u8 symbol;
};

struct fast_writer {
    static constexpr bool reads = false;
    std::vector<fast_slot> *slots;
    fast_models *models = nullptr;
    bool out_of_memory = false;

    u32 add(fast_slot slot) {
        try {
            slots->push_back(slot);
        } catch (...) {
            out_of_memory = true;
        }
        return static_cast<u32>(slots->size()) - 1;
    }

    unit_content head(unit_content known) {
        add({0, 0, static_cast<u8>(symbol_empty + static_cast<u32>(known))});
        return known;
    }

    void open(run_class &item) {
        item.slot = add({0, 0, symbol_run});
        item.run = 0;
        item.open = true;
    }

    void close(run_class &item, u32 scale, fast_slot phrase, u32 others, u32 above = 0) {
        if (!out_of_memory)
            (*slots)[item.slot] = phrase;
        item.learn(scale, item.run, others, above);
        item.open = false;
    }

    // What is open stands as a run without an end; a reader forgets it in the same place.
    static void finish(fast_models &all) {
        const auto cut = [](run_class &item, u32 scale, u32 longest) {
            if (item.open)
                item.learn(scale, longest << item.shift, 0, 0);
            item.open = false;
        };
        cut(all.group, group_scale, group_fifths);
        for (run_class &item : all.levels)
            cut(item, value_scale, 1);
    }

    bool group(bool any) {
        run_class &item = models->group;
        if (!item.open)
            open(item);
        if (any) {
            const u32 fifth = item.run >> item.shift;
            close(item, group_scale,
                  {item.run & ((1u << item.shift) - 1), item.shift,
                   static_cast<u8>(symbol_near + fifth)},
                  1);
        } else if (++item.run == group_fifths << item.shift) {
            close(item, group_scale, {0, 0, symbol_run}, 0);
        }
        return any;
    }

    template <class Pattern> i32 value(u32 level, const Pattern &, i32 known) {
        run_class &item = models->levels[level];
        if (!item.open)
            open(item);
        if (known != 0)
            close(item, value_scale, ended(item, known), 1,
                  static_cast<u32>(known < 0 ? -known : known) - 1);
        else if (++item.run == 1u << item.shift)
            close(item, value_scale, {0, 0, symbol_run}, 0);
        return known;
    }

    static fast_slot ended(const run_class &item, i32 value) {
        const auto magnitude = static_cast<u32>(value < 0 ? -value : value);
        const u32 below = value < 0 ? 1 : 0;
        const u32 above = magnitude - 1;
        const u32 step = above >> item.coarse;
        const u32 run_and_fine = item.run << item.coarse | (above & ((1u << item.coarse) - 1));
        const u32 count = u32{item.shift} + item.coarse;
        const bool half = item.tells_half();
        if (half && step == 0) {
            const u32 low = item.shift - 1u;
            return {item.run & ((1u << low) - 1), static_cast<u8>(low),
                    static_cast<u8>(symbol_near + 2 * (item.run >> low) + below)};
        }
        if (!half && step < 2)
            return {run_and_fine, static_cast<u8>(count),
                    static_cast<u8>(symbol_near + 2 * step + below)};
        const u32 rest = step - (half ? 1 : 2);
        if (rest > most_far_steps)
            return {item.run << 17 | below << 16 | (magnitude & 0xFFFF),
                    static_cast<u8>(item.shift + 17), symbol_large};
        // so many ones and a zero
        return {((run_and_fine << 1 | below) << rest | ((1u << rest) - 1)) << 1,
                static_cast<u8>(count + rest + 2), symbol_far};
    }
};

// Plain bits, most significant first; beyond the end they are 0.
struct bit_source {
    const u8 *next = nullptr, *end = nullptr;
    u64 window = 0; // its top bits come next
    u32 held = 0;
    u32 overrun = 0;

    void fill() {
        while (held <= 56) {
            u64 byte = 0;
            if (next != end)
                byte = *next++;
            else
                ++overrun;
            window |= byte << (56 - held);
            held += 8;
        }
    }

    u32 take(u32 count) { // up to 32
        if (held < count)
            fill();
        const u32 value = count != 0 ? static_cast<u32>(window >> (64 - count)) : 0;
        window <<= count;
        held -= count;
        return value;
    }

    // Ones up to a zero, so many at most.
    u32 take_ones(u32 most) {
        if (held < 32)
            fill();
        const u32 ones = std::min(static_cast<u32>(std::countl_one(window)), most);
        window <<= ones + 1;
        held -= ones + 1;
        return ones;
    }
};

struct fast_reader {
    static constexpr bool reads = true;
    const u8 *symbol, *symbols_end;
    bit_source bits;
    fast_models *models = nullptr;
    bool damaged = false;

    u32 take_symbol() {
        if (symbol != symbols_end)
            return *symbol++;
        damaged = true;
        return symbol_run;
    }

    unit_content head(unit_content) {
        const u32 found = take_symbol();
        damaged |= found > symbol_full;
        return found > symbol_full ? unit_content::empty : static_cast<unit_content>(found);
    }

    static void finish(fast_models &all) {
        all.group.run = 0;
        all.group.ending = 0;
        for (run_class &item : all.levels) {
            item.run = 0;
            item.ending = 0;
        }
    }

    bool group(bool) {
        run_class &item = models->group;
        if (item.run == 0 && item.ending == 0)
            read_group(item);
        return next(item) != 0;
    }

    // The zeros of a phrase, then the value behind them.
    static i32 next(run_class &item) {
        if (item.run != 0) {
            --item.run;
            return 0;
        }
        return std::exchange(item.ending, 0);
    }

    void read_group(run_class &item) {
        const u32 found = take_symbol();
        const u32 fifth = found - symbol_near;
        if (fifth < group_fifths) {
            item.run = (fifth << item.shift) + bits.take(item.shift);
            item.ending = 1;
        } else {
            damaged |= found != symbol_run;
            item.run = group_fifths << item.shift;
            item.ending = 0;
        }
        item.learn(group_scale, item.run, item.ending != 0 ? 1 : 0, 0);
    }

    template <class Pattern> i32 value(u32 level, const Pattern &, i32) {
        run_class &item = models->levels[level];
        if (item.run == 0 && item.ending == 0)
            read_values(item);
        return next(item);
    }

    void read_values(run_class &item) {
        const u32 found = take_symbol();
        if (found == symbol_run) {
            item.run = 1u << item.shift;
            item.ending = 0;
            item.learn(value_scale, item.run, 0, 0);
            return;
        }
        const bool half = item.tells_half();
        const u32 near = found - symbol_near;
        u32 above = 0; // the magnitude less 1
        u32 below = near & 1;
        if (near < near_symbols && half) {
            const u32 low = item.shift - 1u;
            item.run = (near >> 1) << low | bits.take(low);
        } else if (near < near_symbols) {
            item.run = bits.take(item.shift);
            above = (near >> 1) << item.coarse | bits.take(item.coarse);
        } else if (found == symbol_far) {
            item.run = bits.take(item.shift);
            above = bits.take(item.coarse);
            below = bits.take(1);
            above |= (bits.take_ones(most_far_steps) + (half ? 1 : 2)) << item.coarse;
        } else {
            damaged |= found != symbol_large;
            item.run = bits.take(item.shift);
            below = bits.take(1);
            above = std::max(bits.take(16), 1u) - 1;
        }
        const auto magnitude = static_cast<i32>(above) + 1;
        item.ending = below != 0 ? -magnitude : magnitude;
        item.learn(value_scale, item.run, 1, above);
    }
};

} // namespace viq
