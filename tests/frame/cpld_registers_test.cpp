// Generic access to the CPLD registers, identification registers, self test.

#include <limits.h>

#include <array>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

constexpr uint8_t patterns[] = {0x00, 0xFF, 0xA5};
constexpr uint8_t untouched = 0xE7;
constexpr char banner[] = "\r\nStart CPLD test...............................................";
constexpr char passed[] = "[  \033[0;32mPass\033[0m   ]\r\n";
constexpr char failed[] = "[  \033[0;31mFail\033[0m   ]\r\n";

// A content that tells every register from its neighbours.
uint8_t content(uint32_t offset)
{
    return static_cast<uint8_t>(offset * 7 + 3);
}

class CpldRegistersTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        open_board();
        for (uint32_t offset = 0; offset <= CPLD_REG_COUNT; ++offset) {
            set_reg(offset, content(offset));
        }
        clear_trace();
    }

    void expect_steps(const Names &expected)
    {
        if (sees_each_access()) {
            EXPECT_EQ(steps(), expected);
        }
        clear_trace();
    }

    static Names locked(Names accesses)
    {
        accesses.insert(accesses.begin(), "lock cpld_reg_lock");
        accesses.push_back("unlock cpld_reg_lock");
        return accesses;
    }
};

// Moves the window's base up, so that negative offsets hit registers.
class ShiftedBase {
public:
    explicit ShiftedBase(uint32_t by) : base_(g_cpld_base_addr) { g_cpld_base_addr += by; }
    ~ShiftedBase() { g_cpld_base_addr = base_; }
    ShiftedBase(const ShiftedBase &) = delete;
    ShiftedBase &operator=(const ShiftedBase &) = delete;

private:
    uint8_t *base_;
};

