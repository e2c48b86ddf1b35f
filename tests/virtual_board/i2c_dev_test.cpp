// /dev/i2c-0 as programs know it.

#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "tests/support/board_test.h"

namespace board_test {
namespace {

constexpr uint8_t eeprom = 0x50;
constexpr uint8_t sensor = 0x48;
constexpr uint8_t expander = 0x20;
constexpr uint8_t nobody = 0x33;

// Answers a block that begins with its length, and keeps what is written.
class BlockChip : public virtual_board::I2cChip {
public:
    bool start(bool) override
    {
        position = 0;
        return true;
    }
    bool write(uint8_t byte) override
    {
        written.push_back(byte);
        return true;
    }
    uint8_t read() override { return position < block.size() ? block[position++] : 0xFF; }

    Bytes block = {3, 0x0A, 0x0B, 0x0C, 0x0D};
    Bytes written;
    size_t position = 0;
};

class I2cDevTest : public BoardTest {
protected:
    void SetUp() override
    {
        BoardTest::SetUp();
        fd = open("/dev/i2c-0", O_RDWR);
        ASSERT_GE(fd, 0);
        board.eeprom(2).memory()[0x40] = 0xC1;
        board.eeprom(2).memory()[0x41] = 0xC2;
        clear_trace();
    }
    void TearDown() override
    {
        close(fd);
        BoardTest::TearDown();
    }

    // The result, or the negative errno.
    int call(unsigned long request, void *argument)
    {
        const int result = ioctl(fd, request, argument);
        return result < 0 ? -errno : result;
    }
    int choose(uintptr_t slave) { return call(I2C_SLAVE, reinterpret_cast<void *>(slave)); }
    int combined(std::vector<i2c_msg> messages)
    {
        i2c_rdwr_ioctl_data data = {messages.data(), static_cast<uint32_t>(messages.size())};
        const int result = call(I2C_RDWR, &data);
        last = messages.back();
        return result;
    }
    int smbus(uint8_t direction, uint8_t command, uint32_t size, i2c_smbus_data *data)
    {
        i2c_smbus_ioctl_data request = {direction, command, size, data};
        return call(I2C_SMBUS, &request);
    }
    static i2c_msg send(uint16_t address, Bytes &bytes)
    {
        return {address, 0, static_cast<uint16_t>(bytes.size()), bytes.data()};
    }
    static i2c_msg receive(uint16_t address, Bytes &bytes, uint16_t flags = I2C_M_RD)
    {
        return {address, flags, static_cast<uint16_t>(bytes.size()), bytes.data()};
    }

