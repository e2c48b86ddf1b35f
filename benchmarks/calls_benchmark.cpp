// Operations that a poller repeats, each beside its floor, and the same from
// many threads at once.

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "benchmarks/drivers.h"
#include "benchmarks/floors.h"
#include "board_hal.h"

namespace {

void repeat(benchmark::State &state, int (*operation)())
{
    for (auto iteration : state) {
        static_cast<void>(iteration);
        benchmark::DoNotOptimize(operation());
    }
}

uint8_t value;
uint8_t message[100];
const uint8_t answer[] = {0x1C, 0x01, 0x00, 0x20, 0x01, 0x01, 0x02, 0x51, 0x00, 0x00};
char text[64];

int get_power()
{
    return get_power_status(0, &value);
}

int get_slot()
{
    return get_slot_id(&value);
}

int serve_kcs()
{
    return kcs_read(message, sizeof(message)) + kcs_write(answer, sizeof(answer));
}

int get_variable()
{
    return get_uboot_env("bootdelay", text, sizeof(text));
}

int power_floor()
{
    return floor_register(&value);
}

int slot_floor()
{
    return floor_request(&value);
}

int kcs_floor()
{
    return floor_kcs(message, sizeof(message), answer, sizeof(answer));
}

int variable_floor()
{
    return floor_environment("bootdelay", text, sizeof(text));
}

// The library that Debian has for the same environment. Bound to its own
// checksum, which has the name of this one's.
struct UbootLibrary {
    using Context = void;
    int (*initialize)(Context **, void *) = nullptr;
    int (*read_config)(Context *, const char *) = nullptr;
    int (*open)(Context *) = nullptr;
    char *(*get)(Context *, const char *) = nullptr;
    void (*close)(Context *) = nullptr;
    Context *context = nullptr;
};
UbootLibrary uboot;

int get_from_uboot_library()
{
    uboot.open(uboot.context);
    char *const found = uboot.get(uboot.context, "bootdelay");
    const int result = found != nullptr && std::strcmp(found, "3") == 0 ? 0 : -1;
    free(found);
    uboot.close(uboot.context);
    return result;
}

template <typename Function> bool load(void *library, const char *name, Function &function)
{
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

bool start_uboot_library()
{
    void *const library = dlopen("libubootenv.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
    if (library == nullptr || !load(library, "libuboot_initialize", uboot.initialize) ||
        !load(library, "libuboot_read_config", uboot.read_config) ||
        !load(library, "libuboot_open", uboot.open) ||
        !load(library, "libuboot_get_env", uboot.get) ||
        !load(library, "libuboot_close", uboot.close)) {
        fprintf(stderr, "%s\n", dlerror());
        return false;
    }
    char config[] = "/tmp/fw_env_XXXXXX";
    const int descriptor = mkstemp(config);
    const std::string line = environment_file() + " 0x0 0x2000\n";
    const bool written =
        write(descriptor, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    close(descriptor);
    const bool ready = written && uboot.initialize(&uboot.context, nullptr) == 0 &&
                       uboot.read_config(uboot.context, config) == 0;
    unlink(config);
    return ready;
}

// One read of the FPGA driver each, under four different locks.
int (*const requests[])() = {
    [] {
        uint8_t slot = 0;
        return get_slot_id(&slot);
    },
    [] {
        uint32_t word = 0;
        return get_fpga_regester(0, &word);
    },
    [] {
        uint8_t byte[1];
        return kcs_read(byte, 1);
    },
    [] {
        uint8_t byte[1];
        return bt_read(byte, 1);
    },
};

void one_lock(benchmark::State &state)
{
    repeat(state, requests[0]);
    state.SetItemsProcessed(state.iterations());
}

void different_locks(benchmark::State &state)
{
    repeat(state, requests[state.thread_index() % 4]);
    state.SetItemsProcessed(state.iterations());
}

// Each operation does what it is measured for.
bool operations_work()
{
    const bool good = get_power() == 0 && get_slot() == 0 && power_floor() == 0 &&
                      slot_floor() == 1 && serve_kcs() == 100 + 12 && kcs_floor() == 12 &&
                      get_variable() == 0 && std::strcmp(text, "3") == 0 && variable_floor() == 0 &&
                      std::strcmp(text, "3") == 0 && get_from_uboot_library() == 0;
    if (!good) {
        fprintf(stderr, "an operation fails on the drivers of the benchmark\n");
    }
    return good;
}

} // namespace

int main(int argc, char **argv)
{
    if (!start_drivers() || !start_uboot_library() || !operations_work()) {
        return 1;
    }
    benchmark::RegisterBenchmark("get_power_status", repeat, get_power);
    benchmark::RegisterBenchmark("get_power_status/floor", repeat, power_floor);
    benchmark::RegisterBenchmark("get_slot_id", repeat, get_slot);
    benchmark::RegisterBenchmark("get_slot_id/floor", repeat, slot_floor);
    benchmark::RegisterBenchmark("kcs", repeat, serve_kcs);
    benchmark::RegisterBenchmark("kcs/floor", repeat, kcs_floor);
    benchmark::RegisterBenchmark("get_uboot_env", repeat, get_variable);
    benchmark::RegisterBenchmark("get_uboot_env/floor", repeat, variable_floor);
    benchmark::RegisterBenchmark("get_uboot_env/libubootenv", repeat, get_from_uboot_library);
    for (const int threads : {1, 2, 4, 8}) {
        benchmark::RegisterBenchmark("one_lock", one_lock)->Threads(threads)->UseRealTime();
        benchmark::RegisterBenchmark("different_locks", different_locks)
            ->Threads(threads)
            ->UseRealTime();
    }
    benchmark::Initialize(&argc, argv);
    silence();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
