// Every operation of the library in its normal settings: how the board has to
// be, a call with good arguments, and what comes of it.
#ifndef TESTS_OPERATIONS_OPERATION_H
#define TESTS_OPERATIONS_OPERATION_H

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "board_hal.h"
#include "board_hal_cpld.h"
#include "virtual_board/board.h"

namespace board_test {

using virtual_board::Board;
using virtual_board::Personality;

// How far an operation reaches.
enum class Reach {
    nothing,   // the process alone: no call, no lock, no register
    registers, // CPLD registers and locks: no call that could fail
    calls,     // system calls, allocations, programs
};

// What a success changes in what the library holds.
struct Change {
    int descriptors = 0;
    int mappings = 0;
    std::vector<std::string> takes = {}; // open locks
    std::vector<std::string> gives = {};
};

// A descriptor's number is nobody's choice.
constexpr long long a_descriptor = -4242;

struct Setting {
    std::string name;
    std::function<long long()> call;
    long long good = 0;
    // Before each call; the library is started.
    std::function<void(Board &)> prepare = {};
    bool prepared_once = false; // threads share what the first preparation opens
    Change change = {};
    std::function<void()> undo = {}; // of what a success holds
    bool started = true;             // with ipmc_driver_init()
    Personality board = {};
};

struct LibraryOperation {
    std::string name;
    Reach reach = Reach::nothing;
    std::vector<Setting> settings;
    // Why it is not run beside others in threads; empty if it is.
    std::string alone = {};
    bool slow = false; // no more than once in a run of threads
};

const std::vector<LibraryOperation> &operations();

// ---- for the tables ----

// A caller's memory, one for each thread, large enough for every answer.
uint8_t *scratch();

// Stands for a place in it in a table of arguments: the calling thread's own.
struct Out {
    size_t offset = 0;
    template <typename Type> operator Type *() const
    {
        return reinterpret_cast<Type *>(scratch() + offset);
    }
};
constexpr Out out;
constexpr Out out2{1024};
constexpr Out out3{1536};

// A directory of this run's own, and the path of a file of the board in it.
const std::string &work_directory();
constexpr const char *board_file = "/ko/image.bin";
void put_board_file(Board &board, const std::vector<uint8_t> &bytes);

// The good argument of most types: a place for an answer, or 0.
template <typename Argument> Argument plain_argument()
{
    if constexpr (std::is_pointer_v<Argument>) {
        return static_cast<Argument>(out);
    } else {
        return Argument{};
    }
}

template <typename Result, typename... Arguments>
std::function<long long()> with_plain_arguments(Result (*function)(Arguments...))
{
    return [function] {
        if constexpr (std::is_void_v<Result>) {
            function(plain_argument<Arguments>()...);
            return 0LL;
        } else {
            return static_cast<long long>(function(plain_argument<Arguments>()...));
        }
    };
}

template <typename Result, typename... Parameters, typename... Arguments>
std::function<long long()> with(Result (*function)(Parameters...), Arguments... arguments)
{
    return [=] {
        if constexpr (std::is_void_v<Result>) {
            function(static_cast<Parameters>(arguments)...);
            return 0LL;
        } else {
            return static_cast<long long>(function(static_cast<Parameters>(arguments)...));
        }
    };
}

// The same call for each value of its first argument.
template <typename Maker>
std::vector<Setting> each(std::initializer_list<int> values, const Maker &maker, long long good = 0)
{
    std::vector<Setting> settings;
    for (const int value : values) {
        settings.push_back({std::to_string(value), maker(value), good});
    }
    return settings;
}

// An operation with one setting, and one with many.
#define ONE(reach, good, function, ...)                                                            \
    LibraryOperation                                                                               \
    {                                                                                              \
#function, reach,                                                                          \
        {                                                                                          \
            {                                                                                      \
                "", with(function __VA_OPT__(, ) __VA_ARGS__), good                                \
            }                                                                                      \
        }                                                                                          \
    }
#define MANY(reach, function, ...)                                                                 \
    LibraryOperation                                                                               \
    {                                                                                              \
#function, reach, __VA_ARGS__                                                              \
    }

// Tables of the groups.
using Operations = std::vector<LibraryOperation>;
Operations frame_operations();
Operations fpga_operations();
Operations inventory_operations();
Operations boot_operations();
Operations update_operations();
Operations absent_operations();

} // namespace board_test

#endif
