# fish completion of boardctl. Made by boardctl_pages; do not edit.

function __boardctl_words
    switch "$argv[1]"
        case ''
            printf '%s\t%s\n' 'info' 'Which board this is, at a glance' 'cpld' 'Registers of the board\'s CPLD, by name or offset' 'power' 'Host power: see it, switch it' 'reset' 'Reset lines of the host and of board components' 'button' 'The host\'s power button' 'nmi' 'Interrupt the host, which usually makes it dump and stop' 'cmos' 'The host\'s CMOS, which holds its firmware settings' 'led' 'LEDs of the panel, the board and the SAS cables' 'faults' 'Faults of CPUs, memory and RAID card' 'disk' 'Disk bays and the HDD backplane' 'serial' 'Where host, panel and SOL serial ports are connected to' 'slot' 'Where the board sits in the chassis, and the host\'s POST codes' 'inventory' 'What the board can hold, and what is there' 'i2c' 'I2C slaves: read, write, find them' 'ipmb' 'Messages on the IPMB channels, and the channels\' state' 'kcs' 'The host\'s IPMI interface KCS' 'bt' 'The host\'s IPMI interface BT' 'ram' 'Reserved RAM in the FPGA, 1024 bytes' 'sol' 'What the host prints on its serial console' 'blackbox' 'The record of the host\'s last moments' 'peci' 'The PECI bridge to the CPUs' 'rtc' 'The real-time clock' 'adc' 'The battery, as the converter sees it' 'temp' 'Temperature at the air inlet' 'env' 'The boot loader\'s variables' 'uart' 'The controller\'s serial port' 'gpio' 'The controller\'s own lines' 'fpga' 'The FPGA: registers, state, bitstream' 'flash' 'The controller\'s flash, by partition' 'bios' 'The host\'s BIOS flash' 'cpld-load' 'Program a CPLD of the board' 'lan' 'The management network port' 'version' 'Versions of the tool, the library and the board\'s logic' 'watch' 'A live view of the board'
        case 'cpld read 1'
            printf '%s\t%s\n' 'BOARD_ID' '' 'PCB_VERSION' '' 'BOM_VERSION' '' 'PRODUCT_ID' '' 'CPLD_VERSION' '' 'TEST' '' 'COMPILE_TIME_0' '' 'COMPILE_TIME_1' '' 'COMPILE_TIME_2' '' 'COMPILE_TIME_3' '' 'COMPILE_TIME_4' '' 'RESERVED_0' '' 'RESERVED_1' '' 'CPU0_STATUS' '' 'CPU0_ERROR' '' 'CPU1_STATUS' '' 'CPU1_ERROR' '' 'MEMORY_EVENT_LOW' '' 'MEMORY_EVENT_HIGH' '' 'PANEL_LED' '' 'DISK_STATUS_01' '' 'DISK_STATUS_23' '' 'HDD_BACKPLANE_01' '' 'HDD_BACKPLANE_2' '' 'POWER_BUTTON' '' 'CHIPSET' '' 'POWER_STATE' '' 'RESET_B' '' 'CPU_INDICATION_A' '' 'CPU_INDICATION_B' '' 'AC_LOSS' '' 'ADC_CONTROL' '' 'RESET_C' '' 'BOARD_2' '' 'BOARD_3' '' 'RAID_CARD' '' 'BOARD_6' '' 'BOARD_LED_A' '' 'BOARD_LED_B' '' 'BUTTON_EVENT_B' '' 'BIOS_FLASH' '' 'RESET_D' '' 'AMC_PRESENCE' '' 'SERIAL_ROUTING' '' 'RAID_STATUS' '' 'CPU0_STATUS.CPU_PRESENT' '' 'CPU1_STATUS.CPU_PRESENT' '' 'CPU0_STATUS.CPU_GENERATION' '' 'CPU1_STATUS.CPU_GENERATION' '' 'CPU0_STATUS.CPU0_IIO_ERROR' '' 'CPU0_STATUS.CPU0_STATUS_TYPE_9' '' 'CPU0_STATUS.CPU0_STATUS_TYPE_10' '' 'CPU0_STATUS.CPU_THERMAL_TRIP' '' 'CPU1_STATUS.CPU_THERMAL_TRIP' '' 'CPU0_ERROR.CPU_ERROR_TYPE_5' '' 'CPU1_ERROR.CPU_ERROR_TYPE_5' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_0' '' 'CPU0_ERROR.CPU0_MACHINE_CHECK' '' 'CPU0_ERROR.CPU0_INTERNAL_ERROR' '' 'CPU0_ERROR.CPU_HOT_INDICATION_0' '' 'CPU1_ERROR.CPU_HOT_INDICATION_0' '' 'CPU0_ERROR.CPU_HOT_INDICATION_1' '' 'CPU1_ERROR.CPU_HOT_INDICATION_1' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_1' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_2' '' 'CPU1_ERROR.CPU1_HOT_CONTROL_3' '' 'CPU1_ERROR.CPU1_HOT_CONTROL_4' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_FIRST' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_FIRST' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_SECOND' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_SECOND' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_THIRD' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_THIRD' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_FOURTH' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_FOURTH' '' 'PANEL_LED.LED_192' '' 'PANEL_LED.SAS_CABLE_LED_0' '' 'PANEL_LED.SAS_CABLE_LED_1' '' 'PANEL_LED.SAS_CABLE_LED_2' '' 'DISK_STATUS_01.DISK_EVEN' '' 'DISK_STATUS_23.DISK_EVEN' '' 'DISK_STATUS_01.DISK_ODD' '' 'DISK_STATUS_23.DISK_ODD' '' 'HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_0' '' 'HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_1' '' 'HDD_BACKPLANE_2.HDD_BACKPLANE_PORT_2' '' 'POWER_BUTTON.POWER_BUTTON_PRESSED' '' 'POWER_BUTTON.BUTTON_EVENT_0' '' 'POWER_BUTTON.POWER_EVENT_0' '' 'POWER_BUTTON.POWER_BUTTON_ENABLE' '' 'POWER_BUTTON.SYSTEM_RESET_FLAG' '' 'POWER_BUTTON.POWER_EVENT_2' '' 'POWER_BUTTON.COMPONENT_RESET_0' '' 'CHIPSET.CHIPSET_STATUS' '' 'CHIPSET.CLEAR_CMOS' '' 'CHIPSET.NMI_REQUEST' '' 'POWER_STATE.ACPI_S4' '' 'POWER_STATE.POWER_GOOD' '' 'RESET_B.COMPONENT_RESET_1' '' 'CPU_INDICATION_A.CPU0_INDICATION' '' 'CPU_INDICATION_B.CPU0_INDICATION' '' 'CPU_INDICATION_A.CPU1_INDICATION' '' 'CPU_INDICATION_B.CPU1_INDICATION' '' 'CPU_INDICATION_B.MEMORY_EVENT_GROUP1_EVEN' '' 'CPU_INDICATION_B.MEMORY_EVENT_GROUP1_ODD' '' 'AC_LOSS.POWER_EVENT_1' '' 'AC_LOSS.POWER_BEFORE_AC_LOST' '' 'ADC_CONTROL.ADC_ASSERT' '' 'RESET_C.COMPONENT_RESET_10' '' 'RESET_C.COMPONENT_RESET_12' '' 'RESET_C.COMPONENT_RESET_9' '' 'RESET_C.COMPONENT_RESET_8' '' 'RESET_C.COMPONENT_RESET_13' '' 'RESET_C.COMPONENT_RESET_5' '' 'RESET_C.COMPONENT_RESET_14' '' 'BOARD_2.SUBBOARD_PCB_VERSION' '' 'BOARD_3.SUBBOARD_PCB_VERSION' '' 'RAID_CARD.SUBBOARD_PCB_VERSION' '' 'BOARD_3.SUBBOARD_ID' '' 'RAID_CARD.SUBBOARD_ID' '' 'BOARD_6.BOARD_6_PRESENT' '' 'BOARD_LED_A.LED_0_4' '' 'BOARD_LED_A.LED_2_HIGH' '' 'BOARD_LED_A.LED_2_LOW' '' 'BOARD_LED_B.LED_5' '' 'BUTTON_EVENT_B.BUTTON_EVENT_1' '' 'BIOS_FLASH.BIOS_OWNER' '' 'BIOS_FLASH.BIOS_SWITCH_AND_WP' '' 'BIOS_FLASH.BIOS_WRITE_PROTECT' '' 'RESET_D.COMPONENT_RESET_3' '' 'RESET_D.COMPONENT_RESET_4' '' 'RESET_D.COMPONENT_RESET_20' '' 'RESET_D.HEARTBEAT' '' 'SERIAL_ROUTING.SERIAL_AUX_ROUTE' '' 'SERIAL_ROUTING.SERIAL_ROUTE' '' 'RAID_STATUS.RAID_NO_ERROR' ''
        case 'cpld write 1'
            printf '%s\t%s\n' 'BOARD_ID' '' 'PCB_VERSION' '' 'BOM_VERSION' '' 'PRODUCT_ID' '' 'CPLD_VERSION' '' 'TEST' '' 'COMPILE_TIME_0' '' 'COMPILE_TIME_1' '' 'COMPILE_TIME_2' '' 'COMPILE_TIME_3' '' 'COMPILE_TIME_4' '' 'RESERVED_0' '' 'RESERVED_1' '' 'CPU0_STATUS' '' 'CPU0_ERROR' '' 'CPU1_STATUS' '' 'CPU1_ERROR' '' 'MEMORY_EVENT_LOW' '' 'MEMORY_EVENT_HIGH' '' 'PANEL_LED' '' 'DISK_STATUS_01' '' 'DISK_STATUS_23' '' 'HDD_BACKPLANE_01' '' 'HDD_BACKPLANE_2' '' 'POWER_BUTTON' '' 'CHIPSET' '' 'POWER_STATE' '' 'RESET_B' '' 'CPU_INDICATION_A' '' 'CPU_INDICATION_B' '' 'AC_LOSS' '' 'ADC_CONTROL' '' 'RESET_C' '' 'BOARD_2' '' 'BOARD_3' '' 'RAID_CARD' '' 'BOARD_6' '' 'BOARD_LED_A' '' 'BOARD_LED_B' '' 'BUTTON_EVENT_B' '' 'BIOS_FLASH' '' 'RESET_D' '' 'AMC_PRESENCE' '' 'SERIAL_ROUTING' '' 'RAID_STATUS' '' 'CPU0_STATUS.CPU_PRESENT' '' 'CPU1_STATUS.CPU_PRESENT' '' 'CPU0_STATUS.CPU_GENERATION' '' 'CPU1_STATUS.CPU_GENERATION' '' 'CPU0_STATUS.CPU0_IIO_ERROR' '' 'CPU0_STATUS.CPU0_STATUS_TYPE_9' '' 'CPU0_STATUS.CPU0_STATUS_TYPE_10' '' 'CPU0_STATUS.CPU_THERMAL_TRIP' '' 'CPU1_STATUS.CPU_THERMAL_TRIP' '' 'CPU0_ERROR.CPU_ERROR_TYPE_5' '' 'CPU1_ERROR.CPU_ERROR_TYPE_5' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_0' '' 'CPU0_ERROR.CPU0_MACHINE_CHECK' '' 'CPU0_ERROR.CPU0_INTERNAL_ERROR' '' 'CPU0_ERROR.CPU_HOT_INDICATION_0' '' 'CPU1_ERROR.CPU_HOT_INDICATION_0' '' 'CPU0_ERROR.CPU_HOT_INDICATION_1' '' 'CPU1_ERROR.CPU_HOT_INDICATION_1' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_1' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_2' '' 'CPU1_ERROR.CPU1_HOT_CONTROL_3' '' 'CPU1_ERROR.CPU1_HOT_CONTROL_4' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_FIRST' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_FIRST' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_SECOND' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_SECOND' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_THIRD' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_THIRD' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_FOURTH' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_FOURTH' '' 'PANEL_LED.LED_192' '' 'PANEL_LED.SAS_CABLE_LED_0' '' 'PANEL_LED.SAS_CABLE_LED_1' '' 'PANEL_LED.SAS_CABLE_LED_2' '' 'DISK_STATUS_01.DISK_EVEN' '' 'DISK_STATUS_23.DISK_EVEN' '' 'DISK_STATUS_01.DISK_ODD' '' 'DISK_STATUS_23.DISK_ODD' '' 'HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_0' '' 'HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_1' '' 'HDD_BACKPLANE_2.HDD_BACKPLANE_PORT_2' '' 'POWER_BUTTON.POWER_BUTTON_PRESSED' '' 'POWER_BUTTON.BUTTON_EVENT_0' '' 'POWER_BUTTON.POWER_EVENT_0' '' 'POWER_BUTTON.POWER_BUTTON_ENABLE' '' 'POWER_BUTTON.SYSTEM_RESET_FLAG' '' 'POWER_BUTTON.POWER_EVENT_2' '' 'POWER_BUTTON.COMPONENT_RESET_0' '' 'CHIPSET.CHIPSET_STATUS' '' 'CHIPSET.CLEAR_CMOS' '' 'CHIPSET.NMI_REQUEST' '' 'POWER_STATE.ACPI_S4' '' 'POWER_STATE.POWER_GOOD' '' 'RESET_B.COMPONENT_RESET_1' '' 'CPU_INDICATION_A.CPU0_INDICATION' '' 'CPU_INDICATION_B.CPU0_INDICATION' '' 'CPU_INDICATION_A.CPU1_INDICATION' '' 'CPU_INDICATION_B.CPU1_INDICATION' '' 'CPU_INDICATION_B.MEMORY_EVENT_GROUP1_EVEN' '' 'CPU_INDICATION_B.MEMORY_EVENT_GROUP1_ODD' '' 'AC_LOSS.POWER_EVENT_1' '' 'AC_LOSS.POWER_BEFORE_AC_LOST' '' 'ADC_CONTROL.ADC_ASSERT' '' 'RESET_C.COMPONENT_RESET_10' '' 'RESET_C.COMPONENT_RESET_12' '' 'RESET_C.COMPONENT_RESET_9' '' 'RESET_C.COMPONENT_RESET_8' '' 'RESET_C.COMPONENT_RESET_13' '' 'RESET_C.COMPONENT_RESET_5' '' 'RESET_C.COMPONENT_RESET_14' '' 'BOARD_2.SUBBOARD_PCB_VERSION' '' 'BOARD_3.SUBBOARD_PCB_VERSION' '' 'RAID_CARD.SUBBOARD_PCB_VERSION' '' 'BOARD_3.SUBBOARD_ID' '' 'RAID_CARD.SUBBOARD_ID' '' 'BOARD_6.BOARD_6_PRESENT' '' 'BOARD_LED_A.LED_0_4' '' 'BOARD_LED_A.LED_2_HIGH' '' 'BOARD_LED_A.LED_2_LOW' '' 'BOARD_LED_B.LED_5' '' 'BUTTON_EVENT_B.BUTTON_EVENT_1' '' 'BIOS_FLASH.BIOS_OWNER' '' 'BIOS_FLASH.BIOS_SWITCH_AND_WP' '' 'BIOS_FLASH.BIOS_WRITE_PROTECT' '' 'RESET_D.COMPONENT_RESET_3' '' 'RESET_D.COMPONENT_RESET_4' '' 'RESET_D.COMPONENT_RESET_20' '' 'RESET_D.HEARTBEAT' '' 'SERIAL_ROUTING.SERIAL_AUX_ROUTE' '' 'SERIAL_ROUTING.SERIAL_ROUTE' '' 'RAID_STATUS.RAID_NO_ERROR' ''
        case 'cpld dump --'
            printf '%s\t%s\n' '--all' 'those without a name too'
        case 'cpld watch 1'
            printf '%s\t%s\n' 'BOARD_ID' '' 'PCB_VERSION' '' 'BOM_VERSION' '' 'PRODUCT_ID' '' 'CPLD_VERSION' '' 'TEST' '' 'COMPILE_TIME_0' '' 'COMPILE_TIME_1' '' 'COMPILE_TIME_2' '' 'COMPILE_TIME_3' '' 'COMPILE_TIME_4' '' 'RESERVED_0' '' 'RESERVED_1' '' 'CPU0_STATUS' '' 'CPU0_ERROR' '' 'CPU1_STATUS' '' 'CPU1_ERROR' '' 'MEMORY_EVENT_LOW' '' 'MEMORY_EVENT_HIGH' '' 'PANEL_LED' '' 'DISK_STATUS_01' '' 'DISK_STATUS_23' '' 'HDD_BACKPLANE_01' '' 'HDD_BACKPLANE_2' '' 'POWER_BUTTON' '' 'CHIPSET' '' 'POWER_STATE' '' 'RESET_B' '' 'CPU_INDICATION_A' '' 'CPU_INDICATION_B' '' 'AC_LOSS' '' 'ADC_CONTROL' '' 'RESET_C' '' 'BOARD_2' '' 'BOARD_3' '' 'RAID_CARD' '' 'BOARD_6' '' 'BOARD_LED_A' '' 'BOARD_LED_B' '' 'BUTTON_EVENT_B' '' 'BIOS_FLASH' '' 'RESET_D' '' 'AMC_PRESENCE' '' 'SERIAL_ROUTING' '' 'RAID_STATUS' '' 'CPU0_STATUS.CPU_PRESENT' '' 'CPU1_STATUS.CPU_PRESENT' '' 'CPU0_STATUS.CPU_GENERATION' '' 'CPU1_STATUS.CPU_GENERATION' '' 'CPU0_STATUS.CPU0_IIO_ERROR' '' 'CPU0_STATUS.CPU0_STATUS_TYPE_9' '' 'CPU0_STATUS.CPU0_STATUS_TYPE_10' '' 'CPU0_STATUS.CPU_THERMAL_TRIP' '' 'CPU1_STATUS.CPU_THERMAL_TRIP' '' 'CPU0_ERROR.CPU_ERROR_TYPE_5' '' 'CPU1_ERROR.CPU_ERROR_TYPE_5' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_0' '' 'CPU0_ERROR.CPU0_MACHINE_CHECK' '' 'CPU0_ERROR.CPU0_INTERNAL_ERROR' '' 'CPU0_ERROR.CPU_HOT_INDICATION_0' '' 'CPU1_ERROR.CPU_HOT_INDICATION_0' '' 'CPU0_ERROR.CPU_HOT_INDICATION_1' '' 'CPU1_ERROR.CPU_HOT_INDICATION_1' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_1' '' 'CPU0_ERROR.CPU0_HOT_CONTROL_2' '' 'CPU1_ERROR.CPU1_HOT_CONTROL_3' '' 'CPU1_ERROR.CPU1_HOT_CONTROL_4' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_FIRST' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_FIRST' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_SECOND' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_SECOND' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_THIRD' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_THIRD' '' 'MEMORY_EVENT_HIGH.MEMORY_EVENT_FOURTH' '' 'MEMORY_EVENT_LOW.MEMORY_EVENT_FOURTH' '' 'PANEL_LED.LED_192' '' 'PANEL_LED.SAS_CABLE_LED_0' '' 'PANEL_LED.SAS_CABLE_LED_1' '' 'PANEL_LED.SAS_CABLE_LED_2' '' 'DISK_STATUS_01.DISK_EVEN' '' 'DISK_STATUS_23.DISK_EVEN' '' 'DISK_STATUS_01.DISK_ODD' '' 'DISK_STATUS_23.DISK_ODD' '' 'HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_0' '' 'HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_1' '' 'HDD_BACKPLANE_2.HDD_BACKPLANE_PORT_2' '' 'POWER_BUTTON.POWER_BUTTON_PRESSED' '' 'POWER_BUTTON.BUTTON_EVENT_0' '' 'POWER_BUTTON.POWER_EVENT_0' '' 'POWER_BUTTON.POWER_BUTTON_ENABLE' '' 'POWER_BUTTON.SYSTEM_RESET_FLAG' '' 'POWER_BUTTON.POWER_EVENT_2' '' 'POWER_BUTTON.COMPONENT_RESET_0' '' 'CHIPSET.CHIPSET_STATUS' '' 'CHIPSET.CLEAR_CMOS' '' 'CHIPSET.NMI_REQUEST' '' 'POWER_STATE.ACPI_S4' '' 'POWER_STATE.POWER_GOOD' '' 'RESET_B.COMPONENT_RESET_1' '' 'CPU_INDICATION_A.CPU0_INDICATION' '' 'CPU_INDICATION_B.CPU0_INDICATION' '' 'CPU_INDICATION_A.CPU1_INDICATION' '' 'CPU_INDICATION_B.CPU1_INDICATION' '' 'CPU_INDICATION_B.MEMORY_EVENT_GROUP1_EVEN' '' 'CPU_INDICATION_B.MEMORY_EVENT_GROUP1_ODD' '' 'AC_LOSS.POWER_EVENT_1' '' 'AC_LOSS.POWER_BEFORE_AC_LOST' '' 'ADC_CONTROL.ADC_ASSERT' '' 'RESET_C.COMPONENT_RESET_10' '' 'RESET_C.COMPONENT_RESET_12' '' 'RESET_C.COMPONENT_RESET_9' '' 'RESET_C.COMPONENT_RESET_8' '' 'RESET_C.COMPONENT_RESET_13' '' 'RESET_C.COMPONENT_RESET_5' '' 'RESET_C.COMPONENT_RESET_14' '' 'BOARD_2.SUBBOARD_PCB_VERSION' '' 'BOARD_3.SUBBOARD_PCB_VERSION' '' 'RAID_CARD.SUBBOARD_PCB_VERSION' '' 'BOARD_3.SUBBOARD_ID' '' 'RAID_CARD.SUBBOARD_ID' '' 'BOARD_6.BOARD_6_PRESENT' '' 'BOARD_LED_A.LED_0_4' '' 'BOARD_LED_A.LED_2_HIGH' '' 'BOARD_LED_A.LED_2_LOW' '' 'BOARD_LED_B.LED_5' '' 'BUTTON_EVENT_B.BUTTON_EVENT_1' '' 'BIOS_FLASH.BIOS_OWNER' '' 'BIOS_FLASH.BIOS_SWITCH_AND_WP' '' 'BIOS_FLASH.BIOS_WRITE_PROTECT' '' 'RESET_D.COMPONENT_RESET_3' '' 'RESET_D.COMPONENT_RESET_4' '' 'RESET_D.COMPONENT_RESET_20' '' 'RESET_D.HEARTBEAT' '' 'SERIAL_ROUTING.SERIAL_AUX_ROUTE' '' 'SERIAL_ROUTING.SERIAL_ROUTE' '' 'RAID_STATUS.RAID_NO_ERROR' ''
        case 'cpld watch --'
            printf '%s\t%s\n' '--interval' 'time between polls' '--count' 'end after so many polls; 0 does not end'
        case 'cpld'
            printf '%s\t%s\n' 'read' 'Read a register, or some bits of it' 'write' 'Write a register, or some bits of it' 'dump' 'Show all registers that have a name' 'watch' 'Show changes of registers as they happen' 'self-test' 'Write patterns to the test register and read them back' 'heartbeat' 'Tell the CPLD once that the controller is alive'
        case 'power on --'
            printf '%s\t%s\n' '--timeout' 'how long to wait for the host\'s power'
        case 'power off --'
            printf '%s\t%s\n' '--force' 'hold the button until the power is cut; the host does not get to shut down' '--timeout' 'how long to wait for the host\'s power'
        case 'power cycle --'
            printf '%s\t%s\n' '--timeout' 'how long to wait for the host\'s power'
        case 'power ac-loss 1'
            printf '%s\t%s\n' 'on' '' 'off' ''
        case 'power'
            printf '%s\t%s\n' 'status' 'Show the host\'s power, ACPI state and power events' 'on' 'Switch the host on and wait until it is' 'off' 'Ask the host to shut down and wait until it is off' 'cycle' 'Cut the host\'s power, wait a second and switch it on' 'clear-event' 'Clear power event 0' 'ac-loss' 'Set whether the host was on when AC was lost'
        case 'reset pulse 1'
            printf '%s\t%s\n' 'host' 'the host server' '0' '' '1' '' '3' '' '4' '' '5' '' '8' '' '9' '' '10' '' '12' '' '13' '' '14' '' '20' ''
        case 'reset pulse --'
            printf '%s\t%s\n' '--hold' 'how long the line is asserted'
        case 'reset assert 1'
            printf '%s\t%s\n' 'host' 'the host server' '0' '' '1' '' '3' '' '4' '' '5' '' '8' '' '9' '' '10' '' '12' '' '13' '' '14' '' '20' ''
        case 'reset release 1'
            printf '%s\t%s\n' 'host' 'the host server' '0' '' '1' '' '3' '' '4' '' '5' '' '8' '' '9' '' '10' '' '12' '' '13' '' '14' '' '20' ''
        case 'reset flag 1'
            printf '%s\t%s\n' '0' '' '1' ''
        case 'reset'
            printf '%s\t%s\n' 'pulse' 'Assert a reset line for a while, then release it' 'assert' 'Assert a reset line and leave it so' 'release' 'Release a reset line' 'flag' 'Show or write the system reset flag'
        case 'button press --'
            printf '%s\t%s\n' '--hold' 'how long the button is held'
        case 'button'
            printf '%s\t%s\n' 'status' 'Show the button\'s line, lock and events' 'press' 'Press the button and release it' 'lock' 'Lock the button, for people too' 'unlock' 'Unlock the button' 'clear-event' 'Clear a latched button event'
        case 'nmi'
            printf '%s\t%s\n' 'send' 'Raise the NMI request and drop it again' 'raise' 'Raise the NMI request and leave it so' 'drop' 'Drop the NMI request'
        case 'cmos'
            printf '%s\t%s\n' 'clear' 'Clear the CMOS; the host starts with default settings'
        case 'led set 1'
            printf '%s\t%s\n' '0' '' '2' '' '4' '' '5' '' '192' ''
        case 'led set 2'
            printf '%s\t%s\n' 'on' '' 'off' ''
        case 'led set --'
            printf '%s\t%s\n' '--colour' 'colour code; only LED 2 looks at it, when it is switched off'
        case 'led set-sas 2'
            printf '%s\t%s\n' 'on' '' 'off' ''
        case 'led set-heartbeat 1'
            printf '%s\t%s\n' 'on' '' 'off' ''
        case 'led'
            printf '%s\t%s\n' 'list' 'Show the LEDs of panel and board' 'set' 'Switch a LED of panel or board' 'set-sas' 'Write the LED bit of a SAS cable' 'set-heartbeat' 'Switch the line of the controller\'s heartbeat LED'
        case 'faults show --'
            printf '%s\t%s\n' '--polls' 'how often debounced statuses are polled, 50 ms apart; ten polls in a row must agree'
        case 'faults hot-control 2'
            printf '%s\t%s\n' 'on' '' 'off' ''
        case 'faults'
            printf '%s\t%s\n' 'show' 'Show what is wrong' 'clear-thermal-trip' 'Clear the thermal trip of a CPU' 'clear-machine-check' 'Clear the machine-check error' 'hot-control' 'Drive a hot-control output'
        case 'disk list --'
            printf '%s\t%s\n' '--polls' 'how often debounced statuses are polled, 50 ms apart; ten polls in a row must agree'
        case 'disk'
            printf '%s\t%s\n' 'list' 'Show the status lines of all bays' 'backplane' 'Show what the HDD backplane\'s ports are connected to'
        case 'serial connect 1'
            printf '%s\t%s\n' 'host' '' 'panel' '' 'sol' '' 'auxiliary' ''
        case 'serial connect 2'
            printf '%s\t%s\n' '0' '' '1' '' '2' '' '3' '' '4' ''
        case 'serial'
            printf '%s\t%s\n' 'show' 'Show the endpoint of each side' 'connect' 'Connect a side to an endpoint' 'set-code' 'Write the routing code of host, panel and SOL'
        case 'slot post-codes --'
            printf '%s\t%s\n' '--count' 'how many bytes of the buffer'
        case 'slot'
            printf '%s\t%s\n' 'show' 'Show slot and ids that the FPGA reads from the chassis' 'post-codes' 'Show the host\'s POST codes (port 80)'
        case 'inventory'
            printf '%s\t%s\n' 'devices' 'Count the devices of each type' 'cpus' 'Show the CPUs' 'dimms' 'Show where the DIMM slots are' 'memory' 'Show the PCI addresses of the memory controllers' 'cards' 'Show the RAID card and the names of known ones' 'pcie' 'Show the PCI addresses of slots and on-board functions'
        case 'i2c read --'
            printf '%s\t%s\n' '--offset' 'on channel 2, where to read from' '--delay' 'time that the slave needs'
        case 'i2c write --'
            printf '%s\t%s\n' '--delay' 'time that the slave needs'
        case 'i2c transfer --'
            printf '%s\t%s\n' '--delay' 'time that the slave needs'
        case 'i2c'
            printf '%s\t%s\n' 'read' 'Read from a slave' 'write' 'Write to a slave' 'transfer' 'Write to a slave, then read from it' 'scan' 'Find the slaves of a channel' 'status' 'Show the state of the FPGA\'s channels' 'reset' 'Reset a channel of the FPGA'
        case 'ipmb receive --'
            printf '%s\t%s\n' '--timeout' 'how long to wait for a message'
        case 'ipmb'
            printf '%s\t%s\n' 'send' 'Send one message' 'receive' 'Receive one message' 'status' 'Show state and own address of each channel' 'address' 'Set the controller\'s own address' 'enable' 'Enable a channel' 'disable' 'Disable a channel' 'reset' 'Reset a channel'
        case 'kcs read --'
            printf '%s\t%s\n' '--timeout' 'how long to wait for a message'
        case 'kcs'
            printf '%s\t%s\n' 'status' 'Show the interface\'s status byte' 'set-status' 'Set the interface\'s status byte' 'read' 'Receive a message from the host' 'write' 'Send a message to the host'
        case 'bt read --'
            printf '%s\t%s\n' '--timeout' 'how long to wait for a message'
        case 'bt'
            printf '%s\t%s\n' 'status' 'Show the interface\'s status byte' 'set-status' 'Set the interface\'s status byte' 'read' 'Receive a message from the host' 'write' 'Send a message to the host'
        case 'ram'
            printf '%s\t%s\n' 'read' 'Read from the reserved RAM' 'write' 'Write to the reserved RAM'
        case 'sol follow --'
            printf '%s\t%s\n' '--interval' 'time between polls' '--count' 'end after so many polls; 0 does not end'
        case 'sol'
            printf '%s\t%s\n' 'status' 'Show how much waits to be read' 'read' 'Read what waits' 'follow' 'Show what the host prints as it comes'
        case 'blackbox save 1'
            __fish_complete_path (commandline -ct)
        case 'blackbox save --'
            printf '%s\t%s\n' '--first' 'first fetch parameter, passed to the FPGA' '--second' 'second fetch parameter, passed to the FPGA' '--length' 'how much to read'
        case 'blackbox'
            printf '%s\t%s\n' 'info' 'Show whether it records and whether there is a record' 'save' 'Save the record to a file' 'enable' 'Let it record' 'disable' 'Let it record no more'
        case 'peci'
            printf '%s\t%s\n' 'init' 'Set the bridge up' 'read' 'Read a register of the bridge' 'dump' 'Read all registers of the bridge'
        case 'rtc set 1'
            printf '%s\t%s\n' 'now' ''
        case 'rtc'
            printf '%s\t%s\n' 'get' 'Show what time it is by the real-time clock' 'set' 'Set the real-time clock' 'sync' 'Set the system clock from the real-time clock'
        case 'env get --'
            printf '%s\t%s\n' '--default' 'what is shown if there is none; an error if absent'
        case 'env export 1'
            __fish_complete_path (commandline -ct)
        case 'env import 1'
            __fish_complete_path (commandline -ct)
        case 'env'
            printf '%s\t%s\n' 'get' 'Show a variable' 'set' 'Set a variable' 'delete' 'Delete a variable' 'list' 'Show all variables' 'export' 'Save all variables as text' 'import' 'Set the variables of a text'
        case 'uart send --'
            printf '%s\t%s\n' '--newline' 'and a carriage return and newline behind it'
        case 'uart receive --'
            printf '%s\t%s\n' '--timeout' 'how long' '--count' 'end earlier after so many bytes'
        case 'uart'
            printf '%s\t%s\n' 'baud' 'Show the rate in force' 'send' 'Send a text' 'receive' 'Receive for a while'
        case 'gpio heartbeat 1'
            printf '%s\t%s\n' '0' '' '1' ''
        case 'gpio blink --'
            printf '%s\t%s\n' '--count' 'how many changes' '--interval' 'time between changes'
        case 'gpio'
            printf '%s\t%s\n' 'show' 'Show the lines that the board uses' 'heartbeat' 'Drive the heartbeat LED\'s line' 'blink' 'Blink with the heartbeat LED'
        case 'fpga watchdog 1'
            printf '%s\t%s\n' 'kick' '' 'stop' ''
        case 'fpga load 1'
            __fish_complete_path (commandline -ct)
        case 'fpga'
            printf '%s\t%s\n' 'reg' 'Read a register, or write it and read it back' 'version' 'Show the FPGA\'s version' 'status' 'Show version, self test, DDR memory and the driver\'s clock' 'self-test' 'Show the result of the FPGA\'s self test' 'ddr-test' 'Start the test of the FPGA\'s DDR memory' 'start' 'Start the FPGA' 'com-state' 'Tell the FPGA the communication state' 'watchdog' 'Kick or stop the hardware watchdog' 'jtag-reset' 'Reset the CPLD\'s JTAG chain' 'load' 'Load a bitstream'
        case 'flash copy 2'
            __fish_complete_path (commandline -ct)
        case 'flash copy --'
            printf '%s\t%s\n' '--offset' 'first byte of the image in the file' '--length' 'how much of the file; all of it if absent'
        case 'flash erase --'
            printf '%s\t%s\n' '--offset' 'first byte on the partition' '--length' 'how much; up to the end if absent'
        case 'flash read 2'
            __fish_complete_path (commandline -ct)
        case 'flash read --'
            printf '%s\t%s\n' '--offset' 'first byte on the partition' '--length' 'how much; up to the end if absent'
        case 'flash write 2'
            __fish_complete_path (commandline -ct)
        case 'flash write --'
            printf '%s\t%s\n' '--offset' 'first byte on the partition'
        case 'flash verify 2'
            __fish_complete_path (commandline -ct)
        case 'flash verify --'
            printf '%s\t%s\n' '--offset' 'first byte on the partition'
        case 'flash'
            printf '%s\t%s\n' 'list' 'Show the partitions' 'copy' 'Copy an image to the start of a partition and compare it' 'erase' 'Erase a partition, or whole blocks of it' 'read' 'Read a partition, or a stretch of it, into a file' 'write' 'Write a file to a partition without erasing, and compare it' 'verify' 'Compare a partition with a file'
        case 'bios owner 1'
            printf '%s\t%s\n' 'host' '' 'controller' ''
        case 'bios protect 1'
            printf '%s\t%s\n' 'on' '' 'off' ''
        case 'bios save 1'
            __fish_complete_path (commandline -ct)
        case 'bios save --'
            printf '%s\t%s\n' '--size' 'how much, from the start'
        case 'bios load 1'
            __fish_complete_path (commandline -ct)
        case 'bios load --'
            printf '%s\t%s\n' '--offset' 'first byte of the image in the file' '--size' 'size of the image; the rest of the file if absent'
        case 'bios load-raw 1'
            __fish_complete_path (commandline -ct)
        case 'bios load-raw --'
            printf '%s\t%s\n' '--size' 'how much of the file; all of it if absent'
        case 'bios decide 1'
            __fish_complete_path (commandline -ct)
        case 'bios decide --'
            printf '%s\t%s\n' '--offset' 'first byte of the image in the file' '--size' 'size of the image; the rest of the file if absent'
        case 'bios write 2'
            __fish_complete_path (commandline -ct)
        case 'bios erase --'
            printf '%s\t%s\n' '--size' 'how much, from the start'
        case 'bios'
            printf '%s\t%s\n' 'status' 'Show whose the flash is, and its write protection' 'owner' 'Hand the flash over' 'protect' 'Switch the flash\'s write protection' 'save' 'Save the flash to a file' 'load' 'Update the flash from an image' 'load-raw' 'Write a file to the start of the flash, whatever either holds' 'decide' 'Show whether an image needs a full upgrade' 'read' 'Read some bytes of the flash' 'write' 'Write a file to a place on the flash, without erasing' 'erase' 'Erase the flash'
        case 'cpld-load 1'
            __fish_complete_path (commandline -ct)
        case 'watch --'
            printf '%s\t%s\n' '--interval' 'time between views' '--count' 'end after so many views; 0 does not end'
    end
