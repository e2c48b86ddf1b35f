// When errors of the CPUs were first seen.

#include <stddef.h>
#include <string.h>
#include <time.h>

#include "tests/frame/state_test.h"

namespace board_test {
namespace {

class FaultRecordsTest : public StateTest {
protected:
    struct Record {
        const char *name;
        int (*get)(fdm_fault_record *);
        void (*set)(uint8_t);
        void (*restore)(const fdm_fault_record *);
    };

    static constexpr Record records[] = {
        {"internal error", get_fdm_ierr_info, set_fdm_ierr_info, resore_fdm_ierr_info},
        {"internal error parse", get_fdm_ierr_parase, set_fdm_ierr_parase, resore_fdm_ierr_parase},
        {"machine check", get_fdm_mce_info, set_fdm_mce_info, nullptr},
    };

    static fdm_fault_record read(const Record &record)
    {
        fdm_fault_record out;
        memset(&out, untouched, sizeof(out));
        EXPECT_EQ(record.get(&out), 0);
        return out;
    }

    static void expect_empty(const Record &record)
    {
        SCOPED_TRACE(record.name);
        EXPECT_EQ(read(record).flag, 0U);
        EXPECT_EQ(read(record).time, 0);
    }
};

TEST_F(FaultRecordsTest, RecordsAreEightBytesAndEmptyAtLoad)
{
    EXPECT_EQ(sizeof(fdm_fault_record), 8U);
    EXPECT_EQ(offsetof(fdm_fault_record, time), 4U);
    for (const Record &record : records) {
        expect_empty(record);
    }
    EXPECT_EQ(g_cpu_mce_flag, 0);
    expect_steps({});
    EXPECT_EQ(output(), "");
}

TEST_F(FaultRecordsTest, OneStampsTheTimeAndAnyOtherValueClears)
{
    for (const Record &record : records) {
        for (unsigned value = 0; value < 256; ++value) {
            SCOPED_TRACE(value);
            record.set(1);
            const time_t before = time(nullptr);
            record.set(1);
            const time_t after = time(nullptr);
            const fdm_fault_record stamped = read(record);
            EXPECT_EQ(stamped.flag, 1U);
            EXPECT_GE(stamped.time, before);
            EXPECT_LE(stamped.time, after);
            record.set(static_cast<uint8_t>(value));
            if (value != 1) {
                expect_empty(record);
            }
        }
    }
    expect_steps({});
    EXPECT_EQ(output(), "");
}

TEST_F(FaultRecordsTest, RecordsDoNotShare)
{
    for (const Record &set : records) {
        set.set(1);
        for (const Record &other : records) {
            EXPECT_EQ(read(other).flag, other.get == set.get ? 1U : 0U) << other.name;
        }
        set.set(0);
    }
}

TEST_F(FaultRecordsTest, NullIsRefusedSilently)
{
    expect_refused({
        {"internal error", [] { return get_fdm_ierr_info(nullptr); }, -1, ""},
        {"internal error parse", [] { return get_fdm_ierr_parase(nullptr); }, -1, ""},
        {"machine check", [] { return get_fdm_mce_info(nullptr); }, -1, ""},
    });
}

TEST_F(FaultRecordsTest, RestoringPutsTheEightBytesBack)
{
    const fdm_fault_record kept[] = {
        {1, 1700000000}, {0xFFFFFFFF, -1}, {0x12345678, 0x7FFFFFFF}, {0, 0}};
    for (const Record &record : records) {
        if (record.restore == nullptr) {
            continue;
        }
        for (const fdm_fault_record &value : kept) {
            record.restore(&value);
            for (const Record &other : records) {
                if (other.get == record.get) {
                    EXPECT_EQ(read(other).flag, value.flag);
                    EXPECT_EQ(read(other).time, value.time);
                } else {
                    expect_empty(other);
                }
            }
        }
    }
    expect_steps({});
}

TEST_F(FaultRecordsTest, PollsStampOncePerRisingEdge)
{
    const struct {
        uint32_t type;
        uint8_t bit;
        std::vector<Record> stamped;
    } polls[] = {
        {4, 0x10, {records[0], records[1]}},
        {11, 0x20, {records[2]}},
    };
    set_reg(0x2A, 0x80);
    for (const auto &poll : polls) {
        SCOPED_TRACE(poll.type);
        const auto stamps_when = [&](uint8_t bit) {
            for (const Record &record : records) {
                record.set(0);
            }
            set_reg(0x2B, bit);
            uint8_t seen = untouched;
            EXPECT_EQ(get_cpu_status(0, poll.type, &seen), 0);
            EXPECT_EQ(seen, bit != 0 ? 1 : 0);
            for (const Record &record : records) {
                const bool wanted =
                    std::any_of(poll.stamped.begin(), poll.stamped.end(),
                                [&](const Record &one) { return one.get == record.get; });
                EXPECT_EQ(read(record).flag, wanted ? read(poll.stamped[0]).flag : 0U);
            }
            for (const Record &record : poll.stamped) {
                EXPECT_EQ(read(record).flag, read(poll.stamped[0]).flag);
            }
            return read(poll.stamped[0]).flag == 1;
        };
        EXPECT_FALSE(stamps_when(0));
        const time_t before = time(nullptr);
        EXPECT_TRUE(stamps_when(poll.bit));
        for (const Record &record : poll.stamped) {
            EXPECT_GE(read(record).time, before);
            EXPECT_LE(read(record).time, time(nullptr));
        }
        EXPECT_FALSE(stamps_when(poll.bit));
        EXPECT_FALSE(stamps_when(poll.bit));
        EXPECT_FALSE(stamps_when(0));
        EXPECT_TRUE(stamps_when(poll.bit));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(FaultRecordsTest, CaterrFlagIsNotKept)
{
    const uint8_t exported = g_caterr_flag;
    set_caterr_flag(1, static_cast<uint8_t>(exported + 1));
    EXPECT_EQ(get_caterr_flag(1), 0);
    EXPECT_EQ(g_caterr_flag, exported);
    for (const Record &record : records) {
        expect_empty(record);
    }
    expect_steps({});
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
