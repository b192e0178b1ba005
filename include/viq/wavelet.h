/**
 * @file
 * Wavelet compression of grey and YUV 4:2:2 pictures, in files and buffers.
 */
#ifndef VIQ_WAVELET_H
#define VIQ_WAVELET_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_wavelet Wavelet compression
 *
 * A wavelet image is an image with VIQ_FLAG_100 whose data pointer names a wavelet record: coding
 * parameters, compressed stream, and the settings that the decompressor requires. It represents a
 * VIQ_Y8 or VIQ_YUV422 picture. The transform is the biorthogonal CDF 9/7 wavelet, computed by
 * lifting in 14-bit fixed point.
 *
 * There are two coding types: type 0 is fast (Huffman coding), type 1 gives smaller streams (rANS
 * coding). The stream does not record its type; a decompressor of the other type rejects it.
 *
 * To compress: create an image, set quality and subbands, VIQ_WVLT_compress with mode 3, write to a
 * file or a buffer, destroy. To decompress: create an image, read, VIQ_WVLT_decompress with mode 3,
 * destroy. The low 16 bits of a mode count: 3 does the work, 4 releases the modules that did it,
 * any other value only prepares them.
 *
 * Afterwards the image describes a stream: format 0, 8 bits, no size, VIQ_PARAM_16 = bytes of
 * compressed data.
 *
 * A function without a stated result returns 0 or an error code. Common to all functions are
 * VIQ_ERR_HANDLE "Not a WVLT image" and VIQ_ERR_MEMORY "".
 * @{
 */

/**
 * Creates a wavelet image with quality 50 and 6 subbands. The caller frees it with
 * VIQ_WVLT_image_destroy.
 *
 * @param wType  0: fast; 1: small
 * @return the handle, or an error code, also of VIQ_image_create
 * @par Errors
 * - VIQ_ERR_PARAMETER "Invalid compression type"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_image_create(uint16_t wType);

/** Frees the wavelet record with its modules and buffers, and destroys the image. */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_image_destroy(uint32_t hWvlt);

/**
 * Sets the quality. It takes effect with the next compression.
 *
 * @param hWvlt     the wavelet image
 * @param wQuality  0 (smallest stream) to 400 (almost lossless); 50 to 100 are usual
 * @par Errors
 * - VIQ_ERR_PARAMETER|quality "Q factor out of range"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_set_Quality_factor(uint32_t hWvlt, uint16_t wQuality);

/**
 * Sets the number of wavelet decompositions. A level is decomposed only if both of its sides are at
 * least 5 samples, so that small pictures have fewer decompositions.
 *
 * @param hWvlt      the wavelet image
 * @param wSubbands  1 to 32
 * @par Errors
 * - VIQ_ERR_PARAMETER|subbands "Subbands out of range"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_set_subbands(uint32_t hWvlt, uint16_t wSubbands);

/** Levels of VIQ_WVLT_set_optimisation. */
enum {
    VIQ_WVLT_OPTIMISE_NONE = 0,  /**< the steps and values of the quality factor */
    VIQ_WVLT_OPTIMISE_VALUES = 1 /**< steps and values for the greatest PSNR */
};

/**
 * Makes the compression choose quantiser steps and quantised values for the greatest PSNR at the
 * size of the stream, which is similar to that of the same quality without optimisation. Every
 * decompressor of the coding type decodes the stream.
 *
 * The steps weigh the bands by their share in the error of the samples. A coefficient that takes
 * more bits than it is worth, because those around it are 0, becomes 0.
 *
 * @param hWvlt   the wavelet image
 * @param wLevel  VIQ_WVLT_OPTIMISE_NONE, as in a new image, or VIQ_WVLT_OPTIMISE_VALUES. It takes
 *     effect with the next compression.
 * @par Errors
 * - VIQ_ERR_PARAMETER "Optimisation level out of range"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_set_optimisation(uint32_t hWvlt, uint16_t wLevel);

/**
 * Compresses a picture into a wavelet image, which receives the parameters of the picture, its file
 * names included. A failure clears the stream.
 *
 * @param hInImage  the picture, VIQ_Y8 or VIQ_YUV422, held as one strip
 * @param hWvlt     the wavelet image
 * @param dwMode    3 to compress; 4 to release the modules of the compressor
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt image": the code of VIQ_image_check, or 0 if the picture has no
 *   size or the strip is shorter than the picture
 * - VIQ_ERR_CORRUPT "No source data"
 * - VIQ_ERR_UNSUPPORTED "Unsupported source image type"
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 * - VIQ_ERR_PARAMETER "Invalid number of DWT decompositions"
 * - VIQ_ERR_INTERNAL|status "No image info", "Wavelet compressor failed": the status of a module
 * - VIQ_ERR_INTERNAL|status "Can't get settings size", "Can't get settings": reported as
 *   "GetSettings"
 * - VIQ_ERR_UNSUPPORTED|type "Unsupported compressor output type": reported as "InfoToImage"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_compress(uint32_t hInImage, uint32_t hWvlt, uint32_t dwMode);

/**
 * Decompresses a wavelet image into an ordinary image, which holds the whole picture with a line
 * alignment of 2. A stream that claims more than 65536 pixels for each of its bytes is rejected
 * before memory is allocated. A failure frees the data of the output. After mode 4 the wavelet
 * image cannot be decompressed again: create another one.
 *
 * @param hWvlt      the wavelet image
 * @param hOutImage  receives the picture
 * @param dwMode     3 to decompress; 4 to release the modules of the decompressor
 * @par Errors
 * - VIQ_ERR_UNEXPECTED "No image to decompress": the stream is empty
 * - VIQ_ERR_STATE "Decompressor settings not loaded": the stream has no settings
 * - VIQ_ERR_INTERNAL "Can't write decompressor settings": invalid settings, also those of the other
 *   coding type
 * - VIQ_ERR_INTERNAL|status "No image info", "Wavelet decompressor failed": the status of a module
 * - VIQ_ERR_UNSUPPORTED "Unsupported source image type"
 * - VIQ_ERR_CORRUPT "Corrupt WVLT stream"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_decompress(uint32_t hWvlt, uint32_t hOutImage, uint32_t dwMode);

/**
 * Writes the stream to the output file.
 *
 * @param hWvlt  the wavelet image
 * @param wMode  3; other modes write nothing
 * @par Errors
 * - VIQ_ERR_CORRUPT "No image data": the stream is empty
 * - VIQ_ERR_OPEN "Failed to create file"
 * - VIQ_ERR_SYSTEM "Disk full"
 * - VIQ_ERR_CLOSE "Failed to close file"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_file_write(uint32_t hWvlt, uint16_t wMode);

/**
 * Reads a stream from the input file.
 *
 * @param hWvlt  the wavelet image, of the coding type of the stream
 * @par Errors
 * - VIQ_ERR_OPEN|errno "Failed to open file": with the error number of the system
 * - VIQ_ERR_SYSTEM "Unexpected end of file"
 * - VIQ_ERR_UNSUPPORTED "Not a WVLT file"
 * - VIQ_ERR_UNSUPPORTED "File version mismatch"
 * - VIQ_ERR_CORRUPT "Corrupt WVLT stream"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_file_read(uint32_t hWvlt);

/**
 * Writes the stream to a buffer. Mode 3 writes all of it. Any other mode except 4 writes only the
 * header and the settings; a following call with mode 3 and the address after them adds the
 * compressed data, and the count becomes the total. The state between the two calls is shared by
 * all wavelet images: end the writing of one (mode 3 or 4) before starting that of another.
 *
 * @param hWvlt     the wavelet image
 * @param pBuffer   receives the stream; it must be large enough
 * @param pdwCount  receives the bytes written
 * @param wMode     3 to write; 4 to abandon the writing
 * @par Errors
 * - VIQ_ERR_PARAMETER "Null buffer ptr"
 * - VIQ_ERR_PARAMETER "Null count ptr"
 * - VIQ_ERR_CORRUPT "No image data": the stream is empty
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_buffer_write(uint32_t hWvlt, uint8_t *pBuffer,
                                                uint32_t *pdwCount, uint16_t wMode);

/**
 * Reads a stream from a buffer. The stream is copied.
 *
 * @param hWvlt    the wavelet image, of the coding type of the stream
 * @param pBuffer  the stream
 * @param dwSize   its length in bytes
 * @par Errors
 * - VIQ_ERR_PARAMETER "Null buffer ptr"
 * - VIQ_ERR_PARAMETER "Buffer too small": shorter than the header and the settings
 * - VIQ_ERR_HANDLE "Not a WVLT image": also if the buffer holds no wavelet stream
 * - VIQ_ERR_UNSUPPORTED "File version mismatch"
 * - VIQ_ERR_CORRUPT "Corrupt WVLT stream"
 */
VIQ_API uint32_t VIQ_CALL VIQ_WVLT_buffer_read(uint32_t hWvlt, const uint8_t *pBuffer,
                                               uint32_t dwSize);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
