/**
 * @file
 * Image processing: geometry, histograms, filters and measurements (VIQ_IP), video fields and false
 * colour (VIQ_SPL). Lookup tables are declared in lut.h.
 */
#ifndef VIQ_PROCESS_H
#define VIQ_PROCESS_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_process Image processing
 *
 * Functions with a mode or strip command process a picture strip by strip: VIQ_STRIP_NEXT processes
 * the current strip, VIQ_STRIP_FINISH abandons the sequence. The output receives the parameters of
 * the input and, unless stated otherwise, its pixel format. If the lines per strip of the input are
 * 0, only the parameters are copied.
 *
 * A function without a stated result returns 0 or an error code. The VIQ_IP functions report errors
 * in the processing of a strip under their name followed by "_1_strip", the VIQ_SPL functions under
 * their name alone. Common to the functions that work strip by strip is VIQ_ERR_STATE "Sequence
 * under way with another image": the output of an unfinished sequence does not have the format or
 * the size that this input gives.
 * @{
 */

/** @name Geometry
 * Rectangles are given by their top left pixel, counted from 0, and their size. With 0 lines per
 * strip the parameters of the input are copied unchanged.
 * @{
 */

/**
 * Crops a rectangle, which is clipped at the right and the bottom edge. Pixels are copied as bytes:
 * in VIQ_YUV422 an odd x or width separates the pixels of a pair. Strips outside the rectangle give
 * an output of 0 lines.
 *
 * Formats: VIQ_Y8, VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32,
 * VIQ_BGRX32, VIQ_XBGR32, VIQ_YUV422, VIQ_CMYK32, VIQ_Y16.
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param x          left column, from 0
 * @param y          top line, from 0
 * @param width      columns
 * @param height     lines
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_PARAMETER "Rectangle outside the image": a negative position, an empty size, or no
 *   pixel inside the image
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_crop(uint32_t hInImage, uint32_t hOutImage, int16_t x, int16_t y,
                                      int16_t width, int16_t height, uint16_t wMode);

/**
 * Copies an image into another one of the same format. Both hold the whole picture. The size of a
 * pixel is taken as bytes per line div width of the host. If the padding of a line has at least as
 * many bytes as the line has pixels, this exceeds the true size, and a position that lies beyond
 * the line because of it is ignored.
 *
 * @param hInImage      the host, changed in place
 * @param hInsertImage  the image to insert
 * @param x             column of its left pixels, 1 for the first column
 * @param y             line of its top pixels, 1 for the first line
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "hInImage is corrupt", "hInsertImage is corrupt": the code of
 *   VIQ_image_check
 * - VIQ_ERR_UNSUPPORTED "Pixel Formats are different"
 * - VIQ_ERR_UNSUPPORTED "Trying to insert image too far left": x is 0
 * - VIQ_ERR_UNSUPPORTED "Trying to insert image too far right"
 * - VIQ_ERR_UNSUPPORTED "Trying to insert image too high": y is 0
 * - VIQ_ERR_UNSUPPORTED "Trying to insert image too low"
 * - VIQ_ERR_UNSUPPORTED "Images do not match": an image holds fewer lines than its height
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_image_insert(uint32_t hInImage, uint32_t hInsertImage, uint32_t x,
                                              uint32_t y);

/**
 * Reduces the size to width div factor and height div factor, without averaging: the first of every
 * wFactor pixels of the first of every wFactor lines of the strip is kept. Pairs of VIQ_YUV422 keep
 * the chroma of their first pixel. Formats: VIQ_Y8, VIQ_PALETTED, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24,
 * VIQ_YUV422.
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param wFactor    1 or more
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Unsupported sub-sampling factor": 0
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width": the output
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_subsample(uint32_t hInImage, uint32_t hOutImage, uint16_t wFactor,
                                           uint16_t wMode);

/**
 * Repeats each pixel wFactor times along the line and each line wFactor times. Formats as in
 * VIQ_IP_subsample.
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param wFactor    1 or more
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Unsupported replication factor": 0
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 * - VIQ_ERR_PARAMETER "Output image too large": 2^32 columns or lines or more
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_pixel_rep(uint32_t hInImage, uint32_t hOutImage, uint16_t wFactor,
                                           uint16_t wMode);

/**
 * Scales VIQ_RGB24 or VIQ_Y8 with bilinear interpolation. Positions have 13 fractional bits; the
 * step is width / output width along the line and (height - 1) / (output height - 1) down, or 0 for
 * an output height of 1. With p0 and p1 the samples before and after a position and f its fraction
 * in 1/256, the result is ((256 - f) p0 >> 8) + (f p1 >> 8); after the last sample p1 = p0. If the
 * size does not change, the strip is copied with VIQ_image_copy.
 *
 * Interpolation continues across strips, so that the result does not depend on their height. Each
 * strip gives the lines that can be computed from the input so far.
 *
 * Errors are reported under the name "VIQ_IP_threshold_grayscale", those of a strip as
 * "VIQ_IP_scale_1_strip".
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param dwWidth    columns of the output
 * @param dwHeight   lines of the output
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Supports RGB24 & Y8 only"
 * - VIQ_ERR_PARAMETER "Width or height is 0"
 * - VIQ_ERR_CORRUPT "No image data": the input has a width or height of 0
 * - VIQ_ERR_CORRUPT "Image changed during transfer"
 * - VIQ_ERR_INTERNAL "Internal: Not enough lines to process": no line can be computed from the
 *   strip. The strip is not consumed; call again with a taller one.
 * - VIQ_ERR_MEMORY "Malloc fail - no memory?"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_scale(uint32_t hInImage, uint32_t hOutImage, uint32_t dwWidth,
                                       uint32_t dwHeight, uint16_t wMode);

/**
 * Rotates a picture, which is held as one strip, clockwise. At 90 and 270 degrees each pair of
 * VIQ_YUV422 has the mean chroma (a + b) >> 1 of its two pixels. Formats as in VIQ_IP_mirror_image.
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param wAngle     0, 90, 180 or 270 degrees
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Only angles of 0, 90, 180 and 270 supported"
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width": the width; at 90 and 270 degrees also
 *   the height
 * - VIQ_ERR_CORRUPT "No image data": the image does not hold the whole picture
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_rotate_image(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wAngle);

/**
 * Reverses every line. The luma of VIQ_YUV422 is reversed by pixels and the chroma by pairs.
 *
 * Formats: VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24, VIQ_BGR24,
 * VIQ_YUV422, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32, VIQ_CMYK32.
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_mirror_image(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wMode);

/**
 * Copies the input and mirrors a rectangle of the copy left to right; works in place. Rectangle,
 * formats and errors are those of VIQ_IP_crop, VIQ_IP_mirror_image, VIQ_IP_image_insert and
 * VIQ_image_copy, which report under their own names, and the code of VIQ_image_create with
 * "VIQ_image_create(hCropImage) failed" or "VIQ_image_create(hMirroredImage) failed".
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_mirror(uint32_t hInImage, uint32_t hOutImage, int16_t x, int16_t y,
                                        int16_t width, int16_t height, uint16_t wMode);

/**
 * Extracts the pixels of a disc from a VIQ_YUV422 image into an image of 2 radius x 2 radius. A
 * pair belongs to the disc if its first pixel does: ((x - cx) / r)^2 + ((y - cy) / r)^2 < 1. The
 * pairs are stored one after another from the start of the output strip, not at their positions;
 * the rest is 0. Each strip gives its lines inside the square; the last one also gives the lines of
 * the square outside the picture.
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param wShape     ignored
 * @param cx         column of the centre, from 0
 * @param cy         line of the centre, from 0
 * @param wRadius    radius in pixels
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 * - VIQ_ERR_PARAMETER "Radius is 0"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_extract_region(uint32_t hInImage, uint32_t hOutImage,
                                                uint16_t wShape, int16_t cx, int16_t cy,
                                                uint16_t wRadius, uint16_t wMode);

/** @} */

/** @name Histograms and threshold
 * @{
 */

/** Sets all counters to 0. Error: VIQ_ERR_PARAMETER "Histogram structure is NULL". */
VIQ_API uint32_t VIQ_CALL VIQ_IP_histogram_clear(tVIQ_Histogram *pHistogram);

/** Copies all counters. Error: VIQ_ERR_PARAMETER "Histogram structure is NULL". */
VIQ_API uint32_t VIQ_CALL VIQ_IP_histogram_copy(const tVIQ_Histogram *pFrom, tVIQ_Histogram *pTo);

/**
 * Counts the pixels of a VIQ_HSI image strip by strip. The first strip clears the histogram; each
 * strip computes the totals. A pixel whose hue exceeds 359 is not counted.
 *
 * @param hInImage    input
 * @param pHistogram  the histogram, the same one for all strips
 * @param wMode       strip command
 * @par Errors
 * - VIQ_ERR_PARAMETER "Histogram structure is NULL"
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_histogram_generate(uint32_t hInImage, tVIQ_Histogram *pHistogram,
                                                    uint16_t wMode);

/**
 * Smooths each array of bins with the kernel 1, 2, 1 over 4. The first and the last bin of each
 * array and the totals are not changed.
 *
 * @param pHistogram  the histogram
 * @param wOrder      900
 * @par Errors
 * - VIQ_ERR_PARAMETER "Histogram structure(s) is NULL"
 * - VIQ_ERR_UNSUPPORTED "Only 0th order currently supported": another order
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_histogram_filter(tVIQ_Histogram *pHistogram, uint16_t wOrder);

/**
 * Compares one plane of two histograms. With m the total of A div 360 (hue) or 256, S the sum of
 * |A[i] - m| and D the sum of |A[i] - B[i]|, the result is 100 - 100 D div S, or 0 unless D < S.
 *
 * @param pA         histogram A
 * @param pB         histogram B
 * @param wPlane     1 hue, 2 saturation, 3 intensity
 * @param pdwResult  receives the similarity in percent, 0 to 100
 * @par Errors
 * - VIQ_ERR_PARAMETER "Histogram structure is NULL"
 * - VIQ_ERR_PARAMETER|1 "Only planes 1,2 and 3 are acceptable"
 * - VIQ_ERR_INTERNAL|3 "Result not within 0 to 100 limits"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_histogram_match(const tVIQ_Histogram *pA, const tVIQ_Histogram *pB,
                                                 uint16_t wPlane, uint32_t *pdwResult);

/**
 * Applies two thresholds to VIQ_Y8: values of at least wUpper become 255, values below wLower
 * become 0, others are kept. Error: VIQ_ERR_UNSUPPORTED "Unsupported image format".
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_threshold_grayscale(uint32_t hInImage, uint32_t hOutImage,
                                                     uint16_t wUpper, uint16_t wLower,
                                                     uint16_t wMode);

/** @} */

/** @name Filters and measurements
 * @{
 */

/**
 * Filters VIQ_RGB24 or VIQ_Y8 with a 3 x 3 kernel: the sum of the products divided by the sum of
 * the coefficients, or by 1 if that is 0, truncated and clamped to 0..255; each component
 * separately. The first and the last pixel of each line and the first and the last line of the
 * picture are copied. The line above a strip is the last one of the strip before; the line below a
 * strip that is not the last one is its own last line.
 *
 * @param hInImage   input
 * @param hOutImage  output
 * @param pKernel    nine coefficients, row by row from above left
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Supports RGB24 & Y8 only"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_filter_3x3(uint32_t hInImage, uint32_t hOutImage,
                                            const int32_t *pKernel, uint16_t wMode);

/**
 * Computes the references of VIQ_IP_ShadingCorrection from VIQ_Y16 images of black and white of one
 * size. The offset is the black image. The gain is g = 65535 / (white - black) in 4.12 fixed point:
 * with i the integer part of g, at most 15, it is (i << 12) + (g - i) x 4096, its low 16 bits; it
 * is 65535 if white is not above black. A missing output is reported before the other one is
 * changed.
 *
 * @param hBlackRefImage   image of black
 * @param hWhiteRefImage   image of white
 * @param hOffsetRefImage  receives the offset
 * @param hGainRefImage    receives the gain
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt image - hWhiteRefImage", "Corrupt image - hBlackRefImage",
 *   "Corrupt image - hGainRefImage", "Corrupt image - hOffsetRefImage": the code of VIQ_image_check
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Images do not match"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_ShadingCorrection_Generate(uint32_t hBlackRefImage,
                                                            uint32_t hWhiteRefImage,
                                                            uint32_t hOffsetRefImage,
                                                            uint32_t hGainRefImage);

/**
 * Corrects the lines that a VIQ_Y16 image holds: (gain x (pixel - offset)) >> 12, clamped to
 * 0..65535. Pixels are processed in pairs: the last pixel of an odd line is not written, and is 0
 * in a buffer of the library. Errors as in VIQ_IP_ShadingCorrection_Generate, with "Corrupt image -
 * hInImage" and "Corrupt image - hOutImage".
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_ShadingCorrection(uint32_t hInImage, uint32_t hOutImage,
                                                   uint32_t hOffsetRefImage,
                                                   uint32_t hGainRefImage);

/**
 * Measures motion: how far the correlation c of a frame with a reference differs from that of the
 * last frame with motion, |100 - stored x 100 / c| percent. c is the sum of
 * ((a & 0xFC) - 128) x ((r & 0xFC) - 128) over every dwStep-th pixel of every dwStep-th line of the
 * strip (luma for VIQ_YUV422); 0 becomes 1, and values from 16777217 on are shifted right by 7. If
 * the result exceeds dwThreshold, c becomes the stored value. The first call of a process stores c
 * and gives 0. If an image has 0 lines per strip, nothing is done.
 *
 * @param hImage       the frame, VIQ_Y8 or VIQ_YUV422
 * @param hRefImage    the reference, of the same format and size
 * @param dwThreshold  percent
 * @param dwStep       1 or more
 * @param pdwResult    receives the result in percent
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|1 "Both images must be the same": the formats differ; the result is 0
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Images do not match"
 * - VIQ_ERR_PARAMETER "Step is 0"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_motion_detect(uint32_t hImage, uint32_t hRefImage,
                                               uint32_t dwThreshold, uint32_t dwStep,
                                               uint32_t *pdwResult);

/**
 * Averages a VIQ_HSI or VIQ_Y8 image strip by strip. The first strip sets the record to 0. VIQ_HSI:
 * each strip adds its hues, saturations and intensities to the values so far and divides the sums
 * by its own number of pixels, so that only a picture of one strip gives the mean. VIQ_Y8: mean,
 * minimum and maximum of all strips so far.
 *
 * @param hInImage  input
 * @param pAverage  the record, the same one for all strips
 * @param wMode     strip command
 * @par Errors
 * - VIQ_ERR_PARAMETER "tVIQ_Average structure pointer is NULL"
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 */
VIQ_API uint32_t VIQ_CALL VIQ_IP_generate_averages(uint32_t hInImage, tVIQ_Average *pAverage,
                                                   uint16_t wMode);

/** @} */

/** @name Video fields
 * Lines are copied whole, padding included. The second field is first if the input has VIQ_FLAG_20
 * and VIQ_PARAM_23 = 2. If the lines per strip are 0, the output receives the parameters with the
 * size of the frame.
 * @{
 */

/**
 * Weaves two fields into a frame of twice the height. The lines of the first field come first in
 * each pair, unless the second field is first. The strip of the second field is reduced to the
 * lines of that of the first field.
 *
 * @param hInImage       first field
 * @param hSecondField   second field; with 0 lines per strip only the parameters are copied
 * @param hOutImage      the frame
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt image - parameter 1", "Corrupt image - parameter 2": the code
 *   of VIQ_image_check
 * - VIQ_ERR_UNSUPPORTED "Fields are different": format, size or stride, or the second field has
 *   fewer lines per strip
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_2fields_to_frame(uint32_t hInImage, uint32_t hSecondField,
                                                   uint32_t hOutImage, uint16_t wStripCommand);

/**
 * Makes a frame of twice the height from one field of VIQ_Y8, VIQ_YUV422 or VIQ_RGB24. The field is
 * processed whole: its lines per strip become its height, and its buffer must hold that many lines.
 * VIQ_PARAM_23 of the output is 0.
 *
 * - Scheme 1: each line twice.
 * - Scheme 2: a new line between two lines is their mean (a + b) >> 1.
 * - Scheme 3: edge-directed. Of the pairs a(x + d), b(x - d), d = 0, 1, -1, 2, -2 pixels, the one
 *   with the smallest difference is averaged, separately for each component. Chroma of VIQ_YUV422
 *   and the two pixels at each end of a line use scheme 2.
 * - Scheme 4: cubic, (-1, 9, 9, -1) / 16, clamped.
 *
 * In schemes 2 to 4 the last line is doubled, or the first line if the second field is first.
 * Errors in the processing of the field are reported under the function name followed by
 * "_1_strip_A" to "_1_strip_D" for schemes 1 to 4.
 *
 * @param hInImage       the field
 * @param hOutImage      the frame
 * @param wScheme        1 to 4
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Supports Y8, YUV422 and RGB24 only"
 * - VIQ_ERR_UNSUPPORTED|scheme "Invalid Interpolation Scheme"
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_field_to_frame(uint32_t hInImage, uint32_t hOutImage,
                                                 uint16_t wScheme, uint16_t wStripCommand);

/**
 * Interleaves the top half and the bottom half of a picture, which is held as one strip and whose
 * VIQ_PARAM_23 is 4 or 5. A last odd line stays in its place.
 *
 * @param hInImage       input
 * @param hOutImage      output
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt input image": the code of VIQ_image_check
 * - VIQ_ERR_UNSUPPORTED "Field order ID not set up"
 * - VIQ_ERR_UNSUPPORTED "Can only process full image"
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_interlace_frame(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wStripCommand);

/** @} */

/** @name Byte extraction and false colour
 * @{
 */

/**
 * Converts VIQ_RGBX32, VIQ_BGRX32, VIQ_XRGB32 or VIQ_XBGR32 to VIQ_Y8: with w the 32-bit word of a
 * pixel in the byte order of the machine, (w >> (dwShift & 31)) & 0xFF. Pixels are read and written
 * one after another without padding, so that lines of odd width are skewed; the rest is 0.
 * Error: VIQ_ERR_UNSUPPORTED "Unsupported image format".
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_Data32_to_Y8(uint32_t hInImage, uint32_t hOutImage,
                                               uint32_t dwShift, uint16_t wStripCommand);

/**
 * Converts one byte of each VIQ_RGBX32, VIQ_BGRX32 or VIQ_XBGR32 pixel to VIQ_Y8.
 *
 * @param hInImage       input
 * @param hOutImage      output
 * @param dwByteNumber   1 to 4 in memory order
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format": also for VIQ_XRGB32
 * - VIQ_ERR_PARAMETER "Byte number out of range"
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_XXXX32_to_Y8(uint32_t hInImage, uint32_t hOutImage,
                                               uint32_t dwByteNumber, uint16_t wStripCommand);

/**
 * Shows Y, U and V of each VIQ_YUV422 pixel as red, green and blue of VIQ_RGB24. Errors:
 * VIQ_ERR_UNSUPPORTED "Unsupported image format", "YUV422 image must be an even width".
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_YUV422_to_RGB_pseudo_colour(uint32_t hInImage, uint32_t hOutImage,
                                                              uint16_t wStripCommand);

/**
 * Shows hue x 253 / 360, saturation and intensity of each VIQ_HSI pixel as red, green and blue of
 * VIQ_RGB24. Error: VIQ_ERR_UNSUPPORTED "Unsupported image format".
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_HSI_to_RGB_pseudo_colour(uint32_t hInImage, uint32_t hOutImage,
                                                           uint16_t wStripCommand);

/**
 * Shows VIQ_Y8 as VIQ_RGB16: with t = 2 v below 128 and 511 - 2 v from there on, red is v >> 3,
 * green t >> 2 and blue (255 - v) >> 3. dwOption is ignored. Error: VIQ_ERR_UNSUPPORTED "Image
 * format must be VIQ_Y8".
 */
VIQ_API uint32_t VIQ_CALL VIQ_SPL_Y8_to_pseudo_colour(uint32_t hInImage, uint32_t hOutImage,
                                                      uint32_t dwOption, uint16_t wStripCommand);

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
