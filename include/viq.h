/**
 * @file viq.h
 * The interface of VIQ, a library for images in memory: pixel formats and their conversion,
 * colourmaps, strip-wise processing, image files.
 *
 * Images and handles. An image is an object inside the library, named by a handle from 1 to 65535
 * that VIQ_image_create issues. 0 is never a handle. A handle that was never issued, or whose image
 * is destroyed, is safe to pass: it gives an error.
 *
 * Strips. An image records the size of a whole picture, but its data buffer holds one strip of it:
 * as many consecutive lines as VIQ_LINES_PER_STRIP says, top line first. Where the lines per strip
 * equal the height, the image holds the picture whole. An operation takes a strip command:
 * VIQ_STRIP_NEXT processes the current strip, VIQ_STRIP_FINISH abandons the sequence of strips. On
 * the first strip the operation sets its output up: it copies the parameters of the input (file
 * names, flags and colourmap included) and then sets what it changes. It counts lines, cuts the
 * last strip to what is left of the height (the lines per strip of the caller's image become that
 * number), and is ready for another picture after it. Line counts belong to the operation and not
 * to the images: each operation has one sequence at a time. Images of 0 lines per strip pass only
 * their parameters on. A picture of any size thus goes through a chain in little memory:
 *
 *     u32 in = VIQ_image_create(), grey = VIQ_image_create(), done;
 *     VIQ_image_set_infilename(in, "colour.bmp");
 *     VIQ_image_set_outfilename(in, "grey.bmp");           // the conversion copies it to grey
 *     VIQ_image_set_parameter(in, VIQ_HEIGHT, 0);
 *     VIQ_image_set_parameter(in, VIQ_LINES_PER_STRIP, 0); // no lines: read the header only
 *     VIQ_image_read(in, 0, VIQ_STRIP_NEXT);
 *     VIQ_image_set_parameter(in, VIQ_LINES_PER_STRIP, 64);
 *     for (done = 0; done < VIQ_get_height(in); done += VIQ_get_lines_this_strip(in))
 *         if (VIQ_IS_ERROR(VIQ_image_read(in, 0, VIQ_STRIP_NEXT)) ||
 *             VIQ_IS_ERROR(VIQ_image_convert(in, grey, VIQ_Y8, 0, VIQ_STRIP_NEXT)) ||
 *             VIQ_IS_ERROR(VIQ_image_write(grey, 0, VIQ_FILE_BMP, VIQ_STRIP_NEXT)))
 *             break; // then end all three with VIQ_STRIP_FINISH
 *
 * A sequence that is left under way continues without its set-up when the operation is called
 * again. Where the output of the continuing strip does not fit its input in format, width or
 * height, the operation refuses it before it touches a pixel: 0x100b0000 "Sequence under way with
 * another image".
 *
 * Lines. Line n starts n times VIQ_BYTES_PER_LINE bytes behind the start of the strip. A line is
 * its pixels and then as many padding bytes as make it a multiple of VIQ_LINE_ALIGNMENT (2 in a new
 * image). VIQ_image_check computes both; every operation calls it first. 1-bit images are the
 * exception, to which the check gives a line of 0 bytes: their lines are ceiling(width / 8) bytes,
 * back to back; readers set VIQ_BYTES_PER_LINE to what they have stored.
 *
 * Memory. The library allocates strips, filled with zeros, and frees or resizes only those. A
 * caller may set a buffer of its own with VIQ_image_set_ptr: with VIQ_FLAG_LOCKED it stays the
 * caller's for ever, whatever happens to the flag later, and its size is trusted; without the flag
 * it passes to the library, which frees it with free() (VIQ_malloc_N_lines gives such memory).
 * Pointers that the library returns stay its own unless the function says otherwise.
 *
 * Errors. A result above 0xFFFF is an error code: 0x10 in the top byte, the class in the second
 * (VIQ_ERR_...), a detail in the low 16 bits. A failing function reports once through
 * VIQ_ErrProcess, under its own name or, for the work on one strip, under its name followed by
 * "_1_strip", and returns the code. Below, errors stand as code, message in double quotation marks,
 * condition. These are common and not repeated at each function:
 *   0x10040000 ""                   a handle names no image
 *   0x10030000 "Null pointer"       a pointer or text is missing
 *   0x10030000 "Input and output image are the same"   where the operation does not work in place
 *   0x10040000 "Output image does not exist"           reported by the copying of parameters
 *   0x10050000 "No image data"      there are pixels to process, but the image has no data for them
 *   0x1006xxxx ""                   an allocation failed; xxxx are the low 16 bits of its size
 *   the code of VIQ_image_check     with "Corrupt image": an image fails the check, which reports
 *                                   it first under its own name; also for a missing input image
 *
 * Threads. There are none, and no locks: callers serialise all calls.
 */
#ifndef VIQ_H
#define VIQ_H

#include <stdint.h>
#include <stdio.h>

/* Build the library itself with VIQ_BUILDING, and users of a Windows DLL with VIQ_DLL. */
#if defined(_WIN32)
#if defined(VIQ_BUILDING)
#define VIQ_API __declspec(dllexport)
#elif defined(VIQ_DLL)
#define VIQ_API __declspec(dllimport)
#else
#define VIQ_API
#endif
#elif defined(__GNUC__)
#define VIQ_API __attribute__((visibility("default")))
#else
#define VIQ_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t u8;
typedef uint16_t u16;
typedef uint32_t u32;
typedef int16_t i16;
typedef int32_t i32;

/* ---- Constants ------------------------------------------------------------------------------ */

/** Version of the interface; parameter VIQ_LIBRARY_VERSION gives the library's. */
#define VIQ_VERSION 0x00042006u

/** Tells an error code from an ordinary result. */
#define VIQ_IS_ERROR(x) ((x) > 0xFFFFu)

/* Error classes: a code with its low 16 bits cleared. */
#define VIQ_ERR_OTHER 0x10010000u       /**< a code of another library or of the platform */
#define VIQ_ERR_INTERNAL 0x10020000u    /**< internal error */
#define VIQ_ERR_PARAMETER 0x10030000u   /**< bad parameter */
#define VIQ_ERR_HANDLE 0x10040000u      /**< invalid handle */
#define VIQ_ERR_CORRUPT 0x10050000u     /**< corrupt image */
#define VIQ_ERR_MEMORY 0x10060000u      /**< memory allocation failed */
#define VIQ_ERR_UNSUPPORTED 0x10070000u /**< not supported */
#define VIQ_ERR_NO_HANDLES 0x10080000u  /**< run out of handles */
#define VIQ_ERR_OPEN 0x10090000u        /**< open failed */
#define VIQ_ERR_CLOSE 0x100a0000u       /**< close failed, or not every byte reached the file */
#define VIQ_ERR_STATE 0x100b0000u       /**< invalid state */
#define VIQ_ERR_UNEXPECTED 0x100c0000u  /**< unexpected condition or character */
#define VIQ_ERR_SYSTEM 0x100d0000u      /**< system call failed */

#define VIQ_ALL_IMAGES 0x10001u /**< as a handle: every image */
#define VIQ_ANY_IMAGE 0x10002u  /**< as a handle to VIQ_image_destroy: is any image left? */

/** The height of a new image, which tells readers that the size is not yet known. */
#define VIQ_HEIGHT_UNKNOWN 32767u

/** Strip commands, also called modes. */
enum {
    VIQ_STRIP_NEXT = 3,  /**< process the current strip */
    VIQ_STRIP_FINISH = 4 /**< abandon or finish the sequence */
};

/**
 * Pixel formats, the values of parameter VIQ_IMAGE_TYPE. 16-bit pixels are words in the byte order
 * of the machine, except VIQ_YUV422. X is a byte without meaning.
 */
enum {
    VIQ_Y1 = 1,       /**< 1 bit: black and white */
    VIQ_Y8 = 2,       /**< grey byte */
    VIQ_PALETTED = 3, /**< index byte into the colourmap */
    VIQ_RGB8 = 4,     /**< byte: red in bits 7-5, green in 4-2, blue in 1-0 */
    VIQ_RGB15 = 5,    /**< word: red in bits 14-10, green in 9-5, blue in 4-0 */
    VIQ_RGB16 = 6,    /**< word: red in bits 15-11, green in 10-5, blue in 4-0 */
    VIQ_RGB24 = 7,    /**< bytes R, G, B */
    VIQ_BGR24 = 8,    /**< bytes B, G, R */
    VIQ_RGBX32 = 9,   /**< bytes R, G, B, X */
    VIQ_BGRX32 = 10,  /**< bytes B, G, R, X */
    VIQ_XBGR32 = 11,  /**< bytes X, B, G, R */
    VIQ_YUV422 = 12,  /**< bytes Y0, U, Y1, V for two pixels; 128 in U and V is no colour */
    VIQ_CMYK32 = 13,  /**< bytes C, M, Y, K */
    VIQ_Y16 = 14,     /**< grey word, of which as many low bits count as VIQ_DATA_WIDTH says */
    VIQ_XRGB32 = 15,  /**< bytes X, R, G, B */
    VIQ_RGGB32 = 16,  /**< colour-filter mosaic: 1 byte a pixel, though 32 bits are recorded */
    VIQ_Y64 = 17,     /**< 64-bit sample, in lines of 2 bytes a pixel */
    VIQ_JPEG_WORK100 = 100, /**< working format, 4 bytes a pixel */
    VIQ_JPEG_WORK101 = 101, /**< working format, 8 bytes a pixel */
    VIQ_JPEG_WORK102 = 102, /**< working format, 8 bytes a pixel */
    VIQ_WORK103 = 103,      /**< working format, 2 bytes a pixel */
    VIQ_WORK104 = 104,      /**< working format, 4 bytes a pixel */
    VIQ_RGB24_OR_Y8 = 105,  /**< no format of an image: a wish to VIQ_image_convert */
    VIQ_YUV411 = 106,       /**< JPEG colour sampled 4:1:1 */
    VIQ_HSI = 108           /**< word: hue in degrees, 0 to 359; then bytes saturation, intensity */
};

/** Parameters of an image. */
enum {
    VIQ_IMAGE_TYPE = 10,      /**< pixel format; setting it sets the depth that belongs to it */
    VIQ_WIDTH = 11,           /**< pixels a line */
    VIQ_HEIGHT = 12,          /**< lines of the whole picture */
    VIQ_PIXEL_DEPTH = 13,     /**< bits a pixel */
    VIQ_LINES_PER_STRIP = 14, /**< lines in the data buffer */
    VIQ_BYTES_PER_LINE = 15,  /**< from the start of one line to the next; see VIQ_image_check */
    VIQ_PARAM_16 = 16,        /**< stored and returned */
    VIQ_DATA_WIDTH = 17,      /**< significant bits of a sample */
    VIQ_PARAM_18 = 18,        /**< stored and returned; the check makes 0 and 1 to 1 */
    VIQ_PARAM_19 = 19,        /**< stored and returned; 1 in a new image */
    VIQ_NUM_COLOURS = 20,     /**< entries of the colourmap in use */
    VIQ_JPEG_PARAM = 21,      /**< a field of the JPEG record */
    VIQ_LIBRARY_VERSION = 22, /**< read-only, with any handle: VIQ_VERSION after VIQ_Init */
    VIQ_PARAM_23 = 23,        /**< stored and returned */
    VIQ_LINE_ALIGNMENT = 24,  /**< lines are padded to a multiple of so many bytes */
    VIQ_PARAM_25 = 25,        /**< stored and returned */
    VIQ_COMPONENTS = 26       /**< read-only: 3 for RGB8, RGB15, RGB16 and YUV422, 1 for Y16, else
                                   the depth divided by 8 */
};

/** Pointers of an image. */
enum {
    VIQ_PTR_DATA = 100,       /**< the strip buffer */
    VIQ_PTR_CMAP = 101,       /**< the colourmap, 256 tVIQ_Colour */
    VIQ_PTR_JPEG_DATA = 102,  /**< first data pointer of the JPEG record */
    VIQ_PTR_JPEG_DATA2 = 103, /**< second data pointer of the JPEG record */
    VIQ_PTR_IMAGE = 104,      /**< the image object itself, a tVIQ_Image */
    VIQ_PTR_JPEG = 105,       /**< the JPEG record, a struct Tjpeg */
    VIQ_PTR_JPEG_ID = 106     /**< the 32 bytes of identification in the JPEG record */
};

/* Flags of an image. */
#define VIQ_FLAG_LOCKED 0x1u   /**< the data buffer is the caller's: never freed, moved, replaced */
#define VIQ_FLAG_2 0x2u        /**< cleared on the output by every conversion */
#define VIQ_FLAG_DIB 0x4u      /**< VIQ_image_convert makes a DIB; cleared with each format set */
#define VIQ_FLAG_USE_LUT 0x10u /**< VIQ_image_convert goes by lookup tables where it has them */
#define VIQ_FLAG_20 0x20u      /**< field order of interlaced video */
#define VIQ_FLAG_DITHER 0x80u  /**< VIQ_image_convert refuses it */
#define VIQ_FLAG_100 0x100u    /**< a wavelet image: the data is a wavelet record */

/** File formats. */
enum {
    VIQ_FILE_MEMORY = 1,  /**< a memory image, named by its handle */
    VIQ_FILE_TIFF = 3,    /**< TIFF */
    VIQ_FILE_TGA = 5,     /**< TGA; 6 and 7 mean the same to VIQ_image_write */
    VIQ_FILE_JPEG = 8,    /**< JPEG */
    VIQ_FILE_EPS = 9,     /**< EPS */
    VIQ_FILE_BMP = 10,    /**< Windows bitmap */
    VIQ_FILE_RAW = 11,    /**< bare pixels, write only */
    VIQ_FILE_WAVELET = 12 /**< the library's own wavelet stream */
};

/** Types of conversion lookup tables. */
enum {
    VIQ_CONV_LUT_RGB16_TO_PALETTED = 200,
    VIQ_CONV_LUT_Y8_TO_PALETTED = 201,
    VIQ_CONV_LUT_Y16_TO_PALETTED = 202,
    VIQ_CONV_LUT_YUV422_TO_RGB16 = 203,
    VIQ_CONV_LUT_YUV422_TO_RGB15 = 204,
    VIQ_CONV_LUT_YUV422_TO_PALETTED = 205
};

/* ---- Records -------------------------------------------------------------------------------- */

/** What receives failures: module (1 is the library), function, code, message, never null. */
typedef u32 (*VIQ_ErrHandler)(u32 dwModule, const char *pszFunction, u32 dwCode,
                              const char *pszMessage);

/** The error record of a module. */
typedef struct {
    u32 version;    /**< of the library, once VIQ_Init has run */
    u32 last_code;  /**< last code that the default handler showed */
    u32 other_code; /**< code of another library that it has not shown yet, or 0 */
    VIQ_ErrHandler handler;
} tVIQ_ErrRecord;

/** Entry of a colourmap, which has 256. */
typedef struct {
    u8 red, green, blue;
    u8 spare; /**< neither read nor written */
} tVIQ_Colour;

/** One quantised colour. */
typedef struct {
    u32 value;       /**< the components' kept high bits: red above green above blue; or grey */
    u32 occurrences; /**< pixels of that colour */
    u32 index;       /**< entry of the colourmap, all ones without one */
} tVIQ_CmapBin;

/** The colourmap record: how VIQ_cmap_generate counts colours, and what it has found. */
typedef struct {
    tVIQ_CmapBin bins[4096];
    u32 bin_count;                      /**< bins in use */
    u8 red_bits, green_bits, blue_bits; /**< bits that a bin keeps, 4 each at first */
    u8 grey_bits;                       /**< the same for grey images, 8 at first */
    u16 colours_to_generate;            /**< entries that the last generation added */
    u32 distinct_colours;               /**< bins that the last generation found not empty */
    u16 coverage;                       /**< percentage of pixels with an entry of their own */
    u16 spare[2];
} tVIQ_CmapInfo;

