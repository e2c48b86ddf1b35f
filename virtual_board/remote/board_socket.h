// Where served boards are found.
#ifndef VIRTUAL_BOARD_REMOTE_BOARD_SOCKET_H
#define VIRTUAL_BOARD_REMOTE_BOARD_SOCKET_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "virtual_board/remote/descriptor.h"

namespace virtual_board::remote {

// Boards with a name have their sockets in a directory of the user's own, in
// $XDG_RUNTIME_DIR or in /tmp; made if it is not there. Throws a
// std::runtime_error if others may write to it.
std::string runtime_directory();
// The socket of a board by its name, or by the path itself: a name has no slash.
// The empty name is the one in VIRTUAL_BOARD, or "default". Throws a
// std::runtime_error if it cannot be.
std::string socket_path(const std::string &board);

// The socket of a board that is about to be served. One process at a time has a
// name; a socket that a killed one left is replaced.
class ListeningSocket {
public:
    // Throws a std::runtime_error that says what is wrong.
    explicit ListeningSocket(const std::string &path);
    ~ListeningSocket();

    ListeningSocket(const ListeningSocket &) = delete;
    ListeningSocket &operator=(const ListeningSocket &) = delete;

    const std::string &path() const { return path_; }
    // For the server; the name stays this object's.
    Descriptor take() { return std::move(socket_); }

private:
    std::string path_;
    Descriptor claim_;
    Descriptor socket_;
};

// Who serves a board.
struct BoardStatus {
    std::string name;
    std::string personality;
    pid_t process = 0;
    bool powered = false;
    unsigned long programs = 0;
};
// None if nobody does.
std::optional<BoardStatus> ask_status(const std::string &path);
// The boards with a name that are served now, by name.
std::vector<BoardStatus> served_boards();

} // namespace virtual_board::remote

#endif
