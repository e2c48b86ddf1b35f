#include "tests/threads/sanitizer_calls.h"

#include <dlfcn.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "tests/support/import_table.h"

namespace board_test {

namespace {

constexpr std::string_view names[] = {"open",   "open64", "close", "read",     "mmap", "mmap64",
                                      "munmap", "fcntl",  "fstat", "readlink", "stat"};

} // namespace

void free_sanitizer_of_board()
{
    void *const c_library = dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    for_each_import("libtsan.so", [&](const Import &import) {
        if (std::count(std::begin(names), std::end(names), import.name) == 0) {
            return;
        }
        if (void *const function = dlsym(c_library, import.name); function != nullptr) {
            *import.place = function;
        }
    });
}

} // namespace board_test
