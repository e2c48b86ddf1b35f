// The boot loader's environment: 8 KiB of flash behind the block device
// /dev/mtdblock2.
#ifndef VIRTUAL_BOARD_ENVIRONMENT_PARTITION_H
#define VIRTUAL_BOARD_ENVIRONMENT_PARTITION_H

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "virtual_board/device.h"
#include "virtual_board/nor_flash.h"

namespace virtual_board {

// Two copies of the bytes, as on the controller: the flash, and the kernel's
// page cache before it. Programs map, read and write the cache. It is filled
// from the flash when the device is opened by its first user, and what has
// changed in it goes to the flash when a mapping goes or the last user closes.
class EnvironmentPartition : public Device {
public:
    static constexpr size_t size = 8192;
    using Bytes = std::vector<uint8_t>;

    // How the flash takes a write-back that is cut off.
    enum class Medium {
        overwritten,  // byte after byte in place: the old bytes follow the new ones
        erased_first, // erased as a whole, then programmed: 0xFF follows the new ones
    };

    EnvironmentPartition();
    ~EnvironmentPartition() override;

    // Backend face: what the flash holds. While a program has the device open it
    // does not see what is set here.
    Bytes bytes() const;
    void set_bytes(const Bytes &bytes);
    // The bytes are a part of that chip, which others see too.
    void lie_in(NorFlash &chip, uint32_t offset);
    // The flash is a plain file from now on, with what the file holds; a file
    // that is too short ends in erased bytes. Real tools work on the same file.
    void back_with(const std::string &file);
    // Power fails at the next write-back, after that many bytes. It comes back by
    // itself: whoever opens the device next finds what the flash then holds.
    void cut_power_after(size_t bytes, Medium medium);
    // Power fails for good: nothing reaches the flash any more.
    void cut_power() { powered_ = false; }
    // Called when the power fails amid a write-back.
    void on_power_failure(std::function<void()> told) { power_failure_ = std::move(told); }

    size_t opens() const { return opens_; }
    size_t maps() const { return maps_; }
    size_t mapped() const { return mapped_; } // mappings that programs hold now
    size_t write_backs() const { return write_backs_; }

    // Bus face.
    long open(OpenFile &file) override;
    void release(OpenFile &file) override;
    long read(OpenFile &file, void *buffer, size_t count) override;
    long write(OpenFile &file, const void *buffer, size_t count) override;
    long long seek(OpenFile &file, long long offset, int whence) override;
    long map(OpenFile &file, size_t length, Mapping &mapping) override;
    void unmapped() override;
    void describe(struct stat &status) const override;

private:
    struct PowerCut {
        size_t after;
        Medium medium;
    };

    void write_back();

    int flash_;
    NorFlash *chip_ = nullptr; // holds the bytes instead
    uint32_t chip_offset_ = 0;
    int cache_;
    bool powered_ = true;
    std::optional<PowerCut> cut_;
    std::function<void()> power_failure_;
    size_t users_ = 0;
    size_t opens_ = 0;
    size_t maps_ = 0;
    size_t mapped_ = 0;
    size_t write_backs_ = 0;
};

} // namespace virtual_board

#endif
