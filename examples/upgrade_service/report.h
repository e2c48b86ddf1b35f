// How a command ended, in words for people and in fields for programs.
#ifndef UPGRADE_SERVICE_REPORT_H
#define UPGRADE_SERVICE_REPORT_H

#include <optional>
#include <string>
#include <vector>

namespace upgrade_service {

enum class ExitCode {
    done = 0,
    no_board = 1,        // it cannot be opened
    usage = 2,           // the command was not understood
    nothing_changed = 3, // it failed or was refused before anything was changed
    not_right = 4,       // what it was to write is not, or not wholly, there
    not_given_back = 5,  // the BIOS flash is not with the host, whatever it holds
    interrupted = 130,   // by a signal, as shells have it
};

// Who drives the BIOS flash, and whether its driver is loaded.
struct BiosFlash {
    bool controller_owns = false;
    bool driver_loaded = false;
};

struct End {
    ExitCode code = ExitCode::done;
    std::string what;     // was done, or was to be done
    std::string why;      // it failed; empty if it did not
    std::string library;  // the library's last words on it
    std::string contents; // what was to be written now holds
    std::optional<BiosFlash> bios_flash;
    std::vector<std::string> next; // what a person should do

    bool succeeded() const { return code == ExitCode::done; }
};

struct Fact {
    std::string key;
    std::string title;
    std::string value; // empty: the board does not tell
};

} // namespace upgrade_service

#endif
