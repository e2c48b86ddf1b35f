#include "tools/bios_image/breakages.h"

#include <algorithm>

namespace bios_image {

namespace {

using Place = std::ptrdiff_t;

// ---- where things are ----

uint32_t volume(const ImageReading &reading)
{
    return *reading.volume_at;
}

uint32_t data_file(const ImageReading &reading)
{
    return *reading.data_file_at;
}

uint32_t oem_field(const ImageReading &reading, uint32_t at)
{
    return data_file(reading) + file_header_size + at;
}

uint32_t first_file(const Bytes &image, const ImageReading &reading)
{
    const uint32_t length = load16(image, volume(reading) + volume_header_length_at);
    return volume(reading) + (length == 0 ? volume_header_size : length);
}

// ---- what is done to them ----

void erase(Bytes &image, size_t at, size_t count)
{
    for (size_t i = at; i < at + count; ++i) {
        image.at(i) = 0xFF;
    }
}

void hide_data_file(Bytes &image, const ImageReading &reading)
{
    put_guid(image, data_file(reading), pad_file_guid);
}

void set_header_length(Bytes &image, const ImageReading &reading, uint32_t length)
{
    store16(image, volume(reading) + volume_header_length_at, length);
}

// Moves the data file to a place in its volume.
void move_data_file(Bytes &image, const ImageReading &reading, uint32_t place)
{
    const auto from = image.begin() + data_file(reading);
    const Bytes file(from, from + oem_file_size);
    erase(image, data_file(reading), oem_file_size);
    const size_t to = volume(reading) + size_t{place};
    image.resize(std::max(image.size(), to + oem_file_size), 0xFF);
    std::copy(file.begin(), file.end(), image.begin() + static_cast<Place>(to));
    // One pad file from the volume's header to there.
    set_header_length(image, reading, volume_header_size);
    const size_t pad = first_file(image, reading);
    put_guid(image, pad, pad_file_guid);
    store16(image, pad + file_size_at, static_cast<uint32_t>(to - pad - file_header_size));
}

// The data file is not looked at if it is the first one: a file whose size
// counts has another name.
void set_first_size(Bytes &image, const ImageReading &reading, uint32_t size)
{
    const uint32_t first = first_file(image, reading);
    put_guid(image, first, pad_file_guid);
    store16(image, first + file_size_at, size);
}

void set_region_count(Bytes &image, const ImageReading &reading, uint32_t count)
{
    store32(image, oem_field(reading, region_count_at), count);
}

// The only region there is.
void set_region(Bytes &image, const ImageReading &reading, const Region &region)
{
    set_region_count(image, reading, 1);
    store_region(image, data_file(reading), 0, region);
}

// More regions than the table holds. To the end of the data all are empty, so
// that a reader which goes on fails at none of them.
void overfill_table(Bytes &image, const ImageReading &reading, uint32_t count)
{
    set_region_count(image, reading, count);
    for (uint32_t i = 0; i < (oem_data_size - region_table_at) / region_entry_size; ++i) {
        store_region(image, data_file(reading), i, {});
    }
}

// ---- each way ----

using Image = Bytes;
using Found = const ImageReading;

const Breakage
    all[] =
        {
            // The file.
            {"empty", "the file has no bytes", [](Image &image, Found &) { image.clear(); }},
            {"one-byte", "the file ends after its first byte",
             [](Image &image, Found &) { image.resize(1); }},
            {"cut-before-volume", "the file ends where the OEM volume would begin",
             [](Image &image, Found &found) { image.resize(volume(found)); }},
            {"cut-in-volume", "the file ends within the OEM volume's first block",
             [](Image &image, Found &found) { image.resize(volume(found) + block_size - 1); }},
            {"cut-behind-volume", "the file ends with the OEM volume's first block",
             [](Image &image, Found &found) { image.resize(volume(found) + block_size); }},
            // The volume.
            {"no-volume", "the OEM volume's first block is erased",
             [](Image &image, Found &found) { erase(image, volume(found), block_size); }},
            {"volume-guid-bit", "one bit of the OEM volume's GUID is wrong",
             [](Image &image, Found &found) {
                 image.at(volume(found) + volume_guid_at + 15) ^= 0x01;
             }},
            {"volume-unaligned", "everything lies 16 bytes further on",
             [](Image &image, Found &) {
                 image.insert(image.begin(), 16, 0xFF);
                 image.resize(image.size() - 16);
             }},
            {"volume-of-noise", "the OEM volume's first block is noise but for its GUID",
             [](Image &image, Found &found) {
                 const Bytes noise = pattern(block_size);
                 std::copy(noise.begin(), noise.end(), image.begin() + volume(found));
                 put_guid(image, volume(found) + volume_guid_at, oem_volume_guid);
             }},
            {"first-volume-empty", "an OEM volume without files comes before the one with the data",
             [](Image &image, Found &found) {
                 image.insert(image.begin() + volume(found), block_size, 0xFF);
                 put_guid(image, volume(found) + volume_guid_at, oem_volume_guid);
                 image.resize(image.size() - block_size);
             }},
            // The volume's header length.
            {"header-length-0", "the volume's header length is 0, which means 64",
             [](Image &image, Found &found) { set_header_length(image, found, 0); }},
            {"header-length-last", "files begin at the last place where a file header fits",
             [](Image &image, Found &found) {
                 set_header_length(image, found, block_size - file_header_size);
             }},
            {"header-length-overrun",
             "files begin where a header does not fit in the block any more",
             [](Image &image, Found &found) {
                 set_header_length(image, found, block_size - file_header_size + 1);
             }},
            {"header-length-4096", "files begin behind the volume's first block",
             [](Image &image, Found &found) { set_header_length(image, found, block_size); }},
            {"header-length-max", "the volume's header length is 65535",
             [](Image &image, Found &found) { set_header_length(image, found, 0xFFFF); }},
            // Files.
            {"file-size-0", "the first file is another one, of size 0",
             [](Image &image, Found &found) { set_first_size(image, found, 0); }},
            {"file-size-max", "the first file is another one, of size 65535",
             [](Image &image, Found &found) { set_first_size(image, found, 0xFFFF); }},
            {"file-size-overrun", "behind the first file is no room for another header",
             [](Image &image, Found &found) {
                 const uint32_t first = first_file(image, found) - volume(found);
                 set_first_size(image, found, block_size - 1 - first - file_header_size);
             }},
            {"file-size-third-byte",
             "the third byte of the data file's size, which does not count, is 255",
             [](Image &image, Found &found) {
                 image.at(data_file(found) + file_size_at + 2) = 0xFF;
             }},
            {"no-data-file", "the OEM data file has another name",
             [](Image &image, Found &found) { hide_data_file(image, found); }},
            {"data-guid-bit", "one bit of the data file's GUID is wrong",
             [](Image &image, Found &found) { image.at(data_file(found)) ^= 0x80; }},
            {"data-ends-with-block", "the data file ends with the block's last byte, one too far",
             [](Image &image, Found &found) {
                 move_data_file(image, found, block_size - oem_file_size);
             }},
            {"data-overrun", "of the data file only the header lies in the block",
             [](Image &image, Found &found) {
                 move_data_file(image, found, block_size - file_header_size);
             }},
            {"data-in-second-block", "the data file lies in the volume's second block",
             [](Image &image, Found &found) {
                 move_data_file(image, found, block_size + volume_header_size);
             }},
            // Region count.
            {"region-count-0", "no region",
             [](Image &image, Found &found) { set_region_count(image, found, 0); }},
            {"region-count-12", "one region more than the table holds, all of them empty",
             [](Image &image, Found &found) { overfill_table(image, found, regions_max + 1); }},
            {"region-count-256", "256 regions, a count whose low byte is 0",
             [](Image &image, Found &found) { overfill_table(image, found, 0x100); }},
            {"region-count-max", "4294967295 regions",
             [](Image &image, Found &found) { overfill_table(image, found, 0xFFFFFFFF); }},
            // Regions.
            {"region-empty", "a region of length 0",
             [](Image &image, Found &found) {
                 set_region(image, found, {0, 0});
             }},
            {"region-longer-than-image", "a region one byte longer than the image",
             [](Image &image, Found &found) {
                 set_region(image, found, {0, static_cast<uint32_t>(image.size()) + 1});
             }},
            {"region-length-max", "a region of 4294967295 bytes",
             [](Image &image, Found &found) {
                 set_region(image, found, {0, 0xFFFFFFFF});
             }},
            {"region-outside-image", "a region that begins where the image ends",
             [](Image &image, Found &found) {
                 set_region(image, found, {static_cast<uint32_t>(image.size()), block_size});
             }},
            {"region-over-flash-end", "a region of one byte behind 8 MiB",
             [](Image &image, Found &found) {
                 set_region(image, found, {flash_size_max, 1});
             }},
            {"region-behind-flash", "an empty region further on than 8 MiB",
             [](Image &image, Found &found) {
                 set_region(image, found, {flash_size_max + 1, 0});
             }},
            {"region-wraps", "a region whose end is beyond 32 bits",
             [](Image &image, Found &found) {
                 set_region(image, found, {0xFFFFFFFF, 2});
             }},
            {"region-unaligned", "a region that does not begin with an erase block",
             [](Image &image, Found &found) {
                 set_region(image, found, {16, 16});
             }},
};

} // namespace

const std::vector<Breakage> &breakages()
{
    static const std::vector<Breakage> list(std::begin(all), std::end(all));
    return list;
}

const Breakage *find_breakage(std::string_view name)
{
    const auto found = std::find_if(breakages().begin(), breakages().end(),
                                    [&](const Breakage &each) { return each.name == name; });
    return found == breakages().end() ? nullptr : &*found;
}

} // namespace bios_image
