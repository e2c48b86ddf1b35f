// What the readers find in an image, for people and for programs.
#ifndef TOOLS_BIOS_IMAGE_REPORT_H
#define TOOLS_BIOS_IMAGE_REPORT_H

#include <string>

#include "tools/bios_image/image.h"

namespace bios_image {

// image_size as update services are told it.
std::string as_text(const Bytes &image, uint32_t image_size);
std::string as_json(const Bytes &image, uint32_t image_size);

} // namespace bios_image

#endif
