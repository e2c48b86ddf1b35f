// The PECI bridge, which asks the CPUs for their temperatures.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

constexpr uint8_t register_count = 20;

Result init(Context &context)
{
    context.check("peci_init", peci_init());
    return {};
}

Result read(Context &context)
{
    uint8_t value = 0;
    context.count("peci_read", peci_read(context.as<uint8_t>("REGISTER"), &value));
    return Result().set("value", number(value));
}

Result dump(Context &)
{
    Result result;
    for (uint8_t number_of = 0; number_of < register_count; ++number_of) {
        uint8_t value = 0;
        const int answer = peci_read(number_of, &value);
        result.row("registers", {number(number_of), given(answer < 0 ? answer : 0, number(value))});
    }
    return result;
}

} // namespace

Family peci_family()
{
    return {
        .name = "peci",
        .summary = "The PECI bridge to the CPUs",
        .commands =
            {
                {.name = "init",
                 .summary = "Set the bridge up",
                 .description = "Writes its four set-up registers and reads them back; takes a "
                                "second.",
                 .examples = {{"peci init", "Set the bridge up after power-on"}},
                 .run = init},
                {.name = "read",
                 .summary = "Read a register of the bridge",
                 .arguments = {{"REGISTER", "which register", Number{0, register_count - 1}}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"value", "value", Type::integer, "low byte of the answer"}}}},
                 .examples = {{"peci read 0", "The first register"}},
                 .run = read},
                {.name = "dump",
                 .summary = "Read all registers of the bridge",
                 .output = {{"registers",
                             "Registers",
                             Block::Layout::rows,
                             {{"register", "register", Type::integer},
                              {"value", "value", Type::integer, "low byte of the answer", false,
                               true}}}},
                 .examples = {{"peci dump", "What does the bridge say?"}},
                 .run = dump},
            },
        .meanings = {{"peci_init", -5, "the bridge does not answer"},
                     {"peci_init", -13, "a set-up register does not read back as written"},
                     {"peci_read", -5, "the bridge does not answer, or PECI failed"}},
    };
}

} // namespace boardctl
