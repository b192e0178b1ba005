// The transform with sixteen samples of 16 bits in a register.
//
// A product with a 14-bit constant is exact in 16 bits, and additions that wrap do no harm as long
// as their results fit. What might not fit is watched; where it did not, the samples in question
// are made again in 32 bits.
#include <immintrin.h>

#include "wavelet/stages/kernels_body.h"

namespace viq {

namespace {

#define VIQ_LIFTING [[gnu::always_inline]] inline

using words = __m256i;

VIQ_LIFTING words load(const i16 *from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from));
}

VIQ_LIFTING void store(i16 *to, words values) {
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(to), values);
}

VIQ_LIFTING words add(words a, words b) {
    return _mm256_add_epi16(a, b);
}

VIQ_LIFTING words subtract(words a, words b) {
    return _mm256_sub_epi16(a, b);
}

VIQ_LIFTING words add_capped(words a, words b) {
    return _mm256_adds_epi16(a, b);
}

VIQ_LIFTING words subtract_capped(words a, words b) {
    return _mm256_subs_epi16(a, b);
}

// The product with a constant; of a constant beyond 1 only what goes beyond.
template <i32 constant> VIQ_LIFTING words product(words values) {
    constexpr i32 one = 1 << fraction_bits;
    constexpr i32 part = constant >= one    ? constant - one
                         : constant <= -one ? constant + one
                                            : constant;
    return _mm256_mulhrs_epi16(values, _mm256_set1_epi16(static_cast<i16>(2 * part)));
}

// The product of the first update, whose sum may need a 17th bit: a wrapped sum lacks 65536.
VIQ_LIFTING words first_update_product(words left, words right) {
    const words sum = add(left, right);
    const words capped = add_capped(left, right);
    const words lacking =
        _mm256_sign_epi16(_mm256_set1_epi16(static_cast<i16>(4 * first_update)), capped);
    const words is_whole = _mm256_cmpeq_epi16(sum, capped);
    return add(product<first_update>(sum), _mm256_andnot_si256(is_whole, lacking));
}

// How far values on the way have come above the negative of their limit. Within the limits every
// sum that enters a product fits 16 bits; beyond them, no sum wraps back into them.
struct watch {
    words values = _mm256_setzero_si256();
    words predicted = _mm256_setzero_si256();

    static constexpr i32 most = 12900;
    static constexpr i32 most_predicted = 29800;
};

template <i32 most> VIQ_LIFTING void see(words &highest, words values) {
    const words above = add(values, _mm256_set1_epi16(static_cast<i16>(most)));
    highest = _mm256_max_epu16(highest, above);
}

VIQ_LIFTING bool is_sound(const watch &seen) {
    const auto excess = [](words highest, i32 most) {
        return _mm256_subs_epu16(highest, _mm256_set1_epi16(static_cast<i16>(2 * most)));
    };
    const words all = _mm256_or_si256(excess(seen.values, watch::most),
                                      excess(seen.predicted, watch::most_predicted));
    return _mm256_testz_si256(all, all) != 0;
}

// ---------------------------------------------------------------- lifting

// The stages of a block depend on each other, which takes longer than they keep the machine busy.
// So they are cut in two, and a block is finished while the next one is begun.
//
// `past(k, values)` keeps the values and gives the ones before them.

struct begun_forward {
    words before_d1, before_s1, s1;
};

template <class Past>
VIQ_LIFTING begun_forward begin_forward(words even, words odd, words next_even, Past &past,
                                        watch &seen) {
    see<watch::most>(seen.values, next_even);
    const words evens = add(even, next_even);
    const words d1 = subtract_capped(add_capped(odd, product<first_predict>(evens)), evens);
    see<watch::most_predicted>(seen.predicted, d1);
    const words before_d1 = past(0, d1);
    const words s1 = add(even, first_update_product(before_d1, d1));
    return {before_d1, past(1, s1), s1};
}

struct split_words {
    words low, high;
};

template <class Past>
VIQ_LIFTING split_words end_forward(const begun_forward &begun, Past &past, watch &seen) {
    const auto &[before_d1, before_s1, s1] = begun;
    const words d2 = add_capped(before_d1, product<second_predict>(add(before_s1, s1)));
    see<watch::most>(seen.values, d2);
    const words before_d2 = past(2, d2);
    const words s2 = add(before_s1, product<second_update>(add(before_d2, d2)));
    return {product<low_scale>(s2), subtract(product<high_scale>(d2), d2)};
}

struct begun_inverse {
    words before_s1, before_d1, d1;
};

