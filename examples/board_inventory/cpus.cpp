// The host's CPUs and their faults.

#include <board_hal.h>

#include "board_inventory/collect.h"

namespace board_inventory {

namespace {

// Status types of get_cpu_status. The internal error is taken from the type
// that only looks: type 4 counts its polls and clears the bit.
constexpr uint32_t cpu_present = 1;
constexpr uint32_t cpu_thermal_trip = 2;
constexpr uint32_t cpu_internal_error = 12;

Value status(int32_t cpu, uint32_t type)
{
    uint8_t value = 0;
    const int result = get_cpu_status(cpu, type, &value);
    return given(result, yes_no(value == 1));
}

Value generation(int32_t cpu)
{
    uint8_t value = 0;
    const int result = get_cpu_generation(cpu, &value);
    return given(result, number(value));
}

Value slot_of(uint8_t nth_present)
{
    uint8_t slot = 0;
    const int result = get_slotid_by_cpuid(nth_present, &slot);
    return given(result, number(slot));
}

Row present_cpu(int32_t cpu, uint8_t nth_present, const Polls &polls)
{
    const auto of = static_cast<unsigned>(cpu);
    return {number(cpu),
            yes_no(true),
            slot_of(nth_present),
            generation(cpu),
            status(cpu, cpu_thermal_trip),
            polls.cpu(of, cpu_hot),
            polls.cpu(of, cpu_error),
            status(cpu, cpu_internal_error)};
}

Row absent_cpu(int32_t cpu, int result)
{
    return {number(cpu), given(result, yes_no(false)), none(), none(), none(), none(), none(),
            none()};
}

} // namespace

Table cpus(const Polls &polls)
{
    Table table{"cpus",
                "CPUs",
                Table::Layout::rows,
                {{"cpu", "CPU"},
                 {"present", "present"},
                 {"slot", "slot"},
                 {"generation", "generation"},
                 {"thermal_trip", "thermal trip"},
                 {"hot", "hot"},
                 {"error", "error"},
                 {"internal_error", "internal error"}},
                {}};
    uint8_t seen = 0;
    for (int32_t cpu = 0; cpu < static_cast<int32_t>(cpu_count); ++cpu) {
        uint8_t present = 0;
        const int result = get_cpu_status(cpu, cpu_present, &present);
        const bool there = result == 0 && present == 1;
        table.rows.push_back(there ? present_cpu(cpu, seen++, polls) : absent_cpu(cpu, result));
    }
    return table;
}

} // namespace board_inventory
