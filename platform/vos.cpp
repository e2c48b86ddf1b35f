#include "platform/vos.h"

#include <errno.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {

int vos_snprintf(char *dest, size_t dest_size, const char *format, ...)
{
    if (dest == nullptr || dest_size == 0) {
        return -1;
    }
    va_list args;
    va_start(args, format);
    const int length = vsnprintf(dest, dest_size, format, args);
    va_end(args);
    return length;
}

int vos_memcpy(void *dest, size_t dest_size, const void *src, size_t count)
{
    if (dest == nullptr || src == nullptr || count > dest_size) {
        return -1;
    }
    memcpy(dest, src, count);
    return 0;
}

int vos_memset(void *dest, size_t dest_size, int value, size_t count)
{
    if (dest == nullptr || count > dest_size) {
        return -1;
    }
    memset(dest, value, count);
    return 0;
}

int vos_strncpy(char *dest, size_t dest_size, const char *src, size_t count)
{
    if (dest == nullptr || src == nullptr || dest_size == 0) {
        return -1;
    }
    const size_t room = dest_size - 1;
    const size_t length = strnlen(src, count < room ? count : room);
    memcpy(dest, src, length);
    dest[length] = '\0';
    return 0;
}

int vos_system(const char *program, char *const argv[])
{
    if (program == nullptr || argv == nullptr) {
        return -1;
    }
    pid_t child = 0;
    if (posix_spawn(&child, program, nullptr, nullptr, argv, environ) != 0) {
        return -1;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            // The caller ignores SIGCHLD: the program has finished, but the
            // kernel kept no status of it.
            return errno == ECHILD ? 0 : -1;
        }
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // extern "C"
