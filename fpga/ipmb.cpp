// IPMB channels: 0 and 1 behind one family of FPGA commands, 2 (the "sm"
// channel) behind another.

#include <algorithm>
#include <errno.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
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

// Channel 0-1 sends and the enable bits; channel 0-1 receives take no lock, so
// that one reader may wait beside a writer.
pthread_mutex_t ipmb_lock = PTHREAD_MUTEX_INITIALIZER;
// Channel 2, both directions.
pthread_mutex_t ipmb_sm_lock = PTHREAD_MUTEX_INITIALIZER;

constexpr int32_t sm_channel = 2;
constexpr useconds_t sm_poll_pause_us = 10000;

constexpr size_t message_max = 254;

// Answer: channel, message length, two unused bytes, message.
constexpr size_t receive_header = 4;
constexpr size_t receive_count = 254;
constexpr size_t receive_area = 259;
constexpr size_t sm_receive_area = 258;
static_assert(sm_receive_area >= receive_header + message_max);

// Record: command, channel, message length, wait value, message. The driver
// takes the length from the record; the count that it is given is always 64.
constexpr size_t send_header = 5;
constexpr size_t send_count = 64;
constexpr size_t send_area = send_header + message_max;

struct StatusCode {
    uint8_t mask;
    int32_t code;
};

// The first match counts.
constexpr StatusCode status_codes[] = {
    {0x80, -10001}, {0x40, -10002}, {0x20, -10003}, {0x10, -10004}, {0x04, -10005},
};

int32_t decode_status(uint8_t status)
{
    for (const StatusCode &row : status_codes) {
        if ((status & row.mask) != 0) {
            return row.code;
        }
    }
    return 0;
}

int receive(FpgaCommand command, uint8_t *record, int32_t wait)
{
    record[0] = command;
    record[1] = byte_of(static_cast<uint32_t>(wait), 1);
    record[2] = byte_of(static_cast<uint32_t>(wait), 0);
    return fpga_read(record, receive_count);
}

// Hands out a received message: as much of it as the caller's buffer holds, and
// its whole length.
int take_message(const uint8_t *answer, uint8_t *buf, int32_t buf_size, uint8_t *chan_out)
{
    *chan_out = answer[0];
    const size_t length = std::min<size_t>(answer[1], message_max);
    memcpy(buf, answer + receive_header, std::min(length, count_of(buf_size)));
    return static_cast<int>(length);
}

int receive_result(int result, const uint8_t *answer, uint8_t *buf, int32_t buf_size,
                   uint8_t *chan_out)
{
    const int checked = driver_error_negated(result);
    return took_bytes(checked) ? take_message(answer, buf, buf_size, chan_out) : checked;
}

bool send_length_refused(int32_t len)
{
    // Signed: a negative length passes and sends an empty message.
    if (len > static_cast<int32_t>(message_max)) {
        printf("len is a invalid argument: %d\r\n", len);
        return true;
    }
    return false;
}

int send(FpgaCommand command, uint8_t *record, int32_t chan, const uint8_t *msg, int32_t len,
         int32_t wait)
{
    const size_t length = count_of(len);
    record[0] = command;
    record[1] = static_cast<uint8_t>(chan);
    record[2] = static_cast<uint8_t>(length);
    record[3] = byte_of(static_cast<uint32_t>(wait), 1);
    record[4] = byte_of(static_cast<uint32_t>(wait), 0);
    memcpy(record + send_header, msg, length);
    return driver_error_negated(fpga_write(record, send_count));
}

int reset(FpgaCommand command, int32_t chan)
{
    const uint8_t record[] = {command, static_cast<uint8_t>(chan)};
    const MutexGuard guard(fpga_request_lock);
    return not_negative(fpga_write(record, 1)) ? 0 : -5;
}

int reset_refused()
{
    // The channel 2 reset shares this text.
    puts("ipmb_reset: chan is not a valid paramter!!");
    return -2;
}

