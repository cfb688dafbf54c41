#ifndef PROOF_SUPPORT_INTERCEPTEDCALLS_H
#define PROOF_SUPPORT_INTERCEPTEDCALLS_H

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstddef>

// The calls of the system in front of which a library stands that a program is started with (LD_PRELOAD).

namespace proof {

/// Returns: the function of a name that would be called without the library.
template <typename Function>
Function behind(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/// Returns: whether open makes a file by these flags, and so is given its access rights.
inline bool makesFile(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

}  // namespace proof

// NOLINTBEGIN(bugprone-macro-parentheses): types and lists of parameters cannot stand in parentheses.

// TRANSFER(name, parameters, arguments): they return ssize_t and take `size`.
#define PROOF_EACH_TRANSFER(TRANSFER)                                                        \
  TRANSFER(read, (int file, void* buffer, size_t size), (file, buffer, size))                \
  TRANSFER(pread, (int file, void* buffer, size_t size, off_t at), (file, buffer, size, at)) \
  TRANSFER(write, (int file, const void* buffer, size_t size), (file, buffer, size))         \
  TRANSFER(pwrite, (int file, const void* buffer, size_t size, off_t at), (file, buffer, size, at))

// CALL(result, name, parameters, arguments): all others, but for close, open and fcntl.
#define PROOF_EACH_CALL(CALL)                                                                                     \
  CALL(int, fstat, (int file, struct stat* result), (file, result))                                               \
  CALL(int, fchmod, (int file, mode_t mode), (file, mode))                                                        \
  CALL(int, fchown, (int file, uid_t user, gid_t group), (file, user, group))                                     \
  CALL(int, flock, (int file, int how), (file, how))                                                              \
  CALL(int, fsync, (int file), (file))                                                                            \
  CALL(int, ftruncate, (int file, off_t length), (file, length))                                                  \
  CALL(int, futimens, (int file, const struct timespec* times), (file, times))                                    \
  CALL(off_t, lseek, (int file, off_t at, int from), (file, at, from))                                            \
  CALL(int, link, (const char* from, const char* to), (from, to))                                                 \
  CALL(int, linkat, (int in, const char* from, int at, const char* to, int how), (in, from, at, to, how))         \
  CALL(int, rename, (const char* from, const char* to), (from, to))                                               \
  CALL(int, renameat2, (int in, const char* from, int at, const char* to, unsigned how), (in, from, at, to, how)) \
  CALL(int, unlink, (const char* name), (name))                                                                   \
  CALL(ssize_t, readlink, (const char* name, char* buffer, size_t size), (name, buffer, size))                    \
  CALL(DIR*, opendir, (const char* name), (name))                                                                 \
  CALL(int, statx, (int in, const char* name, int flags, unsigned mask, struct statx* result),                    \
       (in, name, flags, mask, result))

// Those whose parameters vary. INTERCEPT(name, isCounted, call) is a function's last statement; COUNTS_OPEN(flags)
// tells whether opening so is counted. The question whether a descriptor is open is none about a file: a program asks
// it of the standard streams before it has read its command line.
#define PROOF_VARIADIC_CALLS(INTERCEPT, COUNTS_OPEN)                                   \
  int open(const char* name, int flags, ...) {                                         \
    static const auto call = proof::behind<int (*)(const char*, int, mode_t)>("open"); \
    va_list rest;                                                                      \
    va_start(rest, flags);                                                             \
    const auto mode = proof::makesFile(flags) ? va_arg(rest, mode_t) : mode_t{};       \
    va_end(rest);                                                                      \
    INTERCEPT("open", COUNTS_OPEN(flags), call(name, flags, mode))                     \
  }                                                                                    \
  int fcntl(int file, int command, ...) {                                              \
    static const auto call = proof::behind<int (*)(int, int, void*)>("fcntl");         \
    va_list rest;                                                                      \
    va_start(rest, command);                                                           \
    void* const argument = va_arg(rest, void*);                                        \
    va_end(rest);                                                                      \
    INTERCEPT("fcntl", command != F_GETFD, call(file, command, argument))              \
  }

// NOLINTEND(bugprone-macro-parentheses)

#endif
