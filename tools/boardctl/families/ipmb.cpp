// Whole messages on the IPMB channels. Channel 2 has operations of its own.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

constexpr int32_t sm_channel = 2;
constexpr int32_t channel_count = 3;
constexpr size_t message_max = 254;
constexpr int32_t no_driver_wait = 0;
// Channel 2 answers this if there is no memory; a sent message counts more.
constexpr int no_memory = 5;

bool is_sm(int32_t channel)
{
    return channel == sm_channel;
}

int32_t channel_of(const Context &context)
{
    return context.as<int32_t>("CHANNEL");
}

Result send(Context &context)
{
    const int32_t channel = channel_of(context);
    const std::vector<uint8_t> message = context.bytes("MESSAGE");
    const auto length = static_cast<int32_t>(message.size());
    const char *const operation = is_sm(channel) ? "ipmb_sm_write" : "ipmb_write";
    const int result = (is_sm(channel) ? ipmb_sm_write : ipmb_write)(channel, message.data(),
                                                                     length, no_driver_wait);
    if (is_sm(channel) && result == no_memory) {
        context.check(operation, result);
    }
    context.count(operation, result);
    return Result().set("sent", number(length));
}

Result receive(Context &context)
{
    const bool sm = is_sm(channel_of(context));
    std::vector<uint8_t> message(message_max);
    uint8_t from = 0;
    int length = 0;
    wait_until(std::chrono::milliseconds(context.number("--timeout")), [&] {
        length = context.count(sm ? "ipmb_sm_read" : "ipmb_read",
                               (sm ? ipmb_sm_read : ipmb_read)(message.data(),
                                                               static_cast<int32_t>(message_max),
                                                               &from, no_driver_wait));
        if (length == 0) {
            context.take_messages(); // each vain poll prints one
        }
        return length > 0;
    });
    if (length == 0) {
        return Result().set("channel", none("none")).set("message", none("none"));
    }
    message.resize(static_cast<size_t>(length));
    return Result().set("channel", number(from)).set("message", bytes(message));
}

Value enabled_of(int32_t channel)
{
    if (is_sm(channel)) {
        return none();
    }
    uint8_t enabled = 0;
    const int result = get_ipmb_enable(channel, &enabled);
    return given(result, yes_no(enabled != 0));
}

Result status(Context &)
{
    Result result;
    for (int32_t channel = 0; channel < channel_count; ++channel) {
        int32_t state = 0;
        const int state_result =
            (is_sm(channel) ? get_ipmb_sm_status : get_ipmb_status)(channel, &state);
        uint8_t address = 0;
        const int address_result =
            (is_sm(channel) ? get_ipmb_sm_addr_config : get_ipmb_addr_config)(&address);
        result.row("channels",
                   {number(channel), enabled_of(channel), given(address_result, hex(address)),
                    given(state_result, number(state))});
    }
    return result;
}

Result address(Context &context)
{
    const bool sm = is_sm(channel_of(context));
    const auto own = context.as<uint8_t>("ADDRESS");
    context.check(sm ? "set_ipmb_sm_addr_config" : "set_ipmb_addr_config",
                  (sm ? set_ipmb_sm_addr_config : set_ipmb_addr_config)(own, 0));
    return {};
}

template <uint8_t state> Result set_enabled(Context &context)
{
    context.check("set_ipmb_enable", set_ipmb_enable(channel_of(context), state));
    return {};
}

Result reset(Context &context)
{
    const int32_t channel = channel_of(context);
    context.check(is_sm(channel) ? "ipmb_sm_reset" : "ipmb_reset",
                  (is_sm(channel) ? ipmb_sm_reset : ipmb_reset)(channel));
    return {};
}

std::string address_complaint(const Arguments &arguments)
{
    return arguments.number("ADDRESS") % 2 == 0 ? "" : "ADDRESS: is odd; give its 8-bit form";
}

const Argument channel_argument = {"CHANNEL", "which channel", Number{0, 2}};

} // namespace

Family ipmb_family()
{
    return {
        .name = "ipmb",
        .summary = "Messages on the IPMB channels, and the channels' state",
        .description = "Messages are whole: the addresses and checksums are the sender's affair.",
        .commands =
            {
                {.name = "send",
                 .summary = "Send one message",
                 .arguments = {channel_argument,
                               {"MESSAGE", "the message, checksums included",
                                Bytes{1, message_max}}},
                 .output =
                     {{"", "", Block::Layout::fields, {{"sent", "bytes sent", Type::integer}}}},
                 .examples = {{"ipmb send 0 0x2C 0x18 0xBC 0x20 0x04 0x01 0xDB",
                               "Ask the management engine for its device id"}},
                 .run = send},
                {.name = "receive",
                 .summary = "Receive one message",
                 .description = "Channels 0 and 1 share a queue: the answer tells which of them "
                                "the message came in on.",
                 .arguments = {channel_argument,
                               {"--timeout", "how long to wait for a message",
                                Number{0, 600000, "ms"}, false, "0"}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"channel", "channel", Type::integer, "null without a message", true},
                              {"message", "message", Type::integers, "null if there is none",
                               true}}}},
                 .examples = {{"ipmb receive 0", "Is a message waiting?"}},
                 .run = receive},
                {.name = "status",
                 .summary = "Show state and own address of each channel",
                 .output = {{"channels",
                             "Channels",
                             Block::Layout::rows,
                             {{"channel", "channel", Type::integer},
                              {"enabled", "enabled", Type::boolean,
                               "null if the board does not tell", true, true},
                              {"address", "own address", Type::integer, "8-bit form", false, true},
                              {"status", "status", Type::integer,
                               "0, or -10001 to -10005 by the FPGA's status bits", false, true}}}},
                 .examples = {{"ipmb status", "Are the channels well?"}},
                 .run = status},
                {.name = "address",
                 .summary = "Set the controller's own address",
                 .description = "Channels 0 and 1 share one.",
                 .arguments = {channel_argument,
                               {"ADDRESS", "the address in 8-bit form, even",
                                Number{0, 0xFE, "", true}}},
                 .examples = {{"ipmb address 0 0x20 --yes", "The usual address"}},
                 .run = address,
                 .complaint = address_complaint,
                 .asks = always("Change the controller's own IPMB address?")},
                {.name = "enable",
                 .summary = "Enable a channel",
                 .arguments = {channel_argument},
                 .examples = {{"ipmb enable 1", "Let messages through"}},
                 .run = set_enabled<1>},
                {.name = "disable",
                 .summary = "Disable a channel",
                 .arguments = {channel_argument},
                 .examples = {{"ipmb disable 1 --yes", "Let no messages through"}},
                 .run = set_enabled<0>,
                 .asks = always("Disable the IPMB channel?")},
                {.name = "reset",
                 .summary = "Reset a channel",
                 .description = "Messages that wait on it are lost.",
                 .arguments = {channel_argument},
                 .examples = {{"ipmb reset 0", "Free a channel that is stuck"}},
                 .run = reset},
            },
        .meanings = {{"ipmb_sm_write", no_memory, "no memory"}},
    };
}

} // namespace boardctl
