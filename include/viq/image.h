/**
 * @file
 * Image objects: creation, parameters, checking, strips, copying, memory images. Error handlers and
 * utilities.
 */
#ifndef VIQ_IMAGE_H
#define VIQ_IMAGE_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_image Images
 * Image objects, strips, error handlers and utilities. A function without a stated result returns 0
 * or an error code.
 * @{
 */

/** @name Creation
 * @{
 */

/**
 * Starts the library: clears its error record, installs VIQ_ErrHandlerDefault, stores the version
 * and builds the standard JPEG code tables. The first VIQ_image_create calls it. A later call keeps
 * all images, but replaces the caller's error handler with the default one.
 */
VIQ_API uint32_t VIQ_CALL VIQ_Init(void);

/**
 * Creates an image with height VIQ_HEIGHT_UNKNOWN, 8 lines per strip, line alignment 2 and
 * VIQ_PARAM_19 = 1; all other parameters are 0. It has no data, and a colourmap from
 * VIQ_image_create_cmap. The caller frees it with VIQ_image_destroy.
 *
 * @return the lowest free handle, 1 to 65535, or an error code
 * @par Errors
 * - VIQ_ERR_NO_HANDLES "Run out of image handles"
 * - VIQ_ERR_MEMORY|1 "": the object cannot be allocated
 * - VIQ_ERR_MEMORY "": the colourmap cannot be allocated
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_create(void);

/**
 * Allocates a colourmap of 256 entries in which every byte is 0xAA.
 *
 * @return the colourmap, or NULL without a report if the allocation fails. The image that receives
 *     it through VIQ_PTR_CMAP frees it.
 */
VIQ_API tVIQ_Colour *VIQ_CALL VIQ_image_create_cmap(void);

/**
 * Destroys an image with its data, colourmap, colourmap record and JPEG or wavelet record. A buffer
 * of the caller that has been locked is not freed. Strip sequences of the calling thread's context
 * that the image takes part in end, and the files that they read or write are closed.
 *
 * @param hImage  an image handle, or one of two other values. VIQ_ALL_IMAGES destroys every image,
 *     chroma-key object and lookup table and frees the library's scratch memory. VIQ_ANY_IMAGE
 *     destroys nothing: if no image exists it frees the scratch memory.
 * @return 0, also if the handle names no image; VIQ_ERR_INTERNAL without a report for VIQ_ANY_IMAGE
 *     while an image exists
 * @par Errors
 * - VIQ_ERR_STATE "Image in use by another thread": a call of another context is using it;
 *   VIQ_ALL_IMAGES destroys the others
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_destroy(uint32_t hImage);

/** @} */

/** @name Parameters, flags and pointers
 * @{
 */

/**
 * Sets a parameter. 16-bit fields take the low 16 bits of the value.
 *
 * VIQ_IMAGE_TYPE also sets the depth, sets the data width to 8 for VIQ_Y8, VIQ_PALETTED and
 * VIQ_RGB8 and to 16 for all formats of depth 16, sets 256 colours for VIQ_PALETTED if there were
 * 0, and clears VIQ_FLAG_DIB. Other formats keep the data width. Format 0 only clears VIQ_FLAG_DIB.
 *
 * @param hImage   the image
 * @param wId      a parameter, VIQ_IMAGE_TYPE to VIQ_PARAM_25, not VIQ_LIBRARY_VERSION
 * @param dwValue  the value
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unrecognized image type": an unknown pixel format. It is stored all the
 *   same, and VIQ_image_check rejects the image.
 * - VIQ_ERR_HANDLE "JPEG structure does not exist": VIQ_JPEG_PARAM without a JPEG record
 * - VIQ_ERR_PARAMETER "": an unknown or read-only parameter
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_set_parameter(uint32_t hImage, uint16_t wId, uint32_t dwValue);

/**
 * Returns a parameter.
 *
 * @param hImage  the image; any value for VIQ_LIBRARY_VERSION
 * @param wId     a parameter, VIQ_IMAGE_TYPE to VIQ_COMPONENTS
 * @return the value, or an error code. A value above 0xFFFF cannot be distinguished from one.
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 * - VIQ_ERR_HANDLE "JPEG structure does not exist": VIQ_JPEG_PARAM without a JPEG record
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_get_parameter(uint32_t hImage, uint16_t wId);

/**
 * Sets or clears flags. A data buffer of the caller that is present while VIQ_FLAG_LOCKED is set is
 * never freed by the library, even if the flag is cleared later.
 *
 * @param hImage  the image, or VIQ_ALL_IMAGES for every image
 * @param dwBits  VIQ_FLAG_... values, combined by bitwise or
 * @param dwOn    1 sets the flags, any other value clears them
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_set_flags(uint32_t hImage, uint32_t dwBits, uint32_t dwOn);

/** Returns 1 if at least one of the flags in dwBits is set, otherwise 0. */
VIQ_API uint32_t VIQ_CALL VIQ_image_get_flags(uint32_t hImage, uint32_t dwBits);

/**
 * Sets a pointer of an image.
 *
 * - VIQ_PTR_DATA: a buffer of lines per strip x bytes per line bytes. Set VIQ_FLAG_LOCKED as well
 *   to keep the buffer; otherwise the library owns it and frees it with free(). A strip buffer that
 *   the library has allocated for the image stays with the image and is freed with it; in another
 *   image it must not be used longer.
 * - VIQ_PTR_CMAP: a colourmap of 256 entries. A colourmap that VIQ_image_create_cmap has not
 *   allocated stays the caller's. One of the library that is set or replaced exists until the image
 *   that uses it is destroyed, or until VIQ_image_destroy(VIQ_ALL_IMAGES).
 * - VIQ_PTR_JPEG_DATA, VIQ_PTR_JPEG_DATA2: the coded data, for which the same holds, and the
 *   position in it.
 * - VIQ_PTR_IMAGE: the object that the handle names; NULL clears it. Objects that the caller has
 *   allocated stay the caller's. An object of the library that is replaced exists until
 *   VIQ_image_destroy(VIQ_ALL_IMAGES).
 * - VIQ_PTR_JPEG: the JPEG record. One of the library that is replaced exists until
 *   VIQ_image_destroy(VIQ_ALL_IMAGES).
 * - VIQ_PTR_JPEG_ID: copies 32 bytes from the address into Tjpeg::comment.
 *
 * @param hImage  the image
 * @param wType   VIQ_PTR_...
 * @param pValue  the pointer
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unrecognized pointer type"
 * - VIQ_ERR_HANDLE "Not a JPEG image": VIQ_PTR_JPEG_DATA, VIQ_PTR_JPEG_DATA2 or VIQ_PTR_JPEG_ID
 *   without a JPEG record
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_set_ptr(uint32_t hImage, uint16_t wType, void *pValue);

/**
 * Returns a pointer of an image (VIQ_PTR_...), or NULL without a report if the image, the pointer
 * or the type does not exist. The library keeps the ownership of what it has allocated.
 */
VIQ_API void *VIQ_CALL VIQ_image_get_ptr(uint32_t hImage, uint16_t wType);

/**
 * Sets the name of the file that readers open; the text is copied.
 *
 * @param hImage   the image
 * @param pszName  the file name, at most 127 bytes
 * @par Errors
 * - VIQ_ERR_PARAMETER "File name too long": the previous name is kept
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_set_infilename(uint32_t hImage, const char *pszName);

/** Sets the name of the file that writers create, as VIQ_image_set_infilename does. */
VIQ_API uint32_t VIQ_CALL VIQ_image_set_outfilename(uint32_t hImage, const char *pszName);

/** Returns the input file name, which stays part of the image; NULL if the image is missing. */
VIQ_API char *VIQ_CALL VIQ_image_get_infilename(uint32_t hImage);

/** Returns the output file name, which stays part of the image; NULL if the image is missing. */
VIQ_API char *VIQ_CALL VIQ_image_get_outfilename(uint32_t hImage);

/** Copies the output file name of hFrom to hTo. Note the order: the destination comes first. */
VIQ_API uint32_t VIQ_CALL VIQ_copy_outfilename(uint32_t hTo, uint32_t hFrom);

/** Returns the pixels per line. This function and the next four return 0 if the image is missing.
 */
VIQ_API uint32_t VIQ_CALL VIQ_get_width(uint32_t hImage);

/** Returns the lines of the whole picture. */
VIQ_API uint32_t VIQ_CALL VIQ_get_height(uint32_t hImage);

/** Returns the stride: the bytes from one line to the next, as the last check has computed it. */
VIQ_API uint32_t VIQ_CALL VIQ_get_bytes_per_line(uint32_t hImage);

/** Returns the lines per strip, which are those of the current strip. */
VIQ_API uint32_t VIQ_CALL VIQ_get_lines_this_strip(uint32_t hImage);

/** Returns the bits per pixel. */
VIQ_API uint16_t VIQ_CALL VIQ_get_depth(uint32_t hImage);

/**
 * Returns 1 for a colour image, otherwise 0. Colour are VIQ_RGB8 to VIQ_CMYK32, VIQ_YUV411, and
 * VIQ_PALETTED unless VIQ_cmap_is_grayscale returns 1.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_is_colour(uint32_t hImage);

/** @} */

/** @name Error handlers
 * @{
 */

/**
 * Reports a failure: calls the handler of the module.
 *
 * @param dwModule     module number, 0 to 15; the library reports as module 1
 * @param pszFunction  name of the reporting function
 * @param dwCode       error code
 * @param pszMessage   detail text, possibly empty
 * @return the result of the handler; 0 if the module is unknown or has no handler, which holds for
 *     module 1 before VIQ_Init. If dwCode is 0, no handler is called and the result is the address
 *     of the module's tVIQ_ErrRecord.
 */
VIQ_API uintptr_t VIQ_CALL VIQ_ErrProcess(uint32_t dwModule, const char *pszFunction,
                                          uint32_t dwCode, const char *pszMessage);

/** Installs the library's error handler; NULL silences all reports. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_ErrHandlerInstall(VIQ_ErrHandler pHandler);

/**
 * The handler that VIQ_Init installs. It stores the code in the error record: a code whose top byte
 * is not 0x10 as the code of another library, with VIQ_ERR_OTHER as the last code. Then it shows
 * one text of at most 511 characters: function name, last code, text of its class (see the table of
 * error codes), message, and the code of the other library if there is one.
 *
 * On Windows the text is shown in a message box with the caption "ERROR REPORTED by VIQ Default
 * Error Handler"; the call waits for the user. On other systems caption and text are written to the
 * standard error stream.
 *
 * @param dwModule     module number
 * @param pszFunction  name of the reporting function
 * @param dwCode       error code
 * @param pszMessage   detail text, possibly empty
 * @return the result of the message box; 1 on other systems
 */
VIQ_API uint32_t VIQ_CALL VIQ_ErrHandlerDefault(uint32_t dwModule, const char *pszFunction,
                                                uint32_t dwCode, const char *pszMessage);

/**
 * Returns what an error code means, in a few words without a full stop, such as "Not enough
 * memory". The low 16 bits of the code do not change the text. The text is valid for the life of
 * the process. Any thread may call this function, also in a handler.
 *
 * @param dwCode  a result of any function
 * @return the text; "No error" for a result that is no error code, "Unknown error code" for a code
 *     of no class; never NULL
 */
VIQ_API const char *VIQ_CALL VIQ_error_text(uint32_t dwCode);

/**
 * Returns the name of the class of an error code, such as "VIQ_ERR_MEMORY", otherwise as
 * VIQ_error_text.
 *
 * @param dwCode  a result of any function
 * @return the name; "no error" for a result that is no error code, "unknown error" for a code of no
 *     class; never NULL
 */
VIQ_API const char *VIQ_CALL VIQ_error_name(uint32_t dwCode);

/** @} */

/** @name Checking and strip buffers
 * @{
 */

/**
 * Returns the padding of a line in bytes: what ((bits + 1) div 8) x width bytes lack to a multiple
 * of the alignment. A 15-bit pixel counts 2 bytes and a 1-bit pixel none. Returns 0 for alignment
 * 0.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_calc_skip_bytes(uint32_t dwWidth, uint16_t wBitsPerPixel,
                                                    uint32_t dwAlignment);

/**
 * Returns the number of strips: ceiling(height / lines per strip), its low 16 bits; 0 if the lines
 * per strip are 0.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_calc_total_strips(uint32_t hImage);

/**
 * Checks the parameters of an image and computes its stride: padding = VIQ_image_calc_skip_bytes,
 * bytes per line = ((bits + 1) div 8) x width + padding. VIQ_RGGB32 and VIQ_Y64 use a quarter of
 * that, VIQ_JPEG_WORK101 and VIQ_JPEG_WORK102 use 8 bytes a pixel, VIQ_WORK104 uses 4. VIQ_PARAM_18
 * becomes at least 1, the data width of VIQ_Y8 becomes 8. Every operation calls it first.
 *
 * @param hImage  the image
 * @par Errors
 * - VIQ_ERR_CORRUPT, not reported: no such image
 * - VIQ_ERR_CORRUPT|0x11 "Line alignment is 0"
 * - VIQ_ERR_CORRUPT|0x12 "Line too long": the stride exceeds 32 bits
 * - VIQ_ERR_CORRUPT|0x10 "Unrecognised image": the format is not set or unknown
 * - VIQ_ERR_CORRUPT|0x07 "Colourmap should not be 0 size": VIQ_PALETTED with 0 colours
 * - VIQ_ERR_CORRUPT|0x0a "Data width not between 1 and 16": VIQ_Y16
 * - VIQ_ERR_CORRUPT|detail "Depth not N": the depth does not match the format. Details: 0x01
 *   VIQ_Y1; 0x02 VIQ_Y8; 0x08 VIQ_PALETTED; 0x0d VIQ_RGB8; 0x0c VIQ_RGB15; 0x0b VIQ_Y16; 0x03
 *   VIQ_RGB24, VIQ_BGR24; 0x0e VIQ_RGGB32; 0x0f VIQ_Y64; 0x06 VIQ_WORK104; 0x05 VIQ_JPEG_WORK101,
 *   VIQ_JPEG_WORK102; 0x09 other 16-bit formats; 0x04 other 32-bit formats
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_check(uint32_t hImage);

/**
 * Allocates the strip buffer of an image: lines per strip x bytes per line bytes, filled with 0. A
 * buffer of the library that fits is kept with its contents; one that does not fit is freed. A
 * buffer of the caller stays in use while VIQ_FLAG_LOCKED is set, and its size is not checked;
 * without the flag it is replaced and not freed.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_malloc_a_strip(uint32_t hImage);

/**
 * Allocates dwLines lines of the stride that the last check has computed, filled with 0.
 *
 * @return the buffer, or NULL without a report if the image is missing or the allocation fails. It
 *     is the caller's: set it as the data of an image, or free it with free() or, if the program
 *     uses another C run-time library than this one, with VIQ_DebugFree.
 */
VIQ_API void *VIQ_CALL VIQ_malloc_N_lines(uint32_t hImage, uint32_t dwLines);

/**
 * Frees the data of an image and that of its JPEG record. A buffer of the caller is freed with
 * free() unless it has been locked. If VIQ_FLAG_LOCKED is set, the image keeps its data.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_free_data(uint32_t hImage);

/** @} */

/** @name Copying and memory images
 * @{
 */

/**
 * Copies everything except the data pointer, its companion word, VIQ_PARAM_16 and the pointer to
 * the JPEG record: format, geometry, spare text, file names, flags, colourmap and colourmap record.
 * An output with a locked buffer of the caller stays locked. If both images have a JPEG record, its
 * contents are copied by VIQ_JPEG_copy_parameters.
 *
 * @param hInImage   source
 * @param hOutImage  destination
 * @par Errors
 * - VIQ_ERR_HANDLE "Input image does not exist"
 * - VIQ_ERR_HANDLE "Output image does not exist"
 * - VIQ_ERR_MEMORY "Cannot create cmap info structure"
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_copy_parameters(uint32_t hInImage, uint32_t hOutImage);

/** Copies as VIQ_image_copy_parameters does, without the contents of the JPEG record. */
VIQ_API uint32_t VIQ_CALL VIQ_image_copy_parameters_raw(uint32_t hInImage, uint32_t hOutImage);

/**
 * Copies the parameters and the current strip, padding included. If the lines per strip are 0, only
 * the parameters are copied. If the input has VIQ_FLAG_2 and the output a JPEG record, the coded
 * data is copied by VIQ_JPEG_build_image instead of the strip. Copying an image to itself does
 * nothing. Errors: those of VIQ_image_copy_parameters.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_copy(uint32_t hInImage, uint32_t hOutImage);

/**
 * Copies the parameters and transfers the data buffer and its ownership to the output; the input
 * has no data afterwards. If the input has VIQ_FLAG_2 and the output a JPEG record, the coded data
 * is transferred instead. Moving an image to itself does nothing. Errors are also those of
 * VIQ_image_copy_parameters.
 *
 * @param hInImage   source
 * @param hOutImage  destination; its own data is freed
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "locked memory can't be moved (in source image)"
 * - VIQ_ERR_UNSUPPORTED "Can't free locked memory (in destination image)"
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_move(uint32_t hInImage, uint32_t hOutImage);

/**
 * Collects strips in a memory image, which holds the whole picture. The first strip sets the memory
 * image up: it receives the parameters of the strip image, lines per strip equal to its height, and
 * a buffer. VIQ_STRIP_NEXT appends the current strip, padding included; the transfer ends with the
 * last line of the picture. VIQ_STRIP_FINISH abandons it. Other modes and strips of 0 lines do
 * nothing. One transfer in this direction can be in progress at a time.
 *
 * @param hStrip   the image that holds the current strip; its lines per strip are reduced to the
 *     remaining lines for the last strip
 * @param hMemory  the memory image
 * @param wMode    VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt input image", "Corrupt output image": the code of
 *   VIQ_image_check for the strip image or the memory image
 * - VIQ_ERR_CORRUPT "Image changed during transfer": format, width, height or stride of an image is
 *   not that of the first strip; the transfer ends
 */
VIQ_API uint32_t VIQ_CALL VIQ_write_to_memory(uint32_t hStrip, uint32_t hMemory, uint16_t wMode);

/**
 * Delivers a memory image as strips. The first call copies the parameters of the memory image to
 * the strip image, the lines per strip included: set those of the memory image to the lines wanted
 * in each strip before it. VIQ_STRIP_NEXT fills the strip image with the next lines; the last strip
 * has the remaining lines. VIQ_STRIP_FINISH abandons the transfer. Other modes do nothing, nor does
 * a memory image of 0 lines per strip. One transfer in this direction can be in progress at a time.
 *
 * @param hMemory  the memory image
 * @param hStrip   the image that receives the strips
 * @param wMode    VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt input image", "Corrupt output image": the code of
 *   VIQ_image_check for the memory image or the strip image
 * - VIQ_ERR_CORRUPT "Image changed during transfer": format, width, height or stride of an image is
 *   not that of the first strip; the transfer ends
 */
VIQ_API uint32_t VIQ_CALL VIQ_read_from_memory(uint32_t hMemory, uint32_t hStrip, uint16_t wMode);

/** @} */

/** @name Utilities
 * @{
 */

/**
 * Reads the decimal number at the start of a text; white space before it is skipped.
 *
 * @param pszText  a zero-terminated text
 * @param pwValue  receives the low 16 bits of the number, 0 if there is no number; may be NULL
 * @return the address of the first white space after the number, or of the end of the text, so that
 *     repeated calls read a line of numbers; NULL for a NULL text
 */
VIQ_API const char *VIQ_CALL VIQ_sscanf(const char *pszText, uint16_t *pwValue);

/**
 * Splits a command line into arguments: argument 0 is the program, each further argument that
 * starts with "-" is stored in the next option slot, any other one in the next plain slot. Nothing
 * is stored if an error is reported.
 *
 * @param pCommand  receives the arguments
 * @param argc      number of arguments
 * @param argv      the arguments
 * @par Errors
 * - VIQ_ERR_PARAMETER "Too many arguments": more than 3 options or 16 plain arguments
 * - VIQ_ERR_PARAMETER "Argument too long": an argument of 128 bytes or more
 */
VIQ_API uint32_t VIQ_CALL VIQ_Util_ParseCommand(tVIQ_Command *pCommand, int argc, char **argv);

/**
 * Fills an image with a test pattern strip by strip, as VIQ_test_pattern_1_strip fills each strip.
 * The image must have data. VIQ_STRIP_NEXT fills the current strip, VIQ_STRIP_FINISH abandons the
 * sequence. Strips of 0 lines are ignored.
 */
VIQ_API uint32_t VIQ_CALL VIQ_test_pattern(uint32_t hImage, uint16_t wMode);

/**
 * Fills the current strip with a test pattern: every byte of the pixel in column x is x modulo 256;
 * a pixel of 32 bits is the bytes 0xAA, 0x55, 0xAA, 0x55. The lines are written without padding,
 * so the ramps are vertical only in images without padding.
 *
 * @param hImage  the image, which must have data
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format": the depth is not 8, 15, 16, 24 or 32, or the
 *   stride is shorter than the pixels (VIQ_RGGB32)
 */
VIQ_API uint32_t VIQ_CALL VIQ_test_pattern_1_strip(uint32_t hImage);

/** Allocates memory and counts it; returns NULL if that fails. Free it with VIQ_DebugFree. */
VIQ_API void *VIQ_CALL VIQ_DebugMalloc(uint32_t dwSize);

/** Frees memory and returns the number of calls so far. */
VIQ_API uint32_t VIQ_CALL VIQ_DebugFree(void *pMemory);

/** Records and returns the bytes that VIQ_DebugMalloc has allocated so far. Prints nothing. */
VIQ_API uint32_t VIQ_CALL VIQ_DebugMallocPrint(void);

/** Diagnostic entry: prints nothing and returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_print_image(uint32_t hImage);

/** Diagnostic entry: prints nothing and returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_print_jpeg_image(void);

/** Diagnostic entry: prints nothing and returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_print_cmap(uint32_t hImage);

/**
 * Diagnostic entry: prints nothing and returns 0 for an image with a JPEG record.
 *
 * @param hImage  the image
 * @par Errors
 * - VIQ_ERR_HANDLE|1 "Not a JPEG type image"
 */
VIQ_API uint32_t VIQ_CALL VIQ_print_Huffman_tables(uint32_t hImage);

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
