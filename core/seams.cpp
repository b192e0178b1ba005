#include "core/seams.h"

namespace viq {

const upper_seams upper = {
    .destroy_chroma_keys = VIQ_CK_destroy,
    .destroy_lookup_tables = VIQ_LUT_destroy,
};

} // namespace viq
