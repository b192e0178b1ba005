#include "tools/nearest_name.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <vector>

namespace tool {

namespace {

bool same_letter(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
}

std::size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1); // distances of a prefix of `a` to those of `b`
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char c : a) {
        std::size_t diagonal = row[0]++;
        for (std::size_t n = 0; n < b.size(); ++n) {
            const std::size_t replaced = diagonal + (same_letter(c, b[n]) ? 0 : 1);
            diagonal = row[n + 1];
            row[n + 1] = std::min({replaced, row[n] + 1, row[n + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string nearest_name(std::string_view word, std::span<const char *const> names) {
    constexpr std::size_t most_edits = 3;
    const auto distance = [word](const char *name) { return edit_distance(word, name); };
    const char *nearest =
        *std::min_element(names.begin(), names.end(),
                          [&](const char *a, const char *b) { return distance(a) < distance(b); });
    return distance(nearest) <= most_edits ? nearest : "";
}

} // namespace tool
