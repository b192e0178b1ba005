#include "tools/info.h"

#include <cmath>
#include <cstdio>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "tools/jpeg.h"
#include "tools/pipeline.h"
#include "tools/wavelet.h"

namespace tool {

namespace {

using json = nlohmann::ordered_json;

json describe(const std::string &file);
void print_line(const json &row);
void print_jpeg(const json &row);
void print_wavelet(const json &row);

} // namespace

int info(const info_options &options) {
    int status = 0;
    json rows = json::array();
    for (const std::string &file : options.files)
        try {
            rows.push_back(describe(file));
            if (!options.json)
                print_line(rows.back());
        } catch (const failure &stop) {
            std::fprintf(stderr, "viq: %s\n", stop.text.c_str());
            status = 2;
        }
    if (options.json)
        std::printf("%s\n", rows.dump(2, ' ', false, json::error_handler_t::replace).c_str());
    return status;
}

namespace {

json describe(const std::string &file) {
    const picture header = read_header(file);
    const u32 code = VIQ_image_find_file_format(file.c_str());
    check(code, file);
    json row = {{"file", file},
                {"type", kind_name(static_cast<u16>(code))},
                {"width", header.width},
                {"height", header.height},
                {"pixel_format", name_of(header.format)},
                {"bits_per_pixel", header.bits},
                {"bytes_per_line", header.bytes_per_line},
                {"colour", header.colour}};
    if (header.colours != 0)
        row["palette_colours"] = header.colours;
    if (code == VIQ_FILE_JPEG) {
        const jpeg_facts facts = facts_of(file);
        row["components"] = facts.sampling.size();
        row["sampling"] = facts.sampling;
        row["quantisation_tables"] = facts.quantisation_tables;
        row["huffman_tables"] = facts.huffman_tables;
        row["frames"] = facts.frames;
        row["quality_factor"] = std::round(facts.quality * 10) / 10;
    }
    if (code == VIQ_FILE_WAVELET) {
        const wavelet_facts facts = wavelet_facts_of(file);
        row["coding"] = facts.small ? "small" : "fast";
        row["component_bytes"] = facts.component_bytes;
        row["settings_bytes"] = facts.settings_bytes;
    }
    std::error_code none;
    row["file_bytes"] = std::filesystem::file_size(file, none);
    return row;
}

void print_line(const json &row) {
    std::string palette;
    if (row.contains("palette_colours"))
        palette = " (" + std::to_string(row["palette_colours"].get<int>()) + " colours, " +
                  (row["colour"].get<bool>() ? "colour" : "grey") + ")";
    std::printf("%s: %s, %u x %u, %s%s, %u bits per pixel, %llu bytes\n",
                row["file"].get<std::string>().c_str(), row["type"].get<std::string>().c_str(),
                row["width"].get<unsigned>(), row["height"].get<unsigned>(),
                row["pixel_format"].get<std::string>().c_str(), palette.c_str(),
                row["bits_per_pixel"].get<unsigned>(), row["file_bytes"].get<unsigned long long>());
    if (row.contains("frames"))
        print_jpeg(row);
    if (row.contains("coding"))
        print_wavelet(row);
}

void print_jpeg(const json &row) {
    std::string sampling;
    for (const auto &factors : row["sampling"])
        sampling += (sampling.empty() ? "" : " ") + factors.get<std::string>();
    std::printf("  components %s, %u quantisation tables, %u Huffman tables, frames %u, "
                "quality factor about %g\n",
                sampling.c_str(), row["quantisation_tables"].get<unsigned>(),
                row["huffman_tables"].get<unsigned>(), row["frames"].get<unsigned>(),
                row["quality_factor"].get<double>());
}

void print_wavelet(const json &row) {
    std::string bytes;
    for (const auto &component : row["component_bytes"])
        bytes += (bytes.empty() ? "" : " + ") + std::to_string(component.get<u32>());
    std::printf("  %s coding, components %s bytes, settings %u bytes\n",
                row["coding"].get<std::string>().c_str(), bytes.c_str(),
                row["settings_bytes"].get<unsigned>());
}

} // namespace

} // namespace tool
