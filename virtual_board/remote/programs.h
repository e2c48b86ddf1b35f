// The programs that have joined a board.
#ifndef VIRTUAL_BOARD_REMOTE_PROGRAMS_H
#define VIRTUAL_BOARD_REMOTE_PROGRAMS_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "virtual_board/board.h"
#include "virtual_board/remote/descriptor.h"

namespace virtual_board::remote {

// A program is a process; it may have several connections. What it has mapped is
// mapped until its last connection goes.
class Programs {
public:
    // A connection of the program with that key, made by that process.
    void join(uint64_t key, pid_t process);
    void leave(uint64_t key, Board &board);

    // Mappings, by a number of their own.
    uint64_t mapped(uint64_t key, Board &board, const OpenFile &file, size_t length);
    void unmapped(uint64_t key, Board &board, uint64_t number, size_t length);

    // All but this process itself. Stopped first, none of them sees another end.
    void stop_all();
    // Waits until they have ended.
    void kill_all();
    size_t count() const;

private:
    void signal_all(int signal, std::vector<Descriptor> &reached);

    struct Program {
        size_t connections = 0;
        pid_t process = 0;
        Descriptor handle;
        std::map<uint64_t, size_t> mappings; // and their lengths
    };

    mutable std::mutex lock_;
    std::map<uint64_t, Program> programs_; // by key
    uint64_t last_mapping_ = 0;
};

} // namespace virtual_board::remote

#endif
