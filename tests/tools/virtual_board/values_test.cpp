#include "tools/virtual_board/values.h"

#include <gtest/gtest.h>

namespace {

using nlohmann::json;
using virtual_board::Rows;
using virtual_board::rows_of;
using virtual_board::table;
using virtual_board::text_of;
using virtual_board::value_of;

TEST(Values, WordsHaveTheirMeaning)
{
    const std::pair<const char *, json> rows[] = {
        {"on", true},      {"off", false},   {"true", true},
        {"false", false},  {"up", 1},        {"down", 0},
        {"null", nullptr}, {"5", 5},         {"-5", -5},
        {"1.5", 1.5},      {"0x1F", "0x1F"}, {"", ""},
        {"5x", "5x"},      {"On", "On"},     {"2020-01-01 00:00:00", "2020-01-01 00:00:00"}};
    for (const auto &[word, value] : rows) {
        EXPECT_EQ(value_of(word), value) << word;
    }
}

TEST(Values, TextsAreOneLine)
{
    EXPECT_EQ(text_of("a\r\n\tb"), "a\\r\\n\\tb");
    EXPECT_EQ(text_of(nullptr), "-");
    EXPECT_EQ(text_of(json::array({1, 2})), "[1,2]");
    EXPECT_EQ(text_of(true), "true");
}

TEST(Values, ATreeIsListedInOrder)
{
    EXPECT_EQ(rows_of("", json::parse(R"({"b": {"10": 1, "2": {"x": 2}}, "a": {}, "c": [1]})")),
              (Rows{{"a", json::object()}, {"b.2.x", 2}, {"b.10", 1}, {"c", {1}}}));
    EXPECT_EQ(rows_of("n", 7), (Rows{{"n", 7}}));
}

TEST(Values, ATableIsAsWideAsItNeeds)
{
    EXPECT_EQ(table({{"a", "bb", "c"}, {"aaa", "b"}}), "a    bb  c\naaa  b\n");
    EXPECT_EQ(table({}), "");
}

} // namespace
