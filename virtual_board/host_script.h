// A script that plays the host's side, and tells both sides as it goes.
#ifndef VIRTUAL_BOARD_HOST_SCRIPT_H
#define VIRTUAL_BOARD_HOST_SCRIPT_H

#include <stdint.h>
#include <stdio.h>

#include <functional>
#include <istream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "virtual_board/board.h"
#include "virtual_board/ipmi_text.h"
#include "virtual_board/narrative.h"

namespace virtual_board {

// A script is lines of one statement each; "#" at the start of a line begins a
// comment. Numbers of messages are hexadecimal bytes, a TIME is like "200ms" or
// "5s".
//
//   say TEXT                   begins a paragraph of the narrative
//   name NETFN CMD TEXT        names a vendor's command
//   kcs NETFN CMD [DATA...]    sends a request over KCS once the interface is
//                              free, and waits for the answer
//   expect-code CODE           checks the completion code of that answer
//   expect-data [DATA...]      checks what follows the code; "--" is any byte
//   wait TIME
//   wait power on|off TIME     waits for the host's power; fails after TIME
//   console TEXT               prints a line on the host's console; fails if the
//                              controller does not take it
//   expect-input TEXT          waits for the next line that the host receives on
//                              its serial port; checks that it is TEXT
//   panel TEXT                 someone at the panel's serial connector types a line;
//                              fails if it gets to the UART and nobody reads it
//   expect-panel TEXT          waits for the next line there; checks that it is TEXT
//   baud DIVISOR               the host sets its serial port to 115200 / DIVISOR
//                              baud, and the FPGA prescribes that
//   expect-baud RATE           waits until the controller's UART runs at that rate
//   crash TEXT                 TEXT is the last line of the console; the black box
//                              records what the console said last. Fails if it is
//                              on and the controller does not fetch all of it
//   serial-switch ARRANGEMENT  someone sets the CPLD's serial switch, 0 to 15
//   press TIME                 presses the front panel's power button
//   lock-button, unlock-button locks or frees that button
//
// A failed expectation is told and counted, and the script goes on.
struct ScriptError : std::runtime_error {
    ScriptError(unsigned line, const std::string &what)
        : std::runtime_error("line " + std::to_string(line) + ": " + what)
    {
    }
};

class HostScript {
    struct Verb;

public:
    using Words = std::vector<std::string>;

    struct Statement {
        const Verb *verb = nullptr;
        unsigned line = 0;
        std::string whole;
        std::string text;
        std::vector<int> bytes; // -1: any
        uint64_t time_us = 0;
        bool on = false;
        uint32_t number = 0;
    };

    // Throws a ScriptError for the first statement that is not understood.
    // Nothing happens before start(). The script must live as long as the
    // board's clock runs.
    HostScript(Board &board, std::istream &text, FILE *out);

    HostScript(const HostScript &) = delete;
    HostScript &operator=(const HostScript &) = delete;

    // Runs on the board's clock from now on; `finished` is called after the
    // summary.
    void start(std::function<void()> finished);

    bool finished() const { return finished_; }
    bool succeeded() const { return finished_ && failures_ == 0; }
    // The statement at which the script stands.
    unsigned line() const;

private:
    // One kind of statement: how it is read and what it does. One that waits
    // for something calls done() later.
    struct Verb {
        const char *name;
        void (*parse)(const Words &words, Statement &statement);
        void (HostScript::*run)(const Statement &statement);
    };

    enum class Awaited { nothing, answer, power };

    static const Verb verbs[];
    static const Verb *find_verb(const std::string &name);
    void parse(unsigned line, const std::string &text);

    void step();
    // Runs the present statement after a time.
    void run_after(uint64_t delay_us);
    // Leaves the present statement for the next one, after a time.
    void done(uint64_t pause_us = 0);
    void await(Awaited awaited, uint64_t at_most_us, const std::string &complaint);
    void arrived();
    // For statements that look again and again: leaves the present one, with a
    // complaint if what it waits for has not come in time.
    bool looks_first();
    void look_again(bool reached, const std::string &complaint);
    void expect_line(bool reached, const std::string &line, const Statement &statement);
    void print(const std::string &line);
    bool black_box_is_left();
    void fail(const std::string &complaint);
    void finish();
    void answered(const Message &answer);
    void host_changed(const std::string &change);

    void say(const Statement &statement);
    void name(const Statement &statement);
    void kcs(const Statement &statement);
    void expect_code(const Statement &statement);
    void expect_data(const Statement &statement);
    void wait(const Statement &statement);
    void console(const Statement &statement);
    void expect_input(const Statement &statement);
    void panel(const Statement &statement);
    void expect_panel(const Statement &statement);
    void baud(const Statement &statement);
    void expect_baud(const Statement &statement);
    void serial_switch(const Statement &statement);
    void crash(const Statement &statement);
    void press(const Statement &statement);
    void lock_button(const Statement &statement);
    void unlock_button(const Statement &statement);

    Board &board_;
    FILE *out_;
    Narrative narrative_;
    IpmiText ipmi_;
    std::vector<Statement> statements_;
    std::function<void()> on_finished_;
    size_t position_ = 0;
    bool finished_ = false;
    unsigned exchanges_ = 0;
    unsigned checks_ = 0;
    unsigned failures_ = 0;
    Awaited awaited_ = Awaited::nothing;
    unsigned wait_number_ = 0;
    bool awaited_power_ = false;
    uint64_t refused_since_us_ = 0;
    std::optional<uint64_t> looking_since_us_;
    std::string last_words_; // of the console
    bool recorded_ = false;
    unsigned fetches_ = 0;
    unsigned quiet_looks_ = 0;
    Message request_;
    Message answer_;
};

} // namespace virtual_board

#endif
