// Byte-code programs for the CPLD driver.

#include <fcntl.h>

#include <algorithm>
#include <sstream>

#include "tests/update/heap_watch.h"
#include "tests/update/update_test.h"

namespace board_test {
namespace {

using virtual_board::CpldProgrammer;

constexpr uint32_t area = 524288; // of the record, for program and trailer

constexpr const char *type1 =
    "65 07 BA 5F 5F 5F 5F 31 32 2E 31 F1 19 20 56 01 08 00 06 00 09 00 07 00 "
    "02 03 03 02 10 01 11 08 13 00 68 70 12 20 13 02 FF 04 14 00 C2 0B 14 80 "
    "15 02 FF 04 70 11 08 13 00 38 70 10 03 10 01 11 08 13 00 AA 70 10 01 1B "
    "05 1A 81 80 02 11 08 13 00 C0 70 10 01 1B 05 1A 81 80 02 11 08 13 00 A8 "
    "70 10 01 1B 05 1A 81 80 02 11 08 13 00 78 70 10 01 1B 05 1A E8 87 02 7F ";
constexpr const char *component5 =
    "65 A1 3C 5F 5F 5F 5F 31 32 2E 31 F1 19 20 56 01 08 00 06 00 09 00 07 00 "
    "02 03 03 02 10 01 11 08 13 00 68 70 12 20 13 02 FF 04 14 00 C2 0B 14 80 "
    "15 02 FF 04 70 11 08 13 00 AA 70 10 01 1B 05 1A 81 80 02 11 08 13 00 C0 "
    "70 10 01 1B 05 1A 81 80 02 11 08 13 00 A8 70 10 01 1B 05 1A 81 80 02 11 "
    "08 13 00 78 70 10 01 1B 05 1A 81 80 02 11 08 13 00 FF 70 10 01 1B 64 1A "
    "81 80 02 7F ";
constexpr const char *component6 =
    "65 02 7B 5F 5F 5F 5F 31 32 2E 31 F1 19 20 56 01 08 00 06 00 09 00 07 00 "
    "02 03 03 02 10 01 11 08 13 00 68 70 12 20 13 02 FF 04 14 00 C2 0A 14 80 "
    "15 02 FF 04 70 11 08 13 00 38 70 10 03 10 01 11 08 13 00 AA 70 10 01 1B "
    "05 1A 81 80 02 11 08 13 00 C0 70 10 01 1B 05 1A 81 80 02 11 08 13 00 A8 "
    "70 10 01 1B 05 1A 81 80 02 11 08 13 00 78 70 10 01 1B 05 1A 82 80 02 11 "
    "08 13 00 FF 70 10 01 1B 64 1A 81 80 02 7F ";

Bytes bytes_of(const char *hex)
{
    std::istringstream stream(hex);
    Bytes bytes;
    for (unsigned byte = 0; stream >> std::hex >> byte;) {
        bytes.push_back(static_cast<uint8_t>(byte));
    }
    return bytes;
}

// A program that the driver takes, of any length.
Bytes program_of(size_t length)
{
    Bytes program = pattern(length);
    const Bytes start = {0x65, 0x00, 0x00, '_', '_', '_', '_', '1', '2', '.', '1'};
    std::copy(start.begin(), start.end(), program.begin());
    program.back() = 0x7F;
    return program;
}

class CpldProgramTest : public UpdateTest {
protected:
    void SetUp() override
    {
        UpdateTest::SetUp();
        watch_heap();
        watch();
    }
    void TearDown() override
    {
        EXPECT_EQ(heap_bytes(), 0U);
        UpdateTest::TearDown();
    }
    const std::vector<CpldProgrammer::Load> &loads() { return board.cpld().programmer().loads(); }
    void expect_load(uint32_t request, uint8_t kind, const Bytes &program, const Bytes &trailer)
    {
        ASSERT_FALSE(loads().empty());
        const CpldProgrammer::Load &load = loads().back();
        EXPECT_EQ(load.complaint, "");
        EXPECT_EQ(load.request, request);
        EXPECT_EQ(load.kind, kind);
        EXPECT_EQ(load.program, program);
        EXPECT_EQ(load.trailer, trailer);
    }
};

// ---- load_cpld ----

TEST_F(CpldProgramTest, SendsAFile)
{
    const Bytes program = program_of(1000);
    const std::string name = file("program", program);
    EXPECT_EQ(load_cpld(name.c_str(), 5, 0, 99), 0);
    expect_load(0x40046B01, 0x83, program, {0x00, 0x43, 5});
    EXPECT_EQ(timeline(), (Names{"open cpld", "ioctl cpld 40046b01", "close cpld"}));
    EXPECT_EQ(board.trace.events()[0].address, static_cast<uint32_t>(O_RDWR));
    if (heap_is_watched()) {
        EXPECT_EQ(allocations(), std::vector<size_t>{524296});
    }
}

TEST_F(CpldProgramTest, OnlyTheLowByteNamesTheComponent)
{
    const Bytes program = program_of(100);
    const std::string name = file("program", program);
    const struct {
        uint32_t id;
        Bytes trailer;
    } cases[] = {
        {0, {0x00, 0x43, 0}},
        {255, {0x00, 0x43, 255}},
        {0xFFFFFF05, {0x00, 0x43, 5}},
        {6, {0x00, 0x43, 6, 0x00, 0xFC}},
        {0x106, {0x00, 0x43, 6, 0x00, 0xFC}},
        {0x600, {0x00, 0x43, 0}},
    };
    for (const auto &each : cases) {
        EXPECT_EQ(load_cpld(name.c_str(), each.id, 0, 0), 0) << each.id;
        expect_load(0x40046B01, 0x83, program, each.trailer);
    }
}

TEST_F(CpldProgramTest, FileNeedsAName)
{
    EXPECT_EQ(load_cpld(nullptr, 5, 0, 0), -1);
    EXPECT_EQ(timeline(), Names{"print file name wrong !!!\n"});
}

TEST_F(CpldProgramTest, FileNeedsTheDriver)
{
    board.faults.add(fault("cpld", Operation::open, Fault::Kind::error, ENODEV));
    EXPECT_EQ(load_cpld("/no/such/program", 5, 0, 0), -1);
    EXPECT_EQ(timeline(), (Names{"open cpld", "print cpld_init: open fail\r\n"}));
}

TEST_F(CpldProgramTest, FileNeedsMemory)
{
    if (!heap_is_watched()) {
        GTEST_SKIP() << "the heap is not watched in this build";
    }
    fail_allocation(0);
    EXPECT_EQ(load_cpld("/no/such/program", 5, 0, 0), -1);
    EXPECT_EQ(timeline(),
              (Names{"open cpld", "close cpld", "print allocate space for cpld file fails.\r\n"}));
}

TEST_F(CpldProgramTest, FileMustHoldSomething)
{
    EXPECT_EQ(load_cpld("/no/such/program", 5, 0, 0), -1);
    EXPECT_EQ(output(), "Get file length(-1) is invalid\r\n");
    EXPECT_EQ(load_cpld(file("empty", {}).c_str(), 5, 0, 0), -1);
    EXPECT_EQ(output(), "Get file length(0) is invalid\r\n");
    EXPECT_TRUE(loads().empty());
    EXPECT_EQ(steps(), (Names{"open cpld", "close cpld", "open cpld", "close cpld"}));
}

TEST_F(CpldProgramTest, FileIsOpenedForUpdate)
{
    put_image(program_of(100));
    EXPECT_EQ(load_cpld(board_image, 5, 0, 0), 0);
    EXPECT_EQ(board.trace.of(Operation::open, "image").at(0).address,
              static_cast<uint32_t>(O_RDWR));
    // A directory has a length, but is opened by nobody for writing.
    EXPECT_EQ(load_cpld(path(".").c_str(), 5, 0, 0), -1);
    EXPECT_EQ(output(), "open file " + path(".") + " fail\r\n");
}

TEST_F(CpldProgramTest, FileIsReadWholeFromItsOffset)
{
    const std::string name = file("program", program_of(100));
    EXPECT_EQ(load_cpld(name.c_str(), 5, 1, 0), -1);
    EXPECT_EQ(output(), "read file " + name + " fail\r\n");
    EXPECT_EQ(load_cpld(name.c_str(), 5, INT32_MAX, 0), -1);
    EXPECT_EQ(output(), "read file " + name + " fail\r\n");
    EXPECT_EQ(load_cpld(name.c_str(), 5, -1, 0), -1);
    EXPECT_EQ(output(), "seek file " + name + " fail\r\n");
    EXPECT_TRUE(loads().empty());
}

TEST_F(CpldProgramTest, FileThatShrinksIsNotSent)
{
    put_image(program_of(5000));
    board.faults.add(fault("image", Operation::read, Fault::Kind::short_count, 4999));
    board.faults.add(fault("image", Operation::read, Fault::Kind::result, 0));
    EXPECT_EQ(load_cpld(board_image, 5, 0, 0), -1);
    EXPECT_EQ(output(), text("read file %s fail\r\n", board_image));
    EXPECT_TRUE(loads().empty());
}

TEST_F(CpldProgramTest, LargestFiles)
{
    const struct {
        uint32_t component;
        uint32_t largest;
    } cases[] = {{5, area - 3}, {6, area - 5}};
    for (const auto &each : cases) {
        const Bytes program = program_of(each.largest);
        EXPECT_EQ(load_cpld(file("program", program).c_str(), each.component, 0, 0), 0);
        EXPECT_EQ(loads().back().program, program);
        EXPECT_EQ(loads().back().complaint, "");
    }
    EXPECT_EQ(output(), "");
}

// The check comes after the read; nothing is read behind the record.
TEST_F(CpldProgramTest, TooLargeFiles)
{
    const struct {
        uint32_t component;
        uint32_t length;
    } cases[] = {{5, area - 2}, {5, area},     {5, area + 1},    {5, area + 1024},
                 {6, area - 4}, {6, area + 5}, {5, area + 1025}, {5, 3 * area + 17}};
    for (const auto &each : cases) {
        const std::string name = file("program", program_of(each.length));
        EXPECT_EQ(load_cpld(name.c_str(), each.component, 0, 0), -1) << each.length;
        EXPECT_EQ(output(), "get_pcb_ver or get_board_id  is fail\r\n");
        EXPECT_EQ(load_cpld(name.c_str(), each.component, 1, 0), -1);
        EXPECT_EQ(output(), "read file " + name + " fail\r\n") << "read first";
    }
    EXPECT_TRUE(loads().empty());
}

TEST_F(CpldProgramTest, DriversResultIsTheResult)
{
    const std::string name = file("program", program_of(100));
    const std::string broken = file("broken", Bytes(100, 1));
    EXPECT_EQ(load_cpld(broken.c_str(), 5, 0, 0), -1);
    EXPECT_EQ(loads().back().complaint, "no byte-code program");
    for (const int result : {7, -9999}) {
        board.faults.add(fault("cpld", Operation::ioctl, Fault::Kind::result, result));
        EXPECT_EQ(load_cpld(name.c_str(), 5, 0, 0), result);
        board.faults.add(fault("cpld", Operation::ioctl, Fault::Kind::result, result));
        EXPECT_EQ(cpld_cmd(1, 0), result);
    }
    EXPECT_EQ(output(), "");
}

// ---- cpld_cmd ----

struct Command {
    int32_t type;
    uint32_t component;
    uint32_t request;
    const char *program;
    Bytes trailer;
};

void PrintTo(const Command &command, std::ostream *stream)
{
    *stream << command.type << "_" << command.component;
}

class CommandTest : public CpldProgramTest, public ::testing::WithParamInterface<Command> {};

TEST_P(CommandTest, SendsItsProgram)
{
    const Command &command = GetParam();
    EXPECT_EQ(cpld_cmd(command.type, command.component), 0);
    expect_load(command.request, 0x81, bytes_of(command.program), command.trailer);
    EXPECT_EQ(timeline(),
              (Names{"open cpld", text("ioctl cpld %x", command.request), "close cpld"}));
    if (heap_is_watched()) {
        EXPECT_EQ(allocations(), std::vector<size_t>{524296});
    }
}

INSTANTIATE_TEST_SUITE_P(
    Commands, CommandTest,
    ::testing::Values(Command{1, 5, 0x40046B02, type1, {0x00, 0x43, 5}},
                      Command{1, 6, 0x40046B02, type1, {0x00, 0x43, 5}},
                      Command{1, 0xFFFFFFFF, 0x40046B02, type1, {0x00, 0x43, 5}},
                      Command{2, 5, 0x40046B01, component5, {0x00, 0x43, 5}},
                      Command{2, 0xABCD05, 0x40046B01, component5, {0x00, 0x43, 5}},
                      Command{2, 6, 0x40046B01, component6, {0x00, 0x43, 6, 0x00, 0xFC}},
                      Command{2, 0x106, 0x40046B01, component6, {0x00, 0x43, 6, 0x00, 0xFC}}));

TEST_F(CpldProgramTest, UnknownCommandsAreRefused)
{
    for (const uint32_t component : {0U, 7U, 0x0500U, 0xFFFFFFFFU}) {
        EXPECT_EQ(cpld_cmd(2, component), -1) << component;
        EXPECT_EQ(output(), "wrong cpld component id!!!\n");
    }
    for (const int32_t type : {0, 3, -1, 257}) {
        EXPECT_EQ(cpld_cmd(type, 5), -1) << type;
        EXPECT_EQ(output(), "wrong cmd type!!!\n");
    }
    EXPECT_EQ(steps(), Names{});
}

TEST_F(CpldProgramTest, CommandNeedsDriverAndMemory)
{
    board.faults.add(fault("cpld", Operation::open, Fault::Kind::error, ENODEV));
    EXPECT_EQ(cpld_cmd(1, 0), -1);
    EXPECT_EQ(output(), "cpld_init: open fail\r\n");
    if (heap_is_watched()) {
        fail_allocation(0);
        EXPECT_EQ(cpld_cmd(2, 6), -1);
        EXPECT_EQ(output(), "allocate space for fpga file fails.\r\n");
    }
    EXPECT_TRUE(loads().empty());
}

// ---- get_cpld_upgrade_count ----

TEST_F(CpldProgramTest, UpgradeCountIsTheSameForAll)
{
    for (const uint32_t component : {0U, 5U, 6U, 0xFFFFFFFFU}) {
        uint32_t count = 0;
        EXPECT_EQ(get_cpld_upgrade_count(component, &count), 0);
        EXPECT_EQ(count, 60U);
    }
    EXPECT_EQ(output(), "");
    EXPECT_EQ(get_cpld_upgrade_count(5, nullptr), -2);
    EXPECT_EQ(output(), "get_cpld_upgrade_count:count pointer is null\n");
    EXPECT_EQ(steps(), Names{});
}

} // namespace
} // namespace board_test
