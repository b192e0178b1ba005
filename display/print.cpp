// Printing strip by strip: the protocol, and documents of several pages.
#include "viq/print.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "core/image.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "display/print_job.h"

namespace viq {

namespace {

struct print_state {
    strip_sequence sequence; // of a picture
    owned<print_job> job;    // also between two pages
};

void end_sequences(print_state &state, const tVIQ_Image *image) {
    if (!takes_part(state.sequence, image))
        return;
    state.sequence = {};
    state.job.reset();
}

VIQ_PER_CONTEXT(print_state, state);

u32 begin(const strip_call &call, const print_request &request);
u32 print_strip(const strip_call &call);
u32 finish(const strip_call &call);
u32 abandon(const strip_call &call);

constexpr strip_transfer<print_request> transfer = {
    .name = print_name,
    .sequence = state,
    .begin = begin,
    .process = print_strip,
    .finish = finish,
    .abandon = abandon,
    .line = present_bit_line,
};

} // namespace

} // namespace viq

using namespace viq;

u32 VIQ_display_print_defaults(tVIQ_PrintOptions *pOptions) {
    constexpr u32 margin = 1000;
    if (pOptions == nullptr)
        return report_null("VIQ_display_print_defaults");
    *pOptions = {};
    pOptions->margin_left = pOptions->margin_top = margin;
    pOptions->margin_right = pOptions->margin_bottom = margin;
    pOptions->copies = 1;
    return success;
}

u32 VIQ_display_print(u32 hImage, const char *pszPrinter, const char *pszDocument,
                      const tVIQ_PrintOptions *pOptions, u16 wStripCommand) {
    tVIQ_PrintOptions defaults;
    VIQ_display_print_defaults(&defaults);
    const bool has_title = pszDocument != nullptr && *pszDocument != '\0';
    const print_request request = {.printer = pszPrinter != nullptr ? pszPrinter : "",
                                   .document = has_title ? pszDocument : "VIQ",
                                   .options = pOptions != nullptr ? pOptions : &defaults,
                                   .image = hImage};
    const u32 code = run_transfer(transfer, hImage, wStripCommand, request);
    // Between two pages there is no sequence that could be abandoned.
    if (wStripCommand == VIQ_STRIP_FINISH && !called_by_handler() && !state->sequence.under_way)
        state->job.reset();
    return code;
}

u32 VIQ_display_list_printers(tVIQ_Printer *pPrinters, u32 dwPrinters) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    if (pPrinters == nullptr && dwPrinters != 0)
        return report_null(list_name);
    return list_printers(pPrinters, dwPrinters);
}

namespace viq {

print_job::~print_job() {
    if (place != nullptr)
        place->drop(*this);
}

u32 report_printer(u32 code, const char *printer, const char *reason) {
    char message[512];
    std::snprintf(message, sizeof message, "Printer '%s': %s", printer, reason);
    return report(print_name, code, message);
}

namespace {

// Checks that need neither a printer nor a file.
u32 check_request(const tVIQ_Image &image, const print_request &request, paper_size &paper) {
    const tVIQ_PrintOptions &options = *request.options;
    if (const u32 code = check_print_options(print_name, options); is_error(code))
        return code;
    if (image.width == 0 || image.height == 0)
        return report(print_name, VIQ_ERR_CORRUPT, "Corrupt image");
    if (image.pixel_format == VIQ_YUV422 && image.width % 2 != 0)
        return report(print_name, VIQ_ERR_UNSUPPORTED, "YUV422 image must be an even width");
    if (image.pixel_format == VIQ_PALETTED && image.colourmap == nullptr)
        return report_no_colourmap(print_name);
    if (options.paper != nullptr) {
        paper = find_paper(options.paper);
        if (paper == paper_size())
            return report(print_name, VIQ_ERR_PARAMETER, "Unknown paper");
    }
    return success;
}

const print_place *find_place(const tVIQ_PrintOptions &options) {
#if defined(_WIN32)
    if (options.device_context != nullptr)
        return &device_context;
#endif
    return options.file_name != nullptr ? &pdf_file : &system_printer;
}

u32 open_job(const print_request &request, const paper_size &paper) {
#if !defined(_WIN32)
    if (request.options->device_context != nullptr)
        return report(print_name, VIQ_ERR_UNSUPPORTED, "Device contexts exist on Windows only");
#endif
    owned<print_job> &job = state->job;
    job = make_owned<print_job>();
    if (job == nullptr)
        return report_no_memory(print_name, sizeof(print_job));
    job->place = find_place(*request.options);
    job->paper = paper;
    return job->place->open(*job, request);
}

u32 begin_page(const tVIQ_Image &image, const print_request &request) {
    paper_size paper;
    u32 code = check_request(image, request, paper);
    if (is_error(code))
        return code;
    print_lines lines;
    const print_place &place =
        state->job != nullptr ? *state->job->place : *find_place(*request.options);
    const u16 colour = request.options->grey != 0 ? u16{VIQ_Y8} : place.colour;
    const format_set kept =
        request.options->grey != 0 ? place.kept & formats(VIQ_Y1, VIQ_Y8) : place.kept;
    if (!find_print_lines(image, kept, colour, lines))
        return report(print_name, VIQ_ERR_UNSUPPORTED | image.pixel_format,
                      "Unsupported image format");
    if (state->job == nullptr)
        code = open_job(request, paper);
    if (is_error(code))
        return code;
    print_job &job = *state->job;
    job.options = *request.options;
    job.lines = lines;
    job.width = image.width;
    job.height = image.height;
    code = place_picture(print_name, job.options, job.paper, image.width, image.height, job.layout);
    return is_error(code) ? code : job.place->begin_page(job, image);
}

u32 begin(const strip_call &call, const print_request &request) {
    const u32 code = begin_page(*call.in, request);
    if (is_error(code))
        state->job.reset();
    return code;
}

u32 print_strip(const strip_call &call) {
    const u32 code =
        has_pixels(*call.in, call.in->lines_per_strip)
            ? state->job->place->write_strip(*state->job, *call.in, state->sequence.lines_done)
            : report_no_data(print_name);
    if (is_error(code)) {
        state->sequence = {};
        state->job.reset();
    }
    return code;
}

u32 finish(const strip_call &) {
    print_job &job = *state->job;
    u32 code = job.place->end_page(job);
    if (!is_error(code) && job.options.more_pages != 0)
        return code;
    if (!is_error(code))
        code = job.place->close(job);
    state->job.reset();
    return code;
}

u32 abandon(const strip_call &) {
    state->job.reset();
    return success;
}

} // namespace

} // namespace viq
