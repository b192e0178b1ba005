#include "tools/pipeline.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>

#include "tools/jpeg.h"
#include "tools/progress.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

volatile std::sig_atomic_t interrupted = 0;

void open_source(u32 handle, const std::string &file, bool packed = false);
void use_whole_colourmap(u32 strip);
strip_sink palette_sink(const palette_rule &rule, const std::string &file, image &palette);
void pump(const pipeline &line, std::size_t steps, const std::vector<image> &palettes,
          const strip_sink &sink);
void start_palette(u32 strip, const palette_rule &rule);
fs::path place_of(const std::string &path);
bool is_special(const fs::path &path);
fs::path unused_name_beside(const fs::path &path);

} // namespace

picture picture_of(u32 handle) {
    const u16 format = format_of(handle);
    return {VIQ_get_width(handle),
            VIQ_get_height(handle),
            format,
            VIQ_get_depth(handle),
            static_cast<u16>(
                format == VIQ_PALETTED ? VIQ_image_get_parameter(handle, VIQ_NUM_COLOURS) : 0),
            VIQ_image_is_colour(handle) == 1,
            VIQ_get_bytes_per_line(handle)};
}

picture read_header(const std::string &file) {
    if (is_jpeg(file))
        return jpeg_header(file);
    if (is_wavelet(file))
        return picture_of(read_wavelet(file).handle);
    image header;
    open_source(header.handle, file);
    check(VIQ_image_read(header.handle, 0, VIQ_STRIP_FINISH), file);
    return picture_of(header.handle);
}

void run(const pipeline &given, const strip_sink &sink) {
    pipeline line = given;
    image decoded;
    if (line.held == 0 && is_wavelet(line.file)) {
        decoded = read_wavelet(line.file);
        line.held = decoded.handle;
    }
    std::vector<image> palettes(line.steps.size());
    for (std::size_t i = 0; i < line.steps.size(); ++i)
        if (const auto &rule = line.steps[i].palette)
            pump(line, i, palettes, palette_sink(*rule, line.file, palettes[i]));
    pump(line, line.steps.size(), palettes, sink);
}

void run_to_file(const pipeline &line, const file_kind &kind, const std::string &path,
                 const coding_options &how) {
    const bool jpeg = kind.code == VIQ_FILE_JPEG;
    const bool wavelet = kind.code == VIQ_FILE_WAVELET;
    // The coders take whole pictures.
    if ((jpeg || wavelet) && (line.held == 0 || !line.steps.empty())) {
        const image whole = run_to_memory(line);
        run_to_file({line.file, whole.handle, {}, line.lines}, kind, path, how);
        return;
    }
    put_in_place(path, [&](const std::string &draft) {
        bool open = false;
        const auto write = [&](u32 strip, bool last) {
            if (jpeg)
                return write_jpeg(strip, how.quality, draft, path);
            if (wavelet)
                return write_wavelet(strip, how.wavelet, draft, path);
            check(VIQ_image_set_outfilename(strip, draft.c_str()), path);
            if (kind.code == VIQ_FILE_TIFF)
                use_whole_colourmap(strip);
            open = true;
            check(VIQ_image_write(strip, 0, kind.code, VIQ_STRIP_NEXT), path);
            open = !last;
        };
        const auto abandon = [&](u32 strip) {
            if (open)
                VIQ_image_write(strip, 0, kind.code, VIQ_STRIP_FINISH);
        };
        pipeline whole = line;
        whole.packed = line.packed || kind.packed;
        run(whole, {write, abandon});
    });
}

void put_in_place(const std::string &path,
                  const std::function<void(const std::string &draft)> &write) {
    const fs::path place = place_of(path);
    const bool direct = is_special(place);
    const fs::path draft = direct ? place : unused_name_beside(place);
    std::error_code trouble;
    try {
        write(draft.string());
        if (!direct)
            fs::rename(draft, place, trouble);
        if (trouble)
            throw failure{path + ": " + trouble.message()};
    } catch (...) {
        if (!direct)
            fs::remove(draft, trouble);
        throw;
    }
}

image run_to_memory(const pipeline &line) {
    image whole;
    const auto gather = [&](u32 strip, bool) {
        check(VIQ_write_to_memory(strip, whole.handle, VIQ_STRIP_NEXT), line.file);
    };
    const auto abandon = [&](u32 strip) {
        VIQ_write_to_memory(strip, whole.handle, VIQ_STRIP_FINISH);
    };
    run(line, {gather, abandon});
    return whole;
}

image as_rgb24(const std::string &file) {
    route r = route_from(read_header(file));
    extend(r, VIQ_RGB24, file);
    return run_to_memory({file, 0, r.steps});
}

route route_from(const picture &start) {
    route from{};
    from.format = start.format;
    from.colour = start.colour;
    return from;
}

