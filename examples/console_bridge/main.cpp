// Carries the host's serial console between the board and a terminal until it is
// told to end; see usage in options.cpp.

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include "console_bridge/bridge.h"
#include "console_bridge/options.h"
#include "console_bridge/screen.h"
#include "console_bridge/terminal.h"

namespace {

using namespace console_bridge;

volatile sig_atomic_t told_to_stop;
volatile sig_atomic_t told_to_save;

void on_stop(int)
{
    told_to_stop = 1;
}

void on_save(int)
{
    told_to_save = 1;
}

// Without SA_RESTART: a wait for a terminal that takes nothing ends, too.
void obey_signals()
{
    struct sigaction action = {};
    action.sa_handler = on_stop;
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
    action.sa_handler = on_save;
    sigaction(SIGUSR1, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
}

// Started without them, the board's devices would take their numbers.
void keep_standard_descriptors()
{
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    close(descriptor);
}

// Waits for keys, but not longer than to the next pass. Leaves keys < 0 when
// there will be none any more; the console goes on.
void take_keys(int &keys, Bridge &bridge)
{
    pollfd waited = {keys, POLLIN, 0};
    if (poll(&waited, 1, Bridge::pass_ms) <= 0) {
        return;
    }
    char typed[256];
    const ssize_t count = read(keys, typed, sizeof(typed));
    if (count > 0) {
        bridge.type({typed, static_cast<size_t>(count)});
    } else if (count == 0 || errno != EINTR) {
        keys = -1;
    }
}

int run(const Options &options, DescriptorScreen &screen)
{
    Bridge bridge(options, screen);
    const int result = bridge.open();
    if (result != ended_as_asked) {
        return result;
    }
    const RawKeys raw(STDIN_FILENO);
    int keys = STDIN_FILENO;
    while (told_to_stop == 0 && !bridge.ended() && screen.good()) {
        take_keys(keys, bridge);
        if (told_to_save != 0) {
            told_to_save = 0;
            bridge.save_black_box();
        }
        bridge.pass();
    }
    bridge.close();
    return screen.good() ? ended_as_asked : failed;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    const std::string complaint = parse({argv + 1, argv + argc}, options);
    if (!complaint.empty()) {
        fprintf(stderr, "console_bridge: %s\nTry console_bridge --help.\n", complaint.c_str());
        return wrong_usage;
    }
    if (options.help) {
        fputs(usage, stdout);
        return ended_as_asked;
    }
    keep_standard_descriptors();
    // Lines that are not read late, wherever they go.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    obey_signals();
    const DivertedOutput diverted;
    DescriptorScreen screen(diverted.console(), options.prefix);
    screen.give_up_when(told_to_stop);
    return options.save_now.empty() ? run(options, screen) : save_black_box_now(options, screen);
}
