// Completion scripts. All three work alike: a table tells what may stand at a
// key, and a walk along the words makes the key: "" at the start, "cpld",
// "cpld read" once named, "cpld read 1" for its first argument, "cpld read --"
// for its options, "cpld watch --count" for the value of one.

#include <algorithm>
#include <set>

#include "boardctl/framework/options.h"
#include "boardctl/framework/pages.h"

namespace boardctl {

namespace {

struct Candidate {
    std::string word;
    std::string help;
};

struct Rule {
    std::string key;
    std::vector<Candidate> candidates;
    bool files = false;
};

Rule rule_for(const std::string &key, const Argument &argument)
{
    Rule rule{key, {}};
    if (const Word *word = std::get_if<Word>(&argument.kind)) {
        for (const Choice &choice : word->choices) {
            rule.candidates.push_back({choice.name, choice.help});
        }
    } else if (const Form *form = std::get_if<Form>(&argument.kind)) {
        for (const std::string &candidate : form->candidates) {
            rule.candidates.push_back({candidate, ""});
        }
    }
    rule.files = std::holds_alternative<InputFile>(argument.kind) ||
                 std::holds_alternative<OutputFile>(argument.kind);
    return rule;
}

bool offers(const Rule &rule)
{
    return rule.files || !rule.candidates.empty();
}

void add_arguments(std::vector<Rule> &rules, const std::string &name,
                   const std::vector<Argument> &arguments)
{
    Rule options{name + " --", {}};
    int place = 0;
    for (const Argument &argument : arguments) {
        if (argument.is_option()) {
            options.candidates.push_back({argument.name, argument.help});
        }
        const Rule rule =
            rule_for(name + " " + (argument.is_option() ? argument.name : std::to_string(++place)),
                     argument);
        if (offers(rule)) {
            rules.push_back(rule);
        }
    }
    if (offers(options)) {
        rules.push_back(options);
    }
}

std::vector<Rule> rules_of(const std::vector<Family> &families)
{
    Rule top{"", {}};
    std::vector<Rule> rules;
    for (const Family &family : families) {
        top.candidates.push_back({family.name, family.summary});
        Rule commands{family.name, {}};
        for (const Command &command : family.commands) {
            if (!command.name.empty()) {
                commands.candidates.push_back({command.name, command.summary});
            }
            add_arguments(rules, full_name(family, command), command.arguments);
        }
        if (offers(commands)) {
            rules.push_back(commands);
        }
    }
    rules.insert(rules.begin(), top);
    return rules;
}

std::vector<std::string> names_of(const std::vector<Family> &families)
{
    std::vector<std::string> names;
    for (const Family &family : families) {
        names.push_back(family.name);
        for (const Command &command : family.commands) {
            if (!command.name.empty()) {
                names.push_back(full_name(family, command));
            }
        }
    }
    return names;
}

// Options that are followed by a value.
std::set<std::string> value_options(const std::vector<Family> &families)
{
    std::set<std::string> names;
    const auto add = [&names](const std::vector<Argument> &arguments) {
        for (const Argument &argument : arguments) {
            if (argument.is_option() && !argument.is_flag()) {
                names.insert(argument.name);
            }
        }
    };
    add(option_descriptions());
    for (const Family &family : families) {
        for (const Command &command : family.commands) {
            add(command.arguments);
        }
    }
    return names;
}

template <typename Words>
std::string joined(const Words &words, const std::string &between, const std::string &quote = "")
{
    std::string all;
    for (const std::string &word : words) {
        all += (all.empty() ? "" : between) + quote + word + quote;
    }
    return all;
}

// In single quotes; `quote` is how the shell writes one inside of them.
std::string quoted(const std::string &text, const std::string &quote)
{
    std::string all = "'";
    for (const char c : text) {
        all += c == '\'' ? quote : std::string(1, c);
    }
    return all + "'";
}

constexpr const char *posix_quote = "'\\''";
constexpr const char *fish_quote = "\\'";

Rule global_rule()
{
    Rule rule{"", {}};
    for (const Argument &option : option_descriptions()) {
        rule.candidates.push_back({option.name, option.help});
    }
    return rule;
}

// ---- bash ----------------------------------------------------------------------

std::string bash_words(const Rule &rule)
{
    std::vector<std::string> words;
    for (const Candidate &candidate : rule.candidates) {
        words.push_back(candidate.word);
    }
    return rule.files ? "<file>" : joined(words, " ");
}

std::string bash_completion(const std::vector<Family> &families)
{
    std::string table;
    for (const Rule &rule : rules_of(families)) {
        table += "    '" + rule.key + "') echo '" + bash_words(rule) + "' ;;\n";
    }
    return "# bash completion of boardctl. Made by boardctl_pages; do not edit.\n\n"
           "_boardctl_words()\n{\n    case $1 in\n" +
           table +
           "    esac\n}\n\n"
           "_boardctl_is_name()\n{\n    case $1 in\n    " +
           joined(names_of(families), " | ", "'") +
           ") return 0 ;;\n    esac\n    return 1\n}\n\n"
           "_boardctl()\n{\n"
           "    local key='' option='' place=1 current=${COMP_WORDS[COMP_CWORD]} word words i\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        word=${COMP_WORDS[i]}\n"
           "        if [[ -n $option ]]; then\n"
           "            option=''\n"
           "        elif [[ ' " +
           joined(value_options(families), " ") +
           " ' == *\" $word \"* ]]; then\n"
           "            option=$word\n"
           "        elif [[ $word == -* ]]; then\n"
           "            :\n"
           "        elif _boardctl_is_name \"${key:+$key }$word\"; then\n"
           "            key=${key:+$key }$word\n"
           "        else\n"
           "            ((++place))\n"
           "        fi\n"
           "    done\n"
           "    if [[ -n $option ]]; then\n"
           "        words=$(_boardctl_words \"$key $option\")\n"
           "    elif [[ $current == -* ]]; then\n"
           "        words=\"$(_boardctl_words \"$key --\") " +
           bash_words(global_rule()) +
           "\"\n"
           "    else\n"
           "        words=$(_boardctl_words \"$key\")\n"
           "        [[ -n $words ]] || words=$(_boardctl_words \"$key $place\")\n"
           "    fi\n"
           "    if [[ $words == '<file>' ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "        compopt -o filenames 2>/dev/null\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    fi\n"
           "}\n\n"
           "complete -F _boardctl boardctl\n";
}

// ---- zsh -----------------------------------------------------------------------

// "word:help" for _describe; a colon in the word itself would end it.
std::string zsh_entries(const Rule &rule)
{
    std::string all;
    for (const Candidate &candidate : rule.candidates) {
        const std::string help = candidate.help.empty() ? "" : ":" + candidate.help;
        all += (all.empty() ? "" : " ") + quoted(candidate.word + help, posix_quote);
    }
    return all;
}

std::string zsh_completion(const std::vector<Family> &families)
{
    std::string table;
    for (const Rule &rule : rules_of(families)) {
        table += "    '" + rule.key + "') " +
                 (rule.files ? "files=1" : "entries+=(" + zsh_entries(rule) + ")") + " ;;\n";
    }
    return "#compdef boardctl\n# zsh completion of boardctl. Made by boardctl_pages; do not "
           "edit.\n\n"
           "# Adds what may stand at a key to the caller's entries.\n"
           "_boardctl_add()\n{\n    case $1 in\n" +
           table +
           "    esac\n}\n\n"
           "_boardctl()\n{\n"
           "    local key='' option='' files='' word\n"
           "    local -i i place=1\n"
           "    local -a entries names value_options\n"
           "    names=(" +
           joined(names_of(families), " ", "'") + ")\n    value_options=(" +
           joined(value_options(families), " ") +
           ")\n"
           "    for ((i = 2; i < CURRENT; ++i)); do\n"
           "        word=${words[i]}\n"
           "        if [[ -n $option ]]; then\n"
           "            option=''\n"
           "        elif (( ${value_options[(Ie)$word]} )); then\n"
           "            option=$word\n"
           "        elif [[ $word == -* ]]; then\n"
           "            :\n"
           "        elif (( ${names[(Ie)${key:+$key }$word]} )); then\n"
           "            key=${key:+$key }$word\n"
           "        else\n"
           "            ((++place))\n"
           "        fi\n"
           "    done\n"
           "    if [[ -n $option ]]; then\n"
           "        _boardctl_add \"$key $option\"\n"
           "    elif [[ ${words[CURRENT]} == -* ]]; then\n"
           "        _boardctl_add \"$key --\"\n"
           "        entries+=(" +
           zsh_entries(global_rule()) +
           ")\n"
           "    else\n"
           "        _boardctl_add \"$key\"\n"
           "        (( ${#entries} )) || _boardctl_add \"$key $place\"\n"
           "    fi\n"
           "    if [[ -n $files ]]; then\n"
           "        _files\n"
           "    else\n"
           "        _describe boardctl entries\n"
           "    fi\n"
           "}\n\n"
           "_boardctl \"$@\"\n";
}

// ---- fish ----------------------------------------------------------------------

std::string fish_entries(const Rule &rule)
{
    if (rule.files) {
        return "__fish_complete_path (commandline -ct)";
    }
    std::string all = "printf '%s\\t%s\\n'";
    for (const Candidate &candidate : rule.candidates) {
        all += " " + quoted(candidate.word, fish_quote) + " " + quoted(candidate.help, fish_quote);
    }
    return all;
}

std::string fish_completion(const std::vector<Family> &families)
{
    std::string table;
    for (const Rule &rule : rules_of(families)) {
        table += "        case '" + rule.key + "'\n            " + fish_entries(rule) + "\n";
    }
    return "# fish completion of boardctl. Made by boardctl_pages; do not edit.\n\n"
           "function __boardctl_words\n    switch \"$argv[1]\"\n" +
           table +
           "    end\nend\n\n"
           "function __boardctl_complete\n"
           "    set -l names " +
           joined(names_of(families), " ", "'") + "\n    set -l value_options " +
           joined(value_options(families), " ") +
           "\n    set -l key ''\n"
           "    set -l option ''\n"
           "    set -l place 1\n"
           "    for word in (commandline -opc)[2..-1]\n"
           "        if test -n \"$option\"\n"
           "            set option ''\n"
           "        else if contains -- \"$word\" $value_options\n"
           "            set option $word\n"
           "        else if string match -q -- '-*' \"$word\"\n"
           "            continue\n"
           "        else if contains -- (string trim -- \"$key $word\") $names\n"
           "            set key (string trim -- \"$key $word\")\n"
           "        else\n"
           "            set place (math $place + 1)\n"
           "        end\n"
           "    end\n"
           "    if test -n \"$option\"\n"
           "        __boardctl_words \"$key $option\"\n"
           "    else if string match -q -- '-*' (commandline -ct)\n"
           "        __boardctl_words \"$key --\"\n"
           "        " +
           fish_entries(global_rule()) +
           "\n    else\n"
           "        set -l words (__boardctl_words \"$key\")\n"
           "        test -n \"$words\"; or set words (__boardctl_words \"$key $place\")\n"
           "        printf '%s\\n' $words\n"
           "    end\n"
           "end\n\n"
           "complete -c boardctl -f -a '(__boardctl_complete)'\n";
}

} // namespace

std::vector<Page> completions(const std::vector<Family> &families)
{
    return {{"boardctl.bash", bash_completion(families)},
            {"_boardctl", zsh_completion(families)},
            {"boardctl.fish", fish_completion(families)}};
}

} // namespace boardctl