    int fd = -1;
    i2c_msg last{};
    Bytes offset = {0x00, 0x40};
    Bytes two = {0, 0};
};

TEST_F(I2cDevTest, IsACharacterDevice)
{
    struct stat status = {};
    ASSERT_EQ(fstat(fd, &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(major(status.st_rdev), 89U);
    EXPECT_EQ(minor(status.st_rdev), 0U);
}

TEST_F(I2cDevTest, TellsItsFunctions)
{
    unsigned long functions = 0;
    EXPECT_EQ(call(I2C_FUNCS, &functions), 0);
    for (const uint32_t function : std::initializer_list<uint32_t>{
             I2C_FUNC_I2C, I2C_FUNC_SMBUS_QUICK, I2C_FUNC_SMBUS_BYTE, I2C_FUNC_SMBUS_BYTE_DATA,
             I2C_FUNC_SMBUS_WORD_DATA, I2C_FUNC_SMBUS_PROC_CALL, I2C_FUNC_SMBUS_BLOCK_DATA,
             I2C_FUNC_SMBUS_BLOCK_PROC_CALL, I2C_FUNC_SMBUS_I2C_BLOCK, I2C_FUNC_SMBUS_PEC}) {
        EXPECT_EQ(functions & function, function) << function;
    }
    EXPECT_EQ(functions & I2C_FUNC_10BIT_ADDR, 0UL);
}

TEST_F(I2cDevTest, CombinedTransferAnswersItsMessages)
{
    EXPECT_EQ(combined({send(eeprom, offset), receive(eeprom, two)}), 2);
    EXPECT_EQ(two, (Bytes{0xC1, 0xC2}));
    const auto events = board.trace.of(Operation::ioctl, "i2c-0");
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].address, I2C_RDWR);
    EXPECT_EQ(events[0].bytes, (Bytes{eeprom, 0, 2, 0, 0x00, 0x40, eeprom, 1, 2, 0}));
    EXPECT_EQ(events[0].answer, (Bytes{0xC1, 0xC2}));
}

TEST_F(I2cDevTest, MessagesOfOneTransferFollowWithoutStop)
{
    Bytes data = {0x00, 0x40, 0x99};
    EXPECT_EQ(combined({send(eeprom, data), receive(eeprom, two)}), 2);
    EXPECT_EQ(board.eeprom(2).write_cycles(), 0U);
    EXPECT_EQ(combined({send(eeprom, data)}), 1);
    EXPECT_EQ(board.eeprom(2).write_cycles(), 1U);
    EXPECT_EQ(board.eeprom(2).memory()[0x40], 0x99);
    EXPECT_EQ(combined({send(eeprom, offset)}), -ENXIO) << "it programs";
}

TEST_F(I2cDevTest, MissingChipAndRefusedByteFail)
{
    EXPECT_EQ(combined({send(nobody, offset)}), -ENXIO);
    EXPECT_EQ(combined({receive(nobody, two)}), -ENXIO);
    EXPECT_EQ(combined({send(eeprom, offset), receive(nobody, two)}), -ENXIO);
    EXPECT_EQ(combined({send(0x150, offset)}), -ENXIO) << "no ten-bit addresses";
    board.eeprom(2).write_protect(true);
    Bytes data = {0x00, 0x40, 0x99};
    EXPECT_EQ(combined({send(eeprom, data)}), -EREMOTEIO);
    EXPECT_EQ(board.eeprom(2).memory()[0x40], 0xC1);
}

TEST_F(I2cDevTest, EmptyMessageAsksForTheAddressAlone)
{
    EXPECT_EQ(combined({{eeprom, 0, 0, nullptr}}), 1);
    EXPECT_EQ(combined({{nobody, 0, 0, nullptr}}), -ENXIO);
}

TEST_F(I2cDevTest, KernelRefusesMalformedTransfers)
{
    EXPECT_EQ(call(I2C_RDWR, nullptr), -EFAULT);
    i2c_rdwr_ioctl_data none = {nullptr, 1};
    EXPECT_EQ(call(I2C_RDWR, &none), -EINVAL);
    std::vector<i2c_msg> messages(I2C_RDWR_IOCTL_MAX_MSGS + 1, send(eeprom, offset));
    EXPECT_EQ(combined(messages), -EINVAL);
    messages.pop_back();
    EXPECT_EQ(combined(messages), I2C_RDWR_IOCTL_MAX_MSGS);
    i2c_rdwr_ioctl_data empty = {messages.data(), 0};
    EXPECT_EQ(call(I2C_RDWR, &empty), -EINVAL);
    Bytes longest(8192), too_long(8193);
    EXPECT_EQ(combined({receive(eeprom, longest)}), 1);
    EXPECT_EQ(combined({receive(eeprom, too_long)}), -EINVAL);
    EXPECT_EQ(combined({{eeprom, I2C_M_RD, 2, nullptr}}), -EFAULT);
}

TEST_F(I2cDevTest, BlockReadTakesItsLengthFromTheChip)
{
    const auto chip = std::make_shared<BlockChip>();
    board.i2c(2).plug(nobody, chip);
    Bytes block(1 + 32, 0xEE);
    block[0] = 1;
    EXPECT_EQ(combined({receive(nobody, block, I2C_M_RD | I2C_M_RECV_LEN)}), 1);
    EXPECT_EQ(last.len, 4);
    EXPECT_EQ(Bytes(block.begin(), block.begin() + 5), (Bytes{3, 0x0A, 0x0B, 0x0C, 0xEE}));

    for (const uint8_t length : Bytes{0, 33}) {
        chip->block[0] = length;
        block[0] = 1;
        EXPECT_EQ(combined({receive(nobody, block, I2C_M_RD | I2C_M_RECV_LEN)}), -EPROTO);
    }
    Bytes small(32, 1);
    EXPECT_EQ(combined({receive(nobody, small, I2C_M_RD | I2C_M_RECV_LEN)}), -EINVAL);
}

TEST_F(I2cDevTest, PlainTransfersGoToTheChosenSlave)
{
    EXPECT_EQ(choose(eeprom), 0);
    EXPECT_EQ(write(fd, offset.data(), 2), 2);
    EXPECT_EQ(read(fd, two.data(), 2), 2);
    EXPECT_EQ(two, (Bytes{0xC1, 0xC2}));
    EXPECT_EQ(call(I2C_SLAVE_FORCE, reinterpret_cast<void *>(uintptr_t{nobody})), 0);
    EXPECT_EQ(write(fd, offset.data(), 2), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(read(fd, two.data(), 2), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(choose(0x80), -EINVAL);
    EXPECT_EQ(lseek(fd, 0, SEEK_SET), -1);
    EXPECT_EQ(errno, ESPIPE);
}

TEST_F(I2cDevTest, EachOpenHasItsOwnSlave)
{
    int other = open("/dev/i2c-0", O_RDWR);
    EXPECT_EQ(choose(eeprom), 0);
    EXPECT_EQ(write(other, offset.data(), 2), -1);
    EXPECT_EQ(ioctl(other, I2C_SLAVE, uintptr_t{sensor}), 0);
    EXPECT_EQ(write(fd, offset.data(), 2), 2);
    EXPECT_EQ(read(other, two.data(), 2), 2);
    EXPECT_EQ(two, (Bytes{0x19, 0x00})) << "the sensor's temperature";
    close(other);
    other = open("/dev/i2c-0", O_RDWR);
    EXPECT_EQ(read(other, two.data(), 2), -1) << "a close forgets the slave";
    close(other);
}

TEST_F(I2cDevTest, QuickAsksForTheAddressAlone)
{
    choose(eeprom);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0, I2C_SMBUS_QUICK, nullptr), 0);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_QUICK, nullptr), 0);
    choose(nobody);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0, I2C_SMBUS_QUICK, nullptr), -ENXIO);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_QUICK, nullptr), -ENXIO);
}

