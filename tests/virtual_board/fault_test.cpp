// Faults: where and when they strike, and what each kind does to a call.

#include "virtual_board/fault.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "virtual_board/board.h"

namespace board_test {
namespace {

using virtual_board::Board;
using virtual_board::Fault;
using virtual_board::FaultPlan;
using virtual_board::OpenFile;
using virtual_board::Operation;
using Kind = Fault::Kind;
using Bytes = std::vector<uint8_t>;

Fault at(const std::string &device, Operation operation, std::optional<uint32_t> address = {})
{
    return {.name = "test", .device = device, .operation = operation, .address = address};
}

std::string hits(FaultPlan &plan, unsigned calls)
{
    std::string pattern;
    for (unsigned i = 0; i < calls; ++i) {
        pattern += plan.strike("fpga", Operation::read, 0x31) != nullptr ? 'x' : '.';
    }
    return pattern;
}

TEST(FaultPlanTest, StrikesItsDeviceOperationAndAddressAlone)
{
    FaultPlan plan;
    Fault &fault = plan.add(at("fpga", Operation::read, 0x31));
    fault.times = 0;
    EXPECT_EQ(plan.strike("cpld", Operation::read, 0x31), nullptr);
    EXPECT_EQ(plan.strike("fpga", Operation::write, 0x31), nullptr);
    EXPECT_EQ(plan.strike("fpga", Operation::read, 0x32), nullptr);
    EXPECT_EQ(fault.hits, 0U);
    EXPECT_EQ(plan.strike("fpga", Operation::read, 0x31), &fault);
    EXPECT_EQ(fault.hits, 1U);
}

TEST(FaultPlanTest, WithoutAnAddressItStrikesAll)
{
    FaultPlan plan;
    plan.add(at("fpga", Operation::read)).times = 0;
    EXPECT_NE(plan.strike("fpga", Operation::read, 0), nullptr);
    EXPECT_NE(plan.strike("fpga", Operation::read, 0xFFFFFFFF), nullptr);
}

TEST(FaultPlanTest, SkipsThenStrikesSoManyTimes)
{
    FaultPlan plan;
    Fault &fault = plan.add(at("fpga", Operation::read));
    fault.skip = 2;
    fault.times = 3;
    EXPECT_EQ(hits(plan, 8), "..xxx...");
    EXPECT_EQ(fault.hits, 3U);
}

TEST(FaultPlanTest, StrikesOnceUnlessToldOtherwise)
{
    FaultPlan plan;
    plan.add(at("fpga", Operation::read));
    EXPECT_EQ(hits(plan, 4), "x...");
}

TEST(FaultPlanTest, TheFirstOfTwoIsUsedUpFirst)
{
    FaultPlan plan;
    Fault &first = plan.add(at("fpga", Operation::read));
    Fault &second = plan.add(at("fpga", Operation::read));
    EXPECT_EQ(plan.strike("fpga", Operation::read, 0), &first);
    EXPECT_EQ(plan.strike("fpga", Operation::read, 0), &second);
    EXPECT_EQ(plan.strike("fpga", Operation::read, 0), nullptr);
    plan.clear();
    EXPECT_TRUE(plan.faults().empty());
}

TEST(FaultPlanTest, TheSameSeedGivesTheSameHits)
{
    const auto pattern = [](uint32_t seed) {
        FaultPlan plan(seed);
        Fault &fault = plan.add(at("fpga", Operation::read));
        fault.times = 0;
        fault.per_mille = 300;
        return hits(plan, 1000);
    };
    EXPECT_EQ(pattern(7), pattern(7));
    EXPECT_NE(pattern(7), pattern(8));
    const std::string one = pattern(7);
    const auto struck = std::count(one.begin(), one.end(), 'x');
    EXPECT_GT(struck, 200);
    EXPECT_LT(struck, 400);
}

// Each kind on the reserved RAM, whose content shows what the device saw.
class FaultKindTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(board.open("/dev/ipmc_fpga", 0, file), 0);
        board.fpga().ram() = {0xA0, 0xA1, 0xA2, 0xA3};
    }
    void TearDown() override { board.close(*file); }

