#include "boardctl/families/files.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <memory>

namespace boardctl {

namespace {

struct Close {
    void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, Close>;

File open_file(const std::string &path, const char *mode)
{
    File file(fopen(path.c_str(), mode));
    if (!file) {
        throw file_trouble(path, "cannot be opened");
    }
    return file;
}

} // namespace

Trouble file_trouble(const std::string &path, const std::string &what)
{
    return Trouble(path + " " + what + ": " + strerror(errno));
}

std::vector<uint8_t> read_file(const std::string &path)
{
    const File file = open_file(path, "rb");
    std::vector<uint8_t> all;
    uint8_t piece[65536];
    size_t count;
    while ((count = fread(piece, 1, sizeof(piece), file.get())) > 0) {
        all.insert(all.end(), piece, piece + count);
    }
    if (ferror(file.get()) != 0) {
        throw file_trouble(path, "cannot be read");
    }
    return all;
}

void write_file(const std::string &path, const std::vector<uint8_t> &bytes)
{
    File file = open_file(path, "wb");
    const bool written =
        bytes.empty() || fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    // A full disk may show only at the close.
    if (fclose(file.release()) != 0 || !written) {
        throw file_trouble(path, "cannot be written");
    }
}

TemporaryFile::TemporaryFile()
{
    const char *folder = getenv("TMPDIR");
    path_ = std::string(folder == nullptr ? "/tmp" : folder) + "/boardctl-XXXXXX";
    const int descriptor = mkstemp(path_.data());
    if (descriptor < 0) {
        throw file_trouble(path_, "cannot be made");
    }
    close(descriptor);
}

TemporaryFile::~TemporaryFile()
{
    unlink(path_.c_str());
}

} // namespace boardctl
