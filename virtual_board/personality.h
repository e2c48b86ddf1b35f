// Which board a virtual board is.
#ifndef VIRTUAL_BOARD_PERSONALITY_H
#define VIRTUAL_BOARD_PERSONALITY_H

#include <stdint.h>

#include <array>
#include <string>
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
};

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
    FlashLayout flash;
    NorGeometry bios_flash = {.size = 0x800000, .erase_size = 0x10000};
};

} // namespace virtual_board

#endif
