#include "display/windows_window.h"

#include <chrono>
#include <cwchar>
#include <utility>

namespace viq {

namespace {

constexpr UINT close_message = WM_APP;

// ---- Events

// Called by the window's thread. Motions and sizes replace the previous one; if nobody takes the
// events, later ones are dropped, except that sizes and closing replace the newest.
void add_event(own_window &own, tVIQ_DisplayEvent event) {
    event.time = static_cast<u32>(GetMessageTime());
    const std::lock_guard guard(own.lock);
    window_news &news = own.news;
    const bool merges = event.type == VIQ_EVENT_MOTION || event.type == VIQ_EVENT_RESIZE;
    const bool important = event.type == VIQ_EVENT_RESIZE || event.type == VIQ_EVENT_CLOSE;
    const bool full = news.count == window_news::capacity;
    if ((merges && news.count != 0 && news.events[news.count - 1].type == event.type) ||
        (full && important))
        --news.count;
    if (news.count < window_news::capacity)
        news.events[news.count++] = event;
    own.changed.notify_one();
}

struct held_key {
    int key;
    u16 modifier;
};
constexpr held_key held_keys[] = {
    {VK_SHIFT, VIQ_MODIFIER_SHIFT},    {VK_CONTROL, VIQ_MODIFIER_CONTROL},
    {VK_MENU, VIQ_MODIFIER_ALT},       {VK_LBUTTON, VIQ_MODIFIER_LEFT},
    {VK_MBUTTON, VIQ_MODIFIER_MIDDLE}, {VK_RBUTTON, VIQ_MODIFIER_RIGHT},
};

// The modifiers before a message that presses or releases the given key or button (0: none).
u16 modifiers_before(int changed, bool was_down) {
    u16 modifiers = 0;
    for (const held_key &held : held_keys)
        if (held.key == changed ? was_down : GetKeyState(held.key) < 0)
            modifiers |= held.modifier;
    return modifiers;
}

struct named_key {
    int key;
    u32 number;
};
constexpr named_key named_keys[] = {
    {VK_LEFT, VIQ_KEY_LEFT}, {VK_RIGHT, VIQ_KEY_RIGHT},   {VK_UP, VIQ_KEY_UP},
    {VK_DOWN, VIQ_KEY_DOWN}, {VK_PRIOR, VIQ_KEY_PAGE_UP}, {VK_NEXT, VIQ_KEY_PAGE_DOWN},
    {VK_HOME, VIQ_KEY_HOME}, {VK_END, VIQ_KEY_END},       {VK_INSERT, VIQ_KEY_INSERT},
    {VK_DELETE, 127},
};

// The character of a key with Shift and the like; Control only selects a character together with
// Alt, as AltGr.
u32 key_number(WPARAM key, LPARAM details) {
    for (const named_key &named : named_keys)
        if (static_cast<WPARAM>(named.key) == key)
            return named.number;
    if (key >= VK_F1 && key <= VK_F12)
        return VIQ_KEY_F1 + static_cast<u32>(key - VK_F1);
    BYTE state[256];
    if (!GetKeyboardState(state))
        return 0;
    if ((state[VK_MENU] & 0x80) == 0)
        state[VK_CONTROL] = state[VK_LCONTROL] = state[VK_RCONTROL] = 0;
    constexpr UINT keep_state = 4; // the next key is not combined with this one
    wchar_t text[4] = {};
    const UINT scan_code = static_cast<UINT>(details >> 16 & 0xFF);
    const int length = ToUnicode(static_cast<UINT>(key), scan_code, state, text, 4, keep_state);
    return length == 1 ? u32{text[0]} : 0;
}

tVIQ_DisplayEvent event_of_type(u16 type) {
    tVIQ_DisplayEvent event = {};
    event.type = type;
    event.modifiers = modifiers_before(0, false);
    return event;
}

void set_position(tVIQ_DisplayEvent &event, POINT at) {
    event.window_x = at.x;
    event.window_y = at.y;
}

// The position that a message of the mouse contains.
POINT position_in(LPARAM value) {
    return {static_cast<i16>(value & 0xFFFF), static_cast<i16>(value >> 16 & 0xFFFF)};
}

void add_key(own_window &own, bool down, WPARAM key, LPARAM details) {
    tVIQ_DisplayEvent event = event_of_type(down ? VIQ_EVENT_KEY_DOWN : VIQ_EVENT_KEY_UP);
    event.modifiers = modifiers_before(static_cast<int>(key), (details >> 30 & 1) != 0);
    event.key = key_number(key, details);
    POINT at = {};
    const DWORD position = GetMessagePos();
    at = position_in(static_cast<LPARAM>(position));
    ScreenToClient(own.window, &at);
    set_position(event, at);
    add_event(own, event);
}

// The window receives the motions until all buttons are released, as long as one is held.
void add_button(own_window &own, bool down, u16 button, int key, LPARAM position) {
    tVIQ_DisplayEvent event = event_of_type(down ? VIQ_EVENT_BUTTON_DOWN : VIQ_EVENT_BUTTON_UP);
    event.modifiers = modifiers_before(key, !down);
    event.button = button;
    set_position(event, position_in(position));
    add_event(own, event);
    if (down)
        SetCapture(own.window);
    else if (GetKeyState(VK_LBUTTON) >= 0 && GetKeyState(VK_MBUTTON) >= 0 &&
             GetKeyState(VK_RBUTTON) >= 0)
        ReleaseCapture();
}

void add_wheel(own_window &own, bool vertical, WPARAM value, LPARAM position) {
    i32 &rest = own.wheel_rest[vertical ? 1 : 0];
    rest += static_cast<i16>(value >> 16 & 0xFFFF);
    const i32 steps = rest / WHEEL_DELTA;
    rest -= steps * WHEEL_DELTA;
    if (steps == 0)
        return;
    tVIQ_DisplayEvent event = event_of_type(VIQ_EVENT_WHEEL);
    (vertical ? event.wheel_y : event.wheel_x) = steps;
    POINT at = position_in(position);
    ScreenToClient(own.window, &at);
    set_position(event, at);
    add_event(own, event);
}

void add_motion(own_window &own, LPARAM position) {
    if (!own.pointer_inside) {
        TRACKMOUSEEVENT track = {sizeof track, TME_LEAVE, own.window, 0};
        own.pointer_inside = TrackMouseEvent(&track) != 0;
    }
    tVIQ_DisplayEvent event = event_of_type(VIQ_EVENT_MOTION);
    set_position(event, position_in(position));
    add_event(own, event);
}

// ---- Messages

// A size of the window may exceed that of the screen, and be smaller than its frame suggests.
void permit_all_sizes(MINMAXINFO &limits) {
    limits.ptMaxTrackSize = {INT16_MAX * 2, INT16_MAX * 2};
    limits.ptMinTrackSize = {1, 1};
}

void note_exposure(own_window &own) {
    const std::lock_guard guard(own.lock);
    own.news.exposed = true;
    own.changed.notify_one();
}

LRESULT CALLBACK handle_message(HWND window, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_NCCREATE) {
        const auto *made = reinterpret_cast<const CREATESTRUCTW *>(second);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made->lpCreateParams));
    }
    auto *found = reinterpret_cast<own_window *>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (found == nullptr)
        return DefWindowProcW(window, message, first, second);
    own_window &own = *found;
    own.window = window;
    switch (message) {
    case WM_KEYDOWN:
    case WM_KEYUP:
        add_key(own, message == WM_KEYDOWN, first, second);
        return 0;
    case WM_SYSKEYDOWN: // with Alt: also a command of the system
    case WM_SYSKEYUP:
        add_key(own, message == WM_SYSKEYDOWN, first, second);
        break;
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
        add_button(own, message == WM_LBUTTONDOWN, 1, VK_LBUTTON, second);
        return 0;
    case WM_MBUTTONDOWN:
    case WM_MBUTTONUP:
        add_button(own, message == WM_MBUTTONDOWN, 2, VK_MBUTTON, second);
        return 0;
    case WM_RBUTTONDOWN:
    case WM_RBUTTONUP:
        add_button(own, message == WM_RBUTTONDOWN, 3, VK_RBUTTON, second);
        return 0;
    case WM_XBUTTONDOWN:
    case WM_XBUTTONUP:
        add_button(own, message == WM_XBUTTONDOWN, static_cast<u16>(3 + (first >> 16 & 3)), 0,
                   second);
        return TRUE;
    case WM_MOUSEWHEEL:
    case WM_MOUSEHWHEEL:
        add_wheel(own, message == WM_MOUSEWHEEL, first, second);
        return 0;
    case WM_MOUSEMOVE:
        add_motion(own, second);
        return 0;
    case WM_MOUSELEAVE:
        own.pointer_inside = false;
        add_event(own, event_of_type(VIQ_EVENT_LEAVE));
        return 0;
    case WM_SIZE:
        if (first != SIZE_MINIMIZED) {
            tVIQ_DisplayEvent event = event_of_type(VIQ_EVENT_RESIZE);
            event.width = LOWORD(second);
            event.height = HIWORD(second);
            add_event(own, event);
        }
        return 0;
    case WM_GETMINMAXINFO:
        permit_all_sizes(*reinterpret_cast<MINMAXINFO *>(second));
        return 0;
    case WM_PAINT:
        ValidateRect(window, nullptr);
        note_exposure(own);
        return 0;
    case WM_ERASEBKGND:
        return TRUE;
    case WM_CLOSE:
        add_event(own, event_of_type(VIQ_EVENT_CLOSE));
        return 0;
    case close_message:
        DestroyWindow(window);
        return 0;
    case WM_DESTROY:
        SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        PostQuitMessage(0);
        return 0;
    default:
        break;
    }
    return DefWindowProcW(window, message, first, second);
}

