// Which board a virtual board is.
#ifndef VIRTUAL_BOARD_PERSONALITY_H
#define VIRTUAL_BOARD_PERSONALITY_H

#include <stdint.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_board/nor_flash.h"

namespace virtual_board {

// A flash chip of the controller and its partitions, from its start on.
struct FlashLayout {
    uint32_t erase_size = 0x10000;
    // /dev/mtd0 to 5: boot loader, its spare, environment, kernel, file system
    // and data.
    std::vector<uint32_t> partitions = {0x40000, 0x40000, 0x10000, 0x400000, 0xC00000, 0x800000};
    bool checks_access = false; // the driver wants a descriptor opened for writing

    bool operator==(const FlashLayout &) const = default;
};

// What is fitted when the board gets power.
struct Personality {
    std::string name = "brava-0";
    uint8_t board_id = 0x10;
    uint8_t pcb_version = 1;
    uint8_t bom_version = 0;
    uint8_t product_id = 0x02;
    uint8_t cpld_version = 0x11;
    std::array<uint8_t, 5> cpld_compile_time = {0x20, 0x16, 0x12, 0x19, 0x17};
    bool host_powered = false;
    bool power_button_locked = false;
    std::array<bool, 2> cpus_fitted = {true, true};
    uint8_t cpu_generation = 3;
    std::array<bool, 4> disks_fitted = {true, true, false, false};
    bool raid_card_fitted = true;
    // Board 2's PCB version; board 3's PCB version and id.
    uint8_t board_2_pcb_version = 1;
    uint8_t board_3_pcb_version = 2;
    uint8_t board_3_id = 4;
    bool board_6_fitted = false;
    uint8_t amc_modules = 0x03;
    std::array<uint8_t, 3> hdd_backplane_ports = {1, 2, 0};
    uint8_t serial_route = 2;
    uint8_t slot_number = 1;
    uint8_t base_board_id = 0x21;
    uint8_t blade_pcb_version = 1;
    FlashLayout flash;
    NorGeometry bios_flash = {.size = 0x800000, .erase_size = 0x10000};

    bool operator==(const Personality &) const = default;
};

// The boards that are made, from the files in personalities/: "brava-0" to
// "brava-3" and "corvo-8" to "corvo-11", by node type and BOM id, and
// "unknown-bom", which is neither.
const std::vector<Personality> &personalities();
// Null if there is no such board.
const Personality *find_personality(std::string_view name);
// One of these by name, or the one in a file: what contains "/" or ends in
// ".json" is a path. Throws a PersonalityError (personality_file.h).
Personality choose_personality(const std::string &name_or_path);

} // namespace virtual_board

#endif
