#include "tools/pipeline.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "tools/interrupts.h"
#include "tools/note.h"
#include "tools/progress_bar.h"
#include "tools/replace_file.h"
#include "tools/unpack_to_rgb24.h"
#include "tools/wavelet_file.h"

namespace tool {

namespace {

route route_of(const image &picture, std::initializer_list<uint16_t> formats,
               const std::string &name);
void run_pass(const pipeline &line, std::size_t step_count, const std::vector<image> &palettes,
              strip_sink sink);
strip_sink convert_with_palettes(const std::vector<step> &steps, const std::vector<image> &palettes,
                                 const std::string &name, strip_sink next);
strip_sink palette_sink(const palette_rule &rule, const std::string &name, image &palette);
void start_palette(uint32_t strip, const palette_rule &rule);
strip_sink file_sink(const file_kind &kind, const std::string &temporary, const std::string &path);

} // namespace

const picture_header &header_before_steps(const pipeline &line) {
    return line.stages.empty() ? line.source.header : line.stages.back().result;
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
    if (kind.code != VIQ_FILE_WAVELET) {
        replace_file(path, [&](const std::string &temporary) {
            run(line, kind.make_sink != nullptr ? kind.make_sink(temporary, path, coding)
                                                : file_sink(kind, temporary, path));
        });
        return;
    }
    // The wavelet encoder takes whole pictures.
    image converted = image(0);
    uint32_t picture = line.source.handle;
    if (line.source.kind != nullptr || !line.source.is_whole || !line.stages.empty() ||
        !line.steps.empty()) {
        converted = run_to_memory(line);
        picture = converted.handle;
    }
    replace_file(path, [&](const std::string &temporary) {
        write_wavelet(picture, header_before_steps(line).width, coding.wavelet, temporary, path);
    });
}

strip_sink convert_strips(const std::vector<step> &steps, const std::string &name,
                          strip_sink next) {
    static const std::vector<image> none;
    return convert_with_palettes(steps, none, name, std::move(next));
}

image run_to_memory(const pipeline &line) {
    const uint16_t format =
        line.steps.empty() ? header_before_steps(line).format : line.steps.back().to;
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

// Runs the stages and the first `step_count` steps over the whole picture.
void run_pass(const pipeline &line, std::size_t step_count, const std::vector<image> &palettes,
              strip_sink sink) {
    picture_source &source = line.source;
    start_reading(source, line.lines_per_strip);
    if (step_count != 0) {
        const auto end = line.steps.begin() + static_cast<std::ptrdiff_t>(step_count);
        sink = convert_with_palettes({line.steps.begin(), end}, palettes, source.name,
                                     std::move(sink));
    }
    for (std::size_t i = line.stages.size(); i-- > 0;)
        sink = line.stages[i].make(std::move(sink));
    if (source.is_whole && !line.stages.empty())
        sink = divide_into_strips(line.lines_per_strip, source.name, std::move(sink));
    const uint32_t height = source.header.height;
    progress_bar progress(height, source.header.width);
    notice_interrupts();
    try {
        for (uint32_t lines_done = 0; lines_done < height;) {
            if (is_interrupted())
                throw failure{source.name + ": interrupted"};
            read_strip(source);
            lines_done += VIQ_get_lines_this_strip(source.handle);
            sink.take(source.handle, lines_done >= height);
            progress.show(lines_done);
        }
    } catch (...) {
        // Readers, operations and writers keep state between strips; after a failure each one must
        // return to idle.
        close_picture(source);
        if (sink.abandon)
            sink.abandon(source.handle);
        discard_error_message();
        throw;
    }
}

strip_sink convert_with_palettes(const std::vector<step> &steps, const std::vector<image> &palettes,
                                 const std::string &name, strip_sink next) {
    struct conversion {
        std::vector<step> steps;
        std::vector<image> outputs;
        bool is_first = true;
    };
    const auto state =
        std::make_shared<conversion>(conversion{steps, std::vector<image>(steps.size())});
    const auto take = [state, &palettes, name, take_result = std::move(next.take)](uint32_t strip,
                                                                                   bool is_last) {
        uint32_t in = strip;
        for (std::size_t i = 0; i < state->steps.size(); ++i) {
            const step &current = state->steps[i];
            if (state->is_first && current.palette)
                check(VIQ_cmap_copy(palettes[i].handle, in), name);
            check(current.run(in, state->outputs[i].handle, VIQ_STRIP_NEXT), name);
            in = state->outputs[i].handle;
        }
        state->is_first = false;
        take_result(in, is_last);
    };
    const auto abandon = [state, abandon_next = std::move(next.abandon)](uint32_t strip) {
        uint32_t in = strip;
        for (std::size_t i = 0; i < state->steps.size(); ++i) {
            state->steps[i].run(in, state->outputs[i].handle, VIQ_STRIP_FINISH);
            in = state->outputs[i].handle;
        }
        if (abandon_next)
            abandon_next(in);
    };
    return {take, abandon};
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

strip_sink file_sink(const file_kind &kind, const std::string &temporary, const std::string &path) {
    const auto is_writing = std::make_shared<bool>(false);
    const auto write = [&kind, temporary, path, is_writing](uint32_t strip, bool is_last) {
        check(VIQ_image_set_outfilename(strip, temporary.c_str()), path);
        // TIFF files hold a colourmap of 256 entries.
        if (kind.code == VIQ_FILE_TIFF && format_of(strip) == VIQ_PALETTED)
            VIQ_image_set_parameter(strip, VIQ_NUM_COLOURS, 256);
        *is_writing = true;
        check(VIQ_image_write(strip, 0, kind.code, VIQ_STRIP_NEXT), path);
        *is_writing = !is_last;
    };
    const auto abandon = [&kind, is_writing](uint32_t strip) {
        if (*is_writing)
            VIQ_image_write(strip, 0, kind.code, VIQ_STRIP_FINISH);
    };
    return {write, abandon};
}

} // namespace

} // namespace tool
