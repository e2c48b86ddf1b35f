#include "boardctl/framework/progress.h"

#include <stdio.h>
#include <unistd.h>

#include <chrono>
#include <future>

#include "boardctl/framework/interrupt.h"

namespace boardctl {

namespace {

constexpr int64_t bar_width = 40;
constexpr std::chrono::milliseconds poll_interval(100);

std::string bar_of(const std::string &name, int64_t percent)
{
    const auto filled = static_cast<size_t>(percent * bar_width / 100);
    std::string bar(filled, '#');
    bar.resize(static_cast<size_t>(bar_width), '.');
    return "\r" + name + " [" + bar + "] " + std::to_string(percent) + "%";
}

} // namespace

Progress::Progress(Context &context)
    : context_(context), bar_(!context.json() && isatty(STDERR_FILENO) != 0)
{
}

Progress::~Progress()
{
    if (in_stage_) {
        end_line();
    }
}

void Progress::stage(const std::string &name, const std::string &state)
{
    interrupt::set_state(state);
    name_ = name;
    in_stage_ = true;
    current_ = 0;
    total_ = 100;
    shown_percent_ = -1;
    if (!bar_ && !context_.json()) {
        fprintf(stderr, "%s ...\n", name_.c_str());
    }
    show();
}

void Progress::update(int64_t current, int64_t total)
{
    if (current >= current_ && total > 0) {
        current_ = current < total ? current : total;
        total_ = total;
        show();
    }
}

void Progress::done()
{
    current_ = total_;
    show();
    end_line();
    if (!bar_ && !context_.json()) {
        fprintf(stderr, "%s: done\n", name_.c_str());
    }
    in_stage_ = false;
}

void Progress::show()
{
    const int64_t percent = current_ * 100 / total_;
    if (percent == shown_percent_) {
        return;
    }
    shown_percent_ = percent;
    if (context_.json()) {
        context_.emit_progress(name_, current_, total_);
    } else if (bar_) {
        fputs(bar_of(name_, percent).c_str(), stderr);
    }
}

void Progress::end_line()
{
    if (bar_) {
        fputs("\n", stderr);
    }
}

int Progress::follow(const std::function<int()> &operation, const std::function<void()> &poll)
{
    std::future<int> result = std::async(std::launch::async, operation);
    while (result.wait_for(poll_interval) == std::future_status::timeout) {
        poll();
    }
    poll();
    return result.get();
}

} // namespace boardctl
