// Printers of Windows and device contexts of programs: a picture is drawn in bands. The functions
// of the spooler are loaded when they are first needed.
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

struct spooler_functions {
    decltype(&OpenPrinterW) open_printer;
    decltype(&ClosePrinter) close_printer;
    decltype(&DocumentPropertiesW) document_properties;
    decltype(&GetDefaultPrinterW) default_printer;
    decltype(&EnumPrintersW) enumerate_printers;
    decltype(&DeviceCapabilitiesW) capabilities;
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

bool load_functions(spooler_functions &spooler);
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
    spooler_functions spooler;
    if (!load_functions(spooler))
        return report(list_name, VIQ_ERR_UNSUPPORTED, "No print system");
    constexpr DWORD kinds = PRINTER_ENUM_LOCAL | PRINTER_ENUM_CONNECTIONS;
    constexpr DWORD level = 2;
    DWORD size = 0, total = 0;
    spooler.enumerate_printers(kinds, nullptr, level, nullptr, 0, &size, &total);
    vector<u64> memory; // aligned for the records
    if (!try_resize(memory, size / sizeof(u64) + 1))
        return report_no_memory(list_name, size);
    if (!spooler.enumerate_printers(kinds, nullptr, level, reinterpret_cast<BYTE *>(memory.data()),
                                    size, &size, &total))
        total = 0;
    wide_text default_name;
    DWORD capacity = name_size;
    spooler.default_printer(default_name.text, &capacity);
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

// The library stays loaded.
bool load_functions(spooler_functions &spooler) {
    const HMODULE library = LoadLibraryW(L"winspool.drv");
    if (library == nullptr)
        return false;
    bool complete = true;
    const auto load = [&]<class Function>(Function &function, const char *name) {
        function =
            reinterpret_cast<Function>(reinterpret_cast<void *>(GetProcAddress(library, name)));
        complete = complete && function != nullptr;
    };
    load(spooler.open_printer, "OpenPrinterW");
    load(spooler.close_printer, "ClosePrinter");
    load(spooler.document_properties, "DocumentPropertiesW");
    load(spooler.default_printer, "GetDefaultPrinterW");
    load(spooler.enumerate_printers, "EnumPrintersW");
    load(spooler.capabilities, "DeviceCapabilitiesW");
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
    return success;
}

// ---- Documents

bool is_same_paper(const paper_size &one, const paper_size &other) {
    constexpr i64 rounding = 200;
    return std::abs(i64{one.width} - other.width) <= rounding &&
           std::abs(i64{one.height} - other.height) <= rounding;
}

constexpr u32 lengths_per_unit = 10; // the spooler's unit is 1/10 mm

// Sets `number` to the printer's number of a paper, or to DMPAPER_USER if it lists none of this
// size: some drivers do not accept the size of a paper that they have a number for.
u32 find_paper_number(const spooler_functions &spooler, const wchar_t *printer,
                      const paper_size &paper, short &number) {
    number = DMPAPER_USER;
    const int count = spooler.capabilities(printer, nullptr, DC_PAPERS, nullptr, nullptr);
    if (count <= 0)
        return success;
    vector<WORD> numbers;
    vector<POINT> sizes;
    const auto papers = static_cast<std::size_t>(count);
    if (!try_resize(numbers, papers) || !try_resize(sizes, papers))
        return report_no_memory(print_name, papers * sizeof(POINT));
    const auto list = [&](WORD what, void *to) {
        return spooler.capabilities(printer, nullptr, what, static_cast<wchar_t *>(to), nullptr);
    };
    if (list(DC_PAPERS, numbers.data()) != count || list(DC_PAPERSIZE, sizes.data()) != count)
        return success;
    for (std::size_t n = 0; n < papers; ++n)
        if (is_same_paper({static_cast<u32>(sizes[n].x) * lengths_per_unit,
                           static_cast<u32>(sizes[n].y) * lengths_per_unit},
                          paper)) {
            number = static_cast<short>(numbers[n]);
            break;
        }
    return success;
}

// Changes the settings of a printer to what the options ask for.
void set_options(DEVMODEW &mode, const paper_size &paper, short paper_number,
                 const tVIQ_PrintOptions &options) {
    mode.dmFields |= DM_COPIES | DM_COLOR | DM_ORIENTATION;
    mode.dmCopies = static_cast<short>(options.copies);
    mode.dmColor = options.grey != 0 ? DMCOLOR_MONOCHROME : DMCOLOR_COLOR;
    mode.dmOrientation = DMORIENT_PORTRAIT;
    if (paper == paper_size())
        return;
    mode.dmFields &= ~static_cast<DWORD>(DM_FORMNAME | DM_PAPERWIDTH | DM_PAPERLENGTH);
    mode.dmFields |= DM_PAPERSIZE;
    mode.dmPaperSize = paper_number;
    if (paper_number != DMPAPER_USER)
        return;
    mode.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    mode.dmPaperWidth = static_cast<short>(paper.width / lengths_per_unit);
    mode.dmPaperLength = static_cast<short>(paper.height / lengths_per_unit);
}

// The settings of a document, in memory of the size that the driver needs.
u32 find_settings(const spooler_functions &spooler, const context_output &output,
                  const print_job &job, wchar_t *name, const tVIQ_PrintOptions &options,
                  vector<u64> &memory) {
    short paper_number = 0;
    if (const u32 code = find_paper_number(spooler, name, job.paper, paper_number); is_error(code))
        return code;
    HANDLE printer = nullptr;
    if (!spooler.open_printer(name, &printer, nullptr))
        return report_last_error(output, VIQ_ERR_OPEN);
    const auto ask = [&](DEVMODEW *to, DEVMODEW *from, DWORD which) {
        return spooler.document_properties(nullptr, printer, name, to, from, which);
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
            set_options(*mode, job.paper, paper_number, options);
            known = ask(mode, mode, DM_IN_BUFFER | DM_OUT_BUFFER) == IDOK;
        }
        if (!known)
            code = report_last_error(output, VIQ_ERR_OPEN);
        else if (options.copies > 1 && mode->dmCopies != static_cast<short>(options.copies))
            code = report_printer(VIQ_ERR_OPEN, output.printer, "does not make so many copies");
    }
    spooler.close_printer(printer);
    return code;
}

