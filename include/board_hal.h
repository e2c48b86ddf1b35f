/*
 * board_hal: hardware abstraction of a server's baseboard management
 * controller. The one public header; plain C, usable from C++.
 *
 * SPDX-License-Identifier: Apache-2.0
 */
#ifndef BOARD_HAL_H
#define BOARD_HAL_H

#include <stdint.h>

#if defined(__GNUC__)
#define BOARD_HAL_API __attribute__((visibility("default")))
#else
#define BOARD_HAL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @mainpage
 *
 * The contract that holds everywhere; each declaration states only what is its
 * own.
 *
 * **Order of calls.** ipmc_driver_init() first, ipmc_driver_clean() last. The
 * RTC, ADC, UART and the FPGA bitstream have calls of their own for those who
 * need them. A register operation does not check that the CPLD is open: called
 * before cpld_init() it dereferences a null g_cpld_base_addr.
 *
 * **Results.** 0 is success unless stated. -1 missing pointer or invalid
 * argument; -2 unsupported selector or value; -3 device cannot be opened; -4
 * device already open; -5 device or FPGA step failed; -6 no memory; -7 file or
 * read failure; -9 nothing to fetch or interface not idle; -13 FPGA bitstream
 * or PECI bridge check failed. Operations that move data return the byte count.
 * An FPGA driver result above 9999 is an error number and comes back negated.
 * Each operation lists the codes that it returns; a few deliberately return a
 * positive code on failure and say so.
 *
 * **Pointers.** A null pointer is refused only where the operation says so. An
 * out argument is written on success only, unless stated.
 *
 * **Messages.** Diagnostics are fixed lines on standard output; each operation
 * quotes its own. They are part of the interface.
 *
 * **Threads.** Every operation may be called from any thread. Each names the
 * locks that it takes; all are released on return, except the open locks, which
 * are held for as long as a device is open. No two register or request locks
 * are ever held together. An open lock may be held while one is taken, never
 * the reverse.
 *
 * **Blocking.** An operation blocks for its lock and for the driver calls that
 * it makes. Those that sleep say how long.
 *
 * **Ownership.** Buffers belong to the caller and are not kept after return.
 *
 * **Not fitted on this board.** Operations for hardware that the board does not
 * have ignore their arguments, touch nothing and return the stated constant.
 */

/* ======================================================================== */
/**
 * @defgroup frame Library frame and CPLD device
 * Start-up and teardown, device handles and process-wide data.
 * @{
 */

/** First byte of the CPLD register window; set by cpld_init(), not reset by
 *  cpld_clean(). Use volatile accesses when you reach through it directly, and
 *  prefer get_cpld_reg() and set_cpld_reg(), which take the register lock. */
BOARD_HAL_API extern uint8_t *g_cpld_base_addr;
/** Product id, read from the CPLD by cpld_init(). */
BOARD_HAL_API extern uint8_t product_id;
/** Chassis id buffer; untouched on this board. */
BOARD_HAL_API extern uint8_t chassis_id;
/** Descriptor of /dev/ipmc_fpga, opened by fpga_Init(). 0 before the first
 *  open, not reset after the close; the same holds for the other handles. */
BOARD_HAL_API extern int32_t dev_handle;
/** Descriptor of /dev/i2c-0, opened by fpga_Init(). */
BOARD_HAL_API extern int32_t dev_handle_i2c;
/** Descriptor of /dev/rtc, opened by rtc_init(). */
BOARD_HAL_API extern int32_t dev_handle_rtc;
/** Descriptor of the ADC device. */
BOARD_HAL_API extern int32_t dev_handle_adc;
/** Descriptor of the serial port, one element per UART channel. */
BOARD_HAL_API extern int32_t serial_handle[1];
/** Extended BOM id. */
BOARD_HAL_API extern uint32_t g_exbomid;
/** 1 while a locked power button is being pressed; see set_pwr_button(). */
BOARD_HAL_API extern uint8_t g_SHOULD_LOCK;
/** CPU catastrophic-error flag, for applications; the library does not use it. */
BOARD_HAL_API extern uint8_t g_caterr_flag;
/** CPU machine-check flag. */
BOARD_HAL_API extern uint8_t g_cpu_mce_flag;
/** Serial direction byte, for applications; the library does not use it. */
BOARD_HAL_API extern uint8_t g_ucserial_direction;
/** Slot number of the PCIe riser (2), for applications. */
BOARD_HAL_API extern uint32_t g_slot_of_pcie_riser;
/** FRU id of the PCIe riser (5), for applications. */
BOARD_HAL_API extern uint32_t g_pcie_riser_fru_id;
/** Green "Pass" verdict that self tests print, with its NUL. */
BOARD_HAL_API extern const char c_str_Pass[23];
/** Red "Fail" verdict that self tests print, with its NUL. */
BOARD_HAL_API extern const char c_str_Fail[23];

/**
 * Opens the board: cpld_init(), gpio_init(), fpga_Init(). A failing step undoes
 * the earlier ones.
 *
 * A second call while the devices are open does not return early: its
 * cpld_init() is refused, and the clean-up closes the CPLD device of the first
 * call. Repeated calls therefore give 0, -1, -5, 0, -1, -5, …
 *
 * @return 0; -1 CPLD ("ipmc_driver_init:cpld_init fail\r"); -4 GPIO
 *         ("ipmc_driver_init:gpio_init fail\r"); -5 FPGA
 *         ("ipmc_driver_init:fpga_init fail\r").
 * Locks: takes and keeps the CPLD and FPGA open locks.
 */
BOARD_HAL_API int ipmc_driver_init(void);

/**
 * Closes the board: cpld_clean(), gpio_clean(), fpga_clean(), whether or not
 * it is open.
 *
 * @return the result of fpga_clean().
 * Locks: releases the CPLD and FPGA open locks.
 */
BOARD_HAL_API int ipmc_driver_clean(void);

/**
 * Opens /dev/ipmc_cpld, maps its 4096-byte register window to g_cpld_base_addr
 * and reads product_id.
 *
 * @return 0; -4 already open ("cpld_init: cpld device already opened"); -3 the
 *         device cannot be opened ("cpld_init: cann't open device"); -2 mapped
 *         at address 0 ("cpld_init: map addr failed") or product id unread. A
 *         mapping that fails with MAP_FAILED is not detected.
 * Locks: takes the CPLD open lock without waiting and keeps it on success.
 */
BOARD_HAL_API int cpld_init(void);

/**
 * Unmaps the register window, closes the device and releases the CPLD open
 * lock. Tests nothing and resets nothing.
 *
 * @return the result of releasing the lock, 0 normally.
 */
BOARD_HAL_API int cpld_clean(void);

/**
 * Busy loop of @p count no-operation instructions. No time base, no lock.
 */
BOARD_HAL_API void __delay(uint32_t count);

/** @} */

