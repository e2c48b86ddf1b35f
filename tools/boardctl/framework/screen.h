// A screen that is redrawn in place, and keys that are pressed on it. The
// terminal is as it was when this goes away, also after an interruption.
#ifndef BOARDCTL_SCREEN_H
#define BOARDCTL_SCREEN_H

#include <termios.h>

#include <chrono>
#include <optional>
#include <string>

#include "boardctl/framework/context.h"
#include "boardctl/framework/interrupt.h"

namespace boardctl {

class Screen {
public:
    explicit Screen(Context &context);
    ~Screen();
    Screen(const Screen &) = delete;
    Screen &operator=(const Screen &) = delete;

    // In two columns, side by side, if the terminal has too few lines for one.
    // False: the terminal is gone.
    bool draw(const std::string &title, const std::string &text);
    // Waits; true if q was pressed meanwhile, or the terminal is gone.
    bool quit_within(std::chrono::milliseconds duration);

private:
    static void restore(int descriptor, const std::optional<termios> &before);

    Context &context_;
    std::optional<termios> before_; // of the keyboard, if it is a terminal
    interrupt::Tidy tidy_;
};

} // namespace boardctl

#endif
