// Serial-over-LAN data, with a host that prints.

#include <stdio.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

// Register accesses and sleeps: "w324=1", "r332", "sleep 10".
std::string access_text(const Event &event)
{
    char text[40] = {};
    if (event.operation == Operation::sleep) {
        snprintf(text, sizeof(text), "sleep %llu", static_cast<unsigned long long>(event.count));
    } else if (event.operation == Operation::read || event.operation == Operation::write) {
        const Bytes &record = event.bytes;
        const unsigned number = record[1] | static_cast<unsigned>(record[2]) << 8;
        const uint32_t value = record[3] | static_cast<uint32_t>(record[4]) << 8 |
                               static_cast<uint32_t>(record[5]) << 16 |
                               static_cast<uint32_t>(record[6]) << 24;
        if (event.operation == Operation::read) {
            snprintf(text, sizeof(text), "r%u", number);
        } else {
            snprintf(text, sizeof(text), "w%u=%u", number, value);
        }
    }
    return text;
}

class SolTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    Names accesses() const
    {
        Names texts;
        for (const Event &event : board.trace.events()) {
            const std::string text = access_text(event);
            if (!text.empty()) {
                texts.push_back(text);
            }
        }
        return texts;
    }

    // The driver does its work and then answers 0 to the nth access.
    void fails(Operation operation, unsigned nth)
    {
        board.faults.add({.name = "register access",
                          .device = "fpga",
                          .operation = operation,
                          .address = 0x61,
                          .kind = Fault::Kind::late_result,
                          .value = 0,
                          .skip = nth});
    }

    // Fetches all that waits, as an application does.
    std::string fetch()
    {
        uint32_t length = 0;
        uint32_t offset = 0;
        std::string text;
        if (get_sol_data_prepare(&length, &offset) != 0) {
            return text;
        }
        while (text.size() < length) {
            uint32_t word = 0;
            EXPECT_EQ(get_sol_data(&word), 0);
            for (unsigned i = 0; i < 4 && text.size() < length; ++i) {
                text += static_cast<char>(word >> (8 * i));
            }
        }
        EXPECT_EQ(set_sol_data_done(), 0);
        return text;
    }
};

TEST_F(SolTest, CarriesWhatTheHostPrints)
{
    board.sol().print("login: ");
    EXPECT_EQ(fetch(), "login: ");
    EXPECT_EQ(board.sol().pending(), 0U);
    EXPECT_FALSE(board.sol().fetching());
    EXPECT_EQ(accesses(), (Names{"w324=1", "r332", "r320", "w329=0", "w328=1", "sleep 10", "r323",
                                 "r322", "r322", "w324=1"}));
    EXPECT_EQ(output(), "");
}

TEST_F(SolTest, EveryAccessHoldsTheRegisterLock)
{
    uint32_t length = 77;
    EXPECT_EQ(get_sol_data_length(&length), -9);
    EXPECT_EQ(steps(),
              (Names{"lock fpga_register_lock", "write fpga 61", "unlock fpga_register_lock",
                     "lock fpga_register_lock", "read fpga 61", "unlock fpga_register_lock"}));
}

TEST_F(SolTest, FollowsTheBufferAroundItsEnd)
{
    const std::string block(1000, 'a');
    board.sol().print(block);
    EXPECT_EQ(fetch(), block);
    board.sol().print("0123456789abcdefghijklmnopqrstuvwxyz");
    uint32_t length = 0;
    uint32_t offset = 0;
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), 0);
    EXPECT_EQ(length, 36U);
    EXPECT_EQ(offset, 1000U);
    EXPECT_EQ(accesses().end()[-4], "w329=1000") << "the fetch starts where the data does";
    EXPECT_EQ(fetch(), "0123456789abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(board.sol().offset(), 12U);
}

TEST_F(SolTest, TakesAFullBuffer)
{
    board.sol().print(std::string(1030, 'x'));
    EXPECT_EQ(board.sol().lost(), 6U);
    EXPECT_EQ(fetch(), std::string(1024, 'x'));
    EXPECT_EQ(board.sol().pending(), 0U);
}

TEST_F(SolTest, ANewFetchReleasesAnUnfinishedOne)
{
    board.sol().print("abcdefgh");
    uint32_t length = 0;
    uint32_t offset = 0;
    uint32_t word = 0;
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), 0);
    EXPECT_EQ(get_sol_data(&word), 0);
    EXPECT_EQ(word, 0x64636261U) << "lowest byte first";
    EXPECT_TRUE(board.sol().fetching());
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), 0);
    EXPECT_EQ(length, 4U);
    EXPECT_EQ(offset, 4U);
    EXPECT_EQ(get_sol_data(&word), 0);
    EXPECT_EQ(word, 0x68676665U);
    EXPECT_EQ(set_sol_data_done(), 0);
    EXPECT_EQ(output(), "");
}

TEST_F(SolTest, AnEmptyBufferIsNoFailureOfTheRegisters)
{
    uint32_t length = 77;
    uint32_t offset = 88;
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), -9);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(offset, 88U);
    EXPECT_EQ(accesses(), (Names{"w324=1", "r332"}));
    EXPECT_EQ(output(), "");
}

