// A client of the backend in the same process.
#ifndef TESTS_VIRTUAL_BOARD_BACKEND_CLIENT_H
#define TESTS_VIRTUAL_BOARD_BACKEND_CLIENT_H

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "virtual_board/backend/backend.h"
#include "virtual_board/board.h"

namespace board_test {

// Keeps what it is sent.
class Collected : public virtual_board::Channel {
public:
    bool send(const nlohmann::json &line) override
    {
        const std::lock_guard guard(lock_);
        line.dump(); // throws for what is no text
        lines_.push_back(line);
        news_.notify_all();
        return !gone_;
    }
    bool gone() override { return gone_; }
    void leave() { gone_ = true; }

    std::vector<nlohmann::json> lines()
    {
        const std::lock_guard guard(lock_);
        return lines_;
    }
    // Waits until there are so many lines.
    void wait_for(size_t count)
    {
        std::unique_lock guard(lock_);
        news_.wait(guard, [&] { return lines_.size() >= count; });
    }

private:
    std::mutex lock_;
    std::condition_variable news_;
    std::vector<nlohmann::json> lines_;
    std::atomic<bool> gone_ = false;
};

class BackendTest : public ::testing::Test {
protected:
    virtual_board::Board board;
    virtual_board::Backend backend{board};

    // The only line that answers a request.
    nlohmann::json ask(const nlohmann::json &request)
    {
        Collected client;
        backend.serve(request, client);
        EXPECT_EQ(client.lines().size(), 1U) << request;
        return client.lines().back();
    }
    std::string error(const nlohmann::json &request) { return ask(request).value("error", "none"); }
    nlohmann::json set(const std::string &name, const nlohmann::json &value)
    {
        return ask({{"request", "set"}, {"name", name}, {"value", value}});
    }
    nlohmann::json value(const std::string &name)
    {
        return ask({{"request", "get"}, {"name", name}})["value"];
    }
};

} // namespace board_test

#endif
