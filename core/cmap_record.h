// The colourmap and the colourmap record that an image carries.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 colourmap_size = 256;

// Entries in use: the colour count, which a caller may have set beyond the map.
u32 colour_count(const tVIQ_Image &image);

// Entry of an index up to 256; the last one lies beside the map, so that it never leaves it.
tVIQ_Colour &colour_entry(tVIQ_Image &image, u32 index);

void destroy_cmap_info(tVIQ_Image &image);

} // namespace viq
