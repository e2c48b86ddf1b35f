#include "virtual_board/adc.h"

#include <linux/ioctl.h>
#include <string.h>

namespace virtual_board {

namespace {

constexpr uint32_t request_configure = _IOW('A', 1, Adc::Configuration);
constexpr uint32_t request_channel = _IOW('A', 2, Adc::ChannelConfiguration);
static_assert(request_configure == 0x401C4101);
static_assert(request_channel == 0x40104102);

template <typename Record>
long take(const Record &supported, const void *argument, std::optional<Record> &taken)
{
    Record record = {};
    memcpy(record.data(), argument, sizeof(record));
    if (record != supported) {
        return -EINVAL;
    }
    taken = record;
    return 0;
}

} // namespace

long Adc::read(OpenFile &, void *buffer, size_t count)
{
    if (count == 0) {
        return 0;
    }
    auto *bytes = static_cast<uint8_t *>(buffer);
    bytes[0] = static_cast<uint8_t>(code);
    bytes[1] = static_cast<uint8_t>(code >> 8);
    return 2;
}

long Adc::ioctl(OpenFile &, uint32_t request, void *argument)
{
    switch (request) {
    case request_configure:
        return take(supported, argument, configuration_);
    case request_channel:
        return take(channel_supported, argument, channel_);
    default:
        return -ENOTTY;
    }
}

} // namespace virtual_board
