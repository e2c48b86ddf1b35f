// The LEDs as a person sees them.
#ifndef VIRTUAL_BOARD_LEDS_H
#define VIRTUAL_BOARD_LEDS_H

#include <stdint.h>

#include <array>

#include "virtual_board/cpld.h"

namespace virtual_board {

class Leds {
public:
    static constexpr std::array<int, 5> ids = {0, 2, 4, 5, 192};

    explicit Leds(const Cpld &cpld) : cpld_(cpld) {}

    // LEDs 0 and 4 hang on one line. LED 2 is lit while both of its lines are low.
    bool lit(int id) const;
    // LEDs of the SAS cables 0 to 2.
    bool sas_cable_lit(unsigned cable) const;

private:
    const Cpld &cpld_;
};

} // namespace virtual_board

#endif
