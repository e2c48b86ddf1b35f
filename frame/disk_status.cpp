// Status lines of the disks, debounced.

#include <stdint.h>

#include "board_hal.h"
#include "common/cpld_window.h"
#include "frame/debounce.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

constexpr uint32_t disk_count = 4;

constexpr int not_applicable = -3;
constexpr int not_yet_stable = -14;

constexpr CpldBits disk_lines[disk_count] = {
    {CPLD_REG_DISK_STATUS_01, CPLD_DISK_EVEN},
    {CPLD_REG_DISK_STATUS_01, CPLD_DISK_ODD},
    {CPLD_REG_DISK_STATUS_23, CPLD_DISK_EVEN},
    {CPLD_REG_DISK_STATUS_23, CPLD_DISK_ODD},
};

// The four lines of a disk, from the top bit of its nibble.
struct DiskLines {
    bool p;
    bool f;
    bool r;
    bool v;

    explicit DiskLines(uint8_t nibble)
        : p((nibble & 8) != 0), f((nibble & 4) != 0), r((nibble & 2) != 0), v((nibble & 1) != 0)
    {
    }
};

// Polling state of a disk, changed under cpld_reg_lock.
struct DiskHistory {
    StableCount item_2;
    StableCount item_6;
    LevelHistory item_7;
};

DiskHistory histories[disk_count];

int report(uint32_t value, uint8_t *val)
{
    *val = static_cast<uint8_t>(value);
    return 0;
}

// V as ten polls in a row saw it. A poll in which it does not apply leaves the
// count as it was.
int report_settled(StableCount &history, bool applies, bool v, uint8_t *val)
{
    if (!applies) {
        return not_applicable;
    }
    return history.settled(v ? 1 : 0) ? report(v ? 1 : 0, val) : not_yet_stable;
}

} // namespace

extern "C" {

int get_disk_status(uint32_t disk, uint32_t item, uint8_t *val)
{
    if (refused_null(val, "get_disk_status val pointer is null")) {
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    if (disk >= disk_count) {
        return -2;
    }
    const DiskLines lines(cpld_field_get(disk_lines[disk]));
    DiskHistory &history = histories[disk];
    switch (item) {
    case 0:
        return report(lines.p, val);
    case 1:
        return report(lines.f, val);
    case 2:
        return report_settled(history.item_2, lines.p && !lines.r, lines.v, val);
    case 3:
        return report(lines.r, val);
    case 6:
        return report_settled(history.item_6, !lines.p && !lines.r, lines.v, val);
    case 7:
        return report(history.item_7.push(lines.p && lines.r && lines.v), val);
    default:
        return -2;
    }
}

} // extern "C"
