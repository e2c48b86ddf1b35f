#include "tests/bootenv/environment_model.h"

#include <algorithm>
#include <array>

namespace environment_model {

using namespace std::string_literals;

namespace {

// Searches see NULs behind the block.
std::string padded_data(const std::string &block)
{
    return block.substr(data_start) + "\0\0"s;
}

// Overwrites bytes of the block from a place in the data area on.
std::string with(std::string block, std::size_t data_at, const std::string &text)
{
    return block.replace(data_start + data_at, text.size(), text);
}

// The reflected CRC-32, bit by bit but for a table of what a byte does.
uint32_t checksum(std::string_view bytes)
{
    static const auto after_byte = [] {
        std::array<uint32_t, 256> table;
        for (uint32_t n = 0; n < table.size(); ++n) {
            table[n] = n;
            for (int bit = 0; bit < 8; ++bit) {
                table[n] = table[n] >> 1 ^ ((table[n] & 1) != 0 ? 0xEDB88320 : 0);
            }
        }
        return table;
    }();
    uint32_t reg = 0xFFFFFFFF;
    for (const char byte : bytes) {
        reg = reg >> 8 ^ after_byte[(reg ^ static_cast<uint8_t>(byte)) & 0xFF];
    }
    return ~reg;
}

std::string not_terminated(const std::string &operation)
{
    return operation + ": error, environment not terminated\n";
}

} // namespace

std::string block_of(const std::string &data, char fill)
{
    std::string block = "\x11\x22\x33\x44" + data;
    block.resize(block_size, fill);
    return block;
}

std::string data_with_room(std::size_t room)
{
    // The new entry takes the place of the second NUL.
    return "x=" + std::string(data_size - room - 3, 'x') + "\0\0"s;
}

std::string summed(std::string block)
{
    const uint32_t sum = checksum(std::string_view(block).substr(data_start));
    for (std::size_t i = 0; i < data_start; ++i) {
        block[i] = static_cast<char>(sum >> 8 * i);
    }
    return block;
}

bool checksum_holds(const std::string &block)
{
    return summed(block) == block;
}

Walk walk(const std::string &block)
{
    const std::string data = block.substr(data_start);
    Walk result;
    std::size_t at = 0;
    while (at < data.size() && data[at] != '\0') {
        const std::size_t nul = data.find('\0', at);
        if (nul == std::string::npos) {
            result.terminated = false;
            return result;
        }
        result.entries.push_back({at, data.substr(at, nul - at)});
        at = nul + 1;
    }
    return result;
}

std::optional<std::string> value_of(const std::string &name, const std::string &text)
{
    const std::string prefix = name.substr(0, name.find('=')) + "=";
    if (!text.starts_with(prefix)) {
        return std::nullopt;
    }
    return text.substr(prefix.size());
}

std::optional<std::string> removed(const std::string &block, const Entry &entry)
{
    const std::string data = padded_data(block);
    const std::size_t next = entry.at + entry.text.size() + 1;
    if (data[next] == '\0') {
        return with(block, entry.at, "\0\0"s);
    }
    const std::size_t end = data.find("\0\0"s, next);
    if (end >= data_size) {
        return std::nullopt;
    }
    return with(block, entry.at, data.substr(next, end - next) + "\0\0"s);
}

std::optional<std::string> appended(const std::string &block, const std::string &name,
                                    const std::string &value)
{
    std::size_t at = padded_data(block).find("\0\0"s);
    at += at > 0 ? 1 : 0;
    const std::string entry = name + "=" + value + "\0\0"s;
    if (at + entry.size() > data_size) {
        return std::nullopt;
    }
    return with(block, at, entry);
}

Outcome get(const std::string &block, const std::string &name)
{
    const Walk walked = walk(block);
    Outcome outcome{0, "", block};
    for (const Entry &entry : walked.entries) {
        const auto value = value_of(name, entry.text);
        outcome.value = value ? value : outcome.value;
    }
    if (!walked.terminated) {
        outcome.result = -1;
        outcome.output = not_terminated("get_uboot_env");
    }
    return outcome;
}

Outcome set(const std::string &block, const std::string &name, const Text &value)
{
    if (name == "ubootpwd" && !value) {
        return {-2, "set_uboot_env: error, empty password\n", block};
    }
    const Walk walked = walk(block);
    const auto found =
        std::find_if(walked.entries.begin(), walked.entries.end(),
                     [&](const Entry &entry) { return value_of(name, entry.text).has_value(); });
    const bool present = found != walked.entries.end();
    const auto without = present             ? removed(block, *found)
                         : walked.terminated ? std::optional(block)
                                             : std::nullopt;
    if (!without) {
        return {-1, not_terminated("set_uboot_env"), block};
    }
    const auto after = value ? appended(*without, name, *value) : without;
    if (!after) {
        return {-1, "set_uboot_env: error, environment overflow, \"" + name + "\" deleted\n",
                block};
    }
    return {0, "", summed(*after)};
}

Outcome print(const std::string &block, const Text &name)
{
    const Walk walked = walk(block);
    std::string lines;
    for (const Entry &entry : walked.entries) {
        if (!name) {
            lines += entry.text + "\n";
        } else if (const auto value = value_of(*name, entry.text)) {
            return {0, *name + "=" + *value + "\n", block};
        }
    }
    if (!walked.terminated) {
        return {-1, lines + not_terminated("print_uboot_env"), block};
    }
    if (name) {
        return {-2, "print_uboot_env: error,  \"" + *name + "\" not defined\n", block};
    }
    return {0, lines, block};
}

std::size_t RandomEnvironment::below(std::size_t limit)
{
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
}

std::string RandomEnvironment::text(std::size_t longest, std::string_view letters)
{
    std::string result(below(longest + 1), '\0');
    for (char &letter : result) {
        letter = letters[below(letters.size())];
    }
    return result;
}

std::string RandomEnvironment::sound_block()
{
    const std::size_t size = below(3) == 0 ? data_size - below(40) : below(200);
    std::string data;
    while (data.size() < size) {
        data += (below(8) == 0 ? "a" : name()) + "=" +
                text(std::min<std::size_t>(size - data.size(), 30), "abc=") + "\0"s;
    }
    data += "\0"s + text(40, "xyz\0"s);
    return block_of(data, below(2) == 0 ? '\0' : 'z');
}

std::string RandomEnvironment::wild_block()
{
    const std::string letters =
        "ab="s + std::string(below(3), '\0') + std::string(below(2) == 0 ? 0 : 60, 'x');
    const std::string data = text(data_size, letters);
    std::string block = block_of(data, "\0x\xFF"s[below(3)]);
    if (below(3) == 0) {
        block.back() = '\0';
    }
    return block;
}

} // namespace environment_model
