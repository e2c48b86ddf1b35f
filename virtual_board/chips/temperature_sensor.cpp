#include "virtual_board/chips/temperature_sensor.h"

#include <algorithm>
#include <cmath>

namespace virtual_board {

void TemperatureSensor::set_celsius(double celsius)
{
    const int halves = static_cast<int>(std::floor(std::clamp(celsius, -55.0, 125.0) * 2));
    measured_ = static_cast<uint16_t>(static_cast<unsigned>(halves) << 7);
    convert();
}

// A sensor that is shut down keeps its last value.
void TemperatureSensor::convert()
{
    if ((registers_[configuration] & shut_down) == 0) {
        registers_[temperature] = measured_;
    }
}

bool TemperatureSensor::start(bool reading)
{
    pointer_next_ = !reading;
    position_ = 0;
    return true;
}

bool TemperatureSensor::takes_byte(unsigned position) const
{
    switch (selected_) {
    case temperature:
        return false;
    case configuration:
        return position == 0;
    default:
        return position < 2;
    }
}

bool TemperatureSensor::write(uint8_t byte)
{
    if (pointer_next_) {
        selected_ = byte % register_count;
        pointer_next_ = false;
        return true;
    }
    if (!takes_byte(position_)) {
        return false;
    }
    uint16_t &value = registers_[selected_];
    if (selected_ == configuration) {
        value = byte;
        convert();
    } else if (position_ == 0) {
        value = static_cast<uint16_t>(byte << 8 | (value & 0x80));
    } else {
        value = static_cast<uint16_t>((value & 0xFF00) | (byte & 0x80));
    }
    ++position_;
    return true;
}

uint8_t TemperatureSensor::read()
{
    const uint16_t value = registers_[selected_];
    if (selected_ == configuration) {
        return static_cast<uint8_t>(value);
    }
    const unsigned position = position_++ % 2;
    return static_cast<uint8_t>(position == 0 ? value >> 8 : value);
}

} // namespace virtual_board
