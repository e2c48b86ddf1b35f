#include "board_inventory/polls.h"

#include <board_hal.h>
#include <unistd.h>

namespace board_inventory {

namespace {

constexpr unsigned pause_us = 50000;
constexpr unsigned polls_of_hot = 4;

constexpr int not_stable_yet = -14;
constexpr int does_not_apply = -3;

} // namespace

void Polls::run(unsigned count)
{
    for (unsigned poll = 0; poll < count; ++poll) {
        if (poll > 0) {
            usleep(pause_us);
        }
        for (unsigned bay = 0; bay < disk_count_max; ++bay) {
            poll_disk(bay);
        }
        for (unsigned cpu = 0; cpu < cpu_count; ++cpu) {
            poll_cpu(cpu);
        }
    }
    count_ += count;
}

void Polls::poll_disk(unsigned bay)
{
    for (const DiskItem item : {disk_v_in_bay, disk_v_empty, disk_good}) {
        Answer &answer = disks_[bay][item];
        answer.result = get_disk_status(bay, item, &answer.value);
    }
}

void Polls::poll_cpu(unsigned cpu)
{
    for (const CpuItem item : {cpu_hot, cpu_error}) {
        Answer &answer = cpus_[cpu][item];
        answer.result = get_cpu_status(static_cast<int32_t>(cpu), item, &answer.value);
    }
}

Value Polls::disk(unsigned bay, DiskItem item) const
{
    const Answer &answer = disks_[bay][item];
    // This one is answered from the first poll on, but is not meant before.
    const bool too_early = item == disk_good && count_ < enough;
    if (answer.result == not_stable_yet || too_early) {
        return settling();
    }
    return answer.result == does_not_apply ? none() : given(answer.result, yes_no(answer.value));
}

Value Polls::cpu(unsigned cpu, CpuItem item) const
{
    const Answer &answer = cpus_[cpu][item];
    if (item == cpu_hot && count_ < polls_of_hot) {
        return settling();
    }
    return given(answer.result, yes_no(answer.value));
}

} // namespace board_inventory
