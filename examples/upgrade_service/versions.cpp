#include <board_hal.h>
#include <stdio.h>

#include "upgrade_service/service.h"

namespace upgrade_service {

namespace {

std::string hexadecimal(uint8_t value)
{
    char text[8];
    snprintf(text, sizeof(text), "%02Xh", value);
    return text;
}

std::string library_version()
{
    uint8_t major = 0;
    uint8_t minor = 0;
    get_drv_lib_version(&major, &minor);
    return std::to_string(major) + '.' + std::to_string(minor);
}

std::string build_stamp()
{
    char date[12] = "";
    char time[9] = "";
    get_drv_build_time(date, sizeof(date), time, sizeof(time));
    return std::string(date) + ' ' + time;
}

// Type 0 is the CPLD, type 1 the FPGA.
std::string logic_version(uint32_t type)
{
    uint8_t version = 0;
    return get_unit_logic_version(0, type, &version) == 0 ? hexadecimal(version) : "";
}

std::string pcb_version()
{
    uint8_t version = 0;
    return get_pcb_ver(0, &version) == 0 ? std::string(1, static_cast<char>(version)) : "";
}

// The boot loader's variables; an environment that is not in order has none.
std::string boot_loader_version()
{
    char text[64] = "";
    return get_uboot_version(text, sizeof(text)) == 0 ? text : "";
}

std::string image_version(int32_t index)
{
    char text[64] = "";
    return get_uboot_imageversion(index, text, sizeof(text)) == 0 ? text : "";
}

} // namespace

End Service::versions()
{
    output_.facts({
        {"library", "library", library_version()},
        {"build", "library's build", build_stamp()},
        {"pcb", "board's PCB", pcb_version()},
        {"cpld", "CPLD", logic_version(0)},
        {"fpga", "FPGA", logic_version(1)},
        {"boot_loader", "boot loader", boot_loader_version()},
        {"image_0", "controller image 0", image_version(0)},
        {"image_1", "controller image 1", image_version(1)},
    });
    return {};
}

End Service::state()
{
    const BiosFlash flash = look_at_bios_flash();
    uint8_t write_protected = 0;
    get_bios_wp(0, &write_protected);
    output_.facts({
        {"owner", "BIOS flash is with", flash.controller_owns ? "controller" : "host"},
        {"driver", "its driver is", flash.driver_loaded ? "loaded" : "unloaded"},
        {"write_protected", "write-protected", write_protected != 0 ? "yes" : "no"},
    });
    return {};
}

} // namespace upgrade_service
