// Notes on standard error: what a command has changed in a picture without being asked to.
#pragma once

#include <string>
#include <vector>

namespace tool {

// Prints "viq: note: FILE: TEXT".
void print_note(const std::string &file, const std::string &text);
void print_notes(const std::string &file, const std::vector<std::string> &texts);

} // namespace tool
