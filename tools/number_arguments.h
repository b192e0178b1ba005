// Numbers in the arguments of the command line.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/image_handle.h"

namespace tool {

using numbers = std::vector<int>;

// Empty parts are kept.
std::vector<std::string> split(const std::string &text, char separator = ',');

// False if the text is not a decimal number.
bool read_number(const std::string &text, int &number);

// Throws a failure that gives the expected form.
[[noreturn]] void reject_argument(const std::string &argument, const char *form);

// Rejects an argument that does not have from `least` to `most` numbers.
numbers read_numbers(const std::string &argument, std::size_t least, std::size_t most,
                     const char *form, char separator = ',');

template <class Number> Number checked_cast(int value) {
    if (!std::in_range<Number>(value))
        throw failure{"'" + std::to_string(value) + "' is out of range"};
    return static_cast<Number>(value);
}

} // namespace tool
