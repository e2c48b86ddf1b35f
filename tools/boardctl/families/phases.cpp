#include "boardctl/families/phases.h"

#include <board_hal.h>

#include "boardctl/framework/interrupt.h"

namespace boardctl {

namespace {

class Phases {
public:
    Phases(Progress &progress, const std::vector<Phase> &phases)
        : progress_(progress), phases_(phases)
    {
        begin();
    }

    void reach(uint32_t percent)
    {
        while (percent > phases_[current_].until && current_ + 1 < phases_.size()) {
            next();
        }
        const uint32_t from = current_ == 0 ? 0 : phases_[current_ - 1].until;
        if (percent >= from) {
            progress_.update(percent - from, phases_[current_].until - from);
        }
    }

    void finish()
    {
        while (current_ + 1 < phases_.size()) {
            next();
        }
        progress_.done();
    }

private:
    void begin() { progress_.stage(phases_[current_].name, phases_[current_].state); }

    void next()
    {
        progress_.done();
        ++current_;
        begin();
    }

    Progress &progress_;
    const std::vector<Phase> &phases_;
    size_t current_ = 0;
};

} // namespace

int follow_phases(Progress &progress, const std::vector<Phase> &phases,
                  const std::function<int()> &operation, const std::function<void()> &meanwhile)
{
    set_upgrade_status(0, 0);
    Phases shown(progress, phases);
    const int result = Progress::follow(operation, [&] {
        uint32_t percent = 0;
        uint32_t state = 0;
        get_upgrade_status(&percent, &state);
        shown.reach(percent);
        meanwhile();
    });
    if (result == 0) {
        shown.finish();
    }
    return result;
}

} // namespace boardctl
