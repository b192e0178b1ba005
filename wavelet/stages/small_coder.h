// The small packing: every decision goes through an adaptive binary range coder, in a context of
// its neighbourhood.
#pragma once

#include "wavelet/stages/band_scan.h"

namespace viq {

// How slowly a model learns that has seen so many bits, as a power of two.
inline constexpr u8 learning_rates[128] = {
    1, 1, 2, 2, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 5, 5, 5, 5, 5, 5,
    5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6,
    6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 7, 7, 7, 7, 7,
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7};

// Two estimates of the chance of a 1, one quick and one slow to learn; both are quick at first.
struct bit_model {
    u16 quick = 32768, slow = 32768;
    u32 seen = 0;

    static constexpr u32 chance_bits = 12;
    u32 chance() const {
        const u32 mean = (u32{quick} + slow) >> (17 - chance_bits);
        return std::clamp(mean, 1u, (1u << chance_bits) - 1);
    }

    void learn(u32 bit) {
        const u32 rate = learning_rates[seen];
        const u32 quick_rate = std::min(rate, 4u);
        const i32 target = bit != 0 ? 65535 : 0;
        quick = static_cast<u16>(quick + ((target - quick) >> quick_rate));
        slow = static_cast<u16>(slow + ((target - slow) >> rate));
        seen = std::min(seen + 1, 127u);
    }
};

constexpr u32 small_levels = 16;
inline constexpr u8 small_floors[line_phases][small_levels - 1] = {
    {1, 3, 4, 6, 9, 13, 19, 24, 31, 42, 54, 78, 108, 153, 223},
    {1, 3, 6, 10, 13, 18, 23, 30, 42, 58, 75, 101, 143, 192, 255}};

// Statistics of one kind of band.
struct small_models {
    bit_model filled, gapped; // heads of units
    bit_model zero[line_phases][small_levels];
    static constexpr u32 unary_places = 14;
    static constexpr u32 unary_contexts = 6;
    bit_model larger[unary_contexts][small_levels];
    bit_model longer[16];
};

// Writes the bits of 32-bit ranges from the top; a carry runs back over bytes not yet written.
struct range_writer {
    static constexpr bool reads = false;
    std::vector<u8> *out;
    bool out_of_memory = false;
    u64 low = 0;
    u32 range = 0xFFFFFFFF;
    u64 pending = 1;
    u8 cache = 0;

    u32 bit(bit_model &model, u32 value) {
        const u32 bound = (range >> bit_model::chance_bits) * model.chance();
        if (value != 0) {
            range = bound;
        } else {
            low += bound;
            range -= bound;
        }
        model.learn(value);
        while (range < 1u << 24) {
            range <<= 8;
            shift();
        }
        return value;
    }

    u32 plain_bits(u32 value, u32 count) {
        while (count-- > 0) {
            range >>= 1;
            if ((value >> count & 1) != 0)
                low += range;
            while (range < 1u << 24) {
                range <<= 8;
                shift();
            }
        }
        return value;
    }

    void shift() {
        if (low < 0xFF000000u || low > 0xFFFFFFFFu) {
            const auto carry = static_cast<u8>(low >> 32);
            for (; pending > 0; --pending) {
                put(static_cast<u8>(cache + carry));
                cache = 0xFF;
            }
            cache = static_cast<u8>(low >> 24);
        }
        ++pending;
        low = (low & 0x00FFFFFF) << 8;
    }

    void put(u8 byte) {
        try {
            out->push_back(byte);
        } catch (...) {
            out_of_memory = true;
        }
    }

    // Bytes of 0 at the end are what a reader sees beyond it.
    void finish() {
        for (u32 i = 0; i < 5; ++i)
            shift();
        for (u32 i = 0; i < 5 && !out->empty() && out->back() == 0; ++i)
            out->pop_back();
    }
};

// Beyond its end the code goes on with zeros, for so many bytes as a writer leaves out; then it is
// damaged.
struct range_reader {
    static constexpr bool reads = true;
    const u8 *next, *end;
    u32 overrun = 0;
    u32 code = 0, range = 0xFFFFFFFF;

    void start() {
        for (u32 i = 0; i < 5; ++i)
            code = code << 8 | take();
    }

    u32 take() {
        if (next != end)
            return *next++;
        ++overrun;
        return 0;
    }

    u32 bit(bit_model &model, u32 = 0) {
        const u32 bound = (range >> bit_model::chance_bits) * model.chance();
        u32 value = 1;
        if (code < bound) {
            range = bound;
        } else {
            value = 0;
            code -= bound;
            range -= bound;
        }
        model.learn(value);
        while (range < 1u << 24) {
            range <<= 8;
            code = code << 8 | take();
        }
        return value;
    }

    u32 plain_bits(u32, u32 count) {
        u32 value = 0;
        while (count-- > 0) {
            range >>= 1;
            const u32 bit = code >= range ? 1 : 0;
            code -= bit != 0 ? range : 0;
            value = value << 1 | bit;
            while (range < 1u << 24) {
                range <<= 8;
                code = code << 8 | take();
            }
        }
        return value;
    }
};

template <class Bits> struct small_coder {
    static constexpr bool reads = Bits::reads;
    Bits &bits;
    small_models &models;
    std::vector<u8> levels = {};

    unit_content head(unit_content known) {
        if (bits.bit(models.filled, known != unit_content::empty ? 1 : 0) == 0)
            return unit_content::empty;
        const bool gap = bits.bit(models.gapped, known == unit_content::gap ? 1 : 0) != 0;
        return gap ? unit_content::gap : unit_content::full;
    }

    void places(component_scan &scan, u32 phase, const u8 *measures, i16 *values, u32 count) {
        levels.resize(whole_blocks(count));
        scan.kernels->classify(measures, small_floors[phase], small_levels - 1, levels.data(),
                               count);
        for (u32 i = 0; i < count; ++i)
            values[i] = static_cast<i16>(value(phase, levels[i], values[i]));
    }
    void end_line() {}

    i32 value(u32 phase, u32 level, i32 known) {
        if (bits.bit(models.zero[phase][level], known != 0 ? 1 : 0) == 0)
            return 0;
        const auto magnitude = static_cast<u32>(known < 0 ? -known : known);
        const u32 found = larger(level, magnitude);
        const bool below = bits.plain_bits(known < 0 ? 1 : 0, 1) != 0;
        return below ? -static_cast<i32>(found) : static_cast<i32>(found);
    }

    // The magnitude from 1 on: unary as long as that pays, then its length and its bits.
    u32 larger(u32 level, u32 magnitude) {
        for (u32 i = 1; i <= small_models::unary_places; ++i) {
            bit_model &model = models.larger[std::min(i, small_models::unary_contexts) - 1][level];
            if (bits.bit(model, magnitude > i ? 1 : 0) == 0)
                return i;
        }
        constexpr u32 rest_bits = 16;
        const u32 rest = magnitude - small_models::unary_places - 1;
        u32 length = 0;
        while (length < rest_bits &&
               bits.bit(models.longer[length], (rest + 1) >> (length + 1) != 0 ? 1 : 0) != 0)
            ++length;
        const u32 mantissa = bits.plain_bits((rest + 1) & ((1u << length) - 1), length);
        return (1u << length) + mantissa - 1 + small_models::unary_places + 1;
    }
};

} // namespace viq
