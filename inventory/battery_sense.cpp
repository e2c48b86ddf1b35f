// Connection of the battery to the ADC.

#include "board_hal.h"
#include "common/cpld_window.h"

using namespace board_hal;

namespace {

constexpr CpldBits adc_assert{CPLD_REG_ADC_CONTROL, CPLD_ADC_ASSERT};

} // namespace

extern "C" {

int spa310_adc_assert_action(void)
{
    const MutexGuard guard(cpld_reg_lock);
    cpld_set(adc_assert);
    return 0;
}

int spa310_adc_deassert_action(void)
{
    const MutexGuard guard(cpld_reg_lock);
    cpld_clear(adc_assert);
    return 0;
}

} // extern "C"
