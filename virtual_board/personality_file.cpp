#include "virtual_board/personality_file.h"

#include <stdint.h>
#include <stdio.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>
#include <set>
#include <sstream>

namespace virtual_board {

namespace {

// Keys stay in the order in which they are written.
using Json = nlohmann::ordered_json;
using Values = std::vector<uint32_t>;

enum class Kind { truth, number, code }; // a code is written in hexadecimal

// One key. A scalar has `most` 0; otherwise it is a list of `least` to `most`.
struct Key {
    const char *group; // "" at the top
    const char *name;
    Kind kind;
    uint32_t min;
    uint32_t max;
    size_t least;
    size_t most;
    Values (*get)(const Personality &);
    void (*set)(Personality &, const Values &);
};

// Members, and members of members.
template <auto member, auto... inner> auto &member_of(auto &object)
{
    if constexpr (sizeof...(inner) == 0) {
        return object.*member;
    } else {
        return member_of<inner...>(object.*member);
    }
}

template <auto... members>
constexpr Key scalar(const char *group, const char *name, Kind kind, uint32_t min, uint32_t max)
{
    return {group,
            name,
            kind,
            min,
            max,
            0,
            0,
            [](const Personality &from) -> Values {
                return {static_cast<uint32_t>(member_of<members...>(from))};
            },
            [](Personality &to, const Values &values) {
                auto &member = member_of<members...>(to);
                member = static_cast<std::remove_reference_t<decltype(member)>>(values[0]);
            }};
}

template <auto member>
constexpr Key fixed_list(const char *group, const char *name, Kind kind, uint32_t max)
{
    const size_t count =
        std::tuple_size_v<std::remove_reference_t<decltype(Personality{}.*member)>>;
    return {group,
            name,
            kind,
            0,
            max,
            count,
            count,
            [](const Personality &from) {
                return Values((from.*member).begin(), (from.*member).end());
            },
            [](Personality &to, const Values &values) {
                using Element = std::remove_reference_t<decltype((to.*member)[0])>;
                for (size_t i = 0; i < (to.*member).size(); ++i) {
                    (to.*member)[i] = static_cast<Element>(values[i]);
                }
            }};
}

constexpr uint32_t flash_max = 0x10000000;
constexpr uint32_t erase_min = 0x100;
constexpr uint32_t erase_max = 0x1000000;
constexpr size_t partitions_max = 6; // the BIOS flash comes after them
constexpr size_t name_max = 63;
constexpr size_t file_max = 1 << 20;

using P = Personality;

const Key keys[] = {
    scalar<&P::board_id>("identity", "board_id", Kind::code, 0, 0xFF),
    scalar<&P::pcb_version>("identity", "pcb_version", Kind::number, 0, 0xFF),
    scalar<&P::bom_version>("identity", "bom_version", Kind::number, 0, 0xFF),
    scalar<&P::product_id>("identity", "product_id", Kind::code, 0, 0xFF),
    scalar<&P::cpld_version>("identity", "cpld_version", Kind::code, 0, 0xFF),
    fixed_list<&P::cpld_compile_time>("identity", "cpld_compile_time", Kind::code, 0xFF),
    scalar<&P::base_board_id>("identity", "base_board_id", Kind::code, 0, 0xFF),
    scalar<&P::blade_pcb_version>("identity", "blade_pcb_version", Kind::number, 0, 0xFF),
    scalar<&P::slot_number>("identity", "slot_number", Kind::number, 0, 15),
    scalar<&P::host_powered>("host", "powered", Kind::truth, 0, 1),
    scalar<&P::power_button_locked>("host", "power_button_locked", Kind::truth, 0, 1),
    scalar<&P::serial_route>("host", "serial_route", Kind::code, 0, 0xFF),
    fixed_list<&P::cpus_fitted>("fitted", "cpus", Kind::truth, 1),
    scalar<&P::cpu_generation>("fitted", "cpu_generation", Kind::number, 0, 7),
    fixed_list<&P::disks_fitted>("fitted", "disks", Kind::truth, 1),
    scalar<&P::raid_card_fitted>("fitted", "raid_card", Kind::truth, 0, 1),
    scalar<&P::board_6_fitted>("fitted", "board_6", Kind::truth, 0, 1),
    scalar<&P::amc_modules>("fitted", "amc_modules", Kind::code, 0, 0xFF),
    fixed_list<&P::hdd_backplane_ports>("fitted", "hdd_backplane_ports", Kind::number, 15),
    scalar<&P::board_2_pcb_version>("sub_boards", "board_2_pcb_version", Kind::number, 0, 7),
    scalar<&P::board_3_pcb_version>("sub_boards", "board_3_pcb_version", Kind::number, 0, 7),
    scalar<&P::board_3_id>("sub_boards", "board_3_id", Kind::number, 0, 15),
    scalar<&P::flash, &FlashLayout::erase_size>("flash", "erase_size", Kind::code, erase_min,
                                                erase_max),
    {"flash", "partitions", Kind::code, 1, flash_max, 1, partitions_max,
     [](const Personality &from) { return from.flash.partitions; },
     [](Personality &to, const Values &values) { to.flash.partitions = values; }},
    scalar<&P::flash, &FlashLayout::checks_access>("flash", "checks_access", Kind::truth, 0, 1),
    scalar<&P::bios_flash, &NorGeometry::size>("bios_flash", "size", Kind::code, 1, flash_max),
    scalar<&P::bios_flash, &NorGeometry::erase_size>("bios_flash", "erase_size", Kind::code,
                                                     erase_min, erase_max),
};

const Key *find_key(const std::string &group, const std::string &name)
{
    const auto *found = std::find_if(std::begin(keys), std::end(keys), [&](const Key &key) {
        return key.group == group && key.name == name;
    });
    return found == std::end(keys) ? nullptr : found;
}

bool is_group(const std::string &name)
{
    return std::any_of(std::begin(keys), std::end(keys),
                       [&name](const Key &key) { return key.group == name; });
}

std::string hexadecimal(uint32_t value)
{
    char text[16];
    snprintf(text, sizeof(text), "0x%02X", value);
    return text;
}

std::string number_text(const Key &key, uint32_t value)
{
    return key.kind == Kind::code ? hexadecimal(value) : std::to_string(value);
}

// Names are put into messages and paths: no control characters.
std::string printable(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '?');
    return text;
}

// A number, or a text such as "0x1F".
std::optional<uint64_t> number_in(const Json &value)
{
    if (value.is_number_unsigned()) {
        return value.get<uint64_t>();
    }
    if (!value.is_string()) {
        return {};
    }
    const auto &text = value.get_ref<const std::string &>();
    uint64_t number = 0;
    const char *end = text.data() + text.size();
    if (text.size() < 3 || !text.starts_with("0x")) {
        return {};
    }
    const auto parsed = std::from_chars(text.data() + 2, end, number, 16);
    return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

class Reader {
public:
    explicit Reader(std::string file) : file_(std::move(file)) {}

    Personality read(std::string_view text)
    {
        const Json top = parse(text);
        if (!top.is_object()) {
            fail("", "must be an object");
        }
        for (const auto &[name, value] : top.items()) {
            read_member(name, value);
        }
        if (!top.contains("name")) {
            fail("", "the key \"name\" is missing");
        }
        check_flash();
        return personality_;
    }

private:
    [[noreturn]] void fail(const std::string &place, const std::string &reason) const
    {
        throw PersonalityError(file_ + ": " + (place.empty() ? "/" : printable(place)) + ": " +
                               reason);
    }

    Json parse(std::string_view text) const
    {
        if (text.size() > file_max) {
            fail("", "is longer than 1 MiB");
        }
        std::vector<std::set<std::string>> open;
        const auto watch = [&](int, Json::parse_event_t event, Json &value) {
            if (event == Json::parse_event_t::object_start) {
                open.emplace_back();
            } else if (event == Json::parse_event_t::object_end) {
                open.pop_back();
            } else if (event == Json::parse_event_t::key &&
                       !open.back().insert(value.get<std::string>()).second) {
                fail("", "the key \"" + printable(value.get<std::string>()) + "\" is there twice");
            }
            return true;
        };
        try {
            return Json::parse(text, watch);
        } catch (const Json::exception &error) {
            // What comes before the first blank is the JSON library's own number.
            const std::string text_of_error = error.what();
            fail("", printable(text_of_error.substr(text_of_error.find(' ') + 1)));
        }
    }

    void read_member(const std::string &name, const Json &value)
    {
        if (name == "name") {
            read_name(value);
            return;
        }
        if (name.empty() || !is_group(name)) {
            fail("/" + name, "is not a key of a personality");
        }
        if (!value.is_object()) {
            fail("/" + name, "must be an object");
        }
        for (const auto &[inner, content] : value.items()) {
            const Key *key = find_key(name, inner);
            if (key == nullptr) {
                fail("/" + name + "/" + inner, "is not a key of a personality");
            }
            read_key(*key, "/" + name + "/" + inner, content);
        }
    }

    void read_name(const Json &value)
    {
        const std::string name = value.is_string() ? value.get<std::string>() : "";
        const bool plain = std::all_of(name.begin(), name.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
        });
        if (name.empty() || name.size() > name_max || !plain) {
            fail("/name", "must be a text of 1 to 63 small letters, digits, \"-\" and \"_\"");
        }
        personality_.name = name;
    }

    void read_key(const Key &key, const std::string &place, const Json &value)
    {
        if (key.most == 0) {
            key.set(personality_, {element(key, place, value)});
            return;
        }
        if (!value.is_array() || value.size() < key.least || value.size() > key.most) {
            const std::string count = key.least == key.most ? std::to_string(key.most)
                                                            : std::to_string(key.least) + " to " +
                                                                  std::to_string(key.most);
            fail(place, "must be a list of " + count + " values");
        }
        Values values;
        for (size_t i = 0; i < value.size(); ++i) {
            values.push_back(element(key, place + "/" + std::to_string(i), value[i]));
        }
        key.set(personality_, values);
    }

    uint32_t element(const Key &key, const std::string &place, const Json &value) const
    {
        if (key.kind == Kind::truth) {
            if (!value.is_boolean()) {
                fail(place, "must be true or false");
            }
            return value.get<bool>() ? 1 : 0;
        }
        const std::optional<uint64_t> number = number_in(value);
        if (!number || *number < key.min || *number > key.max) {
            fail(place, "must be a number from " + number_text(key, key.min) + " to " +
                            number_text(key, key.max));
        }
        return static_cast<uint32_t>(*number);
    }

    void check_flash() const
    {
        const FlashLayout &flash = personality_.flash;
        check_erase_size("/flash/erase_size", flash.erase_size);
        uint64_t sum = 0;
        for (size_t i = 0; i < flash.partitions.size(); ++i) {
            check_blocks("/flash/partitions/" + std::to_string(i), flash.partitions[i],
                         flash.erase_size);
            sum += flash.partitions[i];
        }
        if (sum > flash_max) {
            fail("/flash/partitions", "are larger together than " + hexadecimal(flash_max));
        }
        check_erase_size("/bios_flash/erase_size", personality_.bios_flash.erase_size);
        check_blocks("/bios_flash/size", personality_.bios_flash.size,
                     personality_.bios_flash.erase_size);
    }

    void check_erase_size(const std::string &place, uint32_t size) const
    {
        if (!std::has_single_bit(size)) {
            fail(place, "must be a power of two");
        }
    }

    void check_blocks(const std::string &place, uint32_t size, uint32_t erase_size) const
    {
        if (size % erase_size != 0) {
            fail(place, "must be a multiple of the erase size " + hexadecimal(erase_size));
        }
    }

    std::string file_;
    Personality personality_;
};

Json written(const Key &key, uint32_t value)
{
    switch (key.kind) {
    case Kind::truth:
        return value != 0;
    case Kind::code:
        return hexadecimal(value);
    case Kind::number:
        break;
    }
    return value;
}

Json written(const Key &key, const Personality &personality)
{
    const Values values = key.get(personality);
    if (key.most == 0) {
        return written(key, values[0]);
    }
    Json list = Json::array();
    for (const uint32_t value : values) {
        list.push_back(written(key, value));
    }
    return list;
}

} // namespace

