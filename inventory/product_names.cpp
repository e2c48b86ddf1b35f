// Product names of RAID cards.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "board_hal.h"
#include "platform/vos.h"
#include "support/byte_count.h"

using namespace board_hal;

static_assert(sizeof(raidcard_boardid_info) == 68);
static_assert(offsetof(raidcard_boardid_info, board_id) == 2);
static_assert(offsetof(raidcard_boardid_info, name) == 3);

namespace {

constexpr uint8_t any_board = 255;
constexpr uint32_t raid_card_board = 2;

// Numbers that mark the place of a message; applications match on the text
// around them.
constexpr int line_no_such_card = 87;
constexpr int line_no_name = 109;

} // namespace

extern "C" {

// Deliberately not sorted: lookups take the first row that fits.
raidcard_boardid_info g_raidcard_boardid_info[4] = {
    {0x21, any_board, "QX740"},
    {0x22, any_board, "QX580LT 512MB"},
    {0x2B, any_board, "QX580LT 1GB"},
    {0x23, any_board, "QX905D 1GB"},
};

int get_productname_by_boardid(uint16_t card_code, uint8_t board_id, char *buf, int32_t buflen)
{
    for (const raidcard_boardid_info &row : g_raidcard_boardid_info) {
        const bool board_fits = row.board_id == any_board || row.board_id == board_id;
        if (row.card_code == card_code && board_fits) {
            vos_strncpy(buf, count_of(buflen), row.name, strnlen(row.name, sizeof(row.name)));
            return 0;
        }
    }
    printf("%s %d:don't find right productname\r\n", "get_productname_by_boardid",
           line_no_such_card);
    return -2;
}

int get_raidcard_productname(uint16_t card_code, char *buf, int32_t buflen)
{
    uint8_t board_id = 0;
    get_board_id(raid_card_board, &board_id); // unread it stays 0
    if (get_productname_by_boardid(card_code, board_id, buf, buflen) != 0) {
        printf("%s %d:get productname is wrong\r\n", "get_raidcard_productname", line_no_name);
        return -1;
    }
    return 0;
}

} // extern "C"