namespace {

// The header alone arrives when both the height and the lines of a strip are 0.
void open_source(u32 handle, const std::string &file, bool packed) {
    check(VIQ_image_set_infilename(handle, file.c_str()), file);
    const u32 kind = VIQ_image_find_file_format(file.c_str());
    if (packed || is_packed(static_cast<u16>(kind)))
        VIQ_image_set_parameter(handle, VIQ_LINE_ALIGNMENT, 1);
    VIQ_image_set_parameter(handle, VIQ_HEIGHT, 0);
    VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, 0);
    check(VIQ_image_read(handle, 0, VIQ_STRIP_NEXT), file);
    // Such files give the index of the last colour as their number.
    if (kind == VIQ_FILE_EPS && format_of(handle) == VIQ_PALETTED)
        VIQ_image_set_parameter(handle, VIQ_NUM_COLOURS,
                                VIQ_image_get_parameter(handle, VIQ_NUM_COLOURS) + 1);
}

// TIFF files hold a full colourmap.
void use_whole_colourmap(u32 strip) {
    if (format_of(strip) == VIQ_PALETTED)
        VIQ_image_set_parameter(strip, VIQ_NUM_COLOURS, 256);
}

strip_sink palette_sink(const palette_rule &rule, const std::string &file, image &palette) {
    auto count = [&rule, &file, &palette, fresh = true](u32 strip, bool last) mutable {
        if (fresh)
            start_palette(strip, rule);
        fresh = false;
        check(VIQ_cmap_generate(strip, rule.colours, VIQ_STRIP_NEXT), file);
        if (last)
            check(VIQ_cmap_copy(strip, palette.handle), file);
    };
    const auto abandon = [&rule](u32 strip) {
        VIQ_cmap_generate(strip, rule.colours, VIQ_STRIP_FINISH);
    };
    return {std::move(count), abandon};
}

// Generation adds to the colours that an image has, so those of the file go first.
void start_palette(u32 strip, const palette_rule &rule) {
    VIQ_image_set_parameter(strip, VIQ_NUM_COLOURS, 0);
    if (rule.base != 0)
        VIQ_cmap_set_type(strip, rule.base);
    VIQ_cmap_set_bits(strip, rule.red, rule.green, rule.blue, rule.grey);
}

void pump(const pipeline &line, std::size_t steps, const std::vector<image> &palettes,
          const strip_sink &sink) {
    std::vector<image> stages(steps + 1);
    // A JPEG picture is decoded as a whole.
    const bool held = line.held != 0 || is_jpeg(line.file);
    if (held && line.held == 0)
        stages[0] = decode_jpeg(line.file);
    const u32 source = line.held != 0 ? line.held : stages[0].handle;
    if (!held)
        open_source(source, line.file, line.packed);
    const u32 height = VIQ_get_height(source);
    if (!held)
        VIQ_image_set_parameter(source, VIQ_LINES_PER_STRIP, std::min(line.lines, height));
    progress bar(height);
    const auto input_of = [&](std::size_t i) { return i == 0 ? source : stages[i].handle; };
    std::signal(SIGINT, [](int) { interrupted = 1; });
    std::signal(SIGTERM, [](int) { interrupted = 1; });
    try {
        for (u32 done = 0; done < height;) {
            if (interrupted)
                throw failure{line.file + ": interrupted"};
            if (!held)
                check(VIQ_image_read(source, 0, VIQ_STRIP_NEXT), line.file);
            const u32 lines = VIQ_get_lines_this_strip(source);
            if (lines == 0)
                throw failure{line.file + ": the picture ends early"};
            for (std::size_t i = 0; i < steps; ++i) {
                if (done == 0 && line.steps[i].palette)
                    check(VIQ_cmap_copy(palettes[i].handle, input_of(i)), line.file);
                check(line.steps[i].run(input_of(i), stages[i + 1].handle, VIQ_STRIP_NEXT),
                      line.file);
            }
            done += lines;
            sink.take(input_of(steps), done >= height);
            bar.show(done);
        }
    } catch (...) {
        // Readers, converters and writers keep their place between calls: all return to idle.
        if (!held)
            VIQ_image_read(source, 0, VIQ_STRIP_FINISH);
        for (std::size_t i = 0; i < steps; ++i)
            line.steps[i].run(input_of(i), stages[i + 1].handle, VIQ_STRIP_FINISH);
        if (sink.abandon)
            sink.abandon(input_of(steps));
        forget_report();
        throw;
    }
}

// A symbolic link is written through, not replaced.
fs::path place_of(const std::string &path) {
    std::error_code none;
    const fs::path place(path);
    return fs::is_symlink(place, none) && fs::exists(place, none) ? fs::canonical(place) : place;
}

// Devices and pipes cannot be replaced by a finished file.
bool is_special(const fs::path &path) {
    std::error_code none;
    const fs::file_status status = fs::status(path, none);
    return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

fs::path unused_name_beside(const fs::path &path) {
    std::error_code none;
    auto number = std::chrono::steady_clock::now().time_since_epoch().count() % 100000;
    fs::path name;
    do
        name = fs::path(path).replace_filename(".v" + std::to_string(number++));
    while (fs::exists(name, none));
    return name;
}

} // namespace

} // namespace tool
