#include "boardctl/families/polls.h"

#include <board_hal.h>

#include <algorithm>

#include "boardctl/framework/wait.h"

namespace boardctl {

namespace {

constexpr unsigned polls_of_good = 10;
constexpr unsigned polls_of_hot = 4;

constexpr int not_stable_yet = -14;
constexpr int does_not_apply = -3;

constexpr DiskItem disk_items[] = {disk_p, disk_f, disk_r, disk_v_in_bay, disk_v_empty, disk_good};
constexpr CpuItem cpu_items[] = {cpu_present, cpu_thermal_trip, cpu_hot,
                                 cpu_error,   cpu_iio_error,    cpu_internal_error};

bool is_fault(CpuItem item)
{
    return item != cpu_present;
}

} // namespace

void Polls::poll()
{
    for (uint32_t bay = 0; bay < disk_count_max; ++bay) {
        for (const DiskItem item : disk_items) {
            Answer &answer = disks_[bay][item];
            answer.result = get_disk_status(bay, item, &answer.value);
        }
    }
    for (uint32_t cpu = 0; cpu < cpu_count; ++cpu) {
        for (const CpuItem item : cpu_items) {
            Answer &answer = cpus_[cpu][item];
            answer.result = get_cpu_status(static_cast<int32_t>(cpu), item, &answer.value);
        }
    }
    ++count_;
}

void Polls::run(int64_t count)
{
    for (int64_t done = 0; done < count; ++done) {
        if (done > 0) {
            pause_for(std::chrono::milliseconds(50));
        }
        poll();
    }
}

Value Polls::disk(uint32_t bay, DiskItem item) const
{
    const Answer &answer = disks_[bay][item];
    // This one is answered from the first poll on, but is not meant before.
    const bool too_early = item == disk_good && count_ < polls_of_good;
    if (answer.result == not_stable_yet || too_early) {
        return none(settling);
    }
    return answer.result == does_not_apply ? none()
                                           : given(answer.result, yes_no(answer.value == 1));
}

Value Polls::cpu(uint32_t cpu, CpuItem item) const
{
    const Answer &answer = cpus_[cpu][item];
    if (item == cpu_hot && count_ < polls_of_hot) {
        return none(settling);
    }
    const bool set = answer.value == 1;
    return given(answer.result,
                 toned(yes_no(set), set && is_fault(item) ? Tone::bad : Tone::plain));
}

uint32_t bay_count()
{
    int32_t count = 0;
    get_disk_maximum(&count);
    return std::min(static_cast<uint32_t>(count), disk_count_max);
}

Argument polls_argument()
{
    return {"--polls",
            "how often debounced statuses are polled, 50 ms apart; ten polls in a row "
            "must agree",
            Number{1, 1000}, false, "10"};
}

} // namespace boardctl
