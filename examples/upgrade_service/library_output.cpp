#include "upgrade_service/library_output.h"

#include <unistd.h>

namespace upgrade_service {

LibraryOutput::LibraryOutput(const std::string &path)
    : file_(path.empty() ? tmpfile() : fopen(path.c_str(), "a+"))
{
    if (file_ == nullptr) {
        return;
    }
    fseek(file_, 0, SEEK_END);
    taken_ = ftell(file_);
    fflush(stdout);
    own_ = fdopen(dup(STDOUT_FILENO), "w");
    dup2(fileno(file_), STDOUT_FILENO);
}

LibraryOutput::~LibraryOutput()
{
    if (file_ == nullptr) {
        return;
    }
    fflush(stdout);
    dup2(fileno(own_), STDOUT_FILENO);
    fclose(own_);
    fclose(file_);
}

std::string LibraryOutput::take()
{
    fflush(stdout);
    std::string text;
    char part[4096];
    ssize_t got = 0;
    // The offset is shared with standard output: it stays where it is.
    while ((got = pread(fileno(file_), part, sizeof(part), taken_)) > 0) {
        text.append(part, static_cast<size_t>(got));
        taken_ += got;
    }
    return text;
}

} // namespace upgrade_service
