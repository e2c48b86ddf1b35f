// A file is the old one or the whole new one.

#include "console_bridge/replace_file.h"

#include <signal.h>
#include <sys/resource.h>

#include "tests/examples/console_bridge/bridge_fixture.h"

namespace board_test {
namespace {

using console_bridge::replace_file;

class ReplaceFileTest : public BridgeFixture {};

TEST_F(ReplaceFileTest, WritesANewOne)
{
    const std::string bytes = record_of(70000) + std::string(3, '\0');
    EXPECT_EQ(replace_file(file("box"), bytes), "");
    EXPECT_EQ(content(file("box")), bytes);
    EXPECT_EQ(files(), Names{"box"});
}

TEST_F(ReplaceFileTest, ReplacesALongerOne)
{
    write_file(file("box"), record_of(500));
    EXPECT_EQ(replace_file(file("box"), "new"), "");
    EXPECT_EQ(content(file("box")), "new");
}

TEST_F(ReplaceFileTest, WritesIntoTheFolderThatOneIsIn)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    EXPECT_EQ(replace_file("box", "new"), "");
    std::filesystem::current_path(before);
    EXPECT_EQ(content(file("box")), "new");
}

TEST_F(ReplaceFileTest, LeavesTheOldOneWhenTheDiskIsFull)
{
    write_file(file("box"), "old");
    signal(SIGXFSZ, SIG_IGN);
    rlimit found = {};
    getrlimit(RLIMIT_FSIZE, &found);
    const rlimit small = {1000, found.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const std::string complaint = replace_file(file("box"), record_of(5000));
    setrlimit(RLIMIT_FSIZE, &found);
    EXPECT_EQ(complaint, file("box") + ": File too large");
    EXPECT_EQ(content(file("box")), "old");
    EXPECT_EQ(files(), Names{"box"}) << "nothing beside it";
}

TEST_F(ReplaceFileTest, NeedsItsFolder)
{
    EXPECT_EQ(replace_file(file("absent/box"), "new"),
              file("absent/box") + ": No such file or directory");
}

TEST_F(ReplaceFileTest, LeavesWhatIsNoPlainFileAlone)
{
    EXPECT_EQ(replace_file("/dev/null", "new"), "/dev/null is no plain file");
    EXPECT_EQ(replace_file(folder, "new"), folder + " is no plain file");
    EXPECT_TRUE(std::filesystem::is_directory(folder));
}

} // namespace
} // namespace board_test
