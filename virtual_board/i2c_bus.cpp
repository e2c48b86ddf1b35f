#include "virtual_board/i2c_bus.h"

#include <algorithm>

namespace virtual_board {

std::shared_ptr<I2cChip> I2cBus::chip(uint8_t address) const
{
    const auto found = chips_.find(address);
    return found == chips_.end() ? nullptr : found->second;
}

bool I2cBus::start(uint8_t address, bool reading)
{
    current_ = chip(address);
    if (!current_ || !current_->start(reading)) {
        current_ = nullptr;
        return false;
    }
    // Every chip sees the stop, also one that was addressed before a repeated
    // start turned to another.
    if (std::find(to_stop_.begin(), to_stop_.end(), current_) == to_stop_.end()) {
        to_stop_.push_back(current_);
    }
    return true;
}

I2cOutcome I2cBus::write(uint8_t address, std::span<const uint8_t> bytes)
{
    I2cOutcome outcome;
    outcome.addressed = start(address, false);
    while (outcome.addressed && outcome.moved < bytes.size() &&
           current_->write(bytes[outcome.moved])) {
        ++outcome.moved;
    }
    return outcome;
}

I2cOutcome I2cBus::read(uint8_t address, std::span<uint8_t> bytes)
{
    if (!start(address, true)) {
        return {};
    }
    read_on(bytes);
    return {true, bytes.size()};
}

void I2cBus::read_on(std::span<uint8_t> bytes)
{
    for (uint8_t &byte : bytes) {
        byte = current_ ? current_->read() : 0xFF; // the lines are pulled up
    }
}

void I2cBus::stop()
{
    current_ = nullptr;
    const auto chips = std::exchange(to_stop_, {});
    for (const auto &chip : chips) {
        chip->stop();
    }
}

} // namespace virtual_board
