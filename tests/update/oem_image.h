// BIOS images with OEM data, as the tests need them.
#ifndef TESTS_UPDATE_OEM_IMAGE_H
#define TESTS_UPDATE_OEM_IMAGE_H

#include <stdint.h>

#include <optional>
#include <utility>
#include <vector>

#include "tests/support/board_test.h"

namespace board_test {

struct OemImage {
    uint32_t size = 0x10000;
    uint32_t volume_at = 0x1000;      // a multiple of 4096
    uint16_t header_length = 64;      // of the volume; files follow
    std::vector<uint16_t> files = {}; // size fields of the files before the data
    uint32_t flag = 0;
    std::vector<std::pair<uint32_t, uint32_t>> regions = {}; // offset and length
    std::optional<uint32_t> region_count = {};               // if it is not the table's
};

void store32(Bytes &bytes, size_t at, uint32_t value);
void store16(Bytes &bytes, size_t at, uint32_t value);
void put_guid(Bytes &bytes, size_t at, const uint8_t *guid);

// Where the OEM data file's header begins.
size_t data_file_at(const OemImage &image);
// Everything else is 0xFF, as on an erased flash.
Bytes oem_image(const OemImage &image);
// The same with a filling that repeats nowhere.
Bytes full_oem_image(const OemImage &image, uint32_t seed);

} // namespace board_test

#endif
