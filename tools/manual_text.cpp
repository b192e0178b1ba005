#include "tools/manual_text.h"

#include <filesystem>
#include <fstream>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/temporary_folder.h"

namespace tool {

namespace {

using app_list = std::vector<const CLI::App *>;
using option_list = std::vector<const CLI::Option *>;

app_list commands_of(const CLI::App &app) {
    return app.get_subcommands([](const CLI::App *) { return true; });
}

bool is_positional(const CLI::Option &option) {
    return option.get_positional();
}

// The names of an option as they are written: "-o", "--output".
std::vector<std::string> names_of(const CLI::Option &option) {
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

bool takes_value(const CLI::Option &option) {
    return option.get_expected_max() > 0;
}

// The type of a value, such as "NAME:{y8,rgb24}", cut before the values and ranges.
std::string value_name(const CLI::Option &option) {
    const std::string type = option.get_type_name();
    return type.substr(0, type.find(':'));
}

// The values that an option accepts, if they are listed: "{y8,rgb24}".
std::vector<std::string> values_of(const CLI::Option &option) {
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}');
    if (open == std::string::npos || close == std::string::npos)
        return {};
    return CLI::detail::split(type.substr(open + 1, close - open - 1), ',');
}

bool takes_file(const CLI::Option &option) {
    const std::string name = value_name(option);
    return name.find("FILE") != std::string::npos || name.find("DIR") != std::string::npos;
}

std::string joined(const std::vector<std::string> &words, const char *separator) {
    return CLI::detail::join(words, separator);
}

std::string replaced(const std::string &text, const std::string &characters,
                     const std::string &before) {
    std::string result;
    for (const char c : text) {
        if (characters.find(c) != std::string::npos)
            result += before;
        result += c;
    }
    return result;
}

// ---------------------------------------------------------------- man pages

// Escapes what roff would interpret; line ends are kept as line breaks.
std::string roff(const std::string &text) {
    std::string result;
    bool line_start = true;
    for (const char c : text) {
        if (line_start && (c == '.' || c == '\''))
            result += "\\&";
        line_start = c == '\n';
        switch (c) {
        case '\\':
            result += "\\e";
            break;
        case '-':
            result += "\\-";
            break;
        case '\n':
            result += "\n.br\n";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string heading(const char *macro, const std::string &text) {
    return std::string(macro) + " \"" + roff(text) + "\"\n";
}

// The values that an option accepts, as a list or as a range; empty if neither is declared.
std::string accepted_values(const CLI::Option &option) {
    if (const std::vector<std::string> listed = values_of(option); !listed.empty())
        return joined(listed, ", ");
    // "N:INT in [1 - 400]"
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('[');
    const std::size_t between = type.find(" - ", open);
    const std::size_t close = type.find(']', between);
    if (open == std::string::npos || between == std::string::npos || close == std::string::npos)
        return "";
    return type.substr(open + 1, between - open - 1) + " to " +
           type.substr(between + 3, close - between - 3);
}

std::string option_entry(const CLI::Option &option) {
    const std::string initial = option.get_default_str();
    std::string text =
        ".TP\n\\fB" +
        roff(is_positional(option) ? option.get_name(true) : joined(names_of(option), ", ")) +
        "\\fR";
    if (!is_positional(option) && takes_value(option))
        text += " \\fI" + roff(value_name(option)) + "\\fR";
    text += "\n" + roff(option.get_description()) + "\n";
    if (const std::string values = accepted_values(option); !values.empty())
        text += ".br\nValues: " + roff(values) + "\n";
    if (!initial.empty())
        text += ".br\nDefault: " + roff(initial) + "\n";
    return text;
}

option_list options_where(const CLI::App &app, const std::string &group, bool positional) {
    return app.get_options([&](const CLI::Option *option) {
        return option->get_group() == group && is_positional(*option) == positional;
    });
}

// The arguments of a command: positional ones, then the groups of options in their order.
std::string argument_entries(const CLI::App &app) {
    std::string text;
    for (const std::string &group : app.get_groups()) {
        if (group.empty())
            continue;
        for (const bool positional : {true, false}) {
            const option_list options = options_where(app, group, positional);
            if (options.empty())
                continue;
            text += heading(".SS", positional ? "Arguments" : group);
            for (const CLI::Option *option : options)
                text += option_entry(*option);
        }
    }
    return text;
}

std::string synopsis(const std::string &name, const CLI::App &app) {
    std::string text = "\\fB" + roff(name) + "\\fR [\\fIOPTIONS\\fR]";
    for (const CLI::Option *option :
         app.get_options([](const CLI::Option *candidate) { return is_positional(*candidate); }))
        text += " \\fI" + roff(option->get_name(true)) +
                (option->get_expected_max() > 1 ? "\\fR..." : "\\fR");
    if (!commands_of(app).empty())
        text += " \\fICOMMAND\\fR";
    return text + "\n";
}

std::string page_name(const CLI::App &verb) {
    return "viq-" + verb.get_name();
}

std::string page_start(const std::string &name, const std::string &purpose) {
    return ".TH \"" + CLI::detail::to_lower(name) + "\" 1 \"\" \"viq " VIQ_TOOL_VERSION "\"\n" +
           heading(".SH", "NAME") + roff(name) + " \\- " + roff(purpose) + "\n";
}

std::string page_end(const CLI::App &app, const std::string &see_also) {
    std::string text;
    if (!app.get_footer().empty())
        text += heading(".SH", "NOTES") + roff(app.get_footer()) + "\n";
    text += heading(".SH", "EXIT STATUS") +
            "0: success; 1: compared pictures differ; 2: an error, reported as one line on "
            "standard error.\n";
    return text + heading(".SH", "SEE ALSO") + see_also;
}

std::string verb_page(const CLI::App &verb) {
    const std::string command = "viq " + verb.get_name();
    std::string text = page_start(page_name(verb), verb.get_description()) +
                       heading(".SH", "SYNOPSIS") + synopsis(command, verb);
    for (const CLI::App *part : commands_of(verb))
        text += ".br\n" + synopsis(command + " " + part->get_name(), *part);
    text += heading(".SH", "DESCRIPTION") + roff(verb.get_description()) + ".\n" +
            argument_entries(verb);
    for (const CLI::App *part : commands_of(verb)) {
        text += heading(".SH", command + " " + part->get_name()) + roff(part->get_description()) +
                ".\n" + argument_entries(*part);
        if (!part->get_footer().empty())
            text += ".PP\n" + roff(part->get_footer()) + "\n";
    }
    return text + page_end(verb, "\\fBviq\\fR(1)\n");
}

std::string main_page(const CLI::App &app) {
    std::string text = page_start("viq", "read, convert, process and compare pictures") +
                       heading(".SH", "SYNOPSIS") + synopsis("viq", app) +
                       heading(".SH", "DESCRIPTION") + argument_entries(app) +
                       heading(".SH", "COMMANDS");
    std::vector<std::string> pages;
    for (const CLI::App *verb : commands_of(app)) {
        text += ".TP\n\\fB" + roff(verb->get_name()) + "\\fR\n" + roff(verb->get_description()) +
                ". See \\fB" + roff(page_name(*verb)) + "\\fR(1).\n";
        pages.push_back("\\fB" + roff(page_name(*verb)) + "\\fR(1)");
    }
    return text + page_end(app, joined(pages, ",\n") + ",\n\\fBviq\\fR(3)\n");
}

// ---------------------------------------------------------------- completion

std::vector<std::string> names_of_commands(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *command : commands_of(app))
        names.push_back(command->get_name());
    return names;
}

// A command and the commands under it, each with the words that select it: "", "lut", "lut apply".
struct named_command {
    std::string words;
    const CLI::App *app;
};

void list_commands(const CLI::App &app, const std::string &words,
                   std::vector<named_command> &commands) {
    commands.push_back({words, &app});
    for (const CLI::App *command : commands_of(app))
        list_commands(*command,
                      words.empty() ? command->get_name() : words + " " + command->get_name(),
                      commands);
}

std::string bash_case(const std::string &pattern, const std::string &action) {
    return "    " + pattern + ") " + action + " ;;\n";
}

std::string bash_script(const std::vector<named_command> &commands) {
    std::vector<std::string> known;
    std::string values, words;
    for (const named_command &command : commands) {
        if (!command.words.empty())
            known.push_back("'" + command.words + "'");
        std::vector<std::string> options;
        for (const CLI::Option *option : command.app->get_options()) {
            for (const std::string &name : names_of(*option)) {
                options.push_back(name);
                if (!takes_value(*option))
                    continue;
                const std::vector<std::string> accepted = values_of(*option);
                values += bash_case("'" + command.words + " " + name + "'",
                                    !accepted.empty()
                                        ? "_viq_words '" + joined(accepted, " ") + "'; return"
                                    : takes_file(*option) ? "_viq_files; return"
                                                          : "return");
            }
        }
        words += bash_case("'" + command.words + "'",
                           "options='" + joined(options, " ") + "' commands='" +
                               joined(names_of_commands(*command.app), " ") + "'");
    }
    return "# Completion of viq for bash; generated by viq --write-manual.\n"
           "_viq_words() { COMPREPLY=($(compgen -W \"$1\" -- \"$current\")); }\n"
           "_viq_files() {\n"
           "    compopt -o filenames 2>/dev/null || :\n"
           "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "}\n"
           "_viq() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command= word options commands n\n"
           "    COMPREPLY=()\n"
           "    for ((n = 1; n < COMP_CWORD; n++)); do\n"
           "        word=\"${command:+$command }${COMP_WORDS[n]}\"\n"
           "        case $word in\n"
           "        " +
           joined(known, " | ") +
           ") command=$word ;;\n"
           "        esac\n"
           "    done\n"
           "    case \"$command $previous\" in\n" +
           values +
           "    esac\n"
           "    case $command in\n" +
           words +
           "    esac\n"
           "    case $current in\n"
           "    -*) _viq_words \"$options\" ;;\n"
           "    *) if [ -n \"$commands\" ]; then _viq_words \"$commands\"; else _viq_files; fi ;;\n"
           "    esac\n"
           "}\n"
           "complete -F _viq viq\n";
}

// A description as zsh shows it beside an option: its first line, up to a semicolon.
std::string zsh_description(const std::string &text) {
    std::string line = text.substr(0, text.find('\n'));
    line = line.substr(0, line.find(';'));
    std::string quoted;
    for (const char c : replaced(line, "[]:\\", "\\"))
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted;
}

std::string zsh_value(const CLI::Option &option) {
    const std::vector<std::string> accepted = values_of(option);
    const std::string action = !accepted.empty()    ? "(" + joined(accepted, " ") + ")"
                               : takes_file(option) ? "_files"
                                                    : " ";
    return ":" + zsh_description(value_name(option)) + ":" + action;
}

std::string zsh_function_name(const std::string &words) {
    std::string name = "_viq";
    if (!words.empty())
        name += "_" + words;
    for (char &c : name)
        c = c == ' ' || c == '-' ? '_' : c;
    return name;
}

std::string zsh_function(const named_command &command) {
    std::string text = zsh_function_name(command.words) + "() {\n    local state\n"
                                                          "    _arguments -C \\\n";
    for (const CLI::Option *option : command.app->get_options())
        for (const std::string &name : names_of(*option))
            text += "        '*" + name + "[" + zsh_description(option->get_description()) + "]" +
                    (takes_value(*option) ? zsh_value(*option) : "") + "' \\\n";
    const app_list parts = commands_of(*command.app);
    if (parts.empty())
        return text + "        '*:file:_files'\n}\n";
    text += "        '1:command:((";
    std::string cases;
    for (const CLI::App *part : parts) {
        text += part->get_name() + "\\:\"" + zsh_description(part->get_description()) + "\" ";
        const std::string words =
            command.words.empty() ? part->get_name() : command.words + " " + part->get_name();
        cases += "    " + part->get_name() + ") " + zsh_function_name(words) + " ;;\n";
    }
    return text +
           "))' \\\n        '*::argument:->argument'\n"
           "    [ \"$state\" = argument ] || return\n"
           "    case $words[1] in\n" +
           cases + "    esac\n}\n";
}

std::string zsh_script(const std::vector<named_command> &commands) {
    std::string text = "#compdef viq\n# Generated by viq --write-manual.\n";
    for (const named_command &command : commands)
        text += zsh_function(command);
    return text + "_viq \"$@\"\n";
}

void write_text(const std::filesystem::path &path, const std::string &text) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (error || !file)
        fail_by_system(text_of(path), "cannot be written");
}

} // namespace

void write_manual(const CLI::App &app, const std::string &folder) {
    const std::filesystem::path root = path_from(folder);
    write_text(root / "man1" / "viq.1", main_page(app));
    for (const CLI::App *verb : commands_of(app))
        write_text(root / "man1" / (page_name(*verb) + ".1"), verb_page(*verb));
    std::vector<named_command> commands;
    list_commands(app, "", commands);
    write_text(root / "bash" / "viq", bash_script(commands));
    write_text(root / "zsh" / "_viq", zsh_script(commands));
}

} // namespace tool
