#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "support/allocations.h"
#include "support/memoryDiskState.h"

namespace proof {

using datasource::platform::CRuntimeCalls;
using datasource::platform::FileIdentity;
using datasource::platform::FileKind;
using datasource::platform::FileStatus;
using datasource::platform::SystemCalls;

MemoryDisk::State* MemoryDiskCalls::disk = nullptr;

namespace {

// PROOF_TRACE in the environment: every call is printed, with a mark when something was done to it.
const bool kTraces = std::getenv("PROOF_TRACE") != nullptr;

// The calls themselves.
struct Calls {
  using Kind = MemoryDisk::Step::Kind;
  static auto*& inUse() { return MemoryDiskCalls::disk; }

  static int refuse(int error) {
    errno = error;
    return -1;
  }

  // One call: the lock, and what becomes of it.
  class Call {
   public:
    explicit Call(const char* name, unsigned size = 0) : lock_(inUse()->mutex) {
      if (inUse()->interference) {
        fate = inUse()->interference(name, size);
      }
      if (kTraces) {
        std::fprintf(stderr, "%s %u%s\n", name, size, isInterference(fate) ? " !" : "");
      }
      if (fate.error != 0) {
        errno = fate.error;
      }
    }
    bool fails() const { return fate.error != 0; }
    unsigned sizeOf(unsigned size) const {
      if (fate.toNothing) {
        return 0;
      }
      if (fate.byHalf) {
        return size / 2;
      }
      return fate.byOne ? std::min(size, 1U) : size;
    }
    MemoryDisk::Fate fate;

   private:
    static bool isInterference(const MemoryDisk::Fate& fate) {
      return fate.error != 0 || fate.byHalf || fate.byOne || fate.toNothing;
    }

    const HarnessAllocations own_;
    std::lock_guard<std::mutex> lock_;
  };

  static Opened* opened(int descriptor) {
    const auto found = inUse()->opened.find(descriptor);
    return found == inUse()->opened.end() ? nullptr : &found->second;
  }
  // Returns: the file of a descriptor; null, with errno set, where the call fails.
  static Opened* fileOf(const Call& call, int descriptor) {
    Opened* const file = call.fails() ? nullptr : opened(descriptor);
    if (file == nullptr && !call.fails()) {
      errno = EBADF;
    }
    return file;
  }
  static std::shared_ptr<File> named(const char* name) {
    const auto found = inUse()->names.find(name);
    return found == inUse()->names.end() ? nullptr : found->second;
  }
  static int keep(Opened opened) {
    const int descriptor = inUse()->nextDescriptor++;
    inUse()->opened[descriptor] = std::move(opened);
    return descriptor;
  }
  static bool isFolder(const std::string& name) {
    return name.empty() || name == "." || name == "/" || name == "/disk" || name == "/disk/";
  }

  // --- transfers

  static int readBytes(Opened& from, void* buffer, unsigned count, int64 position) {
    if (!from.reads) {
      return refuse(EBADF);
    }
    if (position < 0) {
      return refuse(EINVAL);
    }
    return static_cast<int>(from.file->bytes.read(static_cast<unsigned char*>(buffer), count, position));
  }

  static int writeBytes(Opened& to, const void* buffer, unsigned count, int64 position) {
    constexpr int64 kLongest = int64{1} << 43;
    constexpr std::size_t kMostRoom = std::size_t{64} << 20;
    SparseBytes& bytes = to.file->bytes;
    if (!to.writes) {
      return refuse(EBADF);
    }
    if (position < 0) {
      return refuse(EINVAL);
    }
    if (position > kLongest - count) {
      return refuse(EFBIG);
    }
    if (bytes.room() > kMostRoom) {
      return refuse(ENOSPC);
    }
    if (count == 0) {
      return 0;
    }
    const auto* const first = static_cast<const unsigned char*>(buffer);
    bytes.write(first, count, position);
    inUse()->note(Kind::write, to.file->number, position, Bytes(first, first + count));
    return static_cast<int>(count);
  }

  // --- the streams' table

