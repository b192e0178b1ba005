// Paths of files as text. The tool's text is UTF-8, which std::filesystem::path does not expect of
// a std::string on Windows; on other systems the bytes stay as they are.
#pragma once

#include <filesystem>
#include <string>

namespace tool {

inline std::filesystem::path path_from(const std::string &text) {
    return std::u8string(text.begin(), text.end());
}

inline std::string text_of(const std::filesystem::path &path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

} // namespace tool
