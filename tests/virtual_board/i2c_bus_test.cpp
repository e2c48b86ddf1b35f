// The bus: who is addressed, who acknowledges, who sees the stop.

#include "virtual_board/i2c_bus.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace board_test {
namespace {

using virtual_board::I2cBus;
using virtual_board::I2cChip;
using virtual_board::I2cOutcome;

// Writes down what happens on its wires; takes as many bytes as it is told to.
class Recorder : public I2cChip {
public:
    bool start(bool reading) override
    {
        log += reading ? "R" : "W";
        return present;
    }
    bool write(uint8_t byte) override
    {
        log += static_cast<char>(byte);
        return takes-- > 0;
    }
    uint8_t read() override { return next++; }
    void stop() override { log += "."; }

    std::string log;
    bool present = true;
    int takes = 100;
    uint8_t next = 1;
};

class I2cBusTest : public ::testing::Test {
protected:
    I2cBusTest() { bus.plug(0x20, chip); }

    I2cOutcome write(uint8_t address, const std::string &text)
    {
        return bus.write(address, {reinterpret_cast<const uint8_t *>(text.data()), text.size()});
    }

    I2cBus bus;
    std::shared_ptr<Recorder> chip = std::make_shared<Recorder>();
};

TEST_F(I2cBusTest, ChipGetsStartBytesAndStop)
{
    const I2cOutcome outcome = write(0x20, "abc");
    bus.stop();
    EXPECT_TRUE(outcome.addressed);
    EXPECT_EQ(outcome.moved, 3U);
    EXPECT_EQ(chip->log, "Wabc.");
}

TEST_F(I2cBusTest, MissingChipDoesNotAcknowledge)
{
    std::array<uint8_t, 2> bytes = {0xAA, 0xBB};
    EXPECT_FALSE(write(0x21, "abc").addressed);
    EXPECT_EQ(write(0x21, "abc").moved, 0U);
    EXPECT_FALSE(bus.read(0x21, bytes).addressed);
    bus.stop();
    EXPECT_EQ(bytes, (std::array<uint8_t, 2>{0xAA, 0xBB})) << "nothing was read";
    EXPECT_EQ(chip->log, "");
}

TEST_F(I2cBusTest, PulledChipIsMissing)
{
    EXPECT_EQ(bus.chip(0x20), chip);
    bus.unplug(0x20);
    EXPECT_EQ(bus.chip(0x20), nullptr);
    EXPECT_FALSE(write(0x20, "a").addressed);
}

TEST_F(I2cBusTest, ChipThatRefusesItsAddressGetsNothingMore)
{
    chip->present = false;
    EXPECT_FALSE(write(0x20, "abc").addressed);
    bus.stop();
    EXPECT_EQ(chip->log, "W");
}

TEST_F(I2cBusTest, WriteEndsAtTheByteThatIsNotAcknowledged)
{
    chip->takes = 1;
    const I2cOutcome outcome = write(0x20, "abc");
    bus.stop();
    EXPECT_TRUE(outcome.addressed);
    EXPECT_EQ(outcome.moved, 1U);
    EXPECT_EQ(chip->log, "Wab.");
}

TEST_F(I2cBusTest, RepeatedStartComesWithoutStop)
{
    std::array<uint8_t, 3> bytes{};
    write(0x20, "a");
    EXPECT_EQ(bus.read(0x20, {bytes.data(), 1}).moved, 1U);
    bus.read_on({bytes.data() + 1, 2});
    bus.stop();
    EXPECT_EQ(bytes, (std::array<uint8_t, 3>{1, 2, 3}));
    EXPECT_EQ(chip->log, "WaR.");
}

TEST_F(I2cBusTest, EveryChipOfATransferSeesTheStopOnce)
{
    const auto other = std::make_shared<Recorder>();
    bus.plug(0x21, other);
    write(0x20, "a");
    write(0x21, "b");
    write(0x20, "c");
    EXPECT_EQ(chip->log, "WaWc");
    bus.stop();
    bus.stop();
    EXPECT_EQ(chip->log, "WaWc.");
    EXPECT_EQ(other->log, "Wb.");
}

TEST_F(I2cBusTest, ReadOnWithoutAChipFindsTheLinesPulledUp)
{
    std::array<uint8_t, 2> bytes{};
    bus.read_on(bytes);
    EXPECT_EQ(bytes, (std::array<uint8_t, 2>{0xFF, 0xFF}));
}

} // namespace
} // namespace board_test
