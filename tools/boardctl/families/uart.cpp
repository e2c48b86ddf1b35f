// The controller's serial port, at the rate that the FPGA prescribes.

#include <board_hal.h>

#include "boardctl/families/console_text.h"
#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

constexpr int32_t port = 0;
constexpr int32_t ignored_rate = 0;

// The port is open for as long as this lives.
class OpenPort {
public:
    explicit OpenPort(const Context &context)
    {
        context.count("uart_init", uart_init(port, ignored_rate));
    }
    ~OpenPort() { uart_close(port); }
    OpenPort(const OpenPort &) = delete;
    OpenPort &operator=(const OpenPort &) = delete;
};

Result rate(Context &context)
{
    const OpenPort open(context);
    update_uart_baud(port);
    return Result().set("rate", number(context.count("get_current_baud", get_current_baud(port))));
}

void send_all(const Context &context, const std::string &text)
{
    for (size_t sent = 0; sent < text.size();) {
        const int count = context.count(
            "uart_write", uart_write(port, reinterpret_cast<const uint8_t *>(text.data()) + sent,
                                     static_cast<uint32_t>(text.size() - sent)));
        if (count == 0) {
            throw Trouble("the port takes no more: " + std::to_string(sent) + " of " +
                          std::to_string(text.size()) + " bytes were sent");
        }
        sent += static_cast<size_t>(count);
    }
}

Result send(Context &context)
{
    const OpenPort open(context);
    const std::string text = context.text("TEXT") + (context.flag("--newline") ? "\r\n" : "");
    send_all(context, text);
    return Result().set("sent", number(static_cast<int64_t>(text.size())));
}

Result receive(Context &context)
{
    const OpenPort open(context);
    const auto wanted = context.as<size_t>("--count");
    std::vector<uint8_t> data;
    wait_until(std::chrono::milliseconds(context.number("--timeout")), [&] {
        std::vector<uint8_t> piece(wanted - data.size());
        const int count = context.count(
            "uart_read", uart_read(port, piece.data(), static_cast<uint32_t>(piece.size())));
        data.insert(data.end(), piece.begin(), piece.begin() + count);
        return data.size() == wanted;
    });
    return Result().set("data", bytes(data)).set("text", text(ascii(data)));
}

} // namespace

Family uart_family()
{
    return {
        .name = "uart",
        .summary = "The controller's serial port",
        .description = "Each command opens the port at the rate that the FPGA prescribes, with 8 "
                       "data bits, no parity and 1 stop bit, and discards what came before.",
        .commands =
            {
                {.name = "baud",
                 .summary = "Show the rate in force",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"rate", "rate", Type::integer, "bit/s; 0 is unknown"}}}},
                 .examples = {{"uart baud", "How fast is the port?"}},
                 .run = rate},
                {.name = "send",
                 .summary = "Send a text",
                 .arguments = {{"TEXT", "what to send", Text{1, 4096}},
                               {"--newline", "and a carriage return and newline behind it", Flag{},
                                false}},
                 .output =
                     {{"", "", Block::Layout::fields, {{"sent", "bytes sent", Type::integer}}}},
                 .examples = {{"uart send hello --newline", "Greet who listens"}},
                 .run = send},
                {.name = "receive",
                 .summary = "Receive for a while",
                 .arguments = {{"--timeout", "how long", Number{0, 600000, "ms"}, false, "1000"},
                               {"--count", "end earlier after so many bytes", Number{1, 1000000},
                                false, "4096"}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"data", "bytes", Type::integers},
                              {"text", "text", Type::string,
                               "the same; what is not ASCII is a question mark"}}}},
                 .examples = {{"uart receive --timeout 200", "Does anybody talk?"}},
                 .run = receive},
            },
        .meanings = {{"uart_init", -3, "the FPGA tells no rate, or the port cannot be opened"},
                     {"uart_init", -5, "the port cannot be set"},
                     {"uart_read", -1, "the port cannot be read"},
                     {"uart_write", -1, "the port cannot be written"}},
    };
}

} // namespace boardctl
