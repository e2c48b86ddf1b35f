// A little management controller: serves the host's IPMI requests over KCS
// until it is told to terminate.

#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include "controller.h"

namespace {

volatile sig_atomic_t told_to_stop;

void on_signal(int)
{
    told_to_stop = 1;
}

} // namespace

int main()
{
    // A log that is not read late, wherever it goes.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    signal(SIGTERM, on_signal);
    signal(SIGINT, on_signal);

    chassis_controller::Controller controller;
    if (!controller.start()) {
        return 1;
    }
    while (told_to_stop == 0) {
        controller.poll();
        usleep(chassis_controller::Controller::poll_us);
    }
    controller.stop();
    return 0;
}
