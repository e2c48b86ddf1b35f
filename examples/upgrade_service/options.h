// The command line.
#ifndef UPGRADE_SERVICE_OPTIONS_H
#define UPGRADE_SERVICE_OPTIONS_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "upgrade_service/service.h"

namespace upgrade_service {

struct Options {
    std::function<End(Service &)> command;
    std::optional<Output::Format> format; // none: as the output goes to a terminal or not
    std::string library_log;              // none: kept for the run only
};

// False if it is not understood.
bool parse(const std::vector<std::string> &arguments, Options &options);
extern const char *const usage;

} // namespace upgrade_service

#endif
