#include "virtual_board/chips/eeprom_24c.h"

namespace virtual_board {

Eeprom24c::Eeprom24c(const Clock &clock, Geometry geometry)
    : clock_(clock), geometry_(geometry), memory_(geometry.size, 0xFF), page_buffer_(geometry.page)
{
}

bool Eeprom24c::start(bool reading)
{
    if (programming()) {
        return false;
    }
    page_buffer_.assign(geometry_.page, std::nullopt);
    page_filled_ = false;
    if (!reading) {
        offset_left_ = geometry_.offset_bytes;
        offset_ = 0;
    }
    return true;
}

bool Eeprom24c::write(uint8_t byte)
{
    if (offset_left_ > 0) {
        offset_ = offset_ << 8 | byte;
        if (--offset_left_ == 0) {
            counter_ = offset_ % geometry_.size;
        }
        return true;
    }
    if (write_protected_) {
        return false;
    }
    const size_t in_page = counter_ % geometry_.page;
    page_buffer_[in_page] = byte;
    page_filled_ = true;
    counter_ = counter_ - in_page + (in_page + 1) % geometry_.page;
    return true;
}

uint8_t Eeprom24c::read()
{
    const uint8_t byte = memory_[counter_];
    counter_ = (counter_ + 1) % geometry_.size;
    return byte;
}

void Eeprom24c::stop()
{
    if (!page_filled_) {
        return;
    }
    const size_t page = counter_ - counter_ % geometry_.page;
    for (size_t i = 0; i < geometry_.page; ++i) {
        memory_[page + i] = page_buffer_[i].value_or(memory_[page + i]);
    }
    page_filled_ = false;
    ++write_cycles_;
    busy_until_us_ = clock_.now_us() + geometry_.write_cycle_us;
}

} // namespace virtual_board
