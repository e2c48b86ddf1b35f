#include "virtual_board/bus.h"

#include <algorithm>
#include <span>

#include "virtual_board/gpio.h"
#include "virtual_board/modules.h"

namespace virtual_board {

namespace {

// Everything below these is the board's; a name is matched up to its number.
constexpr std::string_view board_devices[] = {
    "/dev/ipmc_", "/dev/i2c-", "/dev/rtc", "/dev/spear_adc", "/dev/spi", "/dev/ttyS", "/dev/mtd",
};
constexpr std::string_view board_trees[] = {Gpio::root, Modules::root};
// Where programs find out about devices. There the board has lists of its own, or
// nothing: what the machine has must not show through.
constexpr std::string_view lists[] = {
    "/proc/mtd", "/proc/bus/i2c", "/dev/i2c/", "/sys/class/mtd", "/sys/class/i2c-dev",
};

bool begins_as_one_of(std::string_view path, std::span<const std::string_view> prefixes)
{
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [path](std::string_view prefix) { return path.starts_with(prefix); });
}

} // namespace

bool Bus::owns(std::string_view path)
{
    return begins_as_one_of(path, board_devices) || begins_as_one_of(path, board_trees) ||
           begins_as_one_of(path, lists);
}

bool Bus::may_lack(std::string_view path)
{
    return begins_as_one_of(path, lists);
}

} // namespace virtual_board