    void inject(Operation operation, Kind kind, long long value)
    {
        Fault fault = at("fpga", operation);
        fault.kind = kind;
        fault.value = value;
        board.faults.add(fault);
    }
    long read()
    {
        buffer = {0x51, 0xEE, 0xEE, 0xEE};
        return board.read(*file, buffer.data(), buffer.size());
    }
    long write()
    {
        const Bytes record = {0x51, 0x0B, 0x0C, 0x0D};
        return board.write(*file, record.data(), record.size());
    }
    Bytes ram() { return {board.fpga().ram().begin(), board.fpga().ram().begin() + 4}; }

    const Bytes content = {0xA0, 0xA1, 0xA2, 0xA3};
    const Bytes request = {0x51, 0xEE, 0xEE, 0xEE};
    const Bytes written = {0x0B, 0x0C, 0x0D, 0xA3};
    Board board;
    std::shared_ptr<OpenFile> file;
    Bytes buffer;
};

TEST_F(FaultKindTest, ErrorFailsWithErrnoAndTheDeviceSeesNothing)
{
    inject(Operation::read, Kind::error, EIO);
    EXPECT_EQ(read(), -EIO);
    EXPECT_EQ(buffer, request);
    inject(Operation::write, Kind::error, ENODEV);
    EXPECT_EQ(write(), -ENODEV);
    EXPECT_EQ(ram(), content);
}

TEST_F(FaultKindTest, ResultIsAnsweredAndTheDeviceSeesNothing)
{
    inject(Operation::read, Kind::result, 10005);
    EXPECT_EQ(read(), 10005);
    EXPECT_EQ(buffer, request);
    inject(Operation::write, Kind::result, 3);
    EXPECT_EQ(write(), 3);
    EXPECT_EQ(ram(), content);
}

TEST_F(FaultKindTest, AMadeUpResultIsNotTakenForBytesOfTheBuffer)
{
    inject(Operation::read, Kind::result, 9999);
    EXPECT_EQ(read(), 9999);
    EXPECT_EQ(board.trace.events().back().answer, request);
}

TEST_F(FaultKindTest, LateResultComesAfterTheWork)
{
    inject(Operation::read, Kind::late_result, 10005);
    EXPECT_EQ(read(), 10005);
    EXPECT_EQ(buffer, content);
    inject(Operation::write, Kind::late_result, 0);
    EXPECT_EQ(write(), 0);
    EXPECT_EQ(ram(), written);
}

TEST_F(FaultKindTest, ShortCountMovesThatManyBytes)
{
    inject(Operation::read, Kind::short_count, 2);
    EXPECT_EQ(read(), 2);
    EXPECT_EQ(buffer, (Bytes{0xA0, 0xA1, 0xEE, 0xEE}));
    inject(Operation::write, Kind::short_count, 2);
    EXPECT_EQ(write(), 1);
    EXPECT_EQ(ram(), (Bytes{0x0B, 0xA1, 0xA2, 0xA3}));
    inject(Operation::read, Kind::short_count, 100);
    EXPECT_EQ(read(), 4) << "no more than was asked for";
}

TEST_F(FaultKindTest, LieReportsSuccessAndTheDeviceSeesNothing)
{
    inject(Operation::read, Kind::lie, 0);
    EXPECT_EQ(read(), 4);
    EXPECT_EQ(buffer, request);
    inject(Operation::write, Kind::lie, 0);
    EXPECT_EQ(write(), 4);
    EXPECT_EQ(ram(), content);
}

TEST_F(FaultKindTest, BitFlipInvertsOneBitOfTheAnswer)
{
    inject(Operation::read, Kind::bit_flip, 17);
    EXPECT_EQ(read(), 4);
    EXPECT_EQ(buffer, (Bytes{0xA0, 0xA1, 0xA0, 0xA3}));
    EXPECT_EQ(ram(), content);
    inject(Operation::read, Kind::bit_flip, 32);
    EXPECT_EQ(read(), 4);
    EXPECT_EQ(buffer, content) << "no bit behind the answer";
}

