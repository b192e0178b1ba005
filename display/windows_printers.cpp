// Printers of Windows and device contexts of programs: a picture is drawn in bands. The functions
// of GDI and of the spooler are loaded when they are first needed.
#define WIN32_LEAN_AND_MEAN
#define UNICODE
#include <windows.h>
#include <winspool.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/lines.h"
#include "core/report.h"
#include "display/print_job.h"

namespace viq {

namespace {

struct windows_functions {
    decltype(&OpenPrinterW) open_printer;
    decltype(&ClosePrinter) close_printer;
    decltype(&DocumentPropertiesW) document_properties;
    decltype(&GetDefaultPrinterW) default_printer;
    decltype(&EnumPrintersW) enumerate_printers;
    decltype(&CreateDCW) create_context;
    decltype(&DeleteDC) delete_context;
    decltype(&GetDeviceCaps) capability;
    decltype(&StartDocW) start_document;
    decltype(&EndDoc) end_document;
    decltype(&AbortDoc) abandon_document;
    decltype(&StartPage) start_page;
    decltype(&EndPage) end_page;
    decltype(&SetStretchBltMode) set_scaling;
    decltype(&StretchDIBits) draw_bitmap;
};

// Texts of the system are UTF-16; their capacity includes the final 0.
constexpr std::size_t name_size = 256;
struct wide_text {
    wchar_t text[name_size] = L"";
};

struct bitmap_header {
    BITMAPINFOHEADER header;
    RGBQUAD colours[256];
};

struct context_output {
    windows_functions windows = {};
    HDC context = nullptr;
    bool own_context = false; // a printer's; else that of the program
    bool in_document = false;
    char printer[name_size] = ""; // for messages
    vector<u8> band;
};

// A rectangle of the device, in pixels.
struct device_area {
    int left, top, width, height;
};

bool load_functions(windows_functions &windows);
wide_text to_wide(const char *text);
void to_utf8(const wchar_t *text, char *utf8, std::size_t size);
u32 open_printer_job(print_job &job, const print_request &request);
u32 open_context_job(print_job &job, const print_request &request);
u32 begin_picture(print_job &job, const tVIQ_Image &image);
u32 write_strip(print_job &job, const tVIQ_Image &strip, u32 lines_done);
u32 end_picture(print_job &job);
u32 close_job(print_job &job);
void drop_job(print_job &job);
u32 report_last_error(const context_output &output, u32 code);

constexpr print_place make_place(u32 (*open)(print_job &, const print_request &)) {
    return {.kept = formats(VIQ_Y8, VIQ_BGR24),
            .colour = VIQ_BGR24,
            .open = open,
            .begin_page = begin_picture,
            .write_strip = write_strip,
            .end_page = end_picture,
            .close = close_job,
            .drop = drop_job};
}

} // namespace

const print_place system_printer = make_place(open_printer_job);
const print_place device_context = make_place(open_context_job);

u32 list_printers(tVIQ_Printer *printers, u32 count) {
    windows_functions windows;
    if (!load_functions(windows))
        return report(list_name, VIQ_ERR_UNSUPPORTED, "No print system");
    constexpr DWORD kinds = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
    constexpr DWORD level = 2;
    DWORD size = 0, total = 0;
    windows.enumerate_printers(kinds, nullptr, level, nullptr, 0, &size, &total);
    vector<u64> memory; // aligned for the records
    if (!try_resize(memory, size / sizeof(u64) + 1))
        return report_no_memory(list_name, size);
    if (!windows.enumerate_printers(kinds, nullptr, level, reinterpret_cast<BYTE *>(memory.data()),
                                    size, &size, &total))
        total = 0;
    wide_text default_name;
    DWORD capacity = name_size;
    windows.default_printer(default_name.text, &capacity);
    auto *found = reinterpret_cast<PRINTER_INFO_2W *>(memory.data());
    const auto is_default = [&default_name](const PRINTER_INFO_2W &printer) {
        return std::wcscmp(printer.pPrinterName, default_name.text) == 0;
    };
    std::stable_partition(found, found + total, is_default);
    for (u32 n = 0; n < std::min<u32>(count, total); ++n) {
        printers[n] = {};
        to_utf8(found[n].pPrinterName, printers[n].name, sizeof printers[n].name);
        if (found[n].pComment != nullptr)
            to_utf8(found[n].pComment, printers[n].description, sizeof printers[n].description);
        printers[n].is_default = is_default(found[n]);
        printers[n].accepts_jobs = (found[n].Status & PRINTER_STATUS_PENDING_DELETION) == 0;
    }
    return std::min<u32>(total, 0xFFFF);
}

namespace {

context_output &output_of(print_job &job) {
    return *static_cast<context_output *>(job.native);
}

// The libraries stay loaded.
bool load_functions(windows_functions &windows) {
    const HMODULE gdi = LoadLibraryW(L"gdi32.dll");
    const HMODULE spooler = LoadLibraryW(L"winspool.drv");
    if (gdi == nullptr || spooler == nullptr)
        return false;
    bool complete = true;
    const auto load = [&complete]<class Function>(HMODULE library, Function &function,
                                                  const char *name) {
        function =
            reinterpret_cast<Function>(reinterpret_cast<void *>(GetProcAddress(library, name)));
        complete = complete && function != nullptr;
    };
    load(spooler, windows.open_printer, "OpenPrinterW");
    load(spooler, windows.close_printer, "ClosePrinter");
    load(spooler, windows.document_properties, "DocumentPropertiesW");
    load(spooler, windows.default_printer, "GetDefaultPrinterW");
    load(spooler, windows.enumerate_printers, "EnumPrintersW");
    load(gdi, windows.create_context, "CreateDCW");
    load(gdi, windows.delete_context, "DeleteDC");
    load(gdi, windows.capability, "GetDeviceCaps");
    load(gdi, windows.start_document, "StartDocW");
    load(gdi, windows.end_document, "EndDoc");
    load(gdi, windows.abandon_document, "AbortDoc");
    load(gdi, windows.start_page, "StartPage");
    load(gdi, windows.end_page, "EndPage");
    load(gdi, windows.set_scaling, "SetStretchBltMode");
    load(gdi, windows.draw_bitmap, "StretchDIBits");
    return complete;
}

// Empty if the text is longer.
wide_text to_wide(const char *text) {
    wide_text wide;
    if (MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.text, name_size) == 0)
        wide.text[0] = L'\0';
    return wide;
}

void to_utf8(const wchar_t *text, char *utf8, std::size_t size) {
    if (WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8, static_cast<int>(size), nullptr, nullptr) ==
        0)
        utf8[0] = '\0';
}

