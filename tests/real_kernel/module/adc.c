// SPDX-License-Identifier: GPL-2.0-only
// The ADC: two configuration records, and a conversion of two bytes that does
// not look at the count.

#include <linux/fs.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/uaccess.h>

#include "test_board.h"

static const u8 conversion[2] = {0x34, 0x02};

static ssize_t adc_read(struct file *file, char __user *to, size_t count, loff_t *position)
{
    return copy_to_user(to, conversion, sizeof(conversion)) == 0 ? sizeof(conversion) : -EFAULT;
}

static long adc_ioctl(struct file *file, unsigned int request, unsigned long argument)
{
    u8 record[28];
    const size_t size = _IOC_SIZE(request);

    if (_IOC_TYPE(request) != 'A' || size > sizeof(record))
        return -ENOTTY;
    if (copy_from_user(record, (const void __user *)argument, size) != 0)
        return -EFAULT;
    board_trace("adc ioctl %08x %*ph\n", request, (int)size, record);
    return 0;
}

static const struct file_operations adc_operations = {
    .owner = THIS_MODULE,
    .read = adc_read,
    .unlocked_ioctl = adc_ioctl,
};

static struct miscdevice adc_device = {
    .minor = MISC_DYNAMIC_MINOR,
    .name = "spear_adc0",
    .fops = &adc_operations,
};

int adc_start(void)
{
    return misc_register(&adc_device);
}

void adc_stop(void)
{
    misc_deregister(&adc_device);
}
