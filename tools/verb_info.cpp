// viq info: what the headers of picture files contain.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/file_path.h"
#include "tools/frame_file.h"
#include "tools/jpeg_file.h"
#include "tools/json_output.h"
#include "tools/orientation.h"
#include "tools/picture_source.h"
#include "tools/pixel_format_table.h"
#include "tools/verbs.h"
#include "tools/wavelet_file.h"
#include "tools/workers.h"

namespace tool {

namespace {

struct info_options {
    std::vector<std::string> files;
    std::string type; // empty: by content
    uint32_t page = 1;
    std::string raw;    // the description of camera frames; empty: picture files
    std::string frames; // whose samples are described; empty: the first one
    bool json = false;
    unsigned jobs = 0; // 0: one for each processor
};

// Samples of 8 or 16 bits.
struct sample_range {
    uint32_t smallest = UINT32_MAX, largest = 0;
    double sum = 0;

    template <class Sample> void add(const Sample *samples, std::size_t count) {
        const auto [low, high] = std::minmax_element(samples, samples + count);
        smallest = std::min<uint32_t>(smallest, *low);
        largest = std::max<uint32_t>(largest, *high);
        sum += static_cast<double>(std::accumulate(samples, samples + count, uint64_t{0}));
    }
};

int info(const info_options &options);
json describe(const std::string &file, const info_options &options);
json describe_frames(const std::string &file, const info_options &options);
json describe_samples(const frame_file &file, uint64_t number);
void print_frames(const json &row);
unsigned stored_bits(const picture_source &source);
void add_jpeg_facts(json &row, const picture_source &source);
void add_wavelet_facts(json &row, const picture_source &source);
void print_rows(const json &row);
void print_reader(const json &row);
void print_jpeg(const json &row);
void print_wavelet(const json &row);

} // namespace

action declare_info(CLI::App &app) {
    const auto options = std::make_shared<info_options>();
    app.add_flag("--json", options->json,
                 "Print one JSON array with an object for each file, instead of text");
    app.add_option("--from", options->type, "Type of the files, such as tga")->type_name("TYPE");
    app.add_option("--page", options->page, "Page of TIFF files, counted from 1")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    declare_frames(app, options->raw, options->frames,
                   "With --raw: frames whose smallest, largest and mean samples are printed: N, "
                   "A..B, A.., ..B or all (default: 1)");
    declare_jobs(app, options->jobs);
    app.add_option("FILE", options->files, picture_help)->required();
    app.footer("Files that cannot be read are reported on standard error; the others are still "
               "printed, and the exit status is 2.");
    return [options] { return info(*options); };
}

namespace {

int info(const info_options &options) {
    if (options.raw.empty() && !options.frames.empty())
        throw failure{"--frames needs --raw"};
    int status = exit_done;
    json rows = json::array();
    std::vector<json> described(options.files.size());
    std::vector<std::string> failures(options.files.size());
    const std::size_t count = options.files.size();
    for_each_item(count, worker_count(options.jobs, count), [&](std::size_t n) {
        try {
            described[n] = options.raw.empty() ? describe(options.files[n], options)
                                               : describe_frames(options.files[n], options);
        } catch (const failure &stop) {
            failures[n] = stop.text;
        }
    });
    for (std::size_t n = 0; n < count; ++n) {
        if (!failures[n].empty()) {
            std::fprintf(stderr, "viq: %s\n", failures[n].c_str());
            status = exit_error;
        } else if (options.json) {
            rows.push_back(std::move(described[n]));
        } else {
            (options.raw.empty() ? print_rows : print_frames)(described[n]);
        }
    }
    if (options.json)
        print_json(rows);
    return status;
}

json describe(const std::string &file, const info_options &options) {
    const picture_source source = open_picture(file, {.type = options.type, .page = options.page});
    const picture_header &header = source.header;
    json row = {{"file", source.name},
                {"type", source.kind->name},
                {"width", header.width},
                {"height", header.height},
                {"pixel_format", format_name(source.stored_format)},
                {"bits_per_pixel", stored_bits(source)},
                {"bytes_per_line", header.bytes_per_line},
                {"colour", header.colour},
                {"reader", source.reader}};
    if (header.palette_colours != 0)
        row["palette_colours"] = header.palette_colours;
    if (source.orientation != upright)
        row["orientation"] = source.orientation;
    if (source.pages > 1)
        row["pages"] = source.pages;
    if (!source.notes.empty())
        row["notes"] = source.notes;
    if (source.coded.handle != 0)
        add_jpeg_facts(row, source);
    if (source.kind->code == VIQ_FILE_WAVELET)
        add_wavelet_facts(row, source);
    std::error_code ignored;
    row["file_bytes"] = std::filesystem::file_size(path_from(source.input.path), ignored);
    return row;
}

json describe_frames(const std::string &file, const info_options &options) {
    const frame_file frames = open_frames(file, parse_frame_format(options.raw));
    const frame_format &format = frames.format;
    json row = {{"file", frames.name},
                {"layout", format.layout.name},
                {"width", format.width},
                {"height", format.height},
                {"bits_per_pixel", format.layout.bits_per_pixel},
                {"frame_bytes", format.bytes},
                {"frames", frames.frames},
                {"rest_bytes", frames.rest_bytes}};
    if (format.phase != 0)
        row["mosaic"] = phase_name(format.phase);
    const frame_range range = parse_frames(options.frames.empty() ? "1" : options.frames, frames);
    row["samples"] = json::array();
    for (uint64_t n = range.first; n <= range.last; ++n)
        row["samples"].push_back(describe_samples(frames, n));
    return row;
}

// Samples of all colours together, with the values of the sensor.
json describe_samples(const frame_file &file, uint64_t number) {
    const image frame = read_frame(file, number);
    const pixels from = pixels_of(frame.handle);
    const uint16_t format = format_of(frame.handle);
    const bool is_wide = format == VIQ_Y16 || format == VIQ_RGB16;
    const std::size_t bytes = std::size_t{from.width} * bytes_per_pixel(format);
    const std::size_t count = is_wide ? bytes / sizeof(uint16_t) : bytes;
    sample_range range;
    for (uint32_t y = 0; y < from.lines; ++y) {
        const uint8_t *line = from.line(y);
        if (is_wide)
            range.add(reinterpret_cast<const uint16_t *>(line), count);
        else
            range.add(line, count);
    }
    return {
        {"frame", number},
        {"smallest", range.smallest},
        {"largest", range.largest},
        {"mean", std::round(range.sum * 100 / (static_cast<double>(count) * from.lines)) / 100}};
}

// Of a pixel in the file, which the picture in memory can have in another format.
unsigned stored_bits(const picture_source &source) {
    return source.stored_format == source.header.format ? source.header.bits_per_pixel
                                                        : 8 * bytes_per_pixel(source.stored_format);
}

void add_jpeg_facts(json &row, const picture_source &source) {
    const jpeg_facts facts = facts_of(source.coded);
    row["components"] = facts.sampling.size();
    row["sampling"] = facts.sampling;
    row["quantisation_tables"] = facts.quantisation_tables;
    row["huffman_tables"] = facts.huffman_tables;
    row["frames"] = facts.frames;
    row["quality_factor"] = std::round(facts.quality * 10) / 10;
}

void add_wavelet_facts(json &row, const picture_source &source) {
    const wavelet_sizes sizes = read_wavelet_sizes(source.input.path);
    row["coding"] = source.small_wavelet ? "small" : "fast";
    row["component_bytes"] = sizes.component_bytes;
    row["settings_bytes"] = sizes.settings_bytes;
}

void print_rows(const json &row) {
    std::string palette;
    if (row.contains("palette_colours"))
        palette = " (" + std::to_string(row["palette_colours"].get<int>()) + " colours, " +
                  (row["colour"].get<bool>() ? "colour" : "grey") + ")";
    std::printf("%s: %s, %u x %u, %s%s, %u bits per pixel, %llu bytes\n",
                row["file"].get<std::string>().c_str(), row["type"].get<std::string>().c_str(),
                row["width"].get<unsigned>(), row["height"].get<unsigned>(),
                row["pixel_format"].get<std::string>().c_str(), palette.c_str(),
                row["bits_per_pixel"].get<unsigned>(), row["file_bytes"].get<unsigned long long>());
    print_reader(row);
    if (row.contains("frames"))
        print_jpeg(row);
    if (row.contains("coding"))
        print_wavelet(row);
}

void print_frames(const json &row) {
    const std::string mosaic =
        row.contains("mosaic") ? "mosaic " + row["mosaic"].get<std::string>() + ", " : "";
    std::printf("%s: %s, %u x %u, %s%u bits per pixel, %llu bytes per frame, %llu frames\n",
                row["file"].get<std::string>().c_str(), row["layout"].get<std::string>().c_str(),
                row["width"].get<unsigned>(), row["height"].get<unsigned>(), mosaic.c_str(),
                row["bits_per_pixel"].get<unsigned>(), row["frame_bytes"].get<unsigned long long>(),
                row["frames"].get<unsigned long long>());
    if (const auto rest = row["rest_bytes"].get<unsigned long long>(); rest != 0)
        std::printf("  the last %llu bytes are not a whole frame\n", rest);
    for (const auto &frame : row["samples"])
        std::printf("  frame %llu: samples %u to %u, mean %.2f\n",
                    frame["frame"].get<unsigned long long>(), frame["smallest"].get<unsigned>(),
                    frame["largest"].get<unsigned>(), frame["mean"].get<double>());
}

void print_reader(const json &row) {
    if (row["reader"] != "viq")
        std::printf("  read by %s\n", row["reader"].get<std::string>().c_str());
    if (row.contains("pages"))
        std::printf("  %u pages\n", row["pages"].get<unsigned>());
    if (row.contains("orientation"))
        std::printf("  orientation %u: to be %s\n", row["orientation"].get<unsigned>(),
                    orientation_text(row["orientation"].get<uint16_t>()).c_str());
    if (row.contains("notes"))
        for (const auto &note : row["notes"])
            std::printf("  %s\n", note.get<std::string>().c_str());
}

void print_jpeg(const json &row) {
    std::string sampling;
    for (const auto &factors : row["sampling"])
        sampling += (sampling.empty() ? "" : " ") + factors.get<std::string>();
    std::printf(
        "  sampling of components %s, %u quantisation tables, %u Huffman tables, %u frames, "
        "quality factor about %g\n",
        sampling.c_str(), row["quantisation_tables"].get<unsigned>(),
        row["huffman_tables"].get<unsigned>(), row["frames"].get<unsigned>(),
        row["quality_factor"].get<double>());
}

void print_wavelet(const json &row) {
    std::string bytes;
    for (const auto &component : row["component_bytes"])
        bytes += (bytes.empty() ? "" : " + ") + std::to_string(component.get<uint32_t>());
    std::printf("  %s coding, components %s bytes, settings %u bytes\n",
                row["coding"].get<std::string>().c_str(), bytes.c_str(),
                row["settings_bytes"].get<unsigned>());
}

} // namespace

} // namespace tool