TEST_F(I2cDevTest, BytesAndWords)
{
    i2c_smbus_data data = {};
    choose(expander);
    data.byte = 0x12;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x02, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(board.raid_expander().get(virtual_board::Pca9555::output_0), 0x12);
    data.word = 0x5634;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x04, I2C_SMBUS_WORD_DATA, &data), 0);
    EXPECT_EQ(board.raid_expander().get(virtual_board::Pca9555::polarity_0), 0x34);
    EXPECT_EQ(board.raid_expander().get(virtual_board::Pca9555::polarity_1), 0x56);

    data.word = 0;
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x02, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(data.byte, 0x12);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x04, I2C_SMBUS_WORD_DATA, &data), 0);
    EXPECT_EQ(data.word, 0x5634);

    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x05, I2C_SMBUS_BYTE, nullptr), 0) << "a command alone";
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_BYTE, &data), 0);
    EXPECT_EQ(data.byte, 0x56);
}

TEST_F(I2cDevTest, Blocks)
{
    const auto chip = std::make_shared<BlockChip>();
    board.i2c(2).plug(nobody, chip);
    choose(nobody);
    i2c_smbus_data data = {};
    data.block[0] = 2;
    data.block[1] = 0x21;
    data.block[2] = 0x22;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x10, I2C_SMBUS_BLOCK_DATA, &data), 0);
    EXPECT_EQ(chip->written, (Bytes{0x10, 2, 0x21, 0x22})) << "with its length";
    chip->written.clear();
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x11, I2C_SMBUS_I2C_BLOCK_DATA, &data), 0);
    EXPECT_EQ(chip->written, (Bytes{0x11, 0x21, 0x22})) << "without";
    chip->written.clear();

    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x12, I2C_SMBUS_BLOCK_DATA, &data), 0);
    EXPECT_EQ(Bytes(data.block, data.block + 4), (Bytes{3, 0x0A, 0x0B, 0x0C}));
    data.block[0] = 2;
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x13, I2C_SMBUS_I2C_BLOCK_DATA, &data), 0);
    EXPECT_EQ(Bytes(data.block, data.block + 4), (Bytes{2, 3, 0x0A, 0x0C})) << "two bytes alone";
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x14, I2C_SMBUS_I2C_BLOCK_BROKEN, &data), 0);
    EXPECT_EQ(data.block[0], 32);
    EXPECT_EQ(data.block[1], 3);
    EXPECT_EQ(data.block[32], 0xFF);
    EXPECT_EQ(chip->written, (Bytes{0x12, 0x13, 0x14}));
}

