#include "boardctl/framework/options.h"

namespace boardctl {

const std::vector<Argument> &option_descriptions()
{
    static const std::vector<Argument> descriptions = {
        {"--json", "write JSON instead of tables, one document per line", Flag{}},
        {"--yes", "do not ask before what can hurt", Flag{}},
        {"--verbose", "show the library's messages also when all went well", Flag{}},
        {"--virtual", "work on a virtual board of its own, as it is after power-on", Flag{}},
        {"--personality", "which virtual board, such as corvo-8 (with --virtual)", Text{}},
        {"--board", "join the served virtual board of this name", Text{}},
        {"--help", "show help and end", Flag{}},
        {"--version", "show the tool's version and end", Flag{}},
    };
    return descriptions;
}

} // namespace boardctl
