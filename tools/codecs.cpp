#include "tools/codecs.h"

#include "tools/compare.h"
#include "tools/convert.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

struct ladder {
    const char *group;
    const char *id; // part of the file names
    const char *extension;
    const char *rung; // what its numbers are called
    const char *note;
    bool small; // the wavelet's coding that takes more time
    std::vector<u16> qualities;
};

// A coded file and what it decodes to.
struct coded_picture {
    fs::path file;
    std::uintmax_t bytes;
};

coded_picture code(const fs::path &from, const fs::path &to, const ladder &codec, u16 quality);
shot rung(const ladder &codec, u16 quality, const std::string &name, const fs::path &from,
          const fs::path &folder, const image &original);
void add_crops(std::vector<shot> &shots, const std::string &name, const fs::path &from,
               const fs::path &folder, const image &original);

const ladder ladders[] = {
    {jpeg_group,
     "jpeg",
     ".jpg",
     "JPEG factor ",
     "16 is standard",
     false,
     {2, 4, 8, 16, 32, 64, 200}},
    {fast_group,
     "wavelet",
     ".dwt",
     "Fast, quality ",
     "the coding that takes less time",
     false,
     {20, 40, 50, 60, 70, 100, 200}},
    {small_group,
     "small",
     ".dwt",
     "Small, quality ",
     "the coding that takes less space",
     true,
     {20, 40, 50, 60, 70, 100, 200}},
};

} // namespace

std::vector<shot> codec_shots(const photograph &photo, const fs::path &from, const fs::path &folder,
                              const image &original) {
    std::vector<shot> shots;
    for (const ladder &codec : ladders)
        for (const u16 quality : codec.qualities)
            shots.push_back(rung(codec, quality, photo.name, from, folder, original));
    add_crops(shots, photo.name, from, folder, original);
    return shots;
}

namespace {

coded_picture code(const fs::path &from, const fs::path &to, const ladder &codec, u16 quality) {
    convert({.in = from.string(),
             .out = to.string(),
             .coding = {quality, {.quality = quality, .small = codec.small}}});
    return {to, fs::file_size(to)};
}

// Browsers show no wavelet files.
std::string shown(const fs::path &file, const ladder &codec) {
    if (codec.extension != std::string(".dwt"))
        return file.filename().string();
    fs::path bitmap = file;
    bitmap.replace_extension(".bmp");
    convert({.in = file.string(), .out = bitmap.string()});
    return bitmap.filename().string();
}

shot rung(const ladder &codec, u16 quality, const std::string &name, const fs::path &from,
          const fs::path &folder, const image &original) {
    const std::string number = std::to_string(quality);
    const coded_picture coded =
        code(from, folder / (name + "-" + codec.id + number + codec.extension), codec, quality);
    const image result = as_rgb24(coded.file.string());
    const pixels size = pixels_of(original.handle);
    return {codec.group, codec.rung + number, codec.note, shown(coded.file, codec),
            coded.bytes, size.width,          size.lines, distance(original, result)};
}

// ---------------------------------------------------------------- crops

constexpr u16 coarse_factor = 5;

// The highest quality whose file is no longer than that.
u16 quality_of_size(const fs::path &from, const fs::path &to, const ladder &codec,
                    std::uintmax_t bytes) {
    u16 fits = 0;
    u16 above = 401;
    while (fits + 1 < above) {
        const auto middle = static_cast<u16>((fits + above) / 2);
        (code(from, to, codec, middle).bytes <= bytes ? fits : above) = middle;
    }
    return fits;
}

void write_crop(const fs::path &from, const fs::path &to) {
    convert({.in = from.string(),
             .out = to.string(),
             .process = {.crop = "200,90,120,80", .replicate = "4"}});
}

void add_crops(std::vector<shot> &shots, const std::string &name, const fs::path &from,
               const fs::path &folder, const image &original) {
    const std::string before = name + "-cut.bmp";
    write_crop(from, folder / before);
    std::uintmax_t most = 0;
    for (const ladder &codec : ladders) {
        const fs::path coded = folder / (name + "-equal-" + codec.id + codec.extension);
        const u16 quality = most == 0 ? coarse_factor : quality_of_size(from, coded, codec, most);
        const std::uintmax_t bytes = code(from, coded, codec, quality).bytes;
        const std::string file = coded.stem().string() + ".bmp";
        write_crop(coded, folder / file);
        const picture size = read_header((folder / file).string());
        shots.push_back({"JPEG and wavelet at equal size", codec.group,
                         codec.rung + std::to_string(quality) + ", PSNR of the whole picture", file,
                         bytes, size.width, size.height,
                         distance(original, as_rgb24(coded.string())), before});
        if (most == 0)
            most = bytes;
    }
}

} // namespace

} // namespace tool