TEST_F(I2cDevTest, BlockLengthsAreChecked)
{
    const auto chip = std::make_shared<BlockChip>();
    board.i2c(2).plug(nobody, chip);
    choose(nobody);
    i2c_smbus_data data = {};
    data.block[0] = 33;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0, I2C_SMBUS_BLOCK_DATA, &data), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0, I2C_SMBUS_I2C_BLOCK_DATA, &data), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_I2C_BLOCK_DATA, &data), -EINVAL);
    EXPECT_TRUE(chip->written.empty());
    chip->block[0] = 33;
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_BLOCK_DATA, &data), -EPROTO);
    EXPECT_EQ(data.block[1], 0) << "nothing behind the bad length";
}

TEST_F(I2cDevTest, KernelRefusesMalformedSmbusRequests)
{
    choose(eeprom);
    i2c_smbus_data data = {};
    EXPECT_EQ(call(I2C_SMBUS, nullptr), -EFAULT);
    EXPECT_EQ(smbus(2, 0, I2C_SMBUS_BYTE_DATA, &data), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, 99, &data), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_BYTE, nullptr), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0, I2C_SMBUS_BYTE_DATA, nullptr), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_WORD_DATA, nullptr), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0, I2C_SMBUS_BLOCK_DATA, nullptr), -EINVAL);
}

TEST_F(I2cDevTest, SmbusErrorsAreTheBusErrors)
{
    i2c_smbus_data data = {};
    choose(nobody);
    for (const uint32_t size :
         std::initializer_list<uint32_t>{I2C_SMBUS_BYTE, I2C_SMBUS_BYTE_DATA, I2C_SMBUS_WORD_DATA,
                                         I2C_SMBUS_BLOCK_DATA, I2C_SMBUS_I2C_BLOCK_DATA}) {
        EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, size, &data), -ENXIO) << size;
        EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0, size, &data), -ENXIO) << size;
    }
    choose(sensor);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x00, I2C_SMBUS_BYTE_DATA, &data), -EREMOTEIO)
        << "a temperature is read-only";
}

TEST_F(I2cDevTest, CallsSendAndReceive)
{
    const auto chip = std::make_shared<BlockChip>();
    board.i2c(2).plug(nobody, chip);
    choose(nobody);
    i2c_smbus_data data = {};
    data.word = 0x2221;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x10, I2C_SMBUS_PROC_CALL, &data), 0);
    EXPECT_EQ(chip->written, (Bytes{0x10, 0x21, 0x22}));
    EXPECT_EQ(data.word, 0x0A03);
    data.word = 0x2423;
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x18, I2C_SMBUS_PROC_CALL, &data), 0);
    EXPECT_EQ(chip->written, (Bytes{0x10, 0x21, 0x22, 0x18, 0x23, 0x24})) << "either direction";
    EXPECT_EQ(data.word, 0x0A03);

    chip->written.clear();
    data.block[0] = 2;
    data.block[1] = 0x31;
    data.block[2] = 0x32;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x11, I2C_SMBUS_BLOCK_PROC_CALL, &data), 0);
    EXPECT_EQ(chip->written, (Bytes{0x11, 2, 0x31, 0x32}));
    EXPECT_EQ(Bytes(data.block, data.block + 4), (Bytes{3, 0x0A, 0x0B, 0x0C}));

    chip->written.clear();
    data.block[0] = 33;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x11, I2C_SMBUS_BLOCK_PROC_CALL, &data), -EINVAL);
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x11, I2C_SMBUS_PROC_CALL, nullptr), -EINVAL);
    EXPECT_TRUE(chip->written.empty());
}

