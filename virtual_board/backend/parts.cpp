#include "virtual_board/backend/parts.h"

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

constexpr unsigned amc_modules = 8;

void put_bits(Board &board, uint32_t offset, uint8_t mask, bool on)
{
    on ? board.cpld().set_bits(offset, mask) : board.cpld().clear_bits(offset, mask);
}

Part bits_part(Board &board, const std::string &name, uint32_t offset, uint8_t mask)
{
    return {name, (board.cpld().get(offset) & mask) == mask,
            [&board, offset, mask](bool on) { put_bits(board, offset, mask, on); }};
}

void plug(Board &board, const Board::BoardChip &chip, bool on)
{
    I2cBus &bus = board.i2c(chip.channel);
    on ? bus.plug(chip.address, chip.chip) : bus.unplug(chip.address);
}

bool plugged(Board &board, const Board::BoardChip &chip)
{
    return board.i2c(chip.channel).chip(chip.address) == chip.chip;
}

// The card brings its expander along.
Part raid_card(Board &board)
{
    Part card = bits_part(board, "raid_card", CPLD_REG_RAID_STATUS, CPLD_RAID_NO_ERROR);
    for (const Board::BoardChip &chip : board.chips()) {
        if (chip.name == "raid_expander") {
            card.seated = plugged(board, chip);
        }
    }
    card.seat = [&board](bool on) {
        put_bits(board, CPLD_REG_RAID_STATUS, CPLD_RAID_NO_ERROR, on);
        for (const Board::BoardChip &chip : board.chips()) {
            if (chip.name == "raid_expander") {
                plug(board, chip, on);
            }
        }
    };
    return card;
}

} // namespace

std::vector<Part> parts_of(Board &board)
{
    std::vector<Part> parts;
    for (unsigned bay = 0; bay < Disks::bays; ++bay) {
        parts.push_back(
            {"disk." + std::to_string(bay), board.disks().inserted(bay),
             [&board, bay](bool on) { on ? board.disks().insert(bay) : board.disks().pull(bay); }});
    }
    for (unsigned socket = 0; socket < Cpus::sockets; ++socket) {
        parts.push_back({"cpu." + std::to_string(socket), board.cpus().fitted(socket),
                         [&board, socket](bool on) {
                             on ? board.cpus().fit(socket, board.personality().cpu_generation)
                                : board.cpus().remove(socket);
                         }});
    }
    parts.push_back(raid_card(board));
    parts.push_back(bits_part(board, "board_6", CPLD_REG_BOARD_6, CPLD_BOARD_6_PRESENT));
    for (unsigned module = 0; module < amc_modules; ++module) {
        parts.push_back(bits_part(board, "amc." + std::to_string(module), CPLD_REG_AMC_PRESENCE,
                                  static_cast<uint8_t>(1U << module)));
    }
    parts.push_back({"blade", board.slot().insertion_byte() == 0,
                     [&board](bool on) { board.slot().set_seated(on); }});
    for (const Board::BoardChip &chip : board.chips()) {
        if (chip.name != "raid_expander") {
            parts.push_back({chip.name, plugged(board, chip),
                             [&board, &chip](bool on) { plug(board, chip, on); }});
        }
    }
    return parts;
}

} // namespace virtual_board
