// A serial EEPROM of the 24C family.
#ifndef VIRTUAL_BOARD_CHIPS_EEPROM_24C_H
#define VIRTUAL_BOARD_CHIPS_EEPROM_24C_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <vector>

#include "virtual_board/clock.h"
#include "virtual_board/i2c_bus.h"

namespace virtual_board {

// Data that is written collects in a page buffer, wraps around within its page
// and is programmed when the stop comes; while the chip programs, it does not
// acknowledge its address. A repeated start before the stop drops the data.
class Eeprom24c : public I2cChip {
public:
    struct Geometry {
        size_t size = 8192; // 24C64
        size_t page = 32;
        unsigned offset_bytes = 2; // 1 up to 24C02, 2 from 24C32 on
        uint64_t write_cycle_us = 5000;
    };

    explicit Eeprom24c(const Clock &clock) : Eeprom24c(clock, Geometry{}) {}
    Eeprom24c(const Clock &clock, Geometry geometry);

    // Backend face.
    std::vector<uint8_t> &memory() { return memory_; }
    const Geometry &geometry() const { return geometry_; }
    bool programming() const { return clock_.now_us() < busy_until_us_; }
    unsigned write_cycles() const { return write_cycles_; }
    // The write-protect pin: data bytes are not acknowledged.
    void write_protect(bool on) { write_protected_ = on; }
    bool write_protected() const { return write_protected_; }

    // Bus face.
    bool start(bool reading) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;
    void stop() override;

private:
    const Clock &clock_;
    Geometry geometry_;
    std::vector<uint8_t> memory_;
    size_t counter_ = 0;       // the address counter, kept between transfers
    unsigned offset_left_ = 0; // offset bytes still to come
    size_t offset_ = 0;
    std::vector<std::optional<uint8_t>> page_buffer_;
    bool page_filled_ = false;
    bool write_protected_ = false;
    uint64_t busy_until_us_ = 0;
    unsigned write_cycles_ = 0;
};

} // namespace virtual_board

#endif
