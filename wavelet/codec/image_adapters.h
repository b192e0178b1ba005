// Adapters between chains of modules and image objects: the reader of a source, the sinks of the
// compressor and the decompressor.
#pragma once

#include "core/types.h"
#include "wavelet/framework/module.h"

namespace viq {

// Reader of a source; the context is an image object. For a wavelet image it provides the part of
// the stream that belongs to the current component, as one line; for any other image the pixels.
u32 read_image_region(void *context, u32 x, u32 y, region &requested);

// Sink of a compressor: appends a region to the stream; the context is a wavelet image object.
u32 append_to_stream(void *context, u32 x, u32 y, const region &delivered);

// Sink of a decompressor: writes the samples of a component; the context is an image object whose
// skip bytes are the offset of the component's first sample in a line.
u32 write_component(void *context, u32 x, u32 y, const region &delivered);

// Sets the format and the size of an image from the output description of a chain.
u32 describe_image(tVIQ_Image &image, const output_description &output);

} // namespace viq
