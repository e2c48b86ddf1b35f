// What the library's two readers find: the one of image files, and the one of
// the flash. Written apart from the library, which is tested against it.
#ifndef TOOLS_BIOS_IMAGE_READING_H
#define TOOLS_BIOS_IMAGE_READING_H

#include <stdint.h>

#include <optional>
#include <vector>

#include "tools/bios_image/image.h"

namespace bios_image {

enum class Outcome {
    found,
    too_small,      // less than one block: not even opened
    cut_off,        // the file ends within a block that is read
    no_volume,      // no OEM volume
    header_overrun, // a file header reaches beyond the block
    data_overrun,   // the data file does
    no_data_file,
};

struct OemData {
    uint32_t flag = 0;
    uint32_t region_count = 0;
    std::vector<Region> regions; // of the count, those that the table holds
};

struct ImageReading {
    Outcome outcome = Outcome::no_volume;
    uint32_t last_count = 0;           // bytes of the block that was cut off
    std::optional<uint32_t> volume_at; // all places count from the image's start
    std::optional<uint32_t> data_file_at;
    OemData data;
};

struct FlashReading {
    uint32_t data_file_at = 0;
    uint32_t flag = 0;
};

// image_size is what the caller of an update claims; it may differ from the
// bytes that are there.
ImageReading read_image(const Bytes &image, uint64_t image_size);
std::optional<FlashReading> read_flash(const Bytes &flash);

const char *name_of(Outcome outcome);

} // namespace bios_image

#endif
