#include "virtual_board/remote/programs.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <utility>

extern "C" {
#include <sys/pidfd.h> // knows nothing of C++ in older C libraries
}

namespace virtual_board::remote {

namespace {

// How long a killed program may take to end: the kernel may be amid a call of it.
constexpr int patience_ms = 5000;

// The board knows mappings by an address; here it is a number.
const void *address_of(uint64_t mapping)
{
    return reinterpret_cast<const void *>(static_cast<uintptr_t>(mapping));
}

} // namespace

void Programs::join(uint64_t key, pid_t process)
{
    const std::lock_guard guard(lock_);
    Program &program = programs_[key];
    if (program.connections++ == 0) {
        program.process = process;
        program.handle = Descriptor(pidfd_open(process, 0));
    }
}

void Programs::leave(uint64_t key, Board &board)
{
    Program gone;
    {
        const std::lock_guard guard(lock_);
        const auto program = programs_.find(key);
        if (program == programs_.end() || --program->second.connections > 0) {
            return;
        }
        gone = std::move(program->second);
        programs_.erase(program);
    }
    for (const auto &[number, length] : gone.mappings) {
        board.unmapped_at(address_of(number), length);
    }
}

uint64_t Programs::mapped(uint64_t key, Board &board, const OpenFile &file, size_t length)
{
    const std::lock_guard guard(lock_);
    const uint64_t number = ++last_mapping_;
    programs_[key].mappings[number] = length;
    board.mapped_at(address_of(number), file);
    return number;
}

void Programs::unmapped(uint64_t key, Board &board, uint64_t number, size_t length)
{
    {
        const std::lock_guard guard(lock_);
        if (programs_[key].mappings.erase(number) == 0) {
            return;
        }
    }
    board.unmapped_at(address_of(number), length);
}

void Programs::signal_all(int signal, std::vector<Descriptor> &reached)
{
    const std::lock_guard guard(lock_);
    for (const auto &[key, program] : programs_) {
        if (program.handle && program.process != getpid() &&
            pidfd_send_signal(program.handle.get(), signal, nullptr, 0) == 0) {
            reached.emplace_back(dup(program.handle.get()));
        }
    }
}

void Programs::stop_all()
{
    std::vector<Descriptor> stopped;
    signal_all(SIGSTOP, stopped);
}

void Programs::kill_all()
{
    std::vector<Descriptor> killed;
    signal_all(SIGKILL, killed);
    for (const Descriptor &handle : killed) {
        pollfd ended = {handle.get(), POLLIN, 0};
        poll(&ended, 1, patience_ms);
    }
}

size_t Programs::count() const
{
    const std::lock_guard guard(lock_);
    return programs_.size();
}

} // namespace virtual_board::remote
