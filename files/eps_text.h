// The text of a PostScript file as the EPS reader takes it: by lines, by words, as hexadecimal.
#pragma once

#include <cstdio>

#include "core/types.h"

namespace viq {

// What has been read ahead of a stream.
struct text_source {
    std::FILE *stream = nullptr;
    std::size_t at = 0;
    std::size_t end = 0;
    u8 block[64 * 1024];
};

// Starts at the beginning of the stream.
void start_text(text_source &text, std::FILE *stream);

constexpr int end_of_text = -1;

// The next character, which stays.
int peek_text(text_source &text);

// Longer lines and words are cut; what is cut off is passed over.
constexpr std::size_t longest_text = 255;

// A line in capitals, without its end. False at the end of the text.
bool read_text_line(text_source &text, char (&line)[longest_text + 1]);

struct text_word {
    char text[longest_text + 1]; // in capitals
    bool is_name;                // after a slash
};

enum class text_result { found, end, broken };

// The next word, its end left in the text: white space and the delimiters ()<>[]{}/% separate
// words, comments are passed over. Broken is a word that the end of the text cuts.
text_result read_word(text_source &text, text_word &word);

// Skips white space, then the given character; false when another one stands there.
bool pass_over(text_source &text, char expected);

// Bytes out of pairs of digits, with white space anywhere; false at anything else.
bool read_hex(text_source &text, u8 *bytes, std::size_t count);

} // namespace viq
