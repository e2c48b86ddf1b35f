// The controller's UART. Its rate is never the caller's choice: the FPGA
// prescribes a divisor of 115200.

#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "board_hal.h"
#include "common/fpga_driver.h"
#include "support/mutex_guard.h"
#include "support/not_fitted.h"

using namespace board_hal;

namespace {

constexpr int32_t channel_count = 1;
constexpr char device_path[] = "/dev/ttyS0";

// Held from a successful uart_init to uart_close, possibly of another thread.
pthread_mutex_t uart_open_lock[channel_count] = {PTHREAD_MUTEX_INITIALIZER};
// Held around each single read or write.
pthread_mutex_t uart_io_lock[channel_count] = {PTHREAD_MUTEX_INITIALIZER};

struct DivisorRate {
    int32_t divisor;
    int32_t rate;
};

// Every other divisor, 12 included, means 9600.
constexpr DivisorRate init_rates[] = {
    {1, 115200}, {2, 57600}, {3, 38400}, {6, 19200}, {16, 7200}, {24, 4800}, {32, 3600}, {48, 2400},
};

// A running channel follows these divisors only; deliberately not the same list.
constexpr DivisorRate update_rates[] = {
    {1, 115200}, {2, 57600}, {3, 38400}, {6, 19200}, {12, 9600}, {24, 4800}, {48, 2400},
};

struct RateSpeed {
    int32_t rate;
    speed_t speed;
};

// 7200 and 3600 have no terminal speed: they end as 9600 on the line.
constexpr RateSpeed rate_speeds[] = {
    {2400, B2400},   {4800, B4800},   {9600, B9600},     {19200, B19200},
    {38400, B38400}, {57600, B57600}, {115200, B115200},
};

struct DataBits {
    int32_t bits;
    tcflag_t control;
};

constexpr DataBits data_bits[] = {{7, CS7}, {8, CS8}};

struct Parity {
    char name;
    tcflag_t control;
    tcflag_t input;
};

constexpr Parity parities[] = {
    {'N', 0, 0},
    {'O', PARENB | PARODD, INPCK | ISTRIP},
    {'E', PARENB, INPCK | ISTRIP},
};

bool channel_refused(int32_t chan)
{
    return chan < 0 || chan >= channel_count;
}

template <size_t rows>
int32_t rate_for(const DivisorRate (&table)[rows], int32_t divisor, int32_t otherwise)
{
    for (const DivisorRate &row : table) {
        if (row.divisor == divisor) {
            return row.rate;
        }
    }
    return otherwise;
}

speed_t speed_of(int32_t rate)
{
    for (const RateSpeed &row : rate_speeds) {
        if (row.rate == rate) {
            return row.speed;
        }
    }
    return B9600;
}

int32_t rate_of(speed_t speed)
{
    for (const RateSpeed &row : rate_speeds) {
        if (row.speed == speed) {
            return row.rate;
        }
    }
    return 0;
}

// Adds the frame's flags to attributes that have none; unknown values add none.
void add_frame(termios *attributes, int32_t bits, char parity, int32_t stop)
{
    attributes->c_cflag |= CLOCAL | CREAD;
    for (const DataBits &row : data_bits) {
        if (row.bits == bits) {
            attributes->c_cflag |= row.control;
        }
    }
    for (const Parity &row : parities) {
        if (row.name == parity) {
            attributes->c_cflag |= row.control;
            attributes->c_iflag |= row.input;
        }
    }
    if (stop == 2) {
        attributes->c_cflag |= CSTOPB;
    }
}

bool divisor_read(int fd, int32_t *divisor)
{
    return not_negative(ioctl(fd, fpga_ioc_baud_divisor, divisor));
}

// On a short-lived descriptor of its own, deliberately not dev_handle.
bool divisor_read_apart(int32_t *divisor)
{
    const int fd = open("/dev/ipmc_fpga", O_RDWR);
    if (fd < 0) {
        return false;
    }
    const bool done = divisor_read(fd, divisor);
    close(fd);
    return done;
}

// Back to blocking; the second call is deliberate and harmless.
void make_blocking(int fd)
{
    if (fcntl(fd, F_SETFL, 0) < 0) {
        puts("fcntl failed!");
        return;
    }
    printf("fcntl=%d\n", fcntl(fd, F_SETFL, 0));
}

// Standard input, not the new descriptor; deliberate, and nothing depends on it.
void report_standard_input()
{
    if (isatty(STDIN_FILENO) == 1) {
        puts("isatty success!");
    } else {
        puts("standard input is not a terminal device");
    }
}

int init_failed(int32_t chan, int result)
{
    pthread_mutex_unlock(&uart_open_lock[chan]);
    return result;
}

} // namespace

