// The record of the host's last moments in the FPGA.
#ifndef CONSOLE_BRIDGE_BLACK_BOX_H
#define CONSOLE_BRIDGE_BLACK_BOX_H

#include <stdint.h>

#include <functional>
#include <string>

namespace console_bridge {

// The FPGA does not tell how long a record is: it yields zeros behind it. Zeros
// at a record's own end are therefore not told from those.

// Fetches the record, at most `size` bytes, piece by piece; `meanwhile` is called
// between pieces, since that takes a while. A record is good when two fetches of
// it agree. Returns what is wrong; empty if nothing is.
std::string fetch_black_box(uint32_t size, const std::function<void()> &meanwhile,
                            std::string &record);

// Whether there is a record; false, too, if the FPGA does not tell.
bool black_box_has_record();

} // namespace console_bridge

#endif
