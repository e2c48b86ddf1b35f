// A live view of the board.

#include <board_hal.h>

#include "boardctl/families/families.h"
#include "boardctl/families/fault_lines.h"
#include "boardctl/families/leds.h"
#include "boardctl/families/polls.h"
#include "boardctl/families/read.h"
#include "boardctl/families/serial_routes.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/render.h"
#include "boardctl/framework/screen.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

using std::chrono::milliseconds;

constexpr uint8_t inlet_sensor = 1;
constexpr uint32_t upgrade_failed = 3;

void add_power(Result &result)
{
    uint8_t on = 0;
    const int told = get_power_status(0, &on);
    result
        .set("power", "host",
             given(told, toned(on_off(on == 1), on == 1 ? Tone::good : Tone::plain)))
        .set("power", "button_pressed", read_value(get_pwr_button, as_yes_no))
        .set("power", "button_locked", read_value(get_power_button_lock_state, as_yes_no))
        .set("power", "acpi_state", read_value(get_acpi_status, as_number));
}

// Names of the faults that a CPU has.
Value faults_of(const Polls &polls, uint32_t cpu)
{
    static constexpr struct {
        CpuItem item;
        const char *name;
    } faults[] = {{cpu_thermal_trip, "thermal trip"},
                  {cpu_hot, "hot"},
                  {cpu_error, "error"},
                  {cpu_iio_error, "IIO error"},
                  {cpu_internal_error, "internal error"}};
    std::string all;
    for (const auto &fault : faults) {
        const Value value = polls.cpu(cpu, fault.item);
        const bool *set = std::get_if<bool>(&value.data);
        if (set != nullptr && *set) {
            all += (all.empty() ? "" : ", ") + std::string(fault.name);
        }
    }
    return all.empty() ? shown_as(text(all), "none") : toned(text(all), Tone::bad);
}

Value temperature()
{
    uint32_t degrees = 0;
    const int result = read_temp_inlet(inlet_sensor, &degrees);
    return given(result, shown_as(number(degrees), std::to_string(degrees) + " C"));
}

void add_upgrade(Result &result)
{
    uint32_t progress = 0;
    uint32_t state = 0;
    get_upgrade_status(&progress, &state);
    result.set("other", "upgrade_percent", number(progress))
        .set("other", "upgrade_state",
             toned(number(state), state == upgrade_failed ? Tone::bad : Tone::plain));
}

Result look(const Polls &polls)
{
    Result result;
    add_power(result);
    for (uint32_t cpu = 0; cpu < cpu_count; ++cpu) {
        result.row("cpus", {number(cpu), polls.cpu(cpu, cpu_present), faults_of(polls, cpu)});
    }
    for (const Led &led : board_leds) {
        const std::vector<Value> row = led_row(led);
        result.row("leds", {row[0], row[3]});
    }
    for (uint32_t bay = 0; bay < bay_count(); ++bay) {
        result.row("disks", {number(bay), polls.disk(bay, disk_p), polls.disk(bay, disk_f),
                             polls.disk(bay, disk_r), polls.disk(bay, disk_good)});
    }
    for (const SerialSide &side : serial_sides) {
        result.set("serial", side.name, endpoint_of(side));
    }
    result.set("other", "inlet_celsius", temperature())
        .set("other", "machine_check", machine_check())
        .set("other", "memory_events", memory_events())
        .set("other", "raid_card_error", as_fault(read_raid_err_status() != 0));
    add_upgrade(result);
    return result;
}

// On a terminal the view is redrawn, elsewhere it is written when it changed.
class View {
public:
    explicit View(Context &context) : context_(context)
    {
        if (context.output().terminal() && !context.json()) {
            screen_.emplace(context);
        }
    }

