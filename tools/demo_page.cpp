#include "tools/demo_page.h"

#include <cstdio>
#include <fstream>
#include <utility>

#include "tools/image_handle.h"

namespace tool {

namespace {

std::string index_entry(const section &s);
std::string section_html(const section &s);
std::string card_html(const card &c, const char *kind);
std::string pictures(const card &c);
std::string image_element(const shown_picture &p, const char *role, const std::string &label);
std::string command_html(const std::string &command);

} // namespace

void write_page(const std::string &path, const page &contents) {
    std::string top;
    for (const card &c : contents.top)
        top += card_html(c, "figure");
    std::string index;
    std::string sections;
    for (const section &s : contents.sections) {
        index += index_entry(s);
        sections += section_html(s);
    }
    const std::pair<const char *, std::string> fields[] = {
        {"{{style}}", page_css}, {"{{script}}", page_js}, {"{{version}}", contents.version},
        {"{{top}}", top},        {"{{index}}", index},    {"{{sections}}", sections},
    };
    std::string text = page_html;
    for (const auto &[name, value] : fields)
        text.replace(text.find(name), std::string(name).size(), value);
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw failure{path + ": Failed to write file"};
}

std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : text) {
        const char *entity = c == '&'   ? "&amp;"
                             : c == '<' ? "&lt;"
                             : c == '>' ? "&gt;"
                             : c == '"' ? "&quot;"
                                        : nullptr;
        if (entity != nullptr)
            result += entity;
        else
            result += c;
    }
    return result;
}

std::string fixed_point(double value, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

namespace {

std::string index_entry(const section &s) {
    return "<li><a href=\"#" + s.id + "\">" + escaped(s.title) + "</a></li>\n";
}

std::string section_html(const section &s) {
    std::string text = "<section id=\"" + s.id + "\">\n<h2>" + escaped(s.title) +
                       "</h2>\n<p class=\"intro\">" + s.intro + "</p>\n" + s.charts;
    if (!s.cards.empty()) {
        text += "<div class=\"cards " + s.layout + "\">\n";
        for (const card &c : s.cards)
            text += card_html(c, "figure class=\"card\"");
        text += "</div>\n";
    }
    return text + s.table + "</section>\n";
}

std::string card_html(const card &c, const char *kind) {
    std::string text = std::string("<") + kind + ">" + pictures(c) + "<figcaption><h3>" +
                       escaped(c.title) + "</h3><p>" + escaped(c.note) + "</p>";
    if (!c.facts.empty()) {
        text += "<dl>";
        for (const fact &f : c.facts)
            text += "<div><dt>" + escaped(f.name) + "</dt><dd>" + escaped(f.value) + "</dd></div>";
        text += "</dl>";
    }
    if (!c.command.empty())
        text += command_html(c.command);
    return text + "</figcaption></figure>\n";
}

std::string pictures(const card &c) {
    const std::string label = c.after_label.empty() ? c.title : c.after_label;
    if (c.before.file.empty())
        return "<div class=\"compare\">" + image_element(c.after, "after", label) + "</div>";
    return "<div class=\"compare two\">" + image_element(c.before, "before", c.before_label) +
           image_element(c.after, "after", label) + "<span class=\"label before\">" +
           escaped(c.before_label) + "</span><span class=\"label after\">" + escaped(label) +
           "</span></div>";
}

std::string image_element(const shown_picture &p, const char *role, const std::string &label) {
    return "<img src=\"" + p.file + "\" class=\"" + role + (p.is_exact ? " exact" : "") +
           "\" loading=\"lazy\" width=\"" + std::to_string(p.width) + "\" height=\"" +
           std::to_string(p.height) + "\" alt=\"" + escaped(label) + "\">";
}

// Lines are broken between words only, not after the hyphens of options.
std::string command_html(const std::string &command) {
    std::string words = "<span>";
    for (const char c : command)
        words += c == ' ' || c == '\n' ? std::string("</span>") + c + "<span>"
                                       : escaped(std::string(1, c));
    return "<div class=\"command\"><code>" + words +
           "</span></code><button type=\"button\">Copy</button></div>";
}

} // namespace

} // namespace tool
