/*
 * board_hal: hardware abstraction of a server's baseboard management
 * controller. The one public header; plain C, usable from C++.
 *
 * SPDX-License-Identifier: Apache-2.0
 */
#ifndef BOARD_HAL_H
#define BOARD_HAL_H

#include <stdint.h>
#include <time.h>

#if defined(__GNUC__)
#define BOARD_HAL_API __attribute__((visibility("default")))
#else
#define BOARD_HAL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @page contract The contract that holds everywhere
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
 * the reverse. Beyond that, these and no others are taken while another is held:
 *
 * | held              | taken             | by                                 |
 * |-------------------|-------------------|------------------------------------|
 * | `bios_image_lock` | `bios_flash_lock` | get_bios(), load_bios(), …         |
 * | `bios_image_lock` | `cpld_reg_lock`   | the same, for the flash's owner    |
 * | `bios_flash_lock` | `cpld_reg_lock`   | bios_write(), bios_bulk_erase()    |
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
 * itself and the earlier ones: cpld_clean() and fpga_clean() then also close
 * handles that were not opened, which are 0 before the first open and later a
 * number that may be another file's.
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
 * verdict line, "\r\nStart CPLD
 * test...............................................%s\r\n" with c_str_Pass or
 * c_str_Fail. The lock is taken once per write and once per read; the register
 * keeps 0xAA.
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
 * Board id.
 *
 * @param which  0 the board's id register; 2 the constant 0xFE, without a
 *               register access; 3 the id of board 3 plus 0x40.
 * @param val    out: the id.
 * @return 0; -1 null ("get_board_id val pointer is null"); -2 other @p which.
 * Locks: CPLD register lock, also for a refused @p which.
 */
BOARD_HAL_API int get_board_id(uint32_t which, uint8_t *val);

/**
 * BOM version (BOM id).
 *
 * @param val  out: the BOM register.
 * @return 0; -1 null ("get_bom_ver:val pointer is null").
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_bom_ver(uint8_t *val);

/**
 * PCB version as a character: the version number plus 0x40, kept to 8 bits, so
 * 1 is 'A' and 0 is '@'.
 *
 * @param which  0 the board; 2, 3 boards 2 and 3.
 * @param val    out: the character.
 * @return 0; -1 null ("get_pcb_ver:val pointer is null"); -2 other @p which.
 * Locks: CPLD register lock, also for a refused @p which.
 */
BOARD_HAL_API int get_pcb_ver(uint32_t which, uint8_t *val);

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

/**
 * Stores the extended BOM id in g_exbomid. 1000 makes get_pcie_slotid_by_BDF()
 * leave the riser out. No lock.
 */
BOARD_HAL_API void set_extendbomid(uint32_t id);

/** The extended BOM id, g_exbomid. No lock. */
BOARD_HAL_API uint32_t get__extendbomid(void);

/**
 * Board type, from the BOM id: 1 Brava node (BOM 0 to 3), 2 Corvo node (BOM 8
 * to 11). It selects the PCIe slot table.
 *
 * @return 1 or 2; 1 for any other BOM id, after the line
 *         "get_current_board_type:bom id not support!\r".
 * Locks: CPLD register lock.
 */
BOARD_HAL_API uint32_t get_current_board_type(void);

/**
 * CPU type; fixed on this board. No lock.
 *
 * @param type  out: 2; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_CPU_type(uint32_t *type);

/**
 * Slot of the nth present CPU.
 *
 * CPU numbers 1 to 3 share one presence bit and are all asked, so with both
 * sockets fitted the indices 1, 2 and 3 give the slots 2, 3 and 4.
 *
 * @param index  0 gives slot 1 without asking; n gives the (n+1)th present CPU,
 *               counted from CPU 0.
 * @param slot   out: CPU number + 1.
 * @return 0; -1 fewer CPUs are present; -2 null @p slot, no message, or a CPU's
 *         status unread.
 * Locks: CPLD register lock, once per CPU; presence may change in between.
 */
BOARD_HAL_API int get_slotid_by_cpuid(uint8_t index, uint8_t *slot);

/**
 * Mezzanine slot of a PCI device; no device of this board has one. Writes
 * nothing, takes no lock.
 *
 * @return -2.
 */
BOARD_HAL_API int get_MEZZ_slot_by_BDF(uint32_t bus, uint32_t device, uint32_t function,
                                       uint32_t *slot);

/**
 * Presence of a board.
 *
 * @param which  0 and 1 are always present; 6 board 6.
 * @param val    out: 1 present, 0 not.
 * @return 0; -1 null ("get_board_present:val pointer is null"); -2 other
 *         @p which.
 * Locks: CPLD register lock, also for a refused @p which.
 */
BOARD_HAL_API int get_board_present(int32_t which, uint8_t *val);

/**
 * Presence register of the AMC modules. Reads the CPLD without the register
 * lock.
 *
 * @param which  0.
 * @param val    out: the whole register.
 * @return 0; -1 null ("get_board_present:val pointer is null": the message of
 *         that getter is shared); -2 other @p which.
 */