template <class Past>
VIQ_LIFTING begun_inverse begin_inverse(words low, words high, Past &past, watch &seen) {
    const words s2 = add(low, product<low_unscale>(low));
    const words d2 = product<high_unscale>(high);
    see<watch::most>(seen.values, d2);
    const words before_d2 = past(0, d2);
    const words s1 = subtract(s2, product<second_update>(add(before_d2, d2)));
    see<watch::most>(seen.values, s1);
    const words before_s1 = past(1, s1);
    const words d1 = subtract(before_d2, product<second_predict>(add(before_s1, s1)));
    see<watch::most_predicted>(seen.predicted, d1);
    return {before_s1, past(2, d1), d1};
}

struct joined_words {
    words before_even, odd, even;
};

template <class Past> VIQ_LIFTING joined_words end_inverse(const begun_inverse &begun, Past &past) {
    const auto &[before_s1, before_d1, d1] = begun;
    const words even = subtract(before_s1, first_update_product(before_d1, d1));
    const words before_even = past(3, even);
    const words evens = add(before_even, even);
    const words odd = add_capped(subtract_capped(before_d1, product<first_predict>(evens)), evens);
    return {before_even, odd, even};
}

// ---------------------------------------------------------------- lines

// Two lines lie side by side in a register, eight samples of each.
VIQ_LIFTING words load_pair(const i16 *first, const i16 *second) {
    return _mm256_loadu2_m128i(reinterpret_cast<const __m128i *>(second),
                               reinterpret_cast<const __m128i *>(first));
}

VIQ_LIFTING void store_pair(i16 *first, i16 *second, words values) {
    _mm256_storeu2_m128i(reinterpret_cast<__m128i *>(second), reinterpret_cast<__m128i *>(first),
                         values);
}

// Along a line the value before is the one on the left.
struct left_neighbours {
    words last[4] = {_mm256_setzero_si256(), _mm256_setzero_si256(), _mm256_setzero_si256(),
                     _mm256_setzero_si256()};

    VIQ_LIFTING words operator()(u32 stage, words values) {
        const words left = _mm256_alignr_epi8(values, last[stage], 14);
        last[stage] = values;
        return left;
    }
};

constexpr i32 block_pairs = 8;
constexpr i32 block_samples = 2 * block_pairs;

// Two blocks of a line that reach beyond its ends, where the line is mirrored.
struct end_blocks {
    i16 at[2 * block_samples] = {};
};

VIQ_LIFTING void fill(end_blocks &blocks, const i16 *line, i32 length, i32 begin) {
    constexpr i32 reach = 4;
    const i32 from = std::max(begin, 0);
    const i32 to = std::min(begin + 2 * block_samples, length);
    if (to > from)
        std::memcpy(blocks.at + (from - begin), line + from,
                    static_cast<std::size_t>(to - from) * sizeof(i16));
    if (begin < 0)
        for (i32 i = 1; i <= reach; ++i)
            blocks.at[-i - begin] = line[i];
    for (i32 i = std::max(begin, length); i < std::min(begin + 2 * block_samples, length + reach);
         ++i)
        blocks.at[i - begin] = line[2 * (length - 1) - i];
}

struct forward_pair {
    split_line target[2];
    left_neighbours past = {};
    left_neighbours evens = {};
    watch seen = {};
    begun_forward begun = {};
};

// Ends the block before the present one. What has never begun ends in the margin.
VIQ_LIFTING void end_block(forward_pair &pair, i32 block) {
    const split_words result = end_forward(pair.begun, pair.past, pair.seen);
    const i32 at = block_pairs * (block - 1) - 2;
    store_pair(pair.target[0].low + at, pair.target[1].low + at, result.low);
    store_pair(pair.target[0].high + at, pair.target[1].high + at, result.high);
}

// The sixteen samples from the odd one before pair 8 * block on.
VIQ_LIFTING void filter_block(forward_pair &pair, const i16 *first, const i16 *second, i32 block) {
    const __m128i odds_then_evens =
        _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    const words order = _mm256_broadcastsi128_si256(odds_then_evens);
    const words front = _mm256_shuffle_epi8(load_pair(first, second), order);
    const words back = _mm256_shuffle_epi8(load_pair(first + 8, second + 8), order);
    const words odd = _mm256_unpacklo_epi64(front, back);
    const words even = _mm256_unpackhi_epi64(front, back);
    const begun_forward begun = begin_forward(pair.evens(0, even), odd, even, pair.past, pair.seen);
    end_block(pair, block);
    pair.begun = begun;
}

