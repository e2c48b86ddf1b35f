// A complete upgrade service: lists versions, updates the BIOS, programs CPLDs
// and copies controller images, and says what state the board is in afterwards.

#include <board_hal.h>
#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "upgrade_service/library_output.h"
#include "upgrade_service/options.h"
#include "upgrade_service/service.h"
#include "upgrade_service/work.h"

namespace {

using namespace upgrade_service;

Output::Format format_of(const Options &options)
{
    // Asked before standard output is diverted.
    const Output::Format usual =
        isatty(STDOUT_FILENO) != 0 ? Output::Format::terminal : Output::Format::json;
    return options.format.value_or(usual);
}

[[noreturn]] void leave(ExitCode code)
{
    _exit(static_cast<int>(code));
}

ExitCode serve(const Options &options)
{
    const Output::Format format = format_of(options);
    LibraryOutput library(options.library_log);
    if (!library.diverted()) {
        fprintf(stderr, "upgrade_service: %s cannot be written\n", options.library_log.c_str());
        return ExitCode::usage;
    }
    const int opened = ipmc_driver_init();
    if (opened != 0) {
        // Who starts the service without a board wants to see the library's words.
        fprintf(stderr, "%supgrade_service: the board cannot be opened (%d)\n",
                library.take().c_str(), opened);
        return ExitCode::no_board;
    }
    Output output(library.own(), format);
    Service service(library, output, leave);
    const End end = options.command(service);
    output.end(end);
    ipmc_driver_clean();
    return end.code;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!parse(std::vector<std::string>(argv + 1, argv + argc), options)) {
        fputs(usage, stderr);
        return static_cast<int>(ExitCode::usage);
    }
    count_interrupts();
    return static_cast<int>(serve(options));
}
