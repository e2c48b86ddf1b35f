// The PECI bridge on I2C channel 1.

#include <stdio.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

constexpr uint8_t cmd_i2c = 0x21;

class PeciTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    // The driver answers so to every transfer of a kind from the nth on.
    void driver_answers(Operation operation, unsigned nth, long result)
    {
        board.faults.add({.name = "driver",
                          .device = "fpga",
                          .operation = operation,
                          .address = cmd_i2c,
                          .kind = Fault::Kind::late_result,
                          .value = result,
                          .skip = nth,
                          .times = 0});
    }

    size_t transfers(Operation operation) { return board.trace.count(operation, "fpga"); }
};

// Records of one set-up step: channel, 8-bit address, count, delay, data.
struct Step {
    Bytes write;
    Bytes read;
};

// The start of a record; the rest of a read's is zero.
Bytes head(const Event &event, size_t count)
{
    return Bytes(event.bytes.begin(), event.bytes.begin() + static_cast<long>(count));
}

TEST_F(PeciTest, SetsUpTheBridge)
{
    EXPECT_EQ(peci_init(), 0);
    EXPECT_EQ(board.peci_bridge().get(0x0C), 0x0555);
    EXPECT_EQ(board.peci_bridge().get(0x0D), 0x0302);
    EXPECT_EQ(board.peci_bridge().get(0x0E), 0x0055);
    EXPECT_EQ(board.peci_bridge().get(0x0F), 0x0000);
    EXPECT_EQ(output(), "");
}

TEST_F(PeciTest, SendsEachStepWithItsDelays)
{
    EXPECT_EQ(peci_init(), 0);
    const Step expected[] = {
        {{0x21, 1, 0x54, 3, 0, 200, 0x0C, 0x55, 0x05}, {0x21, 1, 0x54, 2, 1, 0, 20, 0x0C, 0}},
        {{0x21, 1, 0x54, 3, 0, 100, 0x0D, 0x02, 0x03}, {0x21, 1, 0x54, 2, 1, 0, 20, 0x0D, 0}},
        {{0x21, 1, 0x54, 3, 0, 100, 0x0E, 0x55, 0x00}, {0x21, 1, 0x54, 2, 1, 0, 20, 0x0E, 0}},
        {{0x21, 1, 0x54, 3, 0, 100, 0x0F, 0x00, 0x00}, {0x21, 1, 0x54, 2, 1, 0, 20, 0x0F, 0}},
    };
    const std::vector<Event> writes = board.trace.of(Operation::write, "fpga");
    const std::vector<Event> reads = board.trace.of(Operation::read, "fpga");
    ASSERT_EQ(writes.size(), 4U);
    ASSERT_EQ(reads.size(), 4U);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(writes[i].bytes, expected[i].write) << i;
        EXPECT_EQ(head(reads[i], 9), expected[i].read) << i;
    }
    Names each_step;
    for (size_t i = 0; i < 4; ++i) {
        for (const char *step : {"lock i2c_lock", "write fpga 21", "unlock i2c_lock",
                                 "lock i2c_lock", "read fpga 21", "unlock i2c_lock"}) {
            each_step.emplace_back(step);
        }
    }
    EXPECT_EQ(steps(), each_step) << "the lock is taken per transfer";
}

TEST_F(PeciTest, StopsAtTheFirstRegisterThatReadsBackWrong)
{
    const struct {
        uint8_t reg;
        uint16_t answer;
        size_t writes;
    } rows[] = {
        {0x0C, 0x0556, 1}, {0x0C, 0x0655, 1}, {0x0D, 0x0303, 2}, {0x0D, 0x0202, 2},
        {0x0E, 0x0055, 3}, // what was written is not what has to come back
        {0x0E, 0x1541, 3}, {0x0E, 0x1640, 3}, {0x0F, 0x0001, 4}, {0x0F, 0x0100, 4},
    };
    for (const auto &row : rows) {
        clear_trace();
        board.peci_bridge().answer_always(row.reg, row.answer);
        EXPECT_EQ(peci_init(), -13) << int{row.reg} << " " << row.answer;
        EXPECT_EQ(transfers(Operation::write), row.writes);
        EXPECT_EQ(transfers(Operation::read), row.writes);
        board.peci_bridge().answer_always(row.reg, std::nullopt);
    }
    EXPECT_EQ(peci_init(), 0);
    EXPECT_EQ(output(), "");
}

