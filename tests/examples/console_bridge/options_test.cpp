// The command line.

#include "console_bridge/options.h"

#include <gtest/gtest.h>

namespace console_bridge {
namespace {

using Arguments = std::vector<std::string>;

TEST(Options, AreTheseIfNoneIsGiven)
{
    Options options;
    EXPECT_EQ(parse({}, options), "");
    EXPECT_FALSE(options.help);
    EXPECT_TRUE(options.use_uart);
    EXPECT_EQ(options.uart, 0);
    EXPECT_EQ(options.far_end, FarEnd::host);
    EXPECT_EQ(options.black_box, "");
    EXPECT_EQ(options.save_now, "");
    EXPECT_EQ(options.black_box_size, 16384U);
    EXPECT_EQ(options.prefix, "");
}

TEST(Options, AreAllTaken)
{
    Options options;
    EXPECT_EQ(parse({"--uart", "1", "--uart-to", "panel", "--black-box", "a b", "--black-box-size",
                     "1048576", "--prefix", "", "--help"},
                    options),
              "");
    EXPECT_TRUE(options.help);
    EXPECT_EQ(options.uart, 1);
    EXPECT_EQ(options.far_end, FarEnd::panel);
    EXPECT_EQ(options.black_box, "a b");
    EXPECT_EQ(options.black_box_size, 1048576U);
}

TEST(Options, TakeTheirValueBehindAnEqualsSign)
{
    Options options;
    EXPECT_EQ(parse({"--save-black-box=x=y", "--prefix=", "--uart-to=host", "--no-uart"}, options),
              "--no-uart contradicts --uart and --uart-to");
    EXPECT_EQ(options.save_now, "x=y");
    EXPECT_FALSE(options.use_uart);
}

struct Bad {
    const char *name;
    Arguments arguments;
    const char *complaint;
};

void PrintTo(const Bad &bad, std::ostream *stream)
{
    *stream << bad.name;
}

class BadOptionsTest : public ::testing::TestWithParam<Bad> {};

TEST_P(BadOptionsTest, AreRefused)
{
    Options options;
    EXPECT_EQ(parse(GetParam().arguments, options), GetParam().complaint);
}

const Bad bad[] = {
    {"Word", {"hello"}, "there is no option \"hello\""},
    {"Unknown", {"--loud"}, "there is no option \"--loud\""},
    {"Empty", {""}, "there is no option \"\""},
    {"SwitchWithValue", {"--no-uart=1"}, "there is no option \"--no-uart=1\""},
    {"ValueMissing", {"--black-box"}, "--black-box needs a value"},
    {"NoFile", {"--black-box="}, "--black-box cannot be \"\""},
    {"NoFileToSaveIn", {"--save-black-box", ""}, "--save-black-box cannot be \"\""},
    {"UartWord", {"--uart", "one"}, "--uart cannot be \"one\""},
    {"UartNegative", {"--uart", "-1"}, "--uart cannot be \"-1\""},
    {"UartHuge", {"--uart", "2147483648"}, "--uart cannot be \"2147483648\""},
    {"UartBeyondAll",
     {"--uart", "99999999999999999999"},
     "--uart cannot be \"99999999999999999999\""},
    {"UartNothing", {"--uart="}, "--uart cannot be \"\""},
    {"FarEnd", {"--uart-to", "moon"}, "--uart-to cannot be \"moon\""},
    {"SizeNone", {"--black-box-size", "0"}, "--black-box-size cannot be \"0\""},
    {"SizeHuge", {"--black-box-size", "1048577"}, "--black-box-size cannot be \"1048577\""},
    {"UartAndNone", {"--uart", "0", "--no-uart"}, "--no-uart contradicts --uart and --uart-to"},
};

INSTANTIATE_TEST_SUITE_P(Arguments, BadOptionsTest, ::testing::ValuesIn(bad),
                         [](const auto &test) { return std::string(test.param.name); });

} // namespace
} // namespace console_bridge
