// Commands among what is typed.

#include "console_bridge/escapes.h"

#include <gtest/gtest.h>

#include <vector>

namespace console_bridge {
namespace {

using Command = Escapes::Command;

struct Typed {
    const char *name;
    std::string keys;
    std::string passed;
    std::vector<Command> commands;
};

void PrintTo(const Typed &typed, std::ostream *stream)
{
    *stream << typed.name;
}

class EscapesTest : public ::testing::TestWithParam<Typed> {};

TEST_P(EscapesTest, AreToldFromText)
{
    Escapes escapes;
    std::string passed;
    std::vector<Command> commands;
    for (const char key : GetParam().keys) {
        const Command command = escapes.take(key, passed);
        if (command != Command::none) {
            commands.push_back(command);
        }
    }
    EXPECT_EQ(passed, GetParam().passed);
    EXPECT_EQ(commands, GetParam().commands);
}

const Typed rows[] = {
    {"Text", "ls\r", "ls\r", {}},
    {"EndAtTheVeryStart", "~.", "", {Command::end}},
    {"Save", "ls\r~b", "ls\r", {Command::save}},
    {"Help", "ls\n~?", "ls\n", {Command::help}},
    {"NotWithinALine", "cd ~.\r", "cd ~.\r", {}},
    {"OneTilde", "~~.\r", "~.\r", {}},
    {"UnknownOneIsText", "~x~.\r", "~x~.\r", {}},
    {"TildeAndEnterBeginsALine", "~\r~.", "~\r", {Command::end}},
    {"TwoInARow", "~b~b", "", {Command::save, Command::save}},
    {"PendingTildeIsHeldBack", "~", "", {}},
    {"BytesOfAllKinds", std::string("\0\x03\xFF", 3), std::string("\0\x03\xFF", 3), {}},
};

INSTANTIATE_TEST_SUITE_P(Keys, EscapesTest, ::testing::ValuesIn(rows),
                         [](const auto &test) { return std::string(test.param.name); });

} // namespace
} // namespace console_bridge
