// SPDX-License-Identifier: GPL-2.0-only
// The controller's GPIO block, at the numbers that the board's lines have.

#include <linux/gpio/driver.h>
#include <linux/module.h>

#include "test_board.h"

#define FIRST_LINE 32
#define LINE_COUNT 72

static u8 level[LINE_COUNT];
static u8 is_output[LINE_COUNT];

static int line_direction(struct gpio_chip *chip, unsigned int line)
{
    return is_output[line] ? GPIO_LINE_DIRECTION_OUT : GPIO_LINE_DIRECTION_IN;
}

static int line_input(struct gpio_chip *chip, unsigned int line)
{
    is_output[line] = 0;
    board_trace("gpio %u in\n", FIRST_LINE + line);
    return 0;
}

static int line_output(struct gpio_chip *chip, unsigned int line, int value)
{
    is_output[line] = 1;
    level[line] = value;
    board_trace("gpio %u out %d\n", FIRST_LINE + line, value);
    return 0;
}

static int line_get(struct gpio_chip *chip, unsigned int line)
{
    return level[line];
}

static void line_set(struct gpio_chip *chip, unsigned int line, int value)
{
    level[line] = value;
    board_trace("gpio %u = %d\n", FIRST_LINE + line, value);
}

void gpio_drive(unsigned int number, int value)
{
    level[number - FIRST_LINE] = value;
}

static struct gpio_chip gpio = {
    .label = "test_board",
    .owner = THIS_MODULE,
    .base = FIRST_LINE,
    .ngpio = LINE_COUNT,
    .can_sleep = true,
    .get_direction = line_direction,
    .direction_input = line_input,
    .direction_output = line_output,
    .get = line_get,
    .set = line_set,
};

int gpio_start(void)
{
    gpio.parent = board_device;
    return gpiochip_add_data(&gpio, NULL);
}

void gpio_stop(void)
{
    gpiochip_remove(&gpio);
}
