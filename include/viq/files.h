/**
 * @file
 * Image files: detection, generic reading and writing, one reader and writer per format, and the
 * byte-order helpers. JPEG files are declared in jpeg.h, wavelet files in wavelet.h, memory images
 * in image.h.
 */
#ifndef VIQ_FILES_H
#define VIQ_FILES_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_files Image files
 *
 * Readers open the file named by the input file name of the image, writers create the file named by
 * its output file name. Each format can have one file open for reading and one for writing at a
 * time. The mode VIQ_STRIP_NEXT processes the next strip; VIQ_STRIP_FINISH closes the file, as does
 * the last strip of the picture. If the lines per strip are 0, a reader only reads the header and
 * sets the parameters of the image, and a writer does nothing. Other modes read the header or start
 * the file without transferring lines.
 *
 * A function without a stated result returns 0 or an error code. Errors while a strip is
 * transferred are reported under the function name followed by "_1_strip". A failure closes the
 * file unless stated otherwise, so that the next call starts from the header. Common to all formats
 * are:
 * - VIQ_ERR_SYSTEM "Failed to write to file".
 * - VIQ_ERR_CLOSE "Failed to close file": also if not all data reached the file.
 * - VIQ_ERR_CORRUPT "Image changed during transfer": format, width, height or stride is not that of
 *   the first strip.
 * - The code of VIQ_image_check with "VIQ_image_check failed" (readers) or "Corrupt image"
 *   (writers).
 * - Readers: VIQ_ERR_OPEN "Failed to open file". VIQ_ERR_CORRUPT "Corrupt image": a width or height
 *   of 0, or a file that is too short for its header, its lists or its pixels.
 * - Writers: VIQ_ERR_OPEN "Failed to create file".
 * @{
 */

/** @name How files are read
 * @{
 */

/** Modes of VIQ_set_file_reading. */
enum {
    VIQ_READING_ORIGINAL = 0,  /**< fixed layouts, as files of this library have them */
    VIQ_READING_CONFORMING = 1 /**< as the header of each file describes its picture */
};

/** Values that VIQ_image_get_file_info returns. */
enum {
    VIQ_FILE_INFO_ORIENTATION = 1,    /**< 1 to 8, as the TIFF field Orientation */
    VIQ_FILE_INFO_SAMPLE_BITS = 2,    /**< bits of a sample or of a palette index in the file */
    VIQ_FILE_INFO_DROPPED_SAMPLES = 3 /**< samples of a pixel that were not delivered */
};

/**
 * Sets how the readers of BMP, TIFF, TGA and JPEG files and VIQ_image_find_file_format interpret a
 * file. In the original mode, which is in force at first, they expect the layouts that this library
 * writes: the quirks are listed at each reader, and a file of another program can give wrong pixels
 * without an error. New programs should use the conforming mode: the picture is delivered as the
 * format's own rules define it, or refused with a message that names the feature.
 *
 * Pixels in the conforming mode; every strip height gives the same pixels:
 *
 * | In the file                                                 | Image                          |
 * |-------------------------------------------------------------|--------------------------------|
 * | BMP, 1, 2, 4 or 8 bits, also RLE4 and RLE8                  | VIQ_PALETTED                   |
 * | BMP, 16, 24 or 32 bits, also with colour masks              | VIQ_RGB24                      |
 * | TIFF, grey of 1 bit                                         | VIQ_Y1, 1 is white             |
 * | TIFF, grey of 2 to 8 bits                                   | VIQ_Y8, scaled to 0 to 255     |
 * | TIFF, grey of 9 to 16 bits                                  | VIQ_Y16 with that data width   |
 * | TIFF, palette of 1 to 8 bits                                | VIQ_PALETTED                   |
 * | TIFF, RGB of 1 to 16 bits a sample                          | VIQ_RGB24, scaled to 0 to 255  |
 * | TIFF, CMYK of 1 to 16 bits a sample                         | VIQ_CMYK32, scaled to 0 to 255 |
 * | TGA, colour-mapped, 8 bits                                  | VIQ_PALETTED                   |
 * | TGA, grey of 8 bits, or of 16 with alpha                    | VIQ_Y8                         |
 * | TGA, true colour of 15, 16, 24 or 32 bits                   | VIQ_RGB24                      |
 * | JPEG, grey, decompressed                                    | VIQ_Y8                         |
 * | JPEG, three components, decompressed                        | VIQ_RGB24 or VIQ_YUV422        |
 *
 * A component with n bits is scaled to v x 255 / (2^n - 1), rounded to the nearest value.
 * VIQ_PALETTED has 256 colours, of which those that the file does not have are black. BMP and TGA
 * pictures are delivered with the top line first and the left pixel first, regardless of the order
 * in the file. TIFF pictures are delivered as stored; VIQ_image_get_file_info returns the
 * orientation. Alpha and other samples beyond the colour are dropped.
 *
 * The mode that is set while a header is read applies to the file until its end. JPEG data is
 * decompressed in the mode in which its header was read.
 *
 * Every context has its own mode; a new context starts with VIQ_READING_ORIGINAL.
 *
 * @param dwMode  VIQ_READING_ORIGINAL or VIQ_READING_CONFORMING
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown reading mode": the mode does not change
 */
VIQ_API uint32_t VIQ_CALL VIQ_set_file_reading(uint32_t dwMode);

/** Returns the mode that VIQ_set_file_reading has set. */
VIQ_API uint32_t VIQ_CALL VIQ_get_file_reading(void);

/**
 * Returns what the header of a file says that the pixels do not show. The values are set when a
 * reader reads a header into the image in the conforming mode; before, and in the original mode,
 * all values are 0. They are not copied with the parameters of the image.
 *
 * - VIQ_FILE_INFO_ORIENTATION: 1 if the first line is the top and the first pixel the left one, as
 *   in BMP and TGA pictures; 2 mirrored, 3 rotated by 180 degrees, 4 upside down, 5 to 8 the same
 *   with lines and columns exchanged, as defined for TIFF. 0: not known, as in JPEG files.
 * - VIQ_FILE_INFO_SAMPLE_BITS: bits of a sample, of the largest colour field or of a palette index.
 *   If it is above 8 and the image is VIQ_RGB24 or VIQ_CMYK32, the samples have been reduced.
 * - VIQ_FILE_INFO_DROPPED_SAMPLES: number of samples of a pixel that were dropped, such as alpha.
 *
 * @param hImage  the image; for JPEG files the JPEG image
 * @param wId     VIQ_FILE_INFO_...
 * @return the value, or an error code
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_get_file_info(uint32_t hImage, uint16_t wId);

/** @} */

/** @name Detection, generic reading and writing
 * @{
 */

/**
 * Returns the format of a file. It is determined by the contents of the file, not by its name.
 *
 * @param pszFileName  name of the file
 * In the conforming mode, TIFF files are recognised by their first four bytes, also BigTIFF, the
 * reserved words of BMP files may have any value, and TGA files must have valid colourmap fields.
 *
 * @return VIQ_FILE_TIFF, VIQ_FILE_TGA, VIQ_FILE_JPEG, VIQ_FILE_WAVELET, VIQ_FILE_EPS or
 *     VIQ_FILE_BMP, tested in this order; 0 for any other contents; or an error code
 * @par Errors
 * - VIQ_ERR_OPEN "Failed to open file": also for a directory
 * - VIQ_ERR_CLOSE "Failed to close file"
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_find_file_format(const char *pszFileName);

/**
 * Reads the next strip of the file named by the input file name, in the format that
 * VIQ_image_find_file_format returns, or of a memory image. If the height of the image is
 * VIQ_HEIGHT_UNKNOWN, as in a new image, the whole picture is read as one strip. Otherwise the
 * reader fills the lines per strip of the image; if they are 0, it only reads the header.
 *
 * The image receives pixels from most formats; for the conforming mode see VIQ_set_file_reading:
 * - memory image: the format of the memory image
 * - TIFF: VIQ_Y1, VIQ_Y8, VIQ_Y16, VIQ_PALETTED or VIQ_RGB24
 * - TGA: VIQ_Y8 or VIQ_RGB24
 * - EPS: VIQ_Y1, VIQ_Y8, VIQ_PALETTED or VIQ_RGB24
 * - BMP: VIQ_PALETTED or VIQ_RGB24
 *
 * A JPEG file requires an image from VIQ_JPEG_image_create, and reading it delivers no pixels. The
 * image receives the coded data of the whole file in one call, as by VIQ_JPEG_file_read;
 * VIQ_JPEG_decompress converts it to pixels. If the lines per strip are 0, only the header is read.
 * In the same way a wavelet file requires an image from VIQ_WVLT_image_create, of the coding type
 * with which the file was written. The image receives the stream, as by VIQ_WVLT_file_read;
 * VIQ_WVLT_decompress converts it to pixels.
 *
 * Compressing a file that is read in strips: the strips are collected in a memory image, which
 * holds the whole picture, because a JPEG scan is compressed in one call.
 *
 *     VIQ_image_set_infilename(strip, "big.tif");
 *     VIQ_image_set_parameter(strip, VIQ_HEIGHT, 0);
 *     VIQ_image_set_parameter(strip, VIQ_LINES_PER_STRIP, 0); // no lines: read only the header
 *     VIQ_image_read(strip, 0, VIQ_STRIP_NEXT);
 *     VIQ_image_set_parameter(strip, VIQ_LINES_PER_STRIP, 64);
 *     for (done = 0; done < VIQ_get_height(strip); done += VIQ_get_lines_this_strip(strip)) {
 *         VIQ_image_read(strip, 0, VIQ_STRIP_NEXT);
 *         VIQ_image_write(strip, whole, VIQ_FILE_MEMORY, VIQ_STRIP_NEXT);
 *     }
 *     VIQ_image_set_outfilename(whole, "big.jpg");
 *     VIQ_JPEG_compress(whole, jpeg);
 *     VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT);
 *
 * @param hImage   the image
 * @param hMemory  0 to read the file, otherwise the memory image to read
 * @param wMode    VIQ_STRIP_NEXT; VIQ_STRIP_FINISH ends the reading at any point
 * @par Errors
 * - VIQ_ERR_OPEN "Failed to recognise file format": the code of VIQ_image_find_file_format, which
 *   has reported the cause
 * - VIQ_ERR_OPEN "The VIQ image handle refers to a non-JPEG image": a JPEG file and an image
 *   without JPEG record
 * - VIQ_ERR_HANDLE "Not a WVLT image": a wavelet file and another image
 * - VIQ_ERR_UNSUPPORTED "Unsupported/unrecognized image format": the file has none of the formats;
 *   also for VIQ_STRIP_FINISH of a wavelet file
 * - VIQ_ERR_STATE, not reported: any other mode
 * - Also the errors of the reader. Every error ends the reading.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_read(uint32_t hImage, uint32_t hMemory, uint16_t wMode);

/**
 * Writes the current strip to the file named by the output file name, or to a memory image. Each
 * file format accepts certain pixel formats; convert other images first:
 * - VIQ_FILE_MEMORY: every format
 * - VIQ_FILE_TIFF: VIQ_Y1, VIQ_Y8, VIQ_Y16, VIQ_RGB24, VIQ_CMYK32, VIQ_PALETTED with 256 colours
 * - VIQ_FILE_TGA, also 6 and 7: VIQ_Y8, VIQ_RGB15, VIQ_RGB24
 * - VIQ_FILE_EPS: VIQ_Y1, VIQ_Y8, VIQ_PALETTED, VIQ_RGB24
 * - VIQ_FILE_BMP: VIQ_Y8, VIQ_PALETTED, VIQ_RGB24
 * - VIQ_FILE_RAW: VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_RGB24,
 *   VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32, VIQ_YUV422, VIQ_HSI,
 *   VIQ_JPEG_WORK100
 * - VIQ_FILE_JPEG: a JPEG image that holds coded data. VIQ_JPEG_compress makes it from VIQ_Y8,
 *   VIQ_YUV422, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32 or VIQ_XBGR32.
 * - VIQ_FILE_WAVELET: a wavelet image that holds a stream. VIQ_WVLT_compress makes it from VIQ_Y8
 *   or VIQ_YUV422.
 *
 * @param hImage   the image
 * @param hMemory  the memory image for VIQ_FILE_MEMORY; otherwise ignored
 * @param wFormat  VIQ_FILE_...
 * @param wMode    mode of the writer
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported/unrecognized image format": an unknown file format
 * - Also the errors of the writer.
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_write(uint32_t hImage, uint32_t hMemory, uint16_t wFormat,
                                          uint16_t wMode);

/**
 * Writes pixels without a header. VIQ_RGB15, VIQ_RGB16 and VIQ_Y16 are written as 16-bit values,
 * least significant byte first; width x lines values are taken from the start of the strip, and
 * padding is not skipped. The other formats (see VIQ_image_write) are written line by line,
 * padding included. Errors are reported under the name "VIQ_write_raw_data".
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image format"
 */
VIQ_API uint32_t VIQ_CALL VIQ_write_raw_data_file(uint32_t hImage, uint16_t wMode);

/** @} */

/** @name Windows bitmap (BMP)
 * @{
 */

/**
 * In the original mode, reads an uncompressed bottom-up bitmap: 8 bits as VIQ_PALETTED with a
 * palette of 256 entries, 24 bits as VIQ_RGB24. Pixels are expected directly after the header and
 * the palette; the fields for the offset of the pixels, the number of colours and the header size
 * are not evaluated.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unsupported image depth"
 * - VIQ_ERR_UNSUPPORTED "Compressed images not supported"
 * - VIQ_ERR_UNSUPPORTED "Unrecognized compression type"
 * - VIQ_ERR_STATE "Colourmap is NULL"
 * - VIQ_ERR_INTERNAL "fseek failed": while a strip is read, the file stays open
 *
 * In the conforming mode, reads headers of 12, 40, 52, 56, 64, 108 and 124 bytes; pixels at the
 * data offset, bottom-up or top-down, of 1, 2, 4, 8, 16, 24 and 32 bits; colour masks with or
 * without alpha; palettes of fewer colours; RLE8 and RLE4. Pixels that run-length data skips have
 * index 0.
 * @par Errors of the conforming mode
 * - VIQ_ERR_CORRUPT "Corrupt image": also for run-length data of more than 65536 pixels with more
 *   than 256 pixels a byte, and for a depth that does not match the compression
 * - VIQ_ERR_CORRUPT "Corrupt run-length data": also while a strip is read
 * - VIQ_ERR_UNSUPPORTED "BMP header size is not supported", "Unsupported image depth", "BMP colour
 *   masks are not supported" (masks with gaps, that overlap, or outside the pixel), "BMP run-length
 *   data from the top is not supported", "BMP compression X is not supported" (X is JPEG, PNG,
 * CMYK, CMYK RLE8 or CMYK RLE4), "BMP compression of OS/2 is not supported", "Unrecognized
 * compression type"
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_read_BMP_file(uint32_t hImage, uint16_t wMode);

/**
 * Writes an uncompressed bottom-up bitmap: VIQ_RGB24 with 24 bits, VIQ_PALETTED with 8 bits and its
 * colourmap, VIQ_Y8 with 8 bits and a grey ramp, which also becomes the colourmap of the image.
 * The pixels of the strip are not changed. The file has its full size from the first strip on;
 * lines that are not written are 0. VIQ_STRIP_FINISH writes the current strip before it closes the
 * file.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Image too large for a BMP file": 4 GiB or more
 * - VIQ_ERR_STATE "Colourmap is NULL"
 * - VIQ_ERR_INTERNAL "fseek failed": the file stays open
 * - VIQ_ERR_MEMORY|size "Attempting to malloc:"
 */
VIQ_API uint32_t VIQ_CALL VIQ_write_BMP_file(uint32_t hImage, uint16_t wMode);

/**
 * Writes the contents of a file of VIQ_write_BMP_file to a buffer. The picture must be held as one
 * strip. Errors are also those of VIQ_write_BMP_file.
 *
 * @param hImage   the image
 * @param pBuffer  receives the file: height x (bytes of a line rounded up to 4) bytes after a
 *     header of 54 bytes for VIQ_RGB24, otherwise 1078 bytes
 * @param pdwSize  receives the number of bytes
 * @param wMode    VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_STATE "Only a complete image can be written": a second strip
 */
VIQ_API uint32_t VIQ_CALL VIQ_image_write_BMP_buffer(uint32_t hImage, uint8_t *pBuffer,
                                                     uint32_t *pdwSize, uint16_t wMode);

/** @} */

/** @name TIFF
 * Grey samples of 9 to 16 bits are stored in a layout of this library. VIQ_Y16 with data width w is
 * written with BitsPerSample = w, but each sample takes two bytes, most significant byte first, and
 * contains the whole word without a shift. With w = 16 this is standard TIFF. With another width,
 * for example 12, the standard expects samples packed without gaps, so that other programs do not
 * read the file correctly.
 *
 * The reader expects the same layout: BitsPerSample 9 to 16 gives VIQ_Y16 with that data width from
 * two bytes a sample, so that a file of this library is read back exactly. It takes the samples as
 * most significant byte first from files of both byte orders: the samples of a little-endian file
 * are byte-swapped. A standard file with packed samples has too few bytes and is rejected as
 * "Corrupt image", unless other data follows the samples; then the pixels are wrong.
 * @{
 */

/**
 * Reads an uncompressed TIFF file of either byte order: the first picture in any number of TIFF
 * strips. In the original mode the picture is chunky:
 *
 * | In the file           | Image                                                                 |
 * |-----------------------|-----------------------------------------------------------------------|
 * | grey, 1 bit           | VIQ_Y1, lines of ceiling(width / 8) bytes                             |
 * | grey, 8 bits          | VIQ_Y8                                                                |
 * | grey, 9 to 16 bits    | VIQ_Y16 with that data width, two bytes a sample, see above           |
 * | palette, 4 or 8 bits  | VIQ_PALETTED with 256 colours, of which the file sets those it has    |
 * | RGB, 24 bits          | VIQ_RGB24                                                             |
 *
 * Grey is not inverted if the file defines 0 as white. Palette values are read as most significant
 * byte first from files of both byte orders, and their low byte is used.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNEXPECTED "Expecting 'MM' or 'II'", "Expecting 42", "expecting 1 entry in
 *   NewSubFileType", "expecting 1 entry in ImageWidth", "expecting 1 entry in ImageLength",
 *   "expecting 1 entry in Compression", "expecting single full resolution image"
 * - VIQ_ERR_UNSUPPORTED "expecting 1 entry in PhotometricInterp", "expecting 1 entry in
 *   SamplesPerPixeltr", "expecting 1 entry in RowsPerStrip", "unsupported image", "compressed TIFF
 *   images not supported", "unsupported image type", "unsupported TIFF format"
 * - VIQ_ERR_CORRUPT "0 rows per strip"
 * - VIQ_ERR_CORRUPT "Corrupt image": also for TIFF strips that overlap so that they claim more
 * pixels than the file can hold
 * - VIQ_ERR_STATE "Colourmap is NULL"
 *
 * In the conforming mode, grey is inverted if the file defines 0 as white; samples of 16 bits are
 * in the byte order of the file; palette values are reduced to their high byte, unless all of them
 * are below 256, as some programs write them; planes may be separate; the first bit of a byte may
 * be the lowest one; extra samples are dropped. Samples of 9 to 15 bits are packed without gaps,
 * unless the byte count of the first TIFF strip shows the words of this library.
 * @par Errors of the conforming mode
 * - VIQ_ERR_UNEXPECTED "Expecting 'MM' or 'II'", "Expecting 42"
 * - VIQ_ERR_CORRUPT "Corrupt image", "0 rows per strip", "TIFF colour map is missing or damaged"
 * - VIQ_ERR_UNSUPPORTED "BigTIFF files are not supported", "Tiled TIFF images are not supported",
 *   "TIFF files that begin with a reduced image are not supported"
 * - VIQ_ERR_UNSUPPORTED "TIFF compression X is not supported": X is CCITT RLE, CCITT group 3, CCITT
 *   group 4, LZW, JPEG (old style), JPEG, Deflate, JBIG, PackBits, ThunderScan, JPEG 2000, LERC,
 *   LZMA, Zstandard or WebP; "TIFF compression is not supported": any other
 * - VIQ_ERR_UNSUPPORTED "TIFF X are not supported": X is transparency masks, YCbCr images, CIE
 * L*a*b* images, ICC L*a*b* images, ITU L*a*b* images, colour-filter mosaics, linear raw images,
 * LogL images, LogLuv images or ink sets other than CMYK; "TIFF photometric interpretation is not
 *   supported": any other
 * - VIQ_ERR_UNSUPPORTED "TIFF number of samples is not supported" (0 or more than 64), "TIFF
 * samples other than unsigned integers are not supported", "TIFF samples of different depths are
 * not supported", "TIFF samples of more than 16 bits are not supported", "unsupported TIFF format"
 *   (too few samples, or a palette of more than 8 bits), "TIFF samples of 9 to 15 bits in lines so
 *   short are ambiguous" (packed samples and words have the same size)
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_read_TIFF_file(uint32_t hImage, uint16_t wMode);

/**
 * Writes an uncompressed big-endian TIFF file with one TIFF strip. Lines are written without
 * padding. The pixel formats are listed at VIQ_image_write; for VIQ_Y16 see above.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED|colours "Unsupported palette/colourmap size": not 256 colours
 * - VIQ_ERR_UNSUPPORTED "Image too large for a TIFF file": width or height above 65535, or 4 GiB
 *   and more
 * - VIQ_ERR_CORRUPT "Corrupt image": width or height 0
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_write_TIFF_file(uint32_t hImage, uint16_t wMode);

/** Reads 16 bits from a stream, big-endian if wOrder is 77 ("M"), otherwise little-endian. */
VIQ_API uint16_t VIQ_CALL TIFF_read_ui16(FILE *f, uint16_t wOrder);

/** Reads 32 bits from a stream, big-endian if wOrder is 77 ("M"), otherwise little-endian. */
VIQ_API uint32_t VIQ_CALL TIFF_read_ui32(FILE *f, uint16_t wOrder);

/** Reads a value from a stream: 16 bits for the TIFF field type 3 (SHORT), otherwise 32 bits. */
VIQ_API uint32_t VIQ_CALL TIFF_read_data(FILE *f, uint16_t wOrder, uint16_t wType);

/** @} */

/** @name TGA
 * @{
 */

/**
 * In the original mode, reads an uncompressed TGA file: grey as VIQ_Y8, true colour of 15, 16 or 24
 * bits as VIQ_RGB24.
 * Words of 15 and 16 bits hold five bits each of red, green and blue, blue lowest, and are
 * unpacked as VIQ_RGB15. Lines are read in file order regardless of the orientation in the header;
 * pixels are expected directly after the 18 bytes of the header, and the length of the
 * identification field is not evaluated. Grey lines are read with the padding of the line
 * alignment of the image: set it to 1 to read files of other programs at every width.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "unsupported image": the file has a colourmap
 * - VIQ_ERR_UNSUPPORTED "unsupported image type"
 *
 * In the conforming mode, reads the types 1, 2, 3, 9, 10 and 11 with any origin; the identification
 * is skipped, and lines have no padding.
 * @par Errors of the conforming mode
 * - VIQ_ERR_CORRUPT "TGA colourmap is missing"
 * - VIQ_ERR_CORRUPT "Corrupt run-length data": also while a strip is read
 * - VIQ_ERR_UNSUPPORTED "unsupported image type", "TGA pixel depth is not supported", "TGA
 * colourmap type is not supported", "TGA colourmap depth is not supported", "TGA colourmap of more
 * than 256 colours is not supported", "TGA interleaved lines are not supported"
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_read_TGA_file(uint32_t hImage, uint16_t wMode);

/**
 * Writes an uncompressed TGA file, top line first: VIQ_Y8, VIQ_RGB15 as 16 bits in memory order,
 * VIQ_RGB24 as blue, green, red. Lines of VIQ_Y8 and VIQ_RGB15 are written with their padding: a
 * line alignment of 1 gives files that other programs read at every width.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Image too large for a TGA file": width or height above 65535
 * - VIQ_ERR_CORRUPT "Corrupt image": width or height 0
 */
VIQ_API uint32_t VIQ_CALL VIQ_write_TGA_file(uint32_t hImage, uint16_t wMode);

/** @} */

/** @name Encapsulated PostScript (EPS)
 * @{
 */

/**
 * Reads an EPS file that VIQ_write_EPS_file has written; other PostScript is not interpreted. Files
 * of language level 2 give VIQ_PALETTED, and the number of colours is the number in the file, which
 * is the index of the last colour. Other files give VIQ_Y1, VIQ_Y8 or VIQ_RGB24. White space is
 * allowed between any two digits. Padding bytes become 0.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNEXPECTED "Expecting hexadecimal digits"
 * - VIQ_ERR_INTERNAL "Unexpected EOF read": reported as "fread_word_ascii"
 * - VIQ_ERR_CORRUPT "Corrupt image": also for more than 256 colours
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_read_EPS_file(uint32_t hImage, uint16_t wMode);

/**
 * Writes VIQ_Y1, VIQ_Y8, VIQ_PALETTED or VIQ_RGB24 as Encapsulated PostScript that prints the
 * picture centred on an area of 522 x 720 points, rotated by 90 degrees if it is wider than high.
 * The spare text of the image is named as the creator. Lines of VIQ_Y1 have the padding of the line
 * alignment, unless the bytes per line are ceiling(width / 8), as after reading a TIFF file.
 * VIQ_STRIP_FINISH closes the file without the trailer. PostScript interpreters do not accept the
 * image dictionary of VIQ_PALETTED files; only VIQ_read_EPS_file reads them.
 *
 * @param hImage  the image
 * @param wMode   VIQ_STRIP_NEXT or VIQ_STRIP_FINISH
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_CORRUPT "Corrupt image": width or height 0
 * - VIQ_ERR_STATE "Colourmap is NULL"
 */
VIQ_API uint32_t VIQ_CALL VIQ_write_EPS_file(uint32_t hImage, uint16_t wMode);

/** @} */

/** @name Byte order
 * Values in a fixed byte order, in a stream (f) or in memory (m). The suffix i means least
 * significant byte first, m most significant byte first. Nothing is reported. Reading at the end of
 * a stream gives bytes of 0xFF; a NULL stream is at its end. A NULL address reads as 0 and is not
 * written to. Writing to a stream returns the last byte written, or EOF.
 * @{
 */

/** Reads 16 bits from a stream, least significant byte first. */
VIQ_API uint16_t VIQ_CALL VIQ_fget_ui16i(FILE *f);
/** Reads 16 bits from a stream, most significant byte first. */
VIQ_API uint16_t VIQ_CALL VIQ_fget_ui16m(FILE *f);
/** Reads 32 bits from a stream, least significant byte first. */
VIQ_API uint32_t VIQ_CALL VIQ_fget_ui32i(FILE *f);
/** Reads 32 bits from a stream, most significant byte first. */
VIQ_API uint32_t VIQ_CALL VIQ_fget_ui32m(FILE *f);
/** Writes a byte to a stream. */
VIQ_API int VIQ_CALL VIQ_fput_ui8(FILE *f, uint8_t v);
/** Writes 16 bits to a stream, least significant byte first. */
VIQ_API int VIQ_CALL VIQ_fput_ui16i(FILE *f, uint16_t v);
/** Writes 16 bits to a stream, most significant byte first. */
VIQ_API int VIQ_CALL VIQ_fput_ui16m(FILE *f, uint16_t v);
/** Writes 32 bits to a stream, least significant byte first. */
VIQ_API int VIQ_CALL VIQ_fput_ui32i(FILE *f, uint32_t v);
/** Writes 32 bits to a stream, most significant byte first. */
VIQ_API int VIQ_CALL VIQ_fput_ui32m(FILE *f, uint32_t v);
/** Reads 16 bits from memory, least significant byte first. */
VIQ_API uint16_t VIQ_CALL VIQ_mget_ui16i(const uint8_t *p);
/** Reads 16 bits from memory, most significant byte first. */
VIQ_API uint16_t VIQ_CALL VIQ_mget_ui16m(const uint8_t *p);
/** Reads 32 bits from memory, least significant byte first. */
VIQ_API uint32_t VIQ_CALL VIQ_mget_ui32i(const uint8_t *p);
/** Reads 32 bits from memory, most significant byte first. */
VIQ_API uint32_t VIQ_CALL VIQ_mget_ui32m(const uint8_t *p);
/** Writes a byte to memory and returns it. */
VIQ_API uint8_t VIQ_CALL VIQ_mput_ui8(uint8_t *p, uint8_t v);
/** Writes 16 bits to memory, least significant byte first. */
VIQ_API void VIQ_CALL VIQ_mput_ui16i(uint8_t *p, uint16_t v);
/** Writes 16 bits to memory, most significant byte first, and returns the value. */
VIQ_API uint16_t VIQ_CALL VIQ_mput_ui16m(uint8_t *p, uint16_t v);
/** Writes 32 bits to memory, least significant byte first. */
VIQ_API void VIQ_CALL VIQ_mput_ui32i(uint8_t *p, uint32_t v);
/** Writes 32 bits to memory, most significant byte first, and returns p + 2. */
VIQ_API uint8_t *VIQ_CALL VIQ_mput_ui32m(uint8_t *p, uint32_t v);

/** @} */

/** @} */

#ifdef __cplusplus
}
#endif

#endif
