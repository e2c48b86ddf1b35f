#include "tests/support/board_test.h"

#include <dirent.h>

#include <cstdio>

#include "virtual_board/shim/shim.h"
#include "virtual_board/shim/window_watch.h"

namespace board_test {

namespace {

long open_descriptors()
{
    long count = 0;
    DIR *directory = opendir("/proc/self/fd");
    while (directory != nullptr && readdir(directory) != nullptr) {
        ++count;
    }
    closedir(directory);
    return count;
}

std::string hex(uint64_t value)
{
    char text[20];
    snprintf(text, sizeof(text), "%02llx", static_cast<unsigned long long>(value));
    return text;
}

std::string step(const Event &event)
{
    const std::string verb = to_string(event.operation);
    switch (event.operation) {
    case Operation::load:
        return verb + " " + hex(event.address);
    case Operation::store:
        return verb + " " + hex(event.address) + "=" + hex(static_cast<uint8_t>(event.result));
    case Operation::sleep:
        return verb + " " + std::to_string(event.count);
    case Operation::lock:
    case Operation::unlock:
    case Operation::open:
    case Operation::close:
    case Operation::map:
    case Operation::unmap:
    case Operation::run:
    case Operation::set_time:
        return verb + " " + event.device;
    default:
        return verb + " " + event.device + " " + hex(event.address);
    }
}

} // namespace

BoardTest::BoardTest(const Personality &personality) : board(personality), locks_(board) {}

void BoardTest::SetUp()
{
    output_.emplace();
    virtual_board::shim::install(&board);
    descriptors_before_ = open_descriptors();
}

void BoardTest::TearDown()
{
    if (opened_) {
        ipmc_driver_clean();
    }
    EXPECT_EQ(locks_.held(), leaves_held_) << "locks left behind";
    EXPECT_EQ(board.open_files(), leaves_open_) << "nodes of the board left open";
    EXPECT_EQ(open_descriptors() - descriptors_before_, leaves_descriptors_)
        << "descriptors leaked";
    virtual_board::shim::install(nullptr);
    output_.reset();
}

void BoardTest::open_board()
{
    ASSERT_EQ(ipmc_driver_init(), 0);
    opened_ = true;
    output();
    clear_trace();
}

std::string BoardTest::output()
{
    return output_->take();
}

Names BoardTest::steps() const
{
    Names texts;
    for (const Event &event : board.trace.events()) {
        texts.push_back(step(event));
    }
    return texts;
}

Bytes BoardTest::registers()
{
    Bytes all(CPLD_WINDOW_SIZE);
    for (uint32_t offset = 0; offset < all.size(); ++offset) {
        all[offset] = reg(offset);
    }
    return all;
}

void BoardTest::fill_registers(uint8_t value)
{
    for (uint32_t offset = 0; offset < CPLD_REG_COUNT; ++offset) {
        set_reg(offset, value);
    }
}

bool BoardTest::sees_each_access()
{
    return virtual_board::shim::can_watch();
}

} // namespace board_test
