// The black box, with a host that crashes.

#include <stdio.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

class BlackBoxTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    // Register accesses: "w416=1", "r419".
    Names accesses() const
    {
        Names texts;
        for (const Event &event : board.trace.events()) {
            if (event.device == "fpga") {
                const Bytes &record = event.bytes;
                const std::string number = std::to_string(record[1] | record[2] << 8);
                texts.push_back(event.operation == Operation::read
                                    ? "r" + number
                                    : "w" + number + "=" + std::to_string(value_of(record)));
            }
        }
        return texts;
    }

    static uint32_t value_of(const Bytes &record)
    {
        return record[3] | static_cast<uint32_t>(record[4]) << 8 |
               static_cast<uint32_t>(record[5]) << 16 | static_cast<uint32_t>(record[6]) << 24;
    }

    void fails(Operation operation, unsigned nth, Fault::Kind kind = Fault::Kind::late_result)
    {
        board.faults.clear();
        board.faults.add({.name = "register access",
                          .device = "fpga",
                          .operation = operation,
                          .address = 0x61,
                          .kind = kind,
                          .value = 0,
                          .skip = nth});
    }

    void crash(const Bytes &record)
    {
        EXPECT_EQ(set_blackbox_status(1), 0);
        board.black_box().crash(record);
        clear_trace();
    }

    uint32_t control() { return board.fpga().get_register(292); }
};

