// CRC-32 of the boot-loader environment: polynomial 0xEDB88320, reflected.

#include "bootenv/crc32.h"

#include <bit>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "board_hal.h"

namespace {

// The register after the eight bits of n.
constexpr uint32_t table_entry(uint32_t n)
{
    for (int bit = 0; bit < 8; ++bit) {
        n = (n & 1) != 0 ? n >> 1 ^ 0xEDB88320 : n >> 1;
    }
    return n;
}

} // namespace

#define ENTRIES_4(n)                                                                               \
    table_entry(n), table_entry((n) + 1), table_entry((n) + 2), table_entry((n) + 3)
#define ENTRIES_16(n) ENTRIES_4(n), ENTRIES_4((n) + 4), ENTRIES_4((n) + 8), ENTRIES_4((n) + 12)
#define ENTRIES_64(n)                                                                              \
    ENTRIES_16(n), ENTRIES_16((n) + 16), ENTRIES_16((n) + 32), ENTRIES_16((n) + 48)

extern "C" {

constexpr uint32_t crc_table[256] = {ENTRIES_64(0), ENTRIES_64(64), ENTRIES_64(128),
                                     ENTRIES_64(192)};

// The same bytes under a name that no other library of the process can claim.
extern const uint32_t board_hal_own_crc_table[256]
    __attribute__((alias("crc_table"), visibility("hidden")));

} // extern "C"

#undef ENTRIES_64
#undef ENTRIES_16
#undef ENTRIES_4

static_assert(crc_table[1] == 0x77073096 && crc_table[255] == 0x2D02EF8D);

namespace {

// 64-bit machines take five words of eight bytes at a time, each through its
// own register, so that the table look-ups of one word need not wait for those
// of the word before. The controller's small 32-bit core stays with the one
// 1 KiB table: 16 KiB more would evict the whole first-level data cache for a
// checksum of 8 KiB.
constexpr bool wide = sizeof(void *) == 8 && std::endian::native == std::endian::little;

constexpr uint32_t lanes = 5;
constexpr uint32_t word_size = sizeof(uint64_t);
constexpr uint32_t group_size = lanes * word_size;

// Tables for the eight bytes of a word, last byte first.
struct WordTables {
    uint32_t byte[word_size][256];
};

// Moves a byte's contribution over the bytes that follow it in its word, and
// over zeros_behind bytes more.
constexpr WordTables tables_ahead(uint32_t zeros_behind)
{
    WordTables tables{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t entry = crc_table[n];
        for (uint32_t zeros = 0; zeros < zeros_behind + word_size; ++zeros) {
            if (zeros >= zeros_behind) {
                tables.byte[zeros - zeros_behind][n] = entry;
            }
            entry = entry >> 8 ^ crc_table[entry & 0xFF];
        }
    }
    return tables;
}

constexpr WordTables next_word = tables_ahead(0);
constexpr WordTables next_group = tables_ahead(group_size - word_size);
static_assert(sizeof(next_word) + sizeof(next_group) <= 16384);

uint64_t load_word(const uint8_t *from)
{
    uint64_t word = 0;
    memcpy(&word, from, sizeof(word));
    return word;
}

// Written out: the loop form costs a tenth of the speed.
uint32_t look_up(const WordTables &tables, uint64_t word)
{
    const auto low = static_cast<uint32_t>(word);
    const auto high = static_cast<uint32_t>(word >> 32);
    return tables.byte[7][low & 0xFF] ^ tables.byte[6][low >> 8 & 0xFF] ^
           tables.byte[5][low >> 16 & 0xFF] ^ tables.byte[4][low >> 24] ^
           tables.byte[3][high & 0xFF] ^ tables.byte[2][high >> 8 & 0xFF] ^
           tables.byte[1][high >> 16 & 0xFF] ^ tables.byte[0][high >> 24];
}

// The bytes still to be taken.
struct Input {
    const uint8_t *at;
    uint32_t left;

    void skip(uint32_t count)
    {
        at += count;
        left -= count;
    }
};

uint32_t take_groups(uint32_t r, Input &in)
{
    if (in.left < 2 * group_size) {
        return r;
    }
    uint32_t lane[lanes] = {r};
    for (; in.left >= 2 * group_size; in.skip(group_size)) {
#pragma GCC unroll 5
        for (uint32_t i = 0; i < lanes; ++i) {
            lane[i] = look_up(next_group, lane[i] ^ load_word(in.at + size_t{i} * word_size));
        }
    }
    // The last group, word after word, gathers the lanes into one register.
    r = 0;
    for (uint32_t i = 0; i < lanes; ++i) {
        r = look_up(next_word, r ^ lane[i] ^ load_word(in.at + size_t{i} * word_size));
    }
    in.skip(group_size);
    return r;
}

uint32_t take_words(uint32_t r, Input &in)
{
    for (; in.left >= word_size; in.skip(word_size)) {
        r = look_up(next_word, r ^ load_word(in.at));
    }
    return r;
}

uint32_t take_bytes(uint32_t r, Input in)
{
#pragma GCC unroll 8
    for (; in.left > 0; in.skip(1)) {
        r = board_hal_own_crc_table[(r ^ *in.at) & 0xFF] ^ r >> 8;
    }
    return r;
}

} // namespace

namespace board_hal {

uint32_t crc32_of(uint32_t crc, const uint8_t *buf, uint32_t len)
{
    Input in{buf, len};
    uint32_t r = ~crc;
    if (wide) {
        r = take_groups(r, in);
        r = take_words(r, in);
    }
    return ~take_bytes(r, in);
}

} // namespace board_hal

extern "C" {

uint32_t crc32(uint32_t crc, const uint8_t *buf, uint32_t len)
{
    return board_hal::crc32_of(crc, buf, len);
}

} // extern "C"