Personality parse_personality(std::string_view text, const std::string &file)
{
    return Reader(file).read(text);
}

Personality read_personality(const std::string &path)
{
    std::ifstream file(path);
    std::string text;
    // A directory can be opened, too.
    if (file) {
        text.resize(file_max + 1);
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<size_t>(file.gcount()));
    }
    if (!file.eof() && text.size() <= file_max) {
        throw PersonalityError(path + ": cannot be read");
    }
    return parse_personality(text, path);
}

// A line per key: lists are short.
std::string write_personality(const Personality &personality)
{
    std::string text = "{\n  \"name\": " + Json(personality.name).dump();
    std::string group;
    for (const Key &key : keys) {
        if (key.group != group) {
            text += group.empty() ? ",\n" : "\n  },\n";
            group = key.group;
            text += "  " + Json(group).dump() + ": {";
        } else {
            text += ",";
        }
        std::string value = written(key, personality).dump();
        for (size_t at = value.find(','); at != std::string::npos; at = value.find(',', at + 1)) {
            value.insert(at + 1, " ");
        }
        text += "\n    " + Json(key.name).dump() + ": " + value;
    }
    return text + "\n  }\n}\n";
}

std::vector<std::string> personality_keys()
{
    std::vector<std::string> all = {"/name"};
    for (const Key &key : keys) {
        all.push_back(std::string("/") + key.group + "/" + key.name);
    }
    return all;
}

} // namespace virtual_board