/* ======================================================================== */
/**
 * @defgroup cpld CPLD register access
 * Any register, identification registers, heartbeat and self test. Offsets and
 * masks are in board_hal_cpld.h. Every operation takes the CPLD register lock
 * around its access.
 * @{
 */

/**
 * Reads one CPLD register.
 *
 * @param reg  offset in the window; up to and including 256 (one past the last
 *             register, still inside the window) and every negative value pass.
 * @param val  out: the byte.
 * @return 0; -1 null @p val ("get_cpld_reg val pointer is null") or @p reg
 *         above 256 ("get_cpld_reg reg %d invalid\n").
 */
BOARD_HAL_API int get_cpld_reg(int32_t reg, uint8_t *val);

/**
 * Writes one CPLD register.
 *
 * @param reg  offset in the window; not checked.
 * @param val  the byte.
 * @return 0.
 */
BOARD_HAL_API int set_cpld_reg(int32_t reg, uint8_t val);

/**
 * Copies registers 0 to @p len - 1 into @p obuf, byte by byte in order, under
 * one hold of the register lock.
 *
 * @param obuf  out: at least @p len bytes.
 * @param len   up to 256; 0 or below copies nothing.
 * @return 0; -1 null @p obuf ("dump_cpld_regester:obuf pointer is null") or
 *         @p len above 256 ("dump_cpld_regester:len is larger than
 *         MAX_CPLD_REG_NUM[%d]\n" with 256).
 */
BOARD_HAL_API int dump_cpld_regester(uint8_t *obuf, int32_t len);

/**
 * Number of CPLD registers. Takes no lock.
 *
 * @param num  out: 256.
 * @return 0; -2 null ("%s %d:The parameter is illegal.\r\n" with
 *         "get_cpld_reg_max_num" and 6358).
 */
BOARD_HAL_API int get_cpld_reg_max_num(uint32_t *num);

/**
 * Version of the CPLD's program.
 *
 * @param val  out: the version byte.
 * @return 0; -1 null ("get cpld version val pointer is null").
 */
BOARD_HAL_API int get_cpld_version(uint8_t *val);

/**
 * Compile time of the CPLD's program, five bytes in register order.
 *
 * @return 0; -1 any pointer null ("get_cpld_compile_time pointer is null").
 */
BOARD_HAL_API int get_cpld_compile_time(uint8_t *first, uint8_t *second, uint8_t *third,
                                        uint8_t *fourth, uint8_t *fifth);

/**
 * Writes the CPLD's test register.
 *
 * @return 0.
 */
BOARD_HAL_API int set_cpld_test_reg_val(uint8_t val);

/**
 * Reads the CPLD's test register.
 *
 * @return 0; -1 null ("val pointer is null").
 */
BOARD_HAL_API int get_cpld_test_reg_val(uint8_t *val);

/**
 * Writes a reserved (scratch) register.
 *
 * @param index  0 or 1; a negative index changes nothing and succeeds.
 * @param val    the byte.
 * @return 0; -1 @p index 2 or above ("invalid reserved regester bum").
 */
BOARD_HAL_API int set_reserved_regester(int32_t index, uint8_t val);

/**
 * Reads a reserved (scratch) register.
 *
 * @param index  0 or 1; a negative index writes nothing and succeeds.
 * @param val    out: the byte; not checked for null.
 * @return 0; -1 @p index 2 or above ("invalid reserved regester bum").
 */
BOARD_HAL_API int get_reserved_regester(int32_t index, uint8_t *val);

/**
 * Tells the CPLD that the controller is alive: sets the heartbeat bit.
 *
 * @return 0.
 */
BOARD_HAL_API int heartbeat_to_cpld(void);

/**
 * Writes 0x55 and 0xAA to the test register, reads each back and prints the
 * verdict line. The lock is taken once per write and once per read; the
 * register keeps 0xAA.
 *
 * @return 0 pass; -1 fail.
 */
BOARD_HAL_API int start_cpld_test(void);

/**
 * Runs start_cpld_test().
 *
 * @param result  in/out: bit 0 is set on failure, nothing is changed on pass;
 *                not checked for null.
 * @return 0.
 */
BOARD_HAL_API int cpld_self_test(uint8_t *result);

/** @} */

/* ======================================================================== */
/**
 * @defgroup identity Board identity
 * Which board this is.
 * @{
 */

/**
 * Product id.
 *
 * @param val  out: the CPLD's product id register.
 * @return 0; -1 null ("get_product_id val pointer is null").
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_product_id(uint8_t *val);

/**
 * Chassis id; this board has none and writes nothing. No lock.
 *
 * @return 0.
 */
BOARD_HAL_API int get_chassis_id(uint8_t *val);

/** @} */

/* ======================================================================== */
/**
 * @defgroup pcie PCIe slot map
 * Slot and kind of the device behind a PCI bus, device and function number.
 * @{
 */

/** One row of a PCIe slot table. */
typedef struct pcie_bdf_slot {
    uint32_t reserved[2]; /**< 0 */
    uint32_t slot_id;     /**< 1, 2: PCIe slot; 0: on-board function */
    uint32_t bus;         /**< bus number */
    uint32_t device;      /**< device number */
    uint32_t function;    /**< function number */
    uint32_t link;        /**< link attribute, 1 or 2; not read by the library */
    uint32_t type;        /**< 0 PCIe slot; 1, 2 on-board functions */
} pcie_bdf_slot;

/** PCIe slots of the Brava node (board type 1); applications may change rows. */
BOARD_HAL_API extern pcie_bdf_slot g_pcieBDF_forBrava[3];
/** Rows of g_pcieBDF_forBrava that lookups search. */
BOARD_HAL_API extern int32_t g_pcieBDFsize_forBrava;
/** PCIe slots of the Corvo node (board type 2); applications may change rows. */
BOARD_HAL_API extern pcie_bdf_slot g_pcieBDF_forCorvo[4];
/** Rows of g_pcieBDF_forCorvo that lookups search. */
BOARD_HAL_API extern int32_t g_pcieBDFsize_forCorvo;

/** @} */

/* ======================================================================== */
/**
 * @defgroup power Power, reset and buttons
 * Host power button, reset lines, NMI, CMOS, power, chipset and ACPI state. A
 * value written to a single bit is bit 0 of the argument, unless stated. Every
 * operation holds the CPLD register lock for its whole register work, also when
 * it refuses a selector.
 * @{
 */

/**
 * Presses or releases the host's power button.
 *
 * A press of an enabled button sets the button line and returns at once. A
 * press of a locked button enables it, sets the line, waits 30 ms and notes in
 * g_SHOULD_LOCK that the release must lock it again. A release clears the line,
 * waits 30 ms and, if so noted, locks the button.
 *
 * @param val  1 press, 0 release.
 * @return 0; -2 @p val 2 or above ("set_pwr_button val is a invalid
 *         parameter"), without lock.
 * Blocking: 30 ms, with the register lock held: every other CPLD operation of
 * the process waits for the press or release to finish.
 */
