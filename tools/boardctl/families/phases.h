// The phases of a copy to flash, told by one percentage that the library
// publishes.
#ifndef BOARDCTL_PHASES_H
#define BOARDCTL_PHASES_H

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "boardctl/framework/progress.h"

namespace boardctl {

struct Phase {
    std::string name;
    uint32_t until; // percent
    std::string state;
};

// Runs an operation that publishes its progress with set_upgrade_status(), and
// shows it. `meanwhile` is called with each poll. Answers the result.
int follow_phases(
    Progress &progress, const std::vector<Phase> &phases, const std::function<int()> &operation,
    const std::function<void()> &meanwhile = [] {});

} // namespace boardctl

#endif
