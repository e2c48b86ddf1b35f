// Registers of the board's CPLD, by name or offset.

#include <board_hal.h>
#include <board_hal_cpld.h>

#include <array>

#include "boardctl/families/cpld_names.h"
#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

using Registers = std::array<uint8_t, CPLD_REG_COUNT>;

Place place_of(const Arguments &arguments)
{
    Place place;
    find_place(arguments.text("PLACE"), place);
    return place;
}

uint8_t read_register(const Context &context, uint8_t offset)
{
    uint8_t value = 0;
    context.check("get_cpld_reg", get_cpld_reg(offset, &value));
    return value;
}

Registers read_all(const Context &context)
{
    Registers registers{};
    context.check("dump_cpld_regester", dump_cpld_regester(registers.data(), CPLD_REG_COUNT));
    return registers;
}

Value name_or_none(uint8_t offset)
{
    const std::string name = register_name(offset);
    return name.empty() ? none("") : text(name);
}

Result read(Context &context)
{
    const Place place = place_of(context.arguments());
    const uint8_t value = read_register(context, place.offset);
    return Result()
        .set("place", text(place_name(place)))
        .set("offset", hex(place.offset))
        .set("mask", hex(place.mask))
        .set("value", place.whole() ? hex(value) : number(place.get(value)))
        .set("register", hex(value))
        .set("bits", text(set_bits(place.offset, value)));
}

Result write(Context &context)
{
    const Place place = place_of(context.arguments());
    const auto field = context.as<uint8_t>("VALUE");
    const uint8_t before = read_register(context, place.offset);
    context.check("set_cpld_reg", set_cpld_reg(place.offset, place.put(before, field)));
    return Result()
        .set("place", text(place_name(place)))
        .set("before", hex(before))
        .set("after", hex(read_register(context, place.offset)));
}

Result dump(Context &context)
{
    const Registers registers = read_all(context);
    Result result;
    for (unsigned i = 0; i < registers.size(); ++i) {
        const auto offset = static_cast<uint8_t>(i);
        if (context.flag("--all") || !register_name(offset).empty()) {
            result.row("registers", {hex(offset), name_or_none(offset), hex(registers[i]),
                                     text(set_bits(offset, registers[i]))});
        }
    }
    return result;
}

// A register that nobody watches is as before.
bool emit_changes(Context &context, const Registers &before, const Registers &after,
                  const Place *watched)
{
    Result result;
    std::string lines;
    for (unsigned i = 0; i < after.size(); ++i) {
        const auto offset = static_cast<uint8_t>(i);
        const uint8_t mask = watched == nullptr          ? 0xFF
                             : watched->offset == offset ? watched->mask
                                                         : 0;
        if (((before[i] ^ after[i]) & mask) == 0) {
            continue;
        }
        const std::string bits = changed_bits(offset, before[i], after[i]);
        result.row("changes",
                   {hex(offset), name_or_none(offset), hex(before[i]), hex(after[i]), text(bits)});
        lines += (lines.empty() ? "" : "\n") + hex(offset).shown + "  " + place_name({offset}) +
                 "  " + hex(before[i]).shown + " -> " + hex(after[i]).shown +
                 (bits.empty() ? "" : "  " + bits);
    }
    return lines.empty() || context.emit(result, lines);
}

Result watch(Context &context)
{
    const std::chrono::milliseconds interval(context.number("--interval"));
    const int64_t count = context.number("--count");
    const bool one = context.has("PLACE");
    const Place place = one ? place_of(context.arguments()) : Place{};
    Registers before = read_all(context);
    for (int64_t polls = 0; count == 0 || polls < count; ++polls) {
        pause_for(interval);
        const Registers after = read_all(context);
        if (!emit_changes(context, before, after, one ? &place : nullptr)) {
            break;
        }
        before = after;
    }
    return {};
}

Result self_test(Context &context)
{
    context.check("start_cpld_test", start_cpld_test());
    return Result().set("passed", yes_no(true));
}

Result heartbeat(Context &context)
{
    context.check("heartbeat_to_cpld", heartbeat_to_cpld());
    return {};
}

Argument place_argument(bool required)
{
    return {"PLACE",
            "register or bits: POWER_STATE, 0x85, POWER_STATE.POWER_GOOD, 0x85.0x10, POWER_GOOD",
            Form{"a register, or REGISTER.BITS; by name, or by offset and mask",
                 [](const std::string &word) {
                     Place place;
                     return find_place(word, place);
                 },
                 place_names(),
                 {"NOWHERE", "256", "-1", "POWER_STATE.NOTHING", "0x85.0", "0x85.0x100",
                  "CPU_PRESENT", ""}},
            required};
}

