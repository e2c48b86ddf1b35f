// The platform support library: bounded copies, formatting, program runner.

#include "platform/vos.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "tests/support/machine.h"

namespace board_test {
namespace {

// A destination with guard bytes behind it.
struct Guarded {
    char bytes[16];

    Guarded() { memset(bytes, '#', sizeof(bytes)); }
    std::string all() const { return {bytes, sizeof(bytes)}; }
};

std::string with_guard(std::string text)
{
    text.resize(sizeof(Guarded::bytes), '#');
    return text;
}

TEST(VosSnprintf, WritesTextAndNul)
{
    Guarded to;
    EXPECT_EQ(vos_snprintf(to.bytes, 8, "%d-%s", 42, "ab"), 5);
    EXPECT_EQ(to.all(), with_guard(std::string("42-ab\0", 6)));
}

TEST(VosSnprintf, CutsAndAnswersTheWholeLength)
{
    Guarded to;
    EXPECT_EQ(vos_snprintf(to.bytes, 4, "%s", "abcdef"), 6);
    EXPECT_EQ(to.all(), with_guard(std::string("abc\0", 4)));
}

TEST(VosSnprintf, KeepsATextThatJustFits)
{
    Guarded to;
    EXPECT_EQ(vos_snprintf(to.bytes, 4, "abc"), 3);
    EXPECT_STREQ(to.bytes, "abc");
}

TEST(VosSnprintf, OneByteTakesTheNulAlone)
{
    Guarded to;
    EXPECT_EQ(vos_snprintf(to.bytes, 1, "%s", "abc"), 3);
    EXPECT_EQ(to.all(), with_guard(std::string("\0", 1)));
}

TEST(VosSnprintf, RefusesNoPlace)
{
    Guarded to;
    EXPECT_EQ(vos_snprintf(to.bytes, 0, "abc"), -1);
    EXPECT_EQ(vos_snprintf(nullptr, 8, "abc"), -1);
    EXPECT_EQ(to.all(), with_guard(""));
}

TEST(VosMemcpy, CopiesWhatFits)
{
    for (const size_t count : {size_t{0}, size_t{3}, size_t{4}}) {
        Guarded to;
        EXPECT_EQ(vos_memcpy(to.bytes, 4, "wxyz", count), 0);
        EXPECT_EQ(to.all(), with_guard(std::string("wxyz", count)));
    }
}

TEST(VosMemcpy, CopiesNothingOfWhatDoesNot)
{
    Guarded to;
    EXPECT_EQ(vos_memcpy(to.bytes, 4, "vwxyz", 5), -1);
    EXPECT_EQ(vos_memcpy(to.bytes, 4, "vwxyz", SIZE_MAX), -1);
    EXPECT_EQ(vos_memcpy(to.bytes, 0, "vwxyz", 1), -1);
    EXPECT_EQ(vos_memcpy(to.bytes, 4, nullptr, 1), -1);
    EXPECT_EQ(vos_memcpy(nullptr, 4, "vwxyz", 1), -1);
    EXPECT_EQ(to.all(), with_guard(""));
}

TEST(VosMemset, SetsWhatFits)
{
    for (const size_t count : {size_t{0}, size_t{3}, size_t{4}}) {
        Guarded to;
        EXPECT_EQ(vos_memset(to.bytes, 4, 0x141, count), 0); // the low byte counts
        EXPECT_EQ(to.all(), with_guard(std::string(count, 'A')));
    }
}

TEST(VosMemset, SetsNothingOfWhatDoesNot)
{
    Guarded to;
    EXPECT_EQ(vos_memset(to.bytes, 4, 'A', 5), -1);
    EXPECT_EQ(vos_memset(to.bytes, 4, 'A', SIZE_MAX), -1);
    EXPECT_EQ(vos_memset(nullptr, 4, 'A', 1), -1);
    EXPECT_EQ(to.all(), with_guard(""));
}

TEST(VosStrncpy, AlwaysEndsTheText)
{
    const struct {
        size_t size;
        const char *from;
        size_t count;
        const char *expected;
    } cases[] = {
        {8, "abc", 3, "abc"},    {8, "abc", 2, "ab"},
        {8, "abc", 7, "abc"},    {8, "abc", SIZE_MAX, "abc"},
        {4, "abc", 3, "abc"},    {4, "abcd", 4, "abc"},
        {4, "abcdef", 6, "abc"}, {4, "abcdef", SIZE_MAX, "abc"},
        {1, "abc", 3, ""},       {8, "", 3, ""},
        {8, "abc", 0, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.size << ' ' << c.from << ' ' << c.count);
        Guarded to;
        EXPECT_EQ(vos_strncpy(to.bytes, c.size, c.from, c.count), 0);
        const std::string text = c.expected;
        EXPECT_EQ(to.all(), with_guard(text + '\0'));
    }
}

TEST(VosStrncpy, ReadsNoFurtherThanTheCount)
{
    const std::vector<char> unended = {'a', 'b', 'c'};
    Guarded to;
    EXPECT_EQ(vos_strncpy(to.bytes, 8, unended.data(), unended.size()), 0);
    EXPECT_STREQ(to.bytes, "abc");
}

TEST(VosStrncpy, RefusesNoPlaceAndNoText)
{
    Guarded to;
    EXPECT_EQ(vos_strncpy(to.bytes, 0, "abc", 3), -1);
    EXPECT_EQ(vos_strncpy(to.bytes, 8, nullptr, 3), -1);
    EXPECT_EQ(vos_strncpy(nullptr, 8, "abc", 3), -1);
    EXPECT_EQ(to.all(), with_guard(""));
}

int run(const char *program, std::vector<std::string> arguments)
{
    std::vector<char *> vector;
    for (std::string &argument : arguments) {
        vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    return vos_system(program, vector.data());
}

int shell(const std::string &script)
{
    return run("/bin/sh", {"sh", "-c", script, "zero", "one argument", ""});
}

TEST(VosSystem, AnswersTheExitCode)
{
    EXPECT_EQ(shell("exit 0"), 0);
    EXPECT_EQ(shell("exit 1"), 1);
    EXPECT_EQ(shell("exit 255"), 255);
}

TEST(VosSystem, PassesArgumentsAndEnvironment)
{
    setenv("VOS_TEST", "a value", 1);
    EXPECT_EQ(
        shell("test \"$VOS_TEST\" = 'a value' && test $# = 2 && test \"$1\" = 'one argument'"), 0);
}

TEST(VosSystem, TellsTheSignal)
{
    EXPECT_EQ(shell("kill -9 $$"), 128 + SIGKILL);
}

TEST(VosSystem, RefusesWhatCannotStart)
{
    if (!tells_failed_starts()) {
        GTEST_SKIP() << "posix_spawn does not tell failed starts on this machine";
    }
    EXPECT_EQ(run("/no/such/program", {"program"}), -1);
    EXPECT_EQ(run("sh", {"sh", "-c", "exit 0"}), -1); // a path, no search
}

TEST(VosSystem, RefusesNullPointers)
{
    EXPECT_EQ(run(nullptr, {"program"}), -1);
    EXPECT_EQ(vos_system("/bin/true", nullptr), -1);
}

TEST(VosSystem, LeavesNoChildBehind)
{
    EXPECT_EQ(shell("exit 3"), 3);
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(VosSystem, FinishesForACallerThatIgnoresChildren)
{
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(shell("exit 3"), 0); // no status is kept of it
}

TEST(VosSystem, WaitsOnAcrossASignal)
{
    struct sigaction action = {};
    action.sa_handler = [](int) {}; // without SA_RESTART
    sigaction(SIGUSR1, &action, nullptr);
    // The child's parent is this process.
    EXPECT_EQ(shell("kill -USR1 $PPID; kill -USR1 $PPID; exit 6"), 6);
}

} // namespace
} // namespace board_test
