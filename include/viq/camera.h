/**
 * @file
 * Camera images: colour-filter mosaics (VIQ_BAY), chroma keying and the colour functions that it
 * shares with the YUV 4:2:2 converters (VIQ_CK).
 */
#ifndef VIQ_CAMERA_H
#define VIQ_CAMERA_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_bayer Colour-filter mosaics
 *
 * A VIQ_RGGB32 image holds one byte a pixel: the sample of one colour. The whole picture is
 * processed as one strip: the lines per strip of the input become its height, and its buffer must
 * hold that many lines. If the lines per strip are 0, VIQ_BAY_RGB24_to_RGGB32 and
 * VIQ_BAY_RGGB32_map_to_RGB24 only copy the parameters.
 *
 * The mosaic that VIQ_BAY_RGB24_to_RGGB32 makes and the map functions expect has red, green, red,
 * ... on even lines and green, blue, green, ... on odd lines; the top line is line 0.
 *
 * The functions return 0 or an error code. VIQ_STRIP_NEXT processes the picture, VIQ_STRIP_FINISH
 * resets the function, any other command only sets the output up.
 * @{
 */

/** Makes a mosaic from VIQ_RGB24. Error: VIQ_ERR_UNSUPPORTED "Input must be VIQ_RGB24 only". */
VIQ_API uint32_t VIQ_BAY_RGB24_to_RGGB32(uint32_t hInImage, uint32_t hOutImage,
                                         uint16_t wStripCommand);

/**
 * Shows a mosaic as VIQ_RGB24: each sample in its own colour, the two other components 0.
 * Error: VIQ_ERR_UNSUPPORTED "Unsupported image format".
 */
VIQ_API uint32_t VIQ_BAY_RGGB32_map_to_RGB24(uint32_t hInImage, uint32_t hOutImage,
                                             uint16_t wStripCommand);

/**
 * Shows a mosaic as VIQ_Y8. Samples are copied one after another, and padding is skipped on neither
 * side: in pictures with padding the lines are skewed. The rest of the output is 0.
 * Error: VIQ_ERR_UNSUPPORTED "Unsupported image format".
 */
VIQ_API uint32_t VIQ_BAY_RGGB32_map_to_Y8(uint32_t hInImage, uint32_t hOutImage,
                                          uint16_t wStripCommand);

/**
 * Demosaics to VIQ_BGRX32 with X = 0. All means are (a + b) >> 1. At green samples of schemes 2 and
 * 3 each missing colour is the mean of its two neighbours. At the borders, lines and columns are
 * mirrored about the first and the last one.
 *
 * - Scheme 1: a missing colour is the sample to the right, below, or diagonally below right.
 * - Scheme 2: bilinear. At red and blue samples a missing colour is the sum of its four neighbours
 *   >> 2; on the top line, except the corners, green is the mean of left and right.
 * - Scheme 3: adaptive. At red and blue samples green is the mean of the pair across or of the pair
 *   down, and the opposite colour is the mean of one diagonal pair.
 *
 * Scheme 3 uses the pair with the smaller gradient |a - b| + |2 c - the samples beyond a and b|,
 * where c is the sample itself; of equal gradients the pair across, or the falling diagonal.
 *
 * @param hInImage       the mosaic, VIQ_RGGB32
 * @param hOutImage      output
 * @param wScheme        1, 2 or 3
 * @param wPixelColour   first two samples of lines 0 and 1: 1 RG, GB; 2 GR, BG; 3 GB, RG; 4 BG, GR
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Input must be VIQ_RGGB32 only"
 * - VIQ_ERR_UNSUPPORTED "Invalid Bayer Decoding Scheme"
 * - VIQ_ERR_UNSUPPORTED "Invalid Bayer Pixel Colour"
 */
VIQ_API uint32_t VIQ_BAY_RGGB32_to_BGRX32(uint32_t hInImage, uint32_t hOutImage, uint16_t wScheme,
                                          uint16_t wPixelColour, uint16_t wStripCommand);

/** Demosaics to VIQ_RGB16, as VIQ_BAY_RGGB32_to_BGRX32. */
VIQ_API uint32_t VIQ_BAY_RGGB32_to_RGB16(uint32_t hInImage, uint32_t hOutImage, uint16_t wScheme,
                                         uint16_t wPixelColour, uint16_t wStripCommand);

/** @} */

/**
 * @defgroup viq_chroma_key Chroma keying
 *
 * A chroma-key object is a window of hue and luma. VIQ_CK_chroma_key replaces the pixels of a
 * VIQ_YUV422 image inside it. A function without a stated result returns 0 or an error code.
 * @{
 */

/** Parameters of a chroma-key object. */
enum {
    VIQ_CK_HUE_CENTRE = 300,    /**< degrees; 340 in a new object */
    VIQ_CK_HUE_TOLERANCE = 301, /**< degrees; 20 in a new object */
    VIQ_CK_LUMA_CENTRE = 302,   /**< 120 in a new object */
    VIQ_CK_LUMA_TOLERANCE = 303 /**< 64 in a new object */
};

/**
 * Creates a chroma-key object. The caller frees it with VIQ_CK_destroy.
 *
 * @return the handle, 1 to 3, or an error code
 * @par Errors
 * - VIQ_ERR_NO_HANDLES "": all handles are in use
 */
VIQ_API uint32_t VIQ_CK_create(void);

/** Frees an object, or all of them with VIQ_ALL_IMAGES. Returns 0, also for an unused handle. */
VIQ_API uint32_t VIQ_CK_destroy(uint32_t hCK);

/**
 * Sets a parameter of an object.
 *
 * @param hCK         the object
 * @param wParameter  VIQ_CK_HUE_CENTRE to VIQ_CK_LUMA_TOLERANCE
 * @param wValue      the value
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 */
VIQ_API uint32_t VIQ_CK_set_parameter(uint32_t hCK, uint16_t wParameter, uint16_t wValue);

/**
 * Returns a parameter of an object.
 *
 * @param hCK         the object
 * @param wParameter  VIQ_CK_HUE_CENTRE to VIQ_CK_LUMA_TOLERANCE
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 */
VIQ_API uint32_t VIQ_CK_get_parameter(uint32_t hCK, uint16_t wParameter);

/**
 * Returns a named colour in YUV, V << 16 | U << 8 | Y, converted by VIQ_CK_get_YUV_values_RGB.
 *
 * @param wColour  0 to 15, see VIQ_cmap_set_colour
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unrecognized colour"
 */
VIQ_API uint32_t VIQ_CK_get_YUV_values(uint16_t wColour);

/**
 * Returns the value of VIQ_CK_get_YUV_values for component 500, the same >> 8 (U in the low byte)
 * for 501, and >> 16 (V) for 503. The result for any other component has no meaning.
 */
VIQ_API uint32_t VIQ_CK_get_component(uint16_t wColour, uint16_t wComponent);

/**
 * Converts a colour to YUV with the full-range coefficients of ITU-R BT.601 and shifts that round
 * towards minus infinity; each component is clamped to 0..255:
 *
 *     Y = (306 R + 601 G + 117 B) >> 10
 *     U = ((512 B - 339 G - 173 R) >> 10) + 128
 *     V = ((512 R - 429 G - 83 B) >> 10) + 128
 *
 * @param wRed    red, its low 8 bits
 * @param wGreen  green, its low 8 bits
 * @param wBlue   blue, its low 8 bits
 * @return V << 16 | U << 8 | Y
 */
VIQ_API uint32_t VIQ_CK_get_YUV_values_RGB(uint16_t wRed, uint16_t wGreen, uint16_t wBlue);

/**
 * Generates the table of hues that VIQ_YUV422_to_HSI and chroma keying use; an existing table is
 * filled again. The entry at U << 8 | V is the angle of (U - 128, V - 128) in degrees minus 120, 0
 * to 359. If U and V are both within 6 of 128, the hue is 180.
 *
 * Errors: VIQ_ERR_MEMORY ""; VIQ_ERR_INTERNAL "Hue out of range".
 */
VIQ_API uint32_t VIQ_CK_generate_UV_to_hue_LUT(void);

/** Frees the UV-to-hue table. Returns 0. */
VIQ_API uint32_t VIQ_CK_destroy_UV_to_hue_LUT(void);

/**
 * Replaces the pixel pairs of a VIQ_YUV422 image inside the window: luma of the first
 * pixel between luma centre - tolerance and luma centre + tolerance, hue of the pair between hue
 * centre - tolerance and hue centre + tolerance. Both bounds are excluded. Luma bounds are clamped
 * to 0..255, hue bounds to 0..359; the window does not wrap at 360 degrees. The UV-to-hue table is
 * generated if it is missing.
 *
 * Mode 1 also softens the edges, except on the first line of a strip. Between a kept pair and a
 * replaced pair to its right, the kept pair becomes the mean (a + b) >> 1 with the replacement at
 * its position. A kept pair to the right of a replaced pair becomes the mean in the same way. Lines
 * follow each other: the last pair of a line is the left neighbour of the first pair of the next.
 *
 * @param hInImage          input
 * @param hOutImage         output
 * @param hBackgroundImage  image of the replacement pairs, at the same positions, of the format,
 *     size and lines per strip of the input; 0: the key colour replaces
 * @param wKeyColour        named colour, 0 to 15; it must be valid in any case
 * @param hCK               the chroma-key object
 * @param wMode             0 or 1. Other values give a strip of zeros and do not write to a buffer
 *     of the caller.
 * @param wStripCommand     strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Not YUV 4:2:2 image format"
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 * - VIQ_ERR_UNSUPPORTED "Background image does not match": or it is the output
 * - VIQ_ERR_PARAMETER "Unrecognized colour": reported as "VIQ_CK_get_YUV_values"
 */
VIQ_API uint32_t VIQ_CK_chroma_key(uint32_t hInImage, uint32_t hOutImage, uint32_t hBackgroundImage,
                                   uint16_t wKeyColour, uint32_t hCK, uint16_t wMode,
                                   uint16_t wStripCommand);

/**
 * Measures the hue of a key screen strip by strip. After the last strip the hue centre is the mean
 * hue, the hue tolerance 20, the luma centre 20 and the luma tolerance 64. For each line the next
 * width / 2 - 3 pairs are read, one after another from the start of the strip, so that the sampled
 * positions move from line to line. The sum is divided by ((width - 8) / 2) x height.
 *
 * @param hInImage       a VIQ_YUV422 image of the screen
 * @param hCK            the chroma-key object
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Not YUV 4:2:2 image format"
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 * - VIQ_ERR_UNSUPPORTED "Image too small to calibrate": below 10 columns, or without lines
 */
VIQ_API uint32_t VIQ_CK_calibrate(uint32_t hInImage, uint32_t hCK, uint16_t wStripCommand);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
