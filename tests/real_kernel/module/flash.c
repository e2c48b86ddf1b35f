// SPDX-License-Identifier: GPL-2.0-only
// The flash parts, as NOR flash behaves: writing clears bits, erasing sets all
// bits of a block. /dev/mtd0 to mtd5 are the controller's, mtd6 is the BIOS's.

#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/vmalloc.h>

#include "test_board.h"

#define PART_COUNT 6
#define PART_SIZE (256 * 1024)
#define ERASE_SIZE (64 * 1024)

static struct mtd_info parts[PART_COUNT];
static struct mtd_info bios;
static const char *const names[PART_COUNT] = {"boot",   "boot-backup", "environment",
                                              "kernel", "root",        "data"};

static int flash_erase(struct mtd_info *mtd, struct erase_info *range)
{
    board_trace("%s erase %08llx %llx\n", mtd->name, range->addr, range->len);
    memset((u8 *)mtd->priv + range->addr, 0xFF, range->len);
    return 0;
}

static int flash_read(struct mtd_info *mtd, loff_t from, size_t length, size_t *moved, u8 *to)
{
    memcpy(to, (u8 *)mtd->priv + from, length);
    *moved = length;
    return 0;
}

static int flash_write(struct mtd_info *mtd, loff_t to, size_t length, size_t *moved,
                       const u8 *from)
{
    u8 *cells = (u8 *)mtd->priv + to;
    size_t i;

    for (i = 0; i < length; ++i)
        cells[i] &= from[i];
    *moved = length;
    return 0;
}

// The cells of a part that was there before keep what they hold.
static int attach(struct mtd_info *mtd, const char *name)
{
    u8 *cells = mtd->priv;

    if (cells == NULL) {
        cells = vmalloc(PART_SIZE);
        if (cells == NULL)
            return -ENOMEM;
        memset(cells, 0xFF, PART_SIZE);
    }
    memset(mtd, 0, sizeof(*mtd));
    mtd->name = name;
    mtd->type = MTD_NORFLASH;
    mtd->flags = MTD_CAP_NORFLASH;
    mtd->size = PART_SIZE;
    mtd->erasesize = ERASE_SIZE;
    mtd->writesize = 1;
    mtd->writebufsize = 1;
    mtd->owner = THIS_MODULE;
    mtd->priv = cells;
    mtd->_erase = flash_erase;
    mtd->_read = flash_read;
    mtd->_write = flash_write;
    mtd->dev.parent = board_device;
    return mtd_device_register(mtd, NULL, 0);
}

static void stop_before(int end)
{
    while (end > 0) {
        --end;
        mtd_device_unregister(&parts[end]);
        vfree(parts[end].priv);
    }
}

int flash_start(void)
{
    int i;

    for (i = 0; i < PART_COUNT; ++i) {
        int result = attach(&parts[i], names[i]);

        if (result != 0) {
            vfree(parts[i].priv);
            stop_before(i);
            return result;
        }
    }
    return 0;
}

void flash_stop(void)
{
    stop_before(PART_COUNT);
    vfree(bios.priv);
}

int bios_flash_attach(void)
{
    return attach(&bios, "bios");
}
EXPORT_SYMBOL_GPL(bios_flash_attach);

void bios_flash_detach(void)
{
    mtd_device_unregister(&bios);
}
EXPORT_SYMBOL_GPL(bios_flash_detach);
