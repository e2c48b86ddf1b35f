#include "virtual_board/remote/served_files.h"

#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <stdexcept>
#include <utility>
#include <vector>

#include "virtual_board/remote/protocol.h"

namespace virtual_board::remote {

namespace {

std::string new_token()
{
    uint64_t number = 0;
    if (getrandom(&number, sizeof(number), 0) != sizeof(number)) {
        throw std::runtime_error("no random numbers");
    }
    char text[20];
    snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(number));
    return text;
}

// Gives the socket an abstract name, which its peer can ask for.
bool name_socket(int socket, const std::string &name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (name.size() + 1 > sizeof(address.sun_path)) {
        return false;
    }
    memcpy(address.sun_path + 1, name.data(), name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return bind(socket, reinterpret_cast<const sockaddr *>(&address), length) == 0;
}

} // namespace

ServedFiles::ServedFiles() : token_(new_token()), readiness_(epoll_create1(EPOLL_CLOEXEC))
{
    if (!readiness_) {
        throw std::runtime_error("no descriptors left");
    }
}

ServedFiles::Added ServedFiles::add(const std::shared_ptr<Board> &board,
                                    const std::shared_ptr<OpenFile> &file)
{
    Added added;
    int ends[2] = {-1, -1};
    const bool made = socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0;
    Descriptor own(ends[0]);
    Descriptor end(ends[1]);
    {
        const std::lock_guard guard(lock_);
        added.id = ++last_id_;
        epoll_event event = {}; // a hang-up is always told
        if (made && name_socket(own.get(), descriptor_name(token_) + std::to_string(added.id)) &&
            epoll_ctl(readiness_.get(), EPOLL_CTL_ADD, own.get(), &event) == 0) {
            files_[added.id] = {board, file, std::move(own)};
            added.end = std::move(end);
        }
    }
    if (!added.end) {
        board->close(*file);
    }
    return added;
}

std::shared_ptr<OpenFile> ServedFiles::find(const Board &board, uint64_t id)
{
    const std::lock_guard guard(lock_);
    const auto found = files_.find(id);
    return found == files_.end() || found->second.board.get() != &board ? nullptr
                                                                        : found->second.file;
}

void ServedFiles::release_closed()
{
    const std::lock_guard one_at_a_time(releasing_);
    std::vector<Served> closed;
    {
        const std::lock_guard guard(lock_);
        for (auto entry = files_.begin(); entry != files_.end();) {
            pollfd end = {entry->second.end.get(), 0, 0};
            const bool gone = poll(&end, 1, 0) == 1 && (end.revents & POLLHUP) != 0;
            if (gone) {
                closed.push_back(std::move(entry->second));
            }
            entry = gone ? files_.erase(entry) : std::next(entry);
        }
    }
    for (const Served &served : closed) {
        served.board->close(*served.file);
    }
}

void ServedFiles::forget(const Board &board)
{
    const std::lock_guard guard(lock_);
    std::erase_if(files_,
                  [&board](const auto &entry) { return entry.second.board.get() == &board; });
}

size_t ServedFiles::size() const
{
    const std::lock_guard guard(lock_);
    return files_.size();
}

} // namespace virtual_board::remote
