// What programs and a board in another process say to each other.
//
// A program greets on each of its connections, then asks; each question is
// answered before the next. Fields are listed in order; see wire.h for their
// form. Results are a driver's.
#ifndef VIRTUAL_BOARD_REMOTE_PROTOCOL_H
#define VIRTUAL_BOARD_REMOTE_PROTOCOL_H

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace virtual_board::remote {

constexpr uint64_t protocol_magic = 0x6472616f62737672; // "rvsboard"
constexpr uint64_t protocol_version = 1;

enum class Role : uint64_t {
    program, // asks what the shim asks
    backend, // goes on with JSON lines, see backend_connection.h
    status,  // wants to know who serves; that is the answer to the greeting
};

enum class Kind : uint32_t {
    // magic, version, size of a pointer, role, key of the process.
    // Answer: accepted, complaint, token, network port, virtual time; for a status
    // accepted, complaint, personality, process, powered, programs
    hello,
    // path, flags. Answer: result, file, whether there is a real node, its path;
    // and the descriptor
    open,
    // file. Answer: found, path, flags
    describe,
    // file, whether at an offset, offset, count, start of the buffer.
    // Answer: result, where bytes have changed, the bytes
    read,
    // file, whether at an offset, offset, count, bytes of the buffer. Answer: result
    write,
    // file, offset, whence. Answer: result
    seek,
    // file, request, argument, its memory. Answer: result, memory that goes back
    ioctl,
    // path. Answer: result, mode, size, device number
    status_of_path,
    // file. Answer: as before
    status_of_file,
    // file, length, whether stores are watched.
    // Answer: result, watched, forced, address, mapping; and the memory
    map,
    // mapping, length. Answer: nothing
    unmapped,
    // device, length: of a window. Answer: nothing
    window_unmapped,
    // offset, whether it is a load. Answer: the registers as they were before it
    access,
    // offset, value. Answer: nothing
    store,
    // Answer: nothing
    synchronise,
    // Answer: result
    control_socket,
    // whether there is a record, its bytes. Answer: result, bytes
    ethtool,
    // duration. Answer: nothing
    slept,
    // Answer: result, seconds, microseconds, minutes west, daylight saving
    get_time,
    // whether there is a time, seconds, microseconds, whether there is a zone,
    // minutes west, daylight saving. Answer: result
    set_time,
    // file, operation, address, count. Answer: go_on, then the result of `done`;
    // or the result
    pass,
    // words of the command. Answer: as for pass
    run,

    // From a program: result of the call that it was told to make.
    done,

    // From the board.
    answer,
    go_on, // make the call yourself, and say what came of it

    count,
};

// A read or a write takes so many bytes behind its buffer along, if they are
// there: drivers know the length of a record better than the call's count.
constexpr size_t record_slack = 512;
// The start of a read's buffer goes along up to this: it may hold a request.
constexpr size_t read_request_max = 65536;
// Longer reads are cut, as the kernel may.
constexpr size_t transfer_max = size_t{32} << 20;
// Bytes of an ethtool record.
constexpr size_t ethtool_size = 8;

// The board's end of a program's descriptor has an abstract name that tells which
// open file it is: this, the board's token, "/" and the file's number.
inline std::string descriptor_name(const std::string &token)
{
    return "virtual-board/" + token + "/";
}

} // namespace virtual_board::remote

#endif
