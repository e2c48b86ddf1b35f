// Where the answers to a request of the backend go.
#ifndef VIRTUAL_BOARD_BACKEND_CHANNEL_H
#define VIRTUAL_BOARD_BACKEND_CHANNEL_H

#include <nlohmann/json.hpp>

namespace virtual_board {

// Every request's last line is {"ok": true, ...} or {"error": "text"}; earlier
// ones are events.
class Channel {
public:
    virtual ~Channel() = default;

    // False: the client has gone.
    virtual bool send(const nlohmann::json &line) = 0;
    // Whether the client, or the board's power, has gone: nobody waits any more.
    virtual bool gone() = 0;
};

} // namespace virtual_board

#endif
