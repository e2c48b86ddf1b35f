#include "bootenv/env_block.h"

#include <string.h>

namespace board_hal {
namespace {

uint8_t byte_at(ConstEnvBlock block, uint32_t offset)
{
    return offset < env_block_size ? block[offset] : 0;
}

// The first of two NULs in a row; env_block_size or more if there are none. A
// lone NUL as the block's last byte counts as two.
uint32_t find_double_nul(ConstEnvBlock block, uint32_t from)
{
    while (byte_at(block, from) != 0 || byte_at(block, from + 1) != 0) {
        ++from;
    }
    return from;
}

// Where a new entry begins: the second NUL of the old end, or the very start of
// an environment without entries. The search passes over stale text when an
// empty environment is ended by one NUL alone.
uint32_t append_offset(ConstEnvBlock block)
{
    const uint32_t end = find_double_nul(block, env_data_start);
    return end > env_data_start ? end + 1 : end;
}

} // namespace

EnvStep env_next(ConstEnvBlock block, EnvEntry &entry)
{
    const uint32_t start = entry.nul + 1;
    if (byte_at(block, start) == 0) {
        return EnvStep::end;
    }
    const void *nul = memchr(&block[start], 0, env_block_size - start);
    if (nul == nullptr) {
        return EnvStep::unterminated;
    }
    entry = {start, static_cast<uint32_t>(static_cast<const uint8_t *>(nul) - block.data())};
    return EnvStep::entry;
}

const char *env_text(ConstEnvBlock block, EnvEntry entry)
{
    return reinterpret_cast<const char *>(&block[entry.start]);
}

const char *env_match(const char *name, const char *text)
{
    while (*name != '\0' && *name == *text) {
        if (*name == '=') {
            return text + 1;
        }
        ++name;
        ++text;
    }
    return *name == '\0' && *text == '=' ? text + 1 : nullptr;
}

EnvStep env_find(ConstEnvBlock block, const char *name, EnvEntry &entry)
{
    EnvStep step = env_next(block, entry);
    while (step == EnvStep::entry && env_match(name, env_text(block, entry)) == nullptr) {
        step = env_next(block, entry);
    }
    return step;
}

bool env_remove(EnvBlock block, EnvEntry entry)
{
    const uint32_t next = entry.nul + 1;
    if (byte_at(block, next) == 0) {
        block[entry.start] = 0;
        block[entry.start + 1] = 0;
        return true;
    }
    const uint32_t last = find_double_nul(block, next);
    if (last >= env_block_size) {
        return false;
    }
    const uint32_t moved = last + 1 - next;
    memmove(&block[entry.start], &block[next], moved);
    block[entry.start + moved] = 0;
    return true;
}

bool env_append(EnvBlock block, const char *name, const char *value)
{
    const uint32_t offset = append_offset(block);
    const size_t name_length = strlen(name);
    const size_t value_length = strlen(value);
    // "=", the entry's NUL and the closing one. The offset may lie behind the
    // block, hence the sum and not the difference.
    if (uint64_t{offset} + name_length + value_length + 3 > env_block_size) {
        return false;
    }
    uint8_t *to = &block[offset];
    memcpy(to, name, name_length);
    to += name_length;
    *to++ = '=';
    memcpy(to, value, value_length);
    to += value_length;
    to[0] = 0;
    to[1] = 0;
    return true;
}

} // namespace board_hal
