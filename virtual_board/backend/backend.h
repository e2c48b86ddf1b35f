// What people and their tools do to a board from outside, as requests in JSON;
// docs/virtual-board.md tells each of them.
#ifndef VIRTUAL_BOARD_BACKEND_BACKEND_H
#define VIRTUAL_BOARD_BACKEND_BACKEND_H

#include <mutex>
#include <nlohmann/json_fwd.hpp>

#include "virtual_board/backend/channel.h"
#include "virtual_board/board.h"

namespace virtual_board {

class Arguments;

class Backend {
public:
    explicit Backend(Board &board) : board_(board) {}

    // Runs in the client's own thread and returns when the request is done. The
    // last line is {"ok": true, ...} or {"error": "..."}; lines before it are
    // events. Whatever the request is, nothing is thrown.
    void serve(const nlohmann::json &request, Channel &channel);

private:
    nlohmann::json answer(const nlohmann::json &request, Channel &channel);

    // One per kind of request.
    nlohmann::json host(Arguments &arguments, Channel &channel);
    nlohmann::json press(Arguments &arguments, Channel &channel);
    nlohmann::json pull(Arguments &arguments, Channel &channel);
    nlohmann::json seat(Arguments &arguments, Channel &channel);
    nlohmann::json set(Arguments &arguments, Channel &channel);
    nlohmann::json get(Arguments &arguments, Channel &channel);
    nlohmann::json fault(Arguments &arguments, Channel &channel);
    nlohmann::json state(Arguments &arguments, Channel &channel);
    nlohmann::json trace(Arguments &arguments, Channel &channel);

    nlohmann::json send_message(Arguments &arguments, Channel &channel);
    nlohmann::json uart_send(Arguments &arguments, Channel &channel);
    nlohmann::json uart_receive(Arguments &arguments, Channel &channel);
    nlohmann::json move_part(Arguments &arguments, bool seated);

    // A piece of a request, with the board standing still and up to date.
    template <typename Action> auto act(Action &&action)
    {
        return board_.act([&] {
            board_.synchronise();
            return action();
        });
    }

    Board &board_;
    // A host has one message under way on an interface.
    std::timed_mutex kcs_;
    std::timed_mutex bt_;
};

} // namespace virtual_board

#endif
