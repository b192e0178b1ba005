/**
 * @file
 * Drawing text, timestamps and single pixels into images.
 */
#ifndef VIQ_DRAW_H
#define VIQ_DRAW_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_draw Drawing
 *
 * The functions change the image in place and return 0 or an error code.
 * @{
 */

/**
 * Returns the address of a built-in font, which stays part of the library.
 *
 * @param dwType  0: 7 x 7 pixels; 1: 9 x 14; 2: 15 x 19 (width x height)
 * @param ppFont  receives the address
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|type "Unknown data type"
 */
VIQ_API uint32_t VIQ_CALL VIQ_draw_get_ptr(uint32_t dwType, const tVIQ_Font **ppFont);

/**
 * Draws text. The rectangle of the text is converted to VIQ_RGB24 and back, so that every format
 * for which VIQ_image_convert has converters in both directions is accepted; for another format the
 * error of VIQ_image_convert is returned and the image is not changed. In VIQ_YUV422 whole pairs
 * are converted. The current strip must contain the lines of the text.
 *
 * @param hImage       the image
 * @param pszText      zero-terminated text, codes 1 to 127
 * @param pFont        a built-in font or a font of the caller
 * @param x            left column of the text, 1 for the first column
 * @param y            top line of the text, 1 for the first line
 * @param wBackground  0: pixels around the glyphs are halved; 1: they become grey 127
 * @param wColour      named colour, 0 to 15, see VIQ_cmap_set_colour
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Image is corrupt": the code of VIQ_image_check
 * - VIQ_ERR_UNSUPPORTED|background "Invalid background mode"
 * - VIQ_ERR_UNSUPPORTED|colour "Unrecognised colour"
 * - VIQ_ERR_UNSUPPORTED "Unsupported font": sizes that a tVIQ_Font cannot have
 * - VIQ_ERR_UNSUPPORTED "Trying to draw text too far left": x is 0
 * - VIQ_ERR_UNSUPPORTED "Trying to draw text too far right"
 * - VIQ_ERR_UNSUPPORTED "Trying to draw text too high": y is 0
 * - VIQ_ERR_UNSUPPORTED "Trying to draw text too low"
 * - VIQ_ERR_PARAMETER "Character not in the font": a code above 127
 * - VIQ_ERR_CORRUPT|detail "Colour cropped image is corrupt": the code of VIQ_image_check
 */
VIQ_API uint32_t VIQ_CALL VIQ_draw_text(uint32_t hImage, const char *pszText,
                                        const tVIQ_Font *pFont, uint32_t x, uint32_t y,
                                        uint16_t wBackground, uint16_t wColour);

/**
 * Draws the local time and date in 16 characters, for example "14:05:09 07Mar03", as VIQ_draw_text
 * does and with its errors, which are reported under its name.
 *
 * @param hImage       the image
 * @param pFont        a font
 * @param x            left column of the text, 1 for the first column
 * @param y            top line of the text, 1 for the first line
 * @param wBackground  as in VIQ_draw_text; with 0x80 added, the colons are blanks in even seconds
 * @param wColour      as in VIQ_draw_text
 * @par Errors
 * - VIQ_ERR_SYSTEM "No local time": reported as "VIQ_draw_timestamp"
 */
VIQ_API uint32_t VIQ_CALL VIQ_draw_timestamp(uint32_t hImage, const tVIQ_Font *pFont, uint32_t x,
                                             uint32_t y, uint16_t wBackground, uint16_t wColour);

/**
 * Sets the luma of the pixels x and x + 1 of a VIQ_YUV422 image and the chroma of the pair that
 * contains x. If x is odd, pixel x + 1 belongs to the next pair, whose chroma is not changed.
 *
 * @param hImage   the image
 * @param wColour  0 black, 1 blue, 2 green, 3 cyan, 4 red, 5 magenta, 6 yellow, 7 white
 * @param x        column, from 0
 * @param y        line, counted from the bottom: 0 is line height - 1 of the buffer
 * @par Errors
 * - VIQ_ERR_PARAMETER|1 "Unknown or unsupported pixel format"
 * - VIQ_ERR_PARAMETER "Unrecognised colour"
 * - VIQ_ERR_PARAMETER "Pixel outside the image": or outside the strip
 */
VIQ_API uint32_t VIQ_CALL VIQ_DrawPixel(uint32_t hImage, uint16_t wColour, uint32_t x, uint32_t y);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
