#include "files/eps_text.h"

#include <array>
#include <cstring>

namespace viq {

namespace {

constexpr u8 no_digit = 0x80;
constexpr u8 blank = 0xC0;

using digit_table = std::array<u8, 256>;

constexpr digit_table make_digits() {
    digit_table table = {};
    for (u32 c = 0; c < table.size(); ++c) {
        u32 value = no_digit;
        if (c >= '0' && c <= '9')
            value = c - '0';
        else if (c >= 'a' && c <= 'f')
            value = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            value = c - 'A' + 10;
        else if (c == ' ' || (c >= '\t' && c <= '\r') || c == 0)
            value = blank;
        table[c] = static_cast<u8>(value);
    }
    return table;
}

constexpr digit_table digits = make_digits();

bool is_blank(int c) {
    return c >= 0 && digits[static_cast<u8>(c)] == blank;
}

bool is_delimiter(int c) {
    return c > 0 && std::strchr("()<>[]{}/%", c) != nullptr;
}

char capital(int c) {
    return static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
}

int take(text_source &text);
void skip_blanks(text_source &text);
void skip_line(text_source &text);
int take_digit(text_source &text);

} // namespace

void start_text(text_source &text, std::FILE *stream) {
    text.stream = stream;
    text.at = text.end = 0;
}

int peek_text(text_source &text) {
    if (text.at == text.end) {
        text.at = 0;
        text.end = std::fread(text.block, 1, sizeof text.block, text.stream);
    }
    return text.at < text.end ? text.block[text.at] : end_of_text;
}

bool read_text_line(text_source &text, char (&line)[longest_text + 1]) {
    std::size_t size = 0;
    if (peek_text(text) == end_of_text)
        return false;
    for (int c = take(text); c != '\n' && c != end_of_text; c = take(text))
        if (size < longest_text && c != '\0' && c != '\r')
            line[size++] = capital(c);
    line[size] = '\0';
    return true;
}

text_result read_word(text_source &text, text_word &word) {
    word = {};
    for (int c = peek_text(text); is_blank(c) || is_delimiter(c); c = peek_text(text)) {
        word.is_name = c == '/';
        if (c == '%')
            skip_line(text);
        else
            take(text);
    }
    if (peek_text(text) == end_of_text)
        return text_result::end;
    std::size_t size = 0;
    for (int c = peek_text(text); !is_blank(c) && !is_delimiter(c); c = peek_text(text)) {
        if (c == end_of_text)
            return text_result::broken;
        if (size < longest_text)
            word.text[size++] = capital(c);
        take(text);
    }
    return text_result::found;
}

bool skip_expected(text_source &text, char expected) {
    skip_blanks(text);
    return take(text) == expected;
}

bool read_hex(text_source &text, u8 *bytes, std::size_t count) {
    std::size_t n = 0;
    while (n < count) {
        // Fast path: pairs without white space, up to the end of the block.
        const std::size_t pairs = (text.end - text.at) / 2;
        const std::size_t last = count - n < pairs ? count : n + pairs;
        const u8 *pair = text.block + text.at;
        for (; n < last; ++n, pair += 2) {
            const u32 high = digits[pair[0]];
            const u32 low = digits[pair[1]];
            if ((high | low) >= no_digit)
                break;
            bytes[n] = static_cast<u8>(high << 4 | low);
        }
        text.at = static_cast<std::size_t>(pair - text.block);
        if (n == count)
            break;
        const int high = take_digit(text);
        const int low = take_digit(text);
        if (high < 0 || low < 0)
            return false;
        bytes[n++] = static_cast<u8>(high << 4 | low);
    }
    return true;
}

namespace {

int take(text_source &text) {
    const int c = peek_text(text);
    if (c != end_of_text)
        ++text.at;
    return c;
}

void skip_blanks(text_source &text) {
    while (is_blank(peek_text(text)))
        take(text);
}

void skip_line(text_source &text) {
    for (int c = take(text); c != '\n' && c != '\r' && c != end_of_text; c = take(text)) {
    }
}

// The value of the next digit, or -1.
int take_digit(text_source &text) {
    skip_blanks(text);
    const int c = take(text);
    const u32 digit = c >= 0 ? digits[static_cast<u8>(c)] : no_digit;
    return digit < no_digit ? static_cast<int>(digit) : -1;
}

} // namespace

} // namespace viq
