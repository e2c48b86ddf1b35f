// The real-time clock, which holds local time.

#include <board_hal.h>
#include <sys/time.h>
#include <time.h>

#include <optional>

#include "boardctl/families/families.h"
#include "boardctl/framework/context.h"

namespace boardctl {

namespace {

time_t system_time()
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    return now.tv_sec;
}

std::string shown_time(time_t seconds)
{
    tm local = {};
    char buffer[32];
    localtime_r(&seconds, &local);
    return strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M:%S", &local) == 0 ? "" : buffer;
}

// "now", seconds since the epoch as @N, or a local date and time.
std::optional<time_t> time_from(const std::string &word)
{
    if (word == "now") {
        return system_time();
    }
    if (word.starts_with('@')) {
        const std::optional<int64_t> seconds = number_from(word.substr(1));
        return seconds && *seconds >= 0 ? std::optional<time_t>(static_cast<time_t>(*seconds))
                                        : std::nullopt;
    }
    tm local = {};
    const char *const end = strptime(word.c_str(), "%Y-%m-%dT%H:%M:%S", &local);
    if (end == nullptr || *end != '\0') {
        return {};
    }
    const int day = local.tm_mday;
    local.tm_isdst = -1;
    const time_t seconds = mktime(&local);
    // The 31st of a short month would become the 1st of the next one.
    return seconds == -1 || local.tm_mday != day ? std::nullopt : std::optional<time_t>(seconds);
}

Result read_clock(const Context &context)
{
    time_t seconds = system_time();
    context.check("get_rtc_time", get_rtc_time(&seconds));
    return Result().set("time", text(shown_time(seconds))).set("seconds", number(seconds));
}

Result get(Context &context)
{
    context.check("rtc_init", rtc_init());
    return read_clock(context);
}

Result set(Context &context)
{
    context.check("rtc_init", rtc_init());
    context.check("set_rtc_time", set_rtc_time(*time_from(context.text("TIME"))));
    return read_clock(context);
}

Result sync(Context &context)
{
    context.check("rtc_init", rtc_init());
    context.check("synch_rtc_to_sys", synch_rtc_to_sys());
    return Result().set("time", text(shown_time(system_time())));
}

const Field time_field = {"time", "time", Type::string, "local time"};
const std::vector<Block> clock_blocks = {
    {"",
     "",
     Block::Layout::fields,
     {time_field, {"seconds", "seconds since 1970", Type::integer}}}};

} // namespace

Family rtc_family()
{
    return {
        .name = "rtc",
        .summary = "The real-time clock",
        .commands =
            {
                {.name = "get",
                 .summary = "Show what time it is by the real-time clock",
                 .output = clock_blocks,
                 .examples = {{"rtc get", "Is the clock right?"}},
                 .run = get},
                {.name = "set",
                 .summary = "Set the real-time clock",
                 .arguments = {{"TIME", "local time as 2026-01-31T12:00:00, @SECONDS, or now",
                                Form{"a date and time, @ and seconds since 1970, or \"now\"",
                                     [](const std::string &word) -> std::string {
                                         return time_from(word) ? ""
                                                                : "\"" + word + "\" is no time";
                                     },
                                     {"now"},
                                     {"noon", "", "@", "@x", "@-1", "2026-01-31",
                                      "2026-02-30T12:00:00", "2026-01-31T25:00:00",
                                      "2026-01-31T12:00:00Z"}}}},
                 .output = clock_blocks,
                 .examples = {{"rtc set 2026-01-31T12:00:00 --yes", "Set it by hand"},
                              {"rtc set now --yes", "Set it from the system clock"}},
                 .run = set,
                 .asks = always("Set the real-time clock?")},
                {.name = "sync",
                 .summary = "Set the system clock from the real-time clock",
                 .output = {{"", "", Block::Layout::fields, {time_field}}},
                 .examples = {{"rtc sync --yes", "As it is done at start-up"}},
                 .run = sync,
                 .asks = always("Set the system clock from the real-time clock?")},
            },
        .meanings = {{"rtc_init", -3, "the real-time clock cannot be opened"},
                     {"get_rtc_time", -5, "the real-time clock cannot be read"},
                     {"synch_rtc_to_sys", -5, "the real-time clock cannot be read"},
                     {"set_rtc_time", -2, "the real-time clock refused the time"}},
    };
}

} // namespace boardctl
