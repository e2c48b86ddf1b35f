// Where the board sits, and the host's POST codes.

#include <board_hal.h>

#include <algorithm>

#include "boardctl/families/families.h"
#include "boardctl/families/read.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr int bad_parity = -1;

Value parity()
{
    const int result = get_slot_id_checksum();
    return result == bad_parity ? toned(yes_no(false), Tone::bad) : given(result, yes_no(true));
}

Result show(Context &)
{
    return Result()
        .set("slot", read_value(get_slot_id, as_number))
        .set("parity_good", parity())
        .set("seated", read_value(get_board_insert, as_yes_no))
        .set("base_board_id", read_value(get_base_board_id, as_hex))
        .set("blade_pcb_version", read_value(get_blade_pcb_ver, as_hex));
}

// The driver gives no byte at all while there are no codes, which the library
// cannot tell from a failure.
Value read_post_codes(size_t size)
{
    constexpr int nothing_read = -5;
    std::vector<uint8_t> codes(size);
    const int count = get_port80_data(static_cast<int32_t>(size), codes.data());
    if (count == nothing_read) {
        return none("none");
    }
    if (count < 0) {
        return refusal(count);
    }
    codes.resize(std::min(size, static_cast<size_t>(count)));
    return bytes(codes);
}

Result post_codes(Context &context)
{
    return Result()
        .set("offset", read_value(get_port80_offset, as_number))
        .set("codes", read_post_codes(context.as<size_t>("--count")));
}

} // namespace

Family slot_family()
{
    return {
        .name = "slot",
        .summary = "Where the board sits in the chassis, and the host's POST codes",
        .commands =
            {
                {.name = "show",
                 .summary = "Show slot and ids that the FPGA reads from the chassis",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"slot", "slot", Type::integer, "0 to 15", false, true},
                              {"parity_good", "parity good", Type::boolean,
                               "of the byte that tells the slot", false, true},
                              {"seated", "board seated", Type::boolean, {}, false, true},
                              {"base_board_id", "base board id", Type::integer, {}, false, true},
                              {"blade_pcb_version",
                               "blade PCB version",
                               Type::integer,
                               {},
                               false,
                               true}}}},
                 .examples = {{"slot show", "Which slot is this board in?"}},
                 .run = show},
                {.name = "post-codes",
                 .summary = "Show the host's POST codes (port 80)",
                 .arguments = {{"--count", "how many bytes of the buffer", Number{1, 512}, false,
                                "32"}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"offset", "offset", Type::integer, "in the buffer", false, true},
                              {"codes", "codes", Type::integers,
                               "null if there are none, or if they cannot be read", true, true}}}},
                 .examples = {{"slot post-codes --count 16", "Where did the host stop?"}},
                 .run = post_codes},
            },
    };
}

} // namespace boardctl
