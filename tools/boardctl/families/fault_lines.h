// Fault lines that belong to no single CPU.
#ifndef BOARDCTL_FAULT_LINES_H
#define BOARDCTL_FAULT_LINES_H

#include "boardctl/framework/value.h"

namespace boardctl {

// The lines that are set, as GROUP.ITEM.
Value memory_events();
Value machine_check();

} // namespace boardctl

#endif
