#include "tests/support/failing_malloc.h"

#include <errno.h>
#include <link.h>
#include <stdint.h>
#include <string.h>

extern "C" void *__libc_malloc(size_t size);

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

bool strikes(const void *caller)
{
    const auto address = reinterpret_cast<uintptr_t>(caller);
    return armed && address >= library.begin && address < library.end;
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
    using namespace board_test;
    if (strikes(__builtin_return_address(0))) {
        armed = false;
        failed = true;
        failed_size = size;
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}
