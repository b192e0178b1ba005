// Writes a PDF document of pictures from its first byte to its last, so that it can be sent while
// it is being made.
#pragma once

#include "core/format_checks.h"
#include "display/deflate.h"
#include "display/print_layout.h"

namespace viq {

// Takes the bytes of a document; reports its failures.
using byte_sink = u32 (*)(void *receiver, const u8 *data, std::size_t size);

struct pdf_document {
    const char *function = nullptr; // reports
    byte_sink send = nullptr;
    void *receiver = nullptr;
    u32 status = success; // of the first failure, after which nothing is sent
    u64 position = 0;     // in the document, of the next byte
    u64 stream_start = 0; // of the picture
    vector<u64> objects;  // positions; object n is entry n - 1
    vector<u32> pages;    // numbers of their objects
    vector<u8> text;      // that has not been sent
    deflater coder;
};

// The pixels of a picture: one of pdf_formats.
struct pdf_pixels {
    u16 format;
    u32 width, height;
    const tVIQ_Colour *map; // of VIQ_PALETTED: 256 entries
};
constexpr format_set pdf_formats = formats(VIQ_Y1, VIQ_Y8, VIQ_PALETTED, VIQ_RGB24, VIQ_CMYK32);

// Each returns the status. The title is UTF-8.
u32 begin_pdf(pdf_document &pdf, const char *title);
u32 begin_pdf_page(pdf_document &pdf, const pdf_pixels &pixels);
u32 write_pdf_line(pdf_document &pdf, const u8 *line, std::size_t size);
// With `turns_view`, viewers turn a page of a turned layout so that the picture is upright.
u32 end_pdf_page(pdf_document &pdf, const paper_size &paper, const page_layout &layout,
                 bool turns_view);
u32 end_pdf(pdf_document &pdf);

} // namespace viq
