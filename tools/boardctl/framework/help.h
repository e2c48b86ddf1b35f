// Help texts.
#ifndef BOARDCTL_HELP_H
#define BOARDCTL_HELP_H

#include <string>
#include <vector>

#include "boardctl/framework/describe.h"

namespace boardctl {

std::string help_of(const std::vector<Family> &families);
std::string help_of(const Family &family);
std::string help_of(const Family &family, const Command &command);

// "register; name or offset", as help and manual tell it.
std::string explanation_of(const Argument &argument);

} // namespace boardctl

#endif
