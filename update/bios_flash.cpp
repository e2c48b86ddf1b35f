// Raw access to the host's BIOS flash.

#include "update/bios_flash.h"

#include <fcntl.h>
#include <stddef.h>
#include <stdio.h>
#include <unistd.h>

#include "board_hal.h"
#include "platform/vos.h"
#include "support/byte_count.h"
#include "support/mutex_guard.h"
#include "update/mtd.h"

using namespace board_hal;

namespace {

constexpr char flash_path[] = "/dev/mtd6";
// Relative, deliberately: a write reaches the flash only for a caller whose
// working directory makes it so.
constexpr char flash_write_path[] = "dev/mtd6";
constexpr char driver_path[] = "/ko/m25p80.ko";
constexpr int32_t transfer_max = 1024;

void run_on_driver(const char *program)
{
    // The runner takes its arguments as execve does and does not write to them.
    char *const argv[] = {const_cast<char *>(program), const_cast<char *>(driver_path), nullptr};
    vos_system(program, argv);
}

bool length_refused(int32_t length)
{
    if (length != 0 && length <= transfer_max) {
        return false;
    }
    printf("len error len = %d\r\n", length);
    return true;
}

// Of the many requests of a bulk erase the first ones cover the partition, one
// erase block after the other. The rest are empty, which the kernel takes as
// done.
erase_info_user bulk_erase_record(uint32_t index, const FlashGeometry &flash)
{
    const uint64_t start = uint64_t{index} * flash.erase_size;
    if (start >= flash.size) {
        return {0, 0};
    }
    return {static_cast<uint32_t>(start), flash.erase_size};
}

bool bulk_erase(int device)
{
    FlashGeometry flash = {};
    if (!read_geometry(device, flash)) {
        return false;
    }
    // One request per byte of the partition, not per block: callers time and
    // show the progress of this operation by it.
    const uint32_t count = flash.size;
    const int32_t shown = static_cast<int32_t>(count);
    for (uint32_t index = 0; index < count; ++index) {
        printf("\rErasing blocks: %d/%d (%d%%)", static_cast<int32_t>(index + 1), shown,
               static_cast<int32_t>((index + 1) * 100 / count));
        const erase_info_user record = bulk_erase_record(index, flash);
        if (!erase_flash(device, record)) {
            printf("\n");
            printf("While erasing blocks 0x%.8x-0x%.8x on %d\n", record.start,
                   record.start + record.length, device);
            return false;
        }
    }
    printf("\rErasing blocks: %d/%d (100%%)\n", shown, shown);
    return true;
}

} // namespace

namespace board_hal {

pthread_mutex_t bios_flash_lock = PTHREAD_MUTEX_INITIALIZER;

void load_flash_driver()
{
    run_on_driver("/sbin/insmod");
}

void unload_flash_driver()
{
    run_on_driver("/sbin/rmmod");
}

} // namespace board_hal

extern "C" {

int bios_bulk_erase(int32_t bios_id)
{
    if (bios_id > 0) {
        printf("Invalid bios id = %d\r\n", bios_id);
        return -2;
    }
    pthread_mutex_lock(&bios_flash_lock);
    if (set_bios_owner(bios_owner_controller) != 0) {
        pthread_mutex_unlock(&bios_flash_lock);
        return -2;
    }
    puts("insmod driver");
    load_flash_driver();
    const int device = open(flash_path, bios_flash_open_flags);
    if (device < 0) {
        unload_flash_driver();
        pthread_mutex_unlock(&bios_flash_lock);
        return -5;
    }
    if (!bulk_erase(device)) {
        // The driver stays loaded and the flash with the controller: what is
        // left of it is not for the host to start from.
        pthread_mutex_unlock(&bios_flash_lock);
        close(device);
        return -2;
    }
    const int given_back = set_bios_owner(bios_owner_host);
    close(device);
    unload_flash_driver();
    pthread_mutex_unlock(&bios_flash_lock);
    return given_back == 0 ? 0 : -2;
}

int bios_read(int32_t offset, uint8_t *buffer, int32_t length)
{
    if (buffer == nullptr) {
        puts("bios_read obuffer pointer is null");
        return -1;
    }
    if (length_refused(length)) {
        return -2;
    }
    // Neither owner nor driver is touched: the flash is read as it is found.
    const MutexGuard guard(bios_flash_lock);
    const int device = open(flash_path, bios_flash_open_flags);
    if (device < 0) {
        return -5;
    }
    const bool complete =
        lseek(device, offset, SEEK_SET) >= 0 && read(device, buffer, count_of(length)) == length;
    close(device);
    return complete ? length : -5;
}

int bios_write(uint32_t offset, const uint8_t *buffer, int32_t length)
{
    if (buffer == nullptr) {
        puts("bios_write ibuffer pointer is null");
        return -1;
    }
    if (length_refused(length)) {
        return -2;
    }
    const MutexGuard guard(bios_flash_lock);
    if (set_bios_owner(bios_owner_controller) != 0) {
        return -2;
    }
    load_flash_driver();
    const int device = open(flash_write_path, bios_flash_open_flags);
    if (device < 0) {
        unload_flash_driver();
        return -2;
    }
    // Offsets are signed 32-bit on the controller.
    const bool complete = lseek(device, static_cast<int32_t>(offset), SEEK_SET) >= 0 &&
                          write(device, buffer, count_of(length)) == length;
    // Back to the host only after a complete write.
    const bool given_back = complete && set_bios_owner(bios_owner_host) == 0;
    close(device);
    unload_flash_driver();
    return given_back ? length : -2;
}

} // extern "C"
