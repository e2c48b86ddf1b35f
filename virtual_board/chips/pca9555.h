// The PCA9555, an expander with two ports of eight pins.
#ifndef VIRTUAL_BOARD_CHIPS_PCA9555_H
#define VIRTUAL_BOARD_CHIPS_PCA9555_H

#include <stdint.h>

#include <array>

#include "virtual_board/i2c_bus.h"

namespace virtual_board {

// The command byte selects one of eight registers, in pairs of port 0 and 1:
// input, output, polarity, configuration. Further bytes of a transfer go back
// and forth within the pair.
class Pca9555 : public I2cChip {
public:
    enum Register : uint8_t {
        input_0,
        input_1,
        output_0,
        output_1,
        polarity_0,
        polarity_1,
        configuration_0,
        configuration_1,
        register_count
    };

    // Backend face. Levels that the outside puts on the pins; an open pin is
    // pulled up.
    void set_input(unsigned port, uint8_t levels) { outside_[port] = levels; }
    uint8_t input(unsigned port) const { return outside_[port]; }
    // Levels as they are: what the chip drives where it drives.
    uint8_t pins(unsigned port) const;
    // A register as the bus reads it.
    uint8_t get(Register number) const;
    void set(Register number, uint8_t value) { registers_[number] = value; }
    // A defect: writes to the configuration registers get lost.
    void lose_configuration(bool on) { configuration_lost_ = on; }
    bool loses_configuration() const { return configuration_lost_; }

    // Bus face.
    bool start(bool reading) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;

private:
    Register step();

    std::array<uint8_t, register_count> registers_ = {0, 0, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF};
    std::array<uint8_t, 2> outside_ = {0xFF, 0xFF};
    uint8_t selected_ = 0;
    bool command_next_ = false;
    bool configuration_lost_ = false;
};

} // namespace virtual_board

#endif
