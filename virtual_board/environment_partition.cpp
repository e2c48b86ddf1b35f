#include "virtual_board/environment_partition.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace virtual_board {

namespace {

constexpr uint8_t erased = 0xFF;

int memory(const char *name)
{
    const int descriptor = memfd_create(name, MFD_CLOEXEC);
    if (descriptor < 0 || ftruncate(descriptor, EnvironmentPartition::size) != 0) {
        throw std::runtime_error("no memory for the environment partition");
    }
    return descriptor;
}

EnvironmentPartition::Bytes contents(int descriptor)
{
    EnvironmentPartition::Bytes bytes(EnvironmentPartition::size, erased);
    if (pread(descriptor, bytes.data(), bytes.size(), 0) < 0) {
        throw std::runtime_error("the environment partition cannot be read");
    }
    return bytes;
}

void fill(int descriptor, const EnvironmentPartition::Bytes &bytes)
{
    if (bytes.size() != EnvironmentPartition::size ||
        pwrite(descriptor, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the environment partition cannot be written");
    }
}

// What a transfer may move between an offset and the end of the device.
size_t room(const OpenFile &file, size_t count)
{
    const auto at = static_cast<size_t>(file.offset);
    return at < EnvironmentPartition::size ? std::min(count, EnvironmentPartition::size - at) : 0;
}

} // namespace

EnvironmentPartition::EnvironmentPartition()
    : Device("environment"), flash_(memory("environment-flash")),
      cache_(memory("environment-cache"))
{
}

EnvironmentPartition::~EnvironmentPartition()
{
    ::close(cache_);
    ::close(flash_);
}

EnvironmentPartition::Bytes EnvironmentPartition::bytes() const
{
    if (chip_ == nullptr) {
        return contents(flash_);
    }
    const auto first = chip_->contents().begin() + chip_offset_;
    return {first, first + size};
}

void EnvironmentPartition::set_bytes(const Bytes &bytes)
{
    if (chip_ == nullptr) {
        fill(flash_, bytes);
    } else {
        chip_->put(chip_offset_, bytes);
    }
}

void EnvironmentPartition::lie_in(NorFlash &chip, uint32_t offset)
{
    chip_ = &chip;
    chip_offset_ = offset;
    chip.comes_with_zeros(offset, size); // no variables, no checksum
}

void EnvironmentPartition::back_with(const std::string &file)
{
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0) {
        throw std::runtime_error(file + ": " + strerror(errno));
    }
    ::close(flash_);
    flash_ = descriptor;
    chip_ = nullptr;
}

void EnvironmentPartition::cut_power_after(size_t bytes, Medium medium)
{
    cut_ = PowerCut{std::min(bytes, size), medium};
}

void EnvironmentPartition::write_back()
{
    const Bytes fresh = contents(cache_);
    Bytes flash = bytes();
    if (fresh == flash || !powered_) {
        return; // clean pages are not written
    }
    ++write_backs_;
    if (cut_ && cut_->medium == Medium::erased_first) {
        std::fill(flash.begin(), flash.end(), erased);
    }
    const size_t written = cut_ ? cut_->after : size;
    std::copy_n(fresh.begin(), written, flash.begin());
    set_bytes(flash);
    if (cut_) {
        fill(cache_, flash); // the cache is lost with the power
        cut_.reset();
        if (power_failure_) {
            power_failure_();
        }
    }
}

long EnvironmentPartition::open(OpenFile &)
{
    ++opens_;
    if (users_++ == 0) {
        fill(cache_, bytes());
    }
    return 0;
}

void EnvironmentPartition::release(OpenFile &)
{
    if (--users_ == 0) {
        write_back();
    }
}

long EnvironmentPartition::read(OpenFile &file, void *buffer, size_t count)
{
    const ssize_t moved = pread(cache_, buffer, room(file, count), static_cast<off_t>(file.offset));
    file.offset += std::max<ssize_t>(moved, 0);
    return moved < 0 ? -errno : moved;
}

long EnvironmentPartition::write(OpenFile &file, const void *buffer, size_t count)
{
    const size_t allowed = room(file, count);
    if (allowed == 0 && count > 0) {
        return -ENOSPC;
    }
    const ssize_t moved = pwrite(cache_, buffer, allowed, static_cast<off_t>(file.offset));
    file.offset += std::max<ssize_t>(moved, 0);
    return moved < 0 ? -errno : moved;
}

long long EnvironmentPartition::seek(OpenFile &file, long long offset, int whence)
{
    const long long from = whence == SEEK_SET   ? 0
                           : whence == SEEK_CUR ? file.offset
                                                : static_cast<long long>(size);
    const long long to = from + offset;
    if (to < 0 || to > static_cast<long long>(size)) {
        return -EINVAL;
    }
    file.offset = to;
    return to;
}

long EnvironmentPartition::map(OpenFile &, size_t length, Mapping &mapping)
{
    if (length > size) {
        return -EINVAL;
    }
    ++maps_;
    ++mapped_;
    mapping.descriptor = cache_;
    return 0;
}

void EnvironmentPartition::unmapped()
{
    --mapped_;
    write_back();
}

void EnvironmentPartition::describe(struct stat &status) const
{
    status.st_mode = S_IFBLK | 0660;
}

} // namespace virtual_board
