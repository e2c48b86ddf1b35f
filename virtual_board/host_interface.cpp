#include "virtual_board/host_interface.h"

#include <algorithm>
#include <utility>

namespace virtual_board {

HostInterface::HostInterface(Fpga &fpga, Commands commands)
{
    fpga.on_read(commands.data, 1, [this](OpenFile &, uint8_t *record, size_t count) {
        return take_request(record, count);
    });
    fpga.on_write(commands.data, nullptr, [this](OpenFile &, const uint8_t *record, size_t count) {
        return give_answer(record, count);
    });
    fpga.on_read(commands.status_get, 1, [this](OpenFile &, uint8_t *record, size_t) {
        record[0] = status();
        return 1L;
    });
    fpga.on_write(commands.status_set, nullptr,
                  [this](OpenFile &, const uint8_t *record, size_t count) {
                      if (count < 2) {
                          return static_cast<long>(-EINVAL);
                      }
                      set_status_ = record[1];
                      return static_cast<long>(count);
                  });
}

void HostInterface::send(Message request)
{
    requests_.push_back(std::move(request));
}

bool HostInterface::withdraw(const Message &request)
{
    // The latest of several equal ones: those before it have waited longer.
    const auto found = std::find(requests_.rbegin(), requests_.rend(), request);
    if (found == requests_.rend()) {
        return false;
    }
    requests_.erase(std::next(found).base());
    return true;
}

unsigned HostInterface::listen(AnswerObserver listener)
{
    listeners_[++last_listener_] = std::move(listener);
    return last_listener_;
}

uint8_t HostInterface::status() const
{
    if (never_idle_) {
        return busy;
    }
    if (set_status_) {
        return *set_status_;
    }
    return requests_.empty() ? idle : request_waiting;
}

// A request that is longer than the controller's buffer is cut: the FPGA's
// buffer is released with the read.
long HostInterface::take_request(uint8_t *buffer, size_t count)
{
    if (read_result_) {
        return *read_result_;
    }
    if (requests_.empty()) {
        return 0;
    }
    const Message request = std::move(requests_.front());
    requests_.pop_front();
    const size_t moved = std::min(count, request.size());
    std::copy_n(request.begin(), moved, buffer);
    return static_cast<long>(moved);
}

// Record: command, length of the message, message.
long HostInterface::give_answer(const uint8_t *record, size_t count)
{
    if (write_result_) {
        return *write_result_;
    }
    if (count < 2) {
        return -EINVAL;
    }
    const size_t length = std::min<size_t>(record[1], count - 2);
    answers_.emplace_back(record + 2, record + 2 + length);
    // By value: the observer may send the next request, or hang up.
    const Message answer = answers_.back();
    for (const auto &[number, listener] : listeners_) {
        listener(answer);
    }
    if (observer_) {
        observer_(answer);
    }
    return static_cast<long>(count);
}

} // namespace virtual_board
