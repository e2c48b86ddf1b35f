#include "tools/virtual_board/backend_host.h"

#include <optional>
#include <utility>

#include "virtual_board/backend/backend.h"

namespace virtual_board {

namespace {

using nlohmann::json;
using remote::BoardServer;
using remote::Machine;

class LineChannel : public Channel {
public:
    explicit LineChannel(BoardServer::LineClient &client) : client_(client) {}

    bool send(const json &line) override
    {
        return client_.send(line.dump(-1, ' ', false, json::error_handler_t::replace));
    }
    bool gone() override { return client_.gone(); }

private:
    BoardServer::LineClient &client_;
};

json error(const std::string &text)
{
    return {{"error", text}};
}

// The text of a key; empty if there is none.
std::string text_of(const json &request, const char *key)
{
    const auto found = request.find(key);
    return found != request.end() && found->is_string() ? found->get<std::string>() : "";
}

std::optional<Machine::Part> part_of(const json &request)
{
    static constexpr std::pair<const char *, Machine::Part> parts[] = {
        {"flash", Machine::Part::flash},
        {"bios-flash", Machine::Part::bios_flash},
        {"environment", Machine::Part::environment},
    };
    const std::string name = request.contains("part") ? text_of(request, "part") : "flash";
    for (const auto &[known, part] : parts) {
        if (name == known) {
            return part;
        }
    }
    return std::nullopt;
}

} // namespace

std::shared_ptr<void> BackendHost::companion(Board &board)
{
    return std::make_shared<Backend>(board);
}

void BackendHost::serve(BoardServer &server, const std::string &line,
                        BoardServer::LineClient &client)
{
    LineChannel channel(client);
    const json request = json::parse(line, nullptr, false);
    if (!request.is_object()) {
        channel.send(error("a request is a JSON object in one line"));
    } else if (text_of(request, "request") == "power") {
        channel.send(power(server, request));
    } else if (const std::shared_ptr<void> backend = machine_.companion()) {
        static_cast<Backend *>(backend.get())->serve(request, channel);
    } else {
        channel.send(error("the board has no power"));
    }
}

json BackendHost::power(BoardServer &server, const json &request)
{
    const std::string action = text_of(request, "action");
    if (action == "restore") {
        server.restore_power();
    } else if (action == "cut" && request.contains("after")) {
        const std::optional<Machine::Part> part = part_of(request);
        const json &after = request["after"];
        if (!after.is_number_unsigned() || !part) {
            return error(part ? "\"after\" is a number of bytes"
                              : "\"part\" is flash, bios-flash or environment");
        }
        machine_.cut_after(*part, after.get<uint64_t>());
    } else if (action == "cut") {
        server.cut_power();
    } else if (action != "status") {
        return error("\"action\" is cut, restore or status");
    }
    return {{"ok", true}, {"powered", machine_.board() != nullptr}};
}

} // namespace virtual_board
