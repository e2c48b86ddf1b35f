// Where the board's serial ports are connected to.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/serial_routes.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr uint8_t auxiliary_half = 0;
constexpr uint8_t route_half = 1;
constexpr unsigned auxiliary_shift = 4;

Value code_of(uint8_t half, unsigned shift)
{
    uint8_t code = 0; // the library adds its bits to what is there
    const int result = get_serial_dir(half, &code);
    return given(result, number(code >> shift));
}

Result routing()
{
    Result result;
    for (const SerialSide &side : serial_sides) {
        result.set(side.name, endpoint_of(side));
    }
    return result.set("code", code_of(route_half, 0))
        .set("auxiliary_code", code_of(auxiliary_half, auxiliary_shift));
}

Result show(Context &)
{
    return routing();
}

// Sides in the order of the SIDE argument's values.
constexpr struct {
    const char *operation;
    int (*connect)(int32_t);
} connecting[] = {
    {"set_host_serial_connection", set_host_serial_connection},
    {"set_panel_serial_connection", set_panel_serial_connection},
    {"set_sol_serial_connection", set_sol_serial_connection},
    {"set_third_party_serial_connection",
     [](int32_t endpoint) {
         return set_third_party_serial_connection(static_cast<uint32_t>(endpoint));
     }},
};
constexpr int64_t auxiliary = 3;

Result connect(Context &context)
{
    const auto &side = connecting[context.number("SIDE")];
    context.check(side.operation, side.connect(context.as<int32_t>("ENDPOINT")));
    return routing();
}

std::string connect_complaint(const Arguments &arguments)
{
    const int64_t endpoint = arguments.number("ENDPOINT");
    if (arguments.number("SIDE") == auxiliary) {
        return endpoint == 1 || endpoint == 2 ? "" : "ENDPOINT: of the auxiliary port it is 1 or 2";
    }
    return endpoint == 0 || endpoint == 3 || endpoint == 4
               ? ""
               : "ENDPOINT: of host, panel and sol it is 0, 3 or 4";
}

Result set_code(Context &context)
{
    context.check("set_serial_dir", set_serial_dir(route_half, context.as<uint8_t>("CODE")));
    return routing();
}

Field endpoint_field(const std::string &key, const std::string &heading)
{
    return {key, heading, Type::integer, "endpoint; null if the routing is unknown", true, true};
}

const std::vector<Block> routing_blocks = {
    {"",
     "",
     Block::Layout::fields,
     {endpoint_field("host", "host"),
      endpoint_field("panel", "panel"),
      endpoint_field("sol", "serial over LAN"),
      endpoint_field("auxiliary", "auxiliary port"),
      {"code", "routing code", Type::integer, "1 to 6; others are unknown", false, true},
      {"auxiliary_code", "auxiliary code", Type::integer, "0 to 2; others are unknown", false,
       true}}}};

} // namespace

Family serial_family()
{
    return {
        .name = "serial",
        .summary = "Where host, panel and SOL serial ports are connected to",
        .description = "Each side is connected to an endpoint. The switch knows six whole "
                       "arrangements of host, panel and SOL only: connecting one side may move the "
                       "others. The auxiliary port is switched by itself.",
        .commands =
            {
                {.name = "show",
                 .summary = "Show the endpoint of each side",
                 .output = routing_blocks,
                 .examples = {{"serial show", "Who has the host's console?"}},
                 .run = show},
                {.name = "connect",
                 .summary = "Connect a side to an endpoint",
                 .arguments =
                     {{"SIDE", "which side",
                       Word{{{"host", 0}, {"panel", 1}, {"sol", 2}, {"auxiliary", auxiliary}}}},
                      {"ENDPOINT", "host, panel and sol: 0, 3 or 4; auxiliary: 1 or 2",
                       Word{{{"0", 0}, {"1", 1}, {"2", 2}, {"3", 3}, {"4", 4}}}}},
                 .output = routing_blocks,
                 .examples = {{"serial connect host 0", "Connect the host to endpoint 0"},
                              {"serial connect auxiliary 1", "Connect the auxiliary port"}},
                 .run = connect,
                 .complaint = connect_complaint},
                {.name = "set-code",
                 .summary = "Write the routing code of host, panel and SOL",
                 .arguments = {{"CODE", "the arrangement", Number{0, 15}}},
                 .output = routing_blocks,
                 .examples = {{"serial set-code 3", "The third arrangement"}},
                 .run = set_code},
            },
    };
}

} // namespace boardctl