TEST_F(FaultKindTest, DelayLetsTimePassFirst)
{
    uint64_t seen_at = 0;
    board.clock.schedule_us(400, [&] { seen_at = board.clock.now_us(); });
    inject(Operation::read, Kind::delay, 500);
    EXPECT_EQ(read(), 4);
    EXPECT_EQ(buffer, content);
    EXPECT_EQ(board.clock.now_us(), 500U);
    EXPECT_EQ(seen_at, 400U);
}

TEST_F(FaultKindTest, AFaultedCallIsInTheTraceWithWhatItAnswered)
{
    inject(Operation::read, Kind::error, EIO);
    read();
    const auto &event = board.trace.events().back();
    EXPECT_EQ(event.operation, Operation::read);
    EXPECT_EQ(event.address, 0x51U);
    EXPECT_EQ(event.count, 4U);
    EXPECT_EQ(event.result, -EIO);
    EXPECT_EQ(event.bytes, Bytes{0x51});
    EXPECT_EQ(event.answer, Bytes{});
}

TEST_F(FaultKindTest, OpenSeekAndMapCanFail)
{
    inject(Operation::open, Kind::error, EBUSY);
    std::shared_ptr<OpenFile> second;
    EXPECT_EQ(board.open("/dev/ipmc_fpga", 0, second), -EBUSY);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(board.open_files(), 1U);

    inject(Operation::seek, Kind::error, EINVAL);
    EXPECT_EQ(board.seek(*file, 7, SEEK_SET), -EINVAL);
    EXPECT_EQ(file->offset, 0);
    inject(Operation::seek, Kind::result, 99);
    EXPECT_EQ(board.seek(*file, 7, SEEK_SET), 99);
    EXPECT_EQ(file->offset, 0);

    Fault fault = at("cpld", Operation::map);
    fault.value = ENOMEM;
    board.faults.add(fault);
    fault.kind = Kind::result;
    fault.value = 0;
    board.faults.add(fault);
    std::shared_ptr<OpenFile> cpld;
    ASSERT_EQ(board.open("/dev/ipmc_cpld", 0, cpld), 0);
    virtual_board::Mapping mapping;
    EXPECT_EQ(board.map(*cpld, 4096, mapping), -ENOMEM);
    EXPECT_EQ(board.map(*cpld, 4096, mapping), 0);
    EXPECT_EQ(mapping.forced_address, 0U);
    board.close(*cpld);
}

TEST(FaultTimeTest, ADelayHoldsItsCallerUpInRealTime)
{
    Board board({}, virtual_board::Clock::Mode::real_time);
    Fault fault = at("fpga", Operation::read);
    fault.kind = Kind::delay;
    fault.value = 3000;
    board.faults.add(fault);
    std::shared_ptr<OpenFile> file;
    ASSERT_EQ(board.open("/dev/ipmc_fpga", 0, file), 0);
    uint8_t record[] = {0x61, 0, 0, 0, 0, 0, 0};
    const uint64_t start = board.clock.now_us();
    board.read(*file, record, 1);
    EXPECT_GE(board.clock.now_us() - start, 3000U);
    board.close(*file);
}

// The same seed and the same calls leave the same trace.
TEST(FaultTraceTest, IsReproducible)
{
    const auto run = [] {
        Board board;
        Fault fault = at("fpga", Operation::read);
        fault.value = EIO;
        fault.times = 0;
        fault.per_mille = 500;
        board.faults.add(fault);
        std::shared_ptr<OpenFile> file;
        board.open("/dev/ipmc_fpga", 0, file);
        std::vector<long long> results;
        for (int i = 0; i < 50; ++i) {
            uint8_t record[] = {0x61, 0, 0, 0, 0, 0, 0};
            board.read(*file, record, 1);
            results.push_back(board.trace.events().back().result);
        }
        board.close(*file);
        return results;
    };
    const auto first = run();
    EXPECT_EQ(first, run());
    EXPECT_NE(std::count(first.begin(), first.end(), -EIO), 0);
    EXPECT_NE(std::count(first.begin(), first.end(), 4), 0);
}

} // namespace
} // namespace board_test
