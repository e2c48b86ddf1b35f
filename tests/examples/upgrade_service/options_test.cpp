// Command lines that are understood, and those that are not. What the commands
// then do with their values is seen in the tests of the commands.

#include "upgrade_service/options.h"

#include <gtest/gtest.h>

#include <sstream>

namespace upgrade_service {
namespace {

std::vector<std::string> words(const char *line)
{
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

TEST(OptionsTest, CommandsAreUnderstood)
{
    for (const char *line : {
             "versions",
             "state",
             "release",
             "plan new.rom",
             "plan new.rom --flash-size 0x10000",
             "bios new.rom",
             "bios new.rom --save old.rom --full",
             "bios --partial new.rom",
             "bios new.rom --decide --json",
             "save old.rom",
             "cpld program",
             "cpld program --component 6",
             "controller image --device /dev/mtd3",
             "controller image --device /dev/mtd3 --offset 64 --length 0x1000",
             "protect on",
             "protect off --text",
         }) {
        Options options;
        EXPECT_TRUE(parse(words(line), options)) << line;
        EXPECT_TRUE(options.command) << line;
    }
}

TEST(OptionsTest, OthersAreNot)
{
    for (const char *line : {
             "",
             "--json",
             "update",
             "versions now",
             "plan",
             "plan a b",
             "plan new.rom --save old.rom",
             "bios",
             "bios new.rom --full --partial",
             "bios new.rom --save",
             "bios new.rom --save a --save b",
             "bios new.rom --component 5",
             "bios new.rom --flash-size",
             "bios new.rom --flash-size 0",
             "bios new.rom --flash-size 0x800001",
             "bios new.rom --flash-size 5000",
             "bios new.rom --flash-size x",
             "bios new.rom --flash-size -4096",
             "cpld program --component 256",
             "cpld program --component 5x",
             "controller image",
             "controller image --device",
             "controller image --device /dev/mtd3 --length 0",
             "controller image --device /dev/mtd3 --offset 0x100000000",
             "protect",
             "protect maybe",
             "versions --json --text",
             "versions --loud",
         }) {
        Options options;
        EXPECT_FALSE(parse(words(line), options)) << line;
    }
}

TEST(OptionsTest, TheFormatIsTheTerminalsUnlessSaid)
{
    Options options;
    ASSERT_TRUE(parse(words("versions"), options));
    EXPECT_FALSE(options.format.has_value());
    EXPECT_EQ(options.library_log, "");
    ASSERT_TRUE(parse(words("versions --json --library-log /tmp/log"), options));
    EXPECT_EQ(options.format, Output::Format::json);
    EXPECT_EQ(options.library_log, "/tmp/log");
    ASSERT_TRUE(parse(words("versions --text"), options));
    EXPECT_EQ(options.format, Output::Format::text);
}

} // namespace
} // namespace upgrade_service