  static int sopen(const char* name, int flags, int /*share*/, int /*mode*/) {
    const Call call("_sopen");
    if (call.fails()) {
      return -1;
    }
    const bool writes = (flags & (_O_WRONLY | _O_RDWR)) != 0;
    auto file = named(name);
    if (!file && (flags & _O_CREAT) == 0) {
      return refuse(ENOENT);
    }
    if (file && writes && file->writer >= 0) {
      return refuse(EACCES);
    }
    if (!file) {
      file = inUse()->make();
      inUse()->giveName(file, name);
      inUse()->note(Kind::name, file->number, 0, {}, name);
    }
    if ((flags & _O_TRUNC) != 0 && !file->bytes.empty()) {
      file->bytes.resize(0);
      inUse()->note(Kind::truncate, file->number, 0);
    }
    const int descriptor = keep({file, 0, (flags & _O_WRONLY) == 0, writes, (flags & _O_APPEND) != 0});
    if (writes) {
      file->writer = descriptor;
    }
    return descriptor;
  }

  static int64 lseeki64(int descriptor, int64 offset, int origin) {
    const Call call("_lseeki64");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    const int64 base = origin == 0 ? 0 : origin == 1 ? file->position : file->file->bytes.size();
    if (base + offset < 0) {
      return refuse(EINVAL);
    }
    file->position = base + offset;
    return file->position;
  }

  static int runtimeRead(int descriptor, void* buffer, unsigned count) {
    return transfer("_read", descriptor, buffer, count);
  }
  static int runtimeWrite(int descriptor, const void* buffer, unsigned count) {
    return transfer("_write", descriptor, buffer, count);
  }

  static int transfer(const char* name, int descriptor, void* buffer, unsigned count) {
    const Call call(name, count);
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    const int done = readBytes(*file, buffer, call.sizeOf(count), file->position);
    file->position += std::max(done, 0);
    return done;
  }

  static int transfer(const char* name, int descriptor, const void* buffer, unsigned count) {
    const Call call(name, count);
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    if (file->appends) {
      file->position = file->file->bytes.size();
    }
    const int done = writeBytes(*file, buffer, call.sizeOf(count), file->position);
    file->position += std::max(done, 0);
    return done;
  }

  static int closeAny(const char* name, int descriptor) {
    const Call call(name);
    Opened* const file = opened(descriptor);
    if (file == nullptr) {
      return refuse(EBADF);
    }
    if (file->file->writer == descriptor) {
      file->file->writer = -1;
    }
    if (file->file->claimed == descriptor) {
      file->file->claimed = -1;
    }
    inUse()->opened.erase(descriptor);
    if (call.fails()) {
      errno = call.fate.error;
      return -1;
    }
    return 0;
  }
  static int runtimeClose(int descriptor) { return closeAny("_close", descriptor); }

  static int identity(int descriptor, FileIdentity* result) {
    const Call call("_identity");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    *result = {1, static_cast<std::uint64_t>(file->file->number), 1};
    return 0;
  }

  // --- the seam's table

  static int open(const char* name, unsigned flags) {
    using namespace datasource::platform;
    const Call call("open");
    if (call.fails()) {
      return -1;
    }
    if ((flags & kOpenUnnamed) != 0) {
      return keep({inUse()->make(), 0, true, true, false});
    }
    if (isFolder(name)) {
      return refuse(EISDIR);
    }
    auto file = named(name);
    if (file && (flags & kOpenNew) != 0) {
      return refuse(EEXIST);
    }
    if (!file && (flags & kOpenNew) == 0) {
      return refuse(ENOENT);
    }
    if (!file) {
      file = inUse()->make();
      inUse()->giveName(file, name);
      inUse()->note(Kind::name, file->number, 0, {}, name);
    }
    const bool held = (flags & kOpenHeld) != 0;
    return keep({file, 0, held || (flags & kOpenRead) != 0, held || (flags & kOpenWrite) != 0, false});
  }

  static int openHeldForWriting(int descriptor, const char* /*name*/) {
    const Call call("openHeldForWriting");
    Opened* const file = fileOf(call, descriptor);
    return file == nullptr ? -1 : keep({file->file, 0, true, true, false});
  }

