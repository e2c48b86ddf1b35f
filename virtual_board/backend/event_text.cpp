#include "virtual_board/backend/event_text.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/rtc.h>
#include <linux/sockios.h>
#include <linux/spi/spidev.h>
#include <mtd/mtd-user.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>

#include "virtual_board/backend/text.h"
#include "virtual_board/ipmi_text.h"
#include "virtual_board/register_names.h"

namespace virtual_board {

using json = nlohmann::ordered_json;

namespace {

using Bytes = std::span<const uint8_t>;

enum class Form { number, wide, little, rest, text };

// A field of a record: one byte, two high byte first, two or four low byte
// first, or all bytes that follow.
struct Field {
    const char *name = nullptr;
    uint8_t offset = 0;
    uint8_t size = 1;
    Form form = Form::number;
};

constexpr Field rest(const char *name, uint8_t offset)
{
    return {name, offset, 0, Form::rest};
}

constexpr Field wide(const char *name, uint8_t offset)
{
    return {name, offset, 2, Form::wide};
}

constexpr Field little(const char *name, uint8_t offset, uint8_t size)
{
    return {name, offset, size, Form::little};
}

using Fields = std::array<Field, 6>;

// A command of the FPGA: what a read's request and its answer hold, and what a
// write's record holds.
struct Command {
    uint8_t code;
    const char *name;
    Fields request;
    Fields answer;
    Fields write;
};

constexpr Fields none = {};
constexpr Fields receive = {wide("wait", 1)};
constexpr Fields received = {Field{"channel", 0}, Field{"length", 1}, rest("message", 4)};
constexpr Fields transmit = {Field{"channel", 1}, Field{"length", 2}, wide("wait", 3),
                             rest("message", 5)};
constexpr Fields channel = {Field{"channel", 1}};
constexpr Fields answer_to_host = {Field{"length", 1}, rest("message", 2)};

constexpr Fields only(const char *name, uint8_t offset)
{
    return {Field{name, offset}};
}

constexpr Fields all_of(const char *name, uint8_t offset)
{
    return {rest(name, offset)};
}

constexpr Command commands[] = {
    {0x11, "ipmb_data", receive, received, transmit},
    {0x12, "ipmb_status", channel, only("status", 0), none},
    {0x13, "ipmb_address", none, only("address", 0), only("address", 1)},
    {0x14, "ipmb_reset", none, none, channel},
    {0x15, "ipmb_enable", none, only("channels", 0), {Field{"channel", 1}, Field{"enabled", 2}}},
    {0x16, "ipmb_sm_data", receive, received, transmit},
    {0x17, "ipmb_sm_address", none, only("address", 0), only("address", 1)},
    {0x18, "ipmb_sm_reset", none, none, channel},
    {0x21,
     "i2c_transfer",
     {Field{"channel", 1}, Field{"address", 2}, Field{"wanted", 3}, Field{"sent", 4},
      wide("delay_ms", 5), rest("data", 7)},
     all_of("data", 0),
     {Field{"channel", 1}, Field{"address", 2}, Field{"length", 3}, wide("delay_ms", 4),
      rest("data", 6)}},
    {0x22, "i2c_status", channel, only("status", 0), none},
    {0x23, "i2c_reset", none, none, channel},
    {0x24, "i2c_bus_status", channel, only("status", 0), none},
    {0x31, "kcs_data", none, all_of("message", 0), answer_to_host},
    {0x32, "kcs_status_get", none, only("status", 0), none},
    {0x33, "kcs_status_set", none, none, only("status", 1)},
    {0x41, "port80_offset", none, only("offset", 0), none},
    {0x42, "port80_data", none, all_of("codes", 0), none},
    {0x51, "reserved_ram", none, all_of("data", 0), all_of("data", 1)},
    {0x53, "base_board_id", none, only("id", 0), none},
    {0x54, "blade_pcb_version", none, only("version", 0), none},
    {0x55, "hdd_card_type", none, none, only("type", 1)},
    {0x58, "hdd_led_test", none, none, only("test", 1)},
    {0x61,
     "register",
     {little("address", 1, 2)},
     {little("value", 0, 4)},
     {little("address", 1, 2), little("value", 3, 4)}},
    {0x71, "bt_data", none, all_of("message", 0), answer_to_host},
    {0x72, "bt_status_get", none, only("status", 0), none},
    {0x73, "bt_status_set", none, none, only("status", 1)},
    {0x80, "communication_state", none, none, only("state", 1)},
    {0x82, "slot_id", none, only("slot", 0), none},
    {0x83, "board_insert", none, only("insertion", 0), none},
};

struct Number {
    uint32_t value;
    const char *name;
};

// Registers behind the FPGA's register command.
constexpr Number fpga_registers[] = {
    {292, "black_box_control"},    {320, "console_offset"},  {322, "console_word"},
    {323, "console_ready"},        {324, "console_done"},    {328, "console_enable"},
    {329, "console_fetch_offset"}, {332, "console_length"},  {416, "black_box_fetch"},
    {417, "black_box_second"},     {418, "black_box_first"}, {419, "black_box_ready"},
    {420, "black_box_done"},       {421, "black_box_word"},
};

struct Request {
    const char *device; // how its name begins
    uint32_t number;
    const char *name;
};

constexpr uint32_t as_request(unsigned long number)
{
    return static_cast<uint32_t>(number);
}

constexpr Request requests[] = {
    {"fpga", 0x80046B00, "SELFTEST"},
    {"fpga", 0x80046B01, "VERSION"},
    {"fpga", 0x80046B02, "DDR_TEST_START"},
    {"fpga", 0x80046B03, "DDR_STATE"},
    {"fpga", 0x80046B04, "START"},
    {"fpga", 0x80046B05, "BAUD_DIVISOR"},
    {"fpga", 0x80046B06, "JIFFIES"},
    {"fpga", 0x40046B07, "WATCHDOG_CLEAR"},
    {"fpga", 0x40046B08, "WATCHDOG_STOP"},
    {"fpga", 0x40046B09, "CPLD_JTAG_RESET"},
    {"cpld", 0x40046B01, "RUN_LOAD_RECORD"},
    {"cpld", 0x40046B02, "RUN_COMMAND_RECORD"},
    {"adc", 0x401C4101, "CONFIGURE"},
    {"adc", 0x40104102, "CONFIGURE_CHANNEL"},
    {"i2c-", I2C_RETRIES, "I2C_RETRIES"},
    {"i2c-", I2C_TIMEOUT, "I2C_TIMEOUT"},
    {"i2c-", I2C_SLAVE, "I2C_SLAVE"},
    {"i2c-", I2C_SLAVE_FORCE, "I2C_SLAVE_FORCE"},
    {"i2c-", I2C_TENBIT, "I2C_TENBIT"},
    {"i2c-", I2C_FUNCS, "I2C_FUNCS"},
    {"i2c-", I2C_RDWR, "I2C_RDWR"},
    {"i2c-", I2C_PEC, "I2C_PEC"},
    {"i2c-", I2C_SMBUS, "I2C_SMBUS"},
    {"mtd", as_request(MEMGETINFO), "MEMGETINFO"},
    {"mtd", as_request(MEMERASE), "MEMERASE"},
    {"mtd", as_request(MEMERASE64), "MEMERASE64"},
    {"mtd", as_request(MEMLOCK), "MEMLOCK"},
    {"mtd", as_request(MEMUNLOCK), "MEMUNLOCK"},
    {"mtd", as_request(MEMISLOCKED), "MEMISLOCKED"},
    {"mtd", as_request(MEMGETREGIONCOUNT), "MEMGETREGIONCOUNT"},
    {"mtd", as_request(MEMGETBADBLOCK), "MEMGETBADBLOCK"},
    {"mtd", as_request(MEMSETBADBLOCK), "MEMSETBADBLOCK"},
    {"mtd", as_request(MEMREADOOB), "MEMREADOOB"},
    {"mtd", as_request(MEMWRITEOOB), "MEMWRITEOOB"},
    {"mtd", as_request(MEMGETOOBSEL), "MEMGETOOBSEL"},
    {"mtd", as_request(ECCGETLAYOUT), "ECCGETLAYOUT"},
    {"mtd", as_request(ECCGETSTATS), "ECCGETSTATS"},
    {"rtc", as_request(RTC_RD_TIME), "RTC_RD_TIME"},
    {"rtc", as_request(RTC_SET_TIME), "RTC_SET_TIME"},
    {"rtc", as_request(RTC_UIE_ON), "RTC_UIE_ON"},
    {"rtc", as_request(RTC_UIE_OFF), "RTC_UIE_OFF"},
    {"spi", as_request(SPI_IOC_RD_MODE), "SPI_IOC_RD_MODE"},
    {"spi", as_request(SPI_IOC_WR_MODE), "SPI_IOC_WR_MODE"},
    {"spi", as_request(SPI_IOC_RD_MODE32), "SPI_IOC_RD_MODE32"},
    {"spi", as_request(SPI_IOC_WR_MODE32), "SPI_IOC_WR_MODE32"},
    {"spi", as_request(SPI_IOC_RD_LSB_FIRST), "SPI_IOC_RD_LSB_FIRST"},
    {"spi", as_request(SPI_IOC_WR_LSB_FIRST), "SPI_IOC_WR_LSB_FIRST"},
    {"spi", as_request(SPI_IOC_RD_BITS_PER_WORD), "SPI_IOC_RD_BITS_PER_WORD"},
    {"spi", as_request(SPI_IOC_WR_BITS_PER_WORD), "SPI_IOC_WR_BITS_PER_WORD"},
    {"spi", as_request(SPI_IOC_RD_MAX_SPEED_HZ), "SPI_IOC_RD_MAX_SPEED_HZ"},
    {"spi", as_request(SPI_IOC_WR_MAX_SPEED_HZ), "SPI_IOC_WR_MAX_SPEED_HZ"},
    {"spi", as_request(SPI_IOC_MESSAGE(1)), "SPI_IOC_MESSAGE(1)"},
    {"eth", SIOCETHTOOL, "SIOCETHTOOL"},
};

// Numbers above 9999 that the FPGA's driver answers.
constexpr Number driver_errors[] = {
    {10001, "channel disabled"}, {10005, "not acknowledged"}, {10010, "address not acknowledged"},
    {10011, "byte not taken"},   {10022, "bad record"},
};

template <size_t count> const char *name_in(const Number (&table)[count], uint64_t value)
{
    const auto *found = std::find_if(std::begin(table), std::end(table),
                                     [value](const Number &row) { return row.value == value; });
    return found == std::end(table) ? nullptr : found->name;
}

const Command *command_of(const Event &event)
{
    const auto *found = std::find_if(std::begin(commands), std::end(commands),
                                     [&](const Command &row) { return row.code == event.address; });
    return found == std::end(commands) ? nullptr : found;
}

std::string request_name(const Event &event)
{
    for (const Request &row : requests) {
        if (row.number == event.address && event.device.starts_with(row.device)) {
            return row.name;
        }
    }
    return "";
}

uint32_t number_at(Bytes bytes, const Field &field)
{
    uint32_t value = 0;
    for (size_t i = 0; i < field.size; ++i) {
        const size_t place = field.form == Form::wide ? field.size - 1 - i : i;
        value |= uint32_t{bytes[field.offset + place]} << (8 * i);
    }
    return value;
}

// The fields that the record is long enough for.
json fields_of(const Fields &fields, Bytes bytes)
{
    json named = json::object();
    for (const Field &field : fields) {
        if (field.name == nullptr || bytes.size() < size_t{field.offset} + field.size) {
            break;
        }
        if (field.form == Form::rest) {
            named[field.name] = hexadecimal(bytes.subspan(field.offset));
        } else {
            named[field.name] = number_at(bytes, field);
        }
    }
    return named;
}

Message message_at(Bytes bytes, size_t offset)
{
    return bytes.size() < offset ? Message()
                                 : Message(bytes.begin() + static_cast<long>(offset), bytes.end());
}

// Requester and responder, as every IPMB message begins; sums are not checked.
void add_ipmb_fields(json &fields, const Message &message)
{
    if (message.size() < 7) {
        return;
    }
    fields["to"] = message[0];
    fields["netfn"] = message[1] >> 2;
    fields["from"] = message[3];
    fields["sequence"] = message[4] >> 2;
    fields["command"] = message[5];
}

void name_register(json &fields)
{
    const char *name = name_in(fpga_registers, fields.value("address", 0U));
    if (name != nullptr) {
        fields["register"] = name;
    }
}

void decode_command(const Event &event, json &decoded)
{
    const Command *command = command_of(event);
    if (command == nullptr) {
        return;
    }
    const bool reads = event.operation == Operation::read;
    decoded["name"] = command->name;
    json fields = fields_of(reads ? command->request : command->write, event.bytes);
    json answer = json::object();
    if (!event.answer.empty()) {
        answer = fields_of(command->answer, event.answer);
    }
    if (event.address == 0x61) {
        name_register(fields);
    }
    const bool ipmb = event.address == 0x11 || event.address == 0x16;
    if (ipmb) {
        add_ipmb_fields(reads ? answer : fields,
                        reads ? message_at(event.answer, 4) : message_at(event.bytes, 5));
    }
    const bool host = event.address == 0x31 || event.address == 0x71;
    if (host && reads && event.answer.size() >= 2) {
        answer["request"] = IpmiText().request(event.answer);
    }
    if (!fields.empty()) {
        decoded["fields"] = fields;
    }
    if (!answer.empty()) {
        decoded["answer_fields"] = answer;
    }
}

// A combined transfer's messages: address, flags, length, bytes of a write.
json i2c_messages(Bytes record)
{
    constexpr size_t header = 4;
    json messages = json::array();
    while (record.size() >= header) {
        const bool reads = (record[1] & I2C_M_RD) != 0;
        const size_t length = record[2] | size_t{record[3]} << 8;
        json message = {{"address", record[0]}, {reads ? "read" : "write", length}};
        record = record.subspan(header);
        if (!reads) {
            const size_t there = std::min(length, record.size());
            message["data"] = hexadecimal(record.first(there));
            record = record.subspan(there);
        }
        messages.push_back(message);
    }
    return messages;
}

// An erase's range: two words of four or eight bytes.
json range_in(Bytes record)
{
    const size_t width = record.size() / 2;
    json range = json::object();
    for (const char *name : {"start", "length"}) {
        uint64_t value = 0;
        memcpy(&value, record.data(), width);
        record = record.subspan(width);
        range[name] = value;
    }
    return range;
}

void decode_ioctl(const Event &event, json &decoded)
{
    const std::string name = request_name(event);
    if (!name.empty()) {
        decoded["name"] = name;
    }
    if (name == "I2C_RDWR") {
        decoded["fields"]["messages"] = i2c_messages(event.bytes);
        if (!event.answer.empty()) {
            decoded["answer_fields"]["data"] = hexadecimal(event.answer);
        }
        return;
    }
    const bool ranged =
        name == "MEMERASE" || name == "MEMERASE64" || name == "MEMLOCK" || name == "MEMUNLOCK";
    if (ranged && (event.bytes.size() == 8 || event.bytes.size() == 16)) {
        decoded["fields"] = range_in(event.bytes);
    }
    if (event.device == "fpga" && event.answer.size() == 4) {
        decoded["answer_fields"] = fields_of({little("word", 0, 4)}, event.answer);
    }
}

void decode_register(const Event &event, json &decoded)
{
    const std::string name = register_name(event.address);
    if (!name.empty()) {
        decoded["name"] = name;
    }
    if (event.operation == Operation::store && event.bytes.size() == 2) {
        decoded["before"] = event.bytes[0];
        decoded["after"] = event.bytes[1];
        const std::string bits = changed_bits(event.address, event.bytes[0], event.bytes[1]);
        if (!bits.empty()) {
            decoded["bits"] = bits;
        }
    }
}

std::string open_flags(uint32_t flags)
{
    constexpr const char *modes[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};
    std::string text = modes[flags & O_ACCMODE];
    const Number others[] = {{O_CREAT, "O_CREAT"},   {O_EXCL, "O_EXCL"},
                             {O_TRUNC, "O_TRUNC"},   {O_APPEND, "O_APPEND"},
                             {O_NOCTTY, "O_NOCTTY"}, {O_NONBLOCK, "O_NONBLOCK"},
                             {O_DSYNC, "O_DSYNC"},   {O_CLOEXEC, "O_CLOEXEC"}};
    for (const Number &row : others) {
        text += (flags & row.value) != 0 ? "|" + std::string(row.name) : "";
    }
    return text;
}

void decode_result(const Event &event, json &decoded)
{
    const bool fpga_call = event.device == "fpga" && event.result > 9999;
    if (event.result < 0 && event.result > -4096) {
        const char *name = strerrorname_np(static_cast<int>(-event.result));
        decoded["error"] = name == nullptr ? "error" : name;
    } else if (fpga_call &&
               (event.operation == Operation::read || event.operation == Operation::write)) {
        const char *name = name_in(driver_errors, static_cast<uint64_t>(event.result));
        decoded["error"] = name == nullptr ? "driver error" : name;
    }
}

void decode(const Event &event, json &decoded)
{
    switch (event.operation) {
    case Operation::load:
    case Operation::store:
        decode_register(event, decoded);
        break;
    case Operation::read:
    case Operation::write:
        if (event.device == "fpga") {
            decode_command(event, decoded);
        }
        break;
    case Operation::ioctl:
        decode_ioctl(event, decoded);
        break;
    case Operation::open:
        decoded["name"] = open_flags(event.address);
        break;
    default:
        break;
    }
    if (event.operation != Operation::load && event.operation != Operation::store) {
        decode_result(event, decoded);
    }
}

std::string time_text(uint64_t time_us)
{
    char text[48];
    snprintf(text, sizeof(text), "%6llu.%06llu", static_cast<unsigned long long>(time_us / 1000000),
             static_cast<unsigned long long>(time_us % 1000000));
    return text;
}

std::string field_text(const json &fields)
{
    std::string text;
    for (const auto &[name, value] : fields.items()) {
        text += " " + name + "=";
        const bool spaced =
            value.is_string() && value.get<std::string>().find(' ') != std::string::npos;
        text += value.is_string() && !spaced ? value.get<std::string>() : value.dump();
    }
    return text;
}

std::string register_text(const Event &event, const json &decoded)
{
    const std::string name = decoded.value("name", "");
    const std::string place = hexadecimal(event.address, 2) + (name.empty() ? "" : " " + name);
    if (event.operation == Operation::load) {
        return place + " = " + hexadecimal(static_cast<uint64_t>(event.result), 2);
    }
    const std::string bits = decoded.value("bits", "");
    return place + " " + hexadecimal(decoded.value("before", 0U), 2) + " -> " +
           hexadecimal(decoded.value("after", 0U), 2) + (bits.empty() ? "" : " (" + bits + ")");
}

// What a call was about, without its result.
std::string call_text(const Event &event, const json &decoded)
{
    const std::string name = decoded.value("name", "");
    switch (event.operation) {
    case Operation::read:
    case Operation::write: {
        const bool is_record = event.device == "fpga";
        std::string text = is_record ? (name.empty() ? hexadecimal(event.address, 2) : name)
                                     : "at " + hexadecimal(event.address, 1) + " " +
                                           std::to_string(event.count) + " bytes";
        if (decoded.contains("fields")) {
            text += field_text(decoded["fields"]);
        } else if (name.empty() && !event.bytes.empty()) {
            text += ": " + hexadecimal(event.bytes);
        }
        return text;
    }
    case Operation::ioctl:
        return (name.empty() ? hexadecimal(event.address, 8) : name) +
               (decoded.contains("fields") ? field_text(decoded["fields"])
                : event.bytes.empty()      ? ""
                                           : ": " + hexadecimal(event.bytes));
    case Operation::open:
        return name;
    case Operation::seek:
        return "to " + hexadecimal(event.address, 1);
    case Operation::map:
    case Operation::unmap:
        return std::to_string(event.count) + " bytes";
    default:
        return "";
    }
}

std::string result_text(const Event &event, const json &decoded)
{
    std::string text = " = " + std::to_string(event.result);
    if (decoded.contains("error")) {
        text += " (" + decoded["error"].get<std::string>() + ")";
    }
    if (decoded.contains("answer_fields")) {
        text += ":" + field_text(decoded["answer_fields"]);
    } else if (!event.answer.empty()) {
        text += ": " + hexadecimal(event.answer);
    }
    return text;
}

// "     1.250000 cpld store 0x84 CHIPSET 0x80 -> 0xA0 (NMI_REQUEST 0 -> 1)"
std::string event_text(const Event &event, const json &decoded)
{
    const std::string begin = time_text(event.time_us) + " " + printable(event.device) +
                              (event.device.empty() ? "" : " ") + to_string(event.operation);
    switch (event.operation) {
    case Operation::load:
    case Operation::store:
        return begin + " " + register_text(event, decoded);
    case Operation::sleep:
        return begin + " " + std::to_string(event.count) + " us";
    case Operation::lock:
    case Operation::unlock:
        return begin;
    default: {
        const std::string call = call_text(event, decoded);
        return begin + (call.empty() ? "" : " " + call) + result_text(event, decoded);
    }
    }
}

} // namespace

nlohmann::json event_json(const Event &event)
{
    json decoded = {{"time_us", event.time_us},
                    {"operation", to_string(event.operation)},
                    {"device", printable(event.device)},
                    {"address", event.address},
                    {"count", event.count},
                    {"result", event.result}};
    if (!event.bytes.empty()) {
        decoded["bytes"] = hexadecimal(event.bytes);
    }
    if (!event.answer.empty()) {
        decoded["answer"] = hexadecimal(event.answer);
    }
    decode(event, decoded);
    decoded["text"] = event_text(event, decoded);
    return decoded;
}

} // namespace virtual_board
