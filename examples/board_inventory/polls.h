// Statuses that the library debounces. One poll tells nothing: a value counts
// when ten polls in a row saw it.
#ifndef BOARD_INVENTORY_POLLS_H
#define BOARD_INVENTORY_POLLS_H

#include <stdint.h>

#include "board_inventory/value.h"

namespace board_inventory {

constexpr unsigned cpu_count = 2;
constexpr unsigned disk_count_max = 4;

// Items of get_disk_status that are debounced.
enum DiskItem : uint32_t {
    disk_v_in_bay = 2, // V of a disk with P and without R
    disk_v_empty = 6,  // V of a bay with neither
    disk_good = 7,     // P, R and V for ten polls
};

// Status types of get_cpu_status that have a memory.
enum CpuItem : uint32_t {
    cpu_hot = 3,   // four polls in a row
    cpu_error = 5, // in any of the last eight polls
};

class Polls {
public:
    static constexpr unsigned enough = 10;

    // Polls everything `count` times, with a pause in between.
    void run(unsigned count);

    Value disk(unsigned bay, DiskItem item) const;
    Value cpu(unsigned cpu, CpuItem item) const;

private:
    struct Answer {
        int result = -1;
        uint8_t value = 0;
    };

    void poll_disk(unsigned bay);
    void poll_cpu(unsigned cpu);

    unsigned count_ = 0;
    Answer disks_[disk_count_max][disk_good + 1];
    Answer cpus_[cpu_count][cpu_error + 1];
};

} // namespace board_inventory

#endif
