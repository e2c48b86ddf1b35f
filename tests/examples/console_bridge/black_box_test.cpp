// Fetching a record, byte for byte.

#include "console_bridge/black_box.h"

#include "tests/examples/console_bridge/bridge_fixture.h"

namespace board_test {
namespace {

using console_bridge::black_box_has_record;
using console_bridge::fetch_black_box;

class BlackBoxFetchTest : public BridgeFixture {
protected:
    void SetUp() override
    {
        BridgeFixture::SetUp();
        open_board();
    }

    std::string fetch(uint32_t size = 16384)
    {
        return fetch_black_box(
            size, [this] { ++pauses; }, fetched);
    }

    std::string fetched = "as it was";
    unsigned pauses = 0;
};

TEST_F(BlackBoxFetchTest, HasNone)
{
    EXPECT_FALSE(black_box_has_record());
    EXPECT_EQ(fetch(), "it holds no record");
    EXPECT_EQ(fetched, "as it was");
    EXPECT_EQ(board.black_box().releases(), 0U);
}

TEST_F(BlackBoxFetchTest, GivesRecordsOfEveryLength)
{
    for (const size_t size : {1U, 3U, 4U, 1023U, 1024U, 1025U, 3001U, 16384U}) {
        record(record_of(size));
        EXPECT_TRUE(black_box_has_record());
        EXPECT_EQ(fetch(), "") << size;
        EXPECT_EQ(fetched, record_of(size));
        EXPECT_FALSE(board.black_box().fetching());
    }
}

TEST_F(BlackBoxFetchTest, KeepsZerosWithinButNotBehind)
{
    const std::string inner = "a" + std::string(3000, '\0') + "b";
    record(inner + std::string(5, '\0'));
    EXPECT_EQ(fetch(), "");
    EXPECT_EQ(fetched, inner);
    record(std::string(2000, '\0'));
    EXPECT_EQ(fetch(), "it holds nothing but zeros");
}

TEST_F(BlackBoxFetchTest, RefusesALargerOne)
{
    record(record_of(1500));
    EXPECT_EQ(fetch(1500), "");
    EXPECT_EQ(fetch(1499), "it holds more than 1499 bytes");
    EXPECT_EQ(fetch(1), "it holds more than 1 bytes");
}

TEST_F(BlackBoxFetchTest, PausesBetweenPieces)
{
    record(record_of(10));
    EXPECT_EQ(fetch(2048), "");
    EXPECT_EQ(pauses, 2 * 3U) << "twice two pieces and the one behind them";
    EXPECT_EQ(board.black_box().releases(), 6U);
}

TEST_F(BlackBoxFetchTest, TakesTheRecordOfACrashThatComesMeanwhile)
{
    record(record_of(2000));
    const std::string newer = "newer" + record_of(1900);
    bool crashed = false;
    const auto crash = [&] {
        if (!std::exchange(crashed, true)) {
            record(newer);
        }
    };
    EXPECT_EQ(fetch_black_box(4096, crash, fetched), "");
    EXPECT_EQ(fetched, newer);
}

TEST_F(BlackBoxFetchTest, DoesNotTakeOneThatKeepsChanging)
{
    record("0");
    unsigned number = 0;
    const auto change = [&] { record(std::to_string(++number)); };
    EXPECT_EQ(fetch_black_box(4096, change, fetched), "it changes while it is fetched");
    EXPECT_EQ(fetched, "as it was");
}

TEST_F(BlackBoxFetchTest, SeesAByteThatWasMisread)
{
    record(record_of(100));
    board.faults.add({.name = "flip",
                      .device = "fpga",
                      .operation = Operation::read,
                      .address = 0x61,
                      .kind = Fault::Kind::bit_flip,
                      .value = 3,
                      .skip = 5});
    EXPECT_EQ(fetch(), "");
    EXPECT_EQ(fetched, record_of(100));
    EXPECT_EQ(board.faults.faults().front().hits, 1U);
}

TEST_F(BlackBoxFetchTest, TriesAgain)
{
    record(record_of(100));
    board.black_box().not_ready = 1;
    EXPECT_EQ(fetch(), "");
    EXPECT_EQ(fetched, record_of(100));
}

TEST_F(BlackBoxFetchTest, EndsEveryFetchThatFails)
{
    record(record_of(2000));
    // The flag, and the first piece's ready and first word are read.
    registers_fail(Operation::read, 3, 0);
    EXPECT_EQ(fetch(), "the FPGA does not give it (-5)");
    EXPECT_EQ(fetched, "as it was");
    EXPECT_FALSE(board.black_box().fetching());
}

} // namespace
} // namespace board_test
