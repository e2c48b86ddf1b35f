#include "virtual_board/chips/peci_bridge.h"

namespace virtual_board {

namespace {

// The third set-up register answers its key with another pair.
constexpr uint8_t key_register = 0x0E;
constexpr uint16_t key = 0x0055;        // 0x55, 0x00 on the wire
constexpr uint16_t key_answer = 0x1540; // 0x40, 0x15 on the wire

} // namespace

uint16_t PeciBridge::answer() const
{
    if (answers_[selected_]) {
        return *answers_[selected_];
    }
    const uint16_t value = registers_[selected_];
    return selected_ == key_register && value == key ? key_answer : value;
}

bool PeciBridge::start(bool reading)
{
    number_next_ = !reading;
    position_ = 0;
    return true;
}

bool PeciBridge::write(uint8_t byte)
{
    if (number_next_) {
        number_next_ = false;
        if (byte >= register_count) {
            position_ = 2; // nothing that follows is taken
            return false;
        }
        selected_ = byte;
        return true;
    }
    if (position_ >= 2) {
        return false;
    }
    if (position_++ == 0) {
        low_ = byte;
    } else {
        registers_[selected_] = static_cast<uint16_t>(byte << 8 | low_);
    }
    return true;
}

uint8_t PeciBridge::read()
{
    const unsigned position = position_++;
    if (position >= 2) {
        return 0xFF;
    }
    return static_cast<uint8_t>(position == 0 ? answer() : answer() >> 8);
}

} // namespace virtual_board