/**
 * The JPEG record of an image: what the segments ahead of the coded data say, and that data.
 * Reading it is safe; change it through the functions.
 */
typedef struct Tjpeg {
    FILE *file;         /**< the file that VIQ_JPEG_file_open has opened; null otherwise */
    u32 data_start;     /**< offset of the first coded byte in the file or buffer */
    u8 *data;           /**< coded bytes of a picture, or of the frames of a sequence */
    u8 *data_ptr;       /**< where reading or appending goes on */
    u32 data_length;    /**< bytes of data in use */
    u16 quality_factor; /**< 16: the standard quantisation tables; 32: half their steps */
    u8 reserved_1[6];
    char comment[32]; /**< starts the comment segment; 32 blanks at first */
    u8 reserved_2[16];
    u16 sof_length;  /**< of the frame segment */
    u16 precision;   /**< bits per sample, 8 */
    u16 h_factor[3]; /**< horizontal sampling of the components */
    u16 reserved_3;
    u16 v_factor[3]; /**< vertical sampling of the components */
    u16 reserved_4;
    u16 dqt_length;    /**< of the quantisation segment */
    u16 q_table_id[3]; /**< the components' quantisation tables */
    u16 reserved_5;
    u16 q_table_count;
    u8 q_tables[4][64]; /**< in zigzag order */
    u32 q_recip[2][64]; /**< 65536 / q, rounded, of tables 0 and 1 */
    u16 dht_length;     /**< of the Huffman segment, without its two length bytes */
    u16 h_table_ids[5]; /**< class and number of each Huffman table, then 255 */
    u8 h_bits[4][16];   /**< numbers of codes of 1 to 16 bits: DC 0, DC 1, AC 0, AC 1 */
    u8 h_vals[4][256];  /**< the symbols in the order of their codes */
    u16 sos_length;     /**< of the scan segment */
    u16 components;     /**< 1: grey; 3: Y, Cb, Cr */
    u8 scan_ss;         /**< 0 */
    u8 scan_se;         /**< 63 */
    u8 scan_ahal;       /**< 0 */
} Tjpeg;

/** Counters of an HSI image; one bin a degree of hue. */
typedef struct {
    u32 hue[360];
    u32 saturation[256];
    u32 intensity[256];
    u32 totals[3]; /**< sums of the hue, saturation and intensity bins */
} tVIQ_Histogram;

/** HSI: mean hue, saturation and intensity. Grey: mean, smallest and largest value. */
typedef struct {
    u32 average[3];
} tVIQ_Average;

/**
 * A bitmap font: one glyph for each code from 0 to 127, each of height rows of ceiling(width / 8)
 * bytes, the leftmost pixel in the most significant bit. The width is at most 32 pixels.
 */
typedef struct {
    u32 height, width;
    u32 bytes_per_glyph;
    const u8 *glyphs;
} tVIQ_Font;

/** The image object. Reading it is safe; change it through the functions. */
typedef struct {
    u16 pixel_format; /**< 0: not yet set */
    u16 data_width;
    char spare_text[128]; /**< zero-terminated, as are the names */
    char infilename[128];
    char outfilename[128];
    u32 width;
    u32 height;
    u16 bits_per_pixel;
    u32 line_alignment;
    u32 param_25;
    u32 skip_bytes; /**< padding at the end of each line */
    u32 param_18;
    u32 param_19;
    u8 *data;           /**< the current strip */
    u32 data_companion; /**< goes with the data when it moves */
    u32 param_16;
    u32 flags;
    u16 num_colours;
    tVIQ_Colour *colourmap;   /**< 256 entries */
    tVIQ_CmapInfo *cmap_info; /**< null without one */
    u32 lines_per_strip;
    u32 bytes_per_line;
    u16 param_23;
    Tjpeg *jpeg; /**< null for an ordinary image */
} tVIQ_Image;

/** A command line, taken apart by VIQ_Util_ParseCommand. */
typedef struct {
    u32 argc;          /**< as given */
    u32 options;       /**< arguments that start with "-" */
    u32 plains;        /**< the others, without the program's name */
    char program[128]; /**< zero-terminated, as are the slots */
    char option[3][128];
    char plain[16][128];
} tVIQ_Command;

/* ---- Images --------------------------------------------------------------------------------- */

/**
 * Starts the library: clears its error record, installs VIQ_ErrHandlerDefault and stores the
 * version. The first VIQ_image_create does it too. A later call leaves all images as they are, but
 * removes the caller's error handler. Returns 0.
 */
VIQ_API u32 VIQ_Init(void);

/**
 * Makes an image and returns its handle, the lowest free one. Height VIQ_HEIGHT_UNKNOWN, 8 lines
 * per strip, line alignment 2, parameter 19 = 1, all else 0; no data; a colourmap as
 * VIQ_image_create_cmap makes it. Free it with VIQ_image_destroy.
 * Errors: 0x10080000 "Run out of image handles"; 0x10060001 "" no memory for the object;
 * 0x10060000 "" no memory for the colourmap.
 */
VIQ_API u32 VIQ_image_create(void);

/**
 * Allocates a colourmap of 256 entries, every byte 0xAA; null without memory. The image that it is
 * given to (VIQ_PTR_CMAP) frees it.
 */
VIQ_API tVIQ_Colour *VIQ_image_create_cmap(void);

/**
 * Destroys an image with its data (not a caller's locked buffer), colourmap, colourmap record and
 * JPEG record. Returns 0, also for a handle that names no image. VIQ_ALL_IMAGES destroys every
 * image and frees the library's scratch memory. VIQ_ANY_IMAGE destroys nothing: it returns
 * 0x10020000, without a report, while an image is left, and otherwise frees the scratch memory and
 * returns 0.
 */
VIQ_API u32 VIQ_image_destroy(u32 hImage);

/**
 * Sets a parameter; narrower fields take the low 16 bits. VIQ_IMAGE_TYPE also sets the depth, the
 * data width (to 8 for the 8-bit formats and to 16 for the 16-bit ones; RGB15 and the wider formats
 * leave it), 256 colours for VIQ_PALETTED where there were 0, and clears VIQ_FLAG_DIB. Type 0 only
 * clears that flag.
 * Errors: 0x10070000 "Unrecognized image type" - the refused code is stored all the same, and the
 * image check refuses it again; 0x10040000 "JPEG structure does not exist" for VIQ_JPEG_PARAM of an
 * image without JPEG record; 0x10030000 "" an unknown or read-only parameter.
 */
VIQ_API u32 VIQ_image_set_parameter(u32 hImage, u16 wId, u32 dwValue);

/**
 * Returns a parameter itself, so that a value above 0xFFFF looks like an error.
 * Errors: 0x10030000 "Unknown parameter"; 0x10040000 "JPEG structure does not exist".
 */
VIQ_API u32 VIQ_image_get_parameter(u32 hImage, u16 wId);

/**
 * Sets flag bits where dwOn is 1, and clears them where it is anything else. VIQ_ALL_IMAGES applies
 * it to every image. A caller's buffer that has been locked once is never freed by the library.
 */
VIQ_API u32 VIQ_image_set_flags(u32 hImage, u32 dwBits, u32 dwOn);

/** Returns 1 where any of the bits is set, else 0. */
VIQ_API u32 VIQ_image_get_flags(u32 hImage, u32 dwBits);

/**
 * Sets a pointer.
 *   VIQ_PTR_DATA     a buffer of the caller, lines per strip times bytes per line bytes; set
 *                    VIQ_FLAG_LOCKED with it unless the library is to free it with free(). The
 *                    buffer that the library has allocated for the image stays remembered and goes
 *                    with the image.
 *   VIQ_PTR_CMAP     256 entries; the caller frees a map that VIQ_image_create_cmap has not made.
 *   VIQ_PTR_IMAGE    puts another object into the handle's place, null to empty it; the caller
 *                    keeps what it has made itself. The old object goes with VIQ_ALL_IMAGES.
 *   VIQ_PTR_JPEG     a JPEG record.
 *   VIQ_PTR_JPEG_ID  copies 32 bytes from the address.
 * Errors: 0x10030000 "Unrecognized pointer type"; 0x10040000 "Not a JPEG image" for the types 102,
 * 103 and 106 of an image without JPEG record.
 */
VIQ_API u32 VIQ_image_set_ptr(u32 hImage, u16 wType, void *pValue);

/** Returns a pointer; null, without a report, for what is not there or not known. */
VIQ_API void *VIQ_image_get_ptr(u32 hImage, u16 wType);

/**
 * Sets the name of the file that readers open.
 * Error: 0x10030000 "File name too long" for 128 bytes and more, the old name stays.
 */
VIQ_API u32 VIQ_image_set_infilename(u32 hImage, const char *pszName);

/** Sets the name of the file that writers create; otherwise as VIQ_image_set_infilename. */
VIQ_API u32 VIQ_image_set_outfilename(u32 hImage, const char *pszName);

/** Returns the input file name's field in the image, null for a missing image. */
VIQ_API char *VIQ_image_get_infilename(u32 hImage);

/** Returns the output file name's field in the image, null for a missing image. */
VIQ_API char *VIQ_image_get_outfilename(u32 hImage);

/** Copies the output file name. Note the order: destination first. */
VIQ_API u32 VIQ_copy_outfilename(u32 hTo, u32 hFrom);

/** Returns the pixels a line; this and the next four give 0, without a report, for no image. */
VIQ_API u32 VIQ_get_width(u32 hImage);

/** Returns the lines of the whole picture. */
VIQ_API u32 VIQ_get_height(u32 hImage);

/** Returns the bytes from one line to the next, as the last check has computed them. */
VIQ_API u32 VIQ_get_bytes_per_line(u32 hImage);

/** Returns the lines per strip: those of the current strip. */
VIQ_API u32 VIQ_get_lines_this_strip(u32 hImage);

/** Returns the bits a pixel. */
VIQ_API u16 VIQ_get_depth(u32 hImage);

/* ---- Errors --------------------------------------------------------------------------------- */

/**
 * Reports a failure: calls the module's handler and returns its result. Returns 0 where the module
 * is unknown or has no handler. With code 0 it calls nothing and returns the address of the
 * module's tVIQ_ErrRecord. The library reports as module 1; before VIQ_Init it is silent.
 */
VIQ_API uintptr_t VIQ_ErrProcess(u32 dwModule, const char *pszFunction, u32 dwCode,
                                 const char *pszMessage);

/** Replaces the library's handler; null silences it. Returns 0. */
VIQ_API u32 VIQ_ErrHandlerInstall(VIQ_ErrHandler pHandler);

/**
 * The handler that VIQ_Init installs. It stores the code in the record - a code whose top byte is
 * not 0x10 as that of another library, with VIQ_ERR_OTHER as the last code - and shows one text of
 * at most 511 characters: function, last code, the text of its class, the message in quotation
 * marks, the other library's code. On Windows that is a message box, "ERROR REPORTED by VIQ Default
 * Error Handler", which waits for the user, and its result is returned; elsewhere caption and text
 * go to standard error, and the result is 1.
 */
VIQ_API u32 VIQ_ErrHandlerDefault(u32 dwModule, const char *pszFunction, u32 dwCode,
                                  const char *pszMessage);

/* ---- Strips, checking and copying ----------------------------------------------------------- */

/**
 * Returns the padding of a line: what is missing to a multiple of the alignment from
 * ((bits + 1) div 8) x width bytes. 15 bits thus take 2 bytes and 1 bit none. 0 for alignment 0.
 */
VIQ_API u32 VIQ_image_calc_skip_bytes(u32 dwWidth, u16 wBitsPerPixel, u32 dwAlignment);

/** Returns ceiling(height / lines per strip), its low 16 bits; 0 for 0 lines per strip. */
VIQ_API u32 VIQ_image_calc_total_strips(u32 hImage);

/**
 * Checks an image and derives its line: padding by VIQ_image_calc_skip_bytes and bytes per line =
 * ((bits + 1) div 8) x width + padding. RGGB32 and Y64 take a quarter of it, JPEG_WORK101 and 102
 * take 8 bytes a pixel, WORK104 takes 4. Parameter 18 becomes at least 1, and the data width of Y8
 * becomes 8. Returns 0 or the first of
 *   0x10050000                       no such image, without a report
 *   0x10050011 "Line alignment is 0"
 *   0x10050012 "Line too long"       its bytes do not fit 32 bits
 *   0x10050010 "Unrecognised image"  the format is not set, or unknown
 *   0x10050007 "Colourmap should not be 0 size"          VIQ_PALETTED with 0 colours
 *   0x1005000a "Data width not between 1 and 16"         VIQ_Y16
 *   0x100500xx "Depth not N"         the depth is not that of the format; xx is 01 for Y1, 02 Y8,
 *                                    08 PALETTED, 0d RGB8, 0c RGB15, 03 RGB24 and BGR24, 0b Y16,
 *                                    0e RGGB32, 0f Y64, 05 JPEG_WORK101 and 102, 06 WORK104,
 *                                    09 the other 16-bit formats, 04 the other 32-bit formats
 */
VIQ_API u32 VIQ_image_check(u32 hImage);

/**
 * Gives the image a strip buffer of lines per strip x bytes per line; a new one is zero-filled. A
 * buffer of the library that fits is kept, contents included, another one is freed. A caller's
 * locked buffer is kept as it is, unchecked; a caller's other buffer is replaced and not freed.
 * Errors: those of the check; 0x1006xxxx "".
 */
VIQ_API u32 VIQ_image_malloc_a_strip(u32 hImage);

/**
 * Allocates dwLines lines as the last check has sized them, and returns them; null, without a
 * report, where that fails. They are the caller's: give them to an image, or free them with free()
 * or, across C run-time libraries, VIQ_DebugFree.
 */
VIQ_API void *VIQ_malloc_N_lines(u32 hImage, u32 dwLines);

/**
 * Frees the data of an image, a caller's buffer included that has never been locked, and that of
 * its JPEG record. An image with VIQ_FLAG_LOCKED keeps its data.
 */
VIQ_API u32 VIQ_image_free_data(u32 hImage);

/**
 * Copies everything but the data, its companion word, parameter 16 and the JPEG pointer: format,
 * geometry, names, flags, colourmap and its record. An output that holds a caller's locked buffer
 * stays locked. Where both images have a JPEG record, its parameters are copied too.
 * Errors: 0x10040000 "Input image does not exist"; 0x10040000 "Output image does not exist".
 */
VIQ_API u32 VIQ_image_copy_parameters(u32 hInImage, u32 hOutImage);

/** The same without the JPEG record. */
VIQ_API u32 VIQ_image_copy_parameters_raw(u32 hInImage, u32 hOutImage);

/**
 * Copies the parameters and the current strip; only the parameters where it has 0 lines. Onto
 * itself it does nothing and returns 0.
 */
VIQ_API u32 VIQ_image_copy(u32 hInImage, u32 hOutImage);

/**
 * Copies the parameters and hands the data buffer over without copying a byte; the input is left
 * without data. Onto itself it does nothing and returns 0.
 * Errors: 0x10070000 "locked memory can't be moved (in source image)"; 0x10070000 "Can't free
 * locked memory (in destination image)"; 0x10040000 "Input image does not exist".
 */
VIQ_API u32 VIQ_image_move(u32 hInImage, u32 hOutImage);

