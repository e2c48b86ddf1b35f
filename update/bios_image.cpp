// Whole BIOS images: saving the flash to a file, loading a file to the flash.

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "board_hal.h"
#include "support/byte_order.h"
#include "support/heap_buffer.h"
#include "update/bios_flash.h"
#include "update/oem_data.h"
#include "update/upgrade_state.h"

using namespace board_hal;

namespace {

pthread_mutex_t bios_image_lock = PTHREAD_MUTEX_INITIALIZER;

constexpr uint32_t flash_size_max = 0x800000;
constexpr uint32_t read_size = 1024;

// Arguments of the loaders.
struct BiosImage {
    const char *device;
    const char *path;
    uint32_t offset;
    uint32_t size;
    uint32_t stages;
};

// The stage byte of copy number, from 1, of the BIOS step.
constexpr uint8_t stage_of(uint32_t stages, uint32_t number)
{
    return static_cast<uint8_t>(number | stages << 4);
}

// Takes the lock and the flash and loads the driver. On a refusal nothing is
// held.
bool take_flash()
{
    pthread_mutex_lock(&bios_image_lock);
    if (set_bios_owner(bios_owner_controller) != 0) {
        pthread_mutex_unlock(&bios_image_lock);
        set_upgrade_status(0, upgrade_failed);
        return false;
    }
    load_flash_driver();
    return true;
}

// What follows a failed load once the flash was offered back to the host: the
// lock goes first, then the failure is published, then the driver is unloaded.
void release_after_failure()
{
    pthread_mutex_unlock(&bios_image_lock);
    set_upgrade_status(0, upgrade_failed);
    unload_flash_driver();
}

// Ends a load; the progress of a good one stays as its last copy left it.
int end_load(bool loaded)
{
    const bool given_back = set_bios_owner(bios_owner_host) == 0;
    if (!loaded || !given_back) {
        release_after_failure();
        return -2;
    }
    unload_flash_driver();
    pthread_mutex_unlock(&bios_image_lock);
    return 0;
}

// The upper half of the image to the upper half of the flash. The image's
// offset in its file is deliberately left out.
bool load_upper_half(const BiosImage &bios)
{
    const uint32_t half = bios.size >> 1;
    return spi_flash_copy(bios.device, half, bios.path, half, static_cast<int32_t>(half),
                          stage_of(bios.stages, 1), 1) == 0;
}

bool region_allowed(const OemRegion &region, uint32_t image_size)
{
    return region.length <= image_size && region.offset <= flash_size_max &&
           region.length <= flash_size_max - region.offset;
}

// The regions that the image lists; the rest of the flash stays as it is.
bool load_regions(const BiosImage &bios, const uint8_t *oem_data)
{
    const uint32_t count = oem_region_count(oem_data);
    // One byte: a count whose low byte is 0 is refused by the copy.
    const uint8_t weight = byte_of(count, 0);
    for (uint32_t index = 0; index < count; ++index) {
        if (index >= oem_region_max) {
            return false;
        }
        const OemRegion region = oem_region(oem_data, index);
        if (!region_allowed(region, bios.size) ||
            spi_flash_copy(bios.device, region.offset, bios.path, bios.offset + region.offset,
                           static_cast<int32_t>(region.length), stage_of(bios.stages, index + 1),
                           weight) != 0) {
            return false;
        }
    }
    return true;
}

// The flag of the flash is 0 if it carries none.
bool load_by_flag(const BiosImage &bios)
{
    uint32_t flash_flag = 0;
    get_flash_upgrade_flag(bios.device, 0, &flash_flag);
    uint8_t oem_data[oem_data_size] = {};
    if (get_bios_oem_data(bios.path, bios.offset, bios.size, oem_data, sizeof(oem_data)) != 0) {
        return false;
    }
    // All 32 bits count here, the top byte alone in isFullUpgrade.
    return oem_upgrade_flag(oem_data) != flash_flag ? load_upper_half(bios)
                                                    : load_regions(bios, oem_data);
}

void show_percent(uint32_t percent)
{
    printf("\r<%d%%>", static_cast<int32_t>(percent));
    fflush(stdout);
}

// Every request is a whole one; of the last, only what the buffer holds is
// kept.
bool read_piece(uint32_t offset, uint8_t *to, uint32_t room)
{
    constexpr int32_t length = read_size;
    if (room >= read_size) {
        return bios_read(static_cast<int32_t>(offset), to, length) == length;
    }
    uint8_t piece[read_size];
    if (bios_read(static_cast<int32_t>(offset), piece, length) != length) {
        return false;
    }
    memcpy(to, piece, room);
    return true;
}

bool read_flash(uint8_t *image, uint32_t size)
{
    for (uint32_t offset = 0; offset < size; offset += read_size) {
        show_percent(offset * 100 / size);
        if (!read_piece(offset, image + offset, size - offset)) {
            return false;
        }
        usleep(1);
    }
    return true;
}

// One write; flushed, because a full disk may show only then.
bool write_file(FILE *file, const uint8_t *image, uint32_t size)
{
    return fwrite(image, 1, size, file) == size && fflush(file) == 0;
}

// The message of a dump that failed; null after a good one.
const char *dump_flash(FILE *file, uint8_t *image, uint32_t size)
{
    if (!read_flash(image, size)) {
        return "get_bios:read fail";
    }
    return write_file(file, image, size) ? nullptr : "get_bios:get fail";
}

// Takes the flash, saves it and gives it back; closes the file. After a failed
// dump the flash stays with the controller. The image is given back before the
// lock is, so that the next caller's has room.
int save_flash(FILE *file, HeapBuffer &image, uint32_t size)
{
    sleep(1);
    load_flash_driver();
    if (const char *const failure = dump_flash(file, image.data(), size); failure != nullptr) {
        unload_flash_driver();
        puts(failure);
        image.release();
        fclose(file);
        return -7;
    }
    show_percent(100);
    puts("\r\ndownload bios  successfully");
    image.release();
    fclose(file);
    const int given_back = set_bios_owner(bios_owner_host);
    unload_flash_driver();
    if (given_back != 0) {
        puts("set bios owner fails.\r");
        return -2;
    }
    return 0;
}

// The lock is let go before the file is closed if the host keeps the flash,
// else after it.
int save_flash_and_unlock(const char *path, HeapBuffer &image, uint32_t size)
{
    FILE *const file = fopen(path, "w+b");
    if (file == nullptr) {
        printf("get_bios:open file %s fail\r\n", path);
        pthread_mutex_unlock(&bios_image_lock);
        return -7;
    }
    printf("size of  %s is %d\r\n", path, static_cast<int32_t>(size));
    puts("downloading bios...\r");
    if (set_bios_owner(bios_owner_controller) != 0) {
        pthread_mutex_unlock(&bios_image_lock);
        image.release();
        fclose(file);
        return -2;
    }
    const int result = save_flash(file, image, size);
    pthread_mutex_unlock(&bios_image_lock);
    return result;
}

bool dump_refused(const char *path, uint32_t size)
{
    if (path == nullptr) {
        puts("get_bios:filename is a invalid argument\r");
        return true;
    }
    if (size > flash_size_max) {
        puts("get_bios:filesize is a invalid argument\r");
        return true;
    }
    return false;
}

} // namespace

