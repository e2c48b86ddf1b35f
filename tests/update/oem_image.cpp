#include "tests/update/oem_image.h"

#include <algorithm>

#include "tests/update/update_test.h"

namespace board_test {

namespace {

constexpr size_t file_header = 24;
constexpr size_t data_size = 428;

void put_volume(Bytes &bytes, const OemImage &image)
{
    put_guid(bytes, image.volume_at + 16, g_OemFvGuid);
    store16(bytes, image.volume_at + 48, image.header_length);
    size_t at = image.volume_at + (image.header_length == 0 ? 64 : image.header_length);
    for (const uint16_t size : image.files) {
        store16(bytes, at + 20, size);
        at += file_header + size;
    }
    const size_t data = at + file_header;
    put_guid(bytes, at, g_OemDataGuid);
    store16(bytes, at + 20, file_header + data_size);
    store32(bytes, data + 92, image.flag);
    store32(bytes, data + 136,
            image.region_count.value_or(static_cast<uint32_t>(image.regions.size())));
    for (size_t i = 0; i < image.regions.size(); ++i) {
        store32(bytes, data + 140 + 8 * i, image.regions[i].first);
        store32(bytes, data + 144 + 8 * i, image.regions[i].second);
    }
}

} // namespace

void store32(Bytes &bytes, size_t at, uint32_t value)
{
    store16(bytes, at, value);
    store16(bytes, at + 2, value >> 16);
}

void store16(Bytes &bytes, size_t at, uint32_t value)
{
    bytes.at(at) = static_cast<uint8_t>(value);
    bytes.at(at + 1) = static_cast<uint8_t>(value >> 8);
}

void put_guid(Bytes &bytes, size_t at, const uint8_t *guid)
{
    for (size_t i = 0; i < 16; ++i) {
        bytes.at(at + i) = guid[i];
    }
}

size_t data_file_at(const OemImage &image)
{
    size_t at = image.volume_at + (image.header_length == 0 ? 64 : image.header_length);
    for (const uint16_t size : image.files) {
        at += file_header + size;
    }
    return at;
}

Bytes oem_image(const OemImage &image)
{
    Bytes bytes(image.size, 0xFF);
    put_volume(bytes, image);
    return bytes;
}

Bytes full_oem_image(const OemImage &image, uint32_t seed)
{
    Bytes bytes = pattern(image.size, seed);
    put_volume(bytes, image);
    return bytes;
}

} // namespace board_test
