#include "ipmi.h"

#include <algorithm>

namespace chassis_controller {

namespace {

enum NetFn : uint8_t { netfn_chassis = 0x00, netfn_app = 0x06, netfn_oem = 0x30 };

// Firmware 1.00 of this controller, on IPMI 2.0.
constexpr uint8_t device_id = 0x20;
constexpr uint8_t firmware_major = 1;
constexpr uint8_t firmware_minor_bcd = 0x00;
constexpr uint8_t ipmi_version = 0x02;
constexpr uint8_t manages_a_chassis = 0x80;

constexpr uint8_t power_is_on = 0x01;
constexpr uint8_t restore_policy_unknown = 0x60;
constexpr uint8_t button_can_be_locked = 0x10;
constexpr uint8_t button_is_locked = 0x01;

struct Reply {
    CompletionCode code;
    Message data = {};
};

constexpr CompletionCode code_for(bool done)
{
    return done ? completed : unspecified_error;
}

Reply get_device_id(const uint8_t *, Chassis &chassis)
{
    Chassis::Identity identity;
    if (!chassis.identify(identity)) {
        return {unspecified_error};
    }
    const auto revision = static_cast<uint8_t>(identity.pcb_version & 0x0F);
    return {completed,
            {device_id, revision, firmware_major, firmware_minor_bcd, ipmi_version,
             manages_a_chassis, 0, 0, 0, // manufacturer: not specified
             identity.product, 0, identity.cpld_version, identity.fpga_version, 0, 0}};
}

Reply get_chassis_status(const uint8_t *, Chassis &chassis)
{
    bool on = false;
    bool locked = false;
    if (!chassis.read_power(on) || !chassis.read_button_lock(locked)) {
        return {unspecified_error};
    }
    const auto power = static_cast<uint8_t>(restore_policy_unknown | (on ? power_is_on : 0));
    const auto panel = static_cast<uint8_t>(button_can_be_locked | (locked ? button_is_locked : 0));
    // The second and third byte, the last power event and faults, are not kept.
    return {completed, {power, 0, 0, panel}};
}

CompletionCode press_button(Chassis &chassis)
{
    return code_for(chassis.press_power_button());
}

CompletionCode power_down(Chassis &chassis)
{
    if (!chassis.press_power_button()) {
        return unspecified_error;
    }
    return chassis.wait_for_power(false) ? completed : timed_out;
}

CompletionCode reset(Chassis &chassis)
{
    return code_for(chassis.reset());
}

CompletionCode interrupt(Chassis &chassis)
{
    return code_for(chassis.interrupt());
}

// What Chassis Control asks for, and the power state in which it makes sense.
struct Control {
    uint8_t number;
    bool when_on;
    CompletionCode (*run)(Chassis &chassis);
};

// Number 2, power cycle, is not offered: a press of the button cannot tell when
// the supplies have drained. 5 leaves the shutdown to the host's software.
constexpr Control controls[] = {
    {0, true, power_down}, {1, false, press_button}, {3, true, reset},
    {4, true, interrupt},  {5, true, press_button},
};

Reply chassis_control(const uint8_t *data, Chassis &chassis)
{
    const auto *control =
        std::find_if(std::begin(controls), std::end(controls),
                     [data](const Control &entry) { return entry.number == data[0]; });
    if (control == std::end(controls)) {
        return {invalid_field};
    }
    bool on = false;
    if (!chassis.read_power(on)) {
        return {unspecified_error};
    }
    if (on != control->when_on) {
        return {not_in_present_state};
    }
    return {control->run(chassis)};
}

uint16_t ram_offset(const uint8_t *data)
{
    return static_cast<uint16_t>(data[0] | data[1] << 8);
}

Reply set_ram_byte(const uint8_t *data, Chassis &chassis)
{
    if (ram_offset(data) >= Chassis::ram_size) {
        return {out_of_range};
    }
    return {code_for(chassis.write_ram(ram_offset(data), data[2]))};
}

Reply get_ram_byte(const uint8_t *data, Chassis &chassis)
{
    if (ram_offset(data) >= Chassis::ram_size) {
        return {out_of_range};
    }
    uint8_t value = 0;
    if (!chassis.read_ram(ram_offset(data), value)) {
        return {unspecified_error};
    }
    return {completed, {value}};
}

struct Command {
    uint8_t netfn;
    uint8_t number;
    size_t data_length;
    const char *name;
    Reply (*run)(const uint8_t *data, Chassis &chassis);
};

constexpr Command commands[] = {
    {netfn_chassis, 0x01, 0, "Get Chassis Status", get_chassis_status},
    {netfn_chassis, 0x02, 1, "Chassis Control", chassis_control},
    {netfn_app, 0x01, 0, "Get Device ID", get_device_id},
    {netfn_oem, 0x01, 3, "Set RAM Byte", set_ram_byte},
    {netfn_oem, 0x02, 2, "Get RAM Byte", get_ram_byte},
};

constexpr size_t header_length = 2;

// Answers have odd NetFns.
bool is_request(const Message &message)
{
    return message.size() >= header_length && (message[0] & 0x04) == 0;
}

const Command *find_command(const Message &request)
{
    const auto *found =
        std::find_if(std::begin(commands), std::end(commands), [&request](const Command &entry) {
            return entry.netfn == request[0] >> 2 && entry.number == request[1];
        });
    return found == std::end(commands) ? nullptr : found;
}

Reply carry_out(const Message &request, Chassis &chassis)
{
    const Command *command = find_command(request);
    if (command == nullptr) {
        return {invalid_command};
    }
    if ((request[0] & 0x03) != 0) {
        return {invalid_for_lun};
    }
    if (request.size() != header_length + command->data_length) {
        return {wrong_length};
    }
    return command->run(request.data() + header_length, chassis);
}

} // namespace

Message answer_to(const Message &request, Chassis &chassis)
{
    if (!is_request(request)) {
        return {};
    }
    const Reply reply = carry_out(request, chassis);
    Message answer = {static_cast<uint8_t>(request[0] | 0x04), request[1], reply.code};
    answer.insert(answer.end(), reply.data.begin(), reply.data.end());
    return answer;
}

const char *name_of(const Message &request)
{
    const Command *command = is_request(request) ? find_command(request) : nullptr;
    return command == nullptr ? "unknown command" : command->name;
}

} // namespace chassis_controller
