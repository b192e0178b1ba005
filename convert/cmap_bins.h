// How pixels fall into the bins of a colourmap record.
#pragma once

#include "convert/conversion_rows.h"
#include "core/types.h"

namespace viq {

constexpr u32 most_bins = 4096;
constexpr u32 no_colour_of_bin = 0xFFFFFFFF;

// The bin rule of an image by its colourmap record.
bin_rule bin_rule_of(const tVIQ_Image &image);

// Bins that an image's pixels can fall into, 0 when there would be too many.
u32 bins_in_use(const tVIQ_Image &image);

// No component keeps more than 8 bits.
bool bits_fit(const tVIQ_CmapInfo &info);

} // namespace viq
