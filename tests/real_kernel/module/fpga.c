// SPDX-License-Identifier: GPL-2.0-only
// The bus FPGA's driver. Its first byte tells what a record is; a read brings
// the record in the caller's buffer and is answered there. A record's length
// follows from its first byte, not from the count, which is often less.

#include <linux/fs.h>
#include <linux/jiffies.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/uaccess.h>

#include "test_board.h"

#define I2C_DATA_MAX 64
#define I2C_READ_HEADER 7
#define I2C_WRITE_HEADER 6
#define IPMB_READ_HEADER 4
#define IPMB_WRITE_HEADER 5
#define REGISTER_RECORD 7
#define RAM_SIZE 1024
#define RECORD_MAX (RAM_SIZE + 1)
#define REGISTER_COUNT 1024
#define TRACED_MAX 64

#define NOT_ADDRESSED 10010
#define BAD_RECORD 10022

#define REQUEST_WAITING 1
#define IDLE 4

static DEFINE_MUTEX(fpga_lock);
static u8 record[RECORD_MAX];
static u8 ram[RAM_SIZE];
static u32 registers[REGISTER_COUNT];
static u8 host_message[100];
static size_t host_message_length;
// What was sent over BT and IPMB comes back.
static u8 bt_message[254];
static size_t bt_message_length;
static u8 ipmb_message[256];
static size_t ipmb_message_length;
static u8 ipmb_address = 0x20;
static u8 ipmb_enabled;
static u32 baud_divisor = 12;

void fpga_host_sends(const u8 *message, size_t length)
{
    mutex_lock(&fpga_lock);
    host_message_length = min(length, sizeof(host_message));
    memcpy(host_message, message, host_message_length);
    mutex_unlock(&fpga_lock);
}

void fpga_set_divisor(u32 divisor)
{
    WRITE_ONCE(baud_divisor, divisor);
}

static u32 *register_of_record(void)
{
    return &registers[(record[1] | record[2] << 8) % REGISTER_COUNT];
}

static size_t read_record_length(u8 command)
{
    switch (command) {
    case 0x21:
        return I2C_READ_HEADER + I2C_DATA_MAX;
    case 0x61:
        return REGISTER_RECORD;
    case 0x11:
        return IPMB_READ_HEADER;
    case 0x12:
    case 0x22:
    case 0x24:
        return 2;
    default:
        return 1;
    }
}

static ssize_t i2c_answer(size_t *answer)
{
    const u8 address = record[2] >> 1;
    const size_t wanted = record[3];
    const size_t sent = record[4];
    u8 bytes[I2C_DATA_MAX];

    if (record[1] > 1 || wanted > I2C_DATA_MAX || sent > I2C_DATA_MAX)
        return BAD_RECORD;
    if (sent > 0 && chip_write(address, record + I2C_READ_HEADER, sent) < 0)
        return NOT_ADDRESSED;
    if (chip_read(address, bytes, wanted) < 0)
        return NOT_ADDRESSED;
    memcpy(record, bytes, wanted);
    *answer = wanted;
    return wanted;
}

static ssize_t bt_answer(size_t count, size_t *answer)
{
    *answer = min(count, bt_message_length);
    memcpy(record, bt_message, *answer);
    bt_message_length = 0;
    return *answer;
}

// Channel, length, two bytes without meaning, message.
static ssize_t ipmb_answer(size_t *answer)
{
    *answer = ipmb_message_length;
    memcpy(record, ipmb_message, ipmb_message_length);
    ipmb_message_length = 0;
    return *answer;
}

// Where the blade is and what it is; slot 1, with its parity, and seated.
static u8 identity(u8 command)
{
    switch (command) {
    case 0x53:
        return 0x21;
    case 0x54:
        return 0x01;
    case 0x82:
        return 0x01;
    default:
        return 0x00;
    }
}

