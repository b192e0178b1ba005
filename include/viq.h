/**
 * @file
 * Interface of VIQ, a library for images in memory and in files. This header includes all others;
 * each of them can also be included alone. The comments at the declarations are the manual.
 */
#ifndef VIQ_H
#define VIQ_H

/**
 * @page viq_concepts Concepts
 *
 * @section viq_headers Headers
 *
 * - viq/types.h: constants, error codes and records
 * - viq/image.h: VIQ_Init, VIQ_image_... except those below, VIQ_get_..., VIQ_copy_outfilename,
 *   VIQ_Err..., VIQ_error_text, VIQ_error_name, VIQ_malloc_N_lines, VIQ_write_to_memory,
 *   VIQ_read_from_memory, VIQ_sscanf, VIQ_Util_..., VIQ_test_pattern..., VIQ_Debug...,
 * VIQ_print_...
 * - viq/convert.h: VIQ_image_convert, VIQ_convert_to_..., VIQ_YUV422_to_..., VIQ_paletted_to_...,
 *   except names that end in _LUT
 * - viq/colourmap.h: VIQ_cmap_...
 * - viq/lut.h: VIQ_LUT_..., VIQ_image_conv_LUT_..., and names that end in _LUT, except VIQ_CK_...
 * - viq/files.h: VIQ_image_read, VIQ_image_write, VIQ_image_find_file_format,
 *   VIQ_image_write_BMP_buffer, VIQ_read_..._file, VIQ_write_..._file, TIFF_read_...,
 *   VIQ_fget_..., VIQ_fput_..., VIQ_mget_..., VIQ_mput_...
 * - viq/limits.h: VIQ_set_limit, VIQ_get_limit
 * - viq/jpeg.h: VIQ_JPEG_..., VIQ_pad_to_MCU_1_strip
 * - viq/wavelet.h: VIQ_WVLT_...
 * - viq/process.h: VIQ_IP_..., VIQ_SPL_...
 * - viq/camera.h: VIQ_BAY_..., VIQ_CK_...
 * - viq/draw.h: VIQ_draw_..., VIQ_DrawPixel
 * - viq/display.h: VIQ_display_... except those that follow
 * - viq/print.h: VIQ_display_print, VIQ_display_print_defaults, VIQ_display_list_printers
 * - viq/one_call.h: VIQ_open_as, VIQ_decode_as, VIQ_convert_as, VIQ_save, VIQ_encode
 *
 * Handles and results are uint32_t. Prefixes of arguments name their type: h is a handle, dw 32
 * bits, w 16 bits, b 8 bits, p a pointer, psz a zero-terminated text.
 *
 * @section viq_handles Images and handles
 *
 * An image is an object of the library, identified by a handle from 1 to 65535 that
 * VIQ_image_create returns. 0 is never a handle. Passing a handle that was never returned, or that
 * of a destroyed image, gives an error.
 *
 * @section viq_strips Strips
 *
 * An image describes a whole picture, but its data buffer holds one strip: VIQ_LINES_PER_STRIP
 * consecutive lines, top line first. If the lines per strip are equal to the height, the buffer
 * holds the whole picture. A picture of any size can thus be processed with little memory.
 *
 * Operations take a strip command or mode. VIQ_STRIP_NEXT processes the current strip;
 * VIQ_STRIP_FINISH abandons the sequence of strips. On the first strip the operation sets its
 * output up: it copies the parameters of the input, file names, flags and colourmap included, and
 * sets those that differ. It counts the lines and reduces the last strip to the remaining lines;
 * this changes the lines per strip of the caller's image. After the last strip it is ready for
 * another picture. If the lines per strip are 0, only the parameters are copied.
 *
 * The line count belongs to the operation, not to the image: each operation can have one sequence
 * in progress. An unfinished sequence resumes without reinitialisation when the operation is called
 * again. If format, width or height of the output then do not fit the input, VIQ_ERR_STATE
 * "Sequence under way with another image" is reported before a pixel is changed. Operations that
 * keep lines or sums from strip to strip (scaling, the 3 x 3 filter, averages, the calibration of
 * chroma keys) report the same if the other arguments differ from those of the first strip.
 *
 * Converting a file to grey, 64 lines at a time:
 *
 *     uint32_t in = VIQ_image_create(), grey = VIQ_image_create(), done;
 *     VIQ_image_set_infilename(in, "colour.bmp");
 *     VIQ_image_set_outfilename(in, "grey.bmp");           // the conversion copies it to grey
 *     VIQ_image_set_parameter(in, VIQ_HEIGHT, 0);
 *     VIQ_image_set_parameter(in, VIQ_LINES_PER_STRIP, 0); // no lines: read only the header
 *     VIQ_image_read(in, 0, VIQ_STRIP_NEXT);
 *     VIQ_image_set_parameter(in, VIQ_LINES_PER_STRIP, 64);
 *     for (done = 0; done < VIQ_get_height(in); done += VIQ_get_lines_this_strip(in))
 *         if (VIQ_IS_ERROR(VIQ_image_read(in, 0, VIQ_STRIP_NEXT)) ||
 *             VIQ_IS_ERROR(VIQ_image_convert(in, grey, VIQ_Y8, 0, VIQ_STRIP_NEXT)) ||
 *             VIQ_IS_ERROR(VIQ_image_write(grey, 0, VIQ_FILE_BMP, VIQ_STRIP_NEXT)))
 *             break; // then end all three with VIQ_STRIP_FINISH
 *
 * @section viq_lines Lines
 *
 * Line n of a strip starts n x VIQ_BYTES_PER_LINE bytes after the start of the buffer; this number
 * is the stride. The pixels of a line are followed by padding to a multiple of VIQ_LINE_ALIGNMENT
 * (2 in a new image). VIQ_image_check computes stride and padding; every operation calls it first.
 * For 1-bit images the check computes a stride of 0: their lines have ceiling(width / 8) bytes
 * without padding, and readers set VIQ_BYTES_PER_LINE to the stride that they have used.
 *
 * @section viq_ownership Ownership of memory
 *
 * The library allocates strip buffers, filled with 0, and frees or resizes only those. A caller can
 * set a buffer with VIQ_image_set_ptr. With VIQ_FLAG_LOCKED it stays the caller's, even if the flag
 * is cleared later, and its size is not checked. Without the flag the library owns it from then on
 * and frees it with free(); VIQ_malloc_N_lines allocates such memory. The same rules apply to the
 * data of a JPEG record. Operations copy the flag to their output with the other parameters. A
 * copied flag does not lock the buffer that the output has at that time: if it is not locked
 * itself, it is replaced by a buffer of the library. A buffer that is set while the flag is present
 * is locked, however the flag got there; clear the flag first to pass a buffer to the library.
 * Pointers that the library returns stay the library's unless the function says otherwise.
 *
 * On Windows, memory that the library frees with free(), and every FILE pointer that is passed to
 * it, must come from the C run-time that the library uses. A program with another run-time locks
 * its buffers, or allocates them with VIQ_malloc_N_lines or VIQ_DebugMalloc.
 *
 * @section viq_reporting Errors
 *
 * A function that fails reports the failure once through VIQ_ErrProcess, under its own name or, for
 * the processing of a strip, mostly under its name followed by "_1_strip", and returns the error
 * code. A function that passes on the failure of another one may report it again with its own
 * message.
 * VIQ_error_text returns the meaning of a code. @ref viq_errors contains the table of codes and the
 * errors that all functions have in common.
 *
 * @section viq_error_handlers Error handlers
 *
 * The installed handler is called in the function that fails, before it returns. The result of the
 * handler does not change the error code. VIQ_Init installs VIQ_ErrHandlerDefault and thus replaces
 * the handler of the caller.
 *
 * A handler may call the library, but not disturb the function that has failed, which still needs
 * its images when the handler returns. Until then an image that was created before the failure can
 * be queried but not changed or destroyed, nor can its JPEG record be set in another image.
 * Operations with a strip command, the destruction of tables and chroma keys, and VIQ_image_destroy
 * with VIQ_ALL_IMAGES or VIQ_ANY_IMAGE are refused. A refused call returns VIQ_ERR_STATE. Images
 * that the handler has created during this failure can be set up and destroyed. Errors of calls
 * that a handler makes are returned, but not reported. A handler must return; leaving it with
 * longjmp() is not supported.
 *
 * @section viq_threads Threads
 *
 * What the library keeps between calls belongs to a context, and every thread is bound to one.
 * Threads that are bound to different contexts call the library at the same time; see @ref
 * viq_context. All threads are bound to context 0 at first and must then not call the library at
 * the same time.
 */

#include "viq/camera.h"
#include "viq/colourmap.h"
#include "viq/context.h"
#include "viq/convert.h"
#include "viq/display.h"
#include "viq/draw.h"
#include "viq/files.h"
#include "viq/image.h"
#include "viq/jpeg.h"
#include "viq/limits.h"
#include "viq/lut.h"
#include "viq/one_call.h"
#include "viq/print.h"
#include "viq/process.h"
#include "viq/types.h"
#include "viq/wavelet.h"

#endif
