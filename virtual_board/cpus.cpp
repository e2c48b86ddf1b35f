#include "virtual_board/cpus.h"

#include <stdexcept>

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

struct Bit {
    uint8_t offset;
    uint8_t mask;
};

struct LineBits {
    CpuLine line;
    Bit socket[Cpus::sockets];
};

constexpr Bit none{0, 0};

constexpr LineBits line_bits[] = {
    {CpuLine::thermal_trip,
     {{CPLD_REG_CPU0_STATUS, CPLD_CPU_THERMAL_TRIP},
      {CPLD_REG_CPU1_STATUS, CPLD_CPU_THERMAL_TRIP}}},
    {CpuLine::hot_0,
     {{CPLD_REG_CPU0_ERROR, CPLD_CPU_HOT_INDICATION_0},
      {CPLD_REG_CPU1_ERROR, CPLD_CPU_HOT_INDICATION_0}}},
    {CpuLine::hot_1,
     {{CPLD_REG_CPU0_ERROR, CPLD_CPU_HOT_INDICATION_1},
      {CPLD_REG_CPU1_ERROR, CPLD_CPU_HOT_INDICATION_1}}},
    {CpuLine::error,
     {{CPLD_REG_CPU0_ERROR, CPLD_CPU_ERROR_TYPE_5}, {CPLD_REG_CPU1_ERROR, CPLD_CPU_ERROR_TYPE_5}}},
    {CpuLine::indication_a,
     {{CPLD_REG_CPU_INDICATION_A, CPLD_CPU0_INDICATION},
      {CPLD_REG_CPU_INDICATION_A, CPLD_CPU1_INDICATION}}},
    {CpuLine::indication_b,
     {{CPLD_REG_CPU_INDICATION_B, CPLD_CPU0_INDICATION},
      {CPLD_REG_CPU_INDICATION_B, CPLD_CPU1_INDICATION}}},
    {CpuLine::iio_error, {{CPLD_REG_CPU0_STATUS, CPLD_CPU0_IIO_ERROR}, none}},
    {CpuLine::status_9, {{CPLD_REG_CPU0_STATUS, CPLD_CPU0_STATUS_TYPE_9}, none}},
    {CpuLine::status_10, {{CPLD_REG_CPU0_STATUS, CPLD_CPU0_STATUS_TYPE_10}, none}},
    {CpuLine::internal_error, {{CPLD_REG_CPU0_ERROR, CPLD_CPU0_INTERNAL_ERROR}, none}},
    {CpuLine::machine_check, {{CPLD_REG_CPU0_ERROR, CPLD_CPU0_MACHINE_CHECK}, none}},
};

constexpr uint8_t status_register[Cpus::sockets] = {CPLD_REG_CPU0_STATUS, CPLD_REG_CPU1_STATUS};

constexpr Bit memory_events[2][8] = {
    {{CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_FIRST},
     {CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_SECOND},
     {CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_THIRD},
     {CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_FOURTH},
     {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_FIRST},
     {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_SECOND},
     {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_THIRD},
     {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_FOURTH}},
    {{CPLD_REG_CPU_INDICATION_B, CPLD_MEMORY_EVENT_GROUP1_EVEN},
     {CPLD_REG_CPU_INDICATION_B, CPLD_MEMORY_EVENT_GROUP1_ODD}},
};

constexpr Bit hot_controls[] = {
    {CPLD_REG_CPU0_ERROR, CPLD_CPU0_HOT_CONTROL_0}, {CPLD_REG_CPU0_ERROR, CPLD_CPU0_HOT_CONTROL_1},
    {CPLD_REG_CPU0_ERROR, CPLD_CPU0_HOT_CONTROL_2}, {CPLD_REG_CPU1_ERROR, CPLD_CPU1_HOT_CONTROL_3},
    {CPLD_REG_CPU1_ERROR, CPLD_CPU1_HOT_CONTROL_4},
};

void require(const Bit &bit, const char *what)
{
    if (bit.mask == 0) {
        throw std::invalid_argument(what);
    }
}

Bit bit_of(unsigned socket, CpuLine line)
{
    for (const LineBits &row : line_bits) {
        if (row.line == line && socket < Cpus::sockets) {
            require(row.socket[socket], "this socket has no such line");
            return row.socket[socket];
        }
    }
    throw std::invalid_argument("no such socket or line");
}

Bit memory_event_bit(unsigned group, unsigned item)
{
    if (group > 1 || item > 7) {
        throw std::invalid_argument("no such memory event");
    }
    require(memory_events[group][item], "no such memory event");
    return memory_events[group][item];
}

} // namespace

Cpus::Cpus(Cpld &cpld) : cpld_(cpld)
{
    for (const int reg :
         {CPLD_REG_CPU0_STATUS, CPLD_REG_CPU0_ERROR, CPLD_REG_CPU1_STATUS, CPLD_REG_CPU1_ERROR}) {
        const auto offset = static_cast<uint32_t>(reg);
        cpld_.on_store(offset, [this, offset](uint8_t, uint8_t) { settle(offset); });
    }
}

void Cpus::fit(unsigned socket, uint8_t generation)
{
    if (socket >= sockets || generation > 7) {
        throw std::invalid_argument("no such socket or generation");
    }
    cpld_.set(status_register[socket], static_cast<uint8_t>(CPLD_CPU_PRESENT | generation << 4));
    settle(status_register[socket]);
}

void Cpus::remove(unsigned socket)
{
    for (const LineBits &row : line_bits) {
        if (row.socket[socket].mask != 0) {
            release(socket, row.line);
        }
    }
    cpld_.set(status_register[socket], 0);
}

bool Cpus::fitted(unsigned socket) const
{
    return (cpld_.get(status_register[socket]) & CPLD_CPU_PRESENT) != 0;
}

bool Cpus::seen(unsigned socket, CpuLine line) const
{
    const Bit bit = bit_of(socket, line);
    return (cpld_.get(bit.offset) & bit.mask) != 0;
}

void Cpus::hold(unsigned socket, CpuLine line)
{
    const Bit bit = bit_of(socket, line);
    held_[bit.offset] = static_cast<uint8_t>(held_[bit.offset] | bit.mask);
    settle(bit.offset);
}

void Cpus::pulse(unsigned socket, CpuLine line)
{
    const Bit bit = bit_of(socket, line);
    cpld_.set_bits(bit.offset, bit.mask);
}

void Cpus::release(unsigned socket, CpuLine line)
{
    const Bit bit = bit_of(socket, line);
    held_[bit.offset] = static_cast<uint8_t>(held_[bit.offset] & ~bit.mask);
    cpld_.clear_bits(bit.offset, bit.mask);
}

bool Cpus::memory_event(unsigned group, unsigned item) const
{
    const Bit bit = memory_event_bit(group, item);
    return (cpld_.get(bit.offset) & bit.mask) != 0;
}

void Cpus::set_memory_event(unsigned group, unsigned item, bool active)
{
    const Bit bit = memory_event_bit(group, item);
    active ? cpld_.set_bits(bit.offset, bit.mask) : cpld_.clear_bits(bit.offset, bit.mask);
}

bool Cpus::hot_control(unsigned output) const
{
    if (output >= std::size(hot_controls)) {
        throw std::invalid_argument("no such output");
    }
    return (cpld_.get(hot_controls[output].offset) & hot_controls[output].mask) != 0;
}

// Held lines set their bits again.
void Cpus::settle(uint32_t offset)
{
    cpld_.set_bits(offset, held_[offset]);
}

} // namespace virtual_board
