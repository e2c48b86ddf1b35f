// Puts a virtual board under any program: LD_PRELOAD this library.
//
//   VIRTUAL_BOARD_PERSONALITY  which board (personality.h); the default one if
//                              absent, the known ones are listed if unknown
//   VIRTUAL_BOARD_HOST_SCRIPT  file with the host's script (host_script.h); when
//                              it ends, the program is asked to terminate, and
//                              exits with 1 if the script failed
//
// A setting that cannot be followed ends the program with 2 before it starts.

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>

#include "virtual_board/board.h"
#include "virtual_board/host_script.h"
#include "virtual_board/shim/shim.h"

namespace virtual_board {

namespace {

// Never destroyed: the program closes its descriptors after the last
// destructor ran.
struct Process {
    explicit Process(const Personality &personality) : board(personality, Clock::Mode::real_time) {}

    Board board;
    std::unique_ptr<HostScript> script;
    pid_t id = getpid();
};

Process *process;

[[noreturn]] void refuse(const std::string &complaint)
{
    fprintf(stderr, "virtual board: %s\n", complaint.c_str());
    _exit(2);
}

Personality chosen_personality()
{
    const char *name = getenv("VIRTUAL_BOARD_PERSONALITY");
    if (name == nullptr) {
        return {};
    }
    if (const Personality *found = find_personality(name)) {
        return *found;
    }
    std::string known;
    for (const Personality &one : personalities()) {
        known += (known.empty() ? "" : ", ") + one.name;
    }
    refuse("no personality \"" + std::string(name) + "\"; there are " + known);
}

void start_script(Process &of)
{
    const char *path = getenv("VIRTUAL_BOARD_HOST_SCRIPT");
    if (path == nullptr) {
        return;
    }
    std::ifstream text(path);
    if (!text) {
        refuse(std::string(path) + ": cannot be read");
    }
    try {
        of.script = std::make_unique<HostScript>(of.board, text, stdout);
    } catch (const ScriptError &error) {
        refuse(std::string(path) + ": " + error.what());
    }
    of.script->start([] { kill(getpid(), SIGTERM); });
    // Programs that this one runs have no host of their own.
    unsetenv("VIRTUAL_BOARD_HOST_SCRIPT");
}

[[gnu::constructor]] void begin()
{
    process = new Process(chosen_personality());
    process->board.trace.keep(false);
    start_script(*process);
    shim::install(&process->board);
}

[[gnu::destructor]] void end()
{
    const HostScript *script = process->script.get();
    if (script == nullptr || process->id != getpid() || script->succeeded()) {
        return;
    }
    if (!script->finished()) {
        fprintf(stderr, "virtual board: the program ended before line %u of the host script\n",
                script->line());
    }
    fflush(nullptr);
    _exit(1);
}

} // namespace

} // namespace virtual_board
