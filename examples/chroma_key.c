/* Puts a scene that was filmed before a coloured screen in front of a background:
 * chroma_key SCENE SCREEN BACKGROUND OUT.bmp
 *
 * SCREEN shows the screen alone; its hue is measured. The files are BMP, TIFF or TGA. SCENE has an
 * even width, because two pixels share their colour in the keyed format. */
#include "colour_or_grey.h"
#include "viq.h"

#include <stdint.h>
#include <stdio.h>

static uint32_t read_picture(const char *name) {
    uint32_t file = VIQ_image_create();
    uint32_t colour = VIQ_image_create();
    VIQ_image_set_infilename(file, name);
    if (VIQ_IS_ERROR(VIQ_image_read(file, 0, VIQ_STRIP_NEXT)))
        return VIQ_ERR_OPEN;
    if (VIQ_IS_ERROR(to_colour_or_grey(file, colour)))
        return VIQ_ERR_UNSUPPORTED;
    return colour;
}

/* A picture scaled to the size of another one, in the format that the key requires. */
static uint32_t prepared(uint32_t picture, uint32_t size_of) {
    uint32_t scaled = VIQ_image_create();
    uint32_t yuv = VIQ_image_create();
    if (VIQ_IS_ERROR(VIQ_IP_scale(picture, scaled, VIQ_get_width(size_of), VIQ_get_height(size_of),
                                  VIQ_STRIP_NEXT)) ||
        VIQ_IS_ERROR(VIQ_convert_to_YUV422(scaled, yuv, VIQ_STRIP_NEXT)))
        return VIQ_ERR_UNSUPPORTED;
    return yuv;
}

int main(int argc, char **argv) {
    uint32_t pictures[3]; /* scene, screen, background */
    uint32_t key = VIQ_CK_create();
    uint32_t keyed = VIQ_image_create();
    uint32_t out = VIQ_image_create();
    int n;
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    for (n = 0; n < 3; ++n) {
        pictures[n] = argc == 5 ? read_picture(argv[1 + n]) : VIQ_ERR_PARAMETER;
        if (!VIQ_IS_ERROR(pictures[n]))
            pictures[n] = prepared(pictures[n], n == 0 ? pictures[n] : pictures[0]);
        if (VIQ_IS_ERROR(pictures[n]))
            return 1;
    }
    /* Mode 1 softens the edges. The key colour, 10, is not used when there is a background. */
    if (VIQ_IS_ERROR(VIQ_CK_calibrate(pictures[1], key, VIQ_STRIP_NEXT)) ||
        VIQ_IS_ERROR(
            VIQ_CK_chroma_key(pictures[0], keyed, pictures[2], 10, key, 1, VIQ_STRIP_NEXT)) ||
        VIQ_IS_ERROR(VIQ_image_convert(keyed, out, VIQ_RGB24, 0, VIQ_STRIP_NEXT)))
        return 1;
    printf("hue of the screen: %lu\n", (unsigned long)VIQ_CK_get_parameter(key, VIQ_CK_HUE_CENTRE));
    VIQ_image_set_outfilename(out, argv[4]);
    return VIQ_IS_ERROR(VIQ_image_write(out, 0, VIQ_FILE_BMP, VIQ_STRIP_NEXT)) ? 1 : 0;
}
