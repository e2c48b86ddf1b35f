// Device handles of the FPGA, the I2C adapter and the RTC, and the FPGA's
// housekeeping requests.

#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "board_hal.h"
#include "common/fpga_driver.h"

namespace board_hal {

pthread_mutex_t fpga_request_lock = PTHREAD_MUTEX_INITIALIZER;

} // namespace board_hal

using namespace board_hal;

namespace {

// Held from a successful open to the clean-up, possibly of another thread.
pthread_mutex_t fpga_open_lock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t rtc_open_lock = PTHREAD_MUTEX_INITIALIZER;

int fpga_open_failed()
{
    puts("fpga_init: cann't open device");
    pthread_mutex_unlock(&fpga_open_lock);
    return -3;
}

// Asks the driver for one word and keeps its low byte when the driver answers
// 0; its answer is the operation's result, a positive one too.
int request_byte(unsigned long request, uint8_t *val)
{
    if (val == nullptr) {
        puts("invalid argument\r");
        return -2;
    }
    const MutexGuard guard(fpga_request_lock);
    int32_t word = 0;
    const int result = ioctl(dev_handle, request, &word);
    if (answered_zero(result)) {
        *val = static_cast<uint8_t>(word);
    }
    return result;
}

} // namespace

extern "C" {

int32_t dev_handle;
int32_t dev_handle_i2c;
int32_t dev_handle_rtc;

int fpga_Init(void)
{
    if (pthread_mutex_trylock(&fpga_open_lock) != 0) {
        puts("fpga_init: fpga device already opened");
        return -4;
    }
    dev_handle = open("/dev/ipmc_fpga", O_RDWR);
    if (dev_handle < 0) {
        return fpga_open_failed();
    }
    dev_handle_i2c = open("/dev/i2c-0", O_RDWR);
    if (dev_handle_i2c < 0) {
        // The FPGA descriptor stays open: the start-up sequence closes both
        // with fpga_clean.
        return fpga_open_failed();
    }
    return 0;
}

int fpga_clean(void)
{
    close(dev_handle);
    close(dev_handle_i2c);
    return pthread_mutex_unlock(&fpga_open_lock);
}

int rtc_init(void)
{
    if (pthread_mutex_trylock(&rtc_open_lock) != 0) {
        puts("rtc_init: rtc device already opened");
        return -4;
    }
    // The lock covers the opening alone; a later call opens the device anew.
    dev_handle_rtc = open("/dev/rtc", O_RDWR);
    const bool opened = dev_handle_rtc >= 0;
    if (!opened) {
        puts("rtc_init: cann't open device");
    }
    pthread_mutex_unlock(&rtc_open_lock);
    return opened ? 0 : -3;
}

int fpga_start(void)
{
    const MutexGuard guard(fpga_request_lock);
    int32_t error = 0;
    const int result = ioctl(dev_handle, fpga_ioc_start, &error);
    if (!answered_zero(result) || error != 0) {
        printf("fpga_start :error number=%d\r\n", error);
        return -5;
    }
    return 0;
}

int get_fpga_version(uint8_t *val)
{
    return request_byte(fpga_ioc_version, val);
}

int get_fpga_selftest(uint8_t *val)
{
    return request_byte(fpga_ioc_selftest, val);
}

int get_fpga_ddr_state(uint8_t *val)
{
    return request_byte(fpga_ioc_ddr_state, val);
}

int set_fpga_ddr_test_start(void)
{
    const MutexGuard guard(fpga_request_lock);
    int32_t error = 0;
    const int result = ioctl(dev_handle, fpga_ioc_ddr_test_start, &error);
    if (!answered_zero(result)) {
        printf("error number=%d\r\n", error);
    }
    return result;
}

int set_fpga_com_state(uint8_t state)
{
    const uint8_t record[] = {fpga_cmd_com_state, state};
    const MutexGuard guard(fpga_request_lock);
    const int result = fpga_write(record, sizeof(record));
    if (!answered_zero(result)) {
        printf("set com state fails retv=0x%x.\r\n", static_cast<unsigned>(result));
    }
    return result;
}

} // extern "C"
