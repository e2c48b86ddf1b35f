// The inlet temperature, the EEPROM pass-through and the entry points of other
// boards.

#include "tests/support/board_test.h"

namespace board_test {
namespace {

using virtual_board::TemperatureSensor;

class SensorsTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
    }

    void inlet_answers(uint8_t first, uint8_t second)
    {
        board.inlet_sensor().set(TemperatureSensor::temperature,
                                 static_cast<uint16_t>(first << 8 | second));
    }
};

TEST_F(SensorsTest, TheInletSensorIsOnChannelTwo)
{
    EXPECT_EQ(sizeof(inlet_temp_addr), 8U);
    EXPECT_EQ(inlet_temp_addr[0].chan, 2U);
    EXPECT_EQ(inlet_temp_addr[0].addr, 0x90U);
}

TEST_F(SensorsTest, ReadsWholeDegrees)
{
    board.inlet_sensor().set_celsius(25.5);
    uint32_t temperature = 77;
    EXPECT_EQ(read_temp_inlet(1, &temperature), 0);
    EXPECT_EQ(temperature, 25U);
    EXPECT_EQ(output(), "");
}

TEST_F(SensorsTest, TheFirstByteIsUnsignedAndTheSecondDropped)
{
    const struct {
        uint8_t first;
        uint8_t second;
    } rows[] = {{0x19, 0x80}, {0x00, 0xFF}, {0x7F, 0x00}, {0x80, 0x00}, {0xFF, 0x80}};
    for (const auto &row : rows) {
        inlet_answers(row.first, row.second);
        uint32_t temperature = 0x77777777;
        EXPECT_EQ(read_temp_inlet(1, &temperature), 0);
        EXPECT_EQ(temperature, row.first);
    }
}

TEST_F(SensorsTest, WritesTheRegisterThenReadsAfterTheDelay)
{
    board.inlet_sensor().start(false);
    board.inlet_sensor().write(TemperatureSensor::limit); // the pointer is left elsewhere
    uint32_t temperature = 77;
    EXPECT_EQ(read_temp_inlet(1, &temperature), 0);
    EXPECT_EQ(temperature, 25U);
    EXPECT_EQ(steps(), (Names{"lock i2c_lock", "ioctl i2c-0 707", "sleep 100000", "ioctl i2c-0 707",
                              "unlock i2c_lock"}));
}

TEST_F(SensorsTest, FollowsTheTable)
{
    board.i2c(2).plug(0x92 >> 1, board.i2c(2).chip(0x90 >> 1));
    board.i2c(2).unplug(0x90 >> 1);
    uint32_t temperature = 77;
    EXPECT_EQ(read_temp_inlet(1, &temperature), -1);
    EXPECT_EQ(temperature, 77U);
    inlet_temp_addr[0].addr = 0x92;
    EXPECT_EQ(read_temp_inlet(1, &temperature), 0);
    EXPECT_EQ(temperature, 25U);
    EXPECT_EQ(output(), "");
}

TEST_F(SensorsTest, ATransferThatMovesNothingIsAFailure)
{
    board.faults.add({.name = "nothing",
                      .device = "i2c-0",
                      .operation = Operation::ioctl,
                      .kind = Fault::Kind::late_result,
                      .value = 0,
                      .times = 0});
    uint32_t temperature = 77;
    EXPECT_EQ(read_temp_inlet(1, &temperature), -1);
    EXPECT_EQ(temperature, 77U);
}

