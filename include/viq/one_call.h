/**
 * @file
 * One-call functions: a picture from a file or from memory, in the pixel format that the program
 * requires, and a picture to a file or to memory.
 */
#ifndef VIQ_ONE_CALL_H
#define VIQ_ONE_CALL_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_one_call Whole pictures in one call
 *
 * The functions read, convert and write whole pictures. Reading, converting to grey and writing is
 *
 *     uint32_t grey = VIQ_open_as("photo.jpg", VIQ_Y8);
 *     if (!VIQ_IS_ERROR(grey))
 *         VIQ_save(grey, "grey.tif", 0);
 *     VIQ_image_destroy(grey);
 *
 * They are independent of the strip sequences, open files, JPEG code tables and the reading mode of
 * the calling thread's context, and leave them unchanged. Files are read in the conforming mode
 * (VIQ_set_file_reading), JPEG is written with the standard code tables. File names can have any
 * length.
 *
 * A failure is reported once, by the function that fails, under its own name; its code is returned.
 * Called by an error handler, the functions return VIQ_ERR_STATE.
 * @{
 */

/** File format of VIQ_encode: a wavelet stream of coding type 1, smaller than VIQ_FILE_WAVELET. */
enum { VIQ_FILE_WAVELET_SMALL = 0x10C };

/**
 * Opens a picture: reads the whole file and converts it. The format of the file is determined by
 * its contents: BMP, TIFF, TGA, EPS of this library, JPEG or wavelet. JPEG files and wavelet
 * streams of both coding types are decompressed. A wavelet file of the tool with a picture of odd
 * width has that width again, unless wFormat is VIQ_YUV422. TIFF pictures are delivered as stored:
 * VIQ_image_get_file_info of the new image returns the orientation.
 *
 * @param pszFileName  name of the file
 * @param wFormat      pixel format of the image: VIQ_RGB24 or VIQ_Y8, which every file gives, or
 *     others, as VIQ_convert_as. 0: as the reader delivers it (VIQ_set_file_reading), VIQ_RGB24 or
 *     VIQ_Y8 for JPEG, VIQ_YUV422 or VIQ_Y8 for wavelet.
 * @return the handle of a new image, which holds the whole picture and which the caller frees with
 *     VIQ_image_destroy; or an error code
 * @par Errors
 * - VIQ_ERR_OPEN "Failed to open file": reported as "VIQ_image_find_file_format"
 * - VIQ_ERR_UNSUPPORTED "Unsupported/unrecognized image format": the file has none of the formats
 * - the errors of the reader in the conforming mode: VIQ_read_BMP_file, VIQ_read_TIFF_file,
 *   VIQ_read_TGA_file, VIQ_read_EPS_file, VIQ_JPEG_file_read and VIQ_JPEG_decompress,
 *   VIQ_WVLT_file_read and VIQ_WVLT_decompress
 * - the errors of VIQ_convert_as and VIQ_image_create
 */
VIQ_API uint32_t VIQ_CALL VIQ_open_as(const char *pszFileName, uint16_t wFormat);

/**
 * Opens a picture in memory as VIQ_open_as does a file: the same formats, results and errors.
 *
 * @param pData    the contents of a file; not changed and not used after the call
 * @param qwSize   its size in bytes
 * @param wFormat  as in VIQ_open_as
 * @return the handle of a new image, which the caller frees with VIQ_image_destroy; or an error
 *     code
 * @par Errors
 * - VIQ_ERR_OPEN "Failed to open file": 0 bytes; reported as "VIQ_image_find_file_format"
 * - VIQ_ERR_MEMORY "": more bytes than the address space
 * - the errors of VIQ_open_as
 */
VIQ_API uint32_t VIQ_CALL VIQ_decode_as(const uint8_t *pData, uint64_t qwSize, uint16_t wFormat);

/**
 * Converts a whole picture to a pixel format, in several steps if no converter does it in one.
 *
 * From VIQ_Y1 (1 is white), VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16,
 * VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32, VIQ_YUV422 and VIQ_CMYK32,
 * to the same formats except VIQ_Y1, and to VIQ_HSI. If there is no converter for a pair, the
 * picture is converted by way of VIQ_RGB24, except:
 * - VIQ_CMYK32 to VIQ_RGB24: 255 - min(255, C + K), and so on; back: C = 255 - R, and so on, K = 0
 * - VIQ_RGB8 by way of VIQ_RGB16; to VIQ_HSI by way of VIQ_YUV422; to VIQ_Y16, of 16 significant
 *   bits, by way of VIQ_Y8
 * - to VIQ_PALETTED by the 256 most frequent colours of the picture (VIQ_cmap_generate)
 * - VIQ_YUV422 and 32-bit formats of odd width to VIQ_Y8 by way of VIQ_RGB24, so that lines are not
 *   skewed
 *
 * An image that has the format already is copied. To VIQ_YUV422, an odd width becomes even.
 *
 * @param hImage   the picture, held as one strip; not changed
 * @param wFormat  pixel format
 * @return the handle of a new image, which the caller frees with VIQ_image_destroy; or an error
 *     code
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt image": the code of VIQ_image_check
 * - VIQ_ERR_UNSUPPORTED|lines "This function only supports a complete image": the lines per strip
 *   are not the height
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format": no way from or to this format
 * - the errors of the converters
 */
VIQ_API uint32_t VIQ_CALL VIQ_convert_as(uint32_t hImage, uint16_t wFormat);

/**
 * Saves a picture in the file format that the extension of the file name selects, in upper or lower
 * case: .bmp, .tif and .tiff, .tga, .eps, .jpg and .jpeg, .dwt and .wvlt (wavelet of coding type
 * 0), .raw. The picture is converted and written as by VIQ_encode. The new contents replace an
 * existing file only when they are complete; after a failure the file is as before.
 *
 * @param hImage       the picture, held as one strip; not changed
 * @param pszFileName  name of the file
 * @param wQuality     as in VIQ_encode
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "File name has no known extension"
 * - VIQ_ERR_OPEN "Failed to create file"
 * - VIQ_ERR_SYSTEM "Failed to replace file"
 * - the errors of VIQ_encode
 */
VIQ_API uint32_t VIQ_CALL VIQ_save(uint32_t hImage, const char *pszFileName, uint16_t wQuality);

/**
 * Writes a picture to memory as the contents of a file. A picture in a pixel format that the file
 * format does not hold is converted by VIQ_convert_as: to VIQ_RGB24 if it has colour
 * (VIQ_image_is_colour), otherwise to VIQ_Y8; for wavelet streams to VIQ_YUV422 or VIQ_Y8.
 * VIQ_FILE_RAW does not convert. Lines of TGA and raw data have no padding.
 *
 * A wavelet stream of a picture of odd width ends with the width, which VIQ_open_as restores and
 * other readers ignore.
 *
 * @param hImage       the picture, held as one strip; not changed
 * @param wFileFormat  VIQ_FILE_BMP, VIQ_FILE_TIFF, VIQ_FILE_TGA, VIQ_FILE_EPS, VIQ_FILE_JPEG,
 *     VIQ_FILE_WAVELET, VIQ_FILE_WAVELET_SMALL or VIQ_FILE_RAW
 * @param wQuality     quality factor: JPEG 1 to 400, wavelet 1 to 400; 0: that of a new image, 32
 *     for JPEG and 50 for wavelet. Other formats ignore it.
 * @param ppData       receives the data, or NULL after a failure. The caller frees it with free()
 *     or, if the program uses another C run-time library than this one, with VIQ_DebugFree.
 * @param pqwSize      receives the size in bytes
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt image": the code of VIQ_image_check
 * - VIQ_ERR_UNSUPPORTED|lines "This function only supports a complete image"
 * - VIQ_ERR_UNSUPPORTED "Unsupported/unrecognized image format": an unknown file format
 * - VIQ_ERR_PARAMETER "Q factor of range", or for wavelet VIQ_ERR_PARAMETER|quality "Q factor out
 *   of range"
 * - the errors of VIQ_convert_as, VIQ_JPEG_compress, VIQ_WVLT_compress and of the writer
 */
VIQ_API uint32_t VIQ_CALL VIQ_encode(uint32_t hImage, uint16_t wFileFormat, uint16_t wQuality,
                                     uint8_t **ppData, uint64_t *pqwSize);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
