#include "boardctl/framework/describe.h"

#include <stdio.h>

namespace boardctl {

namespace {

std::string shown(int64_t value, bool in_hex)
{
    if (!in_hex || value < 10) {
        return std::to_string(value);
    }
    char buffer[24];
    snprintf(buffer, sizeof(buffer), "0x%llX", static_cast<unsigned long long>(value));
    return buffer;
}

std::string counted(size_t min, size_t max, const std::string &what)
{
    return min == max ? std::to_string(min) + " " + what
                      : std::to_string(min) + " to " + std::to_string(max) + " " + what;
}

struct Range {
    std::string operator()(const Number &number) const
    {
        return shown(number.min, number.in_hex) + " to " + shown(number.max, number.in_hex) +
               (number.unit.empty() ? "" : " " + number.unit);
    }
    std::string operator()(const Word &word) const
    {
        std::string all;
        for (const Choice &choice : word.choices) {
            all += (all.empty() ? "one of: " : ", ") + choice.name;
        }
        return all;
    }
    std::string operator()(const Text &text) const
    {
        const Text any;
        const bool is_any = text.min_length == any.min_length && text.max_length == any.max_length;
        return is_any ? "" : counted(text.min_length, text.max_length, "characters");
    }
    std::string operator()(const Bytes &list) const
    {
        return counted(list.min, list.max, "bytes (each 0 to 0xFF)");
    }
    std::string operator()(const InputFile &) const { return "file to read"; }
    std::string operator()(const OutputFile &) const { return "file to write"; }
    std::string operator()(const Flag &) const { return ""; }
    std::string operator()(const Form &form) const { return form.form; }
};

struct OptionValue {
    std::string operator()(const Number &) const { return " N"; }
    std::string operator()(const Word &) const { return " WORD"; }
    std::string operator()(const Text &) const { return " TEXT"; }
    std::string operator()(const Bytes &) const { return " BYTE..."; }
    std::string operator()(const InputFile &) const { return " FILE"; }
    std::string operator()(const OutputFile &) const { return " FILE"; }
    std::string operator()(const Flag &) const { return ""; }
    std::string operator()(const Form &) const { return " VALUE"; }
};

} // namespace

std::string full_name(const Family &family, const Command &command)
{
    return command.name.empty() ? family.name : family.name + " " + command.name;
}

std::string placeholder_of(const Argument &argument)
{
    std::string all = argument.name;
    if (argument.is_option()) {
        all += std::visit(OptionValue{}, argument.kind);
    } else if (argument.is_list()) {
        all += "...";
    }
    return argument.must_be_given() ? all : "[" + all + "]";
}

std::string usage_of(const Family &family, const Command &command)
{
    std::string all = "boardctl " + full_name(family, command);
    for (const Argument &argument : command.arguments) {
        all += " " + placeholder_of(argument);
    }
    return all;
}

std::string range_of(const Argument &argument)
{
    return std::visit(Range{}, argument.kind);
}

std::string line_of(const Example &example)
{
    const std::string line = "boardctl --virtual " + example.arguments;
    return example.before.empty() ? line : example.before + " && " + line;
}

std::function<std::string(const Arguments &)> always(const std::string &question)
{
    return [question](const Arguments &) { return question; };
}

} // namespace boardctl
