// A board that this process serves.
#ifndef TOOLS_VIRTUAL_BOARD_HOSTED_BOARD_H
#define TOOLS_VIRTUAL_BOARD_HOSTED_BOARD_H

#include <string>

#include "tools/virtual_board/backend_host.h"
#include "tools/virtual_board/board_choice.h"
#include "virtual_board/remote/board_socket.h"
#include "virtual_board/remote/machine.h"
#include "virtual_board/remote/server.h"

namespace virtual_board {

class HostedBoard {
public:
    // Throws a UsageError, or a std::runtime_error if it cannot be served there.
    HostedBoard(const NewBoard &choice, const std::string &socket);

    const std::string &path() const { return socket_.path(); }
    remote::Machine &machine() { return machine_; }

private:
    remote::ListeningSocket socket_;
    remote::Machine machine_;
    BackendHost backend_;
    remote::BoardServer server_; // ends first
};

} // namespace virtual_board

#endif
