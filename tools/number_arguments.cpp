#include "tools/number_arguments.h"

#include <charconv>

namespace tool {

std::vector<std::string> split(const std::string &text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text)
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

bool read_number(const std::string &text, int &number) {
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end;
}

void reject_argument(const std::string &argument, const char *form) {
    throw failure{"'" + argument + "' is not of the form " + form};
}

numbers read_numbers(const std::string &argument, std::size_t least, std::size_t most,
                     const char *form, char separator) {
    numbers found;
    for (const std::string &part : split(argument, separator)) {
        found.push_back(0);
        if (!read_number(part, found.back()))
            reject_argument(argument, form);
    }
    if (found.size() < least || found.size() > most)
        reject_argument(argument, form);
    return found;
}

} // namespace tool
