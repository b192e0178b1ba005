// The frame that viq view shows, and reduced copies of it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tools/image_handle.h"
#include "tools/view_file.h"
#include "tools/view_state.h"

namespace tool {

struct shown_frame {
    view_file file;
    uint64_t number = 0; // counted from 1; 0: none has been read
    image picture = image(0);
    bool as_samples = false;           // mosaics are shown as grey samples, not in colours
    std::map<uint32_t, image> reduced; // copies with a side of one in so many pixels
};

// After a failure the frame is unchanged.
void read_frame(shown_frame &frame, uint64_t number);

view_size size_of(const shown_frame &frame);

// The picture or, if it is shown at a half of its size or less, a copy whose pixels are means. It
// is made when it is first needed. Films and 16-bit pictures have no copies.
const image &picture_for_zoom(shown_frame &frame, double zoom);

} // namespace tool
