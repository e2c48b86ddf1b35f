// JSON for programs.

#include "board_inventory/json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace board_inventory {
namespace {

using nlohmann::json;

const Report &report()
{
    static const Report all = [] {
        List list("board", "Board");
        list.add("id", "id", hex(0x10));
        list.add("name", "name", text("say \"hi\"\r\n\x01\xff\\"));
        list.add("slot", "slot", none());
        return Report{
            list.table(),
            {"disks",
             "Disks",
             Table::Layout::rows,
             {{"bay", "bay"}, {"good", "good"}},
             {{number(0), yes_no(true)}, {number(1), settling()}}},
            {"dimms",
             "DIMMs",
             Table::Layout::ranges,
             {{"slot", "slot"}, {"present", "present"}},
             {{number(1), yes_no(false)}, {number(2), yes_no(false)}}},
            {"none", "None", Table::Layout::rows, {{"n", "n"}}, {}},
        };
    }();
    return all;
}

TEST(Json, IsLaidOutForReading)
{
    EXPECT_EQ(as_json(report()), R"({
  "board": {
    "id": 16,
    "name": "say \"hi\"\r\n\u0001\u00ff\\",
    "slot": null
  },
  "disks": [
    {"bay": 0, "good": true},
    {"bay": 1, "good": "settling"}
  ],
  "dimms": [
    {"slot": 1, "present": false},
    {"slot": 2, "present": false}
  ],
  "none": []
}
)");
}

TEST(Json, Parses)
{
    const json expected = {
        {"board", {{"id", 16}, {"name", "say \"hi\"\r\n\x01\xc3\xbf\\"}, {"slot", nullptr}}},
        {"disks", {{{"bay", 0}, {"good", true}}, {{"bay", 1}, {"good", "settling"}}}},
        {"dimms", {{{"slot", 1}, {"present", false}}, {{"slot", 2}, {"present", false}}}},
        {"none", json::array()},
    };
    EXPECT_EQ(json::parse(as_json(report())), expected);
    EXPECT_EQ(json::parse(as_json({})), json::object());
}

TEST(Json, EveryByteOfAStringSurvives)
{
    for (int byte = 0; byte < 256; ++byte) {
        const json parsed = json::parse(quoted(std::string(1, static_cast<char>(byte))));
        // Latin-1 as UTF-8.
        std::string expected;
        if (byte < 0x80) {
            expected = static_cast<char>(byte);
        } else {
            expected = {static_cast<char>(0xC0 | byte >> 6),
                        static_cast<char>(0x80 | (byte & 0x3F))};
        }
        EXPECT_EQ(parsed.get<std::string>(), expected) << byte;
    }
}

} // namespace
} // namespace board_inventory
