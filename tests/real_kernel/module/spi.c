// SPDX-License-Identifier: GPL-2.0-only
// The SPI controller with the FPGA's configuration port on it, for the kernel's
// spidev; and the FPGA's done line, which rises with the last byte of a
// bitstream.

#include <linux/module.h>
#include <linux/spi/spi.h>

#include "test_board.h"

#define BITSTREAM_SIZE 4001
#define DONE_LINE 96

static struct spi_controller *controller;
static size_t received;

// One of the parts that spidev is bound to by name.
static struct spi_board_info port = {
    .modalias = "dh2228fv",
    .max_speed_hz = 1000000,
};

void fpga_await_bitstream(void)
{
    received = 0;
    gpio_drive(DONE_LINE, 0);
    board_trace("fpga awaits its bitstream\n");
}
EXPORT_SYMBOL_GPL(fpga_await_bitstream);

static int transfer(struct spi_controller *spi, struct spi_message *message)
{
    struct spi_transfer *part;

    list_for_each_entry(part, &message->transfers, transfer_list)
    {
        const u8 *bytes = part->tx_buf;

        board_trace("spi mode %u, %u bits, %u Hz: %u bytes, %*ph..\n", message->spi->mode,
                    part->bits_per_word, part->speed_hz, part->len, (int)min(part->len, 4U), bytes);
        received += part->len;
        message->actual_length += part->len;
    }
    gpio_drive(DONE_LINE, received >= BITSTREAM_SIZE);
    message->status = 0;
    spi_finalize_current_message(spi);
    return 0;
}

int spi_start(void)
{
    int result;

    controller = spi_alloc_master(board_device, 0);
    if (controller == NULL)
        return -ENOMEM;
    controller->bus_num = 0;
    controller->num_chipselect = 1;
    controller->bits_per_word_mask = SPI_BPW_MASK(8);
    controller->transfer_one_message = transfer;
    result = spi_register_controller(controller);
    if (result != 0) {
        spi_controller_put(controller);
        return result;
    }
    if (spi_new_device(controller, &port) == NULL) {
        spi_unregister_controller(controller);
        return -ENODEV;
    }
    return 0;
}

void spi_stop(void)
{
    spi_unregister_controller(controller);
}
