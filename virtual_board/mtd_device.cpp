#include "virtual_board/mtd_device.h"

#include <fcntl.h>
#include <linux/ioctl.h>
#include <mtd/mtd-user.h>
#include <stdio.h>
#include <string.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace virtual_board {

namespace {

constexpr unsigned mtd_major = 90; // each part has two minors, the second read-only

mtd_info_user describe_partition(uint32_t size, uint32_t erase_size)
{
    mtd_info_user info = {};
    info.type = MTD_NORFLASH;
    info.flags = MTD_CAP_NORFLASH;
    info.size = size;
    info.erasesize = erase_size;
    info.writesize = 1;
    return info;
}

} // namespace

MtdDevice::MtdDevice(unsigned number, NorFlash &flash, const Partition &partition, Wiring wired)
    : Device("mtd" + std::to_string(number)), number_(number), flash_(flash), partition_(partition),
      wired_(std::move(wired))
{
}

std::string MtdDevice::listing() const
{
    char numbers[32];
    snprintf(numbers, sizeof(numbers), ": %08x %08x ", partition_.size,
             flash_.geometry().erase_size);
    return name() + numbers + '"' + partition_.label + "\"\n";
}

bool MtdDevice::may_write(const OpenFile &file) const
{
    return !checks_access_ || (file.flags & O_ACCMODE) != O_RDONLY;
}

bool MtdDevice::holds(const Range &range) const
{
    return range.start < partition_.size && range.length <= partition_.size - range.start;
}

// Whether the range is whole erase blocks.
bool MtdDevice::blocks(const Range &range) const
{
    const uint32_t erase_size = flash_.geometry().erase_size;
    return range.start % erase_size == 0 && range.length % erase_size == 0;
}

// Bytes from the file's position to the end.
size_t MtdDevice::left(const OpenFile &file) const
{
    return file.offset < partition_.size ? static_cast<size_t>(partition_.size - file.offset) : 0;
}

long MtdDevice::read(OpenFile &file, void *buffer, size_t count)
{
    count = std::min(count, left(file));
    long result = static_cast<long>(count);
    if (wired()) {
        result = flash_.read(partition_.offset + static_cast<uint32_t>(file.offset), buffer, count);
    } else {
        memset(buffer, NorFlash::erased, count);
    }
    file.offset += std::max(result, 0L);
    return result;
}

long MtdDevice::write(OpenFile &file, const void *data, size_t count)
{
    if (!may_write(file)) {
        return -EBADF;
    }
    if (left(file) == 0 && count > 0) {
        return -ENOSPC;
    }
    count = std::min(count, left(file));
    const auto start = static_cast<uint32_t>(file.offset);
    const long result = wired() ? flash_.program(partition_.offset + start, data, count) : -EIO;
    file.offset += std::max(result, 0L);
    return result;
}

// An erase of no bytes is done at once, wherever in the partition it starts.
long MtdDevice::erase(const OpenFile &file, const Range &range)
{
    if (!may_write(file)) {
        return -EPERM;
    }
    if (!holds(range) || (range.length != 0 && !blocks(range))) {
        return -EINVAL;
    }
    if (range.length == 0) {
        return 0;
    }
    return wired() ? flash_.erase(partition_.offset + static_cast<uint32_t>(range.start),
                                  static_cast<uint32_t>(range.length))
                   : -EIO;
}

long MtdDevice::lock(const OpenFile &file, const Range &range, bool locked)
{
    if (!may_write(file)) {
        return -EPERM;
    }
    if (!holds(range) || !blocks(range)) {
        return -EINVAL;
    }
    return wired() ? flash_.lock(partition_.offset + static_cast<uint32_t>(range.start),
                                 static_cast<uint32_t>(range.length), locked)
                   : -EIO;
}

long MtdDevice::ioctl(OpenFile &file, uint32_t request, void *argument)
{
    const auto *narrow = static_cast<const erase_info_user *>(argument);
    const auto *wide = static_cast<const erase_info_user64 *>(argument);
    switch (request) {
    case MEMGETINFO:
        *static_cast<mtd_info_user *>(argument) =
            describe_partition(partition_.size, flash_.geometry().erase_size);
        return 0;
    case MEMERASE:
        return erase(file, {narrow->start, narrow->length});
    case MEMERASE64:
        return erase(file, {wide->start, wide->length});
    case MEMLOCK:
    case MEMUNLOCK:
        return lock(file, {narrow->start, narrow->length}, request == MEMLOCK);
    case MEMGETREGIONCOUNT:
        *static_cast<int *>(argument) = 0;
        return 0;
    case MEMGETBADBLOCK:
    case MEMSETBADBLOCK:
    case MEMREADOOB:
    case MEMWRITEOOB:
    case MEMGETOOBSEL:
    case ECCGETLAYOUT: // what NAND has, and NOR not
        return -EOPNOTSUPP;
    case ECCGETSTATS:
        *static_cast<mtd_ecc_stats *>(argument) = {}; // nothing to correct, nothing corrected
        return 0;
    default:
        return -ENOTTY;
    }
}

long long MtdDevice::seek(OpenFile &file, long long offset, int whence)
{
    const long long base = whence == SEEK_CUR   ? file.offset
                           : whence == SEEK_END ? partition_.size
                                                : 0;
    if (base + offset < 0 || base + offset > partition_.size) {
        return -EINVAL;
    }
    file.offset = base + offset;
    return file.offset;
}

std::optional<uint64_t> MtdDevice::place_of(uint32_t request, const void *argument) const
{
    switch (request) {
    case MEMERASE:
    case MEMLOCK:
    case MEMUNLOCK:
        return static_cast<const erase_info_user *>(argument)->start;
    case MEMERASE64:
        return static_cast<const erase_info_user64 *>(argument)->start;
    default:
        return std::nullopt;
    }
}

void MtdDevice::flip_stored_bit(long long offset, unsigned bit)
{
    flash_.flip_bit(partition_.offset + static_cast<uint32_t>(offset), bit);
}

void MtdDevice::describe(struct stat &status) const
{
    Device::describe(status);
    status.st_rdev = makedev(mtd_major, 2 * number_);
}

} // namespace virtual_board
