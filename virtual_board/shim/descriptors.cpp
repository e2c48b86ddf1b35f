#include "virtual_board/shim/descriptors.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace virtual_board::shim {

std::shared_ptr<OpenFile> Descriptors::add(int descriptor, std::shared_ptr<OpenFile> file)
{
    const std::lock_guard guard(lock_);
    std::shared_ptr<OpenFile> displaced = std::exchange(files_[descriptor], std::move(file));
    return displaced && !has_number(*displaced) ? displaced : nullptr;
}

std::shared_ptr<OpenFile> Descriptors::find(int descriptor)
{
    const std::lock_guard guard(lock_);
    const auto found = files_.find(descriptor);
    return found == files_.end() ? nullptr : found->second;
}

std::shared_ptr<OpenFile> Descriptors::remove(int descriptor)
{
    const std::lock_guard guard(lock_);
    const auto found = files_.find(descriptor);
    if (found == files_.end()) {
        return nullptr;
    }
    std::shared_ptr<OpenFile> file = std::move(found->second);
    files_.erase(found);
    return has_number(*file) ? nullptr : file;
}

bool Descriptors::has_number(const OpenFile &file) const
{
    return std::any_of(files_.begin(), files_.end(),
                       [&](const auto &entry) { return entry.second.get() == &file; });
}

std::vector<int> Descriptors::all()
{
    const std::lock_guard guard(lock_);
    std::vector<int> numbers;
    for (const auto &[number, file] : files_) {
        numbers.push_back(number);
    }
    return numbers;
}

} // namespace virtual_board::shim
