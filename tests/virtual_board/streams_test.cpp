// The models of the host console and the black box.

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::BlackBox;
using virtual_board::Sol;

class StreamsTest : public BoardTest {
protected:
    uint32_t get(uint16_t number) { return board.fpga().get_register(number); }

    // Writes a register as the driver does.
    void put(uint16_t number, uint32_t value)
    {
        const uint8_t record[] = {0x61,
                                  static_cast<uint8_t>(number),
                                  static_cast<uint8_t>(number >> 8),
                                  static_cast<uint8_t>(value),
                                  static_cast<uint8_t>(value >> 8),
                                  static_cast<uint8_t>(value >> 16),
                                  static_cast<uint8_t>(value >> 24)};
        virtual_board::OpenFile file;
        board.fpga().write(file, record, 1);
    }

    void start_fetch(uint32_t offset)
    {
        put(329, offset);
        put(328, 1);
        board.clock.advance_us(10);
    }
};

TEST_F(StreamsTest, ConsoleGivesNothingBeforeTheFetch)
{
    board.sol().print("abcd");
    EXPECT_EQ(get(332), 4U);
    EXPECT_EQ(get(323), 0U);
    EXPECT_EQ(get(322), 0U);
    start_fetch(0);
    EXPECT_EQ(get(323), 1U);
    EXPECT_EQ(get(322), 0x64636261U);
    EXPECT_EQ(get(322), 0U) << "nothing behind the end";
    EXPECT_EQ(board.sol().pending(), 4U) << "until the release";
    put(324, 0);
    EXPECT_EQ(board.sol().pending(), 4U) << "which is a 1";
    put(324, 1);
    EXPECT_EQ(board.sol().pending(), 0U);
    EXPECT_EQ(board.sol().offset(), 4U);
}

TEST_F(StreamsTest, ConsoleWantsItsOwnOffset)
{
    board.sol().print("abcd");
    start_fetch(4);
    EXPECT_EQ(get(323), 0U);
    start_fetch(0);
    EXPECT_EQ(get(323), 1U);
}

TEST_F(StreamsTest, ConsoleTakesTheHostsOutputDuringAFetch)
{
    board.sol().print("abcd");
    start_fetch(0);
    get(322);
    board.sol().print("efgh");
    put(324, 1);
    EXPECT_EQ(get(332), 4U);
    start_fetch(get(320));
    EXPECT_EQ(get(322), 0x68676665U);
}

TEST_F(StreamsTest, ConsoleRegistersOfTheHostAreNotWritable)
{
    board.sol().print("abcd");
    for (const uint16_t number : {uint16_t{320}, uint16_t{322}, uint16_t{323}, uint16_t{332}}) {
        put(number, 0x55);
    }
    EXPECT_EQ(get(320), 0U);
    EXPECT_EQ(get(332), 4U);
}

TEST_F(StreamsTest, ConsoleOfAnotherSize)
{
    Sol small(board.clock, board.fpga(), 4);
    small.print("abcdef");
    EXPECT_EQ(small.pending(), 4U);
    EXPECT_EQ(small.lost(), 2U);
}

TEST_F(StreamsTest, BlackBoxKeepsARecordOnlyWhileItIsEnabled)
{
    board.black_box().crash({1, 2, 3});
    EXPECT_FALSE(board.black_box().present());
    put(292, 1);
    board.black_box().crash({1, 2, 3});
    EXPECT_FALSE(board.black_box().present()) << "one bit is not enough";
    put(292, 0x13);
    EXPECT_EQ(get(292), 3U) << "the flag cannot be written";
    board.black_box().crash({1, 2, 3});
    EXPECT_EQ(get(292), 0x13U);
    put(292, 0);
    EXPECT_EQ(get(292), 0x10U) << "disabling keeps the record";
}

TEST_F(StreamsTest, BlackBoxStrobesActWhenTheyFall)
{
    put(292, 3);
    board.black_box().crash({1, 2, 3, 4});
    put(416, 0);
    EXPECT_EQ(get(419), 0U);
    put(416, 1);
    EXPECT_EQ(get(419), 0U);
    put(416, 0);
    EXPECT_EQ(get(419), 1U);
    put(420, 1);
    EXPECT_EQ(get(419), 1U);
    put(420, 0);
    EXPECT_EQ(get(419), 0U);
    EXPECT_EQ(get(421), 0U) << "released";
}

TEST_F(StreamsTest, BlackBoxYieldsTheAskedPiece)
{
    put(292, 3);
    board.black_box().crash({1, 2, 3, 4, 5, 6, 7, 8});
    put(418, 2);
    put(417, 5);
    put(416, 1);
    put(416, 0);
    EXPECT_EQ(get(421), 0x06050403U);
    EXPECT_EQ(get(421), 0x00000007U);
    EXPECT_EQ(get(421), 0U);
    put(418, 100);
    put(416, 1);
    put(416, 0);
    EXPECT_EQ(get(419), 1U);
    EXPECT_EQ(get(421), 0U) << "behind the record";
}

TEST_F(StreamsTest, BlackBoxKnowsWhetherAllOfItWasFetched)
{
    put(292, 3);
    board.black_box().crash({1, 2, 3, 4, 5});
    const auto fetch_from = [this](uint32_t first) {
        put(418, first);
        put(416, 1);
        put(416, 0);
        get(421);
    };
    fetch_from(1);
    EXPECT_FALSE(board.black_box().taken()) << "the first byte is missing";
    fetch_from(0);
    EXPECT_FALSE(board.black_box().taken());
    fetch_from(4);
    EXPECT_TRUE(board.black_box().taken());
    board.black_box().crash({1, 2, 3, 4, 5});
    EXPECT_FALSE(board.black_box().taken()) << "that is another record";
}

TEST_F(StreamsTest, BlackBoxWithoutARecordDoesNotGetReady)
{
    put(416, 1);
    put(416, 0);
    EXPECT_EQ(get(419), 0U);
}

} // namespace
} // namespace board_test
