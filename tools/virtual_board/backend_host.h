// The backend of a served board, as its clients reach it: JSON lines.
#ifndef TOOLS_VIRTUAL_BOARD_BACKEND_HOST_H
#define TOOLS_VIRTUAL_BOARD_BACKEND_HOST_H

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "virtual_board/board.h"
#include "virtual_board/remote/machine.h"
#include "virtual_board/remote/server.h"

namespace virtual_board {

// Requests about the board's power are carried out here, because they outlive the
// board:
//   {"request": "power", "action": "status"}
//   {"request": "power", "action": "cut"}, and with "after": BYTES and "part":
//     "flash" (the default), "bios-flash" or "environment" when that part has
//     erased or written that much more
//   {"request": "power", "action": "restore"}
// The answers to all of them have "powered". All other requests are the backend's.
class BackendHost {
public:
    explicit BackendHost(remote::Machine &machine) : machine_(machine) {}

    // What a board gets as its companion.
    static std::shared_ptr<void> companion(Board &board);

    void serve(remote::BoardServer &server, const std::string &line,
               remote::BoardServer::LineClient &client);

private:
    nlohmann::json power(remote::BoardServer &server, const nlohmann::json &request);

    remote::Machine &machine_;
};

} // namespace virtual_board

#endif
