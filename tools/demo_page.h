// The web page with the results of the demo.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

// The template of the page with its fields {{NAME}}, its style and its script: demo/page.*.
extern const char *const page_html;
extern const char *const page_css;
extern const char *const page_js;

// A picture file of the page. Without a name there is no picture.
struct shown_picture {
    std::string file = {}; // relative to the page
    uint32_t width = 0, height = 0;
    bool is_exact = false; // magnified without interpolation
};

struct fact {
    std::string name, value;
};

// A picture, or two that are compared, with a text.
struct card {
    std::string title, note;
    shown_picture after;
    shown_picture before = {};
    std::string before_label = "Original";
    std::string after_label = {}; // empty: the title
    std::vector<fact> facts = {};
    std::string command = {}; // that makes the picture; empty: none
};

struct section {
    std::string id, title;
    std::string intro; // HTML
    std::vector<card> cards = {};
    std::string charts = {}; // HTML before the cards
    std::string table = {};  // HTML after them
    std::string layout = {}; // of the cards: empty, "wide" or "large"
};

struct page {
    std::string version;
    std::vector<card> top;
    std::vector<section> sections;
};

void write_page(const std::string &path, const page &contents);

// The text with the characters replaced that have a meaning in HTML.
std::string escaped(const std::string &text);

std::string fixed_point(double value, int decimals);

} // namespace tool
