// Arbitrary contents of the BIOS flash through the two operations that look for
// the flag in it. Where the flag is found is held against a reader that knows
// nothing of the library.
//
// An input is: the trouble (1 byte) and the number of the call that it strikes
// (1), the byte that fills the flash (1), the flash's length in units of 2 KiB
// (1), where in the flash the given bytes go (2, little-endian), the image's flag
// (4), and the given bytes.

#include "board_hal.h"

#include <algorithm>
#include <string>

#include "fuzz/support/bios_board.h"
#include "fuzz/support/input.h"
#include "fuzz/support/lock_watch.h"
#include "fuzz/support/printed.h"
#include "tools/bios_image/image.h"
#include "tools/bios_image/reading.h"

namespace {

using fuzz::BiosBoard;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::require;
using fuzz::Trouble;

constexpr uint32_t image_size = 0x2000;
constexpr uint32_t half = image_size / 2;

BiosBoard &board = fuzz::bios_board();

bool calm()
{
    return board.trouble == Trouble::none;
}

void decide(const Bytes &before, uint32_t image_flag)
{
    const auto reading = bios_image::read_flash(before);
    const uint32_t flag = reading ? reading->flag : 0;
    board.restart();
    fuzz::printed();
    const int result = isFullUpgrade(fuzz::bios_device, fuzz::image_path, 0, image_size);
    board.require_released();
    require(result == 0 || result == -2, "a decision has two results");
    require(board.flash == before, "a decision writes nothing");
    if (calm()) {
        require(!board.controller_owns, "the flash is given back");
        require(result == ((flag ^ image_flag) >> 24 != 0 ? 0 : -2), "the flag was found");
        require(fuzz::printed() == (reading ? "" : "read upgrade flag fail from flash\r\n"),
                "a flash without a flag is reported");
    }
}

// The image lists no region: equal flags write nothing.
void load(const Bytes &before, uint32_t image_flag)
{
    const auto reading = bios_image::read_flash(before);
    const uint32_t flag = reading ? reading->flag : 0;
    board.restart();
    const int result = load_bios(fuzz::bios_device, fuzz::image_path, 0, image_size, 1);
    board.require_released();
    require(result == 0 || result == -2, "a load has two results");
    if (!calm()) {
        return;
    }
    require(!board.controller_owns, "the flash is given back");
    if (flag == image_flag) {
        require(result == 0 && board.flash == before, "equal flags write nothing");
        return;
    }
    require((result == 0) == (before.size() >= image_size), "the upper half is written if it fits");
    require(std::equal(before.begin(),
                       before.begin() + static_cast<long>(std::min<size_t>(half, before.size())),
                       board.flash.begin()),
            "the lower half is kept");
    require(result != 0 || std::equal(board.image.begin() + half, board.image.end(),
                                      board.flash.begin() + half),
            "the upper half is complete");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::watch_locks();
    board.image = bios_image::build({.size = image_size, .volume_at = 0}, 3);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(data, size);
    board.trouble = static_cast<Trouble>(input.byte() % static_cast<uint8_t>(Trouble::count));
    board.trouble_at = input.byte();
    const uint8_t fill = input.byte();
    Bytes flash(size_t{0x800} * (input.byte() % 8U), fill);
    const size_t place = input.word();
    const uint32_t image_flag = input.number();
    bios_image::store32(board.image,
                        bios_image::volume_header_size + bios_image::file_header_size +
                            bios_image::flag_at,
                        image_flag);
    input.put_rest(flash, place);
    board.flash = flash;
    decide(flash, image_flag);
    board.flash = flash;
    load(flash, image_flag);
    fuzz::printed();
    return 0;
}
