#include "virtual_board/remote/ioctl_spans.h"

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/ioctl.h>
#include <linux/spi/spidev.h>
#include <string.h>

#include <algorithm>
#include <deque>

#include "virtual_board/cpld_programmer.h"

namespace virtual_board::remote {

namespace {

// The most that any device takes by one pointer.
constexpr size_t i2c_message_max = 8192;
constexpr size_t spi_transfer_max = 65536;

// Pointers as they lie in a record: spidev's are 64 bits wide everywhere.
uint64_t pointer_in(std::span<const uint8_t> bytes, size_t at, size_t width)
{
    uint64_t wide = 0;
    uintptr_t own = 0;
    if (width == sizeof(own)) {
        memcpy(&own, bytes.data() + at, sizeof(own));
        return own;
    }
    memcpy(&wide, bytes.data() + at, sizeof(wide));
    return wide;
}

template <typename Record> Record record_in(std::span<const uint8_t> bytes, size_t at = 0)
{
    Record record = {};
    if (at + sizeof(record) <= bytes.size()) {
        memcpy(&record, bytes.data() + at, sizeof(record));
    }
    return record;
}

bool is_spi_message(uint32_t request)
{
    return _IOC_TYPE(request) == SPI_IOC_MAGIC && _IOC_NR(request) == 0 &&
           _IOC_DIR(request) == _IOC_WRITE && _IOC_SIZE(request) >= sizeof(spi_ioc_transfer);
}

size_t pointer_width(uint32_t request)
{
    return is_spi_message(request) ? sizeof(uint64_t) : sizeof(void *);
}

// Header, program, trailer; a program that cannot be is refused by its header.
size_t program_record_length(std::span<const uint8_t> known)
{
    constexpr size_t header = CpldProgrammer::header_size;
    constexpr size_t trailer = CpldProgrammer::trailer_size;
    if (known.size() < header) {
        return header;
    }
    const size_t program = CpldProgrammer::program_length(known.data());
    if (program > CpldProgrammer::area_size - trailer) {
        return header;
    }
    const size_t end = header + program + trailer;
    if (known.size() < end) {
        return end;
    }
    const size_t room = header + CpldProgrammer::area_size;
    return known[end - 1] == CpldProgrammer::component_with_value
               ? std::min(header + program + CpldProgrammer::long_trailer_size, room)
               : end;
}

std::vector<PointerField> i2c_messages(std::span<const uint8_t> bytes)
{
    const auto data = record_in<i2c_rdwr_ioctl_data>(bytes);
    if (data.msgs == nullptr) {
        return {};
    }
    const size_t count = std::min<size_t>(data.nmsgs, I2C_RDWR_IOCTL_MAX_MSGS);
    return {{offsetof(i2c_rdwr_ioctl_data, msgs), count * sizeof(i2c_msg), true}};
}

std::vector<PointerField> i2c_buffers(std::span<const uint8_t> bytes)
{
    std::vector<PointerField> fields;
    for (size_t at = 0; at + sizeof(i2c_msg) <= bytes.size(); at += sizeof(i2c_msg)) {
        const auto message = record_in<i2c_msg>(bytes, at);
        if (message.buf != nullptr) {
            fields.push_back({at + offsetof(i2c_msg, buf),
                              std::min<size_t>(message.len, i2c_message_max),
                              (message.flags & I2C_M_RD) != 0});
        }
    }
    return fields;
}

std::vector<PointerField> smbus_data(std::span<const uint8_t> bytes)
{
    const auto data = record_in<i2c_smbus_ioctl_data>(bytes);
    if (data.data == nullptr) {
        return {};
    }
    return {{offsetof(i2c_smbus_ioctl_data, data), sizeof(i2c_smbus_data), true}};
}

std::vector<PointerField> spi_buffers(std::span<const uint8_t> bytes)
{
    std::vector<PointerField> fields;
    for (size_t at = 0; at + sizeof(spi_ioc_transfer) <= bytes.size();
         at += sizeof(spi_ioc_transfer)) {
        const auto transfer = record_in<spi_ioc_transfer>(bytes, at);
        const size_t length = std::min<size_t>(transfer.len, spi_transfer_max);
        if (transfer.tx_buf != 0) {
            fields.push_back({at + offsetof(spi_ioc_transfer, tx_buf), length, false});
        }
        if (transfer.rx_buf != 0) {
            fields.push_back({at + offsetof(spi_ioc_transfer, rx_buf), length, true});
        }
    }
    return fields;
}

} // namespace

size_t record_length(uint32_t request, std::span<const uint8_t> known)
{
    switch (request) {
    case I2C_FUNCS: // numbers that say nothing of a record
        return sizeof(unsigned long);
    case I2C_RDWR:
        return sizeof(i2c_rdwr_ioctl_data);
    case I2C_SMBUS:
        return sizeof(i2c_smbus_ioctl_data);
    default:
        return CpldProgrammer::takes(request) ? program_record_length(known) : _IOC_SIZE(request);
    }
}

bool record_goes_back(uint32_t request)
{
    return !CpldProgrammer::takes(request) && !is_spi_message(request);
}

std::vector<PointerField> pointers(uint32_t request, size_t depth, std::span<const uint8_t> bytes)
{
    if (request == I2C_RDWR) {
        return depth == 0   ? i2c_messages(bytes)
               : depth == 1 ? i2c_buffers(bytes)
                            : std::vector<PointerField>();
    }
    if (depth > 0) {
        return {};
    }
    if (request == I2C_SMBUS) {
        return smbus_data(bytes);
    }
    return is_spi_message(request) ? spi_buffers(bytes) : std::vector<PointerField>();
}

namespace {

bool take_record(uint32_t request, const Fetch &fetch, Span &record)
{
    for (size_t length = record_length(request, {}); length > record.bytes.size();
         length = record_length(request, record.bytes)) {
        Bytes more;
        const size_t known = record.bytes.size();
        if (!fetch(record.address + known, length - known, more)) {
            return false;
        }
        record.bytes.insert(record.bytes.end(), more.begin(), more.end());
    }
    return true;
}

} // namespace

std::optional<std::vector<Span>> take_in(uint32_t request, uint64_t argument, const Fetch &fetch)
{
    std::vector<Span> spans;
    if (record_length(request, {}) == 0) {
        return spans;
    }
    Span record;
    record.address = argument;
    record.out = record_goes_back(request);
    if (argument == 0 || !take_record(request, fetch, record)) {
        return std::nullopt;
    }
    spans.push_back(std::move(record));
    for (size_t i = 0; i < spans.size(); ++i) {
        for (const PointerField &field : pointers(request, spans[i].depth, spans[i].bytes)) {
            Span span;
            span.address = pointer_in(spans[i].bytes, field.at, pointer_width(request));
            span.depth = spans[i].depth + 1;
            span.parent = i;
            span.at = field.at;
            span.out = field.out;
            if (!fetch(span.address, field.length, span.bytes)) {
                return std::nullopt;
            }
            spans.push_back(std::move(span));
        }
    }
    return spans;
}

// A pointer to no bytes is no null pointer.
void *link(std::vector<Span> &spans)
{
    for (Span &span : spans) {
        span.bytes.reserve(1);
    }
    for (size_t i = 1; i < spans.size(); ++i) {
        const auto *const bytes = spans[i].bytes.data();
        memcpy(spans[spans[i].parent].bytes.data() + spans[i].at, &bytes, sizeof(bytes));
    }
    return spans.empty() ? nullptr : spans.front().bytes.data();
}

Bytes give_back(const std::vector<Span> &spans)
{
    Bytes bytes;
    for (const Span &span : spans) {
        if (span.out) {
            bytes.insert(bytes.end(), span.bytes.begin(), span.bytes.end());
        }
    }
    return bytes;
}

bool put_back(const std::vector<Span> &spans, Reader &from)
{
    for (size_t i = 0; i < spans.size(); ++i) {
        if (!spans[i].out) {
            continue;
        }
        const std::span<const uint8_t> fresh = from.raw(spans[i].bytes.size());
        if (!from.ok()) {
            return false;
        }
        Bytes bytes(fresh.begin(), fresh.end());
        for (const Span &child : spans) {
            if (&child != &spans.front() && child.parent == i) {
                memcpy(bytes.data() + child.at, spans[i].bytes.data() + child.at, sizeof(void *));
            }
        }
        memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(spans[i].address)), bytes.data(),
               bytes.size());
    }
    return true;
}

} // namespace virtual_board::remote
