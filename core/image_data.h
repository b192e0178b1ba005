// Strip buffers and the copying of images.
#pragma once

#include "core/types.h"

namespace viq {

// Copies the documented fields. The flags are copied too, but an output whose buffer is locked
// stays locked.
void copy_fields(const tVIQ_Image &in, tVIQ_Image &out);

// The work of VIQ_image_copy_parameters.
u32 copy_parameters(u32 hInImage, u32 hOutImage);

// The work of VIQ_image_set_parameter for VIQ_IMAGE_TYPE. An unknown code is stored as well, so
// that the image check reports it again.
u32 set_pixel_format(tVIQ_Image &image, u32 format);

} // namespace viq
