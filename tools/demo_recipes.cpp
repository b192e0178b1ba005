#include "tools/demo_recipes.h"

namespace tool {

namespace {

recipe to_format(const char *name, uint16_t format, const char *title, const char *note,
                 comparison compared = comparison::psnr) {
    return {name, title, note, "coffee", std::string("--format ") + name, compared, "", format};
}

recipe to_palette(const char *id, const char *options, const char *title, const char *note) {
    return {id, title, note, "chelsea", options, comparison::psnr};
}

constexpr const char *badge = "122,350,96,64"; // of the astronaut: fine lines of many colours

recipe demosaiced(const char *id, const char *options, const char *title, const char *note) {
    return {id, title, note, "astronaut", options, comparison::psnr, badge};
}

const recipe camera[] = {
    {"mosaic", "Mosaic", "what the sensor sees: one colour at each pixel", "astronaut", "--mosaic",
     comparison::visual, badge},
    demosaiced("demosaic1", "--mosaic --demosaic 1", "Scheme 1", "missing colours are repeated"),
    demosaiced("demosaic2", "--mosaic --demosaic 2", "Scheme 2", "bilinear interpolation"),
    demosaiced("demosaic3", "--mosaic --demosaic 3", "Scheme 3", "interpolation along edges"),
};

const recipe formats[] = {
    to_format("rgb24", VIQ_RGB24, "RGB24", "three bytes, red first"),
    to_format("bgrx32", VIQ_BGRX32, "BGRX32", "four bytes, blue first; also RGBX, XBGR and XRGB"),
    to_format("rgb16", VIQ_RGB16, "RGB16", "5, 6 and 5 bits"),
    to_format("rgb15", VIQ_RGB15, "RGB15", "5 bits per component"),
    to_format("rgb8", VIQ_RGB8, "RGB8", "3, 3 and 2 bits"),
    to_format("yuv422", VIQ_YUV422, "YUV 4:2:2", "two pixels share their chroma"),
    to_format("hsi", VIQ_HSI, "HSI", "hue, saturation and intensity"),
    to_format("cmyk32", VIQ_CMYK32, "CMYK32", "for print, from 256 adaptive colours"),
    to_format("y8", VIQ_Y8, "Y8", "luminance", comparison::visual),
    to_format("y16", VIQ_Y16, "Y16", "luminance of up to 16 bits", comparison::visual),
};

const recipe palettes[] = {
    to_palette("adaptive256", "--palette 256", "256 colours", "the most frequent ones"),
    to_palette("adaptive64", "--palette 64", "64 colours", "the most frequent ones"),
    to_palette("adaptive16", "--palette 16", "16 colours", "the most frequent ones"),
    to_palette("named", "--palette named", "16 named colours", "the nearest of a fixed palette"),
    to_palette("cube", "--palette cube", "Colour cube", "the nearest of 3-3-2 bits"),
    to_palette("dither", "--palette dither", "Colour cube, dithered",
               "the same 256 colours with error diffusion"),
    {"ramp", "Grey ramp", "the nearest of 256 greys", "chelsea", "--palette ramp"},
    {"bilevel", "Black and white", "1 bit a pixel with error diffusion", "camera",
     "--bilevel dither"},
};

const recipe processing[] = {
    {"sharpen", "Sharpen", "a filter of 3 \u00d7 3 pixels", "astronaut", "--filter sharpen"},
    {"blur", "Blur", "a filter of 3 \u00d7 3 pixels", "astronaut", "--filter blur"},
    {"edge", "Edges", "a filter whose sum is 0", "camera", "--filter edge"},
    {"pseudo", "False colour", "grey levels as colours", "camera", "--pseudo"},
    {"lut", "Lookup table", "more contrast, gamma 1.5, less blue", "astronaut",
     "--lut contrast=140,gamma=150,b=70"},
    {"threshold", "Thresholds", "black below 80, white from 160 on", "camera",
     "--threshold 80,160"},
    {"rotate", "Rotate", "by 90 degrees", "camera", "--rotate 90", comparison::none},
    {"subsample", "Subsample", "every 8th pixel of every 8th line, repeated 8 times", "astronaut",
     "--subsample 8 --replicate 8"},
    {"mirror", "Mirror", "left to right", "chelsea", "--mirror"},
    {"crop", "Crop", "a rectangle", "coffee", "--crop 100,60,330,220", comparison::none},
    {"scale", "Scale", "bilinear", "coffee", "--scale 300x200", comparison::none},
    {"field", "Field to frame", "the missing lines of a video field, along edges", "coffee",
     "--scale 600x200 --field-to-frame 3"},
};

constexpr const char *all_of_sheet = "0,0,406,88";

// Three lines of a font in white, yellow and cyan on a black picture.
recipe font_sheet(const char *id, const char *title, const std::string &font) {
    const auto line = [&font](const char *text, const char *y, const char *colour) {
        return " --text \"" + (text + (",8," + (y + ("," + font)))) + "," + colour + "\"";
    };
    return {id,
            title,
            "letters, digits and signs of ASCII",
            "coffee",
            "--filter 0,0,0,0,0,0,0,0,0 --crop 1,1,406,88" +
                line("ABCDEFGHIJKLMNOPQRSTUVWXYZ", "6", "15") +
                line("abcdefghijklmnopqrstuvwxyz", "34", "14") +
                line("0123456789 +-*/=()[]!?", "62", "11"),
            comparison::none,
            all_of_sheet};
}

const recipe drawing[] = {
    font_sheet("font0", "Font 0, 7 x 7 pixels", "0"),
    font_sheet("font1", "Font 1, 9 x 14 pixels", "1"),
    font_sheet("font2", "Font 2, 15 x 19 pixels", "2"),
    {"text", "Text and time", "on a darkened background", "coffee",
     "--crop 97,60,406,88 --text \"VIQ draws text,12,12,2,14\" --timestamp", comparison::none,
     all_of_sheet},
};

const recipe_group groups[] = {
    {"camera", "Demosaicing",
     "A colour camera sees one colour at each pixel. Three schemes interpolate the other two; the "
     "pictures show a part, four times magnified, and the PSNR is that of the whole photograph.",
     camera},
    {"formats", "Pixel formats",
     "The photograph is converted to a format and back to RGB24. The size is that of the pixels "
     "in memory, the PSNR that of the result against the original.",
     formats},
    {"palettes", "Palettes",
     "Pictures of at most 256 colours, by adaptive and by fixed palettes, and of two.", palettes},
    {"processing", "Processing",
     "Each option of <code>viq convert</code> is a function of the library. Options are applied in "
     "the order in which they are written.",
     processing},
    {"drawing", "Text", "The three built-in fonts, drawn into pictures of any format.", drawing,
     "large"},
};

} // namespace

std::span<const recipe_group> recipe_groups() {
    return groups;
}

} // namespace tool
