// The CPLD device: its register window and the data that applications share.

#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include "board_hal.h"
#include "board_hal_cpld.h"

namespace {

constexpr uint8_t product_with_chassis_id = 0x81;

// Held from a successful open to the clean-up, possibly of another thread.
pthread_mutex_t cpld_open_lock = PTHREAD_MUTEX_INITIALIZER;
int cpld_fd;

void unmap_and_close()
{
    munmap(g_cpld_base_addr, CPLD_WINDOW_SIZE);
    close(cpld_fd);
}

} // namespace

extern "C" {

uint8_t *g_cpld_base_addr;
uint8_t product_id;
uint8_t chassis_id;

int cpld_init(void)
{
    if (pthread_mutex_trylock(&cpld_open_lock) != 0) {
        puts("cpld_init: cpld device already opened");
        return -4;
    }
    cpld_fd = open("/dev/ipmc_cpld", O_RDWR);
    if (cpld_fd < 0) {
        puts("cpld_init: cann't open device");
        pthread_mutex_unlock(&cpld_open_lock);
        return -3;
    }
    // Only a window at address 0 counts as a failure; callers rely on
    // g_cpld_base_addr holding whatever the mapping call answered.
    g_cpld_base_addr = static_cast<uint8_t *>(
        mmap(nullptr, CPLD_WINDOW_SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, cpld_fd, 0));
    if (g_cpld_base_addr == nullptr) {
        close(cpld_fd);
        puts("cpld_init: map addr failed");
        pthread_mutex_unlock(&cpld_open_lock);
        return -2;
    }
    const bool identified =
        get_product_id(&product_id) == 0 &&
        (product_id != product_with_chassis_id || get_chassis_id(&chassis_id) == 0);
    if (!identified) {
        unmap_and_close();
        pthread_mutex_unlock(&cpld_open_lock);
        return -2;
    }
    return 0;
}

int cpld_clean(void)
{
    // Neither the open state is tested nor the handle reset: the failure paths
    // of ipmc_driver_init rely on an unconditional clean-up.
    unmap_and_close();
    return pthread_mutex_unlock(&cpld_open_lock);
}

} // extern "C"