BOARD_HAL_API int get_amc_module_present(uint32_t which, uint8_t *val);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_chassis_pcb_ver(uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_pcie_slot_present(uint32_t slot, uint32_t which, uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_hdd_cpld_version(uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_hp_riser_cpld_version(uint8_t *val);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_card_type(uint32_t card, uint8_t *type);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_card_port(uint32_t card);
/** Number of network ports; none on this board. @return 0. */
BOARD_HAL_API int get_mac_num(void);

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
/** Rows of g_pcieBDF_forBrava that lookups search, at most 3. */
BOARD_HAL_API extern int32_t g_pcieBDFsize_forBrava;
/** PCIe slots of the Corvo node (board type 2); applications may change rows. */
BOARD_HAL_API extern pcie_bdf_slot g_pcieBDF_forCorvo[4];
/** Rows of g_pcieBDF_forCorvo that lookups search, at most 4. */
BOARD_HAL_API extern int32_t g_pcieBDFsize_forCorvo;

/**
 * Kind of the device at a PCI address, from the table of the board's type (see
 * get_current_board_type(); its line for an unknown BOM id may be printed). The
 * first row that matches wins.
 *
 * @param bus       PCI bus number.
 * @param device    PCI device number.
 * @param function  PCI function number.
 * @param type      out: the row's type.
 * @return 0; -1 null ("get_pcie_type_by_BDF pointer is null"); -2 no row
 *         matches.
 * Locks: CPLD register lock, for the board type.
 */
BOARD_HAL_API int get_pcie_type_by_BDF(uint32_t bus, uint32_t device, uint32_t function,
                                       uint32_t *type);

/**
 * Slot of the device at a PCI address.
 *
 * @p riser and @p node_slot are written only for the riser's slot (slot 1 of a
 * Brava node, slot 2 of a Corvo node) and only while the extended BOM id is not
 * 1000; otherwise they keep what the caller put there.
 *
 * @param bus        PCI bus number.
 * @param device     PCI device number.
 * @param function   PCI function number.
 * @param slot_id    out: the row's slot id.
 * @param riser      out: 1 for the riser's slot.
 * @param node_slot  out: the node's slot in the chassis, from get_slot_id(); 0
 *                   if that failed ("%s,get slot id fail!\r\n" with
 *                   "get_pcie_slotid_by_BDF").
 * @return 0, also when the node's slot was not read; -1 any pointer null
 *         ("get_pcie_slotid_by_BDF pointer is null"); -2 no row matches,
 *         nothing written.
 * Locks: CPLD register lock for the board type, then, for a PCIe slot, FPGA
 * request lock.
 */
BOARD_HAL_API int get_pcie_slotid_by_BDF(uint32_t bus, uint32_t device, uint32_t function,
                                         uint32_t *slot_id, uint8_t *riser, uint32_t *node_slot);

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
 * @param val    bit 0: 1 sets, 0 clears the event.
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
 * @param val    bit 0: 1 sets, 0 clears the event.
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
 * State of the chassis handle switch; this board has none and reports 0. No
 * lock.
 *
 * @param unused1  ignored.
 * @param unused2  ignored.
 * @param val      out: 0.
 * @return 0; positive 2 for a null @p val ("get_handle_switch_status is invalid
 *         argument\r").
 */
BOARD_HAL_API int get_handle_switch_status(uint32_t unused1, uint32_t unused2, uint8_t *val);

/**
 * On-board power status: always 1. No lock.
 *
 * @param unused  ignored.
 * @param val     out: 1; not checked for null.
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

/** When a fault was first seen. */
typedef struct fdm_fault_record {
    uint32_t flag; /**< 1 fault seen, 0 not */
    int32_t time;  /**< seconds since the epoch when it was seen; 0 if not */
} fdm_fault_record;

/**
 * Polls one status of a CPU.
 *
 * CPU 0 has registers of its own; the numbers 1 to 3 share those of CPU 1. A
 * status that needs the CPU is 0 while it is absent.
 *
 * | type | status                                                              |
 * |------|---------------------------------------------------------------------|
 * | 0    | status indication                                                   |
 * | 1    | present                                                             |
 * | 2    | thermal trip                                                        |
 * | 3    | hot: either indication in four polls in a row; 0 for CPUs 2 and 3   |
 * | 4    | internal error, the same line for every CPU (see below)             |
 * | 5    | error; one assertion is reported for eight polls                    |
 * | 6    | indication of an absent CPU; 0 while it is present                  |
 * | 8    | IIO error, the same line for every CPU                              |
 * | 9, 10 | error indications, the same lines for every CPU                    |
 * | 11   | machine-check error, the same line for every CPU (see below)        |
 * | 12   | internal error while any CPU is present                             |
 * | 14, 15 | polls the first, second hot indication of CPU 0                   |
 * | 16, 17 | polls the first, second hot indication of CPU 1                   |
 *
 * Every fourth poll of type 4 that sees the internal error clears it in the
 * CPLD; its rising edge stamps the two internal-error records. Type 11 sets
 * g_cpu_mce_flag whatever the line says; the rising edge of the machine-check
 * error stamps its record. Type 12 does nothing of this.
 *
 * Types 14 to 17 each advance one history but report the one that the CPU
 * number names: 0 and 1 are those of CPU 0, 2 and 3 those of CPU 1. Types 3 and
 * 14 to 17 share these histories, so polling both advances them twice.
 *
 * @param cpu   0 to 3. A negative number passes: it reads as CPU 1 and uses the
 *              history of its low two bits.
 * @param type  as above.
 * @param val   out: 0 or 1.
 * @return 0; -1 null ("get_cpu_status val pointer is null"); -2 @p cpu 4 or
 *         above ("Invalid cpu_id = %d\r\n") or other @p type.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_cpu_status(int32_t cpu, uint32_t type, uint8_t *val);

/**
 * Clears the thermal trip of a CPU.
 *
 * @param cpu  0; any other number below 4 clears that of CPU 1.
 * @return 0; -2 @p cpu 4 or above ("Invalid cpu_id = %d\r\n"), without lock.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int clear_cpu_thermaltrip(int32_t cpu);

/**
 * Generation of a CPU.
 *
 * @param cpu  0; any other number reads that of CPU 1.
 * @param val  out: 0 to 7.
 * @return 0; -2 null ("get_cpu_generation:val pointer is null").
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_cpu_generation(int32_t cpu, uint8_t *val);

/**
 * IIO error indication.
 *
 * @param val  out: 0 or 1; not checked for null.
 * @return 0.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_iio_reg(uint8_t *val);

/**
 * Clears the machine-check error and g_cpu_mce_flag.
 *
 * @return the result of releasing the lock, 0 normally.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int clear_mcerr_reg(void);

/**
 * Drives a hot-control output.
 *
 * @param output  0 to 4.
 * @param val     0 or 1.
 * @return 0; -2 @p val 2 or above ("set_hot_ctrl val is a invalid parameter"),
 *         without lock; -1 other @p output.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int set_hot_ctrl(int32_t output, uint8_t val);

/**
 * Memory event indication.
 *
 * @param group  0 or 1.
 * @param item   0 to 7 in group 0, 0 to 3 in group 1, where the even and the
 *               odd items share a line each.
 * @param val    out: 0 or 1.
 * @return 0; -2 null ("get_memory_event val is a invalid parameter") or other
 *         @p group or @p item.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_memory_event(uint32_t group, uint32_t item, uint8_t *val);

/**
 * Copies the internal-error record. The records take no lock; one polling
 * thread is assumed.
 *
 * @return 0; -1 null, no message.
 */
BOARD_HAL_API int get_fdm_ierr_info(fdm_fault_record *record);
/** Copies the internal-error parse record. Results as get_fdm_ierr_info(). */
BOARD_HAL_API int get_fdm_ierr_parase(fdm_fault_record *record);
/** Copies the machine-check record. Results as get_fdm_ierr_info(). */
BOARD_HAL_API int get_fdm_mce_info(fdm_fault_record *record);

/**
 * Stamps or clears the internal-error record. No lock.
 *
 * @param seen  1 sets the flag and the current time; any other value clears
 *              both.
 */
BOARD_HAL_API void set_fdm_ierr_info(uint8_t seen);
/** Stamps or clears the internal-error parse record, as set_fdm_ierr_info(). */
BOARD_HAL_API void set_fdm_ierr_parase(uint8_t seen);
/** Stamps or clears the machine-check record, as set_fdm_ierr_info(). */
BOARD_HAL_API void set_fdm_mce_info(uint8_t seen);

/** Overwrites the internal-error record, to restore it after a restart; not
 *  checked for null. No lock. */
BOARD_HAL_API void resore_fdm_ierr_info(const fdm_fault_record *record);
/** Overwrites the internal-error parse record, as resore_fdm_ierr_info(). */
BOARD_HAL_API void resore_fdm_ierr_parase(const fdm_fault_record *record);

/** Does nothing on this board. */
BOARD_HAL_API void set_caterr_flag(uint8_t cpu, uint8_t flag);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_caterr_flag(uint8_t cpu);

/** @} */

/* ======================================================================== */
/**
 * @defgroup leds LEDs, BIOS flash control and disks
 * Panel and board LEDs, BIOS flash owner and write protect, disk status.
 * @{
 */

/**
 * Sets a LED.
 *
 * @param fru    FRU, 0 or below.
 * @param led    0, 4 (the same LED), 2, 5 or 192.
 * @param color  0 to 6; only LED 2 looks at it, and only when it is set off: 2
 *               or any other.
 * @param on     1 on, 0 off.
 * @return 0; -2, checked in this order, @p fru 1 or above ("fru is a invalid
 *         parameter"), @p on 2 or above ("bon is a invalid parameter"),
 *         @p color 7 or above ("color is a invalid parameter"), without lock,
 *         or another @p led (no message).
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int set_led_status(int32_t fru, int32_t led, uint8_t color, uint8_t on);

/**
 * Colour and state of a LED.
 *
 * The state of LEDs 0, 4 and 5 is their register bit, which is 0 for lit; that
 * of LED 192 and LED 2 is 1 for lit.
 *
 * @param fru    FRU, 0 or below.
 * @param led    0, 2, 4, 5 or 192.
 * @param color  out: 1 for LEDs 0 and 4; 0 for 5 and 192; 2 or 3 for LED 2. Not
 *               checked for null.
 * @param state  out: 0 or 1. Not checked for null.
 * @return 0; -2 @p fru 1 or above, without lock, or another @p led; no message.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_led_status(int32_t fru, int32_t led, uint8_t *color, uint8_t *state);

/** Does nothing on this board. */
BOARD_HAL_API void set_led_dft_mode(uint32_t mode);

/**
 * Write-protects the host's BIOS flash.
 *
 * @param bios     0.
 * @param protect  non-zero protects, 0 does not.
 * @return 0; -2 other @p bios ("Invalid bios id = %d\r\n"), without lock.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int set_bios_wp(uint8_t bios, uint8_t protect);

/**
 * Write protect of the host's BIOS flash.
 *
 * @param bios  0.
 * @param val   out: 1 protected, 0 not; not checked for null.
 * @return 0; -2 other @p bios ("Invalid bios id = %d\r\n"), without lock.
 * Locks: BIOS state lock, not the CPLD register lock.
 */
BOARD_HAL_API int get_bios_wp(uint8_t bios, uint8_t *val);

/** Sets BIOS switch and write protect together. Writes the CPLD without a
 *  lock. */
BOARD_HAL_API void set_bios_sw_n_wp(void);
/** Clears BIOS switch and write protect together. Writes the CPLD without a
 *  lock. */
BOARD_HAL_API void clear_bios_sw_n_wp(void);

/**
 * Hands the host's BIOS flash over.
 *
 * @param owner  1 to the management controller, 0 back to the host.
 * @return 0; -2 @p owner 2 or above ("Invalid bus val = %d\r\n"), without lock.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int set_bios_owner(uint8_t owner);

/**
 * Who drives the host's BIOS flash.
 *
 * @param owner  out: 1 the management controller, 0 the host.
 * @return 0; -2 null ("get_bios_owner:val is a Invalid argument\r").
 * Locks: BIOS state lock, not the CPLD register lock.
 */
BOARD_HAL_API int get_bios_owner(uint8_t *owner);

/**
 * Polls one item of a disk's status. The board reports four lines per disk,
 * called P, F, R and V here.
 *
 * | item | status                                                                |
 * |------|-----------------------------------------------------------------------|
 * | 0    | P                                                                     |
 * | 1    | F                                                                     |
 * | 2    | V, debounced; only while P = 1 and R = 0                              |
 * | 3    | R                                                                     |
 * | 6    | V, debounced; only while P = 0 and R = 0                              |
 * | 7    | P, R and V all 1: 1 after ten such polls in a row, 0 after ten others |
 *
 * A debounced value is believed when ten polls in a row saw it; each item of
 * each disk counts for itself.
 *
 * @param disk  0 to 3.
 * @param item  as above.
 * @param val   out: 0 or 1.
 * @return 0; -14 not stable yet; -3 the item does not apply now; -1 null
 *         ("get_disk_status val pointer is null"), without lock; -2 other
 *         @p disk or @p item.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_disk_status(uint32_t disk, uint32_t item, uint8_t *val);

/** @} */

/* ======================================================================== */
/**
 * @defgroup serial Serial-port routing
 * The CPLD's serial switch, HDD backplane ports and SAS cable LEDs.
 * @{
 */

/**
 * Endpoint that the host's serial port is connected to.
 *
 * @param dest  out: endpoint, 0 to 5; 255 if the routing code is unknown.
 * @return 0; -1 null ("get_host_serial_connection:dest pointer is null").
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_host_serial_connection(uint32_t *dest);

/** Endpoint of the panel connector. As get_host_serial_connection(); -1 null
 *  ("get_panel_serial_connection:dest pointer is null"). */
BOARD_HAL_API int get_panel_serial_connection(uint32_t *dest);

/** Endpoint of the serial-over-LAN path. As get_host_serial_connection(); -1
 *  null ("get_sol_serial_connection:dest pointer is null"). */
BOARD_HAL_API int get_sol_serial_connection(uint32_t *dest);

/**
 * Connects the host's serial port. The switch knows whole arrangements only:
 * the other two sides move with it.
 *
 * @param dest  endpoint 0, 3 or 4.
 * @return 0; -1 other @p dest ("set_host_serial_connection:dest invalid").
 * Locks: CPLD register lock, also for a refused @p dest.
 */
BOARD_HAL_API int set_host_serial_connection(int32_t dest);

/** Connects the panel connector. As set_host_serial_connection(); -1 other
 *  @p dest ("set_panel_serial_connection:dest invalid"). */
BOARD_HAL_API int set_panel_serial_connection(int32_t dest);

/** Connects the serial-over-LAN path. As set_host_serial_connection(); -1 other
 *  @p dest ("set_sol_serial_connection:dest invalid"). */
BOARD_HAL_API int set_sol_serial_connection(int32_t dest);

/**
 * Routing of the auxiliary serial port.
 *
 * @param dest  out: 0, 1 or 2; 255 if the routing is unknown.
 * @return 0; -1 null ("get_third_party_serial_connection:dest pointer is
 *         null").
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_third_party_serial_connection(uint32_t *dest);

/**
 * Routes the auxiliary serial port.
 *
 * @param dest  1 or 2.
 * @return 0; -1 other @p dest ("set_third_party_serial_connection:dest
 *         invalid"), without lock.
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int set_third_party_serial_connection(uint32_t dest);

/**
 * Writes half of the routing register.
 *
 * @param which  1 the low four bits (routing code), 0 the high four (auxiliary
 *               port).
 * @param val    the byte that the half is taken from, at its own place.
 * @return 0; -1 other @p which.
 * Locks: CPLD register lock, also for a refused @p which.
 */
BOARD_HAL_API int set_serial_dir(uint8_t which, uint8_t val);

/**
 * Adds half of the routing register to a byte. Reads the CPLD without the
 * register lock.
 *
 * @param which  as for set_serial_dir().
 * @param val    in/out: the half is ORed into it, at its own place, nothing is
 *               cleared; not checked for null.
 * @return 0; -1 other @p which.
 */
BOARD_HAL_API int get_serial_dir(uint8_t which, uint8_t *val);

/**
 * What is connected to a port of the HDD backplane.
 *
 * @param port  0 to 2.
 * @param dest  out: 0 to 15; 0 for another @p port.
 * @return 0; positive 255 other @p port; -1 null
 *         ("get_HDD_backplane_port_connection:dest pointer is null").
 * Locks: CPLD register lock.
 */
BOARD_HAL_API int get_HDD_backplane_port_connection(uint8_t port, uint8_t *dest);

/**
 * Sets the LED of a SAS cable.
 *
 * @param cable  0 to 2.
 * @param val    bit 0 is written.
 * @return 0; positive 255 other @p cable.
 * Locks: CPLD register lock, also for a refused @p cable.
 */
BOARD_HAL_API int set_SAS_cable_led_status(uint8_t cable, uint8_t val);

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
 * @param level  "0" or "1"; null prints "gpionum file is null or str is null.",
 *               a line that cannot be reached "can not open gpionum file.".
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

/**
 * Configures the FPGA from a bitstream file: exports GPIO 48 (output) and 96
 * (input), runs "insmod /ko/load_fpga.ko", opens /dev/spi (mode 0, 8 bits, 50
 * MHz), copies the file to /tmp/bmc_card.bit, sends it in transfers of 2000
 * bytes and reads GPIO 96, which tells that the FPGA is configured
 * ("load fpga successfully."). After a transfer attempt the copy is removed and
 * "rmmod load_fpga" run. GPIO lines that cannot be reached
 * ("can not open export file.", "can not open gpionum file.") and a failed copy
 * are not errors by themselves.
 *
 * The SPI descriptor is never closed: every call that gets this far leaves one
 * more open. The helper module stays loaded when the SPI device cannot be set
 * up or when "rmmod" fails; until it is unloaded, every further call gives -2.
 *
 * @param path  the bitstream file.
 * @return 0; -2 @p path is null ("invalid argument\r"), the helper module did
 *         not load ("gpio class init failed.") or the SPI device cannot be set up
 *         ("open spi device fails.", "can't set spi mode.",
 *         "can't set bits per word." or "can't set max speed hz.", then
 *         "sspi para set failed."); -13 the copy is empty or missing
 *         ("Input para real_len(%ld) is invalid.\n" with its size or -1), no
 *         memory ("malloc memory fails."), the copy cannot be opened
 *         ("open fpga file fails."), a transfer failed
 *         ("can't send spi message", without a newline), or GPIO 96 does not
 *         read '1' or cannot be opened ("can not open gpionum file.").
 * Locks: FPGA load lock, for the copy and the transfer.
 * Blocking: the programs and the transfers, several seconds.
 */
BOARD_HAL_API int load_fpga(const char *path);

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

/**
 * Reads from an I2C slave, without retry.
 *
 * On channel 2 the first two bytes of @p buf are sent to the slave first, as
 * the offset to read from, and the answer lands behind them.
 *
 * @param chan      0, 1 or 2. A negative number passes: its low byte goes to
 *                  the FPGA, whose driver judges it.
 * @param addr      slave address, 8-bit form.
 * @param buf       in/out: @p len bytes, on channel 2 @p len + 2. On the FPGA
 *                  channels it is overwritten also when the read failed.
 * @param len       at most 64 on channels 0 and 1; channel 2 has no limit.
 * @param delay_ms  milliseconds that the slave needs; on channel 2 slept after
 *                  the transfer.
 * @return channels 0, 1: the FPGA driver's result as it is; channel 2: @p len,
 *         or the adapter's result if it is not positive. -1 null @p buf ("the
 *         obuffer paramter is invalid!!!"); -2 @p chan above 2 ("i2c_read: chan
 *         is not a valid paramter!!") or @p len too large ("len is a invalid
 *         argument \r"). Refusals take no lock.
 * Locks: I2C lock. Blocking: channel 2, @p delay_ms with the lock held.
 */
BOARD_HAL_API int i2c_read(int32_t chan, uint8_t addr, uint8_t *buf, int32_t len, int32_t delay_ms);

/**
 * Writes to an I2C slave, then reads from it; up to 5 attempts until a result
 * is not negative.
 *
 * @param chan      0, 1 or 2.
 * @param addr      slave address, 8-bit form.
 * @param tx        bytes to write.
 * @param tx_len    at most 64 on channels 0 and 1.
 * @param rx        out: the bytes read; on the FPGA channels overwritten also
 *                  when the transfer failed.
 * @param rx_len    at most 64 on channels 0 and 1.
 * @param delay_ms  milliseconds between write and read and between attempts.
 * @return channels 0, 1: the FPGA driver's result, above 9999 negated; channel
 *         2: @p rx_len, or the result of the read if it is not positive; the
 *         result of the write does not count. -1 null @p tx or @p rx ("the
 *         obuffer paramter is invalid!!!"); -2 other @p chan ("i2c_write_read:
 *         chan is not a valid paramter!!"), @p tx_len ("tx_len is a invalid
 *         argument \r") or @p rx_len too large ("rx_len is a invalid argument
 *         \r"). Refusals take no lock.
 * Locks: I2C lock, for all attempts. Blocking: up to 4 times @p delay_ms on
 * channels 0 and 1, 9 times on channel 2, with the lock held.
 */
BOARD_HAL_API int i2c_write_read(int32_t chan, uint8_t addr, const uint8_t *tx, int32_t tx_len,
                                 uint8_t *rx, int32_t rx_len, int32_t delay_ms);

/**
 * Writes to an I2C slave; up to 5 attempts until a result is not negative.
 *
 * @param chan      0, 1 or 2.
 * @param addr      slave address, 8-bit form.
 * @param buf       bytes to write.
 * @param len       at most 64 on channels 0 and 1.
 * @param delay_ms  milliseconds between attempts; on channel 2 also after each
 *                  transfer.
 * @return channels 0, 1: the FPGA driver's result, above 9999 negated; channel
 *         2: @p len - 2, the count behind a 2-byte offset (a single byte thus
 *         counts -1 and is written five times), or the adapter's result if it
 *         is not positive. -5 no memory; -2 null @p buf ("ibuffer is empty!!!"),
 *         other @p chan ("i2c_write: chan is not a valid paramter!!") or @p len
 *         too large ("len is a invalid argument \r"). Refusals take no lock.
 * Locks: I2C lock, for all attempts. Blocking: up to 4 times @p delay_ms on
 * channels 0 and 1, 9 times on channel 2, with the lock held.
 */
BOARD_HAL_API int i2c_write(int32_t chan, uint8_t addr, const uint8_t *buf, int32_t len,
                            int32_t delay_ms);

/**
 * Resets an I2C channel of the FPGA.
 *
 * @param chan  up to 2; the FPGA driver judges it.
 * @return 0; -5 the driver's result was negative; -2 @p chan above 2
 *         ("i2c_reset: chan is not a valid paramter!!"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int i2c_reset(int32_t chan);

/**
 * Error state of an I2C controller.
 *
 * @param chan    up to 2; the FPGA driver judges it.
 * @param status  out: 10010, 10011 or 0 (none).
 * @return 0; -5 any driver result but 0; -2 null @p status ("invalid
 *         argument\r") or @p chan above 2 ("i2c_query_status: chan is not a
 *         valid paramter!!"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_i2c_status(int32_t chan, uint32_t *status);

/**
 * State of an I2C bus.
 *
 * @param chan    up to 2; the FPGA driver judges it.
 * @param status  out: 0 to 4.
 * @return 0; -5 the driver answered less than 1 (the opposite sense of
 *         get_i2c_status()); -2 as get_i2c_status().
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_i2c_bus_status(int32_t chan, uint32_t *status);

/**
 * Number of I2C channels. No lock.
 *
 * @param count  out: 3.
 * @return 0; -1 null ("get_max_i2c_num: val pointer is null").
 */
BOARD_HAL_API int get_max_i2c_num(uint8_t *count);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_i2c_baud(int32_t chan, uint32_t baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_i2c_baud(int32_t chan, uint32_t *baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int i2c_test(int32_t chan);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_i2c_addr_config(int32_t chan, uint8_t *config);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_i2c_addr_config(int32_t chan, uint8_t config);

/** @} */

/* ======================================================================== */
/**
 * @defgroup ipmb IPMB channels
 * Whole IPMB messages on channels 0, 1 and 2. Channel 2 (sm) has operations of
 * its own; the local (l) ones stand for those of channels 0 and 1.
 * @{
 */

/**
 * Receives one message from channel 0 or 1. Takes no lock, so that one reader
 * may run beside a writer.
 *
 * @param buf       out: the message, cut to @p buf_size.
 * @param buf_size  bytes in @p buf; 0 or below copies nothing.
 * @param chan_out  out: channel that the message came in on; written with a
 *                  message only, not checked for null.
 * @param wait      passed to the driver; its low 16 bits count.
 * @return the message's length, at most 254, also when @p buf is shorter; a
 *         driver error above 9999 negated; any other result of 0 or below as it
 *         is ("ipmb_read return %d %d %s\n" with it, errno and its text); -1
 *         null @p buf ("the obuffer paramter is invalid!!!").
 */
BOARD_HAL_API int ipmb_read(uint8_t *buf, int32_t buf_size, uint8_t *chan_out, int32_t wait);

/**
 * Receives one message from channel 2. Arguments and results as ipmb_read(),
 * but no message on a result of 0 or below, and positive 5 for no memory.
 *
 * Locks: IPMB sm lock. Blocking: 10 ms before the lock is taken, and for a
 * channel 2 call of another thread.
 */
BOARD_HAL_API int ipmb_sm_read(uint8_t *buf, int32_t buf_size, uint8_t *chan_out, int32_t wait);

/**
 * Sends one message on channel 0 or 1.
 *
 * @param chan  0 or 1.
 * @param msg   @p len bytes.
 * @param len   at most 254; a negative length passes and sends an empty message.
 * @param wait  passed to the driver; its low 16 bits count.
 * @return the driver's count; a driver error above 9999 negated, a negative
 *         result as it is; -2 null @p msg ("ibuffer is empty!!!"), other
 *         @p chan ("ipmb_write: chan is not a valid paramter!!") or @p len 255
 *         or above ("len is a invalid argument: %d\r\n"), without lock.
 * Locks: IPMB lock.
 */
BOARD_HAL_API int ipmb_write(int32_t chan, const uint8_t *msg, int32_t len, int32_t wait);

/**
 * Sends one message on channel 2.
 *
 * @param chan  2.
 * @param msg   the message.
 * @param len   bytes of @p msg, as for ipmb_write().
 * @param wait  passed to the driver; its low 16 bits count.
 * @return as ipmb_write(), with "ipmb_sm_write: chan is not a valid
 *         paramter!!"; positive 5 no memory.
 * Locks: IPMB sm lock.
 */
BOARD_HAL_API int ipmb_sm_write(int32_t chan, const uint8_t *msg, int32_t len, int32_t wait);

/**
 * Resets channel 0 or 1.
 *
 * @param chan  0 or 1; a negative channel passes, its low byte is sent.
 * @return 0; -5 the driver answered below 0; -2 @p chan 2 or above
 *         ("ipmb_reset: chan is not a valid paramter!!"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int ipmb_reset(int32_t chan);

/** Resets channel 2 (@p chan 2). Results and message as ipmb_reset(), any other
 *  channel gives -2. */
BOARD_HAL_API int ipmb_sm_reset(int32_t chan);

/**
 * Status of channel 0 or 1.
 *
 * @param chan    0 or 1.
 * @param status  out: 0, or -10001 to -10005 for the first of bits 7, 6, 5, 4
 *                and 2 of the FPGA's status byte that is set; 0 also with -5.
 * @return 0; -5 the driver answered other than 0; -2 null @p status ("invalid
 *         argument\r") or other @p chan ("ipmb_query_status: chan is not a
 *         valid paramter!!"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_ipmb_status(int32_t chan, int32_t *status);

/** Status of channel 2 (@p chan 2). Arguments and results as get_ipmb_status(). */
BOARD_HAL_API int get_ipmb_sm_status(int32_t chan, int32_t *status);

/**
 * The controller's own slave address on channels 0 and 1.
 *
 * @param addr  out: the address in 8-bit form.
 * @return 0; -5 the driver answered below 0; -2 null ("invalid argument\r"),
 *         without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_ipmb_addr_config(uint8_t *addr);

/** Own slave address on channel 2. Results as get_ipmb_addr_config(). */
BOARD_HAL_API int get_ipmb_sm_addr_config(uint8_t *addr);

/**
 * Sets the controller's own slave address on channels 0 and 1.
 *
 * @param addr   the address in 8-bit form, even.
 * @param spare  ignored.
 * @return 0; -5 the driver answered other than 0; -2 odd @p addr ("address is a
 *         invalid argument\r"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int set_ipmb_addr_config(uint8_t addr, uint8_t spare);

/** Sets the own slave address on channel 2. Arguments and results as
 *  set_ipmb_addr_config(). */
BOARD_HAL_API int set_ipmb_sm_addr_config(uint8_t addr, uint8_t spare);

/**
 * Whether channel 0 or 1 is enabled.
 *
 * @param chan     0 or 1.
 * @param enabled  out: 0, or 1 << @p chan (2 for channel 1); overwritten also
 *                 when the read failed.
 * @return 0; -5 the driver answered other than 0; -2 other @p chan or null
 *         @p enabled, without message or lock.
 * Locks: IPMB lock.
 */
BOARD_HAL_API int get_ipmb_enable(int32_t chan, uint8_t *enabled);

/**
 * Enables or disables a channel.
 *
 * @param chan    0, 1 or 2.
 * @param enable  0 disables, any other value enables.
 * @return 0; -5 the driver answered other than 0; -2 other @p chan ("chan %d
 *         num out of range\r\n"), without lock.
 * Locks: IPMB lock.
 */
BOARD_HAL_API int set_ipmb_enable(int32_t chan, uint8_t enable);

/** Calls ipmb_reset(). */
BOARD_HAL_API int ipmb_l_reset(int32_t chan);
/** Calls get_ipmb_status(). */
BOARD_HAL_API int get_ipmb_l_status(int32_t chan, int32_t *status);
/** Calls get_ipmb_addr_config(). */
BOARD_HAL_API int get_ipmb_l_addr_config(uint8_t *addr);
/** Calls set_ipmb_addr_config() with the low byte of each argument. */
BOARD_HAL_API int set_ipmb_l_addr_config(uint32_t addr, uint32_t spare);
/** Calls set_ipmb_enable() with the low byte of @p enable. */
BOARD_HAL_API int set_ipmb_l_enable(int32_t chan, uint32_t enable);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int ipmb_l_read(uint8_t *buf, int32_t buf_size, uint8_t *chan_out, int32_t wait);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int ipmb_l_write(int32_t chan, const uint8_t *msg, int32_t len, int32_t wait);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_ipmb_baud(int32_t chan, uint32_t baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_ipmb_l_baud(int32_t chan, uint32_t baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_ipmb_sm_baud(int32_t chan, uint32_t baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_ipmb_baud(int32_t chan, uint32_t *baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_ipmb_l_baud(int32_t chan, uint32_t *baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_ipmb_sm_baud(int32_t chan, uint32_t *baud);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_ipmb_l_enable(int32_t chan, uint8_t *enabled);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_ipmb_sm_enable(int32_t chan, uint8_t *enabled);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_ipmb_sm_enable(int32_t chan, uint8_t enable);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int ipmb_test(int32_t chan);

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
 * Streams that the host fills and the controller fetches word by word. Each
 * register access takes the FPGA register lock; no lock spans a sequence, so a
 * caller must not run two fetches of one stream at once.
 * @{
 */

/**
 * Length of the serial data that waits in the FPGA. Releases a fetch that was
 * under way.
 *
 * @param len  out: bytes; null gives -5. Overwritten also when the register
 *             read failed.
 * @return 0; -9 no data (@p len is 0); -5 register access failed.
 */
BOARD_HAL_API int get_sol_data_length(uint32_t *len);

/**
 * Starts a fetch: releases an old one, reads length and offset, and enables the
 * transfer. Then get_sol_data() for each word and set_sol_data_done().
 *
 * @param len     out: bytes; null gives -5.
 * @param offset  out: where the data begins in the FPGA's buffer; null gives -5.
 * @return 0; -9 no data (@p len is 0, no message); -5 a step failed: "Set lpc
 *         clear failed.", "Get lpc data length failed.", "Get lpc data offset
 *         failed.", "Set lpc data offset failed.", "Set lpc data enable
 *         failed.", or not ready after 10 us ("\nret=%d ready=%d Get lpc data
 *         not ready.\n" with the result of the read and the ready register).
 *         Steps that were done are not undone.
 * Blocking: 10 us.
 */
BOARD_HAL_API int get_sol_data_prepare(uint32_t *len, uint32_t *offset);

/** Fetches the next word of serial data. @return 0; -5 read failed or null. */
BOARD_HAL_API int get_sol_data(uint32_t *word);

/** Ends a fetch of serial data. @return 0; -5 write failed. */
BOARD_HAL_API int set_sol_data_done(void);

/**
 * Starts a fetch from the black box. Then get_blackbox_data() for each word and
 * set_blackbox_data_done(). Nothing is retried or waited for.
 *
 * @param first,second  fetch parameters, passed to the FPGA.
 * @return 0; -5 a register write failed (no message) or the data is not ready
 *         ("Get from FPGA not ready!").
 */
BOARD_HAL_API int get_blackbox_data_prepare(uint32_t first, uint32_t second);

/** Fetches the next word of the black box. @return 0; -5 read failed or null. */
BOARD_HAL_API int get_blackbox_data(uint32_t *word);

/** Ends a fetch from the black box. @return 0; -5 write failed. */
BOARD_HAL_API int set_blackbox_data_done(void);

/**
 * Whether the black box holds data: a flag, despite the name.
 *
 * @param present  out: 1 or 0; not checked for null.
 * @return 0; -5 read failed.
 */
BOARD_HAL_API int get_blackbox_data_lenth(uint32_t *present);

/**
 * Switches the black box on or off. A read-modify-write without a lock over it.
 *
 * @param enable  1 on, any other value off.
 * @return 0; -5 register access failed.
 */
BOARD_HAL_API int set_blackbox_status(uint32_t enable);

/**
 * Whether the black box is on.
 *
 * @param enabled  out: 1 if either of its two enable bits is set, else 0; not
 *                 checked for null.
 * @return 0; -5 read failed.
 */
BOARD_HAL_API int get_blackbox_status(uint32_t *enabled);

/** @} */

/* ======================================================================== */
/**
 * @defgroup peci PECI, RTC time and ADC
 * CPU temperatures, the clock and the battery voltage.
 * @{
 */

/**
 * Sets up the PECI bridge: writes its four set-up registers and reads each one
 * back. Not atomic; the I2C lock is taken per transfer.
 *
 * @return 0; -5 a transfer failed; -13 a register reads back wrong. Stops at
 *         the first failure.
 * Blocking: the transfers and their delays, 200, 100, 100 and 100 ms for the
 * writes and 20 ms for each read-back.
 */
BOARD_HAL_API int peci_init(void);

/**
 * Reads a register of the PECI bridge.
 *
 * @param reg    0 to 19.
 * @param value  out: low byte of the answer.
 * @return 1; -5 the transfer failed or the bridge reports an error (0x8000 to
 *         0x81FF); -2 null @p value ("obuffer is empty,please allocate
 *         memory!!") or @p reg 20 or above ("6618 command out of range\r").
 * Locks: the I2C lock. Blocking: the transfer and its delay of 20 ms.
 */
BOARD_HAL_API int peci_read(uint8_t reg, uint8_t *value);

/**
 * Reads the real-time clock, which holds local time. Takes no lock.
 *
 * @param t  in: any time, a starting value for the driver's record; out:
 *           seconds since the epoch. Not checked for null.
 * @return 0; -5 the starting value has no date ("call localtime return null!")
 *         or the read failed ("get rtc time error").
 */
BOARD_HAL_API int get_rtc_time(time_t *t);

/**
 * Sets the real-time clock to the local time of @p t. Takes no lock.
 *
 * @param t  seconds since the epoch.
 * @return the driver's result, 0; -2 it refused, or @p t has no date ("set rtc
 *         time error").
 */
BOARD_HAL_API int set_rtc_time(time_t t);

/**
 * Sets the system clock from the real-time clock; the microseconds and the time
 * zone are kept. Takes no lock.
 *
 * @return 0, also when the system clock cannot be set; -5 the real-time clock
 *         cannot be read (the message of get_rtc_time(), then "get rtc time
 *         error").
 */
BOARD_HAL_API int synch_rtc_to_sys(void);

/**
 * Opens /dev/spear_adc with the number @p n behind it into dev_handle_adc and
 * configures it. There is no clean operation.
 *
 * @param n  number of the device.
 * @return 0, also when it was open before ("adc already init\r") or when a
 *         configuration request failed ("adc_config:ioctl" or
 *         "adc_channel_config:ioctl" on standard error, "\nerror number=%d\r\n"
 *         with errno); -4 another adc_init() is running ("adc_init: adc device
 *         already opened"); -3 open failed ("adc_init:open " on standard error,
 *         "\nadc_init: cann't open device(%s), dev_handle_adc=%d,\n").
 * Locks: ADC lock, without waiting for the opening.
 */
BOARD_HAL_API int adc_init(uint8_t n);

/**
 * Samples the battery. Takes no lock.
 *
 * @param raw  out: the converter's code, not scaled.
 * @return the driver's result, 0 or above; -5 it was negative; -1 null.
 */
BOARD_HAL_API int get_battery_voltage(uint32_t *raw);

/** @} */

/* ======================================================================== */
/**
 * @defgroup slot Slot and card identification
 * Slot number, board insertion, RAID card ids and port 80.
 * @{
 */

/**
 * Slot of the node in the chassis.
 *
 * @param slot  out: 0 to 15.
 * @return 0; -5 the driver's result was negative; -2 null ("get slot id
 *         argument invalid").
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_slot_id(uint8_t *slot);

/**
 * Parity of the slot byte.
 *
 * @return 0 good (odd); -1 bad; -5 the driver's result was negative.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_slot_id_checksum(void);

/**
 * Whether the board is seated in the chassis.
 *
 * @param inserted  out: 1 seated, 0 not; 0 or 1 without meaning after -5.
 * @return 0; -5 the driver's result was negative; -2 null ("get boad insert
 *         argument invalid").
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_board_insert(uint8_t *inserted);

/**
 * Id of the base board.
 *
 * @return 0; -5 the driver answered less than 1; -2 null, no message.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_base_board_id(uint8_t *id);
/** PCB version of the node. Results and lock as get_base_board_id(). */
BOARD_HAL_API int get_blade_pcb_ver(uint8_t *ver);
/** Offset in the buffer of the host's POST codes (port 80). Results and lock as
 *  get_base_board_id(). */
BOARD_HAL_API int get_port80_offset(uint8_t *offset);

/**
 * The host's POST codes (port 80).
 *
 * @param len  size of @p buf, at most 512; a negative one asks for 0 bytes.
 * @param buf  out: at least 1 byte; byte 0 is overwritten in any case.
 * @return the count read; -5 the driver answered less than 1; -2 null @p buf
 *         ("value is not a valid pointer,please allocate memory!!") or @p len
 *         above 512 ("len is a invalid argument \r"), without lock.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int get_port80_data(int32_t len, uint8_t *buf);

/**
 * Tells the FPGA the type of the HDD card.
 *
 * @return 0; -5 any driver result but 0.
 * Locks: FPGA request lock.
 */
BOARD_HAL_API int set_hdd_card_type(uint8_t type);

/** LED test of the HDD card. Results and lock as set_hdd_card_type(). */
BOARD_HAL_API int hdd_led_test(uint8_t value);

/**
 * Board id of the RAID card, read from the I/O expander on the card (channel 2,
 * address 0x40) and mirrored in the CPLD. A non-zero id is remembered; later
 * calls only write the mirror again.
 *
 * @param id  out: 0 to 15; 0 after -5.
 * @return 0; -2 null, no message; -5 with a message that names
 *         get_raid_pcb_ver: configuration not written
 *         ("get_raid_pcb_ver:write 9555 configuration port error\r"), expander
 *         unread ("get_raid_pcb_ver:read 9555 configuration port error\r"), or
 *         its configuration reads back wrong
 *         ("get_raid_pcb_ver:configurate port error,0x%02x,0x%02x\r\n" with
 *         both bytes).
 * Locks: I2C lock, per transfer. The mirror is written without the CPLD
 * register lock. Blocking: 30 ms; more when transfers are repeated.
 */
BOARD_HAL_API int get_raid_board_id(uint8_t *id);

/**
 * PCB version of the RAID card, as get_raid_board_id(). A remembered version is
 * returned without touching the CPLD.
 *
 * @param ver  out: 0 to 7; 0 after -5.
 * @return as get_raid_board_id(), with the same messages.
 */
BOARD_HAL_API int get_raid_pcb_ver(uint8_t *ver);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_nic_card_board_id(uint8_t *id);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_nic_card_pcb_ver(uint8_t *ver);

/** @} */

/* ======================================================================== */
/**
 * @defgroup sensors PMBus, EEPROM and sensors
 * EEPROM pass-through, inlet temperature and the PMBus entry points.
 * @{
 */

/** Where an inlet temperature sensor is. */
typedef struct inlet_temp_sensor {
    uint32_t chan; /**< I2C channel */
    uint32_t addr; /**< slave address, 8-bit form */
} inlet_temp_sensor;

/** Inlet temperature sensors, sensor 1 first: channel 2, address 0x90. */
BOARD_HAL_API extern inlet_temp_sensor inlet_temp_addr[1];

/** Reads from an EEPROM: i2c_write_read(), with its arguments, results, locks
 *  and delays. */
BOARD_HAL_API int read_eeprom_data(int32_t chan, uint8_t addr, const uint8_t *tx, int32_t tx_len,
                                   uint8_t *rx, int32_t rx_len, int32_t delay_ms);

/** Writes to an EEPROM: i2c_write(), with its arguments, results, locks and
 *  delays. */
BOARD_HAL_API int write_eeprom_data(int32_t chan, uint8_t addr, const uint8_t *buf, int32_t len,
                                    int32_t delay_ms);

/**
 * Temperature at the air inlet.
 *
 * @param sensor  1.
 * @param temp    out: degrees, 0 to 255.
 * @return 0; -1 the transfer moved nothing; -2 null @p temp or other @p sensor.
 * Locks: the I2C lock. Blocking: the transfer and its delay of 100 ms.
 */
BOARD_HAL_API int read_temp_inlet(uint8_t sensor, uint32_t *temp);

/**
 * Temperature rise: always 0.
 *
 * @param id    ignored.
 * @param rise  out: 0; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int get_temp_rise(uint32_t id, uint8_t *rise);

/** Not fitted on this board. @return -1. */
BOARD_HAL_API int pmbus_read_array(uint32_t device, uint32_t bus, uint8_t reg, uint8_t count);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int pmbus_read_word(uint32_t device, uint32_t bus, uint8_t reg);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int PMBusSlave_Crc8MakeBitwise(uint16_t crc, uint16_t polynomial, const uint8_t *data,
                                             uint16_t len);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_pmbus_ps_power(uint32_t psu, uint32_t which, uint32_t *val);
/** Not fitted on this board. @return -2. */
BOARD_HAL_API int get_pmbus_ps_info(uint32_t psu, uint32_t which, uint8_t *val);
/** Not fitted on this board. @return -2. */
BOARD_HAL_API int get_pmbus_ps_healthe(uint32_t psu, uint8_t *val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_psu_acok(uint32_t psu);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_psu_dcok(uint32_t psu);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int pmbus_fru_read_from_e2p(uint32_t psu);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_pmbus_psu_active_standby_mode(uint32_t psu, uint32_t which, uint8_t *mode);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_pmbus_psu_active_standby_mode(uint32_t psu, uint32_t which, uint8_t mode);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int read_ina220_12V(uint32_t *val);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int read_temp_outlet(uint32_t *temp);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int read_sys_power(uint32_t *val);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_gpu_temp(uint32_t slot, uint32_t gpu, uint32_t which, uint8_t *temp);

/** @} */

/* ======================================================================== */
/**
 * @defgroup inventory Device types, maxima and presence
 * How many devices of each type the board holds, and which are there.
 * @{
 */

/** Presence of the DIMMs: non-zero = present; entry (cpu * 3 + channel) * 2 +
 *  slot. Entries 12 to 15 are not reached by set_dimm_presence(). No lock. */
BOARD_HAL_API extern uint32_t g_dimm_present[16];

/**
 * How many devices of a type the board can hold.
 *
 * | type | device         | maximum                     |
 * |------|----------------|-----------------------------|
 * | 0    | CPU            | 2                           |
 * | 1    | DIMM           | 16                          |
 * | 2    | hard disk      | get_disk_maximum()          |
 * | 3    | power supply   | 2                           |
 * | 4    | fan            | 6                           |
 * | 6    | RAID card      | get_raid_maximum()          |
 * | 7    | Ethernet card  | get_ethernet_card_maximum() |
 * | 8    | PCIe card      | get_pcie_maximum()          |
 * | 11   | mezzanine card | 0                           |
 * | 12   | on-board RAID  | get_onboard_raid_num()      |
 *
 * @param type  as above.
 * @param max   out: the maximum.
 * @return 0; -2 null ("get_device_max_num: parameter invalid."), other @p type
 *         ("%s:error,not find the type,DeviceTypeParameter = %d\r\n"), or the
 *         maximum is unknown: "get_device_max_num: get hdd maximum err." for
 *         the disks of an unknown BOM id, after the line of
 *         get_disk_maximum(). For the other types the texts are
 *         "get_device_max_num: get cpu maximum err.", "… get memory maximum
 *         err.", "… get ps maximum err." (power supply and fan alike),
 *         "%s: get_thernet_card_maximum fail.\r\n" and "%s: get_pcie_maximum
 *         fail.\r\n".
 */
BOARD_HAL_API int get_device_max_num(uint8_t type, int32_t *max);

/**
 * Maximum by board code.
 *
 * @param type        device type, looked at only for board code 0xFE: 0 to 5
 *                    and 8.
 * @param board_code  0xFE this board; 0x31 to 0x3E, 0x41 to 0x4F, 0x71 to 0x79,
 *                    0x80, 0x81 and 0xFF have one maximum each.
 * @param max         out: the maximum.
 * @param unused      ignored.
 * @return 0; -1 null ("#get_group_devicemaximum:the para is err\r"), other
 *         @p type or the disks of an unknown BOM id
 *         ("#get_group_devicemaximum:the devicetype is err\r"), other
 *         @p board_code ("#get_group_devicemaximum:the boardid is err\r").
 */
BOARD_HAL_API int get_group_devicemaximum(int32_t type, uint8_t board_code, int32_t *max,
                                          uint32_t unused);

/**
 * How many devices a container can hold.
 *
 * @param type   5 HDD backplane, 13 NIC card.
 * @param index  of the container.
 * @param max    out: the maximum.
 * @return 0; -2 null ("get_sub_device_max_num: parameter invalid."), other
 *         @p type ("%s:DeviceTypeParameter = %d\r\n"), or unknown ("%s:
 *         get_hdd_backplane_sub_dev_maximum fail.\r\n", "%s:
 *         get_nic_card_sub_dev_maximum fail.\r\n").
 */
BOARD_HAL_API int get_sub_device_max_num(uint8_t type, uint8_t index, int32_t *max);

/**
 * Disks that a backplane can hold: 2 for backplane 2, else get_disk_maximum(),
 * or 0 if the BOM id is unknown.
 *
 * @return 0; -2 null, no message.
 */
BOARD_HAL_API int get_hdd_backplane_sub_dev_maximum(uint8_t index, int32_t *max);

/** Ports of a NIC card: get_mac_num(). @return 0; -2 null or a negative number,
 *  no message. */
BOARD_HAL_API int get_nic_card_sub_dev_maximum(uint8_t index, int32_t *max);
/** Ethernet cards: get_mac_num(). @return 0; -2 null or a negative number, no
 *  message. */
BOARD_HAL_API int get_ethernet_card_maximum(int32_t *max);
/** PCIe cards: 1. @return 0; -2 null, no message. */
BOARD_HAL_API int get_pcie_maximum(int32_t *max);

/**
 * Disks, by BOM id: 4 (BOM 0 and 1), 2 (BOM 8 and 9).
 *
 * @param max  out: the maximum; 4 for any other BOM id.
 * @return 0; positive 1 for any other BOM id
 *         ("get_product_cfg_num:bom id not support!"); -2 null, no message.
 * Locks: CPLD register lock, for the BOM id.
 */
BOARD_HAL_API int get_disk_maximum(int32_t *max);

/** RAID cards, by BOM id. @return 1 (BOM 0, 8 and unknown ones) or 0 (BOM 1,
 *  9). Locks: CPLD register lock. */
BOARD_HAL_API int get_raid_maximum(void);
/** On-board RAID controllers, by BOM id. @return 1 (BOM 0, 8) or 0 (BOM 1, 9
 *  and unknown ones). Locks: CPLD register lock. */
BOARD_HAL_API int get_onboard_raid_num(void);

/**
 * Whether a device is there.
 *
 * | type | asked                        | text when that fails                |
 * |------|------------------------------|-------------------------------------|
 * | 0    | get_cpu_status(), type 1     | "%s %d: get_cpu_status is error\r\n" |
 * | 1    | get_dimm_presence()          | "%s %d: get_dimm_presence_status fail.\r\n" |
 * | 2    | get_disk_status_by_fruid(), kind 0 | "%s %d: get_disk_status is error\r\n" |
 * | 3    | get_powersupply_presence()   | "%s %d: get_powersupply_presence is error\r\n" |
 * | 4    | get_fan_status(), kind 0     | "%s %d: get_disk_status is error\r\n" |
 * | 5    | get_hdd_backplane_presence() | "%s: get_hdd_backplane_presence fail.\r\n" |
 * | 6    | get_raidcard_presence()      | "%s %d: get_disk_status is error\r\n" |
 * | 8    | get_pcie_presence_by_fruid() | "%s %d: get_pcie_presence fail.\r\n" |
 * | 11   | get_mezz_presence()          | "%s %d: get_disk_status is error\r\n" |
 *
 * The texts carry this function's name and a number of its own. On this board
 * types 3, 4, 8 and 11 succeed without writing @p out.
 *
 * @param fruid  passed on.
 * @param type   as above.
 * @param index  of the device within its type.
 * @param out    out: 1 present, 0 not.
 * @return 0; -1 null ("%s %d: The para is null\r\n"), other @p type ("%s %d:
 *         The devicetype is wrong,devicetype is %d\r\n"), or what is asked
 *         failed; -2 for the HDD backplane.
 */
BOARD_HAL_API int get_device_presence(uint8_t fruid, uint8_t type, int32_t index, uint8_t *out);

/**
 * Presence of a DIMM.
 *
 * @param index  0 to 15.
 * @param out    out: low byte of the entry in g_dimm_present.
 * @return 0; -2 null ("%s %d: para is null .\r\n") or other @p index ("%s %d:
 *         the para is err,sign:%d .\r\n"). No lock.
 */
BOARD_HAL_API int get_dimm_presence(int32_t index, uint8_t *out);

/**
 * Notes the presence of a DIMM in g_dimm_present.
 *
 * @param cpu      0 or 1.
 * @param channel  0 to 2.
 * @param slot     0 or 1.
 * @param present  non-zero = present.
 * @return 0; -2 other arguments, no message. No lock.
 */
BOARD_HAL_API int set_dimm_presence(int32_t cpu, int32_t channel, int32_t slot, uint32_t present);

/**
 * get_disk_status() of disk @p index and item @p kind; @p fruid is ignored.
 *
 * @return 0; -1 any other result of that ("%s %d: get_disk_status is
 *         error\r\n").
 */
BOARD_HAL_API int get_disk_status_by_fruid(uint8_t fruid, uint32_t index, uint32_t kind,
                                           uint8_t *out);

/**
 * Presence of a power supply, from get_board_present(), which serves none on
 * this board: @p out stays unwritten.
 *
 * @param index  0 or 1.
 * @param out    not written on this board.
 * @return 0, whatever get_board_present() gave; -2 other @p index ("PS Index
 *         Error").
 */
BOARD_HAL_API int get_powersupply_presence(int32_t index, uint8_t *out);

/**
 * Presence of a RAID card, from get_board_present() with 10 + @p index, which
 * serves none on this board.
 *
 * @return 0; -9 that failed ("%s %d: get_board_id err .\r\n").
 */
BOARD_HAL_API int get_raidcard_presence(int32_t index, uint8_t *out);

/** Presence of an HDD backplane: 1 for every index. @return 0; -2 null, no
 *  message. */
BOARD_HAL_API int get_hdd_backplane_presence(int32_t index, uint8_t *out);
/** Presence of an LCD: 0; not checked for null. @return 0. */
BOARD_HAL_API int get_lcd_presence(uint8_t *out);
/** Presence of a PCIe card; writes nothing on this board. @return 0. */
BOARD_HAL_API int get_pcie_presence_by_fruid(uint8_t fruid, int32_t index, uint8_t *out);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_memory_health_status(uint32_t index, uint32_t *health);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_mezz_presence(int32_t index, uint8_t *out);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_pcie_presence(int32_t index, uint8_t *out);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int restore_prochot_status(void);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int clear_nonsensor_dev_healthstatus(void);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_pcie_riser_sub_dev_maximum(uint8_t index, int32_t *max);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_dev_all_healthstatus(uint32_t status);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int update_memory_availability(uint32_t index, uint32_t availability);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_dimm_pre(int32_t cpu, int32_t channel, int32_t slot, uint8_t *out);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_device_all_availability(uint8_t type, uint32_t index, uint32_t *availability);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int set_device_availability(uint32_t availability);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_dimm_mode(uint32_t mode);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_disk_connect_support_type(void);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int set_panel_led_status(uint32_t led, uint8_t on);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_ex_board_cable_connect(uint8_t *out);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_led_dft_mode(void);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int clear_ps_aclost_status(uint32_t index);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_32K_clock_state(uint8_t *state);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_component_mix_status(uint8_t *status);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int rmc_rst_bmc_status(void);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_dimm_size(uint32_t size);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_dimm_size(uint32_t *size);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_expander_power_on(void);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_expander_voltage_status(uint8_t *status);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int renew_panel_led_status(uint8_t status);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_dev_slot(uint8_t type, uint32_t index, uint32_t which, uint8_t *slot);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int set_dev_health_status(uint8_t type, uint32_t index, uint32_t health);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_dev_all_healthstatus(uint8_t type, uint32_t index, uint32_t which,
                                           uint32_t *health);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_dev_event_type(void);
/** Does nothing on this board. */
BOARD_HAL_API void restore_device_state(uint32_t state);

/** @} */

/* ======================================================================== */
/**
 * @defgroup health Device health, DIMM map and product names
 * Health and availability, DIMM and memory-controller addresses, board facts.
 * @{
 */

/** Where the registers of one CPU's memory controllers lie. */
typedef struct dimm_bdf_info {
    uint32_t cpu;        /**< CPU number */
    uint8_t bus[4];      /**< PCI bus number, by index */
    uint8_t device[2];   /**< device number, by memory controller */
    uint8_t function[4]; /**< function number, by channel */
    uint8_t reserved[2]; /**< 0 */
    uint32_t reg[4];     /**< register offset, by index */
} dimm_bdf_info;

/** Memory controllers, one row per CPU. */
BOARD_HAL_API extern dimm_bdf_info g_dimm_bdf_info[2];
/** Rows of g_dimm_bdf_info that lookups search, at most 2. */
BOARD_HAL_API extern int32_t g_dimm_bdf_info_size;

/** Product name of a RAID card. */
typedef struct raidcard_boardid_info {
    uint16_t card_code; /**< code of the card */
    uint8_t board_id;   /**< board id that the row requires; 255 = any */
    char name[65];      /**< product name, NUL-terminated */
} raidcard_boardid_info;

/** RAID cards, not sorted; lookups take the first row that fits. */
BOARD_HAL_API extern raidcard_boardid_info g_raidcard_boardid_info[4];

/** An HDD backplane. */
typedef struct hdd_backplane {
    uint8_t flag;       /**< 1 */
    uint8_t board_code; /**< backplane board code */
    uint8_t disks;      /**< disks that it holds */
} hdd_backplane;

/** HDD backplanes, for applications; the library does not use it. */
BOARD_HAL_API extern hdd_backplane g_HDD_backplane[10];
/** Rows of g_HDD_backplane. */
BOARD_HAL_API extern int32_t g_HDDbackplanesize;

/** Where a DIMM sits. */
typedef struct dimm_location {
    uint32_t cpu;  /**< CPU number */
    uint32_t dimm; /**< DIMM index */
} dimm_location;

/**
 * Health of a device.
 *
 * @param type    8 (PCIe card).
 * @param index   of the device.
 * @param health  out: as get_pcie_health_status().
 * @return 0; -2 null, no message, other @p type
 *         ("%s %d:fail.DeviceTypeParameter = %d\r\n"), or unknown ("%s %d:
 *         get_pcie_health_status fail.\r\n").
 */
BOARD_HAL_API int get_device_health_status(uint8_t type, uint32_t index, uint32_t *health);

/**
 * Health of a PCIe card: 5 for every card.
 *
 * @return 0; -2 null ("%s %d: the para is null.\r\n").
 */
BOARD_HAL_API int get_pcie_health_status(uint32_t index, uint32_t *health);

/**
 * Availability of a device: 3 (bits 0 and 1) for every device.
 *
 * @return 0; -2 null ("%s: parameter invalid.\n").
 */
BOARD_HAL_API int get_device_availability(uint8_t type, uint32_t index, uint32_t *availability);

/**
 * Property of the firmware information.
 *
 * @param kind  0 or 2.
 * @param out   out: 4478 for kind 0, 4 for kind 2, 0 for another; not checked
 *              for null.
 * @return 0; -2 other @p kind.
 */
BOARD_HAL_API int get_firmware_info_property(uint8_t kind, uint32_t *out);

/**
 * Physical number of a device; on this board the logical one, for every type.
 *
 * @param type      device type; any.
 * @param logical   logical number.
 * @param physical  out: @p logical; not checked for null.
 * @return 0.
 */
BOARD_HAL_API int switch_logical_num_to_physical_num(uint8_t type, uint32_t logical,
                                                     uint32_t *physical);

/** Presence of a memory board: 1 for every index. @return 0; -2 null ("%s
 *  %d:the pointer is null.\r\n"). */
BOARD_HAL_API int get_mem_board_present(uint32_t index, uint8_t *out);

/**
 * PCI bus number of a CPU's memory controllers, from g_dimm_bdf_info.
 *
 * @param cpu    CPU number. One without a record leaves @p out unwritten and
 *               is no error; the last record of a CPU wins.
 * @param index  0 to 3.
 * @param out    out: the bus number.
 * @return 0; -2 null ("%s %d:point is null\r\n") or other @p index, no message.
 */
BOARD_HAL_API int get_dimm_bus_number(uint8_t cpu, uint32_t index, uint32_t *out);

/** PCI device number of a memory controller. As get_dimm_bus_number();
 *  @p controller 0 or 1, any other "%s %d:invalid imc\r\n" and -2. */
BOARD_HAL_API int get_dimm_device_number(uint8_t cpu, uint32_t controller, uint32_t *out);

/** PCI function number of a memory channel. As get_dimm_bus_number(); @p unused
 *  is ignored, @p channel 0 to 3. */
BOARD_HAL_API int get_dimm_function_number(uint8_t cpu, uint32_t unused, uint32_t channel,
                                           uint32_t *out);

/** Register offset of the memory controllers. As get_dimm_bus_number(). */
BOARD_HAL_API int get_dimm_register_addr(uint8_t cpu, uint32_t index, uint32_t *out);

/**
 * PCI Express configuration offset of a memory-controller register: bus << 20 |
 * device << 15 | function << 12 | register offset.
 *
 * @param cpu         CPU number; 0 is written for one without a record.
 * @param bus_index   0 to 3.
 * @param controller  0 or 1.
 * @param channel     0 to 3.
 * @param reg_index   0 to 3.
 * @param out         out: the offset.
 * @return 0; -2 null ("%s %d:point is null\r\n"), or a lookup failed ("%s
 *         %d:get_dimm_bus_number\r\n", "%s %d:get_dimm_device_number\r\n", "%s
 *         %d:get_dimm_function_number\r\n", "%s
 *         %d:get_dimm_register_addr\r\n").
 */
BOARD_HAL_API int get_mem_bdf_info(uint8_t cpu, uint32_t bus_index, uint32_t controller,
                                   uint32_t channel, uint32_t reg_index, uint32_t *out);

/**
 * Where the DIMM of a slot sits.
 *
 * @param slot      1 to 16.
 * @param location  out: CPU 0, DIMM index @p slot - 1.
 * @return 0; -1 null ("get_dimm_location: parameter invalid"); -2 other @p slot
 *         ("get_dimm_location:the slot_num%d of dimm is illegal.\n").
 */
BOARD_HAL_API int get_dimm_location(int32_t slot, dimm_location *location);

/**
 * Product name of a RAID card, from g_raidcard_boardid_info.
 *
 * @param card_code  code of the card.
 * @param board_id   board id.
 * @param buf        out: the name, cut to @p buflen - 1 characters, with a NUL.
 * @param buflen     size of @p buf; 0 or below writes nothing.
 * @return 0; -2 no such card ("%s %d:don't find right productname\r\n").
 */
BOARD_HAL_API int get_productname_by_boardid(uint16_t card_code, uint8_t board_id, char *buf,
                                             int32_t buflen);

/**
 * get_productname_by_boardid() with the board id of board 2.
 *
 * @return 0; -1 no such card (its line, then "%s %d:get productname is
 *         wrong\r\n").
 */
BOARD_HAL_API int get_raidcard_productname(uint16_t card_code, char *buf, int32_t buflen);

/**
 * Error lines of the RAID card. Reads the CPLD without the register lock.
 *
 * @return 0 no error; 1 error.
 */
BOARD_HAL_API int read_raid_err_status(void);

/** Connects the battery to the ADC. @return 0. Locks: CPLD register lock. */
BOARD_HAL_API int spa310_adc_assert_action(void);
/** Disconnects the battery from the ADC. @return 0. Locks: CPLD register lock. */
BOARD_HAL_API int spa310_adc_deassert_action(void);

/** Whether power capping is supported. @return 1. */
BOARD_HAL_API int get_power_capping_support(void);
/** Whether PCIe cards have sensors: 0. @return 0; -2 null
 *  ("get_pcie_sensor_support:val pointer is null"). */
BOARD_HAL_API int get_pcie_sensor_support(uint8_t *out);
/** AC loss of a power supply: 0. @return 0; -1 null ("get_ps_aclost_status:
 *  parameter invalid"). */
BOARD_HAL_API int get_ps_aclost_status(uint32_t index, uint8_t *out);

/** Not fitted on this board. @return -1. */
BOARD_HAL_API int set_tube_led_status(uint32_t led, uint8_t on);
/** Not fitted on this board. @return -1. */
BOARD_HAL_API int get_max_active_mc_num(uint32_t *num);
/** Not fitted on this board. @return -2. */
BOARD_HAL_API int check_id(uint32_t id, uint32_t type, uint32_t index);
/** Not fitted on this board. @return -2. */
BOARD_HAL_API int get_dimm_slot_by_location(void);
/** Not fitted on this board. @return -2. */
BOARD_HAL_API int get_physical_node_num(uint32_t node, uint32_t *num);
/** Not fitted on this board. @return -10. */
BOARD_HAL_API int set_bios_print_flag(uint8_t flag);
/** Not fitted on this board. @return -10. */
BOARD_HAL_API int get_bios_print_flag(void);

/** @} */

/* ======================================================================== */
/**
 * @defgroup bootenv Boot-loader environment
 * The environment block on flash and its checksum.
 *
 * The block is the first 8192 bytes of /dev/mtdblock2: a little-endian CRC-32
 * of the 8188 bytes behind it, then entries "name=value", each ended by a NUL,
 * the last one followed by a second NUL. Every operation opens and maps the
 * device, works on a copy and unmaps and closes again; nothing stays open in
 * between. The checksum is written with every change and never checked.
 *
 * A wanted name that contains "=" matches any entry that agrees with it up to
 * and including that "=". Names must not be null, unless stated.
 *
 * Results that all three operations share: -2 the device cannot be opened
 * ("env_init: cann't open device") or mapped ("env_init: map addr failed", and
 * "mmap" with the cause on standard error; a mapping at address 0 counts as
 * failed), each
 * followed by the operation's own "…: env_init failed"; -1 an entry runs to the
 * end of the block without a NUL, which an erased block does too.
 *
 * Locks: each operation holds the environment lock from the opening to the
 * closing. Nothing coordinates with other processes: the last one to write the
 * block wins.
 * @{
 */

/**
 * Reflected CRC-32 table of polynomial 0xEDB88320: entry n is the register
 * after the eight bits of n.
 */
BOARD_HAL_API extern const uint32_t crc_table[256];

/**
 * CRC-32 as zlib, Ethernet and the boot loader compute it. The bytes 123456789
 * give 0xCBF43926.
 *
 * zlib exports a function of this name as well. In a process that has loaded
 * both, a call reaches whichever comes first; the library's own checksums are
 * not affected.
 *
 * @param crc  0 to start, or the result over the bytes before.
 * @param buf  @p len bytes, of any alignment.
 * @param len  byte count; with 0 the result is @p crc.
 * @return the CRC. Takes no lock.
 */
BOARD_HAL_API uint32_t crc32(uint32_t crc, const uint8_t *buf, uint32_t len);

/**
 * Reads a variable. Of several entries of the name the last one counts.
 *
 * The result does not tell whether the variable exists: @p buf then stays as it
 * was. Put a mark into it beforehand to find out.
 *
 * @param name    the variable.
 * @param buf     out: the value with its NUL, cut to @p buflen - 1 characters.
 *                Written also if an entry behind it then gives -1. Null or a
 *                size of 0: nothing is written, and nothing else changes.
 * @param buflen  size of @p buf in bytes.
 * @return 0, found or not; -1 ("get_uboot_env: error, environment not
 *         terminated"); -2 ("get_uboot_env: env_init failed").
 * Locks: environment lock.
 */
BOARD_HAL_API int get_uboot_env(const char *name, char *buf, uint32_t buflen);

/**
 * Sets, replaces or deletes a variable and writes the whole block back with a
 * new checksum.
 *
 * The first entry of the name goes and the new one is added behind the last, so
 * a replaced variable moves to the end. Bytes behind the end of the entries
 * keep what they held. Deleting a variable that is absent rewrites the block
 * and returns 0. Flash is erased and reprogrammed on every call that returns 0:
 * do not use it in a tight loop.
 *
 * A block whose entries are not terminated is never written, so an erased block
 * cannot be repaired with this call.
 *
 * Power cut: there is one copy of the environment and no spare. The result 0
 * says that the new block is on its way; the kernel writes it back after the
 * unmapping, erasing the flash first. What a reader finds when the power fails
 * after each of the 8192 bytes, for 15 variables that end at byte 286 of a block
 * with zeros behind them, one of them changed (power_cut_test):
 * - Erased flash. Only the complete write has a good checksum: after the other
 *   8192 of the 8193 possible cuts the boot loader rejects the block and starts
 *   with its built-in defaults, every variable lost to it. This library does not
 *   look at the checksum. It finds the new variables from byte 286 on (7907
 *   cuts), and the next set_uboot_env() that returns 0 makes the block good
 *   again. Before that (286 cuts) the variables are lost, get_uboot_env() and
 *   set_uboot_env() return -1, and only an image written from elsewhere helps.
 * - Memory that is overwritten in place. 283 cuts, those between the first and
 *   the last changed byte, leave a bad checksum. In 182 of these all old values
 *   are still there, in 101 old and new entries are mixed; the next
 *   set_uboot_env() puts a good checksum on the mixture.
 *
 * An application should therefore read first and set only what differs; keep
 * what it cannot do without (addresses, boot-valid flags) in a place of its own
 * and compare after every start, before it sets anything; set nothing while
 * power may go; and rely on built-in defaults of the boot loader that boot.
 *
 * @param name   the variable.
 * @param value  its value, may be empty; null to delete the variable.
 * @return 0; -1 with nothing written: not terminated ("set_uboot_env: error,
 *         environment not terminated") or no room ("set_uboot_env: error,
 *         environment overflow, \"%s\" deleted\n" with the name; in spite of the
 *         text the flash keeps the old value); -2 ("set_uboot_env: env_init
 *         failed") or deletion of "ubootpwd" ("set_uboot_env: error, empty
 *         password"), refused without lock or device.
 * Locks: environment lock.
 */
BOARD_HAL_API int set_uboot_env(const char *name, const char *value);

/**
 * Prints a variable as "%s=%s\n" with name and value, the first entry of its
 * name; or all entries, one a line.
 *
 * @param name  the variable; null for all.
 * @return 0; -1 ("print_uboot_env: error, environment not terminated"), after
 *         the entries before have been printed; -2 no such variable
 *         ("print_uboot_env: error,  \"%s\" not defined\n" with the name) or
 *         "print_uboot_env: env_init failed".
 * Locks: environment lock.
 */
BOARD_HAL_API int print_uboot_env(const char *name);

/** @} */

/* ======================================================================== */
/**
 * @defgroup bootvars Boot-loader variables
 * One getter and setter per variable.
 *
 * Each fixes the name and passes the rest to get_uboot_env() or
 * set_uboot_env(): results, messages and the environment lock are theirs.
 * Values are texts and stay as the caller wrote them; nothing is converted or
 * checked. A null value deletes the variable; an absent one reads as 0 with
 * the buffer untouched. Reading, changing and writing back is three steps, of
 * which another thread may see each.
 *
 * Two variables exist once per boot image. Their accessors take an index first:
 * 0 is the first image, every other value, negative ones included, the second.
 * @{
 */

/** Reads "baudrate". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_baudrate(char *buf, uint32_t buflen);
/** Sets or deletes "baudrate". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_baudrate(const char *value);

/** Reads "bootdelay". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_bootdelay(char *buf, uint32_t buflen);
/** Sets or deletes "bootdelay". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_bootdelay(const char *value);

/** Reads "bootorder". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_bootorder(char *buf, uint32_t buflen);
/** Sets or deletes "bootorder". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_bootorder(const char *value);

/** Reads "bootretrynum". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_bootretrynum(char *buf, uint32_t buflen);
/** Sets or deletes "bootretrynum". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_bootretrynum(const char *value);

/** Reads "ethaddr". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_ethaddr(char *buf, uint32_t buflen);
/** Sets or deletes "ethaddr". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_ethaddr(const char *value);

/** Reads "ipaddr". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_ipaddr(char *buf, uint32_t buflen);
/** Sets or deletes "ipaddr". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_ipaddr(const char *value);

/** Reads "serverip". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_serverip(char *buf, uint32_t buflen);
/** Sets or deletes "serverip". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_serverip(const char *value);

/** Reads "gatewayip". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_gatewayip(char *buf, uint32_t buflen);
/** Sets or deletes "gatewayip". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_gatewayip(const char *value);

/** Reads "netmask". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_netmask(char *buf, uint32_t buflen);
/** Sets or deletes "netmask". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_netmask(const char *value);

/** Reads "neverboot". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_neverboot(char *buf, uint32_t buflen);
/** Sets or deletes "neverboot". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_neverboot(const char *value);

/** Reads "fac_resume". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_fac_resume(char *buf, uint32_t buflen);
/** Sets or deletes "fac_resume". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_fac_resume(const char *value);

/** Reads "ver", the boot loader's own version. As get_uboot_env(). There is
 *  no setter: the boot loader alone writes it. */
BOARD_HAL_API int get_uboot_version(char *buf, uint32_t buflen);

/** Reads "bootvalidflag0" (@p index 0) or "bootvalidflag1". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_bootvalidflag(int32_t index, char *buf, uint32_t buflen);
/** Sets or deletes "bootvalidflag0" (@p index 0) or "bootvalidflag1". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_bootvalidflag(int32_t index, const char *value);

/** Reads "image0ver" (@p index 0) or "image1ver". As get_uboot_env(). */
BOARD_HAL_API int get_uboot_imageversion(int32_t index, char *buf, uint32_t buflen);
/** Sets or deletes "image0ver" (@p index 0) or "image1ver". As set_uboot_env(). */
BOARD_HAL_API int set_uboot_imageversion(int32_t index, const char *value);

/** @} */

/* ======================================================================== */
/**
 * @defgroup uart UART
 * The controller's serial port.
 * @{
 */

/**
 * Puts a terminal into raw mode: none of its earlier attributes is kept, reads
 * return at once with what is there, pending input is discarded. Prints "set
 * done!" when it succeeds. Takes no lock.
 *
 * @param fd      descriptor of the terminal.
 * @param speed   2400, 4800, 9600, 19200, 38400, 57600 or 115200 bit/s; any
 *                other rate gives 9600.
 * @param bits    data bits, 7 or 8; any other count gives 5.
 * @param parity  'N' none, 'O' odd or 'E' even, both with input checking and
 *                stripping to 7 bits; any other character is as 'N'.
 * @param stop    stop bits, 1 or 2; any other count is as 1.
 * @return 0; -1 not a terminal ("SetupSerial fail" on standard error) or the
 *         attributes cannot be set ("com set error" on standard error).
 */
BOARD_HAL_API int set_opt(int32_t fd, int32_t speed, int32_t bits, char parity, int32_t stop);

/**
 * Opens the serial port of a channel, blocking, without making it the
 * controlling terminal. Prints "open %s .....\n" with its path, "fcntl=%d\n" or
 * "fcntl failed!", then "isatty success!" or "standard input is not a terminal
 * device" (about standard input), and "fd-open=%d\n". Takes no lock.
 *
 * @param chan  0.
 * @return the new descriptor; -1 other @p chan, or open failed ("Can't Open
 *         Serial Port" on standard error).
 */
BOARD_HAL_API int open_port(int32_t chan);

/**
 * Opens a channel into serial_handle and sets it to the rate that the FPGA
 * prescribes, 8 data bits, no parity, 1 stop bit. Prescribed rates without a
 * terminal speed (7200, 3600) give 9600. Prints what open_port() and set_opt()
 * print.
 *
 * @param chan  0.
 * @param baud  ignored.
 * @return the channel's descriptor; -2 other @p chan ("uart_init: arg chan is
 *         invalid [%d]\n"); -3 the FPGA does not tell its divisor ("get baud
 *         rate fails.") or the port cannot be opened ("uart_init: cann't open
 *         uart%d\n"); -4 already open ("uart_init: serial device already
 *         opened"); -5 the port cannot be set ("uart_init: cann't setup uart%d
 *         baud\n"). After -5 the descriptor stays open in serial_handle, but
 *         the channel counts as closed: a further call opens it again.
 * Locks: takes the UART open lock without waiting and keeps it on success.
 */
BOARD_HAL_API int uart_init(int32_t chan, int32_t baud);

/**
 * Closes serial_handle, sets it to -1 and releases the UART open lock. Does not
 * test whether the channel is open: before the first uart_init() it closes
 * descriptor 0.
 *
 * @param chan  0; nothing happens for other channels.
 * @return the result of releasing the lock, 0 normally.
 */
BOARD_HAL_API int uart_close(int32_t chan);

/**
 * Reads what has arrived.
 *
 * @param chan  0.
 * @param buf   out: at least @p len bytes.
 * @param len   bytes asked for.
 * @return bytes read, 0 if there are none; -1 read failed (errno is set); -2
 *         other @p chan or null @p buf.
 * Locks: UART input/output lock.
 */
BOARD_HAL_API int uart_read(int32_t chan, uint8_t *buf, uint32_t len);

/**
 * Writes up to @p len bytes; a short count is not retried.
 *
 * @param chan  0.
 * @param buf   @p len bytes.
 * @param len   bytes to write.
 * @return bytes written; -1 write failed (errno is set); -2 other @p chan or
 *         null @p buf.
 * Locks: UART input/output lock. Blocking: until the port takes the bytes.
 */
BOARD_HAL_API int uart_write(int32_t chan, const uint8_t *buf, uint32_t len);

/**
 * Rate in force. Takes no lock.
 *
 * @param chan  0.
 * @return the rate in bit/s; 0 unknown speed; -2 other @p chan; -3 not open; -5
 *         attributes cannot be read.
 */
BOARD_HAL_API int get_current_baud(int32_t chan);

/**
 * Follows a change of the FPGA's prescribed rate without reopening; everything
 * else of the port is kept. Asks the FPGA through a descriptor of its own.
 * Knows the divisors 1, 2, 3, 6, 12, 24 and 48; any other one, a failure, or an
 * unchanged rate changes nothing, silently but for "com set error" on standard
 * error when the rate cannot be set. Takes no lock.
 *
 * @param chan  0; nothing happens for other channels.
 */
BOARD_HAL_API void update_uart_baud(int32_t chan);

/** Not fitted on this board. @return 0. */
BOARD_HAL_API int set_uart_status(int32_t chan, uint32_t which, uint32_t val);
/** Not fitted on this board. @return 0. */
BOARD_HAL_API int get_uart_status(int32_t chan, uint32_t which, uint32_t *val);

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
 * phase shows a progress line on standard output, "Erasing blocks: 0/%d (0%%)",
 * "\rErasing blocks: %d/%d (%d%%)" for each block and "\rErasing blocks: %d/%d
 * (100%%)\n", then the same as "Writing data: 0k/%luk (0%%)", "\rWriting data:
 * %dk/%luk (%lu%%)", "\rWriting data: %luk/%luk (100%%)\n" and "Verifying data:
 * 0k/%luk (0%%)", "\rVerifying data: %dk/%luk (%lu%%)", "\rVerifying data:
 * %luk/%luk (100%%)\n"; a failure ends the line with "\n" first, except where
 * the data differ. It publishes its share of the
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
 * Nothing is restored. Files and buffers are always released. A copy that fails
 * before its image is open also closes the descriptor number that the image of
 * the copy before it had: by then another thread's file may have that number.
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
 * Progress, locks, blocking and what a failure leaves as mtd_flash_copy(), but
 * that the first line begins with "\rErasing blocks: 0/%d (0%%)".
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
 * driver" and a progress line, "\rErasing blocks: %d/%d (%d%%)" and at its end
 * "\rErasing blocks: %d/%d (100%%)\n", that counts one erase request per byte of
 * the partition: the first ones erase it, one block each, the rest are empty.
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
 *         flash device!"), erase failed ("\n", then "While erasing blocks
 *         0x%.8x-0x%.8x on %d\n" with the descriptor); -5 the device cannot be opened.
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
 * with state 1. Here too, a copy that fails before its image is open closes the
 * number of an earlier image.
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
 * loads its driver, reads, gives the flash back and unloads the driver. Prints
 * "size of  %s is %d\r\n" with @p path and @p size, "downloading bios...\r", a
 * percentage, "\r<%d%%>", per kilobyte and at the end, and then
 * "\r\ndownload bios  successfully"; the upgrade status is not touched.
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
