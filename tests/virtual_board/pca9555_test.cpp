// The expander's registers, pairs and pins.

#include "virtual_board/chips/pca9555.h"

#include "tests/virtual_board/bus_master.h"

namespace board_test {
namespace {

using virtual_board::Pca9555;

class Pca9555Test : public ::testing::Test {
protected:
    uint8_t reg(uint8_t number) { return master.write_read({number}, 1)[0]; }

    std::shared_ptr<Pca9555> chip = std::make_shared<Pca9555>();
    BusMaster master{chip};
};

TEST_F(Pca9555Test, PowersUpWithInputsPulledUp)
{
    const Bytes expected = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0xFF, 0xFF};
    for (uint8_t number = 0; number < expected.size(); ++number) {
        EXPECT_EQ(reg(number), expected[number]) << "register " << int{number};
    }
}

// One distinct value per register; the inputs come from outside.
class Pca9555Pairs : public Pca9555Test, public ::testing::WithParamInterface<int> {
protected:
    const uint8_t first = static_cast<uint8_t>(GetParam());
};

TEST_P(Pca9555Pairs, ReadsGoBackAndForthWithinThePair)
{
    chip->set_input(0, 0x10);
    chip->set_input(1, 0x21);
    for (const uint8_t number : Bytes{2, 3}) {
        chip->set(static_cast<Pca9555::Register>(number), static_cast<uint8_t>(0x30 + number));
    }
    const uint8_t second = first ^ 1;
    const uint8_t a = chip->get(static_cast<Pca9555::Register>(first));
    const uint8_t b = chip->get(static_cast<Pca9555::Register>(second));
    if (first < 4) {
        ASSERT_NE(a, b);
    }
    EXPECT_EQ(master.write_read({first}, 5), (Bytes{a, b, a, b, a}));
}

TEST_P(Pca9555Pairs, WritesGoBackAndForthWithinThePair)
{
    EXPECT_EQ(master.write({first, 0x12, 0x34, 0x56}), 4U);
    const bool input = first < 2;
    EXPECT_EQ(reg(first), input ? 0xFF : 0x56);
    EXPECT_EQ(reg(first ^ 1), input ? 0xFF : 0x34);
}

TEST_P(Pca9555Pairs, OtherPairsAreUntouched)
{
    master.write({first, 0x5A, 0x5A});
    const Bytes power_up = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0xFF, 0xFF};
    for (uint8_t number = 2; number < 8; ++number) {
        if (number / 2 != first / 2) {
            EXPECT_EQ(reg(number), power_up[number]) << "register " << int{number};
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryRegister, Pca9555Pairs,
                         ::testing::Range(0, int{Pca9555::register_count}));

TEST_F(Pca9555Test, CommandOutlivesTheTransfer)
{
    master.write({0x06, 0x0F});
    master.write({0x06});
    EXPECT_EQ(master.read(1), Bytes{0x0F});
}

TEST_F(Pca9555Test, CommandHasThreeBits)
{
    master.write({0xF6, 0x3C});
    EXPECT_EQ(chip->get(Pca9555::configuration_0), 0x3C);
}

TEST_F(Pca9555Test, OutputsDriveOnlyPinsThatAreNotInputs)
{
    chip->set_input(1, 0xF0);
    master.write({0x07, 0xFC}); // bits 0 and 1 drive
    master.write({0x03, 0x02});
    EXPECT_EQ(chip->pins(1), 0xF2);
    EXPECT_EQ(reg(0x01), 0xF2) << "the input register shows driven pins too";
    EXPECT_EQ(reg(0x03), 0x02) << "the output register shows what was written";
    EXPECT_EQ(chip->pins(0), 0xFF);
}

TEST_F(Pca9555Test, PolarityInvertsWhatIsReadAndNotThePins)
{
    chip->set_input(0, 0x93);
    master.write({0x04, 0x0F});
    EXPECT_EQ(reg(0x00), 0x9C);
    EXPECT_EQ(chip->pins(0), 0x93);
}

TEST_F(Pca9555Test, DefectiveChipLosesItsConfigurationAlone)
{
    chip->lose_configuration(true);
    EXPECT_EQ(master.write({0x06, 0xFF, 0xFB}), 3U) << "it still acknowledges";
    EXPECT_EQ(master.write_read({0x06}, 2), (Bytes{0xFF, 0xFF}));
    master.write({0x02, 0x12});
    EXPECT_EQ(reg(0x02), 0x12);
    chip->lose_configuration(false);
    master.write({0x06, 0xFF, 0xFB});
    EXPECT_EQ(master.write_read({0x06}, 2), (Bytes{0xFF, 0xFB}));
}

} // namespace
} // namespace board_test
