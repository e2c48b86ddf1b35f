// The host server that the controller manages: its power state and its two
// system interfaces.
#ifndef VIRTUAL_BOARD_HOST_H
#define VIRTUAL_BOARD_HOST_H

#include <stdint.h>

#include <functional>

#include "virtual_board/clock.h"
#include "virtual_board/cpld.h"
#include "virtual_board/fpga.h"
#include "virtual_board/host_interface.h"

namespace virtual_board {

class Host {
public:
    struct Counters {
        unsigned power_ons = 0;
        unsigned power_offs = 0;
        unsigned forced_offs = 0; // of power_offs
        unsigned resets = 0;
        unsigned nmis = 0;
        unsigned cmos_clears = 0;
    };

    Host(Clock &clock, Cpld &cpld, Fpga &fpga);

    HostInterface kcs;
    HostInterface bt;

    // From the button's release to the change of power good.
    uint64_t power_delay_us = 500000;
    // A button held this long cuts the power at once.
    uint64_t force_off_us = 4000000;

    bool powered() const;
    // Power comes or goes by itself: the power cord, a wake-up, a crash.
    void set_power(bool on);
    // The host starts over by itself; false if it is off.
    bool reset();
    const Counters &counters() const { return counters_; }
    // How long the button was held at the last effective press.
    uint64_t last_press_us() const { return last_press_us_; }
    // A person presses the front panel's button; false if it is locked.
    bool press_front_panel(uint64_t hold_us);

    // Called after each change of the host's state with one word for it:
    // "power on", "power off", "forced power off", "reset", "nmi", "clear cmos",
    // "button pressed", "button released".
    void on_change(std::function<void(const char *)> observer) { observer_ = std::move(observer); }

private:
    void watch_button(uint8_t before, uint8_t after);
    void watch_chipset(uint8_t before, uint8_t after);
    void press();
    void release();
    void tell(const char *change);

    Clock &clock_;
    Cpld &cpld_;
    Counters counters_;
    bool pressed_ = false;
    unsigned press_number_ = 0;
    uint64_t pressed_at_us_ = 0;
    uint64_t last_press_us_ = 0;
    std::function<void(const char *)> observer_;
};

} // namespace virtual_board

#endif
