// Puts a virtual board under any program: LD_PRELOAD this library.
//
//   VIRTUAL_BOARD              joins a board that is served, by its name or by the
//                              path of its socket; a board of the program's own if
//                              absent, which these describe:
//   VIRTUAL_BOARD_PERSONALITY  which board: a built-in one's name or the path of a
//                              file (docs/personality.md); the default one if
//                              absent, the known ones are listed if unknown
//   VIRTUAL_BOARD_HOST_SCRIPT  file with the host's script (host_script.h); when
//                              it ends, the program is asked to terminate, and
//                              exits with 1 if the script failed
//   VIRTUAL_BOARD_FAULTS       what goes wrong on it (fault_text.h)
//   VIRTUAL_BOARD_FLASH_TIMING ERASE,PROGRAM: microseconds that its flash chips
//                              take to erase a block and to program a kilobyte;
//                              none if absent
//
// A setting that cannot be followed ends the program with 2 before it starts.

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "virtual_board/board.h"
#include "virtual_board/fault_text.h"
#include "virtual_board/host_script.h"
#include "virtual_board/personality_file.h"
#include "virtual_board/remote/board_socket.h"
#include "virtual_board/remote/remote_board.h"
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

Process *process; // null if it has joined a board

[[noreturn]] void refuse(const std::string &complaint)
{
    fprintf(stderr, "virtual board: %s\n", complaint.c_str());
    _exit(2);
}

Personality chosen_personality()
{
    const char *chosen = getenv("VIRTUAL_BOARD_PERSONALITY");
    if (chosen == nullptr) {
        return {};
    }
    try {
        return choose_personality(chosen);
    } catch (const PersonalityError &error) {
        refuse(error.what());
    }
}

void add_faults(Board &board)
{
    const char *text = getenv("VIRTUAL_BOARD_FAULTS");
    if (text == nullptr) {
        return;
    }
    try {
        for (Fault &fault : parse_faults(text)) {
            board.faults.add(std::move(fault));
        }
    } catch (const FaultError &error) {
        refuse(error.what());
    }
}

void set_flash_timing(Board &board)
{
    const char *text = getenv("VIRTUAL_BOARD_FLASH_TIMING");
    if (text == nullptr) {
        return;
    }
    unsigned erase_us = 0;
    unsigned program_us = 0;
    char rest = 0;
    if (sscanf(text, "%u,%u%c", &erase_us, &program_us, &rest) != 2) {
        refuse("flash timing \"" + std::string(text) + "\": it is ERASE,PROGRAM");
    }
    for (NorFlash *flash : {&board.flash(), &board.bios_flash()}) {
        flash->set_timing({.erase_block_us = erase_us, .program_kib_us = program_us});
    }
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

// What the board is, its server has been told.
void join(const char *board)
{
    for (const char *setting :
         {"VIRTUAL_BOARD_PERSONALITY", "VIRTUAL_BOARD_HOST_SCRIPT", "VIRTUAL_BOARD_FAULTS"}) {
        if (getenv(setting) != nullptr) {
            refuse(std::string(setting) + " is of no use on a board that is served");
        }
    }
    try {
        const std::string path = remote::socket_path(board);
        shim::install(new remote::RemoteBoard(remote::connector_to(path), path));
    } catch (const std::runtime_error &error) {
        refuse(error.what());
    }
}

[[gnu::constructor]] void begin()
{
    const char *board = getenv("VIRTUAL_BOARD");
    if (board != nullptr && board[0] != '\0') {
        join(board);
        return;
    }
    process = new Process(chosen_personality());
    process->board.trace.keep(false);
    add_faults(process->board);
    set_flash_timing(process->board);
    start_script(*process);
    shim::install(&process->board);
}

[[gnu::destructor]] void end()
{
    const HostScript *script = process == nullptr ? nullptr : process->script.get();
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
