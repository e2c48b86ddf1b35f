#include "console_bridge/terminal.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace console_bridge {

DivertedOutput::DivertedOutput()
{
    fflush(stdout);
    console_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

DivertedOutput::~DivertedOutput()
{
    fflush(stdout);
    dup2(console_, STDOUT_FILENO);
    close(console_);
}

RawKeys::RawKeys(int descriptor) : descriptor_(descriptor)
{
    if (tcgetattr(descriptor_, &found_) != 0) {
        return;
    }
    termios raw = found_;
    raw.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR | ISTRIP | IXON | IXOFF);
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG | IEXTEN);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    changed_ = tcsetattr(descriptor_, TCSANOW, &raw) == 0;
}

RawKeys::~RawKeys()
{
    if (changed_) {
        tcsetattr(descriptor_, TCSANOW, &found_);
    }
}

} // namespace console_bridge
