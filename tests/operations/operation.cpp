#include "tests/operations/operation.h"

#include <stddef.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

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
    static auto &files = *new std::map<std::vector<uint8_t>, std::shared_ptr<ImageFile>>;
    board.act([&] {
        std::shared_ptr<ImageFile> &file = files[bytes];
        if (!file) {
            file = std::make_shared<ImageFile>(bytes);
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
