// Loads the FPGA's bitstream over SPI and asks its done line (GPIO 96).

#include <algorithm>
#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include "board_hal.h"
#include "bringup/gpio_files.h"
#include "platform/vos.h"
#include "support/heap_buffer.h"
#include "support/mutex_guard.h"

static_assert(sizeof(spi_ioc_transfer) == 32);
static_assert(SPI_IOC_WR_MODE == 0x40016B01);
static_assert(SPI_IOC_WR_BITS_PER_WORD == 0x40016B03);
static_assert(SPI_IOC_WR_MAX_SPEED_HZ == 0x40046B04);
static_assert(SPI_IOC_MESSAGE(1) == 0x40206B00);

using namespace board_hal;

namespace {

constexpr char staged_path[] = "/tmp/bmc_card.bit";
constexpr size_t chunk_size = 2000;

// Held for the copy and the transfer: both use the staged file.
pthread_mutex_t fpga_load_lock = PTHREAD_MUTEX_INITIALIZER;

// Opened anew by every load and never closed, deliberately: the SPI device
// stays claimed behind a load, and tolerates further opens.
int spi_fd;
uint8_t spi_mode = 0;
uint8_t spi_bits = 8;
uint32_t spi_speed = 50000000;

struct SpiParameter {
    unsigned long request;
    void *value;
    const char *failure;
};

constexpr SpiParameter spi_parameters[] = {
    {SPI_IOC_WR_MODE, &spi_mode, "can't set spi mode."},
    {SPI_IOC_WR_BITS_PER_WORD, &spi_bits, "can't set bits per word."},
    {SPI_IOC_WR_MAX_SPEED_HZ, &spi_speed, "can't set max speed hz."},
};

// GPIO 48 is only made an output; 96 is the done line. Lines that cannot be
// reached do not count, the helper module does.
bool prepare_gpio()
{
    gpio_export_write(gpio_export_path, "48");
    gpio_line_write("/sys/class/gpio/gpio48/direction", "out");
    gpio_export_write(gpio_export_path, "96");
    gpio_line_write("/sys/class/gpio/gpio96/direction", "in");
    const int status = system("insmod /ko/load_fpga.ko");
    return (status | WEXITSTATUS(status)) == 0;
}

bool prepare_spi()
{
    spi_fd = open("/dev/spi", O_RDWR);
    if (spi_fd < 0) {
        puts("open spi device fails.");
        return false;
    }
    for (const SpiParameter &parameter : spi_parameters) {
        if (ioctl(spi_fd, parameter.request, parameter.value) < 0) {
            puts(parameter.failure);
            return false;
        }
    }
    return true;
}

// Runs a program with an option and one or two paths; its result does not
// count. The arguments are only read: the runner's interface is that of execv.
void run(const char *program, const char *option, const char *path, const char *target = nullptr)
{
    char *const argv[] = {const_cast<char *>(program), const_cast<char *>(option),
                          const_cast<char *>(path), const_cast<char *>(target), nullptr};
    vos_system(program, argv);
}

bool read_staged(uint8_t *image, size_t size)
{
    FILE *const file = fopen(staged_path, "r+b");
    if (file == nullptr) {
        puts("open fpga file fails.");
        return false;
    }
    fread(image, 1, size, file);
    fclose(file);
    return true;
}

bool send_chunk(const uint8_t *staging, size_t count)
{
    spi_ioc_transfer transfer = {};
    transfer.tx_buf = reinterpret_cast<uintptr_t>(staging);
    transfer.len = static_cast<uint32_t>(count);
    transfer.speed_hz = spi_speed;
    transfer.bits_per_word = spi_bits;
    if (ioctl(spi_fd, SPI_IOC_MESSAGE(1), &transfer) < 0) {
        printf("can't send spi message");
        return false;
    }
    return true;
}

bool send_image(const uint8_t *image, size_t size)
{
    for (size_t offset = 0; offset < size; offset += chunk_size) {
        uint8_t staging[chunk_size] = {};
        const size_t count = std::min(size - offset, chunk_size);
        memcpy(staging, image + offset, count);
        if (!send_chunk(staging, count)) {
            return false;
        }
    }
    return true;
}

int check_done()
{
    char level = 0;
    if (gpio_line_read("/sys/class/gpio/gpio96/value", &level) != 0 || level != '1') {
        return -1;
    }
    puts("load fpga successfully.");
    return 0;
}

// Sends the staged file as it is now in memory.
int send_staged()
{
    const long size = get_file_length(staged_path);
    if (size < 1) {
        printf("Input para real_len(%ld) is invalid.\n", size);
        return -1;
    }
    const size_t count = static_cast<size_t>(size);
    HeapBuffer image(count);
    if (!image) {
        puts("malloc memory fails.");
        return -1;
    }
    memset(image.data(), 0, count);
    return read_staged(image.data(), count) && send_image(image.data(), count) ? 0 : -1;
}

// The image's memory is released before the done line is asked.
int transfer()
{
    return send_staged() == 0 ? check_done() : -1;
}

int copy_and_transfer(const char *path)
{
    const MutexGuard guard(fpga_load_lock);
    run("/bin/cp", "-f", path, staged_path);
    return transfer();
}

} // namespace

extern "C" {

int load_fpga(const char *path)
{
    if (path == nullptr) {
        puts("invalid argument\r");
        return -2;
    }
    if (!prepare_gpio()) {
        puts("gpio class init failed.");
        return -2;
    }
    if (!prepare_spi()) {
        puts("sspi para set failed.");
        return -2;
    }
    const int result = copy_and_transfer(path);
    run("/bin/rm", "-rf", staged_path);
    system("rmmod load_fpga");
    return result < 0 ? -13 : 0;
}

} // extern "C"
