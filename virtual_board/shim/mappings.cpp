#include "virtual_board/shim/mappings.h"

#include <utility>

namespace virtual_board::shim {

void Mappings::add(void *address, std::shared_ptr<Device> device)
{
    const std::lock_guard guard(lock_);
    devices_[address] = std::move(device);
}

std::shared_ptr<Device> Mappings::remove(void *address)
{
    const std::lock_guard guard(lock_);
    const auto found = devices_.find(address);
    if (found == devices_.end()) {
        return nullptr;
    }
    std::shared_ptr<Device> device = std::move(found->second);
    devices_.erase(found);
    return device;
}

} // namespace virtual_board::shim
