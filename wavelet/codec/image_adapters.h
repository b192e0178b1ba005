// Between chains of modules and image objects.
#pragma once

#include "core/types.h"
#include "wavelet/framework/module.h"

namespace viq {

// Reader of a source; the context is an image object. A wavelet image serves the visible part of
// its stream as one line, any other image its pixels.
u32 read_image_region(void *context, u32 x, u32 y, region &wanted);

// Sink of a compressor; the context is a wavelet image object.
u32 append_to_stream(void *context, u32 x, u32 y, const region &delivered);

// Sink of a decompressor; the context is an image object whose skip bytes name the byte of a pixel
// that the first sample of a line goes to.
u32 write_component(void *context, u32 x, u32 y, const region &delivered);

// The image takes the shape of what a chain delivers.
u32 describe_image(tVIQ_Image &image, const output_description &output);

} // namespace viq
