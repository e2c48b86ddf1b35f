// The FPGA's IPMB controllers, and the neighbours on their channels.
#ifndef VIRTUAL_BOARD_IPMB_H
#define VIRTUAL_BOARD_IPMB_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "virtual_board/fpga.h"
#include "virtual_board/host_interface.h"

namespace virtual_board {

// Channels 0 and 1 share one family of commands and one receive buffer;
// channel 2 has a family of its own.
class Ipmb {
public:
    static constexpr unsigned channel_count = 3;
    static constexpr size_t message_max = 254;
    // What the driver answers instead of moving data is above 9999.
    static constexpr long error_disabled = 10001;
    static constexpr long error_not_acknowledged = 10005;

    using Observer = std::function<void(const Message &)>;

    explicit Ipmb(Fpga &fpga);

    // One channel, from its neighbour's side.
    struct Channel {
        uint8_t status = 0; // as the FPGA reports it
        bool enabled = true;
        // What the controller sent, and the wait value of the last time.
        std::vector<Message> received;
        uint16_t send_wait = 0;
        unsigned resets = 0;
        // Called with each message that arrives, so that a neighbour can answer.
        Observer on_message;

        // Misbehaviour.
        bool silent = false;                        // acknowledges nothing
        std::optional<uint8_t> claimed_length = {}; // in place of a message's own
        std::optional<long> write_result = {};      // the driver's answer to sends
    };

    // Backend face.
    Channel &channel(unsigned number) { return channels_.at(number); }
    // The neighbour of a channel sends to the controller.
    void send(unsigned from, Message message);
    // Messages that the controller has not fetched.
    size_t waiting(unsigned from) const;
    // The controller's own slave address, of channels 0 and 1 or of channel 2.
    uint8_t address(unsigned number) const { return family(number).address; }
    void set_address(unsigned number, uint8_t address) { family(number).address = address; }
    // The wait value of the last receive.
    uint16_t receive_wait(unsigned number) const { return family(number).receive_wait; }
    // The driver answers this to receives.
    void fail_reads(unsigned number, std::optional<long> result)
    {
        family(number).read_result = result;
    }
    std::optional<long> read_result(unsigned number) const { return family(number).read_result; }

private:
    struct Commands {
        uint8_t data;
        uint8_t address;
        uint8_t reset;
        unsigned first; // channels that it serves
        unsigned last;
    };
    struct Waiting {
        unsigned channel;
        Message message;
    };
    struct Family {
        std::deque<Waiting> queue;
        uint8_t address = 0x20;
        uint16_t receive_wait = 0;
        std::optional<long> read_result;
    };

    Family &family(unsigned number) { return families_[number / 2]; }
    const Family &family(unsigned number) const { return families_[number / 2]; }
    void attach_family(Fpga &fpga, const Commands &commands);
    void attach_channel_commands(Fpga &fpga);
    long receive(Family &from, uint8_t *record);
    long transmit(const Commands &commands, const uint8_t *record);
    long reset(const Commands &commands, unsigned number);

    std::array<Channel, channel_count> channels_;
    std::array<Family, 2> families_;
};

} // namespace virtual_board

#endif
