// The kernel's MTD user interface, as far as the update operations use it.
#ifndef UPDATE_MTD_H
#define UPDATE_MTD_H

#include <mtd/mtd-user.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>

namespace board_hal {

static_assert(sizeof(mtd_info_user) == 32);
static_assert(sizeof(erase_info_user) == 8);
static_assert(MEMGETINFO == 0x80204D01);
static_assert(MEMERASE == 0x40084D02);

// Bytes of the partition and of one erase block.
struct FlashGeometry {
    uint32_t size;
    uint32_t erase_size;
};

inline bool report_no_flash()
{
    puts("This doesn't seem to be a valid MTD flash device!");
    return false;
}

// False after a message if the descriptor is not an MTD device's.
inline bool read_geometry(int device, FlashGeometry &geometry)
{
    mtd_info_user info = {};
    if (ioctl(device, MEMGETINFO, &info) < 0) {
        return report_no_flash();
    }
    geometry = {info.size, info.erasesize};
    return true;
}

inline bool erase_flash(int device, erase_info_user record)
{
    return ioctl(device, MEMERASE, &record) >= 0;
}

} // namespace board_hal

#endif
