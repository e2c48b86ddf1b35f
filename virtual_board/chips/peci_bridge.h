// The PECI bridge, type 6618: asks the CPUs for their temperatures and keeps
// the answers in registers.
#ifndef VIRTUAL_BOARD_CHIPS_PECI_BRIDGE_H
#define VIRTUAL_BOARD_CHIPS_PECI_BRIDGE_H

#include <stdint.h>

#include <array>
#include <optional>

#include "virtual_board/i2c_bus.h"

namespace virtual_board {

// Twenty registers of 16 bits, moved low byte first behind the register's
// number. Where PECI fails, the bridge answers its error code instead of data.
class PeciBridge : public I2cChip {
public:
    static constexpr uint8_t register_count = 20;

    // Backend face. The CPUs' temperatures are in the first registers.
    void set_cpu_temperature(uint8_t cpu, uint8_t celsius) { set(cpu, celsius); }
    void set(uint8_t number, uint16_t value) { registers_[number] = value; }
    // What was last written to a register, or set.
    uint16_t get(uint8_t number) const { return registers_[number]; }
    // What the bus reads, whatever is in the register: an error (0x8000 to
    // 0x81FF), or a defect. Empty ends it.
    void answer_always(uint8_t number, std::optional<uint16_t> value) { answers_[number] = value; }
    std::optional<uint16_t> always_answers(uint8_t number) const { return answers_[number]; }

    // Bus face.
    bool start(bool reading) override;
    bool write(uint8_t byte) override;
    uint8_t read() override;

private:
    uint16_t answer() const;

    std::array<uint16_t, register_count> registers_{};
    std::array<std::optional<uint16_t>, register_count> answers_{};
    uint8_t selected_ = 0;
    uint8_t low_ = 0;
    unsigned position_ = 0; // byte within the transfer, behind the number
    bool number_next_ = false;
};

} // namespace virtual_board

#endif
