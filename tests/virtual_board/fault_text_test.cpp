// Faults as text: what each word of the grammar means, and what is refused.

#include "virtual_board/fault_text.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/ioctl.h>
#include <mtd/mtd-user.h>

#include <string>

namespace board_test {
namespace {

using virtual_board::Fault;
using virtual_board::FaultError;
using virtual_board::Operation;
using virtual_board::parse_fault;
using virtual_board::parse_faults;
using Kind = Fault::Kind;

TEST(FaultTextTest, AShortFaultStrikesTheNextCallOnce)
{
    const Fault fault = parse_fault("mtd6:write:lie");
    EXPECT_EQ(fault.name, "mtd6:write:lie");
    EXPECT_EQ(fault.device, "mtd6");
    EXPECT_EQ(fault.operation, Operation::write);
    EXPECT_EQ(fault.kind, Kind::lie);
    EXPECT_EQ(fault.value, 0);
    EXPECT_FALSE(fault.address.has_value());
    EXPECT_FALSE(fault.place.has_value());
    EXPECT_EQ(fault.skip, 0U);
    EXPECT_EQ(fault.times, 1U);
    EXPECT_EQ(fault.per_mille, 1000U);
    EXPECT_EQ(fault.hits, 0U);
}

TEST(FaultTextTest, EachFieldIsSet)
{
    const Fault fault = parse_fault("mtd6:ioctl:error=EPERM,address=0x40084D02,place=0x10000,"
                                    "skip=3,times=0,per_mille=250,name=worn out");
    EXPECT_EQ(fault.name, "worn out");
    EXPECT_EQ(fault.device, "mtd6");
    EXPECT_EQ(fault.operation, Operation::ioctl);
    EXPECT_EQ(fault.kind, Kind::error);
    EXPECT_EQ(fault.value, EPERM);
    EXPECT_EQ(fault.address, 0x40084D02U);
    EXPECT_EQ(fault.place, 0x10000U);
    EXPECT_EQ(fault.skip, 3U);
    EXPECT_EQ(fault.times, 0U);
    EXPECT_EQ(fault.per_mille, 250U);
}

struct KindRow {
    const char *text;
    Kind kind;
    long long value;
};

TEST(FaultTextTest, EachKindHasItsValue)
{
    const KindRow rows[] = {
        {"error", Kind::error, EIO},
        {"error=ENODEV", Kind::error, ENODEV},
        {"error=19", Kind::error, 19},
        {"result=-1", Kind::result, -1},
        {"result=0x10", Kind::result, 16},
        {"late_result=10001", Kind::late_result, 10001},
        {"short_count=0", Kind::short_count, 0},
        {"lie", Kind::lie, 0},
        {"bit_flip=4242", Kind::bit_flip, 4242},
        {"delay=1500", Kind::delay, 1500},
        {"vanish", Kind::vanish, 0},
    };
    for (const KindRow &row : rows) {
        const Fault fault = parse_fault(std::string("fpga:read:") + row.text);
        EXPECT_EQ(fault.kind, row.kind) << row.text;
        EXPECT_EQ(fault.value, row.value) << row.text;
    }
}

TEST(FaultTextTest, EachOperationHasTheNameOfTheTrace)
{
    for (auto code = static_cast<int>(Operation::open); code <= static_cast<int>(Operation::status);
         ++code) {
        const auto operation = static_cast<Operation>(code);
        const std::string name = to_string(operation);
        EXPECT_EQ(parse_fault("fpga:" + name + ":error").operation, operation) << name;
    }
}

TEST(FaultTextTest, RequestsOfFlashAreKnownByName)
{
    EXPECT_EQ(parse_fault("mtd0:ioctl:error,address=MEMERASE").address, uint32_t{MEMERASE});
    EXPECT_EQ(parse_fault("mtd0:ioctl:error,address=MEMGETINFO").address, uint32_t{MEMGETINFO});
    EXPECT_EQ(parse_fault("mtd0:ioctl:error,address=MEMERASE64").address, uint32_t{MEMERASE64});
    EXPECT_EQ(parse_fault("i2c-0:ioctl:error,address=I2C_RDWR").address, uint32_t{I2C_RDWR});
    EXPECT_EQ(parse_fault("i2c-0:ioctl:error,address=I2C_SMBUS").address, uint32_t{I2C_SMBUS});
}

TEST(FaultTextTest, ACommandLineIsADevice)
{
    const Fault fault = parse_fault("/sbin/insmod /ko/m25p80.ko:run:result=256");
    EXPECT_EQ(fault.device, "/sbin/insmod /ko/m25p80.ko");
    EXPECT_EQ(fault.operation, Operation::run);
}

TEST(FaultTextTest, AListMayHaveBlanksAndEmptyFaults)
{
    const auto faults = parse_faults(" mtd6:write:lie ;; cpld:open:error,skip=1 ;\n");
    ASSERT_EQ(faults.size(), 2U);
    EXPECT_EQ(faults[0].name, "mtd6:write:lie");
    EXPECT_EQ(faults[1].device, "cpld");
    EXPECT_EQ(faults[1].skip, 1U);
    EXPECT_TRUE(parse_faults("").empty());
    EXPECT_TRUE(parse_faults(" ; ").empty());
}

struct Refusal {
    const char *text;
    const char *complaint;
};

void PrintTo(const Refusal &refusal, std::ostream *stream)
{
    *stream << refusal.text;
}

class RefusedFaultTest : public ::testing::TestWithParam<Refusal> {};

TEST_P(RefusedFaultTest, SaysWhy)
{
    const std::string text = GetParam().text;
    try {
        parse_fault(text);
        FAIL() << "it was taken";
    } catch (const FaultError &error) {
        EXPECT_EQ(error.what(), "fault \"" + text + "\": " + GetParam().complaint);
    }
}

const Refusal refusals[] = {
    {"", "it is DEVICE:OPERATION:KIND"},
    {"mtd6", "it is DEVICE:OPERATION:KIND"},
    {"mtd6:write", "it is DEVICE:OPERATION:KIND"},
    {":write:lie", "it is DEVICE:OPERATION:KIND"},
    {"mtd6:write:lie:3", "it is DEVICE:OPERATION:KIND"},
    {"mtd6:writes:lie", "there is no operation \"writes\""},
    {"mtd6:write:", "there is no kind \"\""},
    {"mtd6:write:lies", "there is no kind \"lies\""},
    {"mtd6:write:lie=1", "\"lie\" takes no value"},
    {"mtd6:write:short_count", "\"short_count\" needs a value"},
    {"mtd6:write:short_count=", "\"\" is no value of \"short_count\""},
    {"mtd6:write:short_count=-1", "\"-1\" is no value of \"short_count\""},
    {"mtd6:write:error=0", "\"0\" is no value of \"error\""},
    {"mtd6:write:error=EWHAT", "\"EWHAT\" is no value of \"error\""},
    {"mtd6:write:result=EIO", "\"EIO\" is no value of \"result\""},
    {"mtd6:write:result=12x", "\"12x\" is no value of \"result\""},
    {"mtd6:write:result=0x", "\"0x\" is no value of \"result\""},
    {"mtd6:write:result=0x-1", "\"0x-1\" is no value of \"result\""},
    {"mtd6:write:lie,", "\"\" is not FIELD=VALUE"},
    {"mtd6:write:lie,skip", "\"skip\" is not FIELD=VALUE"},
    {"mtd6:write:lie,skip=", "\"skip=\" is not FIELD=VALUE"},
    {"mtd6:write:lie,skip=-1", "\"-1\" is no value of \"skip\""},
    {"mtd6:write:lie,skip=1,skip=2", "\"skip\" is there twice"},
    {"mtd6:write:lie,address=0x100000000", "\"0x100000000\" is no value of \"address\""},
    {"mtd6:write:lie,per_mille=1001", "\"1001\" is no value of \"per_mille\""},
    {"mtd6:write:lie,hits=1", "there is no field \"hits\""},
};

INSTANTIATE_TEST_SUITE_P(Texts, RefusedFaultTest, ::testing::ValuesIn(refusals));

} // namespace
} // namespace board_test
