#include "virtual_board/personality.h"

#include <algorithm>

#include "virtual_board/personality_file.h"

namespace virtual_board {

namespace {

struct Embedded {
    const char *file;
    const char *text;
};

constexpr Embedded embedded[] = {
#include "personalities.inc"
};

std::vector<Personality> read_all()
{
    std::vector<Personality> all;
    for (const Embedded &one : embedded) {
        all.push_back(parse_personality(one.text, one.file));
    }
    return all;
}

std::string known_names()
{
    std::string names;
    for (const Personality &one : personalities()) {
        names += (names.empty() ? "" : ", ") + one.name;
    }
    return names;
}

} // namespace

const std::vector<Personality> &personalities()
{
    static const std::vector<Personality> all = read_all();
    return all;
}

const Personality *find_personality(std::string_view name)
{
    const std::vector<Personality> &all = personalities();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [name](const Personality &one) { return one.name == name; });
    return found == all.end() ? nullptr : &*found;
}

Personality choose_personality(const std::string &name_or_path)
{
    if (name_or_path.find('/') != std::string::npos || name_or_path.ends_with(".json")) {
        return read_personality(name_or_path);
    }
    if (const Personality *found = find_personality(name_or_path)) {
        return *found;
    }
    throw PersonalityError("no personality \"" + name_or_path + "\"; there are " + known_names());
}

} // namespace virtual_board
