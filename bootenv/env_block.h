// The boot loader's environment block: a CRC word, then entries "name=value",
// each ended by a NUL, the last one followed by a second NUL. What lies behind
// that is stale, but counts for the checksum.
//
// All functions work on a private copy of the block, whatever it holds, and
// touch nothing outside it: a byte behind the block reads as NUL.
#ifndef BOOTENV_ENV_BLOCK_H
#define BOOTENV_ENV_BLOCK_H

#include <span>
#include <stdint.h>

namespace board_hal {

constexpr uint32_t env_block_size = 8192;
constexpr uint32_t env_data_start = 4;
constexpr uint32_t env_data_size = env_block_size - env_data_start;

using EnvBlock = std::span<uint8_t, env_block_size>;
using ConstEnvBlock = std::span<const uint8_t, env_block_size>;

// One entry, as offsets in the block.
struct EnvEntry {
    uint32_t start; // its first byte
    uint32_t nul;   // the NUL that ends it
};

// Where a walk starts; env_next goes to the first entry from here.
constexpr EnvEntry env_before_first{0, env_data_start - 1};

enum class EnvStep {
    entry,        // there is one
    end,          // no further entry
    unterminated, // the next entry runs to the end of the block
};

// Goes on to the entry behind this one.
EnvStep env_next(ConstEnvBlock block, EnvEntry &entry);

// The entry's text, name, "=" and value.
const char *env_text(ConstEnvBlock block, EnvEntry entry);

// The value in an entry's text, or null if it is not the named variable's. A
// name may hold an "=": it then matches what agrees with it that far.
const char *env_match(const char *name, const char *text);

// Goes on to the first entry of that name. Entries behind it are not looked at.
EnvStep env_find(ConstEnvBlock block, const char *name, EnvEntry &entry);

// Closes the gap that the entry leaves; what lies behind the new end stays as
// it is. False, and the block unchanged, if no double NUL ends the entries.
bool env_remove(EnvBlock block, EnvEntry entry);

// Adds a variable behind the last. False, and the block unchanged, if it does
// not fit.
bool env_append(EnvBlock block, const char *name, const char *value);

} // namespace board_hal

#endif
