/* A C client of an installed copy. */

#include <stdio.h>
#include <string.h>

#include <board_hal.h>
#include <board_hal_cpld.h>

int main(void)
{
    uint32_t registers = 0;
    if (get_cpld_reg_max_num(&registers) != 0 || registers != CPLD_REG_COUNT) {
        puts("get_cpld_reg_max_num does not answer");
        return 1;
    }
    if (strcmp(c_str_Pass, "[  \033[0;32mPass\033[0m   ]") != 0) {
        puts("exported data does not arrive");
        return 1;
    }
    return 0;
}
