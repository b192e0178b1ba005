#include "tools/note.h"

#include <cstdio>

namespace tool {

void print_note(const std::string &file, const std::string &text) {
    std::fprintf(stderr, "viq: note: %s: %s\n", file.c_str(), text.c_str());
}

void print_notes(const std::string &file, const std::vector<std::string> &texts) {
    for (const std::string &text : texts)
        print_note(file, text);
}

} // namespace tool
