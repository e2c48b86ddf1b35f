// What programs ask about a path or a descriptor without using it.
//
// The rules of interpose.cpp hold here too.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "virtual_board/shim/inside.h"
#include "virtual_board/shim/real.h"

namespace virtual_board::shim {

namespace {

Real<int(const char *, struct stat *)> real_stat("stat");
Real<int(const char *, struct stat *)> real_lstat("lstat");
Real<int(const char *, struct stat64 *)> real_stat64("stat64");
Real<int(const char *, struct stat64 *)> real_lstat64("lstat64");
Real<int(int, struct stat *)> real_fstat("fstat");
Real<int(int, struct stat64 *)> real_fstat64("fstat64");
Real<int(int, const char *, struct stat *, int)> real_fstatat("fstatat");
Real<int(int, const char *, struct stat64 *, int)> real_fstatat64("fstatat64");
Real<int(int, const char *, int, unsigned, struct statx *)> real_statx("statx");
Real<int(const char *, int)> real_access("access");
Real<int(const char *, int)> real_euidaccess("euidaccess");
Real<int(int, const char *, int, int)> real_faccessat("faccessat");
Real<char *(const char *, char *)> real_realpath("realpath");
Real<DIR *(const char *)> real_opendir("opendir");

constexpr blksize_t block_size = 4096;

void complete(struct stat &status)
{
    status.st_nlink = 1;
    status.st_blksize = block_size;
}

int status_of(Bus &on, const std::string &path, struct stat &status)
{
    const Working guard;
    struct stat found = {};
    const long result = on.status(path, found);
    if (result >= 0) {
        status = found;
        complete(status);
    }
    return static_cast<int>(answer(result));
}

int status_of(const OpenFile &file, struct stat &status)
{
    Bus *on = board();
    const Working guard;
    const int result = static_cast<int>(answer(on->status(file, status)));
    if (result == 0) {
        complete(status);
    }
    return result;
}

void convert(const struct stat &from, struct stat *to)
{
    *to = from;
}

void convert(const struct stat &from, struct stat64 *to)
{
    *to = {};
    to->st_mode = from.st_mode;
    to->st_size = from.st_size;
    to->st_rdev = from.st_rdev;
    to->st_nlink = from.st_nlink;
    to->st_blksize = from.st_blksize;
}

void convert(const struct stat &from, struct statx *to)
{
    *to = {};
    to->stx_mask = STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_SIZE;
    to->stx_mode = static_cast<uint16_t>(from.st_mode);
    to->stx_size = static_cast<uint64_t>(from.st_size);
    to->stx_rdev_major = major(from.st_rdev);
    to->stx_rdev_minor = minor(from.st_rdev);
    to->stx_nlink = static_cast<uint32_t>(from.st_nlink);
    to->stx_blksize = static_cast<uint32_t>(from.st_blksize);
}

// The caller's record changes only if there is an answer.
template <typename Status, typename Real>
int by_path(int directory, const char *path, Status *status, const Real &real)
{
    const std::string own = board_path(directory, path);
    if (own.empty()) {
        return real();
    }
    struct stat found = {};
    const int result = status_of(*board(), own, found);
    if (result == 0) {
        convert(found, status);
    }
    return result;
}

template <typename Status, typename Real>
int by_descriptor(int descriptor, Status *status, const Real &real)
{
    const std::shared_ptr<OpenFile> file = board_file(descriptor);
    if (!file) {
        return real();
    }
    struct stat found = {};
    const int result = status_of(*file, found);
    if (result == 0) {
        convert(found, status);
    }
    return result;
}

template <typename Status, typename Real>
int by_either(int directory, const char *path, int flags, Status *status, const Real &real)
{
    const bool itself = (flags & AT_EMPTY_PATH) != 0 && (path == nullptr || path[0] == 0);
    return itself ? by_descriptor(directory, status, real) : by_path(directory, path, status, real);
}

// Whoever may use the board at all may read and write its nodes; none can be
// executed.
template <typename Real> int access_any(int directory, const char *path, int mode, const Real &real)
{
    const std::string own = board_path(directory, path);
    if (own.empty()) {
        return real();
    }
    struct stat status = {};
    const int result = status_of(*board(), own, status);
    return result == 0 && (mode & X_OK) != 0 ? static_cast<int>(answer(-EACCES)) : result;
}

// No part of a board's path is a link.
char *resolve(const char *path, char *resolved)
{
    const std::string own = board_path(AT_FDCWD, path);
    if (own.empty()) {
        return real_realpath(path, resolved);
    }
    struct stat status = {};
    if (status_of(*board(), own, status) != 0) {
        return nullptr;
    }
    if (resolved == nullptr) {
        return strdup(own.c_str());
    }
    memcpy(resolved, own.c_str(), own.size() + 1);
    return resolved;
}

} // namespace

} // namespace virtual_board::shim

