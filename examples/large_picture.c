/* Halves the width and height of a picture that need not fit in memory: large_picture IN OUT.bmp
 *
 * IN is a BMP, TIFF or TGA file. The program holds 64 lines of it at a time. */
#include "colour_or_grey.h"
#include "viq.h"

#include <stdint.h>
#include <stdio.h>

/* Reads only the header: an image of 0 lines per strip receives no pixels. */
static uint32_t read_header(uint32_t strip, const char *name) {
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    VIQ_image_set_infilename(strip, name);
    VIQ_image_set_parameter(strip, VIQ_HEIGHT, 0);
    VIQ_image_set_parameter(strip, VIQ_LINES_PER_STRIP, 0);
    return VIQ_image_read(strip, 0, VIQ_STRIP_NEXT);
}

/* Reads, scales and writes one strip. */
static uint32_t process_strip(uint32_t strip, uint32_t colour, uint32_t half) {
    uint32_t status = VIQ_image_read(strip, 0, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status))
        status = to_colour_or_grey(strip, colour);
    if (!VIQ_IS_ERROR(status))
        status = VIQ_IP_scale(colour, half, VIQ_get_width(strip) / 2, VIQ_get_height(strip) / 2,
                              VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status))
        status = VIQ_image_write(half, 0, VIQ_FILE_BMP, VIQ_STRIP_NEXT);
    return status;
}

int main(int argc, char **argv) {
    uint32_t strip = VIQ_image_create();
    uint32_t colour = VIQ_image_create();
    uint32_t half = VIQ_image_create();
    uint32_t lines = 0;
    uint32_t status;
    if (argc != 3) {
        fprintf(stderr, "usage: large_picture IN OUT.bmp\n");
        return 1;
    }

    status = read_header(strip, argv[1]);
    VIQ_image_set_outfilename(strip, argv[2]); /* the operations pass it on to the last image */
    VIQ_image_set_parameter(strip, VIQ_LINES_PER_STRIP, 64);
    while (!VIQ_IS_ERROR(status) && lines < VIQ_get_height(strip)) {
        status = process_strip(strip, colour, half);
        lines += VIQ_get_lines_this_strip(strip);
    }
    if (VIQ_IS_ERROR(status))
        VIQ_image_write(half, 0, VIQ_FILE_BMP, VIQ_STRIP_FINISH); /* closes the unfinished file */
    else
        printf("%s: %lu lines read\n", argv[2], (unsigned long)lines);
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    return VIQ_IS_ERROR(status) ? 1 : 0;
}
