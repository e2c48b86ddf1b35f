#include "virtual_board/remote/server.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "virtual_board/remote/program_session.h"
#include "virtual_board/remote/protocol.h"

namespace virtual_board::remote {

namespace {

// How often the board gets to do what is due when no program uses it.
constexpr int tick_ms = 50;

// A line of the backend that is longer is no request.
constexpr size_t line_max = size_t{1} << 20;

bool has_gone(int socket)
{
    pollfd polled = {socket, 0, 0};
    return poll(&polled, 1, 0) == 1 && (polled.revents & (POLLHUP | POLLERR)) != 0;
}

bool send_all(int socket, const std::string &text)
{
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t result = ::send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (result < 0 && errno != EINTR) {
            return false;
        }
        sent += static_cast<size_t>(std::max<ssize_t>(result, 0));
    }
    return true;
}

} // namespace

BoardServer::BoardServer(Machine &machine, LineHandler backend)
    : machine_(machine), backend_(std::move(backend)), events_(epoll_create1(EPOLL_CLOEXEC)),
      wake_(eventfd(0, EFD_CLOEXEC)), spare_(open("/dev/null", O_RDONLY | O_CLOEXEC))
{
    epoll_event readable = {};
    readable.events = EPOLLIN;
    if (!events_ || !wake_ ||
        epoll_ctl(events_.get(), EPOLL_CTL_ADD, wake_.get(), &readable) != 0 ||
        epoll_ctl(events_.get(), EPOLL_CTL_ADD, files_.readiness(), &readable) != 0) {
        throw std::runtime_error("no descriptors left");
    }
    worker_ = std::thread([this] { work(); });
}

BoardServer::~BoardServer()
{
    stopping_ = true;
    eventfd_write(wake_.get(), 1);
    worker_.join();
    {
        const std::lock_guard guard(lock_);
        for (const Client &client : clients_) {
            shutdown(client.socket.get(), SHUT_RDWR);
        }
    }
    for (Client &client : clients_) {
        client.thread.join();
    }
    files_.release_closed();
}

void BoardServer::listen(Descriptor listener)
{
    listener_ = std::move(listener);
    epoll_event readable = {};
    readable.events = EPOLLIN;
    readable.data.fd = listener_.get();
    if (epoll_ctl(events_.get(), EPOLL_CTL_ADD, listener_.get(), &readable) != 0) {
        throw std::runtime_error("no descriptors left");
    }
}

void BoardServer::serve(Descriptor socket)
{
    const std::lock_guard guard(lock_);
    clients_.emplace_back();
    Client &client = clients_.back();
    client.socket = std::move(socket);
    client.thread = std::thread([this, &client] {
        greet(client);
        // The other side sees the end at once, not when the thread is joined.
        shutdown(client.socket.get(), SHUT_RDWR);
        const std::lock_guard finish(lock_);
        client.finished = true;
    });
}

size_t BoardServer::connections()
{
    const std::lock_guard guard(lock_);
    return static_cast<size_t>(std::count_if(clients_.begin(), clients_.end(),
                                             [](const Client &one) { return !one.finished; }));
}

void BoardServer::work()
{
    while (!stopping_) {
        epoll_event event = {};
        const int count = epoll_wait(events_.get(), &event, 1, tick_ms);
        if (count > 0 && listener_ && event.data.fd == listener_.get()) {
            accept();
        }
        files_.release_closed();
        join_finished();
        if (const std::shared_ptr<Board> board = machine_.board()) {
            board->synchronise();
        }
        follow_power_failure();
    }
}

