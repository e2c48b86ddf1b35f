// Byte-code programs for the CPLD driver, which runs them over the board's JTAG
// chain.

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "board_hal.h"
#include "support/byte_order.h"
#include "support/heap_buffer.h"

using namespace board_hal;

namespace {

// Requests of the CPLD driver; their argument is a load record. The numbers are
// the driver's ABI.
constexpr unsigned long run_load_record = 0x40046B01;
constexpr unsigned long run_command_record = 0x40046B02;

// Load record: program length (4 bytes, little-endian), kind, three zeros, the
// program, the trailer.
enum RecordKind : uint8_t {
    kind_built_in = 0x81,
    kind_file = 0x83,
};
constexpr uint32_t header_size = 8;
constexpr uint32_t kind_at = 4;
constexpr uint32_t area_size = 524288; // program and trailer
constexpr uint32_t record_size = header_size + area_size;
static_assert(record_size == 524296);

// Trailer: zero, a mark, the component and, for component 6, a value of its own
// with its high byte first.
constexpr uint8_t trailer_mark = 0x43;
constexpr uint8_t component_with_value = 6;
constexpr uint8_t component_value[] = {0x00, 0xFC};

constexpr uint32_t upgrade_steps = 60;

// Built-in programs. The first three bytes differ per program, the version text
// "____12.1" follows, then the opcodes up to 0x7F.
constexpr uint8_t type1_program[] = {
    0x65, 0x07, 0xBA, 0x5F, 0x5F, 0x5F, 0x5F, 0x31, 0x32, 0x2E, 0x31, 0xF1, 0x19, 0x20, 0x56,
    0x01, 0x08, 0x00, 0x06, 0x00, 0x09, 0x00, 0x07, 0x00, 0x02, 0x03, 0x03, 0x02, 0x10, 0x01,
    0x11, 0x08, 0x13, 0x00, 0x68, 0x70, 0x12, 0x20, 0x13, 0x02, 0xFF, 0x04, 0x14, 0x00, 0xC2,
    0x0B, 0x14, 0x80, 0x15, 0x02, 0xFF, 0x04, 0x70, 0x11, 0x08, 0x13, 0x00, 0x38, 0x70, 0x10,
    0x03, 0x10, 0x01, 0x11, 0x08, 0x13, 0x00, 0xAA, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81,
    0x80, 0x02, 0x11, 0x08, 0x13, 0x00, 0xC0, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81, 0x80,
    0x02, 0x11, 0x08, 0x13, 0x00, 0xA8, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81, 0x80, 0x02,
    0x11, 0x08, 0x13, 0x00, 0x78, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0xE8, 0x87, 0x02, 0x7F,
};
static_assert(sizeof(type1_program) == 120);

constexpr uint8_t component5_program[] = {
    0x65, 0xA1, 0x3C, 0x5F, 0x5F, 0x5F, 0x5F, 0x31, 0x32, 0x2E, 0x31, 0xF1, 0x19, 0x20, 0x56, 0x01,
    0x08, 0x00, 0x06, 0x00, 0x09, 0x00, 0x07, 0x00, 0x02, 0x03, 0x03, 0x02, 0x10, 0x01, 0x11, 0x08,
    0x13, 0x00, 0x68, 0x70, 0x12, 0x20, 0x13, 0x02, 0xFF, 0x04, 0x14, 0x00, 0xC2, 0x0B, 0x14, 0x80,
    0x15, 0x02, 0xFF, 0x04, 0x70, 0x11, 0x08, 0x13, 0x00, 0xAA, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A,
    0x81, 0x80, 0x02, 0x11, 0x08, 0x13, 0x00, 0xC0, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81, 0x80,
    0x02, 0x11, 0x08, 0x13, 0x00, 0xA8, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81, 0x80, 0x02, 0x11,
    0x08, 0x13, 0x00, 0x78, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81, 0x80, 0x02, 0x11, 0x08, 0x13,
    0x00, 0xFF, 0x70, 0x10, 0x01, 0x1B, 0x64, 0x1A, 0x81, 0x80, 0x02, 0x7F,
};
static_assert(sizeof(component5_program) == 124);

constexpr uint8_t component6_program[] = {
    0x65, 0x02, 0x7B, 0x5F, 0x5F, 0x5F, 0x5F, 0x31, 0x32, 0x2E, 0x31, 0xF1, 0x19, 0x20, 0x56,
    0x01, 0x08, 0x00, 0x06, 0x00, 0x09, 0x00, 0x07, 0x00, 0x02, 0x03, 0x03, 0x02, 0x10, 0x01,
    0x11, 0x08, 0x13, 0x00, 0x68, 0x70, 0x12, 0x20, 0x13, 0x02, 0xFF, 0x04, 0x14, 0x00, 0xC2,
    0x0A, 0x14, 0x80, 0x15, 0x02, 0xFF, 0x04, 0x70, 0x11, 0x08, 0x13, 0x00, 0x38, 0x70, 0x10,
    0x03, 0x10, 0x01, 0x11, 0x08, 0x13, 0x00, 0xAA, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81,
    0x80, 0x02, 0x11, 0x08, 0x13, 0x00, 0xC0, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81, 0x80,
    0x02, 0x11, 0x08, 0x13, 0x00, 0xA8, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x81, 0x80, 0x02,
    0x11, 0x08, 0x13, 0x00, 0x78, 0x70, 0x10, 0x01, 0x1B, 0x05, 0x1A, 0x82, 0x80, 0x02, 0x11,
    0x08, 0x13, 0x00, 0xFF, 0x70, 0x10, 0x01, 0x1B, 0x64, 0x1A, 0x81, 0x80, 0x02, 0x7F,
};
static_assert(sizeof(component6_program) == 134);

struct BuiltInProgram {
    uint8_t component;
    unsigned long request;
    const uint8_t *code;
    uint32_t length;
};

constexpr BuiltInProgram type1 = {5, run_command_record, type1_program, sizeof(type1_program)};
constexpr BuiltInProgram type2_of_component[] = {
    {5, run_load_record, component5_program, sizeof(component5_program)},
    {6, run_load_record, component6_program, sizeof(component6_program)},
};

constexpr uint32_t trailer_size(uint8_t component)
{
    return component == component_with_value ? 5 : 3;
}

static_assert(sizeof(component6_program) + trailer_size(component_with_value) <= area_size);

void put_header(uint8_t *record, uint32_t length, RecordKind kind)
{
    store_le32(record, length);
    store_le32(record + kind_at, kind); // with the three zeros behind it
}

void put_trailer(uint8_t *record, uint32_t length, uint8_t component)
{
    uint8_t *const trailer = record + header_size + length;
    trailer[0] = 0;
    trailer[1] = trailer_mark;
    trailer[2] = component;
    if (component == component_with_value) {
        memcpy(trailer + 3, component_value, sizeof(component_value));
    }
}

// Opens the driver, hands it and a record of the largest size to send, which
// gives the result, and releases both.
template <typename Send> int with_record(const char *no_memory, Send send)
{
    const int device = open("/dev/ipmc_cpld", O_RDWR);
    if (device < 0) {
        puts("cpld_init: open fail\r");
        return -1;
    }
    int result = -1;
    if (HeapBuffer record(record_size); record) {
        result = send(device, record.data());
    } else {
        puts(no_memory);
    }
    close(device);
    return result;
}

constexpr size_t smaller(long length, size_t limit)
{
    return static_cast<size_t>(length) < limit ? static_cast<size_t>(length) : limit;
}

// Reads one item of length bytes, of which the record's area keeps the first
// ones. What does not fit is read all the same: a short file is reported before
// a long program.
bool read_program(FILE *file, uint8_t *record, long length)
{
    const size_t kept = smaller(length, area_size);
    if (fread(record + header_size, kept, 1, file) != 1) {
        return false;
    }
    uint8_t scratch[1024];
    for (long left = length - static_cast<long>(kept); left > 0; left -= long{sizeof(scratch)}) {
        if (fread(scratch, smaller(left, sizeof(scratch)), 1, file) != 1) {
            return false;
        }
    }
    return true;
}

// A program in a file.
struct ProgramFile {
    const char *path;
    uint8_t component;
    int32_t offset;
    long length;
};

// Sends the program of an open file.
int send_file(int device, uint8_t *record, FILE *file, const ProgramFile &program)
{
    if (fseek(file, program.offset, SEEK_SET) != 0) {
        printf("seek file %s fail\r\n", program.path);
        return -1;
    }
    if (!read_program(file, record, program.length)) {
        printf("read file %s fail\r\n", program.path);
        return -1;
    }
    if (program.length > static_cast<long>(area_size - trailer_size(program.component))) {
        // The text names another cause; callers match on it.
        puts("get_pcb_ver or get_board_id  is fail\r");
        return -1;
    }
    const auto length = static_cast<uint32_t>(program.length);
    put_header(record, length, kind_file);
    put_trailer(record, length, program.component);
    return ioctl(device, run_load_record, record);
}

int send_path(int device, uint8_t *record, ProgramFile program)
{
    program.length = get_file_length(program.path);
    if (program.length <= 0) {
        printf("Get file length(%ld) is invalid\r\n", program.length);
        return -1;
    }
    // For update: only a file that may be written is taken.
    FILE *const file = fopen(program.path, "r+b");
    if (file == nullptr) {
        printf("open file %s fail\r\n", program.path);
        return -1;
    }
    const int result = send_file(device, record, file, program);
    fclose(file);
    return result;
}

int send_built_in(const BuiltInProgram &program)
{
    // The text names the FPGA; callers match on it.
    return with_record("allocate space for fpga file fails.\r", [&](int device, uint8_t *record) {
        put_header(record, program.length, kind_built_in);
        memcpy(record + header_size, program.code, program.length);
        put_trailer(record, program.length, program.component);
        return ioctl(device, program.request, record);
    });
}

} // namespace

extern "C" {

int load_cpld(const char *path, uint32_t component_id, int32_t offset, uint32_t)
{
    if (path == nullptr) {
        puts("file name wrong !!!");
        return -1;
    }
    const ProgramFile program = {path, byte_of(component_id, 0), offset, 0};
    return with_record("allocate space for cpld file fails.\r", [&](int device, uint8_t *record) {
        return send_path(device, record, program);
    });
}

int cpld_cmd(int32_t cmd_type, uint32_t component_id)
{
    if (cmd_type == 1) {
        return send_built_in(type1);
    }
    if (cmd_type != 2) {
        puts("wrong cmd type!!!");
        return -1;
    }
    for (const BuiltInProgram &program : type2_of_component) {
        if (program.component == byte_of(component_id, 0)) {
            return send_built_in(program);
        }
    }
    puts("wrong cpld component id!!!");
    return -1;
}

int get_cpld_upgrade_count(uint32_t, uint32_t *count)
{
    if (count == nullptr) {
        puts("get_cpld_upgrade_count:count pointer is null");
        return -2;
    }
    *count = upgrade_steps;
    return 0;
}

} // extern "C"
