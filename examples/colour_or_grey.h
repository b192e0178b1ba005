/* Shared by the examples that accept pictures with and without a palette. */
#include "viq.h"

/* Converts a strip to VIQ_RGB24, or to VIQ_Y8 if it has a palette of grey levels. */
static uint32_t to_colour_or_grey(uint32_t from, uint32_t to) {
    int has_palette = VIQ_image_get_parameter(from, VIQ_IMAGE_TYPE) == VIQ_PALETTED;
    return VIQ_image_convert(from, to, has_palette ? VIQ_RGB24_OR_Y8 : VIQ_RGB24, 0,
                             VIQ_STRIP_NEXT);
}