// ---- The thread

bool create_window(own_window &own) {
    WNDCLASSEXW windows = {};
    windows.cbSize = sizeof windows;
    windows.style = CS_HREDRAW | CS_VREDRAW;
    windows.lpfnWndProc = handle_message;
    windows.hInstance = own.module;
    windows.hCursor = LoadCursorW(nullptr, reinterpret_cast<const wchar_t *>(IDC_ARROW));
    windows.lpszClassName = own.class_name;
    RECT frame = {0, 0, static_cast<LONG>(own.width), static_cast<LONG>(own.height)};
    AdjustWindowRectEx(&frame, WS_OVERLAPPEDWINDOW, FALSE, 0);
    if (RegisterClassExW(&windows) == 0)
        return false;
    const HWND window = CreateWindowExW(
        0, own.class_name, own.title, WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT,
        frame.right - frame.left, frame.bottom - frame.top, nullptr, nullptr, own.module, &own);
    if (window == nullptr)
        return false;
    ShowWindow(window, SW_SHOWNORMAL);
    return true;
}

void announce_start(own_window &own, DWORD error) {
    const std::lock_guard guard(own.lock);
    own.started = true;
    own.error = error;
    own.news.count = 0; // of the creation
    own.changed.notify_one();
}

DWORD WINAPI run_window(void *argument) {
    own_window &own = *static_cast<own_window *>(argument);
    const HMODULE module = own.module;
    const bool created = create_window(own);
    const DWORD error = GetLastError();
    if (!created)
        own.window = nullptr;
    announce_start(own, error);
    MSG message;
    while (created && GetMessageW(&message, nullptr, 0, 0) > 0)
        DispatchMessageW(&message);
    UnregisterClassW(own.class_name, module);
    FreeLibraryAndExitThread(module, 0);
}

