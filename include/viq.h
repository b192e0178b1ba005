/**
 * @file viq.h
 * The interface of VIQ, a library for images in memory.
 */
#ifndef VIQ_H
#define VIQ_H

#include <stdint.h>
#include <stdio.h>

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

#define VIQ_VERSION 0x00042006u

#define VIQ_IS_ERROR(x) ((x) > 0xFFFFu)

#define VIQ_ERR_OTHER 0x10010000u
#define VIQ_ERR_INTERNAL 0x10020000u
#define VIQ_ERR_PARAMETER 0x10030000u
#define VIQ_ERR_HANDLE 0x10040000u
#define VIQ_ERR_CORRUPT 0x10050000u
#define VIQ_ERR_MEMORY 0x10060000u
#define VIQ_ERR_UNSUPPORTED 0x10070000u
#define VIQ_ERR_NO_HANDLES 0x10080000u
#define VIQ_ERR_OPEN 0x10090000u
#define VIQ_ERR_CLOSE 0x100a0000u
#define VIQ_ERR_STATE 0x100b0000u
#define VIQ_ERR_UNEXPECTED 0x100c0000u
#define VIQ_ERR_SYSTEM 0x100d0000u

#define VIQ_ALL_IMAGES 0x10001u
#define VIQ_ANY_IMAGE 0x10002u

#define VIQ_HEIGHT_UNKNOWN 32767u

enum { VIQ_STRIP_NEXT = 3, VIQ_STRIP_FINISH = 4 };

enum {
    VIQ_Y1 = 1,
    VIQ_Y8 = 2,
    VIQ_PALETTED = 3,
    VIQ_RGB8 = 4,
    VIQ_RGB15 = 5,
    VIQ_RGB16 = 6,
    VIQ_RGB24 = 7,
    VIQ_BGR24 = 8,
    VIQ_RGBX32 = 9,
    VIQ_BGRX32 = 10,
    VIQ_XBGR32 = 11,
    VIQ_YUV422 = 12,
    VIQ_CMYK32 = 13,
    VIQ_Y16 = 14,
    VIQ_XRGB32 = 15,
    VIQ_RGGB32 = 16,
    VIQ_Y64 = 17,
    VIQ_JPEG_WORK100 = 100,
    VIQ_JPEG_WORK101 = 101,
    VIQ_JPEG_WORK102 = 102,
    VIQ_WORK103 = 103,
    VIQ_WORK104 = 104,
    VIQ_RGB24_OR_Y8 = 105,
    VIQ_YUV411 = 106,
    VIQ_HSI = 108
};

enum {
    VIQ_IMAGE_TYPE = 10,
    VIQ_WIDTH = 11,
    VIQ_HEIGHT = 12,
    VIQ_PIXEL_DEPTH = 13,
    VIQ_LINES_PER_STRIP = 14,
    VIQ_BYTES_PER_LINE = 15,
    VIQ_PARAM_16 = 16,
    VIQ_DATA_WIDTH = 17,
    VIQ_PARAM_18 = 18,
    VIQ_PARAM_19 = 19,
    VIQ_NUM_COLOURS = 20,
    VIQ_JPEG_PARAM = 21,
    VIQ_LIBRARY_VERSION = 22,
    VIQ_PARAM_23 = 23,
    VIQ_LINE_ALIGNMENT = 24,
    VIQ_PARAM_25 = 25,
    VIQ_COMPONENTS = 26
};

enum {
    VIQ_PTR_DATA = 100,
    VIQ_PTR_CMAP = 101,
    VIQ_PTR_JPEG_DATA = 102,
    VIQ_PTR_JPEG_DATA2 = 103,
    VIQ_PTR_IMAGE = 104,
    VIQ_PTR_JPEG = 105,
    VIQ_PTR_JPEG_ID = 106
};

#define VIQ_FLAG_LOCKED 0x1u
#define VIQ_FLAG_2 0x2u
#define VIQ_FLAG_DIB 0x4u
#define VIQ_FLAG_USE_LUT 0x10u
#define VIQ_FLAG_20 0x20u
#define VIQ_FLAG_DITHER 0x80u
#define VIQ_FLAG_100 0x100u

enum {
    VIQ_FILE_MEMORY = 1,
    VIQ_FILE_TIFF = 3,
    VIQ_FILE_TGA = 5,
    VIQ_FILE_JPEG = 8,
    VIQ_FILE_EPS = 9,
    VIQ_FILE_BMP = 10,
    VIQ_FILE_RAW = 11,
    VIQ_FILE_WAVELET = 12
};

typedef u32 (*VIQ_ErrHandler)(u32 dwModule, const char *pszFunction, u32 dwCode,
                              const char *pszMessage);

typedef struct {
    u32 version, last_code, other_code;
    VIQ_ErrHandler handler;
} tVIQ_ErrRecord;

typedef struct {
    u8 red, green, blue, spare;
} tVIQ_Colour;

typedef struct {
    u32 value, occurrences, index;
} tVIQ_CmapBin;

