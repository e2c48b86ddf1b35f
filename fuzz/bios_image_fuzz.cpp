// Arbitrary BIOS images, sizes, offsets and failing calls through the four
// operations that take an image to the flash or the flash to a file. What they
// decide is held against a reader of images that knows nothing of the library.
//
// An input is: the trouble (1 byte) and the number of the call that it strikes
// (1), the byte that fills the image (1, see fill_image), the image's length in units of 16
// bytes (2, little-endian), where in the image the given bytes go (2), the
// image's offset and its size as the operations are told (4 each), the stages
// (1), how the flash carries its flag (1, see Carries), that flag (4), the size
// of the dump (4), and the given bytes.

#include "board_hal.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz/support/bios_board.h"
#include "fuzz/support/input.h"
#include "fuzz/support/lock_watch.h"
#include "fuzz/support/printed.h"
#include "tools/bios_image/image.h"
#include "tools/bios_image/reading.h"

namespace {

using bios_image::ImageReading;
using bios_image::Outcome;
using bios_image::Region;
using fuzz::BiosBoard;
using fuzz::Bytes;
using fuzz::Input;
using fuzz::require;
using fuzz::Trouble;

constexpr uint32_t flash_size = 0x8000;
constexpr uint32_t image_size_max = 0xC000;
constexpr uint32_t progress_before = 77;
constexpr uint32_t state_before = 7;
constexpr uint32_t state_failed = 3;

enum Carries : uint8_t { no_flag, its_own_flag, the_flag_of_the_image, carries_count };

// Never freed: no destructor runs behind the leak check.
struct Case {
    uint32_t offset = 0;
    uint32_t size = 0;
    uint32_t stages = 0;
    uint32_t dump_size = 0;
    uint32_t flash_flag = 0;
    bool flash_has_flag = false;
    Bytes flash_before;
    ImageReading reading;
};

BiosBoard &board = fuzz::bios_board();

bool calm()
{
    return board.trouble == Trouble::none;
}

// ---- what the operations should do ----

// Offsets are signed, and so the file cannot be positioned at larger ones.
ImageReading reading_of(const Case &given)
{
    if (given.offset > INT32_MAX) {
        return {};
    }
    const size_t start = std::min<size_t>(given.offset, board.image.size());
    const Bytes image(board.image.begin() + static_cast<std::ptrdiff_t>(start), board.image.end());
    return bios_image::read_image(image, given.size);
}

std::string words_of(const ImageReading &reading)
{
    switch (reading.outcome) {
    case Outcome::cut_off:
        return std::string("read file ") + fuzz::image_path + " size error " +
               std::to_string(reading.last_count) + "\r\n";
    case Outcome::header_overrun:
        return "get_bios_oem_data 1058 pnvDataheader is overrunning array of 4096 bytes!\n";
    case Outcome::data_overrun:
        return "get_bios_oem_data 1069 poemData is overrunning array of 4096 bytes!\n";
    default:
        return "";
    }
}

uint64_t blocks_end(const Region &region)
{
    const uint64_t end = uint64_t{region.offset} + region.length;
    return (end + fuzz::erase_size - 1) / fuzz::erase_size * fuzz::erase_size;
}

// A copy that nothing stands against, from a place in the image's file.
bool copies(const Region &region, uint64_t from)
{
    return region.length == 0 ||
           (region.offset % fuzz::erase_size == 0 && blocks_end(region) <= flash_size &&
            from <= INT32_MAX && from + region.length <= board.image.size());
}

bool region_allowed(const Region &region, uint32_t image_size)
{
    return region.length <= image_size &&
           uint64_t{region.offset} + region.length <= bios_image::flash_size_max;
}

bool holds_copy(const Region &region, uint64_t from)
{
    return std::equal(board.flash.begin() + region.offset,
                      board.flash.begin() + region.offset + region.length,
                      board.image.begin() + static_cast<std::ptrdiff_t>(from));
}

bool changed_only_in(const Case &given, const std::vector<Region> &regions)
{
    std::vector<bool> allowed(flash_size / fuzz::erase_size);
    for (const Region &region : regions) {
        for (uint64_t at = region.offset / fuzz::erase_size * fuzz::erase_size;
             at < std::min<uint64_t>(blocks_end(region), flash_size); at += fuzz::erase_size) {
            allowed[at / fuzz::erase_size] = true;
        }
    }
    for (size_t at = 0; at < flash_size; at += fuzz::erase_size) {
        if (!allowed[at / fuzz::erase_size] &&
            memcmp(&board.flash[at], &given.flash_before[at], fuzz::erase_size) != 0) {
            return false;
        }
    }
    return true;
}

// ---- the operations ----

void start(const Case &given)
{
    board.restart();
    board.flash = given.flash_before;
    set_upgrade_status(progress_before, state_before);
    fuzz::printed();
}

uint32_t published_state()
{
    uint32_t progress = 0;
    uint32_t state = 0;
    require(get_upgrade_status(&progress, &state) == 0, "the status can be read");
    require(state != state_failed || progress == 0, "a failure is published as (0, 3)");
    return state;
}

void decide(const Case &given)
{
    start(given);
    const int result = isFullUpgrade(fuzz::bios_device, fuzz::image_path, given.offset, given.size);
    board.require_released();
    require(result == 0 || result == -2, "a decision has two results");
    require(board.flash == given.flash_before, "a decision writes nothing");
    if (!calm()) {
        return;
    }
    require(!board.controller_owns, "the flash is given back");
    const bool found = given.reading.outcome == Outcome::found;
    const bool full = found && (given.reading.data.flag ^ given.flash_flag) >> 24 != 0;
    require(result == (full ? 0 : -2), "a decision is that of the top bytes");
    require((published_state() == state_failed) == !found, "only a failed decision is published");
    require(fuzz::printed() ==
                (given.flash_has_flag ? "" : "read upgrade flag fail from flash\r\n") +
                    words_of(given.reading) + (found ? "" : "read upgrade flag fail from file\r\n"),
            "a decision says why");
}

void check_full_load(const Case &given, int result)
{
    const Region half = {given.size / 2, given.size / 2};
    require(changed_only_in(given, {half}), "a full load writes the upper half");
    require(result != 0 || holds_copy(half, half.offset), "a full load is complete");
    require(!calm() || !copies(half, half.offset) || result == 0, "a full load is not refused");
}

void check_region_load(const Case &given, int result)
{
    const bios_image::OemData &data = given.reading.data;
    require(changed_only_in(given, data.regions), "a partial load writes the regions");
    bool good = data.region_count <= bios_image::regions_max;
    require(good || result == -2, "more regions than the table holds are refused");
    for (const Region &region : data.regions) {
        require(region_allowed(region, given.size) || result == -2, "a region out of bounds fails");
        good = good && region_allowed(region, given.size) &&
               copies(region, uint64_t{given.offset} + region.offset);
    }
    require(!good || !calm() || result == 0, "a partial load is not refused");
    if (result == 0 && !data.regions.empty()) {
        const Region &last = data.regions.back();
        require(last.length == 0 || holds_copy(last, uint64_t{given.offset} + last.offset),
                "a partial load is complete");
    }
}

void load(const Case &given)
{
    start(given);
    const int result =
        load_bios(fuzz::bios_device, fuzz::image_path, given.offset, given.size, given.stages);
    board.require_released();
    require(result == 0 || result == -2, "a load has two results");
    require((published_state() == state_failed) == (result == -2), "a failed load is published");
    require(!calm() || !board.controller_owns, "the flash is given back");
    if (given.reading.outcome != Outcome::found) {
        require(result == -2 && board.flash == given.flash_before, "no data, no load");
        require(!calm() || fuzz::printed() == words_of(given.reading), "a load says why");
    } else if (given.reading.data.flag != given.flash_flag && calm()) {
        check_full_load(given, result);
    } else if (calm()) {
        check_region_load(given, result);
    }
}

void load_all(const Case &given)
{
    start(given);
    const int result = load_bios_bin(fuzz::bios_device, fuzz::image_path, given.offset,
                                     static_cast<int32_t>(given.size), given.stages);
    board.require_released();
    require(result == 0 || result == -2, "a load has two results");
    require((published_state() == state_failed) == (result == -2), "a failed load is published");
    const Region all = {0, given.size};
    require(changed_only_in(given, {all}), "a load writes as much as it is told");
    require(result != 0 || holds_copy(all, 0), "a load is complete");
    require(!calm() || (result == 0) == copies(all, 0), "a load is refused if it does not fit");
}

void dump(const Case &given)
{
    start(given);
    const int result = get_bios(fuzz::dump_path, given.dump_size);
    board.require_released();
    require(result == 0 || result == -2 || result == -7, "a dump has three results");
    require(board.flash == given.flash_before, "a dump writes nothing");
    require(published_state() == state_before, "a dump publishes nothing");
    const bool fits = (uint64_t{given.dump_size} + 1023) / 1024 * 1024 <= flash_size;
    require(given.dump_size <= bios_image::flash_size_max || result == -2, "a dump has a limit");
    require(fits || result != 0, "a dump of more than the flash fails");
    require(!calm() || !fits || result == 0, "a dump of the flash succeeds");
    require(result != 0 || (board.dump.size() == given.dump_size &&
                            std::equal(board.dump.begin(), board.dump.end(), board.flash.begin())),
            "a dump is the flash");
}

// ---- the input ----

// All the same byte, or bytes that show where in the image they were.
void fill_image(size_t length, uint8_t fill)
{
    static const auto *const pattern = new Bytes(bios_image::pattern(image_size_max + 16, 9));
    if (fill == 0x00 || fill == 0xFF) {
        board.image.assign(length, fill);
    } else {
        board.image.assign(pattern->begin(),
                           pattern->begin() + static_cast<std::ptrdiff_t>(length));
    }
}

void read_image(Input &input, Case &given)
{
    const uint8_t fill = input.byte();
    const size_t length = input.word() * 16 % (image_size_max + 16);
    const size_t place = input.word();
    given.offset = input.number();
    given.size = input.number();
    given.stages = input.byte();
    fill_image(length, fill);
    const auto carries = static_cast<Carries>(input.byte() % carries_count);
    given.flash_flag = input.number();
    given.dump_size = input.number();
    input.put_rest(board.image, place);
    given.reading = reading_of(given);
    given.flash_has_flag = carries != no_flag;
    if (carries == the_flag_of_the_image) {
        given.flash_flag = given.reading.data.flag;
    }
}

// Built once: only the flag differs from case to case.
void put_flash(Case &given)
{
    static const auto *const erased =
        new Bytes(bios_image::build({.size = flash_size, .volume_at = 0x3000}, 5));
    static const auto *const nameless = [] {
        auto *const bytes = new Bytes(*erased);
        bytes->at(0x3040) = 0;
        return bytes;
    }();
    given.flash_before = given.flash_has_flag ? *erased : *nameless;
    if (!given.flash_has_flag) {
        given.flash_flag = 0;
    }
    bios_image::store32(given.flash_before,
                        0x3040 + bios_image::file_header_size + bios_image::flag_at,
                        given.flash_flag);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::watch_locks();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static auto *const kept = new Case;
    Case &given = *kept;
    given = {};
    Input input(data, size);
    board.trouble = static_cast<Trouble>(input.byte() % static_cast<uint8_t>(Trouble::count));
    board.trouble_at = input.byte();
    read_image(input, given);
    put_flash(given);
    decide(given);
    load(given);
    load_all(given);
    // Of the sizes beyond the largest one there are enough.
    if (given.dump_size <= bios_image::flash_size_max) {
        given.dump_size %= 2 * flash_size;
    }
    dump(given);
    fuzz::printed();
    return 0;
}