u32 report_last_error(const context_output &output, u32 code) {
    wide_text wide;
    const DWORD error = GetLastError();
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, error, 0, wide.text, name_size, nullptr);
    for (DWORD n = length; n > 0 && wide.text[n - 1] <= L' '; --n)
        wide.text[n - 1] = L'\0';
    char reason[2 * name_size];
    to_utf8(wide.text, reason, sizeof reason);
    if (*reason == '\0')
        std::snprintf(reason, sizeof reason, "error %lu", static_cast<unsigned long>(error));
    return report_printer(code, output.printer, reason);
}

u32 make_output(print_job &job) {
    job.native = make_owned<context_output>().release();
    if (job.native == nullptr)
        return report_no_memory(print_name, sizeof(context_output));
    if (!load_functions(output_of(job).windows))
        return report(print_name, VIQ_ERR_UNSUPPORTED, "No print system");
    return success;
}

// ---- Documents

// Changes the settings of a printer to what the options ask for.
void set_options(DEVMODEW &mode, const paper_size &paper, const tVIQ_PrintOptions &options) {
    constexpr u32 lengths_per_unit = 10; // 1/10 mm
    mode.dmFields |= DM_COPIES | DM_COLOR | DM_ORIENTATION;
    mode.dmCopies = static_cast<short>(options.copies);
    mode.dmColor = options.grey != 0 ? DMCOLOR_MONOCHROME : DMCOLOR_COLOR;
    mode.dmOrientation = DMORIENT_PORTRAIT;
    if (paper == paper_size())
        return;
    mode.dmFields = (mode.dmFields & ~static_cast<DWORD>(DM_FORMNAME)) | DM_PAPERSIZE |
                    DM_PAPERWIDTH | DM_PAPERLENGTH;
    mode.dmPaperSize = DMPAPER_USER;
    mode.dmPaperWidth = static_cast<short>(paper.width / lengths_per_unit);
    mode.dmPaperLength = static_cast<short>(paper.height / lengths_per_unit);
}

