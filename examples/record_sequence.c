/* Records frames in one file, a JPEG sequence: record_sequence FRAMES OUT.jpg
 *
 * The frames are a test pattern with the time in it. "viq sequence split" makes pictures of them.
 */
#include "viq.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

static uint32_t set_up(uint32_t frame, const char *name) {
    VIQ_image_set_parameter(frame, VIQ_IMAGE_TYPE, VIQ_RGB24);
    VIQ_image_set_parameter(frame, VIQ_WIDTH, 640);
    VIQ_image_set_parameter(frame, VIQ_HEIGHT, 480);
    VIQ_image_set_parameter(frame, VIQ_LINES_PER_STRIP, 480);
    VIQ_image_set_outfilename(frame, name); /* compression passes it on to the JPEG image */
    return VIQ_image_malloc_a_strip(frame);
}

/* Makes a frame; a program with a camera copies one here. */
static uint32_t capture(uint32_t frame, const tVIQ_Font *font) {
    uint32_t status = VIQ_test_pattern(frame, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status))
        status = VIQ_draw_timestamp(frame, font, 8, 8, 1, 15);
    return status;
}

/* Appends a frame. With 0 lines per strip the writer counts no lines, so that the file stays open
 * for the next frame. */
static uint32_t append(uint32_t jpeg, int is_first) {
    uint32_t status = is_first ? 0 : VIQ_JPEG_file_write(jpeg, VIQ_JPEG_SEPARATOR);
    VIQ_image_set_parameter(jpeg, VIQ_LINES_PER_STRIP, 0);
    return VIQ_IS_ERROR(status) ? status : VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT);
}

int main(int argc, char **argv) {
    const tVIQ_Font *font = NULL;
    uint32_t frame = VIQ_image_create();
    uint32_t jpeg = VIQ_JPEG_image_create();
    int frames = argc == 3 ? atoi(argv[1]) : 0;
    int n;
    uint32_t status = frames > 0 ? set_up(frame, argv[2]) : VIQ_ERR_PARAMETER;
    VIQ_JPEG_set_Quality_factor(jpeg, 32);
    VIQ_draw_get_ptr(1, &font);
    for (n = 0; n < frames && !VIQ_IS_ERROR(status); ++n) {
        status = capture(frame, font);
        if (!VIQ_IS_ERROR(status))
            status = VIQ_JPEG_compress(frame, jpeg);
        if (!VIQ_IS_ERROR(status))
            status = append(jpeg, n == 0);
    }
    if (VIQ_IS_ERROR(VIQ_JPEG_file_write(jpeg, VIQ_STRIP_FINISH)) || VIQ_IS_ERROR(status))
        return 1;
    printf("%s: %d frames\n", argv[2], frames);
    return 0;
}
