#include "virtual_board/chips/pca9555.h"

namespace virtual_board {

uint8_t Pca9555::pins(unsigned port) const
{
    const uint8_t inputs = registers_[configuration_0 + port];
    const uint8_t driven = registers_[output_0 + port];
    return static_cast<uint8_t>((outside_[port] & inputs) | (driven & ~inputs));
}

// The input register shows the pins whatever their direction, and nothing that
// was written to it; an output register shows what was written, not the pin.
uint8_t Pca9555::get(Register number) const
{
    if (number > input_1) {
        return registers_[number];
    }
    return static_cast<uint8_t>(pins(number) ^ registers_[polarity_0 + number]);
}

bool Pca9555::start(bool reading)
{
    command_next_ = !reading;
    return true;
}

Pca9555::Register Pca9555::step()
{
    const auto number = static_cast<Register>(selected_);
    selected_ ^= 1;
    return number;
}

bool Pca9555::write(uint8_t byte)
{
    if (command_next_) {
        selected_ = byte % register_count;
        command_next_ = false;
        return true;
    }
    const Register number = step();
    if (number < configuration_0 || !configuration_lost_) {
        registers_[number] = byte;
    }
    return true;
}

uint8_t Pca9555::read()
{
    return get(step());
}

} // namespace virtual_board
