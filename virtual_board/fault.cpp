#include "virtual_board/fault.h"

namespace virtual_board {

const char *to_string(Fault::Kind kind)
{
    static constexpr const char *names[] = {"error", "result",   "late_result", "short_count",
                                            "lie",   "bit_flip", "delay",       "vanish"};
    return names[static_cast<size_t>(kind)];
}

Fault &FaultPlan::add(Fault fault)
{
    faults_.push_back(std::move(fault));
    return faults_.back();
}

const Fault *FaultPlan::strike(const std::string &device, Operation operation, uint32_t address,
                               std::optional<uint64_t> place)
{
    for (Fault &fault : faults_) {
        if (fault.device != device || fault.operation != operation ||
            (fault.address && *fault.address != address) || (fault.place && fault.place != place)) {
            continue;
        }
        if (fault.skip > 0) {
            --fault.skip;
            continue;
        }
        if (fault.times != 0 && fault.hits >= fault.times) {
            continue;
        }
        if (fault.per_mille < 1000 && random_() % 1000 >= fault.per_mille) {
            continue;
        }
        ++fault.hits;
        return &fault;
    }
    return nullptr;
}

} // namespace virtual_board