// The settings of a document, in memory of the size that the driver needs.
u32 find_settings(context_output &output, const print_job &job, wchar_t *name,
                  const tVIQ_PrintOptions &options, vector<u64> &memory) {
    const windows_functions &windows = output.windows;
    HANDLE printer = nullptr;
    if (!windows.open_printer(name, &printer, nullptr))
        return report_last_error(output, VIQ_ERR_OPEN);
    const auto ask = [&](DEVMODEW *to, DEVMODEW *from, DWORD which) {
        return windows.document_properties(nullptr, printer, name, to, from, which);
    };
    u32 code = success;
    const LONG size = ask(nullptr, nullptr, 0);
    if (size <= 0) {
        code = report_last_error(output, VIQ_ERR_OPEN);
    } else if (!try_resize(memory, static_cast<u64>(size) / sizeof(u64) + 1)) {
        code = report_no_memory(print_name, static_cast<u64>(size));
    } else {
        auto *mode = reinterpret_cast<DEVMODEW *>(memory.data());
        bool known = ask(mode, nullptr, DM_OUT_BUFFER) == IDOK;
        if (known) {
            set_options(*mode, job.paper, options);
            known = ask(mode, mode, DM_IN_BUFFER | DM_OUT_BUFFER) == IDOK;
        }
        if (!known)
            code = report_last_error(output, VIQ_ERR_OPEN);
        else if (options.copies > 1 && mode->dmCopies != static_cast<short>(options.copies))
            code = report_printer(VIQ_ERR_OPEN, output.printer, "does not make so many copies");
    }
    windows.close_printer(printer);
    return code;
}

// The paper of a printer's context.
paper_size paper_of(const context_output &output) {
    const auto length = [&output](int size, int resolution) {
        const double dots = output.windows.capability(output.context, size);
        const double dots_per_inch = output.windows.capability(output.context, resolution);
        return dots_per_inch > 0 ? static_cast<u32>(std::lround(dots * 2540 / dots_per_inch)) : 0;
    };
    return {length(PHYSICALWIDTH, LOGPIXELSX), length(PHYSICALHEIGHT, LOGPIXELSY)};
}

u32 open_printer_job(print_job &job, const print_request &request) {
    if (const u32 code = make_output(job); is_error(code))
        return code;
    context_output &output = output_of(job);
    const windows_functions &windows = output.windows;
    wide_text name = to_wide(request.printer);
    DWORD capacity = name_size;
    if (*request.printer == '\0' && !windows.default_printer(name.text, &capacity))
        return report(print_name, VIQ_ERR_OPEN, "No default printer");
    to_utf8(name.text, output.printer, sizeof output.printer);
    vector<u64> settings;
    if (const u32 code = find_settings(output, job, name.text, *request.options, settings);
        is_error(code))
        return code;
    output.context = windows.create_context(L"WINSPOOL", name.text, nullptr,
                                            reinterpret_cast<DEVMODEW *>(settings.data()));
    if (output.context == nullptr)
        return report_last_error(output, VIQ_ERR_OPEN);
    output.own_context = true;
    const paper_size loaded = paper_of(output);
    constexpr i64 rounding = 200;
    if (job.paper != paper_size() && (std::abs(i64{job.paper.width} - loaded.width) > rounding ||
                                      std::abs(i64{job.paper.height} - loaded.height) > rounding))
        return report_printer(VIQ_ERR_OPEN, output.printer, "does not have this paper");
    job.paper = loaded;
    const wide_text document = to_wide(request.document);
    DOCINFOW information = {};
    information.cbSize = sizeof information;
    information.lpszDocName = document.text;
    if (windows.start_document(output.context, &information) <= 0)
        return report_last_error(output, VIQ_ERR_OPEN);
    output.in_document = true;
    return success;
}

