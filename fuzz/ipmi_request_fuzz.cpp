// What a host can send to the example's controller: any bytes, on a board whose
// operations fail as the first two bytes say.
//
// Promised: a request is answered by one message with the same command and a
// completion code, anything else by none; the reserved RAM is touched within
// its bounds; nothing is done to the host that was not asked for.

#include <cstdint>
#include <cstdlib>

#include "examples/chassis_controller/ipmi.h"
#include "fuzz/support/input.h"

using namespace chassis_controller;
using fuzz::require;

namespace {

class FailingChassis : public Chassis {
public:
    FailingChassis(unsigned failing, bool on) : failing_(failing), on_(on) {}

    bool identify(Identity &) override { return works(0); }
    bool read_power(bool &on) override
    {
        on = on_;
        return works(1);
    }
    bool read_button_lock(bool &locked) override
    {
        locked = (failing_ & 0x100) != 0;
        return works(2);
    }
    bool press_power_button() override
    {
        ++acts_;
        return works(3);
    }
    bool wait_for_power(bool) override { return works(4); }
    bool reset() override
    {
        ++acts_;
        return works(5);
    }
    bool interrupt() override
    {
        ++acts_;
        return works(6);
    }
    bool read_ram(uint16_t offset, uint8_t &value) override
    {
        require(offset < ram_size, "read within the reserved RAM");
        value = static_cast<uint8_t>(offset);
        return works(7);
    }
    bool write_ram(uint16_t offset, uint8_t) override
    {
        require(offset < ram_size, "written within the reserved RAM");
        return works(7);
    }

    unsigned acts() const { return acts_; }

private:
    bool works(unsigned bit) const { return (failing_ >> bit & 1) == 0; }

    unsigned failing_;
    bool on_;
    unsigned acts_ = 0;
};

constexpr std::size_t header_size = 2;
constexpr uint8_t chassis_netfn = 0x00;
constexpr uint8_t chassis_control = 0x02;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input(data, size);
    const auto failing = static_cast<unsigned>(input.word());
    const bool on = (failing & 0x200) != 0;
    const Message request(input.rest(), input.rest() + input.left());
    FailingChassis chassis(failing, on);

    require(name_of(request) != nullptr, "a name for each message");
    const Message answer = answer_to(request, chassis);
    const bool is_request = request.size() >= header_size && (request[0] & 0x04) == 0;
    require(answer.empty() != is_request, "requests are answered, other messages are not");
    if (!is_request) {
        require(chassis.acts() == 0, "nothing is done without a request");
        return 0;
    }
    require(answer.size() > header_size, "an answer has a completion code");
    require(answer[0] == (request[0] | 0x04), "the answer's network function and LUN");
    require(answer[1] == request[1], "the answer's command");
    const bool controls =
        request[0] >> 2 == chassis_netfn && (request[0] & 3) == 0 && request[1] == chassis_control;
    require(chassis.acts() == 0 || controls, "the host is left alone by other commands");
    return 0;
}
