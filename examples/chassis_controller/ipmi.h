// The IPMI messages that the controller understands.
//
// A request is {NetFn << 2 | LUN, command, data…}; its answer is
// {(NetFn | 1) << 2 | LUN, command, completion code, data…}.
#ifndef CHASSIS_CONTROLLER_IPMI_H
#define CHASSIS_CONTROLLER_IPMI_H

#include <stdint.h>

#include <vector>

namespace chassis_controller {

using Message = std::vector<uint8_t>;

enum CompletionCode : uint8_t {
    completed = 0x00,
    invalid_command = 0xC1,
    invalid_for_lun = 0xC2,
    timed_out = 0xC3,
    wrong_length = 0xC7,
    out_of_range = 0xC9,
    invalid_field = 0xCC,
    not_in_present_state = 0xD5,
    unspecified_error = 0xFF,
};

// What the messages need of the board. An operation that answers a bool tells
// whether the board did it.
class Chassis {
public:
    struct Identity {
        uint8_t product = 0;
        uint8_t pcb_version = 0;
        uint8_t cpld_version = 0;
        uint8_t fpga_version = 0;
    };

    virtual ~Chassis() = default;

    virtual bool identify(Identity &identity) = 0;
    virtual bool read_power(bool &on) = 0;
    virtual bool read_button_lock(bool &locked) = 0;
    // Presses the power button and releases it again.
    virtual bool press_power_button() = 0;
    // Whether the host's power got there in time.
    virtual bool wait_for_power(bool on) = 0;
    virtual bool reset() = 0;
    virtual bool interrupt() = 0;

    static constexpr uint16_t ram_size = 1024;
    virtual bool read_ram(uint16_t offset, uint8_t &value) = 0;
    virtual bool write_ram(uint16_t offset, uint8_t value) = 0;
};

// Carries out a request. The answer is empty if the message is no request.
Message answer_to(const Message &request, Chassis &chassis);

// "Get Device ID"; "unknown command" if it is none of the controller's.
const char *name_of(const Message &request);

} // namespace chassis_controller

#endif