u32 open_context_job(print_job &job, const print_request &request) {
    if (const u32 code = make_output(job); is_error(code))
        return code;
    context_output &output = output_of(job);
    std::snprintf(output.printer, sizeof output.printer, "device context");
    output.context = static_cast<HDC>(request.options->device_context);
    if (output.windows.capability(output.context, LOGPIXELSX) <= 0)
        return report_printer(VIQ_ERR_OPEN, output.printer, "invalid handle");
    const paper_size loaded = paper_of(output);
    if (loaded.width != 0 && loaded.height != 0)
        job.paper = loaded;
    else if (job.paper == paper_size())
        job.paper = a4_paper;
    return success;
}

u32 begin_picture(print_job &job, const tVIQ_Image &image) {
    context_output &output = output_of(job);
    const u64 line = printed_line_bytes(job.lines.format, image.width);
    if (!try_resize(job.line, line) || !try_resize(job.scratch, u64{3} * image.width))
        return report_no_memory(print_name, line);
    if (output.own_context && output.windows.start_page(output.context) <= 0)
        return report_last_error(output, VIQ_ERR_SYSTEM);
    return success;
}

u32 end_picture(print_job &job) {
    const context_output &output = output_of(job);
    if (output.own_context && output.windows.end_page(output.context) <= 0)
        return report_last_error(output, VIQ_ERR_SYSTEM);
    return success;
}

u32 close_job(print_job &job) {
    context_output &output = output_of(job);
    const bool in_document = output.in_document;
    output.in_document = false;
    if (in_document && output.windows.end_document(output.context) <= 0)
        return report_last_error(output, VIQ_ERR_SYSTEM);
    return success;
}

void drop_job(print_job &job) {
    if (job.native == nullptr)
        return;
    context_output &output = output_of(job);
    if (output.in_document)
        output.windows.abandon_document(output.context);
    if (output.own_context)
        output.windows.delete_context(output.context);
    destroy_owned(&output);
}

// ---- Bands

device_area area_on_device(const print_job &job, const context_output &output) {
    const page_area area = area_as_fed(job.layout, job.paper);
    const auto capability = [&output](int which) {
        return output.windows.capability(output.context, which);
    };
    const auto pixel = [](double position, int resolution) {
        return static_cast<int>(std::lround(position * resolution / 2540));
    };
    const int across = capability(LOGPIXELSX), down = capability(LOGPIXELSY);
    const int left = pixel(area.x, across), top = pixel(area.y, down);
    return {left - capability(PHYSICALOFFSETX), top - capability(PHYSICALOFFSETY),
            pixel(area.x + area.width, across) - left, pixel(area.y + area.height, down) - top};
}

// The part of an area that the lines from `first` to `end` fill.
device_area area_of_lines(const print_job &job, const device_area &whole, u32 first, u32 end) {
    const auto along = [&job](int size, u32 line) {
        return static_cast<int>(i64{size} * line / job.height);
    };
    device_area band = whole;
    if (job.layout.turned) {
        band.left += along(whole.width, first);
        band.width = along(whole.width, end) - along(whole.width, first);
    } else {
        band.top += along(whole.height, first);
        band.height = along(whole.height, end) - along(whole.height, first);
    }
    return band;
}

