#include "update/oem_data.h"

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "board_hal.h"
#include "platform/vos.h"
#include "update/bios_flash.h"

namespace board_hal {
namespace {

// Firmware volumes start on a block boundary.
constexpr uint32_t block_size = 4096;

constexpr uint32_t guid_size = 16;
// Volume header.
constexpr uint32_t volume_guid_at = 16;
constexpr uint32_t volume_header_length_at = 48;
constexpr uint32_t volume_header_length_default = 64;
// File header; the third byte of the size is ignored.
constexpr uint32_t file_header_size = 24;
constexpr uint32_t file_size_at = 20;
// The OEM data file with its header.
constexpr uint32_t oem_file_size = file_header_size + oem_data_size;

// Numbers in the overrun messages, by which support staff tell them apart.
constexpr int header_overrun_id = 1058;
constexpr int data_overrun_id = 1069;

constexpr uint32_t load_le16(const uint8_t *from)
{
    return from[0] | static_cast<uint32_t>(from[1]) << 8;
}

// Leaves the volume's first block in block.
bool find_oem_volume(FILE *file, const char *image, uint32_t image_size, uint8_t *block)
{
    for (uint64_t end = block_size;; end += block_size) {
        const size_t count = fread(block, 1, block_size, file);
        if (count < block_size) {
            printf("read file %s size error %d\r\n", image, static_cast<int>(count));
            return false;
        }
        if (guid_match(block + volume_guid_at, g_OemFvGuid) == 0) {
            return true;
        }
        if (end >= image_size) {
            return false;
        }
    }
}

// Walks the files of a volume, within its first block alone.
bool copy_oem_data(const uint8_t *block, uint8_t *out, uint32_t out_size)
{
    uint32_t at = load_le16(block + volume_header_length_at);
    if (at == 0) {
        at = volume_header_length_default;
    }
    while (at < block_size) {
        if (at + file_header_size > block_size) {
            printf("%s %d pnvDataheader is overrunning array of 4096 bytes!\n", "get_bios_oem_data",
                   header_overrun_id);
            return false;
        }
        if (guid_match(block + at, g_OemDataGuid) == 0) {
            if (at + oem_file_size >= block_size) {
                printf("%s %d poemData is overrunning array of 4096 bytes!\n", "get_bios_oem_data",
                       data_overrun_id);
                return false;
            }
            vos_memcpy(out, out_size, block + at + file_header_size, oem_data_size);
            return true;
        }
        // The size counts the header already; images are laid out for the
        // header to be added once more.
        at += file_header_size + load_le16(block + at + file_size_at);
    }
    return false;
}

// Walks one block of the flash from byte 64, whatever volume it belongs to. An
// OEM data file may end with the block's last byte here, unlike in an image.
bool find_flag(const uint8_t *block, uint32_t *flag)
{
    uint32_t at = volume_header_length_default;
    while (at + oem_file_size <= block_size) {
        const uint8_t *const header = block + at;
        if (guid_match(header, g_OemDataGuid) == 0) {
            *flag = oem_upgrade_flag(header + file_header_size);
            return true;
        }
        // A file larger than a block puts the position behind this one.
        at += file_header_size + load_le16(header + file_size_at);
    }
    return false;
}

bool search_flash(int device, uint32_t *flag)
{
    uint8_t block[block_size];
    while (read(device, block, block_size) == static_cast<ssize_t>(block_size)) {
        if (find_flag(block, flag)) {
            return true;
        }
    }
    return false;
}

} // namespace

int guid_match(const uint8_t *entry, const uint8_t *guid)
{
    return entry != nullptr && guid != nullptr && memcmp(entry, guid, guid_size) == 0 ? 0 : 1;
}

int get_bios_oem_data(const char *image, uint32_t image_offset, uint32_t image_size, uint8_t *out,
                      uint32_t out_size)
{
    if (image_size < block_size) {
        return -1;
    }
    FILE *const file = fopen(image, "rb");
    if (file == nullptr) {
        return -1;
    }
    uint8_t block[block_size];
    // Offsets are signed 32-bit on the controller.
    const bool copied = fseek(file, static_cast<int32_t>(image_offset), SEEK_SET) == 0 &&
                        find_oem_volume(file, image, image_size, block) &&
                        copy_oem_data(block, out, out_size);
    fclose(file);
    return copied ? 0 : -1;
}

int get_flash_upgrade_flag(const char *device, uint32_t offset, uint32_t *flag)
{
    const int flash = open(device, bios_flash_open_flags);
    if (flash < 0) {
        puts("open error");
        return -1;
    }
    const bool found =
        lseek(flash, static_cast<int32_t>(offset), SEEK_SET) >= 0 && search_flash(flash, flag);
    close(flash);
    return found ? 0 : -1;
}

} // namespace board_hal

extern "C" {

uint8_t g_OemFvGuid[16] = {0x8D, 0xDD, 0xDD, 0xFF, 0x96, 0x86, 0x8B, 0x4C,
                           0xA9, 0x85, 0x27, 0x67, 0x07, 0x5B, 0x4F, 0x50};
uint8_t g_OemDataGuid[16] = {0xB9, 0x77, 0x7F, 0xD9, 0xF2, 0x79, 0xCF, 0x4C,
                             0xA2, 0x54, 0xF4, 0xE5, 0xA2, 0x8A, 0x8F, 0x97};

} // extern "C"
