#include "tools/pipeline.h"

#include <algorithm>
#include <csignal>
#include <utility>

#include "tools/jpeg_file.h"
#include "tools/note.h"
#include "tools/progress_bar.h"
#include "tools/replace_file.h"
#include "tools/unpack_to_rgb24.h"
#include "tools/wavelet_file.h"

namespace tool {

namespace {

volatile std::sig_atomic_t interrupted = 0;

// The images of one pass over a picture: the source, and one after each step.
struct stage_images {
    uint32_t source = 0;
    std::vector<image> outputs;

    uint32_t input_of(std::size_t step) const {
        return step == 0 ? source : outputs[step - 1].handle;
    }
};

route route_of(const image &picture, std::initializer_list<uint16_t> formats,
               const std::string &name);
void run_pass(const pipeline &line, std::size_t step_count, const std::vector<image> &palettes,
              const strip_sink &sink);
void run_steps(const pipeline &line, const stage_images &stages, const std::vector<image> &palettes,
               bool is_first);
void abandon_pass(const pipeline &line, const stage_images &stages, const strip_sink &sink);
strip_sink palette_sink(const palette_rule &rule, const std::string &name, image &palette);
void start_palette(uint32_t strip, const palette_rule &rule);
strip_sink file_sink(const file_kind &kind, const std::string &temporary, const std::string &path,
                     bool &is_writing);

} // namespace

bool is_interrupted() {
    return interrupted != 0;
}

void run(const pipeline &line, const strip_sink &sink) {
    std::vector<image> palettes(line.steps.size());
    for (std::size_t i = 0; i < line.steps.size(); ++i)
        if (const auto &rule = line.steps[i].palette)
            run_pass(line, i, palettes, palette_sink(*rule, line.source.name, palettes[i]));
    run_pass(line, line.steps.size(), palettes, sink);
}

void run_to_file(const pipeline &line, const file_kind &kind, const std::string &path,
                 const coding_options &coding) {
    if (kind.make_sink != nullptr) {
        replace_file(path, [&](const std::string &temporary) {
            run(line, kind.make_sink(temporary, path, coding));
        });
        return;
    }
    if (kind.code != VIQ_FILE_JPEG && kind.code != VIQ_FILE_WAVELET) {
        replace_file(path, [&](const std::string &temporary) {
            bool is_writing = false;
            run(line, file_sink(kind, temporary, path, is_writing));
        });
        return;
    }
    // These encoders take whole pictures.
    image converted = image(0);
    uint32_t picture = line.source.handle;
    if (line.source.kind != nullptr || !line.steps.empty()) {
        converted = run_to_memory(line);
        picture = converted.handle;
    }
    replace_file(path, [&](const std::string &temporary) {
        if (kind.code == VIQ_FILE_JPEG)
            write_jpeg(picture, coding.quality, temporary, path);
        else
            write_wavelet(picture, line.source.header.width, coding.wavelet, temporary, path);
    });
}

image run_to_memory(const pipeline &line) {
    const uint16_t format = line.steps.empty() ? line.source.header.format : line.steps.back().to;
    if (format == VIQ_Y1 && line.source.kind != nullptr) {
        // The library keeps no bits in memory images.
        pipeline grey = line;
        grey.steps.push_back({VIQ_Y8, unpack_bits_to_grey, {}});
        return run_to_memory(grey);
    }
    image whole;
    const auto append = [&](uint32_t strip, bool) {
        check(VIQ_write_to_memory(strip, whole.handle, VIQ_STRIP_NEXT), line.source.name);
    };
    const auto abandon = [&](uint32_t strip) {
        VIQ_write_to_memory(strip, whole.handle, VIQ_STRIP_FINISH);
    };
    run(line, {append, abandon});
    return whole;
}

image read_whole(const std::string &file) {
    picture_source source = open_picture(file);
    return run_to_memory({source});
}

image read_as_rgb24(const std::string &file) {
    picture_source source = open_picture(file);
    route way = route_from(source.header);
    extend(way, VIQ_RGB24, file);
    return run_to_memory({source, way.steps});
}

image converted_to_any(image picture, std::initializer_list<uint16_t> formats,
                       const std::string &name) {
    const route way = route_of(picture, formats, name);
    picture_source source = picture_in_memory(picture.handle, name);
    return way.steps.empty() ? std::move(picture) : run_to_memory({source, way.steps});
}

image converted_with_notes(image picture, std::initializer_list<uint16_t> formats,
                           const std::string &name) {
    print_notes(name, route_of(picture, formats, name).notes);
    return converted_to_any(std::move(picture), formats, name);
}

namespace {

route route_of(const image &picture, std::initializer_list<uint16_t> formats,
               const std::string &name) {
    route way = route_from(header_of(picture.handle));
    way.is_whole = true;
    extend_to_any(way, {formats.begin(), formats.size()}, name);
    return way;
}

// Runs the first `step_count` steps over the whole picture.
void run_pass(const pipeline &line, std::size_t step_count, const std::vector<image> &palettes,
              const strip_sink &sink) {
    picture_source &source = line.source;
    start_reading(source, line.lines_per_strip);
    const stage_images stages = {source.handle, std::vector<image>(step_count)};
    const uint32_t height = VIQ_get_height(source.handle);
    progress_bar progress(height, source.header.width);
    std::signal(SIGINT, [](int) { interrupted = 1; });
    std::signal(SIGTERM, [](int) { interrupted = 1; });
    try {
        for (uint32_t lines_done = 0; lines_done < height;) {
            if (interrupted)
                throw failure{source.name + ": interrupted"};
            read_strip(source);
            const uint32_t lines = VIQ_get_lines_this_strip(source.handle);
            run_steps(line, stages, palettes, lines_done == 0);
            lines_done += lines;
            sink.take(stages.input_of(step_count), lines_done >= height);
            progress.show(lines_done);
        }
    } catch (...) {
        abandon_pass(line, stages, sink);
        throw;
    }
}

void run_steps(const pipeline &line, const stage_images &stages, const std::vector<image> &palettes,
               bool is_first) {
    for (std::size_t i = 0; i < stages.outputs.size(); ++i) {
        const step &current = line.steps[i];
        const uint32_t in = stages.input_of(i);
        if (is_first && current.palette)
            check(VIQ_cmap_copy(palettes[i].handle, in), line.source.name);
        check(current.run(in, stages.outputs[i].handle, VIQ_STRIP_NEXT), line.source.name);
    }
}

// Readers, converters and writers keep state between strips; after a failure each one must return
// to idle.
void abandon_pass(const pipeline &line, const stage_images &stages, const strip_sink &sink) {
    close_picture(line.source);
    const std::size_t step_count = stages.outputs.size();
    for (std::size_t i = 0; i < step_count; ++i)
        line.steps[i].run(stages.input_of(i), stages.outputs[i].handle, VIQ_STRIP_FINISH);
    if (sink.abandon)
        sink.abandon(stages.input_of(step_count));
    discard_error_message();
}

strip_sink palette_sink(const palette_rule &rule, const std::string &name, image &palette) {
    auto count = [&rule, &name, &palette, is_first = true](uint32_t strip, bool is_last) mutable {
        if (is_first)
            start_palette(strip, rule);
        is_first = false;
        check(VIQ_cmap_generate(strip, rule.colours, VIQ_STRIP_NEXT), name);
        if (is_last)
            check(VIQ_cmap_copy(strip, palette.handle), name);
    };
    const auto abandon = [&rule](uint32_t strip) {
        VIQ_cmap_generate(strip, rule.colours, VIQ_STRIP_FINISH);
    };
    return {std::move(count), abandon};
}

// Generation keeps the colours that the image already has, so the colours of the file are removed
// first.
void start_palette(uint32_t strip, const palette_rule &rule) {
    VIQ_image_set_parameter(strip, VIQ_NUM_COLOURS, 0);
    if (rule.base != VIQ_CMAP_BLACK)
        VIQ_cmap_set_type(strip, rule.base);
    VIQ_cmap_set_bits(strip, rule.red_bits, rule.green_bits, rule.blue_bits, rule.grey_bits);
}

strip_sink file_sink(const file_kind &kind, const std::string &temporary, const std::string &path,
                     bool &is_writing) {
    const auto write = [&](uint32_t strip, bool is_last) {
        check(VIQ_image_set_outfilename(strip, temporary.c_str()), path);
        // TIFF files hold a colourmap of 256 entries.
        if (kind.code == VIQ_FILE_TIFF && format_of(strip) == VIQ_PALETTED)
            VIQ_image_set_parameter(strip, VIQ_NUM_COLOURS, 256);
        is_writing = true;
        check(VIQ_image_write(strip, 0, kind.code, VIQ_STRIP_NEXT), path);
        is_writing = !is_last;
    };
    const auto abandon = [&](uint32_t strip) {
        if (is_writing)
            VIQ_image_write(strip, 0, kind.code, VIQ_STRIP_FINISH);
    };
    return {write, abandon};
}

} // namespace

} // namespace tool
