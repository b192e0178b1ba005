/**
 * @file
 * Printing of images: on printers, in PDF files, and in device contexts of Windows.
 */
#ifndef VIQ_PRINT_H
#define VIQ_PRINT_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_print Printing
 *
 * A picture of any pixel format is printed strip by strip, each picture on a page of its own:
 *
 *     tVIQ_PrintOptions options;
 *     VIQ_display_print_defaults(&options);
 *     options.file_name = "report.pdf"; // without it: the default printer
 *     options.position = VIQ_PRINT_CENTRE;
 *     if (VIQ_IS_ERROR(VIQ_display_print(picture, NULL, "Report", &options, VIQ_STRIP_NEXT)))
 *         puts("not printed");
 *
 * Lengths are in 1/100 mm. Only the memory of a strip is used in addition to the image.
 *
 * **Placement.** The picture is as large as fits between the margins, or has the size that the
 * options state. If only its width or only its height is stated, the other one follows from square
 * pixels. The options refer to the page as the picture is viewed: for a landscape picture on paper
 * that is fed upright, the left margin is at the lower short edge. Pixels are not interpolated by
 * the library, except by GDI where the picture has more pixels than its area on the page.
 *
 * **Colours.** VIQ_Y1, VIQ_Y8, VIQ_PALETTED, VIQ_RGB24 and VIQ_CMYK32 are sent in a PDF document as
 * they are. VIQ_Y16 is reduced to the upper 8 of its VIQ_DATA_WIDTH bits (fewer bits are scaled to
 * 8), VIQ_RGGB32 is printed as grey samples, VIQ_HSI by its intensity, and every other format as
 * VIQ_convert_as converts it to VIQ_RGB24. In a device context all formats are printed as VIQ_Y8 or
 * as red, green and blue.
 *
 * **Linux.** Printers are those of CUPS. libcups.so.2 is loaded when it is first needed; it makes
 * the process ignore SIGPIPE. The picture is sent as a PDF document while it is being printed; the
 * queue receives a job when the document is complete, so that an abandoned document leaves none.
 * The name of a printer can be its address instead: "ipp://HOST:PORT/PATH", also "ipps:". A printer
 * that is used by its address must accept PDF; the job of an abandoned document is cancelled there,
 * which can take some seconds.
 *
 * **Windows.** Printers are those of the spooler; the picture is drawn band by band in the device
 * context of the printer, or in one of the program.
 *
 * **Files.** On both systems, a PDF document can be written to a file instead. Its pages are
 * compressed without loss. A document is limited to 9,999,999,999 bytes, because its table of
 * contents has offsets of 10 digits; pictures that could exceed it are refused. Many programs
 * display only pages up to 5080 x 5080 mm and pictures of less than 2 GiB.
 * @{
 */

/** Values of tVIQ_PrintOptions::orientation. */
enum {
    VIQ_PRINT_AUTO = 0,      /**< the one in which the picture is larger or fits */
    VIQ_PRINT_PORTRAIT = 1,  /**< the short edge of the paper is at the top of the picture */
    VIQ_PRINT_LANDSCAPE = 2, /**< the long edge is at the top */
};

/** Values of tVIQ_PrintOptions::position. */
enum {
    VIQ_PRINT_CORNER = 0, /**< at the upper and the left margin */
    VIQ_PRINT_CENTRE = 1, /**< in the centre between the margins */
};

/** How a picture is printed. VIQ_display_print_defaults sets the defaults. */
typedef struct {
    const char *file_name; /**< PDF file to write, of any length of name; NULL: print */
    void *device_context;  /**< Windows: a HDC of the program to draw in; NULL: print */
    const char *paper;     /**< name such as "A4" or "Letter", or "WIDTHxHEIGHT" in mm, with up to 2
                                decimals; NULL: the paper of the printer, A4 if it is unknown */
    uint32_t width;        /**< of the printed picture; 0: by its height, or to fit */
    uint32_t height;       /**< of the printed picture; 0: by its width, or to fit */
    uint32_t margin_left;  /**< 1000 */
    uint32_t margin_top;   /**< 1000 */
    uint32_t margin_right; /**< 1000 */
    uint32_t margin_bottom; /**< 1000 */
    uint16_t orientation;   /**< VIQ_PRINT_AUTO */
    uint16_t position;      /**< VIQ_PRINT_CORNER */
    uint16_t copies;        /**< 1 to 9999 */
    uint16_t grey;          /**< 1: print in grey; 0: in colour */
    uint16_t more_pages;    /**< 1: another picture follows on the next page; 0: the last page */
    uint16_t spare;         /**< 0 */
} tVIQ_PrintOptions;

/** A printer. The texts are zero-terminated and shortened if they are longer. */
typedef struct {
    char name[256];        /**< for VIQ_display_print */
    char description[256]; /**< as people call it; may be empty */
    uint16_t is_default;   /**< 1: the printer that is used if none is named */
    uint16_t accepts_jobs; /**< 0: it rejects jobs at the moment */
} tVIQ_Printer;

/**
 * Sets the options to their defaults: the printer's paper or A4, margins of 10 mm, the picture as
 * large as fits, at the upper left margin, one copy, in colour, one page.
 *
 * @param[out] pOptions  receives the defaults
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_print_defaults(tVIQ_PrintOptions *pOptions);

/**
 * Prints the current strip of a picture; the first strip begins a document or the next page of it,
 * the last strip ends the page and, unless more_pages is set, the document. VIQ_STRIP_FINISH
 * abandons the document, also between two pages: no job and no file is left, and a file of that
 * name is unchanged. So does a failure, the destruction of the image before its last strip, and the
 * end of the context.
 *
 * The options are read on the first strip of each picture. Printer, document, file_name,
 * device_context, paper and copies are those of the first page of the document.
 *
 * With a device context of the program, the function only draws: the program calls StartDoc,
 * StartPage, EndPage and EndDoc; printer, document, copies and more_pages have no effect. The unit
 * of its coordinates must be a pixel (MM_TEXT). The page is that of the device; for a device other
 * than a printer, such as a memory bitmap, it has the size of `paper` and starts at the origin.
 *
 * @param hImage         the image; its pixels are not changed, its lines per strip at the last
 *     strip are reduced to the remaining lines
 * @param pszPrinter     name or address of the printer, UTF-8; NULL or "": the default printer
 * @param pszDocument    name of the document in queues and in the PDF, UTF-8; NULL or "": "VIQ"
 * @param pOptions       how to print; NULL: the defaults
 * @param wStripCommand  strip command
 * @par Errors
 * - VIQ_ERR_PARAMETER "Print options out of range": orientation, position, copies, grey,
 *   more_pages, or a length above 1,000,000
 * - VIQ_ERR_PARAMETER "Unknown paper"
 * - VIQ_ERR_PARAMETER "Margins larger than the paper"
 * - VIQ_ERR_PARAMETER "Picture does not fit on the paper": the stated size exceeds the area between
 *   the margins
 * - VIQ_ERR_CORRUPT "Corrupt image": also width or height 0
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 * - VIQ_ERR_UNSUPPORTED "Picture too large for a PDF file"
 * - VIQ_ERR_UNSUPPORTED "Device contexts exist on Windows only"
 * - VIQ_ERR_STATE "Colourmap is NULL": a paletted image without a colourmap
 * - VIQ_ERR_CORRUPT "Image changed during transfer": a strip has another geometry than the first
 *   one; the document is abandoned
 * - VIQ_ERR_UNSUPPORTED "No print system": the library libcups.so.2 or winspool.drv is missing
 * - VIQ_ERR_OPEN "Printer 'N': X": printing cannot begin. N is the name of the printer, or "device
 *   context". X is the reason: "not found", "does not accept jobs", "does not accept PDF
 * documents", "does not make so many copies", "does not have this paper", "invalid address", "name
 * too long", "invalid handle", or the text of the print system, "unknown reason" if it has none
 * - VIQ_ERR_OPEN "Print server: X": it cannot be reached
 * - VIQ_ERR_OPEN "No default printer"
 * - VIQ_ERR_SYSTEM "Printer 'N': X": printing has failed; the document is abandoned
 * - VIQ_ERR_OPEN "Failed to create file"
 * - VIQ_ERR_SYSTEM "Failed to write to file"
 * - VIQ_ERR_CLOSE "Failed to close file"
 * - VIQ_ERR_SYSTEM "Failed to replace file"
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_print(uint32_t hImage, const char *pszPrinter,
                                            const char *pszDocument,
                                            const tVIQ_PrintOptions *pOptions,
                                            uint16_t wStripCommand);

/**
 * Lists the printers of the print system, the default printer first.
 *
 * @param[out] pPrinters  receives the first dwPrinters of them; may be NULL if dwPrinters is 0
 * @param dwPrinters      size of the array
 * @return the number of printers, which may exceed dwPrinters; or an error code
 * @par Errors
 * - VIQ_ERR_UNSUPPORTED "No print system": the library libcups.so.2 or winspool.drv is missing
 * - VIQ_ERR_OPEN "Print server: X": it cannot be reached
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_list_printers(tVIQ_Printer *pPrinters, uint32_t dwPrinters);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
