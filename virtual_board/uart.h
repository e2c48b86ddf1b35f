// The controller's serial port: a real pseudo-terminal, so that the kernel's
// own terminal code is below the program.
#ifndef VIRTUAL_BOARD_UART_H
#define VIRTUAL_BOARD_UART_H

#include <termios.h>

#include <string>
#include <string_view>

#include "virtual_board/device.h"

namespace virtual_board {

class Uart : public Device {
public:
    explicit Uart(unsigned number);
    ~Uart() override;

    // Backend face: the other end of the line.
    void send(std::string_view text);
    // What the program wrote since the last call: waits until there are so many
    // bytes, or a second has passed without one; with 0, what is there.
    std::string receive(size_t at_least);
    // Bytes that were sent and that the program has not read.
    size_t unread() const;
    // The same without waiting: how much of the text was taken, and what is there.
    size_t offer(std::string_view text);
    std::string take();
    // The port's attributes as they are in force.
    termios attributes() const;
    int master() const { return master_; }

    // Bus face.
    long open(OpenFile &file) override;
    std::optional<std::string> real_path() const override { return path_; }

private:
    int master_ = -1;
    int slave_ = -1; // keeps the port's attributes while no program has it open
    std::string path_;
};

} // namespace virtual_board

#endif