TEST_F(CpldRegistersTest, GetReadsEveryRegisterAndTheByteBehindThem)
{
    for (int32_t offset = 0; offset <= 256; ++offset) {
        SCOPED_TRACE(offset);
        uint8_t value = untouched;
        EXPECT_EQ(get_cpld_reg(offset, &value), 0);
        EXPECT_EQ(value, content(static_cast<uint32_t>(offset)));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, GetLoadsOnceUnderTheLock)
{
    for (const int32_t offset : {0x00, 0x83, 0xFF}) {
        char load[16];
        snprintf(load, sizeof(load), "load %02x", static_cast<unsigned>(offset));
        uint8_t value = 0;
        EXPECT_EQ(get_cpld_reg(offset, &value), 0);
        expect_steps(locked({load}));
    }
}

TEST_F(CpldRegistersTest, GetRefusesOffsetsAbove256)
{
    for (const int32_t offset : {257, 258, 4095, 65536, INT_MAX}) {
        uint8_t value = untouched;
        EXPECT_EQ(get_cpld_reg(offset, &value), -1);
        EXPECT_EQ(value, untouched);
        EXPECT_EQ(output(), "get_cpld_reg reg " + std::to_string(offset) + " invalid\n");
    }
    EXPECT_EQ(board.trace.of(Operation::load).size(), 0U);
}

TEST_F(CpldRegistersTest, GetRefusesNullFirst)
{
    for (const int32_t offset : {0, 257, -1}) {
        EXPECT_EQ(get_cpld_reg(offset, nullptr), -1);
        EXPECT_EQ(output(), "get_cpld_reg val pointer is null\n");
    }
}

TEST_F(CpldRegistersTest, NegativeOffsetsAreNotChecked)
{
    const ShiftedBase shifted(0x40);
    for (const int32_t offset : {-1, -2, -0x40}) {
        SCOPED_TRACE(offset);
        const auto hit = static_cast<uint32_t>(0x40 + offset);
        uint8_t value = untouched;
        EXPECT_EQ(get_cpld_reg(offset, &value), 0);
        EXPECT_EQ(value, content(hit));
    }
    EXPECT_EQ(set_cpld_reg(-2, 0x99), 0);
    EXPECT_EQ(reg(0x3E), 0x99);
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, SetWritesOneRegisterAndNoOther)
{
    // Below 0x0E most registers are the CPLD's identity and cannot be written.
    for (int32_t offset = 0x0E; offset <= 256; ++offset) {
        SCOPED_TRACE(offset);
        const auto at = static_cast<uint32_t>(offset);
        Bytes expected = registers();
        expected[at] = static_cast<uint8_t>(~content(at));
        EXPECT_EQ(set_cpld_reg(offset, expected[at]), 0);
        EXPECT_EQ(registers(), expected);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, SetTakesEveryValueAndEveryOffset)
{
    for (unsigned value = 0; value < 256; ++value) {
        EXPECT_EQ(set_cpld_reg(0x10, static_cast<uint8_t>(value)), 0);
        EXPECT_EQ(reg(0x10), value);
    }
    for (const int32_t offset : {257, 300, 4095}) {
        EXPECT_EQ(set_cpld_reg(offset, 0x6B), 0);
        EXPECT_EQ(reg(static_cast<uint32_t>(offset)), 0x6B);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, SetStoresOnceUnderTheLockWithoutALoad)
{
    EXPECT_EQ(set_cpld_reg(0x83, 0x10), 0);
    expect_steps(locked({"store 83=10"}));
}

TEST_F(CpldRegistersTest, DumpCopiesTheFirstRegistersAndNoMore)
{
    for (const int32_t length : {1, 2, 16, 255, 256}) {
        SCOPED_TRACE(length);
        Bytes buffer(CPLD_REG_COUNT + 8, untouched);
        Bytes expected = buffer;
        for (uint32_t i = 0; i < static_cast<uint32_t>(length); ++i) {
            expected[i] = content(i);
        }
        EXPECT_EQ(dump_cpld_regester(buffer.data(), length), 0);
        EXPECT_EQ(buffer, expected);
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, DumpReadsByteByByteInOrderUnderOneHold)
{
    Bytes buffer(CPLD_REG_COUNT);
    Names loads;
    for (unsigned offset = 0; offset < CPLD_REG_COUNT; ++offset) {
        char load[16];
        snprintf(load, sizeof(load), "load %02x", offset);
        loads.push_back(load);
    }
    EXPECT_EQ(dump_cpld_regester(buffer.data(), 256), 0);
    EXPECT_EQ(board.trace.of(Operation::lock).size(), 1U);
    expect_steps(locked(loads));
}

TEST_F(CpldRegistersTest, DumpOfNothingSucceeds)
{
    for (const int32_t length : {0, -1, -256, INT_MIN}) {
        SCOPED_TRACE(length);
        uint8_t byte = untouched;
        EXPECT_EQ(dump_cpld_regester(&byte, length), 0);
        EXPECT_EQ(byte, untouched);
        expect_steps(locked({}));
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, DumpRefusesLengthsAbove256)
{
    for (const int32_t length : {257, 4096, INT_MAX}) {
        SCOPED_TRACE(length);
        Bytes buffer(CPLD_REG_COUNT + 1, untouched);
        EXPECT_EQ(dump_cpld_regester(buffer.data(), length), -1);
        EXPECT_EQ(buffer, Bytes(CPLD_REG_COUNT + 1, untouched));
        EXPECT_EQ(output(), "dump_cpld_regester:len is larger than MAX_CPLD_REG_NUM[256]\n");
    }
}

TEST_F(CpldRegistersTest, DumpRefusesNullFirst)
{
    for (const int32_t length : {0, 1, 257}) {
        EXPECT_EQ(dump_cpld_regester(nullptr, length), -1);
        EXPECT_EQ(output(), "dump_cpld_regester:obuf pointer is null\n");
    }
}

TEST_F(CpldRegistersTest, MaximumNumberOfRegisters)
{
    uint32_t number = 0;
    EXPECT_EQ(get_cpld_reg_max_num(&number), 0);
    EXPECT_EQ(number, 256U);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(get_cpld_reg_max_num(nullptr), -2);
    EXPECT_EQ(output(), "get_cpld_reg_max_num 6358:The parameter is illegal.\r\n");
}

TEST_F(CpldRegistersTest, GettersOfOneRegister)
{
    struct Getter {
        int (*get)(uint8_t *);
        uint32_t offset;
        const char *load;
        const char *null_text;
    };
    static constexpr Getter getters[] = {
        {get_cpld_version, 0x05, "load 05", "get cpld version val pointer is null\n"},
        {get_cpld_test_reg_val, 0x06, "load 06", "val pointer is null\n"},
    };
    for (const Getter &getter : getters) {
        SCOPED_TRACE(getter.load);
        for (unsigned value = 0; value < 256; ++value) {
            set_reg(getter.offset, static_cast<uint8_t>(value));
            uint8_t got = static_cast<uint8_t>(~value);
            EXPECT_EQ(getter.get(&got), 0);
            EXPECT_EQ(got, value);
            expect_steps(locked({getter.load}));
        }
        EXPECT_EQ(output(), "");
        EXPECT_EQ(getter.get(nullptr), -1);
        EXPECT_EQ(output(), getter.null_text);
        EXPECT_EQ(board.trace.of(Operation::load).size(), 0U);
        clear_trace();
    }
}

TEST_F(CpldRegistersTest, CompileTimeIsFiveRegistersInOrder)
{
    uint8_t time[5] = {};
    EXPECT_EQ(get_cpld_compile_time(&time[0], &time[1], &time[2], &time[3], &time[4]), 0);
    for (uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(time[i], content(0x09 + i));
    }
    expect_steps(locked({"load 09", "load 0a", "load 0b", "load 0c", "load 0d"}));
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, CompileTimeRefusesEachNullAndWritesNothing)
{
    for (unsigned missing = 1; missing < 32; ++missing) {
        SCOPED_TRACE(missing);
        std::array<uint8_t, 5> time;
        time.fill(untouched);
        const auto out = [&](unsigned i) { return (missing >> i & 1) != 0 ? nullptr : &time[i]; };
        EXPECT_EQ(get_cpld_compile_time(out(0), out(1), out(2), out(3), out(4)), -1);
        EXPECT_EQ(output(), "get_cpld_compile_time pointer is null\n");
        EXPECT_EQ(time,
                  (std::array<uint8_t, 5>{untouched, untouched, untouched, untouched, untouched}));
    }
    EXPECT_EQ(board.trace.of(Operation::load).size(), 0U);
}

TEST_F(CpldRegistersTest, TestRegisterTakesEveryValue)
{
    for (unsigned value = 0; value < 256; ++value) {
        EXPECT_EQ(set_cpld_test_reg_val(static_cast<uint8_t>(value)), 0);
        EXPECT_EQ(reg(0x06), value);
    }
    clear_trace();
    EXPECT_EQ(set_cpld_test_reg_val(0x5C), 0);
    expect_steps(locked({"store 06=5c"}));
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, ReservedRegistersAreTwo)
{
    static constexpr const char *loads[] = {"load 0e", "load 0f"};
    static constexpr const char *stores[] = {"store 0e=d2", "store 0f=d2"};
    for (int32_t index = 0; index < 2; ++index) {
        SCOPED_TRACE(index);
        const auto offset = static_cast<uint32_t>(0x0E + index);
        Bytes expected = registers();
        expected[offset] = 0xD2;
        clear_trace();
        EXPECT_EQ(set_reserved_regester(index, 0xD2), 0);
        expect_steps(locked({stores[index]}));
        EXPECT_EQ(registers(), expected);
        for (unsigned value = 0; value < 256; ++value) {
            set_reg(offset, static_cast<uint8_t>(value));
            uint8_t got = static_cast<uint8_t>(~value);
            EXPECT_EQ(get_reserved_regester(index, &got), 0);
            EXPECT_EQ(got, value);
            expect_steps(locked({loads[index]}));
        }
    }
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, ReservedRegistersAboveAreRefused)
{
    const Bytes before = registers();
    for (const int32_t index : {2, 3, 256, INT_MAX}) {
        SCOPED_TRACE(index);
        uint8_t value = untouched;
        EXPECT_EQ(set_reserved_regester(index, 0x12), -1);
        EXPECT_EQ(output(), "invalid reserved regester bum\n");
        EXPECT_EQ(get_reserved_regester(index, &value), -1);
        EXPECT_EQ(output(), "invalid reserved regester bum\n");
        EXPECT_EQ(value, untouched);
    }
    EXPECT_EQ(registers(), before);
}

TEST_F(CpldRegistersTest, NegativeReservedRegistersLockAndChangeNothing)
{
    const Bytes before = registers();
    for (const int32_t index : {-1, -2, INT_MIN}) {
        SCOPED_TRACE(index);
        uint8_t value = untouched;
        EXPECT_EQ(set_reserved_regester(index, 0x12), 0);
        expect_steps(locked({}));
        EXPECT_EQ(get_reserved_regester(index, &value), 0);
        expect_steps(locked({}));
        EXPECT_EQ(value, untouched);
    }
    EXPECT_EQ(registers(), before);
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, HeartbeatSetsItsBitAndKeepsTheOthers)
{
    for (const uint8_t pattern : patterns) {
        SCOPED_TRACE(pattern);
        fill_registers(pattern);
        Bytes expected = registers();
        expected[0xEC] = pattern | 0x04;
        EXPECT_EQ(heartbeat_to_cpld(), 0);
        EXPECT_EQ(registers(), expected);
    }
    set_reg(0xEC, 0x61);
    clear_trace();
    EXPECT_EQ(heartbeat_to_cpld(), 0);
    expect_steps(locked({"load ec", "store ec=65"}));
    EXPECT_EQ(output(), "");
}

TEST_F(CpldRegistersTest, SelfTestPasses)
{
    EXPECT_EQ(start_cpld_test(), 0);
    EXPECT_EQ(output(), std::string(banner) + passed);
    EXPECT_EQ(reg(0x06), 0xAA);
    EXPECT_EQ(board.trace.of(Operation::lock).size(), 4U);
    expect_steps({"lock cpld_reg_lock", "store 06=55", "unlock cpld_reg_lock", "lock cpld_reg_lock",
                  "load 06", "unlock cpld_reg_lock", "lock cpld_reg_lock", "store 06=aa",
                  "unlock cpld_reg_lock", "lock cpld_reg_lock", "load 06", "unlock cpld_reg_lock"});
}

TEST_F(CpldRegistersTest, SelfTestFindsEveryStuckBitWithBothPatterns)
{
    for (unsigned bit = 0; bit < 8; ++bit) {
        for (const uint8_t level : Bytes{0x00, 0xFF}) {
            SCOPED_TRACE(std::to_string(bit) + " at " + std::to_string(level));
            board.cpld().stick(0x06, static_cast<uint8_t>(1U << bit), level);
            clear_trace();
            EXPECT_EQ(start_cpld_test(), -1);
            EXPECT_EQ(output(), std::string(banner) + failed);
            EXPECT_EQ(board.trace.of(Operation::lock).size(), 4U) << "both patterns are always run";
            board.cpld().unstick(0x06);
        }
    }
}

TEST_F(CpldRegistersTest, SelfTestResultBitsChangeOnFailureOnly)
{
    for (const uint8_t pattern : Bytes{0x00, 0xFF, 0xA5, 0x5A}) {
        SCOPED_TRACE(pattern);
        uint8_t bits = pattern;
        EXPECT_EQ(cpld_self_test(&bits), 0);
        EXPECT_EQ(bits, pattern);
        EXPECT_EQ(output(), std::string(banner) + passed);
        board.cpld().stick(0x06, 0x80, 0x80);
        EXPECT_EQ(cpld_self_test(&bits), 0);
        EXPECT_EQ(bits, pattern | 0x01);
        EXPECT_EQ(output(), std::string(banner) + failed);
        board.cpld().unstick(0x06);
    }
}

TEST_F(CpldRegistersTest, SelfTestDoesNotLookAtThePointerOnPass)
{
    EXPECT_EQ(cpld_self_test(nullptr), 0);
}

} // namespace
} // namespace board_test
