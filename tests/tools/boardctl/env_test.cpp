// The boot loader's variables: their text, and the commands on them.

#include "boardctl/families/env_text.h"

#include "boardctl/families/files.h"
#include "boardctl/framework/failure.h"
#include "tests/tools/boardctl/command_test.h"

namespace boardctl {

namespace {

TEST(EnvText, IsReadBackAsItWasWritten)
{
    const Variables variables = {
        {"bootargs", "console=ttyS0,115200 root=/dev/mtdblock4"},
        {"empty", ""},
        {"path", "c:\\x"},
        {"script", "run a\nrun b\n"},
    };
    const std::string text = text_of(variables);
    EXPECT_EQ(text, "bootargs=console=ttyS0,115200 root=/dev/mtdblock4\nempty=\npath=c:\\x\n"
                    "script=run a\\\nrun b\\\n\n");
    EXPECT_EQ(variables_of(text), variables);
}

TEST(EnvText, CommentsAndEmptyLinesAreSkipped)
{
    EXPECT_EQ(variables_of("# a=b\n\na=1\n\n#\nb=2"), (Variables{{"a", "1"}, {"b", "2"}}));
    EXPECT_EQ(variables_of(""), Variables{});
}

TEST(EnvText, WhatMakesNoSenseIsRefused)
{
    for (const std::string &text : {std::string("a"), std::string("=1"), std::string("a=1\na=2\n"),
                                    std::string("a=1\nb\n"), std::string("a=\0", 3)}) {
        EXPECT_THROW(variables_of(text), Trouble) << text;
    }
    EXPECT_THROW(text_of({{"a", "1\\"}}), Trouble);
    EXPECT_THROW(text_of({{"a", "1\\\n2"}}), Trouble);
}

class BoardctlEnv : public CommandTest {
protected:
    // The entries on the flash, as they stand there.
    std::string flash()
    {
        const std::vector<uint8_t> bytes = board.environment().bytes();
        const std::string all(bytes.begin() + 4, bytes.end());
        return all.substr(0, all.find(std::string(2, '\0')));
    }
    size_t writes() { return board.environment().write_backs(); }
};

TEST_F(BoardctlEnv, VariablesAreSetAndShown)
{
    EXPECT_EQ(field(run("env set bootdelay 3"), "changed"), "yes");
    EXPECT_EQ(field(run({"env", "set", "bootargs", "a=b c"}), "changed"), "yes");
    EXPECT_EQ(flash(), std::string("bootdelay=3\0bootargs=a=b c", 26));
    EXPECT_EQ(field(run("env get bootdelay"), "value"), "3");
    EXPECT_EQ(field(run("env get bootargs"), "value"), "a=b c");
    const Result list = run("env list");
    ASSERT_EQ(row_count(list, "variables"), 2U);
    EXPECT_EQ(row(list, "variables", 0), "bootargs | a=b c");
    EXPECT_EQ(row(list, "variables", 1), "bootdelay | 3");
}

TEST_F(BoardctlEnv, WhatIsSoAlreadyIsNotWritten)
{
    run("env set bootdelay 3");
    const size_t before = writes();
    EXPECT_EQ(field(run("env set bootdelay 3"), "changed"), "no");
    EXPECT_EQ(field(run("env delete serverip"), "changed"), "no");
    EXPECT_EQ(writes(), before);
    EXPECT_EQ(field(run("env delete bootdelay"), "changed"), "yes");
    EXPECT_EQ(flash(), "");
}

TEST_F(BoardctlEnv, AnAbsentVariableIsToldFromAnEmptyOne)
{
    EXPECT_THROW(run("env get bootdelay"), Trouble);
    EXPECT_EQ(field(run("env get bootdelay --default 5"), "value"), "5");
    run({"env", "set", "bootdelay", ""});
    EXPECT_EQ(field(run("env get bootdelay"), "value"), "");
}

TEST_F(BoardctlEnv, TextGoesOutAndComesBack)
{
    run({"env", "set", "script", "run a\nfake=1"});
    run("env set bootdelay 3");
    const TemporaryFile file;
    EXPECT_EQ(field(run("env export " + file.path()), "exported"), "2");
    const std::vector<uint8_t> bytes = read_file(file.path());
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "bootdelay=3\nscript=run a\\\nfake=1\n");
    run("env delete script");
    run("env set serverip 10.0.0.1");
    const Result result = run("env import " + file.path());
    EXPECT_EQ(field(result, "changed"), "1");
    EXPECT_EQ(field(result, "same"), "1");
    EXPECT_EQ(flash(), std::string("bootdelay=3\0serverip=10.0.0.1\0script=run a\nfake=1", 49));
}

TEST_F(BoardctlEnv, AWrongLineSetsNothing)
{
    const TemporaryFile file;
    const std::string text = "a=1\nnonsense\n";
    write_file(file.path(), {text.begin(), text.end()});
    EXPECT_THROW(run("env import " + file.path()), Trouble);
    EXPECT_EQ(flash(), "");
}

TEST_F(BoardctlEnv, DamageIsTold)
{
    board.environment().set_bytes(std::vector<uint8_t>(8192, 0xFF));
    for (const char *line : {"env get a", "env set a 1", "env list"}) {
        try {
            run(line);
            ADD_FAILURE() << line;
        } catch (const Failed &failed) {
            EXPECT_EQ(failed.code, -1) << line;
        }
    }
}

} // namespace

} // namespace boardctl
