// The OEM data that a BIOS carries in a file of one of its firmware volumes.
#ifndef UPDATE_OEM_DATA_H
#define UPDATE_OEM_DATA_H

#include <stddef.h>
#include <stdint.h>

#include "support/byte_order.h"

namespace board_hal {

// The OEM data block; what is not named here is carried, not interpreted.
constexpr uint32_t oem_data_size = 428;
constexpr uint32_t oem_upgrade_flag_at = 92;
constexpr uint32_t oem_region_count_at = 136;
constexpr uint32_t oem_region_table_at = 140;
constexpr uint32_t oem_region_entry_size = 8;
constexpr uint32_t oem_region_max = 11;
static_assert(oem_region_table_at + oem_region_max * oem_region_entry_size <= oem_data_size);

// A stretch of the flash that an update replaces.
struct OemRegion {
    uint32_t offset;
    uint32_t length;
};

constexpr uint32_t oem_upgrade_flag(const uint8_t *data)
{
    return load_le32(data + oem_upgrade_flag_at);
}

constexpr uint32_t oem_region_count(const uint8_t *data)
{
    return load_le32(data + oem_region_count_at);
}

// Entry @p index of the region table, below oem_region_max.
constexpr OemRegion oem_region(const uint8_t *data, uint32_t index)
{
    const uint8_t *const entry = data + oem_region_table_at + size_t{index} * oem_region_entry_size;
    return {load_le32(entry), load_le32(entry + 4)};
}

// 0 if the 16 bytes at entry are the GUID; 1 if not, or a pointer is null.
int guid_match(const uint8_t *entry, const uint8_t *guid);

// Copies the OEM data block of an image file whose volumes start at
// image_offset. 0, or -1 if there is none within image_size bytes.
int get_bios_oem_data(const char *image, uint32_t image_offset, uint32_t image_size, uint8_t *out,
                      uint32_t out_size);

// Reads the upgrade flag from the flash, from offset on. 0, or -1 if it is not
// found.
int get_flash_upgrade_flag(const char *device, uint32_t offset, uint32_t *flag);

} // namespace board_hal

#endif
