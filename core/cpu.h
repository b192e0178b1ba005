// Which instruction set the row and block kernels use.
//
// Each kernel family holds one table per set and asks for the current one; tests force every set
// that the machine has, one after the other.
#pragma once

namespace viq {

enum class instruction_set : unsigned { plain, avx2 };
constexpr unsigned instruction_sets = 2;

// The best set of this machine, or the forced one.
instruction_set current_set();

bool set_available(instruction_set set);

// For tests: an available set stays in force until the next call.
void force_set(instruction_set set);

} // namespace viq
