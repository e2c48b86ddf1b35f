// Presence and fault lines of the host's CPUs and memory.

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"
#include "frame/debounce.h"
#include "frame/selected_bits.h"
#include "support/not_fitted.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

constexpr int32_t cpu_count = 4;
constexpr unsigned hot_polls_needed = 4;
constexpr uint8_t internal_errors_kept = 4;

// CPU 0 has registers of its own, the numbers 1 to 3 share a set.
struct CpuBits {
    CpldBits cpu_0;
    CpldBits others;
};

constexpr CpldBits bits_of(const CpuBits &bits, int32_t cpu)
{
    return cpu == 0 ? bits.cpu_0 : bits.others;
}

constexpr CpuBits present = {{CPLD_REG_CPU0_STATUS, CPLD_CPU_PRESENT},
                             {CPLD_REG_CPU1_STATUS, CPLD_CPU_PRESENT}};
constexpr CpuBits generation = {{CPLD_REG_CPU0_STATUS, CPLD_CPU_GENERATION},
                                {CPLD_REG_CPU1_STATUS, CPLD_CPU_GENERATION}};
constexpr CpuBits thermal_trip = {{CPLD_REG_CPU0_STATUS, CPLD_CPU_THERMAL_TRIP},
                                  {CPLD_REG_CPU1_STATUS, CPLD_CPU_THERMAL_TRIP}};
constexpr CpuBits error_type_5 = {{CPLD_REG_CPU0_ERROR, CPLD_CPU_ERROR_TYPE_5},
                                  {CPLD_REG_CPU1_ERROR, CPLD_CPU_ERROR_TYPE_5}};

// These lines are wired to CPU 0's registers for every CPU.
constexpr CpldBits iio_error{CPLD_REG_CPU0_STATUS, CPLD_CPU0_IIO_ERROR};
constexpr CpldBits status_type_9{CPLD_REG_CPU0_STATUS, CPLD_CPU0_STATUS_TYPE_9};
constexpr CpldBits status_type_10{CPLD_REG_CPU0_STATUS, CPLD_CPU0_STATUS_TYPE_10};
constexpr CpldBits internal_error{CPLD_REG_CPU0_ERROR, CPLD_CPU0_INTERNAL_ERROR};
constexpr CpldBits machine_check{CPLD_REG_CPU0_ERROR, CPLD_CPU0_MACHINE_CHECK};

enum class When : uint8_t { always, cpu_present, cpu_absent };

// A status that is one bit as it stands, reported as 0 outside its condition.
struct PlainStatus {
    uint32_t type;
    When when;
    CpuBits bits;
};

constexpr PlainStatus plain_statuses[] = {
    {0,
     When::cpu_present,
     {{CPLD_REG_CPU_INDICATION_A, CPLD_CPU0_INDICATION},
      {CPLD_REG_CPU_INDICATION_A, CPLD_CPU1_INDICATION}}},
    {1, When::always, present},
    {2, When::cpu_present, thermal_trip},
    {6,
     When::cpu_absent,
     {{CPLD_REG_CPU_INDICATION_B, CPLD_CPU0_INDICATION},
      {CPLD_REG_CPU_INDICATION_B, CPLD_CPU1_INDICATION}}},
    {8, When::cpu_present, {iio_error, iio_error}},
    {9, When::cpu_present, {status_type_9, status_type_9}},
    {10, When::cpu_present, {status_type_10, status_type_10}},
};

// The four hot indications, two of each socket, in the order of their histories.
struct HotLine {
    CpldBits socket_present;
    CpldBits bits;
};

constexpr HotLine hot_lines[] = {
    {present.cpu_0, {CPLD_REG_CPU0_ERROR, CPLD_CPU_HOT_INDICATION_0}},
    {present.cpu_0, {CPLD_REG_CPU0_ERROR, CPLD_CPU_HOT_INDICATION_1}},
    {present.others, {CPLD_REG_CPU1_ERROR, CPLD_CPU_HOT_INDICATION_0}},
    {present.others, {CPLD_REG_CPU1_ERROR, CPLD_CPU_HOT_INDICATION_1}},
};
constexpr size_t hot_line_count = sizeof(hot_lines) / sizeof(hot_lines[0]);

