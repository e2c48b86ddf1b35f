// Texts that are made from the commands' descriptions and stand in the source
// tree; boardctl_pages writes them.
#ifndef BOARDCTL_PAGES_H
#define BOARDCTL_PAGES_H

#include <string>
#include <vector>

#include "boardctl/framework/describe.h"

namespace boardctl {

struct Page {
    std::string file;
    std::string text;
};

// boardctl.1, and one page per family.
std::vector<Page> manual_pages(const std::vector<Family> &families);

// For bash, zsh and fish.
std::vector<Page> completions(const std::vector<Family> &families);

} // namespace boardctl

#endif
