#include "tools/demo_codecs.h"

#include "tools/psnr.h"
#include "tools/verb_convert.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct codec {
    const char *group; // heading on the page
    const char *id;    // part of the file names
    const char *extension;
    const char *quality_name;
    const char *note;
    bool small_wavelet;
    std::vector<uint16_t> qualities;
};

// A photograph, and where its results are written.
struct codec_job {
    const char *name;
    const fs::path &from;
    const fs::path &folder;
    const image &original; // RGB24
};

shot quality_shot(const codec_job &job, const codec &by, uint16_t quality);
void add_details(std::vector<shot> &shots, const codec_job &job);

constexpr const char *wavelet_extension = ".dwt";
constexpr uint16_t highest_quality = 400; // of each codec

const codec codecs[] = {
    {jpeg_group,
     "jpeg",
     ".jpg",
     "JPEG factor ",
     "16 uses the standard tables",
     false,
     {2, 4, 8, 16, 32, 64, 200}},
    {fast_group,
     "wavelet",
     wavelet_extension,
     "Fast, quality ",
     "the faster entropy coder",
     false,
     {20, 40, 50, 60, 70, 100, 200}},
    {small_group,
     "small",
     wavelet_extension,
     "Small, quality ",
     "the entropy coder for smaller files",
     true,
     {20, 40, 50, 60, 70, 100, 200}},
};

} // namespace

std::vector<shot> codec_shots(const photograph &photo, const fs::path &from, const fs::path &folder,
                              const image &original) {
    const codec_job job = {photo.name, from, folder, original};
    std::vector<shot> shots;
    for (const codec &by : codecs)
        for (const uint16_t quality : by.qualities)
            shots.push_back(quality_shot(job, by, quality));
    add_details(shots, job);
    return shots;
}

namespace {

// Returns the size of the coded file.
std::uintmax_t code(const codec_job &job, const fs::path &to, const codec &by, uint16_t quality) {
    convert({.in = job.from.string(),
             .out = to.string(),
             .coding = {quality, {.quality = quality, .small = by.small_wavelet}}});
    return fs::file_size(to);
}

// The name of a file that browsers can show: the coded file, or a bitmap of a wavelet file.
std::string displayable(const fs::path &file) {
    if (file.extension() != wavelet_extension)
        return file.filename().string();
    fs::path bitmap = file;
    bitmap.replace_extension(".bmp");
    convert({.in = file.string(), .out = bitmap.string()});
    return bitmap.filename().string();
}

shot quality_shot(const codec_job &job, const codec &by, uint16_t quality) {
    const std::string number = std::to_string(quality);
    const fs::path coded =
        job.folder / (std::string(job.name) + "-" + by.id + number + by.extension);
    const std::uintmax_t bytes = code(job, coded, by, quality);
    const image result = read_as_rgb24(coded.string());
    const pixels size = pixels_of(job.original.handle);
    return {
        by.group,   by.quality_name + number,     by.note, displayable(coded), bytes, size.width,
        size.lines, psnr_of(job.original, result)};
}

// ---- Details at equal file sizes

constexpr uint16_t coarse_jpeg_quality = 5;

// The highest quality whose file has at most so many bytes.
uint16_t quality_of_size(const codec_job &job, const fs::path &to, const codec &by,
                         std::uintmax_t most_bytes) {
    uint16_t fits = 0;
    uint16_t too_large = highest_quality + 1;
    while (fits + 1 < too_large) {
        const auto middle = static_cast<uint16_t>((fits + too_large) / 2);
        (code(job, to, by, middle) <= most_bytes ? fits : too_large) = middle;
    }
    return fits;
}

void write_detail(const fs::path &from, const fs::path &to) {
    convert({.in = from.string(),
             .out = to.string(),
             .processing = {.steps = {{"--crop", "200,90,120,80"}, {"--replicate", "4"}}}});
}

// The first codec determines the size of the files.
void add_details(std::vector<shot> &shots, const codec_job &job) {
    const std::string name = job.name;
    const std::string original_detail = name + "-cut.bmp";
    write_detail(job.from, job.folder / original_detail);
    std::uintmax_t most_bytes = 0;
    for (const codec &by : codecs) {
        const fs::path coded = job.folder / (name + "-equal-" + by.id + by.extension);
        const uint16_t quality =
            most_bytes == 0 ? coarse_jpeg_quality : quality_of_size(job, coded, by, most_bytes);
        const std::uintmax_t bytes = code(job, coded, by, quality);
        const std::string file = coded.stem().string() + ".bmp";
        write_detail(coded, job.folder / file);
        const picture_header size = read_header((job.folder / file).string());
        shots.push_back({"JPEG and wavelet at equal file size", by.group,
                         by.quality_name + std::to_string(quality) + ", PSNR of the whole picture",
                         file, bytes, size.width, size.height,
                         psnr_of(job.original, read_as_rgb24(coded.string())), original_detail});
        if (most_bytes == 0)
            most_bytes = bytes;
    }
}

} // namespace

} // namespace tool
