#include "virtual_board/backend/arguments.h"

#include <charconv>
#include <limits>

namespace virtual_board {

using nlohmann::json;

namespace {

std::string range(int64_t min, int64_t max)
{
    return "from " + std::to_string(min) + " to " + std::to_string(max);
}

std::optional<uint8_t> hexadecimal_byte(const std::string &word)
{
    const char *end = word.data() + word.size();
    const char *begin = word.data() + (word.starts_with("0x") ? 2 : 0);
    uint8_t byte = 0;
    const auto parsed = std::from_chars(begin, end, byte, 16);
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(byte) : std::nullopt;
}

std::vector<std::optional<uint8_t>> bytes_in(const std::string &text)
{
    std::vector<std::optional<uint8_t>> bytes;
    for (size_t at = text.find_first_not_of(' '); at != std::string::npos;) {
        const size_t end = std::min(text.find(' ', at), text.size());
        bytes.push_back(hexadecimal_byte(text.substr(at, end - at)));
        at = text.find_first_not_of(' ', end);
    }
    return bytes;
}

std::vector<std::optional<uint8_t>> bytes_in(const json &value)
{
    if (value.is_string()) {
        return bytes_in(value.get_ref<const std::string &>());
    }
    std::vector<std::optional<uint8_t>> bytes;
    for (const json &element : value) {
        const std::optional<int64_t> number = number_in(element);
        bytes.push_back(number && *number >= 0 && *number <= 0xFF
                            ? std::optional(static_cast<uint8_t>(*number))
                            : std::nullopt);
    }
    return bytes;
}

} // namespace

std::optional<int64_t> number_in(const json &value)
{
    if (value.is_number_unsigned()) {
        const auto number = value.get<uint64_t>();
        return number <= std::numeric_limits<int64_t>::max()
                   ? std::optional(static_cast<int64_t>(number))
                   : std::nullopt;
    }
    if (value.is_number_integer()) {
        return value.get<int64_t>();
    }
    if (!value.is_string() || !value.get_ref<const std::string &>().starts_with("0x")) {
        return {};
    }
    const auto &text = value.get_ref<const std::string &>();
    const char *end = text.data() + text.size();
    int64_t number = 0;
    const auto parsed = std::from_chars(text.data() + 2, end, number, 16);
    return parsed.ec == std::errc() && parsed.ptr == end && number >= 0 ? std::optional(number)
                                                                        : std::nullopt;
}

Arguments::Arguments(const json &request) : request_(request)
{
    if (!request.is_object()) {
        throw RequestError("a request is a JSON object");
    }
}

const json &Arguments::value(const std::string &name)
{
    asked_.insert(name);
    const auto found = request_.find(name);
    if (found == request_.end()) {
        throw RequestError("\"" + name + "\" is missing");
    }
    return *found;
}

std::string Arguments::text(const std::string &name)
{
    const json &given = value(name);
    if (!given.is_string()) {
        throw RequestError("\"" + name + "\" must be a text");
    }
    return given.get<std::string>();
}

std::string Arguments::text(const std::string &name, const std::string &otherwise)
{
    return has(name) ? text(name) : otherwise;
}

std::vector<std::string> Arguments::texts(const std::string &name)
{
    std::vector<std::string> all;
    if (!has(name)) {
        return all;
    }
    const json &given = value(name);
    if (!given.is_array()) {
        throw RequestError("\"" + name + "\" must be a list of texts");
    }
    for (const json &one : given) {
        if (!one.is_string()) {
            throw RequestError("\"" + name + "\" must be a list of texts");
        }
        all.push_back(one.get<std::string>());
    }
    return all;
}

int64_t Arguments::number(const std::string &name, int64_t min, int64_t max)
{
    const std::optional<int64_t> number = number_in(value(name));
    if (!number || *number < min || *number > max) {
        throw RequestError("\"" + name + "\" must be a number " + range(min, max));
    }
    return *number;
}

int64_t Arguments::number(const std::string &name, int64_t min, int64_t max, int64_t otherwise)
{
    return has(name) ? number(name, min, max) : otherwise;
}

bool Arguments::truth(const std::string &name, bool otherwise)
{
    if (!has(name)) {
        return otherwise;
    }
    const json &given = value(name);
    if (!given.is_boolean()) {
        throw RequestError("\"" + name + "\" must be true or false");
    }
    return given.get<bool>();
}

std::vector<uint8_t> Arguments::bytes(const std::string &name, size_t min, size_t max)
{
    const json &given = value(name);
    std::vector<uint8_t> bytes;
    if (given.is_string() || given.is_array()) {
        for (const std::optional<uint8_t> byte : bytes_in(given)) {
            if (!byte) {
                throw RequestError("\"" + name + "\": not every one is a byte");
            }
            bytes.push_back(*byte);
        }
    } else {
        throw RequestError("\"" + name + "\" must be a list of bytes, or a hexadecimal text");
    }
    if (bytes.size() < min || bytes.size() > max) {
        throw RequestError("\"" + name + "\" must be " + std::to_string(min) + " to " +
                           std::to_string(max) + " bytes");
    }
    return bytes;
}

void Arguments::end() const
{
    for (const auto &[name, given] : request_.items()) {
        if (!asked_.contains(name)) {
            throw RequestError("\"" + name + "\" is not an argument of this request");
        }
    }
}

} // namespace virtual_board