void forward_lines(const i16 *const source[2], const split_line target[2], u32 length,
                   i32 *scratch) {
    const auto samples = static_cast<i32>(length);
    const i32 last_block = ((samples + 1) / 2 + 1) / block_pairs;
    const i32 first_end = samples >= 31 ? (samples - 15) / block_samples + 1 : 1;
    end_blocks ends[2];
    for (u32 i = 0; i < 2; ++i)
        fill(ends[i], source[i], samples, -block_samples - 1);
    forward_pair pair = {{target[0], target[1]}};
    for (i32 block = -1; block <= 0; ++block)
        filter_block(pair, ends[0].at + block_samples * (block + 1),
                     ends[1].at + block_samples * (block + 1), block);
    const i16 *first = source[0] + block_samples - 1;
    const i16 *second = source[1] + block_samples - 1;
    for (i32 block = 1; block < first_end; ++block) {
        filter_block(pair, first, second, block);
        first += block_samples;
        second += block_samples;
    }
    for (u32 i = 0; i < 2; ++i) {
        ends[i] = {};
        fill(ends[i], source[i], samples, block_samples * first_end - 1);
    }
    for (i32 block = first_end; block <= last_block; ++block)
        filter_block(pair, ends[0].at + block_samples * (block - first_end),
                     ends[1].at + block_samples * (block - first_end), block);
    end_block(pair, last_block + 1);
    if (!is_sound(pair.seen))
        for (u32 i = 0; i < 2; ++i)
            forward_line(source[i], target[i], length, scratch);
}

// The halves of a line go on in their margins as mirrored lines do.
VIQ_LIFTING void mirror_ends(const split_line &line, u32 length) {
    i16 *low_end = line.low + (length + 1) / 2;
    i16 *high_end = line.high + length / 2;
    const auto is_odd = static_cast<std::ptrdiff_t>(length % 2);
    line.low[-1] = line.low[1];
    line.low[-2] = line.low[2];
    line.high[-1] = line.high[0];
    line.high[-2] = line.high[1];
    for (std::ptrdiff_t i = 0; i < 2; ++i) {
        low_end[i] = low_end[-1 - is_odd - i];
        high_end[i] = high_end[-2 + is_odd - i];
    }
}

struct inverse_pair {
    i16 *first, *second;
    left_neighbours past = {};
    watch seen = {};
    begun_inverse begun = {};
};

VIQ_LIFTING void end_block(inverse_pair &pair, i32 block) {
    const joined_words result = end_inverse(pair.begun, pair.past);
    const i32 at = block_samples * (block - 1) - 4;
    const words front = _mm256_unpacklo_epi16(result.before_even, result.odd);
    const words back = _mm256_unpackhi_epi16(result.before_even, result.odd);
    store_pair(pair.first + at, pair.second + at, front);
    store_pair(pair.first + at + 8, pair.second + at + 8, back);
}

void inverse_lines(const split_line source[2], i16 *const target[2], u32 length, i32 *scratch) {
    for (u32 i = 0; i < 2; ++i)
        mirror_ends(source[i], length);
    const i32 last_block = (static_cast<i32>(length) + 3) / block_samples;
    inverse_pair pair = {target[0], target[1]};
    for (i32 block = -1; block <= last_block; ++block) {
        const i32 from = block_pairs * block;
        const words low = load_pair(source[0].low + from, source[1].low + from);
        const words high = load_pair(source[0].high + from, source[1].high + from);
        const begun_inverse begun = begin_inverse(low, high, pair.past, pair.seen);
        end_block(pair, block);
        pair.begun = begun;
    }
    end_block(pair, last_block + 1);
    if (!is_sound(pair.seen))
        for (u32 i = 0; i < 2; ++i)
            inverse_line(source[i], target[i], length, scratch);
}

// ---------------------------------------------------------------- columns

// Down the columns the value before is that of the step before.
struct upper_neighbours {
    i16 *lines;
    std::size_t pitch;

    VIQ_LIFTING words operator()(u32 stage, words values) const {
        i16 *place = lines + stage * pitch;
        const words above = load(place);
        store(place, values);
        return above;
    }
};

VIQ_LIFTING upper_neighbours neighbours_at(const column_state &state, u32 x) {
    return {reinterpret_cast<i16 *>(state.lines) + x, state.pitch};
}

// What a window of lines gives, in 32 bits.
struct exact_columns {
    i32 at[window_lines][column_group];
};

