// Named ways in which a well-formed image can be broken.
#ifndef TOOLS_BIOS_IMAGE_BREAKAGES_H
#define TOOLS_BIOS_IMAGE_BREAKAGES_H

#include <string_view>
#include <vector>

#include "tools/bios_image/image.h"
#include "tools/bios_image/reading.h"

namespace bios_image {

struct Breakage {
    const char *name;
    const char *what;
    // Breaks an image, in which the reader found what the reading says.
    void (*apply)(Bytes &image, const ImageReading &reading);
};

const std::vector<Breakage> &breakages();

// Null if there is none of that name.
const Breakage *find_breakage(std::string_view name);

} // namespace bios_image

#endif
