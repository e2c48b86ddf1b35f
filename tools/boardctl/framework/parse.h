// The command line, as the descriptions of the commands understand it.
#ifndef BOARDCTL_PARSE_H
#define BOARDCTL_PARSE_H

#include <optional>
#include <string>
#include <vector>

#include "boardctl/framework/arguments.h"
#include "boardctl/framework/describe.h"
#include "boardctl/framework/options.h"

namespace boardctl {

struct Call {
    const Family *family;
    const Command *command;
    Arguments arguments;
    Options options;
};

// Either a call, or a text that was asked for.
struct Parsed {
    std::optional<Call> call;
    std::string text;
};

// Throws UsageError.
Parsed parse(const std::vector<Family> &families, const std::vector<std::string> &words);

// The usage line of the command that the words seem to mean.
std::string usage_for(const std::vector<Family> &families, const std::vector<std::string> &words);

} // namespace boardctl

#endif
