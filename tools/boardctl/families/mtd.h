// A partition of a flash chip, through the kernel's MTD device: the library
// copies whole images, but erases, reads and writes no stretch of a partition.
// All throw Trouble.
#ifndef BOARDCTL_MTD_H
#define BOARDCTL_MTD_H

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "boardctl/framework/describe.h"

namespace boardctl {

class Mtd {
public:
    enum class For { reading, writing };

    Mtd(const std::string &path, For purpose);
    ~Mtd();
    Mtd(const Mtd &) = delete;
    Mtd &operator=(const Mtd &) = delete;

    const std::string &path() const { return path_; }
    uint32_t size() const { return size_; }
    uint32_t erase_size() const { return erase_size_; }
    // "NOR flash"
    std::string type() const;

    // One erase block, by the place where it begins.
    void erase_block(uint32_t offset);
    std::vector<uint8_t> read(uint32_t offset, uint32_t length);
    void write(uint32_t offset, const std::vector<uint8_t> &data);

private:
    void seek(uint32_t offset);

    std::string path_;
    int descriptor_;
    uint32_t size_ = 0;
    uint32_t erase_size_ = 0;
    uint8_t type_ = 0;
};

// "5", "mtd5" or "/dev/mtd5"; nothing if it is none of these.
std::optional<std::string> mtd_path(const std::string &word);

// PARTITION, a place.
Argument partition_argument();

} // namespace boardctl

#endif
