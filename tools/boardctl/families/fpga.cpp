// The FPGA: its registers, its state, its bitstream.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/read.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/progress.h"

namespace boardctl {

namespace {

uint32_t read_register(const Context &context)
{
    uint32_t value = 0;
    context.check("get_fpga_regester", get_fpga_regester(context.as<int32_t>("REGISTER"), &value));
    return value;
}

Result reg(Context &context)
{
    if (context.has("VALUE")) {
        const auto value = context.as<uint32_t>("VALUE");
        context.check("set_fpga_regester",
                      set_fpga_regester(context.as<int32_t>("REGISTER"), &value));
    }
    return Result()
        .set("register", number(context.number("REGISTER")))
        .set("value", hex(read_register(context), 8));
}

Result version(Context &context)
{
    uint8_t value = 0;
    context.check("get_fpga_version", get_fpga_version(&value));
    return Result().set("version", hex(value));
}

Result status(Context &)
{
    return Result()
        .set("version", read_value(get_fpga_version, as_hex))
        .set("selftest", read_value(get_fpga_selftest, as_hex))
        .set("ddr_state", read_value(get_fpga_ddr_state, as_hex))
        .set("jiffies", read_value(get_jiffies, as_number));
}

Result self_test(Context &context)
{
    uint8_t value = 0;
    context.check("get_fpga_selftest", get_fpga_selftest(&value));
    return Result().set("selftest", hex(value));
}

Result start(Context &context)
{
    context.check("fpga_start", fpga_start());
    return {};
}

Result ddr_test(Context &context)
{
    context.check("set_fpga_ddr_test_start", set_fpga_ddr_test_start());
    uint8_t state = 0;
    context.check("get_fpga_ddr_state", get_fpga_ddr_state(&state));
    return Result().set("ddr_state", hex(state));
}

Result com_state(Context &context)
{
    context.check("set_fpga_com_state", set_fpga_com_state(context.as<uint8_t>("STATE")));
    return {};
}

Result watchdog(Context &context)
{
    if (context.number("ACTION") == 0) {
        context.check("clear_hardware_watchdog", clear_hardware_watchdog());
    } else {
        context.check("stop_hardware_watchdog", stop_hardware_watchdog());
    }
    return {};
}

Result jtag_reset(Context &context)
{
    context.check("reset_cpld_jtag", reset_cpld_jtag());
    return {};
}

Result load(Context &context)
{
    const std::string path = context.text("FILE");
    Progress progress(context);
    progress.stage("load", "the FPGA may be without a bitstream, and the module load_fpga may be "
                           "loaded; load the FPGA again");
    context.check("load_fpga", Progress::follow([&] { return load_fpga(path.c_str()); }, [] {}));
    progress.done();
    interrupt::set_state("the FPGA is loaded");
    return Result().set("configured", yes_no(true));
}

std::string reg_question(const Arguments &arguments)
{
    return arguments.has("VALUE") ? "Write " + arguments.text("VALUE") + " to FPGA register " +
                                        arguments.text("REGISTER") + "?"
                                  : "";
}

std::string watchdog_question(const Arguments &arguments)
{
    return arguments.number("ACTION") == 1 ? "Stop the hardware watchdog?" : "";
}

Field refusable(const std::string &key, const std::string &heading, const std::string &help = {})
{
    return {key, heading, Type::integer, help, false, true};
}

} // namespace

Family fpga_family()
{
    return {
        .name = "fpga",
        .summary = "The FPGA: registers, state, bitstream",
        .commands =
            {
                {.name = "reg",
                 .summary = "Read a register, or write it and read it back",
                 .arguments = {{"REGISTER", "number of the register", Number{0, 0xFFFF}},
                               {"VALUE", "what to write", Number{0, UINT32_MAX, "", true}, false}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"register", "register", Type::integer},
                              {"value", "value", Type::integer, "32 bits, as it reads now"}}}},
                 .examples = {{"fpga reg 450", "What board id was the FPGA told?"},
                              {"fpga reg 450 0x10 --yes", "Tell it another one"}},
                 .run = reg,
                 .asks = reg_question},
                {.name = "version",
                 .summary = "Show the FPGA's version",
                 .output =
                     {{"", "", Block::Layout::fields, {{"version", "version", Type::integer}}}},
                 .examples = {{"fpga version", "Which bitstream is loaded?"}},
                 .run = version},
                {.name = "status",
                 .summary = "Show version, self test, DDR memory and the driver's clock",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {refusable("version", "version"), refusable("selftest", "self test"),
                              refusable("ddr_state", "DDR memory"),
                              refusable("jiffies", "driver's jiffies")}}},
                 .examples = {{"fpga status", "Is the FPGA well?"}},
                 .run = status},
                {.name = "self-test",
                 .summary = "Show the result of the FPGA's self test",
                 .output =
                     {{"", "", Block::Layout::fields, {{"selftest", "self test", Type::integer}}}},
                 .examples = {{"fpga self-test", "Did it pass?"}},
                 .run = self_test},
                {.name = "ddr-test",
                 .summary = "Start the test of the FPGA's DDR memory",
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"ddr_state", "DDR memory", Type::integer,
                               "right after the start"}}}},
                 .examples = {{"fpga ddr-test --yes", "Test the memory"}},
                 .run = ddr_test,
                 .asks = always("Test the FPGA's memory? What it holds is lost.")},
                {.name = "start",
                 .summary = "Start the FPGA",
                 .examples = {{"fpga start --yes", "After a load"}},
                 .run = start,
                 .asks = always("Start the FPGA?")},
                {.name = "com-state",
                 .summary = "Tell the FPGA the communication state",
                 .arguments = {{"STATE", "the state", Number{0, 255}}},
                 .examples = {{"fpga com-state 1", "Communication is up"}},
                 .run = com_state},
                {.name = "watchdog",
                 .summary = "Kick or stop the hardware watchdog",
                 .arguments = {{"ACTION", "what to do", Word{{{"kick", 0}, {"stop", 1}}}}},
                 .examples = {{"fpga watchdog kick", "The controller is alive"},
                              {"fpga watchdog stop --yes", "Before an update"}},
                 .run = watchdog,
                 .asks = watchdog_question},
                {.name = "jtag-reset",
                 .summary = "Reset the CPLD's JTAG chain",
                 .examples = {{"fpga jtag-reset --yes", "After an update that failed"}},
                 .run = jtag_reset,
                 .asks = always("Reset the CPLD's JTAG chain?")},
                {.name = "load",
                 .summary = "Load a bitstream",
                 .description = "Takes several seconds, in which the FPGA and all that it carries "
                                "are gone: I2C, IPMB, host interfaces, console.",
                 .arguments = {{"FILE", "the bitstream", InputFile{}}},
                 .output = {{"",
                             "",
                             Block::Layout::fields,
                             {{"configured", "configured", Type::boolean,
                               "a bitstream that is not taken is an error"}}}},
                 .examples = {{"fpga load card.bit --yes", "Load a bitstream",
                               "head -c 4000 /dev/zero > card.bit"}},
                 .run = load,
                 .asks = always("Load the FPGA? All that it carries is gone meanwhile.")},
            },
        .meanings = {{"load_fpga", -2, "the helper module or the SPI device cannot be set up"},
                     {"load_fpga", -13, "the bitstream was not sent, or the FPGA did not take it"}},
    };
}

} // namespace boardctl