  static int nameOfDescriptor(int /*descriptor*/, char* /*buffer*/, std::size_t /*size*/) {
    const Call call("nameOfDescriptor");
    return call.fails() ? -1 : refuse(ENOTSUP);
  }

  static int close(int descriptor) { return closeAny("close", descriptor); }
  static int read(int descriptor, void* buffer, unsigned count) { return transfer("read", descriptor, buffer, count); }
  static int write(int descriptor, const void* buffer, unsigned count) {
    return transfer("write", descriptor, buffer, count);
  }

  static int readAt(int descriptor, void* buffer, unsigned count, int64 position) {
    const Call call("readAt", count);
    Opened* const file = fileOf(call, descriptor);
    return file == nullptr ? -1 : readBytes(*file, buffer, call.sizeOf(count), position);
  }

  static int writeAt(int descriptor, const void* buffer, unsigned count, int64 position) {
    const Call call("writeAt", count);
    Opened* const file = fileOf(call, descriptor);
    return file == nullptr ? -1 : writeBytes(*file, buffer, call.sizeOf(count), position);
  }

  static int seek(int descriptor, int64 position) {
    const Call call("seek");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr || position < 0) {
      return file == nullptr ? -1 : refuse(EINVAL);
    }
    file->position = position;
    return 0;
  }

  static int nextData(int descriptor, int64 position, int64* result) {
    const Call call("nextData");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    *result = file->file->bytes.nextData(position);
    return 0;
  }

  static int truncate(int descriptor, int64 length) {
    const Call call("truncate");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr || length < 0) {
      return file == nullptr ? -1 : refuse(EINVAL);
    }
    file->file->bytes.resize(length);
    inUse()->note(Kind::truncate, file->file->number, length);
    return 0;
  }

  static int sync(int descriptor) {
    const Call call("sync");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    inUse()->note(Kind::sync, file->file->number);
    return 0;
  }

  static int syncFolder(const char* /*name*/) {
    const Call call("syncFolder");
    if (call.fails()) {
      return -1;
    }
    inUse()->note(Kind::syncNames, 0);
    return 0;
  }

  static void describe(const File& file, FileStatus* result) {
    *result = {};
    result->kind = FileKind::regular;
    result->size = file.bytes.size();
    result->identity = {1, static_cast<std::uint64_t>(file.number), 1};
    result->names = file.names;
    result->tellsRights = true;
    result->mode = file.mode;
    result->accessed = file.accessed;
    result->modified = file.modified;
  }

  static int status(int descriptor, FileStatus* result) {
    const Call call("status");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    describe(*file->file, result);
    return 0;
  }

  static int statusOf(const char* name, bool /*follow*/, FileStatus* result) {
    const Call call("statusOf");
    if (call.fails()) {
      return -1;
    }
    if (isFolder(name)) {
      *result = {};
      result->kind = FileKind::folder;
      result->tellsRights = true;
      result->mode = 0755;
      return 0;
    }
    const auto file = named(name);
    if (!file) {
      return refuse(ENOENT);
    }
    describe(*file, result);
    return 0;
  }

  static int readLink(const char* name, char* /*buffer*/, std::size_t /*size*/) {
    const Call call("readLink");
    if (call.fails()) {
      return -1;
    }
    return refuse(isFolder(name) || named(name) ? EINVAL : ENOENT);
  }

  static int list(const char* /*folder*/, bool (*use)(void* context, const char* name), void* context) {
    std::vector<std::string> names;
    {
      const Call call("list");
      if (call.fails()) {
        return -1;
      }
      for (const auto& [name, file] : inUse()->names) {
        names.push_back(name.substr(name.rfind('/') + 1));
      }
    }
    for (const std::string& name : names) {
      if (!use(context, name.c_str())) {
        break;
      }
    }
    return 0;
  }

  static std::uint32_t userId() { return 0; }
  static std::uint32_t defaultMode() { return 0644; }

