// Stands in front of the system's calls in a program that is started with it (LD_PRELOAD), counts them, and stops the
// program in front of one until it is told to go on. GATE holds the number of that call, a descriptor on which its name
// is written then, and one from which a byte lets it go on. At its end the program writes how many calls there were.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Gate {
  long at = -1;
  int out = -1;
  int in = -1;
  std::atomic<long> calls = 0;

  Gate() {
    const char* const told = std::getenv("GATE");
    if (told == nullptr || std::sscanf(told, "%ld %d %d", &at, &out, &in) != 3) {
      at = -1;
    }
  }
  ~Gate() {
    if (at >= 0) {
      char text[40];
      tell(text, std::snprintf(text, sizeof(text), "%ld\n", calls.load()));
    }
  }
  void tell(const char* text, int size) const;
  void pass(const char* name);
};

template <typename Function>
Function behind(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void Gate::tell(const char* text, int size) const {
  static const auto call = behind<ssize_t (*)(int, const void*, size_t)>("write");
  static_cast<void>(call(out, text, static_cast<size_t>(size)));
}

void Gate::pass(const char* name) {
  if (at < 0 || ++calls != at) {
    return;
  }
  char text[40];
  tell(text, std::snprintf(text, sizeof(text), "%s\n", name));
  static const auto call = behind<ssize_t (*)(int, void*, size_t)>("read");
  char go = 0;
  static_cast<void>(call(in, &go, 1));
}

Gate& gate() {
  static Gate only;
  return only;
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-macro-parentheses): types and lists of parameters cannot stand in parentheses.
#define GATED(result, name, parameters, arguments)                \
  result name parameters {                                        \
    static const auto call = behind<result(*) parameters>(#name); \
    gate().pass(#name);                                           \
    return call arguments;                                        \
  }

GATED(ssize_t, read, (int file, void* buffer, size_t size), (file, buffer, size))
GATED(ssize_t, write, (int file, const void* buffer, size_t size), (file, buffer, size))
GATED(ssize_t, pread, (int file, void* buffer, size_t size, off_t at), (file, buffer, size, at))
GATED(ssize_t, pwrite, (int file, const void* buffer, size_t size, off_t at), (file, buffer, size, at))
GATED(int, close, (int file), (file))
GATED(int, fstat, (int file, struct stat* result), (file, result))
GATED(int, fchmod, (int file, mode_t mode), (file, mode))
GATED(int, fchown, (int file, uid_t user, gid_t group), (file, user, group))
GATED(int, flock, (int file, int how), (file, how))
GATED(int, fsync, (int file), (file))
GATED(int, ftruncate, (int file, off_t length), (file, length))
GATED(int, futimens, (int file, const struct timespec* times), (file, times))
GATED(int, link, (const char* from, const char* to), (from, to))
GATED(int, linkat, (int in, const char* from, int at, const char* to, int how), (in, from, at, to, how))
GATED(int, rename, (const char* from, const char* to), (from, to))
GATED(int, renameat2, (int in, const char* from, int at, const char* to, unsigned how), (in, from, at, to, how))
GATED(int, unlink, (const char* name), (name))
GATED(ssize_t, readlink, (const char* name, char* buffer, size_t size), (name, buffer, size))
GATED(DIR*, opendir, (const char* name), (name))
GATED(int, statx, (int in, const char* name, int flags, unsigned mask, struct statx* result),
      (in, name, flags, mask, result))
// NOLINTEND(bugprone-macro-parentheses)

int open(const char* name, int flags, ...) {
  static const auto call = behind<int (*)(const char*, int, mode_t)>("open");
  va_list rest;
  va_start(rest, flags);
  const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : mode_t{};
  va_end(rest);
  gate().pass("open");
  return call(name, flags, mode);
}

}  // extern "C"
