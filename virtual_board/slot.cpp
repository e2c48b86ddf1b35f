#include "virtual_board/slot.h"

#include <string.h>

#include <algorithm>
#include <bit>

namespace virtual_board {

namespace {

constexpr uint8_t cmd_port80_offset = 0x41;
constexpr uint8_t cmd_port80_data = 0x42;
constexpr uint8_t cmd_base_board_id = 0x53;
constexpr uint8_t cmd_blade_pcb_version = 0x54;
constexpr uint8_t cmd_hdd_card_type = 0x55;
constexpr uint8_t cmd_hdd_led_test = 0x58;
constexpr uint8_t cmd_slot_id = 0x82;
constexpr uint8_t cmd_board_insert = 0x83;

constexpr uint8_t parity_bit = 0x80;
constexpr uint8_t covered_by_parity = 0x1F;

template <typename Answer> void answer_byte(Fpga &fpga, uint8_t command, Answer answer)
{
    fpga.on_read(command, 1, [answer](OpenFile &, uint8_t *record, size_t) {
        record[0] = answer();
        return 1L;
    });
}

void take_byte(Fpga &fpga, uint8_t command, std::optional<uint8_t> &taken)
{
    fpga.on_write(
        command, [](const uint8_t *, size_t) { return size_t{2}; },
        [&taken](OpenFile &, const uint8_t *record, size_t) {
            taken = record[1];
            return 0L;
        });
}

} // namespace

Slot::Slot(Fpga &fpga)
{
    answer_byte(fpga, cmd_slot_id, [this] { return slot_byte(); });
    answer_byte(fpga, cmd_board_insert, [this] { return insertion_byte_; });
    answer_byte(fpga, cmd_base_board_id, [this] { return base_board_id; });
    answer_byte(fpga, cmd_blade_pcb_version, [this] { return blade_pcb_version; });
    answer_byte(fpga, cmd_port80_offset, [this] { return post_offset(); });
    fpga.on_read(cmd_port80_data, 1, [this](OpenFile &, uint8_t *record, size_t count) {
        return read_post_codes(record, count);
    });
    take_byte(fpga, cmd_hdd_card_type, hdd_card_type_);
    take_byte(fpga, cmd_hdd_led_test, hdd_led_test_);
}

uint8_t Slot::slot_byte() const
{
    const auto pins = static_cast<uint8_t>(number_ | other_pins_);
    const bool odd = std::popcount(static_cast<uint8_t>(pins & covered_by_parity)) % 2 != 0;
    return static_cast<uint8_t>(odd == bad_parity_ ? pins | parity_bit : pins);
}

void Slot::post(uint8_t code)
{
    post_codes_[posted_ % post_codes_kept] = code;
    ++posted_;
}

long Slot::read_post_codes(uint8_t *buffer, size_t count) const
{
    const size_t moved = std::min({count, posted_, post_codes_kept});
    memcpy(buffer, post_codes_.data(), moved);
    return static_cast<long>(moved);
}

} // namespace virtual_board
