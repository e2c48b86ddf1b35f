// Where a failure leaves more behind than nothing. Each line is reviewed, and
// one that no failure needs fails the test.
#ifndef TESTS_SWEEP_EXCEPTIONS_H
#define TESTS_SWEEP_EXCEPTIONS_H

#include <string_view>

namespace board_test {

enum class Deviation {
    ends_program,
    keeps_descriptor,
    closes_stray, // a number that is not its own, or no longer
    keeps_memory,
    keeps_stream,
    keeps_mapping,
    keeps_lock,
    fails_again,
};

struct Exception {
    std::string_view operation;
    std::string_view call; // that failed; "*" for any
    Deviation deviation;
    std::string_view reason;
};

constexpr Exception exceptions[] = {
    {"cpld_init", "mmap", Deviation::ends_program,
     "a mapping that fails with MAP_FAILED is not detected: the read of the product id faults"},
    {"ipmc_driver_init", "mmap", Deviation::ends_program, "by cpld_init()"},
    {"ipmc_driver_init", "*", Deviation::closes_stray,
     "the undoing closes handles that were not opened"},
    {"fpga_Init", "open", Deviation::keeps_descriptor,
     "the FPGA stays open for fpga_clean() if the I2C adapter cannot be opened"},
    {"load_fpga", "*", Deviation::keeps_descriptor,
     "the SPI device is opened by every call that gets so far and never closed"},
    {"load_fpga", "open", Deviation::fails_again,
     "without the SPI device the helper module stays loaded"},
    {"load_fpga", "ioctl", Deviation::fails_again,
     "with a refused SPI parameter the helper module stays loaded"},
    {"load_fpga", "system", Deviation::fails_again,
     "the helper module stays loaded if it cannot be unloaded"},
    {"uart_init", "tcgetattr", Deviation::keeps_descriptor,
     "a port that cannot be set stays open in serial_handle"},
    {"uart_init", "tcsetattr", Deviation::keeps_descriptor,
     "a port that cannot be set stays open in serial_handle"},
    {"mtd_flash_copy", "*", Deviation::closes_stray,
     "a failure before the image is open closes the number of an earlier image"},
    {"mtd_flash_copy_ex", "*", Deviation::closes_stray, "as mtd_flash_copy()"},
    {"spi_flash_copy", "*", Deviation::closes_stray, "as mtd_flash_copy()"},
    {"load_bios", "*", Deviation::closes_stray, "by spi_flash_copy()"},
    {"load_bios_bin", "*", Deviation::closes_stray, "by spi_flash_copy()"},
};

} // namespace board_test

#endif