  static int claim(int descriptor) { return take("claim", descriptor, &File::claimed); }
  static int lockWriters(int descriptor) { return take("lockWriters", descriptor, &File::writer); }
  static int take(const char* name, int descriptor, int File::*which) {
    const Call call(name);
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    int& holder = (*file->file).*which;
    if (holder >= 0 && holder != descriptor) {
      return refuse(EBUSY);
    }
    holder = descriptor;
    return 0;
  }
  static int unlockWriters(int descriptor) {
    const Call call("unlockWriters");
    Opened* const file = opened(descriptor);
    if (file == nullptr) {
      return refuse(EBADF);
    }
    file->file->writer = -1;
    return call.fails() ? refuse(call.fate.error) : 0;
  }
  static int lockHolder(int /*descriptor*/) { return 0; }

  static int link(const char* from, const char* to) {
    const Call call("link");
    return call.fails() ? -1 : linkFile(named(from), to);
  }
  static int linkDescriptor(int descriptor, const char* to) {
    const Call call("linkDescriptor");
    Opened* const file = fileOf(call, descriptor);
    return file == nullptr ? -1 : linkFile(file->file, to);
  }
  static int linkFile(const std::shared_ptr<File>& file, const char* to) {
    if (!file) {
      return refuse(ENOENT);
    }
    if (named(to)) {
      return refuse(EEXIST);
    }
    inUse()->giveName(file, to);
    inUse()->note(Kind::name, file->number, 0, {}, to);
    return 0;
  }

  static int rename(const char* from, const char* to) {
    const Call call("rename");
    return call.fails() ? -1 : renameFile(from, to);
  }
  static int renameToFree(const char* from, const char* to) {
    const Call call("renameToFree");
    if (call.fails()) {
      return -1;
    }
    return named(to) ? refuse(EEXIST) : renameFile(from, to);
  }
  static int renameFile(const char* from, const char* to) {
    const auto file = named(from);
    if (!file) {
      return refuse(ENOENT);
    }
    inUse()->takeName(from);
    inUse()->giveName(file, to);
    inUse()->note(Kind::rename, file->number, 0, {}, from, to);
    return 0;
  }

  static int unlink(const char* name) {
    const Call call("unlink");
    if (call.fails()) {
      return -1;
    }
    const auto file = named(name);
    if (!file) {
      return refuse(ENOENT);
    }
    inUse()->takeName(name);
    inUse()->note(Kind::unname, file->number, 0, {}, name);
    return 0;
  }

  static int setMode(int descriptor, std::uint32_t mode) {
    const Call call("setMode");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    file->file->mode = mode;
    return 0;
  }
  static int setOwner(int /*descriptor*/, std::uint32_t /*owner*/, std::uint32_t /*group*/) {
    const Call call("setOwner");
    return call.fails() ? -1 : 0;
  }
  static int setTimes(int descriptor, int64 accessed, int64 modified) {
    const Call call("setTimes");
    Opened* const file = fileOf(call, descriptor);
    if (file == nullptr) {
      return -1;
    }
    file->file->accessed = accessed;
    file->file->modified = modified;
    return 0;
  }
};

}  // namespace

const CRuntimeCalls MemoryDiskCalls::runtimeTable{Calls::sopen,        Calls::lseeki64,     Calls::runtimeRead,
                                                  Calls::runtimeWrite, Calls::runtimeClose, Calls::identity};
const SystemCalls MemoryDiskCalls::systemTable{Calls::open,
                                               Calls::openHeldForWriting,
                                               Calls::nameOfDescriptor,
                                               Calls::close,
                                               Calls::read,
                                               Calls::write,
                                               Calls::readAt,
                                               Calls::writeAt,
                                               Calls::seek,
                                               Calls::nextData,
                                               Calls::truncate,
                                               Calls::sync,
                                               Calls::syncFolder,
                                               Calls::status,
                                               Calls::statusOf,
                                               Calls::readLink,
                                               Calls::list,
                                               Calls::userId,
                                               Calls::defaultMode,
                                               Calls::claim,
                                               Calls::lockWriters,
                                               Calls::unlockWriters,
                                               Calls::lockHolder,
                                               Calls::link,
                                               Calls::linkDescriptor,
                                               Calls::rename,
                                               Calls::renameToFree,
                                               Calls::unlink,
                                               Calls::setMode,
                                               Calls::setOwner,
                                               Calls::setTimes};

}  // namespace proof
