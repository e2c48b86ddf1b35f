// The disk bays as the CPLD sees them: four lines each.
#ifndef VIRTUAL_BOARD_DISKS_H
#define VIRTUAL_BOARD_DISKS_H

#include <stdint.h>

#include <array>

#include "virtual_board/clock.h"
#include "virtual_board/cpld.h"

namespace virtual_board {

// Lines of a bay, from the top bit of its nibble. P tells a disk in its bay and
// F a failed one; R and V come from the disk.
struct DiskLines {
    bool p = false;
    bool f = false;
    bool r = false;
    bool v = false;

    bool operator==(const DiskLines &) const = default;
};

class Disks {
public:
    static constexpr unsigned bays = 4;

    Disks(Clock &clock, Cpld &cpld);

    void insert(unsigned bay);
    void pull(unsigned bay);
    void fail(unsigned bay);
    bool inserted(unsigned bay) const { return lines(bay).p; }

    DiskLines lines(unsigned bay) const;
    void set_lines(unsigned bay, DiskLines lines);

    // V changes after each load of the bay's register, which two bays share.
    // Needs a machine on which single loads are seen.
    void flicker_by_load(unsigned bay, bool on);
    // V changes each time so much has passed on the board's clock; 0 stops it.
    void flicker_by_time(unsigned bay, uint64_t period_us);
    bool flickers_by_load(unsigned bay) const { return flickers_.at(bay).by_load; }
    uint64_t flicker_period_us(unsigned bay) const { return flickers_.at(bay).period_us; }

private:
    void toggle(unsigned bay);
    void schedule(unsigned bay, unsigned turn);

    struct Flicker {
        bool by_load = false;
        uint64_t period_us = 0;
        unsigned turn = 0; // tells a stopped flicker's last event from a new one's
    };

    Clock &clock_;
    Cpld &cpld_;
    std::array<Flicker, bays> flickers_;
};

} // namespace virtual_board

#endif
