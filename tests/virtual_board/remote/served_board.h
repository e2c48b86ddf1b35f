// A board that is served within the test's own process.
#ifndef TESTS_VIRTUAL_BOARD_REMOTE_SERVED_BOARD_H
#define TESTS_VIRTUAL_BOARD_REMOTE_SERVED_BOARD_H

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "virtual_board/remote/machine.h"
#include "virtual_board/remote/remote_board.h"
#include "virtual_board/remote/server.h"

namespace board_test {

using virtual_board::Board;
using virtual_board::Bus;
using virtual_board::Clock;
using virtual_board::Event;
using virtual_board::Mapping;
using virtual_board::OpenFile;
using virtual_board::Operation;
using virtual_board::Personality;
using namespace virtual_board::remote;

class ServedBoard : public testing::Test {
protected:
    // The test's end of a new connection.
    Descriptor connection()
    {
        int both[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, both), 0);
        if (server == nullptr) {
            ::close(both[1]);
            return Descriptor(both[0]);
        }
        server->serve(Descriptor(both[1]));
        return Descriptor(both[0]);
    }

    std::unique_ptr<RemoteBoard> join()
    {
        return std::make_unique<RemoteBoard>([this] { return connection(); }, "test");
    }

    // The server's threads stand still until the end of the statement, so it must
    // not ask them anything.
    struct StandingBoard {
        std::shared_ptr<Board> board;
        std::unique_lock<std::recursive_mutex> held = board->hold();
        Board *operator->() const { return board.get(); }
    };
    StandingBoard board() { return {machine.board()}; }

    std::vector<Event> events(Operation operation) { return board()->trace.of(operation); }

    // Something that happens soon, and without a deadline of the test's own.
    template <typename Condition> static void wait_until(const Condition &condition)
    {
        while (!condition()) {
            sched_yield();
        }
    }

    Machine machine{Personality{}, {}, Clock::Mode::virtual_time};
    std::unique_ptr<BoardServer> server = std::make_unique<BoardServer>(
        machine, [this](const std::string &line, BoardServer::LineClient &client) {
            serve_line(line, client);
        });

    virtual void serve_line(const std::string &line, BoardServer::LineClient &client)
    {
        client.send("got " + line);
    }

    void SetUp() override { board()->trace.keep(true); }
    void TearDown() override { server.reset(); }
};

} // namespace board_test

#endif
