// The bridge: opens the board, carries the console both ways, and leaves the
// board as it was.
#ifndef CONSOLE_BRIDGE_BRIDGE_H
#define CONSOLE_BRIDGE_BRIDGE_H

#include <stddef.h>

#include <string>
#include <string_view>

#include "console_bridge/escapes.h"
#include "console_bridge/options.h"
#include "console_bridge/routing.h"
#include "console_bridge/screen.h"
#include "console_bridge/serial_line.h"

namespace console_bridge {

// Results of the program.
constexpr int ended_as_asked = 0;
constexpr int failed = 1;
constexpr int wrong_usage = 2;

class Bridge {
public:
    static constexpr int pass_ms = 10;

    Bridge(Options options, Screen &screen);
    ~Bridge();
    Bridge(const Bridge &) = delete;
    Bridge &operator=(const Bridge &) = delete;

    // Opens the board, puts the black box on and switches the UART to its far
    // end. Returns a result; if it is not 0, nothing stays open.
    int open();
    // Carries what is there; meant to be called every pass_ms.
    void pass();
    // What someone has typed.
    void type(std::string_view keys);
    // Saves the black box to the file that was named for it.
    bool save_black_box();
    // Whether the one who types wishes to end.
    bool ended() const { return ended_; }
    // Carries what is left and puts everything back.
    void close();

private:
    int open_line();
    void put_black_box_on();
    bool carry();
    bool carry_console();
    void carry_line();
    void tell_of_console(bool works);
    void tell_of_losses();
    void follow_rate();
    void watch_for_crash();
    void obey(Escapes::Command command);

    const Options options_;
    Screen &screen_;
    Escapes escapes_;
    Routing routing_;
    SerialLine line_;
    bool open_ = false;
    bool ended_ = false;
    bool puts_black_box_off_ = false;
    bool has_record_ = false;
    bool told_no_way_ = false;
    unsigned passes_ = 0;
    unsigned console_failures_ = 0;
    size_t told_lost_ = 0;
};

// Saves the black box of a board that nothing else has open, and returns a
// result.
int save_black_box_now(const Options &options, Screen &screen);

} // namespace console_bridge

#endif
