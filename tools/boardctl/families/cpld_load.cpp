// Programming the board's CPLDs.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/interrupt.h"
#include "boardctl/framework/progress.h"

namespace boardctl {

namespace {

constexpr int32_t from_the_start = 0;
constexpr uint32_t unused = 0;

Result load(Context &context)
{
    const std::string path = context.text("FILE");
    const auto component = context.as<uint32_t>("COMPONENT");
    Progress progress(context);
    progress.stage("program", "CPLD " + std::to_string(component) +
                                  " may be programmed in part; do not cut the power, load it "
                                  "again");
    context.check(
        "load_cpld",
        Progress::follow([&] { return load_cpld(path.c_str(), component, from_the_start, unused); },
                         [] {}));
    progress.done();
    interrupt::set_state("CPLD " + std::to_string(component) + " is programmed");
    return Result().set("component", number(component)).set("programmed", yes_no(true));
}

std::string question(const Arguments &arguments)
{
    return "Program CPLD " + arguments.text("COMPONENT") + " with " + arguments.text("FILE") + "?";
}

} // namespace

Family cpld_load_family()
{
    return {
        .name = "cpld-load",
        .summary = "Program a CPLD of the board",
        .commands = {{.name = "",
                      .summary = "Program a CPLD with a byte-code file",
                      .description = "The driver runs the program; nobody tells how far it is. An "
                                     "interrupted tool does not stop the driver.",
                      .arguments = {{"FILE", "the program; it must be writable", InputFile{}},
                                    {"COMPONENT", "number of the CPLD", Number{0, 255}}},
                      .output = {{"",
                                  "",
                                  Block::Layout::fields,
                                  {{"component", "component", Type::integer},
                                   {"programmed", "programmed", Type::boolean,
                                    "a failed program is an error"}}}},
                      .examples = {{"cpld-load program.bin 1 --yes", "Program CPLD 1",
                                    "printf 'e\\000\\000____12.1\\177' > program.bin"}},
                      .run = load,
                      .asks = question}},
        .meanings = {{"load_cpld", -1, "the CPLD's device or the file cannot be used"}},
    };
}

} // namespace boardctl
