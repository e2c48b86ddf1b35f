// The engine that copies an image to a flash partition: erase, write, verify.
//
// Three operations run it. Each is one FlashCopyKind, with the same fields in
// the same order, so that two of them side by side show every difference.
#ifndef UPDATE_FLASH_ENGINE_H
#define UPDATE_FLASH_ENGINE_H

#include <pthread.h>
#include <stdint.h>

#include "update/mtd.h"

namespace board_hal {

// The part of the whole progress that one copy covers: its points 0 to 100 are
// published as points / divisor + base. Bytes, which wrap.
struct ProgressSpan {
    uint8_t divisor;
    uint8_t base;
};
constexpr ProgressSpan whole_span = {1, 0};

struct FlashCopyRequest {
    const char *device;
    uint32_t flash_offset;
    const char *image;
    uint32_t image_offset;
    uint32_t length;
    ProgressSpan span;
};

// Descriptors of an operation's two files. They outlive the call: never reset
// after the close, so a copy whose device does not open closes the image number
// of the copy before it again. Number 0 is never closed.
struct StoredDescriptors {
    int32_t device = -1;
    int32_t image = -1;
};

// What is done about a file's position before a phase.
enum class Seek : uint8_t {
    stay,     // the position is right as it is
    reported, // to the operation's offset; a failure prints a message
    silent,   // the same without the message
};
// The image is positioned first.
struct Positions {
    Seek image;
    Seek device;
};

// Points of a phase: percent * numerator / denominator + start while it runs,
// end when it is over.
struct PhasePoints {
    int32_t numerator;
    int32_t denominator;
    int32_t start;
    int32_t end;
};

// Percentage of a phase; the product wraps at 32 bits, and the percentage of a
// large image with it.
using Percent = int32_t (*)(uint32_t done, uint32_t total);
int32_t unsigned_percent(uint32_t done, uint32_t total); // wraps above 42 MB
int32_t signed_percent(uint32_t done, uint32_t total);   // wraps above 21 MB

struct FlashCopyKind {
    int failure; // result of every failure
    pthread_mutex_t *lock;
    StoredDescriptors *descriptors;
    // Length 0 succeeds before a file is opened; otherwise 0 bytes are copied
    // like any other number.
    bool empty_is_done;
    // Whether the stretch lies in the file and fits the partition; false after
    // a message. May set the request's length.
    bool (*fits)(FlashCopyRequest &request, int64_t file_size, const FlashGeometry &flash);
    const char *erase_line_lead; // before the first erase line
    Positions write_from;
    Positions verify_from;
    Percent write_percent;
    PhasePoints erase;
    PhasePoints write;
    PhasePoints verify;
};

// Runs a copy under the kind's lock.
int run_flash_copy(const FlashCopyKind &kind, const FlashCopyRequest &request);

// Whether the file holds the request's stretch, compared in signed 32 bits.
bool file_holds_stretch(const FlashCopyRequest &request, int64_t file_size);
// False after a message if the bytes do not fit. Compared unsigned: a negative
// length fits nowhere.
bool partition_holds(const FlashCopyRequest &request, int64_t bytes, const FlashGeometry &flash);

} // namespace board_hal

#endif
