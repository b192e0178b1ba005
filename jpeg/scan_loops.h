// Huffman decoding of blocks, compiled for each instruction set: shifts by a variable number of
// bits are slow without BMI2.
#pragma once

#include <cstring>

#include "convert/pixel_formulas.h"
#include "jpeg/scan_reader.h"

namespace viq {

enum class block_end { good, corrupt_dc, bad_dc_category, corrupt_ac, overrun };

// Next bits of data without markers. `prepare` refills the window to at least 56 bits.
struct plain_reader {
    static constexpr bool looks_ahead = true;
    const u8 *bytes;
    std::size_t next; // offset of the first byte that is not in the window
    std::size_t last; // last offset at which eight bytes can be loaded
    u64 window;       // the first bit in the most significant position
    u32 held;         // number of valid bits

    [[gnu::always_inline]] void prepare() {
        // Compilers recognise only this form as one load.
        const u8 *const at = bytes + next;
        const u64 eight = u64{at[0]} << 56 | u64{at[1]} << 48 | u64{at[2]} << 40 |
                          u64{at[3]} << 32 | u64{at[4]} << 24 | u64{at[5]} << 16 | u64{at[6]} << 8 |
                          u64{at[7]};
        window |= eight >> held;
        next += (63 - held) >> 3;
        next = next < last ? next : last;
        held |= 56;
    }
    template <u32 bits> [[gnu::always_inline]] u32 peek() {
        return static_cast<u32>(window >> (64 - bits));
    }
    [[gnu::always_inline]] void consume(u32 bits) {
        window <<= bits;
        held -= bits;
    }
    [[gnu::always_inline]] u32 take(u32 bits) {
        const auto taken = static_cast<u32>(window >> (64 - bits));
        consume(bits);
        return taken;
    }
};

// `count` MCUs of a row from the MCU `first` on, the tables of luminance and chrominance and the
// previous DC values.
struct mcu_range {
    u32 first, count;
    const block_tables *tables;
    i32 *predictors;
};

// Functions that read MCUs of data without markers. `failed` is the number of the last block.
struct scan_kernels {
    block_end (*read_mcus)(plain_reader &, const scan_layout &, const mcu_range &, decoded_pair *,
                           u32 &failed);
    block_end (*read_any_mcus)(plain_reader &, const scan_component *, std::size_t components,
                               const mcu_range &, u32 &failed);
};

extern const scan_kernels plain_scans;
extern const scan_kernels avx2_scans;

template <class Bits> VIQ_FORMULA i32 read_value(Bits &bits, u32 category) {
    return category == 0 ? 0 : extended(bits.take(category), category);
}

// Reads the difference of a DC value whose table is indexed by `dc_bits` bits.
template <u32 dc_bits, class Bits>
VIQ_FORMULA block_end read_difference(Bits &bits, const block_tables &tables, i32 &difference) {
    bits.prepare();
    if constexpr (Bits::looks_ahead) {
        const dc_fast_entry known = tables.dc_fast[bits.template peek<dc_fast_bits>()];
        if (known.length != 0) {
            bits.consume(known.length);
            difference = known.difference;
            return block_end::good;
        }
    }
    const dc_entry first = tables.dc[bits.template peek<dc_bits>()];
    if (first.category == invalid_category)
        return block_end::corrupt_dc;
    bits.consume(first.length);
    if (first.category > largest_category)
        return block_end::bad_dc_category;
    difference = read_value(bits, first.category);
    bits.prepare();
    return block_end::good;
}

// The window holds the bits of so many looks after a DC value that was found at the first look.
constexpr u32 looks_per_refill = 4;
static_assert(dc_fast_bits + looks_per_refill * fast_bits <= 56);

// Stores the coefficients that are found without reading their codes one by one, as far as the
// window goes. False if the next code must be read alone.
VIQ_FORMULA bool look_ahead(plain_reader &bits, const ac_fast_entry *fast, i16 *coefficients,
                            u32 &k) {
    constexpr const u8 *natural = &natural_of[0];
#pragma GCC unroll 4
    for (u32 n = 0; n < looks_per_refill; ++n) {
        const ac_fast_entry &known = fast[bits.peek<fast_bits>()];
        if (k + known.reach > block_size)
            return false;
        bits.consume(known.length);
        coefficients[natural[k + known.second_at]] = known.second;
        coefficients[natural[k + known.first_at]] = known.first;
        k += known.advance;
        if (k >= block_size)
            break;
    }
    return true;
}

// Reads a block whose DC table is indexed by `dc_bits` bits. The coefficients must be 0 before.
template <u32 dc_bits, class Bits>
VIQ_FORMULA block_end read_block(Bits &bits, const block_tables &tables, i32 &predictor,
                                 decoded_pair &pair, u32 i) {
    i32 difference = 0;
    const block_end end = read_difference<dc_bits>(bits, tables, difference);
    if (end != block_end::good)
        return end;
    predictor = static_cast<i32>(static_cast<u32>(predictor) + static_cast<u32>(difference));
    i16 *const coefficients = pair.blocks.coefficients[i];
    pair.dc[i] = predictor;
    coefficients[0] = static_cast<i16>(predictor);
    u32 k = 1;
    while (k < block_size) {
        if constexpr (Bits::looks_ahead) {
            const bool found = look_ahead(bits, tables.ac_fast, coefficients, k);
            if (found && k >= block_size)
                break;
            bits.prepare();
            if (found)
                continue;
        }
        const ac_entry entry = tables.ac[bits.template peek<ac_bits>()];
        if (entry.size == invalid_category)
            return block_end::corrupt_ac;
        bits.consume(entry.length);
        const i32 value = read_value(bits, entry.size);
        bits.prepare();
        if (entry.size == 0) {
            if (entry.run == 0) {
                k += fast_end_of_block;
                break;
            }
            k += 16;
            if (k > block_size)
                return block_end::overrun;
            continue;
        }
        k += entry.run;
        if (k >= block_size)
            return block_end::overrun;
        coefficients[natural_of[k++]] = static_cast<i16>(value);
    }
    pair.blocks.masks[i] = k != 1 + fast_end_of_block;
    return block_end::good;
}

constexpr u32 first_u_block = 4; // of the numbers of blocks in messages

template <class Bits>
VIQ_FORMULA block_end read_scan(Bits &bits, const scan_layout &layout, const mcu_range &mcus,
                                decoded_pair *pairs, u32 &failed) {
    std::memset(static_cast<void *>(pairs), 0,
                std::size_t{mcus.count} * layout.pairs * sizeof *pairs);
    const u32 y_pairs = layout.colour ? layout.pairs - 1 : layout.pairs;
    for (u32 x = mcus.first; x < mcus.first + mcus.count; ++x) {
        for (u32 n = 0; n < y_pairs; ++n, ++pairs) {
            const u32 blocks = x + 1 == layout.mcus ? layout.blocks_in_last : 2;
            for (u32 i = 0; i < blocks; ++i) {
                const block_end end = read_block<dc_luminance_bits>(bits, mcus.tables[0],
                                                                    mcus.predictors[0], *pairs, i);
                failed = layout.colour ? 2 * n + i : 0;
                if (end != block_end::good)
                    return end;
            }
        }
        if (!layout.colour)
            continue;
        for (u32 i = 0; i < 2; ++i) {
            const block_end end = read_block<dc_chrominance_bits>(
                bits, mcus.tables[1], mcus.predictors[1 + i], *pairs, i);
            failed = first_u_block + i;
            if (end != block_end::good)
                return end;
        }
        ++pairs;
    }
    return block_end::good;
}

VIQ_FORMULA block_end read_component(plain_reader &bits, const scan_component &from, u32 mcu,
                                     i32 &predictor, u32 &block) {
    for (u32 y = 0; y < from.v; ++y)
        for (u32 x = 0; x < from.h; ++x) {
            const u32 column = mcu * from.h + x;
            decoded_pair &pair = from.pairs[std::size_t{y} * from.pairs_in_row + column / 2];
            const block_end end =
                read_block<any_dc_bits>(bits, from.tables, predictor, pair, column % 2);
            block = y * from.h + x;
            if (end != block_end::good)
                return end;
        }
    return block_end::good;
}

namespace {

block_end read_mcus_of(plain_reader &from, const scan_layout &layout, const mcu_range &mcus,
                       decoded_pair *pairs, u32 &failed) {
    plain_reader bits = from; // in registers
    const block_end end = read_scan(bits, layout, mcus, pairs, failed);
    from = bits;
    return end;
}

block_end read_any_mcus_of(plain_reader &from, const scan_component *components, std::size_t count,
                           const mcu_range &mcus, u32 &failed) {
    plain_reader bits = from;
    block_end end = block_end::good;
    for (u32 mcu = mcus.first; mcu < mcus.first + mcus.count && end == block_end::good; ++mcu)
        for (u32 c = 0; c < count && end == block_end::good; ++c) {
            u32 block = 0;
            end = read_component(bits, components[c], mcu, mcus.predictors[c], block);
            failed = c != 0                  ? first_u_block + c - 1
                     : block < first_u_block ? block
                                             : first_u_block - 1;
        }
    from = bits;
    return end;
}

} // namespace

} // namespace viq
