// The boot loader's variables as a text that mkenvimage reads too: a line
// "name=value" each; a newline inside a value stands behind a backslash.
#ifndef BOARDCTL_ENV_TEXT_H
#define BOARDCTL_ENV_TEXT_H

#include <map>
#include <string>

namespace boardctl {

using Variables = std::map<std::string, std::string>;

// Both throw Trouble for what the text cannot say.
std::string text_of(const Variables &variables);
// Lines that begin with "#" and empty ones are skipped.
Variables variables_of(const std::string &text);

} // namespace boardctl

#endif
