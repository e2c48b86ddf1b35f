#include "virtual_board/disks.h"

#include "board_hal_cpld.h"

namespace virtual_board {

namespace {

constexpr uint8_t line_p = 8;
constexpr uint8_t line_f = 4;
constexpr uint8_t line_r = 2;
constexpr uint8_t line_v = 1;

constexpr uint8_t bay_registers[] = {CPLD_REG_DISK_STATUS_01, CPLD_REG_DISK_STATUS_23};

uint32_t register_of(unsigned bay)
{
    return bay_registers[bay / 2];
}

// Even bays are the upper nibble.
unsigned shift_of(unsigned bay)
{
    return bay % 2 == 0 ? 4 : 0;
}

unsigned nibble_of(const DiskLines &lines)
{
    return (lines.p ? line_p : 0U) | (lines.f ? line_f : 0U) | (lines.r ? line_r : 0U) |
           (lines.v ? line_v : 0U);
}

} // namespace

Disks::Disks(Clock &clock, Cpld &cpld) : clock_(clock), cpld_(cpld)
{
    for (unsigned bay = 0; bay < bays; ++bay) {
        cpld_.on_load(register_of(bay), [this, bay] {
            if (flickers_[bay].by_load) {
                toggle(bay);
            }
        });
    }
}

void Disks::insert(unsigned bay)
{
    set_lines(bay, {.p = true, .v = true});
}

void Disks::pull(unsigned bay)
{
    set_lines(bay, {});
}

void Disks::fail(unsigned bay)
{
    DiskLines failed = lines(bay);
    failed.f = true;
    set_lines(bay, failed);
}

DiskLines Disks::lines(unsigned bay) const
{
    const unsigned nibble = cpld_.get(register_of(bay)) >> shift_of(bay);
    return {(nibble & line_p) != 0, (nibble & line_f) != 0, (nibble & line_r) != 0,
            (nibble & line_v) != 0};
}

void Disks::set_lines(unsigned bay, DiskLines lines)
{
    const unsigned kept = cpld_.get(register_of(bay)) & ~(0xFU << shift_of(bay));
    cpld_.set(register_of(bay), static_cast<uint8_t>(kept | nibble_of(lines) << shift_of(bay)));
}

void Disks::flicker_by_load(unsigned bay, bool on)
{
    flickers_.at(bay).by_load = on;
}

void Disks::flicker_by_time(unsigned bay, uint64_t period_us)
{
    Flicker &flicker = flickers_.at(bay);
    flicker.period_us = period_us;
    ++flicker.turn;
    schedule(bay, flicker.turn);
}

void Disks::schedule(unsigned bay, unsigned turn)
{
    const uint64_t period_us = flickers_[bay].period_us;
    if (period_us == 0) {
        return;
    }
    clock_.schedule_us(period_us, [this, bay, turn] {
        if (flickers_[bay].turn == turn) {
            toggle(bay);
            schedule(bay, turn);
        }
    });
}

void Disks::toggle(unsigned bay)
{
    DiskLines changed = lines(bay);
    changed.v = !changed.v;
    set_lines(bay, changed);
}

} // namespace virtual_board
