/**
 * @file
 * Lookup tables: the tables that hold the results of slow conversions (conversion lookup tables)
 * with their converters, and the tables of brightness, contrast, gamma and gain (VIQ_LUT).
 */
#ifndef VIQ_LUT_H
#define VIQ_LUT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_conv_lut Conversion lookup tables
 *
 * Six tables hold precomputed results of conversions. Every context has one table of each type; it
 * exists from its generation or loading until it is destroyed.
 *
 * | Type (VIQ_CONV_LUT_...) | From       | To           | Entries          | Index of an entry |
 * |-------------------------|------------|--------------|------------------|-------------------|
 * | RGB16_TO_PALETTED       | VIQ_RGB16  | VIQ_PALETTED | 65536            | the pixel         |
 * | Y8_TO_PALETTED          | VIQ_Y8     | VIQ_PALETTED | 256              | the pixel         |
 * | Y16_TO_PALETTED         | VIQ_Y16    | VIQ_PALETTED | 2 ^ data width   | the pixel         |
 * | YUV422_TO_RGB16         | VIQ_YUV422 | VIQ_RGB16    | 524288           | see below         |
 * | YUV422_TO_RGB15         | VIQ_YUV422 | VIQ_RGB15    | 524288           | see below         |
 * | YUV422_TO_PALETTED      | VIQ_YUV422 | VIQ_PALETTED | 32768            | see below         |
 *
 * The index of the YUV422 tables is Y >> 1 << 12 | U >> 2 << 6 | V >> 2 to VIQ_RGB16 and VIQ_RGB15,
 * and Y >> 3 << 10 | U >> 3 << 5 | V >> 3 to VIQ_PALETTED. The data width of VIQ_Y16 is 9 to 16.
 *
 * An entry of a table to paletted is 1 byte: the nearest colour of the image's colourmap
 * (VIQ_cmap_find_closest_colour). Such a table is valid for that colourmap only: if the colourmap
 * changes, generate the table again. Entries of the other tables are 16-bit words. An entry is
 * computed from the lowest components that share its index: VIQ_Y16 pixels by their upper 8 bits,
 * VIQ_RGB16 unpacked as by the converters, VIQ_YUV422 converted as by VIQ_YUV422_to_RGB24.
 *
 * The table for VIQ_Y16 stores the data width for which it was generated. Saving, loading and
 * converting with another data width fail with VIQ_ERR_CORRUPT "LUT does not fit the data width".
 *
 * A function without a stated result returns 0 or an error code.
 * @{
 */

/** Types of conversion lookup tables. */
enum {
    VIQ_CONV_LUT_RGB16_TO_PALETTED = 200,
    VIQ_CONV_LUT_Y8_TO_PALETTED = 201,
    VIQ_CONV_LUT_Y16_TO_PALETTED = 202,
    VIQ_CONV_LUT_YUV422_TO_RGB16 = 203,
    VIQ_CONV_LUT_YUV422_TO_RGB15 = 204,
    VIQ_CONV_LUT_YUV422_TO_PALETTED = 205
};

/**
 * Generates a table; an existing one is replaced. Errors are also those of the generator of the
 * type, VIQ_generate_..._LUT.
 *
 * @param hImage    an image, whose colourmap and data width the tables to paletted use
 * @param wLUTType  VIQ_CONV_LUT_...
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "LUT function not available for this image pixel format": an unknown type
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_conv_LUT_generate(uint32_t hImage, uint16_t wLUTType);

/**
 * Frees a table; a missing one is not an error.
 *
 * @param wLUTType  VIQ_CONV_LUT_...
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "LUT function not available for this image pixel format": an unknown type
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_conv_LUT_destroy(uint16_t wLUTType);

/**
 * Writes a table to a file: its bytes in index order, without a header; words in the byte order of
 * the machine.
 *
 * @param hImage       an image; for VIQ_Y16 its data width must be that of the table
 * @param wLUTType     VIQ_CONV_LUT_...
 * @param pszFileName  name of the file
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unrecognized LUT type"
 * - VIQ_ERR_STATE "LUT not generated": the table is missing; no file is created
 * - VIQ_ERR_CORRUPT "LUT does not fit the data width"
 * - VIQ_ERR_OPEN "Failed to create file"
 * - VIQ_ERR_CLOSE "Failed to close file": also if not all data reached the file
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_conv_LUT_save(uint32_t hImage, uint16_t wLUTType,
                                                  const char *pszFileName);

/**
 * Reads a table from a file that VIQ_image_conv_LUT_save has written. If it fails, an existing
 * table is kept.
 *
 * @param hImage       an image; for VIQ_Y16 it defines the data width
 * @param wLUTType     VIQ_CONV_LUT_...
 * @param pszFileName  name of the file
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unrecognized LUT type"
 * - VIQ_ERR_OPEN "Failed to create file": the file cannot be opened for reading
 * - VIQ_ERR_STATE "Incorrect number of bytes read - correct LUT selected?": the length of the file
 *   is not that of the table
 * - VIQ_ERR_CLOSE "Failed to close file"
 * - VIQ_ERR_CORRUPT "LUT does not fit the data width", or the errors for the data width and the
 *   memory of VIQ_generate_..._LUT
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_conv_LUT_load(uint32_t hImage, uint16_t wLUTType,
                                                  const char *pszFileName);

/** @name Generation and destruction by type
 * Generating an existing table replaces it. Destroying a missing one is not an error.
 * @{
 */

/**
 * Generates the table VIQ_CONV_LUT_RGB16_TO_PALETTED for the colourmap of the image.
 * Errors: VIQ_ERR_STATE "Colourmap is NULL"; VIQ_ERR_MEMORY "Unable to generate RGB16 to paletted
 * LUT".
 */
VIQ_API uint32_t VIQ_CALL VIQ_generate_RGB16_to_paletted_LUT(uint32_t hImage);

/**
 * Generates the table VIQ_CONV_LUT_Y8_TO_PALETTED for the colourmap of the image.
 * Errors: VIQ_ERR_STATE "Colourmap is NULL"; VIQ_ERR_MEMORY "Unable to generate Y8 to paletted
 * LUT".
 */
VIQ_API uint32_t VIQ_CALL VIQ_generate_Y8_to_paletted_LUT(uint32_t hImage);

/**
 * Generates the table VIQ_CONV_LUT_Y16_TO_PALETTED for the colourmap and the data width of the
 * image. Errors: VIQ_ERR_CORRUPT "data width should > 8 (and <= 16)" below 9; VIQ_ERR_CORRUPT "data
 * width should <= 16 (and > 8)" above 16; VIQ_ERR_STATE "Colourmap is NULL"; VIQ_ERR_MEMORY "Unable
 * to generate Y16 to paletted LUT".
 */
VIQ_API uint32_t VIQ_CALL VIQ_generate_Y16_to_paletted_LUT(uint32_t hImage);

/**
 * Generates the table VIQ_CONV_LUT_YUV422_TO_RGB16.
 * Error: VIQ_ERR_MEMORY "Unable to generate YUV to RGB16 LUT".
 */
VIQ_API uint32_t VIQ_CALL VIQ_generate_YUV422_to_RGB16_LUT(void);

/**
 * Generates the table VIQ_CONV_LUT_YUV422_TO_RGB15.
 * Error: VIQ_ERR_MEMORY "Unable to generate YUV to RGB15 LUT".
 */
VIQ_API uint32_t VIQ_CALL VIQ_generate_YUV422_to_RGB15_LUT(void);

/**
 * Generates the table VIQ_CONV_LUT_YUV422_TO_PALETTED for the colourmap of the image.
 * Errors: VIQ_ERR_STATE "Colourmap is NULL"; VIQ_ERR_MEMORY "Unable to generate YUV to paletted
 * LUT".
 */
VIQ_API uint32_t VIQ_CALL VIQ_generate_YUV422_to_paletted_LUT(uint32_t hImage);

/** Frees the table VIQ_CONV_LUT_RGB16_TO_PALETTED. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_destroy_RGB16_to_paletted_LUT(void);

/** Frees the table VIQ_CONV_LUT_Y8_TO_PALETTED. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_destroy_Y8_to_paletted_LUT(void);

/** Frees the table VIQ_CONV_LUT_Y16_TO_PALETTED. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_destroy_Y16_to_paletted_LUT(void);

/** Frees the table VIQ_CONV_LUT_YUV422_TO_RGB16. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_destroy_YUV422_to_RGB16_LUT(void);

/** Frees the table VIQ_CONV_LUT_YUV422_TO_RGB15. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_destroy_YUV422_to_RGB15_LUT(void);

/** Frees the table VIQ_CONV_LUT_YUV422_TO_PALETTED. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_destroy_YUV422_to_paletted_LUT(void);

/** @} */

/** @name Converters by table
 * They follow the steps of the pixel format converters (convert.h). The first strip of a sequence
 * generates a missing table, a table to paletted with the colourmap of the input; errors are also
 * those of VIQ_generate_..._LUT. Converters from VIQ_YUV422 reject the inputs that
 * VIQ_YUV422_to_RGB24 rejects.
 * @{
 */

/**
 * To VIQ_PALETTED from VIQ_RGB16, VIQ_Y8 and VIQ_Y16. A VIQ_Y16 pixel that exceeds the data width
 * receives the last entry of the table.
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_to_paletted_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                      uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_PALETTED by the table VIQ_CONV_LUT_YUV422_TO_PALETTED. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_paletted_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                     uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_RGB15 by the table VIQ_CONV_LUT_YUV422_TO_RGB15. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGB15_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_RGB16 by the table VIQ_CONV_LUT_YUV422_TO_RGB16. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGB16_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wStripCommand);

/**
 * From VIQ_YUV422 to VIQ_RGB24 by the table VIQ_CONV_LUT_YUV422_TO_RGB16, whose words are unpacked
 * as by the converters. The result is coarser than that of VIQ_YUV422_to_RGB24.
 */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGB24_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_BGR24, as VIQ_YUV422_to_RGB24_LUT. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_BGR24_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_RGBX32, as VIQ_YUV422_to_RGB24_LUT. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_RGBX32_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                   uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_BGRX32, as VIQ_YUV422_to_RGB24_LUT. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_BGRX32_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                   uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_XBGR32, as VIQ_YUV422_to_RGB24_LUT. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_XBGR32_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                   uint16_t wStripCommand);

