#include "upgrade_service/json.h"

#include <stdio.h>

namespace upgrade_service {

namespace {

std::string quoted(const std::string &text)
{
    std::string all = "\"";
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            all += {'\\', c};
        } else if (code < 0x20 || code >= 0x7F) {
            // Paths may hold any byte; JSON must be UTF-8.
            char escape[8];
            snprintf(escape, sizeof(escape), "\\u%04x", code);
            all += escape;
        } else {
            all += c;
        }
    }
    return all + '"';
}

} // namespace

JsonLine &JsonLine::add(const char *key, const std::string &value)
{
    members_ += (members_.empty() ? "" : ", ") + quoted(key) + ": " + value;
    return *this;
}

JsonLine &JsonLine::text(const char *key, const std::string &value)
{
    return add(key, quoted(value));
}

JsonLine &JsonLine::texts(const char *key, const std::vector<std::string> &values)
{
    std::string all;
    for (const std::string &value : values) {
        all += (all.empty() ? "" : ", ") + quoted(value);
    }
    return add(key, '[' + all + ']');
}

JsonLine &JsonLine::number(const char *key, long long value)
{
    return add(key, std::to_string(value));
}

JsonLine &JsonLine::truth(const char *key, bool value)
{
    return add(key, value ? "true" : "false");
}

JsonLine &JsonLine::null(const char *key)
{
    return add(key, "null");
}

} // namespace upgrade_service
