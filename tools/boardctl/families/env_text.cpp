#include "boardctl/families/env_text.h"

#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

std::string escaped(const std::string &name, const std::string &value)
{
    if (value.ends_with('\\') || value.find("\\\n") != std::string::npos) {
        throw Trouble(name + ": a backslash at the end of a line cannot be written as text");
    }
    std::string all;
    for (const char c : value) {
        all += c == '\n' ? "\\\n" : std::string(1, c);
    }
    return all;
}

// The next line with what continues it; `at` moves behind it.
std::string next_line(const std::string &text, size_t &at)
{
    std::string line;
    for (; at < text.size() && text[at] != '\n'; ++at) {
        const bool goes_on = text[at] == '\\' && at + 1 < text.size() && text[at + 1] == '\n';
        line += goes_on ? text[++at] : text[at];
    }
    ++at;
    return line;
}

void add(Variables &variables, const std::string &line, size_t number)
{
    const size_t equals = line.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw Trouble("line " + std::to_string(number) + " is not \"name=value\"");
    }
    if (!variables.emplace(line.substr(0, equals), line.substr(equals + 1)).second) {
        throw Trouble("line " + std::to_string(number) + ": \"" + line.substr(0, equals) +
                      "\" is there twice");
    }
}

} // namespace

std::string text_of(const Variables &variables)
{
    std::string text;
    for (const auto &[name, value] : variables) {
        text += name + "=" + escaped(name, value) + "\n";
    }
    return text;
}

Variables variables_of(const std::string &text)
{
    if (text.find('\0') != std::string::npos) {
        throw Trouble("is no text");
    }
    Variables variables;
    size_t number = 0;
    for (size_t at = 0; at < text.size();) {
        ++number;
        const std::string line = next_line(text, at);
        if (!line.empty() && line.front() != '#') {
            add(variables, line, number);
        }
    }
    return variables;
}

} // namespace boardctl
