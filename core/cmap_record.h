// The colourmap and the colourmap record of an image.
#pragma once

#include "core/types.h"

namespace viq {

constexpr u32 colourmap_size = 256;

// Number of entries in use. The colour count of the image may exceed the map.
u32 colour_count(const tVIQ_Image &image);

// The entry with an index of up to 256. Entry 256 is stored outside the map.
tVIQ_Colour &colour_entry(tVIQ_Image &image, u32 index);

// Makes the colourmap record if the image has none; false: memory runs out.
bool need_cmap_info(tVIQ_Image &image);

void destroy_cmap_info(tVIQ_Image &image);

// Copies the colourmap and its record from one image to another.
u32 copy_colourmap(const tVIQ_Image &in, tVIQ_Image &out);

} // namespace viq
