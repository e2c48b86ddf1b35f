// Agreement with the programs that others use on the same block: mkenvimage,
// fw_printenv and fw_setenv on the file behind the virtual board's partition.

#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/bootenv/environment_fixture.h"

namespace board_test {
namespace {

using namespace std::string_literals;
using namespace environment_model;

// A tool's exit code and standard output.
struct Answer {
    int status;
    std::string output;
};

std::string quoted(const std::string &word)
{
    std::string result = "'";
    for (const char letter : word) {
        result += letter == '\'' ? "'\\''"s : std::string(1, letter);
    }
    return result + "'";
}

Answer run(const Names &words)
{
    std::string command;
    for (const std::string &word : words) {
        command += quoted(word) + " ";
    }
    Answer answer{-1, ""};
    FILE *pipe = popen((command + "2>/dev/null").c_str(), "r");
    if (pipe == nullptr) {
        return answer;
    }
    char piece[4096];
    for (size_t count; (count = fread(piece, 1, sizeof(piece), pipe)) > 0;) {
        answer.output.append(piece, count);
    }
    const int status = pclose(pipe);
    answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return answer;
}

bool installed(const std::string &tool)
{
    return run({"sh", "-c", "command -v " + tool}).status == 0;
}

using Variables = std::map<std::string, std::string>;

// The variables of lines "name=value".
Variables parsed(const std::string &lines)
{
    Variables variables;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const size_t equals = line.find('=');
        variables[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return variables;
}

class ToolsTest : public EnvironmentTest {
protected:
    void SetUp() override
    {
        EnvironmentTest::SetUp();
        for (const char *tool : {"mkenvimage", "fw_printenv", "fw_setenv"}) {
            ASSERT_TRUE(installed(tool))
                << tool << " is not installed: run \"scripts/install-deps.sh test\"";
        }
        std::string name = (std::filesystem::temp_directory_path() / "bootenv-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
        write("config", block_file() + " 0x0 0x2000\n");
    }

    void TearDown() override
    {
        std::filesystem::remove_all(folder_);
        EnvironmentTest::TearDown();
    }

    std::string path(const std::string &file) const { return folder_ / file; }
    std::string block_file() const { return path("block"); }

    void write(const std::string &file, const std::string &text)
    {
        std::ofstream(path(file), std::ios::binary) << text;
    }

    // Puts a block into the file and the file behind the partition.
    void start_with(const std::string &block)
    {
        write("block", block);
        board.environment().back_with(block_file());
    }

    void make_image(const std::string &lines, const std::string &padding)
    {
        write("lines", lines);
        ASSERT_EQ(
            run({"mkenvimage", "-s", "0x2000", "-p", padding, "-o", block_file(), path("lines")})
                .status,
            0);
        board.environment().back_with(block_file());
    }

    Answer fw_printenv(const Names &arguments = {})
    {
        Names words{"fw_printenv", "-c", path("config")};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return run(words);
    }

    Answer fw_setenv(const Names &arguments)
    {
        Names words{"fw_setenv", "-c", path("config")};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return run(words);
    }

    // What all readers must find now.
    void expect_everywhere(const Variables &expected)
    {
        ASSERT_TRUE(checksum_holds(block()));
        const Answer theirs = fw_printenv();
        ASSERT_EQ(theirs.status, 0);
        ASSERT_EQ(parsed(theirs.output), expected);
        ASSERT_EQ(print_uboot_env(nullptr), 0);
        ASSERT_EQ(parsed(output()), expected);
    }

    void expect_each_here(const Variables &expected)
    {
        for (const auto &[name, value] : expected) {
            MarkedBuffer buffer(4096);
            ASSERT_EQ(get_uboot_env(name.c_str(), buffer.data(), buffer.size()), 0);
            ASSERT_TRUE(buffer.holds(value)) << name;
        }
    }

    // Values that a line of a script can carry: no blank at either end, no line
    // break, not empty (fw_setenv takes an empty value for a deletion).
    std::string value(size_t longest)
    {
        return "v" + random_.text(longest, "abcXYZ0189 =#$'\"\\;:,./-_%\xC3\xA4") + "z";
    }
    static std::string name(size_t number) { return "variable" + std::to_string(number); }

    RandomEnvironment random_{5};

private:
    std::filesystem::path folder_;
};

TEST_F(ToolsTest, BlocksMadeByMkenvimageAreReadHere)
{
    for (const char *padding : {"0x00", "0xff"}) {
        Variables variables;
        std::string lines;
        for (size_t i = 0; i < 80; ++i) {
            variables[name(i)] = "v" + random_.text(60, "abc019 =.:/") + "z";
            lines += name(i) + "=" + variables[name(i)] + "\n";
        }
        make_image(lines, padding);
        ASSERT_TRUE(checksum_holds(block()));
        EXPECT_EQ(print_uboot_env(nullptr), 0);
        EXPECT_EQ(output(), lines);
        expect_each_here(variables);
    }
}

TEST_F(ToolsTest, AFullImageIsReadHereAndTakesNoFurtherVariable)
{
    const std::string value(data_size - 4, 'x');
    make_image("n=" + value + "\n", "0xff");
    expect_everywhere({{"n", value}});
    EXPECT_EQ(set_uboot_env("", ""), -1);
    EXPECT_EQ(set_uboot_env("n", "short"), 0);
    output();
    expect_everywhere({{"n", "short"}});
}

TEST_F(ToolsTest, BlocksWrittenHereAreThoseOfMkenvimage)
{
    std::string lines;
    start_with(std::string(block_size, '\0'));
    for (size_t i = 0; i < 80; ++i) {
        const std::string text = "v" + random_.text(60, "abc019 =.:/") + "z";
        ASSERT_EQ(set_uboot_env(name(i).c_str(), text.c_str()), 0);
        lines += name(i) + "=" + text + "\n";
    }
    const std::string ours = block();
    make_image(lines, "0x00");
    EXPECT_TRUE(same_block(ours, block()));
}

TEST_F(ToolsTest, BlocksWrittenHereAreReadByFwPrintenv)
{
    start_with(std::string(block_size, '\0'));
    Variables variables;
    for (size_t i = 0; i < 80; ++i) {
        variables[name(i)] = value(60);
        ASSERT_EQ(set_uboot_env(name(i).c_str(), variables[name(i)].c_str()), 0);
    }
    ASSERT_EQ(set_uboot_bootvalidflag(0, "1"), 0);
    variables["bootvalidflag0"] = "1";
    expect_everywhere(variables);
    EXPECT_EQ(fw_printenv({"-n", name(7)}).output, variables[name(7)] + "\n");

    ASSERT_EQ(set_uboot_env(name(7).c_str(), nullptr), 0);
    variables.erase(name(7));
    expect_everywhere(variables);
    const Answer missing = fw_printenv({name(7)}); // no error of theirs
    EXPECT_EQ(missing.status, 0);
    EXPECT_EQ(missing.output, name(7) + "=\n");
}

TEST_F(ToolsTest, AWriteHereMendsAChecksumThatTheToolsRefuse)
{
    start_with(block_of("a=1\0\0"s));
    EXPECT_NE(fw_printenv().status, 0);
    EXPECT_EQ(set_uboot_env("absent", nullptr), 0);
    expect_everywhere({{"a", "1"}});
}

class AlternatingWriters : public ToolsTest {
protected:
    // A few long values, many short ones: all together they fit.
    std::string next_value(size_t number) { return value(number < 8 ? 150 : 3); }

    void set_here()
    {
        for (size_t count = random_.below(12) + 1; count > 0; --count) {
            const size_t number = random_.below(variable_count);
            if (random_.below(5) == 0) {
                ASSERT_EQ(set_uboot_env(name(number).c_str(), nullptr), 0);
                expected_.erase(name(number));
            } else {
                expected_[name(number)] = next_value(number);
                ASSERT_EQ(set_uboot_env(name(number).c_str(), expected_[name(number)].c_str()), 0);
            }
        }
    }

    void set_one_there()
    {
        const size_t number = random_.below(variable_count);
        if (random_.below(4) == 0) {
            ASSERT_EQ(fw_setenv({name(number)}).status, 0);
            expected_.erase(name(number));
        } else {
            expected_[name(number)] = next_value(number);
            ASSERT_EQ(fw_setenv({name(number), expected_[name(number)]}).status, 0);
        }
    }

    void set_many_there()
    {
        Variables changes;
        for (size_t count = random_.below(30) + 1; count > 0; --count) {
            const size_t number = random_.below(variable_count);
            changes[name(number)] = random_.below(5) == 0 ? "" : next_value(number);
        }
        std::string script;
        for (const auto &[changed, text] : changes) {
            script += changed + "=" + text + "\n";
            expected_[changed] = text;
        }
        std::erase_if(expected_, [](const auto &variable) { return variable.second.empty(); });
        write("script", script);
        ASSERT_EQ(fw_setenv({"-s", path("script")}).status, 0);
    }

    static constexpr size_t variable_count = 300;
    Variables expected_;
};

TEST_F(AlternatingWriters, NeverDisagree)
{
    start_with(std::string(block_size, '\0'));
    for (int round = 0; round < 120; ++round) {
        ASSERT_NO_FATAL_FAILURE(set_here());
        ASSERT_NO_FATAL_FAILURE(expect_everywhere(expected_)) << "ours, round " << round;
        ASSERT_NO_FATAL_FAILURE(random_.below(2) == 0 ? set_one_there() : set_many_there());
        ASSERT_NO_FATAL_FAILURE(expect_everywhere(expected_)) << "theirs, round " << round;
    }
    EXPECT_GT(expected_.size(), 200U);
    expect_each_here(expected_);
}

} // namespace
} // namespace board_test
