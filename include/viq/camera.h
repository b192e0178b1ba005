/**
 * @file
 * Camera images: frames as cameras send them (VIQ_frame), colour-filter mosaics (VIQ_BAY), chroma
 * keying and the colour functions that it shares with the YUV 4:2:2 converters (VIQ_CK).
 */
#ifndef VIQ_CAMERA_H
#define VIQ_CAMERA_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_frame Camera frames
 *
 * A frame is a picture in the memory layout in which machine-vision cameras send it. The layout is
 * named by a 32-bit code of the GenICam Pixel Format Naming Convention (PFNC), which drivers report
 * with each frame. Layouts named ...Packed are those of the GigE Vision standard.
 *
 * | Layout              | Code       | Stored as              | Image      |
 * |---------------------|------------|------------------------|------------|
 * | Mono8               | 0x01080001 | byte                   | VIQ_Y8     |
 * | Mono10              | 0x01100003 | word                   | VIQ_Y16    |
 * | Mono10p             | 0x010A0046 | packed bits            | VIQ_Y16    |
 * | Mono10Packed        | 0x010C0004 | shared byte            | VIQ_Y16    |
 * | Mono12              | 0x01100005 | word                   | VIQ_Y16    |
 * | Mono12p             | 0x010C0047 | packed bits            | VIQ_Y16    |
 * | Mono12Packed        | 0x010C0006 | shared byte            | VIQ_Y16    |
 * | Mono14              | 0x01100025 | word                   | VIQ_Y16    |
 * | Mono14p             | 0x010E0104 | packed bits            | VIQ_Y16    |
 * | Mono16              | 0x01100007 | word                   | VIQ_Y16    |
 * | BayerRG8            | 0x01080009 | byte                   | VIQ_RGGB32 |
 * | BayerGR8            | 0x01080008 | byte                   | VIQ_RGGB32 |
 * | BayerGB8            | 0x0108000A | byte                   | VIQ_RGGB32 |
 * | BayerBG8            | 0x0108000B | byte                   | VIQ_RGGB32 |
 * | BayerRG10           | 0x0110000D | word                   | VIQ_Y16    |
 * | BayerGR10           | 0x0110000C | word                   | VIQ_Y16    |
 * | BayerGB10           | 0x0110000E | word                   | VIQ_Y16    |
 * | BayerBG10           | 0x0110000F | word                   | VIQ_Y16    |
 * | BayerRG10p          | 0x010A0058 | packed bits            | VIQ_Y16    |
 * | BayerGR10p          | 0x010A0056 | packed bits            | VIQ_Y16    |
 * | BayerGB10p          | 0x010A0054 | packed bits            | VIQ_Y16    |
 * | BayerBG10p          | 0x010A0052 | packed bits            | VIQ_Y16    |
 * | BayerRG10Packed     | 0x010C0027 | shared byte            | VIQ_Y16    |
 * | BayerGR10Packed     | 0x010C0026 | shared byte            | VIQ_Y16    |
 * | BayerGB10Packed     | 0x010C0028 | shared byte            | VIQ_Y16    |
 * | BayerBG10Packed     | 0x010C0029 | shared byte            | VIQ_Y16    |
 * | BayerRG12           | 0x01100011 | word                   | VIQ_Y16    |
 * | BayerGR12           | 0x01100010 | word                   | VIQ_Y16    |
 * | BayerGB12           | 0x01100012 | word                   | VIQ_Y16    |
 * | BayerBG12           | 0x01100013 | word                   | VIQ_Y16    |
 * | BayerRG12p          | 0x010C0059 | packed bits            | VIQ_Y16    |
 * | BayerGR12p          | 0x010C0057 | packed bits            | VIQ_Y16    |
 * | BayerGB12p          | 0x010C0055 | packed bits            | VIQ_Y16    |
 * | BayerBG12p          | 0x010C0053 | packed bits            | VIQ_Y16    |
 * | BayerRG12Packed     | 0x010C002B | shared byte            | VIQ_Y16    |
 * | BayerGR12Packed     | 0x010C002A | shared byte            | VIQ_Y16    |
 * | BayerGB12Packed     | 0x010C002C | shared byte            | VIQ_Y16    |
 * | BayerBG12Packed     | 0x010C002D | shared byte            | VIQ_Y16    |
 * | BayerRG14           | 0x0110010A | word                   | VIQ_Y16    |
 * | BayerGR14           | 0x01100109 | word                   | VIQ_Y16    |
 * | BayerGB14           | 0x0110010B | word                   | VIQ_Y16    |
 * | BayerBG14           | 0x0110010C | word                   | VIQ_Y16    |
 * | BayerRG14p          | 0x010E0106 | packed bits            | VIQ_Y16    |
 * | BayerGR14p          | 0x010E0105 | packed bits            | VIQ_Y16    |
 * | BayerGB14p          | 0x010E0107 | packed bits            | VIQ_Y16    |
 * | BayerBG14p          | 0x010E0108 | packed bits            | VIQ_Y16    |
 * | BayerRG16           | 0x0110002F | word                   | VIQ_Y16    |
 * | BayerGR16           | 0x0110002E | word                   | VIQ_Y16    |
 * | BayerGB16           | 0x01100030 | word                   | VIQ_Y16    |
 * | BayerBG16           | 0x01100031 | word                   | VIQ_Y16    |
 * | YUV422_8            | 0x02100032 | Y0, U, Y1, V           | VIQ_YUV422 |
 * | YUV422_8_UYVY       | 0x0210001F | U, Y0, V, Y1           | VIQ_YUV422 |
 * | YCbCr422_8          | 0x0210003B | Y0, U, Y1, V           | VIQ_YUV422 |
 * | YCbCr422_8_CbYCrY   | 0x02100043 | U, Y0, V, Y1           | VIQ_YUV422 |
 * | YUV411_8_UYYVYY     | 0x020C001E | U, Y0, Y1, V, Y2, Y3   | VIQ_YUV422 |
 * | YCbCr411_8_CbYYCrYY | 0x020C003C | U, Y0, Y1, V, Y2, Y3   | VIQ_YUV422 |
 * | RGB8                | 0x02180014 | bytes                  | VIQ_RGB24  |
 * | BGR8                | 0x02180015 | bytes                  | VIQ_BGR24  |
 * | RGBa8               | 0x02200016 | bytes                  | VIQ_RGBX32 |
 * | BGRa8               | 0x02200017 | bytes                  | VIQ_BGRX32 |
 * | RGB565p             | 0x02100035 | word, red in bits 4-0  | VIQ_RGB16  |
 * | BGR565p             | 0x02100036 | word, blue in bits 4-0 | VIQ_RGB16  |
 * | RGB10               | 0x02300018 | three words            | VIQ_RGB24  |
 * | RGB12               | 0x0230001A | three words            | VIQ_RGB24  |
 * | RGB14               | 0x0230005E | three words            | VIQ_RGB24  |
 * | RGB16               | 0x02300033 | three words            | VIQ_RGB24  |
 * | BGR10               | 0x02300019 | three words            | VIQ_BGR24  |
 * | BGR12               | 0x0230001B | three words            | VIQ_BGR24  |
 * | BGR14               | 0x0230004A | three words            | VIQ_BGR24  |
 * | BGR16               | 0x0230004B | three words            | VIQ_BGR24  |
 *
 * Words have 16 bits, the low byte first, and hold a sample in their low bits; the other bits are
 * ignored. Packed bits: samples follow each other without unused bits, the lowest bit of a sample
 * first, in ascending bits of ascending bytes. Shared byte: two samples take three bytes, the
 * upper 8 bits of the first, a byte with the low bits of the first in bits 3-0 and of the second
 * in bits 7-4, and the upper 8 bits of the second.
 *
 * Samples are not scaled. In VIQ_Y16 the data width of the image is the number of bits of a sample,
 * and the bits above it are 0. Mosaics of 8 bits become VIQ_RGGB32, deeper ones VIQ_Y16. Neither
 * format contains the position of the colours: it is the pixel colour of the layout, as
 * VIQ_BAY_RGGB32_to_BGRX32 and VIQ_BAY_apply_gains require it: BayerRG 1, BayerGR 2, BayerGB 3,
 * BayerBG 4.
 *
 * Components of 10 to 16 bits are reduced to their upper 8 bits; packing repeats the high bits in
 * the low ones. Where four pixels share U and V, both pairs of pixels get these values; packing
 * stores the means (a + b + 1) >> 1 of the two pairs. Other values of U and V are copied:
 * converters take them as full-range values, see VIQ_CK_get_YUV_values_RGB. Layouts of
 * limited-range or ITU-R BT.709 values are not supported. Alpha is copied to the X byte.
 *
 * The stride is the number of bytes from the start of a line to that of the next one. With stride 0
 * the pixels of the picture follow each other without padding: if the width is odd, for instance, a
 * line of Mono12p may start in the upper half of a byte.
 * @{
 */

/** The description of a frame layout. */
typedef struct {
    const char *name;        /**< PFNC name, a static text */
    uint32_t pixel_format;   /**< PFNC code */
    uint16_t bits_per_pixel; /**< in the frame */
    uint16_t sample_bits;    /**< significant bits of a sample; 6 for 5-6-5 layouts */
    uint16_t image_type;     /**< pixel format of the image, VIQ_IMAGE_TYPE */
    uint16_t pixel_colour;   /**< of a mosaic, 1 to 4, see VIQ_BAY_RGGB32_to_BGRX32; otherwise 0 */
    uint16_t reduced;        /**< 1 if the image has fewer bits per sample than the frame */
} tVIQ_FrameLayout;

/**
 * Describes the layout with a PFNC code.
 *
 * @param dwPixelFormat  PFNC code
 * @param pLayout        receives the description
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Pixel format NAME (0xCODE) is not supported": a known layout, but
 *   not one of the table
 * - VIQ_ERR_UNSUPPORTED "Unknown pixel format 0xCODE": any other code
 */
VIQ_API uint32_t VIQ_CALL VIQ_frame_get_layout(uint32_t dwPixelFormat, tVIQ_FrameLayout *pLayout);

/**
 * Describes the layout with a PFNC name. Upper and lower case are equal: "mono12p" is Mono12p.
 *
 * @param pName    PFNC name, zero-terminated
 * @param pLayout  receives the description
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "Unknown pixel format": the name is not in the table
 */
VIQ_API uint32_t VIQ_CALL VIQ_frame_find_layout(const char *pName, tVIQ_FrameLayout *pLayout);

/**
 * Computes the number of bytes from the start of a frame to the end of its last line. Padding after
 * the last line is not counted.
 *
 * @param dwPixelFormat  PFNC code
 * @param dwWidth        pixels per line
 * @param dwHeight       lines
 * @param dwStride       bytes from line to line; 0: the pixels follow each other without padding
 * @param pqwBytes       receives the size in bytes
 * @par Errors
 * - the errors of VIQ_frame_get_layout
 * - VIQ_ERR_PARAMETER "Width and height must not be 0"
 * - VIQ_ERR_PARAMETER "Width of NAME must be a multiple of N": 2 for VIQ_YUV422 layouts, 4 if four
 *   pixels share U and V
 * - VIQ_ERR_PARAMETER "Stride of N bytes is less than a line of N": the line in bytes, rounded up
 * - VIQ_ERR_PARAMETER "Frame is too large": the size does not fit 64 bits
 */
VIQ_API uint32_t VIQ_CALL VIQ_frame_get_size(uint32_t dwPixelFormat, uint32_t dwWidth,
                                             uint32_t dwHeight, uint32_t dwStride,
                                             uint64_t *pqwBytes);

/**
 * Converts a frame to an image, strip by strip. The first call sets the format, size and data width
 * of the image; its lines per strip are the caller's, and those of the last strip are the lines
 * that remain. Set them again before the next frame. The whole frame must be in memory in every
 * call; it is not changed.
 *
 * VIQ_STRIP_NEXT converts the next strip, VIQ_STRIP_FINISH ends the sequence, any other command
 * only sets the image up, and so does VIQ_STRIP_NEXT if the lines per strip are 0. Until the last
 * strip has been converted or VIQ_STRIP_FINISH has been called, all arguments but the command must
 * be those of the first call.
 *
 * @param pFrame         the frame; it needs no alignment
 * @param qwBytes        size of the frame in bytes, at least that of VIQ_frame_get_size; further
 *     bytes are ignored
 * @param dwPixelFormat  PFNC code
 * @param dwWidth        pixels per line
 * @param dwHeight       lines
 * @param dwStride       bytes from line to line; 0: the pixels follow each other without padding
 * @param hOutImage      output
 * @param wStripCommand  strip command
 * @par Errors
 * - the errors of VIQ_frame_get_size
 * - VIQ_ERR_CORRUPT "Frame of N bytes is too short, N needed"
 * - VIQ_ERR_PARAMETER "Frame is too large": for the address space
 * - VIQ_ERR_PARAMETER "Frame and image share memory": the frame overlaps the buffer of the image
 * - VIQ_ERR_CORRUPT "Image changed during transfer": the image has another format or size than
 *   after the first call
 * - VIQ_ERR_STATE "Sequence under way with another image": other arguments than in the first call
 */
VIQ_API uint32_t VIQ_CALL VIQ_frame_unpack(const void *pFrame, uint64_t qwBytes,
                                           uint32_t dwPixelFormat, uint32_t dwWidth,
                                           uint32_t dwHeight, uint32_t dwStride, uint32_t hOutImage,
                                           uint16_t wStripCommand);

/**
 * Converts an image to a frame, strip by strip: the reverse of VIQ_frame_unpack. Padding between
 * lines and unused bits are set to 0; bytes after the pixels of the last line are not changed. With
 * stride 0 a strip may share its first byte with the one before, so that the frame must not be
 * changed between strips. Bits of a VIQ_Y16 sample above the data width are ignored.
 *
 * VIQ_STRIP_NEXT converts the next strip, VIQ_STRIP_FINISH ends the sequence, any other command
 * only checks the arguments. Until the last strip has been converted or VIQ_STRIP_FINISH has been
 * called, all arguments but the command must be those of the first call.
 *
 * @param pFrame         the buffer of the frame; it needs no alignment
 * @param qwBytes        size of the buffer in bytes, at least that of VIQ_frame_get_size
 * @param dwPixelFormat  PFNC code
 * @param dwWidth        pixels per line
 * @param dwHeight       lines
 * @param dwStride       bytes from line to line; 0: the pixels follow each other without padding
 * @param hInImage       input, in the image format of the layout
 * @param wStripCommand  strip command
 * @par Errors
 * - the errors of VIQ_frame_get_size
 * - VIQ_ERR_PARAMETER "Frame of N bytes is too short, N needed"
 * - VIQ_ERR_PARAMETER "Frame is too large": for the address space
 * - VIQ_ERR_PARAMETER "Frame and image share memory": the frame overlaps the buffer of the image
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format": not the image format of the layout
 * - VIQ_ERR_UNSUPPORTED "Data width does not match the pixel format": VIQ_Y16 of another data width
 *   than the bits of a sample
 * - VIQ_ERR_PARAMETER "Image does not have the size of the frame"
 * - VIQ_ERR_CORRUPT "Image changed during transfer": format, size or stride of the image have
 *   changed since the first strip
 * - VIQ_ERR_STATE "Sequence under way with another image": other arguments than in the first call
 */
VIQ_API uint32_t VIQ_CALL VIQ_frame_pack(void *pFrame, uint64_t qwBytes, uint32_t dwPixelFormat,
                                         uint32_t dwWidth, uint32_t dwHeight, uint32_t dwStride,
                                         uint32_t hInImage, uint16_t wStripCommand);

/** @} */

/**
 * @defgroup viq_bayer Colour-filter mosaics
 *
 * A VIQ_RGGB32 image holds one byte a pixel: the sample of one colour. Deeper mosaics are VIQ_Y16
 * images, which VIQ_BAY_apply_gains turns into VIQ_RGGB32. The whole picture is processed as one
 * strip: the lines per strip of the input become its height, and its buffer must hold that many
 * lines. If the lines per strip are 0, VIQ_BAY_RGB24_to_RGGB32, VIQ_BAY_RGGB32_map_to_RGB24 and
 * VIQ_BAY_apply_gains only copy the parameters.
 *
 * The mosaic that VIQ_BAY_RGB24_to_RGGB32 makes and the map functions expect has red, green, red,
 * ... on even lines and green, blue, green, ... on odd lines; the top line is line 0.
 *
 * The functions return 0 or an error code. VIQ_STRIP_NEXT processes the picture, VIQ_STRIP_FINISH
 * resets the function, any other command only sets the output up.
 * @{
 */

/** Makes a mosaic from VIQ_RGB24. Error: VIQ_ERR_UNSUPPORTED "Input must be VIQ_RGB24 only". */
VIQ_API uint32_t VIQ_CALL VIQ_BAY_RGB24_to_RGGB32(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wStripCommand);

/**
 * Shows a mosaic as VIQ_RGB24: each sample in its own colour, the two other components 0.
 * Error: VIQ_ERR_UNSUPPORTED "Unsupported image format".
 */
VIQ_API uint32_t VIQ_CALL VIQ_BAY_RGGB32_map_to_RGB24(uint32_t hInImage, uint32_t hOutImage,
                                                      uint16_t wStripCommand);

/**
 * Shows a mosaic as VIQ_Y8. Samples are copied one after another, and padding is skipped on neither
 * side: in pictures with padding the lines are skewed. The rest of the output is 0.
 * Error: VIQ_ERR_UNSUPPORTED "Unsupported image format".
 */
VIQ_API uint32_t VIQ_CALL VIQ_BAY_RGGB32_map_to_Y8(uint32_t hInImage, uint32_t hOutImage,
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
VIQ_API uint32_t VIQ_CALL VIQ_BAY_RGGB32_to_BGRX32(uint32_t hInImage, uint32_t hOutImage,
                                                   uint16_t wScheme, uint16_t wPixelColour,
                                                   uint16_t wStripCommand);

/** Demosaics to VIQ_RGB16, as VIQ_BAY_RGGB32_to_BGRX32. */
VIQ_API uint32_t VIQ_CALL VIQ_BAY_RGGB32_to_RGB16(uint32_t hInImage, uint32_t hOutImage,
                                                  uint16_t wScheme, uint16_t wPixelColour,
                                                  uint16_t wStripCommand);

/**
 * Measures the gains that make the means of red, green and blue equal (grey world). The strip in
 * the image is measured in cells of 2 x 2 samples; cells that contain the largest possible sample
 * are not counted. The colour with the largest mean gets gain 1, so that white stays white. A
 * colour whose samples do not exceed the black level gets gain 1.
 *
 * @param hInImage      the mosaic, VIQ_RGGB32, or VIQ_Y16 with its data width
 * @param wPixelColour  position of the colours on the first two lines of the strip, as
 *     VIQ_BAY_RGGB32_to_BGRX32
 * @param wBlackLevel   the sample value of no light, which is subtracted
 * @param pGains        receives 3 gains, red, green, blue: 4.12 fixed point, 4096 is 1; at most
 *     65535
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Invalid Bayer Pixel Colour"
 * - VIQ_ERR_PARAMETER "Black level is not below the largest sample"
 */
VIQ_API uint32_t VIQ_CALL VIQ_BAY_grey_world_gains(uint32_t hInImage, uint16_t wPixelColour,
                                                   uint16_t wBlackLevel, uint16_t *pGains);

/**
 * Applies black level, white balance and gamma to a mosaic and makes a VIQ_RGGB32 of it, which is
 * then demosaiced with the same pixel colour. With the largest possible sample m and the gain g of
 * its colour, a sample s becomes
 *
 *     255 x clamp((s - black level) / (m - black level) x g / 4096, 0, 1) ^ (100 / gamma)
 *
 * rounded to the nearest integer. The values are computed in floating point, once for each value
 * of a sample. A mosaic that VIQ_IP_ShadingCorrection corrects first must have 16 significant bits,
 * because that function scales white to 65535 with gains below 16.
 *
 * @param hInImage       the mosaic, VIQ_RGGB32, or VIQ_Y16 with its data width; bits above it are
 *     ignored
 * @param hOutImage      output
 * @param wPixelColour   position of the colours, as VIQ_BAY_RGGB32_to_BGRX32
 * @param wBlackLevel    the sample value of no light
 * @param pGains         3 gains, red, green, blue: 4.12 fixed point, 4096 is 1
 * @param wGamma         gamma in hundredths, 25 to 400; 100 is linear, 220 suits screens
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "Invalid Bayer Pixel Colour"
 * - VIQ_ERR_PARAMETER "Black level is not below the largest sample"
 * - VIQ_ERR_PARAMETER "Gamma not between 25 and 400"
 */
VIQ_API uint32_t VIQ_CALL VIQ_BAY_apply_gains(uint32_t hInImage, uint32_t hOutImage,
                                              uint16_t wPixelColour, uint16_t wBlackLevel,
                                              const uint16_t *pGains, uint16_t wGamma,
                                              uint16_t wStripCommand);

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
VIQ_API uint32_t VIQ_CALL VIQ_CK_create(void);

/** Frees an object, or all of them with VIQ_ALL_IMAGES. Returns 0, also for an unused handle. */
VIQ_API uint32_t VIQ_CALL VIQ_CK_destroy(uint32_t hCK);

/**
 * Sets a parameter of an object.
 *
 * @param hCK         the object
 * @param wParameter  VIQ_CK_HUE_CENTRE to VIQ_CK_LUMA_TOLERANCE
 * @param wValue      the value
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 */
VIQ_API uint32_t VIQ_CALL VIQ_CK_set_parameter(uint32_t hCK, uint16_t wParameter, uint16_t wValue);

/**
 * Returns a parameter of an object.
 *
 * @param hCK         the object
 * @param wParameter  VIQ_CK_HUE_CENTRE to VIQ_CK_LUMA_TOLERANCE
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 */
VIQ_API uint32_t VIQ_CALL VIQ_CK_get_parameter(uint32_t hCK, uint16_t wParameter);

/**
 * Returns a named colour in YUV, V << 16 | U << 8 | Y, converted by VIQ_CK_get_YUV_values_RGB.
 *
 * @param wColour  0 to 15, see VIQ_cmap_set_colour
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unrecognized colour"
 */
VIQ_API uint32_t VIQ_CALL VIQ_CK_get_YUV_values(uint16_t wColour);

/**
 * Returns the value of VIQ_CK_get_YUV_values for component 500, the same >> 8 (U in the low byte)
 * for 501, and >> 16 (V) for 503. The result for any other component has no meaning.
 */
VIQ_API uint32_t VIQ_CALL VIQ_CK_get_component(uint16_t wColour, uint16_t wComponent);

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
VIQ_API uint32_t VIQ_CALL VIQ_CK_get_YUV_values_RGB(uint16_t wRed, uint16_t wGreen, uint16_t wBlue);

/**
 * Generates the table of hues that VIQ_YUV422_to_HSI and chroma keying use; an existing table is
 * filled again. The entry at U << 8 | V is the angle of (U - 128, V - 128) in degrees minus 120, 0
 * to 359. If U and V are both within 6 of 128, the hue is 180.
 *
 * Errors: VIQ_ERR_MEMORY ""; VIQ_ERR_INTERNAL "Hue out of range".
 */
VIQ_API uint32_t VIQ_CALL VIQ_CK_generate_UV_to_hue_LUT(void);

/** Frees the UV-to-hue table. Returns 0. */
VIQ_API uint32_t VIQ_CALL VIQ_CK_destroy_UV_to_hue_LUT(void);

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
VIQ_API uint32_t VIQ_CALL VIQ_CK_chroma_key(uint32_t hInImage, uint32_t hOutImage,
                                            uint32_t hBackgroundImage, uint16_t wKeyColour,
                                            uint32_t hCK, uint16_t wMode, uint16_t wStripCommand);

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
VIQ_API uint32_t VIQ_CALL VIQ_CK_calibrate(uint32_t hInImage, uint32_t hCK, uint16_t wStripCommand);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
