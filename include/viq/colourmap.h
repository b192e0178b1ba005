/**
 * @file
 * Colourmaps: fixed colourmaps, single entries, and the generation of a colourmap from a picture.
 * The converters to and from paletted images are declared in convert.h.
 */
#ifndef VIQ_COLOURMAP_H
#define VIQ_COLOURMAP_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_colourmap Colourmaps
 *
 * Every image has a colourmap of 256 entries, of which VIQ_NUM_COLOURS are in use. An image that
 * VIQ_cmap_generate has processed also has a colourmap record (tVIQ_CmapInfo) with the histogram
 * of its colours. A function without a stated result returns 0 or an error code.
 * @{
 */

/** Types of colourmap. */
enum {
    VIQ_CMAP_BLACK = 0, /**< 256 black entries; the number of colours is not changed */
    VIQ_CMAP_NAMED = 1, /**< the 16 named colours of VIQ_cmap_set_colour */
    VIQ_CMAP_GREY = 2,  /**< grey ramp of 256 entries: (i, i, i) */
    VIQ_CMAP_CUBE = 3   /**< 3-3-2 colour cube of 256 entries: r << 5 | g << 2 | b is
                             (32 r + 31, 32 g + 31, 64 b + 31) */
};

/**
 * Fills the colourmap and sets the number of colours.
 *
 * @param hImage  the image
 * @param wType   VIQ_CMAP_...
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unrecognized colourmap type"
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_set_type(uint32_t hImage, uint16_t wType);

/**
 * Sets an entry to a named colour: 0 black; 1 to 6 blue, green, cyan, red, magenta and yellow of
 * level 152; 7 light grey (152); 8 dark grey (76); 9 to 14 the colours of 1 to 6 with level 255; 15
 * white.
 *
 * @param hImage   the image
 * @param wIndex   0 to the number of colours. The upper limit is included; entry 256 is a spare one
 *     that no pixel uses.
 * @param wColour  0 to 15
 * @par Errors
 * - VIQ_ERR_PARAMETER "Illegal colourmap index (> max number of colours)"
 * - VIQ_ERR_UNSUPPORTED "Unrecognised colour"
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_set_colour(uint32_t hImage, uint16_t wIndex, uint16_t wColour);

/**
 * Sets an entry.
 *
 * @param hImage  the image
 * @param wIndex  as in VIQ_cmap_set_colour
 * @param bRed    red, 0 to 255
 * @param bGreen  green, 0 to 255
 * @param bBlue   blue, 0 to 255
 * @par Errors
 * - VIQ_ERR_PARAMETER "Illegal colourmap index (> max number of colours)"
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_set_RGB_colour(uint32_t hImage, uint16_t wIndex, uint8_t bRed,
                                                  uint8_t bGreen, uint8_t bBlue);

/**
 * Returns an entry.
 *
 * @param hImage  the image
 * @param wIndex  as in VIQ_cmap_set_colour
 * @return red << 16 | green << 8 | blue, or an error code, which is at least 0x10000000
 * @par Errors
 * - VIQ_ERR_PARAMETER "Illegal colourmap index (> max number of colours)"
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_get_RGB_colour(uint32_t hImage, uint16_t wIndex);

/**
 * Returns the index of the entry with the smallest squared distance to a colour, the lowest index
 * of equal ones; 0 without a report if there are no colours or no image.
 */
VIQ_API uint8_t VIQ_CALL VIQ_cmap_find_closest_colour(uint32_t hImage, uint8_t bRed, uint8_t bGreen,
                                                      uint8_t bBlue);

/**
 * Returns 1 if red, green and blue are equal in all entries in use, otherwise 0.
 *
 * @param hImage  the image
 * @par Errors
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_is_grayscale(uint32_t hImage);

/**
 * Copies the number of colours, red, green and blue of all 256 entries, and the colourmap record if
 * the input has one.
 *
 * @param hInImage   source
 * @param hOutImage  destination
 * @par Errors
 * - VIQ_ERR_MEMORY "Cannot create cmap info structure"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_copy(uint32_t hInImage, uint32_t hOutImage);

/**
 * Allocates a colourmap record: 4 bits of red, green and blue, 8 bits of grey, 256 colours to
 * generate, every word of the bins 0xAA, all other fields 0.
 *
 * @return the record, or NULL without a report if the allocation fails. The caller frees it with
 *     VIQ_DebugFree.
 */
VIQ_API tVIQ_CmapInfo *VIQ_CALL VIQ_cmap_create_info(void);

/** Frees the colourmap record of an image, if it has one. Returns 0, also without an image. */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_destroy_info(uint32_t hImage);

/**
 * Sets how many bits of each component the bins of VIQ_cmap_generate keep, and creates the
 * colourmap record if it is missing. Call it before the first strip.
 *
 * @param hImage  the image
 * @param bRed    bits of red, 1 to 8
 * @param bGreen  bits of green, 1 to 8
 * @param bBlue   bits of blue, 1 to 8; red, green and blue together at most 12
 * @param bGrey   bits of grey, 1 to 8
 * @par Errors
 * - VIQ_ERR_PARAMETER "Bits of a colour must be 1 to 8"
 * - VIQ_ERR_PARAMETER "Too many bits for the colour bins"
 * - VIQ_ERR_MEMORY "Cannot create cmap info structure"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_set_bits(uint32_t hImage, uint8_t bRed, uint8_t bGreen,
                                            uint8_t bBlue, uint8_t bGrey);

/**
 * Returns the pixels that VIQ_cmap_generate has counted in a bin. A count above 0xFFFF cannot be
 * distinguished from an error code.
 *
 * @param hImage  the image
 * @param wBin    bin number, 0 to 4095
 * @par Errors
 * - VIQ_ERR_HANDLE "No cmap info structure"
 * - VIQ_ERR_PARAMETER "Bin out of range"
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_get_occurrences(uint32_t hImage, uint16_t wBin);

/**
 * Generates a colourmap from the colours of a VIQ_RGB24, VIQ_Y8 or VIQ_Y16 picture, strip by strip.
 * Each pixel is counted in the bin of its high bits (VIQ_cmap_set_bits). After the last strip the
 * most frequent bins, the lowest of equally frequent ones first, give the new entries: each the
 * centre of its bin. If there are more entries than bins in use, the others are black. The results
 * are stored in the colourmap record.
 *
 * The colourmap is extended: the new entries are those from the present number of colours to
 * wNumColours - 1. Set VIQ_NUM_COLOURS to 0 first to generate the whole colourmap. If wNumColours
 * is below the present number, nothing is added.
 *
 * @param hImage         the image
 * @param wNumColours    number of colours afterwards, at most 256
 * @param wStripCommand  VIQ_STRIP_NEXT counts the strip, VIQ_STRIP_FINISH abandons the sequence
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 * - VIQ_ERR_PARAMETER "Too many colours"
 * - VIQ_ERR_CORRUPT "Data width must be > 7 for Y16"
 * - VIQ_ERR_MEMORY "Cannot create cmap info structure"
 * - VIQ_ERR_INTERNAL "Array size overflow": more than 4096 bins
 * - VIQ_ERR_INTERNAL "More than 8 bits in one colour"
 * - VIQ_ERR_INTERNAL|1 "more than 8 bits in one colour": after the last strip, reported as
 *   "histogram_to_cmap"
 * - VIQ_ERR_STATE "Colourmap is NULL": after the last strip, reported as "histogram_to_cmap"
 * - VIQ_ERR_HANDLE "No cmap info structure": the record was removed during the sequence
 */
VIQ_API uint32_t VIQ_CALL VIQ_cmap_generate(uint32_t hImage, uint16_t wNumColours,
                                            uint16_t wStripCommand);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
