// An I2C bus, and what a chip on it is.
#ifndef VIRTUAL_BOARD_I2C_BUS_H
#define VIRTUAL_BOARD_I2C_BUS_H

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace virtual_board {

// The bus face of a chip: what happens on its two wires once its address has
// been sent. Chips that need time ask the board's clock.
class I2cChip {
public:
    I2cChip() = default;
    virtual ~I2cChip() = default;
    I2cChip(const I2cChip &) = delete;
    I2cChip &operator=(const I2cChip &) = delete;

    // A start or repeated start with the chip's address; whether it is
    // acknowledged.
    virtual bool start(bool reading) = 0;
    // One byte from the master; whether it is acknowledged.
    virtual bool write(uint8_t byte) = 0;
    // One byte to the master.
    virtual uint8_t read() = 0;
    virtual void stop() {}
};

// What became of the bytes of one message.
struct I2cOutcome {
    bool addressed = false; // a chip acknowledged its address
    size_t moved = 0;       // bytes that were acknowledged, or read
};

// Addresses are in 7-bit form. A transfer is a chain of messages, each with a
// start of its own, up to stop().
class I2cBus {
public:
    // Backend face.
    void plug(uint8_t address, std::shared_ptr<I2cChip> chip) { chips_[address] = std::move(chip); }
    void unplug(uint8_t address) { chips_.erase(address); }
    std::shared_ptr<I2cChip> chip(uint8_t address) const;
    const std::map<uint8_t, std::shared_ptr<I2cChip>> &chips() const { return chips_; }

    // Bus face. A write ends at the first byte that is not acknowledged.
    I2cOutcome write(uint8_t address, std::span<const uint8_t> bytes);
    I2cOutcome read(uint8_t address, std::span<uint8_t> bytes);
    // More bytes of the read that is under way: of a block that begins with its
    // own length, the master learns late how much to clock out.
    void read_on(std::span<uint8_t> bytes);
    void stop();

private:
    bool start(uint8_t address, bool reading);

    std::map<uint8_t, std::shared_ptr<I2cChip>> chips_;
    std::shared_ptr<I2cChip> current_;
    std::vector<std::shared_ptr<I2cChip>> to_stop_;
};

} // namespace virtual_board

#endif
