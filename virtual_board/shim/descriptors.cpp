#include "virtual_board/shim/descriptors.h"

#include <mutex>
#include <utility>

namespace virtual_board::shim {

void Descriptors::add(int descriptor, std::shared_ptr<OpenFile> file)
{
    const std::lock_guard guard(lock_);
    files_[descriptor] = std::move(file);
}

std::shared_ptr<OpenFile> Descriptors::find(int descriptor)
{
    const std::lock_guard guard(lock_);
    const auto found = files_.find(descriptor);
    return found == files_.end() ? nullptr : found->second;
}

std::shared_ptr<OpenFile> Descriptors::remove(int descriptor, bool &last)
{
    const std::lock_guard guard(lock_);
    const auto found = files_.find(descriptor);
    if (found == files_.end()) {
        return nullptr;
    }
    std::shared_ptr<OpenFile> file = std::move(found->second);
    files_.erase(found);
    last = true;
    for (const auto &[number, other] : files_) {
        last = last && other != file;
    }
    return file;
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
