#include "core/cpu.h"

namespace viq {

namespace {

bool machine_has_avx2() {
#if defined(VIQ_HAVE_AVX2)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi2") != 0;
#else
    return false;
#endif
}

instruction_set best_set() {
    return machine_has_avx2() ? instruction_set::avx2 : instruction_set::plain;
}

instruction_set selected = best_set();

} // namespace

instruction_set current_set() {
    return selected;
}

bool set_available(instruction_set set) {
    return set == instruction_set::plain || machine_has_avx2();
}

void force_set(instruction_set set) {
    if (set_available(set))
        selected = set;
}

} // namespace viq
