// Copies of BIOS images, or regions of them, to the BIOS flash.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "update/bios_flash.h"
#include "update/flash_engine.h"

using namespace board_hal;

namespace {

StoredDescriptors descriptors;

bool region_fits(FlashCopyRequest &request, int64_t file_size, const FlashGeometry &flash)
{
    if (!file_holds_stretch(request, file_size)) {
        printf("%s too small!\n", request.image);
        return false;
    }
    if (!partition_holds(request, request.length, flash)) {
        return false;
    }
    if (request.flash_offset % flash.erase_size != 0) {
        printf("spi offset %ld won't fit erase %d the device %s\r\n",
               static_cast<long>(static_cast<int32_t>(request.flash_offset)),
               static_cast<int32_t>(flash.erase_size), request.device);
        return false;
    }
    return true;
}

constexpr FlashCopyKind flash_region = {
    .failure = -2,
    .lock = &bios_flash_lock,
    .descriptors = &descriptors,
    .empty_is_done = true,
    .fits = region_fits,
    .erase_line_lead = "",
    .write_from = {.image = Seek::reported, .device = Seek::silent},
    .verify_from = {.image = Seek::silent, .device = Seek::silent},
    .write_percent = signed_percent,
    .erase = {2, 5, 0, 40},
    .write = {2, 5, 40, 80},
    .verify = {1, 5, 80, 100},
};

// The span of copy number (low nibble of the stage, from 1) out of weight
// copies, in an update of as many stages as the high nibble says. Every value
// is a byte and wraps; the divisor may wrap to 0, for which there is no base.
constexpr ProgressSpan span_of(uint8_t stage, uint8_t weight)
{
    const uint8_t stages = stage >> 4;
    const uint8_t total = stages == 0 ? 1 : stages;
    const int share = stages == 0 ? 0 : 100 / total;
    const uint8_t divisor = static_cast<uint8_t>(weight * total);
    if (divisor == 0) {
        return {0, 0};
    }
    const int before = ((stage & 15) * 100 - 100) / divisor;
    return {divisor, static_cast<uint8_t>(before + share)};
}

} // namespace

extern "C" {

int spi_flash_copy(const char *device, uint32_t flash_offset, const char *image,
                   uint32_t image_offset, int32_t length, uint8_t stage, uint8_t weight)
{
    const ProgressSpan span = span_of(stage, weight);
    if (span.divisor == 0) {
        return -2;
    }
    return run_flash_copy(flash_region, {.device = device,
                                         .flash_offset = flash_offset,
                                         .image = image,
                                         .image_offset = image_offset,
                                         .length = static_cast<uint32_t>(length),
                                         .span = span});
}

} // extern "C"
