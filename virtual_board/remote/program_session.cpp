#include "virtual_board/remote/program_session.h"

#include <errno.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "board_hal_cpld.h"
#include "virtual_board/remote/ioctl_spans.h"

namespace virtual_board::remote {

namespace {

constexpr size_t command_words_max = 4096;

// Where two buffers of the same length differ, first byte to last.
std::span<const uint8_t> difference(const Bytes &before, const Bytes &after, size_t length)
{
    size_t first = 0;
    while (first < length && before[first] == after[first]) {
        ++first;
    }
    size_t end = length;
    while (end > first && before[end - 1] == after[end - 1]) {
        --end;
    }
    return {after.data() + first, end - first};
}

} // namespace

ProgramSession::ProgramSession(int socket, std::shared_ptr<Board> board, ServedFiles &files,
                               Programs &programs, uint64_t process_key)
    : socket_(socket), board_(std::move(board)), files_(files), programs_(programs),
      process_key_(process_key)
{
}

ProgramSession::Handler ProgramSession::handler_of(uint32_t kind)
{
    struct Row {
        Kind kind;
        Handler handler;
    };
    static constexpr Row rows[] = {
        {Kind::open, &ProgramSession::open},
        {Kind::describe, &ProgramSession::describe},
        {Kind::read, &ProgramSession::read},
        {Kind::write, &ProgramSession::write},
        {Kind::seek, &ProgramSession::seek},
        {Kind::ioctl, &ProgramSession::ioctl},
        {Kind::status_of_path, &ProgramSession::status_of_path},
        {Kind::status_of_file, &ProgramSession::status_of_file},
        {Kind::map, &ProgramSession::map},
        {Kind::unmapped, &ProgramSession::unmapped},
        {Kind::window_unmapped, &ProgramSession::window_unmapped},
        {Kind::access, &ProgramSession::access},
        {Kind::store, &ProgramSession::store},
        {Kind::synchronise, &ProgramSession::synchronise},
        {Kind::control_socket, &ProgramSession::control_socket},
        {Kind::ethtool, &ProgramSession::ethtool},
        {Kind::slept, &ProgramSession::slept},
        {Kind::get_time, &ProgramSession::get_time},
        {Kind::set_time, &ProgramSession::set_time},
        {Kind::pass, &ProgramSession::pass},
        {Kind::run, &ProgramSession::run},
    };
    for (const Row &row : rows) {
        if (static_cast<uint32_t>(row.kind) == kind) {
            return row.handler;
        }
    }
    return nullptr;
}

bool ProgramSession::carry_out(const Message &question)
{
    const Handler handler = handler_of(question.kind);
    if (handler == nullptr) {
        return false;
    }
    // What the program has closed before it asked is closed.
    files_.release_closed();
    answer_ = {};
    descriptor_.reset();
    lent_ = -1;
    Reader reader(question.body);
    return (this->*handler)(reader);
}

bool ProgramSession::send_answer()
{
    const int with = descriptor_ ? descriptor_.get() : lent_;
    const bool sent =
        send_message(socket_, static_cast<uint32_t>(Kind::answer), answer_.body(), with);
    descriptor_.reset();
    return sent;
}

bool ProgramSession::open(Reader &question)
{
    const std::string path = question.text();
    const auto flags = static_cast<int>(question.signed_number());
    if (!question.complete()) {
        return false;
    }
    std::shared_ptr<OpenFile> file;
    long result = board_->open(path, flags, file);
    ServedFiles::Added added;
    if (result >= 0) {
        added = files_.add(board_, file);
        result = added.end ? result : -EMFILE;
    }
    const bool is_real = result >= 0 && file->real_node.has_value();
    answer_.signed_number(result).number(added.id).flag(is_real).text(is_real ? *file->real_node
                                                                              : std::string());
    descriptor_ = std::move(added.end);
    return true;
}

bool ProgramSession::describe(Reader &question)
{
    const uint64_t id = question.number();
    if (!question.complete()) {
        return false;
    }
    const std::shared_ptr<OpenFile> found = file(id);
    answer_.flag(found != nullptr)
        .text(found ? found->path : std::string())
        .signed_number(found ? found->flags : 0);
    return true;
}

// Devices look at the bytes behind a call's count, and answer there: they get room
// for that in any case.
bool ProgramSession::read(Reader &question)
{
    const std::shared_ptr<OpenFile> on = file(question.number());
    const bool placed = question.flag();
    const long long offset = question.signed_number();
    const uint64_t count = question.number();
    const std::span<const uint8_t> start = question.bytes();
    if (!question.complete() || count > transfer_max ||
        start.size() > read_request_max + record_slack) {
        return false;
    }
    if (!on) {
        answer_.signed_number(-EBADF).number(0).bytes(nullptr, 0);
        return true;
    }
    const auto room = static_cast<size_t>(count);
    Bytes buffer(std::max(room, start.size()) + record_slack);
    std::copy(start.begin(), start.end(), buffer.begin());
    const bool whole = room <= start.size();
    const Bytes before = whole ? buffer : Bytes();
    const long result = placed ? board_->pread(*on, buffer.data(), room, offset)
                               : board_->read(*on, buffer.data(), room);
    std::span<const uint8_t> changed(buffer.data(),
                                     std::min<size_t>(room, result > 0 ? size_t(result) : 0));
    if (whole) {
        changed = difference(before, buffer, start.size());
    }
    answer_.signed_number(result)
        .number(static_cast<uint64_t>(changed.data() - buffer.data()))
        .bytes(changed.data(), changed.size());
    return true;
}

bool ProgramSession::write(Reader &question)
{
    const std::shared_ptr<OpenFile> on = file(question.number());
    const bool placed = question.flag();
    const long long offset = question.signed_number();
    const uint64_t count = question.number();
    const std::span<const uint8_t> bytes = question.bytes();
    if (!question.complete() || count > bytes.size()) {
        return false;
    }
    if (!on) {
        answer_.signed_number(-EBADF);
        return true;
    }
    Bytes buffer(bytes.size() + record_slack);
    std::copy(bytes.begin(), bytes.end(), buffer.begin());
    const auto length = static_cast<size_t>(count);
    answer_.signed_number(placed ? board_->pwrite(*on, buffer.data(), length, offset)
                                 : board_->write(*on, buffer.data(), length));
    return true;
}

bool ProgramSession::seek(Reader &question)
{
    const std::shared_ptr<OpenFile> on = file(question.number());
    const long long offset = question.signed_number();
    const auto whence = static_cast<int>(question.signed_number());
    if (!question.complete()) {
        return false;
    }
    answer_.signed_number(on ? board_->seek(*on, offset, whence) : -EBADF);
    return true;
}

bool ProgramSession::ioctl(Reader &question)
{
    const std::shared_ptr<OpenFile> on = file(question.number());
    const auto request = static_cast<uint32_t>(question.number());
    const uint64_t argument = question.number();
    auto spans = take_in(request, argument, [&question](uint64_t, size_t length, Bytes &bytes) {
        const std::span<const uint8_t> next = question.raw(length);
        bytes.assign(next.begin(), next.end());
        return question.ok();
    });
    if (!spans || !question.complete()) {
        return false;
    }
    void *const record =
        spans->empty() ? reinterpret_cast<void *>(static_cast<uintptr_t>(argument)) : link(*spans);
    const long result = on ? board_->ioctl(*on, request, record) : -EBADF;
    const Bytes back = give_back(*spans);
    answer_.signed_number(result).raw(back.data(), back.size());
    return true;
}

void ProgramSession::put_status(long result, const struct stat &status)
{
    answer_.signed_number(result)
        .number(status.st_mode)
        .signed_number(status.st_size)
        .number(status.st_rdev);
}

bool ProgramSession::status_of_path(Reader &question)
{
    const std::string path = question.text();
    if (!question.complete()) {
        return false;
    }
    struct stat status = {};
    const long result = board_->status(path, status);
    put_status(result, status);
    return true;
}

bool ProgramSession::status_of_file(Reader &question)
{
    const std::shared_ptr<OpenFile> on = file(question.number());
    if (!question.complete()) {
        return false;
    }
    struct stat status = {};
    const long result = on ? board_->status(*on, status) : -EBADF;
    put_status(result, status);
    return true;
}

// ---- memory ----

bool ProgramSession::map(Reader &question)
{
    const std::shared_ptr<OpenFile> on = file(question.number());
    const auto length = static_cast<size_t>(question.number());
    const bool program_watches = question.flag();
    if (!question.complete()) {
        return false;
    }
    Mapping mapping;
    const long result = on ? board_->map(*on, length, mapping) : -EBADF;
    const bool forced = mapping.forced_address.has_value();
    uint64_t number = 0;
    if (result >= 0 && !forced && !mapping.watched) {
        number = programs_.mapped(process_key_, *board_, *on, length);
    }
    if (result >= 0 && !forced && !(mapping.watched && program_watches)) {
        lent_ = mapping.descriptor;
    }
    answer_.signed_number(result)
        .flag(mapping.watched)
        .flag(forced)
        .number(mapping.forced_address.value_or(0))
        .number(number);
    return true;
}

bool ProgramSession::unmapped(Reader &question)
{
    const uint64_t number = question.number();
    const auto length = static_cast<size_t>(question.number());
    if (!question.complete()) {
        return false;
    }
    programs_.unmapped(process_key_, *board_, number, length);
    return true;
}

bool ProgramSession::window_unmapped(Reader &question)
{
    const std::string device = question.text();
    const auto length = static_cast<size_t>(question.number());
    if (!question.complete()) {
        return false;
    }
    board_->unmapped(device, length);
    return true;
}

bool ProgramSession::access(Reader &question)
{
    const uint64_t offset = question.number();
    const bool load = question.flag();
    if (!question.complete() || offset >= CPLD_WINDOW_SIZE) {
        return false;
    }
    const Bytes registers =
        load ? board_->load(static_cast<uint32_t>(offset)) : board_->registers();
    answer_.bytes(registers.data(), registers.size());
    return true;
}

bool ProgramSession::store(Reader &question)
{
    const uint64_t offset = question.number();
    const uint64_t value = question.number();
    if (!question.complete() || offset >= CPLD_WINDOW_SIZE || value > UINT8_MAX) {
        return false;
    }
    board_->store(static_cast<uint32_t>(offset), static_cast<uint8_t>(value));
    return true;
}

bool ProgramSession::synchronise(Reader &question)
{
    board_->synchronise();
    return question.complete();
}

// ---- network port and time ----

bool ProgramSession::control_socket(Reader &question)
{
    answer_.signed_number(board_->control_socket());
    return question.complete();
}

bool ProgramSession::ethtool(Reader &question)
{
    const bool has_record = question.flag();
    const std::span<const uint8_t> record = question.bytes();
    if (!question.complete() || record.size() != (has_record ? ethtool_size : 0)) {
        return false;
    }
    Bytes bytes(record.begin(), record.end());
    const long result = board_->ethtool(has_record ? bytes.data() : nullptr);
    answer_.signed_number(result).bytes(bytes.data(), bytes.size());
    return true;
}

bool ProgramSession::slept(Reader &question)
{
    const uint64_t duration = question.number();
    if (!question.complete()) {
        return false;
    }
    board_->slept(duration);
    return true;
}

bool ProgramSession::get_time(Reader &question)
{
    timeval time = {};
    struct timezone zone = {};
    answer_.signed_number(board_->get_time(&time, &zone))
        .signed_number(time.tv_sec)
        .signed_number(time.tv_usec)
        .signed_number(zone.tz_minuteswest)
        .signed_number(zone.tz_dsttime);
    return question.complete();
}

bool ProgramSession::set_time(Reader &question)
{
    timeval time = {};
    struct timezone zone = {};
    const bool has_time = question.flag();
    time.tv_sec = static_cast<time_t>(question.signed_number());
    time.tv_usec = static_cast<suseconds_t>(question.signed_number());
    const bool has_zone = question.flag();
    zone.tz_minuteswest = static_cast<int>(question.signed_number());
    zone.tz_dsttime = static_cast<int>(question.signed_number());
    if (!question.complete()) {
        return false;
    }
    answer_.signed_number(board_->set_time(has_time ? &time : nullptr, has_zone ? &zone : nullptr));
    return true;
}

// ---- what the program does itself ----

long ProgramSession::let_program_do()
{
    if (!send_message(socket_, static_cast<uint32_t>(Kind::go_on), {})) {
        return -EINTR;
    }
    const std::optional<Message> done = receive_message(socket_);
    if (!done || done->kind != static_cast<uint32_t>(Kind::done)) {
        return -EINTR;
    }
    Reader reader(done->body);
    return static_cast<long>(reader.signed_number());
}

bool ProgramSession::pass(Reader &question)
{
    const std::shared_ptr<OpenFile> on = file(question.number());
    const uint64_t operation = question.number();
    const auto address = static_cast<uint32_t>(question.number());
    const uint64_t count = question.number();
    if (!question.complete() || operation > static_cast<uint64_t>(Operation::status)) {
        return false;
    }
    const auto transfer = [this] { return let_program_do(); };
    answer_.signed_number(
        on ? board_->pass(*on, static_cast<Operation>(operation), address, count, transfer)
           : -EBADF);
    return true;
}

bool ProgramSession::run(Reader &question)
{
    const uint64_t count = question.number();
    std::vector<std::string> command;
    for (uint64_t i = 0; i < std::min<uint64_t>(count, command_words_max); ++i) {
        command.push_back(question.text());
    }
    if (!question.complete()) {
        return false;
    }
    const auto really = [this] { return static_cast<int>(let_program_do()); };
    answer_.signed_number(board_->run(command, really));
    return true;
}

} // namespace virtual_board::remote
