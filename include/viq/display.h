/**
 * @file
 * Display of images in windows: display objects, their parameters, events.
 */
#ifndef VIQ_DISPLAY_H
#define VIQ_DISPLAY_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup viq_display Display
 *
 * A display object shows images in a window: in one of its own (VIQ_display_open) or in one of the
 * program (VIQ_display_set_window). A picture of any pixel format is converted to the format of the
 * window, scaled and placed. The manual's chapter on display contains a program.
 *
 * Windows are those of the platform: X11 on Linux, with libX11 (1.7 or newer) and libXext, which
 * are loaded when the first window is opened; GDI and DirectDraw on Windows. Where the libraries or
 * a server are missing, opening or setting a window fails with VIQ_ERR_UNSUPPORTED "No display
 * system". Nothing else of the library needs them.
 *
 * **Placement.** The region of interest, a rectangle of the image, is shown in the target
 * rectangle, a rectangle of the window; both can be set, and are the whole image and the whole
 * window at first. VIQ_DISPLAY_FIT selects how the region fits into the target: pixel by pixel from
 * its upper left corner, stretched to it, or as large as possible with the aspect ratio kept, in
 * its centre. The rest of the target rectangle has the background colour. A window of the
 * display's own has the background colour outside the target rectangle too; in a window of the
 * program nothing is drawn there. Scaling by VIQ_DISPLAY_NEAREST shows at window column X, counted
 * from the left column of the picture in the window, column floor((2 X + 1) w / (2 W)) of the
 * region, where w is the width of the region and W that of the picture in the window; lines in the
 * same way. VIQ_DISPLAY_BILINEAR interpolates between the four nearest pixel centres, with weights
 * of 1/256, and does not average the pixels that a reduction leaves out.
 *
 * **Colours.** The formats are shown as follows; VIQ_ERR_UNSUPPORTED otherwise.
 * - RGB, BGR and paletted formats, and VIQ_CMYK32: the colours to which VIQ_convert_as converts
 * - VIQ_YUV422: the colours to which VIQ_YUV422_to_BGRX32 converts
 * - VIQ_Y1, VIQ_Y8: grey; 1 is white
 * - VIQ_Y16: by window and level: the value v becomes floor((v - low) x 256 / window), limited to
 *   0..255, where low is level - floor(window / 2). With VIQ_DISPLAY_WINDOW 0 all values of the
 *   data width are shown: the window is 2^width, the level half of it.
 * - VIQ_RGGB32: grey, or colours by scheme 1 of VIQ_BAY_RGGB32_to_BGRX32
 * - VIQ_HSI: the intensity as grey
 *
 * Windows of 16 and 15 bits show VIQ_RGB16 and VIQ_RGB15, as VIQ_convert_to_RGB16 converts to them;
 * components that are wider in a window repeat their high bits.
 *
 * **Methods.** On X11: VIQ_DISPLAY_SHARED_MEMORY, a segment of memory that the server reads (the
 * MIT-SHM extension, only with a server on the same machine); VIQ_DISPLAY_IMAGE, which sends the
 * pixels through the connection; VIQ_DISPLAY_PIXMAP, which sends them to a pixmap of the server and
 * copies it to the window, so that repainting sends nothing. On Windows: VIQ_DISPLAY_DIB, a DIB
 * section that GDI copies; VIQ_DISPLAY_DDB, a bitmap of the device's format that GDI copies;
 * VIQ_DISPLAY_SURFACE, a DirectDraw surface. VIQ_DISPLAY_BEST chooses the fastest that works. Rows
 * of the image are converted straight into the segment, the DIB section or the locked surface: when
 * pictures of one kind follow each other, nothing is allocated, and a picture that is not scaled is
 * read and written once. Shared memory segments do not count for VIQ_LIMIT_MEMORY.
 *
 * **Threads.** A display belongs to the context (@ref viq_context) that has created it, and its
 * window to the thread that has opened or set it: only this thread calls the functions of this
 * display. Displays of different threads are independent. On X11 every display has a connection to
 * the server of its own.
 *
 * Failures of the server are errors of the call that meets them, never an exit of the program.
 * After VIQ_ERR_SYSTEM "Connection to the display server lost" the display has no window any more;
 * VIQ_display_close, and then VIQ_display_open, can be called again.
 *
 * VIQ_image_destroy(VIQ_ALL_IMAGES) destroys the displays of the calling thread's context. Called
 * by an error handler, all functions but VIQ_display_get_parameter return VIQ_ERR_STATE and do
 * nothing.
 * @{
 */

/** Parameters of a display, see VIQ_display_set_parameter. */
enum {
    VIQ_DISPLAY_METHOD = 600,        /**< one of the methods below; VIQ_DISPLAY_BEST at first */
    VIQ_DISPLAY_METHOD_IN_USE = 601, /**< read-only: what BEST has chosen; 0: no window */
    VIQ_DISPLAY_REGION_X = 602,      /**< left column of the region in the image */
    VIQ_DISPLAY_REGION_Y = 603,      /**< top line of the region in the image */
    VIQ_DISPLAY_REGION_WIDTH = 604,  /**< columns of the region; 0: all to the right of its left */
    VIQ_DISPLAY_REGION_HEIGHT = 605, /**< lines of the region; 0: all below its top */
    VIQ_DISPLAY_TARGET_X = 606,      /**< left column of the target in the window; signed */
    VIQ_DISPLAY_TARGET_Y = 607,      /**< top line of the target in the window; signed */
    VIQ_DISPLAY_TARGET_WIDTH = 608,  /**< columns of the target; 0: to the right edge */
    VIQ_DISPLAY_TARGET_HEIGHT = 609, /**< lines of the target; 0: to the lower edge */
    VIQ_DISPLAY_FIT = 610,           /**< VIQ_DISPLAY_FIT_...; VIQ_DISPLAY_FIT_NONE at first */
    VIQ_DISPLAY_ZOOM = 611,          /**< VIQ_DISPLAY_NEAREST (at first) or VIQ_DISPLAY_BILINEAR */
    VIQ_DISPLAY_BACKGROUND = 612,    /**< red << 16 | green << 8 | blue; black at first */
    VIQ_DISPLAY_VSYNC = 613,         /**< 1: wait for the vertical blank; 0 at first */
    VIQ_DISPLAY_WINDOW = 614,        /**< VIQ_Y16: number of values shown, up to 65536; 0: all */
    VIQ_DISPLAY_LEVEL = 615,         /**< VIQ_Y16: centre of the values shown, 0 to 65535 */
    VIQ_DISPLAY_MOSAIC = 616,        /**< VIQ_RGGB32: 0 grey (at first), 1 to 4 pixel colour */
    VIQ_DISPLAY_WINDOW_WIDTH = 617,  /**< read-only: columns of the window; 0: no window */
    VIQ_DISPLAY_WINDOW_HEIGHT = 618  /**< read-only: lines of the window; 0: no window */
};

/** Values of VIQ_DISPLAY_METHOD. */
enum {
    VIQ_DISPLAY_BEST = 0,         /**< the fastest that works */
    VIQ_DISPLAY_DIB = 1,          /**< Windows: DIB section */
    VIQ_DISPLAY_DDB = 2,          /**< Windows: device-dependent bitmap */
    VIQ_DISPLAY_SURFACE = 3,      /**< Windows: DirectDraw surface */
    VIQ_DISPLAY_IMAGE = 4,        /**< X11: image sent through the connection */
    VIQ_DISPLAY_PIXMAP = 5,       /**< X11: pixmap of the server */
    VIQ_DISPLAY_SHARED_MEMORY = 6 /**< X11: shared memory segment */
};

/** Values of VIQ_DISPLAY_FIT. */
enum {
    VIQ_DISPLAY_FIT_NONE = 0,    /**< a pixel of the image is a pixel of the window; rest cut off */
    VIQ_DISPLAY_FIT_STRETCH = 1, /**< the region fills the target */
    VIQ_DISPLAY_FIT_ASPECT = 2   /**< as large as possible with square pixels, centred */
};

/** Values of VIQ_DISPLAY_ZOOM. */
enum {
    VIQ_DISPLAY_NEAREST = 0, /**< the nearest pixel */
    VIQ_DISPLAY_BILINEAR = 1 /**< linear interpolation of four pixels */
};

/** Types of events. */
enum {
    VIQ_EVENT_NONE = 0,        /**< no event in the given time */
    VIQ_EVENT_KEY_DOWN = 1,    /**< a key was pressed, or repeats */
    VIQ_EVENT_KEY_UP = 2,      /**< a key was released */
    VIQ_EVENT_BUTTON_DOWN = 3, /**< a mouse button was pressed */
    VIQ_EVENT_BUTTON_UP = 4,   /**< a mouse button was released */
    VIQ_EVENT_WHEEL = 5,       /**< the wheel was turned */
    VIQ_EVENT_MOTION = 6, /**< the pointer has moved; motions that nobody has read are merged */
    VIQ_EVENT_LEAVE = 7,  /**< the pointer has left the window */
    VIQ_EVENT_RESIZE = 8, /**< the window has another size */
    VIQ_EVENT_CLOSE = 9   /**< the user asks to close the window, which stays open */
};

/** Bits of tVIQ_DisplayEvent::modifiers: keys, and mouse buttons that are held. */
enum {
    VIQ_MODIFIER_SHIFT = 1,   /**< Shift */
    VIQ_MODIFIER_CONTROL = 2, /**< Control */
    VIQ_MODIFIER_ALT = 4,     /**< Alt */
    VIQ_MODIFIER_LEFT = 16,   /**< left mouse button */
    VIQ_MODIFIER_MIDDLE = 32, /**< middle mouse button */
    VIQ_MODIFIER_RIGHT = 64   /**< right mouse button */
};

/** Keys without a character, in tVIQ_DisplayEvent::key; above all Unicode characters. */
enum {
    VIQ_KEY_LEFT = 0x110001,      /**< arrow to the left */
    VIQ_KEY_RIGHT = 0x110002,     /**< arrow to the right */
    VIQ_KEY_UP = 0x110003,        /**< arrow up */
    VIQ_KEY_DOWN = 0x110004,      /**< arrow down */
    VIQ_KEY_PAGE_UP = 0x110005,   /**< previous page */
    VIQ_KEY_PAGE_DOWN = 0x110006, /**< next page */
    VIQ_KEY_HOME = 0x110007,      /**< start */
    VIQ_KEY_END = 0x110008,       /**< end */
    VIQ_KEY_INSERT = 0x110009,    /**< insert */
    VIQ_KEY_F1 = 0x110101,        /**< F2 to F12 follow */
    VIQ_KEY_F12 = 0x11010C        /**< last function key */
};

/** An event of a window of the display's own. Fields that do not apply to the type are 0. */
typedef struct {
    uint16_t type;      /**< VIQ_EVENT_... */
    uint16_t modifiers; /**< VIQ_MODIFIER_... before the event */
    uint32_t time;      /**< milliseconds, from an unspecified start; wraps around */
    uint32_t key;       /**< key events: the Unicode character with Shift and the like applied
                             (Escape 27, Return 13, Backspace 8, Tab 9, Delete 127; with Control the
                             letter itself), VIQ_KEY_..., or 0 for other keys. On X11, characters
                             outside Latin-1 are reported if the keyboard map names them by their
                             Unicode number. */
    uint16_t button;    /**< button events: 1 left, 2 middle, 3 right, others from 4 */
    uint16_t inside;    /**< pointer events: 1 if the position is on the picture */
    int32_t wheel_x;    /**< steps of the wheel to the right */
    int32_t wheel_y;    /**< steps of the wheel away from the user */
    int32_t window_x;   /**< pointer events, keys: column in the window, from 0 */
    int32_t window_y;   /**< line in the window, from 0 */
    double image_x;     /**< the same position in the image: pixel n is from n to n + 1; the centre
                             of the window's pixel is mapped, also outside of the picture. 0 if no
                             picture has been shown. */
    double image_y;     /**< the same for lines; 0 is the upper edge of the top line */
    uint32_t width;     /**< resize: the columns of the window */
    uint32_t height;    /**< resize: the lines of the window */
} tVIQ_DisplayEvent;

/** The pixel at a position of a window. */
typedef struct {
    uint32_t x;          /**< column of the image */
    uint32_t y;          /**< line of the image */
    uint16_t image_type; /**< pixel format of the image */
    uint16_t components; /**< entries of value in use; 0: the image does not hold the line */
    uint32_t value[4];   /**< the pixel as the image stores it: grey; index; red, green, blue;
                              Y, U, V; C, M, Y, K; hue, saturation, intensity. Bit fields are not
                              scaled. */
    uint8_t red;         /**< the colour that is shown, before the reduction to the depth of the */
    uint8_t green;       /**< window and without interpolation; 0 if there are no components */
    uint8_t blue;        /**< blue */
    uint8_t spare;       /**< 0 */
} tVIQ_DisplayPixel;

/**
 * Creates a display object without a window.
 *
 * @return the handle, 1 to 65535, which VIQ_display_destroy frees; or an error code
 * @par Errors
 * - VIQ_ERR_NO_HANDLES "Run out of displays": 65535 displays exist in the context
 * - VIQ_ERR_MEMORY ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_create(void);

/**
 * Destroys a display: closes its window, or releases that of the program, and frees its memory.
 *
 * @param hDisplay  the display, or VIQ_ALL_IMAGES for all displays of the context
 * @return 0, also if there is no such display
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_destroy(uint32_t hDisplay);

/**
 * Makes the display show images in a window of the program, which stays the program's. Events are
 * the program's too: it calls VIQ_display_refresh when the window has to be painted (WM_PAINT,
 * Expose) and before it destroys the window VIQ_display_close. The size of the window is followed.
 *
 * @param hDisplay  the display
 * @param pWindow   the window: a HWND, or on X11 a Window, converted by way of uintptr_t
 * @param pDevice   the device: a HDC that stays valid, or on X11 the Display of the program, whose
 *     server is used and which is synchronised once. NULL: the window's own device context, on X11
 *     the server that the environment variable DISPLAY names.
 * @par Errors
 * - VIQ_ERR_STATE "Display has a window already"
 * - VIQ_ERR_PARAMETER "No such window"
 * - VIQ_ERR_UNSUPPORTED "No display system"
 * - VIQ_ERR_UNSUPPORTED|depth "Unsupported depth of window": its pixels have no fixed colours, or
 *   do not take 8, 16, 24 or 32 bits
 * - VIQ_ERR_UNSUPPORTED "Display method not available": a method is set that does not work here
 * - VIQ_ERR_SYSTEM "Connection to the display server lost"
 * - VIQ_ERR_SYSTEM|error "Display server:": the server refuses a request; its text follows
 * - VIQ_ERR_MEMORY ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_set_window(uint32_t hDisplay, void *pWindow, void *pDevice);

/**
 * Opens a window of the display's own, visible at the end of the call, in the background colour.
 *
 * @param hDisplay  the display
 * @param pszTitle  title of the window, zero-terminated, UTF-8
 * @param dwWidth   columns of the window without its frame, 1 to 32767
 * @param dwHeight  lines of the window without its frame, 1 to 32767
 * @par Errors
 * - VIQ_ERR_PARAMETER "Window size out of range"
 * - those of VIQ_display_set_window
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_open(uint32_t hDisplay, const char *pszTitle,
                                           uint32_t dwWidth, uint32_t dwHeight);

/**
 * Closes the window of the display's own, or releases the window of the program. The parameters
 * stay; another window can be opened or set. An unfinished sequence of strips ends.
 *
 * @param hDisplay  the display; without a window nothing happens
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_close(uint32_t hDisplay);

/**
 * Changes the title of the window.
 *
 * @param hDisplay  the display
 * @param pszTitle  the title, zero-terminated, UTF-8
 * @par Errors
 * - VIQ_ERR_STATE "Display has no window": or it is a window of the program
 * - VIQ_ERR_SYSTEM, as VIQ_display_image
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_set_title(uint32_t hDisplay, const char *pszTitle);

/**
 * Sets a parameter. It takes effect with the next strip, picture or VIQ_display_refresh. A change
 * in the middle of a picture that is shown strip by strip clears the window; the strips that follow
 * are shown. A method that does not work is reported when it is used.
 *
 * @param hDisplay    the display
 * @param wParameter  VIQ_DISPLAY_..., not a read-only one
 * @param dwValue     the value; negative ones as (uint32_t)value
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter": or a read-only one
 * - VIQ_ERR_PARAMETER "Parameter out of range": TARGET_X and TARGET_Y -1000000 to 1000000, sizes of
 *   the target up to 1000000, others as stated at the parameter
 * - VIQ_ERR_UNSUPPORTED "No vertical sync": VIQ_DISPLAY_VSYNC 1 on X11, which has none; on Windows
 *   the surface method has it and the others ignore it
 * - VIQ_ERR_UNSUPPORTED "Display method not available": a method of another platform
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_set_parameter(uint32_t hDisplay, uint16_t wParameter,
                                                    uint32_t dwValue);

/**
 * Returns a parameter.
 *
 * @param hDisplay      the display
 * @param wParameter    VIQ_DISPLAY_...
 * @param pdwValue    receives the value; not changed after a failure
 * @par Errors
 * - VIQ_ERR_PARAMETER "Unknown parameter"
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_get_parameter(uint32_t hDisplay, uint16_t wParameter,
                                                    uint32_t *pdwValue);

/**
 * Shows an image: the current strip at its place in the picture. If the image holds the whole
 * picture in one strip, the call shows the picture. The window shows the strip when the call
 * returns, or as soon as the server has executed the request.
 *
 * @param hDisplay       the display
 * @param hImage         the image; its pixels are not changed, its lines per strip at the last
 *     strip are reduced to the remaining lines
 * @param wStripCommand  strip command; VIQ_STRIP_FINISH ends the picture where it is, the lines
 *     that follow stay as they are
 * @par Errors
 * - VIQ_ERR_STATE "Display has no window"
 * - VIQ_ERR_UNSUPPORTED|format "Unsupported image format"
 * - VIQ_ERR_UNSUPPORTED "YUV422 image must be an even width"
 * - VIQ_ERR_STATE "Colourmap is NULL": a paletted image without a colourmap
 * - VIQ_ERR_PARAMETER "Region outside the image"
 * - VIQ_ERR_UNSUPPORTED "Image too large to be shown": more than 2147483647 columns or lines
 * - VIQ_ERR_CORRUPT "Image changed during transfer": a strip has another geometry than the first
 * one
 * - VIQ_ERR_UNSUPPORTED "Display method not available"
 * - VIQ_ERR_SYSTEM "Connection to the display server lost"
 * - VIQ_ERR_SYSTEM|error "Display server:": the server refuses a request; its text follows
 * - VIQ_ERR_PARAMETER "No such window": it has been destroyed; the display has no window any more
 * - VIQ_ERR_MEMORY ""
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_image(uint32_t hDisplay, uint32_t hImage,
                                            uint16_t wStripCommand);

/**
 * Paints what was last shown again, from the pixels that the display keeps. If the window has
 * another size, or parameters have changed since, the picture is made again from its image, which
 * must still exist and hold the whole picture in one strip. Before the first picture, the
 * background is painted.
 *
 * @param hDisplay  the display
 * @par Errors
 * - VIQ_ERR_STATE "Picture no longer available": the picture has to be made again and cannot; the
 *   window shows the background
 * - the errors of VIQ_display_image
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_refresh(uint32_t hDisplay);

/**
 * Maps a position in the window to the image that was last shown, and reads the pixel there.
 *
 * @param hDisplay     the display
 * @param x            column in the window, from 0
 * @param y            line in the window, from 0
 * @param pPixel    receives position, components and colour; position and components are 0 after a
 *     failure. The image is read at the time of this call. If it no longer exists, or the line is
 *     not in its current strip, there are no components.
 * @par Errors
 * - VIQ_ERR_STATE "No picture shown"
 * - VIQ_ERR_PARAMETER "Position outside the picture"
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_get_pixel(uint32_t hDisplay, int32_t x, int32_t y,
                                                tVIQ_DisplayPixel *pPixel);

/**
 * Returns the next event of a window of the display's own. If there is none, the call waits for it
 * for the given time. The window is repainted within the call when it has been uncovered or
 * resized, if VIQ_display_refresh can do it. Up to 64 events are kept while the program does not
 * call this function; later ones are dropped, except that RESIZE and CLOSE replace a motion, a
 * key or a step of the wheel.
 *
 * @param hDisplay        the display
 * @param pEvent          receives the event; its type is VIQ_EVENT_NONE if there is none, and after
 * a failure
 * @param dwMilliseconds  the longest time to wait; 0: do not wait
 * @return 1: an event; 0: none; or an error code
 * @par Errors
 * - VIQ_ERR_STATE "Display has no window": or it is a window of the program
 * - VIQ_ERR_SYSTEM, as VIQ_display_image
 */
VIQ_API uint32_t VIQ_CALL VIQ_display_next_event(uint32_t hDisplay, tVIQ_DisplayEvent *pEvent,
                                                 uint32_t dwMilliseconds);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
