// What the library sees of a board while it updates the BIOS: the flash behind
// /dev/mtd6, its owner and driver, an image file and a dump file. Behind this
// program's own open, read, fopen, …; nothing of it waits.
#ifndef FUZZ_SUPPORT_BIOS_BOARD_H
#define FUZZ_SUPPORT_BIOS_BOARD_H

#include <cstdint>
#include <vector>

namespace fuzz {

using Bytes = std::vector<uint8_t>;

constexpr const char *bios_device = "/dev/mtd6";
constexpr const char *image_path = "/fuzz/image";
constexpr const char *dump_path = "/fuzz/dump";
constexpr uint32_t erase_size = 0x1000;

// What goes wrong, at the call of that kind with the given number, from 0.
enum class Trouble : uint8_t {
    none,
    owner,        // the flash does not change hands
    driver,       // the module does not load
    device_open,  //
    device_seek,  //
    device_read,  // ends early
    device_write, // ends early
    device_erase, //
    image_open,   //
    image_read,   // the file has shrunk
    dump_write,   // the disk is full
    device_lie,   // a write flips a bit and says nothing
    count,
};

struct BiosBoard {
    Bytes flash;
    Bytes image;
    Bytes dump;
    Trouble trouble = Trouble::none;
    unsigned trouble_at = 0;

    // State that the library changes.
    bool controller_owns = false;
    bool driver_loaded = false;
    bool device_open = false;
    bool image_open = false;
    unsigned streams = 0;
    long long device_at = 0;
    long long image_at = 0;
    unsigned calls = 0; // of the troubled kind

    // Forgets what happened; flash, image and trouble stay.
    void restart();
    // Whether this call is the one that fails.
    bool strikes(Trouble kind) { return kind == trouble && calls++ == trouble_at; }
    // Requires that nothing is left open, loaded or locked.
    void require_released() const;
};

BiosBoard &bios_board();

} // namespace fuzz

#endif
