// /dev/mtdN: one partition of a flash chip, with the MTD driver's rules.
#ifndef VIRTUAL_BOARD_MTD_DEVICE_H
#define VIRTUAL_BOARD_MTD_DEVICE_H

#include <functional>
#include <string>

#include "virtual_board/device.h"
#include "virtual_board/nor_flash.h"

namespace virtual_board {

class MtdDevice : public Device {
public:
    struct Partition {
        uint32_t offset;
        uint32_t size;
        std::string label = {}; // as /proc/mtd shows it
    };
    // Whether the chip is wired to the controller at the moment. If not, reads
    // find the bus idle and work on the chip fails.
    using Wiring = std::function<bool()>;

    MtdDevice(unsigned number, NorFlash &flash, const Partition &partition, Wiring wired = nullptr);

    // Its line of /proc/mtd.
    std::string listing() const;

    // The board's own driver lets any descriptor write and erase. A stricter
    // one wants it opened for writing.
    void check_access(bool on) { checks_access_ = on; }

    long read(OpenFile &file, void *buffer, size_t count) override;
    long write(OpenFile &file, const void *data, size_t count) override;
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;
    long long seek(OpenFile &file, long long offset, int whence) override;
    std::optional<uint64_t> place_of(uint32_t request, const void *argument) const override;
    void flip_stored_bit(long long offset, unsigned bit) override;
    void describe(struct stat &status) const override;

private:
    struct Range {
        uint64_t start;
        uint64_t length;
    };

    bool wired() const { return !wired_ || wired_(); }
    bool may_write(const OpenFile &file) const;
    bool holds(const Range &range) const;
    bool blocks(const Range &range) const;
    size_t left(const OpenFile &file) const;
    long erase(const OpenFile &file, const Range &range);
    long lock(const OpenFile &file, const Range &range, bool locked);

    unsigned number_;
    NorFlash &flash_;
    Partition partition_;
    Wiring wired_;
    bool checks_access_ = false;
};

} // namespace virtual_board

#endif
