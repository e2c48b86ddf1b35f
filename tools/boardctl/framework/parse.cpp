#include "boardctl/framework/parse.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <list>
#include <map>

#include "boardctl/framework/failure.h"
#include "boardctl/framework/help.h"

namespace boardctl {

namespace {

// What CLI11 found for the arguments of one command.
struct Found {
    std::map<std::string, std::vector<std::string>> words;
    std::map<std::string, bool> flags;
};

void add(CLI::App &app, const Argument &argument, Found &found)
{
    if (argument.is_flag()) {
        app.add_flag(argument.name, found.flags[argument.name]);
        return;
    }
    std::vector<std::string> &words = found.words[argument.name];
    CLI::Option *option =
        argument.is_list()
            ? app.add_option(argument.name, words)
            : app.add_option_function<std::string>(
                  argument.name, [&words](const std::string &word) { words = {word}; });
    option->required(argument.must_be_given());
}

void add(CLI::App &app, const std::vector<Argument> &arguments, Found &found)
{
    for (const Argument &argument : arguments) {
        add(app, argument, found);
    }
}

struct Leaf {
    const Family *family;
    const Command *command;
    CLI::App *app;
    Found found;
};

using Leaves = std::list<Leaf>;

void add_family(CLI::App &app, const Family &family, Leaves &leaves)
{
    CLI::App *const of_family = app.add_subcommand(family.name);
    of_family->set_help_flag();
    of_family->fallthrough();
    for (const Command &command : family.commands) {
        CLI::App *of_command = of_family;
        if (!command.name.empty()) {
            of_family->require_subcommand(1);
            of_command = of_family->add_subcommand(command.name);
            of_command->set_help_flag();
            of_command->fallthrough();
        }
        leaves.push_back({&family, &command, of_command, {}});
        add(*of_command, command.arguments, leaves.back().found);
    }
}

Options options_from(Found &found)
{
    const auto word = [&found](const char *name) {
        const std::vector<std::string> &words = found.words[name];
        return words.empty() ? std::string() : words.front();
    };
    return {found.flags["--json"],    found.flags["--verbose"], found.flags["--yes"],
            found.flags["--virtual"], word("--personality"),    word("--board")};
}

Arguments arguments_from(const Leaf &leaf)
{
    Arguments arguments(leaf.command->arguments);
    for (const auto &[name, words] : leaf.found.words) {
        if (!words.empty()) {
            arguments.give(name, words);
        }
    }
    for (const auto &[name, set] : leaf.found.flags) {
        if (set) {
            arguments.give(name, {});
        }
    }
    const std::string complaint =
        leaf.command->complaint ? leaf.command->complaint(arguments) : std::string();
    if (!complaint.empty()) {
        throw UsageError(complaint);
    }
    return arguments;
}

// The words that name a family and a command.
std::vector<std::string> names_among(const std::vector<std::string> &words)
{
    std::vector<std::string> names;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--board" || words[i] == "--personality") {
            ++i;
        } else if (!words[i].starts_with("-")) {
            names.push_back(words[i]);
        }
    }
    return names;
}

struct Named {
    const Family *family = nullptr;
    const Command *command = nullptr;
};

Named find(const std::vector<Family> &families, const std::vector<std::string> &names)
{
    Named named;
    for (const Family &family : families) {
        if (!names.empty() && family.name == names[0]) {
            named.family = &family;
            for (const Command &command : family.commands) {
                if (command.name.empty() || (names.size() > 1 && command.name == names[1])) {
                    named.command = &command;
                }
            }
        }
    }
    return named;
}

// A better reason than CLI11's where a name is wrong.
std::string wrong_name(const std::vector<Family> &families, const std::vector<std::string> &names)
{
    const Named named = find(families, names);
    if (names.empty()) {
        return "a family and a command are needed; see boardctl --help";
    }
    if (named.family == nullptr) {
        return "there is no family \"" + names[0] + "\"; see boardctl --help";
    }
    if (named.command == nullptr) {
        const std::string see = "; see boardctl " + names[0] + " --help";
        return names.size() < 2 ? "a command is needed" + see
                                : "there is no command \"" + names[0] + " " + names[1] + "\"" + see;
    }
    return {};
}

std::string help_for(const std::vector<Family> &families, const std::vector<std::string> &names)
{
    const Named named = find(families, names);
    if (names.empty()) {
        return help_of(families);
    }
    if (named.command != nullptr) {
        return help_of(*named.family, *named.command);
    }
    if (named.family == nullptr || names.size() > 1) {
        throw UsageError(wrong_name(families, names));
    }
    return help_of(*named.family);
}

void parse_words(CLI::App &app, const std::vector<Family> &families,
                 const std::vector<std::string> &words)
{
    std::vector<std::string> backwards(words.rbegin(), words.rend());
    try {
        app.parse(backwards);
    } catch (const CLI::ParseError &error) {
        const std::string reason = wrong_name(families, names_among(words));
        throw UsageError(reason.empty() ? error.what() : reason);
    }
}

bool asks_for(const std::vector<std::string> &words, const char *option)
{
    return std::find(words.begin(), words.end(), option) != words.end();
}

} // namespace

std::string usage_for(const std::vector<Family> &families, const std::vector<std::string> &words)
{
    const Named named = find(families, names_among(words));
    if (named.command != nullptr) {
        return usage_of(*named.family, *named.command);
    }
    return named.family != nullptr ? "boardctl " + named.family->name + " COMMAND"
                                   : "boardctl [OPTION]... FAMILY COMMAND [ARGUMENT]...";
}

Parsed parse(const std::vector<Family> &families, const std::vector<std::string> &words)
{
    if (asks_for(words, "--help") || asks_for(words, "-h")) {
        return {{}, help_for(families, names_among(words))};
    }
    if (asks_for(words, "--version")) {
        return {{}, "boardctl " BOARDCTL_VERSION "\n"};
    }
    CLI::App app;
    app.set_help_flag();
    app.require_subcommand(1);
    Found found;
    add(app, option_descriptions(), found);
    Leaves leaves;
    for (const Family &family : families) {
        add_family(app, family, leaves);
    }
    parse_words(app, families, words);
    const auto leaf = std::find_if(leaves.begin(), leaves.end(),
                                   [](const Leaf &one) { return one.app->parsed(); });
    return {Call{leaf->family, leaf->command, arguments_from(*leaf), options_from(found)}, {}};
}

} // namespace boardctl