/** From VIQ_YUV422 to VIQ_XRGB32, as VIQ_YUV422_to_RGB24_LUT. */
VIQ_API uint32_t VIQ_CALL VIQ_YUV422_to_XRGB32_LUT(uint32_t hInImage, uint32_t hOutImage,
                                                   uint16_t wStripCommand);

/** @} */

/** @} */

/**
 * @defgroup viq_lut Value lookup tables
 *
 * A lookup table object holds four tables, which map pixel values to pixel values: table 1 for grey
 * and luma, tables 2 to 4 for red, green and blue. There are at most 15 objects.
 * @{
 */

/**
 * Creates an object whose four tables are the identity.
 *
 * @param dwElements    entries of a table: 1 to 256 bytes or 1 to 65536 words
 * @param wElementSize  bytes of an entry: 1 or 2
 * @return the handle, 1 to 15, or an error code. The caller frees it with VIQ_LUT_destroy.
 * @par Errors
 * - VIQ_ERR_NO_HANDLES "": all handles are in use
 * - VIQ_ERR_PARAMETER|3 "element size must be 1 or 2 bytes"
 * - VIQ_ERR_PARAMETER|1 "too many LUT elements": of 1 byte
 * - VIQ_ERR_PARAMETER|2 "too many LUT elements": of 2 bytes
 * - VIQ_ERR_PARAMETER "too few LUT elements": 0
 */
