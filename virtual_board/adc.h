// The SoC's analogue-to-digital converter, with the board's battery on it.
#ifndef VIRTUAL_BOARD_ADC_H
#define VIRTUAL_BOARD_ADC_H

#include <stdint.h>

#include <array>
#include <optional>

#include "virtual_board/device.h"

namespace virtual_board {

class Adc : public Device {
public:
    using Configuration = std::array<uint32_t, 7>;
    using ChannelConfiguration = std::array<uint32_t, 4>;

    // The only settings that this board's converter takes.
    static constexpr Configuration supported = {1, 0, 2500, 0, 0, 14000000, 0};
    static constexpr ChannelConfiguration channel_supported = {0, 1, 20, 1};

    explicit Adc(unsigned number) : Device("adc" + std::to_string(number)) {}

    // Backend face.
    uint16_t code = 0x0A12; // what the battery's voltage gives
    const std::optional<Configuration> &configuration() const { return configuration_; }
    const std::optional<ChannelConfiguration> &channel() const { return channel_; }

    // Bus face. A read delivers one code, two bytes, whatever its count.
    long read(OpenFile &file, void *buffer, size_t count) override;
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;

private:
    std::optional<Configuration> configuration_;
    std::optional<ChannelConfiguration> channel_;
};

} // namespace virtual_board

#endif
