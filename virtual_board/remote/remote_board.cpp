#include "virtual_board/remote/remote_board.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "virtual_board/remote/ioctl_spans.h"

namespace virtual_board::remote {

namespace {

// Own descriptors lie out of the way of programs that count theirs.
constexpr int first_own_descriptor = 512;

// What a load sees where nothing answers.
constexpr uint8_t floating = 0xFF;

uint64_t random_number()
{
    uint64_t number = 0;
    if (getrandom(&number, sizeof(number), 0) != sizeof(number)) {
        throw std::runtime_error("no random numbers");
    }
    return number;
}

Descriptor out_of_the_way(Descriptor descriptor)
{
    Descriptor moved(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, first_own_descriptor));
    return moved ? std::move(moved) : std::move(descriptor);
}

ino_t identity_of(int descriptor)
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode) ? status.st_ino : 0;
}

size_t to_page_end(const uint8_t *address)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    return page - reinterpret_cast<uintptr_t>(address) % page;
}

// Copies `count` bytes of this program's memory, and up to `slack` more behind
// them if they are there; false if the first are not. The kernel copies, because
// a program may pass any address.
bool own_memory(const void *from, size_t count, size_t slack, Bytes &bytes)
{
    auto *start = const_cast<uint8_t *>(static_cast<const uint8_t *>(from));
    uint8_t *const end = start + count;
    const size_t near = count == 0 ? 0 : std::min(slack, to_page_end(end - 1) - 1);
    bytes.resize(count + slack);
    iovec to = {bytes.data(), bytes.size()};
    const std::array<iovec, 3> parts = {iovec{start, count}, iovec{end, near},
                                        iovec{end + near, slack - near}};
    ssize_t got = process_vm_readv(getpid(), &to, 1, parts.data(), parts.size(), 0);
    if (got < 0 && (errno == ENOSYS || errno == EPERM)) {
        // What lies on the last byte's page is there.
        memcpy(bytes.data(), start, count + near);
        got = static_cast<ssize_t>(count + near);
    }
    bytes.resize(static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return bytes.size() >= count;
}

Writer &put_file(Writer &writer, const OpenFile &file)
{
    return writer.number(file.id);
}

} // namespace

RemoteBoard::Connector connector_to(const std::string &path)
{
    return [path]() -> Descriptor {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof(address.sun_path)) {
            return {};
        }
        memcpy(address.sun_path, path.data(), path.size());
        Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (!socket || ::connect(socket.get(), reinterpret_cast<const sockaddr *>(&address),
                                 sizeof(address)) != 0) {
            return {};
        }
        return socket;
    };
}

RemoteBoard::RemoteBoard(Connector connector, std::string name)
    : connector_(std::move(connector)), name_(std::move(name)), process_key_(random_number())
{
    std::string complaint;
    std::unique_ptr<Connection> first = connect(complaint);
    if (!first) {
        throw std::runtime_error(complaint);
    }
    give(std::move(first));
}

RemoteBoard::~RemoteBoard() = default;

// ---- connections ----

std::unique_ptr<RemoteBoard::Connection> RemoteBoard::connect(std::string &complaint)
{
    complaint = "no board at " + name_;
    auto connection = std::make_unique<Connection>();
    connection->socket = connector_();
    if (!connection->socket) {
        return nullptr;
    }
    connection->socket = out_of_the_way(std::move(connection->socket));
    connection->identity = identity_of(connection->socket.get());
    Writer greeting;
    greeting.number(protocol_magic)
        .number(protocol_version)
        .number(sizeof(void *))
        .number(static_cast<uint64_t>(Role::program))
        .number(process_key_);
    const int socket = connection->socket.get();
    if (!send_message(socket, static_cast<uint32_t>(Kind::hello), greeting.body())) {
        return nullptr;
    }
    const std::optional<Message> reply = receive_message(socket);
    if (!reply) {
        return nullptr;
    }
    Reader reader(reply->body);
    const bool accepted = reader.flag();
    const std::string refusal = reader.text();
    std::string token = reader.text();
    std::string port = reader.text();
    const bool is_virtual = reader.flag();
    if (!reader.complete() || !accepted) {
        complaint = reader.complete() ? refusal : complaint;
        return nullptr;
    }
    const std::lock_guard guard(lock_);
    token_ = std::move(token);
    network_port_ = std::move(port);
    time_is_virtual_ = is_virtual;
    all_.insert(connection.get());
    return connection;
}

