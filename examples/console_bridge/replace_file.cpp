#include "console_bridge/replace_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace console_bridge {

namespace {

bool write_all(int descriptor, const std::string &bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count < 0 ? 0 : static_cast<size_t>(count);
    }
    return fsync(descriptor) == 0;
}

// The new name itself is on the disk only when its folder is.
void sync_folder_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        fsync(descriptor);
        close(descriptor);
    }
}

} // namespace

std::string replace_file(const std::string &path, const std::string &bytes)
{
    struct stat there = {};
    if (stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {
        return path + " is no plain file";
    }
    std::string beside = path + ".XXXXXX";
    const int descriptor = mkostemp(&beside[0], O_CLOEXEC);
    if (descriptor < 0) {
        return path + ": " + strerror(errno);
    }
    const bool written = write_all(descriptor, bytes);
    const int error = errno;
    const bool closed = close(descriptor) == 0;
    if (!written || !closed || rename(beside.c_str(), path.c_str()) != 0) {
        const std::string complaint = path + ": " + strerror(written ? errno : error);
        unlink(beside.c_str());
        return complaint;
    }
    sync_folder_of(path);
    return {};
}

} // namespace console_bridge
