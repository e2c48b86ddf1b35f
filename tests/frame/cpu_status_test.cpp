// Presence and fault lines of CPUs and memory.

#include <limits.h>

#include <array>
#include <random>

#include "tests/frame/state_test.h"
#include "tests/support/machine.h"

namespace board_test {
namespace {

using virtual_board::CpuLine;

constexpr uint32_t poll_types[] = {0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 14, 15, 16, 17};
constexpr uint32_t refused_types[] = {7, 13, 18, 19, 255, 256, 0x80000004, UINT_MAX};

// What the board's documents say of the status types, step by step.
class ReferenceCpus {
public:
    // The registers that the types read, by offset.
    std::array<uint8_t, 256> reg{};
    std::array<unsigned, 4> hot{};
    std::array<unsigned, 4> err{};
    unsigned ierr_count = 0;
    unsigned last_ierr = 0;
    unsigned last_mce = 0;
    unsigned mce_flag = 0;
    // Flags of the records.
    unsigned ierr_info = 0;
    unsigned ierr_parse = 0;
    unsigned mce_info = 0;

    unsigned poll(int cpu, uint32_t type)
    {
        const unsigned status = cpu == 0 ? 0x2A : 0x2C;
        const unsigned error = cpu == 0 ? 0x2B : 0x2D;
        const bool present = bit(status, 7);
        switch (type) {
        case 0:
            return present ? bit(0x91, cpu == 0 ? 7 : 6) : 0;
        case 1:
            return present;
        case 2:
            return present ? bit(status, 0) : 0;
        case 3:
            return present && cpu <= 1 ? poll_both_hot(cpu) : 0;
        case 4:
            return present ? poll_ierr() : 0;
        case 5:
            if (!present) {
                return 0;
            }
            err.at(slot(cpu)) = (err[slot(cpu)] * 2 + bit(error, 7)) % 256;
            return err[slot(cpu)] != 0;
        case 6:
            return present ? 0 : bit(0x94, cpu == 0 ? 7 : 6);
        case 8:
            return present ? bit(0x2A, 3) : 0;
        case 9:
            return present ? bit(0x2A, 2) : 0;
        case 10:
            return present ? bit(0x2A, 1) : 0;
        case 11:
            return present ? poll_mce() : 0;
        case 12:
            return bit(0x2A, 7) || bit(0x2C, 7) ? bit(0x2B, 4) : 0;
        default:
            return poll_one_hot(cpu, type - 14);
        }
    }

private:
    unsigned bit(unsigned offset, unsigned number) const { return reg[offset] >> number & 1U; }
    static size_t slot(int cpu) { return static_cast<size_t>(cpu); }

    void feed(size_t history, unsigned level) { hot[history] = (hot[history] * 2 + level) % 256; }
    bool four(size_t history) const { return hot.at(history) % 16 == 15; }

    unsigned poll_both_hot(int cpu)
    {
        const unsigned error = cpu == 0 ? 0x2B : 0x2D;
        const size_t first = cpu == 0 ? 0 : 2;
        feed(first, bit(error, 3));
        feed(first + 1, bit(error, 2));
        return four(first) || four(first + 1);
    }

    unsigned poll_one_hot(int cpu, size_t line)
    {
        const bool second_socket = line >= 2;
        if (bit(second_socket ? 0x2C : 0x2A, 7) == 0) {
            return 0;
        }
        feed(line, bit(second_socket ? 0x2D : 0x2B, line % 2 == 0 ? 3 : 2));
        return four(slot(cpu));
    }

    unsigned poll_ierr()
    {
        const unsigned seen = bit(0x2B, 4);
        if (seen == 1 && ++ierr_count == 4) {
            ierr_count = 0;
            reg[0x2B] &= 0xEF;
        }
        if (seen != last_ierr && seen != 0) {
            ierr_info = 1;
            ierr_parse = 1;
        }
        last_ierr = seen;
        return seen;
    }