// The request becomes the answer, of which *answer bytes are for the caller.
static ssize_t make_answer(size_t count, loff_t position, size_t *answer)
{
    __le32 value;

    *answer = 1;
    switch (record[0]) {
    case 0x11:
        return ipmb_answer(answer);
    case 0x13:
        record[0] = ipmb_address;
        return 1;
    case 0x15: // success is zero here, and with the two statuses
        record[0] = ipmb_enabled;
        return 0;
    case 0x12:
    case 0x22:
        record[0] = 0;
        return 0;
    case 0x21:
        *answer = 0;
        return i2c_answer(answer);
    case 0x24:
        record[0] = 0;
        return 1;
    case 0x31:
        *answer = min(count, host_message_length);
        memcpy(record, host_message, *answer);
        host_message_length = 0;
        return *answer;
    case 0x32:
        record[0] = host_message_length == 0 ? IDLE : REQUEST_WAITING;
        return 1;
    case 0x51:
        *answer = position < RAM_SIZE ? min_t(size_t, count, RAM_SIZE - position) : 0;
        memcpy(record, ram + position, *answer);
        return *answer;
    case 0x61:
        value = cpu_to_le32(*register_of_record());
        memcpy(record, &value, sizeof(value));
        *answer = sizeof(value);
        return sizeof(value);
    case 0x71:
        return bt_answer(count, answer);
    case 0x72:
        record[0] = bt_message_length == 0 ? IDLE : REQUEST_WAITING;
        return 1;
    case 0x53:
    case 0x54:
    case 0x82:
    case 0x83:
        record[0] = identity(record[0]);
        return 1;
    default:
        *answer = 0;
        return -EINVAL;
    }
}

static ssize_t locked_read(char __user *buffer, size_t count, loff_t position)
{
    size_t length, answer;
    ssize_t result;

    if (count == 0)
        return 0;
    if (get_user(record[0], (u8 __user *)buffer) != 0)
        return -EFAULT;
    length = read_record_length(record[0]);
    if (copy_from_user(record, buffer, length) != 0)
        return -EFAULT;
    // An I2C record ends with what it has to write.
    board_trace("fpga read %zu: %*ph\n", count,
                (int)(record[0] == 0x21 ? I2C_READ_HEADER + min_t(u8, record[4], 32) : length),
                record);
    result = make_answer(count, position, &answer);
    return copy_to_user(buffer, record, answer) == 0 ? result : -EFAULT;
}

static ssize_t fpga_read(struct file *file, char __user *buffer, size_t count, loff_t *position)
{
    ssize_t result;

    mutex_lock(&fpga_lock);
    result = locked_read(buffer, count, *position);
    mutex_unlock(&fpga_lock);
    return result;
}

// 0 for a record that cannot be.
static size_t write_record_length(const u8 __user *buffer, u8 command, size_t count)
{
    u8 header[I2C_WRITE_HEADER];

    switch (command) {
    case 0x11:
        if (copy_from_user(header, buffer, IPMB_WRITE_HEADER) != 0 || header[2] > 254)
            return 0;
        return IPMB_WRITE_HEADER + header[2];
    case 0x21:
        if (copy_from_user(header, buffer, sizeof(header)) != 0 || header[3] > I2C_DATA_MAX)
            return 0;
        return I2C_WRITE_HEADER + header[3];
    case 0x13:
    case 0x14:
    case 0x23:
    case 0x80:
        return 2;
    case 0x61:
        return REGISTER_RECORD;
    default:
        return count > RECORD_MAX ? 0 : count;
    }
}

static ssize_t take_bt_message(size_t length)
{
    if (length < 2 || length - 2 > sizeof(bt_message))
        return -EINVAL;
    bt_message_length = length - 2;
    memcpy(bt_message, record + 2, bt_message_length);
    return length;
}

static ssize_t take_ipmb_message(size_t count)
{
    const size_t length = min_t(size_t, record[2], sizeof(ipmb_message) - IPMB_READ_HEADER);

    ipmb_message[0] = record[1];
    ipmb_message[1] = length;
    memcpy(ipmb_message + IPMB_READ_HEADER, record + IPMB_WRITE_HEADER, length);
    ipmb_message_length = IPMB_READ_HEADER + length;
    return count;
}

