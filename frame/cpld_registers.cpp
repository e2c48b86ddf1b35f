// Generic access to the CPLD registers, identification registers, self test.

#include <stdint.h>
#include <stdio.h>

#include "board_hal.h"
#include "common/cpld_window.h"

namespace board_hal {

pthread_mutex_t cpld_reg_lock = PTHREAD_MUTEX_INITIALIZER;

} // namespace board_hal

using namespace board_hal;

namespace {

constexpr CpldBits heartbeat{CPLD_REG_RESET_D, CPLD_HEARTBEAT};

constexpr int32_t reserved_registers[] = {CPLD_REG_RESERVED_0, CPLD_REG_RESERVED_1};
constexpr int32_t reserved_count = 2;

bool reserved_index_refused(int32_t index)
{
    if (index >= reserved_count) {
        puts("invalid reserved regester bum");
        return true;
    }
    return false;
}

// Whether the test register holds a pattern.
bool test_register_holds(uint8_t pattern)
{
    uint8_t value = 0;
    set_cpld_test_reg_val(pattern);
    return get_cpld_test_reg_val(&value) == 0 && value == pattern;
}

} // namespace

extern "C" {

int get_cpld_reg(int32_t reg, uint8_t *val)
{
    if (val == nullptr) {
        puts("get_cpld_reg val pointer is null");
        return -1;
    }
    // One past the last register is let through, negative offsets too: callers
    // rely on these bounds.
    if (reg > CPLD_REG_COUNT) {
        printf("get_cpld_reg reg %d invalid\n", reg);
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    *val = cpld_read(reg);
    return 0;
}

int set_cpld_reg(int32_t reg, uint8_t val)
{
    const MutexGuard guard(cpld_reg_lock);
    cpld_write(reg, val);
    return 0;
}

int dump_cpld_regester(uint8_t *obuf, int32_t len)
{
    if (obuf == nullptr) {
        puts("dump_cpld_regester:obuf pointer is null");
        return -1;
    }
    if (len > CPLD_REG_COUNT) {
        printf("dump_cpld_regester:len is larger than MAX_CPLD_REG_NUM[%d]\n", CPLD_REG_COUNT);
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    for (int32_t reg = 0; reg < len; ++reg) {
        obuf[reg] = cpld_read(reg);
    }
    return 0;
}

int get_cpld_reg_max_num(uint32_t *num)
{
    if (num == nullptr) {
        printf("%s %d:The parameter is illegal.\r\n", "get_cpld_reg_max_num", 6358);
        return -2;
    }
    *num = CPLD_REG_COUNT;
    return 0;
}

int get_cpld_version(uint8_t *val)
{
    if (val == nullptr) {
        puts("get cpld version val pointer is null");
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    *val = cpld_read(CPLD_REG_CPLD_VERSION);
    return 0;
}

int get_cpld_compile_time(uint8_t *first, uint8_t *second, uint8_t *third, uint8_t *fourth,
                          uint8_t *fifth)
{
    if (first == nullptr || second == nullptr || third == nullptr || fourth == nullptr ||
        fifth == nullptr) {
        puts("get_cpld_compile_time pointer is null");
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    *first = cpld_read(CPLD_REG_COMPILE_TIME_0);
    *second = cpld_read(CPLD_REG_COMPILE_TIME_1);
    *third = cpld_read(CPLD_REG_COMPILE_TIME_2);
    *fourth = cpld_read(CPLD_REG_COMPILE_TIME_3);
    *fifth = cpld_read(CPLD_REG_COMPILE_TIME_4);
    return 0;
}

int set_cpld_test_reg_val(uint8_t val)
{
    const MutexGuard guard(cpld_reg_lock);
    cpld_write(CPLD_REG_TEST, val);
    return 0;
}

int get_cpld_test_reg_val(uint8_t *val)
{
    if (val == nullptr) {
        puts("val pointer is null");
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    *val = cpld_read(CPLD_REG_TEST);
    return 0;
}

int set_reserved_regester(int32_t index, uint8_t val)
{
    if (reserved_index_refused(index)) {
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    // A negative index deliberately succeeds without a write.
    if (index >= 0) {
        cpld_write(reserved_registers[index], val);
    }
    return 0;
}

int get_reserved_regester(int32_t index, uint8_t *val)
{
    if (reserved_index_refused(index)) {
        return -1;
    }
    const MutexGuard guard(cpld_reg_lock);
    if (index >= 0) {
        *val = cpld_read(reserved_registers[index]);
    }
    return 0;
}

int heartbeat_to_cpld(void)
{
    const MutexGuard guard(cpld_reg_lock);
    cpld_set(heartbeat);
    return 0;
}

int start_cpld_test(void)
{
    printf("%s", "\r\nStart CPLD test...............................................");
    // Both patterns are always run, so that every bit has been driven both ways.
    const bool first = test_register_holds(0x55);
    const bool second = test_register_holds(0xAA);
    const bool passed = first && second;
    printf("%s", passed ? c_str_Pass : c_str_Fail);
    puts("\r");
    return passed ? 0 : -1;
}

int cpld_self_test(uint8_t *result)
{
    if (start_cpld_test() != 0) {
        *result |= 1;
    }
    return 0;
}

} // extern "C"
