// A connection to the backend of a board in another process.
#ifndef VIRTUAL_BOARD_REMOTE_BACKEND_CONNECTION_H
#define VIRTUAL_BOARD_REMOTE_BACKEND_CONNECTION_H

#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace virtual_board {

// JSON lines both ways. A request is answered by any number of events and a last
// line that has "ok" or "error".
class BackendConnection {
public:
    // The connected socket, whose greeting is over, is the connection's.
    explicit BackendConnection(int socket) : socket_(socket) {}
    ~BackendConnection();

    BackendConnection(const BackendConnection &) = delete;
    BackendConnection &operator=(const BackendConnection &) = delete;

    // A board that has gone is noticed by receive().
    void send(const nlohmann::json &request);
    // The next line; none if the board has gone.
    std::optional<nlohmann::json> receive();

private:
    int socket_;
    std::string received_; // the start of the next line
};

// Connects to a board by its name, or by the path of its socket; the empty name
// is the one of VIRTUAL_BOARD, or "default". Throws a std::runtime_error that
// says what is wrong.
std::unique_ptr<BackendConnection> connect_backend(const std::string &board_name);

} // namespace virtual_board

#endif
