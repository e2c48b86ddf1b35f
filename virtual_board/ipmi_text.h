// IPMI messages in words.
#ifndef VIRTUAL_BOARD_IPMI_TEXT_H
#define VIRTUAL_BOARD_IPMI_TEXT_H

#include <stdint.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "virtual_board/host_interface.h"

namespace virtual_board {

// "18 01"
std::string hex_bytes(const Message &message);

class IpmiText {
public:
    // Names a command that the standard leaves to the vendor.
    void name(uint8_t netfn, uint8_t command, std::string text)
    {
        names_[{netfn, command}] = std::move(text);
    }

    // "Chassis Control (NetFn 00h Chassis, command 02h): power up"
    std::string request(const Message &request) const;
    // What an answer says, one line each: its completion code, then its fields.
    std::vector<std::string> answer(const Message &request, const Message &answer) const;

    // Whether the message has the form of an answer to the request.
    static bool answers(const Message &request, const Message &answer);

private:
    std::string command(const Message &request) const;

    std::map<std::pair<uint8_t, uint8_t>, std::string> names_;
};

} // namespace virtual_board

#endif
