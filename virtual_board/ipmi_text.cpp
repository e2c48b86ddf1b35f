#include "virtual_board/ipmi_text.h"

#include <stdarg.h>
#include <stdio.h>

#include <algorithm>

namespace virtual_board {

namespace {

constexpr uint8_t netfn_of(const Message &message)
{
    return static_cast<uint8_t>(message[0] >> 2);
}

struct Named {
    uint8_t value;
    const char *text;
};

constexpr Named netfn_names[] = {
    {0x00, "Chassis"},   {0x02, "Bridge"},  {0x04, "Sensor/Event"}, {0x06, "App"},
    {0x08, "Firmware"},  {0x0A, "Storage"}, {0x0C, "Transport"},    {0x2C, "Group"},
    {0x2E, "OEM/Group"}, {0x30, "OEM"},
};

constexpr Named completion_codes[] = {
    {0x00, "completed normally"},
    {0xC0, "node busy"},
    {0xC1, "invalid command"},
    {0xC2, "command invalid for this LUN"},
    {0xC3, "timed out"},
    {0xC7, "request has the wrong length"},
    {0xC9, "parameter out of range"},
    {0xCC, "invalid data field in the request"},
    {0xD5, "not supported in the present state"},
    {0xFF, "unspecified error"},
};

constexpr Named chassis_controls[] = {
    {0, "power down"},
    {1, "power up"},
    {2, "power cycle"},
    {3, "hard reset"},
    {4, "diagnostic interrupt (NMI)"},
    {5, "soft shutdown"},
};

template <size_t count>
const char *text_of(const Named (&table)[count], uint8_t value, const char *otherwise)
{
    const Named *found = std::find_if(std::begin(table), std::end(table),
                                      [value](const Named &entry) { return entry.value == value; });
    return found == std::end(table) ? otherwise : found->text;
}

[[gnu::format(printf, 1, 2)]] std::string format(const char *pattern, ...)
{
    char text[160];
    va_list args;
    va_start(args, pattern);
    vsnprintf(text, sizeof(text), pattern, args);
    va_end(args);
    return text;
}

using Lines = std::vector<std::string>;
using Fields = const uint8_t *;

std::string version(uint8_t major, uint8_t bcd_minor)
{
    return format("%u.%02X", major & 0x7FU, bcd_minor);
}

void device_id(Fields field, size_t count, Lines &lines)
{
    lines.push_back(format("device id %02Xh, device revision %u, firmware %s, IPMI %u.%u", field[0],
                           field[1] & 0x0FU, version(field[2], field[3]).c_str(), field[4] & 0x0FU,
                           field[4] >> 4U));
    const unsigned maker = field[6] | static_cast<unsigned>(field[7]) << 8U |
                           static_cast<unsigned>(field[8] & 0x0FU) << 16U;
    lines.push_back(format("manufacturer %05Xh, product %04Xh%s", maker,
                           field[9] | static_cast<unsigned>(field[10]) << 8U,
                           (field[5] & 0x80) != 0 ? ", manages a chassis" : ""));
    if (count >= 15) {
        lines.push_back(format("auxiliary firmware revision %02X %02X %02X %02X", field[11],
                               field[12], field[13], field[14]));
    }
}

void chassis_status(Fields field, size_t count, Lines &lines)
{
    const char *faults = (field[0] & 0x18) != 0 ? ", power fault" : "";
    lines.push_back(format("the host's power is %s%s", (field[0] & 1) != 0 ? "ON" : "OFF", faults));
    if (count >= 4) {
        lines.push_back(
            format("front panel power button %s", (field[3] & 1) != 0 ? "locked" : "unlocked"));
    }
}

const char *chassis_control(uint8_t control)
{
    return text_of(chassis_controls, control, "unknown");
}

// Commands whose fields are told; `least` is the shortest answer, code excluded.
struct Decoder {
    uint8_t netfn;
    uint8_t command;
    const char *name;
    const char *(*subject)(uint8_t first); // what the request's first field asks for
    size_t least;
    void (*decode)(Fields field, size_t count, Lines &lines);
};

constexpr Decoder decoders[] = {
    {0x06, 0x01, "Get Device ID", nullptr, 11, device_id},
    {0x00, 0x01, "Get Chassis Status", nullptr, 3, chassis_status},
    {0x00, 0x02, "Chassis Control", chassis_control, 0, nullptr},
};

const Decoder *decoder_of(const Message &request)
{
    for (const Decoder &entry : decoders) {
        if (entry.netfn == netfn_of(request) && entry.command == request[1]) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

std::string hex_bytes(const Message &message)
{
    std::string text;
    for (const uint8_t byte : message) {
        text += format(text.empty() ? "%02X" : " %02X", byte);
    }
    return text;
}

std::string IpmiText::command(const Message &request) const
{
    const auto own = names_.find({netfn_of(request), request[1]});
    if (own != names_.end()) {
        return own->second;
    }
    const Decoder *known = decoder_of(request);
    return known == nullptr ? "a command without a name" : known->name;
}

std::string IpmiText::request(const Message &request) const
{
    if (request.size() < 2) {
        return "too short for a request";
    }
    const uint8_t netfn = netfn_of(request);
    std::string text =
        command(request) + format(" (NetFn %02Xh %s, command %02Xh)", netfn,
                                  text_of(netfn_names, netfn, "reserved"), request[1]);
    const Decoder *known = decoder_of(request);
    if (known != nullptr && known->subject != nullptr && request.size() > 2) {
        text += std::string(": ") + known->subject(request[2]);
    }
    return text;
}

bool IpmiText::answers(const Message &request, const Message &answer)
{
    return answer.size() >= 3 && answer[0] == (request[0] | 0x04) && answer[1] == request[1];
}

Lines IpmiText::answer(const Message &request, const Message &answer) const
{
    if (!answers(request, answer)) {
        return {"this is no answer to the request"};
    }
    Lines lines = {format("completion code %02Xh: %s", answer[2],
                          text_of(completion_codes, answer[2], "no common code"))};
    const Decoder *known = decoder_of(request);
    const size_t count = answer.size() - 3;
    if (count == 0) {
        return lines;
    }
    if (answer[2] == 0 && known != nullptr && known->decode != nullptr && count >= known->least) {
        known->decode(answer.data() + 3, count, lines);
    } else {
        lines.push_back("data " + hex_bytes({answer.begin() + 3, answer.end()}));
    }
    return lines;
}

} // namespace virtual_board
