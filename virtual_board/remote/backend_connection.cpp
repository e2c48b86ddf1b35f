#include "virtual_board/remote/backend_connection.h"

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "virtual_board/remote/board_socket.h"
#include "virtual_board/remote/protocol.h"
#include "virtual_board/remote/remote_board.h"
#include "virtual_board/remote/wire.h"

namespace virtual_board {

using namespace remote;

BackendConnection::~BackendConnection()
{
    ::close(socket_);
}

void BackendConnection::send(const nlohmann::json &request)
{
    const std::string line =
        request.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    for (size_t sent = 0; sent < line.size();) {
        const ssize_t result =
            ::send(socket_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (result < 0 && errno != EINTR) {
            return;
        }
        sent += static_cast<size_t>(result < 0 ? 0 : result);
    }
}

std::optional<nlohmann::json> BackendConnection::receive()
{
    size_t end = 0;
    while ((end = received_.find('\n')) == std::string::npos) {
        char piece[4096];
        const ssize_t got = recv(socket_, piece, sizeof(piece), 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return std::nullopt;
        }
        received_.append(piece, static_cast<size_t>(got));
    }
    const std::string line = received_.substr(0, end);
    received_.erase(0, end + 1);
    nlohmann::json value = nlohmann::json::parse(line, nullptr, false);
    return value.is_discarded() ? std::nullopt : std::optional(std::move(value));
}

std::unique_ptr<BackendConnection> connect_backend(const std::string &board_name)
{
    const std::string path = socket_path(board_name);
    Descriptor socket = connector_to(path)();
    Writer greeting;
    greeting.number(protocol_magic)
        .number(protocol_version)
        .number(sizeof(void *))
        .number(static_cast<uint64_t>(Role::backend))
        .number(0);
    if (!socket ||
        !send_message(socket.get(), static_cast<uint32_t>(Kind::hello), greeting.body())) {
        throw std::runtime_error("no board at " + path);
    }
    const std::optional<Message> reply = receive_message(socket.get());
    if (!reply) {
        throw std::runtime_error("no board at " + path);
    }
    Reader reader(reply->body);
    const bool accepted = reader.flag();
    const std::string complaint = reader.text();
    if (!reader.ok() || !accepted) {
        throw std::runtime_error(reader.ok() ? complaint : "no board at " + path);
    }
    return std::make_unique<BackendConnection>(socket.release());
}

} // namespace virtual_board
