// Fixture of the console bridge's tests: a bridge on a virtual board, and a
// folder for what it saves.
#ifndef TESTS_EXAMPLES_CONSOLE_BRIDGE_BRIDGE_FIXTURE_H
#define TESTS_EXAMPLES_CONSOLE_BRIDGE_BRIDGE_FIXTURE_H

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "console_bridge/bridge.h"
#include "tests/support/board_test.h"

namespace board_test {

// Keeps what would be seen.
class SeenScreen : public console_bridge::Screen {
public:
    void console(std::string_view text) override { shown_ += text; }
    void note(const std::string &line) override { notes_.push_back(line); }

    std::string shown() { return std::exchange(shown_, {}); }
    Names notes() { return std::exchange(notes_, {}); }

private:
    std::string shown_;
    Names notes_;
};

class BridgeFixture : public BoardTest {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/console_bridge.XXXXXX";
        folder = mkdtemp(name);
        BoardTest::SetUp();
    }

    void TearDown() override
    {
        bridge.reset();
        std::filesystem::remove_all(folder);
        BoardTest::TearDown();
    }

    // Opens a bridge, and forgets what it said.
    void start(const console_bridge::Options &options = {})
    {
        bridge = std::make_unique<console_bridge::Bridge>(options, screen);
        ASSERT_EQ(bridge->open(), 0);
        screen.notes();
        clear_trace();
    }

    void pass(unsigned count = 1)
    {
        for (unsigned i = 0; i < count; ++i) {
            bridge->pass();
            usleep(console_bridge::Bridge::pass_ms * 1000);
        }
    }

    std::string file(const char *name) const { return folder + "/" + name; }

    static std::string content(const std::string &path)
    {
        std::ifstream stream(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    static void write_file(const std::string &path, const std::string &text)
    {
        std::ofstream(path, std::ios::binary) << text;
    }

    Names files() const
    {
        Names names;
        for (const auto &entry : std::filesystem::directory_iterator(folder)) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    // A record without zeros, whose every byte tells its place.
    static std::string record_of(size_t size)
    {
        std::string record;
        for (size_t i = 0; i < size; ++i) {
            record += static_cast<char>(1 + (i + i / 251) % 255);
        }
        return record;
    }

    // The host leaves a record, whether the box is on or not.
    void record(const std::string &bytes)
    {
        const uint32_t before = board.fpga().get_register(292);
        set_control(3);
        board.black_box().crash({bytes.begin(), bytes.end()});
        set_control(before);
    }

    // Accesses to FPGA registers fail: `times` of them, 0 for all, after `skip`.
    void registers_fail(Operation operation, unsigned skip, unsigned times)
    {
        board.faults.add({.name = "register access",
                          .device = "fpga",
                          .operation = operation,
                          .address = 0x61,
                          .kind = Fault::Kind::result,
                          .value = 0,
                          .skip = skip,
                          .times = times});
    }

    SeenScreen screen;
    std::unique_ptr<console_bridge::Bridge> bridge;
    std::string folder;

private:
    // As the driver writes it.
    void set_control(uint32_t value)
    {
        const uint8_t message[] = {0x61, 292 & 0xFF, 292 >> 8, static_cast<uint8_t>(value),
                                   0,    0,          0};
        virtual_board::OpenFile opened;
        board.fpga().write(opened, message, 1);
    }
};

} // namespace board_test

#endif