typedef struct {
    tVIQ_CmapBin bins[4096];
    u32 bin_count;
    u8 red_bits, green_bits, blue_bits, grey_bits;
    u16 colours_to_generate;
    u32 distinct_colours;
    u16 coverage;
    u16 spare[2];
} tVIQ_CmapInfo;

struct Tjpeg;

typedef struct {
    u16 pixel_format;
    u16 data_width;
    char spare_text[128];
    char infilename[128];
    char outfilename[128];
    u32 width;
    u32 height;
    u16 bits_per_pixel;
    u32 line_alignment;
    u32 param_25;
    u32 skip_bytes;
    u32 param_18;
    u32 param_19;
    u8 *data;
    u32 data_companion;
    u32 param_16;
    u32 flags;
    u16 num_colours;
    tVIQ_Colour *colourmap;
    tVIQ_CmapInfo *cmap_info;
    u32 lines_per_strip;
    u32 bytes_per_line;
    u16 param_23;
    struct Tjpeg *jpeg;
} tVIQ_Image;

typedef struct {
    u32 argc, options, plains;
    char program[128];
    char option[3][128];
    char plain[16][128];
} tVIQ_Command;

VIQ_API u32 VIQ_Init(void);
VIQ_API u32 VIQ_image_create(void);
VIQ_API tVIQ_Colour *VIQ_image_create_cmap(void);
VIQ_API u32 VIQ_image_destroy(u32 hImage);
VIQ_API u32 VIQ_image_set_parameter(u32 hImage, u16 wId, u32 dwValue);
VIQ_API u32 VIQ_image_get_parameter(u32 hImage, u16 wId);
VIQ_API u32 VIQ_image_set_flags(u32 hImage, u32 dwBits, u32 dwOn);
VIQ_API u32 VIQ_image_get_flags(u32 hImage, u32 dwBits);
VIQ_API u32 VIQ_image_set_ptr(u32 hImage, u16 wType, void *pValue);
VIQ_API void *VIQ_image_get_ptr(u32 hImage, u16 wType);
VIQ_API u32 VIQ_image_set_infilename(u32 hImage, const char *pszName);
VIQ_API u32 VIQ_image_set_outfilename(u32 hImage, const char *pszName);
VIQ_API char *VIQ_image_get_infilename(u32 hImage);
VIQ_API char *VIQ_image_get_outfilename(u32 hImage);
VIQ_API u32 VIQ_copy_outfilename(u32 hTo, u32 hFrom);
VIQ_API u32 VIQ_get_width(u32 hImage);
VIQ_API u32 VIQ_get_height(u32 hImage);
VIQ_API u32 VIQ_get_bytes_per_line(u32 hImage);
VIQ_API u32 VIQ_get_lines_this_strip(u32 hImage);
VIQ_API u16 VIQ_get_depth(u32 hImage);

VIQ_API uintptr_t VIQ_ErrProcess(u32 dwModule, const char *pszFunction, u32 dwCode,
                                 const char *pszMessage);
VIQ_API u32 VIQ_ErrHandlerInstall(VIQ_ErrHandler pHandler);
VIQ_API u32 VIQ_ErrHandlerDefault(u32 dwModule, const char *pszFunction, u32 dwCode,
                                  const char *pszMessage);

VIQ_API u32 VIQ_image_calc_skip_bytes(u32 dwWidth, u16 wBitsPerPixel, u32 dwAlignment);
VIQ_API u32 VIQ_image_calc_total_strips(u32 hImage);
VIQ_API u32 VIQ_image_check(u32 hImage);
VIQ_API u32 VIQ_image_malloc_a_strip(u32 hImage);
VIQ_API void *VIQ_malloc_N_lines(u32 hImage, u32 dwLines);
VIQ_API u32 VIQ_image_free_data(u32 hImage);
VIQ_API u32 VIQ_image_copy_parameters(u32 hInImage, u32 hOutImage);
VIQ_API u32 VIQ_image_copy_parameters_raw(u32 hInImage, u32 hOutImage);
VIQ_API u32 VIQ_image_copy(u32 hInImage, u32 hOutImage);
VIQ_API u32 VIQ_image_move(u32 hInImage, u32 hOutImage);
VIQ_API u32 VIQ_write_to_memory(u32 hStrip, u32 hMemory, u16 wMode);
VIQ_API u32 VIQ_read_from_memory(u32 hMemory, u32 hStrip, u16 wMode);
VIQ_API void *VIQ_DebugMalloc(u32 dwSize);
VIQ_API u32 VIQ_DebugFree(void *pMemory);
VIQ_API u32 VIQ_DebugMallocPrint(void);

