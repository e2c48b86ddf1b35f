// Messages between programs and a board in another process, as bytes.
#ifndef VIRTUAL_BOARD_REMOTE_WIRE_H
#define VIRTUAL_BOARD_REMOTE_WIRE_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "virtual_board/remote/descriptor.h"

namespace virtual_board::remote {

using Bytes = std::vector<uint8_t>;

// No message is longer; whoever announces a longer one is not understood.
constexpr size_t message_max = size_t{64} << 20;

// Puts fields one after the other; numbers are 64 bits wide, low byte first.
class Writer {
public:
    Writer &number(uint64_t value);
    Writer &signed_number(long long value) { return number(static_cast<uint64_t>(value)); }
    Writer &flag(bool value) { return number(value ? 1 : 0); }
    // With their length before them.
    Writer &bytes(const void *data, size_t count);
    Writer &text(std::string_view text) { return bytes(text.data(), text.size()); }
    // As they are.
    Writer &raw(const void *data, size_t count);

    const Bytes &body() const { return body_; }

private:
    Bytes body_;
};

// Takes fields out again. What is not there reads as zero or empty, and complete()
// says so at the end: no field needs a check of its own.
class Reader {
public:
    explicit Reader(std::span<const uint8_t> body) : left_(body) {}

    uint64_t number();
    long long signed_number() { return static_cast<long long>(number()); }
    bool flag() { return number() != 0; }
    std::span<const uint8_t> bytes();
    std::string text();
    std::span<const uint8_t> raw(size_t count);
    std::span<const uint8_t> rest() { return raw(left_.size()); }

    // Whether every field was there so far.
    bool ok() const { return ok_; }
    // Whether that was all.
    bool complete() const { return ok_ && left_.empty(); }

private:
    std::span<const uint8_t> left_;
    bool ok_ = true;
};

struct Message {
    uint32_t kind = 0;
    Bytes body;
    Descriptor descriptor;
};

// Sends a message, and a descriptor with it if there is one; false: the other
// side has gone.
bool send_message(int socket, uint32_t kind, const Bytes &body, int descriptor = -1);
// Waits for a message; none: the other side has gone, or is not understood. A
// descriptor that comes with it is closed on exec.
std::optional<Message> receive_message(int socket);

} // namespace virtual_board::remote

#endif
