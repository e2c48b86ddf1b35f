// Disks and what they are plugged into.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/polls.h"
#include "boardctl/families/read.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr uint8_t backplane_port_count = 3;

Result list(Context &context)
{
    Polls polls;
    polls.run(context.number("--polls"));
    Result result;
    for (uint32_t bay = 0; bay < bay_count(); ++bay) {
        result.row("disks", {number(bay), polls.disk(bay, disk_p), polls.disk(bay, disk_f),
                             polls.disk(bay, disk_r), polls.disk(bay, disk_v_in_bay),
                             polls.disk(bay, disk_v_empty), polls.disk(bay, disk_good)});
    }
    return result;
}

Result backplane(Context &)
{
    Result result;
    for (uint8_t port = 0; port < backplane_port_count; ++port) {
        result.row("ports",
                   {number(port), read_value(get_HDD_backplane_port_connection, port, as_number)});
    }
    return result;
}

Field line_field(const std::string &key, const std::string &heading, const std::string &help = {})
{
    return {key, heading, Type::boolean, help, true, true};
}

} // namespace

Family disk_family()
{
    return {
        .name = "disk",
        .summary = "Disk bays and the HDD backplane",
        .description = "The board reports four lines per disk, called P, F, R and V. V is "
                       "debounced: it is believed when ten polls in a row saw it.",
        .commands =
            {
                {.name = "list",
                 .summary = "Show the status lines of all bays",
                 .arguments = {polls_argument()},
                 .output = {{"disks",
                             "Disks",
                             Block::Layout::rows,
                             {{"bay", "bay", Type::integer},
                              line_field("p", "P"),
                              line_field("f", "F"),
                              line_field("r", "R"),
                              line_field("v_with_p", "V with P",
                                         "null if it does not apply or is not stable yet"),
                              line_field("v_without_p", "V without P",
                                         "null if it does not apply or is not stable yet"),
                              line_field("good", "good",
                                         "P, R and V in ten polls in a row; null "
                                         "before")}}},
                 .examples = {{"disk list", "Which bays have a disk?"}},
                 .run = list},
                {.name = "backplane",
                 .summary = "Show what the HDD backplane's ports are connected to",
                 .output = {{"ports",
                             "Ports",
                             Block::Layout::rows,
                             {{"port", "port", Type::integer},
                              {"connection", "connection", Type::integer, "0 to 15", false,
                               true}}}},
                 .examples = {{"disk backplane", "How is the backplane connected?"}},
                 .run = backplane},
            },
    };
}

} // namespace boardctl
