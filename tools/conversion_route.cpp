#include "tools/conversion_route.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <tuple>

#include "tools/image_handle.h"
#include "tools/pixel_format_table.h"
#include "tools/unpack_to_rgb24.h"
#include "tools/upper_left_part.h"

namespace tool {

namespace {

constexpr unsigned most_steps = 5;

using chain_of_formats = std::vector<uint16_t>; // begins with the format of the route

bool is_grey(const route &way);
int rank_in(const route &way, uint16_t format);
chain_of_formats best_chain(const route &way, std::span<const uint16_t> goals);
bool find_chain(const route &way, chain_of_formats &chain, uint16_t goal, unsigned steps, int rank);
std::string loss_at_end(const route &way, uint16_t goal);
std::string loss_between(const route &way, const chain_of_formats &chain);
void append(route &way, std::span<const uint16_t> chain, const palette_rule &palette);
bool connected(uint16_t from, uint16_t to, bool colour);
bool try_conversion(uint16_t from, uint16_t to, bool colour);
uint32_t converter_between(uint16_t from, uint16_t to);
uint32_t convert_strip(uint16_t from, uint16_t to, uint32_t in, uint32_t out, uint16_t command,
                       uint16_t grey_data_width = 16);

} // namespace

route route_from(const picture_header &start) {
    route way{};
    way.format = start.format;
    way.width = start.width;
    way.colour = start.colour;
    return way;
}

void extend(route &way, uint16_t format, const std::string &file, const palette_rule &palette) {
    if (format == way.format)
        return;
    const chain_of_formats chain = best_chain(way, {&format, 1});
    if (chain.empty())
        throw failure{file + ": no conversion from " + format_name(way.format) + " to " +
                      format_name(format)};
    if (const std::string loss = loss_between(way, chain); !loss.empty())
        way.notes.push_back(loss);
    append(way, chain, palette);
}

void extend_to_any(route &way, std::span<const uint16_t> formats, const std::string &file) {
    if (std::find(formats.begin(), formats.end(), way.format) != formats.end())
        return;
    std::vector<uint16_t> goals(formats.begin(), formats.end());
    if (is_grey(way))
        std::stable_partition(goals.begin(), goals.end(), [](uint16_t f) { return f == VIQ_Y8; });
    const chain_of_formats chain = best_chain(way, goals);
    if (chain.empty())
        throw failure{file + ": the output file cannot hold " + format_name(way.format) +
                      (formats[0] == VIQ_Y1 ? "; --bilevel converts to black and white" : "")};
    std::string loss = loss_at_end(way, chain.back());
    if (loss.empty())
        loss = loss_between(way, chain);
    if (!loss.empty())
        way.notes.push_back(loss);
    append(way, chain, {});
}

void extend_dithered(route &way, const std::string &file) {
    extend(way, VIQ_RGB24, file);
    way.steps.push_back({VIQ_PALETTED, VIQ_convert_to_RGB8_dither, {}});
    way.format = VIQ_PALETTED;
    way.colour = true;
}

void restore_width(route &way) {
    if (way.width % 2 == 0)
        return;
    way.steps.push_back({way.format,
                         [width = way.width](uint32_t in, uint32_t out, uint16_t command) {
                             return crop_strip(width, in, out, command);
                         },
                         {}});
}

// All threads share the answers: on Windows no object of a thread may have a destructor.
bool library_converts(uint16_t from, uint16_t to, bool colour) {
    static std::map<std::tuple<uint16_t, uint16_t, bool>, bool> known;
    static std::mutex lock;
    const std::lock_guard guard(lock);
    const std::tuple key(from, to, colour);
    if (!known.contains(key))
        known.emplace(key, try_conversion(from, to, colour));
    return known.at(key);
}

namespace {

bool is_grey(const route &way) {
    return is_grey_format(way.format) || (way.format == VIQ_PALETTED && !way.colour);
}

int rank_in(const route &way, uint16_t format) {
    return rank_of(format, !is_grey(way));
}

// A chain preserves as much as the format in it that preserves least. Empty if there is no chain.
chain_of_formats best_chain(const route &way, std::span<const uint16_t> goals) {
    constexpr int highest_rank = 9;
    for (int rank = highest_rank; rank >= 0; --rank)
        for (unsigned count = 1; count <= most_steps; ++count)
            for (const uint16_t goal : goals) {
                chain_of_formats chain{way.format};
                if (rank_in(way, goal) >= rank && find_chain(way, chain, goal, count, rank))
                    return chain;
            }
    return {};
}

// Depth-first search for a chain of exactly `steps` steps that ends at the goal and contains no
// format below the rank.
bool find_chain(const route &way, chain_of_formats &chain, uint16_t goal, unsigned steps,
                int rank) {
    const uint16_t from = chain.back();
    const auto usable = [&](uint16_t to) {
        return std::find(chain.begin(), chain.end(), to) == chain.end() &&
               (way.is_whole || !way.used_converters.contains(converter_between(from, to))) &&
               connected(from, to, way.colour);
    };
    if (steps == 1) {
        if (usable(goal))
            chain.push_back(goal);
        return chain.back() == goal;
    }
    for (const pixel_format &next : pixel_formats()) {
        if (next.code == goal || rank_in(way, next.code) < rank || !usable(next.code))
            continue;
        chain.push_back(next.code);
        if (find_chain(way, chain, goal, steps - 1, rank))
            return true;
        chain.pop_back();
    }
    return false;
}

// What a format that was not asked for loses. Below the rank of YUV 4:2:2, colours are lost.
std::string loss_at_end(const route &way, uint16_t goal) {
    const int before = rank_in(way, way.format);
    const int after = rank_in(way, goal);
    if (after >= before)
        return "";
    if (!is_grey(way) && is_grey_format(goal))
        return "colour is lost: the output holds only " + format_name(goal);
    if (way.format == VIQ_Y16)
        return "16-bit grey is reduced to 8 bits";
    if (after < rank_of(VIQ_YUV422, !is_grey(way)) || goal == VIQ_Y1)
        return format_name(way.format) + " is reduced to " + format_name(goal);
    return "";
}

// What an intermediate format loses that neither end does.
std::string loss_between(const route &way, const chain_of_formats &chain) {
    const int ends = std::min(rank_in(way, chain.front()), rank_in(way, chain.back()));
    for (std::size_t n = 1; n + 1 < chain.size(); ++n)
        if (rank_in(way, chain[n]) < std::min(ends, rank_of(VIQ_YUV422, !is_grey(way))))
            return "colours are reduced: there is a conversion to " + format_name(chain.back()) +
                   " from " + format_name(chain[n]) + " only";
    return "";
}

void append(route &way, std::span<const uint16_t> chain, const palette_rule &palette) {
    for (std::size_t i = 1; i < chain.size(); ++i) {
        const uint16_t from = chain[i - 1];
        const uint16_t to = chain[i];
        step next{to, {}, {}};
        if (from == VIQ_Y1 && to == VIQ_Y8)
            next.run = unpack_bits_to_grey;
        else if (library_converts(from, to, way.colour))
            next.run = [from, to, width = way.grey_data_width](uint32_t in, uint32_t out,
                                                               uint16_t command) {
                return convert_strip(from, to, in, out, command, width);
            };
        else
            next.run = [from](uint32_t in, uint32_t out, uint16_t command) {
                return unpack_strip(from, in, out, command);
            };
        if (to == VIQ_PALETTED) {
            next.palette = palette;
            way.colour =
                from != VIQ_Y8 || palette.base == VIQ_CMAP_NAMED || palette.base == VIQ_CMAP_CUBE;
        }
        if (!way.used_converters.insert(converter_between(from, to)).second)
            way.repeats_converter = true;
        way.steps.push_back(std::move(next));
        way.format = to;
        if (from == VIQ_YUV422)
            restore_width(way);
    }
}

bool connected(uint16_t from, uint16_t to, bool colour) {
    return library_converts(from, to, colour) || (to == VIQ_RGB24 && can_unpack(from)) ||
           (from == VIQ_Y1 && to == VIQ_Y8);
}

bool try_conversion(uint16_t from, uint16_t to, bool colour) {
    constexpr uint32_t width = 2; // one pair of YUV 4:2:2
    constexpr uint16_t colours = 2;
    image in;
    image out;
    if (from == VIQ_PALETTED)
        VIQ_cmap_set_type(in.handle, colour ? VIQ_CMAP_CUBE : VIQ_CMAP_GREY);
    uint32_t code = set_shape(in.handle, from, width, 1, 1);
    if (!VIQ_IS_ERROR(code) && to == VIQ_PALETTED)
        code = VIQ_cmap_generate(in.handle, colours, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(code)) {
        code = convert_strip(from, to, in.handle, out.handle, VIQ_STRIP_NEXT);
        if (VIQ_IS_ERROR(code))
            convert_strip(from, to, in.handle, out.handle, VIQ_STRIP_FINISH);
    }
    // A converter that is missed because memory is short would change the route and the result.
    if (is_memory_error(code))
        check(code, "viq");
    discard_error_message();
    return !VIQ_IS_ERROR(code) && format_of(out.handle) == to;
}

// Identifies the converter of the library that keeps the state of a conversion. There is one for
// each output format, a second one for each if the input is YUV 4:2:2, and one from paletted
// pictures to RGB24 and Y8.
uint32_t converter_between(uint16_t from, uint16_t to) {
    constexpr uint32_t yuv_input = 0x10000; // above all format codes
    if (from == VIQ_PALETTED && (to == VIQ_RGB24 || to == VIQ_Y8))
        return VIQ_RGB24_OR_Y8;
    return from == VIQ_YUV422 ? yuv_input + to : to;
}

uint32_t convert_strip(uint16_t from, uint16_t to, uint32_t in, uint32_t out, uint16_t command,
                       uint16_t grey_data_width) {
    if (to == VIQ_CMYK32)
        return VIQ_convert_to_CMYK32(in, out, command);
    if (converter_between(from, to) == VIQ_RGB24_OR_Y8)
        return VIQ_image_convert(in, out, VIQ_RGB24_OR_Y8, 0, command);
    if (to == VIQ_Y16)
        VIQ_image_set_parameter(out, VIQ_DATA_WIDTH, grey_data_width);
    return VIQ_image_convert(in, out, to, 0, command);
}

} // namespace

} // namespace tool
