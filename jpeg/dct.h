// The odd and even parts of the 8-point transforms that contain multiplications: constants of 13
// fraction bits, 32-bit sums that wrap.
//
// Both parts are linear. Vector kernels derive their matrices by applying the parts to unit
// vectors, and get the same results although they group the products differently.
#pragma once

#include "convert/pixel_formulas.h"

namespace viq {

constexpr i32 first_pass_shift = 11; // of the products
constexpr i32 second_pass_shift = 18;
constexpr i32 fraction_bits = 13;

VIQ_FORMULA constexpr i32 wrapped_sum(i32 a, i32 b) {
    return static_cast<i32>(static_cast<u32>(a) + static_cast<u32>(b));
}

VIQ_FORMULA constexpr i32 wrapped_difference(i32 a, i32 b) {
    return static_cast<i32>(static_cast<u32>(a) - static_cast<u32>(b));
}

VIQ_FORMULA constexpr i32 wrapped_product(i32 a, i32 b) {
    return static_cast<i32>(static_cast<u32>(a) * static_cast<u32>(b));
}

struct odd_results {
    i32 of[4];
};

// Forward: from the differences of samples 3 and 4, 2 and 5, 1 and 6, 0 and 7 to coefficients 7, 5,
// 3, 1. Inverse: from coefficients 7, 5, 3, 1 to the odd halves of samples 3, 2, 1, 0.
VIQ_FORMULA constexpr odd_results odd_part(i32 a, i32 b, i32 c, i32 d) {
    const i32 ac = wrapped_sum(a, c);
    const i32 bd = wrapped_sum(b, d);
    const i32 z5 = wrapped_product(wrapped_sum(ac, bd), 9633);
    const i32 z1 = wrapped_product(wrapped_sum(a, d), -7373);
    const i32 z2 = wrapped_product(wrapped_sum(b, c), -20995);
    const i32 z3 = wrapped_sum(wrapped_product(ac, -16069), z5);
    const i32 z4 = wrapped_sum(wrapped_product(bd, -3196), z5);
    return {{wrapped_sum(wrapped_product(a, 2446), wrapped_sum(z1, z3)),
             wrapped_sum(wrapped_product(b, 16819), wrapped_sum(z2, z4)),
             wrapped_sum(wrapped_product(c, 25172), wrapped_sum(z2, z3)),
             wrapped_sum(wrapped_product(d, 12299), wrapped_sum(z1, z4))}};
}

struct even_results {
    i32 of[2];
};

// Forward: to coefficients 2 and 6. Inverse: from coefficients 2 and 6 to the even halves.
VIQ_FORMULA constexpr even_results even_part(i32 a, i32 b) {
    const i32 z1 = wrapped_product(wrapped_sum(a, b), 4433);
    return {
        {wrapped_sum(z1, wrapped_product(a, 6270)), wrapped_sum(z1, wrapped_product(b, -15137))}};
}

} // namespace viq