TEST_F(SolTest, LengthReleasesAndReads)
{
    board.sol().print("abc");
    uint32_t length = 77;
    EXPECT_EQ(get_sol_data_length(&length), 0);
    EXPECT_EQ(length, 3U);
    EXPECT_EQ(accesses(), (Names{"w324=1", "r332"}));
    EXPECT_EQ(fetch(), "abc");
    clear_trace();
    EXPECT_EQ(get_sol_data_length(&length), -9);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(accesses(), (Names{"w324=1", "r332"})) << "released before it is seen to be empty";
    EXPECT_EQ(output(), "");
}

TEST_F(SolTest, SaysWhenTheDataDoesNotGetReady)
{
    board.sol().print("abc");
    board.sol().not_ready = 1;
    uint32_t length = 0;
    uint32_t offset = 0;
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), -5);
    EXPECT_EQ(output(), "\nret=0 ready=0 Get lpc data not ready.\n");
    EXPECT_EQ(fetch(), "abc") << "nothing is lost";
}

TEST_F(SolTest, TheSettleTimeIsEnoughAndNeeded)
{
    board.sol().print("abc");
    board.sol().settle_us = 11;
    uint32_t length = 0;
    uint32_t offset = 0;
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), -5);
    board.sol().settle_us = 10;
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), 0);
}

struct PrepareFailure {
    const char *name;
    Operation operation;
    unsigned nth;
    const char *text;
    Names accesses;
};

void PrintTo(const PrepareFailure &failure, std::ostream *stream)
{
    *stream << failure.name;
}

class SolPrepareFailureTest : public SolTest,
                              public ::testing::WithParamInterface<PrepareFailure> {};

TEST_P(SolPrepareFailureTest, StopsThere)
{
    board.sol().print("abc");
    fails(GetParam().operation, GetParam().nth);
    uint32_t length = 0;
    uint32_t offset = 0;
    EXPECT_EQ(get_sol_data_prepare(&length, &offset), -5);
    EXPECT_EQ(output(), GetParam().text);
    EXPECT_EQ(accesses(), GetParam().accesses);
}

INSTANTIATE_TEST_SUITE_P(
    Sol, SolPrepareFailureTest,
    ::testing::Values(
        PrepareFailure{"Clear", Operation::write, 0, "Set lpc clear failed.\n", {"w324=1"}},
        PrepareFailure{
            "Length", Operation::read, 0, "Get lpc data length failed.\n", {"w324=1", "r332"}},
        PrepareFailure{"Offset",
                       Operation::read,
                       1,
                       "Get lpc data offset failed.\n",
                       {"w324=1", "r332", "r320"}},
        PrepareFailure{"FetchOffset",
                       Operation::write,
                       1,
                       "Set lpc data offset failed.\n",
                       {"w324=1", "r332", "r320", "w329=0"}},
        PrepareFailure{"Enable",
                       Operation::write,
                       2,
                       "Set lpc data enable failed.\n",
                       {"w324=1", "r332", "r320", "w329=0", "w328=1"}},
        PrepareFailure{"Ready",
                       Operation::read,
                       2,
                       "\nret=-5 ready=1 Get lpc data not ready.\n",
                       {"w324=1", "r332", "r320", "w329=0", "w328=1", "sleep 10", "r323"}}),
    [](const auto &one) { return std::string(one.param.name); });

TEST_F(SolTest, SingleAccessesFailSilently)
{
    uint32_t value = 77;
    fails(Operation::write, 0);
    EXPECT_EQ(get_sol_data_length(&value), -5);
    EXPECT_EQ(value, 77U);
    EXPECT_EQ(accesses(), (Names{"w324=1"}));
    board.faults.clear();
    fails(Operation::read, 0);
    EXPECT_EQ(get_sol_data_length(&value), -5);
    board.faults.clear();
    fails(Operation::read, 0);
    EXPECT_EQ(get_sol_data(&value), -5);
    fails(Operation::write, 0);
    EXPECT_EQ(set_sol_data_done(), -5);
    EXPECT_EQ(output(), "");
}

TEST_F(SolTest, AWriteThatAnswersMinusOneCountsAsDone)
{
    board.faults.add({.name = "write",
                      .device = "fpga",
                      .operation = Operation::write,
                      .address = 0x61,
                      .value = EIO});
    EXPECT_EQ(set_sol_data_done(), 0);
}

TEST_F(SolTest, MissingPointersAreFailures)
{
    board.sol().print("abc");
    uint32_t value = 77;
    EXPECT_EQ(get_sol_data_length(nullptr), -5);
    EXPECT_EQ(get_sol_data(nullptr), -5);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(get_sol_data_prepare(nullptr, &value), -5);
    EXPECT_EQ(output(), "Get lpc data length failed.\n");
    EXPECT_EQ(get_sol_data_prepare(&value, nullptr), -5);
    EXPECT_EQ(output(), "Get lpc data offset failed.\n");
}

} // namespace
} // namespace board_test
