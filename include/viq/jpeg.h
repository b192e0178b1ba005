/**
 * @file
 * JPEG: the JPEG record and its tables, encoder, decoder, JFIF files and buffers, and sequences of
 * frames.
 */
#ifndef VIQ_JPEG_H
#define VIQ_JPEG_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_jpeg JPEG
 *
 * A JPEG image is an image with a JPEG record (Tjpeg), created by VIQ_JPEG_image_create. The record
 * holds the contents of the header segments and the coded data. Supported are baseline sequential
 * JPEG pictures (ITU-T T.81) of 8-bit samples with one scan and without restart intervals: grey,
 * colour sampled 4:2:2 (written and read) and colour sampled 4:2:0 (read, format VIQ_YUV411).
 * The conforming mode of VIQ_set_file_reading reads every baseline and extended sequential stream
 * of 8 bits, one scan and one or three components, with the same sampling factors or factors that
 * divide the largest ones (else VIQ_RGB24 as format of the JPEG image), with restart intervals, any
 * assignment of tables and any application segments. Without a JFIF header, three components are
 * red, green and blue if the Adobe header or the component names say so. The writers refuse such
 * data if their header cannot describe it.
 *
 * Compressing a picture to a file, and back:
 *
 *     VIQ_JPEG_set_Quality_factor(jpeg, 16);
 *     VIQ_image_set_outfilename(picture, "picture.jpg");
 *     VIQ_JPEG_compress(picture, jpeg);
 *     VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT);
 *
 *     VIQ_image_set_infilename(jpeg, "picture.jpg");
 *     VIQ_JPEG_file_read(jpeg);
 *     VIQ_image_set_parameter(picture, VIQ_IMAGE_TYPE, VIQ_RGB24);
 *     VIQ_JPEG_decompress(jpeg, picture, VIQ_STRIP_NEXT);
 *
 * Buffers. The library allocates the coded data of the record and enlarges it as required. A caller
 * can set a buffer with VIQ_PTR_JPEG_DATA and VIQ_FLAG_LOCKED: it stays in use and is never freed.
 * Without the flag the library owns the buffer from then on and frees it with free().
 * It must have the size that VIQ_JPEG_malloc_data would allocate or, for VIQ_JPEG_buffer_read, that
 * of the stream. If a locked buffer is larger, pass its size to VIQ_JPEG_malloc_N_bytes_data before
 * data is appended. VIQ_JPEG_PARAM is the number of bytes in use.
 *
 * Shared state. The code tables, the decode in progress and the states of the two writers and of
 * VIQ_JPEG_build_image exist once in a process. The code tables serve the encoder and the decoder:
 * VIQ_Init builds the standard ones, and each decompression builds those of its stream. The encoder
 * uses the present tables, but the header of a compressed picture always contains the standard
 * ones. After decompressing a stream of another program, restore the standard tables before
 * compressing, for grey and for colour:
 *
 *     VIQ_image_set_parameter(jpeg, VIQ_IMAGE_TYPE, VIQ_YUV422);
 *     VIQ_JPEG_set_default_H_tables(jpeg);
 *     VIQ_JPEG_generate_H_codetable_LUTs(jpeg);
 *
 * A function without a stated result returns 0 or an error code. Common to all functions is
 * VIQ_ERR_HANDLE "Not a JPEG image": the image has no JPEG record.
 * @{
 */

/** Parameters of VIQ_JPEG_get_parameter. */
enum {
    VIQ_JPEG_COMPONENTS = 600, /**< number of components, 1 or 3 */
    VIQ_JPEG_DATA_START = 601, /**< offset of the first coded byte */
    VIQ_JPEG_Q_TABLES = 602    /**< number of quantisation tables */
};

/** Mode of the JPEG writers that writes the separator between two frames of a sequence. */
enum { VIQ_JPEG_SEPARATOR = 5 };

/** Levels of VIQ_JPEG_set_optimisation. */
enum {
    VIQ_JPEG_OPTIMISE_NONE = 0,  /**< the standard Huffman tables */
    VIQ_JPEG_OPTIMISE_CODES = 1, /**< Huffman tables made for the picture */
    VIQ_JPEG_OPTIMISE_VALUES = 2 /**< the same, and trellis quantisation */
};

/** @name Record and tables
 * @{
 */

/**
 * Creates a JPEG image: quality factor 32, a comment of 32 blanks, all other fields 0. The caller
 * frees it with VIQ_image_destroy.
 *
 * @return the handle, or an error code, also of VIQ_image_create
 * @par Errors
 * - VIQ_ERR_MEMORY ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_image_create(void);

/**
 * Prepares a JPEG image for the compression of a picture: width, height and lines per strip of the
 * input, one frame, and the frame and scan fields of a grey (VIQ_Y8) or 4:2:2 (VIQ_YUV422) picture.
 * VIQ_JPEG_compress calls it.
 *
 * @param hInImage    the picture
 * @param hJpegImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_CORRUPT|detail "Corrupt image - probably an internal error": the code of
 *   VIQ_image_check
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_set_image(uint32_t hInImage, uint32_t hJpegImage);

/**
 * Sets the quality factor. A larger factor quantises more finely; 16 gives the standard tables.
 *
 * @param hImage   the JPEG image
 * @param wFactor  1 to 400
 * @par Errors
 * - VIQ_ERR_PARAMETER "Q factor of range"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_set_Quality_factor(uint32_t hImage, uint16_t wFactor);

/**
 * Sets the quality factor to 800 / wFactor, rounded down. A larger value quantises more coarsely;
 * 50 gives the standard tables.
 *
 * @param hImage   the JPEG image
 * @param wFactor  2 to 800
 * @par Errors
 * - VIQ_ERR_PARAMETER "Q factor of range"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_set_Quantization_factor(uint32_t hImage, uint16_t wFactor);

/**
 * Computes quantisation tables 0 (luminance) and 1 (chrominance) and their reciprocals: the tables
 * K.1 and K.2 of JPEG Annex K times 16 / quality factor, rounded, limited to 1..255.
 *
 * @param hImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_PARAMETER "Q factor of range": the quality factor of the record is 0
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_make_Q_tables(uint32_t hImage);

/**
 * Makes the compression of pictures spend time on smaller files. Every decoder decodes them.
 *
 * VIQ_JPEG_OPTIMISE_CODES makes Huffman tables for the picture. The decoded pixels do not change.
 * VIQ_JPEG_OPTIMISE_VALUES also chooses the quantised coefficients: they are rounded to the nearest
 * value, and those that take more bits than they are worth become smaller or 0 (trellis
 * quantisation). The quantisation tables are still those of the quality factor; at the same factor
 * the decoded picture differs less from the original and the file is of similar size.
 *
 * Both levels hold the symbols of a picture until its last strip, in two to three times as many
 * bytes as the coded data has. VIQ_JPEG_compress_strip then delivers all data with the last strip;
 * until then the JPEG image has 0 lines per strip and no data, for which the writers and
 * VIQ_JPEG_build_image do nothing. The shared code tables are neither used nor changed. The tables
 * of the record are those of the picture.
 *
 * @param hImage  the JPEG image
 * @param wLevel  VIQ_JPEG_OPTIMISE_NONE, as in a new image, VIQ_JPEG_OPTIMISE_CODES or
 *     VIQ_JPEG_OPTIMISE_VALUES. It takes effect with the next picture; VIQ_JPEG_copy_parameters
 *     copies it.
 * @par Errors
 * - VIQ_ERR_PARAMETER "Optimisation level out of range"
 * - VIQ_ERR_MEMORY|size ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_set_optimisation(uint32_t hImage, uint16_t wLevel);

/** Returns the level that VIQ_JPEG_set_optimisation has set. */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_get_optimisation(uint32_t hImage);

/** Sets the four Huffman tables to the tables K.3 to K.6 of JPEG Annex K. */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_set_default_H_tables(uint32_t hImage);

/**
 * Builds the code tables of the process from the Huffman tables of the record: those of number 0,
 * and for a colour image also those of number 1. Codes of 1 bit are ignored.
 *
 * @param hImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_CORRUPT "Corrupt Huffman table": more than 256 symbols, or more codes of a length than
 *   exist
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_generate_H_codetable_LUTs(uint32_t hImage);

/**
 * Builds the decoding tables of the process from the code tables that
 * VIQ_JPEG_generate_H_codetable_LUTs has built for the same image. DC codes are looked up by 9
 * bits, those of table 1 by 11 bits; longer DC codes are invalid.
 *
 * @param hImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_MEMORY ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_generate_Huffman_decode_tables(uint32_t hImage);

/**
 * Returns a field of the record.
 *
 * @param hImage  the JPEG image
 * @param wId     VIQ_JPEG_COMPONENTS, VIQ_JPEG_DATA_START or VIQ_JPEG_Q_TABLES
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_get_parameter(uint32_t hImage, uint16_t wId);

/**
 * Copies the record, the data length included, except the file and the data pointers. Error:
 * VIQ_ERR_HANDLE "" also for an image without a record.
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_copy_parameters(uint32_t hFrom, uint32_t hTo);

/**
 * Allocates the buffer of the coded data. Its size is the length of the open file, made even, or
 * without a file bytes per line x lines per strip + 10000; a size below 4096 becomes 4200. A locked
 * buffer of the caller is kept.
 *
 * @param hImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_MEMORY|size ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_malloc_data(uint32_t hImage);

/**
 * Allocates dwBytes bytes for the coded data. The image is not checked. A locked buffer of the
 * caller is kept, and dwBytes is its size from now on.
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_malloc_N_bytes_data(uint32_t hImage, uint32_t dwBytes);

/** Frees the coded data and sets its length to 0; nothing happens if VIQ_FLAG_LOCKED is set. */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_free_data(uint32_t hImage);

/**
 * Frees the record with its data and closes its file, as VIQ_image_destroy does. An image without a
 * record is not an error.
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_destroy_Tjpeg(uint32_t hImage);

/** @} */

/** @name Compression
 * @{
 */

/**
 * Compresses a whole picture with the quality factor of the JPEG image and the code tables of the
 * process, which must be the standard ones (see above). Accepted are VIQ_Y8, VIQ_YUV422, VIQ_RGB24,
 * VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32 and VIQ_XBGR32. The JPEG image receives the parameters of the
 * input, its file names included, and the coded data; no file is written. A size that is not a
 * multiple of the minimum coded unit (grey 8 x 8, colour 16 x 8) is padded by repetition of the
 * last pixels; width and height of the JPEG image are those of the picture.
 *
 * @param hInImage    the picture, held as one strip
 * @param hJpegImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|lines "This function only supports a complete image": the lines per strip
 *   are not the height
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Unsupported image type": VIQ_YUV422 of a size that is not a multiple of 16
 *   x 8, reported as "VIQ_pad_to_MCU_1_strip"
 * - VIQ_ERR_UNSUPPORTED "Unsupported image type/pixel format": the JPEG image is neither VIQ_Y8 nor
 *   VIQ_YUV422
 * - VIQ_ERR_UNSUPPORTED "Image too large for JPEG": width or height above 65535
 * - VIQ_ERR_CORRUPT "Image has no size"
 * - VIQ_ERR_STATE "Huffman codes lack symbols": the code tables are those of a decompressed stream
 *   that does not use all symbols; reported as "VIQ_JPEG_compress_1_strip"
 * - VIQ_ERR_MEMORY|size "": also if a locked buffer is too small
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_compress(uint32_t hInImage, uint32_t hJpegImage);

/**
 * Compresses the next strip of a picture. The JPEG image receives the coded data of the strip alone
 * and the lines of the strip as its lines per strip, ready for VIQ_JPEG_file_write; the parts
 * together are the data that VIQ_JPEG_compress produces for the whole picture. The caller must
 * write or copy each part before the next call. The first strip sets the JPEG image up; changes of
 * its quality factor take effect with the next picture.
 *
 *     VIQ_image_set_infilename(strip, "photo.bmp");
 *     VIQ_image_set_outfilename(strip, "copy.jpg");
 *     while (done < VIQ_get_height(strip)) {
 *         VIQ_image_read(strip, 0, VIQ_STRIP_NEXT);
 *         VIQ_JPEG_compress_strip(strip, jpeg, VIQ_STRIP_NEXT);
 *         VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT);
 *         done += VIQ_get_lines_this_strip(strip);
 *     }
 *
 * @param hInImage    the strip; its lines per strip are a multiple of 8 except in the last strip. 0
 *     lines per strip do nothing.
 * @param hJpegImage  the JPEG image, the same for all strips of a picture
 * @param wMode       VIQ_STRIP_NEXT, or VIQ_STRIP_FINISH to abandon the picture
 * @par Errors
 * Those of VIQ_JPEG_compress except the first one, and:
 * - VIQ_ERR_UNSUPPORTED|lines "Strips must have a multiple of 8 lines"
 * - VIQ_ERR_STATE "Sequence under way with another image": the JPEG image, or the format or size of
 *   the input, is not that of the first strip
 *
 * An error ends the picture.
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_compress_strip(uint32_t hInImage, uint32_t hJpegImage,
                                                  uint16_t wMode);

/**
 * Reads a picture, compresses it and delivers it. The picture must come as one strip. Other modes
 * do nothing. Returns the first error of the functions called.
 *
 * @param hInImage   wInMode 1: a memory image. 2: an image that names a file, which is read
 *     into it.
 * @param hOutImage  wOutMode 1: receives the coded data (VIQ_JPEG_build_image). 2: is written to
 *     its output file (VIQ_JPEG_file_write), whose name is the output file name of the input.
 * @param wInMode    1 or 2
 * @param wOutMode   1 or 2
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_compress_image_to_image(uint32_t hInImage, uint32_t hOutImage,
                                                           uint16_t wInMode, uint16_t wOutMode);

/**
 * Pads a picture to a multiple of 8 lines and of 8 (VIQ_Y8) or 16 columns (other formats), by
 * repetition of the last pixel of each line and of the last line. Formats are those of
 * VIQ_JPEG_compress except VIQ_YUV422.
 *
 * @param hInImage      the picture, held as one strip
 * @param hPaddedImage  receives the padded picture
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image type"
 * - VIQ_ERR_UNSUPPORTED|lines "This function only supports a complete image": the lines per strip
 *   are fewer than the height
 * - VIQ_ERR_CORRUPT "Image has no size"
 * - VIQ_ERR_CORRUPT|detail "hPaddedImage is corrupt": the code of VIQ_image_check
 */
VIQ_API uint32_t VIQ_CALL VIQ_pad_to_MCU_1_strip(uint32_t hInImage, uint32_t hPaddedImage);

/** @} */

/** @name Decompression
 * @{
 */

/**
 * Decompresses the next strip. Its height is the lines per strip of the JPEG image, rounded up to a
 * multiple of 8. Grey gives VIQ_Y8. Colour gives VIQ_YUV422 if the output has that format,
 * otherwise VIQ_RGB24.
 *
 * The picture has the size of its coded blocks: width rounded up to a multiple of 16 (grey: 8),
 * height to a multiple of 8; crop it if required. While a decode is in progress the JPEG image has
 * this size too, and its own size again afterwards. The data is padded with 1 bits. A marker FF D9
 * inside the data is read as data and reported under the name "refill_buffer", with VIQ_ERR_STATE
 * "Unexpected EOI - processing byte 1" or VIQ_ERR_STATE|1 "Unexpected EOI - processing byte 2". An
 * error in the first strip ends the decode.
 *
 * If the stream was read in the conforming mode, strips can have any height and the picture has its
 * own size (VIQ_YUV422: the width rounded up to an even number); samples are rounded to the nearest
 * value, where the original mode rounds down; chroma samples are repeated for the pixels that share
 * them, and averaged over two pixels if VIQ_YUV422 has fewer; the shared code tables do not change;
 * every error ends the decode. If VIQ_JPEG_file_open has opened the file and the image has no data,
 * the coded data is read from the file as it is needed; no more than a part of it is in memory. In
 * the original mode all blocks of the picture are decoded with the first strip, so that strips take
 * more memory than the whole picture.
 *
 * @param hJpegImage  the JPEG image; 0 lines per strip do nothing
 * @param hOutImage   receives the strip
 * @param wMode       VIQ_STRIP_NEXT, or VIQ_STRIP_FINISH to abandon the decode
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Image too large for JPEG": width or height above 65535
 * - VIQ_ERR_CORRUPT "Image has no size"
 * - VIQ_ERR_CORRUPT "Image too large for its data": more than 32 blocks a byte, which is 8 times
 *   the possible number
 * - VIQ_ERR_CORRUPT "Corrupt Huffman table"
 * - VIQ_ERR_STATE "Sequence under way with another image"
 * - VIQ_ERR_STATE "B: corrupt DC Huffman sequence", "B: corrupt AC Huffman sequence", "B: corrupt
 *   AC Huffman sequence (> 63 coeffs read)": reported as "VIQ_Huffman_decode_1_strip". B is the
 *   block, Y1 (also grey), Y2, Y3, Y4, U or V.
 * - VIQ_ERR_STATE "Buffer failed to fill at start": reported as "VIQ_Huffman_decode_1_strip"
 * - VIQ_ERR_STATE "invalid DC category": reported as "read_dc_value"
 * - VIQ_ERR_UNSUPPORTED "For YUV 4:1:1 JPEG decoding, strip must be multiple of 16 lines": reported
 *   as "VIQ_JPEG_izz_1_strip", unless the strip is the last one
 * - In the conforming mode: VIQ_ERR_CORRUPT "JPEG data ends early", "JPEG restart marker out of
 *   order", "Image too large for its data" (more than 4 blocks a byte); VIQ_ERR_STATE "JPEG data
 *   changed during the decode"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_decompress(uint32_t hJpegImage, uint32_t hOutImage,
                                              uint16_t wMode);

/**
 * Decompresses a whole JPEG image strip by strip and delivers the picture, as VIQ_YUV422 if the
 * output has that format, otherwise as VIQ_RGB24 (grey: VIQ_Y8). Returns the first error of the
 * functions called.
 *
 * @param hJpegImage  the JPEG image
 * @param hOutImage   the output
 * @param wInMode     2 reads the input file first, unless a file is open, and uses strips of 8
 *     lines; other values use the data that is present
 * @param wOutMode    1: the output becomes a memory image. Other values are a file format
 *     (VIQ_FILE_...) in which the strips are written to the output file of the JPEG image.
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_decompress_image_to_image(uint32_t hJpegImage,
                                                             uint32_t hOutImage, uint16_t wInMode,
                                                             uint16_t wOutMode);

/** @} */

/** @name Files and buffers
 * @{
 */

/**
 * Writes a JPEG image to its output file. The first call creates the file and writes the JFIF
 * header. VIQ_STRIP_NEXT appends the coded data and counts the lines per strip; when they reach the
 * height, the end marker is written and the file is closed. VIQ_STRIP_FINISH writes the end marker
 * and closes the file, also without a valid image; it does nothing if no file is open.
 * VIQ_JPEG_SEPARATOR writes the separator between two frames.
 *
 * The parts of a stream may come from several images. While lines are missing, destroying the image
 * of the last part closes the file without an end marker; the next call starts a new file. Parts of
 * 0 lines per strip do not tie the file to their image.
 *
 * @param hJpegImage  the JPEG image
 * @param wMode       VIQ_STRIP_NEXT, VIQ_STRIP_FINISH or VIQ_JPEG_SEPARATOR
 * @par Errors
 * - VIQ_ERR_CORRUPT "Corrupt image": neither 1 nor 3 components, or more than 4 quantisation tables
 * - VIQ_ERR_UNSUPPORTED "JPEG data with restart intervals or unusual tables cannot be written":
 * data of the conforming mode that needs another header; also for red, green and blue components
 * - VIQ_ERR_UNSUPPORTED "Image too large for JPEG": width or height above 65535
 * - VIQ_ERR_MEMORY ""
 * - VIQ_ERR_OPEN "Failed to create file"
 * - VIQ_ERR_SYSTEM "Failed to write to file"
 * - VIQ_ERR_CLOSE "Failed to close file"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_file_write(uint32_t hJpegImage, uint16_t wMode);

/**
 * Writes a JPEG image to memory, as VIQ_JPEG_file_write does to a file, with the errors of that
 * function except those of files. The comment in the header is another one.
 *
 * @param hJpegImage  the JPEG image
 * @param pBuffer     where to write; the first call starts with the header, each later call writes
 *     at the address given. The buffer must be large enough: header and end marker take less than
 *     1500 bytes.
 * @param pdwLength   the first call sets it to the bytes written, later calls add to it
 * @param wMode       VIQ_STRIP_NEXT, VIQ_STRIP_FINISH or VIQ_JPEG_SEPARATOR
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_buffer_write(uint32_t hJpegImage, uint8_t *pBuffer,
                                                uint32_t *pdwLength, uint16_t wMode);

/**
 * Opens the input file and reads its header up to the coded data. The file stays open in the
 * record, and the image has no data. Close it with VIQ_JPEG_file_close. The end of the file between
 * two segments is not an error. After an error the file is closed.
 *
 * @param hJpegImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_OPEN "The VIQ image handle refers to a non-JPEG image"
 * - VIQ_ERR_OPEN "Failed to open JPEG file"
 * - VIQ_ERR_CORRUPT "Expecting PREFIX marker"
 * - VIQ_ERR_CORRUPT "Expecting SOI marker"
 * - VIQ_ERR_CORRUPT|byte "Expecting 0xFF marker code"
 * - VIQ_ERR_CORRUPT|marker "Unrecognised marker detected"
 * - VIQ_ERR_CORRUPT "Unexpected end of file": inside a segment
 * - VIQ_ERR_CORRUPT "Corrupt segment": lengths and counts do not match
 * - VIQ_ERR_CORRUPT "Corrupt Huffman table"
 * - VIQ_ERR_CORRUPT "Quantisation table number above 3"
 * - VIQ_ERR_CORRUPT "Image has no size"
 * - VIQ_ERR_CORRUPT "Scan before frame"
 * - VIQ_ERR_CORRUPT "More than one frame"
 * - VIQ_ERR_UNSUPPORTED "16 bit integer precision not supported"
 * - VIQ_ERR_UNSUPPORTED "Only 8 bit samples are supported"
 * - VIQ_ERR_UNSUPPORTED "Unsupported image depth"
 * - VIQ_ERR_UNSUPPORTED "Unknown colour image format"
 * - VIQ_ERR_UNSUPPORTED "Define Restart Interval not supported"
 * - In the conforming mode: VIQ_ERR_UNSUPPORTED "Progressive JPEG is not supported", "Lossless JPEG
 * is not supported", "Hierarchical JPEG is not supported", "Arithmetic-coded JPEG is not
 * supported", "JPEG with the number of lines after the scan is not supported", "JPEG of four
 * components (CMYK) is not supported", "JPEG sampling factors are not supported", "JPEG of several
 * scans is not supported"; VIQ_ERR_CORRUPT "JPEG table is missing", "Scan of unknown components"
 * - VIQ_ERR_UNSUPPORTED "Only one scan of all components is supported"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_file_open(uint32_t hJpegImage);

/**
 * Reads the input file with the coded data and up to 32 bytes of its comment. VIQ_PARAM_18 becomes
 * the number of frames. Errors: those of VIQ_JPEG_file_open; VIQ_ERR_MEMORY|size "".
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_file_read(uint32_t hJpegImage);

/** Closes the file of the record, if it has one. Error: VIQ_ERR_CLOSE "Failed to close file". */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_file_close(uint32_t hJpegImage);

/**
 * Reads a JPEG stream from memory, as VIQ_JPEG_file_read does from a file. Errors are those of
 * VIQ_JPEG_file_open with these differences:
 *
 * @param hJpegImage  the JPEG image, which receives a copy of the coded data
 * @param pBuffer     the stream
 * @param dwLength    its length in bytes
 * @par Errors
 * - VIQ_ERR_OPEN "Not JPEG stream/data": no buffer or no bytes
 * - VIQ_ERR_UNSUPPORTED|marker "Unrecognised marker detected"
 * - VIQ_ERR_CORRUPT "Unexpected end of JPEG stream"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_buffer_read(uint32_t hJpegImage, const uint8_t *pBuffer,
                                               uint32_t dwLength);

/** Returns the file of the record, or NULL without a report. */
VIQ_API FILE *VIQ_CALL VIQ_JPEG_get_file_ptr(uint32_t hJpegImage);

/**
 * Sets the file of the record. The caller closes it, or VIQ_JPEG_file_close does; no other function
 * closes a file of the caller.
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_set_file_ptr(uint32_t hJpegImage, FILE *f);

/** @} */

/** @name Strips and sequences
 * A sequence is one header followed by the coded data of several frames, separated by FF D0.
 * VIQ_PARAM_18 is the number of frames, VIQ_PARAM_19 the current frame, 1 for the first one.
 * @{
 */

/**
 * Joins the coded data of several JPEG images without changing a byte. The first call copies the
 * parameters of the frame to the output. VIQ_STRIP_NEXT appends the data of the frame and adds its
 * lines per strip. When the sum reaches the height, or with VIQ_STRIP_FINISH, the buffer of the
 * output is reduced to its data. Frames of 0 lines are ignored.
 *
 * The function serves to copy a JPEG image, and to join one scan that was delivered in parts.
 * Strips that were compressed separately do not form a scan: VIQ_JPEG_compress starts each of them
 * with DC predictors of 0 and pads its end to a byte, and the stream has no restart interval.
 * Decoders report the joined strips as corrupt. See VIQ_image_read for a file that is read in
 * strips.
 *
 * @param hJpegFrame  the part
 * @param hJpegOut    the output
 * @param wMode       VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_HANDLE "Input image does not exist"
 * - VIQ_ERR_HANDLE "Output image does not exist"
 * - VIQ_ERR_MEMORY|size "": also if a locked buffer is too small
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_build_image(uint32_t hJpegFrame, uint32_t hJpegOut,
                                               uint16_t wMode);

/**
 * Appends a frame to a sequence, after a separator if the sequence holds data, and counts it. A
 * buffer of the library is enlarged as required. All frames must have the size and the quantisation
 * tables of the sequence.
 *
 * A frame with Huffman tables of its own (VIQ_JPEG_set_optimisation) is recoded without loss if the
 * sequence has others. They must contain the symbols of all frames, as the tables of
 * VIQ_JPEG_set_default_H_tables do.
 *
 * @param hJpegFrame     the frame; 0 reduces the buffer of the sequence to its data
 * @param hJpegSequence  the sequence
 * @par Errors
 * - VIQ_ERR_HANDLE "Output image does not exist"
 * - VIQ_ERR_MEMORY|size "": also if a locked buffer is too small
 * - VIQ_ERR_CORRUPT "Corrupt image": the data length exceeds the buffer, or the data to recode is
 *   damaged
 * - VIQ_ERR_STATE "Huffman codes lack symbols": the frame has symbols that the tables of the
 *   sequence do not contain
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_sequence_build(uint32_t hJpegFrame, uint32_t hJpegSequence);

/**
 * Counts the frames of the file that VIQ_JPEG_file_open has opened and stores their number.
 *
 * @param hJpegImage  the JPEG image
 * @par Errors
 * - VIQ_ERR_HANDLE "JPEG file not opened"
 * - VIQ_ERR_SYSTEM "Failed to read from file"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_sequence_calc_length(uint32_t hJpegImage);

/**
 * Moves the position in the data, and that of the open file, to the start of a frame.
 *
 * @param hJpegImage  the sequence
 * @param dwFrame     1 for the first frame
 * @par Errors
 * - VIQ_ERR_PARAMETER "starting frame > number of frames"
 * - VIQ_ERR_PARAMETER "starting frame is 0"
 * - VIQ_ERR_CORRUPT "Frame separator not found"
 * - VIQ_ERR_SYSTEM "Failed to read from file"
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_sequence_set_start_frame(uint32_t hJpegImage, uint32_t dwFrame);

/**
 * Copies one frame of a sequence in memory into another JPEG image. Every frame except the last one
 * keeps the two bytes of the separator that follows it. Errors are reported as
 * "VIQ_sequence_JPEG_extract_frame" and are also those of VIQ_JPEG_sequence_set_start_frame.
 *
 * @param hJpegSequence  the sequence
 * @param hJpegFrame     receives the frame
 * @param dwFrame        1 for the first frame
 * @par Errors
 * - VIQ_ERR_PARAMETER "frame number > number of frames"
 * - VIQ_ERR_MEMORY|size ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_JPEG_sequence_extract_frame(uint32_t hJpegSequence,
                                                          uint32_t hJpegFrame, uint32_t dwFrame);

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
