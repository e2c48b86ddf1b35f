// The bare work of the library's operations, by hand: what no implementation
// can do without.
#ifndef BENCHMARKS_FLOORS_H
#define BENCHMARKS_FLOORS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Lock, one volatile load, unlock.
__attribute__((visibility("default"))) int floor_register(uint8_t *value);
// Lock, one read of the driver, unlock.
__attribute__((visibility("default"))) int floor_request(uint8_t *value);
// The same on a lock of its own, one of four.
__attribute__((visibility("default"))) int floor_request_on(unsigned lock, uint8_t *value);
// A KCS message in and one out: read; status read and write.
__attribute__((visibility("default"))) int floor_kcs(uint8_t *in, int in_size, const uint8_t *out,
                                                     int out_size);
// Open, map, copy 8 KiB, walk to the end, unmap, close.
__attribute__((visibility("default"))) int floor_environment(const char *name, char *value,
                                                             unsigned size);
// Erase, write and verify a file of that many bytes, with the same pauses.
__attribute__((visibility("default"))) int floor_copy(const char *device, const char *image);
// Save so many bytes of the BIOS flash to a file, read by read as the flash
// allows, with the same pauses.
__attribute__((visibility("default"))) int floor_save(const char *path, uint32_t size);

#ifdef __cplusplus
}
#endif

#endif