end

function __boardctl_complete
    set -l names 'info' 'cpld' 'cpld read' 'cpld write' 'cpld dump' 'cpld watch' 'cpld self-test' 'cpld heartbeat' 'power' 'power status' 'power on' 'power off' 'power cycle' 'power clear-event' 'power ac-loss' 'reset' 'reset pulse' 'reset assert' 'reset release' 'reset flag' 'button' 'button status' 'button press' 'button lock' 'button unlock' 'button clear-event' 'nmi' 'nmi send' 'nmi raise' 'nmi drop' 'cmos' 'cmos clear' 'led' 'led list' 'led set' 'led set-sas' 'led set-heartbeat' 'faults' 'faults show' 'faults clear-thermal-trip' 'faults clear-machine-check' 'faults hot-control' 'disk' 'disk list' 'disk backplane' 'serial' 'serial show' 'serial connect' 'serial set-code' 'slot' 'slot show' 'slot post-codes' 'inventory' 'inventory devices' 'inventory cpus' 'inventory dimms' 'inventory memory' 'inventory cards' 'inventory pcie' 'i2c' 'i2c read' 'i2c write' 'i2c transfer' 'i2c scan' 'i2c status' 'i2c reset' 'ipmb' 'ipmb send' 'ipmb receive' 'ipmb status' 'ipmb address' 'ipmb enable' 'ipmb disable' 'ipmb reset' 'kcs' 'kcs status' 'kcs set-status' 'kcs read' 'kcs write' 'bt' 'bt status' 'bt set-status' 'bt read' 'bt write' 'ram' 'ram read' 'ram write' 'sol' 'sol status' 'sol read' 'sol follow' 'blackbox' 'blackbox info' 'blackbox save' 'blackbox enable' 'blackbox disable' 'peci' 'peci init' 'peci read' 'peci dump' 'rtc' 'rtc get' 'rtc set' 'rtc sync' 'adc' 'temp' 'env' 'env get' 'env set' 'env delete' 'env list' 'env export' 'env import' 'uart' 'uart baud' 'uart send' 'uart receive' 'gpio' 'gpio show' 'gpio heartbeat' 'gpio blink' 'fpga' 'fpga reg' 'fpga version' 'fpga status' 'fpga self-test' 'fpga ddr-test' 'fpga start' 'fpga com-state' 'fpga watchdog' 'fpga jtag-reset' 'fpga load' 'flash' 'flash list' 'flash copy' 'flash erase' 'flash read' 'flash write' 'flash verify' 'bios' 'bios status' 'bios owner' 'bios protect' 'bios save' 'bios load' 'bios load-raw' 'bios decide' 'bios read' 'bios write' 'bios erase' 'cpld-load' 'lan' 'version' 'watch'
    set -l value_options --board --colour --count --default --delay --first --hold --interval --length --offset --personality --polls --second --size --timeout
    set -l key ''
    set -l option ''
    set -l place 1
    for word in (commandline -opc)[2..-1]
        if test -n "$option"
            set option ''
        else if contains -- "$word" $value_options
            set option $word
        else if string match -q -- '-*' "$word"
            continue
        else if contains -- (string trim -- "$key $word") $names
            set key (string trim -- "$key $word")
        else
            set place (math $place + 1)
        end
    end
    if test -n "$option"
        __boardctl_words "$key $option"
    else if string match -q -- '-*' (commandline -ct)
        __boardctl_words "$key --"
        printf '%s\t%s\n' '--json' 'write JSON instead of tables, one document per line' '--yes' 'do not ask before what can hurt' '--verbose' 'show the library\'s messages also when all went well' '--virtual' 'work on a virtual board of its own, as it is after power-on' '--personality' 'which virtual board, such as corvo-8 (with --virtual)' '--board' 'join the served virtual board of this name' '--help' 'show help and end' '--version' 'show the tool\'s version and end'
    else
        set -l words (__boardctl_words "$key")
        test -n "$words"; or set words (__boardctl_words "$key $place")
        printf '%s\n' $words
    end
end

complete -c boardctl -f -a '(__boardctl_complete)'
