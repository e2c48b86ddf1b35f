// The question before what can hurt.
#ifndef BOARDCTL_CONFIRM_H
#define BOARDCTL_CONFIRM_H

#include <string>

namespace boardctl {

// Throws Declined unless a person at a terminal says yes.
void confirm(const std::string &question);

} // namespace boardctl

#endif
