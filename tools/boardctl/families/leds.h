// The board's LEDs, as several commands show them.
#ifndef BOARDCTL_LEDS_H
#define BOARDCTL_LEDS_H

#include <board_hal.h>

#include <vector>

#include "boardctl/framework/value.h"

namespace boardctl {

// The library tells the register bit of some LEDs, which is 0 for lit, and for
// others whether they are lit.
struct Led {
    int32_t id;
    uint8_t state_when_lit;
};

inline constexpr Led board_leds[] = {{0, 0}, {2, 1}, {4, 0}, {5, 0}, {192, 1}};

inline constexpr int32_t this_fru = 0;

// Number, colour, state, whether it is lit.
inline std::vector<Value> led_row(const Led &led)
{
    uint8_t colour = 0;
    uint8_t state = 0;
    const int result = get_led_status(this_fru, led.id, &colour, &state);
    const bool lit = state == led.state_when_lit;
    return {number(led.id), given(result, number(colour)), given(result, number(state)),
            given(result, toned(yes_no(lit), lit ? Tone::good : Tone::plain))};
}

} // namespace boardctl

#endif
