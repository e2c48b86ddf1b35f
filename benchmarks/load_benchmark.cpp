// What it costs to load the library, beside a library without contents.
//
// load_benchmark --private-memory prints the memory that each takes for itself
// after it has been loaded, in KiB.

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

void load(benchmark::State &state, const char *path)
{
    for (auto iteration : state) {
        static_cast<void>(iteration);
        void *const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            state.SkipWithError(dlerror());
            return;
        }
        dlclose(library);
    }
}

// The pages that no other process shares, of the mappings of a file and of the
// zeroed memory behind them.
unsigned private_kib(const std::string &file)
{
    std::ifstream maps("/proc/self/smaps");
    unsigned total = 0;
    bool counts = false;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (first.find('-') != std::string::npos && first.back() != ':') {
            std::string rights, offset, device, inode, path;
            words >> rights >> offset >> device >> inode >> path;
            counts = path == file || (counts && path.empty());
        } else if (counts && first == "Private_Dirty:") {
            unsigned kib = 0;
            words >> kib;
            total += kib;
        }
    }
    return total;
}

int print_private_memory()
{
    for (const char *const path : {BOARD_HAL_LIBRARY, EMPTY_LIBRARY}) {
        if (dlopen(path, RTLD_NOW | RTLD_LOCAL) == nullptr) {
            fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
    }
    // The loader gives the path as it was resolved.
    char board_hal[4096];
    char empty[4096];
    if (realpath(BOARD_HAL_LIBRARY, board_hal) == nullptr ||
        realpath(EMPTY_LIBRARY, empty) == nullptr) {
        return 1;
    }
    printf("%u %u\n", private_kib(board_hal), private_kib(empty));
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--private-memory") == 0) {
        return print_private_memory();
    }
    benchmark::RegisterBenchmark("load", load, BOARD_HAL_LIBRARY);
    benchmark::RegisterBenchmark("load/floor", load, EMPTY_LIBRARY);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