/**
 * Gathers strips into a memory image, which holds the whole picture. The first strip sets it up: it
 * takes the strip image's parameters, lines per strip equal to its height, and a buffer. Each call
 * with VIQ_STRIP_NEXT appends the current strip, padding included; after the last line of the
 * picture the transfer is over. VIQ_STRIP_FINISH abandons it; other modes do nothing, and
 * nothing happens to a strip of 0 lines.
 * Errors: the check's code with "Corrupt input image" for the strip image, "Corrupt output image"
 * for the memory image; 0x10050000 "Image changed during transfer" - format, width, height or line
 * of either image is not that of the first strip; the transfer is over.
 */
VIQ_API u32 VIQ_write_to_memory(u32 hStrip, u32 hMemory, u16 wMode);

/**
 * Hands a memory image out as strips. The first call copies its parameters, the lines per strip
 * included, to the strip image: set those of the memory image to the wanted number first, or take
 * the picture whole. Each call with VIQ_STRIP_NEXT fills the strip image with the next lines; the
 * last strip is cut to the remaining ones. VIQ_STRIP_FINISH abandons; other modes do
 * nothing, and nothing happens where the memory image has 0 lines per strip.
 * Errors: as in VIQ_write_to_memory, "Corrupt input image" being for the memory image.
 */
VIQ_API u32 VIQ_read_from_memory(u32 hMemory, u32 hStrip, u16 wMode);

/** Allocates memory and counts it; null without memory. Free it with VIQ_DebugFree. */
VIQ_API void *VIQ_DebugMalloc(u32 dwSize);

/** Frees memory and returns the number of such calls so far. */
VIQ_API u32 VIQ_DebugFree(void *pMemory);

/** Records and returns the bytes that VIQ_DebugMalloc has allocated so far. Prints nothing. */
VIQ_API u32 VIQ_DebugMallocPrint(void);

/* ---- Byte order ----------------------------------------------------------------------------- */

/*
 * Values in a fixed byte order: i is least significant byte first, m is most significant byte
 * first. A stream that is at its end gives bytes 0xFF; a null stream is at its end; a null address
 * reads as 0 and takes nothing. Nothing is reported. Writing to a stream returns the result of the
 * last byte's write: the byte, or EOF.
 */

/** Reads 16 bits from a stream, least significant byte first. */
VIQ_API u16 VIQ_fget_ui16i(FILE *f);
/** Reads 16 bits from a stream, most significant byte first. */
VIQ_API u16 VIQ_fget_ui16m(FILE *f);
/** Reads 32 bits from a stream, least significant byte first. */
VIQ_API u32 VIQ_fget_ui32i(FILE *f);
/** Reads 32 bits from a stream, most significant byte first. */
VIQ_API u32 VIQ_fget_ui32m(FILE *f);
/** Writes a byte to a stream. */
VIQ_API int VIQ_fput_ui8(FILE *f, u8 v);
/** Writes 16 bits to a stream, least significant byte first. */
VIQ_API int VIQ_fput_ui16i(FILE *f, u16 v);
/** Writes 16 bits to a stream, most significant byte first. */
VIQ_API int VIQ_fput_ui16m(FILE *f, u16 v);
/** Writes 32 bits to a stream, least significant byte first. */
VIQ_API int VIQ_fput_ui32i(FILE *f, u32 v);
/** Writes 32 bits to a stream, most significant byte first. */
VIQ_API int VIQ_fput_ui32m(FILE *f, u32 v);
/** Reads 16 bits from memory, least significant byte first. */
VIQ_API u16 VIQ_mget_ui16i(const u8 *p);
/** Reads 16 bits from memory, most significant byte first. */
VIQ_API u16 VIQ_mget_ui16m(const u8 *p);
/** Reads 32 bits from memory, least significant byte first. */
VIQ_API u32 VIQ_mget_ui32i(const u8 *p);
/** Reads 32 bits from memory, most significant byte first. */
VIQ_API u32 VIQ_mget_ui32m(const u8 *p);
/** Writes a byte to memory and returns it. */
VIQ_API u8 VIQ_mput_ui8(u8 *p, u8 v);
/** Writes 16 bits to memory, least significant byte first. */
VIQ_API void VIQ_mput_ui16i(u8 *p, u16 v);
/** Writes 16 bits to memory, most significant byte first; returns the value. */
VIQ_API u16 VIQ_mput_ui16m(u8 *p, u16 v);
/** Writes 32 bits to memory, least significant byte first. */
VIQ_API void VIQ_mput_ui32i(u8 *p, u32 v);
/** Writes 32 bits to memory, most significant byte first; returns p + 2. */
VIQ_API u8 *VIQ_mput_ui32m(u8 *p, u32 v);

/* ---- Utilities ------------------------------------------------------------------------------ */

/**
 * Reads the decimal number that a text starts with (white space before it is allowed), stores its
 * low 16 bits, and returns the address of the first white space behind it, or of the text's end, so
 * that it steps through a line of numbers. 0 where there is no number; null for a null text.
 */
VIQ_API const char *VIQ_sscanf(const char *pszText, u16 *pwValue);

/**
 * Takes a command line apart: argv[0] is the program, each further argument that starts with "-"
 * goes to the next option slot, any other to the next plain one.
 * Errors, with nothing stored: 0x10030000 "Too many arguments" above 3 options or 16 plain ones;
 * 0x10030000 "Argument too long" from 128 bytes on.
 */
VIQ_API u32 VIQ_Util_ParseCommand(tVIQ_Command *pCommand, int argc, char **argv);

/**
 * Fills an image strip by strip with a test pattern, each strip as VIQ_test_pattern_1_strip does;
 * the image must have its data. VIQ_STRIP_FINISH abandons. Nothing happens to a strip of 0 lines.
 */
VIQ_API u32 VIQ_test_pattern(u32 hImage, u16 wMode);

/**
 * Fills the current strip: every byte of the pixel in column x becomes x modulo 256; pixels of 32
 * bits become the bytes 0xAA, 0x55, 0xAA, 0x55. The lines stand back to back: padding is not
 * skipped, so that only images without padding show upright ramps.
 * Error: 0x10070000 "Unsupported image format" for depths other than 8, 15, 16, 24 and 32, and for
 * formats whose lines are shorter than their depth says (VIQ_RGGB32).
 */
VIQ_API u32 VIQ_test_pattern_1_strip(u32 hImage);

/** Diagnostic entry; prints nothing and returns 0. */
VIQ_API u32 VIQ_print_image(u32 hImage);

/** Diagnostic entry; prints nothing and returns 0. */
VIQ_API u32 VIQ_print_jpeg_image(void);

/** Diagnostic entry; prints nothing and returns 0. */
VIQ_API u32 VIQ_print_cmap(u32 hImage);

/**
 * Diagnostic entry; prints nothing and returns 0 for an image with a JPEG record.
 * Error: 0x10040001 "Not a JPEG type image".
 */
VIQ_API u32 VIQ_print_Huffman_tables(u32 hImage);

/* ---- Conversion ----------------------------------------------------------------------------- */

/**
 * Converts the current strip to another pixel format by the converter that serves it.
 *   output      converter
 *   Y8 RGB15 RGB16 RGB24 BGR24 RGBX32 BGRX32 XBGR32 XRGB32
 *               VIQ_YUV422_to_... from YUV 4:2:2, VIQ_convert_to_... from the other formats
 *   PALETTED    VIQ_convert_to_paletted, by lookup table VIQ_convert_to_paletted_LUT; from YUV
 *               4:2:2 always VIQ_YUV422_to_paletted_LUT
 *   RGB8 Y16    VIQ_convert_to_...; not from YUV 4:2:2
 *   YUV422      VIQ_convert_to_YUV422
 *   HSI         VIQ_YUV422_to_HSI; only from YUV 4:2:2
 *   VIQ_RGB24_OR_Y8   VIQ_paletted_to_RGB24_or_Y8
 * CMYK32 has no route here: call VIQ_convert_to_CMYK32. Every other command than VIQ_STRIP_NEXT and
 * VIQ_STRIP_FINISH only sets the output up.
 *
 * Flags of the output choose the route; they keep their state although the first strip copies the
 * input's flags. VIQ_FLAG_USE_LUT asks for lookup tables on the way to paletted output, and from
 * YUV 4:2:2 to packed colour (VIQ_YUV422_to_..._LUT); other routes do not look at it.
 * VIQ_FLAG_2 of the output is cleared, whether the route succeeds or fails.
 *
 * With VIQ_FLAG_DIB wOutFormat is not looked at, and the output becomes what a Windows
 * device-independent bitmap holds: lines bottom-up, padded to 4 bytes. dwOption says its depth:
 *   0    8 bits for grey and paletted input, 24 for colour
 *   8    VIQ_PALETTED: grey with a grey ramp as its colourmap, a paletted image with its own,
 *        colour dithered to the 3-3-2 cube (VIQ_convert_to_RGB8_dither)
 *   16   VIQ_RGB15
 *   24   VIQ_BGR24
 *   32   VIQ_BGRX32
 * A picture held as one strip becomes the whole bitmap. Smaller strips are bottom-up each by
 * itself: the strip that starts at line n goes to bitmap line height - n - lines.
 *
 * Errors: those of the converter, and 0x10070000 "Dithering is not yet supported" with
 * VIQ_FLAG_DITHER; 0x10070000 "Unsupported DIB option"; 0x10070000 "Unsupported or unrecognized
 * output image format", which leaves the flags untouched.
 */
VIQ_API u32 VIQ_image_convert(u32 hInImage, u32 hOutImage, u16 wOutFormat, u32 dwOption,
                              u16 wStripCommand);

/*
 * The converters follow one protocol. The input is checked; one of 0 lines per strip passes its
 * parameters on, in the target format; one that has the target format is copied with VIQ_image_copy
 * and touches no sequence; one that is not accepted is refused with 0x10070000 "Unsupported image
 * format". The first strip sets the output up, VIQ_STRIP_NEXT converts, VIQ_STRIP_FINISH abandons,
 * every other command only sets up. A failure while a strip is converted leaves the sequence under
 * way.
 *
 * Colours are brought to 8 bits of red, green and blue and packed again; integers throughout.
 *   RGB15 v   R = v >> 7, G = v >> 2, B = v << 3, each cut to 8 bits and not masked: the low bits
 *             of red carry the top of green, those of green the top of blue
 *   RGB16 v   R = v >> 8, G = v >> 3, B = v << 3, in the same way
 *   Y8 v      R = G = B = v
 *   Y16 v     R = G = B = v >> (data width - 8), cut to 8 bits; a data width below 8 is refused:
 *             0x10050000 "Data width must be > 7 for Y16"
 * The X byte of 32-bit targets is not written: it is 0 in a strip of the library, and keeps its
 * value in a caller's buffer.
 */

