// Copies to and from flash, each beside the same system calls and pauses by
// hand.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "benchmarks/drivers.h"
#include "benchmarks/floors.h"
#include "board_hal.h"

namespace {

constexpr size_t mebibyte = size_t{1} << 20;
constexpr char flash[] = "/dev/mtd5";

std::string image_of(size_t mebibytes)
{
    static std::string images[9];
    std::string &image = images[mebibytes];
    if (image.empty()) {
        image = file_of_memory("image", mebibytes * mebibyte, 1);
    }
    return image;
}

template <int (*Copy)(const char *, const char *)> void copy(benchmark::State &state)
{
    const std::string image = image_of(static_cast<size_t>(state.range(0)));
    for (auto iteration : state) {
        static_cast<void>(iteration);
        if (Copy(flash, image.c_str()) != 0) {
            state.SkipWithError("the copy failed");
            return;
        }
    }
}

template <int (*Save)(const char *, uint32_t)> void save(benchmark::State &state)
{
    const std::string file = file_of_memory("saved", 0, 0);
    for (auto iteration : state) {
        static_cast<void>(iteration);
        if (Save(file.c_str(), static_cast<uint32_t>(8 * mebibyte)) != 0) {
            state.SkipWithError("the flash was not saved");
            return;
        }
    }
}

template <typename Benchmark> Benchmark *timed(Benchmark *registered)
{
    return registered->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(1);
}

} // namespace

int main(int argc, char **argv)
{
    if (!start_drivers()) {
        return 1;
    }
    for (const int size : {1, 2, 4, 8}) {
        timed(benchmark::RegisterBenchmark("mtd_flash_copy", copy<mtd_flash_copy>))->Arg(size);
        timed(benchmark::RegisterBenchmark("mtd_flash_copy/floor", copy<floor_copy>))->Arg(size);
    }
    timed(benchmark::RegisterBenchmark("get_bios", save<get_bios>));
    timed(benchmark::RegisterBenchmark("get_bios/floor", save<floor_save>));
    benchmark::Initialize(&argc, argv);
    silence();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
