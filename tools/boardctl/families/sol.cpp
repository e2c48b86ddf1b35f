// What the host prints on its serial console, as the FPGA keeps it.

#include <board_hal.h>

#include <optional>
#include <sstream>

#include "boardctl/families/console_text.h"
#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

constexpr int nothing_there = -9;
constexpr size_t word_size = 4;

// Ends a fetch that was started, however it goes on.
class Fetch {
public:
    Fetch() { interrupt::set_state("a fetch is under way; the next one releases it"); }
    ~Fetch()
    {
        if (!done_) {
            set_sol_data_done();
        }
    }
    Fetch(const Fetch &) = delete;
    Fetch &operator=(const Fetch &) = delete;
    void done(const Context &context)
    {
        done_ = true;
        context.check("set_sol_data_done", set_sol_data_done());
        interrupt::set_state("what was fetched is taken from the board");
    }

private:
    bool done_ = false;
};

std::vector<uint8_t> fetch(const Context &context)
{
    uint32_t length = 0;
    uint32_t offset = 0;
    const int prepared = get_sol_data_prepare(&length, &offset);
    if (prepared == nothing_there) {
        return {};
    }
    context.check("get_sol_data_prepare", prepared);
    Fetch fetch;
    std::vector<uint8_t> data;
    while (data.size() < length) {
        uint32_t word = 0;
        context.check("get_sol_data", get_sol_data(&word));
        for (size_t i = 0; i < word_size && data.size() < length; ++i) {
            data.push_back(static_cast<uint8_t>(word >> (8 * i)));
        }
    }
    fetch.done(context);
    return data;
}

Result status(Context &context)
{
    uint32_t length = 0;
    const int result = get_sol_data_length(&length);
    if (result != nothing_there) {
        context.check("get_sol_data_length", result);
    }
    return Result().set("waiting", number(length));
}

// Bytes as lines; the last one may be unfinished.
Result as_lines(const std::vector<uint8_t> &data)
{
    Result result;
    std::istringstream stream(ascii(data));
    for (std::string line; std::getline(stream, line);) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        result.row("lines", {text(line)});
    }
    return result;
}

Result read(Context &context)
{
    return as_lines(fetch(context));
}

// On a terminal the host's own characters; lines in JSON.
bool pass_on(Context &context, const std::vector<uint8_t> &data)
{
    return data.empty() || (context.json() ? context.emit(as_lines(data))
                                           : context.draw(std::string(data.begin(), data.end())));
}

Result follow(Context &context)
{
    const std::chrono::milliseconds interval(context.number("--interval"));
    const int64_t count = context.number("--count");
    for (int64_t polls = 0; count == 0 || polls < count; ++polls) {
        if (!pass_on(context, fetch(context))) {
            break;
        }
        pause_for(interval);
    }
    return {};
}

const std::vector<Block> lines_blocks = {
    {"lines",
     "Lines",
     Block::Layout::rows,
     {{"text", "text", Type::string,
       "a line; the first and the last of a fetch may be in pieces"}}}};

} // namespace

Family sol_family()
{
    return {
        .name = "sol",
        .summary = "What the host prints on its serial console",
        .description = "The FPGA keeps what the host prints until it is fetched. What is read is "
                       "taken: a service that reads too will miss it.",
        .commands =
            {
                {.name = "status",
                 .summary = "Show how much waits to be read",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"waiting", "bytes waiting", Type::integer}}}},
                 .examples = {{"sol status", "Has the host printed anything?"}},
                 .run = status},
                {.name = "read",
                 .summary = "Read what waits",
                 .output = lines_blocks,
                 .examples = {{"sol read", "What did the host print?"}},
                 .run = read},
                {.name = "follow",
                 .summary = "Show what the host prints as it comes",
                 .arguments = {{"--interval", "time between polls", Number{10, 60000, "ms"}, false,
                                "200"},
                               {"--count", "end after so many polls; 0 does not end",
                                Number{0, 1000000}, false, "0"}},
                 .output = lines_blocks,
                 .examples = {{"sol follow --count 5", "The host's console for a second"}},
                 .run = follow,
                 .streams = true},
            },
    };
}

} // namespace boardctl