TEST_F(SensorsTest, RefusesOtherSensors)
{
    uint32_t temperature = 77;
    for (const uint8_t sensor : {uint8_t{0}, uint8_t{2}, uint8_t{255}}) {
        EXPECT_EQ(read_temp_inlet(sensor, &temperature), -2);
    }
    EXPECT_EQ(read_temp_inlet(1, nullptr), -2);
    EXPECT_EQ(temperature, 77U);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

TEST_F(SensorsTest, EepromDataGoesThroughTheChannels)
{
    for (const int32_t chan : {0, 2}) {
        const uint8_t page[] = {0x00, 0x40, 0x11, 0x22, 0x33};
        // Channel 2 counts the data behind the offset.
        EXPECT_EQ(write_eeprom_data(chan, 0xA0, page, 5, 10), chan == 2 ? 3 : 5);
        EXPECT_EQ(board.eeprom(static_cast<unsigned>(chan)).memory()[0x41], 0x22);
        const uint8_t offset[] = {0x00, 0x40};
        uint8_t data[4] = {9, 9, 9, 9};
        EXPECT_EQ(read_eeprom_data(chan, 0xA0, offset, 2, data, 3, 10), 3);
        EXPECT_EQ(Bytes(data, data + 4), (Bytes{0x11, 0x22, 0x33, 9}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(SensorsTest, EepromResultsAndTextsAreThoseOfTheChannels)
{
    uint8_t data[1] = {};
    EXPECT_EQ(read_eeprom_data(0, 0xA0, nullptr, 2, data, 1, 0), -1);
    EXPECT_EQ(output(), "the obuffer paramter is invalid!!!\n");
    EXPECT_EQ(read_eeprom_data(3, 0xA0, data, 1, data, 1, 0), -2);
    EXPECT_EQ(output(), "i2c_write_read: chan is not a valid paramter!!\n");
    EXPECT_EQ(write_eeprom_data(0, 0xA0, nullptr, 2, 0), -2);
    EXPECT_EQ(output(), "ibuffer is empty!!!\n");
    EXPECT_EQ(write_eeprom_data(3, 0xA0, data, 1, 0), -2);
    EXPECT_EQ(output(), "i2c_write: chan is not a valid paramter!!\n");
    EXPECT_EQ(write_eeprom_data(0, 0xA2, data, 1, 7), -10010) << "nobody there, five times";
    EXPECT_EQ(board.trace.count(Operation::write, "fpga"), 5U);
    EXPECT_EQ(board.trace.of(Operation::sleep)[0].count, 7000U);
}

TEST_F(SensorsTest, TheRiseIsAlwaysZero)
{
    uint8_t rise = 0xEE;
    EXPECT_EQ(get_temp_rise(0, &rise), 0);
    EXPECT_EQ(rise, 0);
    EXPECT_EQ(steps(), Names{});
}

TEST_F(SensorsTest, NotFittedOperationsTouchNothing)
{
    uint8_t byte = 0xEE;
    uint32_t word = 77;
    EXPECT_EQ(pmbus_read_array(0, 0, 0, 0), -1);
    EXPECT_EQ(pmbus_read_word(0, 0, 0), -1);
    EXPECT_EQ(PMBusSlave_Crc8MakeBitwise(0, 7, &byte, 1), 0);
    EXPECT_EQ(get_pmbus_ps_power(0, 0, &word), -1);
    EXPECT_EQ(get_pmbus_ps_info(0, 0, &byte), -2);
    EXPECT_EQ(get_pmbus_ps_healthe(0, &byte), -2);
    EXPECT_EQ(get_psu_acok(0), 0);
    EXPECT_EQ(get_psu_dcok(0), 0);
    EXPECT_EQ(pmbus_fru_read_from_e2p(0), 0);
    EXPECT_EQ(get_pmbus_psu_active_standby_mode(0, 0, &byte), 0);
    EXPECT_EQ(set_pmbus_psu_active_standby_mode(0, 0, 1), 0);
    EXPECT_EQ(read_ina220_12V(&word), -1);
    EXPECT_EQ(read_temp_outlet(&word), -1);
    EXPECT_EQ(read_sys_power(&word), -1);
    EXPECT_EQ(get_gpu_temp(0, 0, 0, &byte), -1);
    EXPECT_EQ(byte, 0xEE);
    EXPECT_EQ(word, 77U);
    EXPECT_EQ(steps(), Names{});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
