// Surfaces of DirectDraw: pictures are rendered into an offscreen surface with the pixels of the
// screen, which is copied to the screen inside the visible part of the window.
#include "core/report.h"
#include "display/windows_surface.h"

#include <ddraw.h>

namespace viq {

namespace {

using draw_maker = HRESULT(WINAPI *)(GUID *, IDirectDraw **, IUnknown *);

// Loaded when it is used for the first time, so that the library needs no DirectDraw.
bool load(directdraw_objects &objects) {
    objects.library = LoadLibraryExW(L"ddraw.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (objects.library == nullptr)
        return false;
    const FARPROC found = GetProcAddress(objects.library, "DirectDrawCreate");
    const auto create = reinterpret_cast<draw_maker>(reinterpret_cast<void *>(found));
    return create != nullptr && SUCCEEDED(create(nullptr, &objects.draw, nullptr));
}

DDSURFACEDESC described(DWORD flags, DWORD capabilities) {
    DDSURFACEDESC description = {};
    description.dwSize = sizeof description;
    description.dwFlags = flags | DDSD_CAPS;
    description.ddsCaps.dwCaps = capabilities;
    return description;
}

bool make_screen(const windows_display &w, directdraw_objects &objects) {
    DDSURFACEDESC screen = described(0, DDSCAPS_PRIMARYSURFACE);
    return SUCCEEDED(objects.draw->SetCooperativeLevel(w.window, DDSCL_NORMAL)) &&
           SUCCEEDED(objects.draw->CreateSurface(&screen, &objects.screen, nullptr)) &&
           SUCCEEDED(objects.draw->CreateClipper(0, &objects.clipper, nullptr)) &&
           SUCCEEDED(objects.clipper->SetHWnd(0, w.window)) &&
           SUCCEEDED(objects.screen->SetClipper(objects.clipper));
}

bool make_picture(display &d, directdraw_objects &objects) {
    DDSURFACEDESC picture = described(DDSD_WIDTH | DDSD_HEIGHT, DDSCAPS_OFFSCREENPLAIN);
    picture.dwWidth = d.width;
    picture.dwHeight = d.height;
    DDPIXELFORMAT format = {};
    format.dwSize = sizeof format;
    if (FAILED(objects.draw->CreateSurface(&picture, &objects.picture, nullptr)) ||
        FAILED(objects.picture->GetPixelFormat(&format)) || (format.dwFlags & DDPF_RGB) == 0 ||
        format.dwRGBBitCount < 15)
        return false;
    const u8 bytes = static_cast<u8>((format.dwRGBBitCount + 7) / 8);
    d.pixels.pixel = {bytes, false, format.dwRBitMask, format.dwGBitMask, format.dwBBitMask, 0};
    return true;
}

u32 report_unavailable(const display &d) {
    return report(d.function, VIQ_ERR_UNSUPPORTED, "Display method not available");
}

// The low word of the result is the number of the error.
u32 report_failure(const display &d, HRESULT result) {
    return report_system_error(d, static_cast<DWORD>(result));
}

// A device context of the program is not a part of the screen.
u32 make_surface(display &d, windows_display &w) {
    directdraw_objects &objects = w.directdraw;
    if (w.device != nullptr || !load(objects) || !make_screen(w, objects) ||
        !make_picture(d, objects))
        return report_unavailable(d);
    return success;
}

template <class Object> void release_object(Object *&object) {
    if (object != nullptr)
        object->Release();
    object = nullptr;
}

void free_surface(windows_display &w) {
    directdraw_objects &objects = w.directdraw;
    if (w.locked && objects.picture != nullptr)
        objects.picture->Unlock(nullptr);
    release_object(objects.picture);
    release_object(objects.clipper);
    release_object(objects.screen);
    release_object(objects.draw);
    if (objects.library != nullptr)
        FreeLibrary(objects.library);
    objects = {};
}

// Surfaces are lost when the mode of the screen changes; the mode can have other pixels.
u32 restore_surface(display &d, windows_display &w) {
    directdraw_objects &objects = w.directdraw;
    if (objects.screen->IsLost() == DD_OK && objects.picture->IsLost() == DD_OK)
        return success;
    d.contents_lost = true;
    if (SUCCEEDED(objects.screen->Restore()) && SUCCEEDED(objects.picture->Restore()))
        return success;
    free_surface(w);
    return make_surface(d, w);
}

u32 lock_surface(display &d, windows_display &w) {
    DDSURFACEDESC locked = described(0, 0);
    const HRESULT result = w.directdraw.picture->Lock(
        nullptr, &locked, DDLOCK_SURFACEMEMORYPTR | DDLOCK_WAIT, nullptr);
    if (FAILED(result))
        return report_failure(d, result);
    d.pixels.data = static_cast<u8 *>(locked.lpSurface);
    d.pixels.stride = locked.lPitch;
    return success;
}

u32 put_surface(display &d, windows_display &w, const rectangle &area) {
    directdraw_objects &objects = w.directdraw;
    if (w.locked)
        objects.picture->Unlock(nullptr);
    if (is_empty(area))
        return success;
    if (parameter(d, VIQ_DISPLAY_VSYNC) != 0)
        objects.draw->WaitForVerticalBlank(DDWAITVB_BLOCKBEGIN, nullptr);
    // The clipper does not permit rectangles that exceed the screen.
    DDSURFACEDESC screen = described(0, 0);
    objects.screen->GetSurfaceDesc(&screen);
    POINT corner = {};
    ClientToScreen(w.window, &corner);
    const rectangle inside =
        intersection({area.x + corner.x, area.y + corner.y, area.width, area.height},
                     {0, 0, static_cast<i32>(screen.dwWidth), static_cast<i32>(screen.dwHeight)});
    if (is_empty(inside))
        return success;
    RECT to = {inside.x, inside.y, inside.x + inside.width, inside.y + inside.height};
    RECT from = to;
    OffsetRect(&from, -corner.x, -corner.y);
    const HRESULT result = objects.screen->Blt(&to, objects.picture, &from, DDBLT_WAIT, nullptr);
    if (result == DDERR_SURFACELOST) { // since `restore`: the next call makes the picture again
        d.contents_lost = d.exposed = true;
        return success;
    }
    return SUCCEEDED(result) ? success : report_failure(d, result);
}

} // namespace

constexpr windows_method surface_method = {VIQ_DISPLAY_SURFACE, make_surface, free_surface,
                                           restore_surface,     lock_surface, put_surface};

} // namespace viq