BOARD_HAL_API int set_pwr_button(uint8_t val);

/**
 * Level of the power button line, 1 = pressed.
 *
 * @return 0; -2 null ("get_pwr_button val is a invalid parameter").
 */
BOARD_HAL_API int get_pwr_button(uint8_t *val);

/**
 * Locks or unlocks the power button.
 *
 * @param lock  non-zero locks, 0 unlocks.
 * @return 0.
 */
BOARD_HAL_API int set_power_button_lock(uint8_t lock);

/**
 * Lock state of the power button.
 *
 * @param locked  out: 1 locked, 0 not; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_power_button_lock_state(uint8_t *locked);

/**
 * Latched power event.
 *
 * @param which  0, 1 or 2.
 * @param val    out: 0 or 1.
 * @return 0; -1 null ("get_power_event val pointer is null"); -2 other @p which.
 */
BOARD_HAL_API int get_power_event(uint32_t which, uint8_t *val);

/**
 * Writes a latched power event.
 *
 * @param which  0.
 * @return 0; -2 other @p which.
 */
BOARD_HAL_API int set_power_event(uint32_t which, uint8_t val);

/**
 * Latched button event.
 *
 * @param which  0 or 1.
 * @param val    out: 0 or 1.
 * @return 0; -1 null ("get_button_event:val pointer is null"); -2 other @p which.
 */
BOARD_HAL_API int get_button_event(uint32_t which, uint8_t *val);

/**
 * Writes a latched button event.
 *
 * @param which  0 or 1.
 * @return 0; -2 other @p which.
 */
BOARD_HAL_API int set_button_event(int32_t which, uint8_t val);

/**
 * Whether the host was powered when AC was lost.
 *
 * @return 0; -1 null ("get_power_before_ac_lost val pointer is null").
 */
BOARD_HAL_API int get_power_before_ac_lost(uint8_t *val);

/**
 * Writes the power state before AC loss.
 *
 * @param val  non-zero writes 1, 0 writes 0.
 * @return 0.
 */
BOARD_HAL_API int clear_power_before_ac_lost(uint8_t val);

/**
 * Chipset status bit.
 *
 * @param which  0.
 * @param val    out: 0 or 1.
 * @return 0; -1 null ("get_chipset_status val pointer is null"); -2 other
 *         @p which.
 */
BOARD_HAL_API int get_chipset_status(uint32_t which, uint8_t *val);

/**
 * Host power, 1 = on.
 *
 * @param which  0.
 * @param val    out: 0 or 1.
 * @return 0; -1 null ("get_power_status val pointer is null"); -2 other
 *         @p which.
 */
BOARD_HAL_API int get_power_status(uint32_t which, uint8_t *val);

/**
 * ACPI state of the host as its power tells it: 0 (on) or 4 (off).
 *
 * @return 0; -1 null ("get_acpi_status val pointer is null").
 */
BOARD_HAL_API int get_acpi_status(uint8_t *val);

/**
 * ACPI S4 state bit.
 *
 * @return 0; -1 null ("get_system_reset_flag:val pointer is null": the message
 *         of the reset flag is shared).
 */
BOARD_HAL_API int get_acpi_S4_status(uint8_t *val);

/**
 * System reset flag.
 *
 * @return 0; -1 null ("get_system_reset_flag:val pointer is null").
 */
BOARD_HAL_API int get_system_reset_flag(uint8_t *val);

/**
 * Writes the system reset flag.
 *
 * @param val  0 or 1.
 * @return 0; -1 @p val 2 or above ("set_system_reset_flag:val pointer is
 *         null", although it is the value that is wrong), without lock.
 */
BOARD_HAL_API int set_system_reset_flag(uint8_t val);

/**
 * Asks the CPLD to clear the host's CMOS.
 *
 * @return 0.
 */
BOARD_HAL_API int clear_cmos_reg(void);

/**
 * Raises or drops the NMI request to the host and reads it back; the read-back
 * takes no lock.
 *
 * @param val  1 raise, 0 drop.
 * @return 0 the line reads back as written; -1 it does not, or @p val is 2 or
 *         above ("val is a invalid parameter"), without lock.
 */
BOARD_HAL_API int set_NMI_interrupt(uint8_t val);

/**
 * Drives the reset line of a board component. A pulse is two calls.
 *
 * @param component  0, 1, 3, 4, 5, 8, 9, 10, 12, 13, 14 or 20.
 * @param val        1 asserts, 0 releases the line.
 * @return 0; -2 @p val 2 or above ("val is a invalid parameter"), without lock,
 *         or unknown @p component (no message).
 */
BOARD_HAL_API int set_component_reset(int32_t component, uint8_t val);

/**
 * State of the chassis handle switch; this board has none and reports 0. The
 * first two arguments are ignored. No lock.
 *
 * @param val  out: 0.
 * @return 0; positive 2 for a null @p val ("get_handle_switch_status is invalid
 *         argument\r").
 */
BOARD_HAL_API int get_handle_switch_status(uint32_t unused1, uint32_t unused2, uint8_t *val);

/**
 * On-board power status: always 1. No lock.
 *
 * @param val  out: 1; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_onboard_power_status(uint32_t unused, uint8_t *val);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int clear_ioh_thermaltrip(void);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_mch_status(uint32_t which, uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_fan_speed(uint32_t fan, uint32_t *speed);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_fan_speed(uint32_t fan, uint32_t speed);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_fan_current_speed(uint32_t fan, uint32_t *speed);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_desire_fan_speed(uint32_t fan, uint32_t *speed);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_fan_status(uint32_t fan, uint32_t kind, uint8_t *val);
/** Not fitted on this board. @return -2. */
BOARD_HAL_API int get_fan_power_statistic(uint32_t fan, uint32_t *val);

/** @} */

/* ======================================================================== */
/**
 * @defgroup faults CPU and memory faults
 * Polled presence and fault lines of the host's CPUs and memory.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup leds LEDs, BIOS flash control and disks
 * Panel and board LEDs, BIOS flash owner and write protect, disk status.
 * @{
 */

/**
 * Hands the host's BIOS flash over.
 *
 * @param owner  1 the controller (the host is cut off from it), 0 the host.
 * @return 0; -2 @p owner 2 or above ("Invalid bus val = %d\r\n").
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int set_bios_owner(uint8_t owner);

/** @} */

/* ======================================================================== */
/**
 * @defgroup serial Serial-port routing
 * The CPLD's serial switch, HDD backplane ports and SAS cable LEDs.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup gpio GPIO and heartbeat LED
 * The controller's own GPIO lines through sysfs.
 * @{
 */

/**
 * Exports GPIO 95 (heartbeat LED) and makes it an output. A line that cannot be
 * reached prints "can not open export file." or "can not open gpionum file.".
 *
 * @return 0, whatever failed.
 */
