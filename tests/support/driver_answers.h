// What a driver can answer to a call, for tests of how results are mapped.
#ifndef TESTS_SUPPORT_DRIVER_ANSWERS_H
#define TESTS_SUPPORT_DRIVER_ANSWERS_H

#include <errno.h>
#include <stdint.h>

#include <optional>
#include <string>

#include "virtual_board/fault.h"

namespace board_test {

// A result of a system call and what an operation makes of it.
struct Mapped {
    int driver;
    int expected;
};

// A fault that makes each matching call of the FPGA driver answer `result`
// without the device having seen it; -1 comes with EIO.
inline virtual_board::Fault fpga_answers(virtual_board::Operation operation,
                                         std::optional<uint32_t> address, int result)
{
    using Kind = virtual_board::Fault::Kind;
    virtual_board::Fault fault;
    fault.name = "fpga answers " + std::to_string(result);
    fault.device = "fpga";
    fault.operation = operation;
    fault.address = address;
    fault.kind = result == -1 ? Kind::error : Kind::result;
    fault.value = result == -1 ? EIO : result;
    fault.times = 0;
    return fault;
}

} // namespace board_test

#endif
