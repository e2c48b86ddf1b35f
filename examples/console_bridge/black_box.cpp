#include "console_bridge/black_box.h"

#include <board_hal.h>

#include <utility>

namespace console_bridge {

namespace {

constexpr uint32_t piece_size = 1024;
constexpr uint32_t word_size = 4;
constexpr unsigned attempts_max = 4;

// Appends a piece. The fetch is ended on failure, too.
int fetch_piece(uint32_t offset, std::string &record)
{
    int result = get_blackbox_data_prepare(offset, piece_size);
    for (uint32_t done = 0; result == 0 && done < piece_size; done += word_size) {
        uint32_t word = 0;
        result = get_blackbox_data(&word);
        for (uint32_t i = 0; result == 0 && i < word_size; ++i) {
            record += static_cast<char>(word >> (8 * i) & 0xFF);
        }
    }
    const int ended = set_blackbox_data_done();
    return result != 0 ? result : ended;
}

// One piece beyond `size`, to see that the record ends before.
int fetch_all(uint32_t size, const std::function<void()> &meanwhile, std::string &record)
{
    record.clear();
    for (uint32_t offset = 0; offset < size + piece_size; offset += piece_size) {
        const int result = fetch_piece(offset, record);
        if (result != 0) {
            return result;
        }
        meanwhile();
    }
    return 0;
}

std::string without_zeros_behind(const std::string &bytes)
{
    return bytes.substr(0, bytes.find_last_not_of('\0') + 1);
}

} // namespace

std::string fetch_black_box(uint32_t size, const std::function<void()> &meanwhile,
                            std::string &record)
{
    if (!black_box_has_record()) {
        return "it holds no record";
    }
    std::string complaint;
    std::string before;
    for (unsigned attempt = 0; attempt < attempts_max; ++attempt) {
        std::string bytes;
        const int result = fetch_all(size, meanwhile, bytes);
        if (result != 0) {
            complaint = "the FPGA does not give it (" + std::to_string(result) + ")";
            continue;
        }
        bytes = without_zeros_behind(bytes);
        if (bytes == before && !bytes.empty()) {
            record = std::move(bytes);
            return record.size() <= size ? ""
                                         : "it holds more than " + std::to_string(size) + " bytes";
        }
        complaint = bytes.empty() ? "it holds nothing but zeros" : "it changes while it is fetched";
        before = std::move(bytes);
    }
    return complaint;
}

bool black_box_has_record()
{
    uint32_t present = 0;
    return get_blackbox_data_lenth(&present) == 0 && present == 1;
}

} // namespace console_bridge