int status_get(bool chan_valid, int32_t chan, int32_t *status)
{
    if (refused_null(status, "invalid argument\r")) {
        return -2;
    }
    if (!chan_valid) {
        puts("ipmb_query_status: chan is not a valid paramter!!");
        return -2;
    }
    uint8_t record[] = {fpga_cmd_ipmb_status, static_cast<uint8_t>(chan)};
    const MutexGuard guard(fpga_request_lock);
    const bool answered = answered_zero(fpga_read(record, 1));
    *status = answered ? decode_status(record[0]) : 0;
    return answered ? 0 : -5;
}

int address_get(FpgaCommand command, uint8_t *addr)
{
    if (refused_null(addr, "invalid argument\r")) {
        return -2;
    }
    uint8_t record[] = {command};
    const MutexGuard guard(fpga_request_lock);
    if (!not_negative(fpga_read(record, 1))) {
        return -5;
    }
    *addr = record[0];
    return 0;
}

int address_set(FpgaCommand command, uint8_t addr)
{
    // Bit 0 is the direction of a transfer, never part of an own address.
    if ((addr & 1) != 0) {
        puts("address is a invalid argument\r");
        return -2;
    }
    const uint8_t record[] = {command, addr};
    const MutexGuard guard(fpga_request_lock);
    return answered_zero(fpga_write(record, 1)) ? 0 : -5;
}

} // namespace

