# bash completion of boardctl. Made by boardctl_pages; do not edit.

_boardctl_words()
{
    case $1 in
    '') echo 'info cpld power reset button nmi cmos led faults disk serial slot inventory i2c ipmb kcs bt ram sol blackbox peci rtc adc temp env uart gpio fpga flash bios cpld-load lan version watch' ;;
    'cpld read 1') echo 'BOARD_ID PCB_VERSION BOM_VERSION PRODUCT_ID CPLD_VERSION TEST COMPILE_TIME_0 COMPILE_TIME_1 COMPILE_TIME_2 COMPILE_TIME_3 COMPILE_TIME_4 RESERVED_0 RESERVED_1 CPU0_STATUS CPU0_ERROR CPU1_STATUS CPU1_ERROR MEMORY_EVENT_LOW MEMORY_EVENT_HIGH PANEL_LED DISK_STATUS_01 DISK_STATUS_23 HDD_BACKPLANE_01 HDD_BACKPLANE_2 POWER_BUTTON CHIPSET POWER_STATE RESET_B CPU_INDICATION_A CPU_INDICATION_B AC_LOSS ADC_CONTROL RESET_C BOARD_2 BOARD_3 RAID_CARD BOARD_6 BOARD_LED_A BOARD_LED_B BUTTON_EVENT_B BIOS_FLASH RESET_D AMC_PRESENCE SERIAL_ROUTING RAID_STATUS CPU0_STATUS.CPU_PRESENT CPU1_STATUS.CPU_PRESENT CPU0_STATUS.CPU_GENERATION CPU1_STATUS.CPU_GENERATION CPU0_STATUS.CPU0_IIO_ERROR CPU0_STATUS.CPU0_STATUS_TYPE_9 CPU0_STATUS.CPU0_STATUS_TYPE_10 CPU0_STATUS.CPU_THERMAL_TRIP CPU1_STATUS.CPU_THERMAL_TRIP CPU0_ERROR.CPU_ERROR_TYPE_5 CPU1_ERROR.CPU_ERROR_TYPE_5 CPU0_ERROR.CPU0_HOT_CONTROL_0 CPU0_ERROR.CPU0_MACHINE_CHECK CPU0_ERROR.CPU0_INTERNAL_ERROR CPU0_ERROR.CPU_HOT_INDICATION_0 CPU1_ERROR.CPU_HOT_INDICATION_0 CPU0_ERROR.CPU_HOT_INDICATION_1 CPU1_ERROR.CPU_HOT_INDICATION_1 CPU0_ERROR.CPU0_HOT_CONTROL_1 CPU0_ERROR.CPU0_HOT_CONTROL_2 CPU1_ERROR.CPU1_HOT_CONTROL_3 CPU1_ERROR.CPU1_HOT_CONTROL_4 MEMORY_EVENT_HIGH.MEMORY_EVENT_FIRST MEMORY_EVENT_LOW.MEMORY_EVENT_FIRST MEMORY_EVENT_HIGH.MEMORY_EVENT_SECOND MEMORY_EVENT_LOW.MEMORY_EVENT_SECOND MEMORY_EVENT_HIGH.MEMORY_EVENT_THIRD MEMORY_EVENT_LOW.MEMORY_EVENT_THIRD MEMORY_EVENT_HIGH.MEMORY_EVENT_FOURTH MEMORY_EVENT_LOW.MEMORY_EVENT_FOURTH PANEL_LED.LED_192 PANEL_LED.SAS_CABLE_LED_0 PANEL_LED.SAS_CABLE_LED_1 PANEL_LED.SAS_CABLE_LED_2 DISK_STATUS_01.DISK_EVEN DISK_STATUS_23.DISK_EVEN DISK_STATUS_01.DISK_ODD DISK_STATUS_23.DISK_ODD HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_0 HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_1 HDD_BACKPLANE_2.HDD_BACKPLANE_PORT_2 POWER_BUTTON.POWER_BUTTON_PRESSED POWER_BUTTON.BUTTON_EVENT_0 POWER_BUTTON.POWER_EVENT_0 POWER_BUTTON.POWER_BUTTON_ENABLE POWER_BUTTON.SYSTEM_RESET_FLAG POWER_BUTTON.POWER_EVENT_2 POWER_BUTTON.COMPONENT_RESET_0 CHIPSET.CHIPSET_STATUS CHIPSET.CLEAR_CMOS CHIPSET.NMI_REQUEST POWER_STATE.ACPI_S4 POWER_STATE.POWER_GOOD RESET_B.COMPONENT_RESET_1 CPU_INDICATION_A.CPU0_INDICATION CPU_INDICATION_B.CPU0_INDICATION CPU_INDICATION_A.CPU1_INDICATION CPU_INDICATION_B.CPU1_INDICATION CPU_INDICATION_B.MEMORY_EVENT_GROUP1_EVEN CPU_INDICATION_B.MEMORY_EVENT_GROUP1_ODD AC_LOSS.POWER_EVENT_1 AC_LOSS.POWER_BEFORE_AC_LOST ADC_CONTROL.ADC_ASSERT RESET_C.COMPONENT_RESET_10 RESET_C.COMPONENT_RESET_12 RESET_C.COMPONENT_RESET_9 RESET_C.COMPONENT_RESET_8 RESET_C.COMPONENT_RESET_13 RESET_C.COMPONENT_RESET_5 RESET_C.COMPONENT_RESET_14 BOARD_2.SUBBOARD_PCB_VERSION BOARD_3.SUBBOARD_PCB_VERSION RAID_CARD.SUBBOARD_PCB_VERSION BOARD_3.SUBBOARD_ID RAID_CARD.SUBBOARD_ID BOARD_6.BOARD_6_PRESENT BOARD_LED_A.LED_0_4 BOARD_LED_A.LED_2_HIGH BOARD_LED_A.LED_2_LOW BOARD_LED_B.LED_5 BUTTON_EVENT_B.BUTTON_EVENT_1 BIOS_FLASH.BIOS_OWNER BIOS_FLASH.BIOS_SWITCH_AND_WP BIOS_FLASH.BIOS_WRITE_PROTECT RESET_D.COMPONENT_RESET_3 RESET_D.COMPONENT_RESET_4 RESET_D.COMPONENT_RESET_20 RESET_D.HEARTBEAT SERIAL_ROUTING.SERIAL_AUX_ROUTE SERIAL_ROUTING.SERIAL_ROUTE RAID_STATUS.RAID_NO_ERROR' ;;
    'cpld write 1') echo 'BOARD_ID PCB_VERSION BOM_VERSION PRODUCT_ID CPLD_VERSION TEST COMPILE_TIME_0 COMPILE_TIME_1 COMPILE_TIME_2 COMPILE_TIME_3 COMPILE_TIME_4 RESERVED_0 RESERVED_1 CPU0_STATUS CPU0_ERROR CPU1_STATUS CPU1_ERROR MEMORY_EVENT_LOW MEMORY_EVENT_HIGH PANEL_LED DISK_STATUS_01 DISK_STATUS_23 HDD_BACKPLANE_01 HDD_BACKPLANE_2 POWER_BUTTON CHIPSET POWER_STATE RESET_B CPU_INDICATION_A CPU_INDICATION_B AC_LOSS ADC_CONTROL RESET_C BOARD_2 BOARD_3 RAID_CARD BOARD_6 BOARD_LED_A BOARD_LED_B BUTTON_EVENT_B BIOS_FLASH RESET_D AMC_PRESENCE SERIAL_ROUTING RAID_STATUS CPU0_STATUS.CPU_PRESENT CPU1_STATUS.CPU_PRESENT CPU0_STATUS.CPU_GENERATION CPU1_STATUS.CPU_GENERATION CPU0_STATUS.CPU0_IIO_ERROR CPU0_STATUS.CPU0_STATUS_TYPE_9 CPU0_STATUS.CPU0_STATUS_TYPE_10 CPU0_STATUS.CPU_THERMAL_TRIP CPU1_STATUS.CPU_THERMAL_TRIP CPU0_ERROR.CPU_ERROR_TYPE_5 CPU1_ERROR.CPU_ERROR_TYPE_5 CPU0_ERROR.CPU0_HOT_CONTROL_0 CPU0_ERROR.CPU0_MACHINE_CHECK CPU0_ERROR.CPU0_INTERNAL_ERROR CPU0_ERROR.CPU_HOT_INDICATION_0 CPU1_ERROR.CPU_HOT_INDICATION_0 CPU0_ERROR.CPU_HOT_INDICATION_1 CPU1_ERROR.CPU_HOT_INDICATION_1 CPU0_ERROR.CPU0_HOT_CONTROL_1 CPU0_ERROR.CPU0_HOT_CONTROL_2 CPU1_ERROR.CPU1_HOT_CONTROL_3 CPU1_ERROR.CPU1_HOT_CONTROL_4 MEMORY_EVENT_HIGH.MEMORY_EVENT_FIRST MEMORY_EVENT_LOW.MEMORY_EVENT_FIRST MEMORY_EVENT_HIGH.MEMORY_EVENT_SECOND MEMORY_EVENT_LOW.MEMORY_EVENT_SECOND MEMORY_EVENT_HIGH.MEMORY_EVENT_THIRD MEMORY_EVENT_LOW.MEMORY_EVENT_THIRD MEMORY_EVENT_HIGH.MEMORY_EVENT_FOURTH MEMORY_EVENT_LOW.MEMORY_EVENT_FOURTH PANEL_LED.LED_192 PANEL_LED.SAS_CABLE_LED_0 PANEL_LED.SAS_CABLE_LED_1 PANEL_LED.SAS_CABLE_LED_2 DISK_STATUS_01.DISK_EVEN DISK_STATUS_23.DISK_EVEN DISK_STATUS_01.DISK_ODD DISK_STATUS_23.DISK_ODD HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_0 HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_1 HDD_BACKPLANE_2.HDD_BACKPLANE_PORT_2 POWER_BUTTON.POWER_BUTTON_PRESSED POWER_BUTTON.BUTTON_EVENT_0 POWER_BUTTON.POWER_EVENT_0 POWER_BUTTON.POWER_BUTTON_ENABLE POWER_BUTTON.SYSTEM_RESET_FLAG POWER_BUTTON.POWER_EVENT_2 POWER_BUTTON.COMPONENT_RESET_0 CHIPSET.CHIPSET_STATUS CHIPSET.CLEAR_CMOS CHIPSET.NMI_REQUEST POWER_STATE.ACPI_S4 POWER_STATE.POWER_GOOD RESET_B.COMPONENT_RESET_1 CPU_INDICATION_A.CPU0_INDICATION CPU_INDICATION_B.CPU0_INDICATION CPU_INDICATION_A.CPU1_INDICATION CPU_INDICATION_B.CPU1_INDICATION CPU_INDICATION_B.MEMORY_EVENT_GROUP1_EVEN CPU_INDICATION_B.MEMORY_EVENT_GROUP1_ODD AC_LOSS.POWER_EVENT_1 AC_LOSS.POWER_BEFORE_AC_LOST ADC_CONTROL.ADC_ASSERT RESET_C.COMPONENT_RESET_10 RESET_C.COMPONENT_RESET_12 RESET_C.COMPONENT_RESET_9 RESET_C.COMPONENT_RESET_8 RESET_C.COMPONENT_RESET_13 RESET_C.COMPONENT_RESET_5 RESET_C.COMPONENT_RESET_14 BOARD_2.SUBBOARD_PCB_VERSION BOARD_3.SUBBOARD_PCB_VERSION RAID_CARD.SUBBOARD_PCB_VERSION BOARD_3.SUBBOARD_ID RAID_CARD.SUBBOARD_ID BOARD_6.BOARD_6_PRESENT BOARD_LED_A.LED_0_4 BOARD_LED_A.LED_2_HIGH BOARD_LED_A.LED_2_LOW BOARD_LED_B.LED_5 BUTTON_EVENT_B.BUTTON_EVENT_1 BIOS_FLASH.BIOS_OWNER BIOS_FLASH.BIOS_SWITCH_AND_WP BIOS_FLASH.BIOS_WRITE_PROTECT RESET_D.COMPONENT_RESET_3 RESET_D.COMPONENT_RESET_4 RESET_D.COMPONENT_RESET_20 RESET_D.HEARTBEAT SERIAL_ROUTING.SERIAL_AUX_ROUTE SERIAL_ROUTING.SERIAL_ROUTE RAID_STATUS.RAID_NO_ERROR' ;;
    'cpld dump --') echo '--all' ;;
    'cpld watch 1') echo 'BOARD_ID PCB_VERSION BOM_VERSION PRODUCT_ID CPLD_VERSION TEST COMPILE_TIME_0 COMPILE_TIME_1 COMPILE_TIME_2 COMPILE_TIME_3 COMPILE_TIME_4 RESERVED_0 RESERVED_1 CPU0_STATUS CPU0_ERROR CPU1_STATUS CPU1_ERROR MEMORY_EVENT_LOW MEMORY_EVENT_HIGH PANEL_LED DISK_STATUS_01 DISK_STATUS_23 HDD_BACKPLANE_01 HDD_BACKPLANE_2 POWER_BUTTON CHIPSET POWER_STATE RESET_B CPU_INDICATION_A CPU_INDICATION_B AC_LOSS ADC_CONTROL RESET_C BOARD_2 BOARD_3 RAID_CARD BOARD_6 BOARD_LED_A BOARD_LED_B BUTTON_EVENT_B BIOS_FLASH RESET_D AMC_PRESENCE SERIAL_ROUTING RAID_STATUS CPU0_STATUS.CPU_PRESENT CPU1_STATUS.CPU_PRESENT CPU0_STATUS.CPU_GENERATION CPU1_STATUS.CPU_GENERATION CPU0_STATUS.CPU0_IIO_ERROR CPU0_STATUS.CPU0_STATUS_TYPE_9 CPU0_STATUS.CPU0_STATUS_TYPE_10 CPU0_STATUS.CPU_THERMAL_TRIP CPU1_STATUS.CPU_THERMAL_TRIP CPU0_ERROR.CPU_ERROR_TYPE_5 CPU1_ERROR.CPU_ERROR_TYPE_5 CPU0_ERROR.CPU0_HOT_CONTROL_0 CPU0_ERROR.CPU0_MACHINE_CHECK CPU0_ERROR.CPU0_INTERNAL_ERROR CPU0_ERROR.CPU_HOT_INDICATION_0 CPU1_ERROR.CPU_HOT_INDICATION_0 CPU0_ERROR.CPU_HOT_INDICATION_1 CPU1_ERROR.CPU_HOT_INDICATION_1 CPU0_ERROR.CPU0_HOT_CONTROL_1 CPU0_ERROR.CPU0_HOT_CONTROL_2 CPU1_ERROR.CPU1_HOT_CONTROL_3 CPU1_ERROR.CPU1_HOT_CONTROL_4 MEMORY_EVENT_HIGH.MEMORY_EVENT_FIRST MEMORY_EVENT_LOW.MEMORY_EVENT_FIRST MEMORY_EVENT_HIGH.MEMORY_EVENT_SECOND MEMORY_EVENT_LOW.MEMORY_EVENT_SECOND MEMORY_EVENT_HIGH.MEMORY_EVENT_THIRD MEMORY_EVENT_LOW.MEMORY_EVENT_THIRD MEMORY_EVENT_HIGH.MEMORY_EVENT_FOURTH MEMORY_EVENT_LOW.MEMORY_EVENT_FOURTH PANEL_LED.LED_192 PANEL_LED.SAS_CABLE_LED_0 PANEL_LED.SAS_CABLE_LED_1 PANEL_LED.SAS_CABLE_LED_2 DISK_STATUS_01.DISK_EVEN DISK_STATUS_23.DISK_EVEN DISK_STATUS_01.DISK_ODD DISK_STATUS_23.DISK_ODD HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_0 HDD_BACKPLANE_01.HDD_BACKPLANE_PORT_1 HDD_BACKPLANE_2.HDD_BACKPLANE_PORT_2 POWER_BUTTON.POWER_BUTTON_PRESSED POWER_BUTTON.BUTTON_EVENT_0 POWER_BUTTON.POWER_EVENT_0 POWER_BUTTON.POWER_BUTTON_ENABLE POWER_BUTTON.SYSTEM_RESET_FLAG POWER_BUTTON.POWER_EVENT_2 POWER_BUTTON.COMPONENT_RESET_0 CHIPSET.CHIPSET_STATUS CHIPSET.CLEAR_CMOS CHIPSET.NMI_REQUEST POWER_STATE.ACPI_S4 POWER_STATE.POWER_GOOD RESET_B.COMPONENT_RESET_1 CPU_INDICATION_A.CPU0_INDICATION CPU_INDICATION_B.CPU0_INDICATION CPU_INDICATION_A.CPU1_INDICATION CPU_INDICATION_B.CPU1_INDICATION CPU_INDICATION_B.MEMORY_EVENT_GROUP1_EVEN CPU_INDICATION_B.MEMORY_EVENT_GROUP1_ODD AC_LOSS.POWER_EVENT_1 AC_LOSS.POWER_BEFORE_AC_LOST ADC_CONTROL.ADC_ASSERT RESET_C.COMPONENT_RESET_10 RESET_C.COMPONENT_RESET_12 RESET_C.COMPONENT_RESET_9 RESET_C.COMPONENT_RESET_8 RESET_C.COMPONENT_RESET_13 RESET_C.COMPONENT_RESET_5 RESET_C.COMPONENT_RESET_14 BOARD_2.SUBBOARD_PCB_VERSION BOARD_3.SUBBOARD_PCB_VERSION RAID_CARD.SUBBOARD_PCB_VERSION BOARD_3.SUBBOARD_ID RAID_CARD.SUBBOARD_ID BOARD_6.BOARD_6_PRESENT BOARD_LED_A.LED_0_4 BOARD_LED_A.LED_2_HIGH BOARD_LED_A.LED_2_LOW BOARD_LED_B.LED_5 BUTTON_EVENT_B.BUTTON_EVENT_1 BIOS_FLASH.BIOS_OWNER BIOS_FLASH.BIOS_SWITCH_AND_WP BIOS_FLASH.BIOS_WRITE_PROTECT RESET_D.COMPONENT_RESET_3 RESET_D.COMPONENT_RESET_4 RESET_D.COMPONENT_RESET_20 RESET_D.HEARTBEAT SERIAL_ROUTING.SERIAL_AUX_ROUTE SERIAL_ROUTING.SERIAL_ROUTE RAID_STATUS.RAID_NO_ERROR' ;;
    'cpld watch --') echo '--interval --count' ;;
    'cpld') echo 'read write dump watch self-test heartbeat' ;;
    'power on --') echo '--timeout' ;;
    'power off --') echo '--force --timeout' ;;
    'power cycle --') echo '--timeout' ;;
    'power ac-loss 1') echo 'on off' ;;
    'power') echo 'status on off cycle clear-event ac-loss' ;;
    'reset pulse 1') echo 'host 0 1 3 4 5 8 9 10 12 13 14 20' ;;
    'reset pulse --') echo '--hold' ;;
    'reset assert 1') echo 'host 0 1 3 4 5 8 9 10 12 13 14 20' ;;
    'reset release 1') echo 'host 0 1 3 4 5 8 9 10 12 13 14 20' ;;
    'reset flag 1') echo '0 1' ;;
    'reset') echo 'pulse assert release flag' ;;
    'button press --') echo '--hold' ;;
    'button') echo 'status press lock unlock clear-event' ;;
    'nmi') echo 'send raise drop' ;;
    'cmos') echo 'clear' ;;
    'led set 1') echo '0 2 4 5 192' ;;
    'led set 2') echo 'on off' ;;
    'led set --') echo '--colour' ;;
    'led set-sas 2') echo 'on off' ;;
    'led set-heartbeat 1') echo 'on off' ;;
    'led') echo 'list set set-sas set-heartbeat' ;;
    'faults show --') echo '--polls' ;;
    'faults hot-control 2') echo 'on off' ;;
    'faults') echo 'show clear-thermal-trip clear-machine-check hot-control' ;;
    'disk list --') echo '--polls' ;;
    'disk') echo 'list backplane' ;;
    'serial connect 1') echo 'host panel sol auxiliary' ;;
    'serial connect 2') echo '0 1 2 3 4' ;;
    'serial') echo 'show connect set-code' ;;
    'slot post-codes --') echo '--count' ;;
    'slot') echo 'show post-codes' ;;
    'inventory') echo 'devices cpus dimms memory cards pcie' ;;
    'i2c read --') echo '--offset --delay' ;;
    'i2c write --') echo '--delay' ;;
    'i2c transfer --') echo '--delay' ;;
    'i2c') echo 'read write transfer scan status reset' ;;
    'ipmb receive --') echo '--timeout' ;;
    'ipmb') echo 'send receive status address enable disable reset' ;;
    'kcs read --') echo '--timeout' ;;
    'kcs') echo 'status set-status read write' ;;
    'bt read --') echo '--timeout' ;;
    'bt') echo 'status set-status read write' ;;
    'ram') echo 'read write' ;;
    'sol follow --') echo '--interval --count' ;;
    'sol') echo 'status read follow' ;;
    'blackbox save 1') echo '<file>' ;;
    'blackbox save --') echo '--first --second --length' ;;
    'blackbox') echo 'info save enable disable' ;;
    'peci') echo 'init read dump' ;;
    'rtc set 1') echo 'now' ;;
    'rtc') echo 'get set sync' ;;
    'env get --') echo '--default' ;;
    'env export 1') echo '<file>' ;;
    'env import 1') echo '<file>' ;;
    'env') echo 'get set delete list export import' ;;
    'uart send --') echo '--newline' ;;
    'uart receive --') echo '--timeout --count' ;;
    'uart') echo 'baud send receive' ;;
    'gpio heartbeat 1') echo '0 1' ;;
    'gpio blink --') echo '--count --interval' ;;
    'gpio') echo 'show heartbeat blink' ;;
    'fpga watchdog 1') echo 'kick stop' ;;
    'fpga load 1') echo '<file>' ;;
    'fpga') echo 'reg version status self-test ddr-test start com-state watchdog jtag-reset load' ;;
    'flash copy 2') echo '<file>' ;;
    'flash copy --') echo '--offset --length' ;;
    'flash erase --') echo '--offset --length' ;;
    'flash read 2') echo '<file>' ;;
    'flash read --') echo '--offset --length' ;;
    'flash write 2') echo '<file>' ;;
    'flash write --') echo '--offset' ;;
    'flash verify 2') echo '<file>' ;;
    'flash verify --') echo '--offset' ;;
    'flash') echo 'list copy erase read write verify' ;;
    'bios owner 1') echo 'host controller' ;;
    'bios protect 1') echo 'on off' ;;
    'bios save 1') echo '<file>' ;;
    'bios save --') echo '--size' ;;
    'bios load 1') echo '<file>' ;;
    'bios load --') echo '--offset --size' ;;
    'bios load-raw 1') echo '<file>' ;;
    'bios load-raw --') echo '--size' ;;
    'bios decide 1') echo '<file>' ;;
    'bios decide --') echo '--offset --size' ;;
    'bios write 2') echo '<file>' ;;
    'bios erase --') echo '--size' ;;
    'bios') echo 'status owner protect save load load-raw decide read write erase' ;;
    'cpld-load 1') echo '<file>' ;;
    'watch --') echo '--interval --count' ;;
    esac
}