    unsigned poll_mce()
    {
        const unsigned seen = bit(0x2B, 5);
        if (mce_flag == 0) {
            mce_flag = 1;
        }
        if (seen != last_mce && seen != 0) {
            mce_info = 1;
        }
        last_mce = seen;
        return seen;
    }
};

// Registers that change a bit at a time, each bit at its own pace.
class RestlessRegisters {
public:
    explicit RestlessRegisters(unsigned seed) : random_(seed) {}

    void step(std::array<uint8_t, 256> &reg)
    {
        static constexpr uint8_t offsets[] = {0x2A, 0x2B, 0x2C, 0x2D, 0x91, 0x94};
        const uint8_t offset = offsets[random_() % std::size(offsets)];
        const unsigned number = random_() % 8;
        const bool presence = number == 7 && (offset == 0x2A || offset == 0x2C);
        // Lines are mostly active and CPUs mostly fitted, so that runs build up.
        const bool wanted = random_() % (presence ? 8 : 4) != 0;
        const auto mask = static_cast<uint8_t>(1U << number);
        reg[offset] = static_cast<uint8_t>(wanted ? reg[offset] | mask : reg[offset] & ~mask);
    }

private:
    std::minstd_rand random_;
};

// For the long runs: watching each load of the board's window takes
// microseconds, plain memory takes none.
class PlainWindow {
public:
    PlainWindow() : mapped_(g_cpld_base_addr) { g_cpld_base_addr = memory_.data(); }
    ~PlainWindow() { g_cpld_base_addr = mapped_; }
    PlainWindow(const PlainWindow &) = delete;
    PlainWindow &operator=(const PlainWindow &) = delete;
    uint8_t &operator[](size_t offset) { return memory_[offset]; }

private:
    std::array<uint8_t, CPLD_WINDOW_SIZE> memory_{};
    uint8_t *mapped_;
};

class CpuStatusTest : public StateTest {
protected:
    void SetUp() override
    {
        StateTest::SetUp();
        fill_registers(0);
    }

    static int status(int32_t cpu, uint32_t type)
    {
        uint8_t out = untouched;
        EXPECT_EQ(get_cpu_status(cpu, type, &out), 0);
        EXPECT_LE(out, 1);
        return out;
    }

    static uint32_t flag_of(int (*get)(fdm_fault_record *))
    {
        fdm_fault_record record{77, 77};
        return get(&record) == 0 ? record.flag : 88;
    }

    // Whether the library and the reference hold the same.
    static bool same_state(const ReferenceCpus &reference)
    {
        return g_cpu_mce_flag == reference.mce_flag &&
               flag_of(get_fdm_ierr_info) == reference.ierr_info &&
               flag_of(get_fdm_ierr_parase) == reference.ierr_parse &&
               flag_of(get_fdm_mce_info) == reference.mce_info;
    }

