// What a device model shows to the bus: the file operations of its node.
#ifndef VIRTUAL_BOARD_DEVICE_H
#define VIRTUAL_BOARD_DEVICE_H

#include <errno.h>
#include <linux/ioctl.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "virtual_board/open_file.h"

namespace virtual_board {

// Results are those of a Linux driver: a negative errno, or what the system
// call returns. The shim turns them into errno and -1; everything else, such as
// the FPGA driver's numbers above 9999, passes as it is.
//
// Every call is made with the board's lock held.
class Device {
public:
    explicit Device(std::string name) : name_(std::move(name)) {}
    virtual ~Device() = default;

    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;

    // Names the device in faults and traces.
    const std::string &name() const { return name_; }

    virtual long open(OpenFile &) { return 0; }
    virtual void release(OpenFile &) {}
    virtual long read(OpenFile &, void *, size_t) { return -EINVAL; }
    virtual long write(OpenFile &, const void *, size_t) { return -EINVAL; }
    virtual long ioctl(OpenFile &, uint32_t, void *) { return -ENOTTY; }
    virtual long long seek(OpenFile &, long long, int) { return -ESPIPE; }
    virtual long map(OpenFile &, size_t, Mapping &) { return -ENODEV; }
    // The real node that stands behind this one, if there is one: opens lead
    // there, and transfers are the kernel's business; open() and release() are
    // still called.
    virtual std::optional<std::string> real_path() const { return std::nullopt; }
    virtual void unmapped() {} // a mapping has gone; watched ones are not reported
    virtual void describe(struct stat &status) const { status.st_mode = S_IFCHR | 0660; }

    // What a trace shows of a call, and what faults select by: the command code
    // of a record, a register, an offset. The default knows nothing of records.
    virtual uint32_t address_of(const OpenFile &file, const void *, size_t) const
    {
        return static_cast<uint32_t>(file.offset);
    }
    // Bytes that a read takes in before it answers, and that a write takes,
    // when they are not the count of the call.
    virtual size_t request_length(const void *, size_t) const { return 0; }
    virtual size_t record_length(const void *, size_t count) const { return count; }
    // Bytes that an ioctl request takes in, and those that a successful one gives
    // back. By default what the request's number says.
    virtual std::vector<uint8_t> request_record(uint32_t request, const void *argument) const
    {
        return argument_bytes(request, _IOC_WRITE, argument);
    }
    virtual std::vector<uint8_t> answer_record(uint32_t request, const void *argument) const
    {
        return argument_bytes(request, _IOC_READ, argument);
    }
    // Where in the device an ioctl acts, if it has a place.
    virtual std::optional<uint64_t> place_of(uint32_t, const void *) const { return {}; }

    // A fault of the device's memory: a bit that a write has just stored at the
    // offset changes.
    virtual void flip_stored_bit(long long, unsigned) {}

private:
    static std::vector<uint8_t> argument_bytes(uint32_t request, unsigned direction,
                                               const void *argument)
    {
        constexpr size_t shown_max = 512;
        if ((_IOC_DIR(request) & direction) == 0 || argument == nullptr) {
            return {};
        }
        const auto *bytes = static_cast<const uint8_t *>(argument);
        return {bytes, bytes + std::min<size_t>(_IOC_SIZE(request), shown_max)};
    }

    std::string name_;
};

} // namespace virtual_board

#endif
