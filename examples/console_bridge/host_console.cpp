#include "console_bridge/host_console.h"

#include <board_hal.h>
#include <stdint.h>

namespace console_bridge {

namespace {

constexpr int nothing_there = -9;
constexpr int failed = -5;

// No FPGA has such a buffer: the length register was misread.
constexpr uint32_t length_max = 65536;

constexpr uint32_t word_size = 4;

} // namespace

int fetch_console(std::string &text)
{
    uint32_t length = 0;
    uint32_t offset = 0;
    const int prepared = get_sol_data_prepare(&length, &offset);
    if (prepared != 0) {
        return prepared == nothing_there ? 0 : prepared;
    }
    if (length > length_max) {
        return failed;
    }
    for (uint32_t done = 0; done < length; done += word_size) {
        uint32_t word = 0;
        const int result = get_sol_data(&word);
        if (result != 0) {
            set_sol_data_done();
            return result;
        }
        for (uint32_t i = 0; i < word_size && done + i < length; ++i) {
            text += static_cast<char>(word >> (8 * i) & 0xFF);
        }
    }
    return set_sol_data_done();
}

} // namespace console_bridge