std::string write_complaint(const Arguments &arguments)
{
    const Place place = place_of(arguments);
    return arguments.number("VALUE") <= place.max()
               ? ""
               : "VALUE: " + place_name(place) + " takes 0 to " + std::to_string(place.max());
}

std::string write_question(const Arguments &arguments)
{
    return "Write " + arguments.text("VALUE") + " to " + place_name(place_of(arguments)) + "?";
}

const std::vector<Field> register_fields = {
    {"offset", "offset", Type::integer},
    {"name", "register", Type::string, "name, null if it has none", true},
    {"value", "value", Type::integer, "the whole register"},
    {"bits", "bits set", Type::string, "names of the bits that are 1, fields with their value"}};

const std::vector<Field> change_fields = {
    {"offset", "offset", Type::integer},
    {"name", "register", Type::string, "name, null if it has none", true},
    {"before", "before", Type::integer},
    {"after", "after", Type::integer},
    {"bits", "bits", Type::string, "names of the bits that changed, and how"}};

} // namespace

Family cpld_family()
{
    return {
        .name = "cpld",
        .summary = "Registers of the board's CPLD, by name or offset",
        .description =
            "The CPLD carries power, reset, button, LED, presence and fault lines in 256 "
            "one-byte registers. Names are those of board_hal_cpld.h, without the prefix.",
        .commands =
            {
                {.name = "read",
                 .summary = "Read a register, or some bits of it",
                 .arguments = {place_argument(true)},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"place", "place", Type::string},
                              {"offset", "offset", Type::integer},
                              {"mask", "mask", Type::integer},
                              {"value", "value", Type::integer, "the bits, moved down to bit 0"},
                              {"register", "register", Type::integer, "the whole register"},
                              {"bits", "bits set", Type::string}}}},
                 .examples = {{"cpld read POWER_STATE", "A register by its name"},
                              {"cpld read POWER_BUTTON.POWER_BUTTON_ENABLE", "One bit"},
                              {"cpld read 0x85.0x10", "The same by offset and mask"}},
                 .run = read},
                {.name = "write",
                 .summary = "Write a register, or some bits of it",
                 .description = "Bits are written by reading the register, changing them and "
                                "writing it back; other programs may write in between.",
                 .arguments = {place_argument(true),
                               {"VALUE", "what to write; of bits, their value from bit 0 on",
                                Number{0, 255, "", true}}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"place", "place", Type::string},
                              {"before", "before", Type::integer, "the whole register"},
                              {"after", "after", Type::integer, "the whole register, read back"}}}},
                 .examples = {{"cpld write TEST 0x5A --yes", "Write the test register"},
                              {"cpld write LED_5 1 --yes", "Set a bit (LED 5: 1 is off)"}},
                 .run = write,
                 .complaint = write_complaint,
                 .asks = write_question},
                {.name = "dump",
                 .summary = "Show all registers that have a name",
                 .arguments = {{"--all", "those without a name too", Flag{}, false}},
                 .output = {{"registers", "Registers", Block::Layout::rows, register_fields}},
                 .examples = {{"cpld dump", "What does the CPLD say?"}},
                 .run = dump},
                {.name = "watch",
                 .summary = "Show changes of registers as they happen",
                 .description = "Polls; what changes and changes back between two polls is missed.",
                 .arguments = {place_argument(false),
                               {"--interval", "time between polls", Number{10, 60000, "ms"}, false,
                                "200"},
                               {"--count", "end after so many polls; 0 does not end",
                                Number{0, 1000000}, false, "0"}},
                 .output = {{"changes", "Changes", Block::Layout::rows, change_fields}},
                 .examples = {{"cpld watch --count 5", "Changes within a second"},
                              {"cpld watch POWER_GOOD --count 5", "Changes of one bit"}},
                 .run = watch,
                 .streams = true},
                {.name = "self-test",
                 .summary = "Write patterns to the test register and read them back",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"passed", "passed", Type::boolean, "a failed test is an error"}}}},
                 .examples = {{"cpld self-test", "Is the CPLD's bus sound?"}},
                 .run = self_test},
                {.name = "heartbeat",
                 .summary = "Tell the CPLD once that the controller is alive",
                 .examples = {{"cpld heartbeat", "One heartbeat"}},
                 .run = heartbeat},
            },
        .meanings = {{"start_cpld_test", -1, "the test register does not read back as written"}},
    };
}

} // namespace boardctl
