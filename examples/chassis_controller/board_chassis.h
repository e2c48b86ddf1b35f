// The chassis as board_hal drives it.
#ifndef CHASSIS_CONTROLLER_BOARD_CHASSIS_H
#define CHASSIS_CONTROLLER_BOARD_CHASSIS_H

#include "ipmi.h"

namespace chassis_controller {

class BoardChassis : public Chassis {
public:
    bool identify(Identity &identity) override;
    bool read_power(bool &on) override;
    bool read_button_lock(bool &locked) override;
    bool press_power_button() override;
    bool wait_for_power(bool on) override;
    bool reset() override;
    bool interrupt() override;
    bool read_ram(uint16_t offset, uint8_t &value) override;
    bool write_ram(uint16_t offset, uint8_t value) override;
};

} // namespace chassis_controller

#endif