// Stores a line of the picture in a bitmap whose lines go from bottom to top. If the layout is
// turned, line n becomes column n and the first pixel is at the bottom.
void store_line(const print_job &job, const u8 *line, u32 number, u32 lines, std::size_t stride,
                u8 *band) {
    const std::size_t pixel = pixel_bytes(job.lines.format);
    if (!job.layout.turned) {
        std::memcpy(band + (lines - 1 - number) * stride, line, job.line.size());
        return;
    }
    for (u32 x = 0; x < job.width; ++x)
        std::memcpy(band + x * stride + number * pixel, line + x * pixel, pixel);
}

bitmap_header make_header(const print_job &job, u32 lines) {
    bitmap_header bitmap = {};
    bitmap.header.biSize = sizeof bitmap.header;
    bitmap.header.biWidth = static_cast<LONG>(job.layout.turned ? lines : job.width);
    bitmap.header.biHeight = static_cast<LONG>(job.layout.turned ? job.width : lines);
    bitmap.header.biPlanes = 1;
    bitmap.header.biBitCount = static_cast<WORD>(8 * pixel_bytes(job.lines.format));
    bitmap.header.biCompression = BI_RGB;
    for (u32 n = 0; n < 256; ++n) {
        const BYTE grey = static_cast<BYTE>(n);
        bitmap.colours[n] = {grey, grey, grey, 0};
    }
    return bitmap;
}

u32 draw_band(print_job &job, const line_view &strip, u32 first, u32 lines, u32 lines_done) {
    context_output &output = output_of(job);
    const device_area area = area_of_lines(job, area_on_device(job, output), lines_done + first,
                                           lines_done + first + lines);
    if (area.width <= 0 || area.height <= 0)
        return success;
    const bitmap_header bitmap = make_header(job, lines);
    const std::size_t stride =
        (static_cast<std::size_t>(bitmap.header.biWidth) * pixel_bytes(job.lines.format) + 3) &
        ~std::size_t{3};
    const u64 size = u64{stride} * static_cast<u64>(bitmap.header.biHeight);
    if (!try_resize(output.band, size))
        return report_no_memory(print_name, size);
    for (u32 n = 0; n < lines; ++n) {
        const u8 *line = strip.line(first + n);
        if (job.lines.converts) {
            convert_print_line(job.lines, line, job.line.data(), job.scratch.data(), job.width);
            line = job.line.data();
        }
        store_line(job, line, n, lines, stride, output.band.data());
    }
    // Pixels are repeated where the picture is enlarged, averaged where it is reduced.
    const bool enlarges =
        area.width >= bitmap.header.biWidth && area.height >= bitmap.header.biHeight;
    output.windows.set_scaling(output.context, enlarges ? COLORONCOLOR : HALFTONE);
    const int drawn = output.windows.draw_bitmap(
        output.context, area.left, area.top, area.width, area.height, 0, 0, bitmap.header.biWidth,
        bitmap.header.biHeight, output.band.data(), reinterpret_cast<const BITMAPINFO *>(&bitmap),
        DIB_RGB_COLORS, SRCCOPY);
    return drawn != 0 && drawn != static_cast<int>(GDI_ERROR)
               ? success
               : report_last_error(output, VIQ_ERR_SYSTEM);
}

u32 write_strip(print_job &job, const tVIQ_Image &strip, u32 lines_done) {
    constexpr u64 band_bytes = 1 << 20;
    const line_view lines = lines_of(strip);
    const u32 most = static_cast<u32>(std::max<u64>(band_bytes / (4 * u64{job.width}), 1));
    u32 code = success;
    for (u32 first = 0; first < lines.lines && !is_error(code); first += most)
        code = draw_band(job, lines, first, std::min(most, lines.lines - first), lines_done);
    return code;
}

} // namespace

} // namespace viq
