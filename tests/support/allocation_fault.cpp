#include "tests/support/allocation_fault.h"

#include <dlfcn.h>
#include <errno.h>
#include <string.h>

#include <atomic>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define FOREIGN_ALLOCATOR 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FOREIGN_ALLOCATOR 1
#endif

namespace {

std::atomic<bool> armed{false};
std::atomic<size_t> refused_size{0};

} // namespace

namespace board_test {

AllocationFault::AllocationFault()
{
    refused_size = 0;
    armed = true;
}

AllocationFault::~AllocationFault()
{
    armed = false;
}

size_t AllocationFault::refused() const
{
    return refused_size;
}

bool AllocationFault::possible()
{
#ifdef FOREIGN_ALLOCATOR
    return false;
#else
    return true;
#endif
}

} // namespace board_test

#ifndef FOREIGN_ALLOCATOR

extern "C" {

// The C library's own allocator under the name that it keeps for this.
void *__libc_malloc(size_t size);

void *malloc(size_t size)
{
    Dl_info caller = {};
    if (armed && dladdr(__builtin_return_address(0), &caller) != 0 &&
        strstr(caller.dli_fname, "libboard_hal") != nullptr) {
        refused_size = size;
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}

} // extern "C"

#endif
