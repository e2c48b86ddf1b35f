#include "boardctl/families/mtd.h"

#include <errno.h>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "boardctl/families/files.h"
#include "boardctl/framework/failure.h"

namespace boardctl {

namespace {

// A driver is not asked to write more at once than the library's copy does.
constexpr size_t piece = 10240;

} // namespace

Mtd::Mtd(const std::string &path, For purpose)
    : path_(path),
      descriptor_(open(path.c_str(), (purpose == For::writing ? O_RDWR | O_SYNC : O_RDONLY)))
{
    if (descriptor_ < 0) {
        throw file_trouble(path_, "cannot be opened");
    }
    mtd_info_user info = {};
    if (ioctl(descriptor_, MEMGETINFO, &info) != 0 || info.erasesize == 0) {
        const Trouble trouble = file_trouble(path_, "is no MTD device");
        close(descriptor_);
        throw trouble;
    }
    size_ = info.size;
    erase_size_ = info.erasesize;
    type_ = info.type;
}

Mtd::~Mtd()
{
    close(descriptor_);
}

std::string Mtd::type() const
{
    switch (type_) {
    case MTD_NORFLASH:
        return "NOR flash";
    case MTD_NANDFLASH:
        return "NAND flash";
    case MTD_DATAFLASH:
        return "data flash";
    case MTD_RAM:
        return "RAM";
    case MTD_ROM:
        return "ROM";
    default:
        return "type " + std::to_string(type_);
    }
}

void Mtd::erase_block(uint32_t offset)
{
    erase_info_user block = {offset, erase_size_};
    if (ioctl(descriptor_, MEMERASE, &block) != 0) {
        throw file_trouble(path_, "is not erased at byte " + std::to_string(offset));
    }
}

void Mtd::seek(uint32_t offset)
{
    if (lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0) {
        throw file_trouble(path_, "cannot be positioned at byte " + std::to_string(offset));
    }
}

std::vector<uint8_t> Mtd::read(uint32_t offset, uint32_t length)
{
    seek(offset);
    std::vector<uint8_t> data(length);
    for (size_t done = 0; done < data.size();) {
        errno = 0;
        const ssize_t count = ::read(descriptor_, data.data() + done, data.size() - done);
        if (count <= 0) {
            throw file_trouble(path_, "cannot be read at byte " + std::to_string(offset + done));
        }
        done += static_cast<size_t>(count);
    }
    return data;
}

void Mtd::write(uint32_t offset, const std::vector<uint8_t> &data)
{
    seek(offset);
    for (size_t done = 0; done < data.size();) {
        errno = 0;
        const ssize_t count =
            ::write(descriptor_, data.data() + done, std::min(piece, data.size() - done));
        if (count <= 0) {
            throw file_trouble(path_, "is not written at byte " + std::to_string(offset + done));
        }
        done += static_cast<size_t>(count);
    }
}

std::optional<std::string> mtd_path(const std::string &word)
{
    std::string number = word;
    const bool in_dev = number.starts_with("/dev/");
    number.erase(0, in_dev ? strlen("/dev/") : 0);
    if (number.starts_with("mtd")) {
        number.erase(0, strlen("mtd"));
    } else if (in_dev) {
        return {};
    }
    const bool digits =
        !number.empty() && number.size() <= 3 &&
        std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
    return digits ? std::optional<std::string>("/dev/mtd" + number) : std::nullopt;
}

Argument partition_argument()
{
    return {"PARTITION", "partition of the flash: 5, mtd5 or /dev/mtd5",
            Form{"a number, mtdN or /dev/mtdN",
                 [](const std::string &word) -> std::string {
                     return mtd_path(word) ? "" : "\"" + word + "\" is no partition";
                 },
                 {},
                 {"", "mtd", "/dev/mtd", "mtdx", "/dev/sda", "/dev/5", "mtd5x", "-1", "mtdblock2",
                  "1000"},
                 {"5", "mtd5", "/dev/mtd5"}}};
}

} // namespace boardctl
