#include "tools/bios_image/image.h"

#include <algorithm>
#include <string_view>

namespace bios_image {

namespace {

constexpr std::string_view volume_signature = "_FVH";
constexpr uint8_t volume_revision = 2;
constexpr uint8_t type_freeform = 0x02;
constexpr uint8_t type_pad = 0xF0;
constexpr uint8_t state_valid = 0xF8;

size_t files_at(const Layout &layout)
{
    return layout.volume_at +
           (layout.header_length == 0 ? volume_header_size : uint32_t{layout.header_length});
}

// Where the volume that begins there ends: at the next one, or with the image.
uint32_t volume_end(const Layout &layout, uint32_t at)
{
    std::vector<uint32_t> starts = layout.other_volumes;
    starts.push_back(layout.volume_at);
    uint32_t end = layout.size;
    for (const uint32_t start : starts) {
        if (start > at) {
            end = std::min(end, start);
        }
    }
    return end;
}

// The header's 16-bit words add up to 0.
void store_checksum(Bytes &bytes, size_t volume, uint32_t header_length)
{
    const size_t end =
        std::min<size_t>(std::max(header_length, volume_header_size) & ~1U, bytes.size() - volume);
    uint32_t sum = 0;
    for (size_t at = 0; at < end; at += 2) {
        sum += load16(bytes, volume + at);
    }
    store16(bytes, volume + volume_checksum_at, 0x10000 - (sum & 0xFFFF));
}

void put_volume(Bytes &bytes, uint32_t at, const Guid &guid, uint32_t length,
                uint16_t header_length)
{
    for (size_t i = 0; i < volume_header_size; ++i) {
        bytes.at(at + i) = 0;
    }
    put_guid(bytes, at + volume_guid_at, guid);
    store32(bytes, at + volume_length_at, length);
    std::copy(volume_signature.begin(), volume_signature.end(),
              bytes.begin() + static_cast<std::ptrdiff_t>(at + volume_signature_at));
    store16(bytes, at + volume_header_length_at, header_length);
    bytes.at(at + volume_revision_at) = volume_revision;
    store_checksum(bytes, at, header_length);
}

void put_file(Bytes &bytes, size_t at, const Guid &guid, uint8_t type, uint32_t size)
{
    put_guid(bytes, at, guid);
    bytes.at(at + file_type_at) = type;
    store16(bytes, at + file_size_at, size);
    bytes.at(at + file_size_at + 2) = 0;
    bytes.at(at + file_state_at) = state_valid;
}

void put_data_file(Bytes &bytes, size_t at, const Layout &layout)
{
    put_file(bytes, at, oem_data_guid, type_freeform, oem_file_size);
    const size_t data = at + file_header_size;
    const auto in_table = static_cast<uint32_t>(layout.regions.size());
    store32(bytes, data + flag_at, layout.flag);
    store32(bytes, data + region_count_at, layout.region_count.value_or(in_table));
    for (uint32_t i = 0; i < in_table; ++i) {
        store_region(bytes, at, i, layout.regions[i]);
    }
}

std::string problem_of_volumes(const Layout &layout)
{
    std::vector<uint32_t> starts = layout.other_volumes;
    starts.push_back(layout.volume_at);
    std::sort(starts.begin(), starts.end());
    if (std::adjacent_find(starts.begin(), starts.end()) != starts.end()) {
        return "two volumes begin at the same place";
    }
    const auto misplaced = [&](uint32_t at) { return at % block_size != 0 || at >= layout.size; };
    if (std::any_of(starts.begin(), starts.end(), misplaced)) {
        return "a volume begins at a multiple of 4096 within the image";
    }
    return {};
}

std::string problem_of_files(const Layout &layout)
{
    if (layout.header_length != 0 && layout.header_length < volume_header_size) {
        return "a volume header has 64 bytes or more";
    }
    if (data_file_at(layout) - layout.volume_at > data_file_at_max) {
        return "the OEM data file has to end before the last byte of its volume's first 4096 bytes";
    }
    return {};
}

std::string problem_of_regions(const Layout &layout)
{
    if (layout.regions.size() > regions_max || layout.region_count.value_or(0) > regions_max) {
        return "the region table has room for 11 regions";
    }
    const auto outside = [&](const Region &region) {
        return uint64_t{region.offset} + region.length > layout.size;
    };
    if (std::any_of(layout.regions.begin(), layout.regions.end(), outside)) {
        return "a region lies within the image";
    }
    return {};
}

} // namespace

size_t data_file_at(const Layout &layout)
{
    size_t at = files_at(layout);
    for (const uint16_t size : layout.files) {
        at += file_header_size + size;
    }
    return at;
}

std::string problem_of(const Layout &layout)
{
    if (layout.size == 0 || layout.size % block_size != 0 || layout.size > flash_size_max) {
        return "the size is a multiple of 4096, up to 8M";
    }
    for (const auto problem : {problem_of_volumes, problem_of_files, problem_of_regions}) {
        if (const std::string text = problem(layout); !text.empty()) {
            return text;
        }
    }
    return {};
}

Bytes build(const Layout &layout, std::optional<uint32_t> seed)
{
    Bytes bytes = seed ? pattern(layout.size, *seed) : Bytes(layout.size, 0xFF);
    for (const uint32_t at : layout.other_volumes) {
        put_volume(bytes, at, plain_volume_guid, volume_end(layout, at) - at, volume_header_size);
    }
    put_volume(bytes, layout.volume_at, oem_volume_guid,
               volume_end(layout, layout.volume_at) - layout.volume_at, layout.header_length);
    size_t at = files_at(layout);
    for (const uint16_t size : layout.files) {
        put_file(bytes, at, pad_file_guid, type_pad, size);
        at += file_header_size + size;
    }
    put_data_file(bytes, at, layout);
    return bytes;
}

Bytes pattern(size_t count, uint32_t seed)
{
    Bytes bytes(count);
    for (uint8_t &byte : bytes) {
        seed = seed * 1103515245 + 12345;
        byte = static_cast<uint8_t>(seed >> 16);
    }
    return bytes;
}

uint32_t load16(const Bytes &bytes, size_t at)
{
    return bytes.at(at) | static_cast<uint32_t>(bytes.at(at + 1)) << 8;
}

uint32_t load32(const Bytes &bytes, size_t at)
{
    return load16(bytes, at) | load16(bytes, at + 2) << 16;
}

void store16(Bytes &bytes, size_t at, uint32_t value)
{
    bytes.at(at) = static_cast<uint8_t>(value);
    bytes.at(at + 1) = static_cast<uint8_t>(value >> 8);
}

void store32(Bytes &bytes, size_t at, uint32_t value)
{
    store16(bytes, at, value);
    store16(bytes, at + 2, value >> 16);
}

void put_guid(Bytes &bytes, size_t at, const Guid &guid)
{
    for (size_t i = 0; i < guid.size(); ++i) {
        bytes.at(at + i) = guid[i];
    }
}

void store_region(Bytes &bytes, size_t data_file, uint32_t index, const Region &region)
{
    const size_t entry =
        data_file + file_header_size + region_table_at + size_t{index} * region_entry_size;
    store32(bytes, entry, region.offset);
    store32(bytes, entry + 4, region.length);
}

} // namespace bios_image
