#include "controller.h"

#include <board_hal.h>
#include <unistd.h>

#include <string>

#include "log.h"

namespace chassis_controller {

namespace {

constexpr int32_t kcs_channel = 0;
constexpr uint8_t kcs_idle = 4;
constexpr int32_t kcs_message_max = 100;
constexpr int interface_not_idle = -9;
constexpr unsigned send_attempts = 50;

std::string hex(const Message &message)
{
    std::string text;
    for (const uint8_t byte : message) {
        char digits[4];
        snprintf(digits, sizeof(digits), text.empty() ? "%02X" : " %02X", byte);
        text += digits;
    }
    return text;
}

void print_identity()
{
    uint8_t id[4] = {};
    for (int32_t reg = 0; reg < 4; ++reg) {
        get_cpld_reg(reg, &id[reg]);
    }
    say("board id %02Xh, PCB version %u, BOM version %u, product id %02Xh", id[0], id[1], id[2],
        id[3]);
    uint8_t version = 0;
    uint8_t time[5] = {};
    get_cpld_version(&version);
    get_cpld_compile_time(&time[0], &time[1], &time[2], &time[3], &time[4]);
    say("CPLD version %02Xh, compiled %02X%02X-%02X-%02X %02X h", version, time[0], time[1],
        time[2], time[3], time[4]);
}

void test_cpld()
{
    uint8_t faults = 0;
    cpld_self_test(&faults);
    say("self test of the CPLD: %s", faults == 0 ? "passed" : "FAILED");
}

} // namespace

bool Controller::start()
{
    const int result = ipmc_driver_init();
    if (result != 0) {
        say("the board cannot be opened (%d)", result);
        return false;
    }
    say("the board is open");
    print_identity();
    test_cpld();
    say("serves IPMI requests over KCS");
    return true;
}

void Controller::stop()
{
    ipmc_driver_clean();
    say("the board is closed");
}

void Controller::poll()
{
    if (passes_++ % (1000000 / poll_us) == 0) {
        show_life();
    }
    uint8_t status = kcs_idle;
    if (get_kcs_status(kcs_channel, &status) == 0 && status != kcs_idle) {
        serve();
    }
}

void Controller::show_life()
{
    heartbeat_to_cpld();
    blink_heart_beat_led();
}

void Controller::serve()
{
    uint8_t buffer[kcs_message_max];
    const int count = kcs_read(buffer, sizeof(buffer));
    if (count <= 0) {
        return;
    }
    const Message request(buffer, buffer + count);
    say("receives  %-23s %s", hex(request).c_str(), name_of(request));
    const Message answer = answer_to(request, chassis_);
    if (answer.empty()) {
        say("drops it: that is no request");
        return;
    }
    say("answers   %s", hex(answer).c_str());
    send(answer);
}

// The host may still be busy with the interface.
void Controller::send(const Message &answer)
{
    for (unsigned attempt = 0; attempt < send_attempts; ++attempt) {
        const int result = kcs_write(answer.data(), static_cast<int32_t>(answer.size()));
        if (result > 0) {
            return;
        }
        if (result != interface_not_idle) {
            say("the answer cannot be sent (%d)", result);
            return;
        }
        usleep(poll_us);
    }
    say("the host does not take the answer");
}

} // namespace chassis_controller
