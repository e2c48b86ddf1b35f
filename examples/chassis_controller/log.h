// The controller's log: lines on standard output.
#ifndef CHASSIS_CONTROLLER_LOG_H
#define CHASSIS_CONTROLLER_LOG_H

#include <stdarg.h>
#include <stdio.h>

namespace chassis_controller {

// The prefix tells the lines from others on a console that is shared.
__attribute__((format(printf, 1, 2))) inline void say(const char *format, ...)
{
    fputs("bmc   | ", stdout);
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
    putchar('\n');
}

} // namespace chassis_controller

#endif
