// The tool from its command line to its exit code.
#ifndef BOARDCTL_RUN_H
#define BOARDCTL_RUN_H

#include <vector>

#include "boardctl/framework/describe.h"

namespace boardctl {

int run(const std::vector<Family> &families, int argc, char **argv);

} // namespace boardctl

#endif