// Polling state, changed under cpld_reg_lock.
ShiftHistory<uint8_t> hot_history[hot_line_count];
ShiftHistory<uint8_t> error_history[cpu_count];
EventCount internal_errors;
RisingEdge internal_error_edge;
RisingEdge machine_check_edge;

// CPU numbers are checked against their upper limit alone; a negative one must
// not reach past the histories.
constexpr size_t history_of(int32_t cpu)
{
    return static_cast<uint32_t>(cpu) % cpu_count;
}
static_assert(hot_line_count == cpu_count, "hot histories are also indexed by CPU number");

bool is_present(int32_t cpu)
{
    return cpld_test(bits_of(present, cpu));
}

bool poll_hot_line(size_t line)
{
    hot_history[line].push(cpld_test(hot_lines[line].bits));
    return hot_history[line].newest_all_set(hot_polls_needed);
}

// Both indications of the CPU's socket; both histories advance at every poll.
bool poll_hot(int32_t cpu)
{
    if ((cpu != 0 && cpu != 1) || !is_present(cpu)) {
        return false;
    }
    const size_t line = cpu == 0 ? 0 : 2;
    const bool first = poll_hot_line(line);
    const bool second = poll_hot_line(line + 1);
    return first || second;
}

// One fixed indication. The answer comes from the history that the CPU number
// names, deliberately not always the one just fed, and the histories are those
// of poll_hot: pollers of both advance them twice.
template <size_t line> bool poll_single_hot(int32_t cpu)
{
    if (!cpld_test(hot_lines[line].socket_present)) {
        return false;
    }
    poll_hot_line(line);
    return hot_history[history_of(cpu)].newest_all_set(hot_polls_needed);
}

bool poll_internal_error(int32_t cpu)
{
    if (!is_present(cpu)) {
        return false;
    }
    const bool error = cpld_test(internal_error);
    if (error && internal_errors.reached(internal_errors_kept)) {
        cpld_clear(internal_error);
    }
    if (internal_error_edge.rose(error)) {
        set_fdm_ierr_info(1);
        set_fdm_ierr_parase(1);
    }
    return error;
}

// One assertion is reported for eight polls.
bool poll_error_type_5(int32_t cpu)
{
    if (!is_present(cpu)) {
        return false;
    }
    ShiftHistory<uint8_t> &history = error_history[history_of(cpu)];
    history.push(cpld_test(bits_of(error_type_5, cpu)));
    return history.any_set();
}

bool poll_machine_check(int32_t cpu)
{
    if (!is_present(cpu)) {
        return false;
    }
    const bool error = cpld_test(machine_check);
    // Deliberately whatever the bit: the flag says that the line was polled.
    if (g_cpu_mce_flag == 0) {
        g_cpu_mce_flag = 1;
    }
    if (machine_check_edge.rose(error)) {
        set_fdm_mce_info(1);
    }
    return error;
}

// The internal-error line as it stands, with either socket fitted; it counts
// nothing and stamps nothing.
bool look_at_internal_error(int32_t)
{
    const bool fitted = cpld_test(present.cpu_0) || cpld_test(present.others);
    return fitted && cpld_test(internal_error);
}

// A status with a memory or a rule of its own.
struct PolledStatus {
    uint32_t type;
    bool (*poll)(int32_t cpu);
};

constexpr PolledStatus polled_statuses[] = {
    {3, poll_hot},
    {4, poll_internal_error},
    {5, poll_error_type_5},
    {11, poll_machine_check},
    {12, look_at_internal_error},
    {14, poll_single_hot<0>},
    {15, poll_single_hot<1>},
    {16, poll_single_hot<2>},
    {17, poll_single_hot<3>},
};

bool plain_status(const PlainStatus &row, int32_t cpu)
{
    const bool applies =
        row.when == When::always || (row.when == When::cpu_present) == is_present(cpu);
    return applies && cpld_test(bits_of(row.bits, cpu));
}

bool cpu_refused(int32_t cpu)
{
    if (cpu >= cpu_count) {
        printf("Invalid cpu_id = %d\r\n", cpu);
        return true;
    }
    return false;
}

