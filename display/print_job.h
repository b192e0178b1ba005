// A document that is being printed, and the places that documents are printed to.
#pragma once

#include <memory>

#include "core/format_checks.h"
#include "display/print_layout.h"
#include "display/print_lines.h"
#include "display/print_pdf.h"

namespace viq {

struct print_place;

struct print_request {
    const char *printer = nullptr; // empty: the default printer
    const char *document = nullptr;
    const tVIQ_PrintOptions *options = nullptr;
    u32 image = 0;
};

struct print_job {
    const print_place *place = nullptr;
    void *native = nullptr;         // the place's own record; null: it has none, or no longer
    tVIQ_PrintOptions options = {}; // of the current page; its pointers are not used
    paper_size paper = {};          // found by the place if the request names none

    // Of the current page.
    page_layout layout = {};
    print_lines lines = {};
    u32 width = 0, height = 0; // of the picture
    vector<u8> line, scratch;  // see convert_print_line

    pdf_document pdf = {}; // of places that take PDF

    print_job() = default;
    print_job(const print_job &) = delete;
    print_job &operator=(const print_job &) = delete;
    ~print_job(); // abandons the document if it has not been finished
};

// A function reports its failure, after which only `drop` is called.
struct print_place {
    format_set kept; // formats that are not converted
    u16 colour;      // the format that others in colour are converted to
    // Starts the document; job.paper is set unless the request names a paper.
    u32 (*open)(print_job &job, const print_request &request);
    u32 (*begin_page)(print_job &job, const tVIQ_Image &image);
    u32 (*write_strip)(print_job &job, const tVIQ_Image &strip, u32 lines_done);
    u32 (*end_page)(print_job &job);
    // Finishes the document.
    u32 (*close)(print_job &job);
    // Frees the native record; a document that has not been finished is abandoned.
    void (*drop)(print_job &job);
};

// Functions of places that take PDF. A document is started with `pdf.send` and `pdf.receiver` set.
u32 begin_pdf_job(print_job &job, const print_request &request);
u32 begin_pdf_picture(print_job &job, const tVIQ_Image &image);
u32 write_pdf_strip(print_job &job, const tVIQ_Image &strip, u32 lines_done);
u32 end_pdf_picture(print_job &job);

extern const print_place pdf_file;
extern const print_place system_printer;
#if defined(_WIN32)
extern const print_place device_context; // of the program
#endif

// The system's part of VIQ_display_list_printers.
u32 list_printers(tVIQ_Printer *printers, u32 count);

constexpr const char *print_name = "VIQ_display_print";
constexpr const char *list_name = "VIQ_display_list_printers";

u32 report_printer(u32 code, const char *printer, const char *reason);

} // namespace viq
