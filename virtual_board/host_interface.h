// One IPMI system interface (KCS or BT): the FPGA between controller and host.
#ifndef VIRTUAL_BOARD_HOST_INTERFACE_H
#define VIRTUAL_BOARD_HOST_INTERFACE_H

#include <stddef.h>
#include <stdint.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "virtual_board/fpga.h"

namespace virtual_board {

using Message = std::vector<uint8_t>;

// The host has one request under way at a time: it writes it, the controller
// takes it, answers, and the host takes the answer.
class HostInterface {
public:
    struct Commands {
        uint8_t data;
        uint8_t status_get;
        uint8_t status_set;
    };

    // What the controller reads as the status byte.
    static constexpr uint8_t request_waiting = 1;
    static constexpr uint8_t busy = 2;
    static constexpr uint8_t idle = 4;

    using AnswerObserver = std::function<void(const Message &)>;

    HostInterface(Fpga &fpga, Commands commands);

    // Backend face: the host's side.
    void send(Message request);
    // Takes back a request that the controller has not fetched; false if it has.
    bool withdraw(const Message &request);
    // Called with each answer as it arrives at the host.
    void on_answer(AnswerObserver observer) { observer_ = std::move(observer); }
    // Further observers come and go by number, but not while one is called.
    unsigned listen(AnswerObserver listener);
    void unlisten(unsigned number) { listeners_.erase(number); }
    const std::vector<Message> &answers() const { return answers_; }
    bool request_pending() const { return !requests_.empty(); }
    size_t requests_pending() const { return requests_.size(); }
    // What the controller set, or what the traffic makes of it.
    uint8_t status() const;
    // Holds the status register at a value; empty lets the traffic make it again.
    void set_status(std::optional<uint8_t> value) { set_status_ = value; }
    std::optional<uint8_t> held_status() const { return set_status_; }

    // Misbehaviour.
    void never_idle(bool on) { never_idle_ = on; }
    bool is_never_idle() const { return never_idle_; }
    // The driver answers this instead of moving data; its errors are above 9999.
    void fail_reads(std::optional<long> result) { read_result_ = result; }
    void fail_writes(std::optional<long> result) { write_result_ = result; }
    std::optional<long> read_result() const { return read_result_; }
    std::optional<long> write_result() const { return write_result_; }

private:
    long take_request(uint8_t *buffer, size_t count);
    long give_answer(const uint8_t *record, size_t count);

    std::deque<Message> requests_;
    std::vector<Message> answers_;
    AnswerObserver observer_;
    std::map<unsigned, AnswerObserver> listeners_;
    unsigned last_listener_ = 0;
    std::optional<uint8_t> set_status_;
    bool never_idle_ = false;
    std::optional<long> read_result_;
    std::optional<long> write_result_;
};

} // namespace virtual_board

#endif
