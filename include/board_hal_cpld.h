/*
 * Register map of the board CPLD.
 *
 * The CPLD shows 256 one-byte registers at the start of the window that
 * cpld_init() maps at g_cpld_base_addr. CPLD_REG_* is a register's offset in
 * that window; the masks that follow it are fields of that register. Bit 7 is
 * the most significant bit. Offsets that are not listed have no meaning to the
 * library; get_cpld_reg(), set_cpld_reg() and dump_cpld_regester() reach them
 * all the same.
 *
 * SPDX-License-Identifier: Apache-2.0
 */
#ifndef BOARD_HAL_CPLD_H
#define BOARD_HAL_CPLD_H

/** Number of registers. */
#define CPLD_REG_COUNT 256

/** Size of the mapped window in bytes; the registers are its first 256. */
#define CPLD_WINDOW_SIZE 4096

/* ---- Identity -------------------------------------------------------- */

/** Board id. */
#define CPLD_REG_BOARD_ID 0x00
/** PCB version number (1 = A). */
#define CPLD_REG_PCB_VERSION 0x01
/** BOM version. */
#define CPLD_REG_BOM_VERSION 0x02
/** Product id. */
#define CPLD_REG_PRODUCT_ID 0x03
/** Version of the CPLD's program. */
#define CPLD_REG_CPLD_VERSION 0x05
/** Test register: reads back what was written. */
#define CPLD_REG_TEST 0x06
/** Compile time of the CPLD's program, five bytes in order. */
#define CPLD_REG_COMPILE_TIME_0 0x09
#define CPLD_REG_COMPILE_TIME_1 0x0A
#define CPLD_REG_COMPILE_TIME_2 0x0B
#define CPLD_REG_COMPILE_TIME_3 0x0C
#define CPLD_REG_COMPILE_TIME_4 0x0D
/** Reserved (scratch) registers. */
#define CPLD_REG_RESERVED_0 0x0E
#define CPLD_REG_RESERVED_1 0x0F

/* ---- CPUs and memory ------------------------------------------------- */

/** Status of CPU 0. */
#define CPLD_REG_CPU0_STATUS 0x2A
/** CPU present (also in CPLD_REG_CPU1_STATUS). */
#define CPLD_CPU_PRESENT 0x80
/** CPU generation (also in CPLD_REG_CPU1_STATUS). */
#define CPLD_CPU_GENERATION 0x70
/** IIO error indication; CPU status type 8. */
#define CPLD_CPU0_IIO_ERROR 0x08
/** Error indications reported as CPU status types 9 and 10. */
#define CPLD_CPU0_STATUS_TYPE_9 0x04
#define CPLD_CPU0_STATUS_TYPE_10 0x02
/** Thermal trip, cleared by writing 0 (also in CPLD_REG_CPU1_STATUS). */
#define CPLD_CPU_THERMAL_TRIP 0x01

/** Error indications of CPU 0 and hot-control outputs. */
#define CPLD_REG_CPU0_ERROR 0x2B
/** Error indication of CPU status type 5 (also in CPLD_REG_CPU1_ERROR). */
#define CPLD_CPU_ERROR_TYPE_5 0x80
/** Hot-control output 0. */
#define CPLD_CPU0_HOT_CONTROL_0 0x40
/** Machine-check error. */
#define CPLD_CPU0_MACHINE_CHECK 0x20
/** Internal error. */
#define CPLD_CPU0_INTERNAL_ERROR 0x10
/** Hot indications, debounced by the library (also in CPLD_REG_CPU1_ERROR). */
#define CPLD_CPU_HOT_INDICATION_0 0x08
#define CPLD_CPU_HOT_INDICATION_1 0x04
/** Hot-control outputs 1 and 2. */
#define CPLD_CPU0_HOT_CONTROL_1 0x02
#define CPLD_CPU0_HOT_CONTROL_2 0x01

/** Status of CPU 1: present, generation and thermal trip as for CPU 0. */
#define CPLD_REG_CPU1_STATUS 0x2C

/** Error indications of CPU 1 and hot-control outputs. */
#define CPLD_REG_CPU1_ERROR 0x2D
/** Hot-control outputs 3 and 4. */
#define CPLD_CPU1_HOT_CONTROL_3 0x02
#define CPLD_CPU1_HOT_CONTROL_4 0x01

