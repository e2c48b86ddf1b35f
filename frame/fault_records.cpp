// When an internal error or a machine-check error of the CPUs was first seen.
//
// The records take no lock: one polling thread is assumed.

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include "board_hal.h"

static_assert(sizeof(fdm_fault_record) == 8);
static_assert(offsetof(fdm_fault_record, time) == 4);

namespace {

fdm_fault_record internal_error;
fdm_fault_record internal_error_parse;
fdm_fault_record machine_check;

void stamp(fdm_fault_record &record, uint8_t seen)
{
    if (seen == 1) {
        record = {1, static_cast<int32_t>(time(nullptr))};
    } else {
        record = {0, 0};
    }
}

int copy_out(const fdm_fault_record &record, fdm_fault_record *out)
{
    if (out == nullptr) {
        return -1;
    }
    *out = record;
    return 0;
}

} // namespace

extern "C" {

int get_fdm_ierr_info(fdm_fault_record *record)
{
    return copy_out(internal_error, record);
}

int get_fdm_ierr_parase(fdm_fault_record *record)
{
    return copy_out(internal_error_parse, record);
}

int get_fdm_mce_info(fdm_fault_record *record)
{
    return copy_out(machine_check, record);
}

void set_fdm_ierr_info(uint8_t seen)
{
    stamp(internal_error, seen);
}

void set_fdm_ierr_parase(uint8_t seen)
{
    stamp(internal_error_parse, seen);
}

void set_fdm_mce_info(uint8_t seen)
{
    stamp(machine_check, seen);
}

void resore_fdm_ierr_info(const fdm_fault_record *record)
{
    internal_error = *record;
}

void resore_fdm_ierr_parase(const fdm_fault_record *record)
{
    internal_error_parse = *record;
}

} // extern "C"
