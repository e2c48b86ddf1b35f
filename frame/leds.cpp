// Panel and board LEDs.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"

using namespace board_hal;

namespace {

constexpr uint8_t color_count = 7;

// A LED of one bit, lit by 0.
struct BitLed {
    int32_t id;
    CpldBits bit;
    uint8_t color;    // what is reported
    bool reports_lit; // the state tells 1 for lit; else it is the bit itself
};

// LED 192 alone reports the inverse of its bit; callers rely on the asymmetry.
constexpr BitLed bit_leds[] = {
    {0, {CPLD_REG_BOARD_LED_A, CPLD_LED_0_4}, 1, false},
    {4, {CPLD_REG_BOARD_LED_A, CPLD_LED_0_4}, 1, false},
    {5, {CPLD_REG_BOARD_LED_B, CPLD_LED_5}, 0, false},
    {192, {CPLD_REG_PANEL_LED, CPLD_LED_192}, 0, true},
};

// LED 2 has two bits.
constexpr int32_t two_bit_led = 2;
constexpr CpldBits two_bits{CPLD_REG_BOARD_LED_A, CPLD_LED_2_HIGH | CPLD_LED_2_LOW};
constexpr uint8_t lit = 0;
constexpr uint8_t low_bit_only = 1;
constexpr uint8_t high_bit_only = 2;
constexpr uint8_t color_of_high_bit = 2;

struct LedReport {
    uint8_t color;
    uint8_t state;
};

// By the value of the two bits: none, low, high, both.
constexpr LedReport two_bit_reports[] = {{3, 1}, {3, 0}, {2, 0}, {3, 0}};

const BitLed *find(int32_t id)
{
    for (const BitLed &led : bit_leds) {
        if (led.id == id) {
            return &led;
        }
    }
    return nullptr;
}

// fru, on and color in this order: callers match on the first complaint.
const char *complaint(int32_t fru, uint8_t color, uint8_t on)
{
    if (fru >= 1) {
        return "fru is a invalid parameter";
    }
    if (on >= 2) {
        return "bon is a invalid parameter";
    }
    if (color >= color_count) {
        return "color is a invalid parameter";
    }
    return nullptr;
}

uint8_t two_bit_value(uint8_t color, uint8_t on)
{
    if (on == 1) {
        return lit;
    }
    return color == color_of_high_bit ? high_bit_only : low_bit_only;
}

} // namespace

extern "C" {

int set_led_status(int32_t fru, int32_t led, uint8_t color, uint8_t on)
{
    const char *const wrong = complaint(fru, color, on);
    if (wrong != nullptr) {
        puts(wrong);
        return -2;
    }
    const MutexGuard guard(cpld_reg_lock);
    if (led == two_bit_led) {
        cpld_field_put(two_bits, two_bit_value(color, on));
        return 0;
    }
    const BitLed *const found = find(led);
    if (found == nullptr) {
        return -2;
    }
    cpld_assign(found->bit, on == 0);
    return 0;
}

int get_led_status(int32_t fru, int32_t led, uint8_t *color, uint8_t *state)
{
    if (fru > 0) {
        return -2;
    }
    const MutexGuard guard(cpld_reg_lock);
    if (led == two_bit_led) {
        const LedReport &report = two_bit_reports[cpld_field_get(two_bits)];
        *color = report.color;
        *state = report.state;
        return 0;
    }
    const BitLed *const found = find(led);
    if (found == nullptr) {
        return -2;
    }
    *color = found->color;
    *state = cpld_test(found->bit) != found->reports_lit ? 1 : 0;
    return 0;
}

void set_led_dft_mode(uint32_t) {}

} // extern "C"
