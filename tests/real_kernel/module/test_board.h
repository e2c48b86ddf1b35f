/* SPDX-License-Identifier: GPL-2.0-only */
/* A board's devices in memory, for programs that shall meet them on a real
 * kernel. Each device below is one file. */
#ifndef TEST_BOARD_H
#define TEST_BOARD_H

#include <linux/device.h>
#include <linux/types.h>

/* board.c: what the devices were asked for, one line each, in the order in
 * which it came. */
__printf(1, 2) void board_trace(const char *format, ...);
extern struct device *board_device;

int cpld_start(void);
void cpld_stop(void);
/* The registers, as the CPLD itself sees them. */
u8 *cpld_registers(void);

int fpga_start(void);
void fpga_stop(void);
void fpga_host_sends(const u8 *message, size_t length);
void fpga_set_divisor(u32 divisor);

int adc_start(void);
void adc_stop(void);

int gpio_start(void);
void gpio_stop(void);
/* A line that the board drives. */
void gpio_drive(unsigned int number, int value);

int spi_start(void);
void spi_stop(void);
void fpga_await_bitstream(void);

/* i2c.c: the chips, also for the FPGA's masters. The result is a byte count,
 * or -ENXIO where no chip answers. */
int i2c_start(void);
void i2c_stop(void);
int chip_write(u8 address, const u8 *bytes, size_t length);
int chip_read(u8 address, u8 *bytes, size_t length);

/* flash.c; the BIOS flash is there for as long as its driver is loaded. */
int flash_start(void);
void flash_stop(void);
int bios_flash_attach(void);
void bios_flash_detach(void);

#endif
