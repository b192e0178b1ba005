// The colourmap and the colourmap record of an image.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 colourmap_size = 256;

// Entries in use: the image's number of colours, at most the size of the colourmap.
u32 colour_count(const tVIQ_Image &image);

// The entry of an index from 0 to 256. Index 256, which setters accept, is stored in the companion
// record.
tVIQ_Colour &colour_entry(tVIQ_Image &image, u32 index);

void destroy_cmap_info(tVIQ_Image &image);

} // namespace viq
