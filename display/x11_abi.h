// What is used of libX11 and libXext, which are loaded at run time: the functions, and the records
// that their callers share with them. The names are those of the libraries.
//
// The records are declared here because a build must not need the headers of X11, and because their
// layout is part of the libraries' binary interface, which has not changed since X11R6. The test
// x11_layout compares them with the headers where these are installed.
#pragma once

namespace viq::x11 {

using XID = unsigned long; // windows, pixmaps, atoms, visual numbers, key symbols
using Time = unsigned long;

struct Display;
struct Visual;
struct GraphicsContext; // GC

// ---- Constants of the protocol

enum {
    ZPixmap = 2,
    InputOutput = 1,
    TrueColor = 4,
    LSBFirst = 0,
    PropModeReplace = 0,
    AllocNone = 0,
};

enum : unsigned long {
    CWBackPixmap = 1,
    CWBorderPixel = 8,
    CWBitGravity = 16,
    CWEventMask = 2048,
    CWColormap = 8192
};
enum : long { NorthWestGravity = 1 };
enum : long { VisualIDMask = 1, VisualScreenMask = 2, VisualClassMask = 8 };

enum : long {
    KeyPressMask = 1 << 0,
    KeyReleaseMask = 1 << 1,
    ButtonPressMask = 1 << 2,
    ButtonReleaseMask = 1 << 3,
    LeaveWindowMask = 1 << 5,
    PointerMotionMask = 1 << 6,
    ExposureMask = 1 << 15,
    StructureNotifyMask = 1 << 17,
};

enum {
    KeyPress = 2,
    KeyRelease = 3,
    ButtonPress = 4,
    ButtonRelease = 5,
    MotionNotify = 6,
    LeaveNotify = 8,
    Expose = 12,
    DestroyNotify = 17,
    ConfigureNotify = 22,
    ClientMessage = 33,
};

enum : unsigned {
    ShiftMask = 1,
    ControlMask = 4,
    Mod1Mask = 8,
    Button1Mask = 256,
    Button2Mask = 512,
    Button3Mask = 1024
};

// ---- Records

struct XImage {
    int width, height;
    int xoffset;
    int format;
    char *data;
    int byte_order;
    int bitmap_unit;
    int bitmap_bit_order;
    int bitmap_pad;
    int depth;
    int bytes_per_line;
    int bits_per_pixel;
    unsigned long red_mask, green_mask, blue_mask;
    void *obdata;
    void (*functions[6])();
};

struct XPixmapFormatValues {
    int depth;
    int bits_per_pixel;
    int scanline_pad;
};

struct XVisualInfo {
    Visual *visual;
    XID visualid;
    int screen;
    int depth;
    int c_class;
    unsigned long red_mask, green_mask, blue_mask;
    int colormap_size;
    int bits_per_rgb;
};

struct XSetWindowAttributes {
    XID background_pixmap;
    unsigned long background_pixel;
    XID border_pixmap;
    unsigned long border_pixel;
    int bit_gravity;
    int win_gravity;
    int backing_store;
    unsigned long backing_planes, backing_pixel;
    int save_under;
    long event_mask;
    long do_not_propagate_mask;
    int override_redirect;
    XID colormap;
    XID cursor;
};

struct XWindowAttributes {
    int x, y;
    int width, height;
    int border_width;
    int depth;
    Visual *visual;
    XID root;
    int c_class;
    int bit_gravity;
    int win_gravity;
    int backing_store;
    unsigned long backing_planes, backing_pixel;
    int save_under;
    XID colormap;
    int map_installed;
    int map_state;
    long all_event_masks, your_event_mask, do_not_propagate_mask;
    int override_redirect;
    void *screen;
};

struct XErrorEvent {
    int type;
    Display *display;
    XID resourceid;
    unsigned long serial;
    unsigned char error_code;
    unsigned char request_code;
    unsigned char minor_code;
};

// The start of all events.
struct XAnyEvent {
    int type;
    unsigned long serial;
    int send_event;
    Display *display;
    XID window;
};

// Keys, buttons, motion; leaving a window up to the position.
struct XPointerEvent {
    XAnyEvent any;
    XID root, subwindow;
    Time time;
    int x, y, x_root, y_root;
    unsigned state;
    unsigned detail; // key code or button; in motion a flag in the lowest byte
    int same_screen;
};

struct XConfigureEvent {
    XAnyEvent any;
    XID window;
    int x, y, width, height;
    int border_width;
    XID above;
    int override_redirect;
};

struct XClientMessageEvent {
    XAnyEvent any;
    XID message_type;
    int format;
    long data[5];
};

struct XShmCompletionEvent {
    XAnyEvent any; // the window is the drawable
    int major_code, minor_code;
    XID shmseg;
    unsigned long offset;
};

union XEvent {
    XShmCompletionEvent completion;
    XAnyEvent any;
    XPointerEvent pointer;
    XConfigureEvent configure;
    XClientMessageEvent message;
    long pad[24];
};

struct XShmSegmentInfo {
    XID shmseg;
    int shmid;
    char *shmaddr;
    int readOnly;
};

// ---- Functions

using error_handler = int (*)(Display *, XErrorEvent *);
using lost_handler = int (*)(Display *);
using exit_handler = void (*)(Display *, void *);

// X(result, name, arguments)
#define VIQ_X11_FUNCTIONS(X)                                                                       \
    X(Display *, XOpenDisplay, (const char *))                                                     \
    X(int, XCloseDisplay, (Display *))                                                             \
    X(char *, XDisplayString, (Display *))                                                         \
    X(int, XConnectionNumber, (Display *))                                                         \
    X(int, XDefaultScreen, (Display *))                                                            \
    X(XID, XDefaultRootWindow, (Display *))                                                        \
    X(Visual *, XDefaultVisual, (Display *, int))                                                  \
    X(XID, XVisualIDFromVisual, (Visual *))                                                        \
    X(XVisualInfo *, XGetVisualInfo, (Display *, long, XVisualInfo *, int *))                      \
    X(XPixmapFormatValues *, XListPixmapFormats, (Display *, int *))                               \
    X(int, XImageByteOrder, (Display *))                                                           \
    X(int, XFree, (void *))                                                                        \
    X(int, XSync, (Display *, int))                                                                \
    X(int, XFlush, (Display *))                                                                    \
    X(int, XEventsQueued, (Display *, int))                                                        \
    X(int, XNextEvent, (Display *, XEvent *))                                                      \
    X(int, XSelectInput, (Display *, XID, long))                                                   \
    X(XID, XCreateColormap, (Display *, XID, Visual *, int))                                       \
    X(XID, XCreateWindow,                                                                          \
      (Display *, XID, int, int, unsigned, unsigned, unsigned, int, unsigned, Visual *,            \
       unsigned long, XSetWindowAttributes *))                                                     \
    X(int, XGetWindowAttributes, (Display *, XID, XWindowAttributes *))                            \
    X(int, XMapRaised, (Display *, XID))                                                           \
    X(int, XDestroyWindow, (Display *, XID))                                                       \
    X(int, XFreeColormap, (Display *, XID))                                                        \
    X(XID, XInternAtom, (Display *, const char *, int))                                            \
    X(int, XSetWMProtocols, (Display *, XID, XID *, int))                                          \
    X(int, XChangeProperty, (Display *, XID, XID, XID, int, int, const unsigned char *, int))      \
    X(GraphicsContext *, XCreateGC, (Display *, XID, unsigned long, void *))                       \
    X(int, XFreeGC, (Display *, GraphicsContext *))                                                \
    X(int, XInitImage, (XImage *))                                                                 \
    X(int, XPutImage,                                                                              \
      (Display *, XID, GraphicsContext *, XImage *, int, int, int, int, unsigned, unsigned))       \
    X(XID, XCreatePixmap, (Display *, XID, unsigned, unsigned, unsigned))                          \
    X(int, XFreePixmap, (Display *, XID))                                                          \
    X(int, XCopyArea,                                                                              \
      (Display *, XID, XID, GraphicsContext *, int, int, unsigned, unsigned, int, int))            \
    X(int, XLookupString, (XPointerEvent *, char *, int, XID *, void *))                           \
    X(int, XkbSetDetectableAutoRepeat, (Display *, int, int *))                                    \
    X(int, XGetErrorText, (Display *, int, char *, int))                                           \
    X(int, XInitThreads, ())                                                                       \
    X(error_handler, XSetErrorHandler, (error_handler))                                            \
    X(lost_handler, XSetIOErrorHandler, (lost_handler))                                            \
    X(void, XSetIOErrorExitHandler, (Display *, exit_handler, void *))

// Of libXext; shared memory is not used without them.
#define VIQ_XEXT_FUNCTIONS(X)                                                                      \
    X(int, XShmQueryExtension, (Display *))                                                        \
    X(int, XShmGetEventBase, (Display *))                                                          \
    X(int, XShmAttach, (Display *, XShmSegmentInfo *))                                             \
    X(int, XShmDetach, (Display *, XShmSegmentInfo *))                                             \
    X(int, XShmPutImage,                                                                           \
      (Display *, XID, GraphicsContext *, XImage *, int, int, int, int, unsigned, unsigned, int))

#define VIQ_DECLARE_FUNCTION(result, name, arguments) result(*name) arguments = nullptr;
struct functions {
    VIQ_X11_FUNCTIONS(VIQ_DECLARE_FUNCTION)
    VIQ_XEXT_FUNCTIONS(VIQ_DECLARE_FUNCTION)
    bool has_shared_memory = false; // the functions of libXext are present
};
#undef VIQ_DECLARE_FUNCTION

// The libraries, which are loaded at the first call and stay loaded. Null: a library or a function
// of libX11 is missing.
const functions *load();

} // namespace viq::x11