VIQ_API u16 VIQ_fget_ui16i(FILE *f);
VIQ_API u16 VIQ_fget_ui16m(FILE *f);
VIQ_API u32 VIQ_fget_ui32i(FILE *f);
VIQ_API u32 VIQ_fget_ui32m(FILE *f);
VIQ_API int VIQ_fput_ui8(FILE *f, u8 v);
VIQ_API int VIQ_fput_ui16i(FILE *f, u16 v);
VIQ_API int VIQ_fput_ui16m(FILE *f, u16 v);
VIQ_API int VIQ_fput_ui32i(FILE *f, u32 v);
VIQ_API int VIQ_fput_ui32m(FILE *f, u32 v);
VIQ_API u16 VIQ_mget_ui16i(const u8 *p);
VIQ_API u16 VIQ_mget_ui16m(const u8 *p);
VIQ_API u32 VIQ_mget_ui32i(const u8 *p);
VIQ_API u32 VIQ_mget_ui32m(const u8 *p);
VIQ_API u8 VIQ_mput_ui8(u8 *p, u8 v);
VIQ_API void VIQ_mput_ui16i(u8 *p, u16 v);
VIQ_API u16 VIQ_mput_ui16m(u8 *p, u16 v);
VIQ_API void VIQ_mput_ui32i(u8 *p, u32 v);
VIQ_API u8 *VIQ_mput_ui32m(u8 *p, u32 v);
VIQ_API const char *VIQ_sscanf(const char *pszText, u16 *pwValue);
VIQ_API u32 VIQ_Util_ParseCommand(tVIQ_Command *pCommand, int argc, char **argv);
VIQ_API u32 VIQ_test_pattern(u32 hImage, u16 wMode);
VIQ_API u32 VIQ_test_pattern_1_strip(u32 hImage);
VIQ_API u32 VIQ_print_image(u32 hImage);
VIQ_API u32 VIQ_print_jpeg_image(void);
VIQ_API u32 VIQ_print_cmap(u32 hImage);
VIQ_API u32 VIQ_print_Huffman_tables(u32 hImage);

VIQ_API u32 VIQ_image_convert(u32 hInImage, u32 hOutImage, u16 wOutFormat, u32 dwOption,
                              u16 wStripCommand);

VIQ_API u32 VIQ_convert_to_RGBX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_XBGR32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_XRGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_BGR24(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_RGB16(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_RGB15(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_RGB8(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_Y16(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_CMYK32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_YUV422(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_paletted(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_convert_to_RGB8_dither(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_paletted_to_RGB24_or_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand);

VIQ_API u32 VIQ_YUV422_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_BGR24(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_RGBX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_XBGR32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_XRGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_RGB16(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_RGB15(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand);
VIQ_API u32 VIQ_YUV422_to_HSI(u32 hInImage, u32 hOutImage, u16 wStripCommand);

VIQ_API u32 VIQ_CK_get_YUV_values_RGB(u16 wRed, u16 wGreen, u16 wBlue);
VIQ_API u32 VIQ_CK_generate_UV_to_hue_LUT(void);
VIQ_API u32 VIQ_CK_destroy_UV_to_hue_LUT(void);

VIQ_API u32 VIQ_cmap_set_type(u32 hImage, u16 wType);
VIQ_API u32 VIQ_cmap_set_colour(u32 hImage, u16 wIndex, u16 wColour);
VIQ_API u32 VIQ_cmap_set_RGB_colour(u32 hImage, u16 wIndex, u8 bRed, u8 bGreen, u8 bBlue);
VIQ_API u32 VIQ_cmap_get_RGB_colour(u32 hImage, u16 wIndex);
VIQ_API u8 VIQ_cmap_find_closest_colour(u32 hImage, u8 bRed, u8 bGreen, u8 bBlue);
VIQ_API u32 VIQ_cmap_is_grayscale(u32 hImage);
VIQ_API u32 VIQ_image_is_colour(u32 hImage);
VIQ_API tVIQ_CmapInfo *VIQ_cmap_create_info(void);
VIQ_API u32 VIQ_cmap_destroy_info(u32 hImage);
VIQ_API u32 VIQ_cmap_copy(u32 hInImage, u32 hOutImage);
VIQ_API u32 VIQ_cmap_set_bits(u32 hImage, u8 bRed, u8 bGreen, u8 bBlue, u8 bGrey);
VIQ_API u32 VIQ_cmap_get_occurrences(u32 hImage, u16 wBin);
VIQ_API u32 VIQ_cmap_generate(u32 hImage, u16 wNumColours, u16 wStripCommand);

VIQ_API u32 VIQ_image_find_file_format(const char *pszFileName);
VIQ_API u32 VIQ_image_read(u32 hImage, u32 hMemory, u16 wMode);
VIQ_API u32 VIQ_image_write(u32 hImage, u32 hMemory, u16 wFormat, u16 wMode);
VIQ_API u32 VIQ_write_raw_data_file(u32 hImage, u16 wMode);
VIQ_API u32 VIQ_read_BMP_file(u32 hImage, u16 wMode);
VIQ_API u32 VIQ_write_BMP_file(u32 hImage, u16 wMode);
VIQ_API u32 VIQ_image_write_BMP_buffer(u32 hImage, u8 *pBuffer, u32 *pdwSize, u16 wMode);

#ifdef __cplusplus
}
#endif

#endif