TEST_F(BlackBoxTest, FetchesTheRecordOfACrash)
{
    crash({1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(get_blackbox_data_prepare(4, 8), 0);
    EXPECT_EQ(board.black_box().first(), 4U);
    EXPECT_EQ(board.black_box().second(), 8U);
    EXPECT_TRUE(board.black_box().fetching());
    uint32_t word = 0;
    EXPECT_EQ(get_blackbox_data(&word), 0);
    EXPECT_EQ(word, 0x08070605U);
    EXPECT_EQ(get_blackbox_data(&word), 0);
    EXPECT_EQ(word, 0x00000009U);
    EXPECT_EQ(set_blackbox_data_done(), 0);
    EXPECT_FALSE(board.black_box().fetching());
    EXPECT_EQ(board.black_box().releases(), 1U);
    EXPECT_EQ(accesses(), (Names{"w418=4", "w417=8", "w416=1", "w416=0", "r419", "r421", "r421",
                                 "w420=1", "w420=0"}));
    EXPECT_EQ(output(), "");
    EXPECT_TRUE(board.trace.of(Operation::sleep).empty());
}

TEST_F(BlackBoxTest, PassesTheParametersUntouched)
{
    crash({1});
    EXPECT_EQ(get_blackbox_data_prepare(0, 0xFFFFFFFF), 0);
    EXPECT_EQ(board.black_box().second(), 0xFFFFFFFFU);
    EXPECT_EQ(get_blackbox_data_prepare(0x87654321, 0), 0);
    EXPECT_EQ(board.black_box().first(), 0x87654321U);
}

TEST_F(BlackBoxTest, EveryAccessHoldsTheRegisterLock)
{
    EXPECT_EQ(set_blackbox_data_done(), 0);
    EXPECT_EQ(steps(),
              (Names{"lock fpga_register_lock", "write fpga 61", "unlock fpga_register_lock",
                     "lock fpga_register_lock", "write fpga 61", "unlock fpga_register_lock"}));
}

TEST_F(BlackBoxTest, SaysWhenTheDataIsNotReady)
{
    crash({1, 2, 3, 4});
    board.black_box().not_ready = 1;
    EXPECT_EQ(get_blackbox_data_prepare(0, 0), -5);
    EXPECT_EQ(output(), "Get from FPGA not ready!\n");
    EXPECT_EQ(accesses().size(), 5U) << "no second look";
    EXPECT_EQ(get_blackbox_data_prepare(0, 0), 0);
    fails(Operation::read, 0);
    EXPECT_EQ(get_blackbox_data_prepare(0, 0), -5) << "ready, but the read failed";
    EXPECT_EQ(output(), "Get from FPGA not ready!\n");
}

TEST_F(BlackBoxTest, PrepareStopsSilentlyAtAFailedWrite)
{
    const Names all = {"w418=1", "w417=2", "w416=1", "w416=0"};
    for (unsigned nth = 0; nth < all.size(); ++nth) {
        clear_trace();
        fails(Operation::write, nth);
        EXPECT_EQ(get_blackbox_data_prepare(1, 2), -5);
        EXPECT_EQ(accesses(), Names(all.begin(), all.begin() + nth + 1));
        EXPECT_EQ(output(), "");
    }
}

TEST_F(BlackBoxTest, DoneStopsAtAFailedWrite)
{
    fails(Operation::write, 0);
    EXPECT_EQ(set_blackbox_data_done(), -5);
    EXPECT_EQ(accesses(), (Names{"w420=1"}));
    clear_trace();
    fails(Operation::write, 1);
    EXPECT_EQ(set_blackbox_data_done(), -5);
    EXPECT_EQ(accesses(), (Names{"w420=1", "w420=0"}));
    EXPECT_EQ(output(), "");
}

TEST_F(BlackBoxTest, AFailedWordReadIsAFailure)
{
    uint32_t word = 77;
    fails(Operation::read, 0);
    EXPECT_EQ(get_blackbox_data(&word), -5);
    EXPECT_EQ(get_blackbox_data(nullptr), -5);
    EXPECT_EQ(output(), "");
}

TEST_F(BlackBoxTest, LengthIsAFlag)
{
    uint32_t present = 77;
    EXPECT_EQ(get_blackbox_data_lenth(&present), 0);
    EXPECT_EQ(present, 0U);
    crash({1, 2, 3, 4, 5});
    EXPECT_EQ(get_blackbox_data_lenth(&present), 0);
    EXPECT_EQ(present, 1U);
    EXPECT_EQ(accesses(), (Names{"r292"}));
    fails(Operation::read, 0);
    present = 77;
    EXPECT_EQ(get_blackbox_data_lenth(&present), -5);
    EXPECT_EQ(present, 77U);
    EXPECT_EQ(output(), "");
}

TEST_F(BlackBoxTest, OnlyBitFourTellsOfData)
{
    board.fpga().on_register(292, nullptr, nullptr);
    uint32_t present = 77;
    board.fpga().set_register(292, 0xFFFFFFEF);
    EXPECT_EQ(get_blackbox_data_lenth(&present), 0);
    EXPECT_EQ(present, 0U);
    board.fpga().set_register(292, 0x10);
    EXPECT_EQ(get_blackbox_data_lenth(&present), 0);
    EXPECT_EQ(present, 1U);
}

TEST_F(BlackBoxTest, OnlyOneEnables)
{
    for (const uint32_t other : {0U, 2U, 3U, 0xFFFFFFFFU}) {
        EXPECT_EQ(set_blackbox_status(1), 0);
        EXPECT_EQ(control(), 3U);
        EXPECT_TRUE(board.black_box().enabled());
        EXPECT_EQ(set_blackbox_status(other), 0);
        EXPECT_EQ(control(), 0U) << other;
    }
}

TEST_F(BlackBoxTest, SwitchingKeepsTheOtherControlBits)
{
    board.fpga().on_register(292, nullptr, nullptr);
    board.fpga().set_register(292, 0xA5A5A5A4);
    EXPECT_EQ(set_blackbox_status(1), 0);
    EXPECT_EQ(control(), 0xA5A5A5A7U);
    EXPECT_EQ(accesses(), (Names{"r292", "w292=2779096487"}));
    EXPECT_EQ(set_blackbox_status(0), 0);
    EXPECT_EQ(control(), 0xA5A5A5A4U);
    EXPECT_EQ(output(), "");
}

TEST_F(BlackBoxTest, SwitchingStopsAtAFailure)
{
    fails(Operation::read, 0);
    EXPECT_EQ(set_blackbox_status(1), -5);
    EXPECT_EQ(accesses(), (Names{"r292"}));
    fails(Operation::write, 0, Fault::Kind::result);
    EXPECT_EQ(set_blackbox_status(1), -5);
    EXPECT_EQ(control(), 0U);
    EXPECT_EQ(output(), "");
}

TEST_F(BlackBoxTest, EitherBitIsOn)
{
    board.fpga().on_register(292, nullptr, nullptr);
    const struct {
        uint32_t control;
        uint32_t enabled;
    } rows[] = {{0, 0}, {1, 1}, {2, 1}, {3, 1}, {0xFFFFFFFC, 0}, {0xFFFFFFFE, 1}};
    for (const auto &row : rows) {
        board.fpga().set_register(292, row.control);
        uint32_t enabled = 77;
        EXPECT_EQ(get_blackbox_status(&enabled), 0);
        EXPECT_EQ(enabled, row.enabled) << row.control;
    }
    fails(Operation::read, 0);
    uint32_t enabled = 77;
    EXPECT_EQ(get_blackbox_status(&enabled), -5);
    EXPECT_EQ(enabled, 77U);
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