// Whoever finds no descriptor left for it is told so by the end of its connection.
void BoardServer::accept()
{
    Descriptor socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (socket) {
        serve(std::move(socket));
    } else if (errno == EMFILE || errno == ENFILE) {
        spare_.reset();
        socket.reset(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        socket.reset();
        spare_.reset(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
}

void BoardServer::join_finished()
{
    std::list<Client> finished;
    {
        const std::lock_guard guard(lock_);
        for (auto client = clients_.begin(); client != clients_.end();) {
            const auto next = std::next(client);
            if (client->finished) {
                finished.splice(finished.end(), clients_, client);
            }
            client = next;
        }
    }
    for (Client &client : finished) {
        client.thread.join();
    }
}

// ---- one client ----

void BoardServer::refuse(int socket, const std::string &complaint)
{
    Writer answer;
    answer.flag(false).text(complaint).text({}).text({}).flag(false);
    send_message(socket, static_cast<uint32_t>(Kind::answer), answer.body());
}

void BoardServer::tell_status(int socket)
{
    Writer answer;
    answer.flag(true)
        .text({})
        .text(machine_.personality().name)
        .signed_number(getpid())
        .flag(machine_.board() != nullptr)
        .number(programs_.count());
    send_message(socket, static_cast<uint32_t>(Kind::answer), answer.body());
}

void BoardServer::greet(Client &client)
{
    const int socket = client.socket.get();
    const std::optional<Message> greeting = receive_message(socket);
    if (!greeting || greeting->kind != static_cast<uint32_t>(Kind::hello)) {
        return;
    }
    Reader reader(greeting->body);
    const uint64_t magic = reader.number();
    const uint64_t version = reader.number();
    const uint64_t pointer_size = reader.number();
    const uint64_t role = reader.number();
    const uint64_t key = reader.number();
    if (magic != protocol_magic) {
        return;
    }
    if (!reader.complete() || version != protocol_version) {
        refuse(socket, "the board and this program speak different versions");
    } else if (pointer_size != sizeof(void *)) {
        refuse(socket, "the board and this program are of different word size");
    } else if (role == static_cast<uint64_t>(Role::program)) {
        serve_program(client, key);
    } else if (role == static_cast<uint64_t>(Role::backend) && backend_) {
        serve_backend(client);
    } else if (role == static_cast<uint64_t>(Role::status)) {
        tell_status(socket);
    }
}

void BoardServer::serve_program(Client &client, uint64_t key)
{
    const int socket = client.socket.get();
    const std::shared_ptr<Board> board = machine_.board();
    ucred peer = {};
    socklen_t length = sizeof(peer);
    if (!board || getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        refuse(socket, "the board has no power");
        return;
    }
    {
        const std::lock_guard guard(lock_);
        client.program = true;
    }
    programs_.join(key, peer.pid);
    Writer answer;
    answer.flag(true)
        .text({})
        .text(files_.token())
        .text(board->network_port())
        .flag(board->time_is_virtual());
    // Power that went before it joined has not killed it.
    if (machine_.board() == board &&
        send_message(socket, static_cast<uint32_t>(Kind::answer), answer.body())) {
        converse(client, board, key);
    }
    programs_.leave(key, *board);
    // It may have been killed between a store and whatever tells of it.
    files_.release_closed();
    board->synchronise();
    follow_power_failure();
}

// A program never learns what came of the access that the power failed in.
void BoardServer::converse(Client &client, const std::shared_ptr<Board> &board, uint64_t key)
{
    ProgramSession session(client.socket.get(), board, files_, programs_, key);
    while (const std::optional<Message> question = receive_message(client.socket.get())) {
        const bool understood = session.carry_out(*question);
        follow_power_failure();
        if (!understood || machine_.board() != board || !session.send_answer()) {
            return;
        }
    }
}

// ---- backend ----

void BoardServer::serve_backend(Client &client)
{
    class Lines : public LineClient {
    public:
        Lines(int socket, Machine &machine)
            : socket_(socket), machine_(machine), board_(machine.board())
        {
        }
        bool send(const std::string &line) override { return send_all(socket_, line + "\n"); }
        bool gone() override { return has_gone(socket_) || machine_.board() != board_; }

        // The next request concerns the board that is there then.
        void begin() { board_ = machine_.board(); }

    private:
        int socket_;
        Machine &machine_;
        std::shared_ptr<Board> board_;
    };

    const int socket = client.socket.get();
    Writer answer;
    answer.flag(true).text({}).text({}).text({}).flag(false);
    if (!send_message(socket, static_cast<uint32_t>(Kind::answer), answer.body())) {
        return;
    }
    Lines lines(socket, machine_);
    std::string received;
    char piece[4096];
    for (ssize_t got = 0; (got = recv(socket, piece, sizeof(piece), 0)) > 0;) {
        received.append(piece, static_cast<size_t>(got));
        for (size_t end = 0; (end = received.find('\n')) != std::string::npos;) {
            const std::string line = received.substr(0, end);
            received.erase(0, end + 1);
            lines.begin();
            backend_(line, lines);
        }
        if (received.size() > line_max) {
            return;
        }
    }
}

// ---- power ----

void BoardServer::cut_power()
{
    const std::lock_guard guard(power_);
    programs_.stop_all();
    bury(machine_.cut());
}

void BoardServer::follow_power_failure()
{
    if (!machine_.power_failed()) {
        return;
    }
    const std::lock_guard guard(power_);
    if (machine_.power_failed()) {
        programs_.stop_all();
        bury(machine_.cut_failed());
    }
}

void BoardServer::restore_power()
{
    const std::lock_guard guard(power_);
    machine_.restore();
}

// Killed first, the programs do not see their connections go.
void BoardServer::bury(const std::shared_ptr<Board> &board)
{
    if (!board) {
        return;
    }
    programs_.kill_all();
    {
        const std::lock_guard guard(lock_);
        for (const Client &client : clients_) {
            if (client.program) {
                shutdown(client.socket.get(), SHUT_RDWR);
            }
        }
    }
    files_.forget(*board);
}

} // namespace virtual_board::remote
