/* Develops a raw frame of a colour camera: camera_frame LAYOUT WIDTH HEIGHT FRAME OUT.jpg
 *
 * LAYOUT is the name of a mosaic layout as camera drivers report it, such as BayerRG8 or
 * BayerGB12p. FRAME is a file with the bytes of the frame. */
#include "viq.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

static uint32_t develop(const tVIQ_FrameLayout *layout, uint32_t raw, const char *out) {
    const uint16_t black = 0; /* the sample value of no light */
    uint16_t gains[3];
    uint32_t balanced = VIQ_image_create();
    uint32_t colour = VIQ_image_create();
    uint32_t jpeg = VIQ_JPEG_image_create();
    uint32_t status = VIQ_BAY_grey_world_gains(raw, layout->pixel_colour, black, gains);
    if (!VIQ_IS_ERROR(status)) /* gamma 100 is linear */
        status = VIQ_BAY_apply_gains(raw, balanced, layout->pixel_colour, black, gains, 100,
                                     VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status)) /* scheme 3 interpolates along edges */
        status =
            VIQ_BAY_RGGB32_to_BGRX32(balanced, colour, 3, layout->pixel_colour, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status))
        status = VIQ_JPEG_compress(colour, jpeg);
    VIQ_image_set_outfilename(jpeg, out);
    return VIQ_IS_ERROR(status) ? status : VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT);
}

int main(int argc, char **argv) {
    tVIQ_FrameLayout layout;
    uint64_t bytes = 0;
    uint32_t raw = VIQ_image_create();
    uint32_t status = argc == 6 ? VIQ_frame_find_layout(argv[1], &layout) : VIQ_ERR_PARAMETER;
    uint32_t width = argc == 6 ? (uint32_t)atoi(argv[2]) : 0;
    uint32_t height = argc == 6 ? (uint32_t)atoi(argv[3]) : 0;
    FILE *file = argc == 6 ? fopen(argv[4], "rb") : NULL;
    void *frame = NULL;

    if (!VIQ_IS_ERROR(status))
        status = VIQ_frame_get_size(layout.pixel_format, width, height, 0, &bytes);
    if (!VIQ_IS_ERROR(status))
        frame = malloc((size_t)bytes);
    if (file == NULL || frame == NULL || fread(frame, 1, (size_t)bytes, file) != bytes)
        return 1;
    fclose(file);
    VIQ_image_set_parameter(raw, VIQ_LINES_PER_STRIP, height);
    status =
        VIQ_frame_unpack(frame, bytes, layout.pixel_format, width, height, 0, raw, VIQ_STRIP_NEXT);
    free(frame);
    if (!VIQ_IS_ERROR(status))
        status = develop(&layout, raw, argv[5]);
    return VIQ_IS_ERROR(status) ? 1 : 0;
}
