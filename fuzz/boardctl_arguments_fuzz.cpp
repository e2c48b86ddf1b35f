// Command lines of boardctl: any words, one a line.
//
// Promised: they are refused in words that can be shown, or they are a text that
// was asked for, or a call whose arguments keep to their descriptions. Nothing is
// done yet: the board is not even opened.

#include <cstdint>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "boardctl/families/families.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/parse.h"
#include "fuzz/support/input.h"

using namespace boardctl;
using fuzz::require;

namespace {

void check(const Argument &argument, const Arguments &given)
{
    if (const auto *const number = std::get_if<Number>(&argument.kind)) {
        const int64_t value = given.number(argument.name);
        require(value >= number->min && value <= number->max, "a number is in its range");
    } else if (const auto *const text = std::get_if<Text>(&argument.kind)) {
        const size_t length = given.text(argument.name).size();
        require(length >= text->min_length && length <= text->max_length, "a text has its length");
    } else if (const auto *const bytes = std::get_if<Bytes>(&argument.kind)) {
        const size_t count = given.bytes(argument.name).size();
        require(count >= bytes->min && count <= bytes->max, "there are as many bytes as allowed");
    } else if (const auto *const form = std::get_if<Form>(&argument.kind)) {
        require(form->complaint(given.text(argument.name)).empty(), "a form is kept");
    }
}

void check(const Call &call)
{
    for (const Argument &argument : call.command->arguments) {
        require(call.arguments.has(argument.name) || !argument.must_be_given(),
                "what is required is there");
        if (call.arguments.has(argument.name)) {
            check(argument, call.arguments);
        }
    }
    if (call.command->asks) {
        call.command->asks(call.arguments); // empty: harmless as it stands
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::istringstream lines(std::string(reinterpret_cast<const char *>(data), size));
    std::vector<std::string> words;
    for (std::string word; std::getline(lines, word);) {
        words.push_back(word);
    }
    require(!usage_for(families(), words).empty(), "there is always a usage line");
    try {
        const Parsed parsed = parse(families(), words);
        require(parsed.call.has_value() != !parsed.text.empty(), "either a call or a text");
        if (parsed.call) {
            check(*parsed.call);
        }
    } catch (const UsageError &error) {
        require(error.what()[0] != '\0', "a refusal has words");
    }
    return 0;
}