    // False: nobody looks any more.
    bool show(const Result &result)
    {
        const std::string text = context_.rendered(result);
        if (screen_ || text == last_) {
            context_.take_messages(); // of a view that nobody gets
        }
        if (screen_) {
            return screen_->draw("boardctl watch: q quits", text);
        }
        if (text == last_) {
            return true;
        }
        const std::string block = last_.empty() || context_.json() ? text : "\n" + text;
        last_ = text;
        return context_.emit(result, block.substr(0, block.size() - 1));
    }

    bool quit_within(milliseconds duration)
    {
        if (screen_) {
            return screen_->quit_within(duration);
        }
        pause_for(duration);
        return false;
    }

private:
    Context &context_;
    std::optional<Screen> screen_;
    std::string last_;
};

Result watch(Context &context)
{
    const milliseconds interval(context.number("--interval"));
    const int64_t count = context.number("--count");
    Polls polls;
    View view(context);
    for (int64_t views = 1;; ++views) {
        polls.poll();
        if (!view.show(look(polls)) || views == count || view.quit_within(interval)) {
            return {};
        }
    }
}

Field field(const std::string &key, const std::string &heading, Type type,
            const std::string &help = {})
{
    return {key, heading, type, help, true, true};
}

const std::vector<Block> watch_blocks = {
    {"power",
     "Power",
     Block::Layout::fields,
     {field("host", "host", Type::boolean, "whether the host is on"),
      field("button_pressed", "button pressed", Type::boolean),
      field("button_locked", "button locked", Type::boolean),
      field("acpi_state", "ACPI state", Type::integer, "0 on, 4 off")}},
    {"cpus",
     "CPUs",
     Block::Layout::rows,
     {{"cpu", "CPU", Type::integer},
      field("present", "present", Type::boolean),
      {"faults", "faults", Type::string, "names of its faults"}}},
    {"leds",
     "LEDs",
     Block::Layout::rows,
     {{"led", "LED", Type::integer}, field("lit", "lit", Type::boolean)}},
    {"disks",
     "Disks",
     Block::Layout::rows,
     {{"bay", "bay", Type::integer},
      field("p", "P", Type::boolean),
      field("f", "F", Type::boolean),
      field("r", "R", Type::boolean),
      field("good", "good", Type::boolean, "null until ten polls agree")}},
    {"serial",
     "Serial routing",
     Block::Layout::fields,
     {field("host", "host", Type::integer, "endpoint"),
      field("panel", "panel", Type::integer, "endpoint"),
      field("sol", "serial over LAN", Type::integer, "endpoint"),
      field("auxiliary", "auxiliary port", Type::integer, "endpoint")}},
    {"other",
     "Temperature, memory, cards, upgrade",
     Block::Layout::fields,
     {field("inlet_celsius", "inlet temperature", Type::integer, "degrees Celsius"),
      field("machine_check", "machine check", Type::boolean),
      field("memory_events", "memory events", Type::string, "lines that are set, as GROUP.ITEM"),
      field("raid_card_error", "RAID card error", Type::boolean),
      {"upgrade_percent", "upgrade progress", Type::integer, "percent"},
      {"upgrade_state", "upgrade state", Type::integer, "1 in progress, 3 failed"}}}};

} // namespace

Family watch_family()
{
    return {
        .name = "watch",
        .summary = "A live view of the board",
        .description = "Power, LEDs, faults, disks, serial routing, temperature and the progress "
                       "of upgrades.",
        .commands = {{.name = "",
                      .summary = "Show the board as it is, again and again",
                      .description =
                          "On a terminal the view is redrawn in place; q or Ctrl-C ends it. "
                          "Elsewhere, and with --json, it is written whenever it changed.",
                      .arguments = {{"--interval", "time between views", Number{50, 60000, "ms"},
                                     false, "500"},
                                    {"--count", "end after so many views; 0 does not end",
                                     Number{0, 1000000}, false, "0"}},
                      .output = watch_blocks,
                      .examples = {{"watch --count 3 --interval 100", "Look three times"},
                                   {"watch --count 2 --json", "The same for programs"}},
                      .run = watch,
                      .streams = true}},
    };
}

} // namespace boardctl
