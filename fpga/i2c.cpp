// The I2C masters: channels 0 and 1 in the FPGA, channel 2 on /dev/i2c-0.

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "board_hal.h"
#include "common/fpga_driver.h"
#include "support/byte_count.h"
#include "support/byte_order.h"
#include "support/heap_buffer.h"
#include "support/not_fitted.h"
#include "support/null_check.h"

using namespace board_hal;

namespace {

// Held for a whole transfer with its retries and sleeps, on any channel.
pthread_mutex_t i2c_lock = PTHREAD_MUTEX_INITIALIZER;

constexpr int32_t channel_count = 3;
constexpr int32_t soc_channel = 2;
constexpr int attempts = 5;

// What a call on an FPGA channel passes as its count, whatever the length.
constexpr size_t fpga_transfer_count = 64;
constexpr int32_t fpga_data_max = 64;

// Bytes of the offset at the start of a channel-2 buffer.
constexpr int32_t offset_size = 2;

// Layout of a read record.
constexpr size_t read_header_size = 7;
// Layout of a write record.
constexpr int32_t write_header_size = 6;

struct StatusCode {
    uint8_t mask;
    uint32_t code;
};

// The first bit that is set decides.
constexpr StatusCode controller_states[] = {
    {0x10, 10010},
    {0x08, 10011},
};
constexpr StatusCode bus_states[] = {
    {0x80, 4},
    {0x40, 3},
    {0x20, 2},
    {0x10, 1},
};

template <size_t N> uint32_t decode(const StatusCode (&table)[N], uint8_t byte)
{
    for (const StatusCode &row : table) {
        if ((byte & row.mask) != 0) {
            return row.code;
        }
    }
    return 0;
}

// Every channel but 2 goes to the FPGA; where a negative number is let through,
// it is the FPGA driver that judges it.
constexpr bool on_fpga(int32_t chan)
{
    return chan != soc_channel;
}

// Also refuses negative channels.
constexpr bool channel_refused(int32_t chan)
{
    return static_cast<uint32_t>(chan) >= channel_count;
}

constexpr bool too_long_for_fpga(int32_t chan, int32_t len)
{
    return on_fpga(chan) && len > fpga_data_max;
}

void sleep_ms(int32_t delay_ms)
{
    usleep(static_cast<useconds_t>(count_of(delay_ms)) * 1000);
}

// ---- FPGA channels ----

// Asks for rx_len bytes after writing tx_len. The driver's answer lands on the
// start of the record and is handed on in any case, after a failure too.
int fpga_transfer(int32_t chan, uint8_t addr, const uint8_t *tx, int32_t tx_len, uint8_t *rx,
                  int32_t rx_len, int32_t delay_ms)
{
    uint8_t record[read_header_size + fpga_data_max] = {
        fpga_cmd_i2c_transfer,
        static_cast<uint8_t>(chan),
        addr,
        static_cast<uint8_t>(rx_len),
        static_cast<uint8_t>(tx_len),
        byte_of(static_cast<uint32_t>(delay_ms), 1),
        byte_of(static_cast<uint32_t>(delay_ms), 0),
    };
    if (tx != nullptr) {
        memcpy(record + read_header_size, tx, count_of(tx_len));
    }
    const int result = fpga_read(record, fpga_transfer_count);
    memcpy(rx, record, count_of(rx_len));
    return result;
}

void fill_write_record(uint8_t *record, int32_t chan, uint8_t addr, const uint8_t *data,
                       int32_t len, int32_t delay_ms)
{
    record[0] = fpga_cmd_i2c_transfer;
    record[1] = static_cast<uint8_t>(chan);
    record[2] = addr;
    record[3] = static_cast<uint8_t>(len);
    record[4] = byte_of(static_cast<uint32_t>(delay_ms), 1);
    record[5] = byte_of(static_cast<uint32_t>(delay_ms), 0);
    memcpy(record + write_header_size, data, count_of(len));
}

// ---- Channel 2 ----

// The kernel takes slave addresses in 7-bit form.
i2c_msg message(uint8_t addr, bool read, uint8_t *bytes, int32_t len)
{
    i2c_msg msg = {};
    msg.addr = static_cast<uint16_t>(addr >> 1);
    msg.flags = read ? I2C_M_RD : 0;
    msg.len = static_cast<uint16_t>(count_of(len));
    msg.buf = bytes;
    return msg;
}

int transfer(i2c_msg *messages, uint32_t count)
{
    i2c_rdwr_ioctl_data data = {messages, count};
    return ioctl(dev_handle_i2c, I2C_RDWR, &data);
}

int send(uint8_t addr, const uint8_t *bytes, int32_t len)
{
    // The kernel only reads the bytes of a write message.
    i2c_msg msg = message(addr, false, const_cast<uint8_t *>(bytes), len);
    return transfer(&msg, 1);
}

int receive(uint8_t addr, uint8_t *bytes, int32_t len)
{
    i2c_msg msg = message(addr, true, bytes, len);
    return transfer(&msg, 1);
}

constexpr int positive_becomes(int result, int32_t count)
{
    return result > 0 ? count : result;
}

// The offset in the first two bytes of buf, then the read behind it, in one
// combined transfer.
int soc_read(uint8_t addr, uint8_t *buf, int32_t len, int32_t delay_ms)
{
    i2c_msg messages[] = {message(addr, false, buf, offset_size),
                          message(addr, true, buf + offset_size, len)};
    const int result = transfer(messages, 2);
    sleep_ms(delay_ms);
    return positive_becomes(result, len);
}

// Two transfers with the delay between them; only the read's result counts.
int soc_write_read(uint8_t addr, const uint8_t *tx, int32_t tx_len, uint8_t *rx, int32_t rx_len,
                   int32_t delay_ms)
{
    send(addr, tx, tx_len);
    sleep_ms(delay_ms);
    return positive_becomes(receive(addr, rx, rx_len), rx_len);
}

// Counts the data behind a 2-byte offset, so a single byte counts -1 and is
// tried again like a failure; callers rely on both.
int soc_write(uint8_t addr, const uint8_t *buf, int32_t len, int32_t delay_ms)
{
    const int result = send(addr, buf, len);
    sleep_ms(delay_ms);
    const uint32_t behind_offset = static_cast<uint32_t>(len) - offset_size;
    return positive_becomes(result, static_cast<int32_t>(behind_offset));
}

// ----

// Repeats an attempt until its result is not negative, at most five times with
// the caller's delay in between.
template <typename Attempt> int with_retries(int32_t delay_ms, Attempt attempt)
{
    int result = attempt();
    for (int made = 1; made < attempts && !not_negative(result); ++made) {
        sleep_ms(delay_ms);
        result = attempt();
    }
    return result;
}

bool status_refused(int32_t chan, const uint32_t *status)
{
    if (refused_null(status, "invalid argument\r")) {
        return true;
    }
    if (chan >= channel_count) {
        puts("i2c_query_status: chan is not a valid paramter!!");
        return true;
    }
    return false;
}

} // namespace

