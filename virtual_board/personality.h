// Which board a virtual board is.
#ifndef VIRTUAL_BOARD_PERSONALITY_H
#define VIRTUAL_BOARD_PERSONALITY_H

#include <stdint.h>

#include <array>
#include <string>

namespace virtual_board {

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
};

} // namespace virtual_board

#endif
