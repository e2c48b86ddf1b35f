// Fixture of every test that drives the library on a virtual board.
#ifndef TESTS_SUPPORT_BOARD_TEST_H
#define TESTS_SUPPORT_BOARD_TEST_H

#include <gtest/gtest.h>
#include <stdint.h>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "board_hal.h"
#include "board_hal_cpld.h"
#include "tests/support/captured_output.h"
#include "tests/support/lock_watch.h"
#include "virtual_board/board.h"

namespace board_test {

using virtual_board::Board;
using virtual_board::Event;
using virtual_board::Fault;
using virtual_board::Operation;
using virtual_board::Personality;

using Names = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;

// One process runs one test case: the library's state is the process's.
//
// At the end the fixture closes the board if the test opened it with
// open_board(), and then expects no lock of the library held, no node of the
// board open and no descriptor leaked, but for what the test declared with
// leaves_held(), leaves_open() and leaves_descriptors().
class BoardTest : public ::testing::Test {
protected:
    explicit BoardTest(const Personality &personality = {});

    void SetUp() override;
    void TearDown() override;

    Board board;

    // Starts the library, then forgets the start-up's trace and output.
    void open_board();

    // What the library printed since the last call.
    std::string output();
    // How much of it has left the program's buffer: a terminal shows no more.
    size_t flushed_output() const { return output_->flushed(); }
    // The locks that are held now, by name, sorted.
    Names held_locks() const { return locks_.held(); }
    // Pairs of a held lock and one that was taken meanwhile.
    std::set<std::pair<std::string, std::string>> lock_order() const { return locks_.order(); }
    // Runs the action in whichever thread has just taken the lock, while it holds
    // it; to be set before threads run.
    void when_locked(const std::string &name, std::function<void()> action)
    {
        locks_.when_locked(name, std::move(action));
    }
    // The trace of register accesses, locks and sleeps since clear_trace(), one
    // short text each: "lock cpld_reg_lock", "load 83", "store 83=90",
    // "sleep 30000", "read fpga 32", "write fpga 31", "ioctl fpga 80046b01",
    // "run insmod /ko/load_fpga.ko", …
    Names steps() const;
    void clear_trace() { board.trace.clear(); }

    // Expectations on what the test leaves behind.
    void leaves_held(Names names) { leaves_held_ = std::move(names); }
    void leaves_open(size_t files) { leaves_open_ = files; }
    void leaves_descriptors(long count) { leaves_descriptors_ = count; }

    // CPLD registers, from the hardware's side.
    uint8_t reg(uint32_t offset) { return board.cpld().get(offset); }
    void set_reg(uint32_t offset, uint8_t value) { board.cpld().set(offset, value); }
    // Fills all writable registers with a pattern and returns a copy of all, to
    // prove later what an operation left untouched.
    Bytes registers();
    void fill_registers(uint8_t value);

    // Whether single loads and stores are seen on this machine.
    static bool sees_each_access();

private:
    std::optional<CapturedOutput> output_;
    LockWatch locks_;
    bool opened_ = false;
    Names leaves_held_;
    size_t leaves_open_ = 0;
    long leaves_descriptors_ = 0;
    long descriptors_before_ = 0;
};

// Names a parametrised test after its parameter's `name`.
struct ByName {
    template <typename Info> std::string operator()(const Info &test) const
    {
        return test.param.name;
    }
};

} // namespace board_test

#endif