/** To R, G, B, X from Y8, Y16, RGB15, RGB16, RGB24, BGRX32, XBGR32. */
VIQ_API u32 VIQ_convert_to_RGBX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** To B, G, R, X from Y8, Y16, RGB15, RGB16, RGB24, RGBX32, XBGR32. */
VIQ_API u32 VIQ_convert_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** To X, B, G, R from Y8, Y16, RGB15, RGB16, RGB24, RGBX32, BGRX32. */
VIQ_API u32 VIQ_convert_to_XBGR32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** To X, R, G, B from Y8, Y16, RGB15, RGB16, RGB24, RGBX32, BGRX32. */
VIQ_API u32 VIQ_convert_to_XRGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** To R, G, B from Y8, Y16, RGB15, RGB16, BGR24, RGBX32, BGRX32, XBGR32. */
VIQ_API u32 VIQ_convert_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** To B, G, R from Y8, Y16, RGB15, RGB16, RGB24, RGBX32, BGRX32, XBGR32. */
VIQ_API u32 VIQ_convert_to_BGR24(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * To RGB16 from Y8, Y16, RGB8, RGB15, RGB24, BGR24, RGBX32, BGRX32, XBGR32:
 * R >> 3 << 11 | (G & 0xFC) << 3 | B >> 3. Two inputs are not unpacked: RGB15 v becomes
 * (v & 0xFFE0) << 1 | (v & 0x1F), and RGB8 v becomes
 * (v & 0xE0) << 8 | (v & 0x16) << 6 | (v & 0x03) << 3, which drops green's lowest bit and lets
 * blue's upper one into green's field.
 */
VIQ_API u32 VIQ_convert_to_RGB16(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * To RGB15 from Y8, Y16, RGB24, BGR24, RGBX32, BGRX32, XBGR32; not from RGB16:
 * R >> 3 << 10 | (G & 0xF8) << 2 | B >> 3.
 */
VIQ_API u32 VIQ_convert_to_RGB15(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** To RGB8 from Y8 and RGB24: (R & 0xE0) | (G & 0xE0) >> 3 | B >> 6. */
VIQ_API u32 VIQ_convert_to_RGB8(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * To grey from Y16, RGB15, RGB16, RGB24, BGR24, RGBX32, BGRX32, XBGR32 and YUV422:
 * Y = (77 R + 150 G + 29 B) >> 8, the luminance weights of ITU-R BT.601, so that white gives 255
 * and red 76. Y16 gives v >> (data width - 8), YUV 4:2:2 its Y bytes. In pictures of odd width the
 * source steps over extra bytes after each line, 1 for 32-bit input and 2 for YUV 4:2:2; they add
 * up from line to line, and positions behind the strip's data read as 0.
 * An input that fails the check is reported as "Corrupt images".
 */
VIQ_API u32 VIQ_convert_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * To 16-bit grey from Y8: v << (data width - 8). The data width is the one that the output has
 * before the first strip, 8 where that is 0.
 * Error: 0x10030000 "Grayscale data width must be 8 or more".
 */
VIQ_API u32 VIQ_convert_to_Y16(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * To C, M, Y, K from paletted images: 255 - R, 255 - G, 255 - B of the colourmap's entry, and 0.
 * Error: 0x10070000 "Only paletted input images currently supported" for any other input.
 */
VIQ_API u32 VIQ_convert_to_CMYK32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * To YUV 4:2:2 from Y8, paletted, RGB24, BGR24, RGBX32, BGRX32 and XBGR32. Each pixel is converted
 * as VIQ_CK_get_YUV_values_RGB does it; a pair shares the truncated means of its two U and V. An
 * odd width grows by one: the last pixel makes a pair by itself.
 * Error: 0x10070000 "Only even width YUV422 images are supported" for YUV 4:2:2 input of odd width.
 */
VIQ_API u32 VIQ_convert_to_YUV422(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/*
 * Out of YUV 4:2:2, direct arithmetic with 10 bits of fraction, full range ITU-R BT.601; with
 * u = U - 128, v = V - 128 and shifts that round towards minus infinity, clamped to 0..255:
 *   R = (1024 Y + 1436 v) >> 10
 *   G = (1024 Y - 731 v - 352 u) >> 10
 *   B = (1024 Y + 1815 u) >> 10
 * These checks come first, also where the strip has 0 lines: 0x10070000 "Not 16 bit YUV 4:2:2";
 * 0x10070000 "YUV422 image must be an even width".
 */

/** From YUV 4:2:2 to R, G, B. */
VIQ_API u32 VIQ_YUV422_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to B, G, R. */
VIQ_API u32 VIQ_YUV422_to_BGR24(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to R, G, B, X. */
VIQ_API u32 VIQ_YUV422_to_RGBX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to B, G, R, X. */
VIQ_API u32 VIQ_YUV422_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to X, B, G, R. */
VIQ_API u32 VIQ_YUV422_to_XBGR32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to X, R, G, B. */
VIQ_API u32 VIQ_YUV422_to_XRGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to RGB16: (R & 0xF8) << 8 | (G & 0xFC) << 3 | B >> 3. */
VIQ_API u32 VIQ_YUV422_to_RGB16(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to RGB15: (R & 0xF8) << 7 | (G & 0xF8) << 2 | B >> 3. */
VIQ_API u32 VIQ_YUV422_to_RGB15(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to grey: the Y bytes. */
VIQ_API u32 VIQ_YUV422_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * From YUV 4:2:2 to hue, saturation and intensity. Intensity is Y. Hue comes from the UV-to-hue
 * table, which is made when it is missing; it is 180 where Y is at most 20. Saturation is
 * 255 - min(R, G, B) x 255 div Y, its low 8 bits, and 0 where Y is 0; the divisor is Y and not the
 * mean of the components.
 */
VIQ_API u32 VIQ_YUV422_to_HSI(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * Converts a colour, the low 8 bits of each argument, to YUV and returns V << 16 | U << 8 | Y; full
 * range ITU-R BT.601, shifts that round towards minus infinity, each clamped to 0..255:
 *   Y = (306 R + 601 G + 117 B) >> 10
 *   U = ((512 B - 339 G - 173 R) >> 10) + 128
 *   V = ((512 R - 429 G - 83 B) >> 10) + 128
 */
VIQ_API u32 VIQ_CK_get_YUV_values_RGB(u16 wRed, u16 wGreen, u16 wBlue);

/**
 * Makes the table of hues by U << 8 | V, or makes it again: the angle of (U - 128, V - 128) in
 * whole degrees minus 120, 0 to 359. Near-grey colours, both within 6 of 128, have hue 180.
 * Errors: 0x10060000 "" no memory; 0x10020000 "Hue out of range".
 */
VIQ_API u32 VIQ_CK_generate_UV_to_hue_LUT(void);

/** Frees the UV-to-hue table. Returns 0. */
VIQ_API u32 VIQ_CK_destroy_UV_to_hue_LUT(void);

/* ---- Colourmaps and paletted images --------------------------------------------------------- */

/** Types of colourmap. */
enum {
    VIQ_CMAP_BLACK = 0, /**< all black */
    VIQ_CMAP_NAMED = 1, /**< the 16 named colours */
    VIQ_CMAP_GREY = 2,  /**< grey ramp */
    VIQ_CMAP_CUBE = 3   /**< 3-3-2 colour cube */
};

/**
 * Fills the colourmap by type. 0: all black, the number of colours stays. 1: the 16 named colours
 * of VIQ_cmap_set_colour. 2: a grey ramp of 256. 3: the 3-3-2 cube of 256, where entry
 * r << 5 | g << 2 | b is (32 r + 31, 32 g + 31, 64 b + 31).
 * Errors: 0x10030000 "Unrecognized colourmap type"; 0x100b0000 "Colourmap is NULL".
 */
VIQ_API u32 VIQ_cmap_set_type(u32 hImage, u16 wType);

/**
 * Sets an entry to a named colour: 0 black; 1 to 6 dark (level 152) blue, green, cyan, red,
 * magenta, yellow; 7 light grey (152); 8 dark grey (76); 9 to 14 the colours of 1 to 6 in full
 * (255); 15 white. An index equal to the number of colours is accepted; entry 256 is a spare one
 * that belongs to the image and to no pixel.
 * Errors: 0x10030000 "Illegal colourmap index (> max number of colours)"; 0x10070000 "Unrecognised
 * colour"; 0x100b0000 "Colourmap is NULL".
 */
VIQ_API u32 VIQ_cmap_set_colour(u32 hImage, u16 wIndex, u16 wColour);

/** Sets an entry to red, green and blue; indices and errors as in VIQ_cmap_set_colour. */
VIQ_API u32 VIQ_cmap_set_RGB_colour(u32 hImage, u16 wIndex, u8 bRed, u8 bGreen, u8 bBlue);

/**
 * Returns an entry as red << 16 | green << 8 | blue. It is an error only from 0x10000000 on; errors
 * as in VIQ_cmap_set_colour.
 */
VIQ_API u32 VIQ_cmap_get_RGB_colour(u32 hImage, u16 wIndex);

/**
 * Returns the index of the nearest entry by squared distance, the lowest of equals; 0 without
 * colours or without an image.
 */
VIQ_API u8 VIQ_cmap_find_closest_colour(u32 hImage, u8 bRed, u8 bGreen, u8 bBlue);

/**
 * Returns 1 where all entries in use have red = green = blue, else 0.
 * Error: 0x100b0000 "Colourmap is NULL".
 */
VIQ_API u32 VIQ_cmap_is_grayscale(u32 hImage);

/** Returns 1 for formats 4 to 13 and 106, and for paletted images unless their map is grey. */
VIQ_API u32 VIQ_image_is_colour(u32 hImage);

/**
 * Allocates a colourmap record: 4 bits each of red, green and blue, 8 of grey, 256 colours to
 * generate, every word of the bins 0xAA, all else 0. Null without memory. It is the caller's; free
 * it with VIQ_DebugFree.
 */
VIQ_API tVIQ_CmapInfo *VIQ_cmap_create_info(void);

/** Frees the image's colourmap record, if any. Returns 0, also for a missing image. */
VIQ_API u32 VIQ_cmap_destroy_info(u32 hImage);

/**
 * Copies the number of colours, the red, green and blue of all 256 entries, and the colourmap
 * record where the input has one.
 * Error: 0x10060000 "Cannot create cmap info structure".
 */
VIQ_API u32 VIQ_cmap_copy(u32 hInImage, u32 hOutImage);

/**
 * Says how many bits of each colour the bins of VIQ_cmap_generate keep, and makes the colourmap
 * record where there is none. 1 to 8 bits each; red, green and blue together at most 12. Call it
 * before the first strip.
 * Errors: 0x10030000 "Bits of a colour must be 1 to 8"; 0x10030000 "Too many bits for the colour
 * bins"; 0x10060000 "Cannot create cmap info structure".
 */
VIQ_API u32 VIQ_cmap_set_bits(u32 hImage, u8 bRed, u8 bGreen, u8 bBlue, u8 bGrey);

/**
 * Returns the pixels that VIQ_cmap_generate has counted in a bin; a count above 0xFFFF looks like
 * an error.
 * Errors: 0x10040000 "No cmap info structure"; 0x10030000 "Bin out of range".
 */
VIQ_API u32 VIQ_cmap_get_occurrences(u32 hImage, u16 wBin);

/**
 * Makes a colourmap from the colours of an RGB24, Y8 or Y16 picture, strip by strip. It extends the
 * map: entries from the present number of colours up to wNumColours - 1 are new; set
 * VIQ_NUM_COLOURS to 0 first for a map of the picture's colours alone. A wNumColours below the
 * present number adds nothing. Each pixel counts in the bin of its high bits (see
 * VIQ_cmap_set_bits). After the last strip the most frequent bins give the new entries, each the
 * centre of its bin; of equally frequent ones the lowest first; without more bins, black. The
 * colourmap record then tells what was found.
 * Errors: 0x10070000 "Unsupported image format"; 0x10030000 "Too many colours" above 256;
 * 0x10050000 "Data width must be > 7 for Y16"; 0x10060000 "Cannot create cmap info structure";
 * 0x10020000 "Array size overflow" for more than 4096 bins; 0x10020000 "More than 8 bits in one
 * colour", after the last strip 0x10020001 "more than 8 bits in one colour" under the name
 * "histogram_to_cmap".
 */
VIQ_API u32 VIQ_cmap_generate(u32 hImage, u16 wNumColours, u16 wStripCommand);

/**
 * Maps RGB24 or Y8 onto the colourmap that VIQ_cmap_generate has made for the input: a pixel takes
 * the entry of its bin, or the nearest entry of all where its bin has none. A paletted input is
 * copied.
 * Errors: 0x10030000 "VIQ_cmap_generate must be called first" for an input without colourmap
 * record; 0x10070000 "Unsupported image format".
 */
VIQ_API u32 VIQ_convert_to_paletted(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * Dithers RGB24 to a paletted image with the 3-3-2 cube (type 3 of VIQ_cmap_set_type). Each pixel,
 * its carries added and clamped to 255, gives the index (R & 0xE0) | (G & 0xE0) >> 3 | B >> 6 and
 * the next pixel's carries (R >> 1) & 15, (G >> 1) & 15, (B >> 1) & 0xE0. These are no quantisation
 * error; they start from 0 with each line and with every third pixel.
 */
VIQ_API u32 VIQ_convert_to_RGB8_dither(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * Turns a paletted image into Y8 where its colourmap is grey (the entries' red), else into RGB24.
 * RGB24 and Y8 input is copied. Failures are reported as "VIQ_convert_to_RGB24_or_Y8".
 * Errors: 0x10070000 "Input image should be paletted"; 0x100b0000 "Colourmap is NULL".
 */
VIQ_API u32 VIQ_paletted_to_RGB24_or_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/* ---- Conversion lookup tables --------------------------------------------------------------- */

/*
 * Six tables hold the results of slow conversions. There is one of each type for the whole library,
 * from its generation or loading until it is destroyed. A table of colourmap indices is tied to the
 * colourmap that it was made from: after that changes, generate it again.
 *   type  from       to        entries            index
 *   200   RGB16      index     65536              the pixel
 *   201   Y8         index     256                the pixel
 *   202   Y16        index     2 ^ data width     the pixel; a data width of 9 to 16
 *   203   YUV422     RGB16     524288             Y >> 1 << 12 | U >> 2 << 6 | V >> 2
 *   204   YUV422     RGB15     524288             as 203
 *   205   YUV422     index     32768              Y >> 3 << 10 | U >> 3 << 5 | V >> 3
 * An index is a byte, that of the nearest colour of the image's colourmap
 * (VIQ_cmap_find_closest_colour); RGB16 and RGB15 are words. The colours of an entry are those of
 * the lowest components that share its index: a Y16 pixel counts with its upper 8 bits, RGB16 is
 * unpacked as by the converters, YUV converted as by VIQ_YUV422_to_RGB24.
 *
 * A table of type 202 remembers the data width that it was made for. Saving, loading and converting
 * with another one is refused: 0x10050000 "LUT does not fit the data width".
 */

/**
 * Makes the table of a type, or makes it again, in the way and with the errors of
 * VIQ_generate_..._LUT. Types 203 and 204 do not look at the image, but it must exist.
 * Errors: 0x10070000 "LUT function not available for this image pixel format", unknown type.
 */
VIQ_API u32 VIQ_image_conv_LUT_generate(u32 hImage, u16 wLUTType);

/**
 * Frees the table of a type; a missing one is no error.
 * Errors: 0x10070000 "LUT function not available for this image pixel format", unknown type.
 */
VIQ_API u32 VIQ_image_conv_LUT_destroy(u16 wLUTType);

/**
 * Writes the bytes of a table to a file, in index order with nothing around them; words in the
 * machine's own byte order. For type 202 the image says the data width.
 * Errors: 0x10070000 "Unrecognized LUT type"; 0x100b0000 "LUT not generated", and no file is made;
 * 0x10090000 "Failed to create file"; 0x100a0000 "Failed to close file", also for bytes that do not
 * reach the file.
 */
VIQ_API u32 VIQ_image_conv_LUT_save(u32 hImage, u16 wLUTType, const char *pszFileName);

/**
 * Reads a table from a file of VIQ_image_conv_LUT_save. For type 202 the image says the data width.
 * A failure leaves the table that is there, or none, as it was.
 * Errors: 0x10070000 "Unrecognized LUT type"; 0x10090000 "Failed to create file", the file cannot
 * be opened; 0x100b0000 "Incorrect number of bytes read - correct LUT selected?"; 0x100a0000
 * "Failed to close file"; for a new table those of VIQ_generate_..._LUT for data width and memory.
 */
VIQ_API u32 VIQ_image_conv_LUT_load(u32 hImage, u16 wLUTType, const char *pszFileName);

/**
 * Makes the table of type 200 for the image's colourmap.
 * Errors: 0x100b0000 "Colourmap is NULL"; 0x10060000 "Unable to generate RGB16 to paletted LUT".
 */
VIQ_API u32 VIQ_generate_RGB16_to_paletted_LUT(u32 hImage);

/**
 * Makes the table of type 201 for the image's colourmap.
 * Errors: 0x100b0000 "Colourmap is NULL"; 0x10060000 "Unable to generate Y8 to paletted LUT".
 */
VIQ_API u32 VIQ_generate_Y8_to_paletted_LUT(u32 hImage);

/**
 * Makes the table of type 202 for the image's colourmap and data width.
 * Errors: 0x10050000 "data width should > 8 (and <= 16)", "data width should <= 16 (and > 8)";
 * 0x100b0000 "Colourmap is NULL"; 0x10060000 "Unable to generate Y16 to paletted LUT".
 */
VIQ_API u32 VIQ_generate_Y16_to_paletted_LUT(u32 hImage);

/** Makes the table of type 203. Errors: 0x10060000 "Unable to generate YUV to RGB16 LUT". */
VIQ_API u32 VIQ_generate_YUV422_to_RGB16_LUT(void);

/** Makes the table of type 204. Errors: 0x10060000 "Unable to generate YUV to RGB15 LUT". */
VIQ_API u32 VIQ_generate_YUV422_to_RGB15_LUT(void);

/**
 * Makes the table of type 205 for the image's colourmap.
 * Errors: 0x100b0000 "Colourmap is NULL"; 0x10060000 "Unable to generate YUV to paletted LUT".
 */
VIQ_API u32 VIQ_generate_YUV422_to_paletted_LUT(u32 hImage);

/** Frees the table of type 200. Returns 0. */
VIQ_API u32 VIQ_destroy_RGB16_to_paletted_LUT(void);

/** Frees the table of type 201. Returns 0. */
VIQ_API u32 VIQ_destroy_Y8_to_paletted_LUT(void);

/** Frees the table of type 202. Returns 0. */
VIQ_API u32 VIQ_destroy_Y16_to_paletted_LUT(void);

/** Frees the table of type 203. Returns 0. */
VIQ_API u32 VIQ_destroy_YUV422_to_RGB16_LUT(void);

/** Frees the table of type 204. Returns 0. */
VIQ_API u32 VIQ_destroy_YUV422_to_RGB15_LUT(void);

/** Frees the table of type 205. Returns 0. */
VIQ_API u32 VIQ_destroy_YUV422_to_paletted_LUT(void);

/*
 * Converters by table follow the protocol of the others. The first strip makes a missing table,
 * one of indices with the input's colourmap; the errors are those of VIQ_generate_..._LUT.
 * Those from YUV 4:2:2 refuse what VIQ_YUV422_to_RGB24 refuses.
 */

/**
 * To PALETTED from RGB16, Y8 and Y16 by the tables of type 200, 201 and 202. A Y16 pixel beyond
 * its data width takes the table's last entry.
 */
VIQ_API u32 VIQ_convert_to_paletted_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to RGB16 by the table of type 203. */
VIQ_API u32 VIQ_YUV422_to_RGB16_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to RGB15 by the table of type 204. */
VIQ_API u32 VIQ_YUV422_to_RGB15_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** From YUV 4:2:2 to PALETTED by the table of type 205. */
VIQ_API u32 VIQ_YUV422_to_paletted_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * From YUV 4:2:2 to R, G, B by the table of type 203, whose RGB16 words are unpacked as by the
 * converters: coarser than VIQ_YUV422_to_RGB24.
 */
VIQ_API u32 VIQ_YUV422_to_RGB24_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** The same to B, G, R. */
VIQ_API u32 VIQ_YUV422_to_BGR24_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** The same to R, G, B, X. */
VIQ_API u32 VIQ_YUV422_to_RGBX32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** The same to B, G, R, X. */
VIQ_API u32 VIQ_YUV422_to_BGRX32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** The same to X, B, G, R. */
VIQ_API u32 VIQ_YUV422_to_XBGR32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** The same to X, R, G, B. */
VIQ_API u32 VIQ_YUV422_to_XRGB32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/* ---- Files ---------------------------------------------------------------------------------- */

/*
 * Readers take the file named by the image's input file name, writers create the one named by its
 * output file name. Each format has one file open for reading and one for writing at a time. Mode
 * VIQ_STRIP_NEXT goes on by a strip, VIQ_STRIP_FINISH closes the file; it is closed as well after
 * the last strip. Common to all formats are
 *   0x100d0000 "Failed to write to file"        the file is closed, the sequence is over
 *   0x100a0000 "Failed to close file"           also for bytes that do not reach the file
 *   0x10050000 "Image changed during transfer"  format, width, height or line are not those of the
 *                                               first strip; the file is closed
 */

/**
 * Returns the format code of a file by its content, never by its name: VIQ_FILE_TIFF, TGA, JPEG,
 * WAVELET, EPS or BMP, tested in this order; 0 for an unknown, empty or tiny file.
 * Errors: 0x10090000 "Failed to open file", also for a directory; 0x100a0000 "Failed to close
 * file".
 */
VIQ_API u32 VIQ_image_find_file_format(const char *pszFileName);

/**
 * Reads the next strip of the file named by the input file name, whatever its format, or of the
 * memory image hMemory unless that is 0. The first call finds the format. An image whose height is
 * VIQ_HEIGHT_UNKNOWN, as in a new one, receives the whole picture as one strip; otherwise the
 * reader fills as many lines as the lines per strip say, and with 0 reads only the header and sets
 * the image's parameters. VIQ_STRIP_FINISH ends the reading at any point.
 * Errors: those of the format's reader; the error of VIQ_image_find_file_format with "Failed to
 * recognise file format"; 0x10070000 "Unsupported/unrecognized image format" for a format without
 * reader, and for VIQ_STRIP_FINISH of a wavelet file; 0x100b0000, without a report, for any other
 * mode. Each ends the reading.
 */
VIQ_API u32 VIQ_image_read(u32 hImage, u32 hMemory, u16 wMode);

/**
 * Writes the current strip in the given format to the file named by the output file name, or with
 * VIQ_FILE_MEMORY into the memory image hMemory.
 * Errors: those of the format's writer; 0x10070000 "Unsupported/unrecognized image format".
 */
VIQ_API u32 VIQ_image_write(u32 hImage, u32 hMemory, u16 wFormat, u16 wMode);

/**
 * Writes bare pixels without a header. RGB15, RGB16 and Y16 go as 16-bit values, least significant
 * byte first, taken one after the other from the buffer without regard to padding. Y8, PALETTED,
 * RGB8, the 24-bit formats, RGBX32, BGRX32, XBGR32, XRGB32, JPEG_WORK100, HSI and YUV422 go line by
 * line, padding included. Failures are reported as "VIQ_write_raw_data".
 * Errors: 0x10070000 "Unsupported image format"; 0x10090000 "Failed to create file".
 */
VIQ_API u32 VIQ_write_raw_data_file(u32 hImage, u16 wMode);

/**
 * Reads an uncompressed Windows bitmap, lines bottom-up: 8 bits as VIQ_PALETTED with a palette of
 * 256 entries, 24 bits as VIQ_RGB24. With 0 lines per strip only the header is read and the image's
 * parameters are set. Pixels are expected right behind the header and palette. A failure closes the
 * file, so that the next call starts again with the header.
 * Errors: 0x10090000 "Failed to open file"; 0x10070000 "Unsupported image depth"; 0x10070000
 * "Compressed images not supported"; 0x10070000 "Unrecognized compression type"; 0x10050000
 * "Corrupt image" for a width or height of 0 and for a file too short for them; the check's code
 * with "VIQ_image_check failed"; 0x10020000 "fseek failed", which leaves the file open.
 */
VIQ_API u32 VIQ_read_BMP_file(u32 hImage, u16 wMode);

/**
 * Writes an uncompressed Windows bitmap: VIQ_RGB24 with 24 bits, VIQ_PALETTED with 8 bits and its
 * colourmap, VIQ_Y8 with 8 bits and a grey ramp, which the image's colourmap becomes too. The
 * strip is left as it was. VIQ_STRIP_FINISH writes the current strip before it closes the file,
 * whose missing lines are 0.
 * Errors: 0x1007xxxx "Unsupported image format", xxxx being the pixel format; 0x10090000 "Failed to
 * create file"; 0x10070000 "Image too large for a BMP file" from 4 GiB on; 0x100b0000 "Colourmap is
 * NULL"; 0x10020000 "fseek failed", which leaves the file open; 0x1006xxxx "Attempting to malloc:".
 */
VIQ_API u32 VIQ_write_BMP_file(u32 hImage, u16 wMode);

/**
 * Writes the bytes of VIQ_write_BMP_file into a buffer and stores their number. The buffer must
 * hold them all: height x (the line's bytes, rounded up to 4) and 54 bytes of header, for 8 bits
 * 1078. The picture must be held as one strip; a second strip is refused with 0x100b0000 "Only a
 * complete image can be written". Other errors as in VIQ_write_BMP_file.
 */
VIQ_API u32 VIQ_image_write_BMP_buffer(u32 hImage, u8 *pBuffer, u32 *pdwSize, u16 wMode);

/**
 * Reads an uncompressed TIFF file of either byte order: the first picture, chunky, in any number of
 * TIFF strips. With 0 lines per strip only the header is read and the image's parameters are set.
 *   grey 1 bit          VIQ_Y1, lines of ceiling(width / 8) bytes
 *   grey 8 bits         VIQ_Y8; 0 is black also where the file says that it is white
 *   grey 9 to 16 bits   VIQ_Y16 with that data width; two bytes a sample, taken as big-endian in
 *                       files of both orders
 *   palette 4, 8 bits   VIQ_PALETTED of 256 colours, of which the file sets as many as it has
 *   RGB 24 bits         VIQ_RGB24
 * Every TIFF strip that the height calls for must lie in the file. A failure closes the file.
 * Errors: 0x10090000 "Failed to open file"; 0x100c0000 "Expecting 'MM' or 'II'", "Expecting 42",
 * "expecting 1 entry in NewSubFileType", "... ImageWidth", "... ImageLength", "... Compression",
 * "expecting single full resolution image"; 0x10070000 "expecting 1 entry in PhotometricInterp",
 * "... SamplesPerPixeltr", "... RowsPerStrip", "unsupported image", "compressed TIFF images not
 * supported", "unsupported image type", "unsupported TIFF format"; 0x10050000 "0 rows per strip";
 * 0x10050000 "Corrupt image" for a width or height of 0 and for lists, colour maps and lines beyond
 * the end of the file; 0x100b0000 "Colourmap is NULL"; the check's code with "VIQ_image_check
 * failed".
 */
VIQ_API u32 VIQ_read_TIFF_file(u32 hImage, u16 wMode);

/**
 * Writes an uncompressed big-endian TIFF file with one TIFF strip: VIQ_Y1, VIQ_Y8, VIQ_Y16 (its
 * data width as the bits per sample, two bytes each), VIQ_RGB24, VIQ_CMYK32, and VIQ_PALETTED of
 * 256 colours. Lines go without their padding.
 * Errors: 0x1007xxxx "Unsupported image format", xxxx being the pixel format; 0x1007xxxx
 * "Unsupported palette/colourmap size", xxxx being the number of colours; 0x10070000 "Image too
 * large for a TIFF file", a side above 65535 or 4 GiB; 0x10050000 "Corrupt image", a side of 0;
 * 0x100b0000 "Colourmap is NULL"; 0x10090000 "Failed to create file".
 */
VIQ_API u32 VIQ_write_TIFF_file(u32 hImage, u16 wMode);

/** A 16-bit value of a TIFF file: big-endian for order 77 ("M"), else little-endian. */
VIQ_API u16 TIFF_read_ui16(FILE *f, u16 wOrder);

/** A 32-bit value of a TIFF file: big-endian for order 77 ("M"), else little-endian. */
VIQ_API u32 TIFF_read_ui32(FILE *f, u16 wOrder);

/** A value of a TIFF file by field type: 16 bits for type 3, 32 bits for any other one. */
VIQ_API u32 TIFF_read_data(FILE *f, u16 wOrder, u16 wType);

/**
 * Reads an uncompressed TGA file: grey as VIQ_Y8, true colour of 15, 16 or 24 bits as VIQ_RGB24.
 * Words of 15 and 16 bits hold five bits each of red, green and blue, blue lowest, and are unpacked
 * like VIQ_RGB15. Lines are taken in file order whatever the header says, pixels right behind the
 * 18 bytes of the header. Grey lines are taken with the padding that the image's line alignment
 * gives them: set that to 1 to read files of other programs at every width. A failure closes the
 * file.
 * Errors: 0x10090000 "Failed to open file"; 0x10070000 "unsupported image", it has a colourmap;
 * 0x10070000 "unsupported image type"; 0x10050000 "Corrupt image" for a width or height of 0 and
 * for a file too short for them; the check's code with "VIQ_image_check failed".
 */
VIQ_API u32 VIQ_read_TGA_file(u32 hImage, u16 wMode);

/**
 * Writes an uncompressed TGA file, top line first: VIQ_Y8, VIQ_RGB15 as 16 bits in memory order,
 * VIQ_RGB24 as blue, green, red. Lines of Y8 and RGB15 go with their padding: a line alignment of 1
 * gives files that other programs read at every width. Errors: 0x10050000 "Corrupt image", a side
 * of 0; 0x1007xxxx "Unsupported image format", xxxx being the pixel format; 0x10070000 "Image too
 * large for a TGA file", a side above 65535; 0x10090000 "Failed to create file".
 */
VIQ_API u32 VIQ_write_TGA_file(u32 hImage, u16 wMode);

/**
 * Reads an EPS file of VIQ_write_EPS_file; other PostScript is not understood. Files of language
 * level 2 give VIQ_PALETTED, whose number of colours is the number in the file, the index of the
 * last colour; others give VIQ_Y1, VIQ_Y8 or VIQ_RGB24. Digits may have white space anywhere
 * between them. Padding bytes become 0. A failure closes the file.
 * Errors: 0x10090000 "Failed to open file"; 0x100c0000 "Expecting hexadecimal digits"; 0x10020000
 * "Unexpected EOF read", reported as "fread_word_ascii"; 0x10050000 "Corrupt image" for a width or
 * height of 0, for a file too short for them and for more than 256 colours; 0x100b0000 "Colourmap
 * is NULL"; the check's code with "VIQ_image_check failed".
 */
VIQ_API u32 VIQ_read_EPS_file(u32 hImage, u16 wMode);

/**
 * Writes VIQ_Y1, VIQ_Y8, VIQ_PALETTED or VIQ_RGB24 as Encapsulated PostScript that prints the
 * picture centred on a page of 522 x 720 points, turned by 90 degrees where it is wider than high.
 * The spare text of the image becomes the creator. Lines of VIQ_Y1 are padded to the line alignment
 * like all others, unless VIQ_BYTES_PER_LINE says ceiling(width / 8), as after reading a TIFF file.
 * VIQ_STRIP_FINISH closes the file without its trailer. The dictionary of paletted files is not one
 * that PostScript interpreters accept: those files are for VIQ_read_EPS_file.
 * Errors: 0x1007xxxx "Unsupported image format", xxxx being the pixel format; 0x10050000 "Corrupt
 * image" for a width or height of 0; 0x100b0000 "Colourmap is NULL"; 0x10090000 "Failed to create
 * file".
 */
VIQ_API u32 VIQ_write_EPS_file(u32 hImage, u16 wMode);

/* ---- JPEG ----------------------------------------------------------------------------------- */

/*
 * A JPEG image is an image with a JPEG record (Tjpeg), made by VIQ_JPEG_image_create; every
 * function below gives 0x10040000 "Not a JPEG image" without one. Baseline pictures of one scan are
 * handled: grey, 4:2:2 (read and written) and 4:2:0 (read, pixel format VIQ_YUV411).
 *
 * Coded data. The library allocates the record's data and grows it where it has to. A caller may
 * set a buffer of its own with VIQ_PTR_JPEG_DATA and VIQ_FLAG_LOCKED: it stays in use, is never
 * freed, and must hold what VIQ_JPEG_malloc_data would allocate, or, for VIQ_JPEG_buffer_read, as
 * many bytes as the stream has. Appending to a longer one starts with VIQ_JPEG_malloc_N_bytes_data,
 * which then only tells its size. VIQ_JPEG_PARAM is the number of bytes in use.
 *
 * A picture to a file and back:
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
 * Code tables, the decode in progress, and the states of the writers and of VIQ_JPEG_build_image
 * are one of each for the whole process.
 *
 * The code tables serve the coder and the decoder. VIQ_Init builds the standard ones; every
 * decompression builds those of its own stream, which then also code the pictures that are
 * compressed after it, while the header of a compressed picture always names the standard tables.
 * After decompressing a stream that others have written, and before compressing, bring the
 * standard codes back, for grey and colour alike:
 *
 *     VIQ_image_set_parameter(jpeg, VIQ_IMAGE_TYPE, VIQ_YUV422);
 *     VIQ_JPEG_set_default_H_tables(jpeg);
 *     VIQ_JPEG_generate_H_codetable_LUTs(jpeg);
 */

enum { VIQ_JPEG_COMPONENTS = 600, VIQ_JPEG_DATA_START = 601, VIQ_JPEG_Q_TABLES = 602 };

/** Mode of the JPEG writers that separates two frames of a sequence. */
enum { VIQ_JPEG_SEPARATOR = 5 };

/**
 * Makes an image with a JPEG record: quality factor 32, a comment of 32 blanks, all else 0. Returns
 * its handle. Errors: those of VIQ_image_create; 0x10060000 "".
 */
VIQ_API u32 VIQ_JPEG_image_create(void);

/**
 * Prepares a JPEG image for coding the input: width, height and lines per strip, and the frame and
 * scan parameters of a grey (VIQ_Y8) or 4:2:2 (VIQ_YUV422) picture. Part of VIQ_JPEG_compress.
 * Errors: the check's code with "Corrupt image - probably an internal error".
 */
VIQ_API u32 VIQ_JPEG_set_image(u32 hInImage, u32 hJpegImage);

/**
 * Sets the quality factor, 1 to 400: the larger, the finer the quantisation. 16 gives the standard
 * tables. Errors: 0x10030000 "Q factor of range".
 */
VIQ_API u32 VIQ_JPEG_set_Quality_factor(u32 hImage, u16 wFactor);

/**
 * Sets the quality factor to 800 / wFactor, rounded down; wFactor is 2 to 800: the larger, the
 * coarser the quantisation. 50 gives the standard tables. Errors: 0x10030000 "Q factor of range".
 */
VIQ_API u32 VIQ_JPEG_set_Quantization_factor(u32 hImage, u16 wFactor);

/**
 * Builds quantisation tables 0 and 1 and their reciprocals from the quality factor. Entries lie
 * between 1 and 255. Errors: 0x10030000 "Q factor of range" a record whose factor is 0.
 */
VIQ_API u32 VIQ_JPEG_make_Q_tables(u32 hImage);

/** Sets the four standard Huffman tables. */
VIQ_API u32 VIQ_JPEG_set_default_H_tables(u32 hImage);

/**
 * Builds the process-wide code tables from the record's Huffman tables: those of table 0, for a
 * colour image also of table 1. They code and decode until they are built anew.
 * Errors: 0x10050000 "Corrupt Huffman table" more than 256 symbols or more codes than there is room
 * for.
 */
VIQ_API u32 VIQ_JPEG_generate_H_codetable_LUTs(u32 hImage);

/**
 * Builds the process-wide decoding tables from the code tables that
 * VIQ_JPEG_generate_H_codetable_LUTs has built of the same image. DC codes are looked up by 9 bits,
 * those of table 1 by 11: longer ones count as invalid. Errors: 0x10060000 "".
 */
VIQ_API u32 VIQ_JPEG_generate_Huffman_decode_tables(u32 hImage);

/**
 * VIQ_JPEG_COMPONENTS, VIQ_JPEG_DATA_START or VIQ_JPEG_Q_TABLES (their number).
 * Errors: 0x10030000 "Unknown parameter".
 */
VIQ_API u32 VIQ_JPEG_get_parameter(u32 hImage, u16 wId);

/**
 * Copies the record but for its file and data; the data length goes along. Errors: 0x10040000 ""
 * also for an image without a record.
 */
VIQ_API u32 VIQ_JPEG_copy_parameters(u32 hFrom, u32 hTo);

/**
 * Allocates the data: the length of the open file, made even, or else bytes per line x lines per
 * strip + 10000; 4200 bytes where that is below 4096. A caller's locked buffer stays.
 * Errors: the check's code with "Corrupt image"; 0x1006xxxx "", xxxx being the size.
 */
VIQ_API u32 VIQ_JPEG_malloc_data(u32 hImage);

/** The same with so many bytes, whatever the image is like. */
VIQ_API u32 VIQ_JPEG_malloc_N_bytes_data(u32 hImage, u32 dwBytes);

/** Frees the data, unless the image has VIQ_FLAG_LOCKED; the data length becomes 0. */
VIQ_API u32 VIQ_JPEG_free_data(u32 hImage);

/** Frees the record with its data, as VIQ_image_destroy does; 0 also without a record. */
VIQ_API u32 VIQ_JPEG_destroy_Tjpeg(u32 hImage);

/**
 * Codes a whole picture of VIQ_Y8, VIQ_YUV422, VIQ_RGB24, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32 or
 * VIQ_XBGR32 into the JPEG image, with the record's quality factor and the process-wide code
 * tables; the record gets the standard Huffman tables, which these have to be. The JPEG image takes
 * the input's parameters, its file names among them. A size that is no multiple of the coded blocks
 * (grey 8 x 8, colour 16 x 8) is padded by repeating the last pixels; the JPEG image keeps the real
 * one. Nothing is written to a file. Errors: the check's code with "Corrupt image"; 0x1007xxxx
 * "This function only supports a complete image", xxxx being the lines per strip; 0x1007xxxx
 * "Unsupported image format", xxxx being the format; 0x10070000 "Unsupported image type" a
 * VIQ_YUV422 picture whose size is no multiple of 16 x 8 (VIQ_pad_to_MCU_1_strip); 0x10070000
 * "Image too large for JPEG" more than 65535 pixels a side; 0x10050000 "Image has no size". Under
 * VIQ_JPEG_compress_1_strip: 0x100b0000 "Huffman codes lack symbols" after the decompression of a
 * stream whose tables lack them; 0x1006xxxx "" also for a caller's buffer that is too small.
 */
VIQ_API u32 VIQ_JPEG_compress(u32 hInImage, u32 hJpegImage);

/**
 * Reads a picture, codes it and passes it on. wInMode 1: hInImage is a memory image; 2: hInImage
 * names a file and is read itself. wOutMode 1: hOutImage gets the coded data
 * (VIQ_JPEG_build_image); 2: it is written to its output file (VIQ_JPEG_file_write), whose name is
 * the input's. The picture must come as one strip. Other modes do nothing. Returns the first error
 * of the functions called.
 */
VIQ_API u32 VIQ_JPEG_compress_image_to_image(u32 hInImage, u32 hOutImage, u16 wInMode,
                                             u16 wOutMode);

/**
 * Makes a picture whose width is a multiple of 8 (VIQ_Y8) or 16 (the other formats) and whose
 * height is a multiple of 8, by repeating the last pixel of each line and the last line. Formats as
 * in VIQ_JPEG_compress but for VIQ_YUV422; the picture must be complete.
 * Errors: 0x10070000 "Unsupported image type"; 0x10050000 "Image has no size".
 */
VIQ_API u32 VIQ_pad_to_MCU_1_strip(u32 hInImage, u32 hPaddedImage);

/**
 * Decodes the next strip. Where the output's pixel format is VIQ_YUV422, colour comes as such,
 * otherwise as VIQ_RGB24; grey comes as VIQ_Y8. The strip is as high as the JPEG image's lines per
 * strip say, rounded up to a multiple of 8. The decoded picture is as large as its coded blocks:
 * the width rounded up to a multiple of 16 (grey 8), the height to a multiple of 8; crop it where
 * that matters. While a decode is under way the JPEG image has this size too, and its own again
 * afterwards. All data is decoded with the first strip. VIQ_STRIP_FINISH abandons the decode.
 * Errors: 0x1007xxxx "Unsupported image format", xxxx being the format; 0x10050000 "Image has no
 * size"; 0x10050000 "Image too large for its data" more than 32 blocks a byte, 8 times what can
 * be coded; 0x100b0000 "Sequence under way with another image"; 0x10070000 "For YUV 4:1:1 JPEG
 * decoding, strip must be multiple of 16 lines" (VIQ_JPEG_izz_1_strip) unless the strip ends the
 * picture. Under VIQ_Huffman_decode_1_strip, 0x100b0000: "B: corrupt DC Huffman sequence", "B:
 * corrupt AC Huffman sequence", "B: corrupt AC Huffman sequence (> 63 coeffs read)", B being the
 * block: Y1 (also grey), Y2, Y3, Y4, U, V; "Buffer failed to fill at start". Under read_dc_value,
 * 0x100b0000 "invalid DC category". A marker FF D9 inside the data is reported under refill_buffer
 * as "Unexpected EOI - processing byte 1" (0x100b0000) or "Unexpected EOI - processing byte 2"
 * (0x100b0001) and read as data; past the data's end there are 1 bits. An error in the first
 * strip ends the decode.
 */
VIQ_API u32 VIQ_JPEG_decompress(u32 hJpegImage, u32 hOutImage, u16 wMode);

/**
 * Decodes a whole JPEG image strip by strip and passes the picture on. wInMode 2 reads the file
 * first, if none is open, in strips of 8 lines. The output gets VIQ_YUV422 if it has that format,
 * otherwise VIQ_RGB24 (grey: VIQ_Y8). wOutMode 1: hOutImage becomes a memory image; any other: the
 * strips are written to its output file in the file format of that number (VIQ_FILE_...), whose
 * name is the JPEG image's.
 * Returns the first error of the functions called.
 */
VIQ_API u32 VIQ_JPEG_decompress_image_to_image(u32 hJpegImage, u32 hOutImage, u16 wInMode,
                                               u16 wOutMode);

/**
 * Writes the JPEG image to its output file. The first call creates the file and writes the header.
 * VIQ_STRIP_NEXT appends the data and counts the lines per strip; when they reach the height, or
 * with VIQ_STRIP_FINISH, the end marker follows and the file is closed. VIQ_JPEG_SEPARATOR writes
 * the separator of two frames. VIQ_STRIP_FINISH works whatever has become of the image; with no
 * file under way it does nothing.
 * Errors: 0x10050000 "Corrupt image" neither 1 nor 3 components, or more than 4 quantisation
 * tables; 0x10070000 "Image too large for JPEG" more than 65535 pixels a side; 0x1006xxxx "";
 * 0x10090000 "Failed to create file"; 0x100d0000 "Failed to write to file"; 0x100a0000 "Failed to
 * close file".
 */
VIQ_API u32 VIQ_JPEG_file_write(u32 hJpegImage, u16 wMode);

/**
 * The same into memory. The first call writes header and data at the buffer and sets the length;
 * later calls write at the address that they are given and add what they write. The buffer must
 * have room: header and end take less than 1500 bytes. Errors as there, but for those of files.
 */
VIQ_API u32 VIQ_JPEG_buffer_write(u32 hJpegImage, u8 *pBuffer, u32 *pdwLength, u16 wMode);

/**
 * Opens the input file and reads its header up to the coded data, which is left in the file: the
 * file stays open in the record and the image has no data. Close it with VIQ_JPEG_file_close. A
 * stream that ends between two segments is read as far as it goes.
 * Errors, after which the file is closed: 0x10090000 "The VIQ image handle refers to a non-JPEG
 * image"; 0x10090000 "Failed to open JPEG file"; 0x10050000 "Expecting PREFIX marker"; 0x10050000
 * "Expecting SOI marker"; 0x100500xx "Expecting 0xFF marker code", xx being the byte; 0x100500xx
 * "Unrecognised marker detected", xx being the marker; 0x10050000 "Unexpected end of file" in a
 * segment; 0x10050000 "Corrupt segment" lengths and counts that do not agree; 0x10050000 "Corrupt
 * Huffman table"; 0x10050000 "Quantisation table number above 3"; 0x10050000 "Image has no size";
 * 0x10050000 "Scan before frame"; 0x10050000 "More than one frame"; 0x10070000 "16 bit integer
 * precision not supported"; 0x10070000 "Only 8 bit samples are supported"; 0x10070000 "Unsupported
 * image depth"; 0x10070000 "Unknown colour image format"; 0x10070000 "Define Restart Interval not
 * supported"; 0x10070000 "Only one scan of all components is supported".
 */
VIQ_API u32 VIQ_JPEG_file_open(u32 hJpegImage);

/**
 * Reads the input file, coded data included, and the start of its comment. The number of frames is
 * parameter 18. Errors as in VIQ_JPEG_file_open; 0x1006xxxx "".
 */
VIQ_API u32 VIQ_JPEG_file_read(u32 hJpegImage);

/** Closes the record's file, if there is one. Errors: 0x100a0000 "Failed to close file". */
VIQ_API u32 VIQ_JPEG_file_close(u32 hJpegImage);

/**
 * The same from memory. Errors as in VIQ_JPEG_file_open, but: 0x10090000 "Not JPEG stream/data" no
 * buffer; 0x100700xx "Unrecognised marker detected"; 0x10050000 "Unexpected end of JPEG stream".
 */
VIQ_API u32 VIQ_JPEG_buffer_read(u32 hJpegImage, const u8 *pBuffer, u32 dwLength);

/** The record's file; null without one. */
VIQ_API FILE *VIQ_JPEG_get_file_ptr(u32 hJpegImage);

/**
 * Gives the record a file, which the caller closes, or VIQ_JPEG_file_close; other functions do not.
 */
VIQ_API u32 VIQ_JPEG_set_file_ptr(u32 hJpegImage, FILE *f);

/**
 * Collects the coded data of successive strips in one JPEG image: the first call sets the output up
 * like the frame. VIQ_STRIP_NEXT appends the frame's data; when the lines per strip have reached
 * the height, or with VIQ_STRIP_FINISH, the output's buffer is cut to its data. Frames of 0 lines
 * do nothing. Errors: 0x10040000 "Input image does not exist"; 0x10040000 "Output image does not
 * exist"; the check's code with "Corrupt image"; 0x1006xxxx "" also for a caller's buffer that is
 * too small.
 */
VIQ_API u32 VIQ_JPEG_build_image(u32 hJpegFrame, u32 hJpegOut, u16 wMode);

/**
 * Appends the frame's data to a sequence, after a separator if the sequence holds data already, and
 * counts it in parameter 18. The library's own buffer grows with it. hJpegFrame 0 cuts the
 * sequence's buffer to its data.
 * Errors: 0x10040000 "Output image does not exist"; 0x1006xxxx "" also for a caller's buffer that
 * is too small; 0x10050000 "Corrupt image" a data length beyond the buffer.
 */
VIQ_API u32 VIQ_JPEG_sequence_build(u32 hJpegFrame, u32 hJpegSequence);

/**
 * Counts the frames in the open file of VIQ_JPEG_file_open and stores their number as parameter 18.
 * Errors: 0x10040000 "JPEG file not opened"; 0x100d0000 "Failed to read from file".
 */
VIQ_API u32 VIQ_JPEG_sequence_calc_length(u32 hJpegImage);

/**
 * Moves data_ptr, or the open file, to the start of frame dwFrame, the first one being 1; it
 * becomes parameter 19. Errors: 0x10030000 "starting frame > number of frames"; 0x10030000
 * "starting frame is 0"; 0x10050000 "Frame separator not found".
 */
VIQ_API u32 VIQ_JPEG_sequence_set_start_frame(u32 hJpegImage, u32 dwFrame);

/**
 * Copies one frame of a sequence in memory into a JPEG image of its own. All frames but the last
 * keep the two bytes of the separator behind them. Errors, under VIQ_sequence_JPEG_extract_frame:
 * 0x10030000 "frame number > number of frames"; otherwise as in
 * VIQ_JPEG_sequence_set_start_frame.
 */
VIQ_API u32 VIQ_JPEG_sequence_extract_frame(u32 hJpegSequence, u32 hJpegFrame, u32 dwFrame);

/* ---- Wavelet images -------------------------------------------------------------------------
 *
 * A wavelet image is an image handle with VIQ_FLAG_100 whose data pointer names a wavelet record:
 * the coding parameters, the compressed bytes and the settings that a decompressor needs. It holds
 * a picture of VIQ_Y8 or VIQ_YUV422 in one of two codings: type 0 is fast, type 1 makes the smaller
 * stream. The stream does not record its type; a decompressor of the other type refuses it.
 *
 * To compress: create, set quality and subbands, VIQ_WVLT_compress with mode 3, write to a file or
 * a buffer, destroy. To decompress: create, read, VIQ_WVLT_decompress with mode 3, destroy. A mode
 * is the low 16 bits of the argument: 3 does the work, 4 releases the modules that did it, any
 * other only prepares them.
 *
 * A function that is given another image reports 0x10040000 "Not a WVLT image".
 */

/**
 * Creates a wavelet image of type 0 (fast) or 1 (small), with quality 50 and 6 subbands.
 * Result: the handle.
 * Errors: 0x10030000 "Invalid compression type"; those of VIQ_image_create; 0x10060000.
 */
VIQ_API u32 VIQ_WVLT_image_create(u16 wType);

/** Frees the record and everything behind it, then destroys the image. */
VIQ_API u32 VIQ_WVLT_image_destroy(u32 hWvlt);

/**
 * Sets the quality from 0 (smallest) to 400 (almost without loss); 50 to 100 are usual.
 * Errors: 0x1003xxxx "Q factor out of range", xxxx being the value refused.
 */
VIQ_API u32 VIQ_WVLT_set_Quality_factor(u32 hWvlt, u16 wQuality);

/**
 * Sets the number of wavelet decompositions from 1 to 32. A picture too small for so many gets as
 * many as its sides allow: a level is made only while both are at least 5.
 * Errors: 0x1003xxxx "Subbands out of range", xxxx being the value refused.
 */
VIQ_API u32 VIQ_WVLT_set_subbands(u32 hWvlt, u16 wSubbands);

/**
 * Compresses a picture, which is held whole, into a wavelet image. The wavelet image takes over the
 * picture's parameters and afterwards describes a stream: format 0, 8 bits, no size, and as
 * parameter 16 the bytes of the stream. A failure empties the stream.
 * Errors: the check's code with "Corrupt image", and 0x10050000 with it for a picture without
 * lines or a strip shorter than it; 0x10050000 "No source data"; 0x10070000 "Unsupported source
 * image type"; 0x10070000 "YUV422 image must be an even width"; 0x10030000 "Invalid number of DWT
 * decompositions"; 0x1002xxxx "No image info" and "Wavelet compressor failed", xxxx being the
 * status of the module that failed, also as "GetSettings" with "Can't get settings size" and "Can't
 * get settings"; 0x10060000.
 */
VIQ_API u32 VIQ_WVLT_compress(u32 hInImage, u32 hWvlt, u32 dwMode);

/**
 * Decompresses a wavelet image into an ordinary one, which holds the picture whole, lines aligned
 * to 2 bytes. A stream claims no more than 65536 pixels for each of its bytes, or it is refused
 * before anything is allocated. A failure frees the output's data. After mode 4 the chain of the
 * decompressor is gone for good: to decompress again, create another wavelet image.
 * Errors: 0x100c0000 "No image to decompress"; 0x100b0000 "Decompressor settings not loaded";
 * 0x10020000 "Can't write decompressor settings", which is also the answer to a stream of the other
 * type; 0x1002xxxx "No image info" and "Wavelet decompressor failed"; 0x10070000 "Unsupported
 * source image type"; 0x10050000 "Corrupt WVLT stream"; 0x10060000; those of the image check.
 */
VIQ_API u32 VIQ_WVLT_decompress(u32 hWvlt, u32 hOutImage, u32 dwMode);

/**
 * Writes the stream to the file named by the output file name. Modes other than 3 write nothing.
 * Errors: 0x10050000 "No image data"; 0x10090000 "Failed to create file"; 0x100d0000 "Disk full";
 * 0x100a0000 "Failed to close file".
 */
VIQ_API u32 VIQ_WVLT_file_write(u32 hWvlt, u16 wMode);

/**
 * Reads a stream from the file named by the input file name.
 * Errors: 0x1009xxxx "Failed to open file", xxxx being the system's error number; 0x100d0000
 * "Unexpected end of file"; 0x10070000 "Not a WVLT file"; 0x10070000 "File version mismatch";
 * 0x10050000 "Corrupt WVLT stream"; 0x10060000.
 */
VIQ_API u32 VIQ_WVLT_file_read(u32 hWvlt);

/**
 * Writes the stream to a buffer that is large enough, and stores the bytes written. Mode 3 writes
 * it whole. Any other mode but 4 writes header and settings alone; a following call with mode 3 and
 * an address behind them adds the data and makes the count the total. The step is shared by all
 * wavelet images: finish one (mode 3 or 4) before another is begun.
 * Errors: 0x10030000 "Null buffer ptr"; 0x10030000 "Null count ptr"; 0x10050000 "No image data".
 */
VIQ_API u32 VIQ_WVLT_buffer_write(u32 hWvlt, u8 *pBuffer, u32 *pdwCount, u16 wMode);

/**
 * Takes a copy of a stream of dwSize bytes.
 * Errors: 0x10030000 "Null buffer ptr"; 0x10030000 "Buffer too small"; 0x10040000 "Not a WVLT
 * image" for other bytes; 0x10070000 "File version mismatch"; 0x10050000 "Corrupt WVLT stream";
 * 0x10060000.
 */
VIQ_API u32 VIQ_WVLT_buffer_read(u32 hWvlt, const u8 *pBuffer, u32 dwSize);

/* ---- Geometry ------------------------------------------------------------------------------- */

/*
 * Strip functions take VIQ_STRIP_NEXT or VIQ_STRIP_FINISH as their mode, keep the pixel format and
 * the data width, and give an input of 0 lines per strip's parameters to the output as they are.
 * Rectangles count from 0 at the top left pixel.
 */

/**
 * Cuts out a rectangle, clipped at the right and bottom edge, bytes as they are; YUV 4:2:2 too, so
 * that an odd x or width takes its pairs apart. Strips outside the rectangle give 0 lines.
 * Formats: Y8, PALETTED, RGB15, RGB16, RGB24, BGR24, RGBX32, BGRX32, XBGR32, YUV422, CMYK32, Y16.
 * Errors: 0x1007xxxx "Unsupported image format", xxxx being the format; 0x10030000 "Rectangle
 * outside the image" for a negative position, an empty size, or nothing of it inside.
 */
VIQ_API u32 VIQ_IP_crop(u32 hInImage, u32 hOutImage, i16 x, i16 y, i16 width, i16 height,
                        u16 wMode);

/**
 * Copies an image into another of the same format, with its top left pixel at column x and line y,
 * which count from 1. Both hold their pictures whole. A pixel is taken as bytes per line / width of
 * the host, which differs from its true size where the padding is as large as the line.
 * Errors: the check's code with "hInImage is corrupt" or "hInsertImage is corrupt"; 0x10070000
 * "Pixel Formats are different", "Trying to insert image too far left" (x = 0), "Trying to insert
 * image too far right", "Trying to insert image too high" (y = 0), "Trying to insert image too
 * low", "Images do not match" where one holds fewer lines than its height.
 */
VIQ_API u32 VIQ_IP_image_insert(u32 hInImage, u32 hInsertImage, u32 x, u32 y);

/**
 * Keeps the first of every wFactor pixels of the first of every wFactor lines of the strip; the
 * output is width / factor by height / factor. Pairs of YUV 4:2:2 keep the chroma of their first
 * pixel.
 * Formats: Y8, PALETTED, RGB15, RGB16, RGB24, YUV422.
 * Errors: 0x1007xxxx "Unsupported image format", xxxx being the format; 0x10070000 "Unsupported
 * sub-sampling factor" for 0; 0x10070000 "YUV422 image must be an even width" for the output.
 */
VIQ_API u32 VIQ_IP_subsample(u32 hInImage, u32 hOutImage, u16 wFactor, u16 wMode);

/**
 * Repeats every pixel wFactor times along the line and every line wFactor times.
 * Formats: as VIQ_IP_subsample. Errors: 0x1007xxxx "Unsupported image format"; 0x10070000
 * "Unsupported replication factor" for 0; 0x10070000 "YUV422 image must be an even width";
 * 0x10030000 "Output image too large" from 2^32 pixels or lines on.
 */
VIQ_API u32 VIQ_IP_pixel_rep(u32 hInImage, u32 hOutImage, u16 wFactor, u16 wMode);

/**
 * Scales RGB24 or Y8 bilinearly. With 13 bits of fraction a step is width / output width along the
 * line, and (height - 1) / (output height - 1) down; with a height or width of 1 it is 0. Between
 * the samples p0 and p1, f 256ths apart from p0, lies ((256 - f) * p0 >> 8) + (f * p1 >> 8); the
 * sample behind the last one is the last one. Lines are carried from strip to strip, so that strips
 * of any height give one picture; each gives as many lines as can be made by then. The input's own
 * size is a copy. Failures bear the name "VIQ_IP_threshold_grayscale".
 * Errors: 0x10070000 "Supports RGB24 & Y8 only"; 0x10030000 "Width or height is 0"; 0x10050000 "No
 * image data" for an input without any width or height; as
 * "VIQ_IP_scale_1_strip" 0x10020000 "Internal: Not enough lines to process" for a strip from which
 * no line can be made although some are missing (nothing of it is used up: a taller strip in its
 * place goes on), and 0x10060000 "Malloc fail - no memory?".
 */
VIQ_API u32 VIQ_IP_scale(u32 hInImage, u32 hOutImage, u32 dwWidth, u32 dwHeight, u16 wMode);

/**
 * Turns an image that is held whole clockwise by 0, 90, 180 or 270 degrees. A quarter turn of YUV
 * 4:2:2 gives each pair the mean chroma (a + b) >> 1 of the two pixels that it covers.
 * Formats: as VIQ_IP_mirror_image. Errors: 0x10070000 "Unsupported image format", "Only angles of
 * 0, 90, 180 and 270 supported", "YUV422 image must be an even width" for either side of a quarter
 * turn; 0x10050000 "No image data" where fewer lines are held than the height.
 */
VIQ_API u32 VIQ_IP_rotate_image(u32 hInImage, u32 hOutImage, u16 wAngle);

/**
 * Reverses every line. YUV 4:2:2 reverses its pairs, swaps the luma within them and keeps U before
 * V. Formats: Y8, Y16, PALETTED, RGB8, RGB15, RGB16, RGB24, BGR24, YUV422, RGBX32, BGRX32, XBGR32,
 * XRGB32, CMYK32.
 * Errors: 0x10070000 "Unsupported image format"; 0x10070000 "YUV422 image must be an even width".
 */
VIQ_API u32 VIQ_IP_mirror_image(u32 hInImage, u32 hOutImage, u16 wMode);

/**
 * Copies the input and mirrors a rectangle of it: cropped, mirrored and put back, with the formats
 * and errors of VIQ_IP_crop, VIQ_IP_mirror_image and VIQ_image_copy under their names. Works in
 * place too.
 * Errors of its own: "VIQ_image_create(hCropImage) failed" and "VIQ_image_create(hMirroredImage)
 * failed" with the code of VIQ_image_create.
 */
VIQ_API u32 VIQ_IP_mirror(u32 hInImage, u32 hOutImage, i16 x, i16 y, i16 width, i16 height,
                          u16 wMode);

/**
 * Takes the pixels of the disc around (cx, cy) out of a YUV 4:2:2 image, pair by pair, into an
 * image of 2 radius x 2 radius: one after another from the start of the strip, without gaps, and 0
 * behind them. A pair belongs to the disc where ((x - cx) / r)^2 + ((y - cy) / r)^2 < 1 for its
 * first pixel. Strips give their lines within the square, the last one those that the picture's
 * edges cut off as well. wShape is not used.
 * Errors: 0x10070000 "Unsupported image format"; 0x10030000 "Radius is 0".
 */
VIQ_API u32 VIQ_IP_extract_region(u32 hInImage, u32 hOutImage, u16 wShape, i16 cx, i16 cy,
                                  u16 wRadius, u16 wMode);

/* ---- Lookup tables, histograms, thresholds -------------------------------------------------- */

/**
 * Makes a lookup table of 1 to 256 bytes or 1 to 65536 words (element size 1 or 2): four tables,
 * all the identity. Returns its handle, 1 to 15. Errors: 0x10080000 "" when all are in use;
 * 0x10030003 "element size must be 1 or 2 bytes"; 0x10030001 (bytes) or 0x10030002 (words) "too
 * many LUT elements"; 0x10030000 "too few LUT elements" for 0.
 */
VIQ_API u32 VIQ_LUT_create(u32 dwElements, u16 wElementSize);

/** The table for mask 8, 4, 2 or 1 (tables 1 to 4), of u8 or u16; null for any other. */
VIQ_API void *VIQ_LUT_get_ptr(u32 hLut, u16 wMask);

/** Frees a lookup table, or all with VIQ_ALL_IMAGES. Returns 0, also for an empty handle. */
VIQ_API u32 VIQ_LUT_destroy(u32 hLut);

/**
 * Maps the pixels of a strip: Y8 through table 1, RGB24 red, green and blue through tables 2, 3 and
 * 4, Y16 through table 1 of words. RGB15, RGB16 and RGB8 look each field up at the top of a byte
 * and keep the result's top. YUV 4:2:2 maps its luma through table 1 while the generated gains are
 * all 100; otherwise each pixel goes through RGB and tables 2 to 4 and back, by the formulas of
 * VIQ_YUV422_to_RGB24 and VIQ_convert_to_YUV422. Values that a table is too short for stay.
 * Errors: 0x10040000 "" for an empty handle; 0x1007xxxx "Unsupported image format", xxxx being the
 * format, also where the element size does not fit it; 0x10070000 "YUV422 image must be an even
 * width".
 */
VIQ_API u32 VIQ_LUT_apply(u32 hInImage, u32 hOutImage, u32 hLut, u16 wMode);

/**
 * Fills the tables from percentages, 100 being neutral: brightness, contrast and gains are clamped
 * to 0..200, gamma to 25..400. With all 100 every table is the identity. Otherwise entry 0 is 0,
 * and with n elements, h = n / 2 in integers and g = n (i / n)^(100 / gamma), table 1 gets
 *     v = h + (g - h) * contrast * 0.01 + brightness * 0.5 - 50
 * and tables 2 to 4 get v times their gain / 100, all in floating point, clamped to 0..255, words
 * to 0..n - 1, and cut to integers. Returns 0.
 */
VIQ_API u32 VIQ_LUT_generate(u32 hLut, i16 brightness, i16 contrast, i16 gamma, i16 gain2,
                             i16 gain3, i16 gain4);

/** Zeroes all counters. Errors: 0x10030000 "Histogram structure is NULL". */
VIQ_API u32 VIQ_IP_histogram_clear(tVIQ_Histogram *pHistogram);

/** Copies all counters. Errors: 0x10030000 "Histogram structure is NULL". */
VIQ_API u32 VIQ_IP_histogram_copy(const tVIQ_Histogram *pFrom, tVIQ_Histogram *pTo);

/**
 * Counts the pixels of an HSI image, strip by strip; the first strip clears the histogram, each one
 * sums the totals up. Pixels with a hue above 359 are counted in no bin of any plane.
 * Errors: 0x10030000 "Histogram structure is NULL"; 0x10070000 "Unsupported image format".
 */
VIQ_API u32 VIQ_IP_histogram_generate(u32 hInImage, tVIQ_Histogram *pHistogram, u16 wMode);

/**
 * Smooths the bins with 1, 2, 1 over 4; the first and last of each array and the totals stay.
 * wOrder must be 900.
 * Errors: 0x10030000 "Histogram structure(s) is NULL"; 0x10070000 "Only 0th order currently
 * supported".
 */
VIQ_API u32 VIQ_IP_histogram_filter(tVIQ_Histogram *pHistogram, u16 wOrder);

/**
 * Compares plane 1 (hue), 2 (saturation) or 3 (intensity) and stores a similarity of 0 to 100: 100
 * less the share of the difference sum |A - B| in A's own unevenness sum |A - mean|; 0 where that
 * is none or smaller than the difference. The mean is A's total / 360 or >> 8.
 * Errors: 0x10030000 "Histogram structure is NULL"; 0x10030001 "Only planes 1,2 and 3 are
 * acceptable"; 0x10020003 "Result not within 0 to 100 limits".
 */
VIQ_API u32 VIQ_IP_histogram_match(const tVIQ_Histogram *pA, const tVIQ_Histogram *pB, u16 wPlane,
                                   u32 *pdwResult);

/**
 * Y8 from wUpper on becomes 255, below wLower 0, the rest stays.
 * Errors: 0x10070000 "Unsupported image format".
 */
VIQ_API u32 VIQ_IP_threshold_grayscale(u32 hInImage, u32 hOutImage, u16 wUpper, u16 wLower,
                                       u16 wMode);

/* ---- Filters and measurements --------------------------------------------------------------- */

/**
 * Filters RGB24 or Y8 with nine coefficients, row by row from above left: the sum of the products,
 * divided by the sum of the coefficients (by 1 where that is 0), cut towards 0 and clamped to
 * 0..255. The first and last pixel of a line and the first and last line of the image are copied. A
 * strip gives as many lines as it has; the line above its first comes from the strip before, and
 * the last line of a strip that does not end the image takes itself as the line below. Errors:
 * 0x10070000 "Supports RGB24 & Y8 only".
 */
VIQ_API u32 VIQ_IP_filter_3x3(u32 hInImage, u32 hOutImage, const i32 *pKernel, u16 wMode);

/**
 * Makes the references of VIQ_IP_ShadingCorrection from Y16 images of black and white of one size:
 * the offset is the black image, the gain 65535 / (white - black) in 4.12 fixed point, where the
 * whole part is limited to 15 but the fraction is taken from the limited part and cut to 16 bits;
 * 65535 where white is not above black.
 * Errors: the check's code with "Corrupt image - hWhiteRefImage", "... hBlackRefImage", "...
 * hGainRefImage" or "... hOffsetRefImage"; 0x10070000 "Unsupported image format"; 0x10070000
 * "Images do not match". A missing target is refused before the other one is touched.
 */
VIQ_API u32 VIQ_IP_ShadingCorrection_Generate(u32 hBlackRefImage, u32 hWhiteRefImage,
                                              u32 hOffsetRefImage, u32 hGainRefImage);

/**
 * Corrects the lines that a Y16 image holds: (gain * (pixel - offset)) >> 12, at least 0 and at
 * most 65535. Pixels go in pairs: the last one of an odd line is left out, which is 0 in a buffer
 * of the library. Errors: as above, with "Corrupt image - hInImage" and "Corrupt image -
 * hOutImage".
 */
VIQ_API u32 VIQ_IP_ShadingCorrection(u32 hInImage, u32 hOutImage, u32 hOffsetRefImage,
                                     u32 hGainRefImage);

/**
 * Stores how far, in percent, a frame's correlation with a reference has moved from that of the
 * last frame with motion: |100 - stored * 100 / c|. c sums ((a & 0xFC) - 128) * ((r & 0xFC) - 128)
 * over every dwStep-th pixel of every dwStep-th line of the strip, luma for YUV 4:2:2; 0 counts as
 * 1, and from 16777217 on it is shifted right by 7. A result above dwThreshold makes c the stored
 * value. The first call of a process stores c and gives 0. Images without lines return 0 at once.
 * Errors: 0x10070001 "Both images must be the same" for different formats, with the result 0;
 * 0x10070000 "Unsupported image format"; 0x10070000 "Images do not match"; 0x10030000 "Step is 0".
 */
VIQ_API u32 VIQ_IP_motion_detect(u32 hImage, u32 hRefImage, u32 dwThreshold, u32 dwStep,
                                 u32 *pdwResult);

/**
 * Averages an HSI or Y8 image strip by strip; the first strip zeroes the record. HSI: each strip
 * adds its hues, saturations and intensities to the values of the strips before and divides by its
 * own number of pixels, so that only an image of one strip gives the mean. Y8: mean, smallest and
 * largest value of all strips so far.
 * Errors: 0x10030000 "tVIQ_Average structure pointer is NULL"; 0x10070000 "Unsupported image
 * format".
 */
VIQ_API u32 VIQ_IP_generate_averages(u32 hInImage, tVIQ_Average *pAverage, u16 wMode);

/* ---- Video fields and false colour ---------------------------------------------------------- */

/*
 * Lines are copied whole, padding included. An input of 0 lines per strip gives an output of its
 * parameters in the output's format and size.
 */

/**
 * Weaves two fields into a frame of twice the height. The first field's line comes first, unless
 * VIQ_FLAG_20 of the first field is set and its parameter 23 is 2. The second field's strip is cut
 * to the first one's lines. A second field without lines gives the frame's parameters alone, too.
 * Errors: the check's code with "Corrupt image - parameter 1" or "Corrupt image - parameter 2";
 * 0x10070000 "Fields are different" for another format, size or line, or fewer lines in the strip.
 */
VIQ_API u32 VIQ_SPL_2fields_to_frame(u32 hInImage, u32 hSecondField, u32 hOutImage,
                                     u16 wStripCommand);

/**
 * Makes a frame of twice the height from one field, which is processed whole: its lines per strip
 * become its height. Schemes: 1 each line twice; 2 a mean (a + b) >> 1 between each two lines; 3 an
 * edge-directed mean there: of the five pairs a(x + d), b(x - d), d = 0, 1, -1, 2, -2 pixels, the
 * one with the smallest difference, for each component by itself (the chroma of YUV 4:2:2 and the
 * two pixels at each end take the plain mean); 4 a cubic (-1, 9, 9, -1) / 16, clamped. The last
 * line comes twice; with VIQ_FLAG_20 and parameter 23 = 2 the first line does so instead, except in
 * scheme 1. The output's parameter 23 is 0.
 * Errors: 0x1007xxxx "Supports Y8, YUV422 and RGB24 only", xxxx being the format; 0x1007xxxx
 * "Invalid Interpolation Scheme", xxxx being the scheme.
 */
VIQ_API u32 VIQ_SPL_field_to_frame(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wStripCommand);

/**
 * Interleaves the top half and the bottom half of an image held whole, whose parameter 23 is 4 or
 * 5; a last odd line stays. Errors: the check's code with "Corrupt input image"; 0x10070000 "Field
 * order ID not set up"; 0x10070000 "Can only process full image".
 */
VIQ_API u32 VIQ_SPL_interlace_frame(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * Grey from 32-bit words in host order: (w >> (dwShift & 31)) & 0xFF. Pixels follow one another on
 * both sides without regard to padding, so that grey lines of odd width drift; 0 fills the rest.
 * Formats: RGBX32, BGRX32, XRGB32, XBGR32. Errors: 0x10070000 "Unsupported image format".
 */
VIQ_API u32 VIQ_SPL_Data32_to_Y8(u32 hInImage, u32 hOutImage, u32 dwShift, u16 wStripCommand);

/**
 * Grey from byte 1 to 4, in memory order, of RGBX32, BGRX32 or XBGR32 pixels.
 * Errors: 0x10070000 "Unsupported image format", also for XRGB32; 0x10030000 "Byte number out of
 * range".
 */
VIQ_API u32 VIQ_SPL_XXXX32_to_Y8(u32 hInImage, u32 hOutImage, u32 dwByteNumber, u16 wStripCommand);

/**
 * Shows Y, U and V of each YUV 4:2:2 pixel as red, green and blue of RGB24.
 * Errors: 0x10070000 "Unsupported image format"; 0x10070000 "YUV422 image must be an even width".
 */
VIQ_API u32 VIQ_SPL_YUV422_to_RGB_pseudo_colour(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * Shows hue * 253 / 360, saturation and intensity as red, green and blue of RGB24.
 * Errors: 0x10070000 "Unsupported image format".
 */
VIQ_API u32 VIQ_SPL_HSI_to_RGB_pseudo_colour(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * Shows grey v as RGB16: red v >> 3, green a ramp up and down again, blue (255 - v) >> 3. dwOption
 * has no effect. Errors: 0x10070000 "Image format must be VIQ_Y8".
 */
VIQ_API u32 VIQ_SPL_Y8_to_pseudo_colour(u32 hInImage, u32 hOutImage, u32 dwOption,
                                        u16 wStripCommand);

/* ---- Colour-filter mosaics ------------------------------------------------------------------ */

/*
 * A VIQ_RGGB32 image holds one byte a pixel. The picture is processed as one strip: the lines per
 * strip of the input become its height, which its buffer must hold. 0 lines per strip pass the
 * parameters on in VIQ_BAY_RGB24_to_RGGB32 and VIQ_BAY_RGGB32_map_to_RGB24 alone. Even lines of the
 * mosaics that VIQ_BAY_RGB24_to_RGGB32 makes hold red, green, red, ..., odd ones green, blue,
 * green, ...
 */

/** Makes a mosaic. Errors: 0x10070000 "Input must be VIQ_RGB24 only". */
VIQ_API u32 VIQ_BAY_RGB24_to_RGGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/** Each sample in its own colour, the others 0. Errors: 0x10070000 "Unsupported image format". */
VIQ_API u32 VIQ_BAY_RGGB32_map_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * The samples as grey, one after another without regard to padding on either side, so that padded
 * lines drift; 0 fills the rest. Errors: 0x10070000 "Unsupported image format".
 */
VIQ_API u32 VIQ_BAY_RGGB32_map_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand);

/**
 * Demosaics to BGRX32, whose fourth byte is 0. wPixelColour tells the phase, the first two samples
 * of lines 0 and 1: 1 RG GB, 2 GR BG, 3 GB RG, 4 BG GR. Green sites take each missing colour from
 * its pair of neighbours, (a + b) >> 1; borders mirror lines and columns about the first and last.
 *   scheme 1   the missing colours from the right, below and diagonally below right
 *   scheme 2   bilinear: red and blue sites take the sum of four neighbours >> 2; but on the top
 *              line, corners aside, green is (left + right) >> 1
 *   scheme 3   gradient-adaptive: red and blue sites take green from the pair across or down, and
 *              the opposite colour from a diagonal pair: (a + b) >> 1 of the pair with the smaller
 *              |a - b| + |2 c - the samples beyond a and b|, c being the site's own sample; of
 *              equal ones the pair across, or the falling one
 * Errors: 0x10070000 "Input must be VIQ_RGGB32 only"; 0x10070000 "Invalid Bayer Decoding Scheme";
 * 0x10070000 "Invalid Bayer Pixel Colour".
 */
VIQ_API u32 VIQ_BAY_RGGB32_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wPixelColour,
                                     u16 wStripCommand);

/** The same to RGB16. */
VIQ_API u32 VIQ_BAY_RGGB32_to_RGB16(u32 hInImage, u32 hOutImage, u16 wScheme, u16 wPixelColour,
                                    u16 wStripCommand);

/* ---- Chroma keying -------------------------------------------------------------------------- */

/** Parameters of a chroma-key object, with their values in a new one. */
enum {
    VIQ_CK_HUE_CENTRE = 300,    /**< degrees, 340 */
    VIQ_CK_HUE_TOLERANCE = 301, /**< degrees, 20 */
    VIQ_CK_LUMA_CENTRE = 302,   /**< 120 */
    VIQ_CK_LUMA_TOLERANCE = 303 /**< 64 */
};

/** Makes a chroma-key object; returns its handle, 1 to 3. Errors: 0x10080000 "" when all are in
 * use. */
VIQ_API u32 VIQ_CK_create(void);

/** Frees an object, or all with VIQ_ALL_IMAGES. Returns 0, also for an empty handle. */
VIQ_API u32 VIQ_CK_destroy(u32 hCK);

/** Errors: 0x10040000 "" for an empty handle; 0x10030000 "Unknown parameter". */
VIQ_API u32 VIQ_CK_set_parameter(u32 hCK, u16 wParameter, u16 wValue);

/** Returns the value. Errors: as VIQ_CK_set_parameter. */
VIQ_API u32 VIQ_CK_get_parameter(u32 hCK, u16 wParameter);

/**
 * A named colour (0 to 15, see VIQ_cmap_set_colour) as Y | U << 8 | V << 16.
 * Errors: 0x10030000 "Unrecognized colour".
 */
VIQ_API u32 VIQ_CK_get_YUV_values(u16 wColour);

/**
 * The value of VIQ_CK_get_YUV_values for component 500, shifted right by 8 for 501 and by 16 for
 * 503. Any other number gives a value without meaning.
 */
VIQ_API u32 VIQ_CK_get_component(u16 wColour, u16 wComponent);

/**
 * Replaces the pairs of a YUV 4:2:2 image whose first luma and hue lie inside the object's window,
 * both bounds excluded: luma centre -/+ tolerance clamped to 0..255, hue centre -/+ tolerance
 * clamped to 0..359 without a wrap. The replacement is the pair of the background image at its
 * place, or the named key colour where hBackgroundImage is 0. Mode 0 replaces; mode 1 softens the
 * edges as well, except on the first line of a strip: between a kept pair and a keyed one on its
 * right, the kept one, and of a kept pair with a keyed one on its left itself, become the mean (a +
 * b) >> 1 with the replacement. Lines follow one another there: the last pair of a line is left of
 * the first pair of the next. Any other mode gives a strip of zeros, and leaves a buffer of the
 * caller's as it is. The hue table is built when absent.
 * Errors: 0x1007xxxx "Not YUV 4:2:2 image format", xxxx being the format; 0x10070000
 * "YUV422 image must be an even width"; 0x10040000 "" for an empty object; 0x10070000 "Background
 * image does not match" in format, size or lines, or is the output; those of
 * VIQ_CK_get_YUV_values.
 */
VIQ_API u32 VIQ_CK_chroma_key(u32 hInImage, u32 hOutImage, u32 hBackgroundImage, u16 wKeyColour,
                              u32 hCK, u16 wMode, u16 wStripCommand);

/**
 * Measures the hue of a key screen, strip by strip, as the hue centre; after the last strip the hue
 * tolerance becomes 20, the luma centre 20 and the luma tolerance 64. Of each line's width / 2 - 3
 * pairs are read, one after another from the start of the strip, and each counts one of
 * ((width - 8) / 2) x height.
 * Errors: 0x1007xxxx "Not YUV 4:2:2 image format"; 0x10070000 "YUV422 image must be an even width";
 * 0x10070000 "Image too small to calibrate" below 10 columns or without lines; 0x10040000 "" for an
 * empty object.
 */
VIQ_API u32 VIQ_CK_calibrate(u32 hInImage, u32 hCK, u16 wStripCommand);

/* ---- Drawing -------------------------------------------------------------------------------- */

/**
 * Stores the address of a built-in font: 0 of 7 x 7 pixels, 1 of 9 x 14, 2 of 15 x 19.
 * Errors: 0x1007xxxx "Unknown data type", xxxx being the low 16 bits of the type.
 */
VIQ_API u32 VIQ_draw_get_ptr(u32 dwType, const tVIQ_Font **ppFont);

/**
 * Draws text with its top left corner at column x and line y, which count from 1, in one of the
 * sixteen named colours (see VIQ_cmap_set_colour). Background 0 halves what is under the text, 1
 * makes it a flat grey of 127. The text's rectangle is converted to RGB24 and back, so that any
 * format will do for which VIQ_image_convert goes both ways; another one fails with its message and
 * leaves the image as it was. YUV 4:2:2 is converted in whole pairs. The strip must hold the lines.
 * Errors: the check's code with "Image is corrupt"; 0x1007xxxx "Invalid background mode", xxxx
 * being the mode; 0x1007xxxx "Unrecognised colour", xxxx being the colour; 0x10070000 "Trying to
 * draw text too far left" (x = 0), "Trying to draw text too far right", "Trying to draw text too
 * high" (y = 0), "Trying to draw text too low", "Unsupported font"; 0x10030000 "Character not in
 * the font" for codes above 127; "Colour cropped image is corrupt".
 */
VIQ_API u32 VIQ_draw_text(u32 hImage, const char *pszText, const tVIQ_Font *pFont, u32 x, u32 y,
                          u16 wBackground, u16 wColour);

/**
 * Draws the local time and date in sixteen characters, such as "14:05:09 07Mar03". Bit 0x80 of the
 * background leaves the colons out in even seconds. Errors: those of VIQ_draw_text, under its name.
 */
VIQ_API u32 VIQ_draw_timestamp(u32 hImage, const tVIQ_Font *pFont, u32 x, u32 y, u16 wBackground,
                               u16 wColour);

/**
 * Paints the pixels x and x + 1 of a YUV 4:2:2 image; y counts lines from the bottom, 0 being line
 * height - 1 of the buffer. Colours: 0 black, 1 blue, 2 green, 3 cyan, 4 red, 5 magenta, 6 yellow,
 * 7 white. The chroma of the pair that holds x is set; of an odd x, the next pixel belongs to the
 * next pair.
 * Errors: 0x10030001 "Unknown or unsupported pixel format"; 0x10030000 "Unrecognised colour";
 * 0x10030000 "Pixel outside the image" for a write outside the strip's buffer.
 */
VIQ_API u32 VIQ_DrawPixel(u32 hImage, u16 wColour, u32 x, u32 y);

#ifdef __cplusplus
}
#endif

#endif
