// A boot-loader variable by way of the library: prints NAME's value, or sets it.
// usage: environment_program NAME [VALUE]

#include <stdio.h>

#include "board_hal.h"

int main(int count, char **words)
{
    if (count == 3) {
        return set_uboot_env(words[1], words[2]) == 0 ? 0 : 1;
    }
    char value[256] = "(none)";
    if (count != 2 || get_uboot_env(words[1], value, sizeof(value)) != 0) {
        return 1;
    }
    puts(value);
    return 0;
}