template <i32 constant, i32 sign>
void lift_window(exact_columns &columns, u32 first, u32 last, u32 count) {
    for (u32 k = first; k <= last; k += 2)
        lift<constant, sign>(columns.at[k], columns.at[k - 1], columns.at[k + 1], count);
}

[[gnu::noinline]] void exact_forward(const line_window &window, i16 *low, i16 *high, u32 x,
                                     u32 count) {
    exact_columns columns;
    for (u32 k = 0; k < window_lines; ++k)
        std::copy_n(window[k] + x, count, columns.at[k]);
    lift_window<first_predict, 1>(columns, 1, 7, count);
    lift_window<first_update, 1>(columns, 2, 6, count);
    lift_window<second_predict, 1>(columns, 3, 5, count);
    lift_window<second_update, 1>(columns, 4, 4, count);
    scale(columns.at[4], low + x, count, low_scale);
    scale(columns.at[5], high + x, count, high_scale);
}

[[gnu::noinline]] void exact_back(const line_window &window, i16 *odd, i16 *even, u32 x,
                                  u32 count) {
    exact_columns columns;
    for (u32 k = 0; k < window_lines; ++k)
        unscale(window[k] + x, columns.at[k], count, k % 2 == 0 ? high_unscale : low_unscale);
    lift_window<second_update, -1>(columns, 1, 7, count);
    lift_window<second_predict, -1>(columns, 2, 6, count);
    lift_window<first_update, -1>(columns, 3, 5, count);
    saturate_all(columns.at[3], count);
    saturate_all(columns.at[5], count);
    lift_window<first_predict, -1>(columns, 4, 4, count);
    for (u32 i = 0; i < count; ++i) {
        odd[x + i] = saturate(columns.at[4][i]);
        even[x + i] = static_cast<i16>(columns.at[5][i]);
    }
}

// A value that was not sound spoils the results of so many steps.
constexpr u8 spoilt_steps = 5;

// Runs `filter` over the columns in groups; spoilt groups are repaired.
template <class Filter, class Repair>
VIQ_LIFTING void run_groups(const column_state &state, u32 count, Filter filter, Repair repair) {
    for (u32 x = 0; x < count; x += column_group) {
        const u32 columns = std::min(column_group, count - x);
        watch seen;
        filter(x, columns, seen);
        u8 &unsound = state.unsound[x / column_group];
        if (!is_sound(seen))
            unsound = spoilt_steps;
        if (unsound == 0)
            continue;
        --unsound;
        repair(x, columns);
    }
}

constexpr u32 lanes = 16;

// Begins the blocks of a group one after the other and ends each behind the beginning of the next.
template <class Begin, class End>
VIQ_LIFTING void run_blocks(u32 from, u32 columns, Begin begin, End end) {
    auto begun = begin(from);
    u32 x = from;
    for (; x + 2 * lanes <= from + columns; x += lanes) {
        const auto next = begin(x + lanes);
        end(x, begun, lanes);
        begun = next;
    }
    if (x + lanes < from + columns) {
        const auto next = begin(x + lanes);
        end(x, begun, lanes);
        begun = next;
        x += lanes;
    }
    end(x, begun, from + columns - x);
}

VIQ_LIFTING void store_some(i16 *to, words values, u32 count) {
    if (count == lanes)
        store(to, values);
    else
        std::memcpy(to, &values, count * sizeof(i16));
}

void forward_step(const line_window &window, i16 *low, i16 *high, const column_state &state,
                  u32 count) {
    const i16 *even = window[6], *odd = window[7], *next_even = window[8];
    const column_state own = state;
    const auto filter = [=](u32 from, u32 columns, watch &seen) {
        run_blocks(
            from, columns,
            [&](u32 x) {
                upper_neighbours past = neighbours_at(own, x);
                return begin_forward(load(even + x), load(odd + x), load(next_even + x), past,
                                     seen);
            },
            [&](u32 x, const begun_forward &begun, u32 places) {
                upper_neighbours past = neighbours_at(own, x);
                const split_words result = end_forward(begun, past, seen);
                if (low == nullptr)
                    return;
                store_some(low + x, result.low, places);
                store_some(high + x, result.high, places);
            });
    };
    run_groups(own, count, filter, [&](u32 x, u32 columns) {
        if (low != nullptr)
            exact_forward(window, low, high, x, columns);
    });
}

