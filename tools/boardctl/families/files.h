// Whole files, read and written. Both throw Trouble.
#ifndef BOARDCTL_FILES_H
#define BOARDCTL_FILES_H

#include <stdint.h>

#include <string>
#include <vector>

#include "boardctl/framework/failure.h"

namespace boardctl {

std::vector<uint8_t> read_file(const std::string &path);
void write_file(const std::string &path, const std::vector<uint8_t> &bytes);

// What went wrong with a file, by errno.
Trouble file_trouble(const std::string &path, const std::string &what);

// A file with a name of its own, gone when this is.
class TemporaryFile {
public:
    TemporaryFile();
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;
    const std::string &path() const { return path_; }

private:
    std::string path_;
};

} // namespace boardctl

#endif
