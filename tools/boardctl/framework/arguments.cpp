#include "boardctl/framework/arguments.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

[[noreturn]] void refuse(const Argument &argument, const std::string &why)
{
    throw UsageError(argument.name + ": " + why);
}

int64_t checked_number(const Argument &argument, const Number &number, const std::string &word)
{
    const std::optional<int64_t> value = number_from(word);
    if (!value) {
        refuse(argument, "\"" + word + "\" is not a number");
    }
    if (*value < number.min || *value > number.max) {
        refuse(argument, word + " is not " + range_of(argument));
    }
    return *value;
}

const Choice &checked_choice(const Argument &argument, const Word &word, const std::string &name)
{
    const auto found = std::find_if(word.choices.begin(), word.choices.end(),
                                    [&name](const Choice &one) { return one.name == name; });
    if (found == word.choices.end()) {
        refuse(argument, "\"" + name + "\" is not " + range_of(argument));
    }
    return *found;
}

struct Check {
    const Argument &argument;
    const std::vector<std::string> &words;

    const std::string &word() const { return words.front(); }

    void operator()(const Number &number) const { checked_number(argument, number, word()); }
    void operator()(const Word &choices) const { checked_choice(argument, choices, word()); }
    void operator()(const Text &text) const
    {
        if (word().size() < text.min_length || word().size() > text.max_length) {
            const std::string range = range_of(argument);
            refuse(argument, range.empty() ? "is empty or too long" : "is not " + range);
        }
    }
    void operator()(const Bytes &bytes) const
    {
        if (words.size() < bytes.min || words.size() > bytes.max) {
            refuse(argument, std::to_string(words.size()) + " are not " + range_of(argument));
        }
        for (const std::string &one : words) {
            const std::optional<int64_t> value = number_from(one);
            if (!value || *value < 0 || *value > UINT8_MAX) {
                refuse(argument, "\"" + one + "\" is not a byte (0 to 0xFF)");
            }
        }
    }
    void operator()(const InputFile &) const
    {
        if (access(word().c_str(), R_OK) != 0) {
            refuse(argument, "\"" + word() + "\" cannot be read");
        }
    }
    void operator()(const OutputFile &) const
    {
        if (word().empty()) {
            refuse(argument, "is empty");
        }
    }
    void operator()(const Flag &) const {}
    void operator()(const Form &form) const
    {
        const std::string complaint = form.complaint(word());
        if (!complaint.empty()) {
            refuse(argument, complaint);
        }
    }
};

} // namespace

std::optional<int64_t> number_from(const std::string &word)
{
    const bool negative = word.starts_with('-');
    std::string digits = word.substr(negative ? 1 : 0);
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.erase(0, 2);
        base = 16;
    }
    int64_t value = 0;
    const char *end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, value, base);
    if (error != std::errc() || rest != end || digits.starts_with('-')) {
        return {};
    }
    return negative ? -value : value;
}

const Argument &Arguments::description(const std::string &name) const
{
    const auto found =
        std::find_if(described_->begin(), described_->end(),
                     [&name](const Argument &argument) { return argument.name == name; });
    if (found == described_->end()) {
        throw std::logic_error("no argument " + name + " is described");
    }
    return *found;
}

void Arguments::give(const std::string &name, const std::vector<std::string> &words)
{
    const Argument &argument = description(name);
    std::visit(Check{argument, words}, argument.kind);
    given_[name] = words;
}

std::vector<std::string> Arguments::words(const std::string &name) const
{
    const Argument &argument = description(name);
    const auto found = given_.find(name);
    if (found != given_.end()) {
        return found->second;
    }
    return argument.fallback.empty() ? std::vector<std::string>{}
                                     : std::vector<std::string>{argument.fallback};
}

bool Arguments::has(const std::string &name) const
{
    return !words(name).empty();
}

int64_t Arguments::number(const std::string &name) const
{
    const Argument &argument = description(name);
    const std::string word = text(name);
    if (const Word *choices = std::get_if<Word>(&argument.kind)) {
        return checked_choice(argument, *choices, word).value;
    }
    return checked_number(argument, std::get<Number>(argument.kind), word);
}

std::string Arguments::text(const std::string &name) const
{
    const std::vector<std::string> all = words(name);
    if (all.empty()) {
        throw std::logic_error(name + " is read but was not given");
    }
    return all.front();
}

std::vector<uint8_t> Arguments::bytes(const std::string &name) const
{
    std::vector<uint8_t> all;
    for (const std::string &word : words(name)) {
        all.push_back(static_cast<uint8_t>(number_from(word).value_or(0)));
    }
    return all;
}

bool Arguments::flag(const std::string &name) const
{
    description(name);
    return given_.contains(name);
}

} // namespace boardctl
