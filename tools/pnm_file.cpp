#include "tools/pnm_file.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <utility>
#include <vector>

#include "tools/file_lines.h"
#include "tools/temporary_folder.h"

namespace tool {

namespace {

struct pnm_header {
    char type = 0; // the digit after the P
    uint32_t width = 0, height = 0;
    uint32_t channels = 1; // the last of 2 or 4 is alpha
    uint32_t largest = 1;  // sample

    bool is_plain() const { return type >= '1' && type <= '3'; }
    bool is_bits() const { return type == '1' || type == '4'; }
};

// The file, and its name for error messages.
struct pnm_stream {
    std::FILE *file;
    const std::string &name;
};

pnm_header read_header(const pnm_stream &from);
void read_pam_header(const pnm_stream &from, pnm_header &header);
uint32_t read_plain_number(const pnm_stream &from, bool is_digit = false);
void read_samples(const pnm_stream &from, const pnm_header &header, std::vector<uint32_t> &samples);
void write_header(std::FILE *file, uint32_t strip, bool is_pam);
strip_sink sink(const std::string &path, const std::string &name, bool is_pam);

} // namespace

decoded_picture read_pnm(const std::string &path, const std::string &name) {
    const file_ptr file = open_or_fail(path, "rb", name, "cannot be opened");
    const pnm_stream from = {file.get(), name};
    const pnm_header header = read_header(from);
    const bool is_colour = header.channels >= 3;
    const bool is_deep = header.largest > 255;
    const uint16_t format = header.is_bits() ? VIQ_Y1
                            : is_colour      ? VIQ_RGB24
                            : is_deep        ? VIQ_Y16
                                             : VIQ_Y8;
    decoded_picture decoded = {whole_picture(format, header.width, header.height, name),
                               "viq's PNM reader"};
    if (header.channels % 2 == 0)
        decoded.notes.emplace_back(alpha_dropped);
    if (is_colour && is_deep)
        decoded.notes.emplace_back(depth_reduced);
    const pixels to = pixels_of(decoded.picture.handle);
    const uint32_t kept = is_colour ? 3 : 1;
    const uint64_t full = format == VIQ_Y16 ? 65535 : 255;
    std::vector<uint32_t> samples(std::size_t{header.width} * header.channels);
    for (uint32_t y = 0; y < header.height; ++y) {
        read_samples(from, header, samples);
        uint8_t *byte = to.line(y);
        if (format == VIQ_Y1) {
            std::fill_n(byte, to.bytes_per_line, uint8_t{0});
            for (std::size_t x = 0; x < header.width; ++x)
                if (samples[x] != 0)
                    byte[x / 8] = static_cast<uint8_t>(byte[x / 8] | 128 >> x % 8);
            continue;
        }
        auto *word = reinterpret_cast<uint16_t *>(byte);
        for (std::size_t x = 0; x < header.width; ++x)
            for (uint32_t c = 0; c < kept; ++c) {
                const uint64_t sample = samples[x * header.channels + c];
                const uint64_t scaled = (sample * full + header.largest / 2) / header.largest;
                if (format == VIQ_Y16)
                    *word++ = static_cast<uint16_t>(scaled);
                else
                    *byte++ = static_cast<uint8_t>(scaled);
            }
    }
    return decoded;
}

strip_sink pnm_sink(const std::string &path, const std::string &name, const coding_options &) {
    return sink(path, name, false);
}

strip_sink pam_sink(const std::string &path, const std::string &name, const coding_options &) {
    return sink(path, name, true);
}

namespace {

pnm_header read_header(const pnm_stream &from) {
    pnm_header header;
    std::fgetc(from.file);
    header.type = static_cast<char>(std::fgetc(from.file));
    if (header.type == '7') {
        read_pam_header(from, header);
    } else {
        header.width = read_plain_number(from);
        header.height = read_plain_number(from);
        header.largest = header.is_bits() ? 1 : read_plain_number(from);
        header.channels = header.type == '3' || header.type == '6' ? 3 : 1;
    }
    constexpr uint32_t most_channels = 4;
    if (header.width == 0 || header.height == 0 || header.channels == 0 ||
        header.channels > most_channels || header.largest == 0 || header.largest > 65535)
        throw failure{from.name + ": invalid PNM header"};
    return header;
}

// Lines of a name and a value up to ENDHDR.
void read_pam_header(const pnm_stream &from, pnm_header &header) {
    const std::pair<std::string, uint32_t &> fields[] = {{"WIDTH", header.width},
                                                         {"HEIGHT", header.height},
                                                         {"DEPTH", header.channels},
                                                         {"MAXVAL", header.largest}};
    for (;;) {
        std::string word;
        int c = std::fgetc(from.file);
        while (std::isspace(c))
            c = std::fgetc(from.file);
        for (; c != EOF && !std::isspace(c); c = std::fgetc(from.file))
            word += static_cast<char>(c);
        if (word == "ENDHDR")
            return;
        const auto *field = std::find_if(std::begin(fields), std::end(fields),
                                         [&](const auto &f) { return f.first == word; });
        if (field != std::end(fields))
            field->second = read_plain_number(from);
        else
            while (c != '\n' && c != EOF) // the tuple type or a comment
                c = std::fgetc(from.file);
        if (c == EOF)
            throw failure{from.name + ": the file ends in its header"};
    }
}

// Consumes one character after the number. Comments extend to the end of their line. The digits of
// plain bitmaps need no blanks between them.
uint32_t read_plain_number(const pnm_stream &from, bool is_digit) {
    constexpr uint32_t most = 1u << 30;
    int c = std::fgetc(from.file);
    while (std::isspace(c) || c == '#') {
        if (c == '#')
            while (c != '\n' && c != EOF)
                c = std::fgetc(from.file);
        c = std::fgetc(from.file);
    }
    if (!std::isdigit(c))
        throw failure{from.name + (c == EOF ? ": the picture data ends early"
                                            : ": invalid character in a PNM file")};
    if (is_digit)
        return static_cast<uint32_t>(c - '0');
    uint32_t number = 0;
    for (; std::isdigit(c); c = std::fgetc(from.file)) {
        number = number * 10 + static_cast<uint32_t>(c - '0');
        if (number > most)
            throw failure{from.name + ": number out of range in a PNM file"};
    }
    return number;
}

// One line. In bitmaps, 1 is black.
void read_samples(const pnm_stream &from, const pnm_header &header,
                  std::vector<uint32_t> &samples) {
    if (header.is_plain()) {
        for (uint32_t &sample : samples)
            sample = read_plain_number(from, header.is_bits());
    } else {
        const std::size_t sample_bytes = header.largest > 255 ? 2 : 1;
        std::vector<uint8_t> line(header.is_bits() ? packed_bytes(VIQ_Y1, header.width)
                                                   : samples.size() * sample_bytes);
        if (std::fread(line.data(), 1, line.size(), from.file) != line.size())
            throw failure{from.name + ": the picture data ends early"};
        for (std::size_t n = 0; n < samples.size(); ++n)
            if (header.is_bits())
                samples[n] = line[n / 8] >> (7 - n % 8) & 1;
            else if (sample_bytes == 2)
                samples[n] = uint32_t{line[2 * n]} << 8 | line[2 * n + 1];
            else
                samples[n] = line[n];
    }
    for (uint32_t &sample : samples) {
        if (sample > header.largest)
            throw failure{from.name + ": a sample is larger than the largest value"};
        if (header.is_bits())
            sample = 1 - sample;
    }
}

strip_sink sink(const std::string &path, const std::string &name, bool is_pam) {
    const std::shared_ptr<std::FILE> file = open_or_fail(path, "wb", name, "cannot be created");
    const auto take = [file, name, is_pam, is_first = true](uint32_t strip, bool is_last) mutable {
        if (std::exchange(is_first, false))
            write_header(file.get(), strip, is_pam);
        const uint16_t format = format_of(strip);
        const pixels from = pixels_of(strip);
        std::vector<uint8_t> line(packed_bytes(format, from.width));
        for (uint32_t y = 0; y < from.lines; ++y) {
            std::copy_n(from.line(y), line.size(), line.begin());
            swap_samples(format, line.data(), from.width);
            if (format == VIQ_Y1) {
                for (uint8_t &byte : line)
                    byte = static_cast<uint8_t>(~byte);
                line.back() &= static_cast<uint8_t>(0xFF << (7 - (from.width - 1) % 8));
            }
            std::fwrite(line.data(), 1, line.size(), file.get());
        }
        if (std::ferror(file.get()) || (is_last && std::fflush(file.get()) != 0))
            fail_by_system(name, "cannot be written");
    };
    return {take};
}

void write_header(std::FILE *file, uint32_t strip, bool is_pam) {
    const uint16_t format = format_of(strip);
    const unsigned width = VIQ_get_width(strip);
    const unsigned height = VIQ_get_height(strip);
    const unsigned largest =
        format == VIQ_Y16 ? (1u << VIQ_image_get_parameter(strip, VIQ_DATA_WIDTH)) - 1 : 255;
    if (is_pam)
        std::fprintf(file, "P7\nWIDTH %u\nHEIGHT %u\nDEPTH %u\nMAXVAL %u\nTUPLTYPE %s\nENDHDR\n",
                     width, height, format == VIQ_RGB24 ? 3 : 1, largest,
                     format == VIQ_RGB24 ? "RGB" : "GRAYSCALE");
    else if (format == VIQ_Y1)
        std::fprintf(file, "P4\n%u %u\n", width, height);
    else
        std::fprintf(file, "P%c\n%u %u\n%u\n", format == VIQ_RGB24 ? '6' : '5', width, height,
                     largest);
}

} // namespace

} // namespace tool
