#include "tools/bios_image/reading.h"

#include <algorithm>

namespace bios_image {

namespace {

bool holds(const Bytes &bytes, size_t at, const Guid &guid)
{
    return std::equal(guid.begin(), guid.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

OemData read_data(const Bytes &bytes, size_t data_file)
{
    const size_t data = data_file + file_header_size;
    OemData read;
    read.flag = load32(bytes, data + flag_at);
    read.region_count = load32(bytes, data + region_count_at);
    for (uint32_t i = 0; i < std::min(read.region_count, regions_max); ++i) {
        const size_t entry = data + region_table_at + size_t{i} * region_entry_size;
        read.regions.push_back({load32(bytes, entry), load32(bytes, entry + 4)});
    }
    return read;
}

size_t behind_file(const Bytes &bytes, size_t header)
{
    return file_header_size + load16(bytes, header + file_size_at);
}

// The first OEM volume; sets the outcome if there is none.
bool find_volume(const Bytes &image, uint64_t image_size, ImageReading &reading)
{
    // What the image holds ends the search at the latest.
    for (size_t at = 0; at == 0 || at < image_size; at += block_size) {
        const size_t left = image.size() - std::min(at, image.size());
        if (left < block_size) {
            reading.outcome = Outcome::cut_off;
            reading.last_count = static_cast<uint32_t>(left);
            return false;
        }
        if (holds(image, at + volume_guid_at, oem_volume_guid)) {
            reading.volume_at = static_cast<uint32_t>(at);
            return true;
        }
    }
    reading.outcome = Outcome::no_volume;
    return false;
}

Outcome find_data_file(const Bytes &image, uint32_t volume, ImageReading &reading)
{
    size_t at = load16(image, volume + volume_header_length_at);
    for (at = at == 0 ? volume_header_size : at; at < block_size;
         at += behind_file(image, volume + at)) {
        if (at > block_size - file_header_size) {
            return Outcome::header_overrun;
        }
        if (holds(image, volume + at, oem_data_guid)) {
            if (at > data_file_at_max) {
                return Outcome::data_overrun;
            }
            reading.data_file_at = static_cast<uint32_t>(volume + at);
            reading.data = read_data(image, volume + at);
            return Outcome::found;
        }
    }
    return Outcome::no_data_file;
}

} // namespace

ImageReading read_image(const Bytes &image, uint64_t image_size)
{
    ImageReading reading;
    if (image_size < block_size) {
        reading.outcome = Outcome::too_small;
    } else if (find_volume(image, image_size, reading)) {
        reading.outcome = find_data_file(image, *reading.volume_at, reading);
    }
    return reading;
}

// Whatever volume a block belongs to, it is walked from byte 64; a data file
// may end with the block here.
std::optional<FlashReading> read_flash(const Bytes &flash)
{
    for (size_t block = 0; block + block_size <= flash.size(); block += block_size) {
        for (size_t at = volume_header_size; at <= block_size - oem_file_size;
             at += behind_file(flash, block + at)) {
            if (holds(flash, block + at, oem_data_guid)) {
                return FlashReading{static_cast<uint32_t>(block + at),
                                    read_data(flash, block + at).flag};
            }
        }
    }
    return {};
}

const char *name_of(Outcome outcome)
{
    switch (outcome) {
    case Outcome::found:
        return "found";
    case Outcome::too_small:
        return "less than one block";
    case Outcome::cut_off:
        return "the file ends within a block";
    case Outcome::no_volume:
        return "no OEM volume";
    case Outcome::header_overrun:
        return "a file header reaches beyond the volume's first block";
    case Outcome::data_overrun:
        return "the data file reaches beyond the volume's first block";
    default:
        return "no data file in the volume's first block";
    }
}

} // namespace bios_image
