#include "virtual_board/remote/wire.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>

namespace virtual_board::remote {

namespace {

constexpr size_t number_size = 8;
constexpr size_t header_size = 8; // length of the body, kind

// A body is taken in by pieces: room is made for what has come, not for what is
// announced.
constexpr size_t piece_max = size_t{256} << 10;

void put_32(uint8_t *at, uint32_t value)
{
    for (unsigned i = 0; i < 4; ++i) {
        at[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

uint32_t get_32(const uint8_t *at)
{
    return at[0] | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24;
}

// Room for the control message that carries one descriptor.
struct alignas(cmsghdr) Control {
    char bytes[CMSG_SPACE(sizeof(int))];
};

void attach(msghdr &message, Control &control, int descriptor)
{
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof(control.bytes);
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(header), &descriptor, sizeof(descriptor));
}

// The descriptor in a received message, if there is one.
int detach(msghdr &message)
{
    int descriptor = -1;
    for (cmsghdr *header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS &&
            header->cmsg_len == CMSG_LEN(sizeof(int))) {
            memcpy(&descriptor, CMSG_DATA(header), sizeof(descriptor));
        }
    }
    return descriptor;
}

bool receive_exactly(int socket, uint8_t *at, size_t count, Descriptor *descriptor)
{
    while (count > 0) {
        iovec part = {at, count};
        Control control;
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = control.bytes;
        message.msg_controllen = sizeof(control.bytes);
        const ssize_t got = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        Descriptor came(detach(message));
        if (came && descriptor != nullptr) {
            *descriptor = std::move(came);
        }
        at += got;
        count -= static_cast<size_t>(got);
    }
    return true;
}

} // namespace

Writer &Writer::number(uint64_t value)
{
    for (size_t i = 0; i < number_size; ++i) {
        body_.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
    return *this;
}

Writer &Writer::bytes(const void *data, size_t count)
{
    return number(count).raw(data, count);
}

Writer &Writer::raw(const void *data, size_t count)
{
    const auto *from = static_cast<const uint8_t *>(data);
    body_.insert(body_.end(), from, from + count);
    return *this;
}

uint64_t Reader::number()
{
    uint64_t value = 0;
    const std::span<const uint8_t> field = raw(number_size);
    for (size_t i = 0; i < field.size(); ++i) {
        value |= uint64_t{field[i]} << (8 * i);
    }
    return value;
}

std::span<const uint8_t> Reader::bytes()
{
    const uint64_t count = number();
    return raw(count > message_max ? message_max + 1 : static_cast<size_t>(count));
}

std::string Reader::text()
{
    const std::span<const uint8_t> field = bytes();
    return {field.begin(), field.end()};
}

std::span<const uint8_t> Reader::raw(size_t count)
{
    if (count > left_.size()) {
        ok_ = false;
        left_ = {};
        return {};
    }
    const std::span<const uint8_t> field = left_.first(count);
    left_ = left_.subspan(count);
    return field;
}

bool send_message(int socket, uint32_t kind, const Bytes &body, int descriptor)
{
    if (body.size() > message_max) {
        return false;
    }
    std::array<uint8_t, header_size> header;
    put_32(header.data(), static_cast<uint32_t>(body.size()));
    put_32(header.data() + 4, kind);
    size_t sent = 0;
    while (sent < header.size() + body.size()) {
        const size_t of_header = std::min(sent, header.size());
        const size_t of_body = sent - of_header;
        std::array<iovec, 2> parts = {
            iovec{header.data() + of_header, header.size() - of_header},
            iovec{const_cast<uint8_t *>(body.data()) + of_body, body.size() - of_body}};
        msghdr message = {};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        Control control = {};
        if (descriptor >= 0 && sent == 0) {
            attach(message, control, descriptor);
        }
        const ssize_t result = sendmsg(socket, &message, MSG_NOSIGNAL);
        if (result < 0 && errno != EINTR) {
            return false;
        }
        sent += static_cast<size_t>(std::max<ssize_t>(result, 0));
    }
    return true;
}

std::optional<Message> receive_message(int socket)
{
    Message message;
    std::array<uint8_t, header_size> header;
    if (!receive_exactly(socket, header.data(), header.size(), &message.descriptor)) {
        return std::nullopt;
    }
    const size_t length = get_32(header.data());
    message.kind = get_32(header.data() + 4);
    if (length > message_max) {
        return std::nullopt;
    }
    while (message.body.size() < length) {
        const size_t start = message.body.size();
        const size_t piece = std::min(piece_max, length - start);
        message.body.resize(start + piece);
        if (!receive_exactly(socket, message.body.data() + start, piece, nullptr)) {
            return std::nullopt;
        }
    }
    return message;
}

} // namespace virtual_board::remote
