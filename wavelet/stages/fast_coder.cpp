#include "wavelet/stages/fast_coder.h"

namespace viq {

// What photographs make of the classes on the average, so that little has to be learnt.
fast_models::fast_models() {
    group = {60, 2, 0};
    for (u32 level = 0; level < scan_levels; ++level) {
        levels[level] = {60 / (level + 1), 4, level / 2};
        levels[level].shift = 0;
    }
    levels[level_in_group] = {20, 4, 0};
    for (u32 i = 0; i < 6; ++i) {
        group.adapt(group_scale);
        for (run_class &item : levels)
            item.adapt(value_scale);
    }
}

} // namespace viq