    // Now and then somebody clears the records.
    static void clear_records(ReferenceCpus &reference)
    {
        set_fdm_ierr_info(0);
        set_fdm_ierr_parase(0);
        set_fdm_mce_info(0);
        reference.ierr_info = reference.ierr_parse = reference.mce_info = 0;
    }
};

TEST_F(CpuStatusTest, CpuIsRefusedBeforeThePointerAndThePointerBeforeTheType)
{
    expect_refused({
        {"cpu 4", [] { return get_cpu_status(4, 1, nullptr); }, -2, "Invalid cpu_id = 4\r\n"},
        {"cpu 5, bad type",
         [] {
             uint8_t out = 0;
             return get_cpu_status(5, 7, &out);
         },
         -2, "Invalid cpu_id = 5\r\n"},
        {"highest cpu",
         [] {
             uint8_t out = 0;
             return get_cpu_status(INT_MAX, 1, &out);
         },
         -2, "Invalid cpu_id = 2147483647\r\n"},
        {"null", [] { return get_cpu_status(0, 1, nullptr); }, -1,
         "get_cpu_status val pointer is null\n"},
        {"null, bad type", [] { return get_cpu_status(3, 7, nullptr); }, -1,
         "get_cpu_status val pointer is null\n"},
        {"thermal trip of cpu 4", [] { return clear_cpu_thermaltrip(4); }, -2,
         "Invalid cpu_id = 4\r\n"},
        {"thermal trip of the highest cpu", [] { return clear_cpu_thermaltrip(INT_MAX); }, -2,
         "Invalid cpu_id = 2147483647\r\n"},
        {"generation", [] { return get_cpu_generation(0, nullptr); }, -2,
         "get_cpu_generation:val pointer is null\n"},
        {"hot control 2", [] { return set_hot_ctrl(0, 2); }, -2,
         "set_hot_ctrl val is a invalid parameter\n"},
        {"hot control 255 of no output", [] { return set_hot_ctrl(5, 255); }, -2,
         "set_hot_ctrl val is a invalid parameter\n"},
        {"memory event", [] { return get_memory_event(0, 0, nullptr); }, -2,
         "get_memory_event val is a invalid parameter\n"},
        {"memory event of no group", [] { return get_memory_event(2, 0, nullptr); }, -2,
         "get_memory_event val is a invalid parameter\n"},
    });
}

TEST_F(CpuStatusTest, UnknownTypesAreRefusedUnderTheLock)
{
    fill_registers(0xFF);
    for (const uint32_t type : refused_types) {
        for (int32_t cpu = 0; cpu < 4; ++cpu) {
            uint8_t out = untouched;
            EXPECT_EQ(get_cpu_status(cpu, type, &out), -2) << type;
            EXPECT_EQ(out, untouched);
            expect_steps(locked({}));
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, EveryTypeHoldsTheLockOverAllItsAccesses)
{
    fill_registers(0xFF);
    for (const uint32_t type : poll_types) {
        SCOPED_TRACE(type);
        status(0, type);
        const Names made = steps();
        ASSERT_GE(made.size(), 2U);
        EXPECT_EQ(made.front(), "lock cpld_reg_lock");
        EXPECT_EQ(made.back(), "unlock cpld_reg_lock");
        EXPECT_EQ(board.trace.of(Operation::lock).size(), 1U);
        EXPECT_EQ(board.trace.of(Operation::store).size(), 0U);
        clear_trace();
    }
}

// Each type at a fresh start, over each single bit set or clear.
TEST_F(CpuStatusTest, TypesWithoutMemoryFollowTheirBits)
{
    for (const uint8_t base : Bytes{0x00, 0xFF}) {
        for (const uint32_t offset : {0x2AU, 0x2BU, 0x2CU, 0x2DU, 0x91U, 0x94U}) {
            for (unsigned number = 0; number < 8; ++number) {
                for (unsigned fitted = 0; fitted < 4; ++fitted) {
                    fill_registers(base);
                    ReferenceCpus reference;
                    reference.reg.fill(base);
                    reference.reg[0x2A] = static_cast<uint8_t>((base & 0x7F) | (fitted & 1) << 7);
                    reference.reg[0x2C] = static_cast<uint8_t>((base & 0x7F) | (fitted & 2) << 6);
                    reference.reg[offset] =
                        static_cast<uint8_t>(reference.reg[offset] ^ (1U << number));
                    set_reg(0x2A, reference.reg[0x2A]);
                    set_reg(0x2C, reference.reg[0x2C]);
                    set_reg(offset, reference.reg[offset]);
                    for (const uint32_t type : {0U, 1U, 2U, 6U, 8U, 9U, 10U, 12U}) {
                        for (int cpu = 0; cpu < 4; ++cpu) {
                            ASSERT_EQ(status(cpu, type), reference.poll(cpu, type))
                                << "type " << type << " cpu " << cpu << " register " << offset
                                << " bit " << number << " fitted " << fitted;
                        }
                    }
                    clear_trace();
                }
            }
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, NegativeCpusAreTheOthers)
{
    set_reg(0x2C, 0xF1);
    for (const int32_t cpu : {-1, -2, -4, -5, INT_MIN}) {
        SCOPED_TRACE(cpu);
        EXPECT_EQ(status(cpu, 1), 1);
        EXPECT_EQ(status(cpu, 2), 1);
        for (const uint32_t type : poll_types) {
            status(cpu, type);
        }
        uint8_t generation = untouched;
        EXPECT_EQ(get_cpu_generation(cpu, &generation), 0);
        EXPECT_EQ(generation, 7);
        EXPECT_EQ(clear_cpu_thermaltrip(cpu), 0);
        EXPECT_EQ(reg(0x2C), 0xF0);
        set_reg(0x2C, 0xF1);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, HotIsReportedFromTheFourthPollInARow)
{
    const struct {
        int32_t cpu;
        uint32_t status;
        uint32_t error;
    } sockets[] = {{0, 0x2A, 0x2B}, {1, 0x2C, 0x2D}};
    for (const auto &socket : sockets) {
        for (const uint8_t bit : Bytes{0x08, 0x04}) {
            set_reg(socket.status, 0x80);
            set_reg(socket.error, bit);
            for (int poll = 1; poll <= 12; ++poll) {
                EXPECT_EQ(status(socket.cpu, 3), poll >= 4 ? 1 : 0) << poll;
            }
            set_reg(socket.error, 0);
            EXPECT_EQ(status(socket.cpu, 3), 0);
            // A run that is broken off counts for nothing.
            for (const unsigned seen : {1U, 1U, 1U, 0U, 1U, 1U, 1U}) {
                set_reg(socket.error, seen != 0 ? bit : 0);
                EXPECT_EQ(status(socket.cpu, 3), 0);
            }
            set_reg(socket.error, 0);
            status(socket.cpu, 3);
            // Absent, it neither reports nor advances.
            set_reg(socket.error, bit);
            status(socket.cpu, 3);
            status(socket.cpu, 3);
            status(socket.cpu, 3);
            set_reg(socket.status, 0x7F);
            EXPECT_EQ(status(socket.cpu, 3), 0);
            set_reg(socket.status, 0x80);
            EXPECT_EQ(status(socket.cpu, 3), 1);
            set_reg(socket.error, 0);
            for (int poll = 0; poll < 4; ++poll) {
                EXPECT_EQ(status(socket.cpu, 3), 0);
            }
        }
    }
}

TEST_F(CpuStatusTest, TwoHalfRunsOfTheTwoHotLinesAreNoRun)
{
    set_reg(0x2A, 0x80);
    for (const uint8_t bits : Bytes{0x08, 0x08, 0x04, 0x04, 0x08, 0x08}) {
        set_reg(0x2B, bits);
        EXPECT_EQ(status(0, 3), 0);
    }
}

TEST_F(CpuStatusTest, CpuNumbers2And3AreNeverHot)
{
    fill_registers(0xFF);
    for (int poll = 0; poll < 8; ++poll) {
        EXPECT_EQ(status(2, 3), 0);
        EXPECT_EQ(status(3, 3), 0);
    }
    // Nor did they feed the histories of CPU 1.
    EXPECT_EQ(status(1, 3), 0);
}

TEST_F(CpuStatusTest, SingleHotTypesAdvanceTheirOwnHistoryAndReportTheCpusOne)
{
    fill_registers(0xFF);
    for (int poll = 1; poll <= 5; ++poll) {
        // Type 15 feeds history 1; CPU 0's history 0 stays empty.
        EXPECT_EQ(status(0, 15), 0);
    }
    EXPECT_EQ(status(1, 14), 1) << "history 1 is full already";
    EXPECT_EQ(status(2, 16), 0) << "history 2 after one poll";
    EXPECT_EQ(status(3, 17), 0) << "history 3 after one poll";
    set_reg(0x2C, 0);
    EXPECT_EQ(status(1, 16), 0) << "the other socket is empty";
    EXPECT_EQ(status(1, 17), 0);
    set_reg(0x2A, 0);
    EXPECT_EQ(status(1, 14), 0);
    EXPECT_EQ(status(1, 15), 0);
}

TEST_F(CpuStatusTest, Type3AndSingleHotTypesShareTheirHistories)
{
    fill_registers(0xFF);
    EXPECT_EQ(status(0, 3), 0);
    EXPECT_EQ(status(0, 14), 0);
    EXPECT_EQ(status(0, 3), 0);
    EXPECT_EQ(status(0, 14), 1) << "four polls, two of each type";
    EXPECT_EQ(status(1, 3), 0);
    EXPECT_EQ(status(2, 16), 0);
    EXPECT_EQ(status(2, 16), 0);
    EXPECT_EQ(status(1, 3), 1);
}

TEST_F(CpuStatusTest, InternalErrorIsClearedAtEveryFourthPollThatSeesIt)
{
    board.cpus().fit(0, 3);
    board.cpus().hold(0, CpuLine::internal_error);
    board.cpus().pulse(0, CpuLine::machine_check);
    for (int poll = 1; poll <= 12; ++poll) {
        clear_trace();
        EXPECT_EQ(status(0, 4), 1);
        EXPECT_TRUE(board.cpus().seen(0, CpuLine::internal_error));
        if (sees_each_access()) {
            EXPECT_EQ(board.trace.count(Operation::store, "cpld"), poll % 4 == 0 ? 1U : 0U) << poll;
        }
    }
    board.cpus().release(0, CpuLine::internal_error);
    board.cpus().pulse(0, CpuLine::internal_error);
    for (int poll = 1; poll <= 4; ++poll) {
        EXPECT_EQ(status(0, 4), 1);
    }
    EXPECT_FALSE(board.cpus().seen(0, CpuLine::internal_error));
    EXPECT_TRUE(board.cpus().seen(0, CpuLine::machine_check)) << "its neighbour";
    EXPECT_EQ(status(0, 4), 0);
}

TEST_F(CpuStatusTest, PollsThatDoNotSeeTheInternalErrorKeepTheCount)
{
    set_reg(0x2A, 0x80);
    set_reg(0x2C, 0x80);
    const auto poll = [this](int32_t cpu, bool error) {
        set_reg(0x2B, error ? 0xFF : 0xEF);
        EXPECT_EQ(status(cpu, 4), error ? 1 : 0);
    };
    poll(0, true);
    poll(1, true);
    poll(0, false);
    poll(2, true);
    EXPECT_EQ(reg(0x2B), 0xFF);
    set_reg(0x2A, 0);
    EXPECT_EQ(status(0, 4), 0) << "absent";
    EXPECT_EQ(status(3, 12), 1) << "counts nothing";
    EXPECT_EQ(reg(0x2B), 0xFF);
    poll(3, true);
    EXPECT_EQ(reg(0x2B), 0xEF);
    poll(1, true);
    EXPECT_EQ(reg(0x2B), 0xFF);
}

TEST_F(CpuStatusTest, LookingAtTheInternalErrorStampsNothing)
{
    fill_registers(0xFF);
    for (int poll = 0; poll < 8; ++poll) {
        EXPECT_EQ(status(0, 12), 1);
    }
    EXPECT_EQ(reg(0x2B), 0xFF);
    EXPECT_EQ(flag_of(get_fdm_ierr_info), 0U);
    EXPECT_EQ(flag_of(get_fdm_ierr_parase), 0U);
    EXPECT_EQ(status(0, 4), 1);
    EXPECT_EQ(flag_of(get_fdm_ierr_info), 1U) << "the edge is still to come";
}

TEST_F(CpuStatusTest, OneErrorIsReportedForEightPollsOfItsCpu)
{
    for (int32_t cpu = 0; cpu < 4; ++cpu) {
        SCOPED_TRACE(cpu);
        const unsigned socket = cpu == 0 ? 0 : 1;
        board.cpus().fit(0, 3);
        board.cpus().fit(1, 3);
        board.cpus().pulse(socket, CpuLine::error);
        EXPECT_EQ(status(cpu, 5), 1);
        board.cpus().release(socket, CpuLine::error);
        for (int poll = 2; poll <= 8; ++poll) {
            for (int32_t other = 0; other < 4; ++other) {
                EXPECT_EQ(status(other, 5), other == cpu ? 1 : 0) << poll;
            }
        }
        board.cpus().remove(socket);
        EXPECT_EQ(status(cpu, 5), 0) << "absent";
        board.cpus().fit(socket, 3);
        EXPECT_EQ(status(cpu, 5), 0) << "forgotten after eight polls";
    }
}

TEST_F(CpuStatusTest, MachineCheckPollSetsItsFlagWhateverTheBit)
{
    EXPECT_EQ(g_cpu_mce_flag, 0);
    EXPECT_EQ(status(0, 11), 0);
    EXPECT_EQ(g_cpu_mce_flag, 0) << "absent";
    board.cpus().fit(1, 3);
    EXPECT_EQ(status(2, 11), 0);
    EXPECT_EQ(g_cpu_mce_flag, 1);
    EXPECT_EQ(flag_of(get_fdm_mce_info), 0U);
    board.cpus().pulse(0, CpuLine::machine_check);
    EXPECT_EQ(status(2, 11), 1) << "the line of the first socket serves every CPU";
    EXPECT_EQ(flag_of(get_fdm_mce_info), 1U);
    g_cpu_mce_flag = 5;
    EXPECT_EQ(status(2, 11), 1);
    EXPECT_EQ(g_cpu_mce_flag, 5);
    EXPECT_EQ(clear_mcerr_reg(), 0);
    EXPECT_EQ(g_cpu_mce_flag, 0);
    EXPECT_FALSE(board.cpus().seen(0, CpuLine::machine_check));
}

TEST_F(CpuStatusTest, LongRandomPollingAgreesWithTheReference)
{
    board.trace.keep(false);
    unwatch_locks();
    PlainWindow window;
    ReferenceCpus reference;
    RestlessRegisters registers(20240917);
    std::minstd_rand random(4711);
    unsigned polls[std::size(poll_types)][4] = {};
    unsigned reported[std::size(poll_types)][4] = {};
    size_t unfinished = std::size(poll_types) * 4;
    for (unsigned long poll = 0; unfinished != 0; ++poll) {
        registers.step(reference.reg);
        for (const uint32_t offset : {0x2AU, 0x2BU, 0x2CU, 0x2DU, 0x91U, 0x94U}) {
            window[offset] = reference.reg[offset];
        }
        if (poll % 1009 == 0) {
            clear_records(reference);
            ASSERT_EQ(clear_mcerr_reg(), 0);
            reference.reg[0x2B] &= 0xDF;
            reference.mce_flag = 0;
        }
        const size_t at = random() / 7 % std::size(poll_types);
        const int cpu = static_cast<int>(random() / 7 % 4);
        uint8_t out = untouched;
        const int result = get_cpu_status(cpu, poll_types[at], &out);
        const unsigned expected = reference.poll(cpu, poll_types[at]);
        if (result != 0 || out != expected || window[0x2B] != reference.reg[0x2B]) {
            FAIL() << "poll " << poll << " type " << poll_types[at] << " cpu " << cpu << ": "
                   << int{out} << ", not " << expected;
        }
        if (!same_state(reference)) {
            FAIL() << "records or flag after poll " << poll << " type " << poll_types[at];
        }
        reported[at][cpu] += expected;
        unfinished -= ++polls[at][cpu] == long_run_polls ? 1 : 0;
    }
    // The sequence is worth its length only if both answers were common, but for
    // type 3 of the numbers that are never hot.
    for (size_t at = 0; at < std::size(poll_types); ++at) {
        for (int cpu = 0; cpu < 4; ++cpu) {
            SCOPED_TRACE(poll_types[at]);
            if (poll_types[at] == 3 && cpu >= 2) {
                EXPECT_EQ(reported[at][cpu], 0U);
                continue;
            }
            EXPECT_GT(reported[at][cpu], 500U) << cpu;
            EXPECT_LT(reported[at][cpu], polls[at][cpu] - 500U) << cpu;
        }
    }
    EXPECT_EQ(output(), "");
}

// The same through the board's own window.
TEST_F(CpuStatusTest, RandomPollingOfTheBoardAgreesWithTheReference)
{
    board.trace.keep(false);
    ReferenceCpus reference;
    RestlessRegisters registers(99);
    std::minstd_rand random(98);
    for (unsigned poll = 0; poll < 20000; ++poll) {
        registers.step(reference.reg);
        for (const uint32_t offset : {0x2AU, 0x2BU, 0x2CU, 0x2DU, 0x91U, 0x94U}) {
            set_reg(offset, reference.reg[offset]);
        }
        const uint32_t type = poll_types[random() / 7 % std::size(poll_types)];
        const int cpu = static_cast<int>(random() / 7 % 4);
        ASSERT_EQ(status(cpu, type), reference.poll(cpu, type)) << poll << " type " << type;
        ASSERT_EQ(reg(0x2B), reference.reg[0x2B]) << poll << " type " << type;
        ASSERT_TRUE(same_state(reference)) << poll << " type " << type;
    }
}

TEST_F(CpuStatusTest, ThermalTripIsClearedAlone)
{
    for (int32_t cpu = 0; cpu < 4; ++cpu) {
        const uint32_t offset = cpu == 0 ? 0x2A : 0x2C;
        for (unsigned value = 0; value < 256; ++value) {
            fill_registers(static_cast<uint8_t>(~value));
            set_reg(offset, static_cast<uint8_t>(value));
            const Bytes expected = with(registers(), offset, value & 0xFE);
            EXPECT_EQ(clear_cpu_thermaltrip(cpu), 0);
            ASSERT_EQ(registers(), expected);
        }
        set_reg(offset, 0x81);
        clear_trace();
        EXPECT_EQ(clear_cpu_thermaltrip(cpu), 0);
        expect_steps(
            locked(cpu == 0 ? Names{"load 2a", "store 2a=80"} : Names{"load 2c", "store 2c=80"}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, ThermalTripComesBackWhileTheCpuIsTooHot)
{
    board.cpus().fit(1, 2);
    board.cpus().hold(1, CpuLine::thermal_trip);
    EXPECT_EQ(status(1, 2), 1);
    EXPECT_EQ(clear_cpu_thermaltrip(1), 0);
    EXPECT_EQ(status(1, 2), 1);
    board.cpus().release(1, CpuLine::thermal_trip);
    board.cpus().pulse(1, CpuLine::thermal_trip);
    EXPECT_EQ(status(3, 2), 1);
    EXPECT_EQ(clear_cpu_thermaltrip(1), 0);
    EXPECT_EQ(status(1, 2), 0);
}

TEST_F(CpuStatusTest, GenerationIsAFieldOfTheStatusRegister)
{
    for (unsigned value = 0; value < 256; ++value) {
        set_reg(0x2A, static_cast<uint8_t>(value));
        set_reg(0x2C, static_cast<uint8_t>(~value));
        for (const int32_t cpu : {0, 1, 2, 3, 4, INT_MAX}) {
            uint8_t out = untouched;
            EXPECT_EQ(get_cpu_generation(cpu, &out), 0);
            EXPECT_EQ(out, ((cpu == 0 ? value : ~value) >> 4 & 7U)) << cpu;
        }
    }
    clear_trace();
    uint8_t out = 0;
    get_cpu_generation(0, &out);
    expect_steps(locked({"load 2a"}));
    get_cpu_generation(4, &out);
    expect_steps(locked({"load 2c"}));
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, IioErrorIsOneBit)
{
    for (unsigned value = 0; value < 256; ++value) {
        set_reg(0x2A, static_cast<uint8_t>(value));
        uint8_t out = untouched;
        EXPECT_EQ(get_iio_reg(&out), 0);
        EXPECT_EQ(out, value >> 3 & 1U);
    }
    clear_trace();
    uint8_t out = 0;
    get_iio_reg(&out);
    expect_steps(locked({"load 2a"}));
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, ClearingTheMachineCheckKeepsTheOtherBits)
{
    for (unsigned value = 0; value < 256; ++value) {
        set_reg(0x2B, static_cast<uint8_t>(value));
        g_cpu_mce_flag = static_cast<uint8_t>(value);
        EXPECT_EQ(clear_mcerr_reg(), 0);
        EXPECT_EQ(reg(0x2B), value & 0xDFU);
        EXPECT_EQ(g_cpu_mce_flag, 0);
    }
    set_reg(0x2B, 0xFF);
    clear_trace();
    EXPECT_EQ(clear_mcerr_reg(), 0);
    expect_steps(locked({"load 2b", "store 2b=df"}));
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, HotControlOutputsBySelector)
{
    const struct {
        uint32_t offset;
        uint8_t mask;
    } outputs[] = {{0x2B, 0x40}, {0x2B, 0x02}, {0x2B, 0x01}, {0x2D, 0x02}, {0x2D, 0x01}};
    for (unsigned output = 0; output < std::size(outputs); ++output) {
        for (const uint8_t value : Bytes{1, 0}) {
            for (const uint8_t pattern : patterns) {
                fill_registers(pattern);
                const unsigned set = value != 0 ? pattern | outputs[output].mask
                                                : pattern & ~unsigned{outputs[output].mask};
                const Bytes expected = with(registers(), outputs[output].offset, set);
                EXPECT_EQ(set_hot_ctrl(static_cast<int32_t>(output), value), 0);
                EXPECT_EQ(registers(), expected) << output;
                EXPECT_EQ(board.cpus().hot_control(output), value != 0);
            }
        }
    }
    set_reg(0x2D, 0x80);
    clear_trace();
    EXPECT_EQ(set_hot_ctrl(3, 1), 0);
    expect_steps(locked({"load 2d", "store 2d=82"}));
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, OtherHotControlOutputsAreMinusOneUnderTheLock)
{
    const Bytes before = registers();
    for (const int32_t output : {5, 6, 255, 256, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(set_hot_ctrl(output, 1), -1);
        expect_steps(locked({}));
    }
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(output(), "");
}

TEST_F(CpuStatusTest, MemoryEventsOfEveryItem)
{
    const auto bit_of = [](uint32_t group, uint32_t item, uint32_t &offset) -> unsigned {
        if (group == 0 && item < 8) {
            offset = item < 4 ? 0x42 : 0x43;
            return 6 - item % 4 * 2;
        }
        if (group == 1 && item < 4) {
            offset = 0x94;
            return item % 2 == 0 ? 5 : 4;
        }
        return UINT_MAX;
    };
    for (const uint32_t group : {0U, 1U, 2U, 3U, 256U, UINT_MAX}) {
        for (const uint32_t item : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 255U, 256U, UINT_MAX}) {
            SCOPED_TRACE(::testing::Message() << group << ' ' << item);
            uint32_t offset = 0;
            const unsigned bit = bit_of(group, item, offset);
            for (unsigned number = 0; number < 8; ++number) {
                fill_registers(0);
                set_reg(offset, static_cast<uint8_t>(1U << number));
                uint8_t out = untouched;
                EXPECT_EQ(get_memory_event(group, item, &out), bit == UINT_MAX ? -2 : 0);
                EXPECT_EQ(out, bit == UINT_MAX ? untouched : (bit == number ? 1 : 0));
            }
        }
    }
    clear_trace();
    uint8_t out = 0;
    get_memory_event(0, 5, &out);
    expect_steps(locked({"load 43"}));
    get_memory_event(1, 3, &out);
    expect_steps(locked({"load 94"}));
    EXPECT_EQ(output(), "");
}

} // namespace
} // namespace board_test
