// The checksum of an environment block, by this library and by zlib. Both call
// it crc32: each library is loaded with local binding, so that neither takes
// the other's place.

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr std::size_t data_size = 8188;

std::vector<uint8_t> random_block()
{
    std::mt19937 random(1);
    std::vector<uint8_t> data(data_size);
    for (uint8_t &byte : data) {
        byte = static_cast<uint8_t>(random());
    }
    return data;
}

void *crc32_of(const char *library)
{
    void *handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    void *function = handle != nullptr ? dlsym(handle, "crc32") : nullptr;
    if (function == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        exit(1);
    }
    return function;
}

// The two differ in the types of the running value and the count.
using BoardHalCrc32 = uint32_t (*)(uint32_t, const uint8_t *, uint32_t);
using ZlibCrc32 = unsigned long (*)(unsigned long, const uint8_t *, unsigned);

template <typename Crc32> void measure(benchmark::State &state, Crc32 crc32)
{
    const std::vector<uint8_t> data = random_block();
    for (auto iteration : state) {
        static_cast<void>(iteration);
        benchmark::DoNotOptimize(crc32(0, data.data(), static_cast<unsigned>(data.size())));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

} // namespace

int main(int argc, char **argv)
{
    const auto board_hal = reinterpret_cast<BoardHalCrc32>(crc32_of(BOARD_HAL_LIBRARY));
    const auto zlib = reinterpret_cast<ZlibCrc32>(crc32_of("libz.so.1"));
    const std::vector<uint8_t> data = random_block();
    if (board_hal(0, data.data(), data_size) != zlib(0, data.data(), data_size)) {
        fprintf(stderr, "the checksums differ\n");
        return 1;
    }
    benchmark::RegisterBenchmark("crc32/board_hal", measure<BoardHalCrc32>, board_hal);
    benchmark::RegisterBenchmark("crc32/zlib", measure<ZlibCrc32>, zlib);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
