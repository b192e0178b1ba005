/* Converts a colour picture to grey: first_steps IN.bmp OUT.bmp
 *
 * IN is a BMP, TIFF or TGA file without a palette.  * Without arguments it first writes a test
 * picture, picture.bmp, and then grey.bmp. The library prints error messages on standard error, so
 * the program checks the results only. */
#include "viq.h"

#include <stdint.h>
#include <stdio.h>

static uint32_t write_test_picture(const char *name) {
    uint32_t status;
    uint32_t picture = VIQ_image_create();
    if (VIQ_IS_ERROR(picture))
        return picture;
    VIQ_image_set_parameter(picture, VIQ_IMAGE_TYPE, VIQ_RGB24);
    VIQ_image_set_parameter(picture, VIQ_WIDTH, 320);
    VIQ_image_set_parameter(picture, VIQ_HEIGHT, 200);
    VIQ_image_set_parameter(picture, VIQ_LINES_PER_STRIP, 200);
    VIQ_image_set_outfilename(picture, name);

    status = VIQ_image_malloc_a_strip(picture);
    if (!VIQ_IS_ERROR(status))
        status = VIQ_test_pattern(picture, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status))
        status = VIQ_image_write(picture, 0, VIQ_FILE_BMP, VIQ_STRIP_NEXT);
    VIQ_image_destroy(picture);
    return status;
}

static uint32_t convert_to_grey(const char *in, const char *out) {
    uint32_t status;
    uint32_t colour = VIQ_image_create();
    uint32_t grey = VIQ_image_create();
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    VIQ_image_set_infilename(colour, in);
    status = VIQ_image_read(colour, 0, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status))
        status = VIQ_image_convert(colour, grey, VIQ_Y8, 0, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(status)) {
        VIQ_image_set_outfilename(grey, out);
        status = VIQ_image_write(grey, 0, VIQ_FILE_BMP, VIQ_STRIP_NEXT);
        printf("%s: %lu x %lu\n", out, (unsigned long)VIQ_get_width(grey),
               (unsigned long)VIQ_get_height(grey));
    }
    VIQ_image_destroy(colour);
    VIQ_image_destroy(grey);
    return status;
}

int main(int argc, char **argv) {
    const char *in = argc == 3 ? argv[1] : "picture.bmp";
    const char *out = argc == 3 ? argv[2] : "grey.bmp";
    if (argc != 3 && VIQ_IS_ERROR(write_test_picture(in)))
        return 1;
    return VIQ_IS_ERROR(convert_to_grey(in, out)) ? 1 : 0;
}