// A kept connection, or a new one.
std::unique_ptr<RemoteBoard::Connection> RemoteBoard::take()
{
    for (;;) {
        std::unique_ptr<Connection> connection;
        {
            const std::lock_guard guard(lock_);
            if (idle_.empty()) {
                break;
            }
            connection = std::move(idle_.back());
            idle_.pop_back();
        }
        if (identity_of(connection->socket.get()) == connection->identity) {
            return connection;
        }
        connection->socket.release(); // the program's now
        drop(std::move(connection));
    }
    std::string complaint;
    return connect(complaint);
}

void RemoteBoard::give(std::unique_ptr<Connection> connection)
{
    const std::lock_guard guard(lock_);
    idle_.push_back(std::move(connection));
}

void RemoteBoard::drop(std::unique_ptr<Connection> connection)
{
    const std::lock_guard guard(lock_);
    all_.erase(connection.get());
}

void RemoteBoard::say_gone()
{
    const std::lock_guard guard(lock_);
    if (!std::exchange(said_gone_, true)) {
        const std::string line = "virtual board: the board at " + name_ + " has gone\n";
        static_cast<void>(!::write(STDERR_FILENO, line.data(), line.size()));
    }
}

// A question that did not get out is asked once more: the connection was kept
// from before the board went and came. One that got out never is.
std::optional<Message> RemoteBoard::ask(Kind kind, const Writer &question)
{
    while (std::unique_ptr<Connection> connection = take()) {
        const int socket = connection->socket.get();
        if (!send_message(socket, static_cast<uint32_t>(kind), question.body())) {
            drop(std::move(connection));
            continue;
        }
        std::optional<Message> reply = receive_message(socket);
        if (reply && reply->kind == static_cast<uint32_t>(Kind::answer)) {
            give(std::move(connection));
            return reply;
        }
        drop(std::move(connection));
        break;
    }
    say_gone();
    return std::nullopt;
}