constexpr Selected hot_control_outputs[] = {
    {0, {CPLD_REG_CPU0_ERROR, CPLD_CPU0_HOT_CONTROL_0}},
    {1, {CPLD_REG_CPU0_ERROR, CPLD_CPU0_HOT_CONTROL_1}},
    {2, {CPLD_REG_CPU0_ERROR, CPLD_CPU0_HOT_CONTROL_2}},
    {3, {CPLD_REG_CPU1_ERROR, CPLD_CPU1_HOT_CONTROL_3}},
    {4, {CPLD_REG_CPU1_ERROR, CPLD_CPU1_HOT_CONTROL_4}},
};

constexpr Selected memory_events_of_group_0[] = {
    {0, {CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_FIRST}},
    {1, {CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_SECOND}},
    {2, {CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_THIRD}},
    {3, {CPLD_REG_MEMORY_EVENT_LOW, CPLD_MEMORY_EVENT_FOURTH}},
    {4, {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_FIRST}},
    {5, {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_SECOND}},
    {6, {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_THIRD}},
    {7, {CPLD_REG_MEMORY_EVENT_HIGH, CPLD_MEMORY_EVENT_FOURTH}},
};

constexpr Selected memory_events_of_group_1[] = {
    {0, {CPLD_REG_CPU_INDICATION_B, CPLD_MEMORY_EVENT_GROUP1_EVEN}},
    {1, {CPLD_REG_CPU_INDICATION_B, CPLD_MEMORY_EVENT_GROUP1_ODD}},
    {2, {CPLD_REG_CPU_INDICATION_B, CPLD_MEMORY_EVENT_GROUP1_EVEN}},
    {3, {CPLD_REG_CPU_INDICATION_B, CPLD_MEMORY_EVENT_GROUP1_ODD}},
};

} // namespace

extern "C" {

uint8_t g_cpu_mce_flag;

int get_cpu_status(int32_t cpu, uint32_t type, uint8_t *val)
{
    if (cpu_refused(cpu)) {
        return -2;
    }
    if (refused_null(val, "get_cpu_status val pointer is null")) {
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    for (const PlainStatus &row : plain_statuses) {
        if (row.type == type) {
            *val = plain_status(row, cpu) ? 1 : 0;
            return 0;
        }
    }
    for (const PolledStatus &row : polled_statuses) {
        if (row.type == type) {
            *val = row.poll(cpu) ? 1 : 0;
            return 0;
        }
    }
    return -2;
}

int clear_cpu_thermaltrip(int32_t cpu)
{
    if (cpu_refused(cpu)) {
        return -2;
    }
    const MutexGuard guard(cpld_reg_lock);
    cpld_clear(bits_of(thermal_trip, cpu));
    return 0;
}

int get_cpu_generation(int32_t cpu, uint8_t *val)
{
    if (refused_null(val, "get_cpu_generation:val pointer is null")) {
        return -2;
    }
    const MutexGuard guard(cpld_reg_lock);
    *val = cpld_field_get(bits_of(generation, cpu));
    return 0;
}

int get_iio_reg(uint8_t *val)
{
    return read_bit(iio_error, val);
}

int clear_mcerr_reg(void)
{
    // No guard: what the unlock answers is the result.
    pthread_mutex_lock(&cpld_reg_lock);
    cpld_clear(machine_check);
    g_cpu_mce_flag = 0;
    return pthread_mutex_unlock(&cpld_reg_lock);
}

int set_hot_ctrl(int32_t output, uint8_t val)
{
    if (val >= 2) {
        puts("set_hot_ctrl val is a invalid parameter");
        return -2;
    }
    return write_selected(hot_control_outputs, static_cast<uint32_t>(output), val, -1);
}

int get_memory_event(uint32_t group, uint32_t item, uint8_t *val)
{
    if (refused_null(val, "get_memory_event val is a invalid parameter")) {
        return -2;
    }
    switch (group) {
    case 0:
        return read_selected(memory_events_of_group_0, item, val);
    case 1:
        return read_selected(memory_events_of_group_1, item, val);
    default:
        return -2;
    }
}

void set_caterr_flag(uint8_t, uint8_t) {}

BOARD_HAL_NOT_FITTED(0, get_caterr_flag, uint8_t)

} // extern "C"
