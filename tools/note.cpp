#include "tools/note.h"

#include "tools/progress_bar.h"

namespace tool {

void print_note(const std::string &file, const std::string &text) {
    print_message("viq: note: " + file + ": " + text);
}

void print_notes(const std::string &file, const std::vector<std::string> &texts) {
    for (const std::string &text : texts)
        print_note(file, text);
}

} // namespace tool
