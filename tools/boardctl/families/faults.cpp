// Faults of the host's CPUs, its memory and the RAID card.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/fault_lines.h"
#include "boardctl/families/polls.h"
#include "boardctl/families/read.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

void add_cpus(const Polls &polls, Result &result)
{
    for (uint32_t cpu = 0; cpu < cpu_count; ++cpu) {
        result.row("cpus",
                   {number(cpu), polls.cpu(cpu, cpu_present), polls.cpu(cpu, cpu_thermal_trip),
                    polls.cpu(cpu, cpu_hot), polls.cpu(cpu, cpu_error),
                    polls.cpu(cpu, cpu_iio_error), polls.cpu(cpu, cpu_internal_error)});
    }
}

Result show(Context &context)
{
    Polls polls;
    polls.run(context.number("--polls"));
    Result result;
    add_cpus(polls, result);
    return result.set("other", "machine_check", machine_check())
        .set("other", "memory_events", memory_events())
        .set("other", "raid_card", as_fault(read_raid_err_status() != 0));
}

Result clear_thermal_trip(Context &context)
{
    context.check("clear_cpu_thermaltrip", clear_cpu_thermaltrip(context.as<int32_t>("CPU")));
    return {};
}

Result clear_machine_check(Context &context)
{
    context.check("clear_mcerr_reg", clear_mcerr_reg());
    return {};
}

Result hot_control(Context &context)
{
    context.check("set_hot_ctrl",
                  set_hot_ctrl(context.as<int32_t>("OUTPUT"), context.as<uint8_t>("STATE")));
    return {};
}

Field fault_field(const std::string &key, const std::string &heading, const std::string &help = {})
{
    return {key, heading, Type::boolean, help, true, true};
}

const std::vector<Block> show_blocks = {
    {"cpus",
     "CPUs",
     Block::Layout::rows,
     {{"cpu", "CPU", Type::integer},
      fault_field("present", "present"),
      fault_field("thermal_trip", "thermal trip"),
      fault_field("hot", "hot", "four polls in a row; null before"),
      fault_field("error", "error", "in one of the last eight polls"),
      fault_field("iio_error", "IIO error", "the same line for both CPUs"),
      fault_field("internal_error", "internal error", "the same line for both CPUs")}},
    {"other",
     "Memory and cards",
     Block::Layout::fields,
     {fault_field("machine_check", "machine check"),
      {"memory_events", "memory events", Type::string,
       "lines that are set, as GROUP.ITEM, one blank apart", false, true},
      fault_field("raid_card", "RAID card error")}}};

} // namespace

Family faults_family()
{
    return {
        .name = "faults",
        .summary = "Faults of CPUs, memory and RAID card",
        .commands =
            {
                {.name = "show",
                 .summary = "Show what is wrong",
                 .description = "Looks without clearing anything.",
                 .arguments = {polls_argument()},
                 .output = show_blocks,
                 .examples = {{"faults show", "Why is the fault LED on?"}},
                 .run = show},
                {.name = "clear-thermal-trip",
                 .summary = "Clear the thermal trip of a CPU",
                 .arguments = {{"CPU", "number of the CPU", Number{0, 1}}},
                 .examples = {{"faults clear-thermal-trip 0", "CPU 0 is cool again"}},
                 .run = clear_thermal_trip},
                {.name = "clear-machine-check",
                 .summary = "Clear the machine-check error",
                 .examples = {{"faults clear-machine-check", "Forget the machine check"}},
                 .run = clear_machine_check},
                {.name = "hot-control",
                 .summary = "Drive a hot-control output",
                 .arguments = {{"OUTPUT", "number of the output", Number{0, 4}},
                               {"STATE", "what it becomes", Word{{{"on", 1}, {"off", 0}}}}},
                 .examples = {{"faults hot-control 0 on --yes", "Assert output 0"}},
                 .run = hot_control,
                 .asks = always("Drive a hot-control output?")},
            },
        .meanings = {{"set_hot_ctrl", -1, "there is no such output"}},
    };
}

} // namespace boardctl
