// A C++ client of an installed copy.

#include <board_hal.h>
#include <board_hal_cpld.h>

#include <cstdio>

int main()
{
    // Exported data is the application's to write.
    g_slot_of_pcie_riser = 3;
    uint32_t registers = 0;
    if (get_cpld_reg_max_num(&registers) != 0 || registers != CPLD_REG_COUNT) {
        std::puts("get_cpld_reg_max_num does not answer");
        return 1;
    }
    return g_slot_of_pcie_riser == 3 ? 0 : 1;
}
