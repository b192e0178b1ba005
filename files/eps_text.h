// Text input of the EPS reader: lines, words and hexadecimal data.
#pragma once

#include <cstdio>

#include "core/types.h"

namespace viq {

// A stream and the block that has been read from it; `at` to `end` is not consumed yet.
struct text_source {
    std::FILE *stream = nullptr;
    std::size_t at = 0;
    std::size_t end = 0;
    u8 block[64 * 1024];
};

// Starts at the beginning of the stream.
void start_text(text_source &text, std::FILE *stream);

constexpr int end_of_text = -1;

// The next character, which is not consumed.
int peek_text(text_source &text);

// Longer lines and words are truncated; the rest is skipped.
constexpr std::size_t longest_text = 255;

// Reads a line, converted to capitals, without its line end. False at the end of the text.
bool read_text_line(text_source &text, char (&line)[longest_text + 1]);

struct text_word {
    char text[longest_text + 1]; // in capitals
    bool is_name;                // after a slash
};

enum class text_result { found, end, broken };

// Reads the next word; the character after it is not consumed. White space and the delimiters
// ()<>[]{}/% separate words; comments are skipped. `broken`: the text ends within a word.
text_result read_word(text_source &text, text_word &word);

// Skips white space and the expected character; false if another character follows.
bool skip_expected(text_source &text, char expected);

// Reads bytes as pairs of digits, with white space anywhere; false at any other character.
bool read_hex(text_source &text, u8 *bytes, std::size_t count);

} // namespace viq
