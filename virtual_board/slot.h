// The chassis slot that the blade sits in, and what the FPGA knows of the
// blade: identification bytes, POST codes, the HDD card's controls.
#ifndef VIRTUAL_BOARD_SLOT_H
#define VIRTUAL_BOARD_SLOT_H

#include <stdint.h>

#include <array>
#include <optional>

#include "virtual_board/fpga.h"

namespace virtual_board {

class Slot {
public:
    static constexpr size_t post_codes_kept = 512;

    explicit Slot(Fpga &fpga);

    // Slot number 0 to 15. The slot byte carries it with odd parity.
    void set_number(uint8_t number) { number_ = number & 0x0F; }
    uint8_t number() const { return number_; }
    void set_bad_parity(bool bad) { bad_parity_ = bad; }
    bool bad_parity() const { return bad_parity_; }
    // Bits 4 to 6 of the slot byte; the parity covers bit 4 only.
    void set_other_pins(uint8_t pins) { other_pins_ = pins & 0x70; }
    uint8_t other_pins() const { return other_pins_; }
    uint8_t slot_byte() const;

    // Both presence signals are low when the blade is seated.
    void set_seated(bool seated) { insertion_byte_ = seated ? 0x00 : 0x60; }
    void set_insertion_byte(uint8_t byte) { insertion_byte_ = byte; }
    uint8_t insertion_byte() const { return insertion_byte_; }

    uint8_t base_board_id = 0;
    uint8_t blade_pcb_version = 0;

    // The host writes a POST code to port 80; the oldest ones are overwritten.
    void post(uint8_t code);
    // Where the next code goes, in units of two.
    uint8_t post_offset() const { return static_cast<uint8_t>(posted_ % post_codes_kept / 2); }

    // What programs set; empty until then.
    std::optional<uint8_t> hdd_card_type() const { return hdd_card_type_; }
    std::optional<uint8_t> hdd_led_test() const { return hdd_led_test_; }

private:
    long read_post_codes(uint8_t *buffer, size_t count) const;

    uint8_t number_ = 1;
    bool bad_parity_ = false;
    uint8_t other_pins_ = 0;
    uint8_t insertion_byte_ = 0;
    std::array<uint8_t, post_codes_kept> post_codes_{};
    size_t posted_ = 0;
    std::optional<uint8_t> hdd_card_type_;
    std::optional<uint8_t> hdd_led_test_;
};

} // namespace virtual_board

#endif
