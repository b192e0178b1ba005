// Windows of X servers.
//
// Every display has a connection of its own, also for a window of the program: nothing of the
// program's connection changes, and requests, errors and events of different displays and threads
// do not meet.
#include <poll.h>
#include <signal.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <limits>
#include <mutex>
#include <utility>

#include "core/report.h"
#include "display/display.h"
#include "display/x11_abi.h"
#include "display/x11_keys.h"

namespace viq {

using namespace x11;

namespace {

// Pixels in the memory of this process.
struct x11_buffer {
    XImage image = {};
    owned_bytes memory;           // of the methods without shared memory
    XShmSegmentInfo segment = {}; // shmaddr is null without shared memory
    u32 puts_under_way = 0;       // that the server has not reported as complete
};

// What pictures are rendered to. With shared memory there are two buffers, so that a picture is
// rendered while the server still copies the one before it.
struct x11_surface {
    u32 wanted = 0; // VIQ_DISPLAY_METHOD when it was made
    x11_buffer buffers[2];
    u32 current = 0;
    XID pixmap = 0;
};

struct x11_window {
    const functions *x = nullptr;
    Display *connection = nullptr;
    pid_t process = 0; // that has opened it
    XID window = 0;
    XID colormap = 0;
    GraphicsContext *gc = nullptr;
    Visual *visual = nullptr;
    int depth = 0;
    int bits_per_pixel = 0;
    window_pixel pixel;
    XID wm_protocols = 0, wm_delete_window = 0;
    int completion_event = 0; // that the server has read the segment
    bool locked = false;
    bool lost = false;              // the connection
    bool destroyed = false;         // the window, by another client
    bool has_shared_memory = false; // the server has the extension
    u8 error = 0;                   // of the protocol; the first that has not been reported
    x11_surface surface;
};

// ---- Errors of the server
//
// The handlers of libX11 are those of the process. Errors of other connections are passed on to the
// handlers that were installed before.

std::mutex handler_lock;
u32 connections = 0;
std::atomic<error_handler> previous_error_handler = nullptr;
std::atomic<lost_handler> previous_lost_handler = nullptr;

// The window that the calling thread is working on.
constinit thread_local x11_window *current_window = nullptr;

bool is_current(const Display *connection) {
    return current_window != nullptr && current_window->connection == connection;
}

int handle_error(Display *connection, XErrorEvent *event) {
    if (is_current(connection)) {
        if (current_window->error == 0)
            current_window->error = event->error_code;
        return 0;
    }
    const error_handler previous = previous_error_handler;
    return previous != nullptr ? previous(connection, event) : 0;
}

int handle_lost(Display *connection) {
    if (is_current(connection))
        return 0;
    const lost_handler previous = previous_lost_handler;
    return previous != nullptr ? previous(connection) : 0;
}

// Called in place of the exit of the process.
void note_lost(Display *, void *window) {
    static_cast<x11_window *>(window)->lost = true;
}

void install_handlers(const functions &x) {
    const error_handler errors = x.XSetErrorHandler(handle_error);
    if (errors != handle_error)
        previous_error_handler = errors;
    const lost_handler lost = x.XSetIOErrorHandler(handle_lost);
    if (lost != handle_lost)
        previous_lost_handler = lost;
}

// Puts the previous handlers back, unless the program has replaced these.
void remove_handlers(const functions &x) {
    const error_handler errors = x.XSetErrorHandler(previous_error_handler);
    if (errors != handle_error)
        x.XSetErrorHandler(errors);
    const lost_handler lost = x.XSetIOErrorHandler(previous_lost_handler);
    if (lost != handle_lost)
        x.XSetIOErrorHandler(lost);
}

// Keeps the signal of a write to a closed connection from ending the process.
struct no_pipe_signal {
    sigset_t pipe, outer;
    no_pipe_signal() {
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, &outer);
    }
    no_pipe_signal(const no_pipe_signal &) = delete;
    no_pipe_signal &operator=(const no_pipe_signal &) = delete;
    ~no_pipe_signal() {
        if (sigismember(&outer, SIGPIPE) != 0)
            return;
        const timespec none = {};
        while (sigtimedwait(&pipe, nullptr, &none) == -1 && errno == EINTR)
            continue;
        pthread_sigmask(SIG_SETMASK, &outer, nullptr);
    }
};

// While the object exists, the calling thread works on the window. The program may have installed
// handlers since the last call.
struct x11_call {
    no_pipe_signal no_signal;
    x11_window *outer;
    explicit x11_call(x11_window &w) : outer(std::exchange(current_window, &w)) {
        install_handlers(*w.x);
    }
    x11_call(const x11_call &) = delete;
    x11_call &operator=(const x11_call &) = delete;
    ~x11_call() { current_window = outer; }
};

x11_window &native(const display &d) {
    return *static_cast<x11_window *>(d.native);
}

u32 report_no_system(const display &d) {
    return report(d.function, VIQ_ERR_UNSUPPORTED, "No display system");
}

void close_x11(display &d);

// Reports a failure since the last check and returns its code; 0: there was none.
u32 check_server(display &d) {
    x11_window &w = native(d);
    if (w.lost) {
        close_x11(d);
        return report(d.function, VIQ_ERR_SYSTEM, "Connection to the display server lost");
    }
    constexpr u8 bad_window = 3, bad_drawable = 9;
    const u8 error = std::exchange(w.error, u8{0});
    if (w.destroyed || error == bad_window || error == bad_drawable) {
        close_x11(d);
        return report(d.function, VIQ_ERR_PARAMETER, "No such window");
    }
    if (error == 0)
        return success;
    char text[160] = "Display server: ";
    const std::size_t start = std::strlen(text);
    w.x->XGetErrorText(w.connection, error, text + start, static_cast<int>(sizeof text - start));
    return report(d.function, VIQ_ERR_SYSTEM | error, text);
}

// ---- Connection

// libX11 and libXext keep lists of connections and buffers for the names of files, which several
// threads cannot change at the same time, in spite of XInitThreads.
std::mutex connection_lock;

bool connect(x11_window &w, const char *server) {
    const functions &x = *w.x;
    {
        const std::lock_guard<std::mutex> guard(handler_lock);
        ++connections;
        install_handlers(x);
    }
    const no_pipe_signal no_signal;
    {
        const std::lock_guard<std::mutex> guard(connection_lock);
        w.connection = x.XOpenDisplay(server);
        w.has_shared_memory = w.connection != nullptr && x.has_shared_memory &&
                              x.XShmQueryExtension(w.connection) != 0;
    }
    w.process = getpid();
    if (w.connection != nullptr)
        x.XSetIOErrorExitHandler(w.connection, note_lost, &w);
    return w.connection != nullptr;
}

void disconnect(x11_window &w) {
    if (w.connection != nullptr) {
        const std::lock_guard<std::mutex> guard(connection_lock);
        w.x->XCloseDisplay(w.connection);
    }
    w.connection = nullptr;
    const std::lock_guard<std::mutex> guard(handler_lock);
    if (--connections == 0)
        remove_handlers(*w.x);
}

bool is_local(const x11_window &w) {
    sockaddr_storage address = {};
    socklen_t size = sizeof address;
    return getpeername(w.x->XConnectionNumber(w.connection), reinterpret_cast<sockaddr *>(&address),
                       &size) == 0 &&
           address.ss_family == AF_UNIX;
}

// ---- Visuals

// Takes over how the pixels of a visual represent colours; false if it has no fixed colours.
bool use_visual(x11_window &w, const XVisualInfo &visual) {
    const functions &x = *w.x;
    int count = 0;
    XPixmapFormatValues *formats = x.XListPixmapFormats(w.connection, &count);
    w.visual = visual.visual;
    w.depth = visual.depth;
    w.bits_per_pixel = 0;
    for (int n = 0; n < count; ++n)
        if (formats[n].depth == visual.depth)
            w.bits_per_pixel = formats[n].bits_per_pixel;
    if (formats != nullptr)
        x.XFree(formats);
    const bool low_first = x.XImageByteOrder(w.connection) == LSBFirst;
    const u32 bits[3] = {static_cast<u32>(visual.red_mask), static_cast<u32>(visual.green_mask),
                         static_cast<u32>(visual.blue_mask)};
    w.pixel.bytes = static_cast<u8>(w.bits_per_pixel / 8);
    w.pixel.swapped = low_first != (std::endian::native == std::endian::little);
    w.pixel.red = bits[0];
    w.pixel.green = bits[1];
    w.pixel.blue = bits[2];
    w.pixel.opaque = visual.depth == 32 ? ~(bits[0] | bits[1] | bits[2]) : 0;
    return visual.c_class == TrueColor && w.bits_per_pixel >= 8 && w.bits_per_pixel <= 32 &&
           w.bits_per_pixel % 8 == 0;
}

// The first visual that satisfies the request and can be used.
bool find_visual(x11_window &w, long mask, XVisualInfo request) {
    int count = 0;
    XVisualInfo *visuals = w.x->XGetVisualInfo(w.connection, mask, &request, &count);
    bool found = false;
    for (int n = 0; n < count && !found; ++n)
        found = use_visual(w, visuals[n]);
    if (visuals != nullptr)
        w.x->XFree(visuals);
    return found;
}

bool find_visual_by_number(x11_window &w, Visual *visual) {
    XVisualInfo request = {};
    request.visualid = w.x->XVisualIDFromVisual(visual);
    return find_visual(w, VisualIDMask, request);
}

// The default visual of the screen, or another one with fixed colours.
bool find_visual_for_window(x11_window &w) {
    const int screen = w.x->XDefaultScreen(w.connection);
    if (find_visual_by_number(w, w.x->XDefaultVisual(w.connection, screen)))
        return true;
    const int depth = w.depth;
    XVisualInfo request = {};
    request.screen = screen;
    request.c_class = TrueColor;
    const bool found = find_visual(w, VisualScreenMask | VisualClassMask, request);
    if (!found)
        w.depth = depth; // is reported
    return found;
}

// ---- Events

u16 modifiers_of(unsigned state) {
    constexpr struct {
        unsigned mask;
        u16 bit;
    } pairs[] = {{ShiftMask, VIQ_MODIFIER_SHIFT},    {ControlMask, VIQ_MODIFIER_CONTROL},
                 {Mod1Mask, VIQ_MODIFIER_ALT},       {Button1Mask, VIQ_MODIFIER_LEFT},
                 {Button2Mask, VIQ_MODIFIER_MIDDLE}, {Button3Mask, VIQ_MODIFIER_RIGHT}};
    u16 bits = 0;
    for (const auto &pair : pairs)
        if ((state & pair.mask) != 0)
            bits = static_cast<u16>(bits | pair.bit);
    return bits;
}

// Buttons 4 to 7 are the steps of wheels.
void set_button(tVIQ_DisplayEvent &event, unsigned button) {
    if (button < 4 || button > 7) {
        event.button = static_cast<u16>(button < 4 ? button : button - 4);
        return;
    }
    event.type = event.type == VIQ_EVENT_BUTTON_DOWN ? VIQ_EVENT_WHEEL : VIQ_EVENT_NONE;
    event.wheel_y = button == 4 ? 1 : button == 5 ? -1 : 0;
    event.wheel_x = button == 6 ? -1 : button == 7 ? 1 : 0;
}

void take_pointer_event(display &d, XPointerEvent &from) {
    tVIQ_DisplayEvent event = {};
    event.time = static_cast<u32>(from.time);
    event.window_x = from.x;
    event.window_y = from.y;
    if (from.any.type != LeaveNotify)
        event.modifiers = modifiers_of(from.state);
    switch (from.any.type) {
    case KeyPress:
    case KeyRelease: {
        event.type = from.any.type == KeyPress ? VIQ_EVENT_KEY_DOWN : VIQ_EVENT_KEY_UP;
        XID symbol = 0;
        char text[8];
        native(d).x->XLookupString(&from, text, sizeof text, &symbol, nullptr);
        event.key = key_of_symbol(symbol);
        break;
    }
    case ButtonPress:
    case ButtonRelease:
        event.type = from.any.type == ButtonPress ? VIQ_EVENT_BUTTON_DOWN : VIQ_EVENT_BUTTON_UP;
        set_button(event, from.detail);
        break;
    case MotionNotify:
        event.type = VIQ_EVENT_MOTION;
        break;
    default:
        event.type = VIQ_EVENT_LEAVE;
        break;
    }
    if (event.type != VIQ_EVENT_NONE)
        push_event(d, event);
}

void take_size(display &d, i32 width, i32 height) {
    if (static_cast<u32>(width) == d.width && static_cast<u32>(height) == d.height)
        return;
    d.width = static_cast<u32>(width);
    d.height = static_cast<u32>(height);
    d.exposed = true;
    tVIQ_DisplayEvent event = {};
    event.type = VIQ_EVENT_RESIZE;
    event.width = d.width;
    event.height = d.height;
    if (d.own_window)
        push_event(d, event);
}

void take_event(display &d, XEvent &event) {
    x11_window &w = native(d);
    const int type = event.any.type;
    if (type == w.completion_event && type != 0) {
        for (x11_buffer &buffer : w.surface.buffers)
            if (buffer.segment.shmseg == event.completion.shmseg && buffer.puts_under_way != 0)
                --buffer.puts_under_way;
        return;
    }
    if (event.any.window != w.window)
        return;
    tVIQ_DisplayEvent close = {};
    close.type = VIQ_EVENT_CLOSE;
    switch (type) {
    case Expose:
        d.exposed = true;
        break;
    case ConfigureNotify:
        take_size(d, event.configure.width, event.configure.height);
        break;
    case DestroyNotify:
        w.destroyed = true;
        break;
    case ClientMessage:
        if (event.message.message_type == w.wm_protocols &&
            static_cast<XID>(event.message.data[0]) == w.wm_delete_window)
            push_event(d, close);
        break;
    case KeyPress:
    case KeyRelease:
    case ButtonPress:
    case ButtonRelease:
    case MotionNotify:
    case LeaveNotify:
        take_pointer_event(d, event.pointer);
        break;
    default:
        break;
    }
}

// Processes the events that have arrived. XNextEvent is called only if an event is queued, so that
// it never waits.
void take_events(display &d) {
    constexpr int queued_after_reading = 1;
    x11_window &w = native(d);
    XEvent event;
    while (!w.lost && w.x->XEventsQueued(w.connection, queued_after_reading) > 0) {
        w.x->XNextEvent(w.connection, &event);
        if (!w.lost)
            take_event(d, event);
    }
}

// Waits until something arrives.
void wait_for_server(const x11_window &w, u32 milliseconds) {
    w.x->XFlush(w.connection);
    if (w.lost)
        return;
    constexpr u32 longest = static_cast<u32>(std::numeric_limits<int>::max());
    pollfd wanted = {w.x->XConnectionNumber(w.connection), POLLIN, 0};
    poll(&wanted, 1, static_cast<int>(std::min(milliseconds, longest)));
}

// ---- Surface

void release_surface(x11_window &w) {
    if (w.surface.pixmap != 0)
        w.x->XFreePixmap(w.connection, w.surface.pixmap);
    for (x11_buffer &buffer : w.surface.buffers)
        if (buffer.segment.shmaddr != nullptr) {
            w.x->XShmDetach(w.connection, &buffer.segment);
            shmdt(buffer.segment.shmaddr);
        }
    w.surface = {};
}

XImage describe_image(const x11_window &w, u32 width, u32 height) {
    const u32 line_bits = width * static_cast<u32>(w.bits_per_pixel);
    XImage image = {};
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(height);
    image.format = ZPixmap;
    image.byte_order = w.x->XImageByteOrder(w.connection);
    image.bitmap_bit_order = image.byte_order;
    image.bitmap_unit = 32;
    image.bitmap_pad = 32;
    image.depth = w.depth;
    image.bits_per_pixel = w.bits_per_pixel;
    image.bytes_per_line = static_cast<int>((line_bits + 31) / 32 * 4);
    image.red_mask = w.pixel.red;
    image.green_mask = w.pixel.green;
    image.blue_mask = w.pixel.blue;
    return image;
}

std::size_t image_bytes(const XImage &image) {
    return static_cast<std::size_t>(image.bytes_per_line) * static_cast<std::size_t>(image.height);
}

// Makes a segment that the server attaches. It disappears with the last process that uses it.
bool attach_segment(x11_window &w, x11_buffer &buffer) {
    XShmSegmentInfo &segment = buffer.segment;
    segment.shmid = shmget(IPC_PRIVATE, image_bytes(buffer.image), IPC_CREAT | 0600);
    if (segment.shmid < 0)
        return false;
    void *address = shmat(segment.shmid, nullptr, 0);
    const bool mapped = address != reinterpret_cast<void *>(-1);
    if (mapped) {
        segment.shmaddr = static_cast<char *>(address);
        segment.readOnly = 1;
        w.x->XShmAttach(w.connection, &segment);
        w.x->XSync(w.connection, 0);
    }
    shmctl(segment.shmid, IPC_RMID, nullptr);
    if (mapped && w.error != 0) {
        shmdt(address);
        segment.shmaddr = nullptr;
        w.error = 0; // the server cannot attach it; this is no failure
    }
    return segment.shmaddr != nullptr;
}

bool make_segments(x11_window &w, u32 width, u32 height) {
    if (!w.has_shared_memory || !is_local(w))
        return false;
    w.completion_event = w.x->XShmGetEventBase(w.connection);
    constexpr u32 columns = 16; // lines start at multiples of 64 bytes
    for (x11_buffer &buffer : w.surface.buffers) {
        buffer.image = describe_image(w, (width + columns - 1) / columns * columns, height);
        if (!attach_segment(w, buffer)) {
            release_surface(w);
            return false;
        }
        buffer.image.data = buffer.segment.shmaddr;
        buffer.image.obdata = &buffer.segment;
    }
    return true;
}

u32 make_memory(display &d, bool with_pixmap) {
    x11_window &w = native(d);
    x11_buffer &buffer = w.surface.buffers[0];
    buffer.image = describe_image(w, d.width, d.height);
    const std::size_t size = image_bytes(buffer.image);
    buffer.memory = make_bytes(size);
    if (!buffer.memory)
        return report_no_memory(d.function, size);
    buffer.image.data = reinterpret_cast<char *>(buffer.memory.get());
    w.x->XInitImage(&buffer.image);
    if (with_pixmap)
        w.surface.pixmap = w.x->XCreatePixmap(w.connection, w.window, d.width, d.height,
                                              static_cast<unsigned>(w.depth));
    return success;
}

u32 make_surface(display &d) {
    x11_window &w = native(d);
    release_surface(w);
    const u32 wanted = parameter(d, VIQ_DISPLAY_METHOD);
    d.method = 0;
    const bool shared = wanted == VIQ_DISPLAY_BEST || wanted == VIQ_DISPLAY_SHARED_MEMORY;
    if (shared && make_segments(w, d.width, d.height)) {
        d.method = VIQ_DISPLAY_SHARED_MEMORY;
    } else if (wanted == VIQ_DISPLAY_SHARED_MEMORY) {
        return report(d.function, VIQ_ERR_UNSUPPORTED, "Display method not available");
    } else {
        const bool with_pixmap = wanted == VIQ_DISPLAY_PIXMAP;
        const u32 code = make_memory(d, with_pixmap);
        if (is_error(code))
            return code;
        d.method = with_pixmap ? VIQ_DISPLAY_PIXMAP : VIQ_DISPLAY_IMAGE;
    }
    w.surface.wanted = wanted;
    d.pixels = {nullptr, w.surface.buffers[0].image.bytes_per_line, d.width, d.height, w.pixel};
    d.contents_lost = true;
    return success;
}

// ---- Functions of the table

u32 prepare_x11(display &d) {
    const x11_call call(native(d));
    take_events(d);
    const u32 code = check_server(d);
    if (is_error(code))
        return code;
    const bool fits = d.method != 0 && d.pixels.width == d.width && d.pixels.height == d.height &&
                      native(d).surface.wanted == parameter(d, VIQ_DISPLAY_METHOD);
    if (fits)
        return success;
    const u32 made = make_surface(d);
    return is_error(made) ? made : check_server(d);
}

u32 lock_x11(display &d, bool whole) {
    x11_window &w = native(d);
    const x11_call call(w);
    x11_surface &surface = w.surface;
    if (whole && surface.buffers[1].segment.shmaddr != nullptr)
        surface.current = 1 - surface.current;
    x11_buffer &buffer = surface.buffers[surface.current];
    constexpr u32 step = 1000;
    take_events(d);
    while (buffer.puts_under_way != 0 && !w.lost && w.error == 0) {
        wait_for_server(w, step);
        take_events(d);
    }
    d.pixels.data = reinterpret_cast<u8 *>(buffer.image.data);
    w.locked = true;
    return check_server(d);
}

void put_image(x11_window &w, const rectangle &area) {
    const functions &x = *w.x;
    x11_buffer &from = w.surface.buffers[w.surface.current];
    const XID pixmap = w.surface.pixmap;
    const unsigned width = static_cast<unsigned>(area.width);
    const unsigned height = static_cast<unsigned>(area.height);
    if (from.segment.shmaddr != nullptr) {
        x.XShmPutImage(w.connection, w.window, w.gc, &from.image, area.x, area.y, area.x, area.y,
                       width, height, 1);
        ++from.puts_under_way;
        return;
    }
    if (pixmap == 0 || w.locked)
        x.XPutImage(w.connection, pixmap != 0 ? pixmap : w.window, w.gc, &from.image, area.x,
                    area.y, area.x, area.y, width, height);
    if (pixmap != 0)
        x.XCopyArea(w.connection, pixmap, w.window, w.gc, area.x, area.y, width, height, area.x,
                    area.y);
}

u32 put_x11(display &d, const rectangle &changed) {
    x11_window &w = native(d);
    const x11_call call(w);
    const rectangle surface = {0, 0, static_cast<i32>(d.pixels.width),
                               static_cast<i32>(d.pixels.height)};
    const rectangle area = intersection(changed, surface);
    if (!is_empty(area)) {
        put_image(w, area);
        w.x->XFlush(w.connection);
    }
    w.locked = false;
    d.pixels.data = nullptr;
    return check_server(d);
}

u32 pump_x11(display &d, u32 milliseconds) {
    x11_window &w = native(d);
    const x11_call call(w);
    take_events(d);
    if (d.queue.count == 0 && !d.exposed && milliseconds != 0 && !w.lost && !w.destroyed) {
        wait_for_server(w, milliseconds);
        take_events(d);
    }
    return check_server(d);
}

void close_x11(display &d) {
    x11_window &w = native(d);
    // In a forked process the window and the connection belong to the parent.
    if (w.process == getpid()) {
        const x11_call call(w);
        if (w.connection != nullptr) {
            release_surface(w);
            if (w.gc != nullptr)
                w.x->XFreeGC(w.connection, w.gc);
            if (d.own_window && w.window != 0 && !w.destroyed)
                w.x->XDestroyWindow(w.connection, w.window);
            if (w.colormap != 0)
                w.x->XFreeColormap(w.connection, w.colormap);
        }
        disconnect(w);
    }
    destroy_owned(&w);
    d.system = nullptr;
    d.native = nullptr;
    d.own_window = false;
    d.method = d.width = d.height = 0;
    d.pixels = {};
    d.contents_lost = d.exposed = false;
}

// A window record with a connection; null: the failure is reported, and its code stored.
x11_window *start(display &d, const char *server, u32 &code) {
    const functions *x = load();
    if (x == nullptr) {
        code = report_no_system(d);
        return nullptr;
    }
    owned<x11_window> created = make_owned<x11_window>();
    if (!created) {
        code = report(d.function, VIQ_ERR_MEMORY, "");
        return nullptr;
    }
    created->x = x;
    if (!connect(*created, server)) {
        disconnect(*created);
        code = report_no_system(d);
        return nullptr;
    }
    d.native = created.get();
    d.system = &platform_windows;
    return created.release();
}

u32 report_depth(display &d) {
    const u32 depth = static_cast<u32>(native(d).depth);
    return report(d.function, VIQ_ERR_UNSUPPORTED | depth, "Unsupported depth of window");
}

void set_text(x11_window &w, XID property, const char *text) {
    const XID utf8 = w.x->XInternAtom(w.connection, "UTF8_STRING", 0);
    w.x->XChangeProperty(w.connection, w.window, property, utf8, 8, PropModeReplace,
                         reinterpret_cast<const unsigned char *>(text),
                         static_cast<int>(std::min(std::strlen(text), std::size_t{1} << 16)));
}

u32 set_title_x11(display &d, const char *title) {
    constexpr XID wm_name = 39;
    x11_window &w = native(d);
    const x11_call call(w);
    set_text(w, wm_name, title);
    set_text(w, w.x->XInternAtom(w.connection, "_NET_WM_NAME", 0), title);
    w.x->XFlush(w.connection);
    return check_server(d);
}

void create_window(x11_window &w, u32 width, u32 height) {
    const functions &x = *w.x;
    const XID root = x.XDefaultRootWindow(w.connection);
    w.colormap = x.XCreateColormap(w.connection, root, w.visual, AllocNone);
    XSetWindowAttributes attributes = {};
    attributes.colormap = w.colormap;
    attributes.event_mask = KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask |
                            LeaveWindowMask | PointerMotionMask | ExposureMask |
                            StructureNotifyMask;
    // Without a background the server does not clear what is about to be painted.
    w.window =
        x.XCreateWindow(w.connection, root, 0, 0, width, height, 0, w.depth, InputOutput, w.visual,
                        CWBackPixmap | CWBorderPixel | CWEventMask | CWColormap, &attributes);
    w.gc = x.XCreateGC(w.connection, w.window, 0, nullptr);
    w.wm_protocols = x.XInternAtom(w.connection, "WM_PROTOCOLS", 0);
    w.wm_delete_window = x.XInternAtom(w.connection, "WM_DELETE_WINDOW", 0);
    x.XSetWMProtocols(w.connection, w.window, &w.wm_delete_window, 1);
    x.XkbSetDetectableAutoRepeat(w.connection, 1, nullptr);
}

u32 open_x11(display &d, const char *title, u32 width, u32 height) {
    u32 code = success;
    x11_window *w = start(d, nullptr, code);
    if (w == nullptr)
        return code;
    const x11_call call(*w);
    d.own_window = true;
    if (!find_visual_for_window(*w))
        return report_depth(d);
    create_window(*w, width, height);
    d.width = width;
    d.height = height;
    code = set_title_x11(d, title);
    if (is_error(code))
        return code;
    w->x->XMapRaised(w->connection, w->window);
    w->x->XSync(w->connection, 0);
    // A window manager can take its time. The window is used even if it is not visible then.
    constexpr u32 steps = 20, step = 100;
    take_events(d);
    for (u32 n = 0; n < steps && !d.exposed && !w->lost; ++n) {
        wait_for_server(*w, step);
        take_events(d);
    }
    return check_server(d);
}

u32 bind_x11(display &d, void *window, void *device) {
    u32 code = success;
    const functions *x = load();
    const char *server = nullptr;
    if (x != nullptr && device != nullptr) {
        Display *connection = static_cast<Display *>(device);
        x->XSync(connection, 0); // the server knows the window from now on
        server = x->XDisplayString(connection);
    }
    x11_window *w = start(d, server, code);
    if (w == nullptr)
        return code;
    const x11_call call(*w);
    w->window = static_cast<XID>(reinterpret_cast<std::uintptr_t>(window));
    w->x->XSelectInput(w->connection, w->window, StructureNotifyMask);
    XWindowAttributes attributes = {};
    const bool exists = w->x->XGetWindowAttributes(w->connection, w->window, &attributes) != 0;
    code = check_server(d);
    if (is_error(code))
        return code;
    if (!exists || attributes.visual == nullptr)
        return report(d.function, VIQ_ERR_PARAMETER, "No such window");
    w->depth = attributes.depth;
    if (!find_visual_by_number(*w, attributes.visual))
        return report_depth(d);
    d.width = static_cast<u32>(attributes.width);
    d.height = static_cast<u32>(attributes.height);
    w->gc = w->x->XCreateGC(w->connection, w->window, 0, nullptr);
    return check_server(d);
}

} // namespace

const window_system platform_windows = {
    .methods = 1u << VIQ_DISPLAY_IMAGE | 1u << VIQ_DISPLAY_PIXMAP | 1u << VIQ_DISPLAY_SHARED_MEMORY,
    .has_vertical_sync = false,
    .open = open_x11,
    .bind = bind_x11,
    .close = close_x11,
    .set_title = set_title_x11,
    .prepare = prepare_x11,
    .lock = lock_x11,
    .put = put_x11,
    .pump = pump_x11,
};

} // namespace viq
