#include "tests/update/heap_watch.h"

#include <errno.h>
#include <link.h>
#include <stdint.h>
#include <string.h>

#include <atomic>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HEAP_IS_WATCHED 0
#elif defined(__has_feature)
#define HEAP_IS_WATCHED !(__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#else
#define HEAP_IS_WATCHED 1
#endif

namespace board_test {

namespace {

// The allocations of one test case are few; the table itself must not allocate.
constexpr size_t most_allocations = 64;

struct Allocation {
    void *memory;
    size_t size;
};

uintptr_t library_begin;
uintptr_t library_end;
std::atomic_flag guard = ATOMIC_FLAG_INIT;
Allocation made[most_allocations];
size_t count;
size_t held;
size_t peak;
int until_failure = -1;

class Guard {
public:
    Guard()
    {
        while (guard.test_and_set()) {
        }
    }
    ~Guard() { guard.clear(); }
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
};

int find_library(dl_phdr_info *info, size_t, void *)
{
    if (strstr(info->dlpi_name, "libboard_hal.so") == nullptr) {
        return 0;
    }
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const uintptr_t end =
            info->dlpi_addr + info->dlpi_phdr[i].p_vaddr + info->dlpi_phdr[i].p_memsz;
        library_end = end > library_end ? end : library_end;
    }
    library_begin = info->dlpi_addr;
    return 1;
}

} // namespace

bool heap_is_watched()
{
    return HEAP_IS_WATCHED != 0;
}

void watch_heap()
{
    dl_iterate_phdr(find_library, nullptr);
    const Guard lock;
    count = 0;
    held = 0;
    peak = 0;
    until_failure = -1;
}

void fail_allocation(unsigned skip)
{
    const Guard lock;
    until_failure = static_cast<int>(skip);
}

std::vector<size_t> allocations()
{
    std::vector<size_t> sizes;
    sizes.reserve(most_allocations);
    const Guard lock;
    for (size_t i = 0; i < count; ++i) {
        sizes.push_back(made[i].size);
    }
    return sizes;
}

size_t heap_bytes()
{
    return held;
}

size_t heap_peak()
{
    return peak;
}

} // namespace board_test

#if HEAP_IS_WATCHED

extern "C" {

void *__libc_malloc(size_t size);
void __libc_free(void *memory);

void *malloc(size_t size)
{
    using namespace board_test;
    const auto caller = reinterpret_cast<uintptr_t>(__builtin_return_address(0));
    if (caller < library_begin || caller >= library_end) {
        return __libc_malloc(size);
    }
    const Guard lock;
    if (until_failure >= 0 && until_failure-- == 0) {
        errno = ENOMEM;
        return nullptr;
    }
    void *const memory = __libc_malloc(size);
    if (memory != nullptr) {
        memset(memory, 0x5A, size); // never zero by chance
    }
    if (count < most_allocations) {
        made[count++] = {memory, size};
        held += size;
        peak = held > peak ? held : peak;
    }
    return memory;
}

void free(void *memory)
{
    using namespace board_test;
    const auto caller = reinterpret_cast<uintptr_t>(__builtin_return_address(0));
    if (memory != nullptr && caller >= library_begin && caller < library_end) {
        const Guard lock;
        for (size_t i = 0; i < count; ++i) {
            if (made[i].memory == memory) {
                made[i].memory = nullptr;
                held -= made[i].size;
            }
        }
    }
    __libc_free(memory);
}

} // extern "C"

#endif
