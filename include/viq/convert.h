/**
 * @file
 * Conversion between pixel formats: VIQ_image_convert and one converter per output format. The
 * converters by lookup table (..._LUT) are declared in lut.h.
 */
#ifndef VIQ_CONVERT_H
#define VIQ_CONVERT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_convert Pixel format conversion
 *
 * VIQ_image_convert selects a converter; the converters can be called directly. They share the
 * arguments (hInImage, hOutImage, wStripCommand) and these steps:
 * 1. The input is checked.
 * 2. If its lines per strip are 0, the output receives its parameters and the target format.
 * 3. If it has the target format already, it is copied with VIQ_image_copy, and the sequence of
 *    strips is not affected.
 * 4. An input format that is not listed is rejected.
 * 5. The first strip of a sequence sets the output up: parameters of the input, target format.
 * 6. VIQ_STRIP_NEXT converts the strip, VIQ_STRIP_FINISH abandons the sequence, any other command
 *    only sets the output up. If a strip fails, the sequence stays unfinished.
 *
 * Converters whose name starts with VIQ_YUV422_to_ reject all formats but VIQ_YUV422 before step 2
 * and have no step 3.
 *
 * Each converter returns 0 or one of the common errors or:
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format": the input format is not accepted.
 * - VIQ_ERR_CORRUPT "Data width must be > 7 for Y16": VIQ_Y16 input with a data width below 8.
 * - VIQ_ERR_STATE "Sequence under way with another image": the output of an unfinished sequence
 *   differs from the target format or from the size of the input.
 *
 * Errors while a strip is converted are reported under the name of the converter followed by
 * "_1_strip".
 *
 * All arithmetic is on integers; v is an input pixel. Inputs are unpacked to 8-bit R, G and B:
 * - VIQ_RGB15: R = v >> 7, G = v >> 2, B = v << 3, each reduced to 8 bits. The results are not
 *   masked: the low bits of R hold the high bits of green, those of G the high bits of blue.
 * - VIQ_RGB16: R = v >> 8, G = v >> 3, B = v << 3, in the same way.
 * - VIQ_Y8: R = G = B = v.
 * - VIQ_Y16: R = G = B = v >> (data width - 8), reduced to 8 bits.
 *
 * The X byte of 32-bit outputs is not written: it is 0 in a buffer of the library and keeps its
 * value in a buffer of the caller.
 * @{
 */

/**
 * Converts the current strip to another pixel format. The output format selects the converter:
 * - VIQ_Y8: VIQ_convert_to_Y8; from VIQ_YUV422 VIQ_YUV422_to_Y8
 * - VIQ_PALETTED: VIQ_convert_to_paletted, by table VIQ_convert_to_paletted_LUT; from VIQ_YUV422
 *   always VIQ_YUV422_to_paletted_LUT
 * - VIQ_RGB8, VIQ_Y16: VIQ_convert_to_RGB8, VIQ_convert_to_Y16; not from VIQ_YUV422
 * - packed colour: VIQ_convert_to_...; from VIQ_YUV422 VIQ_YUV422_to_..., by table
 *   VIQ_YUV422_to_..._LUT
 * - VIQ_YUV422: VIQ_convert_to_YUV422
 * - VIQ_HSI: VIQ_YUV422_to_HSI; only from VIQ_YUV422
 * - VIQ_RGB24_OR_Y8: VIQ_paletted_to_RGB24_or_Y8
 *
 * Packed colour is VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32
 * and VIQ_XRGB32. For VIQ_CMYK32 call VIQ_convert_to_CMYK32.
 *
 * Flags of the output select the route. They keep their state, although the first strip copies the
 * flags of the input. VIQ_FLAG_USE_LUT selects the converters "by table". VIQ_FLAG_2 of the output
 * is cleared after every conversion.
 *
 * If VIQ_FLAG_DIB is set, wOutFormat is ignored and the output receives the pixels of a Windows
 * device-independent bitmap (DIB): lines bottom-up, padded to 4 bytes. A picture held as one strip
 * becomes the whole bitmap. A smaller strip is bottom-up in itself: the strip that starts at line n
 * belongs at bitmap line height - n - lines. Inputs are VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_RGB15,
 * VIQ_RGB16, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32 and VIQ_YUV422. The depth is
 * given by dwOption:
 * - 0: 8 bits for grey and paletted input, 24 bits for colour
 * - 8: VIQ_PALETTED. Grey receives a grey ramp as its colourmap, a paletted image keeps its own,
 *   colour is dithered to the 3-3-2 cube (VIQ_convert_to_RGB8_dither).
 * - 16: VIQ_RGB15
 * - 24: VIQ_BGR24
 * - 32: VIQ_BGRX32
 *
 * @param hInImage       input
 * @param hOutImage      output
 * @param wOutFormat     pixel format of the output
 * @param dwOption       depth of a DIB; otherwise ignored
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Dithering is not yet supported": VIQ_FLAG_DITHER of the output
 * - VIQ_ERR_UNSUPPORTED "Unsupported DIB option"
 * - VIQ_ERR_UNSUPPORTED "Unsupported or unrecognized output image format": the pair of formats has
 *   no converter; the flags are unchanged
 * - Also the errors of the converter.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_convert(uint32_t hInImage, uint32_t hOutImage,
                                            uint16_t wOutFormat, uint32_t dwOption,
                                            uint16_t wStripCommand);

/** @name To packed colour, grey and CMYK
 * @{
 */

/** To VIQ_RGBX32 from VIQ_Y8, VIQ_Y16, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGRX32, VIQ_XBGR32. */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_RGBX32(uint32_t hInImage, uint32_t hOutImage,
                                                uint16_t wStripCommand);

/** To VIQ_BGRX32 from VIQ_Y8, VIQ_Y16, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_RGBX32, VIQ_XBGR32. */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_BGRX32(uint32_t hInImage, uint32_t hOutImage,
                                                uint16_t wStripCommand);

/** To VIQ_XBGR32 from VIQ_Y8, VIQ_Y16, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_RGBX32, VIQ_BGRX32. */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_XBGR32(uint32_t hInImage, uint32_t hOutImage,
                                                uint16_t wStripCommand);

/** To VIQ_XRGB32 from VIQ_Y8, VIQ_Y16, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_RGBX32, VIQ_BGRX32. */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_XRGB32(uint32_t hInImage, uint32_t hOutImage,
                                                uint16_t wStripCommand);

/**
 * To VIQ_RGB24 from VIQ_Y8, VIQ_Y16, VIQ_RGB15, VIQ_RGB16, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32 and
 * VIQ_XBGR32.
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_RGB24(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/**
 * To VIQ_BGR24 from VIQ_Y8, VIQ_Y16, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_RGBX32, VIQ_BGRX32 and
 * VIQ_XBGR32.
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_BGR24(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/**
 * To VIQ_RGB16 from VIQ_Y8, VIQ_Y16, VIQ_RGB8, VIQ_RGB15, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32,
 * VIQ_BGRX32 and VIQ_XBGR32: R >> 3 << 11 | (G & 0xFC) << 3 | B >> 3.
 *
 * Two inputs are converted without unpacking:
 * - VIQ_RGB15: (v & 0xFFE0) << 1 | (v & 0x1F); the lowest bit of green is 0.
 * - VIQ_RGB8: (v & 0xE0) << 8 | (v & 0x16) << 6 | (v & 0x03) << 3. The lowest bit of green is
 *   dropped, and the upper bit of blue is also stored in the field of green.
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_RGB16(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/**
 * To VIQ_RGB15 from VIQ_Y8, VIQ_Y16, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32 and VIQ_XBGR32:
 * R >> 3 << 10 | (G & 0xF8) << 2 | B >> 3. VIQ_RGB16 is not accepted.
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_RGB15(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/** To VIQ_RGB8 from VIQ_Y8 and VIQ_RGB24: (R & 0xE0) | (G & 0xE0) >> 3 | B >> 6. */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_RGB8(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wStripCommand);

/**
 * To VIQ_Y8 from VIQ_Y16, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32,
 * VIQ_XBGR32 and VIQ_YUV422: Y = (77 R + 150 G + 29 B) >> 8, the luminance weights of ITU-R BT.601.
 * White gives 255 and red 76. VIQ_Y16 gives v >> (data width - 8), VIQ_YUV422 its Y bytes.
 *
 * If the width is odd, the stride of the source is taken 1 byte too long for 32-bit input and 2
 * bytes too long for VIQ_YUV422. The skew accumulates from line to line; positions after the data
 * of the strip read as 0. This is intended.
 *
 * The message for an input that fails the check is "Corrupt images".
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_Y8(uint32_t hInImage, uint32_t hOutImage,
                                            uint16_t wStripCommand);

/**
 * To VIQ_Y16 from VIQ_Y8: v << (data width - 8). The data width is that of the output before the
 * first strip, or 8 if that is 0.
 *
 * Error: VIQ_ERR_PARAMETER "Grayscale data width must be 8 or more".
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_Y16(uint32_t hInImage, uint32_t hOutImage,
                                             uint16_t wStripCommand);

/**
 * To VIQ_CMYK32 from VIQ_PALETTED: 255 - R, 255 - G and 255 - B of the colourmap entry, and 0 for
 * K.
 *
 * Errors: VIQ_ERR_UNSUPPORTED "Only paletted input images currently supported" for any other input
 * format; VIQ_ERR_STATE "Colourmap is NULL".
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_CMYK32(uint32_t hInImage, uint32_t hOutImage,
                                                uint16_t wStripCommand);

/** @} */

/** @name Paletted images
 * @{
 */

/**
 * To VIQ_PALETTED from VIQ_RGB24 and VIQ_Y8, with the colourmap and the colourmap record that
 * VIQ_cmap_generate has made for the input. A pixel receives the entry of its bin, or the nearest
 * entry of the colourmap (VIQ_cmap_find_closest_colour) if the bin has none.
 *
 * Errors: VIQ_ERR_PARAMETER "VIQ_cmap_generate must be called first" if the input has no colourmap
 * record; VIQ_ERR_INTERNAL "More than 8 bits in one colour" or "Array size overflow" if the bits in
 * the record are out of range; VIQ_ERR_STATE "Colourmap is NULL".
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_paletted(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wStripCommand);

/**
 * To VIQ_PALETTED from VIQ_RGB24, dithered to the 3-3-2 colour cube VIQ_CMAP_CUBE. Carries are
 * added to each pixel, and the sums are clamped to 255. The sums give the index
 * (R & 0xE0) | (G & 0xE0) >> 3 | B >> 6 and the carries of the next pixel, (R >> 1) & 15,
 * (G >> 1) & 15 and (B >> 1) & 0xE0. The carries are not the quantisation error. They are 0 at the
 * start of each line and at every third pixel.
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_RGB8_dither(uint32_t hInImage, uint32_t hOutImage,
                                                     uint16_t wStripCommand);

/**
 * From VIQ_PALETTED to VIQ_Y8 (the red of the entry) if VIQ_cmap_is_grayscale returns 1, otherwise
 * to VIQ_RGB24. VIQ_RGB24 and VIQ_Y8 inputs are copied. Errors are reported under the name
 * "VIQ_convert_to_RGB24_or_Y8".
 *
 * Errors: VIQ_ERR_UNSUPPORTED "Input image should be paletted"; VIQ_ERR_STATE "Colourmap is NULL".
 */
VIQ_API uint32_t VIQ_CALL VIQ_paletted_to_RGB24_or_Y8(uint32_t hInImage, uint32_t hOutImage,
                                                      uint16_t wStripCommand);

/** @} */

/** @name To YUV 4:2:2
 * @{
 */

/**
 * To VIQ_YUV422 from VIQ_Y8, VIQ_PALETTED, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32 and
 * VIQ_XBGR32. Each pixel is converted as VIQ_CK_get_YUV_values_RGB does; a pair shares
 * (U0 + U1) >> 1 and (V0 + V1) >> 1. An odd width becomes even: the last pixel is repeated.
 *
 * Errors: VIQ_ERR_UNSUPPORTED "Only even width YUV422 images are supported" for VIQ_YUV422 input of
 * odd width; VIQ_ERR_STATE "Colourmap is NULL".
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_YUV422(uint32_t hInImage, uint32_t hOutImage,
                                                uint16_t wStripCommand);

/** @} */

/** @name From YUV 4:2:2
 * Direct arithmetic with the full-range coefficients of ITU-R BT.601 and 10 fractional bits. With
 * u = U - 128, v = V - 128, shifts that round towards minus infinity, and results clamped to
 * 0..255:
 *
 *     R = (1024 Y + 1436 v) >> 10
 *     G = (1024 Y - 731 v - 352 u) >> 10
 *     B = (1024 Y + 1815 u) >> 10
 *
 * These errors come first, also for strips of 0 lines: VIQ_ERR_UNSUPPORTED "Not 16 bit YUV 4:2:2",
 * the input has another format; VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width".
 * @{
 */

/** From VIQ_YUV422 to VIQ_RGB24. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGB24(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_BGR24. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_BGR24(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_RGBX32. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGBX32(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_BGRX32. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_BGRX32(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_XBGR32. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_XBGR32(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_XRGB32. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_XRGB32(uint32_t hInImage, uint32_t hOutImage,
                                               uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_RGB16: (R & 0xF8) << 8 | (G & 0xFC) << 3 | B >> 3. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGB16(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_RGB15: (R & 0xF8) << 7 | (G & 0xF8) << 2 | B >> 3. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGB15(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_Y8: the Y bytes. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_Y8(uint32_t hInImage, uint32_t hOutImage,
                                           uint16_t wStripCommand);

/**
 * From VIQ_YUV422 to VIQ_HSI. The intensity is Y. The hue is taken from the UV-to-hue table, which
 * is generated if it is missing (VIQ_CK_generate_UV_to_hue_LUT); it is 180 if Y is at most 20. The
 * saturation is 0 if Y is 0, otherwise the low 8 bits of 255 - (255 x min(R, G, B)) div Y; the
 * divisor is Y, not the mean of R, G and B. Errors are also those of the generation of the table.
 */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_HSI(uint32_t hInImage, uint32_t hOutImage,
                                            uint16_t wStripCommand);

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
