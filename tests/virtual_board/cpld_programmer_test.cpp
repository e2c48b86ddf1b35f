// The CPLD driver's check of load records.

#include "virtual_board/cpld_programmer.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

using virtual_board::CpldProgrammer;
using Bytes = std::vector<uint8_t>;

constexpr size_t record_size = 524296;

const Bytes program = {0x65, 1, 2, '_', '_', '_', '_', '1', '2', '.', '1', 0x10, 0x7F};

Bytes record_of(uint8_t kind, const Bytes &code, const Bytes &trailer)
{
    Bytes record(record_size, 0xEE);
    const auto length = static_cast<uint32_t>(code.size());
    const Bytes header = {static_cast<uint8_t>(length),
                          static_cast<uint8_t>(length >> 8),
                          static_cast<uint8_t>(length >> 16),
                          static_cast<uint8_t>(length >> 24),
                          kind,
                          0,
                          0,
                          0};
    std::copy(header.begin(), header.end(), record.begin());
    std::copy(code.begin(), code.end(), record.begin() + 8);
    std::copy(trailer.begin(), trailer.end(), record.begin() + 8 + length);
    return record;
}

TEST(CpldProgrammerTest, KeepsGoodRecords)
{
    CpldProgrammer programmer;
    EXPECT_EQ(programmer.run(0x40046B01, record_of(0x83, program, {0, 0x43, 5}).data()), 0);
    EXPECT_EQ(programmer.run(0x40046B02, record_of(0x81, program, {0, 0x43, 6, 0, 0xFC}).data()),
              0);
    ASSERT_EQ(programmer.loads().size(), 2U);
    const CpldProgrammer::Load &first = programmer.loads()[0];
    EXPECT_EQ(first.request, 0x40046B01U);
    EXPECT_EQ(first.kind, 0x83);
    EXPECT_EQ(first.component, 5);
    EXPECT_EQ(first.program, program);
    EXPECT_EQ(first.trailer, (Bytes{0, 0x43, 5}));
    EXPECT_EQ(first.complaint, "");
    EXPECT_EQ(programmer.loads()[1].trailer, (Bytes{0, 0x43, 6, 0, 0xFC}));
}

TEST(CpldProgrammerTest, RefusesBrokenRecords)
{
    const Bytes trailer = {0, 0x43, 5};
    Bytes not_zero = record_of(0x83, program, trailer);
    not_zero[7] = 1;
    Bytes wrong_start = program;
    wrong_start[0] = 0x66;
    Bytes wrong_version = program;
    wrong_version[10] = '2';
    Bytes wrong_end = program;
    wrong_end.back() = 0x7E;
    Bytes too_long = record_of(0x83, program, trailer);
    too_long[2] = 8;
    const struct {
        uint32_t request;
        Bytes record;
        const char *complaint;
    } cases[] = {
        {0x40046B01, record_of(0x82, program, trailer), "unknown kind of record"},
        {0x40046B02, record_of(0x83, program, trailer), "a file's program in a command record"},
        {0x40046B01, not_zero, "header without its zeros"},
        {0x40046B01, record_of(0x83, wrong_start, trailer), "no byte-code program"},
        {0x40046B01, record_of(0x83, wrong_version, trailer), "no byte-code program"},
        {0x40046B01, record_of(0x83, wrong_end, trailer), "no byte-code program"},
        {0x40046B01, record_of(0x83, {}, trailer), "no byte-code program"},
        {0x40046B01, record_of(0x83, program, {1, 0x43, 5}), "wrong trailer"},
        {0x40046B01, record_of(0x83, program, {0, 0x44, 5}), "wrong trailer"},
        {0x40046B01, record_of(0x83, program, {0, 0x43, 6}), "wrong trailer"},
        {0x40046B01, record_of(0x83, program, {0, 0x43, 6, 0xFC, 0}), "wrong trailer"},
        {0x40046B01, too_long, "program longer than the record"},
    };
    CpldProgrammer programmer;
    for (const auto &each : cases) {
        EXPECT_EQ(programmer.run(each.request, each.record.data()), -EINVAL) << each.complaint;
        EXPECT_EQ(programmer.loads().back().complaint, each.complaint);
    }
}

TEST(CpldProgrammerTest, TakesProgramsUpToTheRecordsEnd)
{
    Bytes code(524285, 0x22);
    std::copy(program.begin(), program.end() - 1, code.begin());
    code.back() = 0x7F;
    CpldProgrammer programmer;
    EXPECT_EQ(programmer.run(0x40046B01, record_of(0x83, code, {0, 0x43, 5}).data()), 0);
    // One for component 6 has no room for its trailer.
    EXPECT_EQ(programmer.run(0x40046B01, record_of(0x83, code, {0, 0x43, 6}).data()), -EINVAL);
    EXPECT_EQ(programmer.loads()[1].trailer, (Bytes{0, 0x43, 6}));
}

} // namespace
