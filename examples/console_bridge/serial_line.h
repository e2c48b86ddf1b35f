// The controller's UART, which never holds its user up.
#ifndef CONSOLE_BRIDGE_SERIAL_LINE_H
#define CONSOLE_BRIDGE_SERIAL_LINE_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>

namespace console_bridge {

class SerialLine {
public:
    static constexpr size_t waiting_max = 65536;

    SerialLine() = default;
    ~SerialLine() { close(); }
    SerialLine(const SerialLine &) = delete;
    SerialLine &operator=(const SerialLine &) = delete;

    // Returns 0 or the library's negative result.
    int open(int32_t channel);
    // Waits until the line has what was sent, but not for ever.
    void finish();
    void close();
    bool is_open() const { return open_; }

    // Sends as the line takes it; what finds no room to wait is lost.
    void send(std::string_view text);
    void push();
    size_t lost() const { return lost_; }
    // What has arrived.
    std::string receive();

    int rate() const { return rate_; }
    // Follows the rate that the FPGA prescribes; whether it has changed.
    bool follow();

private:
    int32_t channel_ = 0;
    bool open_ = false;
    int rate_ = 0;
    std::string waiting_;
    size_t lost_ = 0;
};

} // namespace console_bridge

#endif
