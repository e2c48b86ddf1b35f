// The controller: starts the board, then serves the host's requests.
#ifndef CHASSIS_CONTROLLER_CONTROLLER_H
#define CHASSIS_CONTROLLER_CONTROLLER_H

#include "board_chassis.h"

namespace chassis_controller {

class Controller {
public:
    static constexpr unsigned poll_us = 20000;

    // Opens the board and tells what board it is; false if it cannot be opened.
    bool start();
    // One pass, meant to be called every poll_us: serves a request if there is
    // one, and shows once a second that the controller is alive.
    void poll();
    void stop();

private:
    void show_life();
    void serve();
    void send(const Message &answer);

    BoardChassis chassis_;
    unsigned passes_ = 0;
};

} // namespace chassis_controller

#endif
