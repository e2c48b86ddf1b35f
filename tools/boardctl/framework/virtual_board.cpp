#include "boardctl/framework/virtual_board.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

constexpr const char *library_name = "libvirtual_board_preload.so";
// Names the process that was started on a virtual board; its number survives
// the start, its children have others.
constexpr const char *started_variable = "BOARDCTL_ON_VIRTUAL_BOARD";

std::string environment(const char *name)
{
    const char *value = getenv(name);
    return value == nullptr ? "" : value;
}

// Beside the executable, in the private directory of the same installation, or
// in the build folder.
std::string find_library()
{
    const std::filesystem::path folder =
        std::filesystem::read_symlink("/proc/self/exe").parent_path();
    for (const char *place : {".", BOARDCTL_PRIVATE_FOLDER, "../lib"}) {
        const std::filesystem::path library = (folder / place / library_name).lexically_normal();
        if (access(library.c_str(), R_OK) == 0) {
            return library;
        }
    }
    throw Trouble(std::string(library_name) + " is not beside " + folder.string() +
                  "/boardctl, nor in its installation: install the virtual board");
}

void check(const Options &options)
{
    if (!options.board.empty() && options.virtual_board) {
        throw UsageError("--virtual makes a board, --board joins one: say one of them");
    }
    if (!options.personality.empty() && !options.virtual_board) {
        throw UsageError("--personality needs --virtual");
    }
}

void set_or_clear(const char *name, const std::string &value)
{
    if (value.empty()) {
        unsetenv(name);
    } else {
        setenv(name, value.c_str(), 1);
    }
}

// Under another virtual board that one's library stays.
void set_preload()
{
    const std::string preload = environment("LD_PRELOAD");
    if (preload.find(library_name) == std::string::npos) {
        setenv("LD_PRELOAD", (find_library() + (preload.empty() ? "" : ":") + preload).c_str(), 1);
    }
}

} // namespace

void enter_virtual_board(const Options &options, char **argv)
{
    check(options);
    const std::string self = std::to_string(getpid());
    if ((options.board.empty() && !options.virtual_board) ||
        environment(started_variable) == self) {
        return;
    }
    set_preload();
    set_or_clear("VIRTUAL_BOARD", options.board);
    if (!options.personality.empty()) {
        setenv("VIRTUAL_BOARD_PERSONALITY", options.personality.c_str(), 1);
    }
    setenv(started_variable, self.c_str(), 1);
    execv("/proc/self/exe", argv);
    throw Trouble("the tool cannot start itself on the virtual board");
}

} // namespace boardctl
