// Serves a board to programs of other processes.
#ifndef VIRTUAL_BOARD_REMOTE_SERVER_H
#define VIRTUAL_BOARD_REMOTE_SERVER_H

#include <stddef.h>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "virtual_board/remote/descriptor.h"
#include "virtual_board/remote/machine.h"
#include "virtual_board/remote/programs.h"
#include "virtual_board/remote/served_files.h"
#include "virtual_board/remote/wire.h"

namespace virtual_board::remote {

// Each connection has a thread of its own. What a client sends is not trusted: a
// message that is not understood ends its connection, and nothing else.
class BoardServer {
public:
    // A client of the backend.
    class LineClient {
    public:
        virtual ~LineClient() = default;
        // False: it has gone.
        virtual bool send(const std::string &line) = 0;
        // Whether it, or the board it began with, has gone.
        virtual bool gone() = 0;
    };
    // Takes one line of a client of the backend, in the connection's own thread.
    using LineHandler = std::function<void(const std::string &line, LineClient &client)>;

    // Throws a std::runtime_error if the machine does not let it.
    explicit BoardServer(Machine &machine, LineHandler backend = {});
    ~BoardServer();

    BoardServer(const BoardServer &) = delete;
    BoardServer &operator=(const BoardServer &) = delete;

    // Takes connections at a listening socket, from now on.
    void listen(Descriptor listener);
    // Serves a connection that was made otherwise.
    void serve(Descriptor socket);

    // The machine loses its power: all programs are killed.
    void cut_power();
    void restore_power();

    size_t programs() const { return programs_.count(); }
    size_t open_files() const { return files_.size(); }
    size_t connections();

private:
    struct Client {
        Descriptor socket;
        bool program = false;
        bool finished = false;
        std::thread thread;
    };

    void work();
    void accept();
    void follow_power_failure();
    void bury(const std::shared_ptr<Board> &board);
    void join_finished();
    void greet(Client &client);
    void refuse(int socket, const std::string &complaint);
    void tell_status(int socket);
    void serve_program(Client &client, uint64_t key);
    void converse(Client &client, const std::shared_ptr<Board> &board, uint64_t key);
    void serve_backend(Client &client);

    Machine &machine_;
    LineHandler backend_;
    ServedFiles files_;
    Programs programs_;
    Descriptor listener_;
    Descriptor events_; // what the worker waits for
    Descriptor wake_;
    Descriptor spare_; // given up to tell a client that there are none left
    std::atomic<bool> stopping_ = false;
    std::mutex power_; // one change of it at a time
    std::mutex lock_;
    std::list<Client> clients_;
    std::thread worker_;
};

} // namespace virtual_board::remote

#endif
