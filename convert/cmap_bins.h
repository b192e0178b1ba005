// The bins of a colourmap record: which bin a pixel belongs to.
#pragma once

#include "convert/conversion_rows.h"
#include "core/types.h"

namespace viq {

constexpr u32 most_bin_bits = 12; // sum of the bits of the components
constexpr u32 most_bins = 1u << most_bin_bits;
constexpr u32 no_colour_of_bin = 0xFFFFFFFF;

// The bin rule that an image's colourmap record gives.
bin_rule bin_rule_of(const tVIQ_Image &image);

// The number of bins that an image's pixels can belong to; 0 if it exceeds most_bins.
u32 bins_in_use(const tVIQ_Image &image);

// True if no component keeps more than 8 bits.
bool bits_fit(const tVIQ_CmapInfo &info);

} // namespace viq
