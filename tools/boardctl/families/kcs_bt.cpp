// The host's IPMI system interfaces, KCS and BT.

#include <board_hal.h>

#include <algorithm>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

constexpr int32_t instance = 0;
constexpr uint8_t idle = 4;

struct Kcs {
    static constexpr const char *name = "kcs";
    static constexpr size_t request_max = 100;
    static constexpr size_t answer_max = 100;
    static constexpr auto get_status = get_kcs_status;
    static constexpr auto set_status = set_kcs_status;
    static constexpr auto read = kcs_read;
    static int write(const std::vector<uint8_t> &message)
    {
        return kcs_write(message.data(), static_cast<int32_t>(message.size()));
    }
};

struct Bt {
    static constexpr const char *name = "bt";
    static constexpr size_t header = 2; // filled in by the library
    static constexpr size_t request_max = 252;
    static constexpr size_t answer_max = 252;
    static constexpr auto get_status = get_bt_status;
    static constexpr auto set_status = set_bt_status;
    static constexpr auto read = bt_read;
    static int write(const std::vector<uint8_t> &message)
    {
        std::vector<uint8_t> buffer(header + message.size());
        std::copy(message.begin(), message.end(), buffer.begin() + header);
        return bt_write(buffer.data(), static_cast<int32_t>(buffer.size()));
    }
};

template <typename Interface> std::string operation(const std::string &verb)
{
    return verb == "read" || verb == "write" ? std::string(Interface::name) + "_" + verb
                                             : verb + "_" + Interface::name + "_status";
}

template <typename Interface> Result status(Context &context)
{
    uint8_t value = 0;
    context.check(operation<Interface>("get"), Interface::get_status(instance, &value));
    return Result().set("status", number(value)).set("idle", yes_no(value == idle));
}

template <typename Interface> Result set_status(Context &context)
{
    context.check(operation<Interface>("set"),
                  Interface::set_status(instance, context.as<uint8_t>("STATUS")));
    return status<Interface>(context);
}

template <typename Interface> Result read(Context &context)
{
    std::vector<uint8_t> message(Interface::request_max);
    int length = 0;
    wait_until(std::chrono::milliseconds(context.number("--timeout")), [&] {
        length =
            context.count(operation<Interface>("read"),
                          Interface::read(message.data(), static_cast<int32_t>(message.size())));
        return length > 0;
    });
    message.resize(static_cast<size_t>(length));
    return Result().set("message", length == 0 ? none("none") : bytes(message));
}

template <typename Interface> Result write(Context &context)
{
    const std::vector<uint8_t> message = context.bytes("MESSAGE");
    context.count(operation<Interface>("write"), Interface::write(message));
    return Result().set("sent", number(static_cast<int64_t>(message.size())));
}

const std::vector<Block> status_blocks = {
    {"",
     "",
     Block::Layout::fields,
     {{"status", "status", Type::integer, "the interface's status byte"},
      {"idle", "idle", Type::boolean, "whether a message may be sent"}}}};

template <typename Interface> Family family(const std::string &shown)
{
    const std::string name = Interface::name;
    const std::string write_operation = operation<Interface>("write");
    return {
        .name = name,
        .summary = "The host's IPMI interface " + shown,
        .commands =
            {
                {.name = "status",
                 .summary = "Show the interface's status byte",
                 .output = status_blocks,
                 .examples = {{name + " status", "May a message be sent?"}},
                 .run = status<Interface>},
                {.name = "set-status",
                 .summary = "Set the interface's status byte",
                 .arguments = {{"STATUS", "the status; 4 is idle", Number{0, 255, "", true}}},
                 .output = status_blocks,
                 .examples = {{name + " set-status 4 --yes", "Tell that the interface is idle"}},
                 .run = set_status<Interface>,
                 .asks = always("Set the status byte of the host's " + shown + " interface?")},
                {.name = "read",
                 .summary = "Receive a message from the host",
                 .description = "A service that answers the host will miss the message.",
                 .arguments = {{"--timeout", "how long to wait for a message",
                                Number{0, 600000, "ms"}, false, "0"}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"message", "message", Type::integers, "null if there is none",
                               true}}}},
                 .examples = {{name + " read", "Is a message waiting?"}},
                 .run = read<Interface>},
                {.name = "write",
                 .summary = "Send a message to the host",
                 .arguments = {{"MESSAGE", "the bare message", Bytes{1, Interface::answer_max}}},
                 .output =
                     {{"", "", Block::Layout::fields, {{"sent", "bytes sent", Type::integer}}}},
                 .examples = {{name + " write 0x1C 0x01 0x00", "Answer a request"}},
                 .run = write<Interface>},
            },
        .meanings = {{write_operation, -9, "the interface is not idle"},
                     {operation<Interface>("set"), 5, "the FPGA did not take the status"}},
    };
}

} // namespace

Family kcs_family()
{
    return family<Kcs>("KCS");
}

Family bt_family()
{
    return family<Bt>("BT");
}

} // namespace boardctl
