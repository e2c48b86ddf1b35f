// The file that every load goes through.
#ifndef TESTS_BITSTREAM_STAGED_FILE_H
#define TESTS_BITSTREAM_STAGED_FILE_H

#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace board_test {

constexpr char staged_path[] = "/tmp/bmc_card.bit";

// Keeps other test processes away from the staged file, and removes it before
// and after.
class StagedFile {
public:
    StagedFile() : lock_(open("/tmp/bmc_card.bit.lock", O_CREAT | O_RDWR | O_CLOEXEC, 0666))
    {
        flock(lock_, LOCK_EX);
        std::filesystem::remove_all(staged_path);
    }
    ~StagedFile()
    {
        std::filesystem::remove_all(staged_path);
        close(lock_);
    }

    StagedFile(const StagedFile &) = delete;
    StagedFile &operator=(const StagedFile &) = delete;

    bool exists() const { return access(staged_path, F_OK) == 0; }

private:
    int lock_;
};

// A bitstream file that lives as long as this.
class BitstreamFile {
public:
    explicit BitstreamFile(size_t size)
    {
        const int file = mkstemp(path_.data());
        for (size_t i = 0; i < size; ++i) {
            bytes_.push_back(static_cast<uint8_t>(i * 7 + i / 251));
        }
        if (write(file, bytes_.data(), bytes_.size()) != static_cast<ssize_t>(size)) {
            bytes_.clear();
        }
        close(file);
    }
    ~BitstreamFile() { unlink(path_.c_str()); }

    BitstreamFile(const BitstreamFile &) = delete;
    BitstreamFile &operator=(const BitstreamFile &) = delete;

    const char *path() const { return path_.c_str(); }
    const std::vector<uint8_t> &bytes() const { return bytes_; }

private:
    std::string path_ = "/tmp/bitstream-XXXXXX";
    std::vector<uint8_t> bytes_;
};

} // namespace board_test

#endif
