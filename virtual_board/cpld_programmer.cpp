#include "virtual_board/cpld_programmer.h"

#include <errno.h>

#include <algorithm>
#include <string_view>

namespace virtual_board {

namespace {

constexpr uint8_t kind_built_in = 0x81;
constexpr uint8_t kind_file = 0x83;

constexpr uint8_t trailer_mark = 0x43;

constexpr uint8_t program_start = 0x65;
constexpr uint8_t program_end = 0x7F;
constexpr size_t version_at = 3;
constexpr std::string_view version = "____12.1";

bool is_program(const std::vector<uint8_t> &code)
{
    return code.size() > version_at + version.size() && code.front() == program_start &&
           code.back() == program_end &&
           std::equal(version.begin(), version.end(), code.begin() + version_at);
}

bool is_trailer(const CpldProgrammer::Load &load)
{
    std::vector<uint8_t> expected = {0, trailer_mark, load.component};
    if (load.component == CpldProgrammer::component_with_value) {
        expected.insert(expected.end(), {0x00, 0xFC});
    }
    return load.trailer == expected;
}

std::string complaint_about(const uint8_t *record, const CpldProgrammer::Load &load)
{
    if (load.kind != kind_built_in && load.kind != kind_file) {
        return "unknown kind of record";
    }
    if (load.kind == kind_file && load.request != CpldProgrammer::run_load_record) {
        return "a file's program in a command record";
    }
    if (record[5] != 0 || record[6] != 0 || record[7] != 0) {
        return "header without its zeros";
    }
    if (!is_program(load.program)) {
        return "no byte-code program";
    }
    return is_trailer(load) ? "" : "wrong trailer";
}

} // namespace

uint32_t CpldProgrammer::program_length(const uint8_t *record)
{
    return record[0] | uint32_t{record[1]} << 8 | uint32_t{record[2]} << 16 |
           uint32_t{record[3]} << 24;
}

long CpldProgrammer::run(uint32_t request, const void *argument)
{
    const auto *record = static_cast<const uint8_t *>(argument);
    Load load;
    load.request = request;
    load.kind = record[4];
    const uint32_t length = program_length(record);
    if (length > area_size - trailer_size) {
        load.complaint = "program longer than the record";
    } else {
        const uint8_t *const code = record + header_size;
        const uint8_t *const trailer = code + length;
        load.program.assign(code, trailer);
        load.component = trailer[2];
        const size_t room = area_size - length;
        load.trailer.assign(trailer, trailer + std::min(room, load.component == component_with_value
                                                                  ? long_trailer_size
                                                                  : trailer_size));
        load.complaint = complaint_about(record, load);
    }
    loads_.push_back(load);
    return load.complaint.empty() ? 0 : -EINVAL;
}

} // namespace virtual_board
