#include "virtual_board/remote/board_socket.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "virtual_board/remote/protocol.h"
#include "virtual_board/remote/remote_board.h"

namespace virtual_board::remote {

namespace {

constexpr std::string_view socket_ending = ".socket";
constexpr std::string_view claim_ending = ".lock";
constexpr int backlog = 64;

[[noreturn]] void fail(const std::string &what)
{
    throw std::runtime_error(what + ": " + strerror(errno));
}

bool is_name(const std::string &board)
{
    return !board.empty() && board.front() != '.' &&
           std::all_of(board.begin(), board.end(), [](char c) {
               return isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' || c == '.';
           });
}

// A process that ends takes its claim with it; the file may be another's by then.
Descriptor claim(const std::string &path)
{
    for (;;) {
        Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!file) {
            fail(path);
        }
        if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno == EWOULDBLOCK) {
                throw std::runtime_error("this board is served already");
            }
            fail(path);
        }
        struct stat status = {};
        if (fstat(file.get(), &status) == 0 && status.st_nlink > 0) {
            return file;
        }
    }
}

} // namespace

std::string runtime_directory()
{
    const char *of_session = getenv("XDG_RUNTIME_DIR");
    const std::string path = of_session != nullptr && of_session[0] == '/'
                                 ? std::string(of_session) + "/virtual-board"
                                 : "/tmp/virtual-board-" + std::to_string(getuid());
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        fail(path);
    }
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        fail(path);
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != getuid() || (status.st_mode & 077) != 0) {
        throw std::runtime_error(path + " must be a directory of yours alone");
    }
    return path;
}

std::string socket_path(const std::string &board)
{
    const char *chosen = getenv("VIRTUAL_BOARD");
    std::string name = board;
    if (name.empty()) {
        name = chosen != nullptr && chosen[0] != '\0' ? chosen : "default";
    }
    if (name.find('/') != std::string::npos) {
        return std::filesystem::absolute(name); // programs change their directory
    }
    if (!is_name(name)) {
        throw std::runtime_error("no name for a board: \"" + name +
                                 "\"; it consists of letters, digits, \"-\", \"_\" and \".\"");
    }
    return runtime_directory() + "/" + name + std::string(socket_ending);
}

ListeningSocket::ListeningSocket(const std::string &path)
    : path_(path), claim_(claim(path + std::string(claim_ending))),
      socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        throw std::runtime_error(path + ": too long for a socket");
    }
    memcpy(address.sun_path, path.data(), path.size());
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        unlink(path.c_str());
    }
    // The boards of one user are no other's.
    if (!socket_ || fchmod(socket_.get(), 0600) != 0 ||
        bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        ::listen(socket_.get(), backlog) != 0) {
        fail(path);
    }
}

ListeningSocket::~ListeningSocket()
{
    unlink(path_.c_str());
    unlink((path_ + std::string(claim_ending)).c_str());
}

std::optional<BoardStatus> ask_status(const std::string &path)
{
    const Descriptor socket = connector_to(path)();
    Writer greeting;
    greeting.number(protocol_magic)
        .number(protocol_version)
        .number(sizeof(void *))
        .number(static_cast<uint64_t>(Role::status))
        .number(0);
    if (!socket ||
        !send_message(socket.get(), static_cast<uint32_t>(Kind::hello), greeting.body())) {
        return std::nullopt;
    }
    const std::optional<Message> reply = receive_message(socket.get());
    if (!reply) {
        return std::nullopt;
    }
    Reader reader(reply->body);
    const bool accepted = reader.flag();
    reader.text();
    BoardStatus status;
    status.personality = reader.text();
    status.process = static_cast<pid_t>(reader.signed_number());
    status.powered = reader.flag();
    status.programs = static_cast<unsigned long>(reader.number());
    return reader.complete() && accepted ? std::optional(status) : std::nullopt;
}

std::vector<BoardStatus> served_boards()
{
    const std::string directory = runtime_directory();
    const std::unique_ptr<DIR, int (*)(DIR *)> entries(opendir(directory.c_str()), closedir);
    std::vector<BoardStatus> boards;
    // Numbers of files and places in a directory may be wider than a 32-bit program's.
    while (const dirent64 *entry = entries ? readdir64(entries.get()) : nullptr) {
        const std::string_view file = entry->d_name;
        if (!file.ends_with(socket_ending)) {
            continue;
        }
        if (auto status = ask_status(directory + "/" + std::string(file))) {
            status->name = file.substr(0, file.size() - socket_ending.size());
            boards.push_back(std::move(*status));
        }
    }
    std::sort(boards.begin(), boards.end(),
              [](const BoardStatus &a, const BoardStatus &b) { return a.name < b.name; });
    return boards;
}

} // namespace virtual_board::remote
