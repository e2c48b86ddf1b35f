#include "tools/bios_image/report.h"

#include <stdio.h>

#include <nlohmann/json.hpp>

#include "tools/bios_image/reading.h"

namespace bios_image {

namespace {

using Json = nlohmann::ordered_json;

std::string hex(uint32_t value)
{
    char text[16];
    snprintf(text, sizeof(text), "0x%08x", value);
    return text;
}

std::string line(const char *label, const std::string &value)
{
    std::string text = std::string("  ") + label;
    text.resize(16, ' ');
    return text + value + "\n";
}

std::string text_of(const OemData &data)
{
    std::string text = line("flag", hex(data.flag));
    text += line("regions", std::to_string(data.region_count));
    for (const Region &region : data.regions) {
        text += line("", hex(region.offset) + ", " + std::to_string(region.length) + " bytes");
    }
    if (data.region_count > data.regions.size()) {
        text += line("", "and more than the table holds");
    }
    return text;
}

std::string text_of(const ImageReading &reading)
{
    std::string text = line("result", name_of(reading.outcome));
    if (reading.volume_at) {
        text += line("volume", hex(*reading.volume_at));
    }
    if (reading.data_file_at) {
        text += line("data file", hex(*reading.data_file_at)) + text_of(reading.data);
    }
    return text;
}

std::string text_of(const std::optional<FlashReading> &reading)
{
    if (!reading) {
        return line("result", "no data file");
    }
    return line("result", "found") + line("data file", hex(reading->data_file_at)) +
           line("flag", hex(reading->flag));
}

Json json_of(const ImageReading &reading)
{
    Json json = {{"found", reading.outcome == Outcome::found},
                 {"result", name_of(reading.outcome)}};
    if (reading.volume_at) {
        json["volume"] = *reading.volume_at;
    }
    if (reading.data_file_at) {
        json["data_file"] = *reading.data_file_at;
        json["flag"] = reading.data.flag;
        json["region_count"] = reading.data.region_count;
        json["regions"] = Json::array();
        for (const Region &region : reading.data.regions) {
            json["regions"].push_back({{"offset", region.offset}, {"length", region.length}});
        }
    }
    return json;
}

Json json_of(const std::optional<FlashReading> &reading)
{
    Json json = {{"found", reading.has_value()}};
    if (reading) {
        json["data_file"] = reading->data_file_at;
        json["flag"] = reading->flag;
    }
    return json;
}

} // namespace

std::string as_text(const Bytes &image, uint32_t image_size)
{
    return std::to_string(image.size()) + " bytes\nread as an image file\n" +
           text_of(read_image(image, image_size)) + "read as the flash's contents\n" +
           text_of(read_flash(image));
}

std::string as_json(const Bytes &image, uint32_t image_size)
{
    const Json json = {{"bytes", image.size()},
                       {"image_reader", json_of(read_image(image, image_size))},
                       {"flash_reader", json_of(read_flash(image))}};
    return json.dump(2) + "\n";
}

} // namespace bios_image