void inverse_step(const line_window &window, i16 *odd, i16 *even, const column_state &state,
                  u32 count) {
    const i16 *low = window[7], *high = window[8];
    const column_state own = state;
    const auto filter = [=](u32 from, u32 columns, watch &seen) {
        run_blocks(
            from, columns,
            [&](u32 x) {
                upper_neighbours past = neighbours_at(own, x);
                return begin_inverse(load(low + x), load(high + x), past, seen);
            },
            [&](u32 x, const begun_inverse &begun, u32) {
                upper_neighbours past = neighbours_at(own, x);
                const joined_words result = end_inverse(begun, past);
                if (odd == nullptr)
                    return;
                store(odd + x, result.odd);
                store(even + x, result.even);
            });
    };
    run_groups(own, count, filter, [&](u32 x, u32 columns) {
        if (odd != nullptr)
            exact_back(window, odd, even, x, columns);
    });
}

// ---------------------------------------------------------------- levels

void narrow_words(const i16 *samples, u8 *bytes, u32 count) {
    const auto centred = [](words values) {
        const words rounded = add_capped(values, _mm256_set1_epi16(32));
        return add(_mm256_srai_epi16(rounded, 6), _mm256_set1_epi16(128));
    };
    u32 i = 0;
    for (; i + 2 * lanes <= count; i += 2 * lanes) {
        const words packed =
            _mm256_packus_epi16(centred(load(samples + i)), centred(load(samples + i + lanes)));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(bytes + i),
                            _mm256_permute4x64_epi64(packed, 0xD8));
    }
    narrow(samples + i, bytes + i, count - i);
}

// Widens bytes to places of `step` bytes and puts them in without a change of the bytes between.
template <u32 step> u32 spread_blocks(const u8 *from, u8 *to, u32 count) {
    constexpr u32 block = 32 / step;
    const __m256i own = step == 2 ? _mm256_set1_epi16(0xFF) : _mm256_set1_epi32(0xFF);
    u32 i = 0;
    for (; i + block < count; i += block) { // the last place may end its line
        const __m128i some = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(from + i));
        auto *place = reinterpret_cast<__m256i *>(to + std::size_t{step} * i);
        const __m256i wide =
            step == 2
                ? _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(from + i)))
                : _mm256_cvtepu8_epi32(some);
        _mm256_storeu_si256(place, _mm256_blendv_epi8(_mm256_loadu_si256(place), wide, own));
    }
    return i;
}

void spread_bytes(const u8 *from, u8 *to, u32 step, u32 count) {
    const u32 done = step == 2   ? spread_blocks<2>(from, to, count)
                     : step == 4 ? spread_blocks<4>(from, to, count)
                                 : 0;
    spread(from + done, to + std::size_t{step} * done, step, count - done);
}

// ---------------------------------------------------------------- quantiser

void quantise_words(const i16 *coefficients, i16 *values, u32 count, u32 step) {
    const u32 factor = step != 0 ? 32768 / step : 0;
    u32 i = 0;
    if (factor < 16384) {
        const words twice = _mm256_set1_epi16(static_cast<i16>(2 * factor));
        const words dropped = _mm256_set1_epi16(factor <= 512 ? -1 : 0);
        for (; i + lanes <= count; i += lanes) {
            const words value = _mm256_mulhi_epi16(load(coefficients + i), twice);
            store(values + i, _mm256_andnot_si256(_mm256_cmpeq_epi16(value, dropped), value));
        }
    }
    quantise(coefficients + i, values + i, count - i, step);
}

void dequantise_words(const i16 *values, i16 *coefficients, u32 count, u32 step) {
    u32 i = 0;
    if (step < 32768) {
        const u32 middle = (step + 1) >> 1;
        const words factors = _mm256_set1_epi32(static_cast<i32>(middle << 16 | step));
        const words one = _mm256_set1_epi16(1);
        // zeros stay, unless the steps are fine
        const words kept = _mm256_set1_epi16(step < 64 ? -1 : 0);
        for (; i + lanes <= count; i += lanes) {
            const words value = load(values + i);
            const words front = _mm256_madd_epi16(_mm256_unpacklo_epi16(value, one), factors);
            const words back = _mm256_madd_epi16(_mm256_unpackhi_epi16(value, one), factors);
            const words zero = _mm256_cmpeq_epi16(value, _mm256_setzero_si256());
            store(coefficients + i, _mm256_andnot_si256(_mm256_andnot_si256(kept, zero),
                                                        _mm256_packs_epi32(front, back)));
        }
    }
    dequantise(values + i, coefficients + i, count - i, step);
}

} // namespace

const wavelet_kernels avx2_wavelet_kernels = {
    widen,        narrow_words, spread_bytes,   forward_lines,    inverse_lines,
    forward_step, inverse_step, quantise_words, dequantise_words,
};

} // namespace viq