BOARD_HAL_API int gpio_init(void);

/** Counterpart of gpio_init(); does nothing. */
BOARD_HAL_API void gpio_clean(void);

/**
 * Writes a level to the heartbeat LED's line.
 *
 * @param level  "0" or "1"; null prints "gpionum file is null or str is null.".
 * @return 0, whatever failed.
 * Locks: heartbeat LED lock.
 */
BOARD_HAL_API int set_heart_beat_led(const char *level);

/**
 * Writes the next level of the heartbeat LED: "0" at the first call, then
 * alternating, also when a write failed. Meant for one periodic caller.
 *
 * @return the result of set_heart_beat_led(), 0.
 */
BOARD_HAL_API int blink_heart_beat_led(void);

/**
 * Size of a file in bytes.
 *
 * @return the size; -1 if @p path cannot be queried. No lock.
 */
BOARD_HAL_API long get_file_length(const char *path);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int gpio_port_config(uint32_t port);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int dump_gpio_regester(uint32_t port, uint8_t *obuf, int32_t len);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_pcmcia_input_port(uint32_t slot, uint32_t port, uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_neighbors_exist(uint32_t slot, uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int reset_kvm_module(uint8_t val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_base_type(uint32_t which, uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_pm_present(uint32_t which, uint8_t *val);

/** @} */

/* ======================================================================== */
/**
 * @defgroup bitstream FPGA bitstream
 * Configuring the FPGA over SPI.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup handles FPGA and RTC device handles
 * Opening the FPGA, I2C and RTC devices, and the FPGA's housekeeping requests.
 * The requests hold the FPGA request lock.
 * @{
 */

/**
 * Opens /dev/ipmc_fpga into dev_handle and /dev/i2c-0 into dev_handle_i2c.
 *
 * @return 0; -4 already open ("fpga_init: fpga device already opened"); -3 a
 *         device cannot be opened ("fpga_init: cann't open device"). If it is
 *         the second, the FPGA descriptor stays open for fpga_clean() to close.
 * Locks: takes the FPGA open lock without waiting and keeps it on success.
 */
BOARD_HAL_API int fpga_Init(void);

/**
 * Closes dev_handle and dev_handle_i2c and releases the FPGA open lock. Tests
 * nothing and resets nothing.
 *
 * @return the result of releasing the lock, 0 normally.
 */
BOARD_HAL_API int fpga_clean(void);

/**
 * Opens /dev/rtc into dev_handle_rtc. A further call opens it again and
 * overwrites the handle; there is no clean operation.
 *
 * @return 0; -4 another rtc_init() is running ("rtc_init: rtc device already
 *         opened"); -3 open failed ("rtc_init: cann't open device").
 * Locks: the RTC open lock, for the opening only.
 */
BOARD_HAL_API int rtc_init(void);

/**
 * Starts the FPGA.
 *
 * @return 0 the request succeeded with error number 0; -5 otherwise
 *         ("fpga_start :error number=%d\r\n").
 */
BOARD_HAL_API int fpga_start(void);

/**
 * FPGA version.
 *
 * @param val  out: low byte of the version, written when the request gives 0.
 * @return the driver's result, a positive one included; -2 null ("invalid
 *         argument\r").
 */
BOARD_HAL_API int get_fpga_version(uint8_t *val);

/** FPGA self-test result. Arguments and results as get_fpga_version(). */
BOARD_HAL_API int get_fpga_selftest(uint8_t *val);

/** FPGA DDR memory state. Arguments and results as get_fpga_version(). */
BOARD_HAL_API int get_fpga_ddr_state(uint8_t *val);

/**
 * Starts the FPGA's DDR memory test.
 *
 * @return the driver's result; any but 0 prints "error number=%d\r\n".
 */
BOARD_HAL_API int set_fpga_ddr_test_start(void);

/**
 * Sends the communication state to the FPGA.
 *
 * @return the driver's result, 0 for success; any other prints "set com state
 *         fails retv=0x%x.\r\n".
 */
BOARD_HAL_API int set_fpga_com_state(uint8_t state);

/** @} */

/* ======================================================================== */
/**
 * @defgroup fpga FPGA registers and watchdog
 * 32-bit FPGA registers and the driver's small requests.
 * @{
 */

/**
 * Writes an FPGA register.
 *
 * @param addr   register; up to 0xFFFF. A negative address passes, its low 16
 *               bits are sent.
 * @param value  the 32-bit value.
 * @return 0 for any non-zero result of the driver, -1 included; -5 for 0; -2
 *         @p addr above 0xFFFF or null @p value, without lock.
 * Locks: FPGA register lock.
 */
BOARD_HAL_API int set_fpga_regester(int32_t addr, const uint32_t *value);

/**
 * Reads an FPGA register.
 *
 * @param addr   as for set_fpga_regester().
 * @param value  out: the 32-bit value; overwritten also when the read failed.
 * @return 0; -5 the driver answered less than 1; -2 @p addr above 0xFFFF or
 *         null @p value, without lock.
 * Locks: FPGA register lock.
 */
BOARD_HAL_API int get_fpga_regester(int32_t addr, uint32_t *value);

/** Writes FPGA register 450 (board id). @return 0; -5 write failed. */
BOARD_HAL_API int set_fpga_reg_board_id(uint32_t value);
/** Writes FPGA register 449 (PSU presence). @return 0; -5 write failed. */
BOARD_HAL_API int set_fpga_reg_psu_presenece(uint32_t value);
/** Writes FPGA register 448 (power reading enable). @return 0; -5 write failed. */
BOARD_HAL_API int set_fpga_reg_read_power_enable(uint32_t value);
/** Writes FPGA register 468 (PSU active/standby). @return 0, also when the
 *  write failed. */
BOARD_HAL_API int set_fpga_reg_psu_active_standby(uint32_t value);
/** Writes FPGA register 316 (management engine address). @return 0; -5 write
 *  failed. */
BOARD_HAL_API int set_fpga_reg_me_addr(uint32_t value);
/** Writes FPGA register 318 (power monitor address). @return 0; -5 write
 *  failed. */
BOARD_HAL_API int set_fpga_reg_ina220_addr(uint32_t value);
/** Writes FPGA register 499 (shunt resistance). @return 0; -5 write failed. */
BOARD_HAL_API int set_fpga_reg_resistance_param(uint32_t value);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_fpga_reg_psu_addr(uint32_t value);

/**
 * The FPGA driver's jiffies counter. Takes no lock.
 *
 * @param out  out: the counter, written when the request gives 0.
 * @return the driver's result; -2 null ("get_jiffies:invalid argument\r").
 */
BOARD_HAL_API int get_jiffies(uint32_t *out);

/** Kicks the hardware watchdog. @return the driver's result. Locks: FPGA
 *  register lock. */
BOARD_HAL_API int clear_hardware_watchdog(void);
/** Stops the hardware watchdog. @return the driver's result. Locks: FPGA
 *  register lock. */
BOARD_HAL_API int stop_hardware_watchdog(void);
/** Resets the CPLD's JTAG chain. @return the driver's result. Locks: FPGA
 *  register lock. */
BOARD_HAL_API int reset_cpld_jtag(void);

/**
 * Error state of the SAS card, from read_raid_err_status().
 *
 * @param status  out: 1 error, 0 none.
 * @return 0; -2 null.
 */
BOARD_HAL_API int get_sas_card_status(uint8_t *status);

/** @} */

/* ======================================================================== */
/**
 * @defgroup i2c I2C master channels
 * Channels 0 and 1 in the FPGA, channel 2 on /dev/i2c-0.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup ipmb IPMB channels
 * Whole IPMB messages on channels 0, 1 and 2.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup host KCS, BT and reserved RAM
 * The host's IPMI system interfaces and 1024 bytes of RAM in the FPGA. Each
 * interface has one instance, number 0.
 *
 * A negative length passes the length checks; the driver is then called with a
 * count of 0 and no message byte is copied.
 * @{
 */

/**
 * Status byte of the BT interface; 4 = idle, a send may proceed.
 *
 * @param chan    0.
 * @param status  out: the status; holds the command code if the read failed.
 * @return 0; -5 read failed; -2 null @p status or @p chan not 0 ("invalid
 *         argument\r"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_bt_status(int32_t chan, uint8_t *status);

/** Status byte of the KCS interface. Arguments and results as get_bt_status(). */
BOARD_HAL_API int get_kcs_status(int32_t chan, uint8_t *status);

/**
 * Sets the status byte of the BT interface.
 *
 * @param chan   0.
 * @param value  the status.
 * @return 0; positive 5 if the driver answered less than 1; -2 @p chan not 0
 *         ("invalid argument\r"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int set_bt_status(int32_t chan, uint8_t value);

/** Sets the status byte of the KCS interface. Arguments and results as
 *  set_bt_status(). */
BOARD_HAL_API int set_kcs_status(int32_t chan, uint8_t value);

/**
 * Receives a message from the host over BT.
 *
 * @param buf  out: the message; byte 0 is overwritten in any case.
 * @param len  size of @p buf, at most 252.
 * @return the driver's count; a driver error above 9999 negated, a negative
 *         result as it is; -2 null @p buf ("obuffer is empty,please allocate
 *         memory!!") or @p len above 252 ("invalid argument\r"), without lock.
 * Locks: BT read lock.
 */
BOARD_HAL_API int bt_read(uint8_t *buf, int32_t len);

/** Receives a message from the host over KCS; as bt_read(), @p len at most 100.
 *  Locks: KCS read lock. */
BOARD_HAL_API int kcs_read(uint8_t *buf, int32_t len);

/**
 * Sends a message to the host over BT.
 *
 * @param buf  in/out: two bytes for the header, which this call fills in, then
 *             the message; at least 2 bytes. Untouched unless the interface is
 *             idle.
 * @param len  bytes in @p buf, header included, at most 254.
 * @return the driver's count; a driver error above 9999 negated, a negative
 *         result as it is; -9 interface not idle; -5 status unread ("bt_write
 *         get_bt_status error \r"); -2 null @p buf ("ibuffer is empty!!!") or
 *         @p len 255 or above ("invalid argument\r").
 * Locks: FPGA request lock for the status, then BT write lock for the send.
 */
BOARD_HAL_API int bt_write(uint8_t *buf, int32_t len);

/**
 * Sends a message to the host over KCS.
 *
 * @param msg  the bare message; the header is built here.
 * @param len  bytes in @p msg, at most 100.
 * @return the driver's count (@p len + 2 when all went); a driver error above
 *         9999 negated, a negative result as it is; -9 interface not idle; -5
 *         status unread ("kcs_write:get_kcs_status error \r") or no memory; -2
 *         null @p msg ("ibuffer is empty!!!") or @p len 101 or above ("invalid
 *         argument\r").
 * Locks: FPGA request lock for the status, then KCS write lock for the send.
 */
BOARD_HAL_API int kcs_write(const uint8_t *msg, int32_t len);

/**
 * Reads the reserved RAM.
 *
 * @param offset  first byte, 0 to 1023.
 * @param buf     out: at least 1 byte and @p len bytes; byte 0 is overwritten
 *                also when the read fails.
 * @param len     at most 1024, and @p offset + @p len at most 1024.
 * @return the driver's result as it is; -1 null @p buf ("the obuffer paramter
 *         is invalid!!!"); -2 @p len too large ("len is a invalid argument
 *         \r"), range too large ("offset is not a valid paramter!!") or seek
 *         failed.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int reserved_ram_read(int32_t offset, uint8_t *buf, int32_t len);

/**
 * Writes the reserved RAM.
 *
 * @param offset  first byte, 0 to 1023.
 * @param data    @p len bytes.
 * @param len     at most 1024, and @p offset + @p len at most 1024.
 * @return the driver's result as it is; -1 null @p data ("the ibuffer paramter
 *         is invalid!!!"); -2 as reserved_ram_read(); positive 5 no memory.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int reserved_ram_write(int32_t offset, const uint8_t *data, int32_t len);

/** @} */

/* ======================================================================== */
/**
 * @defgroup sol SOL and black box
 * Streams that the host fills and the controller fetches word by word.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup peci PECI, RTC time and ADC
 * CPU temperatures, the clock and the battery voltage.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup slot Slot and card identification
 * Slot number, board insertion, RAID card ids and port 80.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup sensors PMBus, EEPROM and sensors
 * EEPROM pass-through, inlet temperature and the PMBus entry points.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup inventory Device types, maxima and presence
 * How many devices of each type the board holds, and which are there.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup health Device health, DIMM map and product names
 * Health and availability, DIMM and memory-controller addresses, board facts.
 * @{
 */

/**
 * Error lines of the RAID card. Reads the CPLD without the register lock.
 *
 * @return 0 no error; 1 error.
 */
BOARD_HAL_API int read_raid_err_status(void);

/** @} */

/* ======================================================================== */
/**
 * @defgroup bootenv Boot-loader environment
 * The environment block on flash and its checksum.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup bootvars Boot-loader variables
 * One getter and setter per variable.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup uart UART
 * The controller's serial port.
 * @{
 */

/** @} */

/* ======================================================================== */
/**
 * @defgroup flash MTD flash copy
 * Copying controller images to flash partitions.
 * @{
 */

/**
 * Copies a whole file to an MTD partition, from the partition's start: erases
 * as many blocks as the file touches, writes, reads back and compares. Each
 * phase shows a progress line on standard output and publishes its share of the
 * progress with set_upgrade_status(): erase 0 to 20, write 20 to 70, verify 70
 * to 100, with state 1. The percentages wrap at 32 bits for a file above 42 MB.
 *
 * An empty file erases and writes nothing and succeeds.
 *
 * On failure:
 * - before the first erase line (no memory, device or image not opened, no MTD
 *   device, file larger than the partition) the flash is untouched and nothing
 *   was published;
 * - an erase that fails leaves the blocks before it erased, and the status at
 *   the percentage reached with state 3;
 * - a later failure leaves the partition erased, partly written or wholly
 *   written with other contents than the file's, and the status at the value
 *   published last, with state 1: the result alone tells it from a running copy.
 *
 * Nothing is restored. Files and buffers are always released.
 *
 * @param device  character device of the partition, opened for synchronous
 *                writing; not checked for null.
 * @param image   the file; not checked for null.
 * @return 0 copied and verified; -1 otherwise, after one of "Malloc src mem
 *         fail!", "Malloc dest mem fail!", "While trying to open %s for
 *         read/write access\n" (device), "While trying to open %s\n" (image),
 *         "This doesn't seem to be a valid MTD flash device!" (also for one
 *         without erase blocks), "While trying to get the file status of %s\n",
 *         "%s won't fit into %s!\n", "While erasing blocks 0x%.8x-0x%.8x on
 *         %s\n", "Short read count returned while reading from %s\n", "While
 *         reading data from %s\n", "Short write count returned while writing to
 *         x%.8x-0x%.8x on %s: %d/%lu bytes written to flash\n", "While writing
 *         data to 0x%.8x-0x%.8x on %s\n", "While seeking to start of %s\n",
 *         "File does not seem to match flash data. First mismatch at
 *         0x%.8x-0x%.8x\n".
 * Locks: flash copy lock, for the whole copy. A failed copy releases it before
 * it publishes state 3 and closes its files.
 * Blocking: the whole copy, as long as the flash takes; 10 µs of sleep before
 * each erase block and each 10240-byte chunk. Memory: two buffers of 10240
 * bytes.
 */
BOARD_HAL_API int mtd_flash_copy(const char *device, const char *image);

/**
 * Copies a stretch of a file to an MTD partition, from the partition's start.
 * Progress, locks, blocking and what a failure leaves as mtd_flash_copy().
 *
 * @param device  as for mtd_flash_copy().
 * @param image   as for mtd_flash_copy().
 * @param offset  first byte of the stretch in the file; it does not move the
 *                place on the flash.
 * @param length  bytes, at least 1; the percentages wrap above 42 MB.
 * @return 0 copied and verified; -1 null pointer or @p length 0, without
 *         message, lock or status; -1 as mtd_flash_copy(), or the stretch ends
 *         behind the file ("%s offset illeagal!\n"), with the flash untouched;
 *         -1 without message if the file cannot be positioned for the verify.
 */
BOARD_HAL_API int mtd_flash_copy_ex(const char *device, const char *image, uint32_t offset,
                                    uint32_t length);

/** @} */

/* ======================================================================== */
/**
 * @defgroup biosflash BIOS flash access
 * Raw access to the host's BIOS flash.
 * @{
 */

/**
 * Erases the BIOS flash: takes it from the host, loads its driver, erases
 * /dev/mtd6, gives the flash back and unloads the driver. Prints "insmod
 * driver" and a progress line that counts one erase request per byte of the
 * partition: the first ones erase it, one block each, the rest are empty.
 *
 * On failure:
 * - owner refused: nothing was changed;
 * - device not opened: driver unloaded, flash untouched and left with the
 *   controller;
 * - no MTD device, or a failed erase: driver left loaded, flash left with the
 *   controller, in the second case partly erased;
 * - flash not given back: erased, driver unloaded, owner as set_bios_owner()
 *   left it.
 *
 * @param bios_id  0 or below.
 * @return 0; -2 @p bios_id above 0 ("Invalid bios id = %d\r\n"), owner refused
 *         or not given back, no MTD device ("This doesn't seem to be a valid MTD
 *         flash device!"), erase failed ("While erasing blocks 0x%.8x-0x%.8x on
 *         %d\n" with the descriptor); -5 the device cannot be opened.
 * Locks: BIOS flash lock, then the CPLD register lock for the owner.
 * Blocking: the driver's load, the erase of the whole part and as many further
 * requests and progress texts as the partition has bytes: minutes.
 */
BOARD_HAL_API int bios_bulk_erase(int32_t bios_id);

/**
 * Reads the BIOS flash through /dev/mtd6 as it is found: works only while the
 * driver is loaded, and changes neither owner nor driver.
 *
 * @param offset  first byte on the flash.
 * @param buffer  out: @p length bytes; undefined after a failed read.
 * @param length  1 to 1024. A negative length passes the check, reads nothing
 *                and gives -5.
 * @return @p length; -1 null @p buffer ("bios_read obuffer pointer is null");
 *         -2 @p length 0 or above 1024 ("len error len = %d\r\n"); -5 device not
 *         opened, not positioned or not read in full.
 * Locks: BIOS flash lock.
 */
BOARD_HAL_API int bios_read(int32_t offset, uint8_t *buffer, int32_t length);

/**
 * Writes the BIOS flash, without erasing it: takes it from the host, loads its
 * driver, writes through "dev/mtd6", gives the flash back and unloads the
 * driver. That path is relative: the caller's working directory must lead to
 * the device, as "/" does.
 *
 * On failure the driver is unloaded and the device closed. The flash stays with
 * the controller, partly written at worst; give it back with
 * set_bios_owner(). Only a refused owner leaves everything as it was.
 *
 * @param offset  first byte on the flash; 2 GiB or more cannot be positioned.
 * @param buffer  @p length bytes.
 * @param length  1 to 1024. A negative length passes the check, writes nothing
 *                and gives -2 with the flash left as after a failed write.
 * @return @p length; -1 null @p buffer ("bios_write ibuffer pointer is null");
 *         -2 @p length 0 or above 1024 ("len error len = %d\r\n"), owner refused
 *         or not given back, device not opened, not positioned or not written
 *         in full (no message).
 * Locks: BIOS flash lock, then the CPLD register lock for the owner.
 * Blocking: the load and unload of the driver.
 */
BOARD_HAL_API int bios_write(uint32_t offset, const uint8_t *buffer, int32_t length);

/** @} */

/* ======================================================================== */
/**
 * @defgroup biosimage BIOS images
 * Saving, loading and verifying whole BIOS images.
 * @{
 */

/** GUID of the firmware volume that holds the OEM data, in UEFI byte order. */
BOARD_HAL_API extern uint8_t g_OemFvGuid[16];
/** Name GUID of the OEM data file in that volume, in UEFI byte order. */
BOARD_HAL_API extern uint8_t g_OemDataGuid[16];

/**
 * Copies a stretch of a file to the BIOS flash: erases, writes, reads back and
 * compares. The caller must own the flash and have its driver loaded; neither
 * is changed.
 *
 * Progress is published with set_upgrade_status() and state 1. One copy covers
 * 100 / divisor points from base: erase 0 to 40 of 100, write to 80, verify to
 * 100, where divisor = weight * stages and base = ((number - 1) * 100) /
 * divisor + 100 / stages (the last term only if the stage byte names a number
 * of stages). All are bytes and wrap at 256, so that the published percentage
 * may pass 100 and fall back.
 *
 * On failure as mtd_flash_copy(): the flash is untouched up to the first erase
 * line, and erased, partly written or different after it. A failed erase leaves
 * the percentage reached with state 3, other failures the value published last
 * with state 1.
 *
 * @param device        character device of the flash.
 * @param flash_offset  first byte on the flash, a multiple of its erase size.
 * @param image         the file.
 * @param image_offset  first byte in the file.
 * @param length        bytes; 0 succeeds without opening a file. The
 *                      percentages wrap above 21 MB.
 * @param stage         high nibble: stages of the whole update, 0 as 1; low
 *                      nibble: number of this copy in the BIOS step, from 1.
 * @param weight        copies that make up the BIOS step, at least 1.
 * @return 0 copied and verified; -2 @p weight times stages is 0 in its low byte
 *         (no message, nothing done); -2 with the messages of mtd_flash_copy(),
 *         or "%s too small!\n" (stretch behind the end of the file), "spi offset
 *         %ld won't fit erase %d the device %s\r\n"; -2 without message if the
 *         flash cannot be positioned, or the file for the verify.
 * Locks: BIOS flash lock, for the whole copy; released as in mtd_flash_copy().
 * Blocking and memory: as mtd_flash_copy().
 */
BOARD_HAL_API int spi_flash_copy(const char *device, uint32_t flash_offset, const char *image,
                                 uint32_t image_offset, int32_t length, uint8_t stage,
                                 uint8_t weight);

/**
 * Saves the start of the BIOS flash to a file: takes the flash from the host,
 * loads its driver, reads, gives the flash back and unloads the driver. Shows a
 * percentage on standard output; the upgrade status is not touched.
 *
 * On failure:
 * - bad argument or no memory: nothing was changed;
 * - file not created: owner and driver untouched;
 * - owner refused: the file was created and is empty, driver not loaded;
 * - read or file write failed: driver unloaded, flash left with the controller
 *   (give it back with set_bios_owner()), the file empty or incomplete;
 * - flash not given back: the file is complete, driver unloaded.
 *
 * @param path  the file, created or overwritten.
 * @param size  bytes, at most 0x800000. The flash is read in whole kilobytes;
 *              of the last one only what @p size asks for is kept.
 * @return 0; -2 null @p path ("get_bios:filename is a invalid argument\r"),
 *         @p size too large ("get_bios:filesize is a invalid argument\r"), owner
 *         refused (no message) or not given back ("set bios owner fails.\r");
 *         -6 "get_bios:no memory\r"; -7 file not created ("get_bios:open file %s
 *         fail\r\n"), flash not read ("get_bios:read fail") or file not written
 *         ("get_bios:get fail").
 * Locks: BIOS image lock for the whole call, the BIOS flash lock per read, the
 * CPLD register lock for the owner.
 * Blocking: 1 s, then one open, read and close per kilobyte with 1 µs of sleep:
 * minutes for a whole flash. Memory: @p size bytes.
 */
BOARD_HAL_API int get_bios(const char *path, uint32_t size);

/**
 * Updates the BIOS flash from an image file: takes the flash from the host,
 * loads its driver, copies and verifies, gives the flash back and unloads the
 * driver.
 *
 * What is copied depends on the upgrade flags in the OEM data of the flash (0
 * if it has none) and of the image. If they differ in any of 32 bits, it is the
 * upper half: @p image_size / 2 bytes from byte @p image_size / 2 of the file
 * (@p image_offset is not added) to the same place on the flash. If they are
 * equal, it is the regions that the image lists, up to 11; the rest of the
 * flash stays as it is, and an empty list succeeds.
 *
 * On failure the upgrade status is (0, 3), the driver unloaded and the flash
 * offered to the host again, whatever it now holds: partly erased or written
 * after a failed copy, with the regions before it already replaced. A refused
 * owner changes nothing but the status. On success the status is left as the
 * last copy set it.
 *
 * @param device        character device of the flash, "/dev/mtd6".
 * @param image         the file.
 * @param image_offset  first byte of the image in the file.
 * @param image_size    bytes; at least 4096 and large enough to hold the OEM
 *                      volume.
 * @param stages        stages of the whole update; the low four bits count.
 * @return 0; -2 null pointer (no message, lock or status), owner refused or not
 *         given back, no OEM data in the image ("read file %s size error
 *         %d\r\n", "%s %d pnvDataheader is overrunning array of 4096 bytes!\n",
 *         "%s %d poemData is overrunning array of 4096 bytes!\n" or no
 *         message), a twelfth region, a region longer than @p image_size or
 *         beyond 0x800000, a region count whose low byte is 0 (but for 0), or a
 *         copy failed, after its own message. "open error" alone is no failure:
 *         the flash was taken to have no flag.
 * Locks: BIOS image lock for the whole call, the BIOS flash lock per copy, the
 * CPLD register lock for the owner. On failure the image lock is released
 * before the status is set and the driver unloaded.
 * Blocking: driver load, and each copy as spi_flash_copy(): minutes.
 */
BOARD_HAL_API int load_bios(const char *device, const char *image, uint32_t image_offset,
                            uint32_t image_size, uint32_t stages);

/**
 * Writes the start of a file to the start of the BIOS flash, whatever either
 * holds: takes the flash from the host, loads its driver, copies and verifies,
 * gives the flash back and unloads the driver. What a failure leaves, locks and
 * blocking as load_bios().
 *
 * @param device  character device of the flash, "/dev/mtd6".
 * @param image   the file.
 * @param unused  ignored.
 * @param length  bytes; 0 succeeds and copies nothing.
 * @param stages  stages of the whole update; the low four bits count.
 * @return 0; -2 null pointer (no message, lock or status), owner refused or not
 *         given back, or the copy failed, after its own message.
 */
BOARD_HAL_API int load_bios_bin(const char *device, const char *image, uint32_t unused,
                                int32_t length, uint32_t stages);

/**
 * Whether an image needs a full upgrade: whether the top bytes of the upgrade
 * flags of flash (0 if it has none) and image differ. Takes the flash from the
 * host and loads its driver for the time of the read. load_bios() compares all
 * 32 bits, and takes its full path for pairs that this operation calls equal.
 *
 * Do not run it beside another image operation: if the image has no OEM data,
 * the flash is offered to the host, the image lock released and the driver
 * unloaded a second time, after the first release.
 *
 * On failure the flash is with the host and the driver unloaded, but for a
 * refused owner (nothing changed but the status) and a flash that was not given
 * back (driver unloaded, status unchanged). Flash contents never change.
 *
 * @param device        character device of the flash, "/dev/mtd6".
 * @param image         the file.
 * @param image_offset  first byte of the image in the file.
 * @param image_size    bytes; at least 4096.
 * @return 0 full upgrade; -2 the top bytes are equal, null pointer (no message,
 *         lock or status), owner refused (status (0, 3)) or not given back, no
 *         OEM data in the image (status (0, 3); messages of load_bios(), then
 *         "read upgrade flag fail from file\r"). "open error" and "read upgrade
 *         flag fail from flash\r" are no failures.
 * Locks: BIOS image lock while the flash is read, the CPLD register lock for
 * the owner.
 * Blocking: load and unload of the driver and a read of the flash up to its OEM
 * data.
 */
BOARD_HAL_API int isFullUpgrade(const char *device, const char *image, uint32_t image_offset,
                                uint32_t image_size);

/** @} */

/* ======================================================================== */
/**
 * @defgroup cpldprog CPLD programming
 * Running byte-code programs on the board's CPLDs.
 * @{
 */

/**
 * Programs a CPLD with a byte-code file, through one request to the CPLD driver
 * on /dev/ipmc_cpld. Takes no lock: do not run two CPLD programs at once.
 *
 * A failure before the request leaves the CPLD untouched; after a failed
 * request it is as the driver left it. There is no retry.
 *
 * @param path          the file; must be writable.
 * @param component_id  the low byte names the CPLD and is not checked; 6 has a
 *                      trailer of its own.
 * @param offset        file position of the program. As many bytes as the file
 *                      has are read from there, so that only 0 works.
 * @param unused        ignored.
 * @return the driver's result, 0 for success; -1 null @p path ("file name wrong
 *         !!!"), device not opened ("cpld_init: open fail\r"), no memory
 *         ("allocate space for cpld file fails.\r"), file empty or absent ("Get
 *         file length(%ld) is invalid\r\n"), not opened ("open file %s
 *         fail\r\n"), not positioned ("seek file %s fail\r\n"), not read ("read
 *         file %s fail\r\n") or larger than 524285 bytes, for component 6
 *         524283 ("get_pcb_ver or get_board_id  is fail\r", whatever the name).
 * Blocking: until the driver has run the program. Memory: 524296 bytes.
 */
BOARD_HAL_API int load_cpld(const char *path, uint32_t component_id, int32_t offset,
                            uint32_t unused);

/**
 * Runs a program that is built into the library on a CPLD. Lock, blocking,
 * memory and what a failure leaves as load_cpld().
 *
 * @param cmd_type      1 or 2.
 * @param component_id  for type 2 the low byte: 5 or 6; ignored for type 1.
 * @return the driver's result, 0 for success; -1 other @p cmd_type ("wrong cmd
 *         type!!!") or @p component_id ("wrong cpld component id!!!"), device
 *         not opened ("cpld_init: open fail\r"), no memory ("allocate space for
 *         fpga file fails.\r", although it is the CPLD's).
 */
BOARD_HAL_API int cpld_cmd(int32_t cmd_type, uint32_t component_id);

/**
 * Progress steps that a CPLD update is reported in.
 *
 * @param component_id  ignored.
 * @param count         out: 60.
 * @return 0; -2 null @p count ("get_cpld_upgrade_count:count pointer is null").
 */
BOARD_HAL_API int get_cpld_upgrade_count(uint32_t component_id, uint32_t *count);

/** @} */

/* ======================================================================== */
/**
 * @defgroup upgrade Upgrade state, versions and management LAN
 * Progress of updates, versions, clock and LAN link.
 * @{
 */

/**
 * Publishes the progress of an update. No lock. The copies and loaders of this
 * library publish while they run; an application may publish what it likes.
 *
 * @param progress  percent.
 * @param state     1 in progress, 3 failed; other values are the caller's.
 */
BOARD_HAL_API void set_upgrade_status(uint32_t progress, uint32_t state);

/**
 * The status published last, (0, 0) before the first. (100, 1) is a finished
 * copy, state 3 a failed one. No lock, never blocks: each word is read whole,
 * but the two may come from two calls of set_upgrade_status().
 *
 * @param progress  out; not checked for null.
 * @param state     out; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_upgrade_status(uint32_t *progress, uint32_t *state);

/** Stores two words for get_upgrade_mode(); the library does not use them. */
BOARD_HAL_API void set_upgrade_mode(uint32_t mode, uint32_t value);

/**
 * The words of the last set_upgrade_mode(), (0, 0) before the first.
 *
 * @param mode   out; not checked for null.
 * @param value  out; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_upgrade_mode(uint32_t *mode, uint32_t *value);

/**
 * Version of the library's interface.
 *
 * @param major  out: 1; not checked for null.
 * @param minor  out: 0; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_drv_lib_version(uint8_t *major, uint8_t *minor);

/**
 * Build stamp of the library's interface, "Dec 19 2016" and "17:58:08". A text
 * that does not fit with its NUL is not written.
 *
 * @param date       out.
 * @param date_size  bytes at @p date; 12 are needed.
 * @param time       out.
 * @param time_size  bytes at @p time; 9 are needed.
 * @return 0.
 */
BOARD_HAL_API int get_drv_build_time(char *date, uint32_t date_size, char *time,
                                     uint32_t time_size);

/**
 * Number of boards.
 *
 * @param count  out: 8; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_max_board_num(uint32_t *count);

/**
 * Sets the system clock to a second; microseconds and time zone stay as they
 * are.
 *
 * @param seconds  since the epoch.
 * @return 0; -1 with errno if the clock cannot be set.
 */
BOARD_HAL_API int set_cur_time_stamp(uint32_t seconds);

/**
 * Version of a programmable logic unit.
 *
 * @param unit     0.
 * @param type     0 CPLD, get_cpld_version(); 1 FPGA, get_fpga_version().
 * @param version  out: the version, 255 on failure; not checked for null.
 * @return 0; -1 other @p unit or @p type, or the version was not read.
 * Locks: CPLD register lock or FPGA request lock.
 */
BOARD_HAL_API int get_unit_logic_version(uint32_t unit, uint32_t type, uint8_t *version);

/**
 * Link of the management network port, eth0.
 *
 * @param port  0.
 * @param link  out: 1 up, 0 down; not checked for null.
 * @return 0, for either; -1 other @p port ("invalid port number"), no socket
 *         ("Cannot get control socket", with the error's text on standard
 *         error), query not supported ("No data available\n") or failed
 *         ("Cannot get link status", on standard error).
 */
BOARD_HAL_API int get_mgnt_lan_status(uint32_t port, uint8_t *link);

/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_lcd_upgrade_state(void);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int check_spi_bios_guid(void);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
