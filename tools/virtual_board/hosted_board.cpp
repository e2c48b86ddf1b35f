#include "tools/virtual_board/hosted_board.h"

namespace virtual_board {

HostedBoard::HostedBoard(const NewBoard &choice, const std::string &socket)
    : socket_(socket), machine_(choice.chosen_personality(), choice.faults(),
                                Clock::Mode::real_time, BackendHost::companion),
      backend_(machine_),
      server_(machine_, [this](const std::string &line, remote::BoardServer::LineClient &client) {
          backend_.serve(server_, line, client);
      })
{
    server_.listen(socket_.take());
}

} // namespace virtual_board
