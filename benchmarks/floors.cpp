#include "benchmarks/floors.h"

#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "board_hal.h"
#include "board_hal_cpld.h"
#include "platform/vos.h"

namespace {

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t locks[] = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER,
                           PTHREAD_MUTEX_INITIALIZER, PTHREAD_MUTEX_INITIALIZER};

constexpr uint32_t chunk_size = 10240;
constexpr uint32_t environment_size = 8192;
constexpr uint32_t save_size = 1024;
constexpr int save_flags = 0x1000;

void run_on_module(const char *program)
{
    char *const argv[] = {const_cast<char *>(program), const_cast<char *>("/ko/m25p80.ko"),
                          nullptr};
    vos_system(program, argv);
}

void own_bios_flash(bool own)
{
    pthread_mutex_lock(&lock);
    volatile uint8_t *const owner = g_cpld_base_addr + CPLD_REG_BIOS_FLASH;
    *owner = static_cast<uint8_t>(own ? *owner | CPLD_BIOS_OWNER : *owner & ~CPLD_BIOS_OWNER);
    pthread_mutex_unlock(&lock);
}

int copy_with(int flash, int image, uint8_t *source, uint8_t *readback)
{
    mtd_info_user info = {};
    struct stat status = {};
    if (ioctl(flash, MEMGETINFO, &info) != 0 || fstat(image, &status) != 0) {
        return -1;
    }
    const auto length = static_cast<uint32_t>(status.st_size);
    for (uint32_t start = 0; start < length; start += info.erasesize) {
        usleep(10);
        erase_info_user block = {start, info.erasesize};
        if (ioctl(flash, MEMERASE, &block) != 0) {
            return -1;
        }
    }
    for (uint32_t done = 0; done < length; done += chunk_size) {
        const uint32_t chunk = length - done < chunk_size ? length - done : chunk_size;
        usleep(10);
        if (read(image, source, chunk) != static_cast<ssize_t>(chunk) ||
            write(flash, source, chunk) != static_cast<ssize_t>(chunk)) {
            return -1;
        }
    }
    if (lseek(image, 0, SEEK_SET) != 0 || lseek(flash, 0, SEEK_SET) != 0) {
        return -1;
    }
    for (uint32_t done = 0; done < length; done += chunk_size) {
        const uint32_t chunk = length - done < chunk_size ? length - done : chunk_size;
        usleep(10);
        if (read(image, source, chunk) != static_cast<ssize_t>(chunk) ||
            read(flash, readback, chunk) != static_cast<ssize_t>(chunk) ||
            memcmp(source, readback, chunk) != 0) {
            return -1;
        }
    }
    return 0;
}

int read_bios_flash(uint8_t *to, uint32_t size)
{
    for (uint32_t offset = 0; offset < size; offset += save_size) {
        pthread_mutex_lock(&lock);
        const int flash = open("/dev/mtd6", save_flags);
        const bool read_in_full = flash >= 0 &&
                                  lseek(flash, static_cast<off_t>(offset), SEEK_SET) >= 0 &&
                                  read(flash, to + offset, save_size) == save_size;
        close(flash);
        pthread_mutex_unlock(&lock);
        if (!read_in_full) {
            return -1;
        }
        usleep(1);
    }
    return 0;
}

} // namespace

extern "C" {

int floor_register(uint8_t *value)
{
    pthread_mutex_lock(&lock);
    *value = *static_cast<volatile uint8_t *>(g_cpld_base_addr + CPLD_REG_POWER_STATE);
    pthread_mutex_unlock(&lock);
    return 0;
}

int floor_request(uint8_t *value)
{
    uint8_t record = 0x82;
    pthread_mutex_lock(&lock);
    const ssize_t result = read(dev_handle, &record, 1);
    pthread_mutex_unlock(&lock);
    *value = record;
    return static_cast<int>(result);
}

int floor_request_on(unsigned which, uint8_t *value)
{
    uint8_t record = 0x82;
    pthread_mutex_lock(&locks[which]);
    const ssize_t result = read(dev_handle, &record, 1);
    pthread_mutex_unlock(&locks[which]);
    *value = record;
    return static_cast<int>(result);
}

int floor_kcs(uint8_t *in, int in_size, const uint8_t *out, int out_size)
{
    pthread_mutex_lock(&lock);
    in[0] = 0x31;
    const ssize_t received = read(dev_handle, in, static_cast<size_t>(in_size));
    pthread_mutex_unlock(&lock);
    uint8_t record[128] = {0x32};
    pthread_mutex_lock(&lock);
    const ssize_t answered = read(dev_handle, record, 1);
    pthread_mutex_unlock(&lock);
    if (received < 0 || answered < 1 || record[0] != 4) {
        return -1;
    }
    pthread_mutex_lock(&lock);
    record[0] = 0x31;
    record[1] = static_cast<uint8_t>(out_size);
    memcpy(record + 2, out, static_cast<size_t>(out_size));
    const ssize_t sent = write(dev_handle, record, static_cast<size_t>(out_size) + 2);
    pthread_mutex_unlock(&lock);
    return static_cast<int>(sent);
}

int floor_environment(const char *name, char *value, unsigned size)
{
    pthread_mutex_lock(&lock);
    uint8_t copy[environment_size];
    const int device = open("/dev/mtdblock2", O_RDWR);
    void *const mapping =
        mmap(nullptr, environment_size, PROT_READ | PROT_WRITE, MAP_SHARED, device, 0);
    if (device < 0 || mapping == MAP_FAILED) {
        pthread_mutex_unlock(&lock);
        return -1;
    }
    memcpy(copy, mapping, environment_size);
    const size_t length = strlen(name);
    const auto *const end = reinterpret_cast<const char *>(copy) + environment_size;
    for (const auto *entry = reinterpret_cast<const char *>(copy) + 4;
         entry < end && *entry != 0;) {
        const size_t entry_length = strnlen(entry, static_cast<size_t>(end - entry));
        if (strncmp(entry, name, length) == 0 && entry[length] == '=') {
            vos_strncpy(value, size, entry + length + 1, entry_length);
        }
        entry += entry_length + 1;
    }
    munmap(mapping, environment_size);
    close(device);
    pthread_mutex_unlock(&lock);
    return 0;
}

int floor_copy(const char *device, const char *image_path)
{
    auto *const source = static_cast<uint8_t *>(malloc(chunk_size));
    auto *const readback = static_cast<uint8_t *>(malloc(chunk_size));
    const int flash = open(device, O_RDWR | O_SYNC);
    const int image = open(image_path, O_RDONLY);
    int result = -1;
    if (source != nullptr && readback != nullptr && flash >= 0 && image >= 0) {
        result = copy_with(flash, image, source, readback);
    }
    close(image);
    close(flash);
    free(source);
    free(readback);
    return result;
}

int floor_save(const char *path, uint32_t size)
{
    auto *const image = static_cast<uint8_t *>(malloc(size));
    FILE *const file = fopen(path, "w+b");
    if (image == nullptr || file == nullptr) {
        return -1;
    }
    own_bios_flash(true);
    sleep(1);
    run_on_module("/sbin/insmod");
    const bool saved = read_bios_flash(image, size) == 0 && fwrite(image, 1, size, file) == size;
    fclose(file);
    own_bios_flash(false);
    run_on_module("/sbin/rmmod");
    free(image);
    return saved ? 0 : -1;
}

} // extern "C"
