#include "wavelet/stages/kernels.h"

#include "core/cpu.h"
#include "wavelet/stages/kernels_body.h"

namespace viq {

namespace {

void forward_lines(const i16 *const source[2], const split_line target[2], u32 length,
                   i32 *scratch) {
    for (u32 i = 0; i < 2; ++i)
        forward_line(source[i], target[i], length, scratch);
}

void inverse_lines(const split_line source[2], i16 *const target[2], u32 length, i32 *scratch) {
    for (u32 i = 0; i < 2; ++i)
        inverse_line(source[i], target[i], length, scratch);
}

template <i32 constant> i32 lifted(i32 value, i32 left, i32 right) {
    return value + product(left + right, constant);
}

template <i32 constant> i32 lowered(i32 value, i32 left, i32 right) {
    return value - product(left + right, constant);
}

template <bool has_results>
void go_forward(const line_window &window, i16 *__restrict low, i16 *__restrict high,
                const column_state &state, u32 count) {
    const i16 *even = window[6], *odd = window[7], *next_even = window[8];
    i32 *__restrict predicted = state.lines;
    i32 *__restrict updated = predicted + state.pitch;
    i32 *__restrict details = updated + state.pitch;
    for (u32 x = 0; x < count; ++x) {
        const i32 d1 = lifted<first_predict>(odd[x], even[x], next_even[x]);
        const i32 s1 = lifted<first_update>(even[x], predicted[x], d1);
        const i32 d2 = lifted<second_predict>(predicted[x], updated[x], s1);
        if constexpr (has_results) {
            const i32 s2 = lifted<second_update>(updated[x], details[x], d2);
            low[x] = saturate(product(s2, low_scale));
            high[x] = saturate(product(d2, high_scale));
        }
        predicted[x] = d1;
        updated[x] = s1;
        details[x] = d2;
    }
}

void forward_step(const line_window &window, i16 *low, i16 *high, const column_state &state,
                  u32 count) {
    const auto step = low != nullptr ? go_forward<true> : go_forward<false>;
    step(window, low, high, state, count);
}

template <bool has_results>
void go_back(const line_window &window, i16 *__restrict odd, i16 *__restrict even,
             const column_state &state, u32 count) {
    const i16 *low = window[7], *high = window[8];
    i32 *__restrict details = state.lines;
    i32 *__restrict updated = details + state.pitch;
    i32 *__restrict predicted = updated + state.pitch;
    i32 *__restrict samples = predicted + state.pitch;
    for (u32 x = 0; x < count; ++x) {
        const i32 d2 = product(high[x], high_unscale);
        const i32 s1 = lowered<second_update>(product(low[x], low_unscale), details[x], d2);
        const i32 d1 = lowered<second_predict>(details[x], updated[x], s1);
        const i32 s = saturate(lowered<first_update>(updated[x], predicted[x], d1));
        if constexpr (has_results) {
            odd[x] = saturate(lowered<first_predict>(predicted[x], samples[x], s));
            even[x] = static_cast<i16>(s);
        }
        details[x] = d2;
        updated[x] = s1;
        predicted[x] = d1;
        samples[x] = s;
    }
}

void inverse_step(const line_window &window, i16 *odd, i16 *even, const column_state &state,
                  u32 count) {
    const auto step = odd != nullptr ? go_back<true> : go_back<false>;
    step(window, odd, even, state, count);
}

} // namespace

const wavelet_kernels plain_wavelet_kernels = {
    widen,        narrow,       spread,   forward_lines, inverse_lines,
    forward_step, inverse_step, quantise, dequantise,
};

const wavelet_kernels &current_wavelet_kernels() {
    constexpr kernel_sets<wavelet_kernels> sets = {&plain_wavelet_kernels,
                                                   VIQ_AVX2_TABLE(avx2_wavelet_kernels)};
    return current_kernels(sets);
}

} // namespace viq
