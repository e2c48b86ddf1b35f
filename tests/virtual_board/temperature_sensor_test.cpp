// The temperature sensor's encoding and registers.

#include "virtual_board/chips/temperature_sensor.h"

#include "tests/virtual_board/bus_master.h"

namespace board_test {
namespace {

using virtual_board::TemperatureSensor;

class SensorTest : public ::testing::Test {
protected:
    std::shared_ptr<TemperatureSensor> chip = std::make_shared<TemperatureSensor>();
    BusMaster master{chip};
};

TEST_F(SensorTest, TemperatureIsDegreesThenHalfADegree)
{
    const struct {
        double celsius;
        Bytes bytes;
    } rows[] = {
        {0, {0x00, 0x00}},    {25, {0x19, 0x00}},  {25.5, {0x19, 0x80}}, {25.9, {0x19, 0x80}},
        {-0.5, {0xFF, 0x80}}, {-1, {0xFF, 0x00}},  {-25, {0xE7, 0x00}},  {125, {0x7D, 0x00}},
        {-55, {0xC9, 0x00}},  {200, {0x7D, 0x00}}, {-100, {0xC9, 0x00}},
    };
    for (const auto &row : rows) {
        chip->set_celsius(row.celsius);
        EXPECT_EQ(master.write_read({0x00}, 2), row.bytes) << row.celsius;
    }
}

TEST_F(SensorTest, RegistersAfterPowerUp)
{
    EXPECT_EQ(master.write_read({0x00}, 2), (Bytes{0x19, 0x00}));
    EXPECT_EQ(master.write_read({0x01}, 1), Bytes{0x00});
    EXPECT_EQ(master.write_read({0x02}, 2), (Bytes{0x4B, 0x00}));
    EXPECT_EQ(master.write_read({0x03}, 2), (Bytes{0x50, 0x00}));
}

TEST_F(SensorTest, PointerOutlivesTheTransferAndTheByteDoesNot)
{
    master.write({0x03});
    EXPECT_EQ(master.read(1), Bytes{0x50});
    EXPECT_EQ(master.read(3), (Bytes{0x50, 0x00, 0x50}));
}

TEST_F(SensorTest, LimitsKeepHalfDegrees)
{
    EXPECT_EQ(master.write({0x03, 0x46, 0xFF}), 3U);
    EXPECT_EQ(master.write_read({0x03}, 2), (Bytes{0x46, 0x80}));
    EXPECT_EQ(master.write({0x02, 0x41, 0x00, 0x11}), 3U) << "a third byte is not taken";
    EXPECT_EQ(chip->get(TemperatureSensor::hysteresis), 0x4100);
    EXPECT_EQ(master.write({0x02, 0x42}), 2U);
    EXPECT_EQ(master.write_read({0x02}, 2), (Bytes{0x42, 0x00}));
}

TEST_F(SensorTest, ConfigurationIsOneByte)
{
    EXPECT_EQ(master.write({0x01, 0x18, 0x55}), 2U);
    EXPECT_EQ(master.write_read({0x01}, 2), (Bytes{0x18, 0x18}));
}

TEST_F(SensorTest, TemperatureIsReadOnly)
{
    EXPECT_EQ(master.write({0x00, 0x55, 0x55}), 1U);
    EXPECT_EQ(master.write_read({0x00}, 2), (Bytes{0x19, 0x00}));
}

TEST_F(SensorTest, ShutDownKeepsTheLastValue)
{
    master.write({0x01, TemperatureSensor::shut_down});
    chip->set_celsius(40);
    EXPECT_EQ(master.write_read({0x00}, 2), (Bytes{0x19, 0x00}));
    master.write({0x01, 0x00});
    EXPECT_EQ(master.write_read({0x00}, 2), (Bytes{0x28, 0x00}));
}

} // namespace
} // namespace board_test
