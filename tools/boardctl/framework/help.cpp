#include "boardctl/framework/help.h"

#include <algorithm>
#include <utility>

#include "boardctl/framework/failure.h"
#include "boardctl/framework/options.h"

namespace boardctl {

namespace {

constexpr size_t text_width = 80;

using Lines = std::vector<std::pair<std::string, std::string>>;

// Breaks at blanks; following lines begin at the indent.
std::string wrapped(const std::string &text, size_t indent, size_t column)
{
    std::string all;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find(' ', begin), text.size());
        if (begin != 0) {
            const bool fits = column + 1 + end - begin <= text_width;
            all += fits ? " " : "\n" + std::string(indent, ' ');
            column = fits ? column + 1 : indent;
        }
        all += text.substr(begin, end - begin);
        column += end - begin;
        begin = end + 1;
    }
    return all;
}

std::string two_columns(const Lines &lines)
{
    size_t width = 0;
    for (const auto &[left, right] : lines) {
        width = std::max(width, std::min<size_t>(left.size(), 24));
    }
    const size_t indent = width + 4;
    std::string all;
    for (const auto &[left, right] : lines) {
        std::string begin = "  " + left;
        if (left.size() > width) {
            begin += "\n" + std::string(indent, ' ');
        } else {
            begin.resize(indent, ' ');
        }
        all += begin + wrapped(right, indent, indent) + '\n';
    }
    return all;
}

Lines lines_of(const std::vector<Argument> &arguments)
{
    Lines lines;
    for (const Argument &argument : arguments) {
        std::string left = placeholder_of(argument);
        if (left.starts_with('[')) {
            left = left.substr(1, left.size() - 2);
        }
        lines.emplace_back(left, explanation_of(argument));
    }
    return lines;
}

std::string section(const std::string &title, const Lines &lines)
{
    return lines.empty() ? "" : "\n" + title + ":\n" + two_columns(lines);
}

Lines exit_lines()
{
    Lines lines;
    for (const ExitMeaning &meaning : exit_meanings) {
        lines.emplace_back(std::to_string(meaning.code), meaning.words);
    }
    return lines;
}

std::string examples_of(const Command &command)
{
    std::string all = "\nExamples:\n";
    for (const Example &example : command.examples) {
        all += "  # " + example.what + "\n  " + line_of(example) + "\n";
    }
    return all;
}

std::string paragraph(const std::string &text)
{
    return text.empty() ? "" : "\n" + wrapped(text, 0, 0) + "\n";
}

} // namespace

std::string explanation_of(const Argument &argument)
{
    std::string all = argument.help;
    const std::string range = range_of(argument);
    if (!range.empty()) {
        all += "; " + range;
    }
    if (!argument.fallback.empty()) {
        all += "; " + argument.fallback + " if not given";
    }
    return all;
}

std::string help_of(const std::vector<Family> &families)
{
    Lines lines;
    for (const Family &family : families) {
        lines.emplace_back(family.name, family.summary);
    }
    return "usage: boardctl [OPTION]... FAMILY COMMAND [ARGUMENT]...\n\n"
           "Reads and drives the board that this controller manages.\n" +
           section("Families", lines) + section("Options", lines_of(option_descriptions())) +
           section("Exit codes", exit_lines()) +
           "\nExamples:\n"
           "  # Which board is this? Here, a virtual one\n"
           "  boardctl --virtual info\n"
           "\nMore: boardctl FAMILY --help, boardctl FAMILY COMMAND --help\n";
}

std::string help_of(const Family &family)
{
    Lines lines;
    for (const Command &command : family.commands) {
        lines.emplace_back(command.name, command.summary);
    }
    return "usage: boardctl " + family.name + " COMMAND [ARGUMENT]...\n\n" + family.summary + "\n" +
           paragraph(family.description) + section("Commands", lines) +
           examples_of(family.commands.front()) + "\nMore: boardctl " + family.name +
           " COMMAND --help\n";
}

std::string help_of(const Family &family, const Command &command)
{
    return "usage: " + usage_of(family, command) + "\n\n" + command.summary + "\n" +
           paragraph(command.description) +
           (command.asks ? "\nAsks first, unless --yes is given.\n" : "") +
           section("Arguments", lines_of(command.arguments)) + examples_of(command) +
           section("Options", lines_of(option_descriptions())) +
           section("Exit codes", exit_lines());
}

} // namespace boardctl
