#include "board_inventory/value.h"

#include <stdio.h>

#include <algorithm>

namespace board_inventory {

namespace {

bool printable(char c)
{
    return c >= 0x20 && c < 0x7F;
}

std::string formatted(const char *format, unsigned value)
{
    char text[16];
    snprintf(text, sizeof(text), format, value);
    return text;
}

std::string escaped(char c)
{
    switch (c) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return printable(c) ? std::string(1, c)
                            : formatted("\\u%04x", static_cast<unsigned char>(c));
    }
}

} // namespace

std::string quoted(const std::string &value)
{
    std::string json = "\"";
    for (const char c : value) {
        json += escaped(c);
    }
    return json + '"';
}

Value number(long long value)
{
    return {std::to_string(value), std::to_string(value), true};
}

Value hex(unsigned value, int digits)
{
    char shown[16];
    snprintf(shown, sizeof(shown), "0x%0*X", digits, value);
    return {shown, std::to_string(value), true};
}

Value yes_no(bool value)
{
    return {value ? "yes" : "no", value ? "true" : "false"};
}

Value text(const std::string &value)
{
    std::string shown = value;
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return !printable(c); }, '?');
    return {shown, quoted(value)};
}

Value letter(uint8_t value)
{
    const auto character = static_cast<char>(value);
    return printable(character) ? text(std::string(1, character)) : hex(value);
}

Value series(const std::vector<Value> &numbers)
{
    Value all;
    for (const Value &one : numbers) {
        all.shown += (all.shown.empty() ? "" : " ") + one.shown;
        all.json += (all.json.empty() ? "" : ", ") + one.json;
    }
    all.json = '[' + all.json + ']';
    return all;
}

Value none()
{
    return {"n.a.", "null"};
}

Value settling()
{
    return text("settling");
}

Value error(int code)
{
    return text("error " + std::to_string(code));
}

Value given(int result, const Value &value)
{
    return result == 0 ? value : error(result);
}

} // namespace board_inventory