extern "C" {

int32_t serial_handle[channel_count];

int set_opt(int32_t fd, int32_t speed, int32_t bits, char parity, int32_t stop)
{
    // Only proves that this is a terminal: nothing of what it had is kept.
    termios attributes;
    if (tcgetattr(fd, &attributes) != 0) {
        perror("SetupSerial fail");
        return -1;
    }
    attributes = {};
    add_frame(&attributes, bits, parity, stop);
    cfsetispeed(&attributes, speed_of(speed));
    cfsetospeed(&attributes, speed_of(speed));
    // A read returns at once with what is there.
    attributes.c_cc[VTIME] = 0;
    attributes.c_cc[VMIN] = 0;
    tcflush(fd, TCIFLUSH);
    if (tcsetattr(fd, TCSANOW, &attributes) != 0) {
        perror("com set error");
        return -1;
    }
    puts("set done!");
    return 0;
}

int open_port(int32_t chan)
{
    if (channel_refused(chan)) {
        return -1;
    }
    const int fd = open(device_path, O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        perror("Can't Open Serial Port");
        return -1;
    }
    printf("open %s .....\n", device_path);
    make_blocking(fd);
    report_standard_input();
    printf("fd-open=%d\n", fd);
    return fd;
}

int uart_init(int32_t chan, int32_t)
{
    if (channel_refused(chan)) {
        printf("uart_init: arg chan is invalid [%d]\n", chan);
        return -2;
    }
    int32_t divisor = 0;
    if (!divisor_read(dev_handle, &divisor)) {
        puts("get baud rate fails.");
        return -3;
    }
    const int32_t rate = rate_for(init_rates, divisor, 9600);
    if (pthread_mutex_trylock(&uart_open_lock[chan]) != 0) {
        puts("uart_init: serial device already opened");
        return -4;
    }
    serial_handle[chan] = open_port(chan);
    if (serial_handle[chan] < 0) {
        printf("uart_init: cann't open uart%d\n", chan);
        return init_failed(chan, -3);
    }
    if (set_opt(serial_handle[chan], rate, 8, 'N', 1) != 0) {
        // Deliberately without a close: the channel has no owner, but its
        // handle still names the open port.
        printf("uart_init: cann't setup uart%d baud\n", chan);
        return init_failed(chan, -5);
    }
    return serial_handle[chan];
}

int uart_close(int32_t chan)
{
    // A channel that does not exist has nothing to close. One that is not open
    // is closed all the same.
    if (channel_refused(chan)) {
        return 0;
    }
    close(serial_handle[chan]);
    serial_handle[chan] = -1;
    return pthread_mutex_unlock(&uart_open_lock[chan]);
}

int uart_read(int32_t chan, uint8_t *buf, uint32_t len)
{
    if (channel_refused(chan) || buf == nullptr) {
        return -2;
    }
    const MutexGuard guard(uart_io_lock[chan]);
    return static_cast<int>(read(serial_handle[chan], buf, len));
}

int uart_write(int32_t chan, const uint8_t *buf, uint32_t len)
{
    if (channel_refused(chan) || buf == nullptr) {
        return -2;
    }
    const MutexGuard guard(uart_io_lock[chan]);
    return static_cast<int>(write(serial_handle[chan], buf, len));
}

int get_current_baud(int32_t chan)
{
    if (channel_refused(chan)) {
        return -2;
    }
    if (serial_handle[chan] <= 0) {
        return -3;
    }
    termios attributes;
    if (tcgetattr(serial_handle[chan], &attributes) != 0) {
        return -5;
    }
    return rate_of(cfgetispeed(&attributes));
}

void update_uart_baud(int32_t chan)
{
    int32_t divisor = 0;
    if (channel_refused(chan) || !divisor_read_apart(&divisor)) {
        return;
    }
    const int32_t rate = rate_for(update_rates, divisor, 0);
    termios attributes;
    if (rate == 0 || tcgetattr(serial_handle[chan], &attributes) != 0) {
        return;
    }
    const speed_t speed = speed_of(rate);
    if (cfgetispeed(&attributes) == speed) {
        return;
    }
    if (cfsetispeed(&attributes, speed) != 0 || cfsetospeed(&attributes, speed) != 0) {
        return;
    }
    if (tcsetattr(serial_handle[chan], TCSANOW, &attributes) != 0) {
        perror("com set error");
    }
}

// Not fitted on this board.

BOARD_HAL_NOT_FITTED(0, set_uart_status, int32_t, uint32_t, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_uart_status, int32_t, uint32_t, uint32_t *)

} // extern "C"