extern "C" {

int ipmb_read(uint8_t *buf, int32_t buf_size, uint8_t *chan_out, int32_t wait)
{
    if (refused_null(buf, "the obuffer paramter is invalid!!!")) {
        return -1;
    }
    uint8_t record[receive_area] = {};
    const int result = receive(fpga_cmd_ipmb_data, record, wait);
    if (!took_bytes(result)) {
        printf("ipmb_read return %d %d %s\n", result, errno, strerror(errno));
    }
    return receive_result(result, record, buf, buf_size, chan_out);
}

int ipmb_sm_read(uint8_t *buf, int32_t buf_size, uint8_t *chan_out, int32_t wait)
{
    if (refused_null(buf, "the obuffer paramter is invalid!!!")) {
        return -1;
    }
    // Paces a polling caller; before the lock, so that a writer gets its turn.
    usleep(sm_poll_pause_us);
    const MutexGuard guard(ipmb_sm_lock);
    HeapBuffer record(sm_receive_area);
    if (!record) {
        return 5; // positive, deliberately: callers tell it from a driver error
    }
    memset(record.data(), 0, sm_receive_area);
    const int result = receive(fpga_cmd_ipmb_sm_data, record.data(), wait);
    return receive_result(result, record.data(), buf, buf_size, chan_out);
}

int ipmb_write(int32_t chan, const uint8_t *msg, int32_t len, int32_t wait)
{
    if (refused_null(msg, "ibuffer is empty!!!")) {
        return -2;
    }
    if (static_cast<uint32_t>(chan) >= static_cast<uint32_t>(sm_channel)) {
        puts("ipmb_write: chan is not a valid paramter!!");
        return -2;
    }
    if (send_length_refused(len)) {
        return -2;
    }
    const MutexGuard guard(ipmb_lock);
    uint8_t record[send_area] = {};
    return send(fpga_cmd_ipmb_data, record, chan, msg, len, wait);
}

int ipmb_sm_write(int32_t chan, const uint8_t *msg, int32_t len, int32_t wait)
{
    if (refused_null(msg, "ibuffer is empty!!!")) {
        return -2;
    }
    if (chan != sm_channel) {
        puts("ipmb_sm_write: chan is not a valid paramter!!");
        return -2;
    }
    if (send_length_refused(len)) {
        return -2;
    }
    const MutexGuard guard(ipmb_sm_lock);
    // Never shorter than the count that the driver is given.
    const size_t size = std::max(send_header + count_of(len), send_count);
    HeapBuffer record(size);
    if (!record) {
        return 5; // positive, deliberately: callers tell it from a driver error
    }
    memset(record.data(), 0, size);
    return send(fpga_cmd_ipmb_sm_data, record.data(), chan, msg, len, wait);
}

int ipmb_reset(int32_t chan)
{
    // Signed: a negative channel passes, and its low byte reaches the driver.
    return chan >= sm_channel ? reset_refused() : reset(fpga_cmd_ipmb_reset, chan);
}

int ipmb_sm_reset(int32_t chan)
{
    return chan != sm_channel ? reset_refused() : reset(fpga_cmd_ipmb_sm_reset, chan);
}

int get_ipmb_status(int32_t chan, int32_t *status)
{
    return status_get(chan == 0 || chan == 1, chan, status);
}

int get_ipmb_sm_status(int32_t chan, int32_t *status)
{
    return status_get(chan == sm_channel, chan, status);
}

int get_ipmb_addr_config(uint8_t *addr)
{
    return address_get(fpga_cmd_ipmb_address, addr);
}

int get_ipmb_sm_addr_config(uint8_t *addr)
{
    return address_get(fpga_cmd_ipmb_sm_address, addr);
}

int set_ipmb_addr_config(uint8_t addr, uint8_t)
{
    return address_set(fpga_cmd_ipmb_address, addr);
}

int set_ipmb_sm_addr_config(uint8_t addr, uint8_t)
{
    return address_set(fpga_cmd_ipmb_sm_address, addr);
}

int get_ipmb_enable(int32_t chan, uint8_t *enabled)
{
    if ((chan != 0 && chan != 1) || enabled == nullptr) {
        return -2;
    }
    uint8_t record[] = {fpga_cmd_ipmb_enable};
    const MutexGuard guard(ipmb_lock);
    const int result = fpga_read(record, 1);
    // The bit stays where it is: callers test for non-zero. Stored also after a
    // failed read: callers must look at the result.
    *enabled = static_cast<uint8_t>(record[0] & 1u << chan);
    return answered_zero(result) ? 0 : -5;
}

int set_ipmb_enable(int32_t chan, uint8_t enable)
{
    if (chan < 0 || chan > sm_channel) {
        printf("chan %d num out of range\r\n", chan);
        return -2;
    }
    const uint8_t record[] = {fpga_cmd_ipmb_enable, static_cast<uint8_t>(chan),
                              static_cast<uint8_t>(enable != 0 ? 1 : 0), 0};
    const MutexGuard guard(ipmb_lock);
    return answered_zero(fpga_write(record, sizeof(record))) ? 0 : -5;
}

// The local channel of other boards: what this board has is channels 0 and 1.

int ipmb_l_reset(int32_t chan)
{
    return ipmb_reset(chan);
}

int get_ipmb_l_status(int32_t chan, int32_t *status)
{
    return get_ipmb_status(chan, status);
}

int get_ipmb_l_addr_config(uint8_t *addr)
{
    return get_ipmb_addr_config(addr);
}

int set_ipmb_l_addr_config(uint32_t addr, uint32_t spare)
{
    return set_ipmb_addr_config(static_cast<uint8_t>(addr), static_cast<uint8_t>(spare));
}

int set_ipmb_l_enable(int32_t chan, uint32_t enable)
{
    return set_ipmb_enable(chan, static_cast<uint8_t>(enable));
}

// Not fitted on this board.

BOARD_HAL_NOT_FITTED(0, ipmb_l_read, uint8_t *, int32_t, uint8_t *, int32_t)
BOARD_HAL_NOT_FITTED(0, ipmb_l_write, int32_t, const uint8_t *, int32_t, int32_t)
BOARD_HAL_NOT_FITTED(0, set_ipmb_baud, int32_t, uint32_t)
BOARD_HAL_NOT_FITTED(0, set_ipmb_l_baud, int32_t, uint32_t)
BOARD_HAL_NOT_FITTED(0, set_ipmb_sm_baud, int32_t, uint32_t)
BOARD_HAL_NOT_FITTED(0, get_ipmb_baud, int32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(0, get_ipmb_l_baud, int32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(0, get_ipmb_sm_baud, int32_t, uint32_t *)
BOARD_HAL_NOT_FITTED(0, get_ipmb_l_enable, int32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, get_ipmb_sm_enable, int32_t, uint8_t *)
BOARD_HAL_NOT_FITTED(0, set_ipmb_sm_enable, int32_t, uint8_t)
BOARD_HAL_NOT_FITTED(0, ipmb_test, int32_t)

} // extern "C"
