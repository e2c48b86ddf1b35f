// Fetching what the host prints.

#include "console_bridge/host_console.h"

#include "tests/examples/console_bridge/bridge_fixture.h"

namespace board_test {
namespace {

class HostConsoleTest : public BridgeFixture {
protected:
    void SetUp() override
    {
        BridgeFixture::SetUp();
        open_board();
    }

    std::string text;
    int fetch() { return console_bridge::fetch_console(text); }
};

TEST_F(HostConsoleTest, IsSilent)
{
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(text, "");
}

TEST_F(HostConsoleTest, GivesTextsOfEveryLength)
{
    for (size_t size = 1; size <= 9; ++size) {
        text = "before ";
        board.sol().print(record_of(size));
        EXPECT_EQ(fetch(), 0);
        EXPECT_EQ(text, "before " + record_of(size));
        EXPECT_EQ(board.sol().pending(), 0U);
        EXPECT_FALSE(board.sol().fetching());
    }
}

TEST_F(HostConsoleTest, GoesRoundTheBuffersEnd)
{
    std::string all;
    for (int i = 0; i < 5; ++i) {
        board.sol().print(record_of(700));
        all += record_of(700);
        EXPECT_EQ(fetch(), 0);
    }
    EXPECT_EQ(text, all);
    EXPECT_EQ(board.sol().lost(), 0U);
}

TEST_F(HostConsoleTest, TellsAFetchThatDoesNotGetReady)
{
    board.sol().print("abc");
    board.sol().not_ready = 1;
    EXPECT_EQ(fetch(), -5);
    EXPECT_EQ(text, "");
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(text, "abc");
}

TEST_F(HostConsoleTest, KeepsWhatCameBeforeAFailure)
{
    board.sol().print("abcdefghijkl");
    // Length, offset, ready and the first word are read.
    registers_fail(Operation::read, 4, 1);
    EXPECT_EQ(fetch(), -5);
    EXPECT_EQ(text, "abcd");
    EXPECT_FALSE(board.sol().fetching()) << "the fetch is ended";
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(text, "abcdefghijkl");
}

TEST_F(HostConsoleTest, DoesNotBelieveAnAbsurdLength)
{
    board.fpga().on_register(
        332, [] { return 0xFFFFFFFFU; }, nullptr);
    board.sol().print("abc");
    EXPECT_EQ(fetch(), -5);
    EXPECT_EQ(text, "");
}

} // namespace
} // namespace board_test
