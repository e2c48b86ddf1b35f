// The PECI bridge's registers.

#include "virtual_board/chips/peci_bridge.h"

#include "tests/virtual_board/bus_master.h"

namespace board_test {
namespace {

using virtual_board::PeciBridge;

class PeciBridgeTest : public ::testing::Test {
protected:
    std::shared_ptr<PeciBridge> chip = std::make_shared<PeciBridge>();
    BusMaster master{chip};
};

TEST_F(PeciBridgeTest, RegistersHoldTwoBytesLowFirst)
{
    for (uint8_t number = 0; number < PeciBridge::register_count; ++number) {
        EXPECT_EQ(master.write({number, number, 0x70}), 3U);
    }
    for (uint8_t number = 0; number < PeciBridge::register_count; ++number) {
        EXPECT_EQ(chip->get(number), 0x7000 + number);
        EXPECT_EQ(master.write_read({number}, 2), (Bytes{number, 0x70}));
    }
}

TEST_F(PeciBridgeTest, SetUpReadsBackAsWrittenButForTheThirdStep)
{
    const struct {
        Bytes written;
        Bytes answer;
    } rows[] = {
        {{0x0C, 0x55, 0x05}, {0x55, 0x05}},
        {{0x0D, 0x02, 0x03}, {0x02, 0x03}},
        {{0x0E, 0x55, 0x00}, {0x40, 0x15}},
        {{0x0F, 0x00, 0x00}, {0x00, 0x00}},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(master.write(row.written), 3U);
        EXPECT_EQ(master.write_read({row.written[0]}, 2), row.answer) << int{row.written[0]};
    }
}

TEST_F(PeciBridgeTest, OtherValuesOfTheThirdStepReadBackAsWritten)
{
    master.write({0x0E, 0x55, 0x01});
    EXPECT_EQ(master.write_read({0x0E}, 2), (Bytes{0x55, 0x01}));
    master.write({0x0D, 0x55, 0x00});
    EXPECT_EQ(master.write_read({0x0D}, 2), (Bytes{0x55, 0x00}));
}

TEST_F(PeciBridgeTest, RegistersEndAtNineteen)
{
    EXPECT_EQ(master.write({19, 1, 2}), 3U);
    EXPECT_EQ(master.write({20, 3, 4}), 0U);
    EXPECT_EQ(master.write({0xFF}), 0U);
    EXPECT_EQ(master.read(2), (Bytes{1, 2})) << "a refused number selects nothing";
}

TEST_F(PeciBridgeTest, HalfAValueChangesNothingAndAThirdByteIsRefused)
{
    chip->set(5, 0x1234);
    EXPECT_EQ(master.write({5, 0xAA}), 2U);
    EXPECT_EQ(chip->get(5), 0x1234);
    EXPECT_EQ(master.write({5, 0xAA, 0xBB, 0xCC}), 3U);
    EXPECT_EQ(chip->get(5), 0xBBAA);
    EXPECT_EQ(master.write_read({5}, 3), (Bytes{0xAA, 0xBB, 0xFF}));
}

TEST_F(PeciBridgeTest, CpuTemperaturesAreInTheFirstRegisters)
{
    chip->set_cpu_temperature(0, 45);
    chip->set_cpu_temperature(1, 61);
    EXPECT_EQ(master.write_read({0}, 2), (Bytes{45, 0}));
    EXPECT_EQ(master.write_read({1}, 2), (Bytes{61, 0}));
}

TEST_F(PeciBridgeTest, ForcedAnswerHidesTheRegisterUntilItEnds)
{
    chip->set(1, 0x0030);
    chip->answer_always(1, 0x81FF);
    EXPECT_EQ(master.write_read({1}, 2), (Bytes{0xFF, 0x81}));
    EXPECT_EQ(master.write_read({0}, 2), (Bytes{0x00, 0x00})) << "one register alone";
    master.write({1, 0x31, 0x00});
    EXPECT_EQ(master.write_read({1}, 2), (Bytes{0xFF, 0x81}));
    chip->answer_always(1, std::nullopt);
    EXPECT_EQ(master.write_read({1}, 2), (Bytes{0x31, 0x00}));
}

} // namespace
} // namespace board_test