using namespace virtual_board::shim;

#if !defined(__clang__)
// The checks for null arguments are needed: programs do pass them.
#pragma GCC diagnostic ignored "-Wnonnull-compare"
#endif

extern "C" {

int stat(const char *path, struct stat *status)
{
    return by_path(AT_FDCWD, path, status, [&] { return real_stat(path, status); });
}

int lstat(const char *path, struct stat *status)
{
    return by_path(AT_FDCWD, path, status, [&] { return real_lstat(path, status); });
}

int stat64(const char *path, struct stat64 *status)
{
    return by_path(AT_FDCWD, path, status, [&] { return real_stat64(path, status); });
}

int lstat64(const char *path, struct stat64 *status)
{
    return by_path(AT_FDCWD, path, status, [&] { return real_lstat64(path, status); });
}

int fstat(int descriptor, struct stat *status)
{
    return by_descriptor(descriptor, status, [&] { return real_fstat(descriptor, status); });
}

int fstat64(int descriptor, struct stat64 *status)
{
    return by_descriptor(descriptor, status, [&] { return real_fstat64(descriptor, status); });
}

int fstatat(int directory, const char *path, struct stat *status, int flags)
{
    return by_either(directory, path, flags, status,
                     [&] { return real_fstatat(directory, path, status, flags); });
}

int fstatat64(int directory, const char *path, struct stat64 *status, int flags)
{
    return by_either(directory, path, flags, status,
                     [&] { return real_fstatat64(directory, path, status, flags); });
}

int statx(int directory, const char *path, int flags, unsigned mask, struct statx *status)
{
    return by_either(directory, path, flags, status,
                     [&] { return real_statx(directory, path, flags, mask, status); });
}

int access(const char *path, int mode)
{
    return access_any(AT_FDCWD, path, mode, [&] { return real_access(path, mode); });
}

int euidaccess(const char *path, int mode)
{
    return access_any(AT_FDCWD, path, mode, [&] { return real_euidaccess(path, mode); });
}

int eaccess(const char *path, int mode) __attribute__((alias("euidaccess")));

int faccessat(int directory, const char *path, int mode, int flags)
{
    return access_any(directory, path, mode,
                      [&] { return real_faccessat(directory, path, mode, flags); });
}

char *realpath(const char *path, char *resolved)
{
    return resolve(path, resolved);
}

char *__realpath_chk(const char *path, char *resolved, size_t)
{
    return resolve(path, resolved);
}

char *canonicalize_file_name(const char *path)
{
    return resolve(path, nullptr);
}

// The board has nodes, and no directories that anyone could list.
DIR *opendir(const char *path)
{
    const std::string own = board_path(AT_FDCWD, path);
    if (own.empty()) {
        return real_opendir(path);
    }
    struct stat status = {};
    if (status_of(*board(), own, status) == 0) {
        errno = ENOTDIR;
    }
    return nullptr;
}

} // extern "C"