extern "C" {

int get_bios(const char *path, uint32_t size)
{
    pthread_mutex_lock(&bios_image_lock);
    if (dump_refused(path, size)) {
        pthread_mutex_unlock(&bios_image_lock);
        return -2;
    }
    HeapBuffer image(size);
    if (!image) {
        puts("get_bios:no memory\r");
        pthread_mutex_unlock(&bios_image_lock);
        return -6;
    }
    return save_flash_and_unlock(path, image, size);
}

int load_bios(const char *device, const char *image, uint32_t image_offset, uint32_t image_size,
              uint32_t stages)
{
    if (device == nullptr || image == nullptr || !take_flash()) {
        return -2;
    }
    return end_load(load_by_flag({device, image, image_offset, image_size, stages}));
}

int load_bios_bin(const char *device, const char *image, uint32_t, int32_t length, uint32_t stages)
{
    if (device == nullptr || image == nullptr || !take_flash()) {
        return -2;
    }
    return end_load(spi_flash_copy(device, 0, image, 0, length, stage_of(stages, 1), 1) == 0);
}

int isFullUpgrade(const char *device, const char *image, uint32_t image_offset, uint32_t image_size)
{
    if (device == nullptr || image == nullptr || !take_flash()) {
        return -2;
    }
    uint32_t flash_flag = 0;
    if (get_flash_upgrade_flag(device, 0, &flash_flag) != 0) {
        puts("read upgrade flag fail from flash\r");
    }
    if (set_bios_owner(bios_owner_host) != 0) {
        pthread_mutex_unlock(&bios_image_lock);
        unload_flash_driver();
        return -2;
    }
    unload_flash_driver();
    pthread_mutex_unlock(&bios_image_lock);

    uint8_t oem_data[oem_data_size] = {};
    if (get_bios_oem_data(image, image_offset, image_size, oem_data, sizeof(oem_data)) != 0) {
        // Released a second time, deliberately: owner, lock (held no longer),
        // published failure and driver are the same after every failed decision.
        set_bios_owner(bios_owner_host);
        release_after_failure();
        puts("read upgrade flag fail from file\r");
        return -2;
    }
    // The top byte alone counts here.
    const bool differ = byte_of(oem_upgrade_flag(oem_data), 3) != byte_of(flash_flag, 3);
    return differ ? 0 : -2;
}

} // extern "C"
