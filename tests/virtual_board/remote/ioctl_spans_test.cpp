#include "virtual_board/remote/ioctl_spans.h"

#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <linux/rtc.h>
#include <linux/spi/spidev.h>
#include <mtd/mtd-user.h>
#include <string.h>

#include <array>
#include <string>

namespace {

using namespace virtual_board::remote;

constexpr uint32_t load_record = 0x40046B01;

bool from_memory(uint64_t address, size_t length, Bytes &bytes)
{
    const auto *at = reinterpret_cast<const uint8_t *>(static_cast<uintptr_t>(address));
    bytes.assign(at, at + length);
    return true;
}

template <typename Record> uint64_t address_of(Record &record)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(&record));
}

// As the other side takes it in: the same spans, from bytes that lie one behind
// the other.
std::vector<Span> other_side(uint32_t request, const std::vector<Span> &spans)
{
    Bytes flat;
    for (const Span &span : spans) {
        flat.insert(flat.end(), span.bytes.begin(), span.bytes.end());
    }
    Reader reader(flat);
    auto taken = take_in(request, spans.empty() ? 0 : spans.front().address,
                         [&reader](uint64_t, size_t length, Bytes &bytes) {
                             const auto next = reader.raw(length);
                             bytes.assign(next.begin(), next.end());
                             return reader.ok();
                         });
    EXPECT_TRUE(taken.has_value());
    EXPECT_TRUE(reader.complete());
    return taken ? *taken : std::vector<Span>();
}

TEST(IoctlSpans, KnowTheLengthOfEveryRecord)
{
    const struct {
        const char *name;
        uint32_t request;
        size_t length;
    } rows[] = {
        {"I2C_SLAVE", I2C_SLAVE, 0},
        {"I2C_FUNCS", I2C_FUNCS, sizeof(unsigned long)},
        {"I2C_RDWR", I2C_RDWR, sizeof(i2c_rdwr_ioctl_data)},
        {"I2C_SMBUS", I2C_SMBUS, sizeof(i2c_smbus_ioctl_data)},
        {"SPI_IOC_WR_MODE", static_cast<uint32_t>(SPI_IOC_WR_MODE), 1},
        {"SPI_IOC_MESSAGE(2)", static_cast<uint32_t>(SPI_IOC_MESSAGE(2)),
         2 * sizeof(spi_ioc_transfer)},
        {"MEMGETINFO", MEMGETINFO, sizeof(mtd_info_user)},
        {"MEMERASE", MEMERASE, sizeof(erase_info_user)},
        {"RTC_RD_TIME", RTC_RD_TIME, sizeof(rtc_time)},
        {"RTC_UIE_ON", RTC_UIE_ON, 0},
        {"FPGA version", 0x80046B01, 4},
        {"FPGA watchdog", 0x40046B07, 4},
        {"ADC configuration", 0x401C4101, 28},
        {"CPLD program, so far", load_record, 8},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(record_length(row.request, {}), row.length) << row.name;
    }
}

TEST(IoctlSpans, TakeNothingForANumber)
{
    const auto spans = take_in(I2C_SLAVE, 0x50, from_memory);
    ASSERT_TRUE(spans.has_value());
    EXPECT_TRUE(spans->empty());
}

TEST(IoctlSpans, TakeNoNullPointer)
{
    for (const uint32_t request : {uint32_t{I2C_RDWR}, uint32_t{MEMGETINFO}, load_record}) {
        EXPECT_FALSE(take_in(request, 0, from_memory)) << request;
    }
}

TEST(IoctlSpans, TakeNothingThatCannotBeRead)
{
    size_t calls = 0;
    const auto second_fails = [&calls](uint64_t from, size_t length, Bytes &bytes) {
        return ++calls < 2 && from_memory(from, length, bytes);
    };
    uint8_t byte = 1;
    i2c_msg message = {0x50, 0, 1, &byte};
    i2c_rdwr_ioctl_data data = {&message, 1};
    EXPECT_FALSE(take_in(I2C_RDWR, address_of(data), second_fails));
}

