// SPDX-License-Identifier: GPL-2.0-only
// The board as a whole, and its bench: what the devices were asked for, and
// what the rest of the server does.
//   /proc/test_board/trace    read: the trace; write: clears it
//   /proc/test_board/cpld     read: the CPLD's 256 registers
//   /proc/test_board/control  write one of
//       kcs HEX...            the host sends a message over KCS
//       divisor N             the FPGA prescribes another baud divisor
//       register OFFSET VALUE a line of the CPLD changes (both in hex)

#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/platform_device.h>
#include <linux/proc_fs.h>
#include <linux/string.h>
#include <linux/uaccess.h>

#include "test_board.h"

#define TRACE_SIZE 32768

static DEFINE_MUTEX(trace_lock);
static char trace[TRACE_SIZE];
static size_t trace_length;

static struct platform_device *platform;
static struct proc_dir_entry *bench;
struct device *board_device;

void board_trace(const char *format, ...)
{
    va_list arguments;

    mutex_lock(&trace_lock);
    va_start(arguments, format);
    trace_length += vscnprintf(trace + trace_length, TRACE_SIZE - trace_length, format, arguments);
    va_end(arguments);
    mutex_unlock(&trace_lock);
}

static ssize_t trace_read(struct file *file, char __user *to, size_t count, loff_t *position)
{
    ssize_t result;

    mutex_lock(&trace_lock);
    result = simple_read_from_buffer(to, count, position, trace, trace_length);
    mutex_unlock(&trace_lock);
    return result;
}

static ssize_t trace_write(struct file *file, const char __user *from, size_t count,
                           loff_t *position)
{
    mutex_lock(&trace_lock);
    trace_length = 0;
    mutex_unlock(&trace_lock);
    return count;
}

static ssize_t cpld_read(struct file *file, char __user *to, size_t count, loff_t *position)
{
    return simple_read_from_buffer(to, count, position, cpld_registers(), 256);
}

static int host_sends(const char *words)
{
    u8 message[100];
    size_t length = 0;
    unsigned int value;
    int used;

    while (length < sizeof(message) && sscanf(words, "%x%n", &value, &used) == 1) {
        message[length++] = value;
        words = skip_spaces(words + used);
    }
    if (length == 0)
        return -EINVAL;
    fpga_host_sends(message, length);
    return 0;
}

static int obey(const char *command)
{
    unsigned int first, second;

    if (strncmp(command, "kcs ", 4) == 0)
        return host_sends(command + 4);
    if (sscanf(command, "divisor %u", &first) == 1) {
        fpga_set_divisor(first);
        return 0;
    }
    if (sscanf(command, "register %x %x", &first, &second) == 2 && first < 256) {
        WRITE_ONCE(cpld_registers()[first], second);
        return 0;
    }
    return -EINVAL;
}

static ssize_t control_write(struct file *file, const char __user *from, size_t count,
                             loff_t *position)
{
    char command[400] = "";
    int result;

    if (count >= sizeof(command))
        return -EINVAL;
    if (copy_from_user(command, from, count) != 0)
        return -EFAULT;
    result = obey(command);
    return result == 0 ? count : result;
}

static const struct proc_ops trace_operations = {
    .proc_read = trace_read,
    .proc_write = trace_write,
    .proc_lseek = default_llseek,
};

static const struct proc_ops cpld_operations = {
    .proc_read = cpld_read,
    .proc_lseek = default_llseek,
};

static const struct proc_ops control_operations = {
    .proc_write = control_write,
    .proc_lseek = default_llseek,
};

static int bench_start(void)
{
    bench = proc_mkdir("test_board", NULL);
    if (bench == NULL || proc_create("trace", 0600, bench, &trace_operations) == NULL ||
        proc_create("cpld", 0400, bench, &cpld_operations) == NULL ||
        proc_create("control", 0200, bench, &control_operations) == NULL) {
        proc_remove(bench);
        return -ENOMEM;
    }
    return 0;
}

static void bench_stop(void)
{
    proc_remove(bench);
}

static int platform_start(void)
{
    platform = platform_device_register_simple("test_board", PLATFORM_DEVID_NONE, NULL, 0);
    if (IS_ERR(platform))
        return PTR_ERR(platform);
    board_device = &platform->dev;
    return 0;
}

static void platform_stop(void)
{
    platform_device_unregister(platform);
}

static const struct {
    int (*start)(void);
    void (*stop)(void);
} parts[] = {
    {platform_start, platform_stop}, {cpld_start, cpld_stop},   {fpga_start, fpga_stop},
    {adc_start, adc_stop},           {gpio_start, gpio_stop},   {i2c_start, i2c_stop},
    {spi_start, spi_stop},           {flash_start, flash_stop}, {bench_start, bench_stop},
};

static void stop_before(size_t end)
{
    while (end > 0)
        parts[--end].stop();
}

static int __init board_start(void)
{
    size_t i;

    for (i = 0; i < ARRAY_SIZE(parts); ++i) {
        int result = parts[i].start();

        if (result != 0) {
            stop_before(i);
            return result;
        }
    }
    return 0;
}

static void __exit board_stop(void)
{
    stop_before(ARRAY_SIZE(parts));
}

module_init(board_start);
module_exit(board_stop);
MODULE_DESCRIPTION("A management controller's board in memory");
MODULE_LICENSE("GPL v2");