TEST_F(PeciTest, StopsAtTheFirstWriteOfAnotherCount)
{
    for (const long result : {0L, 2L, 4L}) {
        for (unsigned nth = 0; nth < 4; ++nth) {
            clear_trace();
            board.faults.clear();
            driver_answers(Operation::write, nth, result);
            EXPECT_EQ(peci_init(), -5) << result;
            EXPECT_EQ(transfers(Operation::write), nth + 1);
            EXPECT_EQ(transfers(Operation::read), nth) << "not read back";
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PeciTest, AWrongCountComesBeforeWrongBytes)
{
    for (uint8_t reg = 0x0C; reg <= 0x0F; ++reg) {
        board.peci_bridge().answer_always(reg, 0xDEAD);
    }
    for (const long result : {0L, 1L, 3L}) {
        board.faults.clear();
        driver_answers(Operation::read, 0, result);
        EXPECT_EQ(peci_init(), -5) << result;
    }
    board.faults.clear();
    EXPECT_EQ(peci_init(), -13);
}

TEST_F(PeciTest, FailsWithoutABridgeAfterTheRetries)
{
    board.i2c(1).unplug(0x54 >> 1);
    EXPECT_EQ(peci_init(), -5);
    EXPECT_EQ(transfers(Operation::write), 5U);
    EXPECT_EQ(transfers(Operation::read), 0U);
    EXPECT_EQ(output(), "");
}

TEST_F(PeciTest, ReadsATemperature)
{
    board.peci_bridge().set_cpu_temperature(0, 42);
    board.peci_bridge().set_cpu_temperature(1, 58);
    uint8_t value = 0xEE;
    EXPECT_EQ(peci_read(0, &value), 1);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(peci_read(1, &value), 1);
    EXPECT_EQ(value, 58);
    EXPECT_EQ(head(board.trace.of(Operation::read, "fpga").back(), 9),
              (Bytes{0x21, 1, 0x54, 2, 1, 0, 20, 1, 0}));
    clear_trace();
    EXPECT_EQ(peci_read(1, &value), 1);
    EXPECT_EQ(steps(), (Names{"lock i2c_lock", "read fpga 21", "unlock i2c_lock"}));
    EXPECT_EQ(output(), "");
}

TEST_F(PeciTest, AnswersBetweenTheBoundsAreErrorReports)
{
    const struct {
        uint16_t answer;
        int result;
        uint8_t value;
    } rows[] = {
        {0x0000, 1, 0x00},  {0x00FF, 1, 0xFF},  {0x7FFF, 1, 0xFF},  {0x8000, -5, 0xEE},
        {0x80FF, -5, 0xEE}, {0x8100, -5, 0xEE}, {0x81FF, -5, 0xEE}, {0x8200, 1, 0x00},
        {0x82AB, 1, 0xAB},  {0xFFFF, 1, 0xFF},
    };
    for (const auto &row : rows) {
        board.peci_bridge().answer_always(5, row.answer);
        uint8_t value = 0xEE;
        EXPECT_EQ(peci_read(5, &value), row.result) << row.answer;
        EXPECT_EQ(value, row.value) << row.answer;
    }
    EXPECT_EQ(output(), "");
}

TEST_F(PeciTest, RefusesRegistersThatTheBridgeDoesNotHave)
{
    uint8_t value = 0xEE;
    EXPECT_EQ(peci_read(19, &value), 1);
    EXPECT_EQ(transfers(Operation::read), 1U);
    value = 0xEE;
    for (const uint8_t reg : {uint8_t{20}, uint8_t{21}, uint8_t{255}}) {
        EXPECT_EQ(peci_read(reg, &value), -2);
        EXPECT_EQ(output(), "6618 command out of range\r\n");
    }
    EXPECT_EQ(peci_read(255, nullptr), -2);
    EXPECT_EQ(output(), "obuffer is empty,please allocate memory!!\n");
    EXPECT_EQ(value, 0xEE);
    EXPECT_EQ(transfers(Operation::read), 1U);
}

TEST_F(PeciTest, AnyCountButTwoIsAFailure)
{
    for (const long result : {0L, 1L, 3L, 10010L}) {
        board.faults.clear();
        driver_answers(Operation::read, 0, result);
        uint8_t value = 0xEE;
        EXPECT_EQ(peci_read(3, &value), -5) << result;
        EXPECT_EQ(value, 0xEE);
    }
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
