// What the results of operations mean, in words.
#ifndef BOARDCTL_MEANINGS_H
#define BOARDCTL_MEANINGS_H

#include <string>

#include "boardctl/framework/describe.h"

namespace boardctl {

// The family's own words for the operation, or those that hold everywhere.
std::string meaning_of(const Family &family, const std::string &operation, int code);

} // namespace boardctl

#endif