VIQ_API uint32_t VIQ_CALL VIQ_LUT_create(uint32_t dwElements, uint16_t wElementSize);

/**
 * Returns a table of uint8_t or uint16_t entries, which may be changed.
 *
 * @param hLut   the object
 * @param wMask  8, 4, 2 or 1 for table 1, 2, 3 or 4
 * @return the table, which stays part of the object; NULL without a report for any other mask or
 *     handle
 */
VIQ_API void *VIQ_CALL VIQ_LUT_get_ptr(uint32_t hLut, uint16_t wMask);

/** Frees an object, or all of them with VIQ_ALL_IMAGES. Returns 0, also for an unused handle. */
VIQ_API uint32_t VIQ_CALL VIQ_LUT_destroy(uint32_t hLut);

/**
 * Maps the pixels of the current strip.
 *
 * - VIQ_Y8: table 1. VIQ_Y16: table 1 of words.
 * - VIQ_RGB24: red, green and blue through tables 2, 3 and 4.
 * - VIQ_RGB15, VIQ_RGB16, VIQ_RGB8: each field, moved to the top of a byte, through its table; the
 *   top bits of the result are packed.
 * - VIQ_YUV422: if the gains of the last VIQ_LUT_generate are 100, luma through table 1. Otherwise
 *   each pixel is converted to RGB, mapped by tables 2 to 4 and converted back, by the formulas of
 *   VIQ_YUV422_to_RGB24 and VIQ_convert_to_YUV422.
 *
 * A value without an entry in its table is not changed. If the lines per strip are 0, only the
 * parameters are copied.
 *
 * @param hInImage   input
 * @param hOutImage  output in the same format
 * @param hLut       the object
 * @param wMode      strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format": also if the entry size does not fit the
 *   format
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 */
VIQ_API uint32_t VIQ_CALL VIQ_LUT_apply(uint32_t hInImage, uint32_t hOutImage, uint32_t hLut,
                                        uint16_t wMode);

/**
 * Fills the tables from settings in percent, of which 100 is neutral. If all are 100, every table
 * becomes the identity. Otherwise entry 0 is 0. With n entries, h = n div 2 and
 * g = n (i / n)^(100 / gamma), entry i of table 1 is
 *
 *     v = h + (g - h) x contrast x 0.01 + brightness x 0.5 - 50
 *
 * and that of tables 2 to 4 is v x gain / 100. The values are computed in floating point, clamped
 * to 0..255 (words: 0..n - 1) and truncated.
 *
 * @param hLut        the object
 * @param brightness  clamped to 0..200
 * @param contrast    clamped to 0..200
 * @param gamma       clamped to 25..400
 * @param gain2       gain of table 2, clamped to 0..200
 * @param gain3       gain of table 3, clamped to 0..200
 * @param gain4       gain of table 4, clamped to 0..200
 */
VIQ_API uint32_t VIQ_CALL VIQ_LUT_generate(uint32_t hLut, int16_t brightness, int16_t contrast,
                                           int16_t gamma, int16_t gain2, int16_t gain3,
                                           int16_t gain4);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
