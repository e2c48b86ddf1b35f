// SPDX-License-Identifier: GPL-2.0-only
// The controller's own I2C bus, /dev/i2c-0, and its chips: an EEPROM of 4096
// bytes, addressed by two bytes, most significant first; and the RAID card's I/O
// expander, a PCA9555.

#include <linux/i2c.h>
#include <linux/module.h>

#include "test_board.h"

#define EEPROM_ADDRESS 0x50
#define EEPROM_SIZE 4096

#define EXPANDER_ADDRESS 0x20
#define EXPANDER_REGISTERS 8
#define EXPANDER_OUTPUT 2
#define EXPANDER_CONFIGURATION 6

static u8 eeprom[EEPROM_SIZE];
static u16 eeprom_position;

static const u8 straps[2] = {0x93, 0x00};
static u8 expander[EXPANDER_REGISTERS] = {0, 0, 0xFF, 0xFF, 0, 0, 0xFF, 0xFF};
static u8 expander_selected;

static void eeprom_write(const u8 *bytes, size_t length)
{
    size_t i;

    if (length >= 2)
        eeprom_position = (bytes[0] << 8 | bytes[1]) % EEPROM_SIZE;
    for (i = 2; i < length; ++i) {
        eeprom[eeprom_position] = bytes[i];
        eeprom_position = (eeprom_position + 1) % EEPROM_SIZE;
    }
}

static void eeprom_read(u8 *bytes, size_t length)
{
    size_t i;

    for (i = 0; i < length; ++i) {
        bytes[i] = eeprom[eeprom_position];
        eeprom_position = (eeprom_position + 1) % EEPROM_SIZE;
    }
}

// The registers come in pairs; the next byte is for the other one of the pair.
static u8 expander_step(void)
{
    const u8 number = expander_selected;

    expander_selected ^= 1;
    return number;
}

static void expander_write(const u8 *bytes, size_t length)
{
    size_t i;

    if (length > 0)
        expander_selected = bytes[0] % EXPANDER_REGISTERS;
    for (i = 1; i < length; ++i)
        expander[expander_step()] = bytes[i];
}

// An input register shows the pins.
static u8 expander_register(u8 number)
{
    u8 inputs;

    if (number >= EXPANDER_OUTPUT)
        return expander[number];
    inputs = expander[EXPANDER_CONFIGURATION + number];
    return (straps[number] & inputs) | (expander[EXPANDER_OUTPUT + number] & ~inputs);
}

static void expander_read(u8 *bytes, size_t length)
{
    size_t i;

    for (i = 0; i < length; ++i)
        bytes[i] = expander_register(expander_step());
}

static const struct {
    u8 address;
    void (*write)(const u8 *bytes, size_t length);
    void (*read)(u8 *bytes, size_t length);
} chips[] = {
    {EEPROM_ADDRESS, eeprom_write, eeprom_read},
    {EXPANDER_ADDRESS, expander_write, expander_read},
};

int chip_write(u8 address, const u8 *bytes, size_t length)
{
    size_t i;

    for (i = 0; i < ARRAY_SIZE(chips); ++i) {
        if (chips[i].address == address) {
            chips[i].write(bytes, length);
            return length;
        }
    }
    return -ENXIO;
}

int chip_read(u8 address, u8 *bytes, size_t length)
{
    size_t i;

    for (i = 0; i < ARRAY_SIZE(chips); ++i) {
        if (chips[i].address == address) {
            chips[i].read(bytes, length);
            return length;
        }
    }
    return -ENXIO;
}

static int transfer(struct i2c_adapter *adapter, struct i2c_msg *messages, int count)
{
    int i;

    for (i = 0; i < count; ++i) {
        struct i2c_msg *message = &messages[i];
        int moved;

        if (message->flags & I2C_M_RD) {
            board_trace("i2c %02x read %u\n", message->addr, message->len);
            moved = chip_read(message->addr, message->buf, message->len);
        } else {
            board_trace("i2c %02x write %*ph\n", message->addr, (int)message->len, message->buf);
            moved = chip_write(message->addr, message->buf, message->len);
        }
        if (moved < 0)
            return moved;
    }
    return count;
}

static u32 functionality(struct i2c_adapter *adapter)
{
    return I2C_FUNC_I2C;
}

static const struct i2c_algorithm algorithm = {
    .master_xfer = transfer,
    .functionality = functionality,
};

static struct i2c_adapter adapter = {
    .owner = THIS_MODULE,
    .name = "test_board",
    .algo = &algorithm,
    .nr = 0,
};

int i2c_start(void)
{
    adapter.dev.parent = board_device;
    return i2c_add_numbered_adapter(&adapter);
}

void i2c_stop(void)
{
    i2c_del_adapter(&adapter);
}
