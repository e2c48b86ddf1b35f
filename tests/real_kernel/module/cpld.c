// SPDX-License-Identifier: GPL-2.0-only
// The CPLD: a window of 4096 bytes whose first 256 are the registers, and the
// requests that program it.

#include <linux/fs.h>
#include <linux/gfp.h>
#include <linux/miscdevice.h>
#include <linux/mm.h>
#include <linux/module.h>
#include <linux/slab.h>
#include <linux/uaccess.h>

#include "test_board.h"

#define RUN_LOAD_RECORD 0x40046B01
#define RUN_COMMAND_RECORD 0x40046B02
#define PROGRAM_MAX 524288

// Length, kind, three zeros; the program; zero, mark and component behind it.
struct load_header {
    __le32 length;
    u8 kind;
    u8 zeros[3];
};

static struct page *window;

// A Brava node with two CPUs, two disks and a RAID card.
static const struct {
    u8 offset, value;
} at_power_on[] = {
    {0x00, 0x10}, {0x01, 0x01}, {0x03, 0x02}, {0x05, 0x11}, {0x09, 0x20},
    {0x0A, 0x16}, {0x0B, 0x12}, {0x0C, 0x19}, {0x0D, 0x17}, {0x2A, 0xB0},
    {0x2C, 0xB0}, {0x65, 0x99}, {0x73, 0x12}, {0x83, 0x10}, {0xD2, 0x10},
    {0xD3, 0x24}, {0xF4, 0x03}, {0xF7, 0x02}, {0xFC, 0x30},
};

u8 *cpld_registers(void)
{
    return page_address(window);
}

static int cpld_map(struct file *file, struct vm_area_struct *area)
{
    if (area->vm_pgoff != 0 || vma_pages(area) != 1)
        return -EINVAL;
    return vm_insert_page(area, area->vm_start, window);
}

static long cpld_ioctl(struct file *file, unsigned int request, unsigned long argument)
{
    const u8 __user *record = (const u8 __user *)argument;
    struct load_header header;
    u8 trailer[3];
    u32 length;

    if (request != RUN_LOAD_RECORD && request != RUN_COMMAND_RECORD)
        return -ENOTTY;
    if (copy_from_user(&header, record, sizeof(header)) != 0)
        return -EFAULT;
    length = le32_to_cpu(header.length);
    if (length > PROGRAM_MAX - sizeof(trailer))
        return -EINVAL;
    if (copy_from_user(trailer, record + sizeof(header) + length, sizeof(trailer)) != 0)
        return -EFAULT;
    board_trace("cpld ioctl %08x %8ph + %u + %3ph\n", request, &header, length, trailer);
    return 0;
}

static const struct file_operations cpld_operations = {
    .owner = THIS_MODULE,
    .mmap = cpld_map,
    .unlocked_ioctl = cpld_ioctl,
};

static struct miscdevice cpld_device = {
    .minor = MISC_DYNAMIC_MINOR,
    .name = "ipmc_cpld",
    .fops = &cpld_operations,
};

int cpld_start(void)
{
    size_t i;
    int result;

    window = alloc_page(GFP_KERNEL | __GFP_ZERO);
    if (window == NULL)
        return -ENOMEM;
    for (i = 0; i < ARRAY_SIZE(at_power_on); ++i)
        cpld_registers()[at_power_on[i].offset] = at_power_on[i].value;
    result = misc_register(&cpld_device);
    if (result != 0)
        __free_page(window);
    return result;
}

void cpld_stop(void)
{
    misc_deregister(&cpld_device);
    __free_page(window);
}
