// SPDX-License-Identifier: GPL-2.0-only
// The helper that prepares the FPGA for a bitstream, under the name by which
// controllers load and unload it.

#include <linux/module.h>

#include "test_board.h"

static int __init helper_start(void)
{
    fpga_await_bitstream();
    return 0;
}

static void __exit helper_stop(void) {}

module_init(helper_start);
module_exit(helper_stop);
MODULE_DESCRIPTION("Prepares the test board's FPGA for a bitstream");
MODULE_LICENSE("GPL v2");
