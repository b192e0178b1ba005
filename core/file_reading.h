// How files are read, and what a reader reports about a file beside the picture.
#pragma once

#include "core/types.h"

namespace viq {

// The readers follow the rules of the file's own format; else they read as they always have. The
// mode counts when a header is read: an open file is read to its end in the mode of its header.
bool reads_conforming();

// What the header of a file says that the image does not hold; 0: not known. See
// VIQ_image_get_file_info.
struct file_facts {
    u32 orientation = 0;
    u32 sample_bits = 0;
    u32 dropped_samples = 0;
};

} // namespace viq
