// The library tells why something failed on standard output, and nowhere else.
#ifndef UPGRADE_SERVICE_LIBRARY_OUTPUT_H
#define UPGRADE_SERVICE_LIBRARY_OUTPUT_H

#include <stdio.h>

#include <string>

namespace upgrade_service {

// While there is one, what is written to standard output goes to a file, from
// which the service reads what the library had to say. The service's own output
// has a stream of its own, which leads where standard output led before.
class LibraryOutput {
public:
    // The file is added to; an empty name is a temporary file.
    explicit LibraryOutput(const std::string &path);
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput &) = delete;
    LibraryOutput &operator=(const LibraryOutput &) = delete;

    // False if the file cannot be opened: standard output is as before then.
    bool diverted() const { return file_ != nullptr; }
    FILE *own() { return own_; }
    // What was written since the last call.
    std::string take();

private:
    FILE *file_;
    FILE *own_ = nullptr;
    long taken_ = 0;
};

} // namespace upgrade_service

#endif
