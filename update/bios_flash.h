// The host's BIOS flash as the update operations reach it.
#ifndef UPDATE_BIOS_FLASH_H
#define UPDATE_BIOS_FLASH_H

#include <pthread.h>
#include <stdint.h>

namespace board_hal {

// Guards the BIOS flash and its driver; taken after the lock of the image
// operations, never before it.
extern pthread_mutex_t bios_flash_lock;

// Arguments of set_bios_owner.
constexpr uint8_t bios_owner_host = 0;
constexpr uint8_t bios_owner_controller = 1;

// Open flags of the raw device, as a number: read-only with what the
// controller's C library calls O_SYNC; others give that name another value.
constexpr int bios_flash_open_flags = 0x1000;

// The device node exists only while the driver is loaded. Both wait for the
// program to finish; its result is not looked at, a device that does not open
// tells enough.
void load_flash_driver();
void unload_flash_driver();

} // namespace board_hal

#endif