long RemoteBoard::ask_for_result(Kind kind, const Writer &question)
{
    const std::optional<Message> reply = ask(kind, question);
    if (!reply) {
        return -EIO;
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    return reader.complete() ? result : -EIO;
}

// A question that the board may answer with "do it yourself".
long RemoteBoard::ask_and_do(Kind kind, const Writer &question, const std::function<long()> &call)
{
    std::unique_ptr<Connection> connection = take();
    if (!connection ||
        !send_message(connection->socket.get(), static_cast<uint32_t>(kind), question.body())) {
        say_gone();
        return -EIO;
    }
    std::optional<Message> reply = receive_message(connection->socket.get());
    std::optional<long> own;
    if (reply && reply->kind == static_cast<uint32_t>(Kind::go_on)) {
        own = call();
        const int kept = errno;
        Writer done;
        done.signed_number(*own);
        reply.reset();
        if (send_message(connection->socket.get(), static_cast<uint32_t>(Kind::done),
                         done.body())) {
            reply = receive_message(connection->socket.get());
        }
        errno = kept;
    }
    if (!reply) {
        drop(std::move(connection));
        say_gone();
        return own.value_or(-EIO);
    }
    give(std::move(connection));
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    return own.value_or(reader.complete() ? result : -EIO);
}

// ---- open files ----

std::shared_ptr<OpenFile> RemoteBoard::known(uint64_t id)
{
    const std::lock_guard guard(lock_);
    const auto found = files_.find(id);
    return found == files_.end() ? nullptr : found->second.lock();
}

void RemoteBoard::remember(const std::shared_ptr<OpenFile> &file)
{
    const std::lock_guard guard(lock_);
    std::erase_if(files_, [](const auto &entry) { return entry.second.expired(); });
    files_[file->id] = file;
}

long RemoteBoard::open(const std::string &path, int flags, std::shared_ptr<OpenFile> &file)
{
    Writer question;
    question.text(path).signed_number(flags);
    std::optional<Message> reply = ask(Kind::open, question);
    if (!reply) {
        return -EIO;
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    auto opened = std::make_shared<OpenFile>();
    opened->path = path;
    opened->flags = flags;
    opened->id = reader.number();
    const bool is_real = reader.flag();
    const std::string real_node = reader.text();
    if (!reader.complete()) {
        return -EIO;
    }
    if (result < 0) {
        return result;
    }
    if (!reply->descriptor) {
        return -EMFILE; // the program has no room for it
    }
    if (is_real) {
        opened->real_node = real_node;
        reply->descriptor = out_of_the_way(std::move(reply->descriptor));
    } else if ((flags & O_CLOEXEC) == 0) {
        fcntl(reply->descriptor.get(), F_SETFD, 0);
    }
    opened->descriptor = reply->descriptor.release();
    remember(opened);
    file = std::move(opened);
    return result;
}

long RemoteBoard::close(OpenFile &file)
{
    const int kept = errno;
    Descriptor left(std::exchange(file.descriptor, -1));
    left.reset();
    errno = kept;
    return 0;
}

// The number of the open file, by the name of the board's end of the descriptor.
std::optional<uint64_t> RemoteBoard::file_behind(int descriptor) const
{
    const int kept = errno;
    sockaddr_un peer = {};
    socklen_t length = sizeof(peer);
    std::optional<uint64_t> id;
    constexpr size_t before_name = offsetof(sockaddr_un, sun_path) + 1;
    if (getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &length) == 0 &&
        peer.sun_family == AF_UNIX && length > before_name && length <= sizeof(peer)) {
        const std::string name(peer.sun_path + 1, length - before_name);
        const std::string own = descriptor_name(token_);
        if (name.starts_with(own)) {
            id = strtoull(name.c_str() + own.size(), nullptr, 10);
        }
    }
    errno = kept;
    return id;
}

std::shared_ptr<OpenFile> RemoteBoard::adopt(int descriptor)
{
    const std::optional<uint64_t> id = descriptor < 0 ? std::nullopt : file_behind(descriptor);
    if (!id) {
        return nullptr;
    }
    const int kept = errno;
    std::shared_ptr<OpenFile> file = known(*id);
    file = file ? file : ask_about(*id);
    errno = kept;
    return file;
}

// A real node's descriptor does not tell.
bool RemoteBoard::leads_to(int descriptor, const OpenFile &file)
{
    return file.real_node || file_behind(descriptor) == file.id;
}

std::shared_ptr<OpenFile> RemoteBoard::ask_about(uint64_t id)
{
    Writer question;
    question.number(id);
    const std::optional<Message> reply = ask(Kind::describe, question);
    if (!reply) {
        return nullptr;
    }
    Reader reader(reply->body);
    const bool found = reader.flag();
    auto file = std::make_shared<OpenFile>();
    file->id = id;
    file->path = reader.text();
    file->flags = static_cast<int>(reader.signed_number());
    if (!reader.complete() || !found) {
        return nullptr;
    }
    remember(file);
    return file;
}

// ---- transfers ----

long RemoteBoard::read_at(const OpenFile &file, void *buffer, size_t count, const long long *offset)
{
    count = std::min(count, transfer_max);
    Bytes start;
    const size_t sent = std::min(count, read_request_max);
    if (!own_memory(buffer, sent, record_slack, start)) {
        return -EFAULT;
    }
    Writer question;
    put_file(question, file)
        .flag(offset != nullptr)
        .signed_number(offset != nullptr ? *offset : 0)
        .number(count)
        .bytes(start.data(), start.size());
    const std::optional<Message> reply = ask(Kind::read, question);
    if (!reply) {
        return -EIO;
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    const uint64_t at = reader.number();
    const std::span<const uint8_t> changed = reader.bytes();
    const size_t room = std::max(count, start.size());
    if (!reader.complete() || at > room || changed.size() > room - at) {
        return -EIO;
    }
    memcpy(static_cast<uint8_t *>(buffer) + at, changed.data(), changed.size());
    return result;
}

long RemoteBoard::write_at(const OpenFile &file, const void *buffer, size_t count,
                           const long long *offset)
{
    count = std::min(count, transfer_max);
    Bytes bytes;
    if (!own_memory(buffer, count, record_slack, bytes)) {
        return -EFAULT;
    }
    Writer question;
    put_file(question, file)
        .flag(offset != nullptr)
        .signed_number(offset != nullptr ? *offset : 0)
        .number(count)
        .bytes(bytes.data(), bytes.size());
    return ask_for_result(Kind::write, question);
}

long RemoteBoard::read(OpenFile &file, void *buffer, size_t count)
{
    return read_at(file, buffer, count, nullptr);
}

long RemoteBoard::write(OpenFile &file, const void *buffer, size_t count)
{
    return write_at(file, buffer, count, nullptr);
}

long RemoteBoard::pread(OpenFile &file, void *buffer, size_t count, long long offset)
{
    return read_at(file, buffer, count, &offset);
}

long RemoteBoard::pwrite(OpenFile &file, const void *buffer, size_t count, long long offset)
{
    return write_at(file, buffer, count, &offset);
}

long RemoteBoard::pass(OpenFile &file, Operation operation, uint32_t address, uint64_t count,
                       const std::function<long()> &transfer)
{
    Writer question;
    put_file(question, file).number(static_cast<uint64_t>(operation)).number(address).number(count);
    return ask_and_do(Kind::pass, question, transfer);
}

long RemoteBoard::ioctl(OpenFile &file, uint32_t request, void *argument)
{
    const auto address = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(argument));
    const auto spans = take_in(request, address, [](uint64_t from, size_t length, Bytes &bytes) {
        return own_memory(reinterpret_cast<const void *>(static_cast<uintptr_t>(from)), length, 0,
                          bytes);
    });
    if (!spans) {
        return -EFAULT;
    }
    Writer question;
    put_file(question, file).number(request).number(address);
    for (const Span &span : *spans) {
        question.raw(span.bytes.data(), span.bytes.size());
    }
    const std::optional<Message> reply = ask(Kind::ioctl, question);
    if (!reply) {
        return -EIO;
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    return reader.ok() && put_back(*spans, reader) && reader.complete() ? result : -EIO;
}

long long RemoteBoard::seek(OpenFile &file, long long offset, int whence)
{
    Writer question;
    put_file(question, file).signed_number(offset).signed_number(whence);
    return ask_for_result(Kind::seek, question);
}

long RemoteBoard::take_status(Kind kind, const Writer &question, struct stat &status)
{
    const std::optional<Message> reply = ask(kind, question);
    if (!reply) {
        return -EIO;
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    struct stat found = {};
    found.st_mode = static_cast<mode_t>(reader.number());
    found.st_size = static_cast<off_t>(reader.signed_number());
    found.st_rdev = static_cast<dev_t>(reader.number());
    if (!reader.complete()) {
        return -EIO;
    }
    if (result >= 0) {
        status = found;
    }
    return result;
}

long RemoteBoard::status(const std::string &path, struct stat &status)
{
    Writer question;
    question.text(path);
    return take_status(Kind::status_of_path, question, status);
}

long RemoteBoard::status(const OpenFile &file, struct stat &status)
{
    Writer question;
    put_file(question, file);
    return take_status(Kind::status_of_file, question, status);
}

// ---- memory ----

long RemoteBoard::map(OpenFile &file, size_t length, Mapping &mapping)
{
    Writer question;
    put_file(question, file).number(length).flag(watched_);
    std::optional<Message> reply = ask(Kind::map, question);
    if (!reply) {
        return -EIO;
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    mapping.watched = reader.flag();
    const bool forced = reader.flag();
    const auto address = static_cast<uintptr_t>(reader.number());
    const uint64_t number = reader.number();
    if (!reader.complete()) {
        return -EIO;
    }
    if (forced) {
        mapping.forced_address = address;
    }
    if (result < 0 || forced) {
        return result;
    }
    mapping.private_copy = mapping.watched && watched_;
    if (!mapping.private_copy) {
        mapping.descriptor = reply->descriptor.release();
        mapping.close_when_mapped = mapping.descriptor >= 0;
    }
    const std::lock_guard guard(lock_);
    granted_.emplace(file.id, number);
    return result;
}

void RemoteBoard::unmapped(const std::string &device, size_t length)
{
    Writer question;
    question.text(device).number(length);
    ask(Kind::window_unmapped, question);
}

void RemoteBoard::mapped_at(const void *address, const OpenFile &file)
{
    const std::lock_guard guard(lock_);
    const auto granted = granted_.find(file.id);
    if (granted != granted_.end()) {
        mappings_[address] = granted->second;
        granted_.erase(granted);
    }
}

void RemoteBoard::unmapped_at(const void *address, size_t length)
{
    uint64_t number = 0;
    {
        const std::lock_guard guard(lock_);
        const auto mapping = mappings_.extract(address);
        if (mapping.empty()) {
            return;
        }
        number = mapping.mapped();
    }
    Writer question;
    question.number(number).number(length);
    ask(Kind::unmapped, question);
}

void RemoteBoard::access_begins(uint8_t *window, size_t length, uint32_t offset, bool store)
{
    Writer question;
    question.number(offset).flag(!store);
    const std::optional<Message> reply = ask(Kind::access, question);
    copied_.assign(length, floating);
    if (reply) {
        Reader reader(reply->body);
        const std::span<const uint8_t> registers = reader.bytes();
        std::copy_n(registers.begin(), std::min(registers.size(), length), copied_.begin());
    }
    std::copy(copied_.begin(), copied_.end(), window);
    window_ = window;
}

void RemoteBoard::access_ends()
{
    left_.assign(window_, window_ + copied_.size());
}

void RemoteBoard::tell_store(uint32_t offset)
{
    copied_[offset] = left_[offset];
    Writer question;
    question.number(offset).number(left_[offset]);
    ask(Kind::store, question);
}

void RemoteBoard::stored(uint32_t offset, uint8_t)
{
    if (offset < left_.size()) {
        tell_store(offset);
    }
}

// Other bytes of the same access, and stores of other threads meanwhile.
void RemoteBoard::find_stores()
{
    for (uint32_t offset = 0; offset < left_.size(); ++offset) {
        if (left_[offset] != copied_[offset]) {
            tell_store(offset);
        }
    }
}

void RemoteBoard::synchronise()
{
    ask(Kind::synchronise, {});
}

// ---- network port, time, programs ----

long RemoteBoard::control_socket()
{
    return ask_for_result(Kind::control_socket, {});
}

long RemoteBoard::ethtool(void *record)
{
    Bytes bytes;
    if (record != nullptr && !own_memory(record, ethtool_size, 0, bytes)) {
        return -EFAULT;
    }
    Writer question;
    question.flag(record != nullptr).bytes(bytes.data(), bytes.size());
    const std::optional<Message> reply = ask(Kind::ethtool, question);
    if (!reply) {
        return -EIO;
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    const std::span<const uint8_t> changed = reader.bytes();
    if (!reader.complete() || changed.size() != bytes.size()) {
        return -EIO;
    }
    if (record != nullptr) {
        memcpy(record, changed.data(), changed.size());
    }
    return result;
}

void RemoteBoard::slept(uint64_t duration_us)
{
    Writer question;
    question.number(duration_us);
    ask(Kind::slept, question);
}

// Without a board it is the machine's time: programs do not expect this to fail.
long RemoteBoard::get_time(timeval *time, struct timezone *zone)
{
    const std::optional<Message> reply = ask(Kind::get_time, {});
    if (!reply) {
        return gettimeofday(time, zone);
    }
    Reader reader(reply->body);
    const auto result = static_cast<long>(reader.signed_number());
    timeval now = {};
    now.tv_sec = static_cast<time_t>(reader.signed_number());
    now.tv_usec = static_cast<suseconds_t>(reader.signed_number());
    struct timezone here = {};
    here.tz_minuteswest = static_cast<int>(reader.signed_number());
    here.tz_dsttime = static_cast<int>(reader.signed_number());
    if (time != nullptr) {
        *time = now;
    }
    if (zone != nullptr) {
        *zone = here;
    }
    return reader.complete() ? result : -EIO;
}

long RemoteBoard::set_time(const timeval *time, const struct timezone *zone)
{
    Writer question;
    question.flag(time != nullptr)
        .signed_number(time != nullptr ? time->tv_sec : 0)
        .signed_number(time != nullptr ? time->tv_usec : 0)
        .flag(zone != nullptr)
        .signed_number(zone != nullptr ? zone->tz_minuteswest : 0)
        .signed_number(zone != nullptr ? zone->tz_dsttime : 0);
    return ask_for_result(Kind::set_time, question);
}

int RemoteBoard::run(const std::vector<std::string> &command, const std::function<int()> &really)
{
    Writer question;
    question.number(command.size());
    for (const std::string &word : command) {
        question.text(word);
    }
    return static_cast<int>(ask_and_do(Kind::run, question, [&really] { return long{really()}; }));
}

// ---- fork ----

void RemoteBoard::before_fork()
{
    lock_.lock();
}

void RemoteBoard::after_fork_in_parent()
{
    lock_.unlock();
}

// The parent's connections are closed here, so that the board sees when the
// parent ends; those that another of its threads was using stay without owner.
// Greeting at once makes the child one of the board's programs.
void RemoteBoard::after_fork_in_child()
{
    new (&lock_) std::mutex;
    for (Connection *connection : all_) {
        if (identity_of(connection->socket.get()) == connection->identity) {
            connection->socket.reset();
        } else {
            connection->socket.release();
        }
    }
    idle_.clear();
    all_.clear();
    process_key_ = random_number();
    std::string complaint;
    if (std::unique_ptr<Connection> first = connect(complaint)) {
        give(std::move(first));
    }
}

} // namespace virtual_board::remote
