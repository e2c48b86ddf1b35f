// The SoC's analogue-to-digital converter, which samples the battery.

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "board_hal.h"
#include "platform/vos.h"
#include "support/mutex_guard.h"

using namespace board_hal;

namespace {

// Held for the opening and for each configuration request.
pthread_mutex_t adc_lock = PTHREAD_MUTEX_INITIALIZER;

// _IOW('A', 1, 28) and _IOW('A', 2, 16), with the records that they take.
constexpr unsigned long adc_ioc_config = 0x401C4101;
constexpr unsigned long adc_ioc_channel_config = 0x40104102;
constexpr uint32_t adc_config[] = {1, 0, 2500, 0, 0, 14000000, 0};
constexpr uint32_t adc_channel_config[] = {0, 1, 20, 1};
static_assert(sizeof(adc_config) == 28);
static_assert(sizeof(adc_channel_config) == 16);

// A failed configuration is reported but leaves the device usable.
void configure(unsigned long request, const uint32_t *record, const char *failure)
{
    const MutexGuard guard(adc_lock);
    if (ioctl(dev_handle_adc, request, record) < 0) {
        const int error = errno;
        perror(failure);
        printf("\nerror number=%d\r\n", error);
    }
}

// With adc_lock held.
bool open_device(uint8_t n)
{
    char path[20] = {};
    vos_snprintf(path, sizeof(path), "%s%d", "/dev/spear_adc", n);
    dev_handle_adc = open(path, O_RDONLY);
    if (dev_handle_adc >= 0) {
        return true;
    }
    perror("adc_init:open ");
    printf("\nadc_init: cann't open device(%s), dev_handle_adc=%d,\n", path, dev_handle_adc);
    return false;
}

} // namespace

extern "C" {

int32_t dev_handle_adc;

int adc_init(uint8_t n)
{
    if (dev_handle_adc >= 1) {
        puts("adc already init\r");
        return 0;
    }
    // Refused instead of waiting when another initialisation is under way.
    if (pthread_mutex_trylock(&adc_lock) != 0) {
        puts("adc_init: adc device already opened");
        return -4;
    }
    const bool opened = open_device(n);
    pthread_mutex_unlock(&adc_lock);
    if (!opened) {
        return -3;
    }
    configure(adc_ioc_config, adc_config, "adc_config:ioctl");
    configure(adc_ioc_channel_config, adc_channel_config, "adc_channel_config:ioctl");
    return 0;
}

int get_battery_voltage(uint32_t *raw)
{
    if (raw == nullptr) {
        return -1;
    }
    // The count says 1, but the driver delivers its 16-bit code; there is room
    // for a whole word.
    uint8_t sample[4] = {};
    const int result = static_cast<int>(read(dev_handle_adc, sample, 1));
    if (result < 0) {
        return -5;
    }
    *raw = sample[0] + 256u * sample[1];
    return result;
}

} // extern "C"