_boardctl_is_name()
{
    case $1 in
    'info' | 'cpld' | 'cpld read' | 'cpld write' | 'cpld dump' | 'cpld watch' | 'cpld self-test' | 'cpld heartbeat' | 'power' | 'power status' | 'power on' | 'power off' | 'power cycle' | 'power clear-event' | 'power ac-loss' | 'reset' | 'reset pulse' | 'reset assert' | 'reset release' | 'reset flag' | 'button' | 'button status' | 'button press' | 'button lock' | 'button unlock' | 'button clear-event' | 'nmi' | 'nmi send' | 'nmi raise' | 'nmi drop' | 'cmos' | 'cmos clear' | 'led' | 'led list' | 'led set' | 'led set-sas' | 'led set-heartbeat' | 'faults' | 'faults show' | 'faults clear-thermal-trip' | 'faults clear-machine-check' | 'faults hot-control' | 'disk' | 'disk list' | 'disk backplane' | 'serial' | 'serial show' | 'serial connect' | 'serial set-code' | 'slot' | 'slot show' | 'slot post-codes' | 'inventory' | 'inventory devices' | 'inventory cpus' | 'inventory dimms' | 'inventory memory' | 'inventory cards' | 'inventory pcie' | 'i2c' | 'i2c read' | 'i2c write' | 'i2c transfer' | 'i2c scan' | 'i2c status' | 'i2c reset' | 'ipmb' | 'ipmb send' | 'ipmb receive' | 'ipmb status' | 'ipmb address' | 'ipmb enable' | 'ipmb disable' | 'ipmb reset' | 'kcs' | 'kcs status' | 'kcs set-status' | 'kcs read' | 'kcs write' | 'bt' | 'bt status' | 'bt set-status' | 'bt read' | 'bt write' | 'ram' | 'ram read' | 'ram write' | 'sol' | 'sol status' | 'sol read' | 'sol follow' | 'blackbox' | 'blackbox info' | 'blackbox save' | 'blackbox enable' | 'blackbox disable' | 'peci' | 'peci init' | 'peci read' | 'peci dump' | 'rtc' | 'rtc get' | 'rtc set' | 'rtc sync' | 'adc' | 'temp' | 'env' | 'env get' | 'env set' | 'env delete' | 'env list' | 'env export' | 'env import' | 'uart' | 'uart baud' | 'uart send' | 'uart receive' | 'gpio' | 'gpio show' | 'gpio heartbeat' | 'gpio blink' | 'fpga' | 'fpga reg' | 'fpga version' | 'fpga status' | 'fpga self-test' | 'fpga ddr-test' | 'fpga start' | 'fpga com-state' | 'fpga watchdog' | 'fpga jtag-reset' | 'fpga load' | 'flash' | 'flash list' | 'flash copy' | 'flash erase' | 'flash read' | 'flash write' | 'flash verify' | 'bios' | 'bios status' | 'bios owner' | 'bios protect' | 'bios save' | 'bios load' | 'bios load-raw' | 'bios decide' | 'bios read' | 'bios write' | 'bios erase' | 'cpld-load' | 'lan' | 'version' | 'watch') return 0 ;;
    esac
    return 1
}

_boardctl()
{
    local key='' option='' place=1 current=${COMP_WORDS[COMP_CWORD]} word words i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ -n $option ]]; then
            option=''
        elif [[ ' --board --colour --count --default --delay --first --hold --interval --length --offset --personality --polls --second --size --timeout ' == *" $word "* ]]; then
            option=$word
        elif [[ $word == -* ]]; then
            :
        elif _boardctl_is_name "${key:+$key }$word"; then
            key=${key:+$key }$word
        else
            ((++place))
        fi
    done
    if [[ -n $option ]]; then
        words=$(_boardctl_words "$key $option")
    elif [[ $current == -* ]]; then
        words="$(_boardctl_words "$key --") --json --yes --verbose --virtual --personality --board --help --version"
    else
        words=$(_boardctl_words "$key")
        [[ -n $words ]] || words=$(_boardctl_words "$key $place")
    fi
    if [[ $words == '<file>' ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
    else
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    fi
}

complete -F _boardctl boardctl
