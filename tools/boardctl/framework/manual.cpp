// Manual pages.

#include <algorithm>

#include "boardctl/framework/failure.h"
#include "boardctl/framework/help.h"
#include "boardctl/framework/options.h"
#include "boardctl/framework/pages.h"

namespace boardctl {

namespace {

// Text as troff takes it: no minus becomes a hyphen, no line a request.
std::string escaped(const std::string &text)
{
    std::string all;
    for (const char c : text) {
        if (c == '\\') {
            all += "\\e";
        } else if (c == '-') {
            all += "\\-";
        } else {
            all += c;
        }
    }
    return all.starts_with('.') || all.starts_with('\'') ? "\\&" + all : all;
}

std::string in_capitals(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(toupper(c)); });
    return text;
}

std::string header(const std::string &name, const std::string &summary)
{
    return ".\\\" Made by boardctl_pages; do not edit.\n.TH " + in_capitals(escaped(name)) +
           " 1 \"\" \"board_hal " BOARDCTL_VERSION "\" \"Board management\"\n.SH NAME\n" +
           escaped(name) + " \\- " + escaped(summary) + "\n";
}

std::string section(const std::string &title)
{
    return ".SH " + title + "\n";
}

std::string item(const std::string &what, const std::string &text)
{
    return ".TP\n.B " + escaped(what) + "\n" + escaped(text) + "\n";
}

std::string arguments_of(const std::vector<Argument> &arguments)
{
    std::string all;
    for (const Argument &argument : arguments) {
        std::string what = placeholder_of(argument);
        if (what.starts_with('[')) {
            what = what.substr(1, what.size() - 2);
        }
        all += item(what, explanation_of(argument) + ".");
    }
    return all;
}

std::string examples_of(const Command &command)
{
    std::string all;
    for (const Example &example : command.examples) {
        all += ".PP\n" + escaped(example.what) + "\n.PP\n.EX\n    " + escaped(line_of(example)) +
               "\n.EE\n";
    }
    return all;
}

std::string exit_codes()
{
    std::string all = section("EXIT STATUS");
    for (const ExitMeaning &meaning : exit_meanings) {
        all += item(std::to_string(meaning.code), std::string(meaning.words) + ".");
    }
    return all;
}

std::string command_section(const Family &family, const Command &command)
{
    std::string all =
        ".SS " + escaped(usage_of(family, command)) + "\n" + escaped(command.summary) + ".\n";
    if (!command.description.empty()) {
        all += ".PP\n" + escaped(command.description) + "\n";
    }
    if (command.asks) {
        all += ".PP\nAsks first, unless\n.B \\-\\-yes\nis given.\n";
    }
    return all + arguments_of(command.arguments) + examples_of(command);
}

Page page_of(const Family &family)
{
    const std::string name = "boardctl-" + family.name;
    std::string text = header(name, family.summary) + section("SYNOPSIS");
    for (const Command &command : family.commands) {
        text += ".B " + escaped(usage_of(family, command)) + "\n.br\n";
    }
    if (!family.description.empty()) {
        text += section("DESCRIPTION") + escaped(family.description) + "\n";
    }
    text += section("COMMANDS");
    for (const Command &command : family.commands) {
        text += command_section(family, command);
    }
    return {name + ".1", text + section("OPTIONS") + arguments_of(option_descriptions()) +
                             exit_codes() + section("SEE ALSO") + ".BR boardctl (1)\n"};
}

Page overview(const std::vector<Family> &families)
{
    std::string text = header("boardctl", "read and drive the board of a management controller") +
                       section("SYNOPSIS") +
                       ".B boardctl\n[\\fIOPTION\\fR]... \\fIFAMILY COMMAND\\fR "
                       "[\\fIARGUMENT\\fR]...\n" +
                       section("DESCRIPTION") +
                       "Reads and drives the board that this controller manages, through the\n"
                       "board_hal library. Commands are grouped in families; each has a page of\n"
                       "its own, such as\n.BR boardctl\\-power (1).\n" +
                       section("FAMILIES");
    for (const Family &family : families) {
        text += item(family.name, family.summary + ".");
    }
    text += section("OPTIONS") + arguments_of(option_descriptions()) + exit_codes() +
            section("ENVIRONMENT") +
            item("NO_COLOR", "If set and not empty, no colours are shown. Colours are shown on a "
                             "terminal only.") +
            section("SEE ALSO");
    for (const Family &family : families) {
        text += ".BR boardctl\\-" + escaped(family.name) + " (1)" +
                (&family == &families.back() ? "\n" : ",\n");
    }
    return {"boardctl.1", text};
}

} // namespace

std::vector<Page> manual_pages(const std::vector<Family> &families)
{
    std::vector<Page> pages = {overview(families)};
    for (const Family &family : families) {
        pages.push_back(page_of(family));
    }
    return pages;
}

} // namespace boardctl
