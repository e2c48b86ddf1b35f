// What the bridge changes about the program's own terminal and descriptors, and
// puts back.
#ifndef CONSOLE_BRIDGE_TERMINAL_H
#define CONSOLE_BRIDGE_TERMINAL_H

#include <termios.h>

namespace console_bridge {

// While there is one, what is written to standard output, as by the library,
// goes to standard error; console() is where standard output was.
class DivertedOutput {
public:
    DivertedOutput();
    ~DivertedOutput();
    DivertedOutput(const DivertedOutput &) = delete;
    DivertedOutput &operator=(const DivertedOutput &) = delete;

    int console() const { return console_; }

private:
    int console_;
};

// While there is one, a terminal passes keys on as they are pressed, unechoed
// and with nothing taken out: they are the host's, interrupt keys included.
// Output stays as it was. Does nothing to what is no terminal.
class RawKeys {
public:
    explicit RawKeys(int descriptor);
    ~RawKeys();
    RawKeys(const RawKeys &) = delete;
    RawKeys &operator=(const RawKeys &) = delete;

private:
    int descriptor_;
    bool changed_ = false;
    termios found_{};
};

} // namespace console_bridge

#endif
