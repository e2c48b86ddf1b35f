// SPDX-License-Identifier: GPL-2.0-only
// The driver of the BIOS's flash, under the name by which controllers load and
// unload it. What the flash holds outlives it.

#include <linux/module.h>

#include "test_board.h"

static int __init driver_start(void)
{
    return bios_flash_attach();
}

static void __exit driver_stop(void)
{
    bios_flash_detach();
}

module_init(driver_start);
module_exit(driver_stop);
MODULE_DESCRIPTION("The test board's BIOS flash");
MODULE_LICENSE("GPL v2");
