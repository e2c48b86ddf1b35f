// Prints a complete inventory of the board that it runs on.
// usage: board_inventory [--json] [--polls N]

#include <board_hal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "board_inventory/collect.h"
#include "board_inventory/diverted_output.h"
#include "board_inventory/json.h"
#include "board_inventory/polls.h"
#include "board_inventory/text.h"

namespace {

using namespace board_inventory;

constexpr unsigned polls_max = 1000;

struct Options {
    bool json = false;
    unsigned polls = Polls::enough;
};

bool parse_polls(const char *argument, unsigned &polls)
{
    char *end = nullptr;
    const long value = strtol(argument, &end, 10);
    if (end == argument || *end != '\0' || value < 1 || value > static_cast<long>(polls_max)) {
        return false;
    }
    polls = static_cast<unsigned>(value);
    return true;
}

bool parse(int argc, char **argv, Options &options)
{
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--json") == 0) {
            options.json = true;
        } else if (strcmp(argv[i], "--polls") != 0 || i + 1 == argc ||
                   !parse_polls(argv[++i], options.polls)) {
            return false;
        }
    }
    return true;
}

// False if the board cannot be opened.
bool take_inventory(unsigned count, Report &report)
{
    const DivertedOutput diverted;
    const int result = ipmc_driver_init();
    if (result != 0) {
        fprintf(stderr, "board_inventory: the board cannot be opened (%d)\n", result);
        return false;
    }
    Polls polls;
    polls.run(count);
    report = collect(polls);
    ipmc_driver_clean();
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!parse(argc, argv, options)) {
        fprintf(stderr,
                "usage: board_inventory [--json] [--polls N]\n"
                "  --json     print JSON instead of tables\n"
                "  --polls N  poll debounced statuses N times, 1 to %u; %u if not given\n",
                polls_max, Polls::enough);
        return 2;
    }
    Report report;
    if (!take_inventory(options.polls, report)) {
        return 1;
    }
    fputs((options.json ? as_json(report) : as_text(report)).c_str(), stdout);
    return 0;
}
