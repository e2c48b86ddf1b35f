// Arbitrary texts as personality files. What is accepted must be a board that can
// be built, and survive being written and read again.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "virtual_board/personality_file.h"

namespace {

using virtual_board::NorGeometry;
using virtual_board::Personality;
using virtual_board::PersonalityError;

constexpr uint64_t flash_max = 0x10000000;

void require(bool condition, const char *what)
{
    if (!condition) {
        fprintf(stderr, "broken: %s\n", what);
        abort();
    }
}

void check_chip(const NorGeometry &chip)
{
    require(chip.erase_size != 0 && (chip.erase_size & (chip.erase_size - 1)) == 0,
            "blocks are a power of two");
    require(chip.size != 0 && chip.size % chip.erase_size == 0, "a flash is whole blocks");
    require(chip.size <= flash_max, "a flash fits into memory");
}

void check_board(const Personality &board)
{
    uint64_t size = 0;
    require(!board.flash.partitions.empty() && board.flash.partitions.size() <= 6,
            "there are one to six partitions");
    for (const uint32_t partition : board.flash.partitions) {
        check_chip({partition, board.flash.erase_size});
        size += partition;
    }
    require(size <= flash_max, "partitions fit into memory together");
    check_chip(board.bios_flash);
    require(board.cpu_generation <= 7 && board.slot_number <= 15, "numbers fit their fields");
    require(!board.name.empty(), "a board has a name");
}

void check_complaint(std::string_view complaint)
{
    require(complaint.starts_with("fuzzed: /"), "a complaint tells file and place");
    require(complaint.find('\n') == std::string_view::npos, "a complaint is one line");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    try {
        const Personality board = virtual_board::parse_personality(text, "fuzzed");
        check_board(board);
        const std::string written = virtual_board::write_personality(board);
        require(virtual_board::parse_personality(written, "written") == board,
                "what is written is read back");
    } catch (const PersonalityError &error) {
        check_complaint(error.what());
    }
    return 0;
}
