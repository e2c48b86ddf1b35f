#include "virtual_board/leds.h"

#include <stdexcept>

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

constexpr uint8_t sas_cables[] = {CPLD_SAS_CABLE_LED_0, CPLD_SAS_CABLE_LED_1, CPLD_SAS_CABLE_LED_2};

} // namespace

bool Leds::lit(int id) const
{
    const auto low = [this](uint32_t offset, uint8_t mask) {
        return (cpld_.get(offset) & mask) == 0;
    };
    switch (id) {
    case 0:
    case 4:
        return low(CPLD_REG_BOARD_LED_A, CPLD_LED_0_4);
    case 2:
        return low(CPLD_REG_BOARD_LED_A, CPLD_LED_2_HIGH | CPLD_LED_2_LOW);
    case 5:
        return low(CPLD_REG_BOARD_LED_B, CPLD_LED_5);
    case 192:
        return low(CPLD_REG_PANEL_LED, CPLD_LED_192);
    default:
        throw std::invalid_argument("no such LED");
    }
}

bool Leds::sas_cable_lit(unsigned cable) const
{
    if (cable >= std::size(sas_cables)) {
        throw std::invalid_argument("no such SAS cable");
    }
    return (cpld_.get(CPLD_REG_PANEL_LED) & sas_cables[cable]) != 0;
}

} // namespace virtual_board
