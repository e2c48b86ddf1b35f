// A board in another process, as the programs that join it see it.
#ifndef VIRTUAL_BOARD_REMOTE_REMOTE_BOARD_H
#define VIRTUAL_BOARD_REMOTE_REMOTE_BOARD_H

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "virtual_board/bus.h"
#include "virtual_board/remote/descriptor.h"
#include "virtual_board/remote/protocol.h"
#include "virtual_board/remote/wire.h"

namespace virtual_board::remote {

// Each question goes over a connection of its own, so that no thread, signal
// handler or process ever waits for another's answer. Between questions the
// connections are kept. When the board has gone every call fails with EIO.
class RemoteBoard : public Bus {
public:
    // Makes a connection to the server; empty if there is none.
    using Connector = std::function<Descriptor()>;

    // Greets at once; throws a std::runtime_error if that fails. The name is for
    // messages.
    RemoteBoard(Connector connector, std::string name);
    ~RemoteBoard() override;

    RemoteBoard(const RemoteBoard &) = delete;
    RemoteBoard &operator=(const RemoteBoard &) = delete;

    // An open file's descriptor is one end of a pair of sockets whose other end
    // the board keeps: when the last holder in any process has closed it, the
    // board sees that. Here nothing is left to do.
    long open(const std::string &path, int flags, std::shared_ptr<OpenFile> &file) override;
    long close(OpenFile &file) override;
    std::shared_ptr<OpenFile> adopt(int descriptor) override;
    bool leads_to(int descriptor, const OpenFile &file) override;
    long read(OpenFile &file, void *buffer, size_t count) override;
    long write(OpenFile &file, const void *buffer, size_t count) override;
    long pread(OpenFile &file, void *buffer, size_t count, long long offset) override;
    long pwrite(OpenFile &file, const void *buffer, size_t count, long long offset) override;
    long pass(OpenFile &file, Operation operation, uint32_t address, uint64_t count,
              const std::function<long()> &transfer) override;
    long ioctl(OpenFile &file, uint32_t request, void *argument) override;
    long long seek(OpenFile &file, long long offset, int whence) override;
    long status(const std::string &path, struct stat &status) override;
    long status(const OpenFile &file, struct stat &status) override;
    void stores_are_watched(bool watched) override { watched_ = watched; }
    long map(OpenFile &file, size_t length, Mapping &mapping) override;
    void unmapped(const std::string &device, size_t length) override;
    void mapped_at(const void *address, const OpenFile &file) override;
    void unmapped_at(const void *address, size_t length) override;
    // A watched window is memory of this program alone. Before a load or a store
    // the registers are copied into it, and what a store leaves in it goes to the
    // board: each access happens there at once or, if the program is killed amid
    // it, not at all.
    void access_begins(uint8_t *window, size_t length, uint32_t offset, bool store) override;
    void loaded(uint32_t) override {}
    void access_ends() override;
    void stored(uint32_t offset, uint8_t before) override;
    void find_stores() override;
    void synchronise() override;
    const std::string &network_port() const override { return network_port_; }
    long control_socket() override;
    long ethtool(void *record) override;
    bool time_is_virtual() const override { return time_is_virtual_; }
    void slept(uint64_t duration_us) override;
    long get_time(timeval *time, struct timezone *zone) override;
    long set_time(const timeval *time, const struct timezone *zone) override;
    int run(const std::vector<std::string> &command, const std::function<int()> &really) override;
    // The child makes connections of its own.
    void before_fork() override;
    void after_fork_in_parent() override;
    void after_fork_in_child() override;

private:
    struct Connection {
        Descriptor socket;
        ino_t identity = 0; // programs close and reuse descriptors they do not know
    };

    std::unique_ptr<Connection> connect(std::string &complaint);
    std::unique_ptr<Connection> take();
    void give(std::unique_ptr<Connection> connection);
    void drop(std::unique_ptr<Connection> connection);
    void say_gone();
    std::optional<Message> ask(Kind kind, const Writer &question);
    long ask_for_result(Kind kind, const Writer &question);
    long ask_and_do(Kind kind, const Writer &question, const std::function<long()> &call);
    long read_at(const OpenFile &file, void *buffer, size_t count, const long long *offset);
    long write_at(const OpenFile &file, const void *buffer, size_t count, const long long *offset);
    long take_status(Kind kind, const Writer &question, struct stat &status);
    void tell_store(uint32_t offset);
    std::optional<uint64_t> file_behind(int descriptor) const;
    std::shared_ptr<OpenFile> known(uint64_t id);
    std::shared_ptr<OpenFile> ask_about(uint64_t id);
    void remember(const std::shared_ptr<OpenFile> &file);

    Connector connector_;
    std::string name_;
    std::string token_;
    std::string network_port_;
    bool time_is_virtual_ = false;
    std::atomic<bool> watched_ = false;

    std::mutex lock_; // never held over a question
    uint64_t process_key_;
    std::vector<std::unique_ptr<Connection>> idle_;
    std::set<Connection *> all_;
    std::map<uint64_t, std::weak_ptr<OpenFile>> files_; // by number
    std::multimap<uint64_t, uint64_t> granted_; // mappings that have no address yet, by file
    std::map<const void *, uint64_t> mappings_;
    bool said_gone_ = false;

    // The window that an access is under way in, what was copied into it, and what
    // the access left there.
    const uint8_t *window_ = nullptr;
    Bytes copied_;
    Bytes left_;
};

// The connector for a socket in the file system.
RemoteBoard::Connector connector_to(const std::string &path);

} // namespace virtual_board::remote

#endif
