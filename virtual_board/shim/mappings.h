// Memory that devices of the board have mapped into the program.
#ifndef VIRTUAL_BOARD_SHIM_MAPPINGS_H
#define VIRTUAL_BOARD_SHIM_MAPPINGS_H

#include <map>
#include <memory>
#include <mutex>

#include "virtual_board/device.h"

namespace virtual_board::shim {

// By their first address, by which programs unmap them. Watched windows are not
// among them; see window_watch.h.
class Mappings {
public:
    void add(void *address, std::shared_ptr<Device> device);
    // Drops a mapping; null if no device mapped anything there.
    std::shared_ptr<Device> remove(void *address);

    void before_fork() { lock_.lock(); }
    void after_fork() { lock_.unlock(); }

private:
    std::mutex lock_;
    std::map<void *, std::shared_ptr<Device>> devices_;
};

} // namespace virtual_board::shim

#endif
