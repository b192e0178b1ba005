// The forward and the first steps of the inverse transform in registers that hold a block in each
// part of 16 bytes, written once for all sizes of registers. `Ops` has the instructions of a set.
#pragma once

#include "jpeg/block_kernels.h"
#include "jpeg/dct.h"

namespace viq {

// Eight rows of words, or of 32-bit sums.
template <class Ops> struct rows_of_blocks { typename Ops::words row[8]; };

// Transposes the 8 x 8 words of each block.
template <class Ops> VIQ_FORMULA rows_of_blocks<Ops> transpose(const rows_of_blocks<Ops> &in) {
    typename Ops::words a[8];
    typename Ops::words b[8];
    for (std::size_t i = 0; i < 4; ++i) {
        a[2 * i] = Ops::low_words(in.row[2 * i], in.row[2 * i + 1]);
        a[2 * i + 1] = Ops::high_words(in.row[2 * i], in.row[2 * i + 1]);
    }
    for (std::size_t i = 0; i < 2; ++i) {
        b[4 * i] = Ops::low_double_words(a[4 * i], a[4 * i + 2]);
        b[4 * i + 1] = Ops::high_double_words(a[4 * i], a[4 * i + 2]);
        b[4 * i + 2] = Ops::low_double_words(a[4 * i + 1], a[4 * i + 3]);
        b[4 * i + 3] = Ops::high_double_words(a[4 * i + 1], a[4 * i + 3]);
    }
    rows_of_blocks<Ops> out;
    for (std::size_t i = 0; i < 4; ++i) {
        out.row[2 * i] = Ops::low_quad_words(b[i], b[i + 4]);
        out.row[2 * i + 1] = Ops::high_quad_words(b[i], b[i + 4]);
    }
    return out;
}

// ---- Odd and even parts, as sums of products of word pairs

template <class Ops> struct word_pairs { typename Ops::words low, high; };

template <class Ops, class Words> VIQ_FORMULA word_pairs<Ops> pair_up(Words a, Words b) {
    return {Ops::low_words(a, b), Ops::high_words(a, b)};
}

template <class Ops>
VIQ_FORMULA word_pairs<Ops> products(const word_pairs<Ops> &ab, i32 first, i32 second) {
    const auto factors = Ops::splat_pair(first, second);
    return {Ops::pair_products(ab.low, factors), Ops::pair_products(ab.high, factors)};
}

template <class Ops>
VIQ_FORMULA word_pairs<Ops> plus(const word_pairs<Ops> &a, const word_pairs<Ops> &b) {
    return {Ops::add_32(a.low, b.low), Ops::add_32(a.high, b.high)};
}

template <class Ops>
VIQ_FORMULA word_pairs<Ops> minus(const word_pairs<Ops> &a, const word_pairs<Ops> &b) {
    return {Ops::subtract_32(a.low, b.low), Ops::subtract_32(a.high, b.high)};
}

template <i32 shift, class Ops>
VIQ_FORMULA typename Ops::words to_words(const word_pairs<Ops> &sums) {
    return Ops::pack_32(Ops::template shift_right_32<shift>(sums.low),
                        Ops::template shift_right_32<shift>(sums.high));
}

template <u32 result, class Ops>
VIQ_FORMULA word_pairs<Ops> odd_result(const word_pairs<Ops> &ab, const word_pairs<Ops> &cd) {
    constexpr i32 a = odd_part(1, 0, 0, 0).of[result];
    constexpr i32 b = odd_part(0, 1, 0, 0).of[result];
    constexpr i32 c = odd_part(0, 0, 1, 0).of[result];
    constexpr i32 d = odd_part(0, 0, 0, 1).of[result];
    return plus(products(ab, a, b), products(cd, c, d));
}

template <u32 result, class Ops>
VIQ_FORMULA word_pairs<Ops> even_result(const word_pairs<Ops> &ab) {
    constexpr i32 a = even_part(1, 0).of[result];
    constexpr i32 b = even_part(0, 1).of[result];
    return products(ab, a, b);
}

// ---- Forward

// Transforms the columns; `shift` selects the pass, and the caller transposes before each one. The
// sums fit 16 bits in both passes: the largest magnitude is that of 64 samples of -128 in units of
// 1/4, which is -32768.
template <i32 shift, class Ops>
VIQ_FORMULA rows_of_blocks<Ops> forward_pass(const rows_of_blocks<Ops> &in) {
    typename Ops::words sum[4];
    typename Ops::words difference[4];
    for (std::size_t i = 0; i < 4; ++i) {
        sum[i] = Ops::add(in.row[i], in.row[7 - i]);
        difference[i] = Ops::subtract(in.row[i], in.row[7 - i]);
    }
    const auto outer = Ops::add(sum[0], sum[3]);
    const auto inner = Ops::add(sum[1], sum[2]);
    const auto even = pair_up<Ops>(Ops::subtract(sum[0], sum[3]), Ops::subtract(sum[1], sum[2]));
    const auto ab = pair_up<Ops>(difference[3], difference[2]);
    const auto cd = pair_up<Ops>(difference[1], difference[0]);
    rows_of_blocks<Ops> out;
    out.row[0] = Ops::add(outer, inner);
    out.row[4] = Ops::subtract(outer, inner);
    for (std::size_t i = 0; i < 8; i += 4)
        out.row[i] = shift == first_pass_shift ? Ops::template shift_left<2>(out.row[i])
                                               : Ops::template shift_right<5>(out.row[i]);
    out.row[2] = to_words<shift>(even_result<0>(even));
    out.row[6] = to_words<shift>(even_result<1>(even));
    out.row[7] = to_words<shift>(odd_result<0>(ab, cd));
    out.row[5] = to_words<shift>(odd_result<1>(ab, cd));
    out.row[3] = to_words<shift>(odd_result<2>(ab, cd));
    out.row[1] = to_words<shift>(odd_result<3>(ab, cd));
    return out;
}

template <class Ops> VIQ_FORMULA rows_of_blocks<Ops> forward(const rows_of_blocks<Ops> &samples) {
    return forward_pass<second_pass_shift>(
        transpose(forward_pass<first_pass_shift>(transpose(samples))));
}

// Quantises a row of each block with the reciprocals of the steps; `whole` has all bits where the
// reciprocal is 65536. A coefficient below the step needs no test: its product with the reciprocal
// is below 65536.
template <class Ops, class Words>
VIQ_FORMULA Words quantised(Words row, Words reciprocal, Words whole) {
    const Words size = Ops::magnitude(row);
    const Words quotient = Ops::add(Ops::high_products(size, reciprocal), Ops::all_of(size, whole));
    return Ops::with_sign(quotient, row);
}

} // namespace viq