TEST(IoctlSpans, CarryAnI2cTransferThereAndBack)
{
    std::array<uint8_t, 2> offset = {0x12, 0x34};
    std::array<uint8_t, 4> answer = {1, 2, 3, 4};
    i2c_msg messages[] = {{0x50, 0, 2, offset.data()}, {0x50, I2C_M_RD, 4, answer.data()}};
    i2c_rdwr_ioctl_data data = {messages, 2};
    const auto spans = take_in(I2C_RDWR, address_of(data), from_memory);
    ASSERT_TRUE(spans && spans->size() == 4);

    std::vector<Span> there = other_side(I2C_RDWR, *spans);
    ASSERT_EQ(there.size(), 4U);
    const auto *record = static_cast<const i2c_rdwr_ioctl_data *>(link(there));
    ASSERT_NE(record->msgs, messages) << "the device would work on the program's memory";
    ASSERT_EQ(record->nmsgs, 2U);
    EXPECT_EQ(memcmp(record->msgs[0].buf, offset.data(), 2), 0);
    memcpy(record->msgs[1].buf, "wxyz", 4);
    record->msgs[0].buf[0] = 0xEE; // what is only written does not come back
    record->msgs[1].len = 3;

    const Bytes back = give_back(there);
    Reader reader(back);
    ASSERT_TRUE(put_back(*spans, reader));
    EXPECT_TRUE(reader.complete());
    EXPECT_EQ(std::string(answer.begin(), answer.end()), "wxyz");
    EXPECT_EQ(offset[0], 0x12);
    EXPECT_EQ(messages[1].len, 3);
    EXPECT_EQ(messages[1].buf, answer.data()) << "pointers stay the program's";
    EXPECT_EQ(data.msgs, messages);
}

// Whatever a record says, its pointers lead to the other side's own bytes.
TEST(IoctlSpans, FollowNoCountThatIsTooLarge)
{
    std::vector<i2c_msg> messages(I2C_RDWR_IOCTL_MAX_MSGS + 1);
    i2c_rdwr_ioctl_data data = {messages.data(), 0xFFFFFFFF};
    const auto spans = take_in(I2C_RDWR, address_of(data), from_memory);
    ASSERT_TRUE(spans && spans->size() == 2);
    EXPECT_EQ((*spans)[1].bytes.size(), I2C_RDWR_IOCTL_MAX_MSGS * sizeof(i2c_msg));

    std::vector<uint8_t> long_buffer(65535);
    i2c_msg message = {0x50, 0, 65535, long_buffer.data()};
    data = {&message, 1};
    const auto clipped = take_in(I2C_RDWR, address_of(data), from_memory);
    ASSERT_TRUE(clipped && clipped->size() == 3);
    EXPECT_EQ((*clipped)[2].bytes.size(), 8192U);
}

TEST(IoctlSpans, LeadEmptyBuffersSomewhere)
{
    uint8_t byte = 0;
    i2c_msg message = {0x50, 0, 0, &byte};
    i2c_rdwr_ioctl_data data = {&message, 1};
    auto spans = take_in(I2C_RDWR, address_of(data), from_memory);
    ASSERT_TRUE(spans && spans->size() == 3);
    std::vector<Span> there = other_side(I2C_RDWR, *spans);
    const auto *record = static_cast<const i2c_rdwr_ioctl_data *>(link(there));
    EXPECT_NE(record->msgs[0].buf, nullptr);
    EXPECT_NE(record->msgs[0].buf, &byte);
}