static ssize_t take_record(size_t length, size_t count, loff_t position)
{
    __le32 value;

    switch (record[0]) {
    case 0x11:
        return take_ipmb_message(count);
    case 0x13:
        ipmb_address = record[1];
        return 0;
    case 0x15:
        ipmb_enabled = (ipmb_enabled & ~(1 << (record[1] & 3))) | record[2] << (record[1] & 3);
        return 0;
    case 0x71:
        return take_bt_message(length);
    case 0x21:
        if (record[1] > 1)
            return BAD_RECORD;
        return chip_write(record[2] >> 1, record + I2C_WRITE_HEADER, record[3]) < 0 ? NOT_ADDRESSED
                                                                                    : record[3];
    case 0x14:
    case 0x23:
    case 0x31:
    case 0x33:
        return count;
    case 0x51:
        if (position + length - 1 > RAM_SIZE)
            return -EINVAL;
        memcpy(ram + position, record + 1, length - 1);
        return length - 1;
    case 0x61:
        memcpy(&value, record + 3, sizeof(value));
        *register_of_record() = le32_to_cpu(value);
        return count;
    case 0x80:
        return 0;
    default:
        return -EINVAL;
    }
}

static ssize_t locked_write(const char __user *buffer, size_t count, loff_t position)
{
    size_t length;

    if (count == 0)
        return 0;
    if (get_user(record[0], (const u8 __user *)buffer) != 0)
        return -EFAULT;
    length = write_record_length((const u8 __user *)buffer, record[0], count);
    if (length == 0)
        return -EINVAL;
    if (copy_from_user(record, buffer, length) != 0)
        return -EFAULT;
    board_trace("fpga write %zu: %*ph\n", count, (int)min_t(size_t, length, TRACED_MAX), record);
    return take_record(length, count, position);
}

static ssize_t fpga_write(struct file *file, const char __user *buffer, size_t count,
                          loff_t *position)
{
    ssize_t result;

    mutex_lock(&fpga_lock);
    result = locked_write(buffer, count, *position);
    mutex_unlock(&fpga_lock);
    return result;
}

static long fpga_ioctl(struct file *file, unsigned int request, unsigned long argument)
{
    // Self test, version, DDR test, DDR state, start.
    static const u32 words[] = {0, 0x21, 0, 1, 0};
    const unsigned int number = _IOC_NR(request);
    u32 __user *word = (u32 __user *)argument;
    u32 given;

    if (_IOC_TYPE(request) != 'k' || _IOC_SIZE(request) != sizeof(u32))
        return -ENOTTY;
    if (_IOC_DIR(request) == _IOC_READ && number < ARRAY_SIZE(words))
        return put_user(words[number], word);
    if (_IOC_DIR(request) == _IOC_READ && number == 5)
        return put_user(READ_ONCE(baud_divisor), word);
    if (_IOC_DIR(request) == _IOC_READ && number == 6)
        return put_user((u32)jiffies, word);
    if (_IOC_DIR(request) != _IOC_WRITE || number < 7 || number > 9)
        return -ENOTTY;
    if (get_user(given, word) != 0)
        return -EFAULT;
    board_trace("fpga ioctl %08x %u\n", request, given);
    return 0;
}

static const struct file_operations fpga_operations = {
    .owner = THIS_MODULE,
    .read = fpga_read,
    .write = fpga_write,
    .llseek = default_llseek,
    .unlocked_ioctl = fpga_ioctl,
};

static struct miscdevice fpga_device = {
    .minor = MISC_DYNAMIC_MINOR,
    .name = "ipmc_fpga",
    .fops = &fpga_operations,
};

int fpga_start(void)
{
    return misc_register(&fpga_device);
}

void fpga_stop(void)
{
    misc_deregister(&fpga_device);
}