/** Memory event indications of items 0 to 3. */
#define CPLD_REG_MEMORY_EVENT_LOW 0x42
/** Memory event indications of items 4 to 7. */
#define CPLD_REG_MEMORY_EVENT_HIGH 0x43
/** Indications of the first to fourth item (also in CPLD_REG_MEMORY_EVENT_LOW). */
#define CPLD_MEMORY_EVENT_FIRST 0x40
#define CPLD_MEMORY_EVENT_SECOND 0x10
#define CPLD_MEMORY_EVENT_THIRD 0x04
#define CPLD_MEMORY_EVENT_FOURTH 0x01

/* ---- Panel LEDs and disks -------------------------------------------- */

/** LED 192 and the SAS cable LEDs. */
#define CPLD_REG_PANEL_LED 0x62
/** LED 192 (0 = on). */
#define CPLD_LED_192 0x80
/** SAS cable LEDs. */
#define CPLD_SAS_CABLE_LED_0 0x04
#define CPLD_SAS_CABLE_LED_1 0x02
#define CPLD_SAS_CABLE_LED_2 0x01

/** Status of disks 0 and 1. */
#define CPLD_REG_DISK_STATUS_01 0x65
/** Status nibble of the even disk (also in CPLD_REG_DISK_STATUS_23). */
#define CPLD_DISK_EVEN 0xF0
/** Status nibble of the odd disk (also in CPLD_REG_DISK_STATUS_23). */
#define CPLD_DISK_ODD 0x0F
/** Status of disks 2 and 3. */
#define CPLD_REG_DISK_STATUS_23 0x66

/** HDD backplane ports 0 and 1. */
#define CPLD_REG_HDD_BACKPLANE_01 0x73
/** Port 0. */
#define CPLD_HDD_BACKPLANE_PORT_0 0xF0
/** Port 1. */
#define CPLD_HDD_BACKPLANE_PORT_1 0x0F
/** HDD backplane port 2. */
#define CPLD_REG_HDD_BACKPLANE_2 0x74
/** Port 2. */
#define CPLD_HDD_BACKPLANE_PORT_2 0xF0

/* ---- Power, reset and buttons ---------------------------------------- */

/** Power button, latched events and reset flag. */
#define CPLD_REG_POWER_BUTTON 0x83
/** Power button line (1 = pressed). */
#define CPLD_POWER_BUTTON_PRESSED 0x80
/** Button event 0. */
#define CPLD_BUTTON_EVENT_0 0x40
/** Power event 0. */
#define CPLD_POWER_EVENT_0 0x20
/** Power button enable (1 = enabled, 0 = locked). */
#define CPLD_POWER_BUTTON_ENABLE 0x10
/** System reset flag. */
#define CPLD_SYSTEM_RESET_FLAG 0x08
/** Power event 2. */
#define CPLD_POWER_EVENT_2 0x04
/** Reset of component 0. */
#define CPLD_COMPONENT_RESET_0 0x01

/** Chipset status, CMOS and NMI. */
#define CPLD_REG_CHIPSET 0x84
/** Chipset status. */
#define CPLD_CHIPSET_STATUS 0x80
/** Clear CMOS (write 1). */
#define CPLD_CLEAR_CMOS 0x40
/** NMI request. */
#define CPLD_NMI_REQUEST 0x20

/** Host power state. */
#define CPLD_REG_POWER_STATE 0x85
/** ACPI S4 state. */
#define CPLD_ACPI_S4 0x40
/** Host powered on; also tells ACPI S0 from S4/S5. */
#define CPLD_POWER_GOOD 0x10

/** Reset of component 1. */
#define CPLD_REG_RESET_B 0x86
#define CPLD_COMPONENT_RESET_1 0x04

/** CPU status indications, type 0. */
#define CPLD_REG_CPU_INDICATION_A 0x91
/** CPU 0 and CPU 1 (also in CPLD_REG_CPU_INDICATION_B). */
#define CPLD_CPU0_INDICATION 0x80
#define CPLD_CPU1_INDICATION 0x40

