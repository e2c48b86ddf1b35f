#include "boardctl/framework/arguments.h"

#include <gtest/gtest.h>

#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

const std::vector<Argument> described = {
    {"COUNT", "a count", Number{-5, 300, "ms"}},
    {"SIDE", "a side", Word{{{"left", 7}, {"right", 9}}}},
    {"DATA", "bytes", Bytes{1, 3}},
    {"--name", "a name", Text{2, 4}, false},
    {"--size", "a size", Number{1, 9}, false, "4"},
    {"--quick", "a flag", Flag{}, false},
};

TEST(Arguments, NumbersAreDecimalOrHexadecimal)
{
    const struct {
        const char *word;
        std::optional<int64_t> value;
    } cases[] = {
        {"0", 0},
        {"300", 300},
        {"-5", -5},
        {"0x1F", 31},
        {"0XfF", 255},
        {"-0x10", -16},
        {"007", 7},
        {"", {}},
        {"-", {}},
        {"0x", {}},
        {"12a", {}},
        {"x", {}},
        {" 1", {}},
        {"1 ", {}},
        {"--1", {}},
        {"+1", {}},
        {"0x-1", {}},
        {"1.0", {}},
        {"99999999999999999999", {}},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(number_from(one.word), one.value) << '"' << one.word << '"';
    }
}

TEST(Arguments, GiveWhatWasGiven)
{
    Arguments arguments(described);
    arguments.give("COUNT", {"0x12C"});
    arguments.give("SIDE", {"right"});
    arguments.give("DATA", {"1", "0xFF"});
    arguments.give("--name", {"abcd"});
    arguments.give("--quick", {});
    EXPECT_EQ(arguments.as<uint16_t>("COUNT"), 300);
    EXPECT_EQ(arguments.number("SIDE"), 9);
    EXPECT_EQ(arguments.text("SIDE"), "right");
    EXPECT_EQ(arguments.bytes("DATA"), (std::vector<uint8_t>{1, 255}));
    EXPECT_EQ(arguments.text("--name"), "abcd");
    EXPECT_TRUE(arguments.flag("--quick"));
}

TEST(Arguments, WhatWasNotGivenHasItsFallback)
{
    const Arguments arguments(described);
    EXPECT_EQ(arguments.number("--size"), 4);
    EXPECT_TRUE(arguments.has("--size"));
    EXPECT_FALSE(arguments.has("--name"));
    EXPECT_FALSE(arguments.flag("--quick"));
    EXPECT_THROW(arguments.text("--name"), std::logic_error);
    EXPECT_THROW(arguments.number("--unheard-of"), std::logic_error);
}

TEST(Arguments, RefuseWhatIsNotDescribed)
{
    const struct {
        const char *name;
        std::vector<std::string> words;
        const char *complaint;
    } cases[] = {
        {"COUNT", {"-6"}, "COUNT: -6 is not -5 to 300 ms"},
        {"COUNT", {"301"}, "COUNT: 301 is not -5 to 300 ms"},
        {"COUNT", {"many"}, "COUNT: \"many\" is not a number"},
        {"SIDE", {"up"}, "SIDE: \"up\" is not one of: left, right"},
        {"DATA", {"1", "2", "3", "4"}, "DATA: 4 are not 1 to 3 bytes (each 0 to 0xFF)"},
        {"DATA", {"1", "256"}, "DATA: \"256\" is not a byte (0 to 0xFF)"},
        {"DATA", {"-1"}, "DATA: \"-1\" is not a byte (0 to 0xFF)"},
        {"--name", {"a"}, "--name: is not 2 to 4 characters"},
        {"--name", {"abcde"}, "--name: is not 2 to 4 characters"},
    };
    for (const auto &one : cases) {
        Arguments arguments(described);
        try {
            arguments.give(one.name, one.words);
            ADD_FAILURE() << one.complaint;
        } catch (const UsageError &error) {
            EXPECT_STREQ(error.what(), one.complaint);
        }
    }
}

} // namespace

} // namespace boardctl
