#include "virtual_board/remote/board_socket.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "virtual_board/remote/machine.h"
#include "virtual_board/remote/server.h"

namespace {

using namespace virtual_board::remote;

class BoardSocketTest : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/board-socket-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
        setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
        unsetenv("VIRTUAL_BOARD");
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string folder;
};

TEST_F(BoardSocketTest, LivesInADirectoryOfTheUsersOwn)
{
    EXPECT_EQ(runtime_directory(), folder + "/virtual-board");
    struct stat status = {};
    ASSERT_EQ(stat((folder + "/virtual-board").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
    chmod((folder + "/virtual-board").c_str(), 0750);
    EXPECT_THROW(runtime_directory(), std::runtime_error);
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(runtime_directory(), "/tmp/virtual-board-" + std::to_string(getuid()));
}

TEST_F(BoardSocketTest, FollowsNoLinkToADirectory)
{
    std::filesystem::create_directory(folder + "/elsewhere");
    std::filesystem::create_symlink(folder + "/elsewhere", folder + "/virtual-board");
    EXPECT_THROW(runtime_directory(), std::runtime_error);
}

TEST_F(BoardSocketTest, HasANameOrAPath)
{
    const std::string directory = folder + "/virtual-board/";
    EXPECT_EQ(socket_path("desk"), directory + "desk.socket");
    EXPECT_EQ(socket_path("/some/where"), "/some/where");
    EXPECT_EQ(socket_path("./here"), std::filesystem::current_path().string() + "/./here");
    EXPECT_EQ(socket_path(""), directory + "default.socket");
    setenv("VIRTUAL_BOARD", "bench", 1);
    EXPECT_EQ(socket_path(""), directory + "bench.socket");
    EXPECT_EQ(socket_path("desk"), directory + "desk.socket");
    for (const char *name : {".hidden", "a b", "a\n", "\xC3\xA4"}) {
        EXPECT_THROW(socket_path(name), std::runtime_error) << name;
    }
}

TEST_F(BoardSocketTest, BelongsToOneServerAtATime)
{
    const std::string path = socket_path("desk");
    {
        const ListeningSocket first(path);
        struct stat status = {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 077, 0U);
        EXPECT_THROW(ListeningSocket second(path), std::runtime_error);
        EXPECT_TRUE(std::filesystem::exists(path)) << "still the first one's";
    }
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(std::filesystem::is_empty(folder + "/virtual-board"));
    const ListeningSocket again(path);
}

TEST_F(BoardSocketTest, ReplacesOneThatAKilledServerLeft)
{
    const std::string path = socket_path("desk");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const Descriptor old(socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind(old.get(), reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    const ListeningSocket socket(path);
    EXPECT_FALSE(ask_status(folder + "/nobody"));
}

TEST_F(BoardSocketTest, ReplacesNothingElse)
{
    const std::string path = folder + "/file";
    fclose(fopen(path.c_str(), "w"));
    EXPECT_THROW(ListeningSocket socket(path), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
    EXPECT_THROW(ListeningSocket socket(folder + "/" + std::string(120, 'x')), std::runtime_error);
}

TEST_F(BoardSocketTest, ListsTheBoardsThatAreServed)
{
    EXPECT_TRUE(served_boards().empty());
    Machine machine(virtual_board::Personality{});
    ListeningSocket socket(socket_path("desk"));
    auto server = std::make_unique<BoardServer>(machine);
    server->listen(socket.take());
    const ListeningSocket silent(folder + "/virtual-board/other"); // no board's name
    const std::vector<BoardStatus> boards = served_boards();
    ASSERT_EQ(boards.size(), 1U);
    EXPECT_EQ(boards[0].name, "desk");
    EXPECT_EQ(boards[0].personality, "brava-0");
    EXPECT_EQ(boards[0].process, getpid());
    EXPECT_TRUE(boards[0].powered);
    machine.cut();
    EXPECT_FALSE(served_boards().at(0).powered);
    server.reset();
    EXPECT_TRUE(served_boards().empty());
}

} // namespace
