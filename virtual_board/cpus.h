// The host's CPU sockets as the CPLD sees them: presence, generation and fault
// lines.
#ifndef VIRTUAL_BOARD_CPUS_H
#define VIRTUAL_BOARD_CPUS_H

#include <stdint.h>

#include <array>

#include "virtual_board/cpld.h"

namespace virtual_board {

// Lines of a socket, and lines that only the first socket's registers have.
enum class CpuLine : uint8_t {
    thermal_trip,
    hot_0,
    hot_1,
    error,        // the top bit of the error register
    indication_a, // reported while a CPU is fitted
    indication_b, // reported while none is
    iio_error,    // first socket only, as all below
    status_9,
    status_10,
    internal_error,
    machine_check,
};

class Cpus {
public:
    static constexpr unsigned sockets = 2;

    explicit Cpus(Cpld &cpld);

    void fit(unsigned socket, uint8_t generation);
    void remove(unsigned socket);
    bool fitted(unsigned socket) const;

    // The CPLD's bit of a line. Lines that the second socket lacks throw.
    bool seen(unsigned socket, CpuLine line) const;
    // The line stays active: a program's store cannot clear its bit.
    void hold(unsigned socket, CpuLine line);
    // The line was active for a moment: the bit stays until a program clears it.
    void pulse(unsigned socket, CpuLine line);
    // The line is inactive and its bit clear.
    void release(unsigned socket, CpuLine line);

    // Memory events of items 0 to 7 of group 0, and of the even (0) or odd (1)
    // items of group 1.
    void set_memory_event(unsigned group, unsigned item, bool active);
    bool memory_event(unsigned group, unsigned item) const;
    // Level of one of the five hot-control outputs that programs drive.
    bool hot_control(unsigned output) const;

private:
    void settle(uint32_t offset);

    Cpld &cpld_;
    std::array<uint8_t, 256> held_{}; // bits held active, by register
};

} // namespace virtual_board

#endif
