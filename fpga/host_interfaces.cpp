// The host's KCS and BT interfaces and the reserved RAM of the FPGA.

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "board_hal.h"
#include "common/fpga_driver.h"
#include "support/byte_count.h"
#include "support/heap_buffer.h"

using namespace board_hal;

namespace {

pthread_mutex_t bt_read_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t bt_write_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t kcs_read_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t kcs_write_lock = PTHREAD_MUTEX_INITIALIZER;

constexpr uint8_t status_idle = 4;

constexpr int32_t bt_receive_max = 252;
constexpr int32_t bt_send_max = 254; // header included
constexpr int32_t kcs_receive_max = 100;
constexpr int32_t kcs_send_max = 100;
constexpr int32_t reserved_ram_size = 1024;

int status_get(FpgaCommand command, int32_t chan, uint8_t *status)
{
    if (status == nullptr || chan != 0) {
        puts("invalid argument\r");
        return -2;
    }
    const MutexGuard guard(fpga_request_lock);
    status[0] = command;
    return took_bytes(fpga_read(status, 1)) ? 0 : -5;
}

int status_set(FpgaCommand command, int32_t chan, uint8_t value)
{
    if (chan != 0) {
        puts("invalid argument\r");
        return -2;
    }
    const uint8_t record[] = {command, value};
    const MutexGuard guard(fpga_request_lock);
    // Positive on failure, deliberately: callers tell it from a refused call.
    return took_bytes(fpga_write(record, sizeof(record))) ? 0 : 5;
}

int receive(FpgaCommand command, pthread_mutex_t &lock, int32_t max, uint8_t *buf, int32_t len)
{
    if (buf == nullptr) {
        puts("obuffer is empty,please allocate memory!!");
        return -2;
    }
    if (len > max) {
        puts("invalid argument\r");
        return -2;
    }
    const MutexGuard guard(lock);
    buf[0] = command;
    return driver_error_negated(fpga_read(buf, count_of(len)));
}

bool send_refused(const uint8_t *message, int32_t len, int32_t max)
{
    if (message == nullptr) {
        puts("ibuffer is empty!!!");
        return true;
    }
    if (len > max) {
        puts("invalid argument\r");
        return true;
    }
    return false;
}

bool reserved_ram_range_refused(int32_t offset, int32_t len)
{
    if (len > reserved_ram_size) {
        puts("len is a invalid argument \r");
        return true;
    }
    if (int64_t{offset} + len > reserved_ram_size) {
        puts("offset is not a valid paramter!!");
        return true;
    }
    return false;
}

bool reserved_ram_seek(int32_t offset)
{
    return lseek(dev_handle, offset, SEEK_SET) == offset;
}

} // namespace

extern "C" {

int get_bt_status(int32_t chan, uint8_t *status)
{
    return status_get(fpga_cmd_bt_status_get, chan, status);
}

int get_kcs_status(int32_t chan, uint8_t *status)
{
    return status_get(fpga_cmd_kcs_status_get, chan, status);
}

int set_bt_status(int32_t chan, uint8_t value)
{
    return status_set(fpga_cmd_bt_status_set, chan, value);
}

int set_kcs_status(int32_t chan, uint8_t value)
{
    return status_set(fpga_cmd_kcs_status_set, chan, value);
}

int bt_read(uint8_t *buf, int32_t len)
{
    return receive(fpga_cmd_bt_data, bt_read_lock, bt_receive_max, buf, len);
}

int kcs_read(uint8_t *buf, int32_t len)
{
    return receive(fpga_cmd_kcs_data, kcs_read_lock, kcs_receive_max, buf, len);
}

// The two sends differ: BT writes its header into the caller's buffer, KCS
// takes the bare message and builds a record. In both, the status is asked
// before the send lock is taken, and a refused send leaves the buffer alone.

int bt_write(uint8_t *buf, int32_t len)
{
    if (send_refused(buf, len, bt_send_max)) {
        return -2;
    }
    uint8_t status = 0;
    if (get_bt_status(0, &status) != 0) {
        puts("bt_write get_bt_status error \r");
        return -5;
    }
    if (status != status_idle) {
        return -9;
    }
    const MutexGuard guard(bt_write_lock);
    buf[0] = fpga_cmd_bt_data;
    buf[1] = static_cast<uint8_t>(static_cast<uint32_t>(len) - 2);
    return driver_error_negated(fpga_write(buf, count_of(len)));
}

int kcs_write(const uint8_t *msg, int32_t len)
{
    if (send_refused(msg, len, kcs_send_max)) {
        return -2;
    }
    uint8_t status = 0;
    if (get_kcs_status(0, &status) != 0) {
        puts("kcs_write:get_kcs_status error \r");
        return -5;
    }
    if (status != status_idle) {
        return -9;
    }
    const MutexGuard guard(kcs_write_lock);
    HeapBuffer record(count_of(len) + 2);
    if (!record) {
        return -5;
    }
    record[0] = fpga_cmd_kcs_data;
    record[1] = static_cast<uint8_t>(len);
    memcpy(record.data() + 2, msg, count_of(len));
    return driver_error_negated(fpga_write(record.data(), count_of(len, 2)));
}

int reserved_ram_read(int32_t offset, uint8_t *buf, int32_t len)
{
    if (buf == nullptr) {
        puts("the obuffer paramter is invalid!!!");
        return -1;
    }
    if (reserved_ram_range_refused(offset, len)) {
        return -2;
    }
    const MutexGuard guard(fpga_request_lock);
    if (!reserved_ram_seek(offset)) {
        return -2;
    }
    buf[0] = fpga_cmd_reserved_ram;
    return fpga_read(buf, count_of(len));
}

int reserved_ram_write(int32_t offset, const uint8_t *data, int32_t len)
{
    if (data == nullptr) {
        puts("the ibuffer paramter is invalid!!!");
        return -1;
    }
    if (reserved_ram_range_refused(offset, len)) {
        return -2;
    }
    const MutexGuard guard(fpga_request_lock);
    HeapBuffer record(count_of(len) + 1);
    if (!record) {
        return 5; // positive, deliberately: callers tell it from a refused call
    }
    record[0] = fpga_cmd_reserved_ram;
    memcpy(record.data() + 1, data, count_of(len));
    if (!reserved_ram_seek(offset)) {
        return -2;
    }
    return fpga_write(record.data(), count_of(len, 1));
}

} // extern "C"
