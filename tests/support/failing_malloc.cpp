#include "tests/support/failing_malloc.h"

#include <errno.h>
#include <link.h>
#include <stdint.h>
#include <string.h>

extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t count, size_t size);

namespace board_test {

namespace {

struct Range {
    uintptr_t begin = 0;
    uintptr_t end = 0;
};

Range library;
bool armed = false;
bool failed = false;
size_t failed_size = 0;

int find_library(dl_phdr_info *info, size_t, void *)
{
    if (strstr(info->dlpi_name, "libboard_hal.so") == nullptr) {
        return 0;
    }
    library.begin = info->dlpi_addr;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const uintptr_t end =
            info->dlpi_addr + info->dlpi_phdr[i].p_vaddr + info->dlpi_phdr[i].p_memsz;
        if (info->dlpi_phdr[i].p_type == PT_LOAD && end > library.end) {
            library.end = end;
        }
    }
    return 1;
}

bool strikes(const void *caller, size_t size)
{
    const auto address = reinterpret_cast<uintptr_t>(caller);
    if (!armed || address < library.begin || address >= library.end) {
        return false;
    }
    armed = false;
    failed = true;
    failed_size = size;
    errno = ENOMEM;
    return true;
}

} // namespace

void fail_next_malloc()
{
    dl_iterate_phdr(find_library, nullptr);
    failed = false;
    armed = true;
}

std::optional<size_t> failed_malloc()
{
    return failed ? std::optional(failed_size) : std::nullopt;
}

} // namespace board_test

extern "C" void *malloc(size_t size)
{
    return board_test::strikes(__builtin_return_address(0), size) ? nullptr : __libc_malloc(size);
}

// Optimisers make one call of an allocation that is zeroed.
extern "C" void *calloc(size_t count, size_t size)
{
    return board_test::strikes(__builtin_return_address(0), count * size)
               ? nullptr
               : __libc_calloc(count, size);
}
