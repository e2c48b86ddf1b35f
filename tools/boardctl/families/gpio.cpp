// The controller's GPIO lines that the library uses.

#include <board_hal.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"
#include "boardctl/framework/failure.h"
#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

constexpr struct {
    int number;
    const char *use;
} lines[] = {
    {48, "FPGA load"},
    {95, "heartbeat LED"},
    {96, "FPGA configured"},
};
constexpr int heartbeat_line = 95;

// A file of a line in sysfs, where the kernel shows GPIO; the library reads no
// line. Empty if the line is not exported.
std::string file_of(int line, const std::string &name)
{
    const std::string path = "/sys/class/gpio/gpio" + std::to_string(line) + "/" + name;
    struct stat status = {};
    const int descriptor =
        stat(path.c_str(), &status) == 0 ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : -1;
    if (descriptor < 0) {
        return {};
    }
    char buffer[16];
    const ssize_t count = read(descriptor, buffer, sizeof(buffer));
    close(descriptor);
    const std::string all(buffer, count > 0 ? static_cast<size_t>(count) : 0);
    return all.substr(0, all.find('\n'));
}

Value level_of(int line)
{
    const std::string level = file_of(line, "value");
    return level.empty() ? none() : number(level == "1" ? 1 : 0);
}

Result show(Context &)
{
    Result result;
    for (const auto &line : lines) {
        const std::string direction = file_of(line.number, "direction");
        result.row("lines", {number(line.number), text(line.use), yes_no(!direction.empty()),
                             direction.empty() ? none() : text(direction), level_of(line.number)});
    }
    return result;
}

// The library answers 0 whatever failed: it prints what did.
void check_silence(Context &context)
{
    const Messages messages = context.take_messages();
    if (!messages.empty()) {
        throw Trouble("the heartbeat LED's line cannot be reached: " + messages.back());
    }
}

Result heartbeat(Context &context)
{
    context.take_messages();
    context.check("set_heart_beat_led", set_heart_beat_led(context.text("LEVEL").c_str()));
    check_silence(context);
    return Result().set("level", level_of(heartbeat_line));
}

Result blink(Context &context)
{
    context.take_messages();
    for (int64_t i = 0; i < context.number("--count"); ++i) {
        context.check("blink_heart_beat_led", blink_heart_beat_led());
        check_silence(context);
        pause_for(std::chrono::milliseconds(context.number("--interval")));
    }
    return Result().set("level", level_of(heartbeat_line));
}

const Field level_field = {"level", "level", Type::integer,
                           "as the line reads; null if it does not", true};

} // namespace

Family gpio_family()
{
    return {
        .name = "gpio",
        .summary = "The controller's own lines",
        .commands =
            {
                {.name = "show",
                 .summary = "Show the lines that the board uses",
                 .output = {{"lines",
                             "Lines",
                             Block::Layout::rows,
                             {{"line", "line", Type::integer},
                              {"use", "use", Type::string},
                              {"exported", "exported", Type::boolean},
                              {"direction", "direction", Type::string,
                               "in or out; null if not exported", true},
                              {"level", "level", Type::integer, "null if not exported", true}}}},
                 .examples = {{"gpio show", "Which lines are set up?"}},
                 .run = show},
                {.name = "heartbeat",
                 .summary = "Drive the heartbeat LED's line",
                 .arguments = {{"LEVEL", "the level", Word{{{"0", 0}, {"1", 1}}}}},
                 .output = {{"", "", Block::Layout::fields, {level_field}}},
                 .examples = {{"gpio heartbeat 1", "Drive it high"}},
                 .run = heartbeat},
                {.name = "blink",
                 .summary = "Blink with the heartbeat LED",
                 .arguments = {{"--count", "how many changes", Number{1, 1000000}, false, "4"},
                               {"--interval", "time between changes", Number{10, 60000, "ms"},
                                false, "200"}},
                 .output = {{"", "", Block::Layout::fields, {level_field}}},
                 .examples = {{"gpio blink", "Which board is it?"}},
                 .run = blink},
            },
    };
}

} // namespace boardctl
