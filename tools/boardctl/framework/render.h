// A result as tables for people.
#ifndef BOARDCTL_RENDER_H
#define BOARDCTL_RENDER_H

#include <string>

#include "boardctl/framework/describe.h"

namespace boardctl {

std::string as_text(const Command &command, const Result &result, bool colours);

// Throws std::logic_error unless the result is made as the command describes.
void check_shape(const Command &command, const Result &result);

} // namespace boardctl

#endif
