#include "console_bridge/bridge.h"

#include <board_hal.h>

#include <functional>
#include <utility>

#include "console_bridge/black_box.h"
#include "console_bridge/host_console.h"
#include "console_bridge/replace_file.h"

namespace console_bridge {

namespace {

constexpr int no_such_channel = -2;
// Rate and black box need not be looked at in every pass.
constexpr unsigned passes_between_looks = 10;
// One fetch that does not get ready is no news, a second of them is.
constexpr unsigned console_failures_told = 100;
constexpr unsigned passes_at_end_max = 100;

// A person's Enter key is one byte, a new line on a screen takes two.
std::string with_whole_line_ends(std::string_view keys)
{
    std::string text;
    for (const char key : keys) {
        text += key == '\r' || key == '\n' ? std::string("\r\n") : std::string(1, key);
    }
    return text;
}

bool open_board(Screen &screen)
{
    const int result = ipmc_driver_init();
    if (result != 0) {
        screen.note("the board cannot be opened (" + std::to_string(result) + ")");
    }
    return result == 0;
}

bool save_record(const std::string &file, uint32_t size, Screen &screen,
                 const std::function<void()> &meanwhile)
{
    std::string record;
    std::string complaint = fetch_black_box(size, meanwhile, record);
    if (complaint.empty()) {
        complaint = replace_file(file, record);
    }
    if (!complaint.empty()) {
        screen.note("the black box is not saved: " + complaint);
        return false;
    }
    screen.note("the black box is saved: " + std::to_string(record.size()) + " bytes in " + file);
    return true;
}

} // namespace

Bridge::Bridge(Options options, Screen &screen) : options_(std::move(options)), screen_(screen) {}

Bridge::~Bridge()
{
    close();
}

int Bridge::open()
{
    if (!open_board(screen_)) {
        return failed;
    }
    open_ = true;
    screen_.note("the board is open");
    put_black_box_on();
    const int result = options_.use_uart ? open_line() : ended_as_asked;
    if (result != ended_as_asked) {
        close();
    }
    return result;
}

int Bridge::open_line()
{
    const int result = line_.open(options_.uart);
    if (result != 0) {
        screen_.note("UART " + std::to_string(options_.uart) + " cannot be opened (" +
                     std::to_string(result) + ")");
        return result == no_such_channel ? wrong_usage : failed;
    }
    screen_.note("the UART runs at " + std::to_string(line_.rate()) + " baud");
    const unsigned before = Routing::arrangement();
    if (routing_.connect(options_.far_end) != 0) {
        screen_.note("the serial switch does not move");
        return failed;
    }
    screen_.note(std::string("the serial switch leads the UART to the ") +
                 (options_.far_end == FarEnd::host ? "host" : "panel") + " (arrangement " +
                 std::to_string(Routing::arrangement()) + ", it was " + std::to_string(before) +
                 ")");
    return ended_as_asked;
}

// A console without a black box is better than none.
void Bridge::put_black_box_on()
{
    uint32_t on = 0;
    if (get_blackbox_status(&on) != 0 || set_blackbox_status(1) != 0) {
        screen_.note("the black box cannot be put on");
        return;
    }
    puts_black_box_off_ = on == 0;
    has_record_ = black_box_has_record();
    screen_.note(has_record_ ? "the black box is on; it holds an older record"
                             : "the black box is on");
}

void Bridge::close()
{
    if (!open_) {
        return;
    }
    open_ = false;
    for (unsigned i = 0; i < passes_at_end_max && carry(); ++i) {
    }
    // The last bytes still go where they were meant to.
    line_.finish();
    if (routing_.restore()) {
        screen_.note("the serial switch is back at arrangement " +
                     std::to_string(Routing::arrangement()));
    }
    line_.close();
    if (puts_black_box_off_) {
        set_blackbox_status(0);
    }
    ipmc_driver_clean();
    screen_.note("the board is closed");
}

void Bridge::pass()
{
    carry();
    if (++passes_ % passes_between_looks == 0) {
        tell_of_losses();
        follow_rate();
        watch_for_crash();
    }
}

// Whether there was anything of the console.
bool Bridge::carry()
{
    const bool some = carry_console();
    carry_line();
    return some;
}

bool Bridge::carry_console()
{
    std::string text;
    const int result = fetch_console(text);
    screen_.console(text);
    // Not to the host: it would read its own words.
    if (line_.is_open() && options_.far_end == FarEnd::panel) {
        line_.send(text);
    }
    tell_of_console(result == 0);
    return !text.empty();
}

void Bridge::carry_line()
{
    line_.push();
    const std::string received = line_.receive();
    screen_.console(options_.far_end == FarEnd::panel ? with_whole_line_ends(received) : received);
}

void Bridge::tell_of_console(bool works)
{
    if (works && console_failures_ >= console_failures_told) {
        screen_.note("the console can be read again");
    }
    console_failures_ = works ? 0 : console_failures_ + 1;
    if (console_failures_ == console_failures_told) {
        screen_.note("the console cannot be read");
    }
}

void Bridge::tell_of_losses()
{
    const size_t lost = line_.lost();
    if (lost != told_lost_) {
        screen_.note("the UART does not take " + std::to_string(lost - told_lost_) + " bytes");
    }
    told_lost_ = lost;
}

void Bridge::follow_rate()
{
    const int before = line_.rate();
    if (line_.follow()) {
        screen_.note("the FPGA prescribes another rate: the UART goes from " +
                     std::to_string(before) + " to " + std::to_string(line_.rate()) + " baud");
    }
}

// The flag stays up after a crash: a further one is seen only by who asks.
void Bridge::watch_for_crash()
{
    const bool before = std::exchange(has_record_, black_box_has_record());
    if (before || !has_record_) {
        return;
    }
    // Its last words come first.
    carry();
    screen_.note("the host has crashed: the black box has a record");
    save_black_box();
}

bool Bridge::save_black_box()
{
    if (options_.black_box.empty()) {
        screen_.note("the black box is not saved: no --black-box FILE was named");
        return false;
    }
    return save_record(options_.black_box, options_.black_box_size, screen_, [this] { carry(); });
}

void Bridge::type(std::string_view keys)
{
    std::string passed;
    for (const char key : keys) {
        obey(escapes_.take(key, passed));
    }
    if (line_.is_open()) {
        line_.send(options_.far_end == FarEnd::panel ? with_whole_line_ends(passed) : passed);
    } else if (!passed.empty() && !std::exchange(told_no_way_, true)) {
        screen_.note("without a UART nothing can be typed to the host");
    }
}

void Bridge::obey(Escapes::Command command)
{
    switch (command) {
    case Escapes::Command::end:
        ended_ = true;
        break;
    case Escapes::Command::save:
        save_black_box();
        break;
    case Escapes::Command::help:
        screen_.note("~. ends, ~b saves the black box, ~~ is one ~");
        break;
    case Escapes::Command::none:
        break;
    }
}

int save_black_box_now(const Options &options, Screen &screen)
{
    if (!open_board(screen)) {
        return failed;
    }
    const bool saved = save_record(options.save_now, options.black_box_size, screen, [] {});
    ipmc_driver_clean();
    return saved ? ended_as_asked : failed;
}

} // namespace console_bridge
