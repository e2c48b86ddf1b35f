#include "tests/operations/operation.h"

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

#include "tests/update/update_test.h"

namespace board_test {

namespace {

// Removed by the process that made it, not by the children that it forks.
class WorkDirectory {
public:
    WorkDirectory() : owner_(getpid())
    {
        path_ = (std::filesystem::temp_directory_path() / "operations-XXXXXX").string();
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::runtime_error("no directory for files");
        }
    }
    ~WorkDirectory()
    {
        std::error_code ignored;
        if (getpid() == owner_) {
            std::filesystem::remove_all(path_, ignored);
        }
    }

    WorkDirectory(const WorkDirectory &) = delete;
    WorkDirectory &operator=(const WorkDirectory &) = delete;

    const std::string &path() const { return path_; }

private:
    std::string path_;
    pid_t owner_;
};

// Hands out numbers that no other file has, in a long circle. A copy that fails
// early closes the number of the copy before it; with several threads that is a
// file of any of them by then, and what becomes of it could happen anywhere.
class CopiedImage : public ImageFile {
public:
    using ImageFile::ImageFile;

    long open(virtual_board::OpenFile &file) override
    {
        constexpr int first = 256;
        constexpr int end = 1000; // the usual limit is 1024
        static int next = first;
        const int plain = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (plain < 0) {
            return -errno;
        }
        const int number = fcntl(plain, F_DUPFD, next);
        const int error = errno;
        ::close(plain);
        if (number < 0) {
            return -error;
        }
        next = number + 1 < end ? number + 1 : first;
        file.descriptor = number;
        return 0;
    }
    // Streams leave the number.
    void release(virtual_board::OpenFile &file) override
    {
        if (file.descriptor >= 0) {
            ::close(std::exchange(file.descriptor, -1));
        }
    }
};

} // namespace

uint8_t *scratch()
{
    alignas(max_align_t) thread_local uint8_t memory[4096];
    return memory;
}

const std::string &work_directory()
{
    static const WorkDirectory directory;
    return directory.path();
}

void put_board_file(Board &board, const std::vector<uint8_t> &bytes)
{
    // Contents are few. None is ever destroyed: another thread may still be about
    // to leave its file.
    static auto &files = *new std::map<std::vector<uint8_t>, std::shared_ptr<CopiedImage>>;
    board.act([&] {
        std::shared_ptr<CopiedImage> &file = files[bytes];
        if (!file) {
            file = std::make_shared<CopiedImage>(bytes);
        }
        board.attach(board_file, file);
    });
}

const std::vector<LibraryOperation> &operations()
{
    static const Operations all = [] {
        Operations joined;
        for (const auto table : {frame_operations, fpga_operations, inventory_operations,
                                 boot_operations, update_operations, absent_operations}) {
            for (LibraryOperation &operation : table()) {
                joined.push_back(std::move(operation));
            }
        }
        return joined;
    }();
    return all;
}

} // namespace board_test
