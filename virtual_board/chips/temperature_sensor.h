// A temperature sensor of the LM75 family.
#ifndef VIRTUAL_BOARD_CHIPS_TEMPERATURE_SENSOR_H
#define VIRTUAL_BOARD_CHIPS_TEMPERATURE_SENSOR_H

#include <stdint.h>

#include <array>

#include "virtual_board/i2c_bus.h"

namespace virtual_board {

// Four registers behind a pointer byte that is kept between transfers. A
// temperature is two bytes: whole degrees in two's complement, then half a
// degree in bit 7.
class TemperatureSensor : public I2cChip {
public:
    enum Register : uint8_t { temperature, configuration, hysteresis, limit, register_count };
    static constexpr uint8_t shut_down = 0x01; // configuration bit

    // Backend face. Rounded down to half degrees, and kept between -55 and 125.
    void set_celsius(double celsius);
    double celsius() const { return static_cast<int16_t>(measured_) / 256.0; }
    uint16_t get(Register number) const { return registers_[number]; }
    void set(Register number, uint16_t value) { registers_[number] = value; }

    // Bus face.
    bool start(bool reading) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;

private:
    void convert();
    bool takes_byte(unsigned position) const;

    // The configuration is one byte, the others two, high byte first.
    std::array<uint16_t, register_count> registers_ = {0x1900, 0x00, 0x4B00, 0x5000};
    uint16_t measured_ = 0x1900;
    uint8_t selected_ = 0;
    unsigned position_ = 0; // byte within the register
    bool pointer_next_ = false;
};

} // namespace virtual_board

#endif
