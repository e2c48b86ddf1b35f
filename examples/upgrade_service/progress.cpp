#include "upgrade_service/progress.h"

#include <board_hal.h>
#include <stdio.h>

#include <algorithm>

namespace upgrade_service {

namespace {

constexpr unsigned bar_width = 40;
constexpr unsigned most_while_running = 99;

} // namespace

Status published_status()
{
    Status status;
    get_upgrade_status(&status.progress, &status.state);
    return status;
}

bool Meter::take(const Status &status)
{
    const bool changed = !(status == published_);
    published_ = status;
    // A failure publishes 0: that is no progress.
    if (status.state == in_progress) {
        percent_ = std::max(percent_, std::min(status.progress, most_while_running));
    }
    return changed;
}

void Meter::finish(bool succeeded)
{
    percent_ = succeeded ? 100 : percent_;
}

std::string bar(unsigned percent)
{
    const unsigned full = bar_width * std::min(percent, 100U) / 100;
    char number[16];
    snprintf(number, sizeof(number), " %3u%%", percent);
    return '[' + std::string(full, '#') + std::string(bar_width - full, ' ') + ']' + number;
}

} // namespace upgrade_service
