/*
 * The platform support library: bounded copies, formatting and a program
 * runner. libboard_hal calls it through the dynamic symbol table; a target's
 * own libvos with these functions can take the place of the bundled one.
 */
#ifndef PLATFORM_VOS_H
#define PLATFORM_VOS_H

#include <stddef.h>

#if defined(__GNUC__)
#define VOS_API __attribute__((visibility("default")))
#define VOS_PRINTF(text, first) __attribute__((format(printf, text, first)))
#else
#define VOS_API
#define VOS_PRINTF(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Formats into @p dest, at most @p dest_size bytes with the terminating NUL.
 *
 * @return the length that the whole text has without its NUL, or a negative
 *         value on a format error; -1 if @p dest is null or @p dest_size is 0.
 */
VOS_API int vos_snprintf(char *dest, size_t dest_size, const char *format, ...) VOS_PRINTF(3, 4);

/**
 * Copies @p count bytes to @p dest if they fit into @p dest_size bytes.
 *
 * @return 0; -1 and nothing copied if a pointer is null or the bytes do not fit.
 */
VOS_API int vos_memcpy(void *dest, size_t dest_size, const void *src, size_t count);

/**
 * Sets @p count bytes of @p dest to @p value if they fit into @p dest_size bytes.
 *
 * @return 0; -1 and nothing set if @p dest is null or the bytes do not fit.
 */
VOS_API int vos_memset(void *dest, size_t dest_size, int value, size_t count);

/**
 * Copies at most @p count characters of the text @p src to @p dest, cut to
 * @p dest_size - 1, and always ends them with a NUL.
 *
 * @return 0; -1 and nothing written if a pointer is null or @p dest_size is 0.
 */
VOS_API int vos_strncpy(char *dest, size_t dest_size, const char *src, size_t count);

/**
 * Runs @p program (a path, no search) with the argument vector @p argv (ended
 * by a null pointer) and the caller's environment, and waits until it has
 * finished.
 *
 * @return the program's exit code; 128 + the signal that ended it; -1 if it
 *         could not be started.
 */
VOS_API int vos_system(const char *program, char *const argv[]);

#ifdef __cplusplus
}
#endif

#endif