// The paper of a printer's context.
paper_size paper_of(const context_output &output) {
    const auto length = [&output](int size, int resolution) {
        const double dots = GetDeviceCaps(output.context, size);
        const double dots_per_inch = GetDeviceCaps(output.context, resolution);
        return dots_per_inch > 0 ? static_cast<u32>(std::lround(dots * 2540 / dots_per_inch)) : 0;
    };
    return {length(PHYSICALWIDTH, LOGPIXELSX), length(PHYSICALHEIGHT, LOGPIXELSY)};
}

u32 open_printer_job(print_job &job, const print_request &request) {
    if (const u32 code = make_output(job); is_error(code))
        return code;
    context_output &output = output_of(job);
    spooler_functions spooler;
    if (!load_functions(spooler))
        return report(print_name, VIQ_ERR_UNSUPPORTED, "No print system");
    wide_text name = to_wide(request.printer);
    DWORD capacity = name_size;
    if (*request.printer == '\0' && !spooler.default_printer(name.text, &capacity))
        return report(print_name, VIQ_ERR_OPEN, "No default printer");
    to_utf8(name.text, output.printer, sizeof output.printer);
    vector<u64> settings;
    if (const u32 code = find_settings(spooler, output, job, name.text, *request.options, settings);
        is_error(code))
        return code;
    output.context =
        CreateDCW(L"WINSPOOL", name.text, nullptr, reinterpret_cast<DEVMODEW *>(settings.data()));
    if (output.context == nullptr)
        return report_last_error(output, VIQ_ERR_OPEN);
    output.own_context = true;
    const paper_size loaded = paper_of(output);
    if (job.paper != paper_size() && !is_same_paper(job.paper, loaded))
        return report_printer(VIQ_ERR_OPEN, output.printer, "does not have this paper");
    job.paper = loaded;
    const wide_text document = to_wide(request.document);
    DOCINFOW information = {};
    information.cbSize = sizeof information;
    information.lpszDocName = document.text;
    if (StartDocW(output.context, &information) <= 0)
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
    if (GetDeviceCaps(output.context, LOGPIXELSX) <= 0)
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
    if (output.own_context && StartPage(output.context) <= 0)
        return report_last_error(output, VIQ_ERR_SYSTEM);
    return success;
}

u32 end_picture(print_job &job) {
    const context_output &output = output_of(job);
    if (output.own_context && EndPage(output.context) <= 0)
        return report_last_error(output, VIQ_ERR_SYSTEM);
    return success;
}

u32 close_job(print_job &job) {
    context_output &output = output_of(job);
    const bool in_document = output.in_document;
    output.in_document = false;
    if (in_document && EndDoc(output.context) <= 0)
        return report_last_error(output, VIQ_ERR_SYSTEM);
    return success;
}

void drop_job(print_job &job) {
    if (job.native == nullptr)
        return;
    context_output &output = output_of(job);
    if (output.in_document)
        AbortDoc(output.context);
    if (output.own_context)
        DeleteDC(output.context);
    destroy_owned(&output);
}

// ---- Bands

device_area area_on_device(const print_job &job, const context_output &output) {
    const page_area area = area_as_fed(job.layout, job.paper);
    const auto capability = [&output](int which) { return GetDeviceCaps(output.context, which); };
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
    SetStretchBltMode(output.context, enlarges ? COLORONCOLOR : HALFTONE);
    const int drawn =
        StretchDIBits(output.context, area.left, area.top, area.width, area.height, 0, 0,
                      bitmap.header.biWidth, bitmap.header.biHeight, output.band.data(),
                      reinterpret_cast<const BITMAPINFO *>(&bitmap), DIB_RGB_COLORS, SRCCOPY);
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
