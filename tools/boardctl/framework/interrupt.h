// What happens on SIGINT and SIGTERM: the tool says what state the board is in
// and ends. The signals are waited for by a thread of their own, so that they
// are answered also while the library is busy.
#ifndef BOARDCTL_INTERRUPT_H
#define BOARDCTL_INTERRUPT_H

#include <functional>
#include <string>

namespace boardctl::interrupt {

// Called with the signal's name and the state of the board, before the process
// ends with 128 plus the signal's number.
using Report = std::function<void(const char *signal, const std::string &state)>;

// Before any other thread starts.
void begin(Report report);

// Says what an interruption now would leave behind.
void set_state(const std::string &state);

// Undoes something first, such as a changed terminal; for as long as it lives.
class Tidy {
public:
    explicit Tidy(std::function<void()> undo);
    ~Tidy();
    Tidy(const Tidy &) = delete;
    Tidy &operator=(const Tidy &) = delete;
};

} // namespace boardctl::interrupt

#endif
