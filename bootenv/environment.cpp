// The boot-loader environment on flash: every operation maps the block, works
// on a copy and, where it changed something, writes the whole block back.

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "board_hal.h"
#include "bootenv/crc32.h"
#include "bootenv/env_block.h"
#include "platform/vos.h"
#include "support/byte_order.h"
#include "support/mutex_guard.h"

using namespace board_hal;

namespace {

// Guards the descriptor and the mapping, and with them the whole operation.
pthread_mutex_t env_lock = PTHREAD_MUTEX_INITIALIZER;
int32_t env_fd;
void *env_map;

void env_close()
{
    // No msync: the block device writes the shared pages back by itself.
    munmap(env_map, env_block_size);
    close(env_fd);
}

int env_init()
{
    env_fd = open("/dev/mtdblock2", O_RDWR);
    if (env_fd < 0) {
        puts("env_init: cann't open device");
        return -3;
    }
    env_map = mmap(nullptr, env_block_size, PROT_READ | PROT_WRITE, MAP_SHARED, env_fd, 0);
    if (env_map != nullptr && env_map != MAP_FAILED) {
        return 0;
    }
    const int error = errno;
    puts("env_init: map addr failed");
    errno = error; // of the mapping, not of the console
    perror("mmap");
    // Only the descriptor goes, also after address 0: nothing is mapped there
    // that is ours to take away.
    close(env_fd);
    return -2;
}

// One operation's hold of the environment: the lock, the device and a working
// copy. Unmaps and closes before the lock goes.
class Environment {
public:
    explicit Environment(const char *init_failed)
        : guard_(env_lock), mapping_(env_init() == 0 ? env_map : nullptr)
    {
        if (mapping_ == nullptr) {
            puts(init_failed);
            return;
        }
        vos_memset(copy_, sizeof(copy_), 0, sizeof(copy_));
        vos_memcpy(copy_, sizeof(copy_), mapping_, sizeof(copy_));
    }

    ~Environment()
    {
        if (mapping_ != nullptr) {
            env_close();
        }
    }

    Environment(const Environment &) = delete;
    Environment &operator=(const Environment &) = delete;

    explicit operator bool() const { return mapping_ != nullptr; }
    EnvBlock block() { return EnvBlock(copy_); }

    void write_back()
    {
        store_le32(copy_, crc32_of(0, copy_ + env_data_start, env_data_size));
        vos_memcpy(mapping_, env_block_size, copy_, sizeof(copy_));
    }

private:
    MutexGuard guard_;
    void *mapping_;
    // Last and without padding behind it: the address sanitizer then notices the
    // first byte too many.
    uint8_t copy_[env_block_size];
};
static_assert(sizeof(Environment) == sizeof(MutexGuard) + sizeof(void *) + env_block_size);

int not_terminated(const char *message)
{
    puts(message);
    return -1;
}

int print_not_terminated()
{
    return not_terminated("print_uboot_env: error, environment not terminated");
}

int print_all(ConstEnvBlock block)
{
    EnvEntry entry = env_before_first;
    EnvStep step = env_next(block, entry);
    for (; step == EnvStep::entry; step = env_next(block, entry)) {
        puts(env_text(block, entry));
    }
    return step == EnvStep::end ? 0 : print_not_terminated();
}

int print_one(ConstEnvBlock block, const char *name)
{
    EnvEntry entry = env_before_first;
    switch (env_find(block, name, entry)) {
    case EnvStep::entry:
        printf("%s=%s\n", name, env_match(name, env_text(block, entry)));
        return 0;
    case EnvStep::end:
        printf("print_uboot_env: error,  \"%s\" not defined\n", name);
        return -2;
    case EnvStep::unterminated:
        break;
    }
    return print_not_terminated();
}

// Takes the variable's first entry out; nothing to do if there is none. False
// if the environment is not terminated, be it before the entry or behind it.
bool remove_variable(EnvBlock block, const char *name)
{
    EnvEntry entry = env_before_first;
    const EnvStep step = env_find(block, name, entry);
    return step == EnvStep::entry ? env_remove(block, entry) : step == EnvStep::end;
}

} // namespace

extern "C" {

int get_uboot_env(const char *name, char *buf, uint32_t buflen)
{
    Environment environment("get_uboot_env: env_init failed");
    if (!environment) {
        return -2;
    }
    const ConstEnvBlock block = environment.block();
    EnvEntry entry = env_before_first;
    EnvStep step = env_next(block, entry);
    for (; step == EnvStep::entry; step = env_next(block, entry)) {
        // No stop at a match, deliberately: the last of a name's entries counts,
        // and the block is judged to its end.
        const char *value = env_match(name, env_text(block, entry));
        if (value != nullptr) {
            vos_strncpy(buf, buflen, value, strlen(value));
        }
    }
    if (step == EnvStep::unterminated) {
        return not_terminated("get_uboot_env: error, environment not terminated");
    }
    return 0;
}

int set_uboot_env(const char *name, const char *value)
{
    if (value == nullptr && strcmp(name, "ubootpwd") == 0) {
        puts("set_uboot_env: error, empty password");
        return -2;
    }
    Environment environment("set_uboot_env: env_init failed");
    if (!environment) {
        return -2;
    }
    const EnvBlock block = environment.block();
    if (!remove_variable(block, name)) {
        return not_terminated("set_uboot_env: error, environment not terminated");
    }
    if (value != nullptr && !env_append(block, name, value)) {
        // Not written back, deliberately and whatever the text says: the flash
        // keeps the old value.
        printf("set_uboot_env: error, environment overflow, \"%s\" deleted\n", name);
        return -1;
    }
    environment.write_back();
    return 0;
}

int print_uboot_env(const char *name)
{
    Environment environment("print_uboot_env: env_init failed");
    if (!environment) {
        return -2;
    }
    return name == nullptr ? print_all(environment.block()) : print_one(environment.block(), name);
}

} // extern "C"
