// Statuses that the library debounces. One poll tells nothing: a value counts
// when several polls in a row saw it.
#ifndef BOARDCTL_POLLS_H
#define BOARDCTL_POLLS_H

#include <stdint.h>

#include "boardctl/framework/describe.h"
#include "boardctl/framework/value.h"

namespace boardctl {

constexpr uint32_t cpu_count = 2;
constexpr uint32_t disk_count_max = 4;
constexpr const char *settling = "settling";

// Items of get_disk_status.
enum DiskItem : uint32_t {
    disk_p = 0,
    disk_f = 1,
    disk_v_in_bay = 2, // debounced; of a disk with P and without R
    disk_r = 3,
    disk_v_empty = 6, // debounced; of a bay with neither
    disk_good = 7,    // P, R and V for ten polls
};

// Types of get_cpu_status. The internal error is taken from the type that only
// looks: type 4 counts its polls and clears the bit.
enum CpuItem : uint32_t {
    cpu_present = 1,
    cpu_thermal_trip = 2,
    cpu_hot = 3,   // four polls in a row
    cpu_error = 5, // in any of the last eight polls
    cpu_iio_error = 8,
    cpu_internal_error = 12,
};

class Polls {
public:
    // Polls everything once.
    void poll();
    // Polls `count` times, 50 ms apart.
    void run(int64_t count);

    Value disk(uint32_t bay, DiskItem item) const;
    Value cpu(uint32_t cpu, CpuItem item) const;

private:
    struct Answer {
        int result = -1;
        uint8_t value = 0;
    };

    unsigned count_ = 0;
    Answer disks_[disk_count_max][disk_good + 1];
    Answer cpus_[cpu_count][cpu_internal_error + 1];
};

// Bays of this board; also told for a board with an unknown BOM id.
uint32_t bay_count();

// --polls N
Argument polls_argument();

} // namespace boardctl

#endif
