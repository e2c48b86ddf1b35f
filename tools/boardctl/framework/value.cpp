#include "boardctl/framework/value.h"

#include <inttypes.h>
#include <stdio.h>

#include <algorithm>

namespace boardctl {

namespace {

template <typename Numbers, typename Show> std::string joined(const Numbers &numbers, Show show)
{
    std::string all;
    for (const auto one : numbers) {
        all += (all.empty() ? "" : " ") + show(one);
    }
    return all;
}

std::string in_hex(uint64_t value, int digits)
{
    char buffer[24];
    snprintf(buffer, sizeof(buffer), "%0*" PRIX64, digits, value);
    return buffer;
}

} // namespace

Value number(int64_t value)
{
    return {value, std::to_string(value)};
}

Value hex(uint64_t value, int digits)
{
    return {static_cast<int64_t>(value), "0x" + in_hex(value, digits)};
}

Value yes_no(bool value)
{
    return {value, value ? "yes" : "no"};
}

Value on_off(bool value)
{
    return {value, value ? "on" : "off"};
}

Value text(const std::string &value)
{
    std::string shown = value;
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return {value, shown};
}

Value bytes(const std::vector<uint8_t> &values)
{
    return {std::vector<int64_t>(values.begin(), values.end()),
            joined(values, [](uint8_t one) { return in_hex(one, 2); })};
}

Value series(const std::vector<int64_t> &values)
{
    return {values, joined(values, [](int64_t one) { return std::to_string(one); })};
}

Value none(const std::string &shown)
{
    return {std::monostate{}, shown, Tone::faint};
}

Value refusal(int code)
{
    return {Refusal{code}, "error " + std::to_string(code), Tone::bad};
}

Value given(int result, const Value &value)
{
    return result == 0 ? value : refusal(result);
}

Value toned(Value value, Tone tone)
{
    value.tone = tone;
    return value;
}

Value shown_as(Value value, const std::string &shown)
{
    value.shown = shown;
    return value;
}

} // namespace boardctl