TEST(IoctlSpans, CarrySmbusData)
{
    i2c_smbus_data block = {};
    block.block[0] = 2;
    i2c_smbus_ioctl_data data = {I2C_SMBUS_READ, 7, I2C_SMBUS_I2C_BLOCK_DATA, &block};
    const auto spans = take_in(I2C_SMBUS, address_of(data), from_memory);
    ASSERT_TRUE(spans && spans->size() == 2);
    std::vector<Span> there = other_side(I2C_SMBUS, *spans);
    const auto *record = static_cast<const i2c_smbus_ioctl_data *>(link(there));
    ASSERT_NE(record->data, &block);
    EXPECT_EQ(record->data->block[0], 2);
    record->data->block[1] = 0x77;
    const Bytes back = give_back(there);
    Reader reader(back);
    ASSERT_TRUE(put_back(*spans, reader));
    EXPECT_EQ(block.block[1], 0x77);
    EXPECT_EQ(data.data, &block);

    data.data = nullptr; // a quick command has none
    EXPECT_EQ(take_in(I2C_SMBUS, address_of(data), from_memory)->size(), 1U);
}

TEST(IoctlSpans, CarrySpiTransfers)
{
    std::array<uint8_t, 3> out = {9, 8, 7};
    std::array<uint8_t, 3> in = {};
    std::array<spi_ioc_transfer, 2> transfers = {};
    transfers[0].tx_buf = address_of(out);
    transfers[0].len = 3;
    transfers[1].rx_buf = address_of(in);
    transfers[1].len = 3;
    constexpr auto request = static_cast<uint32_t>(SPI_IOC_MESSAGE(2));
    const auto spans = take_in(request, address_of(transfers), from_memory);
    ASSERT_TRUE(spans && spans->size() == 3);
    std::vector<Span> there = other_side(request, *spans);
    const auto *record = static_cast<const spi_ioc_transfer *>(link(there));
    const auto *sent = reinterpret_cast<const uint8_t *>(static_cast<uintptr_t>(record[0].tx_buf));
    ASSERT_NE(sent, out.data());
    EXPECT_EQ(sent[2], 7);
    memcpy(reinterpret_cast<void *>(static_cast<uintptr_t>(record[1].rx_buf)), "abc", 3);
    const Bytes back = give_back(there);
    EXPECT_EQ(back.size(), 3U) << "only what was received";
    Reader reader(back);
    ASSERT_TRUE(put_back(*spans, reader));
    EXPECT_EQ(in[0], 'a');
}

// Header, program, and a trailer whose length its last byte tells.
TEST(IoctlSpans, TakeACpldProgramToItsTrailer)
{
    const struct {
        const char *name;
        uint32_t program;
        uint8_t component;
        size_t length;
    } rows[] = {
        {"usual trailer", 10, 1, 8 + 10 + 3},
        {"trailer with a value", 10, 6, 8 + 10 + 5},
        {"no program", 0, 2, 8 + 3},
        {"longest program", 524288 - 3, 1, 8 + 524288},
        {"longest program and no room for a value", 524288 - 3, 6, 8 + 524288},
        {"program that is too long", 524288 - 2, 1, 8},
        {"no program at all", 0xFFFFFFFF, 1, 8},
    };
    for (const auto &row : rows) {
        Bytes record(8 + 524288 + 16);
        memcpy(record.data(), &row.program, 4);
        if (row.program < record.size() - 11) {
            record[8 + row.program + 2] = row.component;
        }
        const auto spans =
            take_in(load_record, static_cast<uint64_t>(reinterpret_cast<uintptr_t>(record.data())),
                    from_memory);
        ASSERT_TRUE(spans && spans->size() == 1) << row.name;
        EXPECT_EQ(spans->front().bytes.size(), row.length) << row.name;
        EXPECT_TRUE(give_back(*spans).empty()) << row.name;
    }
}

TEST(IoctlSpans, PutNothingBackThatIsTooShort)
{
    erase_info_user range = {1, 2};
    const auto spans = take_in(MEMERASE, address_of(range), from_memory);
    ASSERT_TRUE(spans.has_value());
    const Bytes back(sizeof(range) - 1);
    Reader reader(back);
    EXPECT_FALSE(put_back(*spans, reader));
    EXPECT_EQ(range.start, 1U);
}

} // namespace