bool start_thread(own_window &own) {
    constexpr DWORD from_address = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    if (!GetModuleHandleExW(from_address, reinterpret_cast<const wchar_t *>(run_window),
                            &own.module))
        return false;
    own.thread = CreateThread(nullptr, 0, run_window, &own, 0, nullptr);
    if (own.thread == nullptr)
        FreeLibrary(own.module);
    return own.thread != nullptr;
}

} // namespace

vector<wchar_t> wide_text(const char *utf8) {
    vector<wchar_t> text;
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
    if (length > 0 && try_resize(text, static_cast<u32>(length)))
        MultiByteToWideChar(CP_UTF8, 0, utf8, -1, text.data(), length);
    return text;
}

owned<own_window> open_own_window(const wchar_t *title, u32 width, u32 height, DWORD &error) {
    owned<own_window> own = make_owned<own_window>();
    error = ERROR_OUTOFMEMORY;
    if (own == nullptr)
        return nullptr;
    own->title = title;
    own->width = width;
    own->height = height;
    std::swprintf(own->class_name, std::size(own->class_name), L"VIQ display %p",
                  static_cast<void *>(own.get()));
    if (!start_thread(*own)) {
        error = GetLastError();
        return nullptr;
    }
    std::unique_lock guard(own->lock);
    own->changed.wait(guard, [&] { return own->started; });
    error = own->error;
    guard.unlock();
    if (own->window != nullptr)
        return own;
    close_own_window(*own);
    return nullptr;
}

void close_own_window(own_window &own) {
    // When the process ends, the thread may have ended before.
    if (WaitForSingleObject(own.thread, 0) == WAIT_TIMEOUT)
        PostMessageW(own.window, close_message, 0, 0);
    WaitForSingleObject(own.thread, INFINITE);
    CloseHandle(own.thread);
}

window_news take_news(own_window &own, u32 milliseconds) {
    std::unique_lock guard(own.lock);
    const auto any = [&] { return own.news.count != 0 || own.news.exposed; };
    if (milliseconds != 0)
        own.changed.wait_for(guard, std::chrono::milliseconds(milliseconds), any);
    return std::exchange(own.news, {});
}

} // namespace viq
