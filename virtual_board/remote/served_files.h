// The open files of programs in other processes.
#ifndef VIRTUAL_BOARD_REMOTE_SERVED_FILES_H
#define VIRTUAL_BOARD_REMOTE_SERVED_FILES_H

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "virtual_board/board.h"
#include "virtual_board/remote/descriptor.h"

namespace virtual_board::remote {

// The kernel counts the references: a file is open until the last holder of the
// program's end of its socket pair, in whatever process, has closed it.
class ServedFiles {
public:
    ServedFiles();

    // Names the board's ends, see descriptor_name().
    const std::string &token() const { return token_; }
    // Becomes readable when a file may have been closed.
    int readiness() const { return readiness_.get(); }

    struct Added {
        uint64_t id = 0;
        Descriptor end; // the program's; empty if there are no descriptors left
    };
    // The file is the table's: it is closed on the board in any case.
    Added add(const std::shared_ptr<Board> &board, const std::shared_ptr<OpenFile> &file);
    // Null if the board has no such file open.
    std::shared_ptr<OpenFile> find(const Board &board, uint64_t id);
    // Closes what nobody holds any more. When it returns, files are closed that
    // were given up before it was called.
    void release_closed();
    // Forgets the files of a board that has lost its power.
    void forget(const Board &board);
    size_t size() const;

private:
    struct Served {
        std::shared_ptr<Board> board;
        std::shared_ptr<OpenFile> file;
        Descriptor end; // the board's
    };

    std::string token_;
    Descriptor readiness_;
    std::mutex releasing_;
    mutable std::mutex lock_;
    std::map<uint64_t, Served> files_;
    uint64_t last_id_ = 0;
};

} // namespace virtual_board::remote

#endif
