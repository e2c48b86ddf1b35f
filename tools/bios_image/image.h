// BIOS images as the host's firmware lays them out: firmware volumes, one of
// which holds the file with the OEM data that an update looks at.
#ifndef TOOLS_BIOS_IMAGE_IMAGE_H
#define TOOLS_BIOS_IMAGE_IMAGE_H

#include <stddef.h>
#include <stdint.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace bios_image {

using Bytes = std::vector<uint8_t>;
using Guid = std::array<uint8_t, 16>;

// In UEFI byte order: the first three fields are little-endian.
constexpr Guid oem_volume_guid = {0x8D, 0xDD, 0xDD, 0xFF, 0x96, 0x86, 0x8B, 0x4C,
                                  0xA9, 0x85, 0x27, 0x67, 0x07, 0x5B, 0x4F, 0x50};
constexpr Guid oem_data_guid = {0xB9, 0x77, 0x7F, 0xD9, 0xF2, 0x79, 0xCF, 0x4C,
                                0xA2, 0x54, 0xF4, 0xE5, 0xA2, 0x8A, 0x8F, 0x97};
// An ordinary volume, and a file that only takes room.
constexpr Guid plain_volume_guid = {0x78, 0xE5, 0x8C, 0x8C, 0x3D, 0x8A, 0x1C, 0x4F,
                                    0x99, 0x35, 0x89, 0x61, 0x85, 0xC3, 0x2D, 0xD3};
constexpr Guid pad_file_guid = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

// Volumes begin on a block's boundary; a volume's first block alone is searched.
constexpr uint32_t block_size = 4096;
constexpr uint32_t flash_size_max = 0x800000;

// Volume header.
constexpr uint32_t volume_guid_at = 16;
constexpr uint32_t volume_length_at = 32;
constexpr uint32_t volume_signature_at = 40;
constexpr uint32_t volume_header_length_at = 48;
constexpr uint32_t volume_checksum_at = 50;
constexpr uint32_t volume_revision_at = 55;
constexpr uint32_t volume_header_size = 64; // also meant by a length of 0

// File header; of the size's three bytes two count.
constexpr uint32_t file_type_at = 18;
constexpr uint32_t file_size_at = 20;
constexpr uint32_t file_state_at = 23;
constexpr uint32_t file_header_size = 24;

// OEM data, behind the header of its file.
constexpr uint32_t oem_data_size = 428;
constexpr uint32_t flag_at = 92;
constexpr uint32_t region_count_at = 136;
constexpr uint32_t region_table_at = 140;
constexpr uint32_t region_entry_size = 8;
constexpr uint32_t regions_max = 11;
constexpr uint32_t oem_file_size = file_header_size + oem_data_size;
// A data file has to end before its block's last byte.
constexpr uint32_t data_file_at_max = block_size - 1 - oem_file_size;

struct Region {
    uint32_t offset = 0;
    uint32_t length = 0;
};

struct Layout {
    uint32_t size = 0x10000;
    uint32_t volume_at = 0x1000;                 // the OEM volume; a multiple of 4096
    uint16_t header_length = volume_header_size; // of the volume; files follow
    std::vector<uint16_t> files = {};            // size fields of the files before the data
    uint32_t flag = 0;
    std::vector<Region> regions = {};
    std::optional<uint32_t> region_count = {}; // if it is not the table's
    std::vector<uint32_t> other_volumes = {};  // where they begin
};

// Where the OEM data file's header begins. The size field of a file leaves its
// header out here: the readers add it on top.
size_t data_file_at(const Layout &layout);

// Why update services would not take the image; empty if they would.
std::string problem_of(const Layout &layout);

// Builds any layout whose parts lie in the image. What no part covers is as on
// an erased flash, or, with a seed, the pattern of that seed.
Bytes build(const Layout &layout, std::optional<uint32_t> seed = {});

// Bytes that repeat nowhere near.
Bytes pattern(size_t count, uint32_t seed = 1);

// Little-endian fields; beyond the end they throw std::out_of_range.
uint32_t load16(const Bytes &bytes, size_t at);
uint32_t load32(const Bytes &bytes, size_t at);
void store16(Bytes &bytes, size_t at, uint32_t value);
void store32(Bytes &bytes, size_t at, uint32_t value);
void put_guid(Bytes &bytes, size_t at, const Guid &guid);

// One entry of the region table of a data file whose header begins at data_file.
void store_region(Bytes &bytes, size_t data_file, uint32_t index, const Region &region);

} // namespace bios_image

#endif
