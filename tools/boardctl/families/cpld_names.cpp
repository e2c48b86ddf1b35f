#include "boardctl/families/cpld_names.h"

#include <algorithm>
#include <bit>

#include "boardctl/framework/arguments.h"
#include "boardctl/framework/value.h"

namespace boardctl {

namespace {

struct RegisterName {
    uint8_t offset;
    const char *name;
};

struct BitsName {
    uint8_t offset;
    uint8_t mask;
    const char *name;
};

#include "cpld_names.inc"

// As it is, or with the header's prefix; small letters too.
bool names(const std::string &word, const std::string &prefix, const std::string &name)
{
    std::string capitals = word;
    std::transform(capitals.begin(), capitals.end(), capitals.begin(),
                   [](unsigned char c) { return static_cast<char>(toupper(c)); });
    return capitals == name || capitals == prefix + name;
}

bool names(const std::string &word, const RegisterName &entry)
{
    return names(word, "CPLD_REG_", entry.name);
}

bool names(const std::string &word, const BitsName &entry)
{
    return names(word, "CPLD_", entry.name);
}

// A number that fits into a byte.
bool find_byte(const std::string &word, uint8_t &byte)
{
    const std::optional<int64_t> number = number_from(word);
    if (!number || *number < 0 || *number > UINT8_MAX) {
        return false;
    }
    byte = static_cast<uint8_t>(*number);
    return true;
}

bool find_register(const std::string &word, uint8_t &offset)
{
    for (const RegisterName &entry : register_table) {
        if (names(word, entry)) {
            offset = entry.offset;
            return true;
        }
    }
    return find_byte(word, offset);
}

bool find_bits(const std::string &word, uint8_t offset, uint8_t &mask)
{
    for (const BitsName &entry : bits_table) {
        if (entry.offset == offset && names(word, entry)) {
            mask = entry.mask;
            return true;
        }
    }
    return find_byte(word, mask) && mask != 0;
}

std::vector<Place> places_of_bits(const std::string &word)
{
    std::vector<Place> places;
    for (const BitsName &entry : bits_table) {
        if (names(word, entry)) {
            places.push_back({entry.offset, entry.mask});
        }
    }
    return places;
}

std::string find_bits_alone(const std::string &word, Place &place)
{
    const std::vector<Place> places = places_of_bits(word);
    if (places.empty()) {
        return "\"" + word + "\" is no register and no bit; see boardctl cpld dump";
    }
    if (places.size() > 1) {
        std::string all;
        for (const Place &one : places) {
            all += (all.empty() ? "" : " or ") + place_name(one);
        }
        return "\"" + word + "\" is in several registers: say " + all;
    }
    place = places.front();
    return {};
}

bool one_bit(uint8_t mask)
{
    return std::has_single_bit(mask);
}

void append(std::string &list, const std::string &item)
{
    list += (list.empty() ? "" : ", ") + item;
}

// Each named field of the register, then its other bits.
template <typename Visit> void visit_fields(uint8_t offset, const Visit &visit)
{
    uint8_t named = 0;
    for (const BitsName &entry : bits_table) {
        if (entry.offset == offset) {
            named |= entry.mask;
            visit(Place{offset, entry.mask}, std::string(entry.name));
        }
    }
    for (int bit = 7; bit >= 0 && named != 0; --bit) {
        const auto mask = static_cast<uint8_t>(1U << bit);
        if ((named & mask) == 0) {
            visit(Place{offset, mask}, "bit " + std::to_string(bit));
        }
    }
}

} // namespace

uint8_t Place::get(uint8_t value) const
{
    return static_cast<uint8_t>((value & mask) >> std::countr_zero(mask));
}

uint8_t Place::put(uint8_t value, uint8_t field) const
{
    const unsigned moved = (static_cast<unsigned>(field) << std::countr_zero(mask)) & mask;
    return static_cast<uint8_t>((value & ~mask) | moved);
}

std::string find_place(const std::string &word, Place &place)
{
    const size_t dot = word.find('.');
    const std::string register_word = word.substr(0, dot);
    place = {};
    if (!find_register(register_word, place.offset)) {
        return dot == std::string::npos ? find_bits_alone(word, place)
                                        : "\"" + register_word + "\" is no register";
    }
    if (dot != std::string::npos && !find_bits(word.substr(dot + 1), place.offset, place.mask)) {
        return "\"" + word.substr(dot + 1) + "\" is no bit of " + place_name({place.offset});
    }
    return {};
}

std::string register_name(uint8_t offset)
{
    for (const RegisterName &entry : register_table) {
        if (entry.offset == offset) {
            return entry.name;
        }
    }
    return {};
}

std::string place_name(const Place &place)
{
    std::string name = register_name(place.offset);
    if (name.empty()) {
        name = hex(place.offset).shown;
    }
    if (place.whole()) {
        return name;
    }
    for (const BitsName &entry : bits_table) {
        if (entry.offset == place.offset && entry.mask == place.mask) {
            return name + "." + entry.name;
        }
    }
    return name + "." + hex(place.mask).shown;
}

std::vector<uint8_t> named_registers()
{
    std::vector<uint8_t> offsets;
    for (const RegisterName &entry : register_table) {
        offsets.push_back(entry.offset);
    }
    return offsets;
}

std::string set_bits(uint8_t offset, uint8_t value)
{
    std::string list;
    visit_fields(offset, [&](const Place &field, const std::string &name) {
        if (one_bit(field.mask) && field.get(value) != 0) {
            append(list, name);
        } else if (!one_bit(field.mask)) {
            append(list, name + "=" + std::to_string(field.get(value)));
        }
    });
    return list;
}

std::string changed_bits(uint8_t offset, uint8_t before, uint8_t after)
{
    std::string list;
    visit_fields(offset, [&](const Place &field, const std::string &name) {
        if (field.get(before) != field.get(after)) {
            append(list, name + " " + std::to_string(field.get(before)) + " -> " +
                             std::to_string(field.get(after)));
        }
    });
    return list;
}

std::vector<std::string> place_names()
{
    std::vector<std::string> names;
    for (const RegisterName &entry : register_table) {
        names.emplace_back(entry.name);
    }
    for (const BitsName &entry : bits_table) {
        names.push_back(place_name({entry.offset, entry.mask}));
    }
    return names;
}

} // namespace boardctl
