// The boot loader's environment and the serial port.

#include <poll.h>
#include <termios.h>

#include <algorithm>
#include <string_view>

#include "tests/operations/operation.h"

namespace board_test {

namespace {

using enum Reach;

void put_environment(Board &board)
{
    using namespace std::string_view_literals;
    constexpr std::string_view entries = "bootdelay=3\0baudrate=115200\0ver=2.1\0"sv;
    constexpr size_t checksum = 4;
    board.act([&] {
        virtual_board::EnvironmentPartition::Bytes block(virtual_board::EnvironmentPartition::size);
        std::copy(entries.begin(), entries.end(), block.begin() + checksum);
        board.environment().set_bytes(block);
    });
}

#define ENVIRONMENT(function, ...)                                                                 \
    LibraryOperation                                                                               \
    {                                                                                              \
#function, calls,                                                                          \
        {                                                                                          \
            {                                                                                      \
                "", with(function, __VA_ARGS__), 0, put_environment                                \
            }                                                                                      \
        }                                                                                          \
    }

Operations environment_operations()
{
    return {
        ONE(nothing, 0, crc32, 0, out, 0),
        {"get_uboot_env",
         calls,
         {{"found", with(get_uboot_env, "bootdelay", out, 64), 0, put_environment},
          {"not found", with(get_uboot_env, "nothing", out, 64), 0, put_environment}}},
        {"set_uboot_env",
         calls,
         {{"new", with(set_uboot_env, "fresh", "1"), 0, put_environment},
          {"replaced", with(set_uboot_env, "bootdelay", "5"), 0, put_environment},
          {"deleted", [] { return set_uboot_env("bootdelay", nullptr); }, 0, put_environment}}},
        {"print_uboot_env",
         calls,
         {{"one", with(print_uboot_env, "bootdelay"), 0, put_environment},
          {"all", [] { return print_uboot_env(nullptr); }, 0, put_environment}}},
        ENVIRONMENT(get_uboot_baudrate, out, 64),
        ENVIRONMENT(set_uboot_baudrate, "7"),
        ENVIRONMENT(get_uboot_bootdelay, out, 64),
        ENVIRONMENT(set_uboot_bootdelay, "7"),
        ENVIRONMENT(get_uboot_bootorder, out, 64),
        ENVIRONMENT(set_uboot_bootorder, "7"),
        ENVIRONMENT(get_uboot_bootretrynum, out, 64),
        ENVIRONMENT(set_uboot_bootretrynum, "7"),
        ENVIRONMENT(get_uboot_ethaddr, out, 64),
        ENVIRONMENT(set_uboot_ethaddr, "7"),
        ENVIRONMENT(get_uboot_ipaddr, out, 64),
        ENVIRONMENT(set_uboot_ipaddr, "7"),
        ENVIRONMENT(get_uboot_serverip, out, 64),
        ENVIRONMENT(set_uboot_serverip, "7"),
        ENVIRONMENT(get_uboot_gatewayip, out, 64),
        ENVIRONMENT(set_uboot_gatewayip, "7"),
        ENVIRONMENT(get_uboot_netmask, out, 64),
        ENVIRONMENT(set_uboot_netmask, "7"),
        ENVIRONMENT(get_uboot_neverboot, out, 64),
        ENVIRONMENT(set_uboot_neverboot, "7"),
        ENVIRONMENT(get_uboot_fac_resume, out, 64),
        ENVIRONMENT(set_uboot_fac_resume, "7"),
        ENVIRONMENT(get_uboot_version, out, 64),
        ENVIRONMENT(get_uboot_bootvalidflag, 0, out, 64),
        ENVIRONMENT(set_uboot_bootvalidflag, 1, "1"),
        ENVIRONMENT(get_uboot_imageversion, 0, out, 64),
        ENVIRONMENT(set_uboot_imageversion, 1, "2.2"),
    };
}

void open_uart(Board &board)
{
    board.act([&] { board.fpga().baud_divisor = {1, 0}; });
    uart_init(0, 0);
}

// The terminal passes the bytes on in its own time.
void console_sends(Board &board)
{
    open_uart(board);
    tcflush(serial_handle[0], TCIFLUSH);
    board.uart().send("hello");
    pollfd arrival = {serial_handle[0], POLLIN, 0};
    poll(&arrival, 1, 5000);
}

// The FPGA prescribes another rate than the one in force.
void change_rate(Board &board)
{
    open_uart(board);
    set_opt(serial_handle[0], 115200, 8, 'N', 1);
    board.act([&] { board.fpga().baud_divisor = {2, 0}; });
}

const uint8_t hello[] = {'h', 'e', 'l', 'l', 'o'};

constexpr const char *shuts = "opens or closes the port that every other thread works with";

Operations uart_operations()
{
    const auto set_frame = [] {
        return static_cast<long long>(set_opt(serial_handle[0], 19200, 8, 'N', 1));
    };
    return {
        {"set_opt", calls, {{"", set_frame, 0, open_uart, true}}},
        {"open_port",
         calls,
         {{.name = "",
           .call = with(open_port, 0),
           .good = a_descriptor,
           .change = {.descriptors = 1}}},
         "the caller owns the descriptor, which a run would pile up"},
        {"uart_init",
         calls,
         {{.name = "",
           .call = with(uart_init, 0, 0),
           .good = a_descriptor,
           .change = {.descriptors = 1, .takes = {"uart_open_lock"}},
           .undo = [] { uart_close(0); }}},
         shuts},
        {"uart_close",
         calls,
         {{.name = "",
           .call = with(uart_close, 0),
           .prepare = open_uart,
           .change = {.descriptors = -1, .gives = {"uart_open_lock"}}}},
         shuts},
        {"uart_read", calls, {{"", with(uart_read, 0, out, 64), 5, console_sends, true}}},
        {"uart_write", calls, {{"", with(uart_write, 0, hello, 5), 5, open_uart, true}}},
        {"get_current_baud", calls, {{"", with(get_current_baud, 0), 115200, open_uart, true}}},
        {"update_uart_baud", calls, {{"", with(update_uart_baud, 0), 0, change_rate, true}}},
    };
}

} // namespace

Operations boot_operations()
{
    Operations joined = environment_operations();
    for (LibraryOperation &operation : uart_operations()) {
        joined.push_back(std::move(operation));
    }
    return joined;
}

} // namespace board_test