/** CPU status indications, type 6, and memory events of group 1. */
#define CPLD_REG_CPU_INDICATION_B 0x94
/** Memory event of items 0 and 2. */
#define CPLD_MEMORY_EVENT_GROUP1_EVEN 0x20
/** Memory event of items 1 and 3. */
#define CPLD_MEMORY_EVENT_GROUP1_ODD 0x10

/** Power event 1 and the power state before AC loss. */
#define CPLD_REG_AC_LOSS 0x98
/** Power event 1. */
#define CPLD_POWER_EVENT_1 0x80
/** Power state before AC loss. */
#define CPLD_POWER_BEFORE_AC_LOST 0x01

/** Battery measurement control. */
#define CPLD_REG_ADC_CONTROL 0x99
/** Connects the battery to the ADC. */
#define CPLD_ADC_ASSERT 0x80

/** Component resets. */
#define CPLD_REG_RESET_C 0xCD
#define CPLD_COMPONENT_RESET_10 0x80
#define CPLD_COMPONENT_RESET_12 0x40
#define CPLD_COMPONENT_RESET_9 0x20
#define CPLD_COMPONENT_RESET_8 0x10
#define CPLD_COMPONENT_RESET_13 0x08
#define CPLD_COMPONENT_RESET_5 0x02
#define CPLD_COMPONENT_RESET_14 0x01

/* ---- Sub-boards ------------------------------------------------------ */

/** PCB version of board 2. */
#define CPLD_REG_BOARD_2 0xD2
/** PCB version of a sub-board (also in CPLD_REG_BOARD_3 and CPLD_REG_RAID_CARD). */
#define CPLD_SUBBOARD_PCB_VERSION 0x70
/** PCB version and board id of board 3. */
#define CPLD_REG_BOARD_3 0xD3
/** Board id of a sub-board (also in CPLD_REG_RAID_CARD). */
#define CPLD_SUBBOARD_ID 0x0F
/** Mirror of the RAID card's PCB version and board id. */
#define CPLD_REG_RAID_CARD 0xD4
/** Presence of board 6. */
#define CPLD_REG_BOARD_6 0xD5
/** Board 6 present. */
#define CPLD_BOARD_6_PRESENT 0x80

/* ---- Board LEDs, BIOS flash, heartbeat ------------------------------- */

/** LEDs 0, 2 and 4. */
#define CPLD_REG_BOARD_LED_A 0xD8
/** LEDs 0 and 4 (0 = on). */
#define CPLD_LED_0_4 0x80
/** LED 2: both bits 0 = on. */
#define CPLD_LED_2_HIGH 0x10
#define CPLD_LED_2_LOW 0x08
/** LED 5. */
#define CPLD_REG_BOARD_LED_B 0xD9
/** LED 5 (0 = on). */
#define CPLD_LED_5 0x80

/** Button event 1. */
#define CPLD_REG_BUTTON_EVENT_B 0xE0
#define CPLD_BUTTON_EVENT_1 0x80

/** BIOS flash control. */
#define CPLD_REG_BIOS_FLASH 0xEA
/** BIOS flash owner (1 = management controller, 0 = host). */
#define CPLD_BIOS_OWNER 0x40
/** BIOS switch and write protect, driven together. */
#define CPLD_BIOS_SWITCH_AND_WP 0x30
/** BIOS write protect (1 = protected). */
#define CPLD_BIOS_WRITE_PROTECT 0x10

/** Component resets and the CPLD heartbeat. */
#define CPLD_REG_RESET_D 0xEC
#define CPLD_COMPONENT_RESET_3 0x80
#define CPLD_COMPONENT_RESET_4 0x40
#define CPLD_COMPONENT_RESET_20 0x20
/** CPLD heartbeat (write 1). */
#define CPLD_HEARTBEAT 0x04

/** AMC module presence. */
#define CPLD_REG_AMC_PRESENCE 0xF4

/** Serial-port routing. */
#define CPLD_REG_SERIAL_ROUTING 0xF7
/** Auxiliary-port routing, 0 to 2. */
#define CPLD_SERIAL_AUX_ROUTE 0xF0
/** Routing code of host, panel and SOL, 1 to 6. */
#define CPLD_SERIAL_ROUTE 0x0F

/** RAID card error lines. */
#define CPLD_REG_RAID_STATUS 0xFC
/** Both 1 = no error. */
#define CPLD_RAID_NO_ERROR 0x30

#endif