// The sums are those of SMBus's polynomial over address, command and data.
TEST_F(I2cDevTest, ChecksumsEndTheTransfersThatHaveThem)
{
    const auto chip = std::make_shared<BlockChip>();
    board.i2c(2).plug(nobody, chip);
    choose(nobody);
    EXPECT_EQ(call(I2C_PEC, reinterpret_cast<void *>(uintptr_t{1})), 0);
    i2c_smbus_data data = {};
    data.byte = 0x5A;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x10, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(chip->written, (Bytes{0x10, 0x5A, 0x6E}));

    chip->written.clear();
    chip->block = {0x77, 0x5F};
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x10, I2C_SMBUS_BYTE_DATA, &data), 0);
    EXPECT_EQ(data.byte, 0x77);
    EXPECT_EQ(chip->written, Bytes{0x10});
    chip->block[1] ^= 0x01;
    data.byte = 0xEE;
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x10, I2C_SMBUS_BYTE_DATA, &data), -EBADMSG);
    EXPECT_EQ(data.byte, 0xEE) << "a wrong answer is none";

    chip->block = {2, 0x0A, 0x0B, 0x1F};
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x12, I2C_SMBUS_BLOCK_DATA, &data), 0);
    EXPECT_EQ(Bytes(data.block, data.block + 3), (Bytes{2, 0x0A, 0x0B}));
    chip->block[3] = 0;
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x12, I2C_SMBUS_BLOCK_DATA, &data), -EBADMSG);

    chip->written.clear();
    data.block[0] = 1;
    data.block[1] = 0x42;
    EXPECT_EQ(smbus(I2C_SMBUS_WRITE, 0x13, I2C_SMBUS_I2C_BLOCK_DATA, &data), 0);
    EXPECT_EQ(chip->written, (Bytes{0x13, 0x42})) << "a block of I2C has no checksum";
    EXPECT_EQ(call(I2C_PEC, nullptr), 0);
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0x12, I2C_SMBUS_BLOCK_DATA, &data), 0);
}

TEST_F(I2cDevTest, TenBitAddressesAreTakenAndNobodyAnswersThem)
{
    EXPECT_EQ(call(I2C_TENBIT, reinterpret_cast<void *>(uintptr_t{1})), 0);
    EXPECT_EQ(choose(0x350), 0);
    EXPECT_EQ(choose(0x400), -EINVAL);
    i2c_smbus_data data = {};
    EXPECT_EQ(smbus(I2C_SMBUS_READ, 0, I2C_SMBUS_BYTE, &data), -ENXIO);
    EXPECT_EQ(choose(eeprom), 0) << "a number of its own, not the chip's";
    EXPECT_EQ(write(fd, offset.data(), 2), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(read(fd, two.data(), 2), -1);
    EXPECT_EQ(errno, ENXIO);
    EXPECT_EQ(call(I2C_TENBIT, nullptr), 0);
    EXPECT_EQ(choose(0x350), -EINVAL);
    EXPECT_EQ(write(fd, offset.data(), 2), 2);
}

TEST_F(I2cDevTest, AdapterSettings)
{
    const auto with = [this](unsigned long request, uintptr_t value) {
        return call(request, reinterpret_cast<void *>(value));
    };
    EXPECT_EQ(with(I2C_RETRIES, 3), 0);
    EXPECT_EQ(with(I2C_TIMEOUT, 10), 0);
    EXPECT_EQ(with(0x07FF, 0), -ENOTTY);
}

} // namespace
} // namespace board_test
