// Copies of controller images to MTD partitions.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "update/flash_engine.h"

using namespace board_hal;

namespace {

pthread_mutex_t flash_copy_lock = PTHREAD_MUTEX_INITIALIZER;
StoredDescriptors descriptors;

// The whole file, whatever its size.
bool whole_file_fits(FlashCopyRequest &request, int64_t file_size, const FlashGeometry &flash)
{
    if (!partition_holds(request, file_size, flash)) {
        return false;
    }
    request.length = static_cast<uint32_t>(file_size);
    return true;
}

bool stretch_fits(FlashCopyRequest &request, int64_t file_size, const FlashGeometry &flash)
{
    if (!file_holds_stretch(request, file_size)) {
        printf("%s offset illeagal!\n", request.image);
        return false;
    }
    return partition_holds(request, request.length, flash);
}

constexpr PhasePoints erase_points = {1, 5, 0, 20};
constexpr PhasePoints write_points = {1, 2, 20, 70};
constexpr PhasePoints verify_points = {3, 10, 70, 100};

constexpr FlashCopyKind whole_file = {
    .failure = -1,
    .lock = &flash_copy_lock,
    .descriptors = &descriptors,
    .empty_is_done = false,
    .fits = whole_file_fits,
    .erase_line_lead = "",
    .write_from = {.image = Seek::stay, .device = Seek::stay},
    .verify_from = {.image = Seek::reported, .device = Seek::reported},
    .write_percent = unsigned_percent,
    .erase = erase_points,
    .write = write_points,
    .verify = verify_points,
};

constexpr FlashCopyKind file_stretch = {
    .failure = -1,
    .lock = &flash_copy_lock,
    .descriptors = &descriptors,
    .empty_is_done = false, // refused beforehand
    .fits = stretch_fits,
    .erase_line_lead = "\r", // only here; consoles are read with both forms
    .write_from = {.image = Seek::reported, .device = Seek::stay},
    .verify_from = {.image = Seek::silent, .device = Seek::reported},
    .write_percent = unsigned_percent,
    .erase = erase_points,
    .write = write_points,
    .verify = verify_points,
};

} // namespace

extern "C" {

int mtd_flash_copy(const char *device, const char *image)
{
    return run_flash_copy(whole_file, {.device = device,
                                       .flash_offset = 0,
                                       .image = image,
                                       .image_offset = 0,
                                       .length = 0, // the file's, once it is open
                                       .span = whole_span});
}

int mtd_flash_copy_ex(const char *device, const char *image, uint32_t offset, uint32_t length)
{
    if (device == nullptr || image == nullptr || length == 0) {
        return -1;
    }
    return run_flash_copy(file_stretch, {.device = device,
                                         .flash_offset = 0,
                                         .image = image,
                                         .image_offset = offset,
                                         .length = length,
                                         .span = whole_span});
}

} // extern "C"
