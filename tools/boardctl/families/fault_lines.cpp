#include "boardctl/families/fault_lines.h"

#include <board_hal.h>

#include <iterator>

#include "boardctl/families/read.h"

namespace boardctl {

namespace {

constexpr uint32_t items_of_group[] = {8, 4};
constexpr uint32_t machine_check_type = 11;

} // namespace

Value memory_events()
{
    std::string all;
    for (uint32_t group = 0; group < std::size(items_of_group); ++group) {
        for (uint32_t item = 0; item < items_of_group[group]; ++item) {
            uint8_t set = 0;
            const int result = get_memory_event(group, item, &set);
            if (result != 0) {
                return refusal(result);
            }
            if (set == 1) {
                all +=
                    (all.empty() ? "" : " ") + std::to_string(group) + "." + std::to_string(item);
            }
        }
    }
    return all.empty() ? shown_as(text(all), "none") : toned(text(all), Tone::bad);
}

Value machine_check()
{
    uint8_t set = 0;
    const int result = get_cpu_status(0, machine_check_type, &set);
    return given(result, as_fault(set));
}

} // namespace boardctl
