#include "tools/routes.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "tools/formats.h"
#include "tools/image.h"
#include "tools/unpack.h"

namespace tool {

namespace {

constexpr unsigned longest_chain = 5;

bool is_grey(const route &r);
bool find_chain(const route &r, std::vector<u16> &chain, u16 goal, unsigned steps);
void append(route &r, std::span<const u16> chain, const palette_rule &palette);
bool connected(u16 from, u16 to, bool colour);
bool probe(u16 from, u16 to, bool colour);
u32 converter_between(u16 from, u16 to);
u32 convert_strip(u16 from, u16 to, u32 in, u32 out, u16 command, u16 grey_bits = 16);

} // namespace

void extend(route &to, u16 format, const std::string &file, const palette_rule &palette) {
    if (format == to.format)
        return;
    for (unsigned length = 1; length <= longest_chain; ++length) {
        std::vector<u16> chain{to.format};
        if (find_chain(to, chain, format, length)) {
            append(to, chain, palette);
            return;
        }
    }
    throw failure{file + ": no conversion from " + name_of(to.format) + " to " + name_of(format)};
}

void extend_to_any(route &to, std::span<const u16> formats, const std::string &file) {
    if (std::find(formats.begin(), formats.end(), to.format) != formats.end())
        return;
    std::vector<u16> goals(formats.begin(), formats.end());
    if (is_grey(to))
        std::stable_partition(goals.begin(), goals.end(), [](u16 f) { return f == VIQ_Y8; });
    for (unsigned length = 1; length <= longest_chain; ++length)
        for (u16 goal : goals) {
            std::vector<u16> chain{to.format};
            if (find_chain(to, chain, goal, length)) {
                append(to, chain, {});
                return;
            }
        }
    throw failure{file + ": the output file cannot hold " + name_of(to.format)};
}

void extend_dithered(route &to, const std::string &file) {
    extend(to, VIQ_RGB24, file);
    to.steps.push_back({VIQ_PALETTED, VIQ_convert_to_RGB8_dither, {}});
    to.format = VIQ_PALETTED;
    to.colour = true;
}

bool library_converts(u16 from, u16 to, bool colour) {
    static std::map<std::tuple<u16, u16, bool>, bool> known;
    const auto [row, fresh] = known.try_emplace({from, to, colour}, false);
    if (fresh)
        row->second = probe(from, to, colour);
    return row->second;
}

namespace {

bool is_grey(const route &r) {
    return r.format == VIQ_Y8 || r.format == VIQ_Y16 || r.format == VIQ_Y1 ||
           (r.format == VIQ_PALETTED && !r.colour);
}

// Depth first to exactly the given number of steps, through formats in order of what they keep.
bool find_chain(const route &r, std::vector<u16> &chain, u16 goal, unsigned steps) {
    const u16 from = chain.back();
    const auto usable = [&](u16 to) {
        return std::find(chain.begin(), chain.end(), to) == chain.end() &&
               (r.whole || !r.converters.contains(converter_between(from, to))) &&
               connected(from, to, r.colour);
    };
    if (steps == 1) {
        if (usable(goal))
            chain.push_back(goal);
        return chain.back() == goal;
    }
    for (const format_name &next : formats()) {
        if (next.code == goal || !usable(next.code))
            continue;
        chain.push_back(next.code);
        if (find_chain(r, chain, goal, steps - 1))
            return true;
        chain.pop_back();
    }
    return false;
}

void append(route &r, std::span<const u16> chain, const palette_rule &palette) {
    for (std::size_t i = 1; i < chain.size(); ++i) {
        const u16 from = chain[i - 1];
        const u16 to = chain[i];
        step next{to, {}, {}};
        if (library_converts(from, to, r.colour))
            next.run = [from, to, bits = r.grey_bits](u32 in, u32 out, u16 command) {
                return convert_strip(from, to, in, out, command, bits);
            };
        else
            next.run = [from](u32 in, u32 out, u16 command) {
                return unpack_strip(from, in, out, command);
            };
        if (to == VIQ_PALETTED) {
            next.palette = palette;
            r.colour = from != VIQ_Y8 || palette.base == 1 || palette.base == 3;
        }
        r.converters.insert(converter_between(from, to));
        r.steps.push_back(std::move(next));
    }
    r.format = chain.back();
}

bool connected(u16 from, u16 to, bool colour) {
    return library_converts(from, to, colour) || (to == VIQ_RGB24 && can_unpack(from));
}

bool probe(u16 from, u16 to, bool colour) {
    image in;
    image out;
    if (from == VIQ_PALETTED)
        VIQ_cmap_set_type(in.handle, colour ? 3 : 2);
    u32 code = shape(in.handle, from, 2, 1, 1);
    if (!VIQ_IS_ERROR(code) && to == VIQ_PALETTED)
        code = VIQ_cmap_generate(in.handle, 2, VIQ_STRIP_NEXT);
    if (!VIQ_IS_ERROR(code)) {
        code = convert_strip(from, to, in.handle, out.handle, VIQ_STRIP_NEXT);
        if (VIQ_IS_ERROR(code))
            convert_strip(from, to, in.handle, out.handle, VIQ_STRIP_FINISH);
    }
    forget_report();
    return !VIQ_IS_ERROR(code) && format_of(out.handle) == to;
}

// Tells the library's converters apart: one for each output format, another one for each when the
// input is YUV 4:2:2, and one that dissolves colourmaps.
u32 converter_between(u16 from, u16 to) {
    if (from == VIQ_PALETTED && (to == VIQ_RGB24 || to == VIQ_Y8))
        return VIQ_RGB24_OR_Y8;
    return from == VIQ_YUV422 ? to + 0x10000u : to;
}

u32 convert_strip(u16 from, u16 to, u32 in, u32 out, u16 command, u16 grey_bits) {
    if (to == VIQ_CMYK32)
        return VIQ_convert_to_CMYK32(in, out, command);
    if (converter_between(from, to) == VIQ_RGB24_OR_Y8)
        return VIQ_image_convert(in, out, VIQ_RGB24_OR_Y8, 0, command);
    if (to == VIQ_Y16)
        VIQ_image_set_parameter(out, VIQ_DATA_WIDTH, grey_bits);
    return VIQ_image_convert(in, out, to, 0, command);
}

} // namespace

} // namespace tool
