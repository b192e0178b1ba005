#include "wavelet/stages/lifting_kernels.h"

#include "core/cpu.h"
#include "wavelet/stages/lifting_loops.h"

namespace viq {

namespace {

void forward_lines(const i16 *const source[2], const line_halves target[2], u32 length,
                   i32 *scratch) {
    for (u32 i = 0; i < 2; ++i)
        forward_line(source[i], target[i], length, scratch);
}

void inverse_lines(const line_halves source[2], i16 *const target[2], u32 length, i32 *scratch) {
    for (u32 i = 0; i < 2; ++i)
        inverse_line(source[i], target[i], length, scratch);
}

template <i32 constant> i32 plus_product(i32 value, i32 left, i32 right) {
    return value + product(left + right, constant);
}

template <i32 constant> i32 minus_product(i32 value, i32 left, i32 right) {
    return value - product(left + right, constant);
}

// d1, s1, d2, s2: the results of the four lifting steps; last_...: those of the previous step.
template <bool has_results>
bool forward_columns(const line_window &window, i16 *__restrict low, i16 *__restrict high,
                     const column_state &state, u32 count) {
    const i16 *even = window[6], *odd = window[7], *next_even = window[8];
    i32 *__restrict last_d1 = state.lines;
    i32 *__restrict last_s1 = last_d1 + state.stride;
    i32 *__restrict last_d2 = last_s1 + state.stride;
    i32 excess = 0;
    for (u32 x = 0; x < count; ++x) {
        const i32 d1 = plus_product<first_predict>(odd[x], even[x], next_even[x]);
        const i32 s1 = plus_product<first_update>(even[x], last_d1[x], d1);
        const i32 d2 = plus_product<second_predict>(last_d1[x], last_s1[x], s1);
        if constexpr (has_results) {
            const i32 s2 = plus_product<second_update>(last_s1[x], last_d2[x], d2);
            const i32 wide_low = product(s2, low_scale);
            const i32 wide_high = product(d2, high_scale);
            low[x] = saturate(wide_low);
            high[x] = saturate(wide_high);
            excess |= (wide_low ^ low[x]) | (wide_high ^ high[x]);
        }
        last_d1[x] = d1;
        last_s1[x] = s1;
        last_d2[x] = d2;
    }
    return excess == 0;
}

bool forward_step(const line_window &window, i16 *low, i16 *high, const column_state &state,
                  u32 count) {
    const auto step = low != nullptr ? forward_columns<true> : forward_columns<false>;
    return step(window, low, high, state, count);
}

template <bool has_results>
void inverse_columns(const line_window &window, i16 *__restrict odd, i16 *__restrict even,
                     const column_state &state, u32 count) {
    const i16 *low = window[7], *high = window[8];
    i32 *__restrict last_d2 = state.lines;
    i32 *__restrict last_s1 = last_d2 + state.stride;
    i32 *__restrict last_d1 = last_s1 + state.stride;
    i32 *__restrict last_even = last_d1 + state.stride;
    for (u32 x = 0; x < count; ++x) {
        const i32 d2 = product(high[x], high_unscale);
        const i32 s1 = minus_product<second_update>(product(low[x], low_unscale), last_d2[x], d2);
        const i32 d1 = minus_product<second_predict>(last_d2[x], last_s1[x], s1);
        const i32 next_even = saturate(minus_product<first_update>(last_s1[x], last_d1[x], d1));
        if constexpr (has_results) {
            odd[x] = saturate(minus_product<first_predict>(last_d1[x], last_even[x], next_even));
            even[x] = static_cast<i16>(next_even);
        }
        last_d2[x] = d2;
        last_s1[x] = s1;
        last_d1[x] = d1;
        last_even[x] = next_even;
    }
}

void inverse_step(const line_window &window, i16 *odd, i16 *even, const column_state &state,
                  u32 count) {
    const auto step = odd != nullptr ? inverse_columns<true> : inverse_columns<false>;
    step(window, odd, even, state, count);
}

} // namespace

const wavelet_kernels plain_wavelet_kernels = {
    widen,        narrow,       spread,   forward_lines, inverse_lines,
    forward_step, inverse_step, quantise, dequantise,    divide,
};

const wavelet_kernels &current_wavelet_kernels() {
    constexpr kernel_sets<wavelet_kernels> sets = {
        &plain_wavelet_kernels, VIQ_AVX2_TABLE(avx2_wavelet_kernels),
        VIQ_NEON_TABLE(neon_wavelet_kernels), VIQ_AVX512_TABLE(avx512_wavelet_kernels)};
    return current_kernels(sets);
}

} // namespace viq
