// Long work beside the thread that shows it.
#ifndef UPGRADE_SERVICE_WORK_H
#define UPGRADE_SERVICE_WORK_H

#include <atomic>
#include <functional>

namespace upgrade_service {

constexpr unsigned look_ms = 50;

// Runs `work` in a thread of its own. Calls `look` in this one, again and again
// until the work is done and once after. Signals reach this thread alone: a
// library call that is broken off by one would fail in the middle of a flash.
int run_beside(const std::function<int()> &work, const std::function<void()> &look);

// Counts SIGINT, SIGTERM and SIGHUP from now on, instead of dying of them; dies
// of no broken pipe either, so that an update survives the reader of its output.
void count_interrupts();
// Signals so far. A test writes it.
extern std::atomic<unsigned> interrupts;

} // namespace upgrade_service

#endif