extern "C" {

int i2c_read(int32_t chan, uint8_t addr, uint8_t *buf, int32_t len, int32_t delay_ms)
{
    if (refused_null(buf, "the obuffer paramter is invalid!!!")) {
        return -1;
    }
    if (chan >= channel_count) {
        puts("i2c_read: chan is not a valid paramter!!");
        return -2;
    }
    if (too_long_for_fpga(chan, len)) {
        puts("len is a invalid argument \r");
        return -2;
    }
    const MutexGuard guard(i2c_lock);
    return on_fpga(chan) ? fpga_transfer(chan, addr, nullptr, 0, buf, len, delay_ms)
                         : soc_read(addr, buf, len, delay_ms);
}

int i2c_write_read(int32_t chan, uint8_t addr, const uint8_t *tx, int32_t tx_len, uint8_t *rx,
                   int32_t rx_len, int32_t delay_ms)
{
    if (rx == nullptr || tx == nullptr) {
        puts("the obuffer paramter is invalid!!!");
        return -1;
    }
    if (channel_refused(chan)) {
        puts("i2c_write_read: chan is not a valid paramter!!");
        return -2;
    }
    if (too_long_for_fpga(chan, tx_len)) {
        puts("tx_len is a invalid argument \r");
        return -2;
    }
    if (too_long_for_fpga(chan, rx_len)) {
        puts("rx_len is a invalid argument \r");
        return -2;
    }
    const MutexGuard guard(i2c_lock);
    return with_retries(delay_ms, [=] {
        return on_fpga(chan) ? driver_error_negated(
                                   fpga_transfer(chan, addr, tx, tx_len, rx, rx_len, delay_ms))
                             : soc_write_read(addr, tx, tx_len, rx, rx_len, delay_ms);
    });
}

int i2c_write(int32_t chan, uint8_t addr, const uint8_t *buf, int32_t len, int32_t delay_ms)
{
    if (refused_null(buf, "ibuffer is empty!!!")) {
        return -2;
    }
    if (channel_refused(chan)) {
        puts("i2c_write: chan is not a valid paramter!!");
        return -2;
    }
    if (too_long_for_fpga(chan, len)) {
        puts("len is a invalid argument \r");
        return -2;
    }
    const MutexGuard guard(i2c_lock);
    if (!on_fpga(chan)) {
        return with_retries(delay_ms, [=] { return soc_write(addr, buf, len, delay_ms); });
    }
    // Always of the largest size, behind a shorter record zero: the driver is
    // offered 64 bytes in any case, and takes the length from the record, which
    // holds the low byte of a negative one.
    constexpr size_t size = write_header_size + fpga_data_max;
    HeapBuffer record(size);
    if (!record) {
        return -5;
    }
    // Filled for every attempt: the driver may have used it for its own ends.
    return with_retries(delay_ms, [=, bytes = record.data()] {
        memset(bytes, 0, size);
        fill_write_record(bytes, chan, addr, buf, len, delay_ms);
        return driver_error_negated(fpga_write(bytes, fpga_transfer_count));
    });
}

int i2c_reset(int32_t chan)
{
    if (chan >= channel_count) {
        puts("i2c_reset: chan is not a valid paramter!!");
        return -2;
    }
    const uint8_t record[] = {fpga_cmd_i2c_reset, static_cast<uint8_t>(chan)};
    const MutexGuard guard(fpga_request_lock);
    return not_negative(fpga_write(record, 1)) ? 0 : -5;
}

// The driver's success senses of the two status requests are opposite.

int get_i2c_status(int32_t chan, uint32_t *status)
{
    if (status_refused(chan, status)) {
        return -2;
    }
    uint8_t record[] = {fpga_cmd_i2c_status, static_cast<uint8_t>(chan)};
    const MutexGuard guard(fpga_request_lock);
    if (!answered_zero(fpga_read(record, 1))) {
        return -5;
    }
    *status = decode(controller_states, record[0]);
    return 0;
}

int get_i2c_bus_status(int32_t chan, uint32_t *status)
{
    if (status_refused(chan, status)) {
        return -2;
    }
    uint8_t record[] = {fpga_cmd_i2c_bus_status, static_cast<uint8_t>(chan)};
    const MutexGuard guard(fpga_request_lock);
    if (!took_bytes(fpga_read(record, 1))) {
        return -5;
    }
    *status = decode(bus_states, record[0]);
    return 0;
}

int get_max_i2c_num(uint8_t *count)
{
    if (refused_null(count, "get_max_i2c_num: val pointer is null")) {
        return -1;
    }
    *count = channel_count;
    return 0;
}

BOARD_HAL_NOT_FITTED(0, set_i2c_baud, int32_t, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_i2c_baud, int32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(0, i2c_test, int32_t)
BOARD_HAL_NOT_FITTED(0, get_i2c_addr_config, int32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, set_i2c_addr_config, int32_t, uint8_t)

} // extern "C"
