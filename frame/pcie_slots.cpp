// PCI bus, device and function numbers of the board's slots.

#include <stdint.h>

#include "board_hal.h"

static_assert(sizeof(pcie_bdf_slot) == 32);

extern "C" {

// {reserved}, slot id, bus, device, function, link, type
pcie_bdf_slot g_pcieBDF_forBrava[3] = {
    {{0, 0}, 1, 0x80, 1, 0, 2, 0},
    {{0, 0}, 0, 0x00, 3, 2, 1, 1},
    {{0, 0}, 0, 0x00, 2, 3, 1, 2},
};
int32_t g_pcieBDFsize_forBrava = 3;

pcie_bdf_slot g_pcieBDF_forCorvo[4] = {
    {{0, 0}, 1, 0x00, 2, 0, 1, 0},
    {{0, 0}, 2, 0x80, 1, 0, 2, 0},
    {{0, 0}, 0, 0x00, 3, 2, 1, 1},
    {{0, 0}, 0, 0x00, 2, 3, 1, 2},
};
int32_t g_pcieBDFsize_forCorvo = 4;

} // extern "C"
