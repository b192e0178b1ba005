// Printing to PDF files, and the pages of every document in PDF.
#include <exception>

#include "core/lines.h"
#include "core/replaced_file.h"
#include "core/report.h"
#include "display/print_job.h"

namespace viq {

namespace {

struct file_output {
    replaced_file file = {};
    unique_stream stream = {};
};

u32 open_file_job(print_job &job, const print_request &request);
u32 close_file_job(print_job &job);
void drop_file_job(print_job &job);
u32 write_bytes(void *receiver, const u8 *data, std::size_t size);

} // namespace

const print_place pdf_file = {
    .kept = pdf_formats,
    .colour = VIQ_RGB24,
    .open = open_file_job,
    .begin_page = begin_pdf_picture,
    .write_strip = write_pdf_strip,
    .end_page = end_pdf_picture,
    .close = close_file_job,
    .drop = drop_file_job,
};

u32 begin_pdf_job(print_job &job, const print_request &request) {
    if (job.paper == paper_size())
        job.paper = a4_paper;
    job.pdf.function = print_name;
    return begin_pdf(job.pdf, request.document);
}

u32 begin_pdf_picture(print_job &job, const tVIQ_Image &image) {
    const u64 line = printed_line_bytes(job.lines.format, image.width);
    if (!try_resize(job.line, line) || !try_resize(job.scratch, u64{3} * image.width))
        return report_no_memory(print_name, line);
    return begin_pdf_page(job.pdf, {job.lines.format, image.width, image.height, image.colourmap});
}

u32 write_pdf_strip(print_job &job, const tVIQ_Image &strip, u32) {
    const line_view lines = lines_of(strip);
    u32 code = success;
    for (u32 n = 0; n < lines.lines && !is_error(code); ++n) {
        const u8 *line = lines.line(n);
        if (job.lines.converts) {
            convert_print_line(job.lines, line, job.line.data(), job.scratch.data(), lines.width);
            line = job.line.data();
        }
        code = write_pdf_line(job.pdf, line, job.line.size());
    }
    return code;
}

// Printers get pages as the paper is fed, so that none of them scales a page that it turns.
u32 end_pdf_picture(print_job &job) {
    return end_pdf_page(job.pdf, job.paper, job.layout, job.place == &pdf_file);
}

namespace {

file_output &output_of(print_job &job) {
    return *static_cast<file_output *>(job.native);
}

u32 open_file_job(print_job &job, const print_request &request) try {
    job.native = make_owned<file_output>().release();
    if (job.native == nullptr)
        return report_no_memory(print_name, sizeof(file_output));
    file_output &output = output_of(job);
    const u32 code = open_replacement(print_name, request.options->file_name, request.image,
                                      output.file, output.stream);
    if (is_error(code))
        return code;
    job.pdf.send = write_bytes;
    job.pdf.receiver = output.stream.get();
    return begin_pdf_job(job, request);
} catch (const std::exception &) {
    return report_no_memory(print_name, 0);
}

u32 close_file_job(print_job &job) {
    file_output &output = output_of(job);
    u32 code = end_pdf(job.pdf);
    if (!is_error(code))
        code = close_file(print_name, output.stream);
    if (is_error(code))
        return code;
    code = finish_replacement(print_name, output.file);
    output.file = {};
    return code;
}

void drop_file_job(print_job &job) {
    if (job.native == nullptr)
        return;
    file_output &output = output_of(job);
    output.stream.reset();
    discard_replacement(output.file);
    destroy_owned(&output);
}

u32 write_bytes(void *receiver, const u8 *data, std::size_t size) {
    if (std::fwrite(data, 1, size, static_cast<std::FILE *>(receiver)) == size)
        return success;
    return report(print_name, VIQ_ERR_SYSTEM, "Failed to write to file");
}

} // namespace

} // namespace viq
